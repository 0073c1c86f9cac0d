/**
 * @file
 * Typed vectors: growable runs of the library's records, and objects that share
 * them between components.
 *
 * Every element type T has a vector kstd_vector_T, whose operations are those of
 * vector_operations.h under its own name. Positions count from 0. A vector owns
 * its elements: it copies what it is given, and what it hands out stays its own
 * until the next operation that changes its content.
 *
 * Elements that own memory are constructed, copied and destructed by their own
 * operations and never moved bytewise; others are plain memory and cleared to
 * zero where they are constructed empty. Room grows by half at least, so adding
 * one by one costs a constant number of copies each. Arguments may point into the
 * vector that they are added to.
 *
 * A failing operation leaves a vector valid and with the elements that it had.
 * The failures are KMATH_ERR_BAD_DIMENSIONS for a position or count beyond the
 * vector, KMATH_ERR_NO_MEMORY or the status of a failing memory table, and
 * whatever constructing, copying or destructing an element gives; elements that are
 * dropped are gone even then. A null vector, handle, source, element or result pointer
 * is reported to kstd_assert_, never through the status; elements of which none are
 * asked for may be null.
 *
 * Every vector has a shareable twin, kstd_vector_TShareable, with the operations of
 * shareable_operations.h: an object that holds such a vector and knows its own
 * name. A component may pass it on as a kxObject to another one that does not know
 * the type, and that one asks for the interface it needs by name. Objects are
 * allocated and live behind a handle, a pointer of the caller's. There is no count
 * of references: an object has one owner at a time, and whoever has it last
 * deletes it, through the typed handle or as a kstd_vectorShareable.
 */
#ifndef KMATH_CONTAINERS_H
#define KMATH_CONTAINERS_H

#include <kmath/nmmatrix.h>
#include <kmath/platform.h>
#include <kmath/type_checks.h>
#include <kmath/vectors.h>
#include <kmath/xform3.h>

#define KSTD_STAMP <kmath/vector_operations.h>
#include <kmath/vector_types.h>

#define KSTD_STAMP <kmath/shareable_operations.h>
#include <kmath/vector_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a vector of points hold those of a single-precision one, each component
 * widened exactly.
 *
 * @param[in,out] vector  resized to the source's size; on failure it keeps its points
 * @param[in]     source  any size
 * @return KMATH_OK or the status of a failing allocation
 */
KMATH_API kmath_status kstd_vector_kmath_vect3_assignVect3F(kstd_vector_kmath_vect3 *vector,
                                                            const kstd_vector_kmath_vect3F *source);

#ifdef __cplusplus
}
#endif

#endif
