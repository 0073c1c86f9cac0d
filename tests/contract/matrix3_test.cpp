// The 3×3 matrix seen from outside: every operation in bits against the written-out expression,
// both sides of the inverse's two refusals, aliasing, and the copies to and from dense matrices.
#include <kmath/matrix3.h>

#include "contract/textbook_matrix3.hpp"
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
using support::Matrix;
using support::sameBits;
using textbook::same;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

double *elements(kmath_matrix3 &m) { return &m.m00; }
const double *elements(const kmath_matrix3 &m) { return &m.m00; }

kmath_matrix3 randomMatrix3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-5.0, 5.0);
    kmath_matrix3 m;
    for (int i = 0; i < 9; ++i)
        elements(m)[i] = uniform(generator);
    return m;
}

kmath_matrix3 filled(double value)
{
    kmath_matrix3 m;
    for (int i = 0; i < 9; ++i)
        elements(m)[i] = value;
    return m;
}

kmath_matrix3 diag(double a, double b, double c) { return {a, 0, 0, 0, b, 0, 0, 0, c}; }

const kmath_matrix3 identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

TEST(Matrix3Rules, IsFilledRowByRow)
{
    kmath_matrix3 r = filled(nan);
    EXPECT_EQ(kmath_matrix3_init(&r, 1, 2, 3, 4, 5, 6, 7, 8, 9), KMATH_OK);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(elements(r)[i], i + 1);
    EXPECT_EQ(r.m12, 6);
    EXPECT_EQ(r.m20, 7);
    for (const auto reset :
         {kmath_matrix3_initIdentity, kmath_matrix3_setToIdentity, kmath_matrix3_reset}) {
        r = filled(nan);
        EXPECT_EQ(reset(&r), KMATH_OK);
        EXPECT_TRUE(same(r, identity));
    }
    EXPECT_EQ(kmath_matrix3_initClear(&r), KMATH_OK);
    EXPECT_TRUE(same(r, filled(0.0)));
}

TEST(Matrix3Rules, AxesBecomeColumns)
{
    const kmath_vect3 x = {1, 0, 0}, y = {0, 1, 0}, z = {0, 0, 1};
    kmath_matrix3 r = filled(nan);
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &x, &y, &z), KMATH_OK);
    EXPECT_TRUE(same(r, identity));
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &y, &z, &x), KMATH_OK);
    EXPECT_TRUE(same(r, {0, 0, 1, 1, 0, 0, 0, 1, 0}));
    const kmath_vect3 a = {1, 2, 3}, b = {4, 5, 6}, c = {7, 8, 9};
    EXPECT_EQ(kmath_matrix3_initFromAxes(&r, &a, &b, &c), KMATH_OK);
    EXPECT_TRUE(same(r, {1, 4, 7, 2, 5, 8, 3, 6, 9}));
}

