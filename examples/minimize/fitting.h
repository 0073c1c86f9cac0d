/*
 * Circles of least misfit by the library's minimisers of scalar functions, from the same start.
 */
#ifndef MINIMIZE_FITTING_H
#define MINIMIZE_FITTING_H

#include "misfit.h"

#include <kmath/kmath.h>

typedef enum Way {
    CONJUGATE_GRADIENTS, /* with the slopes of the misfit, by kmath_frprmn */
    BY_DIFFERENCES,      /* from its values alone, by kmath_iternumsolve */
    WAYS
} Way;

typedef struct Fit {
    kmath_status status;
    Circle circle; /* without its deviation */
    double misfit;
    int32_t evaluations; /* of the misfit */
    int32_t gradients;   /* of its slopes */
    double seconds;
} Fit;

/* Without a circle when the status is a failure. */
Fit fitByMisfit(const Coin *coin, Way way);

#endif
