/**
 * @file
 * The linear transform of space: a point p goes to M·p + t, a direction v to M·v.
 *
 * The record is a plain value that the caller owns and may copy at will: the translation
 * t, then the 3×3 matrix M, row-major (matrix3.h). Nothing here allocates. Points,
 * vectors and translations share one unit of length. Sums run from the first column to
 * the last, and the translation is added last; items of floats are widened to doubles,
 * mapped in double and rounded at the end.
 *
 * An operation whose name begins with init takes its result first; all others take their
 * results last. A result may be one of the operands of its own type, whole arrays
 * included. A null record is a programming error, never a status: initIdentity, reset,
 * initMatrixTrans, initMatrixTransElements, initCompose3, initCompose4, getIsIdentity,
 * mapVector, mapVectorF and mapVolume report it to kstd_assert_ and carry on; all others
 * check nothing. Unless a function names a failure, it returns KMATH_OK for any numbers,
 * NaN and infinities included.
 *
 * Arrays are contiguous, one record after another. Their lengths are 64-bit.
 */
#ifndef KMATH_XFORM3_H
#define KMATH_XFORM3_H

#include <kmath/matrix3.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A linear transform of space: p ↦ M·p + t. */
typedef struct kmath_xform3Linear {
    kmath_vect3 translation; /**< t, in the unit of the mapped points */
    kmath_matrix3 matrix;    /**< M, dimensionless */
} kmath_xform3Linear;

/* Building and asking. */

/**
 * r = the identity: M = I, t = 0.
 *
 * @param[out] r  identity
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initIdentity(kmath_xform3Linear *r);

/**
 * r = the identity, the default of the record.
 *
 * @param[out] r  identity
 * @return KMATH_OK
 * @see kmath_xform3Linear_initIdentity
 */
KMATH_API kmath_status kmath_xform3Linear_reset(kmath_xform3Linear *r);

/**
 * r maps p to m·p + t.
 *
 * @param[out] r  the transform
 * @param[in]  m  any; may be the matrix of r
 * @param[in]  t  any; may be the translation of r
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initMatrixTrans(kmath_xform3Linear *r,
                                                          const kmath_matrix3 *m,
                                                          const kmath_vect3 *t);

/**
 * r from the elements of its matrix in row-major order and of its translation.
 *
 * @param[out] r    the transform
 * @param[in]  m00  row 0, column 0
 * @param[in]  m01  row 0, column 1
 * @param[in]  m02  row 0, column 2
 * @param[in]  m10  row 1, column 0
 * @param[in]  m11  row 1, column 1
 * @param[in]  m12  row 1, column 2
 * @param[in]  m20  row 2, column 0
 * @param[in]  m21  row 2, column 1
 * @param[in]  m22  row 2, column 2
 * @param[in]  tx   translation along x
 * @param[in]  ty   translation along y
 * @param[in]  tz   translation along z
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initMatrixTransElements(
    kmath_xform3Linear *r, double m00, double m01, double m02, double m10, double m11, double m12,
    double m20, double m21, double m22, double tx, double ty, double tz);

/**
 * r = the rotation by θ around the x axis, without translation.
 *
 * @param[out] r      right-handed: a positive angle turns +y towards +z
 * @param[in]  angle  θ in radians, any finite; others leave NaN in r
 * @return KMATH_OK
 * @see kmath_matrix3_initRotationAroundXAxis
 */
KMATH_API kmath_status kmath_xform3Linear_initRotationAroundXAxis(kmath_xform3Linear *r,
                                                                  const radian *angle);

/**
 * r = the rotation by θ around the y axis, without translation.
 *
 * @param[out] r      right-handed: a positive angle turns +z towards +x
 * @param[in]  angle  θ in radians, any finite; others leave NaN in r
 * @return KMATH_OK
 * @see kmath_matrix3_initRotationAroundYAxis
 */
KMATH_API kmath_status kmath_xform3Linear_initRotationAroundYAxis(kmath_xform3Linear *r,
                                                                  const radian *angle);

/**
 * r = the rotation by θ around the z axis, without translation.
 *
 * @param[out] r      right-handed: a positive angle turns +x towards +y
 * @param[in]  angle  θ in radians, any finite; others leave NaN in r
 * @return KMATH_OK
 * @see kmath_matrix3_initRotationAroundZAxis
 */
KMATH_API kmath_status kmath_xform3Linear_initRotationAroundZAxis(kmath_xform3Linear *r,
                                                                  const radian *angle);

