/*
 * What the program tells of the clusters: tables on stdout.
 */
#ifndef CLUSTER_REPORT_H
#define CLUSTER_REPORT_H

#include "embedding.h"

typedef struct Result {
    const Task *task;
    const Features *features;
    Nodes nodes;
    Embedding embedding;
    int32_t *found; /* the cluster of each node, named after the group that it fits best */
    int32_t misplaced;
    double randIndex; /* adjusted, of the found clusters against the true groups */
    double clusterSeconds;
} Result;

void printFiles(const Features *features);

/* The line of a result can be printed as soon as it is there. */
void printHeading(void);
void printLine(const Result *result);

void printDetails(const Result *results);
void printClosingLine(const Result *results);

#endif
