// Complex numbers and the 4×4 matrices seen from outside: stated formulas in bits, exact integer
// cases, both sides of every bound, and the eigen-decomposition against its steps written out anew.
#include <kmath/matrix4.h>

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>

namespace
{

using support::sameBits;

using Complex = kmath_complex;
using Number = std::complex<double>;
using Square = std::array<std::array<Number, 4>, 4>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double epsilon = std::numeric_limits<double>::epsilon();

static_assert(sizeof(kmath_complex) == 16 && offsetof(kmath_complex, re) == 0);
static_assert(sizeof(kmath_vect4c) == 64 && sizeof(kmath_matrix4c) == 256);
static_assert(sizeof(kmath_matrix4) == 128 && sizeof(kmath_matrix6F) == 144);

bool same(const Complex &a, const Complex &b)
{
    return sameBits(a.re, b.re) && sameBits(a.im, b.im);
}

/// Equal numbers; zeros of both signs are equal, and so is any NaN to any NaN.
bool equal(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
bool equal(const Complex &a, const Complex &b) { return equal(a.re, b.re) && equal(a.im, b.im); }

template <class M> bool equalMatrices(const M &a, const M &b)
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (!equal(a.m[i][j], b.m[i][j]))
                return false;
    return true;
}

bool equalVectors(const kmath_vect4c &a, const kmath_vect4c &b)
{
    for (int i = 0; i < 4; ++i)
        if (!equal(a.v[i], b.v[i]))
            return false;
    return true;
}

Complex plus(const Complex &a, const Complex &b) { return {a.re + b.re, a.im + b.im}; }
Complex times(const Complex &a, const Complex &b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

Number number(const Complex &c) { return {c.re, c.im}; }

kmath_matrix4 filled(double value)
{
    kmath_matrix4 m;
    for (auto &row : m.m)
        for (double &element : row)
            element = value;
    return m;
}

kmath_matrix4c filledComplex(double re, double im)
{
    kmath_matrix4c m;
    for (auto &row : m.m)
        for (Complex &element : row)
            element = {re, im};
    return m;
}

kmath_vect4c filledVector(double re, double im)
{
    return {{{re, im}, {re, im}, {re, im}, {re, im}}};
}

kmath_matrix4 diagonal(double a, double b, double c, double d)
{
    kmath_matrix4 m = filled(0);
    m.m[0][0] = a, m.m[1][1] = b, m.m[2][2] = c, m.m[3][3] = d;
    return m;
}

kmath_matrix4c complexified(const kmath_matrix4 &m)
{
    kmath_matrix4c r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = {m.m[i][j], 0};
    return r;
}

const kmath_matrix4 identity = diagonal(1, 1, 1, 1);
const kmath_matrix4c identityComplex = complexified(identity);

Complex randomComplex(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    const double re = uniform(generator), im = uniform(generator);
    return {re, im};
}

kmath_matrix4c randomMatrix4c(std::mt19937_64 &generator)
{
    kmath_matrix4c m;
    for (auto &row : m.m)
        for (Complex &element : row)
            element = randomComplex(generator);
    return m;
}

kmath_matrix4 randomMatrix4(std::mt19937_64 &generator)
{
    kmath_matrix4 m;
    for (auto &row : m.m)
        for (double &element : row)
            element = randomComplex(generator).re;
    return m;
}

kmath_vect4c randomVect4c(std::mt19937_64 &generator)
{
    kmath_vect4c v;
    for (Complex &component : v.v)
        component = randomComplex(generator);
    return v;
}

const double strangeNumbers[] = {0.0,  -0.0,  1.0,    -2.0,   nan,    inf,
                                 -inf, 1e308, -1e308, 1e-308, 5e-324, 3.0};

bool plainQuotient(Complex &r, const Complex &n, const Complex &d)
{
    if (d.re == 0 && d.im == 0)
        return false;
    if (std::fabs(d.im) >= std::fabs(d.re)) {
        const double t = d.re / d.im, den = t * d.re + d.im;
        r = {(n.re * t + n.im) / den, (n.im * t - n.re) / den};
    } else {
        const double t = d.im / d.re, den = d.re + d.im * t;
        r = {(n.re + n.im * t) / den, (n.im - n.re * t) / den};
    }
    return true;
}

TEST(ComplexRules, IsClearedByInitAndReset)
{
    for (const auto init : {kmath_complex_init, kmath_complex_reset}) {
        Complex c = {nan, -5};
        EXPECT_EQ(init(&c), KMATH_OK);
        EXPECT_TRUE(same(c, {0, 0}));
    }
    for (const auto init : {kmath_vect4c_init, kmath_vect4c_reset}) {
        kmath_vect4c v = filledVector(nan, 3);
        EXPECT_EQ(init(&v), KMATH_OK);
        for (const Complex &component : v.v)
            EXPECT_TRUE(same(component, {0, 0}));
    }
}

TEST(ComplexRules, DivisionHasTheBitsOfSmithsMethod)
{
    std::mt19937_64 generator(71);
    std::uniform_int_distribution<int> exponent(-300, 300);
    const auto check = [](const Complex &n, const Complex &d) {
        Complex expected = {7, 8}, r = expected;
        const kmath_status status =
            plainQuotient(expected, n, d) ? KMATH_OK : KMATH_ERR_DIVIDE_BY_ZERO;
        EXPECT_EQ(kmath_complex_initDiv(&r, &n, &d), status);
        EXPECT_TRUE(same(r, expected)) << n.re << ' ' << n.im << " / " << d.re << ' ' << d.im;
    };
    for (int trial = 0; trial < 3000; ++trial) {
        Complex n = randomComplex(generator), d = randomComplex(generator);
        if (trial % 2 == 0)
            d.re *= std::pow(10.0, exponent(generator));
        if (trial % 5 == 0)
            d.im = trial % 10 == 0 ? d.re : -d.re; // equal magnitudes
        check(n, d);
    }
    for (const double a : strangeNumbers)
        for (const double b : strangeNumbers)
            for (const double c : strangeNumbers)
                for (const double d : strangeNumbers)
                    check({a, b}, {c, d});
}

TEST(ComplexRules, DivisionByZeroIsRefused)
{
    Complex r = {7, 8};
    const Complex n = {3, 4}, d = {0, 2}, one = {1, 0}, least = {0, 5e-324};
    for (const double re : {0.0, -0.0})
        for (const double im : {0.0, -0.0}) {
            const Complex zero = {re, im};
            EXPECT_EQ(kmath_complex_initDiv(&r, &n, &zero), KMATH_ERR_DIVIDE_BY_ZERO);
            EXPECT_EQ(kmath_complex_initDiv(&r, &zero, &zero),
                      static_cast<kmath_status>(0x80000583u));
        }
    EXPECT_TRUE(same(r, {7, 8}));
    EXPECT_EQ(kmath_complex_initDiv(&r, &one, &d), KMATH_OK);
    EXPECT_TRUE(equal(r, {0, -0.5}));
    EXPECT_EQ(kmath_complex_initDiv(&r, &least, &least), KMATH_OK);
    EXPECT_TRUE(equal(r, {1, 0}));
    // No square is formed on the way.
    const Complex huge = {3e300, 4e300};
    EXPECT_EQ(kmath_complex_initDiv(&r, &huge, &huge), KMATH_OK);
    EXPECT_NEAR(r.re, 1, 4 * epsilon);
    EXPECT_NEAR(r.im, 0, 4 * epsilon);
}

TEST(ComplexRules, QuotientsMayReplaceTheirOperands)
{
    const Complex n = {3, -4}, d = {0.5, 7};
    Complex expected;
    ASSERT_TRUE(plainQuotient(expected, n, d));
    Complex r = n;
    EXPECT_EQ(kmath_complex_initDiv(&r, &r, &d), KMATH_OK);
    EXPECT_TRUE(same(r, expected));
    r = d;
    EXPECT_EQ(kmath_complex_initDiv(&r, &n, &r), KMATH_OK);
    EXPECT_TRUE(same(r, expected));
}

double plainMagnitude(const Complex &c)
{
    const double a = std::fabs(c.re), b = std::fabs(c.im);
    if (a == 0)
        return b;
    if (b == 0)
        return a;
    const double q = b >= a ? a / b : b / a;
    return (b >= a ? b : a) * std::sqrt(1 + q * q);
}

TEST(ComplexRules, MagnitudeHasItsBitsAndDoesNotOverflow)
{
    std::mt19937_64 generator(72);
    std::uniform_real_distribution<double> exponent(-300, 300);
    double r = 7;
    for (int trial = 0; trial < 3000; ++trial) {
        Complex c = randomComplex(generator);
        if (trial % 2 == 0)
            c.re *= std::pow(10.0, exponent(generator)),
                c.im *= std::pow(10.0, exponent(generator));
        EXPECT_EQ(kmath_complex_abs(&r, &c), KMATH_OK);
        EXPECT_TRUE(sameBits(r, plainMagnitude(c)));
        EXPECT_NEAR(r / std::hypot(c.re, c.im), 1, 4 * epsilon);
    }
    for (const double a : strangeNumbers)
        for (const double b : strangeNumbers) {
            const Complex c = {a, b};
            EXPECT_EQ(kmath_complex_abs(&r, &c), KMATH_OK);
            EXPECT_TRUE(sameBits(r, plainMagnitude(c))) << a << ' ' << b;
        }
    const Complex huge = {1e300, 1e300}, tiny = {-3e-200, 4e-200};
    EXPECT_EQ(kmath_complex_abs(&r, &huge), KMATH_OK);
    EXPECT_NEAR(r / 1e300, std::sqrt(2.0), 4 * epsilon);
    EXPECT_EQ(kmath_complex_abs(&r, &tiny), KMATH_OK);
    EXPECT_NEAR(r / 5e-200, 1, 4 * epsilon);
}

/// The stated root for Re c ≤ 0, in extended precision so that rounding plays no part.
std::complex<long double> leftRoot(const Complex &c)
{
    const long double re = c.re, im = c.im, size = std::hypot(re, im),
                      factor = std::sqrt(size) / std::hypot(re - size, im),
                      sign = c.im < 0 ? -1.0L : 1.0L;
    return {sign * factor * im, sign * factor * (size - re)};
}

TEST(ComplexRules, RootsOfTheLeftHalfPlaneAreAsStated)
{
    std::mt19937_64 generator(73);
    std::uniform_real_distribution<double> exponent(-150, 150);
    Complex r;
    for (int trial = 0; trial < 5000; ++trial) {
        Complex c = randomComplex(generator);
        c.re = -std::fabs(c.re);
        if (trial % 4 == 0)
            c.re *= std::pow(10.0, exponent(generator)),
                c.im *= std::pow(10.0, exponent(generator));
        if (trial % 7 == 0)
            c.re = trial % 2 == 0 ? 0.0 : -0.0;
        if (trial % 11 == 0)
            c.im = trial % 2 == 0 ? 0.0 : -0.0;
        if (c.re == 0 && c.im == 0)
            continue;
        EXPECT_EQ(kmath_complex_initSqrt(&r, &c), KMATH_OK);
        const std::complex<long double> expected = leftRoot(c);
        const long double size = std::abs(expected);
        EXPECT_LE(std::fabs(r.re - expected.real()), 8 * epsilon * size) << c.re << ' ' << c.im;
        EXPECT_LE(std::fabs(r.im - expected.imag()), 8 * epsilon * size) << c.re << ' ' << c.im;
        EXPECT_GE(r.re, 0) << "principal";
    }
    // On the negative axis the root points up, whatever the sign of the zero.
    for (const double zero : {0.0, -0.0}) {
        const Complex c = {-4, zero};
        EXPECT_EQ(kmath_complex_initSqrt(&r, &c), KMATH_OK);
        EXPECT_EQ(r.re, 0);
        EXPECT_NEAR(r.im, 2, 2 * epsilon);
    }
    const Complex up = {0, 2}, down = {0, -2};
    EXPECT_EQ(kmath_complex_initSqrt(&r, &up), KMATH_OK);
    EXPECT_NEAR(r.re, 1, 4 * epsilon);
    EXPECT_NEAR(r.im, 1, 4 * epsilon);
    EXPECT_EQ(kmath_complex_initSqrt(&r, &down), KMATH_OK);
    EXPECT_NEAR(r.re, 1, 4 * epsilon);
    EXPECT_NEAR(r.im, -1, 4 * epsilon);
}

TEST(ComplexRules, RootsOfTheRightHalfPlaneArePrincipal)
{
    std::mt19937_64 generator(74);
    std::uniform_real_distribution<double> exponent(-150, 150);
    Complex r;
    for (int trial = 0; trial < 5000; ++trial) {
        Complex c = randomComplex(generator);
        c.re = std::fabs(c.re) + 1e-3;
        if (trial % 2 == 0)
            c.re *= std::pow(10.0, exponent(generator)),
                c.im *= std::pow(10.0, exponent(generator));
        EXPECT_EQ(kmath_complex_initSqrt(&r, &c), KMATH_OK);
        const std::complex<long double> expected = std::sqrt(std::complex<long double>(c.re, c.im));
        const long double size = std::abs(expected);
        EXPECT_LE(std::fabs(r.re - expected.real()), 8 * epsilon * size) << c.re << ' ' << c.im;
        EXPECT_LE(std::fabs(r.im - expected.imag()), 8 * epsilon * size) << c.re << ' ' << c.im;
        EXPECT_GT(r.re, 0);
    }
    const Complex four = {4, 0}, mixed = {3, 4};
    EXPECT_EQ(kmath_complex_initSqrt(&r, &four), KMATH_OK);
    EXPECT_TRUE(equal(r, {2, 0}));
    EXPECT_EQ(kmath_complex_initSqrt(&r, &mixed), KMATH_OK);
    EXPECT_NEAR(r.re, 2, 4 * epsilon);
    EXPECT_NEAR(r.im, 1, 4 * epsilon);
    for (const double re : {0.0, -0.0})
        for (const double im : {0.0, -0.0}) {
            const Complex zero = {re, im};
            r = {7, 8};
            EXPECT_EQ(kmath_complex_initSqrt(&r, &zero), KMATH_OK);
            EXPECT_TRUE(equal(r, {0, 0}));
        }
    for (const double a : strangeNumbers)
        for (const double b : strangeNumbers) {
            const Complex c = {a, b};
            EXPECT_EQ(kmath_complex_initSqrt(&r, &c), KMATH_OK);
        }
    r = mixed;
    EXPECT_EQ(kmath_complex_initSqrt(&r, &r), KMATH_OK);
    EXPECT_NEAR(r.re, 2, 4 * epsilon);
    r = {-3, -4};
    EXPECT_EQ(kmath_complex_initSqrt(&r, &r), KMATH_OK);
    EXPECT_NEAR(r.re, 1, 4 * epsilon);
    EXPECT_NEAR(r.im, -2, 4 * epsilon);
}

TEST(Matrix4Rules, AreFilledAndCleared)
{
    for (const auto init : {kmath_matrix4_initIdentity, kmath_matrix4_reset}) {
        kmath_matrix4 m = filled(nan);
        EXPECT_EQ(init(&m), KMATH_OK);
        EXPECT_TRUE(equalMatrices(m, identity));
    }
    kmath_matrix4 m = filled(nan);
    EXPECT_EQ(kmath_matrix4_initClear(&m), KMATH_OK);
    EXPECT_TRUE(equalMatrices(m, filled(0)));
    for (const auto init : {kmath_matrix4c_initIdentity, kmath_matrix4c_reset}) {
        kmath_matrix4c c = filledComplex(nan, 3);
        EXPECT_EQ(init(&c), KMATH_OK);
        EXPECT_TRUE(equalMatrices(c, identityComplex));
    }
    kmath_matrix4c c = filledComplex(nan, 3);
    EXPECT_EQ(kmath_matrix4c_initClear(&c), KMATH_OK);
    EXPECT_TRUE(equalMatrices(c, filledComplex(0, 0)));

    kmath_matrix6F f;
    for (const bool clear : {false, true}) {
        for (auto &row : f.m)
            for (float &element : row)
                element = NAN;
        EXPECT_EQ(clear ? kmath_matrix6F_initClear(&f) : kmath_matrix6F_initIdentity(&f), KMATH_OK);
        for (int i = 0; i < 6; ++i)
            for (int j = 0; j < 6; ++j)
                EXPECT_EQ(f.m[i][j], !clear && i == j ? 1.0f : 0.0f);
    }
}

TEST(Matrix4Rules, RealArithmetic)
{
    std::mt19937_64 generator(75);
    std::uniform_int_distribution<int> where(0, 3), what(0, 11);
    for (int trial = 0; trial < 500; ++trial) {
        kmath_matrix4 a = randomMatrix4(generator), b = randomMatrix4(generator);
        if (trial % 2 == 1)
            a.m[where(generator)][where(generator)] = strangeNumbers[what(generator)];
        kmath_matrix4 product, sum, scaled, r = filled(nan);
        const kmath_vect4 v = {b.m[0][0], b.m[0][1], b.m[0][2], b.m[0][3]};
        double image[4];
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 4; ++j) {
                product.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] +
                                  a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
                sum.m[i][j] = a.m[i][j] + b.m[i][j];
                scaled.m[i][j] = a.m[i][j] * 0.1;
            }
            image[i] = a.m[i][0] * v.x + a.m[i][1] * v.y + a.m[i][2] * v.z + a.m[i][3] * v.w;
        }
        EXPECT_EQ(kmath_matrix4_initMultiply(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        r = a;
        EXPECT_EQ(kmath_matrix4_initMultiply(&r, &r, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        r = b;
        EXPECT_EQ(kmath_matrix4_initMultiply(&r, &a, &r), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        EXPECT_EQ(kmath_matrix4_initAdd(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, sum));
        r = a;
        EXPECT_EQ(kmath_matrix4_initAdd(&r, &r, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, sum));
        r = a;
        EXPECT_EQ(kmath_matrix4_scale(&r, 0.1), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, scaled));
        kmath_vect4 w = {nan, nan, nan, nan};
        EXPECT_EQ(kmath_matrix4_multv(&a, &v, &w), KMATH_OK);
        EXPECT_TRUE(equal(w.x, image[0]) && equal(w.y, image[1]) && equal(w.z, image[2]) &&
                    equal(w.w, image[3]));
        w = v;
        EXPECT_EQ(kmath_matrix4_multv(&a, &w, &w), KMATH_OK);
        EXPECT_TRUE(equal(w.x, image[0]) && equal(w.y, image[1]) && equal(w.z, image[2]) &&
                    equal(w.w, image[3]));
    }
}

TEST(Matrix4Rules, ComplexArithmetic)
{
    std::mt19937_64 generator(76);
    std::uniform_int_distribution<int> where(0, 3), what(0, 11);
    for (int trial = 0; trial < 500; ++trial) {
        kmath_matrix4c a = randomMatrix4c(generator), b = randomMatrix4c(generator);
        if (trial % 2 == 1)
            a.m[where(generator)][where(generator)].re = strangeNumbers[what(generator)];
        const kmath_vect4c v = randomVect4c(generator), u = randomVect4c(generator);
        const Complex s = randomComplex(generator);
        kmath_matrix4c product, sum, scaled, r = filledComplex(nan, nan);
        kmath_vect4c image, difference;
        Complex trace = {0, 0};
        for (int i = 0; i < 4; ++i) {
            image.v[i] = {0, 0};
            for (int j = 0; j < 4; ++j) {
                product.m[i][j] = {0, 0};
                for (int k = 0; k < 4; ++k)
                    product.m[i][j] = plus(product.m[i][j], times(a.m[i][k], b.m[k][j]));
                sum.m[i][j] = plus(a.m[i][j], b.m[i][j]);
                scaled.m[i][j] = times(a.m[i][j], s);
                image.v[i] = plus(image.v[i], times(a.m[i][j], v.v[j]));
            }
            difference.v[i] = {u.v[i].re - v.v[i].re, u.v[i].im - v.v[i].im};
            trace = plus(trace, a.m[i][i]);
        }
        EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        r = a;
        EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &r, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        r = b;
        EXPECT_EQ(kmath_matrix4c_initMultiply(&r, &a, &r), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, product));
        EXPECT_EQ(kmath_matrix4c_initAdd(&r, &a, &b), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, sum));
        r = b;
        EXPECT_EQ(kmath_matrix4c_initAdd(&r, &a, &r), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, sum));
        r = a;
        EXPECT_EQ(kmath_matrix4c_scale(&r, &s), KMATH_OK);
        EXPECT_TRUE(equalMatrices(r, scaled));
        kmath_vect4c w = filledVector(nan, nan);
        EXPECT_EQ(kmath_matrix4c_multv(&a, &v, &w), KMATH_OK);
        EXPECT_TRUE(equalVectors(w, image));
        w = v;
        EXPECT_EQ(kmath_matrix4c_multv(&a, &w, &w), KMATH_OK);
        EXPECT_TRUE(equalVectors(w, image));
        EXPECT_EQ(kmath_vect4c_initSubtract(&w, &u, &v), KMATH_OK);
        EXPECT_TRUE(equalVectors(w, difference));
        w = v;
        EXPECT_EQ(kmath_vect4c_initSubtract(&w, &u, &w), KMATH_OK);
        EXPECT_TRUE(equalVectors(w, difference));
        Complex t = {nan, nan};
        EXPECT_EQ(kmath_matrix4c_trace(&a, &t), KMATH_OK);
        EXPECT_TRUE(equal(t, trace));
    }
}

