// The second damped driver: steps from the normal equations alone, over at the first that the
// solve refuses.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "solvers/damped_loop.hpp"

using namespace kmath;

namespace
{

kmath_status solveNormalEquations(kmath_levmarqsolve &s, double lambda, bool &refused)
{
    RETURN_IF_FAILED(kmath_nmmatrix_adddiag(&s.normalMatrix, lambda));

    // Deliberate: every failure of the solve is a refusal, a failing allocation too. There is no
    // fallback, and the minimization ends as if it had converged.
    constexpr int32_t bySymmetricEigenvalues = 1;
    double condition;
    refused = KMATH_IS_FAILURE(kmath_nmmatrix_solve(&s.normalMatrix, &s.gradient, &s.step,
                                                    bySymmetricEigenvalues, &condition,
                                                    s.maxConditionNumber));

    return kmath_nmmatrix_adddiag(&s.normalMatrix, -lambda);
}

} // namespace

kmath_status kmath_linsolve_minimize(kmath_levmarqsolve *solver, double *finalCost)
{
    KMATH_ASSERT_LINE(994, solver && finalCost);
    // Deliberate: λ rises by 12, not 10, and the record keeps the one it came with.
    return minimizeDamped(*solver,
                          {.findStep = solveNormalEquations, .raise = 12.0, .keepsLambda = false},
                          finalCost);
}
