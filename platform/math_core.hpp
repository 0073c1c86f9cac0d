// Angle helpers: safe arc cosine and normalisation.
#pragma once

#include <kmath/vectors.h>

namespace kmath
{

inline constexpr double pi = 3.141592653589793;
inline constexpr double twoPi = 6.283185307179586;

} // namespace kmath

/// The arc cosine of x after clamping it to [−1, 1]; in [0, π], NaN for NaN.
radian kmath_acosSafe(double x);

/// The angle brought into [0, 2π).
radian kmath_radian_norm(const radian *angle);