TEST(Matrix4Rules, PartsAreTakenApartAsFarAsTheyAreAskedFor)
{
    support::AssertionRecorder recorder;
    std::mt19937_64 generator(77);
    kmath_matrix4c m = randomMatrix4c(generator);
    m.m[1][2] = {nan, -0.0};
    m.m[3][0] = {inf, -inf};
    kmath_matrix4 re = filled(7), im = filled(8), expectedRe, expectedIm;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            expectedRe.m[i][j] = m.m[i][j].re;
            expectedIm.m[i][j] = m.m[i][j].im;
        }
    EXPECT_EQ(kmath_matrix4c_realImag(&m, &re, &im), KMATH_OK);
    EXPECT_TRUE(equalMatrices(re, expectedRe));
    EXPECT_TRUE(equalMatrices(im, expectedIm));
    re = filled(7);
    EXPECT_EQ(kmath_matrix4c_realImag(&m, &re, nullptr), KMATH_OK);
    EXPECT_TRUE(equalMatrices(re, expectedRe));
    im = filled(8);
    EXPECT_EQ(kmath_matrix4c_realImag(&m, nullptr, &im), KMATH_OK);
    EXPECT_TRUE(equalMatrices(im, expectedIm));
    EXPECT_EQ(kmath_matrix4c_realImag(&m, nullptr, nullptr), KMATH_OK);
    EXPECT_TRUE(recorder.lines().empty());
}

