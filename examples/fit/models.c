/*
 * Values and derivatives of the models of the NIST reference data sets. Parameters are counted from
 * 0 here: b[0] is the published b1.
 */
#include "models.h"

#include <math.h>

static const double pi = 3.141592653589793238462643383279;

/* One term a·exp(−r·x) with its derivatives by a and r. */
static double decay(double a, double r, double x, double *by_a, double *by_r)
{
    const double e = exp(-r * x);
    *by_a = e;
    *by_r = -a * x * e;
    return a * e;
}

/* One term a·exp(−(x − c)²/w²) with its derivatives by a, c and w. */
static double bell(double a, double c, double w, double x, double *by_a, double *by_c, double *by_w)
{
    const double t = (x - c) / w;
    const double e = exp(-t * t);
    *by_a = e;
    *by_c = 2 * a * e * t / w;
    *by_w = 2 * a * e * t * t / w;
    return a * e;
}

/* p·cos(2πx/T) + q·sin(2πx/T) with its derivatives by T, p and q. */
static double cycle(double T, double p, double q, double x, double *by_T, double *by_p,
                    double *by_q)
{
    const double angle = 2 * pi * x / T;
    *by_p = cos(angle);
    *by_q = sin(angle);
    *by_T = (p * *by_q - q * *by_p) * angle / T;
    return p * *by_p + q * *by_q;
}

/* (b0 + b1·x + … + bn·xⁿ) / (1 + bn+1·x + … + b2n·xⁿ) */
static double rational(int32_t n, const double *b, double x, double *slope)
{
    double numerator = b[n];
    double denominator = b[2 * n];
    for (int32_t k = n - 1; k > 0; --k) {
        numerator = numerator * x + b[k];
        denominator = denominator * x + b[n + k];
    }
    numerator = numerator * x + b[0];
    denominator = denominator * x + 1;

    const double quotient = numerator / denominator;
    slope[0] = 1 / denominator;
    double power = 1;
    for (int32_t k = 1; k <= n; ++k) {
        power *= x;
        slope[k] = power / denominator;
        slope[n + k] = -quotient * power / denominator;
    }
    return quotient;
}

static double misra1a(const double *b, const double *x, double *slope)
{
    const double e = exp(-b[1] * x[0]);
    slope[0] = 1 - e;
    slope[1] = b[0] * x[0] * e;
    return b[0] * (1 - e);
}

static double chwirut2(const double *b, const double *x, double *slope)
{
    const double denominator = b[1] + b[2] * x[0];
    const double value = exp(-b[0] * x[0]) / denominator;
    slope[0] = -x[0] * value;
    slope[1] = -value / denominator;
    slope[2] = -x[0] * value / denominator;
    return value;
}

static double lanczos3(const double *b, const double *x, double *slope)
{
    return decay(b[0], b[1], x[0], &slope[0], &slope[1]) +
           decay(b[2], b[3], x[0], &slope[2], &slope[3]) +
           decay(b[4], b[5], x[0], &slope[4], &slope[5]);
}

static double gauss1(const double *b, const double *x, double *slope)
{
    return decay(b[0], b[1], x[0], &slope[0], &slope[1]) +
           bell(b[2], b[3], b[4], x[0], &slope[2], &slope[3], &slope[4]) +
           bell(b[5], b[6], b[7], x[0], &slope[5], &slope[6], &slope[7]);
}

static double danWood(const double *b, const double *x, double *slope)
{
    const double power = pow(x[0], b[1]);
    slope[0] = power;
    slope[1] = b[0] * power * log(x[0]);
    return b[0] * power;
}

static double quadraticOverQuadratic(const double *b, const double *x, double *slope)
{
    return rational(2, b, x[0], slope);
}

static double cubicOverCubic(const double *b, const double *x, double *slope)
{
    return rational(3, b, x[0], slope);
}

