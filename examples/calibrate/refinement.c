/*
 * The solver works on one row of parameters: the six of the camera, then the six of each pose, each
 * divided by its unit. Its difference step is the same for all and absolute, 1e-8. On a focal
 * length of 533 pixels this moves a predicted u of 300 by some 3e-9, of which rounding leaves five
 * digits. In widths of the image it is 640 times as much. Rotations count in half turns, as the
 * library takes rotations of 1e-8 radians and less for none: the step has to be longer.
 */
#include "refinement.h"

#include "examples/common/clock.h"

#include <math.h>
#include <stdatomic.h>
#include <string.h>

enum { POSE = 6, ALL_VIEWS = -1, MAX_DIGITS = 16 };

/* What the callbacks share: handed to the solver as user data. */
typedef struct Problem {
    const Corners *corners;
    double unit[INTRINSICS + POSE]; /* of the camera's parameters and of a pose's */
    int32_t jacobians;
    double jacobianSeconds;
    atomic_int evaluations; /* the Jacobian calls from several threads at once */
    atomic_int viewsProjected;
} Problem;

int32_t parameterCount(const Corners *corners) { return INTRINSICS + POSE * corners->nViews; }

static void setUnits(Problem *problem, Units units)
{
    static const double halfTurn = 3.141592653589793;
    const double image = problem->corners->width;
    const double board = problem->corners->columns;
    const double model[] = {image,    image,    image,    image, 1,     1,
                            halfTurn, halfTurn, halfTurn, board, board, board};
    for (int32_t j = 0; j < INTRINSICS + POSE; ++j)
        problem->unit[j] = units == MODEL ? model[j] : 1;
}

static void toCamera(const Problem *problem, const double *p, double *camera)
{
    for (int32_t j = 0; j < INTRINSICS; ++j)
        camera[j] = p[j] * problem->unit[j];
}

static Pose toPose(const Problem *problem, const double *p, int32_t view)
{
    const double *q = &p[INTRINSICS + POSE * view];
    const double *unit = &problem->unit[INTRINSICS];
    return (Pose){{q[0] * unit[0], q[1] * unit[1], q[2] * unit[2]},
                  {q[3] * unit[3], q[4] * unit[4], q[5] * unit[5]}};
}

static void toCalibration(const Problem *problem, const double *p, Calibration *calibration)
{
    toCamera(problem, p, calibration->camera);
    for (int32_t i = 0; i < problem->corners->nViews; ++i)
        calibration->poses[i] = toPose(problem, p, i);
}

static void fromCalibration(const Problem *problem, const Calibration *calibration, double *p)
{
    for (int32_t j = 0; j < INTRINSICS; ++j)
        p[j] = calibration->camera[j] / problem->unit[j];
    for (int32_t i = 0; i < problem->corners->nViews; ++i) {
        const Pose *pose = &calibration->poses[i];
        const double q[POSE] = {pose->rotation.x,    pose->rotation.y,    pose->rotation.z,
                                pose->translation.x, pose->translation.y, pose->translation.z};
        for (int32_t j = 0; j < POSE; ++j)
            p[INTRINSICS + POSE * i + j] = q[j] / problem->unit[INTRINSICS + j];
    }
}

/* The only view whose residuals a parameter touches. */
static int32_t viewTouchedBy(int32_t parameter)
{
    return parameter < INTRINSICS ? ALL_VIEWS : (parameter - INTRINSICS) / POSE;
}

/* A pose touches the residuals of its own view alone; the mask says so for each parameter anew. */
static kmath_status computeResiduals(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                     kmath_nmmatrix *residuals, int32_t paramIndex, int32_t *mask,
                                     void *userData)
{
    Problem *problem = userData;
    const double *p = params->rows[0];
    const int32_t touched = viewTouchedBy(paramIndex);
    const int32_t perView = 2 * cornerCount(problem->corners);
    double camera[INTRINSICS];
    (void)solver;
    atomic_fetch_add(&problem->evaluations, 1);
    toCamera(problem, p, camera);
    for (int32_t i = 0; i < problem->corners->nViews; ++i) {
        const bool wanted = touched == ALL_VIEWS || touched == i;
        for (int32_t k = 0; mask != NULL && k < perView; ++k)
            mask[i * perView + k] = wanted;
        if (!wanted)
            continue;
        const Pose pose = toPose(problem, p, i);
        const kmath_status status = computeViewResiduals(problem->corners, i, camera, &pose,
                                                         &residuals->rows[0][i * perView]);
        if (KMATH_IS_FAILURE(status))
            return status;
        atomic_fetch_add(&problem->viewsProjected, 1);
    }
    return KMATH_OK;
}