/// The determinant as the signed sum over all permutations.
template <class T> std::complex<T> leibniz(const std::complex<T> (&m)[4][4])
{
    int order[4] = {0, 1, 2, 3};
    std::complex<T> sum = 0;
    do {
        int inversions = 0;
        for (int i = 0; i < 4; ++i)
            for (int j = i + 1; j < 4; ++j)
                inversions += order[i] > order[j];
        const std::complex<T> term =
            m[0][order[0]] * m[1][order[1]] * m[2][order[2]] * m[3][order[3]];
        sum += inversions % 2 == 0 ? term : -term;
    } while (std::next_permutation(order, order + 4));
    return sum;
}

TEST(Matrix4Rules, DeterminantIsTheSumOverAllPermutations)
{
    std::mt19937_64 generator(78);
    std::uniform_int_distribution<int> integer(-50, 50);
    for (int trial = 0; trial < 1000; ++trial) {
        kmath_matrix4c m = randomMatrix4c(generator);
        const bool exact = trial % 2 == 0;
        std::complex<long double> wide[4][4];
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                if (exact)
                    m.m[i][j] = {static_cast<double>(integer(generator)),
                                 static_cast<double>(integer(generator))};
                wide[i][j] = {m.m[i][j].re, m.m[i][j].im};
            }
        const std::complex<long double> expected = leibniz(wide);
        Complex det = {nan, nan};
        EXPECT_EQ(kmath_matrix4c_determinant(&m, &det), KMATH_OK);
        if (exact) {
            EXPECT_EQ(det.re, static_cast<double>(expected.real()));
            EXPECT_EQ(det.im, static_cast<double>(expected.imag()));
        } else {
            EXPECT_NEAR(det.re, static_cast<double>(expected.real()), 1e-12);
            EXPECT_NEAR(det.im, static_cast<double>(expected.imag()), 1e-12);
        }
    }
    // A zero row but the first makes every cofactor of it vanish; a NaN in it spreads.
    kmath_matrix4c m = identityComplex;
    m.m[0][3].re = nan;
    Complex det;
    EXPECT_EQ(kmath_matrix4c_determinant(&m, &det), KMATH_OK);
    EXPECT_TRUE(std::isnan(det.re));
}

