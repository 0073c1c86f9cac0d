// The fixed-size vectors seen from outside: every operation of the four records, in the precision
// that each promises, with its thresholds, its folding of angles and its null checks.
#include <kmath/vectors.h>

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace
{

using support::assertedLine;
using support::sameBits;

constexpr double pi = 3.141592653589793;
constexpr double twoPi = 6.283185307179586;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

bool same(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.z, b.z);
}

bool same(const kmath_vect3F &a, const kmath_vect3F &b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

kmath_vect3 randomVect3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    kmath_vect3 v;
    v.x = uniform(generator);
    v.y = uniform(generator);
    v.z = uniform(generator);
    return v;
}

kmath_vect3F randomVect3F(std::mt19937_64 &generator)
{
    const kmath_vect3 v = randomVect3(generator);
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

kmath_vect6F randomVect6F(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<float> uniform(-10.0f, 10.0f);
    kmath_vect6F v;
    for (float &component : v.v)
        component = uniform(generator);
    return v;
}

TEST(StatusRules, FailureIsBit31AndNothingElse)
{
    EXPECT_FALSE(KMATH_IS_FAILURE(KMATH_OK));
    EXPECT_FALSE(KMATH_IS_FAILURE(1));
    EXPECT_FALSE(KMATH_IS_FAILURE(0x7fffffff));
    EXPECT_TRUE(KMATH_IS_FAILURE(std::numeric_limits<kmath_status>::min()));
    EXPECT_TRUE(KMATH_IS_FAILURE(-1));
    EXPECT_TRUE(KMATH_IS_FAILURE(static_cast<kmath_status>(0x80001234u)));
}

TEST(StatusRules, NamesHaveTheirPublishedValues)
{
    EXPECT_EQ(KMATH_OK, 0);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_FAILED), 0x80000000u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_BAD_DIMENSIONS), 0x8000058au);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_SINGULAR), 0x80000582u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_ALIASED), 0x8000058bu);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_NEGATIVE_COUNT), 0x80000595u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_LEFT_HANDED), 0x8000058cu);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_ZERO_LENGTH), 0x80000584u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_NEGATIVE_SIZE), 0x80000521u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_NO_MEMORY), 0x80000023u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_NOT_ROTATION), 0x800007c1u);
    EXPECT_EQ(static_cast<std::uint32_t>(KMATH_ERR_DIVIDE_BY_ZERO), 0x80000583u);
}

TEST(VectorRules, Vect3IsFilledAndCleared)
{
    kmath_vect3 r;
    EXPECT_EQ(kmath_vect3_init(&r, 1.5, -2.5, 3.5), KMATH_OK);
    EXPECT_TRUE(same(r, {1.5, -2.5, 3.5}));
    EXPECT_EQ(kmath_vect3_initClear(&r), KMATH_OK);
    EXPECT_TRUE(same(r, {0.0, 0.0, 0.0}));
    r = {1.0, nan, 2.0};
    EXPECT_EQ(kmath_vect3_reset(&r), KMATH_OK);
    EXPECT_TRUE(same(r, {0.0, 0.0, 0.0}));
}

