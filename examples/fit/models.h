/*
 * The thirteen models, each with its exact derivatives.
 *
 * A model function takes the parameters b and one row of predictors x, writes the derivative with
 * respect to each parameter into slope, and returns the value.
 */
#ifndef FIT_MODELS_H
#define FIT_MODELS_H

#include <stdbool.h>
#include <stdint.h>

enum { MAX_PARAMETERS = 9, MAX_PREDICTORS = 2, MAX_TERMS = 3, MODEL_COUNT = 13 };

/* Terms of equal form, such as the exponentials of a sum: their order in a solution is free. */
typedef struct ExchangeableTerms {
    int32_t count;                       /* number of terms, 0 when there are none */
    int32_t size;                        /* parameters in a term */
    int32_t index[MAX_TERMS][MAX_TERMS]; /* parameter indices, the one to sort by first */
} ExchangeableTerms;

typedef struct Model {
    const char *set;  /* name of the data set */
    const char *file; /* its file in the data folder */
    int32_t nParameters;
    int32_t nPredictors;
    bool fitsLogarithm; /* the model describes log(y), not y */
    double (*value)(const double *b, const double *x, double *slope);
    ExchangeableTerms terms;
} Model;

extern const Model models[MODEL_COUNT];

/* What the model is compared with: y or log(y). */
double response(const Model *model, double y);

/* Brings exchangeable terms into increasing order of their first parameter. */
void sortTerms(const Model *model, double *b);

#endif
