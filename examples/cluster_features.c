/*
 * Clusters features of the plane (data/README.md): the spectral embedding of an affinity graph, cut
 * by k-means, beside the groups that are known to be there.
 *
 *     cluster_features [DATA_FOLDER [OUTPUT_FOLDER]]
 */
#include "cluster/agreement.h"
#include "cluster/kmeans.h"
#include "cluster/picture.h"

#include "examples/common/clock.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int printUsage(FILE *stream)
{
    fputs("usage: cluster_features [DATA_FOLDER [OUTPUT_FOLDER]]\n"
          "\n"
          "Clusters chosen points of coins.csv and ruspini.csv in DATA_FOLDER (default:\n"
          "data/features) and prints how well the clusters agree with the known groups; draws\n"
          "both with gnuplot into OUTPUT_FOLDER/cluster_features.png (default: out).\n",
          stream);
    return stream == stderr ? 2 : EXIT_SUCCESS;
}

static bool readAll(Features *features, const char *folder)
{
    char path[PATH_SIZE];
    for (int32_t i = 0; i < FILES; ++i) {
        snprintf(path, sizeof path, "%s/%s", folder, fileName[i]);
        if (!readFeatures(&features[i], path))
            return false;
    }
    return true;
}

static bool chooseAll(Result *results, const Features *features)
{
    for (int32_t i = 0; i < TASKS; ++i) {
        results[i].task = &tasks[i];
        results[i].features = &features[tasks[i].file];
        if (!chooseNodes(&results[i].nodes, results[i].features, &tasks[i]))
            return false;
    }
    return true;
}

static bool findClusters(Result *result)
{
    const Nodes *nodes = &result->nodes;
    const double start = now();
    result->found = calloc((size_t)nodes->count, sizeof *result->found);
    if (result->found == NULL || !cutIntoClusters(result->embedding.places, nodes->count,
                                                  nodes->nGroups, nodes->nGroups, result->found)) {
        fprintf(stderr, "no memory for the clusters of %d nodes\n", (int)nodes->count);
        return false;
    }
    result->clusterSeconds = now() - start;
    result->randIndex = adjustedRandIndex(nodes->truth, result->found, nodes->count);
    result->misplaced = matchLabels(nodes->truth, result->found, nodes->count, nodes->nGroups);
    return true;
}

static bool solveAll(Result *results)
{
    printHeading();
    for (int32_t i = 0; i < TASKS; ++i) {
        Result *result = &results[i];
        if (!embed(&result->embedding, result->features, &result->nodes, result->task) ||
            !findClusters(result))
            return false;
        printLine(result);
    }
    return true;
}

static bool clusterAndReport(Result *results, const Features *features, const char *outputFolder)
{
    if (!chooseAll(results, features))
        return false;
    printFiles(features);
    if (!solveAll(results))
        return false;
    printDetails(results);
    const bool drawn = drawPicture(results, outputFolder);
    printClosingLine(results);
    return drawn;
}

static void releaseAll(Features *features, Result *results)
{
    for (int32_t i = 0; i < TASKS; ++i) {
        releaseNodes(&results[i].nodes);
        releaseEmbedding(&results[i].embedding);
        free(results[i].found);
    }
    for (int32_t i = 0; i < FILES; ++i)
        releaseFeatures(&features[i]);
}

int main(int argc, char **argv)
{
    const char *dataFolder = argc > 1 ? argv[1] : "data/features";
    const char *outputFolder = argc > 2 ? argv[2] : "out";
    if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0))
        return printUsage(stdout);
    if (argc > 3 || dataFolder[0] == '-')
        return printUsage(stderr);

    static Features features[FILES];
    static Result results[TASKS];
    const bool complete =
        readAll(features, dataFolder) && clusterAndReport(results, features, outputFolder);
    releaseAll(features, results);
    return complete ? EXIT_SUCCESS : EXIT_FAILURE;
}
