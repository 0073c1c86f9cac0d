/*
 * What the program tells of a calibration: tables on stdout.
 */
#ifndef CALIBRATE_REPORT_H
#define CALIBRATE_REPORT_H

#include "refinement.h"

enum { SERIAL, THREADED, RUNS };

typedef struct Results {
    Calibration start;
    double startSum; /* sum of squared residuals of the start */
    Refinement refined[UNITS_COUNT][RUNS];
} Results;

extern const char *const unitsName[UNITS_COUNT];

/* The calibration that the report on views and the picture show. */
const Refinement *bestOf(const Results *results);

/* Root mean square of the distances between predicted and measured corners. */
double rootMeanSquare(double sumOfSquares, int32_t cornersMeasured);

/* Sum of squares of one view; residuals are those of all views, one view after the other. */
double viewSum(const Corners *corners, const double *residuals, int32_t view);

/* residuals: those of the best calibration. */
void printTables(const Corners *corners, const Results *results, const double *residuals);

void printClosingLine(const Corners *corners, const Results *results);

#endif
