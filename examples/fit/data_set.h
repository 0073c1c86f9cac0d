/*
 * One data set: observations, published starts and certified answer, read from a CSV file whose
 * format data/README.md describes.
 */
#ifndef FIT_DATA_SET_H
#define FIT_DATA_SET_H

#include "models.h"

enum { TEXT_SIZE = 256, START_COUNT = 2 };

typedef struct DataSet {
    const Model *model;
    char equation[TEXT_SIZE];
    char responseName[TEXT_SIZE];
    char predictorName[MAX_PREDICTORS][TEXT_SIZE];
    int32_t nObservations;
    int32_t degreesOfFreedom;
    double residualSum;       /* certified residual sum of squares */
    double residualDeviation; /* certified √(residual sum / degrees of freedom) */
    double start[START_COUNT][MAX_PARAMETERS];
    double certified[MAX_PARAMETERS];
    double deviation[MAX_PARAMETERS]; /* certified standard deviations */
    double *y;                        /* nObservations responses */
    double *x;                        /* nObservations × nPredictors */
} DataSet;

/*
 * Reads folder/<file of the model>. Anything missing, cut short or malformed is told on stderr as
 * file:line: reason; the result is then false and there is nothing to release.
 */
bool readDataSet(DataSet *set, const Model *model, const char *folder);

void releaseDataSet(DataSet *set);

/* The predictors of one observation. */
const double *predictors(const DataSet *set, int32_t observation);

/* Σ (model − response)² at the parameters b. */
double residualSumAt(const DataSet *set, const double *b);

#endif
