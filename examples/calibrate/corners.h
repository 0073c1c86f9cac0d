/*
 * Corners of a flat board measured in several views, read from a CSV file whose format
 * data/README.md describes.
 */
#ifndef CALIBRATE_CORNERS_H
#define CALIBRATE_CORNERS_H

#include <stdbool.h>
#include <stdint.h>

enum { MIN_SIDE = 3, MAX_SIDE = 50, MIN_VIEWS = 2, MAX_VIEWS = 100, NAME_SIZE = 16 };

/* The parameters of the camera: pixels, pixels, pixels, pixels, and two without unit. */
enum { FX, FY, CX, CY, K1, K2, INTRINSICS };

extern const char *const intrinsicName[INTRINSICS];

/* A place in the image: u to the right, v down. */
typedef struct Pixel {
    double u;
    double v;
} Pixel;

typedef struct View {
    char name[NAME_SIZE];
    Pixel *corners; /* one a corner of the board, row by row */
} View;

typedef struct Corners {
    int32_t width; /* of the image, in pixels */
    int32_t height;
    int32_t columns; /* of corners on the board, one square apart */
    int32_t rows;
    int32_t nViews;
    View views[MAX_VIEWS];
    bool hasReference;
    double reference[INTRINSICS]; /* the optimum, where the file knows it */
    double referenceSum;          /* sum of squared residuals there, in pixels squared */
} Corners;

/*
 * Anything missing, cut short or malformed is told on stderr as file:line: reason; the result is
 * then false and there is nothing to release.
 */
bool readCorners(Corners *corners, const char *path);

void releaseCorners(Corners *corners);

/* How many corners the board has, and where corner k lies on it, in squares. */
int32_t cornerCount(const Corners *corners);
double boardX(const Corners *corners, int32_t k);
double boardY(const Corners *corners, int32_t k);

#endif
