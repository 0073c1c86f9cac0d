#include "rotation_checks.hpp"
#include "support/services.hpp"

#include <kmath/rotations.h>

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace rotations;
using support::allocationsOf;
using support::AssertionRecorder;

namespace
{

struct Found {
    kmath_status status;
    kmath_matrix3 R;
};

Found closestRotation(const kmath_matrix3 &M)
{
    Found found = {KMATH_ERR_FAILED, untouched};
    found.status = kmath_rodParam_findClosestRotation(&M, &found.R);
    return found;
}

Found closestOrthogonal(const kmath_matrix3 &M)
{
    Found found = {KMATH_ERR_FAILED, untouched};
    found.status = kmath_rodParam_findClosestRotationAllowLeftHanded(&M, &found.R);
    return found;
}

void expectFound(const Found &found, const kmath_matrix3 &expected, double tolerance)
{
    EXPECT_EQ(found.status, KMATH_OK);
    EXPECT_LE(maxDifference(found.R, expected), tolerance) << found.R;
}

void expectFailed(const Found &found, kmath_status status, const kmath_matrix3 &left,
                  double tolerance = 0.0)
{
    EXPECT_EQ(found.status, status);
    EXPECT_LE(maxDifference(found.R, left), tolerance) << found.R;
}

TEST(FindClosestRotation, ReportsNullMatrices)
{
    kmath_matrix3 R;
    expectOneAssertion({[&] { kmath_rodParam_findClosestRotation(nullptr, &R); },
                        [&] { kmath_rodParam_findClosestRotation(&identity, nullptr); }});
}

TEST(FindClosestRotation, ReportsNothingForMatricesThatAreThere)
{
    const AssertionRecorder recorder;
    for (const kmath_matrix3 &M : {identity, diagonal(2, 2, -2), kmath_matrix3{}}) {
        closestRotation(M);
        closestOrthogonal(M);
    }
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(FindClosestRotation, TakesTheScaleOffAMatrix)
{
    expectFound(closestRotation(diagonal(2, 2, 2)), identity, 2 * eps);
    expectFound(closestRotation({0, -0.5, 0, 3, 0, 0, 0, 0, 7}), {0, -1, 0, 1, 0, 0, 0, 0, 1},
                2 * eps);
    expectFound(closestOrthogonal(diagonal(2, 2, 2)), identity, 2 * eps);
}

TEST(FindClosestRotation, CopiesAnOrthogonalMatrixUnchanged)
{
    const kmath_matrix3 nearly = diagonal(1.0 + 2 * eps, 1.0, 1.0 - 2 * eps);
    for (const kmath_matrix3 &M :
         {identity, diagonal(1, -1, -1), kmath_matrix3{0, 0, 1, 1, 0, 0, 0, 1, 0}, nearly}) {
        EXPECT_EQ(closestRotation(M).status, KMATH_OK);
        EXPECT_TRUE(sameBits(closestRotation(M).R, M)) << M;
        EXPECT_EQ(closestOrthogonal(M).status, KMATH_OK);
        EXPECT_TRUE(sameBits(closestOrthogonal(M).R, M)) << M;
    }
}

// One column longer by k·ε makes its element of the square 1 + 2·k·ε; 10⁻¹⁵ is 4.5 ε.
TEST(FindClosestRotation, CallsAColumnOrthogonalUpToTenToTheMinus15)
{
    for (int i = 0; i < 3; ++i) {
        kmath_matrix3 M = identity;
        at(M, i, i) = 1.0 + 2 * eps;
        EXPECT_TRUE(sameBits(closestRotation(M).R, M));
        EXPECT_TRUE(sameBits(closestOrthogonal(M).R, M));
        at(M, i, i) = 1.0 + 3 * eps;
        expectFound(closestRotation(M), identity, eps);
        expectFound(closestOrthogonal(M), identity, eps);
    }
}

// The product of two columns is e exactly, and e itself still counts as orthogonal.
TEST(FindClosestRotation, CallsTwoColumnsOrthogonalUpToTenToTheMinus15)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (const double sign : {1.0, -1.0}) {
                if (i == j)
                    continue;
                kmath_matrix3 M = identity;
                at(M, i, j) = sign * 1e-15;
                EXPECT_TRUE(sameBits(closestRotation(M).R, M));
                EXPECT_TRUE(sameBits(closestOrthogonal(M).R, M));
                // Above, the rotation shares the skew between both elements.
                at(M, i, j) = sign * std::nextafter(1e-15, 1.0);
                for (const Found &found : {closestRotation(M), closestOrthogonal(M)}) {
                    EXPECT_EQ(found.status, KMATH_OK);
                    EXPECT_NEAR(at(found.R, i, j), sign * 5e-16, eps);
                    EXPECT_NEAR(at(found.R, j, i), sign * -5e-16, eps);
                }
            }
}

TEST(FindClosestRotation, RefusesAnOrthogonalReflectionUntouched)
{
    for (const kmath_matrix3 &M :
         {diagonal(1, 1, -1), diagonal(-1, -1, -1), kmath_matrix3{0, 1, 0, 1, 0, 0, 0, 0, 1}}) {
        expectFailed(closestRotation(M), KMATH_ERR_LEFT_HANDED, untouched);
        EXPECT_EQ(closestOrthogonal(M).status, KMATH_OK);
        EXPECT_TRUE(sameBits(closestOrthogonal(M).R, M)) << M;
    }
}

TEST(FindClosestRotation, RefusesAnyOtherReflectionAndLeavesIt)
{
    expectFailed(closestRotation(diagonal(2, 2, -2)), KMATH_ERR_LEFT_HANDED, diagonal(1, 1, -1),
                 2 * eps);
    expectFailed(closestRotation({0, 3, 0, 0.5, 0, 0, 0, 0, 7}), KMATH_ERR_LEFT_HANDED,
                 {0, 1, 0, 1, 0, 0, 0, 0, 1}, 2 * eps);
    expectFound(closestOrthogonal(diagonal(2, 2, -2)), diagonal(1, 1, -1), 2 * eps);
}

TEST(FindClosestRotation, TakesItsOwnResult)
{
    std::mt19937_64 generator(21);
    for (int n = 0; n < 1000; ++n) {
        const kmath_matrix3 M = randomMatrix3(generator);
        const Found rotation = closestRotation(M), orthogonal = closestOrthogonal(M);
        kmath_matrix3 R = M;
        EXPECT_EQ(kmath_rodParam_findClosestRotation(&R, &R), rotation.status);
        EXPECT_TRUE(sameBits(R, rotation.R));
        R = M;
        EXPECT_EQ(kmath_rodParam_findClosestRotationAllowLeftHanded(&R, &R), orthogonal.status);
        EXPECT_TRUE(sameBits(R, orthogonal.R));
    }
    kmath_matrix3 M = diagonal(1, 1, -1);
    EXPECT_EQ(kmath_rodParam_findClosestRotation(&M, &M), KMATH_ERR_LEFT_HANDED);
    EXPECT_TRUE(sameBits(M, diagonal(1, 1, -1)));
    M = identity;
    EXPECT_EQ(kmath_rodParam_findClosestRotation(&M, &M), KMATH_OK);
    EXPECT_TRUE(sameBits(M, identity));
}

using ExtendedMatrix = Eigen::Matrix<Extended, 3, 3>;

ExtendedMatrix extended(const kmath_matrix3 &m)
{
    ExtendedMatrix result;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            result(i, j) = at(m, i, j);
    return result;
}

// A random matrix: general, a rotation with noise from 1e-17 to 0.1, or with two rows nearly equal.
kmath_matrix3 randomCandidate(int number, std::mt19937_64 &generator)
{
    kmath_matrix3 M = randomMatrix3(generator);
    if (number % 3 == 1) {
        const double noise = randomMagnitude(1e-17, 0.1, generator);
        const double theta = std::uniform_real_distribution<double>(0.0, pi)(generator);
        const kmath_matrix3 R = buildMat(randomVector(theta, generator));
        for (const auto e : elements)
            M.*e = R.*e + noise * M.*e;
    } else if (number % 3 == 2) {
        const double noise = randomMagnitude(1e-9, 1.0, generator);
        for (int j = 0; j < 3; ++j)
            at(M, 2, j) = at(M, 1, j) + noise * at(M, 2, j);
    }
    return M;
}

// The closest orthogonal matrix changes by up to 2/(σ₂ + σ₃) of a change of M.
TEST(FindClosestRotation, AgreesWithAnIndependentDecomposition)
{
    std::mt19937_64 generator(22);
    double worst = 0.0;
    int refused = 0;
    for (int n = 0; n < 20000; ++n) {
        const kmath_matrix3 M = randomCandidate(n, generator);
        const Eigen::JacobiSVD<ExtendedMatrix> svd(extended(M),
                                                   Eigen::ComputeFullU | Eigen::ComputeFullV);
        const ExtendedMatrix exact = svd.matrixU() * svd.matrixV().transpose();
        const auto w = svd.singularValues();

        const Found orthogonal = closestOrthogonal(M);
        ASSERT_EQ(orthogonal.status, KMATH_OK);
        const Extended error = (extended(orthogonal.R) - exact).cwiseAbs().maxCoeff();
        worst = std::fmax(worst, static_cast<double>(error * (w(1) + w(2)) / w(0)));

        const Found rotation = closestRotation(M);
        const bool isReflection = exact.determinant() < 0.0L;
        ASSERT_EQ(rotation.status, isReflection ? KMATH_ERR_LEFT_HANDED : KMATH_OK) << M;
        EXPECT_TRUE(sameBits(rotation.R, orthogonal.R)) << M;
        refused += isReflection;
    }
    EXPECT_LE(worst, 16 * eps);
    EXPECT_GT(refused, 5000);
}

TEST(FindClosestRotation, IsOrthogonal)
{
    std::mt19937_64 generator(23);
    double worst = 0.0;
    for (int n = 0; n < 200000; ++n) {
        const double scale = n % 2 ? 1.0 : randomMagnitude(1e-60, 1e300, generator);
        const Found found = closestOrthogonal(scaled(randomCandidate(n, generator), scale));
        ASSERT_EQ(found.status, KMATH_OK);
        worst = std::fmax(worst, orthogonalityError(found.R));
    }
    EXPECT_LE(worst, 32 * eps);
}

TEST(FindClosestRotation, IsTheSameAtAnyPowerOfTwo)
{
    std::mt19937_64 generator(24);
    for (int n = 0; n < 500; ++n) {
        const kmath_matrix3 M = randomMatrix3(generator);
        const Found found = closestRotation(scaled(M, 4.0));
        for (const int exponent : {-200, -30, 30, 300, 1000}) {
            const Found other = closestRotation(scaled(M, std::ldexp(1.0, exponent)));
            EXPECT_EQ(other.status, found.status);
            EXPECT_LE(maxDifference(other.R, found.R), 64 * eps) << M;
        }
    }
}

TEST(FindClosestRotation, ReturnsAnOrthogonalMatrixOfAnyRank)
{
    const kmath_matrix3 rankTwo = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const kmath_matrix3 rankOne = {1, 2, 3, 2, 4, 6, -1, -2, -3};
    for (const kmath_matrix3 &M : {rankTwo, rankOne, diagonal(1, 1, 0), diagonal(0, 0, 3),
                                   kmath_matrix3{}, diagonal(tinyNumber, 0, 0)}) {
        const Found orthogonal = closestOrthogonal(M);
        EXPECT_EQ(orthogonal.status, KMATH_OK) << M;
        EXPECT_LE(orthogonalityError(orthogonal.R), 32 * eps) << M;
        const Found rotation = closestRotation(M);
        EXPECT_EQ(rotation.status,
                  determinant(orthogonal.R) < 0.0 ? KMATH_ERR_LEFT_HANDED : KMATH_OK);
        EXPECT_TRUE(sameBits(rotation.R, orthogonal.R)) << M;
    }
}

// Here the two smaller singular values are rounding noise.
TEST(FindClosestRotation, IsOrthogonalForRandomMatricesOfRankOne)
{
    std::mt19937_64 generator(26);
    double worst = 0.0;
    for (int n = 0; n < 20000; ++n) {
        const double scale = randomMagnitude(1e-50, 1e300, generator);
        const kmath_rodParam u = randomVector(1.0, generator), v = randomVector(scale, generator);
        const Found found =
            closestOrthogonal({u.x * v.x, u.x * v.y, u.x * v.z, u.y * v.x, u.y * v.y, u.y * v.z,
                               u.z * v.x, u.z * v.y, u.z * v.z});
        ASSERT_EQ(found.status, KMATH_OK);
        worst = std::fmax(worst, orthogonalityError(found.R));
    }
    EXPECT_LE(worst, 32 * eps);
}

TEST(FindClosestRotation, RefusesWhatIsNotFinite)
{
    for (const double x : {notANumber, infinity, -infinity})
        for (const auto e : elements)
            for (const kmath_matrix3 &base : {identity, diagonal(1, 1, -1), diagonal(2, 2, 2)}) {
                kmath_matrix3 M = base;
                M.*e = x;
                EXPECT_EQ(closestRotation(M).status, KMATH_ERR_SINGULAR);
                EXPECT_TRUE(sameBits(closestRotation(M).R, untouched));
                EXPECT_EQ(closestOrthogonal(M).status, KMATH_ERR_SINGULAR);
                EXPECT_TRUE(sameBits(closestOrthogonal(M).R, untouched));
            }
}

TEST(FindClosestRotation, RefusesSingularValuesTooLargeForADouble)
{
    const double h = hugeNumber;
    const kmath_matrix3 M = {h, h, h, h, -h, h, h, h, -h};
    EXPECT_EQ(closestRotation(M).status, KMATH_ERR_SINGULAR);
    EXPECT_TRUE(sameBits(closestRotation(M).R, untouched));
    expectFound(closestRotation(diagonal(h, h, h)), identity, 2 * eps);
}

TEST(FindClosestRotation, EndsForAnyNumbers)
{
    std::mt19937_64 generator(25);
    for (int n = 0; n < 20000; ++n) {
        const kmath_matrix3 M = strangeMatrix3(generator);
        const Found orthogonal = closestOrthogonal(M), rotation = closestRotation(M);
        EXPECT_TRUE(orthogonal.status == KMATH_OK || orthogonal.status == KMATH_ERR_SINGULAR) << M;
        EXPECT_TRUE(rotation.status == orthogonal.status ||
                    rotation.status == KMATH_ERR_LEFT_HANDED)
            << M;
        EXPECT_TRUE(isFinite(orthogonal.R) && isFinite(rotation.R)) << M;
        EXPECT_TRUE(orthogonal.status == KMATH_OK || !isFinite(M) || // or values above the doubles
                    closestOrthogonal(scaled(M, 0.125)).status == KMATH_OK)
            << M;
    }
}

// Matrices of this size stay within their records, so there is no allocation to fail.
TEST(FindClosestRotation, AllocatesNothing)
{
    for (const kmath_matrix3 &M :
         {identity, diagonal(1, 1, -1), diagonal(2, 2, -2), diagonal(notANumber, 1, 1),
          kmath_matrix3{1, 2, 3, 4, 5, 6, 7, 8, 10}}) {
        EXPECT_EQ(allocationsOf([&] { closestRotation(M); }), 0);
        EXPECT_EQ(allocationsOf([&] { closestOrthogonal(M); }), 0);
    }
    support::sweepAllocationFailures([] {
        return closestRotation({1, 2, 3, 4, 5, 6, 7, 8, 8}).status;
    });
    support::sweepAllocationFailures([] {
        return closestOrthogonal({1, 2, 3, 4, 5, 6, 7, 8, 10}).status;
    });
}

} // namespace
