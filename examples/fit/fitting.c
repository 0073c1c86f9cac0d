/*
 * The solver works on u = b / unit, one row of parameters; the callbacks turn u back into b. As it
 * comes the unit is 1, which changes no bit. With care it is the start value, so that every
 * parameter begins at 1 and the solver's damping weighs them alike.
 */
#include "fitting.h"

#include "examples/common/clock.h"

#include <math.h>

enum { CAREFUL_ITERATIONS = 2000 };

/* What the callbacks share: handed to the solver as user data. */
typedef struct Problem {
    const DataSet *set;
    double unit[MAX_PARAMETERS];
    int32_t iterations;
    int32_t evaluations;
} Problem;

static void toParameters(const Problem *problem, const kmath_nmmatrix *u, double *b)
{
    for (int32_t j = 0; j < u->nCols; ++j)
        b[j] = u->rows[0][j] * problem->unit[j];
}

static kmath_status computeResiduals(kmath_levmarqsolve *solver, const kmath_nmmatrix *u,
                                     kmath_nmmatrix *residuals, void *userData)
{
    Problem *problem = userData;
    const DataSet *set = problem->set;
    double b[MAX_PARAMETERS];
    double slope[MAX_PARAMETERS];
    (void)solver;
    ++problem->evaluations;
    toParameters(problem, u, b);
    for (int32_t k = 0; k < set->nObservations; ++k)
        residuals->rows[0][k] =
            set->model->value(b, predictors(set, k), slope) - response(set->model, set->y[k]);
    return KMATH_OK;
}

/* The library's own forward differences; passing through here counts the iterations. */
static kmath_status numericJacobian(kmath_levmarqsolve *solver, const kmath_nmmatrix *u,
                                    const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                    kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                    void *userData)
{
    Problem *problem = userData;
    ++problem->iterations;
    return kmath_levmarqsolve_compnumericjacob(solver, u, residuals, jacobian, gradient,
                                               normalMatrix, userData);
}

/* Row j of the Jacobian holds ∂r/∂u(j) = ∂r/∂b(j) · unit(j). */
static kmath_status exactJacobian(kmath_levmarqsolve *solver, const kmath_nmmatrix *u,
                                  const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                  kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                  void *userData)
{
    Problem *problem = userData;
    const DataSet *set = problem->set;
    double b[MAX_PARAMETERS];
    double slope[MAX_PARAMETERS];
    (void)solver;
    ++problem->iterations;
    toParameters(problem, u, b);
    for (int32_t k = 0; k < set->nObservations; ++k) {
        set->model->value(b, predictors(set, k), slope);
        for (int32_t j = 0; j < u->nCols; ++j)
            jacobian->rows[j][k] = slope[j] * problem->unit[j];
    }
    const kmath_status status = kmath_nmmatrix_multiplyT(residuals, jacobian, gradient);
    if (KMATH_IS_FAILURE(status))
        return status;
    return kmath_nmmatrix_Tsquare(jacobian, normalMatrix);
}

static kmath_status setUp(kmath_levmarqsolve *solver, Problem *problem, int32_t start, FitWay way)
{
    const DataSet *set = problem->set;
    const int32_t n = set->model->nParameters;
    kmath_nmmatrix first;
    kmath_status status = kmath_nmmatrix_constructRowsCols(&first, 1, n);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t j = 0; j < n; ++j) {
        problem->unit[j] = way == WITH_CARE ? set->start[start][j] : 1.0;
        first.rows[0][j] = set->start[start][j] / problem->unit[j];
    }
    status = kmath_levmarqsolve_setSys(solver, computeResiduals,
                                       way == WITH_CARE ? exactJacobian : numericJacobian,
                                       set->nObservations, n, &first, 1, problem);
    kmath_nmmatrix_destruct(&first);
    if (way == WITH_CARE)
        solver->maxIterations = CAREFUL_ITERATIONS;
    return status;
}

/* The smallest −log10(|b − c| / |c|), where terms of equal form may come in any order. */
static double correctDigits(const DataSet *set, const double *b)
{
    double fitted[MAX_PARAMETERS];
    double certified[MAX_PARAMETERS];
    double digits = MAX_DIGITS;
    for (int32_t j = 0; j < set->model->nParameters; ++j) {
        fitted[j] = b[j];
        certified[j] = set->certified[j];
    }
    sortTerms(set->model, fitted);
    sortTerms(set->model, certified);
    for (int32_t j = 0; j < set->model->nParameters; ++j) {
        const double error = fabs(fitted[j] - certified[j]) / fabs(certified[j]);
        if (!(error < 1)) /* also when it is not a number */
            return 0;
        digits = fmin(digits, -log10(error));
    }
    return digits;
}

Fit runFit(const DataSet *set, int32_t start, FitWay way)
{
    Fit fit = {0};
    Problem problem = {.set = set};
    kmath_levmarqsolve solver;
    double cost;
    const double begin = now();

    fit.status = kmath_levmarqsolve_construct(&solver);
    if (KMATH_IS_FAILURE(fit.status))
        return fit;
    fit.status = setUp(&solver, &problem, start, way);
    if (!KMATH_IS_FAILURE(fit.status)) {
        fit.status = kmath_levmarqsolve_minimize(&solver, &cost);
        toParameters(&problem, &solver.params, fit.parameters);
        fit.digits = correctDigits(set, fit.parameters);
    }
    kmath_levmarqsolve_destruct(&solver);

    fit.seconds = now() - begin;
    /* Not the reported cost: when the tries run out, that is the cost of the last one tried. */
    fit.residualSum = residualSumAt(set, fit.parameters);
    fit.iterations = problem.iterations;
    fit.evaluations = problem.evaluations;
    return fit;
}
