#include "embedding.h"

#include "examples/common/clock.h"
#include "examples/common/status.h"

#include <kmath/nmmatrix.h>
#include <kmath/normcut.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The groups of the task, as labels. */
static bool listGroups(Nodes *nodes, const Features *features, const Task *task)
{
    if (task->groups[0] == 0) {
        nodes->nGroups = features->nGroups;
        for (int32_t k = 0; k < nodes->nGroups; ++k)
            nodes->groups[k] = k + 1;
        return true;
    }
    for (; nodes->nGroups < MAX_GROUPS && task->groups[nodes->nGroups] != 0; ++nodes->nGroups) {
        const int32_t group = task->groups[nodes->nGroups];
        if (group > features->nGroups) {
            fprintf(stderr, "%s: there are %d groups, but %s takes group %d\n", features->path,
                    (int)features->nGroups, task->name, (int)group);
            return false;
        }
        nodes->groups[nodes->nGroups] = group;
    }
    return true;
}

static bool allocateNodes(Nodes *nodes, const Features *features)
{
    const size_t count = (size_t)features->nPoints;
    nodes->indexOf = calloc(count, sizeof *nodes->indexOf);
    nodes->pointOf = calloc(count, sizeof *nodes->pointOf);
    nodes->truth = calloc(count, sizeof *nodes->truth);
    if (nodes->indexOf == NULL || nodes->pointOf == NULL || nodes->truth == NULL) {
        fprintf(stderr, "no memory for the nodes of %d points\n", (int)features->nPoints);
        return false;
    }
    return true;
}

static int32_t labelOf(const Nodes *nodes, int32_t group)
{
    for (int32_t k = 0; k < nodes->nGroups; ++k)
        if (nodes->groups[k] == group)
            return k;
    return -1;
}

static void takeEveryOther(Nodes *nodes, const Features *features, int32_t step)
{
    int32_t seen[MAX_GROUPS] = {0};
    for (int32_t p = 0; p < features->nPoints; ++p) {
        const int32_t label = labelOf(nodes, features->groups[p]);
        nodes->indexOf[p] = -1;
        if (label < 0 || seen[label]++ % step != 0)
            continue;
        nodes->indexOf[p] = nodes->count;
        nodes->pointOf[nodes->count] = p;
        nodes->truth[nodes->count] = label;
        ++nodes->count;
    }
}

bool chooseNodes(Nodes *nodes, const Features *features, const Task *task)
{
    memset(nodes, 0, sizeof *nodes);
    bool complete = listGroups(nodes, features, task) && allocateNodes(nodes, features);
    if (complete)
        takeEveryOther(nodes, features, task->step);
    if (complete && nodes->count < nodes->nGroups + MORE_VALUES) {
        fprintf(stderr, "%s: too few points for %s: %d, at least %d are needed\n", features->path,
                task->name, (int)nodes->count, (int)(nodes->nGroups + MORE_VALUES));
        complete = false;
    }
    if (!complete)
        releaseNodes(nodes);
    return complete;
}

void releaseNodes(Nodes *nodes)
{
    free(nodes->indexOf);
    free(nodes->pointOf);
    free(nodes->truth);
    memset(nodes, 0, sizeof *nodes);
}

/*
 * The first nGroups eigenvectors at each node, scaled to length 1: points of one group then lie
 * near each other, and the groups nearly at right angles.
 *
 * Ng, Jordan & Weiss, On spectral clustering: analysis and an algorithm, NIPS 14 (2001).
 */
static void takePlaces(Embedding *embedding, const Nodes *nodes, const kmath_nmmatrix *vectors)
{
    const int32_t k = nodes->nGroups;
    for (int32_t n = 0; n < nodes->count; ++n) {
        double *place = &embedding->places[(size_t)n * (size_t)k];
        double sum = 0;
        for (int32_t j = 0; j < k; ++j) {
            place[j] = vectors->rows[j][n];
            sum += place[j] * place[j];
        }
        for (int32_t j = 0; j < k && sum > 0; ++j)
            place[j] /= sqrt(sum);
    }
}

static kmath_status findPlaces(Embedding *embedding, const Features *features, const Nodes *nodes,
                               const Task *task, kmath_nmmatrix *vectors, kmath_nmmatrix *values)
{
    const double start = now();
    const kmath_status status =
        kf_normCut(nodes->indexOf, features->nPoints, features->positions, features->angles,
                   features->greyValues, task->sigmaDistance, task->sigmaAngle, task->sigmaGrey,
                   embedding->nValues, task->sigmaAngle > 0, vectors, values);
    embedding->seconds = now() - start;
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t j = 0; j < embedding->nValues; ++j)
        embedding->eigenValues[j] = values->rows[0][j];
    takePlaces(embedding, nodes, vectors);
    return status;
}

bool embed(Embedding *embedding, const Features *features, const Nodes *nodes, const Task *task)
{
    kmath_nmmatrix vectors, values;
    memset(embedding, 0, sizeof *embedding);
    embedding->nValues = nodes->nGroups + MORE_VALUES;
    embedding->places =
        calloc((size_t)nodes->count * (size_t)nodes->nGroups, sizeof *embedding->places);
    if (embedding->places == NULL) {
        fprintf(stderr, "no memory for the embedding of %d nodes\n", (int)nodes->count);
        return false;
    }
    kmath_nmmatrix_construct(&vectors);
    kmath_nmmatrix_construct(&values);
    const kmath_status status = findPlaces(embedding, features, nodes, task, &vectors, &values);
    kmath_nmmatrix_destruct(&vectors);
    kmath_nmmatrix_destruct(&values);
    if (KMATH_IS_FAILURE(status)) {
        fprintf(stderr, "%s: the embedding failed: %s\n", task->name, statusName(status));
        releaseEmbedding(embedding);
    }
    return !KMATH_IS_FAILURE(status);
}

void releaseEmbedding(Embedding *embedding)
{
    free(embedding->places);
    embedding->places = NULL;
}
