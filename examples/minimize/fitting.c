/*
 * The minimisers work on u, the shift of x, y and radius from the start in units of ROBUST_SCALE.
 * There the misfit changes by about 1 over a distance of 1, which suits the first step along a
 * gradient as well as difference steps from 1e-10 to 0.003.
 *
 * Around a minimum the misfit is level to its rounding, some 1e-16, over about 1e-8; no method that
 * compares values sees more. Hence the tolerance of the conjugate gradients.
 */
#include "fitting.h"

#include "examples/common/clock.h"

static const double tolerance = 1e-14;

/* What the callbacks share: handed to the minimisers as user data. */
typedef struct Problem {
    const Coin *coin;
    Circle start;
    int32_t evaluations;
    int32_t gradients;
} Problem;

static Circle toCircle(const Problem *problem, const double *u)
{
    return (Circle){.x = problem->start.x + ROBUST_SCALE * u[0],
                    .y = problem->start.y + ROBUST_SCALE * u[1],
                    .radius = problem->start.radius + ROBUST_SCALE * u[2]};
}

static double misfitAt(Problem *problem, const double *u)
{
    const Circle circle = toCircle(problem, u);
    ++problem->evaluations;
    return misfit(&circle, problem->coin);
}

/* With slopes; element i of an n-vector stands at place i, from 1. */

static kmath_status value(const kmath_nvector *point, double *result, void *userData)
{
    *result = misfitAt(userData, &point->data[1]);
    return KMATH_OK;
}

static kmath_status slopes(const kmath_nvector *point, kmath_nvector *gradient, void *userData)
{
    Problem *problem = userData;
    const Circle circle = toCircle(problem, &point->data[1]);
    ++problem->gradients;
    misfitSlopes(&circle, problem->coin, &gradient->data[1]);
    for (int32_t j = 1; j <= CIRCLE; ++j)
        gradient->data[j] *= ROBUST_SCALE;
    return KMATH_OK;
}

static kmath_status descend(kmath_frprmn *solver, Problem *problem, kmath_nvector *point)
{
    double least;
    kmath_status status = kmath_nvector_resize(point, CIRCLE);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t j = 1; j <= CIRCLE; ++j)
        point->data[j] = 0;
    status = kmath_frprmn_setup(solver, value, slopes, CIRCLE, point, tolerance, problem);
    return KMATH_IS_FAILURE(status) ? status : kmath_frprmn_minimize(solver, point, &least);
}

static kmath_status byConjugateGradients(Problem *problem, double *u)
{
    kmath_nvector point;
    kmath_frprmn solver;
    kmath_status status = kmath_frprmn_construct(&solver);
    if (KMATH_IS_FAILURE(status))
        return status;
    kmath_nvector_construct(&point);
    status = descend(&solver, problem, &point);
    for (int32_t j = 0; j < CIRCLE && !KMATH_IS_FAILURE(status); ++j)
        u[j] = point.data[j + 1];
    kmath_nvector_destruct(&point);
    kmath_frprmn_destruct(&solver);
    return status;
}

/* Without: the library takes them by differences, of many steps one after the other. */

static kmath_status objective(kmath_iternumsolve *solver, const kmath_nmmatrix *params,
                              double *result)
{
    *result = misfitAt(solver->solver.userData, params->rows[0]);
    return KMATH_OK;
}

static kmath_status climbLadder(kmath_iternumsolve *solver, Problem *problem,
                                const kmath_nmmatrix *start)
{
    double least;
    const kmath_status status = kmath_levmarqsolve_setSys(
        &solver->solver, kmath_iternumsolve_levmarqsolve_func, kmath_levmarqsolve_compnumericjacob,
        CIRCLE, CIRCLE, start, 1, problem);
    solver->objective = objective;
    return KMATH_IS_FAILURE(status) ? status : kmath_iternumsolve_minimize(solver, &least);
}

static kmath_status byDifferences(Problem *problem, double *u)
{
    kmath_nmmatrix start;
    kmath_iternumsolve solver;
    kmath_status status = kmath_iternumsolve_construct(&solver);
    if (KMATH_IS_FAILURE(status))
        return status;
    status = kmath_nmmatrix_constructRowsColsVal(&start, 1, CIRCLE, 0);
    if (!KMATH_IS_FAILURE(status)) {
        status = climbLadder(&solver, problem, &start);
        kmath_nmmatrix_destruct(&start);
    }
    for (int32_t j = 0; j < CIRCLE && !KMATH_IS_FAILURE(status); ++j)
        u[j] = solver.solver.params.rows[0][j];
    kmath_iternumsolve_destruct(&solver);
    return status;
}

Fit fitByMisfit(const Coin *coin, Way way)
{
    Problem problem = {.coin = coin, .start = startCircle(coin)};
    double u[CIRCLE] = {0};
    const double begin = now();
    Fit fit = {.status = way == BY_DIFFERENCES ? byDifferences(&problem, u)
                                               : byConjugateGradients(&problem, u)};
    fit.seconds = now() - begin;
    fit.circle = toCircle(&problem, u);
    fit.misfit = misfit(&fit.circle, coin);
    fit.evaluations = problem.evaluations;
    fit.gradients = problem.gradients;
    return fit;
}
