// Rotation vectors, Euler angles and the closest rotation seen from outside: every step in bits
// against its written-out formula, both sides of every bound, what failures leave behind, and what
// is handed to the clean-up stack.
#include <kmath/nmmatrix.h>
#include <kmath/platform.h>
#include <kmath/rotations.h>

#include "contract/textbook_matrix3.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <vector>

namespace
{

using support::Matrix;
using support::sameBits;
using textbook::at;
using textbook::determinant;
using textbook::product;
using textbook::same;

/// One clean-up: what was registered, under which tag, and with which status the function left.
struct Cleanup {
    std::vector<ksys_cleanupEntry> entries;
    std::uint32_t tag;
    kmath_status status;
};

thread_local std::vector<Cleanup> *cleanups = nullptr;
std::atomic<std::uint32_t> lastTag{0};

} // namespace

// The clean-up stack of this program: it tells what it was given, then destructs it in reverse.
std::uint32_t ksys_cleanup_getNextTag(void) { return ++lastTag; }

kmath_status ksys_cleanupExecute_(ksys_cleanupEntry *entries, std::int32_t *count,
                                  kmath_status *status, std::uint32_t tag)
{
    if (cleanups)
        cleanups->push_back({{entries, entries + *count}, tag, *status});
    while (*count > 0) {
        const ksys_cleanupEntry entry = entries[--*count];
        if (entry.kind == KSYS_CLEANUP_ON_FAILURE && !KMATH_IS_FAILURE(*status))
            continue;
        const kmath_status released = entry.destruct(entry.object);
        if (!KMATH_IS_FAILURE(*status))
            *status = released;
    }
    return *status;
}

namespace
{

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double epsilon = std::numeric_limits<double>::epsilon();
const double pi = std::acos(-1.0);

using Mat3 = kmath_matrix3;
using Rod = kmath_rodParam;
using Angles = kmath_angle3Vect;

static_assert(sizeof(Rod) == 24 && offsetof(Rod, x) == 0 && offsetof(Rod, y) == 8 &&
              offsetof(Rod, z) == 16);
static_assert(sizeof(Angles) == 24 && offsetof(Angles, ax) == 0 && offsetof(Angles, ay) == 8 &&
              offsetof(Angles, az) == 16);

const Mat3 identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const Mat3 canary = {3, 4, 5, 6, 7, 8, 9, 10, 11};

bool same(const Rod &a, const Rod &b)
{
    return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.z, b.z);
}

bool same(const Angles &a, const Angles &b)
{
    return sameBits(a.ax, b.ax) && sameBits(a.ay, b.ay) && sameBits(a.az, b.az);
}

Mat3 diag(double a, double b, double c) { return {a, 0, 0, 0, b, 0, 0, 0, c}; }

Mat3 transposed(const Mat3 &m)
{
    return {m.m00, m.m10, m.m20, m.m01, m.m11, m.m21, m.m02, m.m12, m.m22};
}

double distance(const Mat3 &a, const Mat3 &b)
{
    double largest = 0;
    for (int i = 0; i < 9; ++i)
        largest = std::max(largest, std::fabs((&a.m00)[i] - (&b.m00)[i]));
    return largest;
}

Mat3 plainRodrigues(const Rod &r)
{
    const double theta = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z);
    if (!(std::fabs(theta) > 1e-8))
        return identity;
    const Mat3 K = {0, -r.z, r.y, r.z, 0, -r.x, -r.y, r.x, 0};
    const Mat3 K2 = product(K, K);
    const double a = std::sin(theta) / theta, b = (1 - std::cos(theta)) / (theta * theta);
    Mat3 M;
    for (int i = 0; i < 9; ++i)
        (&M.m00)[i] = (&identity.m00)[i] + a * (&K.m00)[i] + b * (&K2.m00)[i];
    return M;
}

/// False where there is no quaternion.
bool plainParam(const Mat3 &M, Rod &r)
{
    double w, q[3];
    const double trace = at(M, 0, 0) + at(M, 1, 1) + at(M, 2, 2);
    if (trace > 0) {
        double s = std::sqrt(trace + 1);
        w = s / 2;
        s = 0.5 / s;
        q[0] = (at(M, 2, 1) - at(M, 1, 2)) * s;
        q[1] = (at(M, 0, 2) - at(M, 2, 0)) * s;
        q[2] = (at(M, 1, 0) - at(M, 0, 1)) * s;
    } else {
        int i = 0;
        if (!(at(M, 0, 0) >= at(M, 1, 1)))
            i = 1;
        if (!(at(M, i, i) >= at(M, 2, 2)))
            i = 2;
        const int j = (i + 1) % 3, k = (j + 1) % 3;
        const double t = at(M, i, i) - (at(M, j, j) + at(M, k, k)) + 1;
        if (!(t >= 0))
            return false;
        double s = std::sqrt(t);
        q[i] = s / 2;
        s = 0.5 / s;
        w = (at(M, k, j) - at(M, j, k)) * s;
        q[j] = (at(M, j, i) + at(M, i, j)) * s;
        q[k] = (at(M, k, i) + at(M, i, k)) * s;
    }
    const double n = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
    const double angle = 2 * std::acos(w > 1 ? 1.0 : w < -1 ? -1.0 : w);
    r = {0, 0, 0};
    if (std::fabs(n) > 1e-8)
        r = {(angle / n) * q[0], (angle / n) * q[1], (angle / n) * q[2]};
    return true;
}

