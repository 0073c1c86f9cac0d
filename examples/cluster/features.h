/*
 * Features of the plane with the groups that are known to be there, read from a CSV file whose
 * format data/README.md describes.
 */
#ifndef CLUSTER_FEATURES_H
#define CLUSTER_FEATURES_H

#include "examples/common/csv.h"

#include <stdbool.h>
#include <stdint.h>

enum { MAX_GROUPS = 32 };

typedef struct Features {
    char path[PATH_SIZE];
    int32_t nPoints;
    int32_t nGroups;
    bool oriented;     /* whether the file has orientations and grey values; else they are 0 */
    double *positions; /* x and y of each point; y grows downwards in an oriented file */
    double *angles;    /* in degrees */
    uint8_t *greyValues;
    int32_t *groups; /* 1 … nGroups, or 0 for a point of no group */
} Features;

/*
 * Anything missing, cut short or malformed is told on stderr as file:line: reason; the result is
 * then false and there is nothing to release.
 */
bool readFeatures(Features *features, const char *path);

void releaseFeatures(Features *features);

#endif
