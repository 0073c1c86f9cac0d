/*
 * The picture: one panel a view with the board's corners and the residual vectors, enlarged, and a
 * last one with the error of each view.
 */
#ifndef CALIBRATE_PICTURE_H
#define CALIBRATE_PICTURE_H

#include "report.h"

/*
 * Makes folder/calibrate_camera.png and the .gp script beside it and prints where they are. What
 * stands in the way is told on stderr; the result is then false.
 */
bool drawPicture(const Corners *corners, const Results *results, const double *residuals,
                 const char *folder);

#endif
