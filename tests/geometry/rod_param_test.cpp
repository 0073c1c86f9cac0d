#include "rotation_checks.hpp"
#include "support/services.hpp"
#include "support/unchecked.hpp"

#include <kmath/rotations.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace rotations;
using support::allocationsOf;

namespace
{

constexpr kmath_rodParam untouchedVector = {-1.5, 2.5, 3.5};

const double justAboveThreshold = std::nextafter(1e-8, 1.0);

kmath_status getParam(const kmath_matrix3 &M, kmath_rodParam &r)
{
    r = untouchedVector;
    return kmath_rodParam_getParam(&M, &r);
}

void expectParam(const kmath_matrix3 &M, const kmath_rodParam &expected, double tolerance)
{
    kmath_rodParam r;
    ASSERT_EQ(getParam(M, r), KMATH_OK);
    EXPECT_NEAR(r.x, expected.x, tolerance);
    EXPECT_NEAR(r.y, expected.y, tolerance);
    EXPECT_NEAR(r.z, expected.z, tolerance);
}

bool isZero(const kmath_rodParam &r) { return r.x == 0.0 && r.y == 0.0 && r.z == 0.0; }

bool isUntouched(const kmath_rodParam &r)
{
    return r.x == untouchedVector.x && r.y == untouchedVector.y && r.z == untouchedVector.z;
}

double lengthOf(const kmath_rodParam &r) { return std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z); }

struct ExtendedMatrix {
    Extended m[3][3];
};

ExtendedMatrix crossProduct(Extended x, Extended y, Extended z)
{
    return {{{0.0L, -z, y}, {z, 0.0L, -x}, {-y, x, 0.0L}}};
}

ExtendedMatrix product(const ExtendedMatrix &a, const ExtendedMatrix &b)
{
    ExtendedMatrix r = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k)
                r.m[i][j] += a.m[i][k] * b.m[k][j];
    return r;
}

// sin θ/θ and (1 − cos θ)/θ², with their derivatives by θ, free of cancellation but in the last.
struct Coefficients {
    Extended a, b, da, db;
};

Coefficients coefficients(Extended theta)
{
    const Extended s = std::sin(theta), c = std::cos(theta), half = std::sin(theta / 2.0L);
    const Extended versine = 2.0L * half * half;
    return {s / theta, versine / (theta * theta), (theta * c - s) / (theta * theta),
            (theta * s - 2.0L * versine) / (theta * theta * theta)};
}

// The rotation by r in extended precision.
ExtendedMatrix exactRotation(const kmath_rodParam &r)
{
    const ExtendedMatrix K = crossProduct(r.x, r.y, r.z), K2 = product(K, K);
    const Extended x = r.x, y = r.y, z = r.z;
    const Coefficients f = coefficients(std::sqrt(x * x + y * y + z * z));
    ExtendedMatrix R;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            R.m[i][j] = (i == j ? 1.0L : 0.0L) + f.a * K.m[i][j] + f.b * K2.m[i][j];
    return R;
}

// Its derivative by component c of r: the product and chain rules on Rodrigues' formula.
ExtendedMatrix exactDerivative(const kmath_rodParam &r, int c)
{
    const Extended v[3] = {r.x, r.y, r.z};
    const Extended theta = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    const Coefficients f = coefficients(theta);
    const ExtendedMatrix K = crossProduct(v[0], v[1], v[2]), K2 = product(K, K);
    const ExtendedMatrix E = crossProduct(c == 0, c == 1, c == 2);
    const ExtendedMatrix EK = product(E, K), KE = product(K, E);
    const Extended slope = v[c] / theta;
    ExtendedMatrix D;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            D.m[i][j] = f.da * slope * K.m[i][j] + f.a * E.m[i][j] + f.db * slope * K2.m[i][j] +
                        f.b * (EK.m[i][j] + KE.m[i][j]);
    return D;
}

double maxError(const kmath_matrix3 &M, const ExtendedMatrix &exact)
{
    Extended largest = 0.0L;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            largest = std::fmax(largest, std::fabs(at(M, i, j) - exact.m[i][j]));
    return static_cast<double>(largest);
}

