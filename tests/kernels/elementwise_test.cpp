#include "support/matrices.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

using namespace support;
using kmath::Kernels;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Run = std::vector<double>;

Run randomRun(std::size_t n, std::uint64_t seed)
{
    const Matrix row = randomMatrix(1, static_cast<std::int32_t>(n), seed);
    Run run(row->rows[0], row->rows[0] + n);
    const double special[] = {nan, infinity, -0.0, -infinity, 5e-324, 1.7e308};
    for (std::size_t i = 0; i < n; i += 5)
        run[i] = special[(i / 5 + seed) % 6];
    return run;
}

bool sameBits(const Run &a, const Run &b)
{
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!support::sameBits(a[i], b[i]))
            return false;
    return a.size() == b.size();
}

// Runs of every length around the lane counts, at every alignment, on every instruction set: the
// kernel on x (and y) must do to each element what `step` does, and nothing beside the run.
void expectElementwise(
    const std::function<void(const Kernels &, double *x, double *y, std::int64_t n)> &kernel,
    const std::function<void(double &x, double &y)> &step)
{
    for (const Kernels *set : runnableKernels())
        for (std::size_t n = 0; n <= 70; ++n)
            for (std::size_t offset = 0; offset < 8; ++offset) {
                Run x = randomRun(n + 16, 1);
                Run y = randomRun(n + 16, 2);
                Run expectedX = x;
                Run expectedY = y;
                const std::size_t offsetY = (3 * offset + 1) % 8;
                for (std::size_t i = 0; i < n; ++i)
                    step(expectedX[offset + i], expectedY[offsetY + i]);
                kernel(*set, x.data() + offset, y.data() + offsetY, static_cast<std::int64_t>(n));
                EXPECT_TRUE(sameBits(x, expectedX)) << set->name << ' ' << n << ' ' << offset;
                EXPECT_TRUE(sameBits(y, expectedY)) << set->name << ' ' << n << ' ' << offset;
            }
}

TEST(ScaleKernel, MultipliesEachElement)
{
    for (const double factor : {-1.7, 0.0, infinity, nan})
        expectElementwise([=](const Kernels &set, double *x, double *,
                              std::int64_t n) { set.scale(x, n, factor); },
                          [=](double &x, double &) { x = x * factor; });
}

TEST(AddScalarKernel, AddsTheNumberToEachElement)
{
    for (const double value : {0.3, -0.0, -infinity, nan})
        expectElementwise([=](const Kernels &set, double *x, double *,
                              std::int64_t n) { set.addScalar(x, n, value); },
                          [=](double &x, double &) { x = x + value; });
}

TEST(AddKernel, AddsElementByElement)
{
    expectElementwise(
        [](const Kernels &set, double *x, double *y, std::int64_t n) { set.add(x, y, n); },
        [](double &x, double &y) { x = x + y; });
}

TEST(SubtractKernel, SubtractsElementByElement)
{
    expectElementwise(
        [](const Kernels &set, double *x, double *y, std::int64_t n) { set.subtract(x, y, n); },
        [](double &x, double &y) { x = x - y; });
}

TEST(AddScaledKernel, RoundsTheProductBeforeTheSum)
{
    for (const double a : {1.0 / 3.0, -0.0, infinity})
        expectElementwise([=](const Kernels &set, double *x, double *y,
                              std::int64_t n) { set.addScaled(x, y, n, a); },
                          [=](double &x, double &y) {
                              const double product = a * y;
                              x = x + product;
                          });
}

TEST(SubtractScaledKernel, RoundsTheProductBeforeTheDifference)
{
    for (const double a : {1.0 / 3.0, -0.0, infinity})
        expectElementwise([=](const Kernels &set, double *x, double *y,
                              std::int64_t n) { set.subtractScaled(x, y, n, a); },
                          [=](double &x, double &y) {
                              const double product = a * y;
                              x = x - product;
                          });
}

TEST(RotateKernel, TurnsBothRowsFromTheirOldValues)
{
    const double c = 0.6;
    const double s = -0.8;
    expectElementwise([=](const Kernels &set, double *x, double *y,
                          std::int64_t n) { set.rotate(x, y, n, c, s); },
                      [=](double &x, double &y) {
                          const double oldX = x;
                          const double oldY = y;
                          const double cx = c * oldX;
                          const double sy = s * oldY;
                          const double cy = c * oldY;
                          const double sx = s * oldX;
                          x = cx + sy;
                          y = cy - sx;
                      });
}

