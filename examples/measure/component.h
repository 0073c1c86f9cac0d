/*
 * A measuring component as another maker could have delivered it: all that it and its caller share
 * are the library's headers and the names of two interfaces.
 */
#ifndef MEASURE_COMPONENT_H
#define MEASURE_COMPONENT_H

#include <kmath/containers.h>

/* The figures of an outline, in the order of a kmath_vect6F; lengths in the unit of the points. */
enum { CENTRE_X, CENTRE_Y, DIAMETER, DEVIATION, AREA, EXTENT };

/*
 * Measures outlines in the plane z = 0.
 *
 * The first object has to know the interface "kstd_vector_vector_kmath_vect3Shareable", the
 * outlines, the second "kstd_vector_kmath_vect6FShareable", which is given the figures of each: the
 * circle closest to the corners of its convex hull (centre, diameter, root mean square of the
 * distances), and the area and greatest extent of the hull. Objects that do not know them are
 * refused with KMATH_ERR_FAILED, an outline that encloses no area with KMATH_ERR_SINGULAR; the
 * figures then stay as they were.
 */
kmath_status measureOutlines(kxObject *outlines, kxObject *figures);

#endif
