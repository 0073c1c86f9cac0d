/*
 * Fitting one data set with the library's least-squares solver, in two ways.
 */
#ifndef FIT_FITTING_H
#define FIT_FITTING_H

#include "data_set.h"

#include <kmath/kmath.h>

enum { MAX_DIGITS = 11 }; /* the certified values have no more */

typedef enum FitWay {
    AS_IT_COMES, /* numeric Jacobian, every default of the record, raw parameters */
    WITH_CARE,   /* exact derivatives, parameters in units of their starts, more iterations */
    WAY_COUNT
} FitWay;

typedef struct Fit {
    kmath_status status; /* of the solver */
    double parameters[MAX_PARAMETERS];
    double digits;       /* correct digits of the worst parameter, from 0 to MAX_DIGITS */
    double residualSum;  /* at these parameters */
    int32_t iterations;  /* Jacobians computed */
    int32_t evaluations; /* calls of the residual callback */
    double seconds;
} Fit;

/* Fits set from one of its starts (0 or 1). */
Fit runFit(const DataSet *set, int32_t start, FitWay way);

#endif
