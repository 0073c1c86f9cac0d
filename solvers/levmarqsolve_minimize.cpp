// The Levenberg–Marquardt driver: steps from the record's search direction.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "solvers/damped_loop.hpp"

using namespace kmath;

namespace
{

kmath_status askSearchDirection(kmath_levmarqsolve &s, double lambda, bool &)
{
    if (!s.compSearchDir)
        return KMATH_ERR_FAILED;
    return s.compSearchDir(&s, &s.normalMatrix, &s.gradient, &s.step, lambda, s.userData);
}

} // namespace

kmath_status kmath_levmarqsolve_minimize(kmath_levmarqsolve *solver, double *finalCost)
{
    KMATH_ASSERT_LINE(439, solver && finalCost);
    return minimizeDamped(
        *solver, {.findStep = askSearchDirection, .raise = 10.0, .keepsLambda = true}, finalCost);
}