TEST(Matrix4Rules, InverseIsTheAdjugateOverTheDeterminant)
{
    std::mt19937_64 generator(79);
    for (int trial = 0; trial < 2000; ++trial) {
        const kmath_matrix4c m = randomMatrix4c(generator);
        Complex det;
        ASSERT_EQ(kmath_matrix4c_determinant(&m, &det), KMATH_OK);
        kmath_matrix4c r = filledComplex(7, 8), unit;
        ASSERT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
        // Each element: the minor without row j and column i, signed, over the determinant.
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                std::complex<long double> minor[4][4] = {};
                for (int row = 0, k = 0; row < 4; ++row) {
                    for (int col = 0, l = 0; col < 4 && row != j; ++col)
                        if (col != i)
                            minor[k][l++] = {m.m[row][col].re, m.m[row][col].im};
                    k += row != j;
                }
                minor[3][3] = (i + j) % 2 == 0 ? 1 : -1;
                const std::complex<long double> expected =
                    leibniz(minor) / std::complex<long double>(det.re, det.im);
                const double size = std::abs(number(det));
                EXPECT_NEAR(r.m[i][j].re, static_cast<double>(expected.real()), 1e-12 / size);
                EXPECT_NEAR(r.m[i][j].im, static_cast<double>(expected.imag()), 1e-12 / size);
            }
        kmath_matrix4c inPlace = m;
        EXPECT_EQ(kmath_matrix4c_getInverse(&inPlace, &inPlace), KMATH_OK);
        EXPECT_TRUE(equalMatrices(inPlace, r));
        kmath_matrix4c_initMultiply(&unit, &m, &r);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                EXPECT_NEAR(std::abs(number(unit.m[i][j]) - (i == j ? 1.0 : 0.0)), 0,
                            1e-11 / std::abs(number(det)));
    }
    // Powers of two: every quotient is exact.
    kmath_matrix4c m = identityComplex, r;
    m.m[0][0] = {0, 2};
    m.m[1][1] = {0.5, 0};
    m.m[2][2] = {0, -4};
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_OK);
    EXPECT_TRUE(equal(r.m[0][0], {0, -0.5}));
    EXPECT_TRUE(equal(r.m[1][1], {2, 0}));
    EXPECT_TRUE(equal(r.m[2][2], {0, 0.25}));
    EXPECT_TRUE(equal(r.m[3][3], {1, 0}));
    EXPECT_TRUE(equal(r.m[0][1], {0, 0}));
}

