/*
 * The points and the circles, drawn by gnuplot.
 */
#ifndef MINIMIZE_PICTURE_H
#define MINIMIZE_PICTURE_H

#include "report.h"

/* Draws folder/minimize_scalar.png; what stands in the way is told on stderr. */
bool drawPicture(const Result *results, int32_t count, const char *folder);

#endif
