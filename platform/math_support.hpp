// Small functions of doubles that several folders share.
#pragma once

#include <cmath>

/// True when |x − y| ≤ eps; false when any of them is not a number.
inline bool kmath_double_epsilonEqual(double x, double y, double eps)
{
    return std::fabs(x - y) <= eps;
}

namespace kmath
{

/// The magnitude, negated where x is not at least 0.
inline double withSignOf(double magnitude, double x) { return x >= 0.0 ? magnitude : -magnitude; }

} // namespace kmath