TEST(Matrix4Rules, InverseNeedsASquaredDeterminantAboveItsBound)
{
    double least = std::sqrt(1e-15); // the first whose square is above
    while (least * least > 1e-15)
        least = std::nextafter(least, 0.0);
    while (!(least * least > 1e-15))
        least = std::nextafter(least, 1.0);
    const double below = std::nextafter(least, 0.0);
    const kmath_matrix4c untouched = filledComplex(7, 8);
    kmath_matrix4c m = identityComplex, r = untouched;
    const auto inverse = [&](double re, double im) {
        m.m[0][0] = {re, im};
        return kmath_matrix4c_getInverse(&m, &r);
    };
    for (const double sign : {1.0, -1.0}) {
        EXPECT_EQ(inverse(sign * below, 0), KMATH_ERR_SINGULAR);
        EXPECT_EQ(inverse(0, sign * below), KMATH_ERR_SINGULAR);
    }
    EXPECT_EQ(inverse(0, 0), KMATH_ERR_SINGULAR);
    EXPECT_EQ(inverse(nan, 0), KMATH_ERR_SINGULAR) << "not above the bound";
    EXPECT_EQ(inverse(2e-8, 2e-8), KMATH_ERR_SINGULAR);
    m = filledComplex(1, 1);
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_ERR_SINGULAR);
    m = filledComplex(nan, nan);
    EXPECT_EQ(kmath_matrix4c_getInverse(&m, &r), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(equalMatrices(r, untouched));
    m = identityComplex;
    for (const double sign : {1.0, -1.0}) {
        EXPECT_EQ(inverse(sign * least, 0), KMATH_OK);
        EXPECT_NEAR(r.m[0][0].re * sign * least, 1, 4 * epsilon);
        EXPECT_EQ(inverse(0, sign * least), KMATH_OK);
        EXPECT_NEAR(r.m[0][0].im * sign * least, -1, 4 * epsilon);
    }
    EXPECT_EQ(inverse(2.5e-8, 2.5e-8), KMATH_OK) << "both parts count";
}

/* The eigen-decomposition. */

Number plainRoot(const Number &c)
{
    if (c == 0.0)
        return 0.0;
    if (c.real() > 0)
        return std::sqrt(c);
    const double size = std::abs(c);
    const Number root = std::sqrt(size) * Number(c.imag(), size - c.real()) / std::abs(c - size);
    return c.imag() < 0 ? -root : root;
}

Square product(const Square &a, const Square &b)
{
    Square r = {};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 4; ++j)
            for (std::size_t k = 0; k < 4; ++k)
                r[i][j] += a[i][k] * b[k][j];
    return r;
}

