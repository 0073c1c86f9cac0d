/*
 * Fits circles to edge points of coins (data/README.md), half of which lie on the relief and not on
 * the rim. The measure that lets the rim win is no sum of squares: it is minimised with its slopes
 * and without them, beside the circle of least squares.
 *
 *     minimize_scalar [FEATURE_FILE [OUTPUT_FOLDER]]
 */
#include "examples/common/status.h"
#include "minimize/picture.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int printUsage(FILE *stream)
{
    fputs(
        "usage: minimize_scalar [FEATURE_FILE [OUTPUT_FOLDER]]\n"
        "\n"
        "Fits a circle to the points of each coin in FEATURE_FILE (default:\n"
        "data/features/coins.csv) by least squares and, so that points off the rim hardly count,\n"
        "by least misfit in two ways; prints the circles and what they cost, and draws them with\n"
        "gnuplot into OUTPUT_FOLDER/minimize_scalar.png (default: out).\n",
        stream);
    return stream == stderr ? 2 : EXIT_SUCCESS;
}

static bool chooseAll(Result *results, const Features *features)
{
    for (int32_t i = 0; i < features->nGroups; ++i)
        if (!chooseCoin(&results[i].coin, features, i + 1))
            return false;
    return true;
}

static bool succeeded(kmath_status status, const Result *result, const char *way)
{
    if (KMATH_IS_FAILURE(status)) {
        fflush(stdout);
        fprintf(stderr, "coin %d: no circle by %s: %s\n", (int)result->coin.group, way,
                statusName(status));
    }
    return !KMATH_IS_FAILURE(status);
}

static bool fitAllWays(Result *result)
{
    static const char *const nameOf[WAYS] = {"conjugate gradients", "differences"};
    if (!succeeded(fitCircle(result->coin.points, result->coin.count, &result->leastSquares),
                   result, "least squares"))
        return false;
    for (Way way = 0; way < WAYS; ++way) {
        result->fits[way] = fitByMisfit(&result->coin, way);
        if (!succeeded(result->fits[way].status, result, nameOf[way]))
            return false;
    }
    return true;
}

static bool fitAndReport(Result *results, const Features *features, const char *outputFolder)
{
    const int32_t count = features->nGroups;
    if (!chooseAll(results, features))
        return false;
    printFile(features);
    printHeading();
    for (int32_t i = 0; i < count; ++i) {
        if (!fitAllWays(&results[i]))
            return false;
        printCircles(&results[i]);
    }
    printCosts(results, count);
    const bool drawn = drawPicture(results, count, outputFolder);
    printClosingLine(results, count);
    return drawn;
}

int main(int argc, char **argv)
{
    const char *file = argc > 1 ? argv[1] : "data/features/coins.csv";
    const char *outputFolder = argc > 2 ? argv[2] : "out";
    if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0))
        return printUsage(stdout);
    if (argc > 3 || file[0] == '-')
        return printUsage(stderr);

    Features features;
    static Result results[MAX_GROUPS];
    if (!readFeatures(&features, file))
        return EXIT_FAILURE;
    const bool complete = fitAndReport(results, &features, outputFolder);
    for (int32_t i = 0; i < features.nGroups; ++i)
        releaseCoin(&results[i].coin);
    releaseFeatures(&features);
    return complete ? EXIT_SUCCESS : EXIT_FAILURE;
}
