/*
 * What the program tells of the circles: tables on stdout.
 */
#ifndef MINIMIZE_REPORT_H
#define MINIMIZE_REPORT_H

#include "fitting.h"

typedef struct Result {
    Coin coin;
    Circle leastSquares; /* what the other two are held against */
    Fit fits[WAYS];
} Result;

/* Points this near a circle count as lying on it, in pixels. */
extern const double NEAR;

void printFile(const Features *features);

/* The circles side by side, each line as soon as its fits are there. */
void printHeading(void);
void printCircles(const Result *result);

/* What they cost, and how far the two answers agree. */
void printCosts(const Result *results, int32_t count);
void printClosingLine(const Result *results, int32_t count);

#endif