/// Q and R of T by plane rotations: the factors differ from those by reflections in the phases of
/// Q's columns only, which leave the magnitudes of what is iterated alone.
void factorise(const Square &T, Square &Q, Square &R)
{
    R = T;
    Q = {};
    for (std::size_t i = 0; i < 4; ++i)
        Q[i][i] = 1;
    for (std::size_t col = 0; col < 3; ++col)
        for (std::size_t row = 3; row > col; --row) {
            const Number a = R[row - 1][col], b = R[row][col];
            const double n = std::hypot(std::abs(a), std::abs(b));
            if (n == 0)
                continue;
            for (std::size_t j = 0; j < 4; ++j) {
                const Number x = R[row - 1][j], y = R[row][j];
                R[row - 1][j] = (std::conj(a) * x + std::conj(b) * y) / n;
                R[row][j] = (a * y - b * x) / n;
                const Number p = Q[j][row - 1], q = Q[j][row];
                Q[j][row - 1] = (a * p + b * q) / n;
                Q[j][row] = (std::conj(a) * q - std::conj(b) * p) / n;
            }
            R[row][col] = 0;
        }
}

/// The shifted iteration in its stated steps; false at its cap.
bool iterate(Square &T, Square &Q)
{
    for (int iteration = 0; iteration < 100; ++iteration) {
        int m = 3;
        while (m >= 0) {
            int k = 0;
            for (; k < m; ++k) {
                const auto row = static_cast<std::size_t>(m), col = static_cast<std::size_t>(k);
                if (!(std::abs(T[row][col]) <=
                      2.220446049250313e-16 * (std::abs(T[col][col]) + std::abs(T[row][row]))))
                    break;
                T[row][col] = 0;
            }
            if (k < m)
                break;
            --m;
        }
        if (m < 0)
            return true;
        const auto n = static_cast<std::size_t>(m);
        const Number h = (T[n - 1][n - 1] + T[n][n]) / 2.0;
        const Number mu =
            h + plainRoot(h * h - (T[n - 1][n - 1] * T[n][n] - T[n][n - 1] * T[n - 1][n]));
        for (std::size_t i = 0; i < 4; ++i)
            T[i][i] -= mu;
        Square step, R;
        factorise(T, step, R);
        Q = product(Q, step);
        T = product(R, step);
        for (std::size_t i = 0; i < 4; ++i)
            T[i][i] += mu;
    }
    return false;
}

double residual(const kmath_matrix4 &A, const Complex &value, const kmath_matrix4c &vectors, int j)
{
    double norm = 0, size = 0, error = 0;
    for (int i = 0; i < 4; ++i) {
        Number image = -number(value) * number(vectors.m[i][j]);
        for (int k = 0; k < 4; ++k) {
            image += A.m[i][k] * number(vectors.m[k][j]);
            norm += A.m[i][k] * A.m[i][k];
        }
        size += std::norm(number(vectors.m[i][j]));
        error += std::norm(image);
    }
    return std::sqrt(error) / (std::sqrt(norm) * std::sqrt(size));
}

TEST(Matrix4EigenRules, PairsSatisfyTheirEquation)
{
    std::mt19937_64 generator(80);
    int capped = 0;
    constexpr int trials = 5000;
    for (int trial = 0; trial < trials; ++trial) {
        kmath_matrix4 A = randomMatrix4(generator);
        if (trial % 3 == 1) // symmetric
            for (int i = 0; i < 4; ++i)
                for (int j = 0; j < i; ++j)
                    A.m[i][j] = A.m[j][i];
        const kmath_matrix4 before = A;
        kmath_vect4c values = filledVector(7, 8);
        kmath_matrix4c vectors = filledComplex(7, 8);
        const kmath_status status = kmath_matrix4_eigen(&A, &values, &vectors);
        EXPECT_TRUE(equalMatrices(A, before));
        if (status == KMATH_ERR_SINGULAR) {
            ++capped;
            EXPECT_TRUE(equalVectors(values, filledVector(7, 8)));
            EXPECT_TRUE(equalMatrices(vectors, filledComplex(7, 8)));
            continue;
        }
        ASSERT_EQ(status, KMATH_OK);
        Number trace = 0;
        for (int j = 0; j < 4; ++j) {
            EXPECT_LE(residual(A, values.v[j], vectors, j), 1e-11) << trial;
            trace += number(values.v[j]);
        }
        EXPECT_NEAR(std::abs(trace - (A.m[0][0] + A.m[1][1] + A.m[2][2] + A.m[3][3])), 0, 1e-12);
    }
    EXPECT_LT(capped, trials / 100);
}

TEST(Matrix4EigenRules, ValuesComeInTheOrderAndVectorsInTheLengthOfTheStatedIteration)
{
    std::mt19937_64 generator(81);
    constexpr int trials = 3000;
    int outcomes = 0, agreeing = 0, inOrder = 0;
    for (int trial = 0; trial < trials; ++trial) {
        const kmath_matrix4 A = randomMatrix4(generator);
        Square T = {}, Q = {};
        for (std::size_t i = 0; i < 4; ++i) {
            Q[i][i] = 1;
            for (std::size_t j = 0; j < 4; ++j)
                T[i][j] = A.m[i][j];
        }
        const bool converges = iterate(T, Q);
        kmath_vect4c values;
        kmath_matrix4c vectors;
        const kmath_status status = kmath_matrix4_eigen(&A, &values, &vectors);
        if (status != (converges ? KMATH_OK : KMATH_ERR_SINGULAR))
            continue;
        ++outcomes;
        agreeing += !converges;
        if (!converges)
            continue;
        // Which of a conjugate pair comes first may hang on the sign of a rounding error under the
        // root; the vectors then follow.
        bool agrees = true, ordered = true;
        for (std::size_t j = 0; j < 4; ++j) {
            const Number value = number(values.v[j]);
            ordered = ordered && std::abs(value - T[j][j]) < 1e-8;
            agrees = agrees && (std::abs(value - T[j][j]) < 1e-8 ||
                                std::abs(value - std::conj(T[j][j])) < 1e-8);
        }
        // Column j of X, whose image under a unitary Q keeps its length.
        Square X = {};
        for (std::size_t j = 0; j < 4; ++j) {
            X[j][j] = 1;
            for (std::size_t i = j; i-- > 0;) {
                Number sum = 0;
                for (std::size_t k = i + 1; k <= j; ++k)
                    sum += T[i][k] * X[k][j];
                X[i][j] = sum / (T[j][j] - T[i][i]);
            }
        }
        const Square V = product(Q, X);
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t j = 0; j < 4; ++j) {
                const double given = std::abs(number(vectors.m[i][j])),
                             expected = std::abs(V[i][j]);
                agrees =
                    agrees && (!ordered || std::fabs(given - expected) < 1e-6 * (1 + expected));
            }
        bool real = true;
        for (std::size_t j = 0; j < 4; ++j)
            real = real && std::fabs(T[j][j].imag()) < 1e-9;
        agrees = agrees && (ordered || !real);
        agreeing += agrees;
        inOrder += ordered;
    }
    // Rounding may take another way now and then.
    EXPECT_GT(outcomes, trials * 99 / 100);
    EXPECT_GT(agreeing, trials * 99 / 100);
    EXPECT_GT(inOrder, trials * 3 / 4);
}

