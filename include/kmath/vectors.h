/**
 * @file
 * Angles and fixed-size vectors: radian, vect3, vect3F, vect4, vect6F.
 *
 * The records are plain values that the caller owns and may copy at will; no
 * function here allocates. Components are numbered in the order of their
 * fields. Sums run from the first component to the last, and a record of floats
 * is computed in floats unless a function says otherwise.
 *
 * An operation whose name begins with init takes its result first; all others
 * take their results last. A result may be one of the operands, except for the
 * cross products. Angles are radians.
 *
 * A null record is a programming error, never a status: init, initAdd,
 * initSubtract, initScale, the comparisons and the angle functions report it to
 * kstd_assert_ and carry on; initClear, reset, getLength, getDistance, getUnit,
 * cross and dot check nothing. Unless a function names a failure, it returns
 * KMATH_OK for any numbers, NaN and infinities included.
 *
 * Lengths are plain square roots of sums of squares, without scaling: squares
 * that underflow count as 0, and squares that overflow make the length infinite
 * and the components of the unit vector 0, or NaN for those that are infinite.
 */
#ifndef KMATH_VECTORS_H
#define KMATH_VECTORS_H

#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/** An angle. */
typedef struct radian {
    double value; /**< radians */
} radian;

/** A point or direction in space. */
typedef struct kmath_vect3 {
    double x; /**< first coordinate */
    double y; /**< second coordinate */
    double z; /**< third coordinate */
} kmath_vect3;

/** A point or direction in space, in single precision. */
typedef struct kmath_vect3F {
    float x; /**< first coordinate */
    float y; /**< second coordinate */
    float z; /**< third coordinate */
} kmath_vect3F;

/** Four doubles. */
typedef struct kmath_vect4 {
    double x; /**< first component */
    double y; /**< second component */
    double z; /**< third component */
    double w; /**< fourth component */
} kmath_vect4;

/** Six floats. */
typedef struct kmath_vect6F {
    float v[6]; /**< components in order */
} kmath_vect6F;

/* Three doubles. */

/**
 * r = (x, y, z).
 *
 * @param[out] r  the vector
 * @param[in]  x  any
 * @param[in]  y  any
 * @param[in]  z  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_init(kmath_vect3 *r, double x, double y, double z);

/**
 * r = 0.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_initClear(kmath_vect3 *r);

/**
 * r = 0, the default of the record.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 * @see kmath_vect3_initClear
 */
KMATH_API kmath_status kmath_vect3_reset(kmath_vect3 *r);

/**
 * r = a + b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_initAdd(kmath_vect3 *r, const kmath_vect3 *a,
                                           const kmath_vect3 *b);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_initSubtract(kmath_vect3 *r, const kmath_vect3 *a,
                                                const kmath_vect3 *b);

/**
 * r = s·a.
 *
 * @param[out] r  may be a
 * @param[in]  a  any
 * @param[in]  s  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_initScale(kmath_vect3 *r, const kmath_vect3 *a, double s);

/**
 * length = |v|.
 *
 * @param[in]  v       any; not checked for null
 * @param[out] length  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_getLength(const kmath_vect3 *v, double *length);

/**
 * distance = |a − b|.
 *
 * @param[in]  a         any; not checked for null
 * @param[in]  b         any; not checked for null
 * @param[out] distance  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_getDistance(const kmath_vect3 *a, const kmath_vect3 *b,
                                               double *distance);

/**
 * r = v / |v|.
 *
 * The reciprocal of the length is formed once and multiplied by each component.
 *
 * @param[in]  v  any; not checked for null
 * @param[out] r  unit vector, or zeros where the squares overflow; may be v; untouched on
 *                failure
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH when the length is exactly 0, as also for
 *         (1e-200, 0, 0), whose square underflows
 */
KMATH_API kmath_status kmath_vect3_getUnit(const kmath_vect3 *v, kmath_vect3 *r);

/**
 * r = a × b.
 *
 * Each component is written while the operands are still being read.
 *
 * @param[in]  a  any; not checked for null
 * @param[in]  b  any; not checked for null
 * @param[out] r  must be neither a nor b
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_cross(const kmath_vect3 *a, const kmath_vect3 *b,
                                         kmath_vect3 *r);

/**
 * product = a·b.
 *
 * @param[in]  a        any; not checked for null
 * @param[in]  b        any; not checked for null
 * @param[out] product  the sum of the products, first component first
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_dot(const kmath_vect3 *a, const kmath_vect3 *b, double *product);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] equal  1 when all components are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_compareEqual(const kmath_vect3 *a, const kmath_vect3 *b,
                                                uint32_t *equal);

/**
 * equal = (|a − b|² < eps² or |a − b|² = 0).
 *
 * The bound itself does not count as equal, but two equal vectors do at any eps.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[in]  eps    distance, in the unit of the components
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_epsilonEqual(const kmath_vect3 *a, const kmath_vect3 *b,
                                                double eps, uint32_t *equal);

/**
 * The unit direction with the given tilt and rotation:
 * r = (sin t·cos φ, sin t·sin φ, cos t).
 *
 * The tilt is measured from the +z axis. It is brought into [0, 2π) and then folded at
 * π, so that 3π/2 and −π/2 both mean π/2. The rotation φ about the z axis, from +x
 * towards +y, is used as it is.
 *
 * @param[out] r         unit vector
 * @param[in]  tilt      radians, any finite
 * @param[in]  rotation  radians, any finite
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3_initTiltAndRotation(kmath_vect3 *r, const radian *tilt,
                                                       const radian *rotation);

/**
 * Tilt and rotation of the direction of v: acos(u_z) and atan2(u_y, u_x), u = v / |v|.
 *
 * @param[in]  v         any
 * @param[out] tilt      radians in [0, π] from the +z axis; null when not wanted
 * @param[out] rotation  radians in [0, 2π) about the z axis from +x towards +y, 0 on the
 *                       axis itself; null when not wanted
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH as by getUnit, with nothing written
 */