/// The closest orthogonal matrix in its stated steps; only the decomposition is the library's.
kmath_status plainClosest(const Mat3 &M, Mat3 &R, bool allowLeftHanded)
{
    Matrix A(3, 3), U, W, V;
    for (int i = 0; i < 9; ++i)
        A(i / 3, i % 3) = (&M.m00)[i];
    bool orthogonal = true;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0;
            for (int k = 0; k < 3; ++k)
                s += A(k, i) * A(k, j);
            orthogonal = orthogonal && std::fabs(s - (i == j ? 1 : 0)) <= 1e-15;
        }
    if (orthogonal) {
        if (!allowLeftHanded && determinant(M) <= 0)
            return KMATH_ERR_LEFT_HANDED;
        R = M;
        return KMATH_OK;
    }
    const kmath_status status = kmath_nmmatrix_decompose(&A, &U, &W, &V);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0;
            for (int k = 0; k < 3; ++k)
                s += U(i, k) * V(j, k);
            at(R, i, j) = s;
        }
    return !allowLeftHanded && determinant(R) < 0 ? KMATH_ERR_LEFT_HANDED : KMATH_OK;
}

/// atan2 in (−π, π]: a zero has no sign here.
double direction(double y, double x) { return std::atan2(y == 0 ? 0.0 : y, x == 0 ? 0.0 : x); }

Angles plainAngles(const Mat3 &R)
{
    if (std::fabs(R.m00) <= 1e-15 && std::fabs(R.m01) <= 1e-15)
        return {0, direction(R.m02, R.m22), direction(R.m10, R.m11)};
    return {direction(-R.m12, R.m22), std::asin(std::clamp(R.m02, -1.0, 1.0)),
            direction(-R.m01, R.m00)};
}

Mat3 plainEuler(const Angles &angles)
{
    double c = std::cos(angles.ax), s = std::sin(angles.ax);
    const Mat3 X = {1, 0, 0, 0, c, -s, 0, s, c};
    c = std::cos(angles.ay), s = std::sin(angles.ay);
    const Mat3 Y = {c, 0, s, 0, 1, 0, -s, 0, c};
    c = std::cos(angles.az), s = std::sin(angles.az);
    const Mat3 Z = {c, -s, 0, s, c, 0, 0, 0, 1};
    return product(product(X, Y), Z);
}

Rod randomRod(std::mt19937_64 &generator, double length)
{
    std::normal_distribution<double> normal;
    const double x = normal(generator), y = normal(generator), z = normal(generator);
    const double scale = length / std::sqrt(x * x + y * y + z * z);
    return {x * scale, y * scale, z * scale};
}

Mat3 randomMat3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    Mat3 m;
    for (int i = 0; i < 9; ++i)
        (&m.m00)[i] = uniform(generator);
    return m;
}

Mat3 strangeMat3(std::mt19937_64 &generator)
{
    const double strange[] = {0.0, -0.0, nan, inf, -inf, 1e308, -1e308, 1e-200, 5e-324, -1.0};
    std::uniform_int_distribution<int> where(0, 8), what(0, 9), howMany(1, 5);
    Mat3 m = randomMat3(generator);
    for (int n = howMany(generator); n > 0; --n)
        (&m.m00)[where(generator)] = strange[what(generator)];
    return m;
}

TEST(RotationVectorRules, BuildMatHasTheBitsOfTheRodriguesFormula)
{
    std::mt19937_64 generator(51);
    std::uniform_real_distribution<double> exponent(-12, 155);
    for (int trial = 0; trial < 3000; ++trial) {
        const double length = trial % 2 == 0 ? std::pow(10.0, exponent(generator))
                                             : 7.0 * static_cast<double>(trial) / 3000;
        const Rod r = randomRod(generator, length);
        Mat3 M = canary;
        EXPECT_EQ(kmath_rodParam_buildMat(&r, &M), KMATH_OK);
        EXPECT_TRUE(same(M, plainRodrigues(r))) << length;
    }
    for (const Rod r :
         {Rod{inf, 0, 0}, Rod{0, -inf, 1}, Rod{1e200, 0, 0}, Rod{nan, 1, 1}, Rod{1, 2, nan},
          Rod{1e-170, 0, 0}, Rod{-0.0, 0, 0}, Rod{1e150, 1, 1e-150}, Rod{nan, inf, 0}}) {
        Mat3 M = canary;
        EXPECT_EQ(kmath_rodParam_buildMat(&r, &M), KMATH_OK);
        EXPECT_TRUE(same(M, plainRodrigues(r))) << r.x << ' ' << r.y << ' ' << r.z;
    }
}

TEST(RotationVectorRules, SmallAnglesAreNoRotationAtAll)
{
    const double above = std::nextafter(1e-8, 1.0);
    const auto built = [](const Rod &r) {
        Mat3 M = canary;
        EXPECT_EQ(kmath_rodParam_buildMat(&r, &M), KMATH_OK);
        return M;
    };
    for (const double x : {0.0, 1e-9, 1e-8, -1e-8, 5e-324}) {
        EXPECT_TRUE(same(built({x, 0, 0}), identity)) << x;
        EXPECT_TRUE(same(built({0, x, 0}), identity)) << x;
        EXPECT_TRUE(same(built({0, 0, x}), identity)) << x;
    }
    EXPECT_TRUE(same(built({nan, nan, nan}), identity));
    EXPECT_NEAR(built({above, 0, 0}).m21, 1e-8, 1e-16);
    EXPECT_NEAR(built({-above, 0, 0}).m21, -1e-8, 1e-16);
    EXPECT_NEAR(built({0, above, 0}).m02, 1e-8, 1e-16);
    EXPECT_NEAR(built({0, 0, above}).m10, 1e-8, 1e-16);
    // The length decides, not the components.
    EXPECT_NEAR(built({0.9e-8, 0.9e-8, 0}).m21, 0.9e-8, 1e-16);
}

