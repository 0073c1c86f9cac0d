/*
 * k-means: cuts points of a space into k clusters whose sum of squared distances from their centres
 * is small. Deterministic: Lloyd's iteration from several starts, each of which takes one point and
 * then, again and again, the point that lies farthest from those taken; the smallest sum wins.
 *
 * Lloyd, Least squares quantization in PCM, IEEE Trans. Information Theory 28 (1982); Gonzalez,
 * Clustering to minimize the maximum intercluster distance, Theoretical Computer Science 38 (1985).
 */
#ifndef CLUSTER_KMEANS_H
#define CLUSTER_KMEANS_H

#include <stdbool.h>
#include <stdint.h>

/*
 * points: count rows of dimension numbers; labels: for each the number of its cluster, 0 … k-1.
 * k is at most count. False if there is no memory.
 */
bool cutIntoClusters(const double *points, int32_t count, int32_t dimension, int32_t k,
                     int32_t *labels);

#endif
