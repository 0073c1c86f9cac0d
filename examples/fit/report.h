/*
 * What the program tells: the table of all fits, the closing line, and a progress line.
 */
#ifndef FIT_REPORT_H
#define FIT_REPORT_H

#include "fitting.h"

enum { FITS_PER_WAY = MODEL_COUNT * START_COUNT, FIT_COUNT = FITS_PER_WAY * WAY_COUNT };

/* The fits of one data set, by way and start. */
typedef struct Fits {
    Fit fit[WAY_COUNT][START_COUNT];
} Fits;

/* Shows on a terminal which fit is running; silent where stderr is a file or a pipe. */
void showProgress(int32_t fitsDone, const DataSet *set, int32_t start, FitWay way);
void clearProgress(void);

/* One table a way, one line a fit. */
void printTables(const DataSet *sets, const Fits *fits);

/* How many of the fits reached the digits asked of their way. */
void printClosingLine(const Fits *fits);

#endif
