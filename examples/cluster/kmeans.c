#include "kmeans.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

enum { STARTS = 16, MAX_ROUNDS = 100 };

typedef struct Work {
    const double *points;
    int32_t count;
    int32_t dimension;
    int32_t k;
    double *centres;   /* k rows */
    double *distances; /* of each point from its centre, squared */
    int32_t *sizes;    /* of the k clusters */
    int32_t *labels;
} Work;

static const double *pointAt(const Work *work, int32_t i)
{
    return &work->points[(size_t)i * (size_t)work->dimension];
}

static double *centreAt(const Work *work, int32_t c)
{
    return &work->centres[(size_t)c * (size_t)work->dimension];
}

static double squaredDistance(const double *a, const double *b, int32_t dimension)
{
    double sum = 0;
    for (int32_t j = 0; j < dimension; ++j)
        sum += (a[j] - b[j]) * (a[j] - b[j]);
    return sum;
}

static void putCentre(Work *work, int32_t c, int32_t point)
{
    memcpy(centreAt(work, c), pointAt(work, point),
           (size_t)work->dimension * sizeof *work->centres);
}

/* Gives the points that lie nearer to centre c than to their own to it. */
static void offerCentre(Work *work, int32_t c)
{
    for (int32_t i = 0; i < work->count; ++i) {
        const double distance =
            squaredDistance(pointAt(work, i), centreAt(work, c), work->dimension);
        if (distance < work->distances[i]) {
            work->distances[i] = distance;
            work->labels[i] = c;
        }
    }
}

static void forgetCentres(Work *work)
{
    for (int32_t i = 0; i < work->count; ++i)
        work->distances[i] = INFINITY;
}

static double sumOfDistances(const Work *work)
{
    double sum = 0;
    for (int32_t i = 0; i < work->count; ++i)
        sum += work->distances[i];
    return sum;
}

static int32_t farthestPoint(const Work *work)
{
    int32_t farthest = 0;
    for (int32_t i = 1; i < work->count; ++i)
        if (work->distances[i] > work->distances[farthest])
            farthest = i;
    return farthest;
}

static void seedCentres(Work *work, int32_t first)
{
    forgetCentres(work);
    for (int32_t c = 0; c < work->k; ++c) {
        putCentre(work, c, c == 0 ? first : farthestPoint(work));
        offerCentre(work, c);
    }
}

/* The means of the clusters; one without points begins anew at the farthest point. */
static void moveCentres(Work *work)
{
    const size_t elements = (size_t)work->k * (size_t)work->dimension;
    memset(work->centres, 0, elements * sizeof *work->centres);
    memset(work->sizes, 0, (size_t)work->k * sizeof *work->sizes);
    for (int32_t i = 0; i < work->count; ++i) {
        double *centre = centreAt(work, work->labels[i]);
        for (int32_t j = 0; j < work->dimension; ++j)
            centre[j] += pointAt(work, i)[j];
        ++work->sizes[work->labels[i]];
    }
    for (int32_t c = 0; c < work->k; ++c)
        if (work->sizes[c] == 0)
            putCentre(work, c, farthestPoint(work));
        else
            for (int32_t j = 0; j < work->dimension; ++j)
                centreAt(work, c)[j] /= work->sizes[c];
}

static double clusterFrom(Work *work, int32_t first)
{
    seedCentres(work, first);
    double sum = sumOfDistances(work), before = INFINITY;
    for (int32_t round = 0; round < MAX_ROUNDS && sum < before; ++round) {
        before = sum;
        moveCentres(work);
        forgetCentres(work);
        for (int32_t c = 0; c < work->k; ++c)
            offerCentre(work, c);
        sum = sumOfDistances(work);
    }
    return sum;
}

static void keepBest(Work *work, int32_t *labels)
{
    double best = INFINITY;
    const int32_t starts = work->count < STARTS ? work->count : STARTS;
    for (int32_t start = 0; start < starts; ++start) {
        const double sum = clusterFrom(work, (int32_t)((int64_t)start * work->count / starts));
        if (start == 0 || sum < best) {
            best = sum;
            memcpy(labels, work->labels, (size_t)work->count * sizeof *labels);
        }
    }
}

bool cutIntoClusters(const double *points, int32_t count, int32_t dimension, int32_t k,
                     int32_t *labels)
{
    Work work = {.points = points, .count = count, .dimension = dimension, .k = k};
    work.centres = calloc((size_t)k * (size_t)dimension, sizeof *work.centres);
    work.distances = calloc((size_t)count, sizeof *work.distances);
    work.sizes = calloc((size_t)k, sizeof *work.sizes);
    work.labels = calloc((size_t)count, sizeof *work.labels);
    const bool complete =
        work.centres != NULL && work.distances != NULL && work.sizes != NULL && work.labels != NULL;
    if (complete)
        keepBest(&work, labels);
    free(work.centres);
    free(work.distances);
    free(work.sizes);
    free(work.labels);
    return complete;
}
