#include "misfit.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { MIN_POINTS = 4 };

const double ROBUST_SCALE = 1;

static int32_t countOf(const Features *features, int32_t group)
{
    int32_t count = 0;
    for (int32_t p = 0; p < features->nPoints; ++p)
        count += features->groups[p] == group;
    return count;
}

bool chooseCoin(Coin *coin, const Features *features, int32_t group)
{
    *coin = (Coin){.group = group, .count = countOf(features, group)};
    if (coin->count < MIN_POINTS) {
        fprintf(stderr, "%s: too few points for a circle: coin %d has %d, at least %d are needed\n",
                features->path, (int)group, (int)coin->count, MIN_POINTS);
        return false;
    }
    coin->points = calloc((size_t)coin->count, sizeof *coin->points);
    if (coin->points == NULL) {
        fprintf(stderr, "no memory for the points of coin %d\n", (int)group);
        return false;
    }
    kmath_vect3 *next = coin->points;
    for (int32_t p = 0; p < features->nPoints; ++p)
        if (features->groups[p] == group)
            *next++ =
                (kmath_vect3){.x = features->positions[2 * p], .y = features->positions[2 * p + 1]};
    return true;
}

void releaseCoin(Coin *coin)
{
    free(coin->points);
    coin->points = NULL;
}

Circle startCircle(const Coin *coin)
{
    kmath_vect3 low = coin->points[0], high = coin->points[0];
    for (int32_t i = 1; i < coin->count; ++i) {
        low.x = fmin(low.x, coin->points[i].x);
        low.y = fmin(low.y, coin->points[i].y);
        high.x = fmax(high.x, coin->points[i].x);
        high.y = fmax(high.y, coin->points[i].y);
    }
    return (Circle){.x = (low.x + high.x) / 2,
                    .y = (low.y + high.y) / 2,
                    .radius = (high.x - low.x + high.y - low.y) / 4};
}

double distanceFrom(const Circle *circle, const kmath_vect3 *point)
{
    return hypot(point->x - circle->x, point->y - circle->y) - circle->radius;
}

int32_t pointsNear(const Circle *circle, const Coin *coin, double tolerance)
{
    int32_t count = 0;
    for (int32_t i = 0; i < coin->count; ++i)
        count += fabs(distanceFrom(circle, &coin->points[i])) <= tolerance;
    return count;
}

double misfit(const Circle *circle, const Coin *coin)
{
    double sum = 0;
    for (int32_t i = 0; i < coin->count; ++i) {
        const double d = distanceFrom(circle, &coin->points[i]) / ROBUST_SCALE;
        sum += log1p(d * d);
    }
    return sum / coin->count;
}

/* By x, y and radius d changes as the unit vector to the centre, and by −1; a point in the centre
 * has no such vector. */
void misfitSlopes(const Circle *circle, const Coin *coin, double *slopes)
{
    slopes[0] = slopes[1] = slopes[2] = 0;
    for (int32_t i = 0; i < coin->count; ++i) {
        const double dx = circle->x - coin->points[i].x, dy = circle->y - coin->points[i].y;
        const double length = hypot(dx, dy), d = length - circle->radius;
        const double byDistance = 2 * d / (ROBUST_SCALE * ROBUST_SCALE + d * d) / coin->count;
        if (length > 0) {
            slopes[0] += byDistance * dx / length;
            slopes[1] += byDistance * dy / length;
        }
        slopes[2] -= byDistance;
    }
}