TEST(Matrix4EigenRules, TheIdentityIsItsOwnDecomposition)
{
    kmath_vect4c values = filledVector(7, 8);
    kmath_matrix4c vectors = filledComplex(7, 8);
    EXPECT_EQ(kmath_matrix4_eigen(&identity, &values, &vectors), KMATH_OK);
    EXPECT_TRUE(equalVectors(values, filledVector(1, 0)));
    EXPECT_TRUE(equalMatrices(vectors, identityComplex));
}

TEST(Matrix4EigenRules, AQuarterTurnHasAConjugatePair)
{
    kmath_matrix4 A = identity;
    A.m[0][0] = A.m[1][1] = 0;
    A.m[0][1] = -1;
    A.m[1][0] = 1;
    kmath_vect4c values;
    kmath_matrix4c vectors;
    ASSERT_EQ(kmath_matrix4_eigen(&A, &values, &vectors), KMATH_OK);
    int up = 0, down = 0, one = 0;
    for (int j = 0; j < 4; ++j) {
        up += std::abs(number(values.v[j]) - Number(0, 1)) < 1e-14;
        down += std::abs(number(values.v[j]) - Number(0, -1)) < 1e-14;
        one += std::abs(number(values.v[j]) - Number(1, 0)) < 1e-14;
        EXPECT_LE(residual(A, values.v[j], vectors, j), 1e-14);
    }
    EXPECT_EQ(up, 1);
    EXPECT_EQ(down, 1);
    EXPECT_EQ(one, 2);
}

/// Back-substitution of a real triangle in its stated steps.
kmath_status plainTriangle(const kmath_matrix4 &T, kmath_matrix4 &X)
{
    X = filled(0);
    for (int j = 0; j < 4; ++j) {
        X.m[j][j] = 1;
        for (int i = j - 1; i >= 0; --i) {
            double sum = 0;
            for (int k = i + 1; k <= j; ++k)
                sum += T.m[i][k] * X.m[k][j];
            const double diff = T.m[j][j] - T.m[i][i];
            const double big = std::max(std::fabs(T.m[i][i]), std::fabs(T.m[j][j]));
            if (std::fabs(diff) >= 1e-9 * big) {
                if (diff == 0)
                    return KMATH_ERR_DIVIDE_BY_ZERO;
                X.m[i][j] = sum / diff;
            } else if (std::fabs(sum) > 1e-9 * big) {
                for (int k = 0; k < 4; ++k)
                    X.m[k][j] = X.m[k][i];
                break;
            }
        }
    }
    return KMATH_OK;
}

TEST(Matrix4EigenRules, TrianglesNeedNoIteration)
{
    std::mt19937_64 generator(82);
    const double diagonals[] = {1, 1, 1 + 5e-10, 1 - 2e-9, 2, -1, -2 * (1 + 1e-10), 0.25, 0},
                 others[] = {0, 0, 1, 1e-9, 0.9e-9, 1.1e-9, -3, 1e-12, 0.1};
    std::uniform_int_distribution<int> pick(0, 8);
    int refused = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        kmath_matrix4 T = filled(0), X;
        for (int i = 0; i < 4; ++i)
            for (int j = i; j < 4; ++j)
                T.m[i][j] = i == j ? diagonals[pick(generator)] : others[pick(generator)];
        kmath_vect4c values;
        kmath_matrix4c vectors;
        const kmath_status status = plainTriangle(T, X);
        EXPECT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), status);
        if (KMATH_IS_FAILURE(status)) {
            ++refused;
            continue;
        }
        for (int j = 0; j < 4; ++j)
            EXPECT_TRUE(equal(values.v[j], {T.m[j][j], 0}));
        EXPECT_TRUE(equalMatrices(vectors, complexified(X))) << trial;
    }
    EXPECT_GT(refused, 500);
}

TEST(Matrix4EigenRules, EqualEigenvaluesShareAVectorOrHaveTheirOwn)
{
    kmath_vect4c values;
    kmath_matrix4c vectors;
    const auto column = [&](int j) {
        return std::array<double, 4>{vectors.m[0][j].re, vectors.m[1][j].re, vectors.m[2][j].re,
                                     vectors.m[3][j].re};
    };
    using Column = std::array<double, 4>;
    // 1e-9·big is exactly 1 here.
    const double big = 1e9;
    ASSERT_EQ(1e-9 * big, 1.0);
    kmath_matrix4 T = diagonal(big - 1, big, 1, 2);
    T.m[0][1] = 3;
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(1), (Column{3, 1, 0, 0})) << "a difference of the bound itself divides";
    T.m[0][0] = big - 0.5;
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(1), (Column{1, 0, 0, 0})) << "below it the values are equal";
    T.m[0][1] = 1;
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(1), (Column{0, 1, 0, 0})) << "a sum of the bound itself counts as none";
    T.m[0][1] = std::nextafter(-1.0, -2.0);
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(1), (Column{1, 0, 0, 0}));

    // The whole column is replaced, and the rows above are not visited.
    T = diagonal(1, 2, 4, 2);
    T.m[0][1] = 5;
    T.m[0][3] = 7;
    T.m[1][2] = 8;
    T.m[1][3] = 1;
    T.m[2][3] = 6;
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(1), (Column{5, 1, 0, 0}));
    EXPECT_EQ(column(3), column(1));
    // A sum that vanishes leaves its row at 0, and those above go on.
    T = diagonal(1, 2, 4, 2);
    T.m[0][3] = 7;
    ASSERT_EQ(kmath_matrix4_eigen(&T, &values, &vectors), KMATH_OK);
    EXPECT_EQ(column(3), (Column{7, 0, 0, 1}));
}

