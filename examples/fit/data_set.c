/*
 * The reader takes one line after another in the order of the format.
 */
#include "data_set.h"

#include "examples/common/csv.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

enum { MAX_OBSERVATIONS = 1000000, PARAMETER_FIELDS = 5 };

/* The value of the line "key,value", or null. */
static const char *readEntry(Reader *in, const char *key)
{
    char *fields[2];
    if (!nextLine(in, key) || !split(in, in->text, 2, fields, key))
        return NULL;
    if (strcmp(fields[0], key) == 0)
        return fields[1];
    complain(in, "expected '%s', found '%s'", key, fields[0]);
    return NULL;
}

static bool readText(Reader *in, const char *key, char *text)
{
    const char *value = readEntry(in, key);
    if (value == NULL)
        return false;
    if (strlen(value) >= TEXT_SIZE)
        return complain(in, "%s is longer than %d characters", key, TEXT_SIZE - 1);
    strcpy(text, value);
    return true;
}

static bool readReal(Reader *in, const char *key, double *number)
{
    const char *value = readEntry(in, key);
    return value != NULL && toNumber(in, value, key, number);
}

static bool readCount(Reader *in, const char *key, int32_t *count)
{
    double number;
    if (!readReal(in, key, &number))
        return false;
    if (!(number >= 1 && number <= MAX_OBSERVATIONS) || number != floor(number))
        return complain(in, "expected a count from 1 to %d for %s", MAX_OBSERVATIONS, key);
    *count = (int32_t)number;
    return true;
}

/* Everything above the parameters, checked against the model and within itself. */
static bool readHead(Reader *in, DataSet *set)
{
    char name[TEXT_SIZE];
    int32_t nParameters = 0;
    if (!readText(in, "set", name))
        return false;
    if (strcmp(name, set->model->set) != 0)
        return complain(in, "expected the set %s, found %s", set->model->set, name);
    if (!readText(in, "model", set->equation) || !readCount(in, "parameters", &nParameters))
        return false;
    if (nParameters != set->model->nParameters)
        return complain(in, "expected %d parameters, found %d", (int)set->model->nParameters,
                        (int)nParameters);
    if (!readCount(in, "observations", &set->nObservations) ||
        !readReal(in, "residual sum of squares", &set->residualSum) ||
        !readReal(in, "residual standard deviation", &set->residualDeviation) ||
        !readCount(in, "degrees of freedom", &set->degreesOfFreedom))
        return false;
    if (set->degreesOfFreedom != set->nObservations - nParameters)
        return complain(in, "%d degrees of freedom do not fit %d observations of %d parameters",
                        (int)set->degreesOfFreedom, (int)set->nObservations, (int)nParameters);
    const double deviation = sqrt(set->residualSum / set->degreesOfFreedom);
    if (!(fabs(deviation - set->residualDeviation) <= 1e-9 * deviation))
        return complain(in, "the residual sum of squares, its deviation and the degrees of freedom "
                            "disagree");
    return true;
}

/* One line "b1,start 1,start 2,certified,standard deviation". */
static bool readParameter(Reader *in, DataSet *set, int32_t j)
{
    char name[16];
    char *fields[PARAMETER_FIELDS];
    snprintf(name, sizeof name, "b%d", (int)(j + 1));
    if (!nextLine(in, name) || !split(in, in->text, PARAMETER_FIELDS, fields, name))
        return false;
    if (strcmp(fields[0], name) != 0)
        return complain(in, "expected '%s', found '%s'", name, fields[0]);
    if (!toNumber(in, fields[1], "start 1", &set->start[0][j]) ||
        !toNumber(in, fields[2], "start 2", &set->start[1][j]) ||
        !toNumber(in, fields[3], "the certified value", &set->certified[j]) ||
        !toNumber(in, fields[4], "the standard deviation", &set->deviation[j]))
        return false;
    /* Starts serve as units of the parameters, certified values as units of the error. */
    if (set->start[0][j] == 0 || set->start[1][j] == 0 || set->certified[j] == 0)
        return complain(in, "starts and certified value must not be 0");
    return true;
}

