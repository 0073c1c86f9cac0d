// The 3D transform seen from outside: every operation in bits against its written-out steps, both
// sides of every bound, arrays of every short length in place and overlapping.
#include <kmath/xform3.h>

#include "contract/textbook_matrix3.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace
{

using support::sameBits;
using textbook::determinant;
using textbook::product;
using textbook::same;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

static_assert(offsetof(kmath_xform3Linear, translation) == 0);
static_assert(offsetof(kmath_xform3Linear, matrix) == 24);
static_assert(sizeof(kmath_xform3Linear) == 96);
static_assert(sizeof(kmath_vect3) == 24 && sizeof(kmath_vect3F) == 12);

using Xform = kmath_xform3Linear;

const kmath_matrix3 identityMatrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const Xform identity = {{0, 0, 0}, identityMatrix};
const Xform canary = {{3, 4, 5}, {6, 7, 8, 9, 10, 11, 12, 13, 14}};

/// All twelve numbers in the order of the record.
double &number(Xform &X, int i) { return i < 3 ? (&X.translation.x)[i] : (&X.matrix.m00)[i - 3]; }
double number(const Xform &X, int i)
{
    return i < 3 ? (&X.translation.x)[i] : (&X.matrix.m00)[i - 3];
}

bool same(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.z, b.z);
}

bool sameFloat(float a, float b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

bool same(const kmath_vect3F &a, const kmath_vect3F &b)
{
    return sameFloat(a.x, b.x) && sameFloat(a.y, b.y) && sameFloat(a.z, b.z);
}

bool same(const Xform &a, const Xform &b)
{
    for (int i = 0; i < 12; ++i)
        if (!sameBits(number(a, i), number(b, i)))
            return false;
    return true;
}

kmath_vect3 widened(const kmath_vect3F &v)
{
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

kmath_vect3F narrowed(const kmath_vect3 &v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

kmath_vect3 plainSum(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

double plainDot(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

kmath_vect3 times(const kmath_matrix3 &m, const kmath_vect3 &v)
{
    return {m.m00 * v.x + m.m01 * v.y + m.m02 * v.z, m.m10 * v.x + m.m11 * v.y + m.m12 * v.z,
            m.m20 * v.x + m.m21 * v.y + m.m22 * v.z};
}

kmath_vect3 transposedTimes(const kmath_matrix3 &m, const kmath_vect3 &v)
{
    return {m.m00 * v.x + m.m10 * v.y + m.m20 * v.z, m.m01 * v.x + m.m11 * v.y + m.m21 * v.z,
            m.m02 * v.x + m.m12 * v.y + m.m22 * v.z};
}

bool plainInverse(const Xform &X, Xform &r)
{
    kmath_matrix3 inverse;
    if (!textbook::inverse(X.matrix, inverse))
        return false;
    const kmath_vect3 back = {-1.0 * X.translation.x, -1.0 * X.translation.y,
                              -1.0 * X.translation.z};
    r = {times(inverse, back), inverse};
    return true;
}

Xform composed(const Xform &a, const Xform &b)
{
    return {plainSum(a.translation, times(a.matrix, b.translation)), product(a.matrix, b.matrix)};
}

kmath_vect3 mapped(const Xform &X, const kmath_vect3 &p)
{
    return plainSum(times(X.matrix, p), X.translation);
}

Xform randomXform(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-5.0, 5.0);
    Xform X;
    for (int i = 0; i < 12; ++i)
        number(X, i) = uniform(generator);
    return X;
}

kmath_vect3 randomVect3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-5.0, 5.0);
    const double x = uniform(generator), y = uniform(generator), z = uniform(generator);
    return {x, y, z};
}

/// Random numbers among which some are zeros of both signs, NaN, infinite, huge or tiny.
Xform strangeXform(std::mt19937_64 &generator)
{
    const double strange[] = {0.0, -0.0, nan, inf, -inf, 1e308, -1e-308, 5e-324, 1.0, -1.0};
    Xform X = randomXform(generator);
    std::uniform_int_distribution<int> where(0, 11), what(0, 9), howMany(1, 4);
    for (int n = howMany(generator); n > 0; --n)
        number(X, where(generator)) = strange[what(generator)];
    return X;
}

Xform scaling(double a, double b, double c) { return {{1, 2, 3}, {a, 0, 0, 0, b, 0, 0, 0, c}}; }

Xform singular() { return {{1, 2, 3}, {1, 2, 3, 2, 4, 6, 1, 0, 1}}; }

template <class T> std::vector<T> randomItems(std::size_t count, std::mt19937_64 &generator)
{
    std::vector<T> items(count);
    for (T &item : items) {
        if constexpr (std::is_same_v<T, kmath_vect3>)
            item = randomVect3(generator);
        else
            item = narrowed(randomVect3(generator));
    }
    return items;
}

TEST(Xform3Rules, IsBuiltFromItsParts)
{
    for (const auto reset : {kmath_xform3Linear_initIdentity, kmath_xform3Linear_reset}) {
        Xform r = canary;
        EXPECT_EQ(reset(&r), KMATH_OK);
        EXPECT_TRUE(same(r, identity));
    }
    const kmath_matrix3 m = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const kmath_vect3 t = {10, 11, 12};
    Xform r = canary;
    EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&r, &m, &t), KMATH_OK);
    EXPECT_TRUE(same(r, {t, m}));
    r = canary;
    EXPECT_EQ(kmath_xform3Linear_initMatrixTransElements(&r, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12),
              KMATH_OK);
    EXPECT_TRUE(same(r, {t, m}));
    r = canary;
    EXPECT_EQ(kmath_xform3Linear_initMatrixTransElements(&r, nan, inf, -0.0, 4, 5, 6, 7, 8, 9, -inf,
                                                         1e308, 5e-324),
              KMATH_OK);
    EXPECT_TRUE(same(r, {{-inf, 1e308, 5e-324}, {nan, inf, -0.0, 4, 5, 6, 7, 8, 9}}));
    r = {t, m}; // a transform may be rebuilt from its own parts
    EXPECT_EQ(kmath_xform3Linear_initMatrixTrans(&r, &r.matrix, &r.translation), KMATH_OK);
    EXPECT_TRUE(same(r, {t, m}));
}