TEST(RotationVectorRules, BuildMatTurnsByTheRightHand)
{
    Mat3 M;
    const Rod z = {0, 0, pi / 2};
    EXPECT_EQ(kmath_rodParam_buildMat(&z, &M), KMATH_OK);
    EXPECT_LE(distance(M, {0, -1, 0, 1, 0, 0, 0, 0, 1}), 2e-16);
    for (const double t : {0.3, -1.0, 2.5, pi, 5.0}) {
        const radian angle = {t};
        Mat3 expected;
        const Rod rx = {t, 0, 0}, ry = {0, t, 0}, rz = {0, 0, t};
        kmath_matrix3_initRotationAroundXAxis(&expected, &angle);
        kmath_rodParam_buildMat(&rx, &M);
        EXPECT_LE(distance(M, expected), 4 * epsilon);
        kmath_matrix3_initRotationAroundYAxis(&expected, &angle);
        kmath_rodParam_buildMat(&ry, &M);
        EXPECT_LE(distance(M, expected), 4 * epsilon);
        kmath_matrix3_initRotationAroundZAxis(&expected, &angle);
        kmath_rodParam_buildMat(&rz, &M);
        EXPECT_LE(distance(M, expected), 4 * epsilon);
    }
    std::mt19937_64 generator(52);
    for (int trial = 0; trial < 5000; ++trial) {
        const Rod r = randomRod(generator, pi * trial / 5000);
        kmath_rodParam_buildMat(&r, &M);
        EXPECT_LE(distance(product(transposed(M), M), identity), 16 * epsilon);
        EXPECT_NEAR(determinant(M), 1, 16 * epsilon);
        // The axis stays where it is.
        EXPECT_NEAR(M.m00 * r.x + M.m01 * r.y + M.m02 * r.z, r.x, 16 * epsilon);
        EXPECT_NEAR(M.m10 * r.x + M.m11 * r.y + M.m12 * r.z, r.y, 16 * epsilon);
    }
}

TEST(RotationVectorRules, GetParamHasTheBitsOfItsSteps)
{
    std::mt19937_64 generator(53);
    int refused = 0, upper = 0, lower = 0;
    for (int trial = 0; trial < 12000; ++trial) {
        Mat3 M = trial % 3 == 0 ? randomMat3(generator) : strangeMat3(generator);
        if (trial % 3 == 1)
            M = plainRodrigues(randomRod(generator, 7.0 * trial / 12000));
        Rod expected = {7, 8, 9}, r = expected;
        const bool possible = plainParam(M, expected);
        refused += !possible;
        (M.m00 + M.m11 + M.m22 > 0 ? upper : lower) += possible;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), possible ? KMATH_OK : KMATH_ERR_LEFT_HANDED);
        EXPECT_TRUE(same(r, expected)) << trial;
    }
    EXPECT_GT(refused, 100);
    EXPECT_GT(upper, 1000);
    EXPECT_GT(lower, 1000);
}

TEST(RotationVectorRules, GetParamOfSingleMatrices)
{
    const auto param = [](const Mat3 &M) {
        Rod r = {7, 8, 9};
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        return r;
    };
    EXPECT_TRUE(same(param(identity), {0, 0, 0}));
    Rod r = param(diag(1, -1, -1));
    EXPECT_TRUE(same(r, {2 * std::acos(0.0), 0, 0}));
    EXPECT_NEAR(r.x, pi, 1e-15);
    EXPECT_TRUE(same(param(diag(-1, 1, -1)), {0, 2 * std::acos(0.0), 0}));
    EXPECT_TRUE(same(param(diag(-1, -1, 1)), {0, 0, 2 * std::acos(0.0)}));
    // A reflection does not fail: three equal diagonal elements, the first of them counts.
    EXPECT_NEAR(param(diag(-1, -1, -1)).x, pi, 1e-15);
    EXPECT_EQ(param(diag(-1, -1, -1)).y, 0);
    EXPECT_EQ(param(diag(-1, -1, -1)).z, 0);
    // Ties keep the lower index.
    EXPECT_NEAR(param(diag(-1, 0, 0)).y, pi, 1e-15);
    EXPECT_NEAR(param(diag(0, -1, 0)).x, pi, 1e-15);
    EXPECT_NEAR(param(diag(0, 0, -1)).x, pi, 1e-15);
    EXPECT_NEAR(param(diag(-1, std::nextafter(-1.0, 0.0), -1)).y, pi, 1e-15);
    EXPECT_NEAR(param(diag(-1, -1, std::nextafter(-1.0, 0.0))).z, pi, 1e-15);
    // A trace of exactly 0 picks a diagonal element, the least trace above it does not.
    EXPECT_NEAR(param(diag(0.5, 0.25, -0.75)).x, pi, 1e-15);
    EXPECT_TRUE(same(param(diag(0.5, 0.25, std::nextafter(-0.75, 0.0))), {0, 0, 0}));
    // Beyond [−1, 1] the real part of the quaternion is clamped.
    EXPECT_TRUE(same(param({5, 0, 0, 0, 5, -1, 0, 1, 5}), {0, 0, 0}));
    r = param({0.5, 0, 0, 0, -1, 4, 0, -4, -1});
    EXPECT_NEAR(r.x, 2 * pi, 1e-15);
    EXPECT_EQ(r.y, 0);
}