// Rodrigues' formula as it is written, by plain loops.
kmath_matrix3 textbookRotation(const kmath_rodParam &r)
{
    const double theta = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z);
    const double a = std::sin(theta) / theta;
    const double b = (1.0 - std::cos(theta)) / (theta * theta);
    const double K[3][3] = {{0.0, -r.z, r.y}, {r.z, 0.0, -r.x}, {-r.y, r.x, 0.0}};
    kmath_matrix3 M;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double square = 0.0;
            for (int k = 0; k < 3; ++k)
                square += K[i][k] * K[k][j];
            at(M, i, j) = ((i == j ? 1.0 : 0.0) + a * K[i][j]) + b * square;
        }
    return M;
}

// Half the quaternion's rotation with each case of its extraction written out.
kmath_rodParam textbookParam(const kmath_matrix3 &M)
{
    double w, x, y, z;
    if (const double trace = M.m00 + M.m11 + M.m22; trace > 0.0) {
        const double s = 0.5 / std::sqrt(trace + 1.0);
        w = std::sqrt(trace + 1.0) / 2.0;
        x = (M.m21 - M.m12) * s;
        y = (M.m02 - M.m20) * s;
        z = (M.m10 - M.m01) * s;
    } else if (M.m00 >= M.m11 && M.m00 >= M.m22) {
        const double root = std::sqrt(M.m00 - (M.m11 + M.m22) + 1.0), s = 0.5 / root;
        x = root / 2.0;
        w = (M.m21 - M.m12) * s;
        y = (M.m10 + M.m01) * s;
        z = (M.m20 + M.m02) * s;
    } else if (M.m11 >= M.m22) {
        const double root = std::sqrt(M.m11 - (M.m22 + M.m00) + 1.0), s = 0.5 / root;
        y = root / 2.0;
        w = (M.m02 - M.m20) * s;
        z = (M.m21 + M.m12) * s;
        x = (M.m01 + M.m10) * s;
    } else {
        const double root = std::sqrt(M.m22 - (M.m00 + M.m11) + 1.0), s = 0.5 / root;
        z = root / 2.0;
        w = (M.m10 - M.m01) * s;
        x = (M.m02 + M.m20) * s;
        y = (M.m12 + M.m21) * s;
    }
    const double n = std::sqrt(x * x + y * y + z * z);
    const double factor = 2.0 * std::acos(std::fmin(std::fmax(w, -1.0), 1.0)) / n;
    return {factor * x, factor * y, factor * z};
}

// Lengths of 10⁻⁶ … π − 10⁻⁶, crowded at both ends.
double randomAngle(int number, std::mt19937_64 &generator)
{
    constexpr double lowest = 1e-6, highest = pi - 1e-6;
    switch (number % 4) {
    case 0:
        return randomMagnitude(lowest, highest, generator);
    case 1:
        return std::fmax(lowest, pi - randomMagnitude(1e-6, pi, generator));
    default:
        return std::uniform_real_distribution<double>(lowest, highest)(generator);
    }
}

TEST(RodParamBuildMat, ReportsANullMatrixAlone)
{
    const kmath_rodParam r = {0.1, 0.2, 0.3};
    kmath_matrix3 M;
    expectOneAssertion({[&] { kmath_rodParam_buildMat(&r, nullptr); }});
    EXPECT_TRUE(support::reportsNothing([&] { kmath_rodParam_buildMat(nullptr, &M); }));
}

TEST(RodParamBuildMat, TurnsAboutEachAxisRightHanded)
{
    EXPECT_LE(maxDifference(buildMat({pi / 2, 0, 0}), {1, 0, 0, 0, 0, -1, 0, 1, 0}), eps);
    EXPECT_LE(maxDifference(buildMat({0, pi / 2, 0}), {0, 0, 1, 0, 1, 0, -1, 0, 0}), eps);
    EXPECT_LE(maxDifference(buildMat({0, 0, pi / 2}), {0, -1, 0, 1, 0, 0, 0, 0, 1}), eps);
}

TEST(RodParamBuildMat, TurnsAboutAnObliqueAxis)
{
    const double third = 2.0 * pi / 3.0 / std::sqrt(3.0); // x to y to z to x
    EXPECT_LE(maxDifference(buildMat({third, third, third}), {0, 0, 1, 1, 0, 0, 0, 1, 0}), 4 * eps);
}

TEST(RodParamBuildMat, IsExactlyTheIdentityUpToTheThreshold)
{
    for (const double x : {0.0, -0.0, 1e-300, 1e-9, 1e-8})
        for (const double sign : {1.0, -1.0}) {
            EXPECT_TRUE(sameBits(buildMat({sign * x, 0, 0}), identity)) << x;
            EXPECT_TRUE(sameBits(buildMat({0, sign * x, 0}), identity)) << x;
            EXPECT_TRUE(sameBits(buildMat({0, 0, sign * x}), identity)) << x;
        }
}

