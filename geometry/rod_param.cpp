// The rotation vector: to a matrix by Rodrigues' formula, back by the quaternion (Shepperd 1978),
// and the derivative of the matrix by forward differences.
#include <kmath/rotations.h>

#include "platform/check.hpp"
#include "platform/math_core.hpp"

#include <cmath>

namespace
{

constexpr double vanishing = 1e-8; // an angle in radians, or the length of a quaternion's vector
constexpr double h = 1e-8;         // the step of the difference quotients, in radians
constexpr double perStep = 1e8;    // 1/h

struct Quaternion {
    double w;
    double q[3];
};

double length(double x, double y, double z) { return std::sqrt(x * x + y * y + z * z); }

// K·v = r × v
kmath_matrix3 crossProductMatrix(const kmath_rodParam &r)
{
    return {0.0, -r.z, r.y, r.z, 0.0, -r.x, -r.y, r.x, 0.0};
}

// From the skew part of R, which is 4·w·q, where the trace 4w² − 1 keeps w away from 0.
Quaternion fromTrace(const double (&R)[3][3], double trace)
{
    const double root = std::sqrt(trace + 1.0);
    const double s = 0.5 / root;
    return {root / 2.0,
            {(R[2][1] - R[1][2]) * s, (R[0][2] - R[2][0]) * s, (R[1][0] - R[0][1]) * s}};
}

// The first of the largest elements; one that is not a number gives way to the next.
int largestOnDiagonal(const double (&R)[3][3])
{
    int i = R[0][0] >= R[1][1] ? 0 : 1;
    return R[i][i] >= R[2][2] ? i : 2;
}

// From row and column i, where q(i)² = t/4 is largest. False where t is not a number.
bool fromDiagonal(const double (&R)[3][3], int i, Quaternion &result)
{
    const int j = (i + 1) % 3;
    const int k = (j + 1) % 3;
    const double t = R[i][i] - (R[j][j] + R[k][k]) + 1.0;
    if (!(t >= 0.0))
        return false;

    const double root = std::sqrt(t);
    const double s = 0.5 / root;
    result.w = (R[k][j] - R[j][k]) * s;
    result.q[i] = root / 2.0;
    result.q[j] = (R[j][i] + R[i][j]) * s;
    result.q[k] = (R[k][i] + R[i][k]) * s;
    return true;
}

// D = (R(r) − R0)/h
kmath_status differenceQuotient(const kmath_rodParam &r, const kmath_matrix3 &R0, kmath_matrix3 *D)
{
    RETURN_IF_FAILED(kmath_rodParam_buildMat(&r, D));
    RETURN_IF_FAILED(kmath_matrix3_initSubtract(D, D, &R0));
    return kmath_matrix3_scale(D, perStep);
}

} // namespace

kmath_status kmath_rodParam_buildMat(const kmath_rodParam *r, kmath_matrix3 *M)
{
    KMATH_ASSERT(M);
    RETURN_IF_FAILED(kmath_matrix3_initIdentity(M));
    const double theta = length(r->x, r->y, r->z);
    // Deliberate: no first-order term below the threshold; a NaN, too, gives the identity.
    if (!(theta > vanishing))
        return KMATH_OK;

    kmath_matrix3 K = crossProductMatrix(*r), K2;
    RETURN_IF_FAILED(kmath_matrix3_initMultiply(&K2, &K, &K));
    RETURN_IF_FAILED(kmath_matrix3_scale(&K, std::sin(theta) / theta));
    RETURN_IF_FAILED(kmath_matrix3_scale(&K2, (1.0 - std::cos(theta)) / (theta * theta)));
    RETURN_IF_FAILED(kmath_matrix3_initAdd(M, M, &K));
    return kmath_matrix3_initAdd(M, M, &K2);
}

kmath_status kmath_rodParam_getParam(const kmath_matrix3 *M, kmath_rodParam *r)
{
    KMATH_ASSERT(M && r);
    const double R[3][3] = {
        {M->m00, M->m01, M->m02}, {M->m10, M->m11, M->m12}, {M->m20, M->m21, M->m22}};
    const double trace = R[0][0] + R[1][1] + R[2][2];

    Quaternion quaternion;
    if (trace > 0.0)
        quaternion = fromTrace(R, trace);
    else if (!fromDiagonal(R, largestOnDiagonal(R), quaternion))
        return KMATH_ERR_LEFT_HANDED;

    const auto &[w, q] = quaternion;
    const double n = length(q[0], q[1], q[2]);
    *r = {0.0, 0.0, 0.0};
    if (!(n > vanishing))
        return KMATH_OK;
    // Deliberate: w may be negative, and the angle above π.
    const double scale = 2.0 * kmath_acosSafe(w).value / n;
    *r = {scale * q[0], scale * q[1], scale * q[2]};
    return KMATH_OK;
}

kmath_status kmath_rodParam_computeJacob(const kmath_rodParam *r, kmath_matrix3 *dRdx,
                                         kmath_matrix3 *dRdy, kmath_matrix3 *dRdz, kmath_matrix3 *R)
{
    KMATH_ASSERT(r && dRdx && dRdy && dRdz && R);
    RETURN_IF_FAILED(kmath_rodParam_buildMat(r, R));
    RETURN_IF_FAILED(differenceQuotient({r->x + h, r->y, r->z}, *R, dRdx));
    RETURN_IF_FAILED(differenceQuotient({r->x, r->y + h, r->z}, *R, dRdy));
    return differenceQuotient({r->x, r->y, r->z + h}, *R, dRdz);
}
