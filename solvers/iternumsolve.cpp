// Minimizes a scalar objective by driving its central-difference gradient to zero with the
// Levenberg–Marquardt solver, over a ladder of difference steps that first grow and then shrink:
// coarse steps pass over the noise of the objective, fine ones settle the result.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/math_support.hpp"
#include "solvers/residuals.hpp"

#include <cmath>
#include <initializer_list>

using namespace kmath;

namespace
{

// Steps of one phase. A factor that is hardly above 1 would otherwise ask for more of them than
// anyone can wait for; one of 1.001 needs 17226 for the default range.
constexpr int32_t longestPhase = 100000;

kmath_status evaluate(kmath_iternumsolve &solver, const kmath_nmmatrix &params, double &value)
{
    return solver.objective ? solver.objective(&solver, &params, &value) : KMATH_ERR_FAILED;
}

// Whether component k keeps out of an evaluation at which that parameter has moved.
kmath_status isIndependent(kmath_iternumsolve &solver, int32_t paramIndex, int32_t k,
                           int32_t &independent)
{
    independent = 0;
    if (!solver.independence || paramIndex < 0)
        return KMATH_OK;
    return solver.independence(&solver, paramIndex, k, &independent);
}

kmath_status gradientResiduals(kmath_levmarqsolve *embedded, const kmath_nmmatrix &params,
                               kmath_nmmatrix &residuals, int32_t paramIndex)
{
    const int32_t n = residuals.nCols;
    if (n > 0 && (!hasShape(residuals, 1, n) || !hasShape(params, 1, params.nCols)))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (n > params.nCols)
        return KMATH_ERR_BAD_DIMENSIONS;

    // The embedded record comes first in the whole one, so a pointer to it is one to both.
    auto &solver = *reinterpret_cast<kmath_iternumsolve *>(embedded);
    const double h = solver.gradStep;
    const double c = 1.0 / (h * 2.0);
    kmath_nmmatrix q;
    CleanupFrame frame(q);
    TRY(kmath_nmmatrix_assign(&q, &params));

    for (int32_t k = 0; k < n; ++k) {
        double &residual = residuals.rows[0][k];
        int32_t independent;
        TRY(isIndependent(solver, paramIndex, k, independent));
        if (independent) {
            // Deliberate: no mask flag is cleared, so a numeric Jacobian takes this for the value.
            residual = 0.0;
            continue;
        }
        const double p = params.rows[0][k];
        double below = 0.0, above = 0.0;
        q.rows[0][k] = p - h;
        TRY(evaluate(solver, q, below));
        // Deliberate: the component stays moved. The later ones are differenced at a point that is
        // off by h in every earlier one.
        q.rows[0][k] = p + h;
        TRY(evaluate(solver, q, above));
        residual = (above - below) * c;
    }
    return frame.leave(KMATH_OK);
}

struct Ladder {
    kmath_iternumsolve &solver;
    double lambda; // every run starts from it
    kmath_nmmatrix start, best, work;
};

// One step of the ladder: a run from the best point so far and one from the start.
kmath_status runFromBoth(Ladder &ladder, double *finalValue)
{
    auto &[whole, lambda, start, best, work] = ladder;
    kmath_levmarqsolve &solver = whole.solver;

    double least = 0.0;
    RETURN_IF_FAILED(evaluate(whole, best, least));
    for (const kmath_nmmatrix *origin : {&best, &start}) {
        RETURN_IF_FAILED(kmath_nmmatrix_assign(&solver.params, origin));
        solver.lambda = lambda;
        RETURN_IF_FAILED(kmath_levmarqsolve_minimize(&solver, finalValue));
        RETURN_IF_FAILED(kmath_nmmatrix_assign(&work, &solver.params));
        double value = 0.0;
        RETURN_IF_FAILED(evaluate(whole, work, value));
        if (value < least) {
            RETURN_IF_FAILED(kmath_nmmatrix_assign(&best, &work));
            least = value;
        }
    }
    return KMATH_OK;
}

// A phase ends where the step has reached its limit, and where its size stops growing or shrinking.

kmath_status grow(Ladder &ladder, double *finalValue)
{
    kmath_iternumsolve &s = ladder.solver;
    s.gradStep = s.gradStepStart;
    for (int32_t i = 0; i < longestPhase && s.gradStep < s.gradStepEnd; ++i) {
        RETURN_IF_FAILED(runFromBoth(ladder, finalValue));
        const double last = s.gradStep;
        s.gradStep *= s.gradStepFactor;
        if (!(std::fabs(s.gradStep) > std::fabs(last)))
            break;
    }
    return KMATH_OK;
}

kmath_status shrink(Ladder &ladder, double *finalValue)
{
    kmath_iternumsolve &s = ladder.solver;
    for (int32_t i = 0; i < longestPhase && s.gradStepStart < s.gradStep; ++i) {
        RETURN_IF_FAILED(runFromBoth(ladder, finalValue));
        const double last = s.gradStep;
        s.gradStep /= s.gradStepFactor;
        if (!(std::fabs(s.gradStep) < std::fabs(last)))
            break;
    }
    return KMATH_OK;
}

} // namespace