TEST(VectorRules, Vect3ArithmeticHasTheBitsOfThePlainExpressions)
{
    std::mt19937_64 generator(11);
    for (int trial = 0; trial < 500; ++trial) {
        const kmath_vect3 a = randomVect3(generator);
        const kmath_vect3 b = randomVect3(generator);
        const double s = randomVect3(generator).x;
        kmath_vect3 r;
        EXPECT_EQ(kmath_vect3_initAdd(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, {a.x + b.x, a.y + b.y, a.z + b.z}));
        EXPECT_EQ(kmath_vect3_initSubtract(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, {a.x - b.x, a.y - b.y, a.z - b.z}));
        EXPECT_EQ(kmath_vect3_initScale(&r, &a, s), KMATH_OK);
        EXPECT_TRUE(same(r, {s * a.x, s * a.y, s * a.z}));
        EXPECT_EQ(kmath_vect3_cross(&a, &b, &r), KMATH_OK);
        EXPECT_TRUE(same(r, {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}));

        double out = nan;
        EXPECT_EQ(kmath_vect3_dot(&a, &b, &out), KMATH_OK);
        EXPECT_TRUE(sameBits(out, a.x * b.x + a.y * b.y + a.z * b.z));
        EXPECT_EQ(kmath_vect3_getLength(&a, &out), KMATH_OK);
        const double length = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
        EXPECT_TRUE(sameBits(out, length));
        EXPECT_EQ(kmath_vect3_getUnit(&a, &r), KMATH_OK);
        const double q = 1.0 / length;
        EXPECT_TRUE(same(r, {a.x * q, a.y * q, a.z * q}));
        EXPECT_EQ(kmath_vect3_getDistance(&a, &b, &out), KMATH_OK);
        const kmath_vect3 d = {a.x - b.x, a.y - b.y, a.z - b.z};
        EXPECT_TRUE(sameBits(out, std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z)));
    }
}

TEST(VectorRules, Vect3GetUnitRefusesALengthOfExactlyZero)
{
    kmath_vect3 r = {7.0, 8.0, 9.0};
    for (const kmath_vect3 v : {kmath_vect3{0, 0, 0}, kmath_vect3{-0.0, 0, -0.0},
                                kmath_vect3{1e-200, 0, 0}, kmath_vect3{1e-170, -1e-180, 1e-300}}) {
        EXPECT_EQ(kmath_vect3_getUnit(&v, &r), KMATH_ERR_ZERO_LENGTH);
        EXPECT_TRUE(same(r, {7.0, 8.0, 9.0}));
    }
    const kmath_vect3 small = {1e-150, 0, 0};
    EXPECT_EQ(kmath_vect3_getUnit(&small, &r), KMATH_OK);
    EXPECT_NEAR(r.x, 1.0, 1e-15);
    EXPECT_EQ(r.y, 0.0);
    EXPECT_EQ(r.z, 0.0);
}

TEST(VectorRules, Vect3CompareEqualIsExact)
{
    const kmath_vect3 a = {1.0, 2.0, 3.0};
    std::uint32_t equal = 9;
    EXPECT_EQ(kmath_vect3_compareEqual(&a, &a, &equal), KMATH_OK);
    EXPECT_EQ(equal, 1u);
    const double up = std::nextafter(1.0, 2.0);
    for (const kmath_vect3 b : {kmath_vect3{up, 2.0, 3.0}, kmath_vect3{1.0, 2.0 * up, 3.0},
                                kmath_vect3{1.0, 2.0, std::nextafter(3.0, 4.0)}}) {
        equal = 9;
        EXPECT_EQ(kmath_vect3_compareEqual(&a, &b, &equal), KMATH_OK);
        EXPECT_EQ(equal, 0u);
    }
    const kmath_vect3 n = {nan, 0, 0};
    EXPECT_EQ(kmath_vect3_compareEqual(&n, &n, &equal), KMATH_OK);
    EXPECT_EQ(equal, 0u);
}

TEST(VectorRules, Vect3EpsilonEqualExcludesTheBoundButNotIdentity)
{
    const kmath_vect3 origin = {0, 0, 0};
    const kmath_vect3 d = {3.0, 4.0, 0.0}; // distance exactly 5
    const auto equal = [&](const kmath_vect3 &a, const kmath_vect3 &b, double eps) {
        std::uint32_t flag = 9;
        EXPECT_EQ(kmath_vect3_epsilonEqual(&a, &b, eps, &flag), KMATH_OK);
        return flag;
    };
    EXPECT_EQ(equal(d, origin, 5.0), 0u);
    EXPECT_EQ(equal(d, origin, std::nextafter(5.0, 6.0)), 1u);
    EXPECT_EQ(equal(d, origin, -6.0), 1u); // only the square of eps counts
    EXPECT_EQ(equal(d, d, 0.0), 1u);
    EXPECT_EQ(equal(d, {3.0, 4.0, 1e-300}, 0.0), 1u); // the squared distance underflows to 0
    EXPECT_EQ(equal(d, {3.0, 4.0, 1e-10}, 0.0), 0u);
    EXPECT_EQ(equal({nan, 0, 0}, {nan, 0, 0}, inf), 0u);
}