TEST(RodParamBuildMat, TurnsJustAboveTheThreshold)
{
    const double x = justAboveThreshold;
    EXPECT_DOUBLE_EQ(buildMat({x, 0, 0}).m21, x);
    EXPECT_DOUBLE_EQ(buildMat({0, x, 0}).m02, x);
    EXPECT_DOUBLE_EQ(buildMat({0, 0, -x}).m01, x);
    EXPECT_NEAR(buildMat({7e-9, 7e-9, 7e-9}).m10, 7e-9, eps); // no component is above it
}

TEST(RodParamBuildMat, HasTheBitsOfThePlainFormula)
{
    std::mt19937_64 generator(11);
    for (int n = 0; n < 20000; ++n) {
        const kmath_rodParam r = randomVector(randomMagnitude(2e-8, 1e6, generator), generator);
        EXPECT_TRUE(sameBits(buildMat(r), textbookRotation(r))) << r.x << ' ' << r.y << ' ' << r.z;
    }
}

TEST(RodParamBuildMat, IsAccurateAndOrthogonalForAnyAngle)
{
    std::mt19937_64 generator(12);
    double worstOrthogonality = 0.0, worstError = 0.0;
    for (int n = 0; n < 100000; ++n) {
        const kmath_rodParam r = randomVector(randomMagnitude(2e-8, 1e5, generator), generator);
        const kmath_matrix3 M = buildMat(r);
        worstOrthogonality = std::fmax(worstOrthogonality, orthogonalityError(M));
        if (lengthOf(r) <= pi)
            worstError = std::fmax(worstError, maxError(M, exactRotation(r)));
    }
    EXPECT_LE(worstOrthogonality, 16 * eps);
    EXPECT_LE(worstError, 8 * eps);
}

TEST(RodParamBuildMat, TakesAnyNumber)
{
    for (const double x : {notANumber, -notANumber}) {
        EXPECT_TRUE(sameBits(buildMat({x, 0, 1}), identity));
        EXPECT_TRUE(sameBits(buildMat({0, x, 1}), identity));
        EXPECT_TRUE(sameBits(buildMat({infinity, 1, x}), identity));
    }
    const kmath_matrix3 allNaN = {notANumber, notANumber, notANumber, notANumber, notANumber,
                                  notANumber, notANumber, notANumber, notANumber};
    for (const double x : {infinity, -infinity, hugeNumber, -hugeNumber, 1e155}) {
        EXPECT_TRUE(sameBits(buildMat({x, 0, 0}), allNaN)) << x;
        EXPECT_TRUE(sameBits(buildMat({1, x, 0}), allNaN)) << x;
        EXPECT_TRUE(sameBits(buildMat({1, 1, x}), allNaN)) << x;
    }
    EXPECT_LE(orthogonalityError(buildMat({1e153, -1e153, 2e152})), 16 * eps);
    for (const double x : strangeNumbers)
        for (const double y : strangeNumbers)
            for (const double z : strangeNumbers)
                buildMat({x, y, z});
}

TEST(RodParamGetParam, ReportsNullRecords)
{
    kmath_rodParam r;
    expectOneAssertion({[&] { kmath_rodParam_getParam(nullptr, &r); },
                        [&] { kmath_rodParam_getParam(&identity, nullptr); }});
}

TEST(RodParamGetParam, IsZeroForTheIdentity)
{
    kmath_rodParam r;
    ASSERT_EQ(getParam(identity, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));
}

TEST(RodParamGetParam, TakesTheLargestDiagonalElementForHalfTurns)
{
    expectParam(diagonal(1, -1, -1), {pi, 0, 0}, 0.0);
    expectParam(diagonal(-1, 1, -1), {0, pi, 0}, 0.0);
    expectParam(diagonal(-1, -1, 1), {0, 0, pi}, 0.0);
}

TEST(RodParamGetParam, TakesTheFirstOfEqualDiagonalElements)
{
    // Half turns about axes between two others: the component on the element taken is positive.
    const double p = pi / std::sqrt(2.0);
    expectParam({0, -1, 0, -1, 0, 0, 0, 0, -1}, {p, -p, 0}, 4 * eps);
    expectParam({0, 0, -1, 0, -1, 0, -1, 0, 0}, {p, 0, -p}, 4 * eps);
    expectParam({-1, 0, 0, 0, 0, -1, 0, -1, 0}, {0, p, -p}, 4 * eps);
    expectParam(diagonal(-1, -1, -1), {pi, 0, 0}, 2 * eps); // a reflection, but no failure
}

