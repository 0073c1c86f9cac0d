/*
 * A calibration in closed form, good enough to start the refinement from.
 */
#ifndef CALIBRATE_CLOSED_FORM_H
#define CALIBRATE_CLOSED_FORM_H

#include "camera.h"

/*
 * Distortion is taken as zero. What cannot be found, and the status of the library that says so, is
 * told on stderr; the result is then false.
 */
bool findClosedForm(const Corners *corners, Calibration *calibration);

#endif
