/**
 * @file
 * The 3×3 matrix of doubles, mapping column vectors: r = M·v.
 *
 * The record is a plain value of nine doubles in row-major order that the caller
 * owns and may copy at will. Rows and columns count from 0. Nothing here
 * allocates, except that copying into a dense matrix resizes it. Sums run from
 * the first column or row to the last.
 *
 * An operation whose name begins with init or copy takes its result first; all
 * others take their results last. A result may be one of the operands. A null
 * record is a programming error, never a status: it is reported to kstd_assert_,
 * and the function carries on; initFromAxes, compareEqual and epsilonEqual check
 * nothing, and the rotations check their result alone. Unless a function names a
 * failure, it returns KMATH_OK for any numbers, NaN and infinities included.
 *
 * The rotations are right-handed: a positive angle turns +y towards +z about x,
 * +z towards +x about y, and +x towards +y about z.
 */
#ifndef KMATH_MATRIX3_H
#define KMATH_MATRIX3_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A 3×3 matrix, row-major. */
typedef struct kmath_matrix3 {
    double m00; /**< row 0, column 0 */
    double m01; /**< row 0, column 1 */
    double m02; /**< row 0, column 2 */
    double m10; /**< row 1, column 0 */
    double m11; /**< row 1, column 1 */
    double m12; /**< row 1, column 2 */
    double m20; /**< row 2, column 0 */
    double m21; /**< row 2, column 1 */
    double m22; /**< row 2, column 2 */
} kmath_matrix3;

/**
 * r from its elements in row-major order.
 *
 * @param[out] r    the matrix
 * @param[in]  m00  row 0, column 0
 * @param[in]  m01  row 0, column 1
 * @param[in]  m02  row 0, column 2
 * @param[in]  m10  row 1, column 0
 * @param[in]  m11  row 1, column 1
 * @param[in]  m12  row 1, column 2
 * @param[in]  m20  row 2, column 0
 * @param[in]  m21  row 2, column 1
 * @param[in]  m22  row 2, column 2
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_init(kmath_matrix3 *r, double m00, double m01, double m02,
                                          double m10, double m11, double m12, double m20,
                                          double m21, double m22);

/**
 * r = I.
 *
 * @param[out] r  identity
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initIdentity(kmath_matrix3 *r);

/**
 * r = I.
 *
 * @param[out] r  identity
 * @return KMATH_OK
 * @see kmath_matrix3_initIdentity
 */
KMATH_API kmath_status kmath_matrix3_setToIdentity(kmath_matrix3 *r);

/**
 * r = I, the default of the record.
 *
 * @param[out] r  identity
 * @return KMATH_OK
 * @see kmath_matrix3_initIdentity
 */
KMATH_API kmath_status kmath_matrix3_reset(kmath_matrix3 *r);

/**
 * r = 0.
 *
 * @param[out] r  every element 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initClear(kmath_matrix3 *r);

/**
 * r = (axis0 axis1 axis2), the axes as columns.
 *
 * @param[out] r      maps the unit vectors x, y and z to the axes; not checked for null
 * @param[in]  axis0  column 0; not checked for null
 * @param[in]  axis1  column 1; not checked for null
 * @param[in]  axis2  column 2; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initFromAxes(kmath_matrix3 *r, const kmath_vect3 *axis0,
                                                  const kmath_vect3 *axis1,
                                                  const kmath_vect3 *axis2);

/**
 * r = a·b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initMultiply(kmath_matrix3 *r, const kmath_matrix3 *a,
                                                  const kmath_matrix3 *b);

/**
 * r = a + b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initAdd(kmath_matrix3 *r, const kmath_matrix3 *a,
                                             const kmath_matrix3 *b);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initSubtract(kmath_matrix3 *r, const kmath_matrix3 *a,
                                                  const kmath_matrix3 *b);

/**
 * m = s·m.
 *
 * @param[in,out] m  scaled in place
 * @param[in]     s  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_scale(kmath_matrix3 *m, double s);

/**
 * r = mᵀ.
 *
 * @param[in]  m  any
 * @param[out] r  may be m
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_transpose(const kmath_matrix3 *m, kmath_matrix3 *r);

/**
 * r = m·v.
 *
 * @param[in]  m  any
 * @param[in]  v  any
 * @param[out] r  may be v
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_multv(const kmath_matrix3 *m, const kmath_vect3 *v,
                                           kmath_vect3 *r);

/**
 * r = m·v for a vector of floats.
 *
 * The sums are formed in double and rounded to floats.
 *
 * @param[in]  m  any
 * @param[in]  v  any
 * @param[out] r  may be v; infinite where a sum exceeds the floats
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_multvF(const kmath_matrix3 *m, const kmath_vect3F *v,
                                            kmath_vect3F *r);

/**
 * r = m·p.
 *
 * @param[in]  m  any
 * @param[in]  p  any
 * @param[out] r  may be p
 * @return KMATH_OK
 * @see kmath_matrix3_multv
 */
