/*
 * The model of the camera. A board corner (X, Y, 0) is P = R·(X, Y, 0)ᵀ + t in the frame of the
 * camera, x = P.x/P.z, y = P.y/P.z, r² = x² + y², and its image
 *
 *     u = fx·x·(1 + k1·r² + k2·r⁴) + cx,    v = fy·y·(1 + k1·r² + k2·r⁴) + cy.
 */
#ifndef CALIBRATE_CAMERA_H
#define CALIBRATE_CAMERA_H

#include "corners.h"

#include <kmath/kmath.h>

/* Where the board stands in the frame of the camera: x to the right, y down, z ahead. */
typedef struct Pose {
    kmath_rodParam rotation; /* radians */
    kmath_vect3 translation; /* squares of the board */
} Pose;

typedef struct Calibration {
    double camera[INTRINSICS];
    Pose poses[MAX_VIEWS];
} Calibration;

/* Predicted minus measured u and v of every corner of a view, two numbers a corner. */
kmath_status computeViewResiduals(const Corners *corners, int32_t view, const double *camera,
                                  const Pose *pose, double *residuals);

/* The residuals of all views, one view after the other, and the sum of their squares. */
kmath_status computeAllResiduals(const Corners *corners, const Calibration *calibration,
                                 double *residuals, double *sumOfSquares);

int32_t residualCount(const Corners *corners);

#endif
