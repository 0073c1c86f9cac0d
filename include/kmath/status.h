/**
 * @file
 * Status values, the failure test, export marking and version numbers.
 *
 * Every function of the library returns a kmath_status and passes its results
 * through pointers. 0 is success; every failure has bit 31 set. A status that
 * an inner step reports is passed outward unchanged, so callers test with
 * KMATH_IS_FAILURE and compare with a name only where they can act on it.
 *
 * A null pointer where a record is required is a programming error. It is
 * reported to kstd_assert_ (platform.h) with a line number, never through the
 * status, and the function then carries on.
 */
#ifndef KMATH_STATUS_H
#define KMATH_STATUS_H

#include <stddef.h>
#include <stdint.h>

#define KMATH_VERSION_MAJOR 1 /**< raised with every changed record or signature */
#define KMATH_VERSION_MINOR 0 /**< raised with every addition */
#define KMATH_VERSION_PATCH 0 /**< raised with every correction */

/** Marks what the library exports. */
#if defined(__GNUC__)
#define KMATH_API __attribute__((visibility("default")))
#else
#define KMATH_API
#endif

/** Result of every function: 0 for success, bit 31 set for every failure. */
typedef int32_t kmath_status;

/** True exactly when bit 31 of the status is set. */
#define KMATH_IS_FAILURE(status) (((uint32_t)(status)&0x80000000u) != 0)

/** Success. */
#define KMATH_OK ((kmath_status)0)
/** An invalid argument without a more specific status. */
#define KMATH_ERR_FAILED ((kmath_status)0x80000000u)
/** Operand dimensions disagree, or an index or range lies outside a matrix. */
#define KMATH_ERR_BAD_DIMENSIONS ((kmath_status)0x8000058au)
/** Singular or degenerate input, or a decomposition that did not converge. */
#define KMATH_ERR_SINGULAR ((kmath_status)0x80000582u)
/** The result is the same object as an input of an operation that cannot work in place. */
#define KMATH_ERR_ALIASED ((kmath_status)0x8000058bu)
/** A negative number of points or vectors. */
#define KMATH_ERR_NEGATIVE_COUNT ((kmath_status)0x80000595u)
/** A matrix whose orthogonal part is a reflection, or that is no rotation at all. */
#define KMATH_ERR_LEFT_HANDED ((kmath_status)0x8000058cu)
/** A vector of length exactly 0 cannot be normalised. */
#define KMATH_ERR_ZERO_LENGTH ((kmath_status)0x80000584u)
/** A negative number of rows or columns. */
#define KMATH_ERR_NEGATIVE_SIZE ((kmath_status)0x80000521u)
/** An allocation was refused. */
#define KMATH_ERR_NO_MEMORY ((kmath_status)0x80000023u)
/** The matrix cannot be expressed as rotation angles. */
#define KMATH_ERR_NOT_ROTATION ((kmath_status)0x800007c1u)
/** Division by a complex number whose parts are both exactly 0. */
#define KMATH_ERR_DIVIDE_BY_ZERO ((kmath_status)0x80000583u)

#endif
