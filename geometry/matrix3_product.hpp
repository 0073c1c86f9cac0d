// The product of a 3×3 matrix and a column, for the families that map points.
#pragma once

#include <kmath/matrix3.h>

namespace kmath
{

/// m·(x, y, z)ᵀ, each sum from the first column to the last.
inline kmath_vect3 product(const kmath_matrix3 &m, double x, double y, double z)
{
    return {m.m00 * x + m.m01 * y + m.m02 * z, //
            m.m10 * x + m.m11 * y + m.m12 * z, //
            m.m20 * x + m.m21 * y + m.m22 * z};
}

inline kmath_vect3 product(const kmath_matrix3 &m, const kmath_vect3 &v)
{
    return product(m, v.x, v.y, v.z);
}

} // namespace kmath
