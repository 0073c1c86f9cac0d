#include "corners.h"

#include "examples/common/csv.h"

#include <stdlib.h>
#include <string.h>

enum { CORNER_FIELDS = 5, MAX_IMAGE_SIDE = 1000000 };

const char *const intrinsicName[INTRINSICS] = {"fx", "fy", "cx", "cy", "k1", "k2"};

/* What the file has told of the view that is being read. */
typedef struct Progress {
    int32_t found;
    int32_t lineOf[MAX_SIDE * MAX_SIDE]; /* where each corner stands, 0 while it is missing */
} Progress;

int32_t cornerCount(const Corners *corners) { return corners->columns * corners->rows; }

double boardX(const Corners *corners, int32_t k) { return k % corners->columns; }

double boardY(const Corners *corners, int32_t k) { return k / corners->columns; }

/* One line "key,width,height". */
static bool readPair(Reader *in, const char *key, const char *first, int32_t *a, const char *second,
                     int32_t *b, int32_t low, int32_t high)
{
    char *fields[3];
    return nextLine(in, key) && splitEntry(in, in->text, key, 3, fields) &&
           toCount(in, fields[1], first, low, high, a) &&
           toCount(in, fields[2], second, low, high, b);
}

/* The line "reference,fx,fy,cx,cy,k1,k2,sum of squares". */
static bool takeReference(Reader *in, Corners *corners)
{
    char *fields[2 + INTRINSICS];
    if (!split(in, in->text, 2 + INTRINSICS, fields, "the reference"))
        return false;
    for (int32_t j = 0; j < INTRINSICS; ++j)
        if (!toNumber(in, fields[1 + j], intrinsicName[j], &corners->reference[j]))
            return false;
    if (!toNumber(in, fields[1 + INTRINSICS], "the sum of squares", &corners->referenceSum))
        return false;
    corners->hasReference = true;
    return true;
}

/* Everything above the corners; the reference may be left out. */
static bool readHead(Reader *in, Corners *corners)
{
    static const char head[] = "view,column,row,u,v";
    if (!readPair(in, "image", "a width", &corners->width, "a height", &corners->height, 1,
                  MAX_IMAGE_SIDE) ||
        !readPair(in, "board", "columns", &corners->columns, "rows", &corners->rows, MIN_SIDE,
                  MAX_SIDE) ||
        !nextLine(in, "the line of column names"))
        return false;
    if (strncmp(in->text, "reference,", strlen("reference,")) == 0 &&
        (!takeReference(in, corners) || !nextLine(in, "the line of column names")))
        return false;
    if (strcmp(in->text, head) != 0)
        return complain(in, "expected '%s', found '%s'", head, in->text);
    return true;
}

static bool isComplete(const Reader *in, const Corners *corners, const Progress *progress)
{
    const int32_t count = cornerCount(corners);
    int32_t k = 0;
    if (corners->nViews == 0 || progress->found == count)
        return true;
    while (progress->lineOf[k] != 0)
        ++k;
    return complain(in, "view %s ends with %d of %d corners; column %d, row %d is missing",
                    corners->views[corners->nViews - 1].name, (int)progress->found, (int)count,
                    (int)boardX(corners, k), (int)boardY(corners, k));
}

static bool beginView(const Reader *in, Corners *corners, const char *name, Progress *progress)
{
    if (!isComplete(in, corners, progress))
        return false;
    for (int32_t i = 0; i < corners->nViews; ++i)
        if (strcmp(corners->views[i].name, name) == 0)
            return complain(in, "view %s was complete already", name);
    if (corners->nViews == MAX_VIEWS)
        return complain(in, "more than %d views", MAX_VIEWS);
    if (*name == '\0' || strlen(name) >= NAME_SIZE)
        return complain(in, "expected a name of 1 to %d characters for the view, found '%s'",
                        NAME_SIZE - 1, name);
    View *view = &corners->views[corners->nViews];
    view->corners = calloc((size_t)cornerCount(corners), sizeof *view->corners);
    if (view->corners == NULL)
        return complain(in, "no memory for %d corners", (int)cornerCount(corners));
    strcpy(view->name, name);
    ++corners->nViews;
    memset(progress, 0, sizeof *progress);
    return true;
}

/* A coordinate of a pixel; pixels are counted from 0 at their centres. */
static bool toCoordinate(const Reader *in, const char *field, const char *what, int32_t side,
                         double *value)
{
    if (!toNumber(in, field, what, value))
        return false;
    if (!(*value >= -0.5 && *value <= side - 0.5))
        return complain(in, "%s = %s lies outside the image", what, field);
    return true;
}

/* The line "view,column,row,u,v". */
static bool takeCorner(Reader *in, Corners *corners, Progress *progress)
{
    char *fields[CORNER_FIELDS];
    int32_t column = 0, row = 0;
    Pixel pixel;
    if (!split(in, in->text, CORNER_FIELDS, fields, "a corner") ||
        !toCount(in, fields[1], "a column", 0, corners->columns - 1, &column) ||
        !toCount(in, fields[2], "a row", 0, corners->rows - 1, &row) ||
        !toCoordinate(in, fields[3], "u", corners->width, &pixel.u) ||
        !toCoordinate(in, fields[4], "v", corners->height, &pixel.v))
        return false;
    const bool begins =
        corners->nViews == 0 || strcmp(fields[0], corners->views[corners->nViews - 1].name) != 0;
    if (begins && !beginView(in, corners, fields[0], progress))
        return false;
    const int32_t k = row * corners->columns + column;
    if (progress->lineOf[k] != 0)
        return complain(in, "column %d, row %d of view %s stands already in line %d", (int)column,
                        (int)row, fields[0], (int)progress->lineOf[k]);
    progress->lineOf[k] = in->line;
    ++progress->found;
    corners->views[corners->nViews - 1].corners[k] = pixel;
    return true;
}

static bool readViews(Reader *in, Corners *corners)
{
    Progress progress = {0};
    bool end = false;
    for (;;) {
        if (!nextLineOrEnd(in, "a corner", &end))
            return false;
        if (end)
            break;
        if (!takeCorner(in, corners, &progress))
            return false;
    }
    if (!isComplete(in, corners, &progress))
        return false;
    if (corners->nViews < MIN_VIEWS)
        return complain(in,
                        "too few views: %d. A view gives two equations, so that fx, fy, cx and cy "
                        "need at least %d views",
                        (int)corners->nViews, MIN_VIEWS);
    return true;
}

bool readCorners(Corners *corners, const char *path)
{
    Reader in;
    memset(corners, 0, sizeof *corners);
    if (!openReader(&in, path))
        return false;
    const bool complete = readHead(&in, corners) && readViews(&in, corners);
    closeReader(&in);
    if (!complete)
        releaseCorners(corners);
    return complete;
}

void releaseCorners(Corners *corners)
{
    for (int32_t i = 0; i < corners->nViews; ++i)
        free(corners->views[i].corners);
    corners->nViews = 0;
}
