/**
 * @file
 * The 3×3 matrix of doubles, mapping column vectors: r = M·v.
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
    double m00, m01, m02; /**< row 0 */
    double m10, m11, m12; /**< row 1 */
    double m20, m21, m22; /**< row 2 */
} kmath_matrix3;

KMATH_API kmath_status kmath_matrix3_init(kmath_matrix3 *r, double m00, double m01, double m02,
                                          double m10, double m11, double m12, double m20,
                                          double m21, double m22);
KMATH_API kmath_status kmath_matrix3_initIdentity(kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_setToIdentity(kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_reset(kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_initClear(kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_initFromAxes(kmath_matrix3 *r, const kmath_vect3 *axis0,
                                                  const kmath_vect3 *axis1,
                                                  const kmath_vect3 *axis2);
KMATH_API kmath_status kmath_matrix3_initMultiply(kmath_matrix3 *r, const kmath_matrix3 *a,
                                                  const kmath_matrix3 *b);
KMATH_API kmath_status kmath_matrix3_initAdd(kmath_matrix3 *r, const kmath_matrix3 *a,
                                             const kmath_matrix3 *b);
KMATH_API kmath_status kmath_matrix3_initSubtract(kmath_matrix3 *r, const kmath_matrix3 *a,
                                                  const kmath_matrix3 *b);
KMATH_API kmath_status kmath_matrix3_scale(kmath_matrix3 *m, double s);
KMATH_API kmath_status kmath_matrix3_transpose(const kmath_matrix3 *m, kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_multv(const kmath_matrix3 *m, const kmath_vect3 *v,
                                           kmath_vect3 *r);
KMATH_API kmath_status kmath_matrix3_multvF(const kmath_matrix3 *m, const kmath_vect3F *v,
                                            kmath_vect3F *r);
KMATH_API kmath_status kmath_matrix3_mapPoint(const kmath_matrix3 *m, const kmath_vect3 *p,
                                              kmath_vect3 *r);
KMATH_API kmath_status kmath_matrix3_invMapPoint(const kmath_matrix3 *m, const kmath_vect3 *p,
                                                 kmath_vect3 *r);
KMATH_API kmath_status kmath_matrix3_getInverse(const kmath_matrix3 *m, kmath_matrix3 *r);
KMATH_API kmath_status kmath_matrix3_initInverse(kmath_matrix3 *r, const kmath_matrix3 *m);
KMATH_API kmath_status kmath_matrix3_determinant(const kmath_matrix3 *m, double *det);
KMATH_API kmath_status kmath_matrix3_getIsIdentity(const kmath_matrix3 *m, uint32_t *identity);
KMATH_API kmath_status kmath_matrix3_compareEqual(const kmath_matrix3 *a, const kmath_matrix3 *b,
                                                  uint32_t *equal);
KMATH_API kmath_status kmath_matrix3_epsilonEqual(const kmath_matrix3 *a, const kmath_matrix3 *b,
                                                  double eps, uint32_t *equal);
KMATH_API kmath_status kmath_matrix3_initRotationAroundXAxis(kmath_matrix3 *r, const radian *angle);
KMATH_API kmath_status kmath_matrix3_initRotationAroundYAxis(kmath_matrix3 *r, const radian *angle);
KMATH_API kmath_status kmath_matrix3_initRotationAroundZAxis(kmath_matrix3 *r, const radian *angle);
KMATH_API kmath_status kmath_matrix3_copy3toNM(kmath_nmmatrix *r, const kmath_matrix3 *m);
KMATH_API kmath_status kmath_matrix3_copyNM3x3to3(kmath_matrix3 *r, const kmath_nmmatrix *source);

#ifdef __cplusplus
}
#endif

#endif
