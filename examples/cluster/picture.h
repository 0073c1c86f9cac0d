/*
 * The picture: for each set a pair of panels, the true groups and the clusters found, in the same
 * colours, with a tick along each orientation; at last the eigenvalues of all sets.
 */
#ifndef CLUSTER_PICTURE_H
#define CLUSTER_PICTURE_H

#include "report.h"

/*
 * Makes folder/cluster_features.png and the .gp script beside it and prints where they are. What
 * stands in the way is told on stderr; the result is then false.
 */
bool drawPicture(const Result *results, const char *folder);

#endif