KMATH_API kmath_status kmath_matrix3_mapPoint(const kmath_matrix3 *m, const kmath_vect3 *p,
                                              kmath_vect3 *r);

/**
 * r = m⁻¹·p.
 *
 * @param[in]  m  any
 * @param[in]  p  any
 * @param[out] r  may be p
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by getInverse, with r untouched
 * @see kmath_matrix3_getInverse
 */
KMATH_API kmath_status kmath_matrix3_invMapPoint(const kmath_matrix3 *m, const kmath_vect3 *p,
                                                 kmath_vect3 *r);

/**
 * r = m⁻¹ = adj(m) / det(m).
 *
 * Refused as singular are a determinant within 1e-150 of 0, and any matrix whose inverse
 * would have an element above 1e15 in magnitude. The bounds are absolute: in other units
 * the same matrix may pass or fail. Nothing is scaled on the way: where products of the
 * elements overflow, m is refused or its inverse holds zeros or NaN.
 *
 * @param[in]  m  any; one with a NaN element passes and has NaN in its inverse
 * @param[out] r  may be m; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR
 */
KMATH_API kmath_status kmath_matrix3_getInverse(const kmath_matrix3 *m, kmath_matrix3 *r);

/**
 * r = m⁻¹.
 *
 * @param[out] r  may be m; untouched on failure
 * @param[in]  m  any
 * @return KMATH_OK, or KMATH_ERR_SINGULAR as by getInverse, with r untouched
 * @see kmath_matrix3_getInverse
 */
KMATH_API kmath_status kmath_matrix3_initInverse(kmath_matrix3 *r, const kmath_matrix3 *m);

/**
 * det = det(m), expanded along the first column.
 *
 * @param[in]  m    any
 * @param[out] det  the determinant
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_determinant(const kmath_matrix3 *m, double *det);

/**
 * identity = (m = I), exactly.
 *
 * @param[in]  m         any
 * @param[out] identity  1 when every element is that of the identity, without tolerance,
 *                       else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_getIsIdentity(const kmath_matrix3 *m, uint32_t *identity);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any; not checked for null
 * @param[in]  b      any; not checked for null
 * @param[out] equal  1 when all nine elements are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_compareEqual(const kmath_matrix3 *a, const kmath_matrix3 *b,
                                                  uint32_t *equal);

/**
 * equal = (|a(i, j) − b(i, j)| ≤ eps for all i, j).
 *
 * @param[in]  a      any; not checked for null
 * @param[in]  b      any; not checked for null
 * @param[in]  eps    in the unit of the elements; the bound itself counts as equal
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_epsilonEqual(const kmath_matrix3 *a, const kmath_matrix3 *b,
                                                  double eps, uint32_t *equal);

/**
 * The rotation by θ around the x axis: rows (1, 0, 0), (0, c, −s), (0, s, c).
 *
 * With c = cos θ and s = sin θ.
 *
 * @param[out] r      rotation matrix
 * @param[in]  angle  θ in radians, any finite; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initRotationAroundXAxis(kmath_matrix3 *r, const radian *angle);

/**
 * The rotation by θ around the y axis: rows (c, 0, s), (0, 1, 0), (−s, 0, c).
 *
 * With c = cos θ and s = sin θ.
 *
 * @param[out] r      rotation matrix
 * @param[in]  angle  θ in radians, any finite; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initRotationAroundYAxis(kmath_matrix3 *r, const radian *angle);

/**
 * The rotation by θ around the z axis: rows (c, −s, 0), (s, c, 0), (0, 0, 1).
 *
 * With c = cos θ and s = sin θ.
 *
 * @param[out] r      rotation matrix
 * @param[in]  angle  θ in radians, any finite; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix3_initRotationAroundZAxis(kmath_matrix3 *r, const radian *angle);

/**
 * r = m as a dense matrix.
 *
 * @param[out] r  3 × 3, resized
 * @param[in]  m  any
 * @return KMATH_OK, or the status of a failing resize, with nothing copied
 */
KMATH_API kmath_status kmath_matrix3_copy3toNM(kmath_nmmatrix *r, const kmath_matrix3 *m);

/**
 * r = the top left 3 × 3 block of a dense matrix.
 *
 * @param[out] r       untouched on failure
 * @param[in]  source  at least 3 × 3; its shape is tested before the pointers are
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS when the source has fewer than 3 rows or
 *         3 columns, or lost its storage to a failed allocation
 */
KMATH_API kmath_status kmath_matrix3_copyNM3x3to3(kmath_matrix3 *r, const kmath_nmmatrix *source);

#ifdef __cplusplus
}
#endif

#endif
