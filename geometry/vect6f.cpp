// Vectors of six floats.
//
// Sums, products, roots and the comparison with a tolerance are formed in floats, from the first
// component to the last; only the reciprocal of a length is formed in double, as for three floats.
#include <kmath/vectors.h>

#include "platform/check.hpp"

#include <algorithm>
#include <cmath>

namespace
{

constexpr int size = 6;

kmath_vect6F difference(const kmath_vect6F &a, const kmath_vect6F &b)
{
    kmath_vect6F d;
    for (int i = 0; i < size; ++i)
        d.v[i] = a.v[i] - b.v[i];
    return d;
}

float dot(const kmath_vect6F &a, const kmath_vect6F &b)
{
    float sum = a.v[0] * b.v[0];
    for (int i = 1; i < size; ++i)
        sum += a.v[i] * b.v[i];
    return sum;
}

float norm(const kmath_vect6F &v) { return std::sqrt(dot(v, v)); }

} // namespace

kmath_status kmath_vect6F_init(kmath_vect6F *r, float v0, float v1, float v2, float v3, float v4,
                               float v5)
{
    KMATH_ASSERT(r);
    *r = {{v0, v1, v2, v3, v4, v5}};
    return KMATH_OK;
}

kmath_status kmath_vect6F_initClear(kmath_vect6F *r)
{
    *r = {};
    return KMATH_OK;
}

kmath_status kmath_vect6F_initSubtract(kmath_vect6F *r, const kmath_vect6F *a,
                                       const kmath_vect6F *b)
{
    KMATH_ASSERT(r && a && b);
    *r = difference(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect6F_dot(const kmath_vect6F *a, const kmath_vect6F *b, float *product)
{
    *product = dot(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect6F_getLength(const kmath_vect6F *v, float *length)
{
    *length = norm(*v);
    return KMATH_OK;
}

kmath_status kmath_vect6F_getDistance(const kmath_vect6F *a, const kmath_vect6F *b, float *distance)
{
    *distance = norm(difference(*a, *b));
    return KMATH_OK;
}

kmath_status kmath_vect6F_getUnit(const kmath_vect6F *v, kmath_vect6F *r)
{
    const float length = norm(*v);
    if (length == 0.0f)
        return KMATH_ERR_ZERO_LENGTH;
    const double reciprocal = 1.0 / static_cast<double>(length);
    for (int i = 0; i < size; ++i)
        r->v[i] = static_cast<float>(static_cast<double>(v->v[i]) * reciprocal);
    return KMATH_OK;
}

kmath_status kmath_vect6F_compareEqual(const kmath_vect6F *a, const kmath_vect6F *b,
                                       uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    *equal = std::equal(a->v, a->v + size, b->v);
    return KMATH_OK;
}

kmath_status kmath_vect6F_epsilonEqual(const kmath_vect6F *a, const kmath_vect6F *b, float eps,
                                       uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    const kmath_vect6F d = difference(*a, *b);
    const float s = dot(d, d);
    // A vector equals itself at any tolerance, 0 included.
    *equal = s < eps * eps || s == 0.0f;
    return KMATH_OK;
}
