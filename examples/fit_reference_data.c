/*
 * Fits thirteen measured data sets with certified answers (data/README.md) from both published
 * starts, once as the solver comes and once with care, and shows how many digits are right.
 *
 *     fit_reference_data [DATA_FOLDER [OUTPUT_FOLDER]]
 */
#include "fit/picture.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int printUsage(FILE *stream)
{
    fputs("usage: fit_reference_data [DATA_FOLDER [OUTPUT_FOLDER]]\n"
          "\n"
          "Fits the data sets in DATA_FOLDER (default: data/nonlinear) and prints the digits that\n"
          "agree with the certified parameters; draws the fitted curves with gnuplot into\n"
          "OUTPUT_FOLDER/fit_reference_data.png (default: out).\n",
          stream);
    return stream == stderr ? 2 : EXIT_SUCCESS;
}

/* Tells all that is wrong with the files, not only the first. */
static bool readAll(DataSet *sets, const char *folder)
{
    bool complete = true;
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        complete = readDataSet(&sets[i], &models[i], folder) && complete;
    return complete;
}

static void fitAll(const DataSet *sets, Fits *fits)
{
    int32_t done = 0;
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        for (FitWay way = 0; way < WAY_COUNT; ++way)
            for (int32_t start = 0; start < START_COUNT; ++start) {
                showProgress(done++, &sets[i], start, way);
                fits[i].fit[way][start] = runFit(&sets[i], start, way);
            }
    clearProgress();
}

int main(int argc, char **argv)
{
    const char *dataFolder = argc > 1 ? argv[1] : "data/nonlinear";
    const char *outputFolder = argc > 2 ? argv[2] : "out";
    if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0))
        return printUsage(stdout);
    if (argc > 3 || dataFolder[0] == '-')
        return printUsage(stderr);

    DataSet sets[MODEL_COUNT];
    Fits fits[MODEL_COUNT];
    bool complete = readAll(sets, dataFolder);
    if (complete) {
        fitAll(sets, fits);
        printTables(sets, fits);
        complete = drawPicture(sets, fits, outputFolder);
        printClosingLine(fits);
    }
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        releaseDataSet(&sets[i]);
    return complete ? EXIT_SUCCESS : EXIT_FAILURE;
}
