#include "hull.h"

#include <math.h>
#include <stdbool.h>
#include <stdlib.h>

static int leftToRight(const void *a, const void *b)
{
    const kmath_vect3 *p = a, *q = b;
    const int byX = (p->x > q->x) - (p->x < q->x);
    return byX != 0 ? byX : (p->y > q->y) - (p->y < q->y);
}

/* Twice the area of the triangle abc, positive where it turns left. */
static double twiceArea(const kmath_vect3 *a, const kmath_vect3 *b, const kmath_vect3 *c)
{
    return (b->x - a->x) * (c->y - a->y) - (b->y - a->y) * (c->x - a->x);
}

static double distance(const kmath_vect3 *a, const kmath_vect3 *b)
{
    return hypot(b->x - a->x, b->y - a->y);
}

/* Points on a line are on it up to rounding: what turns by less than the sine is no corner. */
static bool turnsLeft(const kmath_vect3 *a, const kmath_vect3 *b, const kmath_vect3 *c)
{
    const double leastSine = 1e-10;
    return twiceArea(a, b, c) > leastSine * distance(a, b) * distance(b, c);
}

/* Adds a corner behind those from first on that still turn left. */
static size_t extend(kmath_vect3 *corners, size_t first, size_t count, const kmath_vect3 *point)
{
    while (count >= first + 2 && !turnsLeft(&corners[count - 2], &corners[count - 1], point))
        --count;
    corners[count] = *point;
    return count + 1;
}

/* The lower chain to the right and the upper one back; the last corner would be the first again. */
static size_t scan(const kmath_vect3 *sorted, size_t n, kmath_vect3 *corners)
{
    size_t count = 0;
    for (size_t i = 0; i < n; ++i)
        count = extend(corners, 0, count, &sorted[i]);
    const size_t rightmost = count - 1;
    for (size_t i = n - 1; i-- > 0;)
        count = extend(corners, rightmost, count, &sorted[i]);
    return count - 1;
}

kmath_status convexHull(const kstd_vector_kmath_vect3 *points, kstd_vector_kmath_vect3 *hull)
{
    kstd_vector_kmath_vect3 sorted;
    kmath_vect3 *from, *to;
    size_t n;
    kmath_status status = kstd_vector_kmath_vect3_constructCopy(&sorted, points);
    if (KMATH_IS_FAILURE(status))
        return status;
    status = kstd_vector_kmath_vect3_getBeginSize(&sorted, &from, &n);
    if (!KMATH_IS_FAILURE(status)) /* plain memory, so not constructing is allowed */
        status = kstd_vector_kmath_vect3_resizeUninit(hull, n > 0 ? 2 * n : 0);
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect3_getBegin(hull, &to);
    if (!KMATH_IS_FAILURE(status) && n > 0) {
        qsort(from, n, sizeof *from, leftToRight);
        status = kstd_vector_kmath_vect3_resize(hull, scan(from, n, to));
    }
    kstd_vector_kmath_vect3_destruct(&sorted);
    return status;
}

double polygonArea(const kmath_vect3 *corners, size_t count)
{
    double twice = 0;
    for (size_t i = 2; i < count; ++i)
        twice += twiceArea(&corners[0], &corners[i - 1], &corners[i]);
    return twice / 2;
}

double greatestExtent(const kmath_vect3 *corners, size_t count)
{
    double greatest = 0;
    for (size_t i = 0; i < count; ++i)
        for (size_t j = 0; j < i; ++j)
            greatest = fmax(greatest, distance(&corners[i], &corners[j]));
    return greatest;
}
