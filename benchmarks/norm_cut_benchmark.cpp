// Normalized cut of random points, beside its affinity graph alone. The scales leave every pair a
// weight.
#include <kmath/normcut.h>

#include "eigen/norm_cut.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace
{

/// Points on a square of side 100, each a node of its own.
struct Scene {
    explicit Scene(const benchmark::State &state) : n(static_cast<std::int32_t>(state.range(0)))
    {
        std::mt19937_64 generator(1);
        std::uniform_real_distribution<double> place(0.0, 100.0);
        std::uniform_real_distribution<double> direction(0.0, 360.0);
        std::uniform_int_distribution<int> grey(0, 255);
        for (std::int32_t i = 0; i < n; ++i) {
            nodes.push_back(i);
            positions.push_back(place(generator));
            positions.push_back(place(generator));
            angles.push_back(direction(generator));
            greyValues.push_back(static_cast<std::uint8_t>(grey(generator)));
        }
    }

    std::int32_t n;
    kmath::AffinityScales scales{30.0, 90.0, 80.0, false};
    std::vector<std::int32_t> nodes;
    std::vector<double> positions, angles;
    std::vector<std::uint8_t> greyValues;
};

void fail(benchmark::State &state) { state.SkipWithError("the library returned a failure"); }

void normCut(benchmark::State &state)
{
    constexpr std::int32_t pairs = 4;
    const Scene s(state);
    kmath_nmmatrix vectors, values;
    kmath_nmmatrix_construct(&vectors);
    kmath_nmmatrix_construct(&values);
    std::srand(1);
    for (auto _ : state)
        if (KMATH_IS_FAILURE(kf_normCut(s.nodes.data(), s.n, s.positions.data(), s.angles.data(),
                                        s.greyValues.data(), s.scales.dist, s.scales.angle,
                                        s.scales.grey, pairs, s.scales.clampAngle, &vectors,
                                        &values)))
            fail(state);
    kmath_nmmatrix_destruct(&values);
    kmath_nmmatrix_destruct(&vectors);
}

void graph(benchmark::State &state)
{
    const Scene s(state);
    const kmath::Features features{s.n, s.nodes.data(), s.positions.data(), s.angles.data(),
                                   s.greyValues.data()};
    for (auto _ : state) {
        std::vector<double> degree(s.nodes.size());
        kmath::Triplets W;
        if (KMATH_IS_FAILURE(kmath::affinityGraph(features, s.scales, degree.data(), W)))
            fail(state);
    }
}

void sizes(benchmark::internal::Benchmark *runs)
{
    for (const int n : {50, 100, 250, 251, 400, 1000, 2000})
        runs->Arg(n)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(normCut)->Apply(sizes);
BENCHMARK(graph)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
