/*
 * Measures the outlines of coins (data/README.md): edge points grouped into vectors, brought from
 * pixels to millimetres, and handed as objects to a component that gives its figures back in
 * another.
 *
 *     measure_outlines [FILE [MILLIMETRES_PER_PIXEL]]
 */
#include "measure/component.h"
#include "measure/outlines.h"
#include "measure/report.h"

#include "examples/common/status.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { IMAGE_ROWS = 303 };

static int printUsage(FILE *stream)
{
    fputs("usage: measure_outlines [FILE [MILLIMETRES_PER_PIXEL]]\n"
          "\n"
          "Measures the outline of each group of points in FILE (default:\n"
          "data/features/coins.csv) and prints centre, diameter, deviation from the circle, area\n"
          "and greatest extent. A pixel has 0.4 mm by default: an assumption, as the photograph\n"
          "of the coins has no scale.\n",
          stream);
    return stream == stderr ? 2 : EXIT_SUCCESS;
}

/* What the client owns. */
typedef struct Client {
    Features features;
    kstd_vector_vector_kmath_vect3 outlines;
    kstd_vector_vector_kmath_vect3Shareable *sharedOutlines;
    kstd_vector_kmath_vect6FShareable *sharedFigures;
} Client;

/* The last step to fail has set *step. */
static kmath_status measure(Client *client, double millimetresPerPixel, const char **step)
{
    kmath_xform3Linear X;
    imageToPlate(&X, millimetresPerPixel, IMAGE_ROWS);

    *step = "grouping the points";
    kmath_status status = groupOutlines(&client->features, &client->outlines);
    if (!KMATH_IS_FAILURE(status))
        status = mapOutlines(&X, &client->outlines);
    if (KMATH_IS_FAILURE(status))
        return status;

    *step = "sharing the outlines";
    status = kstd_vector_vector_kmath_vect3Shareable_constructVector(&client->sharedOutlines,
                                                                     &client->outlines);
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect6FShareable_constructEmpty(&client->sharedFigures);
    if (KMATH_IS_FAILURE(status))
        return status;

    *step = "measuring the outlines";
    status = measureOutlines(&client->sharedOutlines->object, &client->sharedFigures->object);
    if (KMATH_IS_FAILURE(status))
        return status;

    *step = "printing the figures";
    return printFigures(&client->outlines, &client->sharedFigures->vector);
}

static kmath_status release(Client *client)
{
    releaseFeatures(&client->features);
    const kmath_status statuses[] = {
        kstd_vector_kmath_vect6FShareable_delete(&client->sharedFigures),
        kstd_vector_vector_kmath_vect3Shareable_delete(&client->sharedOutlines),
        kstd_vector_vector_kmath_vect3_destruct(&client->outlines)};
    for (size_t i = 0; i < sizeof statuses / sizeof *statuses; ++i)
        if (KMATH_IS_FAILURE(statuses[i]))
            return statuses[i];
    return KMATH_OK;
}

static bool measureAndReport(const char *path, double millimetresPerPixel)
{
    Client client = {0};
    if (!readFeatures(&client.features, path))
        return false;
    const char *step = "beginning";
    kmath_status status = kstd_vector_vector_kmath_vect3_constructEmpty(&client.outlines);
    if (!KMATH_IS_FAILURE(status))
        status = measure(&client, millimetresPerPixel, &step);
    const kmath_status released = release(&client);
    if (!KMATH_IS_FAILURE(status) && KMATH_IS_FAILURE(released)) {
        step = "releasing everything";
        status = released;
    }
    if (KMATH_IS_FAILURE(status))
        fprintf(stderr, "%s: %s failed: %s\n", path, step, statusName(status));
    return !KMATH_IS_FAILURE(status);
}

/* A positive number and nothing else. */
static bool toScale(const char *text, double *scale)
{
    char *end;
    *scale = strtod(text, &end);
    return end != text && *end == '\0' && isfinite(*scale) && *scale > 0;
}

int main(int argc, char **argv)
{
    const char *path = argc > 1 ? argv[1] : "data/features/coins.csv";
    double scale = 0.4;
    if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0))
        return printUsage(stdout);
    if (argc > 3 || path[0] == '-' || (argc > 2 && !toScale(argv[2], &scale)))
        return printUsage(stderr);
    return measureAndReport(path, scale) ? EXIT_SUCCESS : EXIT_FAILURE;
}