KMATH_API kmath_status kmath_vect3_getTiltAndRotation(const kmath_vect3 *v, radian *tilt,
                                                      radian *rotation);

/**
 * The tilt of the direction of v.
 *
 * @param[in]  v     any
 * @param[out] tilt  radians in [0, π]
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH as by getUnit, with nothing written
 * @see kmath_vect3_getTiltAndRotation
 */
KMATH_API kmath_status kmath_vect3_getTilt(const kmath_vect3 *v, radian *tilt);

/**
 * The rotation of the direction of v.
 *
 * @param[in]  v         any
 * @param[out] rotation  radians in [0, 2π)
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH as by getUnit, with nothing written
 * @see kmath_vect3_getTiltAndRotation
 */
KMATH_API kmath_status kmath_vect3_getRotation(const kmath_vect3 *v, radian *rotation);

/**
 * angle = acos((a / |a|)·(b / |b|)).
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] angle  radians in [0, π]
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH when either has length 0, with nothing written
 */
KMATH_API kmath_status kmath_vect3_getAngleBetweenVectors(const kmath_vect3 *a,
                                                          const kmath_vect3 *b, radian *angle);

/**
 * The angle at the vertex between the directions to p1 and to p3.
 *
 * @param[in]  p1      any
 * @param[in]  vertex  any
 * @param[in]  p3      any
 * @param[out] angle   radians in [0, π]
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH when a point coincides with the vertex, with
 *         nothing written
 */
KMATH_API kmath_status kmath_vect3_getAngleBetween3Points(const kmath_vect3 *p1,
                                                          const kmath_vect3 *vertex,
                                                          const kmath_vect3 *p3, radian *angle);

/**
 * distance = (to − from)·d / |d|.
 *
 * @param[in]  from       any
 * @param[in]  to         any
 * @param[in]  direction  d, of any length but 0
 * @param[out] distance   positive when `to` lies ahead of `from` along the direction
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH for a direction of length 0, with nothing
 *         written
 */
KMATH_API kmath_status kmath_vect3_getSignedDistanceToPointAlongDirection(
    const kmath_vect3 *from, const kmath_vect3 *to, const kmath_vect3 *direction, double *distance);

/* Three floats. */

/**
 * r = (x, y, z).
 *
 * @param[out] r  the vector
 * @param[in]  x  any
 * @param[in]  y  any
 * @param[in]  z  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_init(kmath_vect3F *r, float x, float y, float z);

/**
 * r = 0.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_initClear(kmath_vect3F *r);

/**
 * r = 0, the default of the record.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 * @see kmath_vect3F_initClear
 */
KMATH_API kmath_status kmath_vect3F_reset(kmath_vect3F *r);

/**
 * r = a + b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_initAdd(kmath_vect3F *r, const kmath_vect3F *a,
                                            const kmath_vect3F *b);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_initSubtract(kmath_vect3F *r, const kmath_vect3F *a,
                                                 const kmath_vect3F *b);

/**
 * r = s·a.
 *
 * @param[out] r  may be a
 * @param[in]  a  any
 * @param[in]  s  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_initScale(kmath_vect3F *r, const kmath_vect3F *a, float s);

/**
 * length = |v|, formed in floats.
 *
 * @param[in]  v       any; not checked for null
 * @param[out] length  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_getLength(const kmath_vect3F *v, float *length);

/**
 * distance = |a − b|, formed in floats.
 *
 * @param[in]  a         any; not checked for null
 * @param[in]  b         any; not checked for null
 * @param[out] distance  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_getDistance(const kmath_vect3F *a, const kmath_vect3F *b,
                                                float *distance);

/**
 * r = v / |v|.
 *
 * The length is a float; its reciprocal and the products with the components are
 * formed in double and rounded to floats.
 *
 * @param[in]  v  any; not checked for null
 * @param[out] r  unit vector; may be v; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH when the length is exactly 0, as also for
 *         one whose squares underflow
 */
KMATH_API kmath_status kmath_vect3F_getUnit(const kmath_vect3F *v, kmath_vect3F *r);