TEST(Matrix3Rules, ArithmeticHasTheBitsOfThePlainExpressions)
{
    std::mt19937_64 generator(21);
    for (int trial = 0; trial < 300; ++trial) {
        const kmath_matrix3 a = randomMatrix3(generator);
        const kmath_matrix3 b = randomMatrix3(generator);
        kmath_matrix3 r, sum, difference, scaled = a, transposed;
        for (int i = 0; i < 9; ++i) {
            elements(sum)[i] = elements(a)[i] + elements(b)[i];
            elements(difference)[i] = elements(a)[i] - elements(b)[i];
            elements(scaled)[i] *= 0.1;
            elements(transposed)[i] = elements(a)[3 * (i % 3) + i / 3];
        }
        EXPECT_EQ(kmath_matrix3_initMultiply(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, textbook::product(a, b)));
        EXPECT_EQ(kmath_matrix3_initAdd(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, sum));
        EXPECT_EQ(kmath_matrix3_initSubtract(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(same(r, difference));
        r = a;
        EXPECT_EQ(kmath_matrix3_scale(&r, 0.1), KMATH_OK);
        EXPECT_TRUE(same(r, scaled));
        EXPECT_EQ(kmath_matrix3_transpose(&a, &r), KMATH_OK);
        EXPECT_TRUE(same(r, transposed));

        double det = nan;
        EXPECT_EQ(kmath_matrix3_determinant(&a, &det), KMATH_OK);
        EXPECT_TRUE(sameBits(det, a.m00 * (a.m11 * a.m22 - a.m12 * a.m21) +
                                      a.m10 * (-a.m01 * a.m22 + a.m02 * a.m21) +
                                      a.m20 * (a.m01 * a.m12 - a.m02 * a.m11)));

        const kmath_vect3 v = {b.m00, b.m01, b.m02};
        kmath_vect3 p;
        for (const auto map : {kmath_matrix3_multv, kmath_matrix3_mapPoint}) {
            EXPECT_EQ(map(&a, &v, &p), KMATH_OK);
            EXPECT_TRUE(sameBits(p.x, a.m00 * v.x + a.m01 * v.y + a.m02 * v.z));
            EXPECT_TRUE(sameBits(p.y, a.m10 * v.x + a.m11 * v.y + a.m12 * v.z));
            EXPECT_TRUE(sameBits(p.z, a.m20 * v.x + a.m21 * v.y + a.m22 * v.z));
        }
        const kmath_vect3F f = {static_cast<float>(v.x), static_cast<float>(v.y),
                                static_cast<float>(v.z)};
        const double fx = static_cast<double>(f.x), fy = static_cast<double>(f.y),
                     fz = static_cast<double>(f.z);
        kmath_vect3F q;
        EXPECT_EQ(kmath_matrix3_multvF(&a, &f, &q), KMATH_OK);
        EXPECT_EQ(q.x, static_cast<float>(a.m00 * fx + a.m01 * fy + a.m02 * fz));
        EXPECT_EQ(q.y, static_cast<float>(a.m10 * fx + a.m11 * fy + a.m12 * fz));
        EXPECT_EQ(q.z, static_cast<float>(a.m20 * fx + a.m21 * fy + a.m22 * fz));
    }
}

TEST(Matrix3Rules, ResultsMayBeOperands)
{
    std::mt19937_64 generator(22);
    const kmath_matrix3 a = randomMatrix3(generator);
    const kmath_matrix3 b = randomMatrix3(generator);
    kmath_matrix3 r = a, expected;
    EXPECT_EQ(kmath_matrix3_initMultiply(&r, &r, &b), KMATH_OK);
    EXPECT_TRUE(same(r, textbook::product(a, b)));
    r = b;
    EXPECT_EQ(kmath_matrix3_initMultiply(&r, &a, &r), KMATH_OK);
    EXPECT_TRUE(same(r, textbook::product(a, b)));
    r = a;
    EXPECT_EQ(kmath_matrix3_initMultiply(&r, &r, &r), KMATH_OK);
    EXPECT_TRUE(same(r, textbook::product(a, a)));
    r = a;
    kmath_matrix3_transpose(&a, &expected);
    EXPECT_EQ(kmath_matrix3_transpose(&r, &r), KMATH_OK);
    EXPECT_TRUE(same(r, expected));

    kmath_vect3 v = {1, 2, 3}, w;
    kmath_matrix3_multv(&a, &v, &w);
    EXPECT_EQ(kmath_matrix3_multv(&a, &v, &v), KMATH_OK);
    EXPECT_TRUE(sameBits(v.x, w.x) && sameBits(v.y, w.y) && sameBits(v.z, w.z));
}

TEST(Matrix3Rules, InverseHasTheBitsOfTheAdjugateTimesTheReciprocal)
{
    std::mt19937_64 generator(23);
    std::uniform_int_distribution<int> exponent(-20, 20);
    int refused = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        kmath_matrix3 m = randomMatrix3(generator);
        const double s = std::pow(10.0, exponent(generator));
        for (int i = 0; i < 3; ++i)
            elements(m)[i] *= s;
        kmath_matrix3 expected = filled(3.25), r = filled(3.25), other = filled(3.25);
        const kmath_status status = textbook::inverse(m, expected) ? KMATH_OK : KMATH_ERR_SINGULAR;
        refused += status != KMATH_OK;
        EXPECT_EQ(kmath_matrix3_getInverse(&m, &r), status);
        EXPECT_TRUE(same(r, expected));
        EXPECT_EQ(kmath_matrix3_initInverse(&other, &m), status);
        EXPECT_TRUE(same(other, expected));

        const kmath_vect3 p = {1, -2, 3};
        kmath_vect3 q = {7, 7, 7}, mapped = q;
        if (status == KMATH_OK)
            kmath_matrix3_multv(&expected, &p, &mapped);
        EXPECT_EQ(kmath_matrix3_invMapPoint(&m, &p, &q), status);
        EXPECT_TRUE(sameBits(q.x, mapped.x) && sameBits(q.y, mapped.y) && sameBits(q.z, mapped.z));
    }
    EXPECT_GT(refused, 100);
    EXPECT_LT(refused, 1900);
}

TEST(Matrix3Rules, InverseRefusesElementsAboveTenToTheFifteenth)
{
    kmath_matrix3 r = filled(2.0);
    const auto inverse = [&](const kmath_matrix3 &m) { return kmath_matrix3_getInverse(&m, &r); };
    EXPECT_EQ(inverse(diag(1e-6, 1e-6, 1e-6)), KMATH_OK);
    EXPECT_NEAR(r.m11, 1e6, 1e-8);
    EXPECT_EQ(inverse(diag(1e-10, 1, 1)), KMATH_OK);
    EXPECT_NEAR(r.m00, 1e10, 1e-4);
    EXPECT_EQ(inverse(diag(1e-15, 1, 1)), KMATH_OK); // the bound itself passes
    r = filled(2.0);
    EXPECT_EQ(inverse(diag(std::nextafter(1e-15, 0.0), 1, 1)), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(diag(1e-16, 1, 1)), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(diag(1, -1e-16, 1)), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(filled(0.0)), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(filled(1.0)), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(diag(1e-160, 1e-160, 1e-160)), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(same(r, filled(2.0)));
}

TEST(Matrix3Rules, InverseMayReplaceItsArgument)
{
    kmath_matrix3 m = {2, 1, 0, 0, 3, 1, 1, 0, 4}, expected;
    ASSERT_TRUE(textbook::inverse(m, expected));
    kmath_matrix3 r = m;
    EXPECT_EQ(kmath_matrix3_getInverse(&r, &r), KMATH_OK);
    EXPECT_TRUE(same(r, expected));
}

TEST(Matrix3Rules, IdentityIsRecognisedWithoutTolerance)
{
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_matrix3_getIsIdentity(&identity, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    for (int i = 0; i < 9; ++i) {
        kmath_matrix3 m = identity;
        elements(m)[i] += i % 4 == 0 ? 1e-15 : 1e-300;
        flag = 9;
        EXPECT_EQ(kmath_matrix3_getIsIdentity(&m, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u) << i;
    }
}

TEST(Matrix3Rules, Comparisons)
{
    std::mt19937_64 generator(24);
    const kmath_matrix3 a = randomMatrix3(generator);
    std::uint32_t flag = 9;
    EXPECT_EQ(kmath_matrix3_compareEqual(&a, &a, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
    for (int i = 0; i < 9; ++i) {
        kmath_matrix3 b = a;
        elements(b)[i] = std::nextafter(elements(b)[i], 1e9);
        EXPECT_EQ(kmath_matrix3_compareEqual(&a, &b, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u);
        b = identity;
        elements(b)[i] += 0.25;
        EXPECT_EQ(kmath_matrix3_epsilonEqual(&identity, &b, 0.25, &flag), KMATH_OK);
        EXPECT_EQ(flag, 1u) << "the bound itself is equal";
        EXPECT_EQ(kmath_matrix3_epsilonEqual(&identity, &b, std::nextafter(0.25, 0.0), &flag),
                  KMATH_OK);
        EXPECT_EQ(flag, 0u);
        elements(b)[i] = nan;
        EXPECT_EQ(kmath_matrix3_epsilonEqual(&b, &b, 1e9, &flag), KMATH_OK);
        EXPECT_EQ(flag, 0u);
    }
    EXPECT_EQ(kmath_matrix3_epsilonEqual(&a, &a, 0.0, &flag), KMATH_OK);
    EXPECT_EQ(flag, 1u);
}

TEST(Matrix3Rules, RotationsAreRightHanded)
{
    for (const double t : {0.0, 0.3, -1.2, 2.0, 10.0}) {
        const radian angle = {t};
        const double c = std::cos(t), s = std::sin(t);
        kmath_matrix3 r = filled(nan);
        EXPECT_EQ(kmath_matrix3_initRotationAroundXAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {1, 0, 0, 0, c, -s, 0, s, c}));
        EXPECT_EQ(kmath_matrix3_initRotationAroundYAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {c, 0, s, 0, 1, 0, -s, 0, c}));
        EXPECT_EQ(kmath_matrix3_initRotationAroundZAxis(&r, &angle), KMATH_OK);
        EXPECT_TRUE(same(r, {c, -s, 0, s, c, 0, 0, 0, 1}));
    }
}

TEST(Matrix3Rules, DenseMatricesGiveTheirTopLeftBlock)
{
    const Matrix wide = support::randomMatrix(3, 4), tall = support::randomMatrix(9, 3),
                 low = support::randomMatrix(2, 3), narrow = support::randomMatrix(3, 2);
    kmath_matrix3 r;
    for (const Matrix *source : {std::addressof(wide), std::addressof(tall)}) {
        r = filled(nan);
        EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &*source), KMATH_OK);
        for (int i = 0; i < 9; ++i)
            EXPECT_TRUE(sameBits(elements(r)[i], (*source)(i / 3, i % 3)));
    }
    r = filled(4.0);
    EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &low), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_matrix3_copyNM3x3to3(&r, &narrow), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(same(r, filled(4.0)));

    // The shape is looked at before the pointers.
    support::AssertionRecorder recorder;
    EXPECT_EQ(kmath_matrix3_copyNM3x3to3(nullptr, &low), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Matrix3Rules, DenseMatricesAreResizedToReceiveOne)
{
    const kmath_matrix3 m = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    for (const int rows : {0, 3, 20}) {
        Matrix r(rows, rows == 0 ? 0 : 20);
        EXPECT_EQ(kmath_matrix3_copy3toNM(&r, &m), KMATH_OK);
        ASSERT_EQ(r.rows(), 3);
        ASSERT_EQ(r.cols(), 3);
        for (int i = 0; i < 9; ++i)
            EXPECT_EQ(r(i / 3, i % 3), i + 1);
    }
}

TEST(Matrix3Rules, NullRecordsAreReported)
{
    kmath_matrix3 r = identity;
    const kmath_matrix3 m = identity;
    kmath_vect3 v = {1, 2, 3};
    kmath_vect3F f = {1, 2, 3};
    const radian angle = {1};
    Matrix dense(3, 3);
    double det;
    std::uint32_t flag;
    const std::function<void()> calls[] = {
        [&] { kmath_matrix3_init(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9); },
        [&] { kmath_matrix3_initIdentity(nullptr); },
        [&] { kmath_matrix3_setToIdentity(nullptr); },
        [&] { kmath_matrix3_reset(nullptr); },
        [&] { kmath_matrix3_initClear(nullptr); },
        [&] { kmath_matrix3_initMultiply(nullptr, &m, &m); },
        [&] { kmath_matrix3_initMultiply(&r, nullptr, &m); },
        [&] { kmath_matrix3_initMultiply(&r, &m, nullptr); },
        [&] { kmath_matrix3_initAdd(nullptr, &m, &m); },
        [&] { kmath_matrix3_initAdd(&r, nullptr, &m); },
        [&] { kmath_matrix3_initAdd(&r, &m, nullptr); },
        [&] { kmath_matrix3_initSubtract(nullptr, &m, &m); },
        [&] { kmath_matrix3_initSubtract(&r, nullptr, &m); },
        [&] { kmath_matrix3_initSubtract(&r, &m, nullptr); },
        [&] { kmath_matrix3_scale(nullptr, 2); },
        [&] { kmath_matrix3_transpose(nullptr, &r); },
        [&] { kmath_matrix3_transpose(&m, nullptr); },
        [&] { kmath_matrix3_multv(nullptr, &v, &v); },
        [&] { kmath_matrix3_multv(&m, nullptr, &v); },
        [&] { kmath_matrix3_multv(&m, &v, nullptr); },
        [&] { kmath_matrix3_multvF(nullptr, &f, &f); },
        [&] { kmath_matrix3_multvF(&m, nullptr, &f); },
        [&] { kmath_matrix3_multvF(&m, &f, nullptr); },
        [&] { kmath_matrix3_mapPoint(nullptr, &v, &v); },
        [&] { kmath_matrix3_mapPoint(&m, nullptr, &v); },
        [&] { kmath_matrix3_mapPoint(&m, &v, nullptr); },
        [&] { kmath_matrix3_getInverse(nullptr, &r); },
        [&] { kmath_matrix3_getInverse(&m, nullptr); },
        [&] { kmath_matrix3_initInverse(nullptr, &m); },
        [&] { kmath_matrix3_initInverse(&r, nullptr); },
        [&] { kmath_matrix3_determinant(nullptr, &det); },
        [&] { kmath_matrix3_determinant(&m, nullptr); },
        [&] { kmath_matrix3_getIsIdentity(nullptr, &flag); },
        [&] { kmath_matrix3_getIsIdentity(&m, nullptr); },
        [&] { kmath_matrix3_initRotationAroundXAxis(nullptr, &angle); },
        [&] { kmath_matrix3_initRotationAroundYAxis(nullptr, &angle); },
        [&] { kmath_matrix3_initRotationAroundZAxis(nullptr, &angle); },
        [&] { kmath_matrix3_copy3toNM(nullptr, &m); },
        [&] { kmath_matrix3_copy3toNM(&dense, nullptr); },
        [&] { kmath_matrix3_copyNM3x3to3(nullptr, &dense); },
    };
    int number = 0;
    for (const auto &call : calls)
        EXPECT_NE(assertedLine(call), 0) << "call " << number++;
}

} // namespace