static bool readParameters(Reader *in, DataSet *set)
{
    static const char head[] = "parameter,start 1,start 2,certified,standard deviation";
    if (!nextLine(in, "the line above the parameters"))
        return false;
    if (strcmp(in->text, head) != 0)
        return complain(in, "expected '%s', found '%s'", head, in->text);
    for (int32_t j = 0; j < set->model->nParameters; ++j)
        if (!readParameter(in, set, j))
            return false;
    return true;
}

static bool readColumnNames(Reader *in, DataSet *set)
{
    char *fields[1 + MAX_PREDICTORS];
    if (!nextLine(in, "the line of column names") ||
        !split(in, in->text, 1 + set->model->nPredictors, fields, "column names"))
        return false;
    for (int32_t i = 0; i <= set->model->nPredictors; ++i) {
        if (strlen(fields[i]) >= TEXT_SIZE)
            return complain(in, "column name longer than %d characters", TEXT_SIZE - 1);
        strcpy(i == 0 ? set->responseName : set->predictorName[i - 1], fields[i]);
    }
    return true;
}

/* One line "y,x" or "y,x1,x2". */
static bool readObservation(Reader *in, DataSet *set, int32_t k)
{
    const int32_t nPredictors = set->model->nPredictors;
    char what[64];
    char *fields[1 + MAX_PREDICTORS];
    snprintf(what, sizeof what, "observation %d of %d", (int)(k + 1), (int)set->nObservations);
    if (!nextLine(in, what) || !split(in, in->text, 1 + nPredictors, fields, what) ||
        !toNumber(in, fields[0], what, &set->y[k]))
        return false;
    for (int32_t i = 0; i < nPredictors; ++i)
        if (!toNumber(in, fields[1 + i], what, &set->x[k * nPredictors + i]))
            return false;
    if (set->model->fitsLogarithm && !(set->y[k] > 0))
        return complain(in, "the logarithm of %s does not exist", what);
    return true;
}

static bool readObservations(Reader *in, DataSet *set)
{
    const size_t count = (size_t)set->nObservations;
    set->y = calloc(count, sizeof *set->y);
    set->x = calloc(count * (size_t)set->model->nPredictors, sizeof *set->x);
    if (set->y == NULL || set->x == NULL)
        return complain(in, "no memory for %d observations", (int)set->nObservations);
    for (int32_t k = 0; k < set->nObservations; ++k)
        if (!readObservation(in, set, k))
            return false;
    ++in->line;
    if (getc(in->file) != EOF)
        return complain(in, "expected the end after %d observations", (int)set->nObservations);
    return true;
}

bool readDataSet(DataSet *set, const Model *model, const char *folder)
{
    Reader in;
    char path[PATH_SIZE];
    memset(set, 0, sizeof *set);
    set->model = model;
    snprintf(path, sizeof path, "%s/%s", folder, model->file);
    if (!openReader(&in, path))
        return false;
    const bool complete = readHead(&in, set) && readParameters(&in, set) &&
                          readColumnNames(&in, set) && readObservations(&in, set);
    closeReader(&in);
    if (!complete)
        releaseDataSet(set);
    return complete;
}

void releaseDataSet(DataSet *set)
{
    free(set->y);
    free(set->x);
    set->y = NULL;
    set->x = NULL;
}

const double *predictors(const DataSet *set, int32_t observation)
{
    return &set->x[observation * set->model->nPredictors];
}

double residualSumAt(const DataSet *set, const double *b)
{
    double slope[MAX_PARAMETERS];
    double sum = 0;
    for (int32_t k = 0; k < set->nObservations; ++k) {
        const double value = set->model->value(b, predictors(set, k), slope);
        const double residual = value - response(set->model, set->y[k]);
        sum += residual * residual;
    }
    return sum;
}
