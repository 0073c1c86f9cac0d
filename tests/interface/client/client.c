#include <kmath/kmath.h>
#include <math.h>
#include <stdio.h>

static const double t[] = {0.0, 1.0, 2.0, 3.0, 4.0}, y[] = {4.02, 2.41, 1.48, 0.87, 0.56};

/* Residuals of y = a·exp(−b·t); a and b stand in the row of parameters. */
static kmath_status decay(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                          kmath_nmmatrix *residuals, void *userData)
{
    (void)solver, (void)userData;
    for (int i = 0; i < 5; ++i)
        residuals->rows[0][i] = params->rows[0][0] * exp(-params->rows[0][1] * t[i]) - y[i];
    return KMATH_OK;
}

int main(void)
{
    double cost = 0.0;
    kmath_nmmatrix start;
    kmath_levmarqsolve solver;
    kmath_nmmatrix_constructRowsColsVal(&start, 1, 2, 1.0);
    kmath_levmarqsolve_construct(&solver);

    kmath_status status = kmath_levmarqsolve_setSys(
        &solver, decay, kmath_levmarqsolve_compnumericjacob, 5, 2, &start, 1, NULL);
    if (!KMATH_IS_FAILURE(status))
        status = kmath_levmarqsolve_minimize(&solver, &cost);
    if (!KMATH_IS_FAILURE(status))
        printf("y = %.4f exp(-%.4f t), sum of squares %.2e\n", solver.params.rows[0][0],
               solver.params.rows[0][1], cost);

    kmath_levmarqsolve_destruct(&solver);
    kmath_nmmatrix_destruct(&start);
    return KMATH_IS_FAILURE(status) ? 1 : 0;
}
