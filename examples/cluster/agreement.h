/*
 * How well two groupings of the same points agree.
 */
#ifndef CLUSTER_AGREEMENT_H
#define CLUSTER_AGREEMENT_H

#include <stdint.h>

enum { MAX_LABELS = 32 };

/*
 * The share of pairs of points on which both agree, less what chance would give: 1 for the same
 * groups, about 0 for unrelated ones. Labels run from 0 to MAX_LABELS - 1.
 * Hubert & Arabie, Comparing partitions, Journal of Classification 2 (1985).
 */
double adjustedRandIndex(const int32_t *a, const int32_t *b, int32_t count);

/*
 * Renames the found labels, each below k, so that they fit the true ones: the pair of labels that
 * shares most points first. Returns how many points then have another label than the true one.
 */
int32_t matchLabels(const int32_t *truth, int32_t *found, int32_t count, int32_t k);

#endif