TEST(RodParamGetParam, TakesATraceOfZeroByTheDiagonal)
{
    const double third = 2.0 * pi / 3.0 / std::sqrt(3.0);
    expectParam({0, 0, 1, 1, 0, 0, 0, 1, 0}, {third, third, third}, 4 * eps);
    // The inverse comes with its sign turned, by 240° instead of −120°.
    const double twice = 2.0 * third;
    expectParam({0, 1, 0, 0, 0, 1, 1, 0, 0}, {twice, twice, twice}, 8 * eps);
    // The least trace above 0 goes by w, and keeps the sign.
    expectParam({tinyNumber, 1, 0, 0, 0, 1, 1, 0, 0}, {-third, -third, -third}, 4 * eps);
}

TEST(RodParamGetParam, LeavesTheSignOfTheQuaternionAsItComes)
{
    const double angle = 2.5;
    expectParam(buildMat({angle, 0, 0}), {angle, 0, 0}, 8 * eps);
    expectParam(buildMat({-angle, 0, 0}), {2 * pi - angle, 0, 0}, 8 * eps);
    expectParam(buildMat({0, -angle, 0}), {0, 2 * pi - angle, 0}, 8 * eps);
    expectParam(buildMat({0, 0, -angle}), {0, 0, 2 * pi - angle}, 8 * eps);
}

TEST(RodParamGetParam, IsZeroForAQuaternionVectorUpToTheThreshold)
{
    // Root, w and s are exactly 1, 0.5 and 0.5 here, and the vector is half the element.
    kmath_rodParam r;
    ASSERT_EQ(getParam({1e-20, 0, 0, 0, 0, 0, 0, 2e-8, 0}, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));
    expectParam({1e-20, 0, 0, 0, 0, 0, 0, 2 * justAboveThreshold, 0}, {2 * pi / 3, 0, 0}, 4 * eps);
    ASSERT_EQ(getParam({1e-20, 0, 0, 0, 0, 0, -2e-8, 0, 0}, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));
    expectParam({1e-20, 0, 0, 0, 0, 0, -2 * justAboveThreshold, 0, 0}, {0, 2 * pi / 3, 0}, 4 * eps);
}

TEST(RodParamGetParam, ClampsTheCosine)
{
    // w = √(tr + 1)/2 above 1: the angle is 0 although the vector is not.
    kmath_rodParam r;
    ASSERT_EQ(getParam({2, 0, 0, 0, 2, 0, 0, 1, 2}, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));
    // w = ±2 by the diagonal: angles of 0 and of 2π.
    ASSERT_EQ(getParam({0, 0, 0, 0, 0, -2, 0, 2, 0}, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));
    expectParam({0, 0, 0, 0, 0, 2, 0, -2, 0}, {2 * pi, 0, 0}, 0.0);
}

TEST(RodParamGetParam, HasTheBitsOfThePlainFormula)
{
    std::mt19937_64 generator(13);
    for (int n = 0; n < 20000; ++n) {
        const kmath_matrix3 M =
            n % 2 ? randomMatrix3(generator)
                  : buildMat(randomVector(randomAngle(n / 2, generator), generator));
        kmath_rodParam r;
        ASSERT_EQ(getParam(M, r), KMATH_OK);
        const kmath_rodParam expected = textbookParam(M);
        EXPECT_TRUE(support::sameBits(r.x, expected.x) && support::sameBits(r.y, expected.y) &&
                    support::sameBits(r.z, expected.z))
            << M;
    }
}

TEST(RodParamGetParam, FailsOnlyForADiagonalWithoutNumbers)
{
    kmath_rodParam r;
    for (const kmath_matrix3 &base : {identity, diagonal(1, -1, -1), diagonal(-1, -1, -1),
                                      buildMat({0.4, -0.3, 0.2}), buildMat({-2.0, -1.0, 2.0})})
        for (int e = 0; e < 9; ++e)
            for (const double x : strangeNumbers) {
                kmath_matrix3 M = base;
                M.*elements[e] = x;
                const bool fails = e % 4 == 0 && std::isnan(x);
                EXPECT_EQ(getParam(M, r), fails ? KMATH_ERR_LEFT_HANDED : KMATH_OK) << M;
                EXPECT_EQ(isUntouched(r), fails) << M;
            }

    for (const kmath_matrix3 &M :
         {diagonal(-infinity, -infinity, -infinity), diagonal(infinity, -infinity, infinity),
          diagonal(notANumber, notANumber, notANumber)}) {
        EXPECT_EQ(getParam(M, r), KMATH_ERR_LEFT_HANDED) << M;
        EXPECT_TRUE(isUntouched(r)) << M;
    }
}

