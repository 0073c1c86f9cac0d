// The comparison of two doubles with a tolerance.
#pragma once

#include <cmath>

/// True when |x − y| ≤ eps; false when any of them is not a number.
inline bool kmath_double_epsilonEqual(double x, double y, double eps)
{
    return std::fabs(x - y) <= eps;
}
