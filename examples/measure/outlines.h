/*
 * The points of a feature file as outlines, one vector of points a group, in millimetres.
 */
#ifndef MEASURE_OUTLINES_H
#define MEASURE_OUTLINES_H

#include "examples/cluster/features.h"

#include <kmath/containers.h>

/*
 * Fills a constructed vector with one outline for each group, in the order of their numbers; points
 * of no group are left out. z is 0.
 */
kmath_status groupOutlines(const Features *features, kstd_vector_vector_kmath_vect3 *outlines);

/*
 * From pixels, y downwards from the top of an image of so many rows, to millimetres with y upwards
 * from its bottom: half a turn about the x axis, a shift and a scale.
 */
void imageToPlate(kmath_xform3Linear *X, double millimetresPerPixel, int32_t rows);

/* Maps the points of all outlines in place. */
kmath_status mapOutlines(const kmath_xform3Linear *X, kstd_vector_vector_kmath_vect3 *outlines);

#endif
