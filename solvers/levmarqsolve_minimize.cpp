// The Levenberg–Marquardt loop: damped Gauss–Newton steps on the sum of squared residuals, the
// damping added to the identity, falling by ten after a step that helps and rising by ten after one
// that does not (Marquardt, SIAM J. Appl. Math. 11, 1963).
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "solvers/residuals.hpp"

#include <cmath>

using namespace kmath;

namespace
{

// Tries of one iteration where the caller sets no cap. Doubles span 632 decades, so by then any
// damping has run to where it stays, to infinity or to zero, and a repeated try gives what it gave
// before. Without this end a cost that is NaN wherever a step leads would be tried for ever.
constexpr int32_t triesWithoutCap = 1000;

// False after a setting call that ran out of memory: some matrix then has no storage, and those
// that would have been sized after it may be smaller than the callbacks take them to be. Jacobian,
// gradient, normal matrix and step are otherwise the strategy functions' own affair.
bool isSized(const kmath_levmarqsolve &s)
{
    return hasShape(s.params, 1, s.nParams) && hasShape(s.residuals, 1, s.nResiduals) &&
           (s.jacobian.rows || !s.allocJacobian) && s.normalMatrix.rows && s.gradient.rows &&
           s.step.rows;
}

kmath_status costAt(kmath_levmarqsolve &solver, const kmath_nmmatrix &params, double &cost)
{
    RETURN_IF_FAILED(evaluateResiduals(solver, params, solver.residuals));
    return kmath_nmmatrix_fnorm2(&solver.residuals, &cost);
}

} // namespace

kmath_status kmath_levmarqsolve_minimize(kmath_levmarqsolve *solver, double *finalCost)
{
    KMATH_ASSERT_LINE(439, solver && finalCost);
    kmath_levmarqsolve &s = *solver;
    if (s.nResiduals < 1 || s.nParams < 1 || !isSized(s))
        return KMATH_ERR_BAD_DIMENSIONS;

    double lambda = s.lambda;
    const double costLimit = s.costTolerance * s.costTolerance;
    const double decreaseLimit = s.decreaseTolerance * s.decreaseTolerance;
    const int32_t maxIterations = s.maxIterations;
    const int32_t maxTries = s.maxTries > 0 ? s.maxTries : triesWithoutCap;
    const auto leaveWith = [&](double cost) {
        s.lambda = lambda;
        *finalCost = cost;
        return KMATH_OK;
    };

    double cost;
    RETURN_IF_FAILED(costAt(s, s.params, cost));
    for (int32_t iteration = 0; iteration < maxIterations && cost > costLimit; ++iteration) {
        if (!s.compJacobian || !s.compSearchDir)
            return KMATH_ERR_FAILED;
        RETURN_IF_FAILED(s.compJacobian(&s, &s.params, &s.residuals, &s.jacobian, &s.gradient,
                                        &s.normalMatrix, s.userData));

        RETURN_IF_FAILED(kmath_nmmatrix_assign(&s.trialParams, &s.params));
        double newCost;
        int32_t tries = 0;
        do {
            RETURN_IF_FAILED(
                s.compSearchDir(&s, &s.normalMatrix, &s.gradient, &s.step, lambda, s.userData));
            RETURN_IF_FAILED(kmath_nmmatrix_submat(&s.trialParams, &s.step));
            RETURN_IF_FAILED(costAt(s, s.trialParams, newCost));

            // Deliberate: a NaN cost is no rejection. The next try goes on from where it was met.
            if (newCost > cost) {
                lambda *= 10.0;
                RETURN_IF_FAILED(kmath_nmmatrix_assign(&s.trialParams, &s.params));
            } else {
                lambda *= 0.1;
            }

            // Deliberate: the cap comes before the acceptance. The try that reaches it is dropped
            // even if it succeeded, and its cost is reported even if it was rejected.
            if (++tries == maxTries)
                return leaveWith(newCost);
        } while (!(newCost <= cost));

        RETURN_IF_FAILED(kmath_nmmatrix_assign(&s.params, &s.trialParams));
        const double decrease = cost - newCost;
        cost = newCost;
        if (std::fabs(decrease) < decreaseLimit)
            break;
    }
    return leaveWith(cost);
}
