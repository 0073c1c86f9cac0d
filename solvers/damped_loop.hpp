// The loop that the damped least-squares drivers share, and the places where they differ.
#pragma once

#include <kmath/solvers.h>

namespace kmath
{

/// What makes a driver of its own.
struct DampedDriver {
    /// Fills the record's step with the solution of (normalMatrix + λI)·step = gradient and leaves
    /// normalMatrix undamped. With `refused` set there is no step and the minimization is over.
    kmath_status (*findStep)(kmath_levmarqsolve &solver, double lambda, bool &refused);
    /// What a rejected try multiplies λ by. Any other multiplies it by 0.1.
    double raise;
    /// Whether the record's lambda becomes the last λ when the minimization is over.
    bool keepsLambda;
};

/// Moves params to a local minimum of Σ r_k², as kmath_levmarqsolve_minimize describes it.
kmath_status minimizeDamped(kmath_levmarqsolve &solver, const DampedDriver &driver,
                            double *finalCost);

} // namespace kmath