static double nelson(const double *b, const double *x, double *slope)
{
    const double e = exp(-b[2] * x[1]);
    slope[0] = 1;
    slope[1] = -x[0] * e;
    slope[2] = b[1] * x[0] * x[1] * e;
    return b[0] - b[1] * x[0] * e;
}

static double mgh17(const double *b, const double *x, double *slope)
{
    slope[0] = 1;
    return b[0] + decay(b[1], b[3], x[0], &slope[1], &slope[3]) +
           decay(b[2], b[4], x[0], &slope[2], &slope[4]);
}

/* The arctangent is the principal value of the quotient; atan2 would move b1 by 1. */
static double roszman1(const double *b, const double *x, double *slope)
{
    const double distance = x[0] - b[3];
    const double length2 = distance * distance + b[2] * b[2];
    slope[0] = 1;
    slope[1] = -x[0];
    slope[2] = -distance / (pi * length2);
    slope[3] = -b[2] / (pi * length2);
    return b[0] - b[1] * x[0] - atan(b[2] / distance) / pi;
}

static double enso(const double *b, const double *x, double *slope)
{
    double fixedPeriod; /* the annual cycle has no period to fit */
    slope[0] = 1;
    return b[0] + cycle(12, b[1], b[2], x[0], &fixedPeriod, &slope[1], &slope[2]) +
           cycle(b[3], b[4], b[5], x[0], &slope[3], &slope[4], &slope[5]) +
           cycle(b[6], b[7], b[8], x[0], &slope[6], &slope[7], &slope[8]);
}

static double rat42(const double *b, const double *x, double *slope)
{
    const double e = exp(b[1] - b[2] * x[0]);
    const double value = b[0] / (1 + e);
    slope[0] = 1 / (1 + e);
    slope[1] = -value * e / (1 + e);
    slope[2] = -x[0] * slope[1];
    return value;
}

/* In order of difficulty, as published. */
const Model models[MODEL_COUNT] = {
    {"Misra1a", "misra1a.csv", 2, 1, false, misra1a, {0}},
    {"Chwirut2", "chwirut2.csv", 3, 1, false, chwirut2, {0}},
    {"Lanczos3", "lanczos3.csv", 6, 1, false, lanczos3, {3, 2, {{1, 0}, {3, 2}, {5, 4}}}},
    {"Gauss1", "gauss1.csv", 8, 1, false, gauss1, {0}},
    {"DanWood", "danwood.csv", 2, 1, false, danWood, {0}},
    {"Kirby2", "kirby2.csv", 5, 1, false, quadraticOverQuadratic, {0}},
    {"Hahn1", "hahn1.csv", 7, 1, false, cubicOverCubic, {0}},
    {"Nelson", "nelson.csv", 3, 2, true, nelson, {0}},
    {"MGH17", "mgh17.csv", 5, 1, false, mgh17, {2, 2, {{3, 1}, {4, 2}}}},
    {"Roszman1", "roszman1.csv", 4, 1, false, roszman1, {0}},
    {"ENSO", "enso.csv", 9, 1, false, enso, {2, 3, {{3, 4, 5}, {6, 7, 8}}}},
    {"Rat42", "rat42.csv", 3, 1, false, rat42, {0}},
    {"Thurber", "thurber.csv", 7, 1, false, cubicOverCubic, {0}},
};

double response(const Model *model, double y) { return model->fitsLogarithm ? log(y) : y; }

static void swapTerms(const ExchangeableTerms *terms, int32_t i, int32_t j, double *b)
{
    for (int32_t k = 0; k < terms->size; ++k) {
        double *p = &b[terms->index[i][k]];
        double *q = &b[terms->index[j][k]];
        const double kept = *p;
        *p = *q;
        *q = kept;
    }
}

void sortTerms(const Model *model, double *b)
{
    const ExchangeableTerms *terms = &model->terms;
    for (int32_t i = 0; i < terms->count; ++i)
        for (int32_t j = i + 1; j < terms->count; ++j)
            if (b[terms->index[j][0]] < b[terms->index[i][0]])
                swapTerms(terms, i, j, b);
}
