/**
 * @file
 * The element types of the typed vectors, each listed once.
 *
 * Every entry names an element and its vector and includes the file that
 * KSTD_STAMP names, which makes of them what it is for: declarations, bodies or
 * tests. The file has no include guard, as it is included once for each purpose.
 */
#include <kmath/nmmatrix.h>

#ifndef KSTD_STAMP
#define KSTD_STAMP <kmath/vector_operations.h>
#endif

#define KSTD_ELEMENT kmath_nmmatrix
#define KSTD_VECTOR  kstd_vector_kmath_nmmatrix
#define KSTD_WITHOUT_COMPARE_EQUAL
#include KSTD_STAMP

#undef KSTD_STAMP
