#include "features.h"

#include <stdlib.h>
#include <string.h>

enum { MAX_POINTS = 100000, MIN_GROUP = 2, FIELDS = 5, MAX_GREY = 255 };

static const char orientedHead[] = "x,y,orientation,grey,group";
static const char plainHead[] = "x,y,group";

/* One line "key,count". */
static bool readCount(Reader *in, const char *key, const char *what, int32_t low, int32_t high,
                      int32_t *count)
{
    char *fields[2];
    return nextLine(in, key) && splitEntry(in, in->text, key, 2, fields) &&
           toCount(in, fields[1], what, low, high, count);
}

static bool readHead(Reader *in, Features *features)
{
    if (!readCount(in, "points", "a number of points", 1, MAX_POINTS, &features->nPoints) ||
        !readCount(in, "groups", "a number of groups", 2, MAX_GROUPS, &features->nGroups) ||
        !nextLine(in, "the line of column names"))
        return false;
    features->oriented = strcmp(in->text, orientedHead) == 0;
    if (!features->oriented && strcmp(in->text, plainHead) != 0)
        return complain(in, "expected '%s' or '%s', found '%s'", orientedHead, plainHead, in->text);
    return true;
}

static bool allocateFeatures(const Reader *in, Features *features)
{
    const size_t count = (size_t)features->nPoints;
    features->positions = calloc(2 * count, sizeof *features->positions);
    features->angles = calloc(count, sizeof *features->angles);
    features->greyValues = calloc(count, sizeof *features->greyValues);
    features->groups = calloc(count, sizeof *features->groups);
    if (features->positions == NULL || features->angles == NULL || features->greyValues == NULL ||
        features->groups == NULL)
        return complain(in, "no memory for %d points", (int)features->nPoints);
    return true;
}

/* A number from -limit to limit. */
static bool toWithin(const Reader *in, const char *field, const char *what, double limit,
                     double *number)
{
    if (!toNumber(in, field, what, number))
        return false;
    if (!(*number >= -limit && *number <= limit))
        return complain(in, "expected %s from %g to %g, found '%s'", what, -limit, limit, field);
    return true;
}

/* The fields "orientation,grey". */
static bool takeAppearance(const Reader *in, Features *features, int32_t p, char **fields)
{
    int32_t grey;
    if (!toWithin(in, fields[0], "an orientation", 180, &features->angles[p]) ||
        !toCount(in, fields[1], "a grey value", 0, MAX_GREY, &grey))
        return false;
    features->greyValues[p] = (uint8_t)grey;
    return true;
}

static bool takePoint(Reader *in, Features *features, int32_t p)
{
    char *fields[FIELDS];
    const int32_t count = features->oriented ? FIELDS : FIELDS - 2;
    double *position = &features->positions[2 * p];
    return split(in, in->text, count, fields, "a point") &&
           toWithin(in, fields[0], "x", 1e6, &position[0]) &&
           toWithin(in, fields[1], "y", 1e6, &position[1]) &&
           (!features->oriented || takeAppearance(in, features, p, &fields[2])) &&
           toCount(in, fields[count - 1], "a group", 0, features->nGroups, &features->groups[p]);
}

static bool readPoints(Reader *in, Features *features)
{
    char expected[64];
    for (int32_t p = 0; p < features->nPoints; ++p) {
        snprintf(expected, sizeof expected, "point %d of %d", (int)p + 1, (int)features->nPoints);
        if (!nextLine(in, expected) || !takePoint(in, features, p))
            return false;
    }
    bool end;
    if (!nextLineOrEnd(in, "the end", &end))
        return false;
    return end || complain(in, "more than %d points", (int)features->nPoints);
}

static bool checkGroups(const Reader *in, const Features *features)
{
    for (int32_t group = 1; group <= features->nGroups; ++group) {
        int32_t count = 0;
        for (int32_t p = 0; p < features->nPoints; ++p)
            count += features->groups[p] == group;
        if (count < MIN_GROUP)
            return complain(in, "too few points: group %d of %d has %d, at least %d are needed",
                            (int)group, (int)features->nGroups, (int)count, MIN_GROUP);
    }
    return true;
}

bool readFeatures(Features *features, const char *path)
{
    Reader in;
    memset(features, 0, sizeof *features);
    if (!openReader(&in, path))
        return false;
    strcpy(features->path, in.path);
    const bool complete = readHead(&in, features) && allocateFeatures(&in, features) &&
                          readPoints(&in, features) && checkGroups(&in, features);
    closeReader(&in);
    if (!complete)
        releaseFeatures(features);
    return complete;
}

void releaseFeatures(Features *features)
{
    free(features->positions);
    free(features->angles);
    free(features->greyValues);
    free(features->groups);
    memset(features, 0, sizeof *features);
}