TEST(RodParamGetParam, SaysWhatBecomesOfANaNBesideTheDiagonal)
{
    kmath_rodParam r;
    kmath_matrix3 M = identity;
    M.m21 = notANumber; // in the vector
    ASSERT_EQ(getParam(M, r), KMATH_OK);
    EXPECT_TRUE(isZero(r));

    M = diagonal(1, -1, -1);
    M.m21 = notANumber; // in w
    ASSERT_EQ(getParam(M, r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.x) && std::isnan(r.y) && std::isnan(r.z));
}

TEST(RodParamGetParam, EndsForAnyNumbers)
{
    std::mt19937_64 generator(14);
    for (int n = 0; n < 20000; ++n) {
        const kmath_matrix3 M = strangeMatrix3(generator);
        kmath_rodParam r;
        if (getParam(M, r) != KMATH_OK) {
            EXPECT_EQ(getParam(M, r), KMATH_ERR_LEFT_HANDED);
            EXPECT_FALSE(std::isfinite(M.m00) && std::isfinite(M.m11) && std::isfinite(M.m22)) << M;
        }
    }
}

// The vector that stands in r's place: itself, or, where the trace is not above 0 and the component
// on the largest diagonal element is negative, the same rotation the long way round.
TEST(RodParam, ReturnsFromVectorOverMatrixToVector)
{
    std::mt19937_64 generator(15);
    double worst = 0.0, worstTurned = 0.0;
    int turned = 0;
    for (int n = 0; n < 1000000; ++n) {
        const kmath_rodParam r = randomVector(randomAngle(n, generator), generator);
        const kmath_matrix3 M = buildMat(r);
        kmath_rodParam back;
        ASSERT_EQ(getParam(M, back), KMATH_OK);

        const Extended x = r.x, y = r.y, z = r.z;
        const Extended theta = std::sqrt(x * x + y * y + z * z);
        const double v[3] = {r.x, r.y, r.z}, d[3] = {M.m00, M.m11, M.m22};
        const bool isTurned = d[0] + d[1] + d[2] <= 0.0 && v[std::max_element(d, d + 3) - d] < 0.0;
        const Extended factor = isTurned ? 1.0L - 2.0L * exactPi / theta : 1.0L;
        const Extended dx = back.x - factor * x, dy = back.y - factor * y, dz = back.z - factor * z;
        const double error =
            static_cast<double>(std::sqrt(dx * dx + dy * dy + dz * dz) * std::sin(theta / 2.0L));
        turned += isTurned;
        (isTurned ? worstTurned : worst) = std::fmax(isTurned ? worstTurned : worst, error);
    }
    EXPECT_LE(worst, 16 * eps);
    EXPECT_LE(worstTurned, 16 * eps);
    EXPECT_GT(turned, 100000);
}

TEST(RodParamComputeJacob, ReportsNullRecords)
{
    const kmath_rodParam r = {0.1, 0.2, 0.3};
    kmath_matrix3 x, y, z, R;
    expectOneAssertion({[&] { kmath_rodParam_computeJacob(nullptr, &x, &y, &z, &R); },
                        [&] { kmath_rodParam_computeJacob(&r, nullptr, &y, &z, &R); },
                        [&] { kmath_rodParam_computeJacob(&r, &x, nullptr, &z, &R); },
                        [&] { kmath_rodParam_computeJacob(&r, &x, &y, nullptr, &R); },
                        [&] { kmath_rodParam_computeJacob(&r, &x, &y, &z, nullptr); }});
}

struct Jacobian {
    kmath_matrix3 d[3];
    kmath_matrix3 R;
};

Jacobian jacobian(const kmath_rodParam &r)
{
    Jacobian J = {{untouched, untouched, untouched}, untouched};
    EXPECT_EQ(kmath_rodParam_computeJacob(&r, &J.d[0], &J.d[1], &J.d[2], &J.R), KMATH_OK);
    return J;
}