TEST(RotationVectorRules, TheSignOfTheQuaternionIsLeftAsItComes)
{
    // Turned by more than 120° about −x, −y, −z: the vector comes out the long way round.
    const double t = 2.5;
    for (int axis = 0; axis < 3; ++axis) {
        Rod given = {0, 0, 0}, r;
        (&given.x)[axis] = -t;
        Mat3 M;
        kmath_rodParam_buildMat(&given, &M);
        ASSERT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_NEAR((&r.x)[axis], 2 * pi - t, 1e-14);
        (&given.x)[axis] = t;
        kmath_rodParam_buildMat(&given, &M);
        ASSERT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_NEAR((&r.x)[axis], t, 1e-14);
        (&given.x)[axis] = -1; // below 120° it does not
        kmath_rodParam_buildMat(&given, &M);
        ASSERT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_NEAR((&r.x)[axis], -1, 1e-15);
    }
}

TEST(RotationVectorRules, VanishingQuaternionsGiveNoRotation)
{
    // Trace 2.5, so that the real part alone would make an angle; each component of q in turn.
    const double s = 0.5 / std::sqrt(3.5);
    double d = 1e-8 / s;
    while (d * s > 1e-8)
        d = std::nextafter(d, 0.0);
    while (std::nextafter(d, 1.0) * s <= 1e-8)
        d = std::nextafter(d, 1.0);
    const double above = std::nextafter(d, 1.0);
    const int rows[] = {2, 0, 1}, cols[] = {1, 2, 0};
    for (int axis = 0; axis < 3; ++axis) {
        Mat3 M = diag(1, 1, 0.5);
        Rod r = {7, 8, 9};
        at(M, rows[axis], cols[axis]) = d;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_TRUE(same(r, {0, 0, 0})) << axis;
        at(M, rows[axis], cols[axis]) = above;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_NEAR((&r.x)[axis], 2 * std::acos(std::sqrt(3.5) / 2), 1e-12) << axis;
        at(M, rows[axis], cols[axis]) = -above;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        EXPECT_NEAR((&r.x)[axis], -2 * std::acos(std::sqrt(3.5) / 2), 1e-12) << axis;
    }
}

TEST(RotationVectorRules, NaNOnTheDiagonalHasNoQuaternion)
{
    Rod r = {7, 8, 9};
    for (int i = 0; i < 3; ++i) {
        Mat3 M = identity;
        at(M, i, i) = nan;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_ERR_LEFT_HANDED);
        M = diag(-1, -1, -1);
        at(M, i, i) = nan;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_ERR_LEFT_HANDED);
    }
    const Mat3 all = diag(nan, nan, nan), low = diag(-inf, -inf, -inf);
    EXPECT_EQ(kmath_rodParam_getParam(&all, &r), KMATH_ERR_LEFT_HANDED);
    EXPECT_EQ(kmath_rodParam_getParam(&low, &r), KMATH_ERR_LEFT_HANDED);
    EXPECT_TRUE(same(r, {7, 8, 9}));
    // Finite matrices always have one.
    std::mt19937_64 generator(54);
    for (int trial = 0; trial < 2000; ++trial) {
        Mat3 M = randomMat3(generator);
        const double scale = std::pow(10.0, (trial % 600) - 300);
        for (int i = 0; i < 9; ++i)
            (&M.m00)[i] *= scale;
        EXPECT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
    }
}

TEST(RotationVectorRules, VectorsComeBackFromTheirMatrices)
{
    std::mt19937_64 generator(55);
    std::uniform_real_distribution<double> uniform(1e-6, pi - 1e-6);
    for (int trial = 0; trial < 20000; ++trial) {
        const double theta =
            trial % 4 == 0 ? std::pow(10.0, -6.0 * trial / 20000) : uniform(generator);
        const Rod given = randomRod(generator, theta);
        Mat3 M;
        Rod r;
        kmath_rodParam_buildMat(&given, &M);
        ASSERT_EQ(kmath_rodParam_getParam(&M, &r), KMATH_OK);
        double turned = 1; // where the long way round comes out
        if (M.m00 + M.m11 + M.m22 <= 0 && r.x * given.x + r.y * given.y + r.z * given.z < 0)
            turned = 1 - 2 * pi / theta;
        const double error =
            std::hypot(r.x - turned * given.x, r.y - turned * given.y, r.z - turned * given.z);
        EXPECT_LE(error, 16 * epsilon / std::sin(theta / 2)) << theta;
    }
}

TEST(RotationVectorRules, JacobianHasTheBitsOfItsForwardDifferences)
{
    std::mt19937_64 generator(56);
    for (int trial = 0; trial < 1000; ++trial) {
        Rod r = randomRod(generator, std::pow(10.0, -10.0 + 14.0 * trial / 1000));
        if (trial % 50 == 0)
            (&r.x)[trial / 50 % 3] = trial % 100 == 0 ? nan : inf;
        Mat3 d[3] = {canary, canary, canary}, R = canary;
        EXPECT_EQ(kmath_rodParam_computeJacob(&r, &d[0], &d[1], &d[2], &R), KMATH_OK);
        const Mat3 base = plainRodrigues(r);
        EXPECT_TRUE(same(R, base));
        for (int p = 0; p < 3; ++p) {
            Rod moved = r;
            (&moved.x)[p] += 1e-8;
            Mat3 expected = plainRodrigues(moved);
            for (int i = 0; i < 9; ++i)
                (&expected.m00)[i] = ((&expected.m00)[i] - (&base.m00)[i]) * 1e8;
            EXPECT_TRUE(same(d[p], expected)) << trial << ' ' << p;
        }
    }
}

