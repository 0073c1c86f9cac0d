// A few of the largest eigenvalues of a large symmetric operator: the Lanczos iteration with
// implicit restarts.
//
// The operator is any type A with
//
//   kmath_status multiplyT(const kmath_nmmatrix &X, kmath_nmmatrix &AX) const;  // AX = A·Xᵀ
//   kmath_status rowNorm(double &norm) const;  // what residuals are measured against
//
// Lehoucq, Sorensen & Yang, ARPACK Users' Guide, chapter 4; Wu & Simon, Thick-restart Lanczos
// method for large symmetric eigenvalue problems, SIAM J. Matrix Anal. Appl. 22 (2000).
#pragma once

#include <kmath/eigen.h>
#include <kmath/nmmatrix.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kmath
{

/// What a call asks for, with the defaults filled in.
struct LanczosPlan {
    std::int32_t n;       ///< order of the matrix
    std::int32_t k;       ///< pairs asked for
    std::int32_t wanted;  ///< Ritz pairs carried: two more than asked for, where there is room
    std::int32_t p;       ///< size of the basis
    std::int32_t extra;   ///< vectors that a restart can give up
    std::int32_t last;    ///< index of the last basis vector, wanted + extra
    double tol;           ///< of the residuals
    double stagTol;       ///< of the changes from one pass to the next
    std::int32_t maxIter; ///< passes after which the pairs are taken as they are
};

/// The plan for 1 ≤ k ≤ n − 2, where the iteration has room for the wanted pairs and something to
/// give up. A size of the basis that leaves no room becomes the smallest one that does, and one
/// beyond n becomes n.
LanczosPlan planLanczos(std::int32_t n, std::int32_t k, std::int32_t p, double tol, double stagTol,
                        std::int32_t maxIter);

/// The vectors that the next restart gives up when the leading `converged` pairs stand.
std::int32_t shiftsAfter(const LanczosPlan &plan, std::int32_t converged);

/// The Lanczos factorization A·Vᵀ = Vᵀ·H + r·eᵀ and what its projection H tells of A.
///
/// The basis is the rows 0 … j of V, and row j + 1 holds the residual r.
struct Lanczos {
    Lanczos(const LanczosPlan &lanczosPlan, kmath_nmmatrix &basis) : plan(lanczosPlan), V(basis) {}

    const LanczosPlan &plan;
    kmath_nmmatrix &V;       ///< (p + 1) × n
    kmath_nmmatrix H;        ///< p × p
    kmath_nmmatrix theta;    ///< 1 × p, Ritz values, largest first
    kmath_nmmatrix S;        ///< p × p, row i the eigenvector of H for theta(i)
    kmath_nmmatrix previous; ///< 1 × wanted, leading Ritz values of the last pass
    kmath_nmmatrix x, Ax;  ///< 1 × n, what goes into a product with A, and n × 1, what comes out
    kmath_nmmatrix X, AX;  ///< wanted × n, Ritz vectors, and n × wanted
    kmath_nmmatrix small;  ///< 3 × p, work space
    kmath_nmmatrix square; ///< p × p, work space
    kmath_nmmatrix strip;  ///< p × 64, work space
    double largestChange = 0.0;
    bool residualIsRounding = false; ///< nothing of it points out of the basis for sure
    bool brokeDown = false;          ///< a residual all but vanished: the basis spans what it can
    std::int32_t stillPasses = 0;    ///< in which, since then, no wanted value moved

    kmath_status allocate();

    /// A random unit vector in row 0.
    kmath_status start();
    /// Makes the residual in row j > 0 a basis vector, and enters its length into H.
    kmath_status acceptResidual(std::int32_t j);
    /// Makes the product with row j the residual, in row j + 1, and fills column j of H.
    void orthogonaliseProduct(std::int32_t j);

    void makeTridiagonal();
    /// Ritz values and eigenvectors of H.
    kmath_status diagonalise();
    /// Largest estimate |β·s| of a wanted residual. `converged` is the number of leading pairs up
    /// to the first estimate that is not below the tolerance.
    double residualEstimate(std::int32_t &converged) const;
    /// X = the leading Ritz vectors, as unit rows.
    kmath_status formRitzVectors(std::int32_t count);
    /// The one-row norm of A·X − X·diag(θ).
    double residualNorm() const;
    /// False while a random vector may yet bring up a copy of a multiple value: the basis broke
    /// down, and the wanted values have moved in one of the last passes.
    bool holdsAllCopies();
    /// Enters the changes of the wanted values since the last pass; true while the largest ever
    /// entered is below the tolerance.
    bool valuesStagnate();
    void rememberValues();

    /// Compresses the basis to the given number of rows, which span the leading Ritz vectors.
    void restart(std::int32_t kept);

  private:
    void projectOut(std::int32_t count, double *r, double *coefficients);
    kmath_status drawOrthogonal(std::int32_t j);
    kmath_status drawRow(double *row);
    void rotateBasis(const kmath_nmmatrix &rotation, std::int32_t kept);
};

/// Sorted by value, ascending.
void sortAscending(kmath_nmmatrix_eigValId *records, std::int32_t count);

/// Lengthens the factorization: rows `first` … last become basis vectors, each by one product.
template <class Operator>
kmath_status extend(const Operator &A, Lanczos &lanczos, std::int32_t first)
{
    for (std::int32_t j = first; j <= lanczos.plan.last; ++j) {
        RETURN_IF_FAILED(j == 0 ? lanczos.start() : lanczos.acceptResidual(j));
        std::copy_n(lanczos.V.rows[j], lanczos.plan.n, lanczos.x.rows[0]);
        RETURN_IF_FAILED(A.multiplyT(lanczos.x, lanczos.Ax));
        lanczos.orthogonaliseProduct(j);
    }
    return KMATH_OK;
}

/// The norm of the wanted residuals relative to that of A, by products with A.
template <class Operator>
kmath_status trueResidual(const Operator &A, double norm, Lanczos &lanczos, double &measure)
{
    RETURN_IF_FAILED(lanczos.formRitzVectors(lanczos.plan.wanted));
    RETURN_IF_FAILED(A.multiplyT(lanczos.X, lanczos.AX));
    // Deliberate: the norm may be 0, and the quotient then is no number that ends the iteration.
    measure = lanczos.residualNorm() / norm;
    return KMATH_OK;
}

/// Passes until the wanted pairs have converged, stagnate or have had their time.
template <class Operator> kmath_status iterate(const Operator &A, Lanczos &lanczos)
{
    const LanczosPlan &plan = lanczos.plan;
    double norm = 0.0;
    RETURN_IF_FAILED(A.rowNorm(norm));

    std::int32_t kept = 0;
    double measure = HUGE_VAL;
    for (std::int32_t pass = 1;; ++pass) {
        RETURN_IF_FAILED(extend(A, lanczos, kept));
        lanczos.makeTridiagonal();
        RETURN_IF_FAILED(lanczos.diagonalise());

        const double before = measure;
        std::int32_t standing = 0;
        measure = lanczos.residualEstimate(standing);
        if (measure <= plan.tol * std::max(1.0, lanczos.theta.rows[0][0]))
            RETURN_IF_FAILED(trueResidual(A, norm, lanczos, measure));
        const bool stagnated = std::fabs(measure - before) < plan.stagTol * std::fabs(measure) &&
                               lanczos.valuesStagnate();
        const bool converged = lanczos.holdsAllCopies() && measure <= plan.tol;
        if (pass >= 2 && (converged || pass >= plan.maxIter || stagnated))
            return KMATH_OK;

        lanczos.rememberValues();
        kept = plan.p - shiftsAfter(plan, standing);
        lanczos.restart(kept);
    }
}

/// The leading pairs by the iteration: vectors k × n, values 1 × k, largest first.
template <class Operator> kmath_status leadingEigenpairs(const Operator &A, const LanczosPlan &plan,
                                                         kmath_nmmatrix &vectors,
                                                         kmath_nmmatrix &values)
{
    Lanczos lanczos(plan, vectors);
    CleanupFrame frame(lanczos.H, lanczos.theta, lanczos.S, lanczos.previous, lanczos.x, lanczos.Ax,
                       lanczos.X, lanczos.AX, lanczos.small, lanczos.square, lanczos.strip);
    TRY(lanczos.allocate());
    TRY(iterate(A, lanczos));

    TRY(lanczos.formRitzVectors(plan.k));
    TRY(kmath_nmmatrix_assign(&vectors, &lanczos.X));
    TRY(kmath_nmmatrix_resize(&values, 1, plan.k));
    std::copy_n(lanczos.theta.rows[0], plan.k, values.rows[0]);
    return frame.leave(KMATH_OK);
}

} // namespace kmath