TEST(Matrix4EigenRules, NegligibleEntriesBelowTheDiagonalAreDropped)
{
    for (int m = 1; m < 4; ++m)
        for (int k = 0; k < m; ++k)
            for (const double sign : {1.0, -1.0}) {
                kmath_matrix4 A = diagonal(1, -2, 4, -8);
                const double bound =
                    2.220446049250313e-16 * (std::fabs(A.m[k][k]) + std::fabs(A.m[m][m]));
                kmath_vect4c values;
                kmath_matrix4c vectors;
                A.m[m][k] = sign * bound;
                ASSERT_EQ(kmath_matrix4_eigen(&A, &values, &vectors), KMATH_OK);
                for (int j = 0; j < 4; ++j)
                    EXPECT_TRUE(equal(values.v[j], {A.m[j][j], 0}));
                EXPECT_TRUE(equalMatrices(vectors, identityComplex)) << m << k;
                A.m[m][k] = sign * std::nextafter(bound, 1.0);
                // The iteration sets in, and its cap may end it.
                const kmath_status status = kmath_matrix4_eigen(&A, &values, &vectors);
                EXPECT_TRUE(status == KMATH_ERR_SINGULAR ||
                            (status == KMATH_OK && !equalMatrices(vectors, identityComplex)))
                    << m << k;
            }
}

TEST(Matrix4EigenRules, TwoZeroEigenvaluesDivideByZero)
{
    for (const kmath_matrix4 &A : {filled(0), diagonal(0, 0, 1, 2), diagonal(1, 0, 2, 0)}) {
        kmath_vect4c values = filledVector(7, 8);
        kmath_matrix4c vectors = filledComplex(7, 8);
        EXPECT_EQ(kmath_matrix4_eigen(&A, &values, &vectors), KMATH_ERR_DIVIDE_BY_ZERO);
        EXPECT_TRUE(equalMatrices(vectors, filledComplex(7, 8)));
    }
    const kmath_matrix4 single = diagonal(1, 0, 2, 3);
    kmath_vect4c values;
    kmath_matrix4c vectors;
    EXPECT_EQ(kmath_matrix4_eigen(&single, &values, &vectors), KMATH_OK);
    EXPECT_TRUE(equalMatrices(vectors, identityComplex));
}

TEST(Matrix4EigenRules, TheIterationEndsAtItsCap)
{
    const auto capped = [](const kmath_matrix4 &A) {
        kmath_vect4c values = filledVector(7, 8);
        kmath_matrix4c vectors = filledComplex(7, 8);
        EXPECT_EQ(kmath_matrix4_eigen(&A, &values, &vectors), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(equalVectors(values, filledVector(7, 8)));
        EXPECT_TRUE(equalMatrices(vectors, filledComplex(7, 8)));
    };
    // A cyclic permutation: its shift is 0 and a step without shift gives it back.
    kmath_matrix4 cycle = filled(0);
    for (int i = 0; i < 4; ++i)
        cycle.m[(i + 1) % 4][i] = 1;
    capped(cycle);
    capped(filled(nan));
    for (int i = 0; i < 4; ++i) {
        kmath_matrix4 A = diagonal(1, 2, 3, 4);
        A.m[i][i] = nan; // nothing is negligible beside it
        capped(A);
        for (int j = 0; j < i; ++j) {
            A = diagonal(1, 2, 3, 4);
            A.m[i][j] = nan;
            capped(A);
        }
    }
    capped(filled(1e300)); // the shift overflows
    // Above the diagonal of a triangle a NaN stops no deflation.
    kmath_matrix4 A = diagonal(1, 2, 3, 4);
    A.m[0][2] = nan;
    kmath_vect4c values;
    kmath_matrix4c vectors;
    EXPECT_EQ(kmath_matrix4_eigen(&A, &values, &vectors), KMATH_OK);
    for (int j = 0; j < 4; ++j)
        EXPECT_TRUE(equal(values.v[j], {j + 1.0, 0}));
    EXPECT_TRUE(std::isnan(vectors.m[0][2].re));
    // Whatever the numbers, it ends.
    std::mt19937_64 generator(83);
    std::uniform_int_distribution<int> what(0, 11);
    for (int trial = 0; trial < 2000; ++trial) {
        A = randomMatrix4(generator);
        for (auto &row : A.m)
            for (double &element : row)
                if (what(generator) < 3)
                    element = strangeNumbers[what(generator)];
        const kmath_status status = kmath_matrix4_eigen(&A, &values, &vectors);
        EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_SINGULAR ||
                    status == KMATH_ERR_DIVIDE_BY_ZERO);
    }
}

TEST(Matrix4Rules, OrdinaryCallsReportNothingAndAllocateNothing)
{
    support::AssertionRecorder recorder;
    std::mt19937_64 generator(84);
    const kmath_matrix4 A = randomMatrix4(generator);
    const kmath_matrix4c m = randomMatrix4c(generator);
    kmath_vect4c values;
    kmath_matrix4c vectors;
    Complex c = {1, 2};
    EXPECT_EQ(support::allocationsOf([&] {
                  kmath_matrix4_eigen(&A, &values, &vectors);
                  kmath_matrix4c_getInverse(&m, &vectors);
                  kmath_matrix4c_initMultiply(&vectors, &m, &m);
                  kmath_matrix4c_determinant(&m, &c);
                  kmath_complex_initSqrt(&c, &c);
                  kmath_complex_initDiv(&c, &c, &c);
              }),
              0);
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