TEST(RotationVectorRules, JacobianIsNearTheDerivativeAwayFromZero)
{
    std::mt19937_64 generator(57);
    for (int trial = 0; trial < 200; ++trial) {
        const Rod r = randomRod(generator, 0.1 + 3.0 * trial / 200);
        Mat3 d[3], R;
        ASSERT_EQ(kmath_rodParam_computeJacob(&r, &d[0], &d[1], &d[2], &R), KMATH_OK);
        for (int p = 0; p < 3; ++p) {
            const double h = 1e-4; // central differences: their error is of the order h²
            Rod before = r, after = r;
            (&before.x)[p] -= h;
            (&after.x)[p] += h;
            const Mat3 B = plainRodrigues(before), A = plainRodrigues(after);
            for (int i = 0; i < 9; ++i)
                EXPECT_NEAR((&d[p].m00)[i], ((&A.m00)[i] - (&B.m00)[i]) / (2 * h), 3e-7);
        }
    }
}

TEST(RotationVectorRules, JacobianVanishesAtZeroAndIsOffNearIt)
{
    const Rod zero = {0, 0, 0}, near = {5e-9, 0, 0};
    Mat3 d[3] = {canary, canary, canary}, R = canary;
    EXPECT_EQ(kmath_rodParam_computeJacob(&zero, &d[0], &d[1], &d[2], &R), KMATH_OK);
    EXPECT_TRUE(same(R, identity));
    for (const Mat3 &one : d)
        EXPECT_TRUE(same(one, diag(0, 0, 0)));
    // From below the least angle that counts, the step reaches above it.
    EXPECT_EQ(kmath_rodParam_computeJacob(&near, &d[0], &d[1], &d[2], &R), KMATH_OK);
    EXPECT_TRUE(same(R, identity));
    EXPECT_NEAR(d[0].m21, 1.5, 1e-7);
    EXPECT_NEAR(d[1].m02, 1, 1e-7);
    EXPECT_NEAR(d[1].m21, 0.5, 1e-7);
}

using ClosestFunction = kmath_status (*)(const Mat3 *, Mat3 *);
const struct {
    ClosestFunction function;
    bool allowLeftHanded;
} closestFunctions[] = {{kmath_rodParam_findClosestRotation, false},
                        {kmath_rodParam_findClosestRotationAllowLeftHanded, true}};

TEST(ClosestRotationRules, HasTheBitsOfItsSteps)
{
    std::mt19937_64 generator(58);
    std::normal_distribution<double> normal;
    int failed = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        Mat3 M = plainRodrigues(randomRod(generator, 6.0 * trial / 4000));
        switch (trial % 5) {
        case 0: // nearly orthogonal, from rounding noise to far off
            for (int i = 0; i < 9; ++i)
                (&M.m00)[i] += normal(generator) * std::pow(10.0, -(trial % 17));
            break;
        case 1: // a reflection, scaled or not
            for (int i = 0; i < 9; ++i)
                (&M.m00)[i] *= trial % 2 == 0 ? -1 : -3;
            break;
        case 2:
            M = randomMat3(generator);
            break;
        case 3: // of lower rank
            M = product(randomMat3(generator), diag(trial % 2, 1, 0));
            break;
        default:
            break;
        }
        for (const auto &[closest, allowLeftHanded] : closestFunctions) {
            Mat3 expected = canary, R = canary;
            const kmath_status status = plainClosest(M, expected, allowLeftHanded);
            failed += KMATH_IS_FAILURE(status);
            EXPECT_EQ(closest(&M, &R), status) << trial;
            EXPECT_TRUE(same(R, expected)) << trial;
            Mat3 inPlace = M;
            if (same(expected, canary))
                expected = M;
            EXPECT_EQ(closest(&inPlace, &inPlace), status) << trial;
            EXPECT_TRUE(same(inPlace, expected)) << trial;
        }
    }
    EXPECT_GT(failed, 500);
    EXPECT_LT(failed, 3000);
}

TEST(ClosestRotationRules, StrangeNumbersEndAsTheDecompositionDoes)
{
    std::mt19937_64 generator(59);
    for (int trial = 0; trial < 1000; ++trial) {
        const Mat3 M = strangeMat3(generator);
        for (const auto &[closest, allowLeftHanded] : closestFunctions) {
            Mat3 expected = canary, R = canary;
            EXPECT_EQ(closest(&M, &R), plainClosest(M, expected, allowLeftHanded));
            EXPECT_TRUE(same(R, expected)) << trial;
        }
    }
}

TEST(ClosestRotationRules, IsThePolarFactor)
{
    std::mt19937_64 generator(60);
    int rotations = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        const Mat3 M = randomMat3(generator);
        const double det = determinant(M);
        if (std::fabs(det) < 1e-2)
            continue;
        Mat3 R = canary;
        ASSERT_EQ(kmath_rodParam_findClosestRotationAllowLeftHanded(&M, &R), KMATH_OK);
        EXPECT_LE(distance(product(transposed(R), R), identity), 32 * epsilon);
        EXPECT_GT(determinant(R) * det, 0);
        // RᵀM is symmetric and positive definite for the closest orthogonal matrix and no other.
        const Mat3 H = product(transposed(R), M);
        EXPECT_LE(distance(H, transposed(H)), 1e-14);
        EXPECT_GT(H.m00, 0);
        EXPECT_GT(H.m00 * H.m11 - H.m01 * H.m10, 0);
        EXPECT_GT(determinant(H), 0);
        Mat3 S = canary;
        EXPECT_EQ(kmath_rodParam_findClosestRotation(&M, &S),
                  det > 0 ? KMATH_OK : KMATH_ERR_LEFT_HANDED);
        EXPECT_TRUE(same(S, R)) << "written before a reflection is refused";
        rotations += det > 0;
    }
    EXPECT_GT(rotations, 500);
}

