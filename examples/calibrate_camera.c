/*
 * Calibrates a camera from measured corners of a flat board (data/README.md): closed form first,
 * then the least-squares optimum over the camera and all poses, beside the known one.
 *
 *     calibrate_camera [CORNER_FILE [OUTPUT_FOLDER]]
 */
#include "calibrate/closed_form.h"
#include "calibrate/picture.h"

#include "examples/common/status.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int printUsage(FILE *stream)
{
    fputs("usage: calibrate_camera [CORNER_FILE [OUTPUT_FOLDER]]\n"
          "\n"
          "Calibrates the camera that took the corners in CORNER_FILE (default:\n"
          "data/calibration/chessboard.csv) and prints it with the poses and errors of all views;\n"
          "draws the residual vectors with gnuplot into OUTPUT_FOLDER/calibrate_camera.png\n"
          "(default: out).\n",
          stream);
    return stream == stderr ? 2 : EXIT_SUCCESS;
}

static bool refineAll(const Corners *corners, Results *results)
{
    for (Units units = 0; units < UNITS_COUNT; ++units)
        for (int32_t run = 0; run < RUNS; ++run) {
            Refinement *refined = &results->refined[units][run];
            *refined = refine(corners, &results->start, units, run == THREADED);
            if (KMATH_IS_FAILURE(refined->status)) {
                fprintf(stderr, "refinement in %s failed: %s\n", unitsName[units],
                        statusName(refined->status));
                return false;
            }
        }
    return true;
}

/* Fills results, and residuals with those of the best calibration. */
static bool calibrate(const Corners *corners, Results *results, double *residuals)
{
    double sum;
    return findClosedForm(corners, &results->start) &&
           !KMATH_IS_FAILURE(
               computeAllResiduals(corners, &results->start, residuals, &results->startSum)) &&
           refineAll(corners, results) &&
           !KMATH_IS_FAILURE(
               computeAllResiduals(corners, &bestOf(results)->result, residuals, &sum));
}

static bool calibrateAndReport(const Corners *corners, const char *outputFolder)
{
    Results *results = calloc(1, sizeof *results);
    double *residuals = calloc((size_t)residualCount(corners), sizeof *residuals);
    bool complete = results != NULL && residuals != NULL;
    if (!complete)
        fputs("no memory for the residuals\n", stderr);
    complete = complete && calibrate(corners, results, residuals);
    if (complete) {
        printTables(corners, results, residuals);
        complete = drawPicture(corners, results, residuals, outputFolder);
        printClosingLine(corners, results);
    }
    free(residuals);
    free(results);
    return complete;
}

int main(int argc, char **argv)
{
    const char *cornerFile = argc > 1 ? argv[1] : "data/calibration/chessboard.csv";
    const char *outputFolder = argc > 2 ? argv[2] : "out";
    if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0))
        return printUsage(stdout);
    if (argc > 3 || cornerFile[0] == '-')
        return printUsage(stderr);

    Corners corners;
    if (!readCorners(&corners, cornerFile))
        return EXIT_FAILURE;
    const bool complete = calibrateAndReport(&corners, outputFolder);
    releaseCorners(&corners);
    return complete ? EXIT_SUCCESS : EXIT_FAILURE;
}