kmath_vect3 direction(double tilt, double rotation)
{
    const radian t = {tilt};
    const radian r = {rotation};
    kmath_vect3 v = {nan, nan, nan};
    EXPECT_EQ(kmath_vect3_initTiltAndRotation(&v, &t, &r), KMATH_OK);
    return v;
}

TEST(VectorRules, TiltIsFoldedIntoHalfATurn)
{
    for (const double rotation : {0.0, 0.4, -2.0, 9.0}) {
        for (const double t : {0.1, 1.0, pi / 2, 3.0}) {
            const kmath_vect3 v = direction(t, rotation);
            EXPECT_NEAR(v.x, std::sin(t) * std::cos(rotation), 1e-15);
            EXPECT_NEAR(v.y, std::sin(t) * std::sin(rotation), 1e-15);
            EXPECT_NEAR(v.z, std::cos(t), 1e-15);
            for (const double other : {-t, twoPi - t, twoPi + t, -t - twoPi}) {
                const kmath_vect3 w = direction(other, rotation);
                EXPECT_NEAR(w.x, v.x, 1e-14) << other;
                EXPECT_NEAR(w.y, v.y, 1e-14) << other;
                EXPECT_NEAR(w.z, v.z, 1e-14) << other;
            }
        }
    }
    const kmath_vect3 folded = direction(3 * pi / 2, 0.7);
    const kmath_vect3 plain = direction(pi / 2, 0.7);
    EXPECT_NEAR(folded.x, plain.x, 1e-15);
    EXPECT_NEAR(folded.y, plain.y, 1e-15);
    const kmath_vect3 negative = direction(-pi / 2, 0.7);
    EXPECT_NEAR(negative.x, plain.x, 1e-15);
    EXPECT_NEAR(negative.y, plain.y, 1e-15);
}

TEST(VectorRules, TiltInsideHalfATurnAndRotationAreUsedAsTheyAre)
{
    for (const double t : {0.0, 0.3, 1.25, 2.5, pi})
        for (const double r : {0.0, 0.4, -2.0, 9.0, 1e5}) {
            const kmath_vect3 v = direction(t, r);
            EXPECT_TRUE(
                same(v, {std::sin(t) * std::cos(r), std::sin(t) * std::sin(r), std::cos(t)}))
                << t << ' ' << r;
        }
}

TEST(VectorRules, TiltAndRotationOfADirectionComeBack)
{
    std::mt19937_64 generator(12);
    for (int trial = 0; trial < 300; ++trial) {
        const kmath_vect3 v = randomVect3(generator);
        kmath_vect3 u;
        ASSERT_EQ(kmath_vect3_getUnit(&v, &u), KMATH_OK);
        radian tilt = {nan};
        radian rotation = {nan};
        EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, &tilt, &rotation), KMATH_OK);
        EXPECT_TRUE(sameBits(tilt.value, std::acos(u.z)));
        EXPECT_TRUE(sameBits(rotation.value, std::fmod(std::atan2(u.y, u.x) + twoPi, twoPi)));
        EXPECT_GE(rotation.value, 0.0);
        EXPECT_LT(rotation.value, twoPi);

        radian alone = {nan};
        EXPECT_EQ(kmath_vect3_getTilt(&v, &alone), KMATH_OK);
        EXPECT_TRUE(sameBits(alone.value, tilt.value));
        EXPECT_EQ(kmath_vect3_getRotation(&v, &alone), KMATH_OK);
        EXPECT_TRUE(sameBits(alone.value, rotation.value));

        const kmath_vect3 back = direction(tilt.value, rotation.value);
        EXPECT_NEAR(back.x, u.x, 1e-14);
        EXPECT_NEAR(back.y, u.y, 1e-14);
        EXPECT_NEAR(back.z, u.z, 1e-14);
    }
}

