#include "report.h"

#include <math.h>
#include <stdio.h>

enum { MAX_DIGITS = 16 };

const double NEAR = 2;

/* Where the misfit is flat to its rounding, 1e-8 pixels are no difference; where two minima nearly
 * merge, the flat place is larger. */
static const double SAME_CIRCLE = 1e-5;

void printFile(const Features *features)
{
    int32_t count = 0;
    for (int32_t p = 0; p < features->nPoints; ++p)
        count += features->groups[p] > 0;
    printf("%s: %d edge points on the rims and reliefs of %d coins\n"
           "misfit of a circle: the mean of log(1 + d²/s²) over the points, s = %g pixel; near: "
           "points with |d| up to %g\n",
           features->path, (int)count, (int)features->nGroups, ROBUST_SCALE, NEAR);
}

void printHeading(void)
{
    puts("\nin pixels           least squares           conjugate gradients, with slopes     "
         "differences, without slopes\n"
         "coin points       x       y  radius near        x           y      radius near"
         "         x           y      radius");
}

void printCircles(const Result *result)
{
    const Circle *squares = &result->leastSquares;
    const Circle *conjugate = &result->fits[CONJUGATE_GRADIENTS].circle;
    const Circle *differences = &result->fits[BY_DIFFERENCES].circle;
    printf("%4d %6d %7.2f %7.2f %7.2f %4d %11.7f %11.7f %11.7f %4d %11.7f %11.7f %11.7f\n",
           (int)result->coin.group, (int)result->coin.count, squares->x, squares->y,
           squares->radius, (int)pointsNear(squares, &result->coin, NEAR), conjugate->x,
           conjugate->y, conjugate->radius, (int)pointsNear(conjugate, &result->coin, NEAR),
           differences->x, differences->y, differences->radius);
    fflush(stdout);
}

/* The largest difference between the two answers, in pixels. */
static double apart(const Result *result)
{
    const Circle *a = &result->fits[CONJUGATE_GRADIENTS].circle;
    const Circle *b = &result->fits[BY_DIFFERENCES].circle;
    return fmax(fmax(fabs(a->x - b->x), fabs(a->y - b->y)), fabs(a->radius - b->radius));
}

/* Digits in which the misfits of the two answers agree. */
static double agreeingDigits(const Result *result)
{
    const double a = result->fits[CONJUGATE_GRADIENTS].misfit;
    const double b = result->fits[BY_DIFFERENCES].misfit;
    return a == b ? MAX_DIGITS : fmin(fmax(-log10(fabs(a - b) / fabs(a)), 0), MAX_DIGITS);
}

/* How steep the misfit still is where a way ended, per pixel. */
static double steepness(const Result *result, Way way)
{
    double slopes[CIRCLE];
    misfitSlopes(&result->fits[way].circle, &result->coin, slopes);
    return sqrt(slopes[0] * slopes[0] + slopes[1] * slopes[1] + slopes[2] * slopes[2]);
}

static void printCost(const Result *result)
{
    const Fit *conjugate = &result->fits[CONJUGATE_GRADIENTS];
    const Fit *differences = &result->fits[BY_DIFFERENCES];
    printf("%4d %13.10f %13.10f %7.1f %8.1e %6d %5d %6.2f %8.1e %7d %6.1f %8.1e\n",
           (int)result->coin.group, conjugate->misfit, differences->misfit, agreeingDigits(result),
           apart(result), (int)conjugate->evaluations, (int)conjugate->gradients,
           1e3 * conjugate->seconds, steepness(result, CONJUGATE_GRADIENTS),
           (int)differences->evaluations, 1e3 * differences->seconds,
           steepness(result, BY_DIFFERENCES));
}

void printCosts(const Result *results, int32_t count)
{
    puts("\n             least misfit by            two answers     by conjugate gradients, with "
         "slopes  by differences, without\n"
         "coin     conjugate   differences  digits apart px values slopes   ms slope left  values"
         "     ms slope left");
    for (int32_t i = 0; i < count; ++i)
        printCost(&results[i]);
    putchar('\n');
}

void printClosingLine(const Result *results, int32_t count)
{
    int32_t agreeing = 0, closer = 0;
    for (int32_t i = 0; i < count; ++i) {
        const Result *result = &results[i];
        agreeing += apart(result) <= SAME_CIRCLE;
        closer += pointsNear(&result->fits[CONJUGATE_GRADIENTS].circle, &result->coin, NEAR) >
                  pointsNear(&result->leastSquares, &result->coin, NEAR);
    }
    printf("%d coins: the two answers agree within %g pixels for %d; more points are near them "
           "than near the least-squares circle for %d\n",
           (int)count, SAME_CIRCLE, (int)agreeing, (int)closer);
}