TEST(ClosestRotationRules, ReflectionsLeaveWhatTheirBranchHasWritten)
{
    Mat3 R = canary;
    const Mat3 twice = diag(2, 2, 2), mirror = diag(1, 1, -1), scaledMirror = diag(2, 2, -2);
    EXPECT_EQ(kmath_rodParam_findClosestRotation(&twice, &R), KMATH_OK);
    EXPECT_LE(distance(R, identity), 4 * epsilon);
    R = canary;
    EXPECT_EQ(kmath_rodParam_findClosestRotation(&mirror, &R), KMATH_ERR_LEFT_HANDED);
    EXPECT_TRUE(same(R, canary));
    EXPECT_EQ(kmath_rodParam_findClosestRotation(&scaledMirror, &R), KMATH_ERR_LEFT_HANDED);
    EXPECT_LE(distance(R, mirror), 4 * epsilon);
    R = canary;
    EXPECT_EQ(kmath_rodParam_findClosestRotationAllowLeftHanded(&mirror, &R), KMATH_OK);
    EXPECT_TRUE(same(R, mirror));
    R = canary;
    EXPECT_EQ(kmath_rodParam_findClosestRotationAllowLeftHanded(&scaledMirror, &R), KMATH_OK);
    EXPECT_LE(distance(R, mirror), 4 * epsilon);
    R = canary;
    EXPECT_EQ(kmath_rodParam_findClosestRotationAllowLeftHanded(&twice, &R), KMATH_OK);
    EXPECT_LE(distance(R, identity), 4 * epsilon);
}

TEST(ClosestRotationRules, OrthogonalToWithinTheBoundIsCopiedUnchanged)
{
    for (const auto &[closest, allowLeftHanded] : closestFunctions) {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                // Off the diagonal the product takes over the element; on it, it is the square.
                const bool square = i == j;
                for (const double sign : {1.0, -1.0}) {
                    Mat3 M = identity, R = canary;
                    at(M, i, j) = square ? 1 + sign * 2 * epsilon : sign * 1e-15;
                    EXPECT_EQ(closest(&M, &R), KMATH_OK);
                    EXPECT_TRUE(same(R, M)) << i << j;
                    at(M, i, j) = square ? 1 + sign * 3 * epsilon : sign * std::nextafter(1e-15, 1);
                    Mat3 expected = canary;
                    EXPECT_EQ(closest(&M, &R), plainClosest(M, expected, allowLeftHanded));
                    EXPECT_TRUE(same(R, expected));
                    EXPECT_FALSE(same(R, M)) << i << j;
                }
            }
    }
}

TEST(ClosestRotationRules, NothingIsFiniteAboutNaN)
{
    for (const auto &[closest, allowLeftHanded] : closestFunctions)
        for (const double bad : {nan, inf, -inf})
            for (int i = 0; i < 9; ++i) {
                Mat3 M = identity, R = canary;
                (&M.m00)[i] = bad;
                Matrix A(3, 3), U, W, V;
                for (int k = 0; k < 9; ++k)
                    A(k / 3, k % 3) = (&M.m00)[k];
                const kmath_status status = kmath_nmmatrix_decompose(&A, &U, &W, &V);
                ASSERT_TRUE(KMATH_IS_FAILURE(status));
                EXPECT_EQ(closest(&M, &R), status) << allowLeftHanded;
                EXPECT_TRUE(same(R, canary));
                Angles angles = {7, 8, 9};
                EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), status);
                EXPECT_TRUE(same(angles, {7, 8, 9}));
            }
}

TEST(ClosestRotationRules, FourMatricesGoToTheCleanUpStackOnEveryExit)
{
    const Mat3 matrices[] = {identity, diag(2, 2, 2), diag(1, 1, -1), diag(2, 2, -2),
                             diag(nan, 1, 1)};
    for (const auto &[closest, allowLeftHanded] : closestFunctions)
        for (const Mat3 &M : matrices) {
            std::vector<Cleanup> seen;
            Mat3 R = canary;
            const std::uint32_t firstTag = lastTag + 1;
            const std::int64_t before = support::liveBlocks();
            cleanups = &seen;
            const kmath_status status = closest(&M, &R);
            cleanups = nullptr;
            EXPECT_EQ(support::liveBlocks(), before);
            ASSERT_FALSE(seen.empty());
            const Cleanup &own = seen.back(); // the frames of inner calls are closed before
            EXPECT_EQ(own.status, status);
            EXPECT_GE(own.tag, firstTag);
            EXPECT_LE(own.tag, lastTag);
            ASSERT_EQ(own.entries.size(), 4u);
            std::set<void *> objects;
            for (std::uint32_t i = 0; i < 4; ++i) {
                EXPECT_EQ(own.entries[i].sequence, i);
                EXPECT_EQ(own.entries[i].kind, 50u);
                EXPECT_NE(own.entries[i].destruct, nullptr);
                objects.insert(own.entries[i].object);
            }
            EXPECT_EQ(objects.size(), 4u);
        }
}