TEST(VectorRules, RotationIsZeroOnTheAxisAndCountsFromPlusX)
{
    const auto rotationOf = [](kmath_vect3 v) {
        radian r = {nan};
        EXPECT_EQ(kmath_vect3_getRotation(&v, &r), KMATH_OK);
        return r.value;
    };
    EXPECT_EQ(rotationOf({0, 0, 5}), 0.0);
    EXPECT_EQ(rotationOf({-0.0, -0.0, -5}), 0.0);
    EXPECT_NEAR(rotationOf({0, -1, 0}), 3 * pi / 2, 1e-15);
    EXPECT_NEAR(rotationOf({-1, 0, 0}), pi, 1e-15);
    EXPECT_NEAR(rotationOf({0, 1, 0}), pi / 2, 1e-15);
    EXPECT_EQ(rotationOf({2, 0, 1}), 0.0);
}

TEST(VectorRules, EitherAngleMayBeLeftOut)
{
    const kmath_vect3 v = {1, 1, 1};
    radian angle = {nan};
    support::AssertionRecorder recorder;
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, nullptr, &angle), KMATH_OK);
    EXPECT_NEAR(angle.value, pi / 4, 1e-15);
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, &angle, nullptr), KMATH_OK);
    EXPECT_NEAR(angle.value, std::acos(1 / std::sqrt(3.0)), 1e-15);
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&v, nullptr, nullptr), KMATH_OK);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(VectorRules, AnglesOfTheZeroVectorAreRefusedAndNothingIsWritten)
{
    const kmath_vect3 zero = {0, 0, 0};
    const kmath_vect3 tiny = {0, 1e-200, 0};
    const kmath_vect3 x = {1, 0, 0};
    radian a = {5.0};
    radian b = {6.0};
    EXPECT_EQ(kmath_vect3_getTiltAndRotation(&zero, &a, &b), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getTilt(&zero, &a), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getRotation(&tiny, &b), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&zero, &x, &a), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&x, &zero, &a), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&x, &x, &zero, &a), KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&zero, &x, &x, &a), KMATH_ERR_ZERO_LENGTH);
    double distance = 4.0;
    EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&x, &zero, &zero, &distance),
              KMATH_ERR_ZERO_LENGTH);
    EXPECT_EQ(a.value, 5.0);
    EXPECT_EQ(b.value, 6.0);
    EXPECT_EQ(distance, 4.0);
}

TEST(VectorRules, AngleBetweenVectorsIsTheClampedArcCosineOfTheUnitVectors)
{
    std::mt19937_64 generator(13);
    for (int trial = 0; trial < 300; ++trial) {
        const kmath_vect3 a = randomVect3(generator);
        const kmath_vect3 b = randomVect3(generator);
        kmath_vect3 u, v;
        double c;
        kmath_vect3_getUnit(&a, &u);
        kmath_vect3_getUnit(&b, &v);
        kmath_vect3_dot(&u, &v, &c);
        radian angle = {nan};
        EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&a, &b, &angle), KMATH_OK);
        EXPECT_TRUE(sameBits(angle.value, std::acos(std::fmin(1.0, std::fmax(-1.0, c)))));
        // Rounding takes the cosine of a vector with itself above 1 now and then.
        EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&a, &a, &angle), KMATH_OK);
        EXPECT_LE(angle.value, 1e-7);
        kmath_vect3 minus;
        kmath_vect3_initScale(&minus, &a, -3.0);
        EXPECT_EQ(kmath_vect3_getAngleBetweenVectors(&a, &minus, &angle), KMATH_OK);
        EXPECT_NEAR(angle.value, pi, 1e-7);
        EXPECT_LE(angle.value, pi);
    }
}

