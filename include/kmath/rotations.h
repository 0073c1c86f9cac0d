/**
 * @file
 * Rotations in three parameters: the rotation vector and three Euler angles.
 *
 * Both records are plain values of three doubles that the caller owns and may copy
 * at will. They are converted to and from kmath_matrix3, whose element (i, j) stands
 * in row i and column j, counted from 0; the matrix turns column vectors by R·v,
 * right-handed. Angles are radians.
 *
 * Nothing here allocates: the closest rotation, and with it the angles of a matrix,
 * works in dense matrices small enough to stay within their records. angle3Vect_init and
 * angle3Vect_setMatrix take their result first; all others take their results last. The two
 * matrices of a closest rotation may be one.
 *
 * A null record is a programming error, never a status: it is reported to
 * kstd_assert_, and the function carries on. buildMat checks its matrix alone;
 * compareEqual checks nothing, findClosestRotationAllowLeftHanded nothing itself: it leaves
 * that to the conversions between the kinds of matrix. Unless a function names a failure, it
 * returns KMATH_OK for any numbers, NaN and infinities included.
 */
#ifndef KMATH_ROTATIONS_H
#define KMATH_ROTATIONS_H

#include <kmath/matrix3.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A rotation vector: the axis by its direction, the angle θ in radians by its length. */
typedef struct kmath_rodParam {
    double x; /**< first component, radians */
    double y; /**< second component, radians */
    double z; /**< third component, radians */
} kmath_rodParam;

/**
 * The rotation Rx(ax)·Ry(ay)·Rz(az) about the fixed axes: first about z, then y, then x.
 */
typedef struct kmath_angle3Vect {
    double ax; /**< about the x axis, radians */
    double ay; /**< about the y axis, radians */
    double az; /**< about the z axis, radians */
} kmath_angle3Vect;

/**
 * M = I + (sin θ/θ)·K + ((1 − cos θ)/θ²)·K², with θ = |r| and K·v = r × v.
 *
 * M is exactly the identity for an r of at most 1e-8 rad, without the first-order term, and
 * for an r with a NaN. For any other r with an infinite component or squared length (above
 * about 1e154 rad), every element of M is NaN.
 *
 * @param[in]  r  radians, of any length; not checked for null
 * @param[out] M  rotation matrix, orthogonal to 16 ε (ε = 2⁻⁵²)
 * @return KMATH_OK
 * @see kmath_rodParam_getParam; Rodrigues, Journal de mathématiques pures et appliquées 5
 *      (1840)
 */
KMATH_API kmath_status kmath_rodParam_buildMat(const kmath_rodParam *r, kmath_matrix3 *M);

/**
 * r = the rotation vector of M, by way of its quaternion (w, q): r = 2·acos(w)·q/|q|.
 *
 * M is taken for a rotation as it is; another matrix gives a vector without meaning. The
 * quaternion is taken as it comes. Where the trace of M is not above 0 (θ of 120° or more),
 * the component of q on the largest diagonal element, of equal ones on the first, is the
 * positive one and w may be negative: r then has a length between π and 2π and is, for the
 * rotation vector s of length θ ≤ π, s·(1 − 2π/θ). It stands for the same rotation.
 *
 * The arc cosine limits the accuracy: the error is a few ε/sin(θ/2). A |q| of at most 1e-8
 * gives r = (0, 0, 0).
 *
 * @param[in]  M  rotation matrix. A NaN beside the diagonal passes: r is then (0, 0, 0), or NaN
 *                where it meets w alone
 * @param[out] r  radians; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_LEFT_HANDED when there is no quaternion: for a NaN on the
 *         diagonal of M, or one that arises from infinities there
 * @see kmath_rodParam_findClosestRotation; Shepperd, Journal of Guidance and Control 1 (1978)
 */
KMATH_API kmath_status kmath_rodParam_getParam(const kmath_matrix3 *M, kmath_rodParam *r);

/**
 * R = R(r) and the quotients dRdx = (R(r + h·x) − R(r))/h, likewise dRdy, dRdz.
 *
 * Forward differences with h = 1e-8 rad. From θ = |r| = 2e-8 an element is off by at most about
 * 2e-8 up to 1e-3, by 4e-8 up to 1 and by 2e-7 up to π; beyond, the error grows with θ, as
 * r + h·x is rounded.
 *
 * For θ below 2e-8 the quotients are no derivatives, as kmath_rodParam_buildMat gives exactly the
 * identity up to a length of 1e-8: a step within that bound, as any from r = 0, gives a matrix of
 * zeros, and a step across it takes the whole rotation at once. A fit that starts at r = 0 does
 * not turn; start it at 1e-3 rad, say.
 *
 * @param[in]  r     radians
 * @param[out] dRdx  per radian
 * @param[out] dRdy  per radian
 * @param[out] dRdz  per radian
 * @param[out] R     rotation matrix of r; the four matrices must be distinct
 * @return KMATH_OK
 * @see kmath_rodParam_buildMat
 */
KMATH_API kmath_status kmath_rodParam_computeJacob(const kmath_rodParam *r, kmath_matrix3 *dRdx,
                                                   kmath_matrix3 *dRdy, kmath_matrix3 *dRdz,
                                                   kmath_matrix3 *R);

