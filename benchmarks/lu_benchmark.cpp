// The LU family beside textbook loops that give the same bits, in one process.
#include <kmath/nmmatrix.h>

#include "oracle/lu.hpp"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

namespace
{

/// A random system of n unknowns and what its solution works in.
struct System {
    explicit System(const benchmark::State &state)
        : n(static_cast<int>(state.range(0))), scale(static_cast<std::size_t>(n)),
          perm(scale.size())
    {
        std::mt19937_64 generator(1);
        std::uniform_real_distribution<double> element(-1.0, 1.0);
        for (kmath_nmmatrix *square : {&A, &lu, &X})
            kmath_nmmatrix_constructRowsCols(square, n, n);
        for (kmath_nmmatrix *column : {&b, &x})
            kmath_nmmatrix_constructRowsCols(column, n, 1);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j)
                A.rows[i][j] = element(generator);
            b.rows[i][0] = element(generator);
        }
    }
    System(const System &) = delete;
    System &operator=(const System &) = delete;
    ~System()
    {
        for (kmath_nmmatrix *matrix : {&A, &lu, &X, &b, &x})
            kmath_nmmatrix_destruct(matrix);
    }

    void factoriseByTheBook()
    {
        kmath_nmmatrix_assign(&lu, &A);
        oracle::crout(lu.rows, n, perm.data(), parity, scale.data(), true);
    }

    int n;
    kmath_nmmatrix A, lu, X, b, x;
    std::vector<double> scale;
    std::vector<std::int32_t> perm;
    double parity = 0.0;
};

void solve(benchmark::State &state)
{
    System s(state);
    for (auto _ : state)
        kmath_nmmatrix_solve_fast_and_loose(&s.A, &s.b, &s.lu, s.scale.data(), s.perm.data(), &s.x);
}

void solveTextbook(benchmark::State &state)
{
    System s(state);
    for (auto _ : state) {
        s.factoriseByTheBook();
        kmath_nmmatrix_assign(&s.x, &s.b);
        oracle::substitute(s.lu.rows, s.n, s.perm.data(), s.x.rows[0]);
    }
}

void inverse(benchmark::State &state)
{
    System s(state);
    for (auto _ : state)
        kmath_nmmatrix_inverse(&s.A, &s.X);
}

void inverseTextbook(benchmark::State &state)
{
    System s(state);
    for (auto _ : state) {
        s.factoriseByTheBook();
        for (int i = 0; i < s.n; ++i) {
            for (int j = 0; j < s.n; ++j)
                s.x.rows[0][j] = j == i ? 1.0 : 0.0;
            oracle::substitute(s.lu.rows, s.n, s.perm.data(), s.x.rows[0]);
            for (int j = 0; j < s.n; ++j)
                s.X.rows[j][i] = s.x.rows[0][j];
        }
    }
}

void sizes(benchmark::internal::Benchmark *runs)
{
    for (const int n : {2, 3, 4, 6, 10, 16, 32, 64, 128, 256, 512})
        runs->Arg(n);
}

BENCHMARK(solve)->Apply(sizes);
BENCHMARK(solveTextbook)->Apply(sizes);
BENCHMARK(inverse)->Apply(sizes);
BENCHMARK(inverseTextbook)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
