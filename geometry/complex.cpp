// Complex numbers and vectors of four of them: Smith's division, and a magnitude and a principal
// square root that leave the range of the doubles only where the exact result does.
#include <kmath/matrix4.h>

#include "geometry/complex_operators.hpp"
#include "platform/check.hpp"

#include <algorithm>
#include <cmath>

using namespace kmath;

namespace
{

bool isZero(const kmath_complex &c) { return c.re == 0.0 && c.im == 0.0; }

// n/d by the quotient of the parts of d, the larger one below.
kmath_complex quotient(const kmath_complex &n, const kmath_complex &d)
{
    if (std::fabs(d.im) >= std::fabs(d.re)) {
        const double t = d.re / d.im;
        const double denominator = t * d.re + d.im;
        return {(n.re * t + n.im) / denominator, (n.im * t - n.re) / denominator};
    }
    const double t = d.im / d.re;
    const double denominator = d.re + d.im * t;
    return {(n.re + n.im * t) / denominator, (n.im - n.re * t) / denominator};
}

// √c for Re c > 0; halved before they are added, the terms under the root cannot overflow.
kmath_complex rootOnTheRight(const kmath_complex &c)
{
    const double t = std::sqrt(0.5 * magnitude(c) + 0.5 * c.re);
    return {t, c.im / (2.0 * t)};
}

// √c for Re c ≤ 0, c ≠ 0. The quotient of the imaginary part lies between 1/√2 and 1 and is
// exactly 1 on the axis; that of the real part goes first into the small root.
kmath_complex rootOnTheLeft(const kmath_complex &c, bool belowTheAxis)
{
    const double length = magnitude(c);
    const double root = std::sqrt(length);
    const double divisor = magnitude({c.re - length, c.im});
    const kmath_complex r = {c.im * (root / divisor), root * ((length - c.re) / divisor)};
    return belowTheAxis ? -r : r;
}

// Takes numbers whose magnitude could overflow, or lose digits below the smallest normal number,
// to where it does neither: c·4ᵏ has the root √c·2ᵏ.
int exponentToSafety(const kmath_complex &c)
{
    const double largest = std::max(std::fabs(c.re), std::fabs(c.im));
    return largest > 0x1p1000 ? -4 : largest < 0x1p-900 ? 60 : 0;
}

} // namespace

kmath_status kmath_complex_init(kmath_complex *c)
{
    KMATH_ASSERT(c);
    *c = {};
    return KMATH_OK;
}

kmath_status kmath_complex_reset(kmath_complex *c) { return kmath_complex_init(c); }

kmath_status kmath_complex_initDiv(kmath_complex *r, const kmath_complex *n, const kmath_complex *d)
{
    KMATH_ASSERT(r && n && d);
    if (isZero(*d))
        return KMATH_ERR_DIVIDE_BY_ZERO;
    *r = quotient(*n, *d);
    return KMATH_OK;
}

kmath_status kmath_complex_abs(double *magnitude, const kmath_complex *c)
{
    KMATH_ASSERT(magnitude && c);
    const double a = std::fabs(c->re);
    const double b = std::fabs(c->im);
    if (a == 0.0) {
        *magnitude = b;
    } else if (b == 0.0) {
        *magnitude = a;
    } else {
        const double larger = b >= a ? b : a;
        const double ratio = b >= a ? a / b : b / a;
        *magnitude = larger * std::sqrt(1.0 + ratio * ratio);
    }
    return KMATH_OK;
}

kmath_status kmath_complex_initSqrt(kmath_complex *r, const kmath_complex *c)
{
    KMATH_ASSERT(r && c);
    if (isZero(*c))
        return kmath_complex_init(r);
    const int k = exponentToSafety(*c);
    const kmath_complex scaled = {std::ldexp(c->re, 2 * k), std::ldexp(c->im, 2 * k)};
    // Asked of c itself, as scaling may turn a tiny imaginary part into 0.
    const bool belowTheAxis = c->im < 0.0;
    const kmath_complex root =
        scaled.re > 0.0 ? rootOnTheRight(scaled) : rootOnTheLeft(scaled, belowTheAxis);
    *r = {std::ldexp(root.re, -k), std::ldexp(root.im, -k)};
    return KMATH_OK;
}

kmath_status kmath_vect4c_init(kmath_vect4c *r)
{
    KMATH_ASSERT(r);
    *r = {};
    return KMATH_OK;
}

kmath_status kmath_vect4c_reset(kmath_vect4c *r) { return kmath_vect4c_init(r); }

kmath_status kmath_vect4c_initSubtract(kmath_vect4c *r, const kmath_vect4c *a,
                                       const kmath_vect4c *b)
{
    KMATH_ASSERT(r && a && b);
    for (int i = 0; i < 4; ++i)
        r->v[i] = a->v[i] - b->v[i];
    return KMATH_OK;
}