/**
 * r = a × b.
 *
 * Each component is written while the operands are still being read.
 *
 * @param[in]  a  any; not checked for null
 * @param[in]  b  any; not checked for null
 * @param[out] r  must be neither a nor b
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_cross(const kmath_vect3F *a, const kmath_vect3F *b,
                                          kmath_vect3F *r);

/**
 * product = a·b, formed in floats.
 *
 * @param[in]  a        any; not checked for null
 * @param[in]  b        any; not checked for null
 * @param[out] product  the sum of the products, first component first
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_dot(const kmath_vect3F *a, const kmath_vect3F *b,
                                        float *product);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] equal  1 when all components are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_compareEqual(const kmath_vect3F *a, const kmath_vect3F *b,
                                                 uint32_t *equal);

/**
 * equal = (|a − b|² < eps²), the left side formed in floats, the right in double.
 *
 * Unlike for the other vectors a distance of 0 is no exception: with eps = 0 a vector
 * does not equal itself.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[in]  eps    distance, in the unit of the components
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect3F_epsilonEqual(const kmath_vect3F *a, const kmath_vect3F *b,
                                                 double eps, uint32_t *equal);

/* Four doubles. */

/**
 * r = (x, y, z, w).
 *
 * @param[out] r  the vector
 * @param[in]  x  any
 * @param[in]  y  any
 * @param[in]  z  any
 * @param[in]  w  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_init(kmath_vect4 *r, double x, double y, double z, double w);

/**
 * r = 0.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_initClear(kmath_vect4 *r);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_initSubtract(kmath_vect4 *r, const kmath_vect4 *a,
                                                const kmath_vect4 *b);

/**
 * product = a·b.
 *
 * @param[in]  a        any; not checked for null
 * @param[in]  b        any; not checked for null
 * @param[out] product  the sum of the products, first component first
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_dot(const kmath_vect4 *a, const kmath_vect4 *b, double *product);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] equal  1 when all components are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_compareEqual(const kmath_vect4 *a, const kmath_vect4 *b,
                                                uint32_t *equal);

/**
 * equal = (|a − b|² < eps² or |a − b|² = 0).
 *
 * The bound itself does not count as equal, but two equal vectors do at any eps.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[in]  eps    distance, in the unit of the components
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4_epsilonEqual(const kmath_vect4 *a, const kmath_vect4 *b,
                                                double eps, uint32_t *equal);

/* Six floats. */

/**
 * r = (v0, v1, v2, v3, v4, v5).
 *
 * @param[out] r  the vector
 * @param[in]  v0  any
 * @param[in]  v1  any
 * @param[in]  v2  any
 * @param[in]  v3  any
 * @param[in]  v4  any
 * @param[in]  v5  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_init(kmath_vect6F *r, float v0, float v1, float v2, float v3,
                                         float v4, float v5);

/**
 * r = 0.
 *
 * @param[out] r  every component 0; not checked for null
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_initClear(kmath_vect6F *r);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_initSubtract(kmath_vect6F *r, const kmath_vect6F *a,
                                                 const kmath_vect6F *b);

/**
 * product = a·b, formed in floats.
 *
 * @param[in]  a        any; not checked for null
 * @param[in]  b        any; not checked for null
 * @param[out] product  the sum of the products, first component first
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_dot(const kmath_vect6F *a, const kmath_vect6F *b,
                                        float *product);

/**
 * length = |v|, formed in floats.
 *
 * @param[in]  v       any; not checked for null
 * @param[out] length  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_getLength(const kmath_vect6F *v, float *length);

/**
 * distance = |a − b|, formed in floats.
 *
 * @param[in]  a         any; not checked for null
 * @param[in]  b         any; not checked for null
 * @param[out] distance  ≥ 0, infinite where the squares overflow
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_getDistance(const kmath_vect6F *a, const kmath_vect6F *b,
                                                float *distance);

/**
 * r = v / |v|.
 *
 * The length is a float; its reciprocal and the products with the components are
 * formed in double and rounded to floats.
 *
 * @param[in]  v  any; not checked for null
 * @param[out] r  unit vector; may be v; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_ZERO_LENGTH when the length is exactly 0, as also for
 *         one whose squares underflow
 */
KMATH_API kmath_status kmath_vect6F_getUnit(const kmath_vect6F *v, kmath_vect6F *r);

/**
 * equal = (a = b), exactly.
 *
 * As numbers compare: −0 equals 0, and a NaN equals nothing.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[out] equal  1 when all components are equal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_compareEqual(const kmath_vect6F *a, const kmath_vect6F *b,
                                                 uint32_t *equal);

/**
 * equal = (|a − b|² < eps² or |a − b|² = 0), both sides formed in floats.
 *
 * The bound itself does not count as equal, but two equal vectors do at any eps.
 *
 * @param[in]  a      any
 * @param[in]  b      any
 * @param[in]  eps    distance, in the unit of the components
 * @param[out] equal  1 or 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect6F_epsilonEqual(const kmath_vect6F *a, const kmath_vect6F *b,
                                                 float eps, uint32_t *equal);

#ifdef __cplusplus
}
#endif

#endif