TEST(VectorRules, AngleBetweenThreePointsStandsAtTheMiddleOne)
{
    const kmath_vect3 p1 = {2, 1, 1};
    const kmath_vect3 vertex = {1, 1, 1};
    const kmath_vect3 p3 = {1, 4, 1};
    radian angle = {nan};
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&p1, &vertex, &p3, &angle), KMATH_OK);
    EXPECT_NEAR(angle.value, pi / 2, 1e-15);
    EXPECT_EQ(kmath_vect3_getAngleBetween3Points(&vertex, &p1, &p3, &angle), KMATH_OK);
    EXPECT_NEAR(angle.value, std::atan2(3.0, 1.0), 1e-15);
}

TEST(VectorRules, SignedDistanceIsPositiveAheadWhateverTheLengthOfTheDirection)
{
    const kmath_vect3 from = {1, 2, 3};
    const kmath_vect3 to = {4, 2, 5};
    for (const double length : {1.0, 0.01, 700.0}) {
        double distance = nan;
        const kmath_vect3 ahead = {length, 0, 0};
        EXPECT_EQ(kmath_vect3_getSignedDistanceToPointAlongDirection(&from, &to, &ahead, &distance),
                  KMATH_OK);
        EXPECT_NEAR(distance, 3.0, 1e-14);
        const kmath_vect3 behind = {0, 0, -length};
        EXPECT_EQ(
            kmath_vect3_getSignedDistanceToPointAlongDirection(&from, &to, &behind, &distance),
            KMATH_OK);
        EXPECT_NEAR(distance, -2.0, 1e-14);
    }
}

TEST(VectorRules, Vect3NullRecordsAreReported)
{
    kmath_vect3 r = {1, 2, 3};
    const kmath_vect3 a = {1, 2, 3};
    const radian angle = {1};
    radian out = {0};
    std::uint32_t flag;
    const std::function<void()> calls[] = {
        [&] { kmath_vect3_init(nullptr, 1, 2, 3); },
        [&] { kmath_vect3_initAdd(nullptr, &a, &a); },
        [&] { kmath_vect3_initAdd(&r, nullptr, &a); },
        [&] { kmath_vect3_initAdd(&r, &a, nullptr); },
        [&] { kmath_vect3_initSubtract(nullptr, &a, &a); },
        [&] { kmath_vect3_initSubtract(&r, nullptr, &a); },
        [&] { kmath_vect3_initSubtract(&r, &a, nullptr); },
        [&] { kmath_vect3_initScale(nullptr, &a, 1); },
        [&] { kmath_vect3_initScale(&r, nullptr, 1); },
        [&] { kmath_vect3_compareEqual(nullptr, &a, &flag); },
        [&] { kmath_vect3_compareEqual(&a, nullptr, &flag); },
        [&] { kmath_vect3_epsilonEqual(nullptr, &a, 1, &flag); },
        [&] { kmath_vect3_epsilonEqual(&a, nullptr, 1, &flag); },
        [&] { kmath_vect3_initTiltAndRotation(nullptr, &angle, &angle); },
        [&] { kmath_vect3_initTiltAndRotation(&r, nullptr, &angle); },
        [&] { kmath_vect3_initTiltAndRotation(&r, &angle, nullptr); },
        [&] { kmath_vect3_getTiltAndRotation(nullptr, &out, &out); },
        [&] { kmath_vect3_getTilt(nullptr, &out); },
        [&] { kmath_vect3_getRotation(nullptr, &out); },
        [&] { kmath_vect3_getAngleBetweenVectors(nullptr, &a, &out); },
        [&] { kmath_vect3_getAngleBetweenVectors(&a, nullptr, &out); },
        [&] { kmath_vect3_getAngleBetween3Points(nullptr, &a, &a, &out); },
        [&] { kmath_vect3_getAngleBetween3Points(&a, nullptr, &a, &out); },
        [&] { kmath_vect3_getAngleBetween3Points(&a, &a, nullptr, &out); },
    };
    int number = 0;
    for (const auto &call : calls)
        EXPECT_NE(assertedLine(call), 0) << "call " << number++;
}