TEST(Xform3Rules, RotationsAreRightHandedAndHaveNoTranslation)
{
    for (const double t : {0.0, -0.0, 0.3, -1.2, 2.0, 10.0, 1e300, nan, inf}) {
        const radian angle = {t};
        const double c = std::cos(t), s = std::sin(t);
        Xform r = canary;
        EXPECT_EQ(kmath_xform3Linear_initRotationAroundXAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {{0, 0, 0}, {1, 0, 0, 0, c, -s, 0, s, c}}));
        r = canary;
        EXPECT_EQ(kmath_xform3Linear_initRotationAroundYAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {{0, 0, 0}, {c, 0, s, 0, 1, 0, -s, 0, c}}));
        r = canary;
        EXPECT_EQ(kmath_xform3Linear_initRotationAroundZAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {{0, 0, 0}, {c, -s, 0, s, c, 0, 0, 0, 1}}));
    }
}

TEST(Xform3Rules, InverseHasTheBitsOfItsThreeSteps)
{
    std::mt19937_64 generator(31);
    std::uniform_int_distribution<int> exponent(-20, 20);
    int refused = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        Xform X = trial % 3 == 2 ? strangeXform(generator) : randomXform(generator);
        if (trial % 3 == 1) {
            const double scale = std::pow(10.0, exponent(generator));
            for (int i = 3; i < 6; ++i)
                number(X, i) *= scale;
        }
        Xform expected = canary;
        const kmath_status status = plainInverse(X, expected) ? KMATH_OK : KMATH_ERR_SINGULAR;
        refused += status != KMATH_OK;
        Xform r = canary;
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &X), status);
        EXPECT_TRUE(same(r, expected)) << trial;
        r = canary;
        EXPECT_EQ(kmath_xform3Linear_getInverse(&X, &r), status);
        EXPECT_TRUE(same(r, expected)) << trial;
        if (status != KMATH_OK)
            expected = X;
        r = X; // in place; a refusal leaves the operand
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &r), status);
        EXPECT_TRUE(same(r, expected)) << trial;
        r = X;
        EXPECT_EQ(kmath_xform3Linear_getInverse(&r, &r), status);
        EXPECT_TRUE(same(r, expected)) << trial;
    }
    EXPECT_GT(refused, 100);
    EXPECT_LT(refused, 1500);
}

TEST(Xform3Rules, InverseIsRefusedLikeThatOfItsMatrix)
{
    Xform r = canary;
    Xform X = scaling(1e-15, 1, 1);
    EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &X), KMATH_OK);
    r = canary;
    for (const Xform &refused : {scaling(std::nextafter(1e-15, 0.0), 1, 1), scaling(1e-16, 1, 1),
                                 scaling(0, 1, 1), scaling(1e-60, 1e-60, 1e-60), singular()}) {
        EXPECT_EQ(kmath_xform3Linear_initInverse(&r, &refused), KMATH_ERR_SINGULAR);
        EXPECT_EQ(kmath_xform3Linear_getInverse(&refused, &r), KMATH_ERR_SINGULAR);
    }
    EXPECT_TRUE(same(r, canary));
}

TEST(Xform3Rules, InverseUndoesTheTransform)
{
    std::mt19937_64 generator(32);
    for (int trial = 0; trial < 300; ++trial) {
        Xform X = randomXform(generator), inverse;
        for (int i = 0; i < 3; ++i)
            textbook::at(X.matrix, i, i) += 20; // well conditioned
        ASSERT_EQ(kmath_xform3Linear_initInverse(&inverse, &X), KMATH_OK);
        const kmath_vect3 p = randomVect3(generator);
        kmath_vect3 q, back;
        kmath_xform3Linear_mapPoint(&X, &p, &q);
        kmath_xform3Linear_mapPoint(&inverse, &q, &back);
        EXPECT_NEAR(back.x, p.x, 1e-13);
        EXPECT_NEAR(back.y, p.y, 1e-13);
        EXPECT_NEAR(back.z, p.z, 1e-13);
    }
}

TEST(Xform3Rules, CompositionHasTheBitsOfItsSteps)
{
    std::mt19937_64 generator(33);
    for (int trial = 0; trial < 600; ++trial) {
        const bool strange = trial % 3 == 2;
        Xform x[4];
        for (Xform &one : x)
            one = strange ? strangeXform(generator) : randomXform(generator);
        const Xform two = composed(x[0], x[1]), three = composed(two, x[2]),
                    four = composed(three, x[3]);
        Xform r = canary;
        EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &x[0], &x[1]), KMATH_OK);
        EXPECT_TRUE(same(r, two));
        r = canary;
        EXPECT_EQ(kmath_xform3Linear_initCompose3(&r, &x[0], &x[1], &x[2]), KMATH_OK);
        EXPECT_TRUE(same(r, three));
        r = canary;
        EXPECT_EQ(kmath_xform3Linear_initCompose4(&r, &x[0], &x[1], &x[2], &x[3]), KMATH_OK);
        EXPECT_TRUE(same(r, four));
    }
}

TEST(Xform3Rules, CompositionAppliesTheLastOperandFirst)
{
    // a scales, b shifts, c turns, d shears: no two of them commute.
    const radian quarter = {std::acos(0.0)};
    const Xform a = {{0, 0, 0}, {2, 0, 0, 0, 3, 0, 0, 0, 5}}, b = {{1, 2, 3}, identityMatrix};
    Xform c;
    kmath_xform3Linear_initRotationAroundZAxis(&c, &quarter);
    const Xform d = {{0, 0, 1}, {1, 1, 0, 0, 1, 0, 0, 0, 1}};
    const kmath_vect3 p = {1, 0, 0};
    Xform r;
    kmath_vect3 q;
    kmath_xform3Linear_initCompose(&r, &a, &b);
    kmath_xform3Linear_mapPoint(&r, &p, &q);
    EXPECT_TRUE(same(q, {4, 6, 15}));
    kmath_xform3Linear_initCompose3(&r, &a, &b, &c); // (1,0,0) → (0,1,0) → (1,3,3) → (2,9,15)
    kmath_xform3Linear_mapPoint(&r, &p, &q);
    EXPECT_NEAR(q.x, 2, 1e-15);
    EXPECT_NEAR(q.y, 9, 1e-14);
    EXPECT_NEAR(q.z, 15, 1e-14);
    const kmath_vect3 e = {0, 1, 0}; // → (1,1,1) → (−1,1,1) → (0,3,4) → (0,9,20)
    kmath_xform3Linear_initCompose4(&r, &a, &b, &c, &d);
    kmath_xform3Linear_mapPoint(&r, &e, &q);
    EXPECT_NEAR(q.x, 0, 1e-15);
    EXPECT_NEAR(q.y, 9, 1e-14);
    EXPECT_NEAR(q.z, 20, 1e-14);
}

