// The affinity graph of planar features, as a list of matrix elements, and its normalisation.
#pragma once

#include <kmath/snmmatrix.h>
#include <kmath/status.h>

#include "platform/math_core.hpp"

#include <cmath>
#include <cstdint>
#include <limits>

namespace kmath
{

/// Parallel arrays indexed by point.
struct Features {
    std::int32_t numPoints;
    const std::int32_t *nodeIndex; ///< negative: the point takes no part
    const double *positions;       ///< x, y of each point
    const double *angles;          ///< degrees
    const std::uint8_t *greyValues;
};

/// How fast affinity decays; 0 or NaN switches a term off.
struct AffinityScales {
    double dist;
    double angle; ///< degrees
    double grey;
    bool clampAngle; ///< count angles above the scale as the scale
};

using Triplets = kxVector<kmath_snmmatrix_element>;

/// The order N of the affinity matrix.
std::int32_t countNodes(const Features &features);

/// The weights of all pairs of points, each pair visited once, as elements of W: (a, b) and, beside
/// the diagonal, (b, a). Adds the weights at each node to the N sums of `degree`.
kmath_status affinityGraph(const Features &features, const AffinityScales &scales, double *degree,
                           Triplets &W);

/// M = D^(−1/2)·W·D^(−1/2) − I in place, element by element; invSqrtDegree receives the N diagonal
/// elements of D^(−1/2).
void normaliseGraph(Triplets &W, const double *degree, std::int32_t N, double *invSqrtDegree);

/// What repeated subtraction of 360 makes of d, down to where every difference is exact.
///
/// From 2^(digits + 3) upwards the last place U of d is 16 or more, 360 is no multiple of it, and
/// differences are rounded. Write d = n·U. As long as the difference stays in the binade of d,
/// 360/U is rounded to the same integer for every n, but for U = 16: there 22.5 is a tie, which
/// makes the new n even, and from an even n it is 22 each time. So after a first subtraction all
/// others in the binade take the same step, and are taken at once; the crossing into the next
/// binade is again a subtraction like the first. At U = 1024 the step is 0: d stays what it is, as
/// it does when it is infinite.
template <class Real> Real descendByTurns(Real d)
{
    const Real exactBelow = std::scalbn(Real(8), std::numeric_limits<Real>::digits);
    while (d >= exactBelow && d - 360 < d) {
        d -= 360;
        const auto whole = static_cast<std::int64_t>(d); // d ≤ 2^62
        const auto bottom = static_cast<std::int64_t>(std::scalbn(Real(1), std::ilogb(d)));
        const auto step = static_cast<std::int64_t>(d - (d - 360));
        if (whole - 360 >= bottom)
            d = static_cast<Real>(whole - (whole - 360 - bottom) / step * step);
    }
    return d;
}

/// The angle between two orientations, 0 … 180 degrees, from their difference d: the bits of
///
///     while (d >= 180) d -= 360;   while (d < -180) d += 360;   d = fabs(d);
///
/// wherever these loops end, in bounded time; NaN for a difference that is not finite. A finite one
/// too large for the loops, above 2^(digits + 9), is reduced exactly.
///
/// Rounding is symmetric, and the loops differ for d and −d only in that they end at −180 and at
/// 180, whose magnitudes agree; so |d| will do. Below 2^(digits + 3) the last place of d is at most
/// 8, 360 = 45·8 is a multiple of it, and a difference of two of its multiples that is no larger in
/// magnitude than d is a double; from 180 to 720 it is one too, as the terms are within a factor of
/// 2 of each other. All subtractions are then exact, and the loops end at d − 360·k in [−180, 180):
/// at the remainder of the division, which fmod gives exactly, or at 360 less.
template <class Real> Real angularDistance(Real difference)
{
    const Real d = std::fabs(difference);
    if (d <= 180)
        return d;
    const Real remainder = std::fmod(descendByTurns(d), Real(360));
    return remainder <= 180 ? remainder : 360 - remainder;
}

} // namespace kmath
