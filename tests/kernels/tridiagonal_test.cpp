#include "kernels/tridiagonal.hpp"
#include "support/matrices.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

using namespace support;

namespace
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

const std::int32_t sizes[] = {1, 2, 3, 4, 5, 6, 7, 8, 17, 50, 101};

struct Tridiagonal {
    std::vector<double> d, e;
    Matrix Qt;

    Tridiagonal(const Matrix &A, bool accumulate)
        : d(static_cast<std::size_t>(A.rows()), nan), e(d), Qt(A)
    {
        kmath::tridiagonalise(Qt->rows, A.rows(), d.data(), e.data(), accumulate);
    }

    Matrix T() const
    {
        return build(Qt.rows(), Qt.rows(), [this](std::int32_t i, std::int32_t j) {
            const auto larger = static_cast<std::size_t>(std::max(i, j));
            return i == j ? d[larger] : std::abs(i - j) == 1 ? e[larger] : 0.0;
        });
    }

    bool iterate(bool vectors)
    {
        return kmath::implicitQL(d.data(), e.data(), Qt.rows(), vectors ? Qt->rows : nullptr);
    }
};

bool sameBits(const std::vector<double> &a, const std::vector<double> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](double x, double y) { return support::sameBits(x, y); });
}

Matrix product(const Matrix &A, const Matrix &B)
{
    Matrix C(A.rows(), B.cols());
    kmath::kernels().product(C, A, B);
    return C;
}

Matrix productT(const Matrix &A, const Matrix &B)
{
    Matrix C(A.rows(), B.rows());
    kmath::kernels().productT(C, A, B);
    return C;
}

TEST(Tridiagonalise, GivesTheOrthogonalTransformationOfTheMatrix)
{
    for (const std::int32_t n : sizes) {
        const Matrix A = randomSymmetric(n, 3);
        const Tridiagonal reduced(A, true);
        const double bound = 10.0 * n * epsilon;
        EXPECT_LT(maxDifference(productT(reduced.Qt, reduced.Qt), identity(n)), bound) << n;
        EXPECT_LT(maxDifference(productT(product(reduced.Qt, A), reduced.Qt), reduced.T()),
                  bound * std::sqrt(n))
            << n;
        EXPECT_EQ(reduced.e[0], 0.0);
    }
}

TEST(Tridiagonalise, HasTheSameBitsWithAndWithoutAccumulation)
{
    for (const std::int32_t n : sizes) {
        const Matrix A = randomSymmetric(n, 5);
        const Tridiagonal with(A, true), without(A, false);
        EXPECT_TRUE(sameBits(with.d, without.d)) << n;
        EXPECT_TRUE(sameBits(with.e, without.e)) << n;
    }
}

TEST(Tridiagonalise, ReadsTheLowerTriangleAlone)
{
    for (const std::int32_t n : sizes) {
        const Matrix A = randomSymmetric(n, 7);
        const Matrix lower =
            build(n, n, [&](std::int32_t i, std::int32_t j) { return i >= j ? A(i, j) : nan; });
        const Tridiagonal whole(A, true), half(lower, true);
        EXPECT_TRUE(sameBits(whole.d, half.d)) << n;
        EXPECT_TRUE(sameBits(whole.e, half.e)) << n;
        EXPECT_TRUE(support::sameBits(whole.Qt, half.Qt)) << n;
    }
}

TEST(Tridiagonalise, LeavesATridiagonalMatrixAlone)
{
    const Matrix A{{4.25, -1.5, 0, 0}, {-1.5, 2.125, 0, 0}, {0, 0, -3.0, 7.5}, {0, 0, 7.5, 0.375}};
    const Tridiagonal reduced(A, true);
    EXPECT_TRUE(support::sameBits(reduced.T(), A));
    EXPECT_TRUE(support::sameBits(reduced.Qt, identity(4)));
}

TEST(Tridiagonalise, ReflectsWithoutLossAtEveryMagnitude)
{
    for (const double scale : {0x1p-1000, 0x1p-600, 1.0, 0x1p600, 0x1p1000}) {
        const Matrix A = randomSymmetric(9, 11);
        const Matrix scaled =
            build(9, 9, [&](std::int32_t i, std::int32_t j) { return A(i, j) * scale; });
        const Tridiagonal plain(A, true), big(scaled, true);
        EXPECT_TRUE(support::sameBits(plain.Qt, big.Qt)) << scale;
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_EQ(plain.d[i] * scale, big.d[i]) << scale;
            EXPECT_EQ(plain.e[i] * scale, big.e[i]) << scale;
        }
    }
}

