// Angle helpers: safe arc cosine and normalisation.
#include "platform/math_core.hpp"

#include <cmath>

using namespace kmath;

radian kmath_acosSafe(double x) { return {std::acos(x < -1.0 ? -1.0 : x > 1.0 ? 1.0 : x)}; }

radian kmath_radian_norm(const radian *angle)
{
    const double remainder = std::fmod(angle->value, twoPi);
    const double norm = remainder < 0.0 ? remainder + twoPi : remainder;
    // A tiny negative remainder rounds up to 2π itself, which belongs to the next turn.
    return {norm < twoPi ? norm : norm - twoPi};
}