kmath_status kmath_iternumsolve_construct(kmath_iternumsolve *solver)
{
    KMATH_ASSERT_LINE(28, solver);
    RETURN_IF_FAILED(kmath_levmarqsolve_construct(&solver->solver));
    solver->objective = nullptr;
    solver->independence = nullptr;
    solver->gradStep = 1e-10;
    solver->gradStepStart = 1e-10;
    solver->gradStepEnd = 0.003;
    solver->gradStepFactor = 3.0;
    return KMATH_OK;
}

kmath_status kmath_iternumsolve_assign(kmath_iternumsolve *destination,
                                       const kmath_iternumsolve *source)
{
    KMATH_ASSERT_LINE(49, destination && source);
    RETURN_IF_FAILED(kmath_levmarqsolve_assign(&destination->solver, &source->solver));
    destination->objective = source->objective;
    destination->independence = source->independence;
    destination->gradStep = source->gradStep;
    destination->gradStepStart = source->gradStepStart;
    destination->gradStepEnd = source->gradStepEnd;
    destination->gradStepFactor = source->gradStepFactor;
    return KMATH_OK;
}

kmath_status kmath_iternumsolve_destruct(kmath_iternumsolve *solver)
{
    KMATH_ASSERT_LINE(69, solver);
    kmath_levmarqsolve_destruct(&solver->solver);
    solver->objective = nullptr;
    solver->independence = nullptr;
    solver->gradStep = 0.0;
    solver->gradStepStart = 0.0;
    solver->gradStepEnd = 0.0;
    solver->gradStepFactor = 0.0;
    return KMATH_OK;
}

kmath_status kmath_iternumsolve_levmarqsolve_func(kmath_levmarqsolve *solver,
                                                  const kmath_nmmatrix *params,
                                                  kmath_nmmatrix *residuals, void *)
{
    return gradientResiduals(solver, *params, *residuals, -1);
}

kmath_status kmath_iternumsolve_levmarqsolve_funcI(kmath_levmarqsolve *solver,
                                                   const kmath_nmmatrix *params,
                                                   kmath_nmmatrix *residuals, int32_t paramIndex,
                                                   int32_t *, void *)
{
    return gradientResiduals(solver, *params, *residuals, paramIndex);
}

kmath_status kmath_iternumsolve_minimize(kmath_iternumsolve *solver, double *finalValue)
{
    KMATH_ASSERT_LINE(232, solver && finalValue);
    kmath_levmarqsolve &embedded = solver->solver;
    if (!hasSystem(embedded))
        return KMATH_ERR_BAD_DIMENSIONS;

    Ladder ladder{*solver, embedded.lambda, {}, {}, {}};
    CleanupFrame frame(ladder.start, ladder.best, ladder.work);
    TRY(kmath_nmmatrix_assign(&ladder.start, &embedded.params));
    double ignored = 0.0;
    TRY(evaluate(*solver, ladder.start, ignored));
    TRY(kmath_nmmatrix_assign(&ladder.best, &ladder.start));

    TRY(grow(ladder, finalValue));

    // The end step is not run twice where the growing phase has come to it.
    const double end = solver->gradStepEnd;
    const bool endWasRun =
        kmath_double_epsilonEqual(solver->gradStep / solver->gradStepFactor, end, end * 1e-6);
    solver->gradStep = endWasRun ? end / solver->gradStepFactor : end;
    TRY(shrink(ladder, finalValue));

    embedded.lambda = ladder.lambda;
    TRY(kmath_nmmatrix_assign(&embedded.params, &ladder.best));
    TRY(evaluate(*solver, ladder.best, *finalValue));
    return frame.leave(KMATH_OK);
}