TEST(Xform3Rules, CompositionsMayReplaceAnyOperand)
{
    std::mt19937_64 generator(34);
    Xform x[4];
    for (Xform &one : x)
        one = randomXform(generator);
    const Xform two = composed(x[0], x[1]), three = composed(two, x[2]),
                four = composed(three, x[3]);
    for (int replaced = 0; replaced < 4; ++replaced) {
        Xform y[4] = {x[0], x[1], x[2], x[3]};
        Xform &r = y[replaced];
        if (replaced < 2) {
            EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &y[0], &y[1]), KMATH_OK);
            EXPECT_TRUE(same(r, two)) << replaced;
            r = x[replaced];
        }
        if (replaced < 3) {
            EXPECT_EQ(kmath_xform3Linear_initCompose3(&r, &y[0], &y[1], &y[2]), KMATH_OK);
            EXPECT_TRUE(same(r, three)) << replaced;
            r = x[replaced];
        }
        EXPECT_EQ(kmath_xform3Linear_initCompose4(&r, &y[0], &y[1], &y[2], &y[3]), KMATH_OK);
        EXPECT_TRUE(same(r, four)) << replaced;
    }
    Xform r = x[0];
    EXPECT_EQ(kmath_xform3Linear_initCompose(&r, &r, &r), KMATH_OK);
    EXPECT_TRUE(same(r, composed(x[0], x[0])));
}

TEST(Xform3Rules, EqualityIsExact)
{
    std::mt19937_64 generator(35);
    const Xform a = randomXform(generator);
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_xform3Linear_compareEqual(&a, &a, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    for (int i = 0; i < 12; ++i) {
        Xform b = a;
        number(b, i) = std::nextafter(number(b, i), 1e9);
        flag = 9;
        EXPECT_EQ(kmath_xform3Linear_compareEqual(&a, &b, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u) << i;
        number(b, i) = nan;
        flag = 9;
        EXPECT_EQ(kmath_xform3Linear_compareEqual(&b, &b, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u) << i;
        b = a;
        number(b, i) = inf;
        flag = 9;
        EXPECT_EQ(kmath_xform3Linear_compareEqual(&b, &b, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u) << i;
        Xform zero = a, minus = a;
        number(zero, i) = 0.0;
        number(minus, i) = -0.0;
        flag = 9;
        EXPECT_EQ(kmath_xform3Linear_compareEqual(&zero, &minus, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u) << i;
    }
}

TEST(Xform3Rules, ToleranceIsInclusiveForElementsAndExclusiveForTranslations)
{
    std::uint32_t flag = 9;
    const auto equal = [&](const Xform &a, const Xform &b, double eps) {
        flag = 9;
        EXPECT_EQ(kmath_xform3Linear_epsilonEqual(&a, &b, eps, &flag), KMATH_OK);
        return flag;
    };
    EXPECT_EQ(equal(identity, identity, 0.0), 1u) << "no distance at all is equal at any tolerance";
    for (int i = 3; i < 12; ++i) {
        Xform b = identity;
        number(b, i) += 0.25;
        EXPECT_EQ(equal(identity, b, 0.25), 1u) << i;
        EXPECT_EQ(equal(b, identity, 0.25), 1u) << i;
        EXPECT_EQ(equal(identity, b, std::nextafter(0.25, 0.0)), 0u) << i;
        number(b, i) = nan;
        EXPECT_EQ(equal(b, b, 1e9), 0u) << i;
    }
    for (int i = 0; i < 3; ++i) {
        Xform b = identity;
        number(b, i) = 0.25;
        EXPECT_EQ(equal(identity, b, 0.25), 0u) << i;
        EXPECT_EQ(equal(identity, b, std::nextafter(0.25, 1.0)), 1u) << i;
        number(b, i) = nan;
        EXPECT_EQ(equal(b, b, 1e9), 0u) << i;
    }
    // Elements go one by one, translations by their distance.
    const Xform all = {{0, 0, 0}, {1.2, .2, .2, .2, 1.2, .2, .2, .2, 1.2}};
    EXPECT_EQ(equal(identity, all, 0.21), 1u);
    const Xform far = {{0.2, 0.2, 0.2}, identityMatrix};
    EXPECT_EQ(equal(identity, far, 0.21), 0u);
    EXPECT_EQ(equal(identity, far, 0.35), 1u);
    Xform both = all;
    both.translation = {0.2, 0, 0};
    EXPECT_EQ(equal(identity, both, 0.21), 1u);
    EXPECT_EQ(equal(identity, both, 0.19), 0u);
    // A negative tolerance admits no element.
    EXPECT_EQ(equal(identity, identity, -1.0), 0u);
    EXPECT_EQ(equal(identity, identity, nan), 0u);
}

TEST(Xform3Rules, IdentityIsRecognisedWithoutTolerance)
{
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_xform3Linear_getIsIdentity(&identity, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    for (int i = 0; i < 12; ++i) {
        Xform X = identity;
        const double value = number(X, i);
        for (const double other : {std::nextafter(value, 2.0), std::nextafter(value, -2.0), nan}) {
            number(X, i) = other;
            flag = 9;
            EXPECT_EQ(kmath_xform3Linear_getIsIdentity(&X, &flag), KMATH_OK);
            EXPECT_EQ(flag, 0u) << i;
        }
        if (value == 0.0) {
            number(X, i) = -0.0;
            flag = 9;
            EXPECT_EQ(kmath_xform3Linear_getIsIdentity(&X, &flag), KMATH_OK);
            EXPECT_EQ(flag, 1u) << i;
        }
    }
}

TEST(Xform3Rules, DegenerateIsADeterminantStrictlyWithinItsBounds)
{
    const auto degenerate = [](const Xform &X) {
        std::uint32_t flag = 9;
        EXPECT_EQ(kmath_xform3Linear_getIsDegenerate(&X, &flag), KMATH_OK);
        return flag;
    };
    EXPECT_EQ(degenerate(scaling(1e-10, 1, 1)), 0u);
    EXPECT_EQ(degenerate(scaling(-1e-10, 1, 1)), 0u);
    EXPECT_EQ(degenerate(scaling(0.99e-10, 1, 1)), 1u);
    EXPECT_EQ(degenerate(scaling(std::nextafter(1e-10, 0.0), 1, 1)), 1u);
    EXPECT_EQ(degenerate(scaling(-std::nextafter(1e-10, 0.0), 1, 1)), 1u);
    EXPECT_EQ(degenerate(scaling(0, 1, 1)), 1u);
    EXPECT_EQ(degenerate(singular()), 1u);
    EXPECT_EQ(degenerate(identity), 0u);
    EXPECT_EQ(degenerate(scaling(1, 1, -1)), 0u);
    EXPECT_EQ(degenerate(scaling(nan, 1, 1)), 0u);
    EXPECT_EQ(degenerate(scaling(inf, 1, 1)), 0u);
    EXPECT_EQ(degenerate({{nan, inf, 1e308}, {0, 0, 0, 0, 0, 0, 0, 0, 0}}), 1u);
    // It is not the test of the inverse: this one has an inverse.
    EXPECT_EQ(degenerate(scaling(1e-6, 1e-6, 1e-6)), 1u);
    std::mt19937_64 generator(36);
    for (int trial = 0; trial < 500; ++trial) {
        Xform X = randomXform(generator);
        for (int i = 3; i < 12; ++i)
            number(X, i) *= 1e-4; // determinants around 1e-10
        const double det = determinant(X.matrix);
        EXPECT_EQ(degenerate(X), static_cast<std::uint32_t>(-1e-10 < det && det < 1e-10));
    }
}

TEST(Xform3Rules, SingleItemsAreMappedInBits)
{
    std::mt19937_64 generator(37);
    for (int trial = 0; trial < 1500; ++trial) {
        const Xform X = trial % 3 == 2 ? strangeXform(generator) : randomXform(generator);
        kmath_vect3 p = randomVect3(generator);
        if (trial % 7 == 0)
            p.y = inf;
        if (trial % 11 == 0)
            p.z = -0.0;
        const kmath_vect3F f = narrowed(p);
        kmath_vect3 r = {7, 7, 7};
        kmath_vect3F q = {7, 7, 7};

        EXPECT_EQ(kmath_xform3Linear_mapPoint(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(same(r, mapped(X, p)));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_mapPoint(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(same(r, mapped(X, p)));
        EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &f, &q), KMATH_OK);
        EXPECT_TRUE(same(q, narrowed(mapped(X, widened(f)))));
        q = f;
        EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &q, &q), KMATH_OK);
        EXPECT_TRUE(same(q, narrowed(mapped(X, widened(f)))));

        EXPECT_EQ(kmath_xform3Linear_mapVector(&X, &p, &r), KMATH_OK);
        EXPECT_TRUE(same(r, times(X.matrix, p)));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_mapVector(&X, &r, &r), KMATH_OK);
        EXPECT_TRUE(same(r, times(X.matrix, p)));
        EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &f, &q), KMATH_OK);
        EXPECT_TRUE(same(q, narrowed(times(X.matrix, widened(f)))));
        q = f;
        EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &q, &q), KMATH_OK);
        EXPECT_TRUE(same(q, narrowed(times(X.matrix, widened(f)))));

        double volume = 7;
        EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, p.x, &volume), KMATH_OK);
        EXPECT_TRUE(sameBits(volume, p.x * std::fabs(determinant(X.matrix))));
    }
}

