/*
 * The convex hull of points of the plane, and its measures.
 */
#ifndef MEASURE_HULL_H
#define MEASURE_HULL_H

#include <kmath/containers.h>

/*
 * Makes hull the corners of the convex hull of the points, anticlockwise, by A. M. Andrew's scan in
 * order of x. Points that enclose no area leave less than three corners.
 */
kmath_status convexHull(const kstd_vector_kmath_vect3 *points, kstd_vector_kmath_vect3 *hull);

/* Of a polygon with its corners anticlockwise. */
double polygonArea(const kmath_vect3 *corners, size_t count);

/* The greatest distance of two corners. */
double greatestExtent(const kmath_vect3 *corners, size_t count);

#endif
