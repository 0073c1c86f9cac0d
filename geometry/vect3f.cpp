// Vectors of three floats.
//
// Every component, sum, product and root is formed in floats, from the first component to the
// last; only the reciprocal of a length and the comparison with a tolerance are formed in double.
#include <kmath/vectors.h>

#include "platform/check.hpp"

#include <cmath>

namespace
{

kmath_vect3F difference(const kmath_vect3F &a, const kmath_vect3F &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

float dot(const kmath_vect3F &a, const kmath_vect3F &b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

float norm(const kmath_vect3F &v) { return std::sqrt(dot(v, v)); }

} // namespace

kmath_status kmath_vect3F_init(kmath_vect3F *r, float x, float y, float z)
{
    KMATH_ASSERT(r);
    *r = {x, y, z};
    return KMATH_OK;
}

kmath_status kmath_vect3F_initClear(kmath_vect3F *r)
{
    *r = {0.0f, 0.0f, 0.0f};
    return KMATH_OK;
}

kmath_status kmath_vect3F_reset(kmath_vect3F *r) { return kmath_vect3F_initClear(r); }

kmath_status kmath_vect3F_initAdd(kmath_vect3F *r, const kmath_vect3F *a, const kmath_vect3F *b)
{
    KMATH_ASSERT(r && a && b);
    *r = {a->x + b->x, a->y + b->y, a->z + b->z};
    return KMATH_OK;
}

kmath_status kmath_vect3F_initSubtract(kmath_vect3F *r, const kmath_vect3F *a,
                                       const kmath_vect3F *b)
{
    KMATH_ASSERT(r && a && b);
    *r = difference(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect3F_initScale(kmath_vect3F *r, const kmath_vect3F *a, float s)
{
    KMATH_ASSERT(r && a);
    *r = {s * a->x, s * a->y, s * a->z};
    return KMATH_OK;
}

kmath_status kmath_vect3F_getLength(const kmath_vect3F *v, float *length)
{
    *length = norm(*v);
    return KMATH_OK;
}

kmath_status kmath_vect3F_getDistance(const kmath_vect3F *a, const kmath_vect3F *b, float *distance)
{
    *distance = norm(difference(*a, *b));
    return KMATH_OK;
}

kmath_status kmath_vect3F_getUnit(const kmath_vect3F *v, kmath_vect3F *r)
{
    const float length = norm(*v);
    if (length == 0.0f)
        return KMATH_ERR_ZERO_LENGTH;
    const double reciprocal = 1.0 / static_cast<double>(length);
    *r = {static_cast<float>(static_cast<double>(v->x) * reciprocal),
          static_cast<float>(static_cast<double>(v->y) * reciprocal),
          static_cast<float>(static_cast<double>(v->z) * reciprocal)};
    return KMATH_OK;
}

kmath_status kmath_vect3F_cross(const kmath_vect3F *a, const kmath_vect3F *b, kmath_vect3F *r)
{
    r->x = a->y * b->z - a->z * b->y;
    r->y = a->z * b->x - a->x * b->z;
    r->z = a->x * b->y - a->y * b->x;
    return KMATH_OK;
}

kmath_status kmath_vect3F_dot(const kmath_vect3F *a, const kmath_vect3F *b, float *product)
{
    *product = dot(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect3F_compareEqual(const kmath_vect3F *a, const kmath_vect3F *b,
                                       uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    *equal = a->x == b->x && a->y == b->y && a->z == b->z;
    return KMATH_OK;
}

kmath_status kmath_vect3F_epsilonEqual(const kmath_vect3F *a, const kmath_vect3F *b, double eps,
                                       uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    const kmath_vect3F d = difference(*a, *b);
    // Deliberate: no exception for a distance of 0, so at eps = 0 a vector differs from itself.
    *equal = static_cast<double>(dot(d, d)) < eps * eps;
    return KMATH_OK;
}
