// Vectors of three doubles, and the directions they stand for as tilt and rotation.
//
// Sums run from the first component to the last. Lengths are plain roots of sums of squares,
// without scaling: components below about 1e-162 count as nothing, above 1e154 the length is
// infinite.
#include <kmath/vectors.h>

#include "platform/check.hpp"
#include "platform/math_core.hpp"

#include <cmath>

using namespace kmath;

namespace
{

kmath_vect3 difference(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

double dot(const kmath_vect3 &a, const kmath_vect3 &b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

double norm(const kmath_vect3 &v) { return std::sqrt(dot(v, v)); }

} // namespace

kmath_status kmath_vect3_init(kmath_vect3 *r, double x, double y, double z)
{
    KMATH_ASSERT(r);
    *r = {x, y, z};
    return KMATH_OK;
}

kmath_status kmath_vect3_initClear(kmath_vect3 *r)
{
    *r = {0.0, 0.0, 0.0};
    return KMATH_OK;
}

kmath_status kmath_vect3_reset(kmath_vect3 *r) { return kmath_vect3_initClear(r); }

kmath_status kmath_vect3_initAdd(kmath_vect3 *r, const kmath_vect3 *a, const kmath_vect3 *b)
{
    KMATH_ASSERT(r && a && b);
    *r = {a->x + b->x, a->y + b->y, a->z + b->z};
    return KMATH_OK;
}

kmath_status kmath_vect3_initSubtract(kmath_vect3 *r, const kmath_vect3 *a, const kmath_vect3 *b)
{
    KMATH_ASSERT(r && a && b);
    *r = difference(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect3_initScale(kmath_vect3 *r, const kmath_vect3 *a, double s)
{
    KMATH_ASSERT(r && a);
    *r = {s * a->x, s * a->y, s * a->z};
    return KMATH_OK;
}

kmath_status kmath_vect3_getLength(const kmath_vect3 *v, double *length)
{
    *length = norm(*v);
    return KMATH_OK;
}

kmath_status kmath_vect3_getDistance(const kmath_vect3 *a, const kmath_vect3 *b, double *distance)
{
    *distance = norm(difference(*a, *b));
    return KMATH_OK;
}

kmath_status kmath_vect3_getUnit(const kmath_vect3 *v, kmath_vect3 *r)
{
    const double length = norm(*v);
    if (length == 0.0)
        return KMATH_ERR_ZERO_LENGTH;
    const double reciprocal = 1.0 / length;
    *r = {v->x * reciprocal, v->y * reciprocal, v->z * reciprocal};
    return KMATH_OK;
}

kmath_status kmath_vect3_cross(const kmath_vect3 *a, const kmath_vect3 *b, kmath_vect3 *r)
{
    r->x = a->y * b->z - a->z * b->y;
    r->y = a->z * b->x - a->x * b->z;
    r->z = a->x * b->y - a->y * b->x;
    return KMATH_OK;
}

kmath_status kmath_vect3_dot(const kmath_vect3 *a, const kmath_vect3 *b, double *product)
{
    *product = dot(*a, *b);
    return KMATH_OK;
}

kmath_status kmath_vect3_compareEqual(const kmath_vect3 *a, const kmath_vect3 *b, uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    *equal = a->x == b->x && a->y == b->y && a->z == b->z;
    return KMATH_OK;
}

kmath_status kmath_vect3_epsilonEqual(const kmath_vect3 *a, const kmath_vect3 *b, double eps,
                                      uint32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    const kmath_vect3 d = difference(*a, *b);
    const double s = dot(d, d);
    // A vector equals itself at any tolerance, 0 included.
    *equal = s < eps * eps || s == 0.0;
    return KMATH_OK;
}

kmath_status kmath_vect3_initTiltAndRotation(kmath_vect3 *r, const radian *tilt,
                                             const radian *rotation)
{
    KMATH_ASSERT(r && tilt && rotation);
    const double turned = kmath_radian_norm(tilt).value;
    const double t = turned > pi ? twoPi - turned : turned;
    const double phi = rotation->value;
    *r = {std::sin(t) * std::cos(phi), std::sin(t) * std::sin(phi), std::cos(t)};
    return KMATH_OK;
}

kmath_status kmath_vect3_getTiltAndRotation(const kmath_vect3 *v, radian *tilt, radian *rotation)
{
    KMATH_ASSERT(v);
    kmath_vect3 u;
    RETURN_IF_FAILED(kmath_vect3_getUnit(v, &u));

    if (tilt)
        *tilt = kmath_acosSafe(u.z);
    if (rotation) {
        const bool onAxis = u.x == 0.0 && u.y == 0.0;
        rotation->value = onAxis ? 0.0 : std::fmod(std::atan2(u.y, u.x) + twoPi, twoPi);
    }
    return KMATH_OK;
}

kmath_status kmath_vect3_getTilt(const kmath_vect3 *v, radian *tilt)
{
    return kmath_vect3_getTiltAndRotation(v, tilt, nullptr);
}

kmath_status kmath_vect3_getRotation(const kmath_vect3 *v, radian *rotation)
{
    return kmath_vect3_getTiltAndRotation(v, nullptr, rotation);
}

kmath_status kmath_vect3_getAngleBetweenVectors(const kmath_vect3 *a, const kmath_vect3 *b,
                                                radian *angle)
{
    KMATH_ASSERT(a && b && angle);
    kmath_vect3 u, w;
    RETURN_IF_FAILED(kmath_vect3_getUnit(a, &u));
    RETURN_IF_FAILED(kmath_vect3_getUnit(b, &w));
    *angle = kmath_acosSafe(dot(u, w));
    return KMATH_OK;
}

kmath_status kmath_vect3_getAngleBetween3Points(const kmath_vect3 *p1, const kmath_vect3 *vertex,
                                                const kmath_vect3 *p3, radian *angle)
{
    KMATH_ASSERT(p1 && vertex && p3 && angle);
    const kmath_vect3 a = difference(*p1, *vertex);
    const kmath_vect3 b = difference(*p3, *vertex);
    return kmath_vect3_getAngleBetweenVectors(&a, &b, angle);
}

kmath_status kmath_vect3_getSignedDistanceToPointAlongDirection(const kmath_vect3 *from,
                                                                const kmath_vect3 *to,
                                                                const kmath_vect3 *direction,
                                                                double *distance)
{
    KMATH_ASSERT(from && to && direction && distance);
    kmath_vect3 u;
    RETURN_IF_FAILED(kmath_vect3_getUnit(direction, &u));
    *distance = dot(difference(*to, *from), u);
    return KMATH_OK;
}
