/**
 * @file
 * Eigenvalues: all of them for small and dense matrices, by direct methods; the
 * largest few for large symmetric ones, dense or sparse, by iteration.
 *
 * Matrices are row-major, row and column indices count from 0. The caller owns
 * every record; outputs are constructed by the caller and resized here, and
 * hold no valid result after a failure. Eigenvalues come unsorted, and
 * eigenvectors of dense matrices as columns of unit length, unless a function says
 * otherwise. A kstd_vectord is constructed by kstd_vectord_construct and read
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
#include <kmath/snmmatrix.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** An eigenvalue and where its eigenvector stands; what eigenvalues are sorted as. */
typedef struct kmath_nmmatrix_eigValId {
    double eigVal; /**< the eigenvalue */
    int32_t id;    /**< number of its row or column, from 0 */
} kmath_nmmatrix_eigValId;

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

/*
 * The largest eigenvalues by iteration.
 *
 * The restarted Lanczos method: a basis of p vectors is built by products with the
 * matrix, each made orthogonal to all before; the projection onto it gives Ritz
 * pairs; the basis is compressed to the vectors that carry the leading ones and
 * built up again, pass after pass. Only the products touch the matrix. Besides it
 * p + 1 rows of n doubles are held, in the matrix that becomes the eigenvectors, and
 * about twice k + 2 more.
 *
 * Two pairs more than the k asked for are followed, kk = min(k + 2, n − 2), and the
 * iteration ends after at least two passes when
 * - all kk residuals ‖A·X − X·Θ‖ are at most tol, measured by products with the
 *   matrix and relative to its norm, in the ∞-norm for n × kk matrices;
 * - or they and the values have stood still from one pass to the next, to stagTol, and
 *   no value has moved on before while the residuals stood still;
 * - or maxIter passes are over.
 *
 * For k > n − 2 there is no room for that, and kmath_nmmatrix_symEigenvalues does the
 * work, with the same layout of the results.
 *
 * What to give:
 * - p: −1. More vectors need fewer products but each costs up to 8·p·n operations besides.
 * - tol: the error of an eigenvector is about its residual over the distance to the
 *   next eigenvalue, that of an eigenvalue at most the residual, and often near its
 *   square. 1e-6 will do for eigenvectors that are only looked at or clustered,
 *   and 0, for the default of 1e-10, for most else; below 1e-14 rounding is in the
 *   way.
 * - stagTol: 1e-10 or less, where the residuals are to be what tol says. The default,
 *   for 0, is coarse, though both the residual and the values must stand still at once.
 * - maxIter: −1. It counts passes, each of at most p products. Reaching it is no
 *   failure: the pairs then come as far as they have got, so where that matters look
 *   at the residuals.
 *
 * The start vector comes from the C library's rand, and so does each vector that
 * is needed where the basis cannot grow by products any more, as for the identity.
 * Results therefore depend on the state of that generator within the tolerance, and
 * the sign of each vector does at random; srand makes them repeatable. A call draws n
 * numbers, and n more for each such vector.
 *
 * With the largest element between 1e-250 and 1e280 in magnitude nothing that matters
 * overflows or underflows on the way.
 *
 * A multiple eigenvalue is found once for sure. Its copies appear by such new
 * vectors, or by rounding if the iteration is long enough. Where the basis cannot grow
 * by products the iteration therefore goes on until three passes in a row bring no
 * other value; of many copies it may still leave some out. The direct method finds all.
 */

/**
 * A·vᵢ = λᵢ·vᵢ for the k largest eigenvalues of a large symmetric matrix.
 *
 * Passes without the wanted accuracy go on up to maxIter, so a matrix of zeros, whose
 * residual has no relative size, takes that many.
 *
 * @param[in]  A             n × n, symmetric; all of it is read
 * @param[in]  k             number of pairs, 1 … n
 * @param[in]  p             size of the basis; below 0 for max(2·kk + 2, 20), or n if that is less.
 *                           Taken as kk + 2 if less, as n if more
 * @param[out] eigenVectors  k × n, row r is the unit eigenvector of eigenValues(0, r); not A
 * @param[out] eigenValues   1 × k, largest first; not A
 * @param[in]  tol           dimensionless, of the residuals; 1e-10 unless > 0
 * @param[in]  stagTol       dimensionless, of relative changes; 1e-6 unless > 0
 * @param[in]  maxIter       passes, of which two are always made; below 0 for max(300, 2·n/p)
 * @return KMATH_OK; before anything is written, KMATH_ERR_FAILED if A is not square, for k < 1 and
 *         for k > n, then KMATH_ERR_ALIASED if two of the three records are the same object;
 *         KMATH_ERR_FAILED when the generator gives no vector to start or go on with;
 *         KMATH_ERR_SINGULAR if the projection is not solved, as for a matrix with a NaN or an
 *         infinity; or the status of a failing allocation
 * @see kmath_snmmatrix_qeigS, kmath_nmmatrix_symEigenvalues; Lehoucq, Sorensen & Yang, ARPACK
 *      Users' Guide (1998), chapter 4; Wu & Simon, Thick-Restart Lanczos Method for Large
 *      Symmetric Eigenvalue Problems, SIAM J. Matrix Anal. Appl. 22 (2000)
 */
KMATH_API kmath_status kmath_nmmatrix_qeig(const kmath_nmmatrix *A, int32_t k, int32_t p,
                                           kmath_nmmatrix *eigenVectors,
                                           kmath_nmmatrix *eigenValues, double tol, double stagTol,
                                           int32_t maxIter);

/**
 * S·vᵢ = λᵢ·vᵢ for the k largest eigenvalues of a large sparse symmetric matrix.
 *
 * kmath_nmmatrix_qeig with products whose cost goes with the number of stored entries. The norm
 * that residuals are divided by is kmath_snmmatrix_oneRowNorm, the largest signed row sum: tol
 * means the same as for the dense matrix only where no entry is negative. Where no row sum is
 * positive, as for a graph Laplacian, the quotient is infinite and the iteration takes maxIter
 * passes unless it stagnates; the pairs are the better for it.
 *
 * Without negative entries both functions give the same bits from the same state of the generator.
 *
 * @param[in]  S             n × n, symmetric, all of it stored; no column outside
 * @param[in]  k             as for kmath_nmmatrix_qeig
 * @param[in]  p             as for kmath_nmmatrix_qeig
 * @param[out] eigenVectors  k × n, row r is the unit eigenvector of eigenValues(0, r)
 * @param[out] eigenValues   1 × k, largest first
 * @param[in]  tol           as for kmath_nmmatrix_qeig, relative to the signed norm
 * @param[in]  stagTol       as for kmath_nmmatrix_qeig
 * @param[in]  maxIter       as for kmath_nmmatrix_qeig
 * @return as kmath_nmmatrix_qeig
 */
KMATH_API kmath_status kmath_snmmatrix_qeigS(const kmath_snmmatrix *S, int32_t k, int32_t p,
                                             kmath_nmmatrix *eigenVectors,
                                             kmath_nmmatrix *eigenValues, double tol,
                                             double stagTol, int32_t maxIter);

#ifdef __cplusplus
}
#endif

#endif