/**
 * r = X⁻¹, which maps p to M⁻¹·p − M⁻¹·t.
 *
 * The new translation is formed as M⁻¹·(−t).
 *
 * @param[out] r  may be X; untouched on failure
 * @param[in]  X  any
 * @return KMATH_OK, or KMATH_ERR_SINGULAR where the matrix has no inverse
 * @see kmath_matrix3_getInverse for what counts as singular
 */
KMATH_API kmath_status kmath_xform3Linear_initInverse(kmath_xform3Linear *r,
                                                      const kmath_xform3Linear *X);

/**
 * r = X⁻¹.
 *
 * @param[in]  X  any
 * @param[out] r  may be X; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by initInverse
 * @see kmath_xform3Linear_initInverse
 */
KMATH_API kmath_status kmath_xform3Linear_getInverse(const kmath_xform3Linear *X,
                                                     kmath_xform3Linear *r);

/**
 * r = a∘b, so that r(p) = a(b(p)): b is applied first.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initCompose(kmath_xform3Linear *r,
                                                      const kmath_xform3Linear *a,
                                                      const kmath_xform3Linear *b);

/**
 * r = (a∘b)∘c, so that r(p) = a(b(c(p))).
 *
 * @param[out] r  may be any of the others
 * @param[in]  a  any
 * @param[in]  b  any
 * @param[in]  c  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initCompose3(kmath_xform3Linear *r,
                                                       const kmath_xform3Linear *a,
                                                       const kmath_xform3Linear *b,
                                                       const kmath_xform3Linear *c);

/**
 * r = ((a∘b)∘c)∘d, so that r(p) = a(b(c(d(p)))).
 *
 * @param[out] r  may be any of the others
 * @param[in]  a  any
 * @param[in]  b  any
 * @param[in]  c  any
 * @param[in]  d  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_initCompose4(kmath_xform3Linear *r,
                                                       const kmath_xform3Linear *a,
                                                       const kmath_xform3Linear *b,
                                                       const kmath_xform3Linear *c,
                                                       const kmath_xform3Linear *d);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] equal  1 when all twelve elements are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_compareEqual(const kmath_xform3Linear *a,
                                                       const kmath_xform3Linear *b,
                                                       uint32_t *equal);

/**
 * equal = matrices within eps element by element, and translations closer than eps.
 *
 * A difference of exactly eps counts as equal between elements, and as unequal between
 * translations. A finite transform equals itself at an eps of 0, but at no negative one.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[in]  eps    the tolerance of both; nothing is equal at NaN
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 * @see kmath_matrix3_epsilonEqual, kmath_vect3_epsilonEqual
 */
KMATH_API kmath_status kmath_xform3Linear_epsilonEqual(const kmath_xform3Linear *a,
                                                       const kmath_xform3Linear *b, double eps,
                                                       uint32_t *equal);

/**
 * identity = (M = I and t = 0), exactly.
 *
 * @param[in]  X         any
 * @param[out] identity  1 when every element is that of the identity, without tolerance,
 *                       else 0; −0 counts as 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_getIsIdentity(const kmath_xform3Linear *X,
                                                        uint32_t *identity);

/**
 * degenerate = (−1e-10 < det M < 1e-10).
 *
 * The bounds themselves do not count as degenerate, nor does a determinant that is NaN.
 * They are absolute: getInverse, which judges by the inverse, may well accept what is
 * degenerate here, and refuse what is not.
 *
 * @param[in]  X           any
 * @param[out] degenerate  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_getIsDegenerate(const kmath_xform3Linear *X,
                                                          uint32_t *degenerate);

/**
 * r = X∘Rz(θ): X turned about its own z axis until its x axis points along v, as far as
 * the plane of its x and y axes allows.
 *
 * With a and b the images M·x and M·y of the x and y axes, θ = atan2(b·v, a·v). The x axis
 * of r is then cos θ·a + sin θ·b, which for a and b of equal length and at right angles is
 * parallel to the projection of v onto their plane. The translation and the image of the
 * z axis stay as they are.
 *
 * @param[in]  X  any
 * @param[in]  v  any; its length and those of a and b matter against the bound 1e-12 only
 * @param[out] r  may be X; untouched on failure; holds NaN where a product is NaN
 * @return KMATH_OK, or KMATH_ERR_SINGULAR when |a·v| and |b·v| are both below 1e-12, so
 *         that v has no direction in that plane
 */