TEST(ClosestRotationRules, ARefusedAllocationComesBackAndLeavesTheResult)
{
    for (const Mat3 &M : {diag(2, 2, 2), Mat3{1, 2, 3, 4, 5, 6, 7, 8, 10}, identity})
        for (const auto &[closest, allowLeftHanded] : closestFunctions) {
            Mat3 R = canary;
            kmath_status status = KMATH_OK, expected = KMATH_OK;
            Mat3 ignored = canary;
            expected = plainClosest(M, ignored, allowLeftHanded);
            support::sweepAllocationFailures(
                [&](bool hasFailed) {
                    EXPECT_EQ(status, hasFailed ? KMATH_ERR_NO_MEMORY : expected);
                    EXPECT_EQ(same(R, canary), hasFailed);
                },
                [&, search = closest] {
                    R = canary;
                    status = search(&M, &R);
                });
        }
    Angles angles;
    kmath_status status = KMATH_OK;
    const Mat3 twice = diag(2, 2, 2);
    support::sweepAllocationFailures(
        [&](bool hasFailed) {
            EXPECT_EQ(status, hasFailed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
            EXPECT_EQ(same(angles, {7, 8, 9}), hasFailed);
        },
        [&] {
            angles = {7, 8, 9};
            status = kmath_angle3Vect_setMatrix(&angles, &twice);
        });
}

TEST(EulerAngleRules, AreCopiedAndCompared)
{
    const radian a = {1.5}, b = {-100}, c = {inf};
    Angles r = {7, 8, 9};
    EXPECT_EQ(kmath_angle3Vect_init(&r, &a, &b, &c), KMATH_OK);
    EXPECT_TRUE(same(r, {1.5, -100, inf}));
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_angle3Vect_compareEqual(&r, &r, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    const Angles base = {1, 2, 3};
    for (int i = 0; i < 3; ++i) {
        Angles other = base;
        (&other.ax)[i] = std::nextafter((&other.ax)[i], 9.0);
        flag = 9;
        EXPECT_EQ(kmath_angle3Vect_compareEqual(&base, &other, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u) << i;
        (&other.ax)[i] = nan;
        flag = 9;
        EXPECT_EQ(kmath_angle3Vect_compareEqual(&other, &other, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u) << i;
        Angles zero = base, minus = base;
        (&zero.ax)[i] = 0.0;
        (&minus.ax)[i] = -0.0;
        flag = 9;
        EXPECT_EQ(kmath_angle3Vect_compareEqual(&zero, &minus, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u) << i;
    }
}

TEST(EulerAngleRules, MatrixHasTheBitsOfTheTwoProducts)
{
    std::mt19937_64 generator(61);
    std::uniform_real_distribution<double> uniform(-10, 10);
    for (int trial = 0; trial < 1000; ++trial) {
        Angles angles = {uniform(generator), uniform(generator), uniform(generator)};
        if (trial % 20 == 0)
            (&angles.ax)[trial / 20 % 3] = trial % 40 == 0 ? inf : 1e300;
        Mat3 M = canary;
        EXPECT_EQ(kmath_angle3Vect_getMatrix(&angles, &M), KMATH_OK);
        EXPECT_TRUE(same(M, plainEuler(angles)));
    }
    // z is turned first, x last: e_x goes to e_y, which x takes to e_z.
    const Angles quarters = {pi / 2, 0, pi / 2};
    Mat3 M;
    EXPECT_EQ(kmath_angle3Vect_getMatrix(&quarters, &M), KMATH_OK);
    EXPECT_NEAR(M.m20, 1, 1e-15);
    EXPECT_NEAR(M.m00, 0, 1e-15);
    EXPECT_NEAR(M.m10, 0, 1e-15);
}

TEST(EulerAngleRules, AnglesHaveTheBitsOfTheClosestRotation)
{
    std::mt19937_64 generator(62);
    std::normal_distribution<double> normal;
    int refused = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        Mat3 M = plainRodrigues(randomRod(generator, 6.0 * trial / 4000));
        if (trial % 3 == 1)
            for (int i = 0; i < 9; ++i)
                (&M.m00)[i] += normal(generator) * std::pow(10.0, -(trial % 17));
        if (trial % 3 == 2)
            M = randomMat3(generator);
        if (trial % 40 == 0)
            M = strangeMat3(generator);
        Angles expected = {7, 8, 9}, angles = expected;
        Mat3 R = canary;
        kmath_status status = plainClosest(M, R, false);
        if (!KMATH_IS_FAILURE(status))
            expected = plainAngles(R);
        if (status == KMATH_ERR_LEFT_HANDED)
            status = KMATH_ERR_NOT_ROTATION;
        refused += status == KMATH_ERR_NOT_ROTATION;
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), status);
        EXPECT_TRUE(same(angles, expected)) << trial;
    }
    EXPECT_GT(refused, 300);
}

TEST(EulerAngleRules, ReflectionsAreNoRotation)
{
    Angles angles = {7, 8, 9};
    for (const Mat3 &M : {diag(1, 1, -1), diag(-1, -1, -1), diag(2, 2, -2), diag(-0.5, 3, 1)}) {
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), KMATH_ERR_NOT_ROTATION);
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), static_cast<kmath_status>(0x800007c1u));
    }
    EXPECT_TRUE(same(angles, {7, 8, 9}));
}

