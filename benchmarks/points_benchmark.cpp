// Arrays of points under a transform beside the plain loop that gives the same bits, in one
// process. The counter ours/textbook is the quotient of the processor times of one call.
#include <kmath/xform3.h>

#include "benchmarks/timing.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

namespace
{

constexpr kmath_xform3Linear transform = {{12.5, -3.25, 0.5},
                                          {0.8, -0.6, 0.0, 0.36, 0.48, -0.8, 0.48, 0.64, 0.6}};

template <class Point, class Number> void plainLoop(std::int64_t n, const Point *from, Point *to)
{
    const auto &[t, M] = transform;
    for (std::int64_t i = 0; i < n; ++i) {
        const double x = from[i].x, y = from[i].y, z = from[i].z;
        to[i] = {static_cast<Number>(M.m00 * x + M.m01 * y + M.m02 * z + t.x),
                 static_cast<Number>(M.m10 * x + M.m11 * y + M.m12 * z + t.y),
                 static_cast<Number>(M.m20 * x + M.m21 * y + M.m22 * z + t.z)};
    }
}

template <class Point, class Number> using MapPoints = kmath_status (*)(const kmath_xform3Linear *,
                                                                        std::int64_t, const Point *,
                                                                        Point *);

template <class Point, class Number>
void run(benchmark::State &state, MapPoints<Point, Number> map, std::size_t n, bool inPlace)
{
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<Number> coordinate(-1, 1);
    std::vector<Point> input(n);
    std::vector<Point> other(inPlace ? 0 : n);
    for (Point &p : input)
        p = {coordinate(generator), coordinate(generator), coordinate(generator)};
    Point *output = inPlace ? input.data() : other.data();
    const auto count = static_cast<std::int64_t>(n);

    const double textbook = timeOf([&] {
        plainLoop<Point, Number>(count, input.data(), output);
        benchmark::DoNotOptimize(output);
        benchmark::ClobberMemory();
    });
    const std::clock_t start = std::clock();
    for (auto _ : state) {
        map(&transform, count, input.data(), output);
        benchmark::ClobberMemory();
    }
    const double ours = secondsSince(start) / static_cast<double>(state.iterations());

    state.counters["textbook"] = textbook;
    state.counters["ours/textbook"] = ours / textbook;
}

} // namespace

int main(int argc, char **argv)
{
    // A handful of corners; what fits the caches; a scan that does not.
    for (const std::size_t n : {1, 4, 8, 54, 1000, 30000, 1000000})
        for (const bool inPlace : {false, true}) {
            const auto add = [=](const char *name, auto benchmark) {
                char text[64];
                std::snprintf(text, sizeof text, "%s/%zu%s", name, n, inPlace ? "/inPlace" : "");
                benchmark::RegisterBenchmark(text, benchmark);
            };
            add("mapPoints", [=](benchmark::State &state) {
                run<kmath_vect3, double>(state, kmath_xform3Linear_mapPoints, n, inPlace);
            });
            add("mapPointsF", [=](benchmark::State &state) {
                run<kmath_vect3F, float>(state, kmath_xform3Linear_mapPointsF, n, inPlace);
            });
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
