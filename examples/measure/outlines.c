#include "outlines.h"

static kmath_status addPoint(kstd_vector_vector_kmath_vect3 *outlines, int32_t group,
                             const double *position)
{
    const kmath_vect3 point = {position[0], position[1], 0};
    kstd_vector_kmath_vect3 *outline;
    const kmath_status status =
        kstd_vector_vector_kmath_vect3_getElement(outlines, (size_t)group - 1, &outline);
    return KMATH_IS_FAILURE(status) ? status : kstd_vector_kmath_vect3_pushBack(outline, &point);
}

kmath_status groupOutlines(const Features *features, kstd_vector_vector_kmath_vect3 *outlines)
{
    kmath_status status =
        kstd_vector_vector_kmath_vect3_resize(outlines, (size_t)features->nGroups);
    for (int32_t p = 0; p < features->nPoints && !KMATH_IS_FAILURE(status); ++p)
        if (features->groups[p] != 0)
            status = addPoint(outlines, features->groups[p], &features->positions[2 * p]);
    return status;
}

void imageToPlate(kmath_xform3Linear *X, double millimetresPerPixel, int32_t rows)
{
    const double s = millimetresPerPixel;
    kmath_xform3Linear_initMatrixTransElements(X, s, 0, 0, 0, -s, 0, 0, 0, -s, 0, s * (rows - 1),
                                               0);
}

kmath_status mapOutlines(const kmath_xform3Linear *X, kstd_vector_vector_kmath_vect3 *outlines)
{
    kstd_vector_kmath_vect3 *outline = NULL;
    kmath_status status = kstd_vector_vector_kmath_vect3_getNextElement(outlines, &outline);
    while (!KMATH_IS_FAILURE(status) && outline != NULL) {
        kmath_vect3 *points;
        intptr_t count;
        status = kstd_vector_kmath_vect3_getBeginSizeIntPtr(outline, &points, &count);
        if (!KMATH_IS_FAILURE(status))
            status = kmath_xform3Linear_mapPoints(X, count, points, points);
        if (!KMATH_IS_FAILURE(status))
            status = kstd_vector_vector_kmath_vect3_getNextElement(outlines, &outline);
    }
    return status;
}