TEST(Xform3Rules, FloatsBeyondTheirRangeBecomeInfinite)
{
    const Xform X = {{0, 0, 1e300}, {1e30, 0, 0, 0, -1e30, 0, 0, 0, 1e-30}};
    const kmath_vect3F f = {1e30f, 1e30f, 1e-30f};
    kmath_vect3F q;
    EXPECT_EQ(kmath_xform3Linear_mapPointF(&X, &f, &q), KMATH_OK);
    EXPECT_TRUE(same(q, {INFINITY, -INFINITY, INFINITY}));
    EXPECT_EQ(kmath_xform3Linear_mapVectorF(&X, &f, &q), KMATH_OK);
    EXPECT_TRUE(same(q, {INFINITY, -INFINITY, 0.0f}));
}

TEST(Xform3Rules, InverseMapsGoThroughTheInverse)
{
    std::mt19937_64 generator(38);
    for (int trial = 0; trial < 1500; ++trial) {
        const Xform X = trial % 3 == 2 ? strangeXform(generator) : randomXform(generator);
        const kmath_vect3 p = randomVect3(generator);
        const kmath_vect3F f = narrowed(p);
        Xform inverse;
        const bool regular = plainInverse(X, inverse);
        const kmath_status status = regular ? KMATH_OK : KMATH_ERR_SINGULAR;
        const kmath_vect3 untouched = {7, 8, 9};
        const kmath_vect3F untouchedF = {7, 8, 9};
        kmath_vect3 r = untouched;
        kmath_vect3F q = untouchedF;

        EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &p, &r), status);
        EXPECT_TRUE(same(r, regular ? mapped(inverse, p) : untouched));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &r, &r), status);
        EXPECT_TRUE(same(r, regular ? mapped(inverse, p) : p));

        r = untouched;
        EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &p, &r), status);
        EXPECT_TRUE(same(r, regular ? times(inverse.matrix, p) : untouched));
        r = p;
        EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &r, &r), status);
        EXPECT_TRUE(same(r, regular ? times(inverse.matrix, p) : p));

        EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &f, &q), status);
        EXPECT_TRUE(same(q, regular ? narrowed(times(inverse.matrix, widened(f))) : untouchedF));
        q = f;
        EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &q, &q), status);
        EXPECT_TRUE(same(q, regular ? narrowed(times(inverse.matrix, widened(f))) : f));
    }
}

TEST(Xform3Rules, SingularTransformsHaveNoInverseMaps)
{
    const Xform X = singular();
    const kmath_vect3 p = {1, 2, 3};
    const kmath_vect3F f = {1, 2, 3};
    kmath_vect3 r = {7, 8, 9};
    kmath_vect3F q = {7, 8, 9};
    EXPECT_EQ(kmath_xform3Linear_invMapPoint(&X, &p, &r), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_xform3Linear_invMapVector(&X, &p, &r), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &p, &r), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_xform3Linear_invMapVectorF(&X, &f, &q), KMATH_ERR_SINGULAR);
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&X, &f, &q), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(same(r, {7, 8, 9}));
    EXPECT_TRUE(same(q, {7, 8, 9}));
    // The singular matrix is found before the normal without direction.
    const kmath_vect3 none = {0, 0, 0};
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &none, &r), KMATH_ERR_SINGULAR);
}

