// Minimizing a function of one variable: first a bracket, then Brent's method within it.
#pragma once

#include <kmath/status.h>

namespace kmath
{

/// A place on the line, and the value there.
struct Sample {
    double x;
    double f;
};

/// Three places in order along the line, the way from a to b leading downhill. It encloses a
/// minimum once b is no higher than c.
struct Bracket {
    Sample a;
    Sample b;
    Sample c;
};

/// A function of one variable whose evaluation may fail.
struct LineFunction {
    kmath_status (*evaluate)(const void *context, double x, double &value);
    const void *context;

    kmath_status at(double x, Sample &sample) const
    {
        sample = {x, 0.0};
        return evaluate(context, x, sample.f);
    }
};

/// What Brent's method is tuned by.
struct BrentTuning {
    double ftol;          ///< relative tolerance of the place
    double zeps;          ///< absolute tolerance, added to it
    double goldenSection; ///< fraction of the larger part that a golden step takes
};

/// Brackets a minimum, searching downhill from 0 and 1. KMATH_ERR_BAD_DIMENSIONS when the function
/// still falls after 10000 steps.
kmath_status bracketMinimum(const LineFunction &f, Bracket &bracket);

/// Narrows a bracket down to the minimum. KMATH_ERR_BAD_DIMENSIONS after 100 iterations that did
/// not meet the tolerance; xmin and fmin are then the best found. A failing evaluation leaves them
/// unwritten.
kmath_status minimizeInBracket(const LineFunction &f, const Bracket &bracket,
                               const BrentTuning &tuning, double &xmin, double &fmin);

} // namespace kmath
