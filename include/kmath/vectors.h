/**
 * @file
 * Angles and fixed-size vectors: radian, vect3, vect3F, vect4, vect6F.
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

KMATH_API kmath_status kmath_vect3_init(kmath_vect3 *r, double x, double y, double z);
KMATH_API kmath_status kmath_vect3_initClear(kmath_vect3 *r);
KMATH_API kmath_status kmath_vect3_reset(kmath_vect3 *r);
KMATH_API kmath_status kmath_vect3_initAdd(kmath_vect3 *r, const kmath_vect3 *a,
                                           const kmath_vect3 *b);
KMATH_API kmath_status kmath_vect3_initSubtract(kmath_vect3 *r, const kmath_vect3 *a,
                                                const kmath_vect3 *b);
KMATH_API kmath_status kmath_vect3_initScale(kmath_vect3 *r, const kmath_vect3 *a, double s);
KMATH_API kmath_status kmath_vect3_getLength(const kmath_vect3 *v, double *length);
KMATH_API kmath_status kmath_vect3_getDistance(const kmath_vect3 *a, const kmath_vect3 *b,
                                               double *distance);
KMATH_API kmath_status kmath_vect3_getUnit(const kmath_vect3 *v, kmath_vect3 *r);
KMATH_API kmath_status kmath_vect3_cross(const kmath_vect3 *a, const kmath_vect3 *b,
                                         kmath_vect3 *r);
KMATH_API kmath_status kmath_vect3_dot(const kmath_vect3 *a, const kmath_vect3 *b, double *product);
KMATH_API kmath_status kmath_vect3_compareEqual(const kmath_vect3 *a, const kmath_vect3 *b,
                                                uint32_t *equal);
KMATH_API kmath_status kmath_vect3_epsilonEqual(const kmath_vect3 *a, const kmath_vect3 *b,
                                                double eps, uint32_t *equal);
KMATH_API kmath_status kmath_vect3_initTiltAndRotation(kmath_vect3 *r, const radian *tilt,
                                                       const radian *rotation);
KMATH_API kmath_status kmath_vect3_getTiltAndRotation(const kmath_vect3 *v, radian *tilt,
                                                      radian *rotation);
KMATH_API kmath_status kmath_vect3_getTilt(const kmath_vect3 *v, radian *tilt);
KMATH_API kmath_status kmath_vect3_getRotation(const kmath_vect3 *v, radian *rotation);
KMATH_API kmath_status kmath_vect3_getAngleBetweenVectors(const kmath_vect3 *a,
                                                          const kmath_vect3 *b, radian *angle);
KMATH_API kmath_status kmath_vect3_getAngleBetween3Points(const kmath_vect3 *p1,
                                                          const kmath_vect3 *vertex,
                                                          const kmath_vect3 *p3, radian *angle);
KMATH_API kmath_status kmath_vect3_getSignedDistanceToPointAlongDirection(
    const kmath_vect3 *from, const kmath_vect3 *to, const kmath_vect3 *direction, double *distance);

KMATH_API kmath_status kmath_vect3F_init(kmath_vect3F *r, float x, float y, float z);
KMATH_API kmath_status kmath_vect3F_initClear(kmath_vect3F *r);
KMATH_API kmath_status kmath_vect3F_reset(kmath_vect3F *r);
KMATH_API kmath_status kmath_vect3F_initAdd(kmath_vect3F *r, const kmath_vect3F *a,
                                            const kmath_vect3F *b);
KMATH_API kmath_status kmath_vect3F_initSubtract(kmath_vect3F *r, const kmath_vect3F *a,
                                                 const kmath_vect3F *b);
KMATH_API kmath_status kmath_vect3F_initScale(kmath_vect3F *r, const kmath_vect3F *a, float s);
KMATH_API kmath_status kmath_vect3F_getLength(const kmath_vect3F *v, float *length);
KMATH_API kmath_status kmath_vect3F_getDistance(const kmath_vect3F *a, const kmath_vect3F *b,
                                                float *distance);
KMATH_API kmath_status kmath_vect3F_getUnit(const kmath_vect3F *v, kmath_vect3F *r);
KMATH_API kmath_status kmath_vect3F_cross(const kmath_vect3F *a, const kmath_vect3F *b,
                                          kmath_vect3F *r);
KMATH_API kmath_status kmath_vect3F_dot(const kmath_vect3F *a, const kmath_vect3F *b,
                                        float *product);
KMATH_API kmath_status kmath_vect3F_compareEqual(const kmath_vect3F *a, const kmath_vect3F *b,
                                                 uint32_t *equal);
KMATH_API kmath_status kmath_vect3F_epsilonEqual(const kmath_vect3F *a, const kmath_vect3F *b,
                                                 double eps, uint32_t *equal);

KMATH_API kmath_status kmath_vect4_init(kmath_vect4 *r, double x, double y, double z, double w);
KMATH_API kmath_status kmath_vect4_initClear(kmath_vect4 *r);
KMATH_API kmath_status kmath_vect4_initSubtract(kmath_vect4 *r, const kmath_vect4 *a,
                                                const kmath_vect4 *b);
KMATH_API kmath_status kmath_vect4_dot(const kmath_vect4 *a, const kmath_vect4 *b, double *product);
KMATH_API kmath_status kmath_vect4_compareEqual(const kmath_vect4 *a, const kmath_vect4 *b,
                                                uint32_t *equal);
KMATH_API kmath_status kmath_vect4_epsilonEqual(const kmath_vect4 *a, const kmath_vect4 *b,
                                                double eps, uint32_t *equal);

KMATH_API kmath_status kmath_vect6F_init(kmath_vect6F *r, float v0, float v1, float v2, float v3,
                                         float v4, float v5);
KMATH_API kmath_status kmath_vect6F_initClear(kmath_vect6F *r);
KMATH_API kmath_status kmath_vect6F_initSubtract(kmath_vect6F *r, const kmath_vect6F *a,
                                                 const kmath_vect6F *b);
KMATH_API kmath_status kmath_vect6F_dot(const kmath_vect6F *a, const kmath_vect6F *b,
                                        float *product);
KMATH_API kmath_status kmath_vect6F_getLength(const kmath_vect6F *v, float *length);
KMATH_API kmath_status kmath_vect6F_getDistance(const kmath_vect6F *a, const kmath_vect6F *b,
                                                float *distance);
KMATH_API kmath_status kmath_vect6F_getUnit(const kmath_vect6F *v, kmath_vect6F *r);
KMATH_API kmath_status kmath_vect6F_compareEqual(const kmath_vect6F *a, const kmath_vect6F *b,
                                                 uint32_t *equal);
KMATH_API kmath_status kmath_vect6F_epsilonEqual(const kmath_vect6F *a, const kmath_vect6F *b,
                                                 float eps, uint32_t *equal);

#ifdef __cplusplus
}
#endif

#endif