TEST(ImplicitQL, TurnsTheRowsIntoEigenvectors)
{
    for (const std::int32_t n : sizes) {
        const Matrix A = randomSymmetric(n, 13);
        Tridiagonal system(A, true);
        ASSERT_TRUE(system.iterate(true)) << n;
        const Matrix ZtA = product(system.Qt, A);
        const Matrix scaledRows = build(n, n, [&](std::int32_t i, std::int32_t j) {
            return system.d[static_cast<std::size_t>(i)] * system.Qt(i, j);
        });
        const double bound = 10.0 * n * epsilon;
        EXPECT_LT(maxDifference(ZtA, scaledRows), bound * std::sqrt(n)) << n;
        EXPECT_LT(maxDifference(productT(system.Qt, system.Qt), identity(n)), bound) << n;
    }
}

TEST(ImplicitQL, HasTheSameValuesWithAndWithoutVectors)
{
    for (const std::int32_t n : sizes) {
        const Matrix A = randomSymmetric(n, 17);
        Tridiagonal with(A, true), without(A, false);
        ASSERT_TRUE(with.iterate(true)) << n;
        ASSERT_TRUE(without.iterate(false)) << n;
        EXPECT_TRUE(sameBits(with.d, without.d)) << n;
    }
}

// The matrix (−1, 2, −1) of order n has the eigenvalues 2 − 2·cos(kπ/(n + 1)), k = 1 … n.
TEST(ImplicitQL, FindsTheEigenvaluesOfTheSecondDifference)
{
    for (const std::int32_t n : sizes) {
        const auto count = static_cast<std::size_t>(n);
        std::vector<double> d(count, 2.0), e(count, -1.0);
        ASSERT_TRUE(kmath::implicitQL(d.data(), e.data(), n, nullptr));
        std::sort(d.begin(), d.end());
        for (std::size_t k = 0; k < count; ++k) {
            const double angle =
                static_cast<double>(k + 1) * std::numbers::pi / static_cast<double>(n + 1);
            EXPECT_NEAR(d[k], 2.0 - 2.0 * std::cos(angle), 4.0 * n * epsilon) << n;
        }
    }
}

TEST(ImplicitQL, IgnoresTheFirstElementBesideTheDiagonal)
{
    std::vector<double> d{1.0, 2.0}, e{nan, 0.0};
    EXPECT_TRUE(kmath::implicitQL(d.data(), e.data(), 2, nullptr));
    EXPECT_EQ(d, (std::vector{1.0, 2.0}));
}

TEST(ImplicitQL, SplitsABlockWhoseRotationUnderflows)
{
    // Multiples of the smallest number: the sweep from the last row meets a rotation of (0, 0).
    constexpr double u = 5e-324;
    std::vector<double> d{0.0, u, u}, e{0.0, u, u};
    EXPECT_TRUE(kmath::implicitQL(d.data(), e.data(), 3, nullptr));
    for (const double value : d)
        EXPECT_LE(std::fabs(value), 3.0 * u);
}

TEST(ImplicitQL, GivesUpOnWhatIsNotFinite)
{
    for (const double bad : {nan, infinity, -infinity})
        for (const std::int32_t n : {2, 3, 6, 7, 40})
            for (std::int32_t i = 0; i < n; ++i) {
                if (i == n - 1 && !std::isnan(bad))
                    continue;
                Matrix A = randomSymmetric(n, 19);
                A(n - 1, i) = bad;
                Tridiagonal system(A, true);
                EXPECT_FALSE(system.iterate(true)) << bad << ' ' << n << ' ' << i;
            }
}

TEST(ImplicitQL, TakesAnInfiniteDiagonalElementForUncoupled)
{
    std::vector<double> d{1.0, 3.0, infinity}, e{0.0, 1.0, 5.0};
    EXPECT_TRUE(kmath::implicitQL(d.data(), e.data(), 3, nullptr));
    EXPECT_EQ(d[2], infinity);
    EXPECT_NEAR(std::min(d[0], d[1]), 2.0 - std::sqrt(2.0), 4.0 * epsilon);
    EXPECT_NEAR(std::max(d[0], d[1]), 2.0 + std::sqrt(2.0), 4.0 * epsilon);
}

TEST(ImplicitQL, AcceptsAnEmptyMatrix)
{
    kmath::tridiagonalise(nullptr, 0, nullptr, nullptr, true);
    EXPECT_TRUE(kmath::implicitQL(nullptr, nullptr, 0, nullptr));
}

} // namespace
