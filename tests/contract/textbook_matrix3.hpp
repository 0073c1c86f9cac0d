// The arithmetic of the 3×3 matrix written out, each sum in its promised order. It shares no code
// with the library, so equal bits mean equal arithmetic.
#pragma once

#include "support/matrices.hpp"

#include <kmath/matrix3.h>

#include <cmath>

namespace textbook
{

inline double at(const kmath_matrix3 &m, int i, int j) { return (&m.m00)[3 * i + j]; }
inline double &at(kmath_matrix3 &m, int i, int j) { return (&m.m00)[3 * i + j]; }

inline bool same(const kmath_matrix3 &a, const kmath_matrix3 &b)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!support::sameBits(at(a, i, j), at(b, i, j)))
                return false;
    return true;
}

inline kmath_matrix3 product(const kmath_matrix3 &a, const kmath_matrix3 &b)
{
    kmath_matrix3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            at(r, i, j) =
                at(a, i, 0) * at(b, 0, j) + at(a, i, 1) * at(b, 1, j) + at(a, i, 2) * at(b, 2, j);
    return r;
}

inline double determinant(const kmath_matrix3 &m)
{
    return m.m00 * (m.m11 * m.m22 - m.m12 * m.m21) + m.m10 * (-m.m01 * m.m22 + m.m02 * m.m21) +
           m.m20 * (m.m01 * m.m12 - m.m02 * m.m11);
}

/// False where the inverse is to be refused.
inline bool inverse(const kmath_matrix3 &m, kmath_matrix3 &r)
{
    const double a = m.m00, b = m.m01, c = m.m02, d = m.m10, e = m.m11, f = m.m12, g = m.m20,
                 h = m.m21, i = m.m22;
    const kmath_matrix3 adjugate = {e * i - f * h,    -(b * i - c * h), b * f - c * e,
                                    -(d * i - f * g), a * i - c * g,    -(a * f - c * d),
                                    d * h - e * g,    -(a * h - b * g), a * e - b * d};
    const double det = a * adjugate.m00 + d * adjugate.m01 + g * adjugate.m02;
    if (std::fabs(det) <= 1e-150)
        return false;
    for (int k = 0; k < 9; ++k)
        if (std::fabs(det) < 1e-15 * std::fabs(at(adjugate, k / 3, k % 3)))
            return false;
    const double q = 1 / det;
    for (int k = 0; k < 9; ++k)
        at(r, k / 3, k % 3) = at(adjugate, k / 3, k % 3) * q;
    return true;
}

} // namespace textbook