KMATH_API kmath_status kmath_xform3Linear_rotateXformAroundZAxisForXAxisToBeProjParallelToVector(
    const kmath_xform3Linear *X, const kmath_vect3 *v, kmath_xform3Linear *r);

/* Mapping one item. */

/**
 * r = M·p + t.
 *
 * @param[in]  X  any
 * @param[in]  p  any
 * @param[out] r  may be p
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_mapPoint(const kmath_xform3Linear *X,
                                                   const kmath_vect3 *p, kmath_vect3 *r);

/**
 * r = M·p + t for a point of floats.
 *
 * @param[in]  X  any
 * @param[in]  p  any
 * @param[out] r  may be p; infinite where a sum exceeds the floats
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_mapPointF(const kmath_xform3Linear *X,
                                                    const kmath_vect3F *p, kmath_vect3F *r);

/**
 * r = X⁻¹(p).
 *
 * @param[in]  X  any
 * @param[in]  p  any
 * @param[out] r  may be p; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by getInverse
 * @see kmath_xform3Linear_getInverse
 */
KMATH_API kmath_status kmath_xform3Linear_invMapPoint(const kmath_xform3Linear *X,
                                                      const kmath_vect3 *p, kmath_vect3 *r);

/**
 * r = M·v, without the translation.
 *
 * @param[in]  X  any
 * @param[in]  v  any
 * @param[out] r  may be v
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_mapVector(const kmath_xform3Linear *X,
                                                    const kmath_vect3 *v, kmath_vect3 *r);

/**
 * r = M·v for a vector of floats.
 *
 * @param[in]  X  any
 * @param[in]  v  any
 * @param[out] r  may be v; infinite where a sum exceeds the floats
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_mapVectorF(const kmath_xform3Linear *X,
                                                     const kmath_vect3F *v, kmath_vect3F *r);

/**
 * r = M⁻¹·v.
 *
 * @param[in]  X  any
 * @param[in]  v  any
 * @param[out] r  may be v; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by getInverse
 * @see kmath_matrix3_getInverse
 */
KMATH_API kmath_status kmath_xform3Linear_invMapVector(const kmath_xform3Linear *X,
                                                       const kmath_vect3 *v, kmath_vect3 *r);

/**
 * r = M⁻¹·v for a vector of floats.
 *
 * @param[in]  X  any
 * @param[in]  v  any
 * @param[out] r  may be v; infinite where a sum exceeds the floats; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by getInverse
 * @see kmath_matrix3_getInverse
 */
KMATH_API kmath_status kmath_xform3Linear_invMapVectorF(const kmath_xform3Linear *X,
                                                        const kmath_vect3F *v, kmath_vect3F *r);

/**
 * r = (M⁻¹)ᵀ·n / |(M⁻¹)ᵀ·n|, the unit normal of the mapped surface.
 *
 * Planes keep their tangents under M, so normals go by the inverse transpose. n need not
 * have unit length. A reflection leaves the normal on the side that the surface maps to.
 *
 * @param[in]  X  any
 * @param[in]  n  any
 * @param[out] r  unit vector, or zeros where the squares of the mapped normal overflow; may
 *                be n; untouched on failure
 * @return KMATH_OK, KMATH_ERR_SINGULAR as by getInverse, or KMATH_ERR_ZERO_LENGTH when the
 *         mapped normal has length exactly 0, as also when its squares underflow
 * @see kmath_matrix3_getInverse, kmath_vect3_getUnit
 */
KMATH_API kmath_status kmath_xform3Linear_mapNormal_(const kmath_xform3Linear *X,
                                                     const kmath_vect3 *n, kmath_vect3 *r);

/**
 * r = (M⁻¹)ᵀ·n / |(M⁻¹)ᵀ·n| for a normal of floats.
 *
 * The length and its reciprocal are doubles too; only the components of r are rounded.
 *
 * @param[in]  X  any
 * @param[in]  n  any
 * @param[out] r  unit vector; may be n; untouched on failure
 * @return KMATH_OK, KMATH_ERR_SINGULAR or KMATH_ERR_ZERO_LENGTH as by mapNormal_
 * @see kmath_xform3Linear_mapNormal_
 */
KMATH_API kmath_status kmath_xform3Linear_mapNormalF_(const kmath_xform3Linear *X,
                                                      const kmath_vect3F *n, kmath_vect3F *r);

/**
 * mapped = volume·|det M|.
 *
 * @param[in]  X       any
 * @param[in]  volume  in cubed units of length
 * @param[out] mapped  of the same sign, under a reflection too
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_xform3Linear_mapVolume(const kmath_xform3Linear *X, double volume,
                                                    double *mapped);

/* Mapping arrays. */

