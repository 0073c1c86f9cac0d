/*
 * How badly a circle fits the edge points of a coin, many of which lie on its relief and not on its
 * rim: a function of the circle that is no sum of squares, with its slopes.
 */
#ifndef MINIMIZE_MISFIT_H
#define MINIMIZE_MISFIT_H

#include "examples/cluster/features.h"
#include "examples/measure/circle.h"

#include <stdbool.h>
#include <stdint.h>

enum { CIRCLE = 3 }; /* parameters of a circle: x, y and radius */

typedef struct Coin {
    int32_t group;
    int32_t count;
    kmath_vect3 *points; /* z is 0 */
} Coin;

/* The points of a group; false, with the reason told on stderr, when they are too few for a circle
 * or there is no memory. */
bool chooseCoin(Coin *coin, const Features *features, int32_t group);

void releaseCoin(Coin *coin);

/* The circle in the middle of the box around the points, of half its mean side. */
Circle startCircle(const Coin *coin);

/* The distance d of a point from the circle, positive outside. */
double distanceFrom(const Circle *circle, const kmath_vect3 *point);

/* The points no further than tolerance from the circle. */
int32_t pointsNear(const Circle *circle, const Coin *coin, double tolerance);

/* The mean of log(1 + d²/s²) over the points, s being ROBUST_SCALE. */
double misfit(const Circle *circle, const Coin *coin);

/* Its derivatives by x, y and radius, per pixel. */
void misfitSlopes(const Circle *circle, const Coin *coin, double *slopes);

/* In pixels: points on the rim lie closer than this, and those much further hardly pull. */
extern const double ROBUST_SCALE;

#endif
