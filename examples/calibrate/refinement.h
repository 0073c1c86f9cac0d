/*
 * The calibration that makes the sum of squared residuals smallest, by the library's least-squares
 * solver with its numeric Jacobian.
 */
#ifndef CALIBRATE_REFINEMENT_H
#define CALIBRATE_REFINEMENT_H

#include "camera.h"

typedef enum Units {
    RAW,   /* pixels, radians, squares */
    MODEL, /* widths of the image, half turns, widths of the board */
    UNITS_COUNT
} Units;

typedef struct Refinement {
    kmath_status status; /* of the solver */
    int32_t threads;     /* that may compute a Jacobian */
    Calibration result;
    double sumOfSquares;    /* at the result */
    double slopeDigits;     /* correct digits of the differences for ∂u/∂fx */
    int32_t jacobians;      /* how many were computed */
    int32_t evaluations;    /* calls of the residual callback */
    int32_t viewsProjected; /* views computed in these calls; the mask spares the others */
    double seconds;
    double jacobianSeconds; /* of these, in the Jacobian and its products */
} Refinement;

int32_t parameterCount(const Corners *corners);

/* Computes the Jacobian on all processors if threaded, else in the calling thread alone. */
Refinement refine(const Corners *corners, const Calibration *start, Units units, bool threaded);

bool haveSameBits(const Corners *corners, const Calibration *a, const Calibration *b);

#endif
