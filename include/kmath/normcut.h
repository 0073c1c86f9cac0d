/**
 * @file
 * Spectral clustering: the embedding of planar features by normalized cut.
 *
 * Features come as parallel arrays indexed by point, which belong to the caller and
 * are only read. Points, nodes, rows and columns count from 0. The two results are
 * constructed by the caller, resized here, and destructed by the caller; they must
 * be distinct objects. Nothing else outlives a call, and calls that share no result
 * may run side by side. A null pointer is an assertion, never a status.
 */
#ifndef KMATH_NORMCUT_H
#define KMATH_NORMCUT_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * M·v = λ·v for the largest eigenvalues of M = D^(−1/2)·W·D^(−1/2) − I: the embedding of features
 * by normalized cut.
 *
 * W is the affinity of the features: points j and i of the nodes a and b enter the
 * elements (a, b) and (b, a) with the weight
 *
 *     w = exp(−dist/sigmaDist) · exp(−dAng/sigmaAngle) · exp(−dGrey/sigmaGrey)
 *
 * of their distance, the angle between their orientations, 0 … 180 degrees, and the
 * difference of their grey values. Each point is paired with itself too, w = 1.
 * D is diagonal, the sum of the weights at each node; −M is the normalised Laplacian.
 * With one point a node the eigenvalues lie in −2 … 0, the largest is 0, and the rows
 * of eigenVectors are the coordinates in which features of one object lie close
 * together. Of a connected graph the first row goes with the square roots of the
 * degrees and separates nothing; two objects are told apart by the sign of the second.
 * Cutting the coordinates into clusters is left to the caller.
 *
 * The number of nodes N is that of the entries of nodeIndex other than −1. A point
 * with a negative node takes no part; −2 thus makes room for a node that no point
 * takes. Such a node has a row of zeros in M, and an eigenvalue 0 of its own.
 *
 * A scale that is 0 or NaN switches its factor off: it is 1 for all pairs. A weight
 * of at most 1e-15 is left out of M but counts in D. Where several pairs of points
 * meet in the same element, the one visited last stands (i upwards, and for each i
 * the j ≤ i upwards), while D counts them all.
 *
 * Up to N = 250 all eigenpairs are found by a direct method. Above, numEigen pairs
 * come from kmath_nmmatrix_qeig with the tolerances 1e-6 and 1e-10 and at most 300
 * passes; it draws numbers from the C library's rand, which the direct method does not.
 *
 * Time goes with the square of the number of points, with two calls of exp for each
 * pair; and for N ≤ 250 with N³. Memory: 16 bytes for each stored element, room for
 * up to half as many more while the list grows, and 8·N² bytes for M, twice that for
 * N ≤ 250. The list is given back before the iteration, whose basis then is all that is
 * added to M.
 *
 * The difference of two orientations is what subtracting or adding 360 turn by turn
 * makes of it, with the rounding that this has from 2^56 degrees on; above 2^62, where a
 * turn no longer changes a double, it is reduced exactly.
 *
 * An orientation that is not finite makes an angle of NaN with any other, and an
 * infinite position is at a distance of NaN from itself. NaN weights are left out of M
 * and make the degrees of their nodes NaN, and with them the elements of M where other
 * pairs have left a weight; that ends in KMATH_ERR_SINGULAR.
 *
 * @param[in]  nodeIndex     numPoints nodes, each below N; a negative one leaves its point out.
 *                           Several points may share a node
 * @param[in]  numPoints     number of points, > 0
 * @param[in]  positions     x and y of each point, in any unit
 * @param[in]  angles        orientation of each point, degrees, any range
 * @param[in]  greyValues    grey value of each point, 0 … 255
 * @param[in]  sigmaDist     in the unit of positions
 * @param[in]  sigmaAngle    degrees
 * @param[in]  sigmaGrey     in grey values
 * @param[in]  numEigen      number of eigenpairs, 1 … N
 * @param[in]  clampAngle    not 0: angles above sigmaAngle count as sigmaAngle, so that the factor
 *                           stays at or above exp(−1) for a positive sigmaAngle
 * @param[out] eigenVectors  numEigen × N, row r is the unit eigenvector of eigenValues(0, r); its
 *                           element c belongs to node c
 * @param[out] eigenValues   1 × numEigen, largest first
 * @return KMATH_OK; before anything is written, KMATH_ERR_FAILED for numEigen < 1 or > N, thus
 *         whenever numPoints ≤ 0, then KMATH_ERR_BAD_DIMENSIONS for a node of N or more, then
 *         KMATH_ERR_ALIASED if the two results are the same object;
 *         KMATH_ERR_SINGULAR if the eigenvalues are not found, as for a NaN in M; a failure of
 *         kmath_nmmatrix_qeig; or the status of a failing allocation
 * @see kmath_nmmatrix_qeig, kmath_nmmatrix_symEigenvalues; Shi & Malik, Normalized Cuts and Image
 *      Segmentation, IEEE Trans. PAMI 22 (2000)
 */
KMATH_API kmath_status kf_normCut(const int32_t *nodeIndex, int32_t numPoints,
                                  const double *positions, const double *angles,
                                  const uint8_t *greyValues, double sigmaDist, double sigmaAngle,
                                  double sigmaGrey, int32_t numEigen, int32_t clampAngle,
                                  kmath_nmmatrix *eigenVectors, kmath_nmmatrix *eigenValues);

#ifdef __cplusplus
}
#endif

#endif
