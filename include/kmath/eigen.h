/**
 * @file
 * Eigenvalues of small and dense matrices by direct methods.
 */
#ifndef KMATH_EIGEN_H
#define KMATH_EIGEN_H

#include <kmath/matrix3.h>
#include <kmath/nmmatrix.h>
#include <kmath/platform.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

KMATH_API kmath_status kmath_nmmatrix_symEigenvalues(const kmath_nmmatrix *A, kstd_vectord *values,
                                                     kmath_nmmatrix *vectors);
KMATH_API kmath_status kmath_nmmatrix_eigenvalues(const kmath_nmmatrix *A, int32_t balance,
                                                  kstd_vectord *realParts, kstd_vectord *imagParts);
KMATH_API kmath_status kmath_matrix3_symEigenvalues(const kmath_matrix3 *M, double values[3],
                                                    kmath_vect3 vectors[3]);

#ifdef __cplusplus
}
#endif

#endif