TEST(EulerAngleRules, GimbalLockNeedsBothElementsWithinTheBound)
{
    const auto anglesOf = [](const Mat3 &M) {
        Angles angles = {7, 8, 9};
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), KMATH_OK);
        return angles;
    };
    const radian quarter = {pi / 2};
    Mat3 M;
    kmath_matrix3_initRotationAroundYAxis(&M, &quarter);
    Angles angles = anglesOf(M);
    EXPECT_EQ(angles.ax, 0);
    EXPECT_NEAR(angles.ay, pi / 2, 1e-15);
    EXPECT_EQ(angles.az, 0);

    // These are orthogonal to the last bit, so the bound applies to their own elements.
    const double above = std::nextafter(1e-15, 1.0);
    for (const double sign : {1.0, -1.0}) {
        double c = sign * 1e-15;
        angles = anglesOf({c, 0, 1, 0, 1, 0, -1, 0, c});
        EXPECT_TRUE(same(angles, {0, std::atan2(1, c), std::atan2(0, 1)}));
        EXPECT_NE(angles.ay, std::asin(1)); // the arc tangent shows the branch
        angles = anglesOf({0, c, 1, 1, 0, 0, 0, 1, -c});
        EXPECT_TRUE(same(angles, {0, std::atan2(1, -c), std::atan2(1, 0)}));
        c = sign * above;
        angles = anglesOf({c, 0, 1, 0, 1, 0, -1, 0, c});
        EXPECT_EQ(angles.ay, std::asin(1));
        EXPECT_EQ(std::fabs(angles.az), std::fabs(std::atan2(-0.0, c)));
        EXPECT_EQ(std::fabs(angles.ax), std::fabs(std::atan2(-0.0, c)));
        angles = anglesOf({0, c, 1, 1, 0, 0, 0, 1, -c});
        EXPECT_EQ(angles.ay, std::asin(1));
        EXPECT_EQ(angles.az, std::atan2(-c, 0));
    }
    // In lock az carries the whole rotation about x and z.
    const Angles given = {0.5, pi / 2, 0.25};
    ASSERT_EQ(kmath_angle3Vect_getMatrix(&given, &M), KMATH_OK);
    angles = anglesOf(M);
    EXPECT_EQ(angles.ax, 0);
    EXPECT_NEAR(angles.az, 0.75, 1e-14);
    Mat3 again;
    ASSERT_EQ(kmath_angle3Vect_getMatrix(&angles, &again), KMATH_OK);
    EXPECT_LE(distance(again, M), 1e-15);
}

TEST(EulerAngleRules, HalfTurnsArePositiveWhateverTheSignsOfTheZeros)
{
    for (const double zero : {0.0, -0.0}) {
        Angles angles = {7, 8, 9};
        const Mat3 aboutX = {1, zero, zero, zero, -1, zero, zero, zero, -1};
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &aboutX), KMATH_OK);
        EXPECT_EQ(angles.ax, pi);
        EXPECT_EQ(angles.ay, 0);
        EXPECT_EQ(angles.az, 0);
        const Mat3 aboutZ = {-1, zero, zero, zero, -1, zero, zero, zero, 1};
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &aboutZ), KMATH_OK);
        EXPECT_EQ(angles.ax, 0);
        EXPECT_EQ(angles.ay, 0);
        EXPECT_EQ(angles.az, pi);
    }
}

TEST(EulerAngleRules, TheArcSineIsClamped)
{
    // Orthogonal within the bound, and a little too long in its corner.
    for (const double sign : {1.0, -1.0}) {
        const double c = 1e-10;
        const Mat3 M = {c, 0, sign * (1 + 2 * epsilon), 0, 1, 0, -sign, 0, c};
        Angles angles = {7, 8, 9};
        EXPECT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), KMATH_OK);
        EXPECT_EQ(angles.ay, sign * std::asin(1.0));
        EXPECT_EQ(angles.az, 0);
        EXPECT_EQ(angles.ax, 0);
    }
}

TEST(EulerAngleRules, MatricesComeBackFromTheirAngles)
{
    std::mt19937_64 generator(63);
    std::uniform_real_distribution<double> full(-pi, pi), half(-pi / 2, pi / 2);
    for (int trial = 0; trial < 5000; ++trial) {
        const bool wide = trial % 2 == 0;
        const Angles given = {full(generator), wide ? full(generator) : half(generator),
                              full(generator)};
        Angles angles;
        Mat3 M, again;
        kmath_angle3Vect_getMatrix(&given, &M);
        ASSERT_EQ(kmath_angle3Vect_setMatrix(&angles, &M), KMATH_OK);
        EXPECT_LE(std::fabs(angles.ay), pi / 2);
        EXPECT_LE(std::fabs(angles.ax), pi);
        EXPECT_LE(std::fabs(angles.az), pi);
        kmath_angle3Vect_getMatrix(&angles, &again);
        const double loss = std::fabs(std::cos(given.ay));
        EXPECT_LE(distance(again, M), 1e-14 / loss);
        if (wide)
            continue;
        EXPECT_NEAR(angles.ax, given.ax, 1e-14 / loss);
        EXPECT_NEAR(angles.ay, given.ay, 1e-14 / loss);
        EXPECT_NEAR(angles.az, given.az, 1e-14 / loss);
    }
}

TEST(RotationRules, OrdinaryCallsReportNothing)
{
    support::AssertionRecorder recorder;
    const Rod r = {1, 2, 3};
    Rod back;
    Mat3 a, b, c, R;
    Angles angles;
    std::uint32_t flag;
    EXPECT_EQ(support::allocationsOf([&] {
                  kmath_rodParam_buildMat(&r, &R);
                  kmath_rodParam_getParam(&R, &back);
                  kmath_rodParam_computeJacob(&r, &a, &b, &c, &R);
              }),
              0);
    kmath_rodParam_findClosestRotation(&a, &R);
    kmath_rodParam_findClosestRotationAllowLeftHanded(&a, &R);
    kmath_angle3Vect_setMatrix(&angles, &R);
    kmath_angle3Vect_getMatrix(&angles, &R);
    kmath_angle3Vect_compareEqual(&angles, &angles, &flag);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