TEST(Xform3Rules, NormalsGoByTheInverseTranspose)
{
    std::mt19937_64 generator(39);
    for (int trial = 0; trial < 1500; ++trial) {
        const Xform X = trial % 3 == 2 ? strangeXform(generator) : randomXform(generator);
        const kmath_vect3 n = randomVect3(generator);
        const kmath_vect3F f = narrowed(n);
        kmath_matrix3 inverse = identityMatrix;
        const bool regular = textbook::inverse(X.matrix, inverse);
        // The unit vector by one reciprocal; false for a length of 0.
        const auto unit = [](const kmath_vect3 &v, kmath_vect3 &r) {
            const double length = std::sqrt(plainDot(v, v));
            if (length == 0.0)
                return false;
            const double q = 1.0 / length;
            r = {v.x * q, v.y * q, v.z * q};
            return true;
        };
        kmath_vect3 expected = {7, 8, 9}, r = expected;
        kmath_status status = KMATH_ERR_SINGULAR;
        if (regular)
            status = unit(transposedTimes(inverse, n), expected) ? KMATH_OK : KMATH_ERR_ZERO_LENGTH;
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &n, &r), status);
        EXPECT_TRUE(same(r, expected)) << trial;
        r = n;
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&X, &r, &r), status);
        EXPECT_TRUE(same(r, status == KMATH_OK ? expected : n));

        expected = {7, 8, 9};
        kmath_vect3F q = {7, 8, 9};
        if (regular)
            status = unit(transposedTimes(inverse, widened(f)), expected) ? KMATH_OK
                                                                          : KMATH_ERR_ZERO_LENGTH;
        EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&X, &f, &q), status);
        EXPECT_TRUE(same(q, narrowed(expected))) << trial;
        q = f;
        EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&X, &q, &q), status);
        EXPECT_TRUE(same(q, status == KMATH_OK ? narrowed(expected) : f));
    }
}

TEST(Xform3Rules, NormalsStayNormal)
{
    const Xform flat = scaling(2, 2, 0.5);
    const kmath_vect3 up = {0, 0, 1};
    kmath_vect3 r;
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&flat, &up, &r), KMATH_OK);
    EXPECT_TRUE(same(r, {0, 0, 1}));
    const kmath_vect3F upF = {0, 0, 1};
    kmath_vect3F q;
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&flat, &upF, &q), KMATH_OK);
    EXPECT_TRUE(same(q, {0, 0, 1}));

    const Xform shear = {{5, 6, 7}, {1, 0.5, -2, 0, 1, 0.25, 0, 0, 1}};
    for (const Xform &X : {shear, flat, scaling(1, 1, -1)}) {
        const kmath_vect3 n = {1, 2, 2}, tangents[2] = {{2, -1, 0}, {0, 1, -1}};
        ASSERT_EQ(kmath_xform3Linear_mapNormal_(&X, &n, &r), KMATH_OK);
        EXPECT_NEAR(plainDot(r, r), 1, 1e-15);
        for (const kmath_vect3 &t : tangents) {
            kmath_vect3 mappedTangent;
            kmath_xform3Linear_mapVector(&X, &t, &mappedTangent);
            EXPECT_NEAR(plainDot(r, mappedTangent), 0, 1e-15);
        }
    }
}

TEST(Xform3Rules, NormalsWithoutLengthAreRefused)
{
    kmath_vect3 r;
    for (const kmath_vect3 n : {kmath_vect3{0, 0, 0}, {-0.0, 0, 0}, {1e-200, 0, -1e-180}})
        EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &n, &r), KMATH_ERR_ZERO_LENGTH);
    const kmath_vect3 small = {1e-150, 0, 0};
    EXPECT_EQ(kmath_xform3Linear_mapNormal_(&identity, &small, &r), KMATH_OK);
    EXPECT_NEAR(r.x, 1, 1e-15);

    kmath_vect3F q;
    const kmath_vect3F none = {0, 0, 0};
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&identity, &none, &q), KMATH_ERR_ZERO_LENGTH);
    // Its length is a double: squares that vanish as floats do not vanish here.
    const kmath_vect3F tiny = {0, 1e-40f, 0};
    EXPECT_EQ(kmath_xform3Linear_mapNormalF_(&identity, &tiny, &q), KMATH_OK);
    EXPECT_TRUE(same(q, {0, 1, 0}));
}

TEST(Xform3Rules, VolumesStayPositiveUnderReflections)
{
    double volume = 0;
    Xform X = scaling(1, 1, -1);
    EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, 8, &volume), KMATH_OK);
    EXPECT_EQ(volume, 8);
    X = scaling(2, 3, -4);
    EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, 0.5, &volume), KMATH_OK);
    EXPECT_EQ(volume, 12);
    EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, -1, &volume), KMATH_OK);
    EXPECT_EQ(volume, -24);
    X = singular();
    EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, 5, &volume), KMATH_OK);
    EXPECT_EQ(volume, 0);
    EXPECT_EQ(kmath_xform3Linear_mapVolume(&X, inf, &volume), KMATH_OK);
    EXPECT_TRUE(std::isnan(volume));
}

