/**
 * @file
 * The element types of the typed vectors, each listed once.
 *
 * Every entry names an element and its vector and includes the file that
 * KSTD_STAMP names, which makes of them what it is for: declarations, bodies or
 * tests. A vector that is an element itself stands behind its own entry. The file
 * has no include guard, as it is included once for each purpose.
 */
#include <kmath/nmmatrix.h>
#include <kmath/vectors.h>
#include <kmath/xform3.h>

#ifndef KSTD_STAMP
#define KSTD_STAMP <kmath/vector_operations.h>
#endif

/* Points, directions and transforms: plain memory. */

#define KSTD_ELEMENT kmath_vect3
#define KSTD_VECTOR  kstd_vector_kmath_vect3
#include KSTD_STAMP

#define KSTD_ELEMENT kmath_vect3F
#define KSTD_VECTOR  kstd_vector_kmath_vect3F
#include KSTD_STAMP

#define KSTD_ELEMENT kmath_vect4
#define KSTD_VECTOR  kstd_vector_kmath_vect4
#include KSTD_STAMP

#define KSTD_ELEMENT kmath_vect6F
#define KSTD_VECTOR  kstd_vector_kmath_vect6F
#include KSTD_STAMP

#define KSTD_ELEMENT kmath_xform3Linear
#define KSTD_VECTOR  kstd_vector_kmath_xform3Linear
#include KSTD_STAMP

/* Matrices, each with storage of its own. */

#define KSTD_ELEMENT kmath_nmmatrix
#define KSTD_VECTOR  kstd_vector_kmath_nmmatrix
#define KSTD_WITHOUT_COMPARE_EQUAL
#include KSTD_STAMP

/* Vectors of vectors. */

#define KSTD_ELEMENT kstd_vector_kmath_vect3
#define KSTD_VECTOR  kstd_vector_vector_kmath_vect3
#include KSTD_STAMP

#define KSTD_ELEMENT kstd_vector_kmath_vect3F
#define KSTD_VECTOR  kstd_vector_vector_kmath_vect3F
#include KSTD_STAMP

#define KSTD_ELEMENT kstd_vector_kmath_xform3Linear
#define KSTD_VECTOR  kstd_vector_vector_kmath_xform3Linear
#include KSTD_STAMP

#define KSTD_ELEMENT kstd_vector_vector_kmath_vect3
#define KSTD_VECTOR  kstd_vector_vector_vector_kmath_vect3
#include KSTD_STAMP

#define KSTD_ELEMENT kstd_vector_vector_vector_kmath_vect3
#define KSTD_VECTOR  kstd_vector_vector_vector_vector_kmath_vect3
#include KSTD_STAMP

#undef KSTD_STAMP