TEST(VectorRules, OrdinaryCallsReportNothing)
{
    support::AssertionRecorder recorder;
    kmath_vect3 a = {1, 2, 3};
    kmath_vect3F f = {1, 2, 3};
    std::uint32_t flag;
    radian out;
    kmath_vect3_initAdd(&a, &a, &a);
    kmath_vect3_epsilonEqual(&a, &a, 1, &flag);
    kmath_vect3_getAngleBetweenVectors(&a, &a, &out);
    kmath_vect3F_initScale(&f, &f, 2);
    kmath_vect3F_epsilonEqual(&f, &f, 1, &flag);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(VectorRules, Vect3FIsComputedInFloats)
{
    std::mt19937_64 generator(14);
    for (int trial = 0; trial < 500; ++trial) {
        const kmath_vect3F a = randomVect3F(generator);
        const kmath_vect3F b = randomVect3F(generator);
        const float s = randomVect3F(generator).x;
        kmath_vect3F r;
        EXPECT_EQ(kmath_vect3F_initAdd(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, {a.x + b.x, a.y + b.y, a.z + b.z}));
        EXPECT_EQ(kmath_vect3F_initSubtract(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, {a.x - b.x, a.y - b.y, a.z - b.z}));
        EXPECT_EQ(kmath_vect3F_initScale(&r, &a, s), KMATH_OK);
        EXPECT_TRUE(same(r, {s * a.x, s * a.y, s * a.z}));
        EXPECT_EQ(kmath_vect3F_cross(&a, &b, &r), KMATH_OK);
        EXPECT_TRUE(same(r, {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}));
        float out;
        EXPECT_EQ(kmath_vect3F_dot(&a, &b, &out), KMATH_OK);
        EXPECT_EQ(out, a.x * b.x + a.y * b.y + a.z * b.z);
        EXPECT_EQ(kmath_vect3F_getLength(&a, &out), KMATH_OK);
        const float length = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
        EXPECT_EQ(out, length);
        EXPECT_EQ(kmath_vect3F_getUnit(&a, &r), KMATH_OK);
        const double q = 1.0 / static_cast<double>(length);
        EXPECT_TRUE(same(r, {static_cast<float>(static_cast<double>(a.x) * q),
                             static_cast<float>(static_cast<double>(a.y) * q),
                             static_cast<float>(static_cast<double>(a.z) * q)}));
        EXPECT_EQ(kmath_vect3F_getDistance(&a, &b, &out), KMATH_OK);
        const kmath_vect3F d = {a.x - b.x, a.y - b.y, a.z - b.z};
        EXPECT_EQ(out, std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z));
    }
}

TEST(VectorRules, Vect3FHasItsOwnZeroLength)
{
    kmath_vect3F r = {7, 8, 9};
    for (const kmath_vect3F v : {kmath_vect3F{0, 0, 0}, kmath_vect3F{1e-25f, 0, 1e-30f}}) {
        EXPECT_EQ(kmath_vect3F_getUnit(&v, &r), KMATH_ERR_ZERO_LENGTH);
        EXPECT_TRUE(same(r, {7, 8, 9}));
    }
    EXPECT_EQ(kmath_vect3F_init(&r, 1, 2, 3), KMATH_OK);
    EXPECT_TRUE(same(r, {1, 2, 3}));
    EXPECT_EQ(kmath_vect3F_initClear(&r), KMATH_OK);
    EXPECT_TRUE(same(r, {0, 0, 0}));
    r = {1, 2, 3};
    EXPECT_EQ(kmath_vect3F_reset(&r), KMATH_OK);
    EXPECT_TRUE(same(r, {0, 0, 0}));
    float length = 0;
    const kmath_vect3F huge = {1e20f, 0, 0};
    EXPECT_EQ(kmath_vect3F_getLength(&huge, &length), KMATH_OK);
    EXPECT_TRUE(std::isinf(length));
}