/// Maps arrays in all arrangements and compares with the items mapped one after another.
template <class T, class Map, class One> void checkArrays(const Xform &X, Map map, One one)
{
    std::mt19937_64 generator(40);
    for (std::size_t count = 0; count <= 70; ++count) {
        const auto signedCount = static_cast<std::int64_t>(count);
        const std::vector<T> input = randomItems<T>(count + 2, generator);
        std::vector<T> output(count + 2, T{7, 7, 7}), expected = output;
        for (std::size_t i = 0; i < count; ++i)
            one(X, input[i + 1], expected[i + 1]);
        EXPECT_EQ(map(&X, signedCount, input.data() + 1, output.data() + 1), KMATH_OK);
        for (std::size_t i = 0; i < count + 2; ++i)
            EXPECT_TRUE(same(output[i], expected[i])) << count << ' ' << i;

        output = input;
        EXPECT_EQ(map(&X, signedCount, output.data() + 1, output.data() + 1), KMATH_OK);
        expected.front() = input.front();
        expected.back() = input.back();
        for (std::size_t i = 0; i < count + 2; ++i)
            EXPECT_TRUE(same(output[i], expected[i])) << "in place " << count << ' ' << i;

        // Shifted by whole items: each is read when its turn comes.
        for (std::size_t from = 0; from < 3; ++from)
            for (std::size_t to = 0; to < 3; ++to) {
                output = input;
                expected = input;
                for (std::size_t i = 0; i + 2 < count; ++i)
                    one(X, expected[i + from], expected[i + to]);
                const std::int64_t shifted = count >= 2 ? signedCount - 2 : 0;
                EXPECT_EQ(map(&X, shifted, output.data() + from, output.data() + to), KMATH_OK);
                for (std::size_t i = 0; i < count + 2; ++i)
                    EXPECT_TRUE(same(output[i], expected[i]))
                        << from << " to " << to << ", " << count << ' ' << i;
            }
    }
}

void onePoint(const Xform &X, const kmath_vect3 &p, kmath_vect3 &r) { r = mapped(X, p); }
void onePoint(const Xform &X, const kmath_vect3F &p, kmath_vect3F &r)
{
    r = narrowed(mapped(X, widened(p)));
}
void oneVector(const Xform &X, const kmath_vect3 &v, kmath_vect3 &r) { r = times(X.matrix, v); }
void oneVector(const Xform &X, const kmath_vect3F &v, kmath_vect3F &r)
{
    r = narrowed(times(X.matrix, widened(v)));
}

TEST(Xform3Rules, ArraysHaveTheBitsOfItemsMappedInOrder)
{
    std::mt19937_64 generator(41);
    const Xform X = randomXform(generator);
    const auto point = [](const auto &x, const auto &p, auto &r) { onePoint(x, p, r); };
    const auto vector = [](const auto &x, const auto &v, auto &r) { oneVector(x, v, r); };
    checkArrays<kmath_vect3>(X, kmath_xform3Linear_mapPoints, point);
    checkArrays<kmath_vect3F>(X, kmath_xform3Linear_mapPointsF, point);
    checkArrays<kmath_vect3>(X, kmath_xform3Linear_mapVectors, vector);
    checkArrays<kmath_vect3F>(X, kmath_xform3Linear_mapVectorsF, vector);
    checkArrays<kmath_vect3>(identity, kmath_xform3Linear_mapVectors, vector);
    checkArrays<kmath_vect3F>(identity, kmath_xform3Linear_mapVectorsF, vector);
}

TEST(Xform3Rules, ArraysOfStrangeNumbersHaveTheSameBitsToo)
{
    std::mt19937_64 generator(42);
    for (int trial = 0; trial < 60; ++trial) {
        const Xform X = strangeXform(generator);
        std::vector<kmath_vect3> input = randomItems<kmath_vect3>(33, generator);
        for (std::size_t i = 0; i < input.size(); i += 3) {
            const Xform strange = strangeXform(generator);
            input[i] = {strange.matrix.m00, strange.matrix.m11, strange.matrix.m22};
            input[i + 1] = strange.translation;
        }
        std::vector<kmath_vect3F> inputF;
        for (const kmath_vect3 &p : input)
            inputF.push_back(narrowed(p));
        std::vector<kmath_vect3> output(33);
        std::vector<kmath_vect3F> outputF(33);
        EXPECT_EQ(kmath_xform3Linear_mapPoints(&X, 33, input.data(), output.data()), KMATH_OK);
        EXPECT_EQ(kmath_xform3Linear_mapPointsF(&X, 33, inputF.data(), outputF.data()), KMATH_OK);
        for (std::size_t i = 0; i < 33; ++i) {
            EXPECT_TRUE(same(output[i], mapped(X, input[i])));
            EXPECT_TRUE(same(outputF[i], narrowed(mapped(X, widened(inputF[i])))));
        }
        EXPECT_EQ(kmath_xform3Linear_mapVectors(&X, 33, input.data(), output.data()), KMATH_OK);
        EXPECT_EQ(kmath_xform3Linear_mapVectorsF(&X, 33, inputF.data(), outputF.data()), KMATH_OK);
        for (std::size_t i = 0; i < 33; ++i) {
            EXPECT_TRUE(same(output[i], times(X.matrix, input[i])));
            EXPECT_TRUE(same(outputF[i], narrowed(times(X.matrix, widened(inputF[i])))));
        }
    }
}

TEST(Xform3Rules, IdentityCopiesPointsAsTheyAre)
{
    // Through the sums an infinite component would make NaN of the others.
    const std::vector<kmath_vect3> input = {{inf, -0.0, nan}, {1, 2, 3}, {-inf, 5e-324, 1e308}};
    const std::vector<kmath_vect3F> inputF = {
        {INFINITY, -0.0f, NAN}, {1, 2, 3}, {-INFINITY, 1e-45f, 3e38f}};
    Xform X = identity;
    for (const double zero : {0.0, -0.0}) {
        X.translation.y = X.matrix.m02 = zero;
        std::vector<kmath_vect3> output(3);
        std::vector<kmath_vect3F> outputF(3);
        const support::CopyWatch watch;
        EXPECT_EQ(kmath_xform3Linear_mapPoints(&X, 3, input.data(), output.data()), KMATH_OK);
        EXPECT_EQ(watch.calls(), 1);
        EXPECT_EQ(watch.lastBytes(), 72u);
        EXPECT_EQ(std::memcmp(output.data(), input.data(), 72), 0);
        EXPECT_EQ(kmath_xform3Linear_mapPointsF(&X, 3, inputF.data(), outputF.data()), KMATH_OK);
        EXPECT_EQ(watch.calls(), 2);
        EXPECT_EQ(watch.lastBytes(), 36u);
        EXPECT_EQ(std::memcmp(outputF.data(), inputF.data(), 36), 0);
        output.assign(3, {7, 7, 7});
        outputF.assign(3, {7, 7, 7});
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(2, input.data(), output.data()), KMATH_OK);
        EXPECT_EQ(watch.calls(), 3);
        EXPECT_EQ(watch.lastBytes(), 48u);
        EXPECT_EQ(std::memcmp(output.data(), input.data(), 48), 0);
        EXPECT_TRUE(same(output[2], {7, 7, 7}));
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(2, inputF.data(), outputF.data()), KMATH_OK);
        EXPECT_EQ(watch.calls(), 4);
        EXPECT_EQ(watch.lastBytes(), 24u);
        EXPECT_EQ(std::memcmp(outputF.data(), inputF.data(), 24), 0);
        EXPECT_TRUE(same(outputF[2], {7, 7, 7}));
    }

    // One bit off the identity, and vectors under any matrix, go through the sums.
    const support::CopyWatch watch;
    kmath_vect3 r;
    kmath_vect3F q;
    X.translation.x = 5e-324;
    EXPECT_EQ(kmath_xform3Linear_mapPoints(&X, 1, input.data(), &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.y));
    EXPECT_EQ(kmath_xform3Linear_mapPointsF(&X, 1, inputF.data(), &q), KMATH_OK);
    EXPECT_TRUE(std::isnan(q.y));
    EXPECT_EQ(kmath_xform3Linear_mapVectors(&identity, 1, input.data(), &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.y));
    EXPECT_EQ(kmath_xform3Linear_mapVectorsF(&identity, 1, inputF.data(), &q), KMATH_OK);
    EXPECT_TRUE(std::isnan(q.y));
    EXPECT_EQ(kmath_xform3Linear_mapPoint(&identity, input.data(), &r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.y));
    EXPECT_EQ(watch.calls(), 0);
}

