#include "report.h"

#include <math.h>
#include <stdio.h>

enum { VALUES_IN_LINE = 10, NAME_WIDTH = 13 };

void printFiles(const Features *features)
{
    for (int32_t i = 0; i < FILES; ++i)
        printf("%s: %d points in %d groups, %s\n", fileName[i], (int)features[i].nPoints,
               (int)features[i].nGroups,
               features[i].oriented ? "with orientation and grey value" : "position only");
    puts("taken: from each group its first point and then every n-th, in the order of the file");
}

void printHeading(void)
{
    printf(
        "\n%-*s                               sigma of           adjusted            time in ms\n"
        "%-*s groups n-th nodes route     distance angle grey Rand index misplaced embedding "
        "k-means\n",
        NAME_WIDTH, "", NAME_WIDTH, "set");
}

void printLine(const Result *result)
{
    const Task *task = result->task;
    printf("%-*s %6d %4d %5d %-9s %8g %5g %4g %10.4f %9d %9.1f %7.1f\n", NAME_WIDTH, task->name,
           (int)result->nodes.nGroups, (int)task->step, (int)result->nodes.count,
           routeOf(result->nodes.count), task->sigmaDistance, task->sigmaAngle, task->sigmaGrey,
           result->randIndex, (int)result->misplaced, 1e3 * result->embedding.seconds,
           1e3 * result->clusterSeconds);
    fflush(stdout);
}

/* What would be printed as -0. */
static double withoutSign(double value) { return fabs(value) < 0.5e-5 ? 0 : value; }

/* A bar stands behind as many values as there are groups. */
static void printEigenvalues(const Result *result)
{
    for (int32_t j = 0; j < result->embedding.nValues; ++j) {
        if (j % VALUES_IN_LINE == 0)
            printf("%s%-*s", j == 0 ? "" : "\n", NAME_WIDTH, j == 0 ? result->task->name : "");
        printf(" %8.5f%s", withoutSign(result->embedding.eigenValues[j]),
               j + 1 == result->nodes.nGroups ? " |" : "");
    }
    putchar('\n');
}

static void printGroup(const Result *result, int32_t label)
{
    int32_t count = 0, outside = 0;
    for (int32_t n = 0; n < result->nodes.count; ++n)
        if (result->nodes.truth[n] == label) {
            ++count;
            outside += result->found[n] != label;
        }
    if (outside > 0)
        printf("  %d: %d of %d", (int)result->nodes.groups[label], (int)outside, (int)count);
}

void printDetails(const Result *results)
{
    puts("\neigenvalues, and | where the groups end");
    for (int32_t i = 0; i < TASKS; ++i)
        printEigenvalues(&results[i]);
    puts("\ngroups with points in another cluster");
    for (int32_t i = 0; i < TASKS; ++i) {
        printf("%-*s", NAME_WIDTH, results[i].task->name);
        for (int32_t label = 0; label < results[i].nodes.nGroups; ++label)
            printGroup(&results[i], label);
        puts(results[i].misplaced == 0 ? "  none" : "");
    }
    putchar('\n');
}

void printClosingLine(const Result *results)
{
    double worst = 1;
    int32_t exact = 0;
    for (int32_t i = 0; i < TASKS; ++i) {
        worst = fmin(worst, results[i].randIndex);
        exact += results[i].misplaced == 0;
    }
    printf("%d sets: %d found exactly, the adjusted Rand index is at least %.4f\n", TASKS,
           (int)exact, worst);
}