/**
 * output(i) = M·input(i) + t for i = 0, …, count − 1.
 *
 * Every point gets the bits of mapPoint. Under an exact identity the points are copied as
 * they are, so that an infinite or NaN component does not spread to the others of its
 * point.
 *
 * The output may be the input. Arrays that overlap otherwise are mapped point after
 * point, in order, each read whole before it is written, so that what was written is read
 * again; under the identity they are copied as ksys_memory_copy copies them.
 *
 * @param[in]  X       any; must not lie in the output
 * @param[in]  count   of points
 * @param[in]  input   count points; not read for a count of 0
 * @param[out] output  count points; untouched on failure
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_COUNT before anything is read, or the status of the
 *         memory copy that serves the identity
 * @see kmath_xform3LinearMapPointsIdentity
 */
KMATH_API kmath_status kmath_xform3Linear_mapPoints(const kmath_xform3Linear *X, int64_t count,
                                                    const kmath_vect3 *input, kmath_vect3 *output);

/**
 * output(i) = M·input(i) + t for i = 0, …, count − 1, points of floats.
 *
 * As mapPoints, with the bits of mapPointF.
 *
 * @param[in]  X       any; must not lie in the output
 * @param[in]  count   of points
 * @param[in]  input   count points; not read for a count of 0
 * @param[out] output  count points; untouched on failure
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_COUNT before anything is read, or the status of the
 *         memory copy that serves the identity
 * @see kmath_xform3Linear_mapPoints
 */
KMATH_API kmath_status kmath_xform3Linear_mapPointsF(const kmath_xform3Linear *X, int64_t count,
                                                     const kmath_vect3F *input,
                                                     kmath_vect3F *output);

/**
 * output(i) = M·input(i) for i = 0, …, count − 1, without the translation.
 *
 * Every vector gets the bits of mapVector; the identity is no exception. The output may
 * be the input. Arrays that overlap otherwise are mapped vector after vector, in order,
 * each read whole before it is written.
 *
 * @param[in]  X       any; must not lie in the output
 * @param[in]  count   of vectors
 * @param[in]  input   count vectors; not read for a count of 0
 * @param[out] output  count vectors
 * @return KMATH_OK, or KMATH_ERR_NEGATIVE_COUNT before anything is read
 */
KMATH_API kmath_status kmath_xform3Linear_mapVectors(const kmath_xform3Linear *X, int64_t count,
                                                     const kmath_vect3 *input, kmath_vect3 *output);

/**
 * output(i) = M·input(i) for i = 0, …, count − 1, vectors of floats.
 *
 * As mapVectors, with the bits of mapVectorF.
 *
 * @param[in]  X       any; must not lie in the output
 * @param[in]  count   of vectors
 * @param[in]  input   count vectors; not read for a count of 0
 * @param[out] output  count vectors
 * @return KMATH_OK, or KMATH_ERR_NEGATIVE_COUNT before anything is read
 * @see kmath_xform3Linear_mapVectors
 */
KMATH_API kmath_status kmath_xform3Linear_mapVectorsF(const kmath_xform3Linear *X, int64_t count,
                                                      const kmath_vect3F *input,
                                                      kmath_vect3F *output);

/**
 * output(i) = input(i) for i = 0, …, count − 1, by ksys_memory_copy.
 *
 * Nothing is copied for a count of 0, or when both arrays are the same. Whether a null
 * array is reported is up to the memory copy.
 *
 * @param[in]  count   of points
 * @param[in]  input   count points
 * @param[out] output  count points; may overlap the input as far as the memory copy allows
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_COUNT, or the status of the memory copy
 * @see ksys_memory_copy
 */
KMATH_API kmath_status kmath_xform3LinearMapPointsIdentity(int64_t count, const kmath_vect3 *input,
                                                           kmath_vect3 *output);

/**
 * output(i) = input(i) for i = 0, …, count − 1, points of floats, by ksys_memory_copy.
 *
 * @param[in]  count   of points
 * @param[in]  input   count points
 * @param[out] output  count points; may overlap the input as far as the memory copy allows
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_COUNT, or the status of the memory copy
 * @see kmath_xform3LinearMapPointsIdentity
 */
KMATH_API kmath_status kmath_xform3LinearMapPointsIdentityF(int64_t count,
                                                            const kmath_vect3F *input,
                                                            kmath_vect3F *output);

#ifdef __cplusplus
}
#endif

#endif
