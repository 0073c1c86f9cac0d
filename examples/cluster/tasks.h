/*
 * What the program clusters: chosen points of the files, and the scales of their affinity.
 */
#ifndef CLUSTER_TASKS_H
#define CLUSTER_TASKS_H

#include "features.h"

enum { COINS, FOUR_GROUPS, FILES };
enum { TASKS = 5, DIRECT_ORDER = 250 };

typedef struct Task {
    const char *name;
    int32_t file;
    int32_t groups[MAX_GROUPS]; /* ends at a 0; none means all */
    int32_t step;               /* every so many-th point of a group, in the order of the file */
    double sigmaDistance;       /* scales of kf_normCut; 0 switches a term off */
    double sigmaAngle;          /* in degrees; larger differences count as this one */
    double sigmaGrey;
} Task;

extern const char *const fileName[FILES];
extern const Task tasks[TASKS];

/* How kf_normCut solves a graph of that many nodes: up to DIRECT_ORDER at once, then iteratively.
 */
const char *routeOf(int32_t nodes);

#endif