TEST(VectorRules, Vect3FComparisons)
{
    const kmath_vect3F a = {1, 2, 3};
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_vect3F_compareEqual(&a, &a, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    const kmath_vect3F b = {1, 2, std::nextafterf(3, 4)};
    EXPECT_EQ(kmath_vect3F_compareEqual(&a, &b, &flag), KMATH_OK);
    EXPECT_EQ(flag, 0u);

    // No vector of floats is equal to itself within 0.
    EXPECT_EQ(kmath_vect3F_epsilonEqual(&a, &a, 0.0, &flag), KMATH_OK);
    EXPECT_EQ(flag, 0u);
    EXPECT_EQ(kmath_vect3F_epsilonEqual(&a, &a, 1e-160, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);

    // The squared distance is a float, the squared tolerance a double.
    std::mt19937_64 generator(15);
    int both[2] = {0, 0};
    for (int trial = 0; trial < 200; ++trial) {
        const float e = randomVect3F(generator).x;
        const kmath_vect3F origin = {0, 0, 0};
        const kmath_vect3F v = {e, 0, 0};
        const float square = e * e;
        const bool expected =
            static_cast<double>(square) < static_cast<double>(e) * static_cast<double>(e);
        EXPECT_EQ(kmath_vect3F_epsilonEqual(&v, &origin, static_cast<double>(e), &flag), KMATH_OK);
        EXPECT_EQ(flag, expected ? 1u : 0u);
        ++both[expected];
    }
    EXPECT_GT(both[0], 20);
    EXPECT_GT(both[1], 20);
}

TEST(VectorRules, Vect4InFull)
{
    kmath_vect4 r;
    EXPECT_EQ(kmath_vect4_init(&r, 1, 2, 3, 4), KMATH_OK);
    EXPECT_EQ(r.x, 1);
    EXPECT_EQ(r.y, 2);
    EXPECT_EQ(r.z, 3);
    EXPECT_EQ(r.w, 4);
    EXPECT_EQ(kmath_vect4_initClear(&r), KMATH_OK);
    std::uint32_t flag = 9;
    const kmath_vect4 zero = {0, 0, 0, 0};
    EXPECT_EQ(kmath_vect4_compareEqual(&r, &zero, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);

    std::mt19937_64 generator(16);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (int trial = 0; trial < 200; ++trial) {
        const kmath_vect4 a = {uniform(generator), uniform(generator), uniform(generator),
                               uniform(generator)};
        const kmath_vect4 b = {uniform(generator), uniform(generator), uniform(generator),
                               uniform(generator)};
        EXPECT_EQ(kmath_vect4_initSubtract(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(sameBits(r.x, a.x - b.x) && sameBits(r.y, a.y - b.y) &&
                    sameBits(r.z, a.z - b.z) && sameBits(r.w, a.w - b.w));
        double dot;
        EXPECT_EQ(kmath_vect4_dot(&a, &b, &dot), KMATH_OK);
        EXPECT_TRUE(sameBits(dot, a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w));
    }
    const kmath_vect4 d = {1, 1, 1, 1}; // distance exactly 2
    EXPECT_EQ(kmath_vect4_epsilonEqual(&d, &zero, 2.0, &flag), KMATH_OK);
    EXPECT_EQ(flag, 0u);
    EXPECT_EQ(kmath_vect4_epsilonEqual(&d, &zero, std::nextafter(2.0, 3.0), &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    EXPECT_EQ(kmath_vect4_epsilonEqual(&d, &d, 0.0, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    const kmath_vect4 last = {1, 1, 1, std::nextafter(1.0, 2.0)};
    EXPECT_EQ(kmath_vect4_compareEqual(&d, &last, &flag), KMATH_OK);
    EXPECT_EQ(flag, 0u);
    for (const auto &call : std::initializer_list<std::function<void()>>{
             [&] { kmath_vect4_init(nullptr, 1, 2, 3, 4); },
             [&] { kmath_vect4_initSubtract(nullptr, &d, &d); },
             [&] { kmath_vect4_initSubtract(&r, nullptr, &d); },
             [&] { kmath_vect4_initSubtract(&r, &d, nullptr); },
             [&] { kmath_vect4_compareEqual(nullptr, &d, &flag); },
             [&] { kmath_vect4_compareEqual(&d, nullptr, &flag); },
             [&] { kmath_vect4_epsilonEqual(nullptr, &d, 1, &flag); },
             [&] { kmath_vect4_epsilonEqual(&d, nullptr, 1, &flag); }})
        EXPECT_NE(assertedLine(call), 0);
}

TEST(VectorRules, Vect6FInFull)
{
    kmath_vect6F r;
    EXPECT_EQ(kmath_vect6F_init(&r, 1, 2, 3, 4, 5, 6), KMATH_OK);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(r.v[i], static_cast<float>(i + 1));
    EXPECT_EQ(kmath_vect6F_initClear(&r), KMATH_OK);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(r.v[i], 0.0f);

    std::mt19937_64 generator(17);
    std::uint32_t flag = 9;
    for (int trial = 0; trial < 300; ++trial) {
        const kmath_vect6F a = randomVect6F(generator);
        const kmath_vect6F b = randomVect6F(generator);
        EXPECT_EQ(kmath_vect6F_initSubtract(&r, &a, &b), KMATH_OK);
        float ab = 0, aa = 0, dd = 0;
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(r.v[i], a.v[i] - b.v[i]);
            ab += a.v[i] * b.v[i];
            aa += a.v[i] * a.v[i];
            dd += (a.v[i] - b.v[i]) * (a.v[i] - b.v[i]);
        }
        float out;
        EXPECT_EQ(kmath_vect6F_dot(&a, &b, &out), KMATH_OK);
        EXPECT_EQ(out, ab);
        EXPECT_EQ(kmath_vect6F_getLength(&a, &out), KMATH_OK);
        EXPECT_EQ(out, std::sqrt(aa));
        EXPECT_EQ(kmath_vect6F_getDistance(&a, &b, &out), KMATH_OK);
        EXPECT_EQ(out, std::sqrt(dd));
        EXPECT_EQ(kmath_vect6F_getUnit(&a, &r), KMATH_OK);
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(r.v[i], a.v[i] / std::sqrt(aa), 2e-7f);
        // Distance and tolerance are both squared in floats: the bound is never inside.
        const float e = std::fabs(a.v[0]);
        kmath_vect6F axis = {}, origin = {};
        axis.v[3] = e;
        EXPECT_EQ(kmath_vect6F_epsilonEqual(&axis, &origin, e, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u);
        EXPECT_EQ(kmath_vect6F_epsilonEqual(&axis, &origin, e * 1.001f, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u);
        EXPECT_EQ(kmath_vect6F_epsilonEqual(&a, &a, 0.0f, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u);
        EXPECT_EQ(kmath_vect6F_compareEqual(&a, &a, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u);
        for (int i = 0; i < 6; ++i) {
            kmath_vect6F c = a;
            c.v[i] = std::nextafterf(c.v[i], 100.0f);
            EXPECT_EQ(kmath_vect6F_compareEqual(&a, &c, &flag), KMATH_OK);
            EXPECT_EQ(flag, 0u);
        }
    }
    const kmath_vect6F zero = {};
    kmath_vect6F untouched = {{1, 2, 3, 4, 5, 6}};
    EXPECT_EQ(kmath_vect6F_getUnit(&zero, &untouched), KMATH_ERR_ZERO_LENGTH);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(untouched.v[i], static_cast<float>(i + 1));
    for (const auto &call : std::initializer_list<std::function<void()>>{
             [&] { kmath_vect6F_init(nullptr, 1, 2, 3, 4, 5, 6); },
             [&] { kmath_vect6F_initSubtract(nullptr, &zero, &zero); },
             [&] { kmath_vect6F_initSubtract(&r, nullptr, &zero); },
             [&] { kmath_vect6F_initSubtract(&r, &zero, nullptr); },
             [&] { kmath_vect6F_compareEqual(nullptr, &zero, &flag); },
             [&] { kmath_vect6F_compareEqual(&zero, nullptr, &flag); },
             [&] { kmath_vect6F_epsilonEqual(nullptr, &zero, 1, &flag); },
             [&] { kmath_vect6F_epsilonEqual(&zero, nullptr, 1, &flag); }})
        EXPECT_NE(assertedLine(call), 0);
}

} // namespace