/**
 * R = U·Vᵀ of M = U·W·Vᵀ, the rotation closest to M in the Frobenius norm.
 *
 * An M orthogonal to within 1e-15, by the elements of MᵀM, is copied unchanged. For an M
 * of rank below 3 the closest orthogonal matrix is not unique; the one that comes out may
 * be a reflection, and is refused then.
 *
 * @param[in]  M  any; best scaled to elements about 1. R need not be orthogonal, let alone the
 *                closest, where M, one of its columns or its two smaller singular values are
 *                below about 1e-50 without being zero
 * @param[out] R  rotation matrix, elsewhere orthogonal to 32 ε (ε = 2⁻⁵²); may be M
 * @return KMATH_OK; KMATH_ERR_LEFT_HANDED when the closest orthogonal matrix is a reflection,
 *         with R untouched for an M orthogonal to within 1e-15, and R the reflection for any
 *         other; or a failure of kmath_nmmatrix_decompose, with R untouched: KMATH_ERR_SINGULAR
 *         for an M that is not finite or has a singular value too large for a double
 * @see kmath_rodParam_findClosestRotationAllowLeftHanded; Golub & Van Loan, Matrix
 *      Computations, §12.4; Higham, Functions of Matrices, ch. 8
 */
KMATH_API kmath_status kmath_rodParam_findClosestRotation(const kmath_matrix3 *M, kmath_matrix3 *R);

/**
 * R = U·Vᵀ of M = U·W·Vᵀ, the orthogonal matrix closest to M, be it a rotation or a reflection.
 *
 * An M orthogonal to within 1e-15, by the elements of MᵀM, is copied unchanged.
 *
 * @param[in]  M  as for kmath_rodParam_findClosestRotation
 * @param[out] R  orthogonal matrix; may be M
 * @return KMATH_OK, or a failure of kmath_nmmatrix_decompose, with R untouched: KMATH_ERR_SINGULAR
 *         for an M that is not finite or has a singular value too large for a double
 * @see kmath_rodParam_findClosestRotation
 */
KMATH_API kmath_status kmath_rodParam_findClosestRotationAllowLeftHanded(const kmath_matrix3 *M,
                                                                         kmath_matrix3 *R);

/**
 * r = (ax, ay, az).
 *
 * @param[out] r   the angles, as they are given: not brought into any range
 * @param[in]  ax  about the x axis, radians
 * @param[in]  ay  about the y axis, radians
 * @param[in]  az  about the z axis, radians
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_angle3Vect_init(kmath_angle3Vect *r, const radian *ax,
                                             const radian *ay, const radian *az);

/**
 * M = (Rx(ax)·Ry(ay))·Rz(az).
 *
 * @param[in]  angles  radians, any; one that is not finite makes elements NaN
 * @param[out] M       rotation matrix, orthogonal to 8 ε (ε = 2⁻⁵²)
 * @return KMATH_OK
 * @see kmath_matrix3_initRotationAroundXAxis
 */
KMATH_API kmath_status kmath_angle3Vect_getMatrix(const kmath_angle3Vect *angles, kmath_matrix3 *M);

/**
 * The angles of the rotation R closest to M: ay = asin R(0, 2), az = atan2(−R(0, 1), R(0, 0)),
 * ax = atan2(−R(1, 2), R(2, 2)).
 *
 * ay lies in [−π/2, π/2], ax and az in (−π, π]; a half turn is +π, whatever the sign of a zero.
 * Where R(0, 0) and R(0, 1) are within 1e-15 of 0, in gimbal lock, the x and z axes coincide;
 * then ax = 0, az = atan2(R(1, 0), R(1, 1)) carries both turns, and ay = atan2(R(0, 2), R(2, 2))
 * may pass ±π/2 by rounding, some 1e-15.
 *
 * Elsewhere each angle errs by a few ε/cos ay. Near gimbal lock, where cos ay is small but above
 * that bound, this is much, and as ax and az err independently, a matrix made of the angles is as
 * far from R: 1e-9 at cos ay = 1e-6. In gimbal lock itself the angles give R back.
 *
 * @param[out] angles  radians; untouched on failure
 * @param[in]  M       as for kmath_rodParam_findClosestRotation
 * @return KMATH_OK, KMATH_ERR_NOT_ROTATION when the orthogonal matrix closest to M is a
 *         reflection, or any other failure of kmath_rodParam_findClosestRotation
 * @see kmath_angle3Vect_getMatrix
 */
KMATH_API kmath_status kmath_angle3Vect_setMatrix(kmath_angle3Vect *angles, const kmath_matrix3 *M);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing. Angles a turn apart differ.
 *
 * @param[in]  a      any; not checked for null
 * @param[in]  b      any; not checked for null
 * @param[out] equal  1 when all three angles are equal, else 0; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_angle3Vect_compareEqual(const kmath_angle3Vect *a,
                                                     const kmath_angle3Vect *b, uint32_t *equal);

#ifdef __cplusplus
}
#endif

#endif
