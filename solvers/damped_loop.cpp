// Damped Gauss–Newton steps on the sum of squared residuals, the damping added to the identity,
// falling by ten after a step that helps and rising after one that does not (Marquardt, SIAM J.
// Appl. Math. 11, 1963).
#include "solvers/damped_loop.hpp"

#include "platform/check.hpp"
#include "solvers/residuals.hpp"

#include <cmath>

namespace kmath
{

namespace
{

// Tries of one iteration where the caller sets no cap. Doubles span 632 decades, so by then any
// damping has run to where it stays, to infinity or to zero, and a repeated try gives what it gave
// before. Without this end a cost that is NaN wherever a step leads would be tried for ever.
constexpr int32_t triesWithoutCap = 1000;

kmath_status costAt(kmath_levmarqsolve &solver, const kmath_nmmatrix &params, double &cost)
{
    RETURN_IF_FAILED(evaluateResiduals(solver, params, solver.residuals));
    return kmath_nmmatrix_fnorm2(&solver.residuals, &cost);
}

} // namespace

kmath_status minimizeDamped(kmath_levmarqsolve &s, const DampedDriver &driver, double *finalCost)
{
    if (!hasSystem(s))
        return KMATH_ERR_BAD_DIMENSIONS;

    double lambda = s.lambda;
    const double costLimit = s.costTolerance * s.costTolerance;
    const double decreaseLimit = s.decreaseTolerance * s.decreaseTolerance;
    const int32_t maxIterations = s.maxIterations;
    const int32_t maxTries = s.maxTries > 0 ? s.maxTries : triesWithoutCap;
    const auto leaveWith = [&](double cost) {
        if (driver.keepsLambda)
            s.lambda = lambda;
        *finalCost = cost;
        return KMATH_OK;
    };

    double cost;
    RETURN_IF_FAILED(costAt(s, s.params, cost));
    for (int32_t iteration = 0; iteration < maxIterations && cost > costLimit; ++iteration) {
        if (!s.compJacobian)
            return KMATH_ERR_FAILED;
        RETURN_IF_FAILED(s.compJacobian(&s, &s.params, &s.residuals, &s.jacobian, &s.gradient,
                                        &s.normalMatrix, s.userData));

        RETURN_IF_FAILED(kmath_nmmatrix_assign(&s.trialParams, &s.params));
        double newCost;
        int32_t tries = 0;
        do {
            bool refused = false;
            RETURN_IF_FAILED(driver.findStep(s, lambda, refused));
            if (refused)
                return leaveWith(cost);
            RETURN_IF_FAILED(kmath_nmmatrix_submat(&s.trialParams, &s.step));
            RETURN_IF_FAILED(costAt(s, s.trialParams, newCost));

            // Deliberate: a NaN cost is no rejection. The next try goes on from where it was met.
            if (newCost > cost) {
                lambda *= driver.raise;
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

} // namespace kmath
