#include "circle.h"

#include <kmath/solvers.h>

#include <math.h>

enum { X, Y, RADIUS, PARAMETERS };

/* How far each point is outside the circle. */
static kmath_status computeDistances(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                     kmath_nmmatrix *residuals, void *userData)
{
    const kmath_vect3 *points = userData;
    const double *p = params->rows[0];
    (void)solver;
    for (int32_t k = 0; k < residuals->nCols; ++k)
        residuals->rows[0][k] = hypot(points[k].x - p[X], points[k].y - p[Y]) - p[RADIUS];
    return KMATH_OK;
}

/* The mean of the points, and their mean distance from it. */
static void startFromMeans(const kmath_vect3 *points, int32_t count, double *p)
{
    p[X] = p[Y] = p[RADIUS] = 0;
    for (int32_t k = 0; k < count; ++k) {
        p[X] += points[k].x / count;
        p[Y] += points[k].y / count;
    }
    for (int32_t k = 0; k < count; ++k)
        p[RADIUS] += hypot(points[k].x - p[X], points[k].y - p[Y]) / count;
}

static kmath_status solve(kmath_levmarqsolve *solver, kmath_nmmatrix *start,
                          const kmath_vect3 *points, int32_t count, double *cost)
{
    kmath_status status = kmath_nmmatrix_resize(start, 1, PARAMETERS);
    if (KMATH_IS_FAILURE(status))
        return status;
    startFromMeans(points, count, start->rows[0]);
    status =
        kmath_levmarqsolve_setSys(solver, computeDistances, kmath_levmarqsolve_compnumericjacob,
                                  count, PARAMETERS, start, 1, (void *)points);
    return KMATH_IS_FAILURE(status) ? status : kmath_levmarqsolve_minimize(solver, cost);
}

kmath_status fitCircle(const kmath_vect3 *points, int32_t count, Circle *circle)
{
    kmath_levmarqsolve solver;
    kmath_nmmatrix start;
    double cost;
    kmath_status status = kmath_levmarqsolve_construct(&solver);
    if (KMATH_IS_FAILURE(status))
        return status;
    kmath_nmmatrix_construct(&start);
    status = solve(&solver, &start, points, count, &cost);
    if (!KMATH_IS_FAILURE(status)) {
        const double *p = solver.params.rows[0];
        *circle = (Circle){p[X], p[Y], p[RADIUS], sqrt(cost / count)};
    }
    kmath_nmmatrix_destruct(&start);
    kmath_levmarqsolve_destruct(&solver);
    return status;
}
