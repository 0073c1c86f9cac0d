// The arithmetic of complex numbers as operators, without the special cases of std::complex:
// infinite and NaN parts go the way of the plain formulas.
#pragma once

#include <kmath/matrix4.h>

namespace kmath
{

inline kmath_complex operator+(const kmath_complex &a, const kmath_complex &b)
{
    return {a.re + b.re, a.im + b.im};
}

inline kmath_complex operator-(const kmath_complex &a, const kmath_complex &b)
{
    return {a.re - b.re, a.im - b.im};
}

inline kmath_complex operator-(const kmath_complex &a) { return {-a.re, -a.im}; }

inline kmath_complex operator*(const kmath_complex &a, const kmath_complex &b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

inline kmath_complex operator*(double s, const kmath_complex &a) { return {s * a.re, s * a.im}; }

inline kmath_complex operator/(const kmath_complex &a, double s) { return {a.re / s, a.im / s}; }

inline kmath_complex conjugate(const kmath_complex &a) { return {a.re, -a.im}; }

inline double squaredMagnitude(const kmath_complex &a) { return a.re * a.re + a.im * a.im; }

inline double magnitude(const kmath_complex &a)
{
    double result;
    kmath_complex_abs(&result, &a);
    return result;
}

} // namespace kmath
