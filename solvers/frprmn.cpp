// Nonlinear conjugate gradients with exact line searches (Polak & Ribière, Rev. Fr. Inform. Rech.
// Opér. 16, 1969; Press et al., Numerical Recipes, §10.6). Elements are counted from 1.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "solvers/line_search.hpp"

#include <cmath>
#include <cstdint>
#include <utility>

using namespace kmath;

namespace
{

constexpr kmath_nvector kmath_frprmn::*vectors[] = {
    &kmath_frprmn::p,  &kmath_frprmn::g,    &kmath_frprmn::h,
    &kmath_frprmn::xi, &kmath_frprmn::pcom, &kmath_frprmn::xicom,
};

bool holdsElements(const kmath_nvector &vector, int32_t n)
{
    return vector.n >= n && (vector.data || vector.n == 0);
}

// False after a setting call that failed or was given a start shorter than n.
bool isSized(const kmath_frprmn &solver)
{
    for (const auto vector : vectors)
        if (!holdsElements(solver.*vector, solver.n))
            return false;
    return solver.n >= 0;
}

// xi = ∇f(p).
kmath_status takeGradient(kmath_frprmn &s)
{
    RETURN_IF_FAILED(s.dfunc(&s.p, &s.xi, s.userData));
    return holdsElements(s.xi, s.n) ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS;
}

// The first direction is the steepest descent: g = h = xi = −∇f.
void startDescent(kmath_frprmn &s)
{
    for (std::int64_t j = 1; j <= s.n; ++j) {
        s.g.data[j] = -s.xi.data[j];
        s.xi.data[j] = s.h.data[j] = s.g.data[j];
    }
}

// The next one: g = −∇f, h = xi = g + γ·h.
void turnDirection(kmath_frprmn &s, double gamma)
{
    for (std::int64_t j = 1; j <= s.n; ++j) {
        s.g.data[j] = -s.xi.data[j];
        s.xi.data[j] = s.h.data[j] = s.g.data[j] + gamma * s.h.data[j];
    }
}

// f(pcom + x·xicom), at a point that lives for this evaluation.
kmath_status valueOnLine(const void *solver, double x, double &value)
{
    const kmath_frprmn &s = *static_cast<const kmath_frprmn *>(solver);
    kmath_nvector point;
    CleanupFrame frame(point);
    TRY(kmath_nvector_resize(&point, s.n));
    for (std::int64_t j = 1; j <= s.n; ++j)
        point.data[j] = s.pcom.data[j] + x * s.xicom.data[j];
    return frame.leave(s.func(&point, &value, s.userData));
}

// Moves p along xi to the minimum, which leaves the step taken in xi. A search that fails moves
// nothing.
kmath_status minimizeOnLine(kmath_frprmn &s, double &minimum)
{
    for (std::int64_t j = 1; j <= s.n; ++j) {
        s.pcom.data[j] = s.p.data[j];
        s.xicom.data[j] = s.xi.data[j];
    }

    const LineFunction f1{valueOnLine, &s};
    Bracket bracket;
    double x;
    RETURN_IF_FAILED(bracketMinimum(f1, bracket));
    RETURN_IF_FAILED(minimizeInBracket(f1, bracket, {s.ftol, s.zeps, s.goldenSection}, x, minimum));

    for (std::int64_t j = 1; j <= s.n; ++j) {
        s.xi.data[j] *= x;
        s.p.data[j] += s.xi.data[j];
    }
    return KMATH_OK;
}

// result = p. An allocation that fails leaves the result as it was.
kmath_status deliver(const kmath_nvector &p, kmath_nvector &result)
{
    if (result.n == p.n)
        return kmath_nvector_assign(&result, &p);
    kmath_nvector copy;
    CleanupFrame frame(copy);
    TRY(kmath_nvector_assign(&copy, &p));
    std::swap(result, copy);
    return frame.leave(KMATH_OK);
}

} // namespace

kmath_status kmath_frprmn_construct(kmath_frprmn *solver)
{
    KMATH_ASSERT(solver);
    solver->n = 0;
    solver->iterations = 0;
    solver->ftol = 0.0;
    solver->func = nullptr;
    solver->dfunc = nullptr;
    solver->userData = nullptr;

    CleanupFrame<6> frame;
    for (const auto vector : vectors) {
        TRY(kmath_nvector_construct(&(solver->*vector)));
        frame.guard(solver->*vector);
    }
    solver->maxIterations = 200;
    solver->goldenSection = 0.381966;
    solver->zeps = 1e-10;
    solver->eps = 1e-10;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_frprmn_destruct(kmath_frprmn *solver)
{
    KMATH_ASSERT_LINE(58, solver);
    for (const auto vector : vectors)
        kmath_nvector_destruct(&(solver->*vector));
    return KMATH_OK;
}

kmath_status kmath_frprmn_setup(kmath_frprmn *solver, kmath_frprmn_func func,
                                kmath_frprmn_dfunc dfunc, int32_t n, const kmath_nvector *start,
                                double ftol, void *userData)
{
    KMATH_ASSERT(solver && start);
    solver->func = func;
    solver->dfunc = dfunc;
    solver->n = n;
    solver->ftol = ftol;
    solver->iterations = 0;
    solver->userData = userData;

    // The point comes first: the start may be another vector of this record.
    RETURN_IF_FAILED(kmath_nvector_assign(&solver->p, start));
    for (const auto vector : vectors)
        if (vector != &kmath_frprmn::p)
            RETURN_IF_FAILED(kmath_nvector_resize(&(solver->*vector), n));
    return KMATH_OK;
}

kmath_status kmath_frprmn_minimize(kmath_frprmn *solver, kmath_nvector *result, double *fret)
{
    KMATH_ASSERT(solver && result && fret);
    kmath_frprmn &s = *solver;
    if (!isSized(s))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (!s.func || !s.dfunc)
        return KMATH_ERR_FAILED;

    double fp = 0.0;
    RETURN_IF_FAILED(s.func(&s.p, &fp, s.userData));
    RETURN_IF_FAILED(takeGradient(s));
    startDescent(s);

    for (int32_t iteration = 0; iteration < s.maxIterations; ++iteration) {
        s.iterations = iteration + 1;
        RETURN_IF_FAILED(minimizeOnLine(s, *fret));
        if (2.0 * std::fabs(*fret - fp) <= s.ftol * (std::fabs(*fret) + std::fabs(fp) + s.eps))
            return deliver(s.p, *result);

        fp = *fret;
        RETURN_IF_FAILED(takeGradient(s));
        double gg = 0.0;
        double dgg = 0.0;
        for (std::int64_t j = 1; j <= s.n; ++j) {
            const double g = s.g.data[j];
            const double xi = s.xi.data[j];
            gg += g * g;
            dgg += (xi + g) * xi;
        }
        if (gg == 0.0)
            return deliver(s.p, *result);
        turnDirection(s, dgg / gg);
    }
    return KMATH_ERR_BAD_DIMENSIONS;
}