TEST(RodParamComputeJacob, HasTheBitsOfThePlainDifferences)
{
    std::mt19937_64 generator(16);
    for (int n = 0; n < 5000; ++n) {
        const kmath_rodParam r = randomVector(randomMagnitude(1e-9, 100.0, generator), generator);
        const Jacobian J = jacobian(r);
        const kmath_matrix3 R = buildMat(r);
        EXPECT_TRUE(sameBits(J.R, R));
        const kmath_rodParam stepped[3] = {
            {r.x + 1e-8, r.y, r.z}, {r.x, r.y + 1e-8, r.z}, {r.x, r.y, r.z + 1e-8}};
        for (int c = 0; c < 3; ++c) {
            const kmath_matrix3 next = buildMat(stepped[c]);
            for (const auto e : elements)
                EXPECT_TRUE(support::sameBits(J.d[c].*e, (next.*e - R.*e) * 1e8));
        }
    }
}

TEST(RodParamComputeJacob, IsZeroAtTheIdentity)
{
    const Jacobian J = jacobian({0, 0, 0});
    EXPECT_TRUE(sameBits(J.R, identity));
    for (const kmath_matrix3 &D : J.d)
        EXPECT_EQ(maxDifference(D, kmath_matrix3{}), 0.0);
}

TEST(RodParamComputeJacob, IsZeroWhereNoStepLeavesTheIdentity)
{
    const Jacobian J = jacobian({-2e-9, -3e-9, -1e-9});
    for (const kmath_matrix3 &D : J.d)
        EXPECT_EQ(maxDifference(D, kmath_matrix3{}), 0.0);
    // One step that does leave it: the others stay.
    const Jacobian mixed = jacobian({1e-9, -3e-9, -3e-9});
    EXPECT_NEAR(mixed.d[0].m21, 1.1, 1e-7);
    EXPECT_EQ(maxDifference(mixed.d[1], kmath_matrix3{}), 0.0);
    EXPECT_EQ(maxDifference(mixed.d[2], kmath_matrix3{}), 0.0);
}

// A step that leaves the sphere of the identity takes all of the rotation with it.
TEST(RodParamComputeJacob, IsNoDerivativeAcrossTheThreshold)
{
    const Jacobian J = jacobian({1e-8, 0, 0});
    EXPECT_NEAR(J.d[0].m21, 2.0, 1e-7);
    EXPECT_NEAR(J.d[1].m21, 1.0, 1e-7);
    EXPECT_NEAR(J.d[1].m02, 1.0, 1e-7);
    const Jacobian inwards = jacobian({-justAboveThreshold, 0, 0});
    EXPECT_NEAR(inwards.d[0].m21, 1.0, 1e-7); // from −1e-8 to the identity at about 0
    const Jacobian half = jacobian({-1.5e-8, 0, 0});
    EXPECT_NEAR(half.d[0].m21, 1.5, 1e-7);
}

TEST(RodParamComputeJacob, ApproximatesTheDerivative)
{
    std::mt19937_64 generator(17);
    const struct {
        double lowest, highest, bound;
    } ranges[] = {{2.1e-8, 1e-3, 2.5e-8}, {1e-3, 1.0, 5e-8}, {1.0, pi, 2e-7}, {pi, 100.0, 4e-6}};
    for (const auto &range : ranges) {
        double worst = 0.0;
        for (int n = 0; n < 20000; ++n) {
            const double theta = randomMagnitude(range.lowest, range.highest, generator);
            const kmath_rodParam r = randomVector(theta, generator);
            const Jacobian J = jacobian(r);
            for (int c = 0; c < 3; ++c)
                worst = std::fmax(worst, maxError(J.d[c], exactDerivative(r, c)));
        }
        EXPECT_LE(worst, range.bound) << "up to " << range.highest;
        EXPECT_GT(worst, range.bound / 10.0) << "up to " << range.highest;
    }
}

TEST(RodParamComputeJacob, TakesAnyNumber)
{
    for (const double x : strangeNumbers)
        for (const double y : strangeNumbers)
            for (const double z : strangeNumbers)
                jacobian({x, y, z});
}

TEST(RodParam, AllocatesNothing)
{
    EXPECT_EQ(allocationsOf([] {
                  const Jacobian J = jacobian({0.1, 0.2, 0.3});
                  kmath_rodParam r;
                  getParam(J.R, r);
              }),
              0);
}

} // namespace
