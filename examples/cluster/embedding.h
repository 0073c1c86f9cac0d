/*
 * The spectral embedding of chosen features: each becomes a node of a graph, and each node a point
 * of a space in which the groups lie far apart.
 */
#ifndef CLUSTER_EMBEDDING_H
#define CLUSTER_EMBEDDING_H

#include "tasks.h"

/* Some eigenvalues beyond the number of groups show the gap. */
enum { MORE_VALUES = 4, MAX_VALUES = MAX_GROUPS + MORE_VALUES };

typedef struct Nodes {
    int32_t count;
    int32_t nGroups;
    int32_t groups[MAX_GROUPS]; /* the group of each true label */
    int32_t *indexOf;           /* the node of each feature, or -1 */
    int32_t *pointOf;           /* the feature of each node */
    int32_t *truth;             /* the label of each node's group, 0 … nGroups-1 */
} Nodes;

typedef struct Embedding {
    int32_t nValues;
    double eigenValues[MAX_VALUES]; /* nValues, descending */
    double *places; /* of each node, a unit vector with as many elements as there are groups */
    double seconds;
} Embedding;

/* What cannot be done is told on stderr; the result is then false with nothing to release. */
bool chooseNodes(Nodes *nodes, const Features *features, const Task *task);
void releaseNodes(Nodes *nodes);

bool embed(Embedding *embedding, const Features *features, const Nodes *nodes, const Task *task);
void releaseEmbedding(Embedding *embedding);

#endif
