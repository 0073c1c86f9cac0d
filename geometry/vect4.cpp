// Vectors of four doubles. Sums run from the first component to the last.
#include <kmath/vectors.h>

#include "platform/check.hpp"

namespace
{

kmath_vect4 difference(const kmath_vect4 &a, const kmath_vect4 &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w};
}

double dot(const kmath_vect4 &a, const kmath_vect4 &b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

} // namespace

kmath_status kmath_vect4_init(kmath_vect4 *r, double x, double y, double z, double w)
{
    KMATH_ASSERT(r);
    *r = {x, y, z, w};
    return KMATH_OK;
}

kmath_status kmath_vect4_initClear(kmath_vect4 *r)
{
    *r = {0.0, 0.0, 0.0, 0.0};
    return KMATH_OK;
}

kmath_status kmath_vect4_initSubtract(kmath_vect4 *r, const kmath_vect4 *a, const kmath_vect4 *b)
{
    KMATH_ASSERT(r && a && b);
    *r = difference(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect4_dot(const kmath_vect4 *a, const kmath_vect4 *b, double *product)
{
    *product = dot(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect4_compareEqual(const kmath_vect4 *a, const kmath_vect4 *b, uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    *equal = a->x == b->x && a->y == b->y && a->z == b->z && a->w == b->w;
    return KMATH_OK;
}

kmath_status kmath_vect4_epsilonEqual(const kmath_vect4 *a, const kmath_vect4 *b, double eps,
                                      uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    const kmath_vect4 d = difference(*a, *b);
    const double s = dot(d, d);
    // A vector equals itself at any tolerance, 0 included.
    *equal = s < eps * eps || s == 0.0;
    return KMATH_OK;
}
