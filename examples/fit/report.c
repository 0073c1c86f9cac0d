#define _POSIX_C_SOURCE 200809L

#include "report.h"

#include <stdio.h>
#include <unistd.h>

typedef struct WayText {
    const char *name;
    const char *caption;
    double digitsWanted;
} WayText;

static const WayText wayText[WAY_COUNT] = {
    {"as it comes", "numeric Jacobian, every default of the solver record, raw parameters", 4},
    {"with care", "exact derivatives, parameters scaled by their start values, maxIterations 2000",
     6},
};

static bool reaches(const Fit *fit, FitWay way)
{
    return !KMATH_IS_FAILURE(fit->status) && fit->digits >= wayText[way].digitsWanted;
}

static int32_t countReaching(const Fits *fits, FitWay way)
{
    int32_t count = 0;
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        for (int32_t start = 0; start < START_COUNT; ++start)
            count += reaches(&fits[i].fit[way][start], way);
    return count;
}

void showProgress(int32_t fitsDone, const DataSet *set, int32_t start, FitWay way)
{
    if (isatty(STDERR_FILENO))
        fprintf(stderr, "\rfit %2d of %d: %-8s from start %d, %-11s ", (int)(fitsDone + 1),
                FIT_COUNT, set->model->set, (int)(start + 1), wayText[way].name);
}

void clearProgress(void)
{
    if (isatty(STDERR_FILENO))
        fprintf(stderr, "\r%60s\r", "");
}

static void printFit(const DataSet *set, const Fit *fit, int32_t start, FitWay way)
{
    printf("%-9s %5d %6d %5d %7.1f%c %10d %11d %9.2f  %17.10E  %17.10E", set->model->set,
           (int)(start + 1), (int)set->model->nParameters, (int)set->nObservations, fit->digits,
           reaches(fit, way) ? ' ' : '*', (int)fit->iterations, (int)fit->evaluations,
           1e3 * fit->seconds, fit->residualSum, set->residualSum);
    if (KMATH_IS_FAILURE(fit->status))
        printf("  failed with status 0x%08x", (unsigned)fit->status);
    putchar('\n');
}

static void printTable(const DataSet *sets, const Fits *fits, FitWay way)
{
    printf("%s: %s (* below %g digits)\n\n", wayText[way].name, wayText[way].caption,
           wayText[way].digitsWanted);
    puts("                      obser-  correct              residual             residual sum of "
         "squares");
    puts("set       start params vations digits iterations evaluations   time ms          "
         "reached          certified");
    for (int32_t i = 0; i < MODEL_COUNT; ++i)
        for (int32_t start = 0; start < START_COUNT; ++start)
            printFit(&sets[i], &fits[i].fit[way][start], start, way);
    putchar('\n');
}

void printTables(const DataSet *sets, const Fits *fits)
{
    for (FitWay way = 0; way < WAY_COUNT; ++way)
        printTable(sets, fits, way);
}

void printClosingLine(const Fits *fits)
{
    printf("%s: %d of %d fits with at least %g digits; %s: %d of %d with at least %g digits\n",
           wayText[AS_IT_COMES].name, (int)countReaching(fits, AS_IT_COMES), FITS_PER_WAY,
           wayText[AS_IT_COMES].digitsWanted, wayText[WITH_CARE].name,
           (int)countReaching(fits, WITH_CARE), FITS_PER_WAY, wayText[WITH_CARE].digitsWanted);
}
