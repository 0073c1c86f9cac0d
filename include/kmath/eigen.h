/**
 * @file
 * Eigenvalues of small and dense matrices by direct methods.
 *
 * Matrices are row-major, row and column indices count from 0. The caller owns
 * every record; outputs are constructed by the caller and resized here, and
 * hold no valid result after a failure. Eigenvalues come unsorted unless a
 * function says otherwise, and eigenvectors of dense matrices are columns of
 * unit length. A kstd_vectord is constructed by kstd_vectord_construct and read
 * through kstd_vectord_getBegin and kstd_vectord_getSize (platform.h). The
 * functions take the matrix as it is: symmetry is the caller's promise and is not
 * tested. Outputs must be distinct objects; an output may be the input only where
 * that is said. A null record is an assertion, never a status.
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

/**
 * A·Z = Z·Λ: eigenvalues and eigenvectors of a symmetric matrix.
 *
 * Householder reduction to tridiagonal form, then the implicit QL iteration. A
 * diagonal matrix gives its elements in their order with unit vectors. Up to
 * n = 6 only the outputs take memory, and none when they have their sizes.
 *
 * For an eigenvalue that 30 iterations do not find, elements beside the diagonal
 * of the tridiagonal form count as zero from ε times its largest element
 * downwards, and 30 more are spent; this settles clusters of eigenvalues at the
 * level of rounding. Elements of A between 1e-300 and 1e300 in magnitude neither
 * overflow nor underflow on the way.
 *
 * @param[in]  A        n × n, symmetric; only its lower triangle is read
 * @param[out] values   the n eigenvalues, in the order in which they are found
 * @param[out] vectors  n × n, column i is the unit eigenvector of values[i]; may be A
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS if A is not square, KMATH_ERR_SINGULAR if an
 *         eigenvalue is not found, as in most matrices that are not finite, or the status of
 *         a failing allocation
 * @see Wilkinson & Reinsch, Handbook for Automatic Computation II, II/2 and II/4
 */
KMATH_API kmath_status kmath_nmmatrix_symEigenvalues(const kmath_nmmatrix *A, kstd_vectord *values,
                                                     kmath_nmmatrix *vectors);

/**
 * A·x = λ·x: the complex eigenvalues of a general real matrix.
 *
 * Elimination to upper Hessenberg form, then QR with double shifts. The matrix
 * is first divided by a power of two, so that its magnitude does not matter;
 * elements below about 1e-308 of the largest one are lost by that.
 * Balancing scales rows and columns by powers of two, A → D⁻¹·A·D, until their
 * norms are alike; it helps where elements of A differ widely in magnitude.
 *
 * For an eigenvalue that 30 iterations do not find, subdiagonal elements below
 * ε times the magnitude of A count as zero, and 30 more are spent.
 *
 * @param[in]  A          n × n, unchanged
 * @param[in]  balance    not 0: balance before the reduction
 * @param[out] realParts  the n real parts
 * @param[out] imagParts  the n imaginary parts; 0 for a real eigenvalue. Of a conjugate pair,
 *                        which stands side by side, the positive one comes first
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS if A is not square, KMATH_ERR_SINGULAR if A is not
 *         finite or an eigenvalue is not found, or the status of a failing allocation
 * @see Wilkinson & Reinsch, Handbook for Automatic Computation II, II/11, II/13 and II/14
 */
KMATH_API kmath_status kmath_nmmatrix_eigenvalues(const kmath_nmmatrix *A, int32_t balance,
                                                  kstd_vectord *realParts, kstd_vectord *imagParts);

/**
 * Eigenpairs M·v = λ·v of a symmetric 3×3 matrix, ordered by the magnitude of λ.
 *
 * The trigonometric solution of the characteristic cubic, with M first scaled and
 * shifted to the size of 1. The vectors are orthonormal and the residuals
 * |M·v − λ·v| within a few rounding errors of ‖M‖, for repeated and nearly repeated
 * eigenvalues too. A diagonal matrix gives its exact elements and the axis vectors.
 * Among equal magnitudes any order may come out, but for a diagonal matrix that of
 * the diagonal.
 *
 * @param[in]  M        symmetric; only the diagonal and the elements above it are read
 * @param[out] values   3 eigenvalues with their signs, |λ| ascending; all NaN for a matrix
 *                      that is not diagonal and has a NaN or infinite element
 * @param[out] vectors  3 unit vectors in the same order, of either sense; all (0, 0, 0)
 *                      where the eigenvalues are NaN for that reason
 * @return KMATH_OK
 * @see kmath_nmmatrix_symEigenvalues; Smith, Eigenvalues of a symmetric 3 × 3 matrix,
 *      CACM 4 (1961); Eberly, A Robust Eigensolver for 3 × 3 Symmetric Matrices (2014)
 */
KMATH_API kmath_status kmath_matrix3_symEigenvalues(const kmath_matrix3 *M, double values[3],
                                                    kmath_vect3 vectors[3]);

#ifdef __cplusplus
}
#endif

#endif
