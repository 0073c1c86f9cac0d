// The search direction of the Levenberg–Marquardt loop: (N + λI)·δ = g by a guarded LU solve, or,
// where that refuses, by the regularised pseudo-inverse.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

kmath_status solveByPseudoInverse(const kmath_nmmatrix &N, const kmath_nmmatrix &gradient,
                                  kmath_nmmatrix &step, double maxConditionNumber)
{
    kmath_nmmatrix g, delta;
    CleanupFrame frame(g, delta);

    TRY(kmath_nmmatrix_transpose(&gradient, &g));
    TRY(kmath_nmmatrix_pseudoSolve(&N, &g, &delta, maxConditionNumber));
    return frame.leave(kmath_nmmatrix_transpose(&delta, &step));
}

} // namespace

kmath_status kmath_levmarqsolve_compSearchDirLinSys(kmath_levmarqsolve *solver,
                                                    kmath_nmmatrix *normalMatrix,
                                                    const kmath_nmmatrix *gradient,
                                                    kmath_nmmatrix *step, double lambda, void *)
{
    KMATH_ASSERT_LINE(369, solver && normalMatrix && gradient && step);
    const double maxConditionNumber = solver->maxConditionNumber;

    RETURN_IF_FAILED(kmath_nmmatrix_adddiag(normalMatrix, lambda));

    constexpr int32_t bySymmetricEigenvalues = 1;
    double condition;
    const kmath_status solved = kmath_nmmatrix_solve(
        normalMatrix, gradient, step, bySymmetricEigenvalues, &condition, maxConditionNumber);
    // Deliberate: every failure of the solve takes the fallback, a refused allocation too; and
    // where the fallback fails, the caller gets its normal matrix back damped.
    if (KMATH_IS_FAILURE(solved))
        RETURN_IF_FAILED(solveByPseudoInverse(*normalMatrix, *gradient, *step, maxConditionNumber));

    return kmath_nmmatrix_adddiag(normalMatrix, -lambda);
}