TEST(RankOneSubtractKernel, TakesOffAnOuterProduct)
{
    for (const Kernels *set : runnableKernels())
        for (const int m : {0, 1, 4, 9})
            for (const int n : {0, 1, 3, 8, 17, 40}) {
                const Matrix before = randomMatrix(m, n, 1);
                const Matrix u = randomMatrix(m, 3, 2);
                const Matrix v = randomMatrix(1, n, 3);
                Matrix A = before;
                kmath::ConstBlock column = u;
                column.column = 2;
                set->rankOneSubtract(A, column, n > 0 ? v->rows[0] : nullptr);
                EXPECT_TRUE(support::sameBits(A, build(m, n,
                                                       [&](int i, int j) {
                                                           const double product = u(i, 2) * v(0, j);
                                                           return before(i, j) - product;
                                                       })))
                    << set->name << ' ' << m << ' ' << n;
            }
}

// A view of m × n elements in a run of its own, with its rows `stride` apart.
struct Placed {
    Run run;
    std::int64_t stride;
    int rows;
    int cols;

    Placed(int m, int n, int gap, std::uint64_t seed)
        : run(randomRun(static_cast<std::size_t>(m * (n + gap) + 1), seed)), stride(n + gap),
          rows(m), cols(n)
    {
    }
    double &operator()(int i, int j) { return run[static_cast<std::size_t>(i * stride + j)]; }
    operator kmath::Strided() { return {run.data(), stride, rows, cols}; }
    operator kmath::ConstStrided() const { return {run.data(), stride, rows, cols}; }
};

// On every instruction set c must become element(a, b), and nothing beside it may change; so too
// where c is a.
void expectStrided(const std::function<void(const Kernels &, kmath::Strided C,
                                            kmath::ConstStrided A, kmath::ConstStrided B)> &kernel,
                   const std::function<double(double a, double b)> &element)
{
    for (const Kernels *set : runnableKernels())
        for (const int m : {0, 1, 2, 5})
            for (const int n : {0, 1, 2, 3, 4, 7, 8, 9, 16, 17, 33})
                for (const bool inPlace : {false, true}) {
                    Placed a(m, n, m + 1, 1);
                    Placed b(m, n, n % 3, 2);
                    Placed c(m, n, 2 * m, 3);
                    Placed expected = inPlace ? a : c;
                    for (int i = 0; i < m; ++i)
                        for (int j = 0; j < n; ++j)
                            expected(i, j) = element(a(i, j), b(i, j));
                    Placed &result = inPlace ? a : c;
                    kernel(*set, result, a, b);
                    EXPECT_TRUE(sameBits(result.run, expected.run))
                        << set->name << ' ' << m << " x " << n;
                }
}

TEST(SumKernel, AddsViews)
{
    expectStrided([](const Kernels &set, kmath::Strided C, kmath::ConstStrided A,
                     kmath::ConstStrided B) { set.sum(C, A, B); },
                  [](double a, double b) { return a + b; });
}

TEST(DifferenceKernel, SubtractsViews)
{
    expectStrided([](const Kernels &set, kmath::Strided C, kmath::ConstStrided A,
                     kmath::ConstStrided B) { set.difference(C, A, B); },
                  [](double a, double b) { return a - b; });
}

TEST(ScaledSumKernel, RoundsTheProductBeforeTheSum)
{
    for (const double s : {1.0 / 3.0, -0.0, infinity})
        expectStrided([=](const Kernels &set, kmath::Strided C, kmath::ConstStrided A,
                          kmath::ConstStrided B) { set.scaledSum(C, s, A, B); },
                      [=](double a, double b) {
                          const double product = s * a;
                          return product + b;
                      });
}

TEST(ScaledKernel, MultipliesAView)
{
    for (const double s : {1.0 / 3.0, 0.0, nan})
        expectStrided([=](const Kernels &set, kmath::Strided C, kmath::ConstStrided A,
                          kmath::ConstStrided) { set.scaled(C, A, s); },
                      [=](double a, double) { return a * s; });
}

} // namespace
