/*
 * What the program tells of the outlines: a table on stdout.
 */
#ifndef MEASURE_REPORT_H
#define MEASURE_REPORT_H

#include <kmath/containers.h>

/* A line for each outline with its figures, which are as many, and one for all. */
kmath_status printFigures(const kstd_vector_vector_kmath_vect3 *outlines,
                          const kstd_vector_kmath_vect6F *figures);

#endif
