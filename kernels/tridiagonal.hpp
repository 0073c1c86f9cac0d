// The symmetric eigenproblem on plain arrays: Householder reduction to tridiagonal form and the
// implicit QL iteration. Eigenvectors are kept as rows, so that every loop runs along a row.
#pragma once

namespace kmath
{

/// Reduces the symmetric n × n matrix A, given by its lower triangle, to T = Qᵀ·A·Q, tridiagonal.
///
/// d receives the n diagonal elements of T, and e[1] … e[n−1] those beside it, T(i, i−1) in e[i];
/// e[0] = 0. A is overwritten: with `accumulate` by Qᵀ, whose rows are the columns of Q, else by
/// intermediate values. d and e have the same bits either way.
void tridiagonalise(double *const *A, int n, double *d, double *e, bool accumulate);

/// Eigenvalues of the symmetric tridiagonal matrix (d, e) as tridiagonalise leaves it.
///
/// d receives them in the order in which the iteration finds them; e is overwritten. Z, unless
/// null, is n × n and is multiplied from the left by the rotations: row i of Qᵀ becomes the unit
/// eigenvector of d[i]. d has the same bits either way.
/// An element beside the diagonal counts as zero when it is lost in the sum of its two neighbours
/// on the diagonal; for an eigenvalue that 30 sweeps do not find, when it is lost in the largest
/// one. False when 30 more do not find it either, as with a NaN; d and Z are then of no use.
bool implicitQL(double *d, double *e, int n, double *const *Z);

/// A = Aᵀ of order n: eigenvectors from rows to columns.
void transposeInPlace(double *const *A, int n);

} // namespace kmath