TEST(Xform3Rules, TheStatusOfTheMemoryCopyIsReturned)
{
    const kmath_vect3 p = {1, 2, 3};
    const kmath_vect3F f = {1, 2, 3};
    kmath_vect3 r = {7, 7, 7};
    kmath_vect3F q = {7, 7, 7};
    const auto odd = static_cast<kmath_status>(0x80001234u);
    const support::CopyWatch watch(odd);
    EXPECT_EQ(kmath_xform3Linear_mapPoints(&identity, 1, &p, &r), odd);
    EXPECT_EQ(kmath_xform3Linear_mapPointsF(&identity, 1, &f, &q), odd);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(1, &p, &r), odd);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(1, &f, &q), odd);
    EXPECT_EQ(watch.calls(), 4);
}

TEST(Xform3Rules, NegativeCountsComeBeforeAnythingElse)
{
    kmath_vect3 r = {7, 7, 7};
    kmath_vect3F q = {7, 7, 7};
    for (const std::int64_t count :
         {std::int64_t{-1}, std::int64_t{-1} << 32, std::numeric_limits<std::int64_t>::min()}) {
        for (const Xform &X : {identity, singular()}) {
            EXPECT_EQ(kmath_xform3Linear_mapPoints(&X, count, &r, &r), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_EQ(kmath_xform3Linear_mapPointsF(&X, count, &q, &q), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_EQ(kmath_xform3Linear_mapVectors(&X, count, &r, &r), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_EQ(kmath_xform3Linear_mapVectorsF(&X, count, &q, &q), KMATH_ERR_NEGATIVE_COUNT);
        }
        EXPECT_EQ(kmath_xform3Linear_mapPoints(nullptr, count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3Linear_mapPointsF(nullptr, count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3Linear_mapVectors(nullptr, count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3Linear_mapVectorsF(nullptr, count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        // Negative even where both arrays are one.
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(count, &r, &r), KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(count, &q, &q), KMATH_ERR_NEGATIVE_COUNT);
    }
    EXPECT_TRUE(same(r, {7, 7, 7}));
    EXPECT_TRUE(same(q, {7, 7, 7}));
}

TEST(Xform3Rules, NoItemsNeedNoArrays)
{
    support::AssertionRecorder recorder;
    const support::CopyWatch watch;
    for (const Xform &X : {identity, singular()}) {
        EXPECT_EQ(kmath_xform3Linear_mapPoints(&X, 0, nullptr, nullptr), KMATH_OK);
        EXPECT_EQ(kmath_xform3Linear_mapPointsF(&X, 0, nullptr, nullptr), KMATH_OK);
        EXPECT_EQ(kmath_xform3Linear_mapVectors(&X, 0, nullptr, nullptr), KMATH_OK);
        EXPECT_EQ(kmath_xform3Linear_mapVectorsF(&X, 0, nullptr, nullptr), KMATH_OK);
    }
    kmath_vect3 r = {7, 7, 7};
    kmath_vect3F q = {7, 7, 7};
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(0, nullptr, &r), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(0, nullptr, &q), KMATH_OK);
    EXPECT_TRUE(same(r, {7, 7, 7}));
    EXPECT_TRUE(same(q, {7, 7, 7}));
    EXPECT_EQ(watch.calls(), 0);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Xform3Rules, IdentityOntoItselfReturnsAtOnce)
{
    // No such array exists, so a single access would show.
    constexpr std::int64_t endless = std::int64_t{1} << 58;
    kmath_vect3 r = {1, 2, 3};
    kmath_vect3F q = {1, 2, 3};
    const support::CopyWatch watch(KMATH_ERR_FAILED);
    EXPECT_EQ(kmath_xform3Linear_mapPoints(&identity, endless, &r, &r), KMATH_OK);
    EXPECT_EQ(kmath_xform3Linear_mapPointsF(&identity, endless, &q, &q), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(endless, &r, &r), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(endless, &q, &q), KMATH_OK);
    EXPECT_EQ(watch.calls(), 0);
    // The number of bytes is formed in 64 bits.
    kmath_vect3 other = {7, 7, 7};
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(std::int64_t{1} << 33, &r, &other),
              KMATH_ERR_FAILED);
    EXPECT_EQ(watch.lastBytes(), std::size_t{24} << 33);
    kmath_vect3F otherF = {7, 7, 7};
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(std::int64_t{1} << 33, &q, &otherF),
              KMATH_ERR_FAILED);
    EXPECT_EQ(watch.lastBytes(), std::size_t{12} << 33);
}

kmath_status turnTowards(const Xform &X, const kmath_vect3 &v, Xform &r)
{
    return kmath_xform3Linear_rotateXformAroundZAxisForXAxisToBeProjParallelToVector(&X, &v, &r);
}

TEST(Xform3Rules, TurningAboutTheOwnZAxisHasTheBitsOfItsSteps)
{
    std::mt19937_64 generator(43);
    int refused = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        const Xform X = trial % 2 == 1 ? strangeXform(generator) : randomXform(generator);
        kmath_vect3 v = randomVect3(generator);
        if (trial % 5 == 0)
            v = {v.x * 1e-13, v.y * 1e-13, v.z * 1e-13};
        const kmath_vect3 a = times(X.matrix, {1, 0, 0}), b = times(X.matrix, {0, 1, 0});
        const double c0 = plainDot(a, v), c1 = plainDot(b, v);
        Xform expected = canary;
        const bool fails = std::fabs(c0) < 1e-12 && std::fabs(c1) < 1e-12;
        refused += fails;
        if (!fails) {
            const double angle = std::atan2(c1, c0), c = std::cos(angle), s = std::sin(angle);
            expected = composed(X, {{0, 0, 0}, {c, -s, 0, s, c, 0, 0, 0, 1}});
        }
        Xform r = canary;
        EXPECT_EQ(turnTowards(X, v, r), fails ? KMATH_ERR_SINGULAR : KMATH_OK);
        EXPECT_TRUE(same(r, expected)) << trial;
        r = X;
        EXPECT_EQ(turnTowards(r, v, r), fails ? KMATH_ERR_SINGULAR : KMATH_OK);
        EXPECT_TRUE(same(r, fails ? X : expected)) << trial;
    }
    EXPECT_GT(refused, 50);
}

TEST(Xform3Rules, TurningNeedsAComponentInThePlane)
{
    Xform r = canary;
    EXPECT_EQ(turnTowards(identity, {0, 0, 1}, r), KMATH_ERR_SINGULAR);
    EXPECT_EQ(turnTowards(identity, {0, 0, 0}, r), KMATH_ERR_SINGULAR);
    const double below = std::nextafter(1e-12, 0.0);
    for (const double x : {below, -below, 0.0})
        for (const double y : {below, -below, 0.0})
            EXPECT_EQ(turnTowards(identity, {x, y, 1e9}, r), KMATH_ERR_SINGULAR);
    const Xform flat = {{1, 2, 3}, {0, 0, 1, 0, 0, 1, 0, 0, 1}};
    EXPECT_EQ(turnTowards(flat, {1, 2, 3}, r), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(same(r, canary));
    // The bound itself is enough, in either component.
    for (const kmath_vect3 v :
         {kmath_vect3{1e-12, 0, 9}, {-1e-12, below, 9}, {0, 1e-12, 9}, {below, -1e-12, 9}}) {
        r = canary;
        EXPECT_EQ(turnTowards(identity, v, r), KMATH_OK);
        const double length = std::hypot(v.x, v.y);
        EXPECT_NEAR(r.matrix.m00, v.x / length, 1e-15);
        EXPECT_NEAR(r.matrix.m10, v.y / length, 1e-15);
    }
    // NaN is not below the bound.
    EXPECT_EQ(turnTowards(identity, {nan, 0, 0}, r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.matrix.m00));
    EXPECT_EQ(turnTowards(identity, {0, nan, 0}, r), KMATH_OK);
    EXPECT_TRUE(std::isnan(r.matrix.m11));
}

TEST(Xform3Rules, TurningPointsTheXAxisAlongTheProjection)
{
    Xform r;
    EXPECT_EQ(turnTowards(identity, {0, 1, 5}, r), KMATH_OK);
    const radian quarter = {std::acos(0.0)};
    Xform expected;
    kmath_xform3Linear_initRotationAroundZAxis(&expected, &quarter);
    for (int i = 0; i < 12; ++i)
        EXPECT_NEAR(number(r, i), number(expected, i), 1e-16);

    std::mt19937_64 generator(44);
    for (int trial = 0; trial < 300; ++trial) {
        // A rigid X, scaled, so that the images of x and y stay at right angles.
        const kmath_vect3 angles = randomVect3(generator), v = randomVect3(generator);
        const radian ax = {angles.x}, az = {angles.z};
        Xform rx, rz, X;
        kmath_xform3Linear_initRotationAroundXAxis(&rx, &ax);
        kmath_xform3Linear_initRotationAroundZAxis(&rz, &az);
        const Xform shift = scaling(2, 2, 2);
        kmath_xform3Linear_initCompose3(&X, &shift, &rx, &rz);
        ASSERT_EQ(turnTowards(X, v, r), KMATH_OK);
        EXPECT_TRUE(same(r.translation, X.translation));
        const kmath_matrix3 &m = r.matrix;
        EXPECT_NEAR(m.m02, X.matrix.m02, 1e-15);
        EXPECT_NEAR(m.m12, X.matrix.m12, 1e-15);
        EXPECT_NEAR(m.m22, X.matrix.m22, 1e-15);
        EXPECT_NEAR(m.m01 * v.x + m.m11 * v.y + m.m21 * v.z, 0, 1e-13); // nothing along y
        EXPECT_GT(m.m00 * v.x + m.m10 * v.y + m.m20 * v.z, 0);          // forwards along x
    }
}

TEST(Xform3Rules, OrdinaryCallsReportNothingAndAllocateNothing)
{
    support::AssertionRecorder recorder;
    std::mt19937_64 generator(45);
    const Xform X = randomXform(generator);
    const radian angle = {1};
    Xform r;
    kmath_vect3 v = {1, 2, 3}, array[9] = {};
    kmath_vect3F f = {1, 2, 3}, arrayF[9] = {};
    double volume;
    std::uint32_t flag;
    EXPECT_EQ(support::allocationsOf([&] {
                  kmath_xform3Linear_initRotationAroundXAxis(&r, &angle);
                  kmath_xform3Linear_initInverse(&r, &X);
                  kmath_xform3Linear_initCompose4(&r, &X, &X, &X, &X);
                  kmath_xform3Linear_epsilonEqual(&X, &X, 1, &flag);
                  kmath_xform3Linear_compareEqual(&X, &X, &flag);
                  kmath_xform3Linear_getIsDegenerate(&X, &flag);
                  kmath_xform3Linear_invMapPoint(&X, &v, &v);
                  kmath_xform3Linear_invMapVectorF(&X, &f, &f);
                  kmath_xform3Linear_mapNormal_(&X, &v, &v);
                  kmath_xform3Linear_mapNormalF_(&X, &f, &f);
                  kmath_xform3Linear_mapVolume(&X, 1, &volume);
                  kmath_xform3Linear_mapPoints(&X, 9, array, array);
                  kmath_xform3Linear_mapPointsF(&X, 9, arrayF, arrayF);
                  turnTowards(X, v, r);
              }),
              0);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
