// Three Euler angles about the fixed axes: R = Rx(ax)·Ry(ay)·Rz(az).
//
// The first row of R is (cos ay·cos az, −cos ay·sin az, sin ay) and its last column
// (sin ay, −sin ax·cos ay, cos ax·cos ay), from which the angles are read.
#include <kmath/rotations.h>

#include "platform/check.hpp"
#include "platform/math_support.hpp"

#include <algorithm>
#include <cmath>

namespace
{

// The direction of (x, y) in (−π, π]. Adding 0 clears the sign of a zero y, with which the arc
// tangent would take a negative x to −π.
double direction(double y, double x) { return std::atan2(y + 0.0, x); }

// True where the first row of R has nothing but ±1 in its last column: cos ay = 0.
bool isGimbalLocked(const kmath_matrix3 &R)
{
    constexpr double tolerance = 1e-15;
    return kmath_double_epsilonEqual(R.m00, 0.0, tolerance) &&
           kmath_double_epsilonEqual(R.m01, 0.0, tolerance);
}

} // namespace

kmath_status kmath_angle3Vect_init(kmath_angle3Vect *r, const radian *ax, const radian *ay,
                                   const radian *az)
{
    KMATH_ASSERT(r && ax && ay && az);
    *r = {ax->value, ay->value, az->value};
    return KMATH_OK;
}

kmath_status kmath_angle3Vect_getMatrix(const kmath_angle3Vect *angles, kmath_matrix3 *M)
{
    KMATH_ASSERT(angles && M);
    const radian ax = {angles->ax}, ay = {angles->ay}, az = {angles->az};
    kmath_matrix3 Rx, Ry, Rz;
    RETURN_IF_FAILED(kmath_matrix3_initRotationAroundXAxis(&Rx, &ax));
    RETURN_IF_FAILED(kmath_matrix3_initRotationAroundYAxis(&Ry, &ay));
    RETURN_IF_FAILED(kmath_matrix3_initRotationAroundZAxis(&Rz, &az));
    RETURN_IF_FAILED(kmath_matrix3_initMultiply(M, &Rx, &Ry));
    return kmath_matrix3_initMultiply(M, M, &Rz);
}

kmath_status kmath_angle3Vect_setMatrix(kmath_angle3Vect *angles, const kmath_matrix3 *M)
{
    KMATH_ASSERT(angles && M);
    kmath_matrix3 R;
    const kmath_status status = kmath_rodParam_findClosestRotation(M, &R);
    if (status == KMATH_ERR_LEFT_HANDED)
        return KMATH_ERR_NOT_ROTATION;
    RETURN_IF_FAILED(status);

    if (isGimbalLocked(R))
        *angles = {0.0, direction(R.m02, R.m22), direction(R.m10, R.m11)};
    else
        *angles = {direction(-R.m12, R.m22), std::asin(std::clamp(R.m02, -1.0, 1.0)),
                   direction(-R.m01, R.m00)};
    return KMATH_OK;
}

kmath_status kmath_angle3Vect_compareEqual(const kmath_angle3Vect *a, const kmath_angle3Vect *b,
                                           uint32_t *equal)
{
    *equal = a->ax == b->ax && a->ay == b->ay && a->az == b->az;
    return KMATH_OK;
}
