#include "report.h"

#include <math.h>
#include <stdio.h>

enum { REFERENCE_DIGITS = 9 };

const char *const unitsName[UNITS_COUNT] = {"raw pixels", "model units"};

const Refinement *bestOf(const Results *results) { return &results->refined[MODEL][THREADED]; }

double rootMeanSquare(double sumOfSquares, int32_t cornersMeasured)
{
    return sqrt(sumOfSquares / cornersMeasured);
}

static const double *residualsOf(const Corners *corners, const double *residuals, int32_t view)
{
    return &residuals[2 * cornerCount(corners) * view];
}

double viewSum(const Corners *corners, const double *residuals, int32_t view)
{
    const double *r = residualsOf(corners, residuals, view);
    double sum = 0;
    for (int32_t k = 0; k < 2 * cornerCount(corners); ++k)
        sum += r[k] * r[k];
    return sum;
}

/* −log10(|x − reference| / |reference|), within what the reference is worth. */
static double correctDigits(double x, double reference)
{
    const double error = fabs(x - reference) / fabs(reference);
    return error < 1 ? fmin(-log10(error), REFERENCE_DIGITS) : 0;
}

static double worstDigits(const Corners *corners, const double *camera, int32_t from, int32_t to)
{
    double worst = REFERENCE_DIGITS;
    for (int32_t j = from; j < to; ++j)
        worst = fmin(worst, correctDigits(camera[j], corners->reference[j]));
    return worst;
}

static double relativeDifference(double sum, double reference)
{
    return (sum - reference) / reference;
}

static void printCamera(const char *name, const double *camera, double sum)
{
    printf("%-20s", name);
    for (int32_t j = 0; j < INTRINSICS; ++j)
        printf("%14.*f", j < K1 ? 6 : 8, camera[j]);
    printf("%18.8f\n", sum);
}

static void printDigits(const Corners *corners, const Refinement *refined, Units units)
{
    printf("digits, %-12s", unitsName[units]);
    for (int32_t j = 0; j < INTRINSICS; ++j)
        printf("%14.1f", correctDigits(refined->result.camera[j], corners->reference[j]));
    printf("%18.1f\n", correctDigits(refined->sumOfSquares, corners->referenceSum));
}

static void printCameras(const Corners *corners, const Results *results)
{
    printf("%-20s", "");
    for (int32_t j = 0; j < INTRINSICS; ++j)
        printf("%14s", intrinsicName[j]);
    printf("%18s\n", "sum of squares");
    printCamera("closed form", results->start.camera, results->startSum);
    for (Units units = 0; units < UNITS_COUNT; ++units)
        printCamera(unitsName[units], results->refined[units][THREADED].result.camera,
                    results->refined[units][THREADED].sumOfSquares);
    if (!corners->hasReference)
        return;
    printCamera("reference optimum", corners->reference, corners->referenceSum);
    for (Units units = 0; units < UNITS_COUNT; ++units)
        printDigits(corners, &results->refined[units][THREADED], units);
}

static void printRun(const Corners *corners, const Refinement *run, Units units)
{
    printf("%-15s %7d %9d %11d %9d %9.1f %8.1f %8.1f", unitsName[units], (int)run->threads,
           (int)run->jacobians, (int)run->evaluations, (int)run->viewsProjected, run->slopeDigits,
           1e3 * run->seconds, 1e3 * run->jacobianSeconds);
    if (corners->hasReference)
        printf("  %+.1e", relativeDifference(run->sumOfSquares, corners->referenceSum));
}

static void printRuns(const Corners *corners, const Results *results)
{
    printf(
        "\n                                     residual     views digits of     time    of it%s\n"
        "parametrisation threads Jacobians evaluations projected    du/dfx       ms Jacobian%s\n",
        corners->hasReference ? "  sum of squares" : "",
        corners->hasReference ? "  off reference" : "");
    for (Units units = 0; units < UNITS_COUNT; ++units) {
        const Refinement *runs = results->refined[units];
        printRun(corners, &runs[SERIAL], units);
        putchar('\n');
        printRun(corners, &runs[THREADED], units);
        puts(haveSameBits(corners, &runs[SERIAL].result, &runs[THREADED].result) ? "  the same bits"
                                                                                 : "  other bits");
    }
}

static void printView(const Corners *corners, const Results *results, const double *residuals,
                      int32_t view)
{
    const double *r = residualsOf(corners, residuals, view);
    const Pose *pose = &bestOf(results)->result.poses[view];
    int32_t worst = 0;
    for (int32_t k = 1; k < cornerCount(corners); ++k)
        if (hypot(r[2 * k], r[2 * k + 1]) > hypot(r[2 * worst], r[2 * worst + 1]))
            worst = k;
    printf("%-15s %7.4f %8.4f %7d %4d %13.8f %12.8f %12.8f %13.7f %12.7f %12.7f\n",
           corners->views[view].name,
           rootMeanSquare(viewSum(corners, residuals, view), cornerCount(corners)),
           hypot(r[2 * worst], r[2 * worst + 1]), (int)boardX(corners, worst),
           (int)boardY(corners, worst), pose->rotation.x, pose->rotation.y, pose->rotation.z,
           pose->translation.x, pose->translation.y, pose->translation.z);
}

void printTables(const Corners *corners, const Results *results, const double *residuals)
{
    printf("%d views of %d x %d corners, image of %d x %d pixels: %d residuals, %d parameters\n\n",
           (int)corners->nViews, (int)corners->columns, (int)corners->rows, (int)corners->width,
           (int)corners->height, (int)residualCount(corners), (int)parameterCount(corners));
    printCameras(corners, results);
    printRuns(corners, results);
    puts("\n         reprojection error in pixels\n"
         "view           r.m.s.   largest at column row        rotation vector in radians     "
         "             translation in squares");
    for (int32_t i = 0; i < corners->nViews; ++i)
        printView(corners, results, residuals, i);
    printf("%-15s %7.4f\n\n", "all",
           rootMeanSquare(bestOf(results)->sumOfSquares, residualCount(corners) / 2));
}

void printClosingLine(const Corners *corners, const Results *results)
{
    const Refinement *best = bestOf(results);
    if (corners->hasReference)
        printf("%s: sum of squares %.8f, %+.1e from the reference; fx fy cx cy agree to %.1f "
               "digits, k1 k2 to %.1f\n",
               unitsName[MODEL], best->sumOfSquares,
               relativeDifference(best->sumOfSquares, corners->referenceSum),
               worstDigits(corners, best->result.camera, FX, K1),
               worstDigits(corners, best->result.camera, K1, INTRINSICS));
    else
        printf("%s: sum of squares %.8f\n", unitsName[MODEL], best->sumOfSquares);
}