/* The library's own forward differences; passing through here counts and times them. */
static kmath_status numericJacobian(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                    const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                    kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                    void *userData)
{
    Problem *problem = userData;
    const double begin = now();
    const kmath_status status = kmath_levmarqsolve_compnumericjacob(
        solver, params, residuals, jacobian, gradient, normalMatrix, userData);
    problem->jacobianSeconds += now() - begin;
    ++problem->jacobians;
    return status;
}

static kmath_status setUp(kmath_levmarqsolve *solver, Problem *problem, const Calibration *start,
                          bool threaded)
{
    const int32_t n = parameterCount(problem->corners);
    kmath_nmmatrix first;
    kmath_status status = kmath_nmmatrix_constructRowsCols(&first, 1, n);
    if (KMATH_IS_FAILURE(status))
        return status;
    fromCalibration(problem, start, first.rows[0]);
    status = kmath_levmarqsolve_setSysI(solver, computeResiduals, numericJacobian,
                                        residualCount(problem->corners), n, &first, 1, problem);
    kmath_nmmatrix_destruct(&first);
    solver->useThreads = threaded;
    solver->interleaveColumns = 1; /* spreads the camera's columns, which cost more than a pose's */
    return status;
}

/*
 * How far the differences agree with ∂u/∂fx = (u − cx)/fx, as digits of the largest: what the step
 * is worth in these units. Uses the matrices of the solver.
 */
static kmath_status measureSlope(kmath_levmarqsolve *solver, const Problem *problem,
                                 const Calibration *result, double *digits)
{
    const int32_t perView = 2 * cornerCount(problem->corners);
    double worst = 0, largest = 0, sum;
    kmath_status status =
        computeAllResiduals(problem->corners, result, solver->residuals.rows[0], &sum);
    if (KMATH_IS_FAILURE(status))
        return status;
    status = kmath_levmarqsolve_compnumericjacob(solver, &solver->params, &solver->residuals,
                                                 &solver->jacobian, &solver->gradient,
                                                 &solver->normalMatrix, NULL);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t k = 0; k < residualCount(problem->corners); k += 2) {
        const View *view = &problem->corners->views[k / perView];
        const double u = view->corners[k % perView / 2].u + solver->residuals.rows[0][k];
        const double slope = (u - result->camera[CX]) / result->camera[FX];
        const double difference = solver->jacobian.rows[FX][k] / problem->unit[FX];
        worst = fmax(worst, fabs(difference - slope));
        largest = fmax(largest, fabs(slope));
    }
    *digits = fmin(-log10(worst / largest), MAX_DIGITS);
    return KMATH_OK;
}

static kmath_status countThreads(bool threaded, int32_t *threads)
{
    ksys_jobThreadGroup group;
    *threads = 1;
    if (!threaded)
        return KMATH_OK;
    kmath_status status = ksys_jobThreadGroup_construct(&group);
    if (KMATH_IS_FAILURE(status))
        return status;
    status = ksys_jobGetCurrentThreadState(threads, &group);
    ksys_jobThreadGroup_destruct(&group);
    return status;
}

Refinement refine(const Corners *corners, const Calibration *start, Units units, bool threaded)
{
    Refinement refinement = {0};
    Problem problem = {.corners = corners};
    kmath_levmarqsolve solver;
    double cost;
    setUnits(&problem, units);
    refinement.status = countThreads(threaded, &refinement.threads);
    if (KMATH_IS_FAILURE(refinement.status))
        return refinement;
    refinement.status = kmath_levmarqsolve_construct(&solver);
    if (KMATH_IS_FAILURE(refinement.status))
        return refinement;

    const double begin = now();
    refinement.status = setUp(&solver, &problem, start, threaded);
    if (!KMATH_IS_FAILURE(refinement.status))
        refinement.status = kmath_levmarqsolve_minimize(&solver, &cost);
    refinement.seconds = now() - begin;
    refinement.jacobianSeconds = problem.jacobianSeconds;
    refinement.jacobians = problem.jacobians;
    refinement.evaluations = problem.evaluations;
    refinement.viewsProjected = problem.viewsProjected;

    if (!KMATH_IS_FAILURE(refinement.status)) {
        toCalibration(&problem, solver.params.rows[0], &refinement.result);
        /* Not the reported cost: when the tries run out, that is the cost of the last one tried. */
        refinement.status = computeAllResiduals(corners, &refinement.result,
                                                solver.residuals.rows[0], &refinement.sumOfSquares);
    }
    if (!KMATH_IS_FAILURE(refinement.status))
        refinement.status =
            measureSlope(&solver, &problem, &refinement.result, &refinement.slopeDigits);
    kmath_levmarqsolve_destruct(&solver);
    return refinement;
}

bool haveSameBits(const Corners *corners, const Calibration *a, const Calibration *b)
{
    return memcmp(a->camera, b->camera, sizeof a->camera) == 0 &&
           memcmp(a->poses, b->poses, (size_t)corners->nViews * sizeof a->poses[0]) == 0;
}
