/**
 * @file
 * The 6×6 single-precision matrix record.
 */
#ifndef KMATH_MATRIX4_H
#define KMATH_MATRIX4_H

#include <kmath/status.h>

/** A 6×6 matrix of floats, row-major. */
typedef struct kmath_matrix6F {
    float m[6][6]; /**< element (i, j) at m[i][j] */
} kmath_matrix6F;

#endif
