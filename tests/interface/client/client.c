/* Fits the line y = a + b·x through four points that lie on y = 2 + 3·x. */
#include <kmath/kmath.h>

#include <math.h>
#include <stdio.h>

static const double x[] = {0.0, 1.0, 2.0, 4.0};

static kmath_status line(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                         kmath_nmmatrix *residuals, void *userData)
{
    (void)solver;
    (void)userData;
    for (int i = 0; i < 4; ++i)
        residuals->rows[0][i] = params->rows[0][0] + params->rows[0][1] * x[i] - (2.0 + 3.0 * x[i]);
    return KMATH_OK;
}

int main(void)
{
    kmath_levmarqsolve solver;
    kmath_nmmatrix start;
    double cost = 0.0;

    kmath_levmarqsolve_construct(&solver);
    kmath_nmmatrix_constructRowsCols(&start, 1, 2);
    kmath_status status = kmath_levmarqsolve_setSys(
        &solver, line, kmath_levmarqsolve_compnumericjacob, 4, 2, &start, 1, NULL);
    if (!KMATH_IS_FAILURE(status))
        status = kmath_levmarqsolve_minimize(&solver, &cost);
    const double a = solver.params.rows[0][0];
    const double b = solver.params.rows[0][1];
    kmath_nmmatrix_destruct(&start);
    kmath_levmarqsolve_destruct(&solver);

    printf("status %08x: y = %.6f + %.6f x\n", (unsigned)status, a, b);
    return !(status == KMATH_OK && fabs(a - 2.0) < 1e-6 && fabs(b - 3.0) < 1e-6);
}
