/*
 * The picture: one panel a data set with its observations and the fitted curve, and a last one with
 * the digits reached. Written as a gnuplot script that carries its data, then drawn by gnuplot.
 */
#ifndef FIT_PICTURE_H
#define FIT_PICTURE_H

#include "report.h"

/*
 * Makes folder/fit_reference_data.png and the .gp script beside it and prints where they are. What
 * stands in the way is told on stderr; the result is then false.
 */
bool drawPicture(const DataSet *sets, const Fits *fits, const char *folder);

#endif
