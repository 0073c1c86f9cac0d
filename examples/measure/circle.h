/*
 * The circle closest to points of the plane: least squares of their distances from it.
 */
#ifndef MEASURE_CIRCLE_H
#define MEASURE_CIRCLE_H

#include <kmath/containers.h>

typedef struct Circle {
    double x;
    double y;
    double radius;
    double deviation; /* root mean square of the distances */
} Circle;

/* At least three points that are not on a line. */
kmath_status fitCircle(const kmath_vect3 *points, int32_t count, Circle *circle);

#endif
