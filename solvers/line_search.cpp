// Line search without derivatives: a bracket grown by the golden ratio with parabolic
// extrapolation, narrowed by Brent's method of golden and parabolic steps (Brent, Algorithms for
// Minimization without Derivatives, 1973, chapter 5; Press et al., Numerical Recipes, §10.1-10.2).
//
// The comparisons are written in the sense that decides what a NaN does: it satisfies none.
#include "solvers/line_search.hpp"

#include "platform/check.hpp"
#include "platform/math_support.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kmath
{

namespace
{

constexpr double goldenRatio = 1.618034;
constexpr double farthest = 100.0; // times the last step: how far a parabola may lead
constexpr double tiny = 1e-20;     // keeps the parabola's denominator from zero
constexpr int mostBrentSteps = 100;

// Golden steps run through the range of a double in 1500, and a function of the place alone stops
// falling there. Without this end one that falls from call to call would be followed for ever,
// through infinity and NaN.
constexpr int mostBracketSteps = 10000;

// The place beyond c, seen from b, in the golden ratio.
double beyond(const Sample &b, const Sample &c) { return c.x + goldenRatio * (c.x - b.x); }

// Where the parabola through three samples has its extremum.
double parabolaExtremum(const Bracket &bracket)
{
    const auto &[a, b, c] = bracket;
    const double r = (b.x - a.x) * (b.f - c.f);
    const double q = (b.x - c.x) * (b.f - a.f);
    const double s = withSignOf(std::max(std::fabs(q - r), tiny), q - r);
    return b.x - ((b.x - c.x) * q - (b.x - a.x) * r) / (2.0 * s);
}

// The state of Brent's method: a minimum lies in [a, b], x is the lowest place so far, w the second
// lowest, v the former w.
struct Narrowing {
    double a, b;
    Sample x, w, v;
    double d = 0.0; // the step
    double e = 0.0; // the step before the last

    double middle() const { return (a + b) / 2.0; }

    void goldenStep(double fraction)
    {
        e = x.x >= middle() ? a - x.x : b - x.x;
        d = fraction * e;
    }

    // A step to the extremum of the parabola through x, v and w. False where it is refused: it
    // must be shorter than half the step before the last, and end inside the interval.
    bool parabolicStep(double tol1, double tol2)
    {
        const double r = (x.x - w.x) * (x.f - v.f);
        double q = (x.x - v.x) * (x.f - w.f);
        double p = (x.x - v.x) * q - (x.x - w.x) * r;
        q = 2.0 * (q - r);
        if (q > 0.0)
            p = -p;
        q = std::fabs(q);

        const double beforeLast = std::exchange(e, d);
        if (std::fabs(p) >= std::fabs(q * beforeLast / 2.0) || p <= q * (a - x.x) ||
            p >= q * (b - x.x))
            return false;

        d = p / q;
        const double u = x.x + d;
        if (u - a < tol2 || b - u < tol2)
            d = withSignOf(std::fabs(tol1), middle() - x.x);
        return true;
    }

    void take(const Sample &u)
    {
        if (u.f <= x.f) {
            (u.x >= x.x ? a : b) = x.x;
            v = w, w = x, x = u;
            return;
        }
        (u.x < x.x ? a : b) = u.x;
        if (u.f <= w.f || w.x == x.x)
            v = w, w = u;
        else if (u.f <= v.f || v.x == x.x || v.x == w.x)
            v = u;
    }
};

} // namespace

kmath_status bracketMinimum(const LineFunction &f, Bracket &bracket)
{
    auto &[a, b, c] = bracket;
    RETURN_IF_FAILED(f.at(0.0, a));
    RETURN_IF_FAILED(f.at(1.0, b));
    if (b.f > a.f)
        std::swap(a, b);
    RETURN_IF_FAILED(f.at(beyond(a, b), c));

    for (int step = 0; b.f > c.f; ++step) {
        if (step == mostBracketSteps)
            return KMATH_ERR_BAD_DIMENSIONS;

        const double x = parabolaExtremum(bracket);
        const double limit = b.x + farthest * (c.x - b.x);
        Sample u;
        if ((b.x - x) * (x - c.x) > 0.0) { // between b and c: u may complete the bracket
            RETURN_IF_FAILED(f.at(x, u));
            if (u.f < c.f) {
                bracket = {b, u, c};
                return KMATH_OK;
            }
            if (u.f > b.f) {
                bracket = {a, b, u};
                return KMATH_OK;
            }
            RETURN_IF_FAILED(f.at(beyond(b, c), u));
        } else if ((c.x - x) * (x - limit) > 0.0) { // between c and the limit
            RETURN_IF_FAILED(f.at(x, u));
            if (u.f < c.f) {
                b = c, c = u;
                RETURN_IF_FAILED(f.at(beyond(b, c), u));
            }
        } else if ((x - limit) * (limit - c.x) >= 0.0) { // at the limit or beyond
            RETURN_IF_FAILED(f.at(limit, u));
        } else { // uphill of b, or nowhere
            RETURN_IF_FAILED(f.at(beyond(b, c), u));
        }
        bracket = {b, c, u};
    }
    return KMATH_OK;
}

kmath_status minimizeInBracket(const LineFunction &f, const Bracket &bracket,
                               const BrentTuning &tuning, double &xmin, double &fmin)
{
    Sample u;
    RETURN_IF_FAILED(f.at(bracket.b.x, u));
    Narrowing state{.a = std::min(bracket.a.x, bracket.c.x),
                    .b = std::max(bracket.a.x, bracket.c.x),
                    .x = u,
                    .w = u,
                    .v = u};

    kmath_status status = KMATH_ERR_BAD_DIMENSIONS;
    for (int step = 0; step < mostBrentSteps; ++step) {
        const double tol1 = tuning.ftol * std::fabs(state.x.x) + tuning.zeps;
        const double tol2 = 2.0 * tol1;
        if (std::fabs(state.x.x - state.middle()) <= tol2 - (state.b - state.a) / 2.0) {
            status = KMATH_OK;
            break;
        }
        if (!(std::fabs(state.e) > tol1 && state.parabolicStep(tol1, tol2)))
            state.goldenStep(tuning.goldenSection);

        const bool longEnough = std::fabs(state.d) >= tol1;
        RETURN_IF_FAILED(
            f.at(state.x.x + (longEnough ? state.d : withSignOf(std::fabs(tol1), state.d)), u));
        state.take(u);
    }
    // Deliberate: without convergence, too, the best place is written.
    xmin = state.x.x;
    fmin = state.x.f;
    return status;
}

} // namespace kmath
