#include "agreement.h"

#include <string.h>

typedef struct Table {
    int32_t shared[MAX_LABELS][MAX_LABELS]; /* points with label i in a and j in b */
} Table;

static Table tabulate(const int32_t *a, const int32_t *b, int32_t count)
{
    Table table;
    memset(&table, 0, sizeof table);
    for (int32_t i = 0; i < count; ++i)
        ++table.shared[a[i]][b[i]];
    return table;
}

static double pairs(double count) { return count * (count - 1) / 2; }

double adjustedRandIndex(const int32_t *a, const int32_t *b, int32_t count)
{
    const Table table = tabulate(a, b, count);
    double both = 0, inA = 0, inB = 0;
    for (int32_t i = 0; i < MAX_LABELS; ++i) {
        int32_t sizeA = 0, sizeB = 0;
        for (int32_t j = 0; j < MAX_LABELS; ++j) {
            both += pairs(table.shared[i][j]);
            sizeA += table.shared[i][j];
            sizeB += table.shared[j][i];
        }
        inA += pairs(sizeA);
        inB += pairs(sizeB);
    }
    const double expected = count > 1 ? inA * inB / pairs(count) : 0;
    const double largest = (inA + inB) / 2;
    return largest == expected ? 1 : (both - expected) / (largest - expected);
}

int32_t matchLabels(const int32_t *truth, int32_t *found, int32_t count, int32_t k)
{
    Table table = tabulate(truth, found, count);
    int32_t nameOf[MAX_LABELS] = {0};
    for (int32_t round = 0; round < k; ++round) {
        int32_t best = -1, group = 0, cluster = 0;
        for (int32_t i = 0; i < k; ++i)
            for (int32_t j = 0; j < k; ++j)
                if (table.shared[i][j] > best) {
                    best = table.shared[i][j];
                    group = i;
                    cluster = j;
                }
        nameOf[cluster] = group;
        for (int32_t i = 0; i < k; ++i)
            table.shared[group][i] = table.shared[i][cluster] = -1;
    }
    int32_t misplaced = 0;
    for (int32_t i = 0; i < count; ++i) {
        found[i] = nameOf[found[i]];
        misplaced += found[i] != truth[i];
    }
    return misplaced;
}
