/*
 * The reader takes one line after another in the order of the format. A helper that finds something
 * wrong tells it with file and line and returns false, so that a step reads as a chain.
 */
#include "data_set.h"

#include <errno.h>
#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { LINE_SIZE = 1024, PATH_SIZE = 4096, MAX_OBSERVATIONS = 1000000, PARAMETER_FIELDS = 5 };

typedef struct Reader {
    FILE *file;
    char path[PATH_SIZE];
    int32_t line;         /* number of the line in text, from 1 */
    char text[LINE_SIZE]; /* the line, cut at its commas once it is split */
} Reader;

static bool complain(const Reader *in, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "%s:%d: ", in->path, (int)in->line);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    return false;
}

/* Reads one line into text, without its end; a line that just stops may have lost digits. */
static bool readLine(Reader *in, const char *expected)
{
    size_t length = 0;
    int c = getc(in->file);
    ++in->line;
    for (; c != EOF && c != '\n'; c = getc(in->file)) {
        if (length == LINE_SIZE - 1)
            return complain(in, "line longer than %d characters", LINE_SIZE - 1);
        if (c == '\0')
            return complain(in, "binary data instead of text");
        in->text[length++] = (char)c;
    }
    if (c == EOF && ferror(in->file))
        return complain(in, "cannot be read: %s", strerror(errno));
    if (c == EOF)
        return complain(in,
                        length == 0 ? "cut short: %s is missing"
                                    : "cut short in the middle of a line: %s is incomplete",
                        expected);
    if (length > 0 && in->text[length - 1] == '\r')
        --length;
    in->text[length] = '\0';
    return true;
}

/* Reads the next line that is not a comment. */
static bool nextLine(Reader *in, const char *expected)
{
    do {
        if (!readLine(in, expected))
            return false;
    } while (in->text[0] == '#');
    return true;
}

/* Cuts the line at its commas into exactly count fields. */
static bool split(const Reader *in, char *text, int32_t count, char **fields, const char *expected)
{
    int32_t found = 0;
    for (char *rest = text; rest != NULL; ++found) {
        char *comma = strchr(rest, ',');
        if (found < count)
            fields[found] = rest;
        if (comma != NULL)
            *comma++ = '\0';
        rest = comma;
    }
    if (found != count)
        return complain(in, "expected %s in %d fields, found %d", expected, (int)count, (int)found);
    return true;
}

/* A finite decimal number and nothing else; strtod alone would also take "nan" and "0x1p3". */
static bool toNumber(const Reader *in, const char *field, const char *what, double *number)
{
    char *end;
    *number = strtod(field, &end);
    if (*field == '\0' || *end != '\0' || strspn(field, "+-.0123456789eE") != strlen(field) ||
        !isfinite(*number))
        return complain(in, "expected a number for %s, found '%s'", what, field);
    return true;
}

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
    Reader in = {0};
    memset(set, 0, sizeof *set);
    set->model = model;
    snprintf(in.path, sizeof in.path, "%s/%s", folder, model->file);
    in.file = fopen(in.path, "r");
    if (in.file == NULL) {
        fprintf(stderr, "%s: cannot be opened: %s\n", in.path, strerror(errno));
        return false;
    }
    const bool complete = readHead(&in, set) && readParameters(&in, set) &&
                          readColumnNames(&in, set) && readObservations(&in, set);
    fclose(in.file);
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
