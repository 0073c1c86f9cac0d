#include "component.h"

#include "circle.h"
#include "hull.h"

typedef kstd_vector_vector_kmath_vect3Shareable Outlines;

static kmath_status ask(kxObject *object, const wchar_t *name, void **found)
{
    const kmath_status status = kxObject_queryInterfaceByTypename(object, name, found);
    return KMATH_IS_FAILURE(status) || *found != NULL ? status : KMATH_ERR_FAILED;
}

static kmath_status measureHull(const kstd_vector_kmath_vect3 *hull, kmath_vect6F *figures)
{
    const kmath_vect3 *corners;
    int32_t count;
    Circle circle;
    kmath_status status = kstd_vector_kmath_vect3_getBeginSize32Const(hull, &corners, &count);
    if (KMATH_IS_FAILURE(status))
        return status;
    if (count < 3)
        return KMATH_ERR_SINGULAR;
    status = fitCircle(corners, count, &circle);
    if (KMATH_IS_FAILURE(status))
        return status;
    figures->v[CENTRE_X] = (float)circle.x;
    figures->v[CENTRE_Y] = (float)circle.y;
    figures->v[DIAMETER] = (float)(2 * circle.radius);
    figures->v[DEVIATION] = (float)circle.deviation;
    figures->v[AREA] = (float)polygonArea(corners, (size_t)count);
    figures->v[EXTENT] = (float)greatestExtent(corners, (size_t)count);
    return KMATH_OK;
}

/* One vector for the hulls of all outlines, so that its room is taken once. */
static kmath_status measureAll(const kstd_vector_vector_kmath_vect3 *outlines,
                               kstd_vector_kmath_vect3 *hull, kstd_vector_kmath_vect6F *figures)
{
    const kstd_vector_kmath_vect3 *outline = NULL;
    kmath_status status = kstd_vector_vector_kmath_vect3_getNextElementConst(outlines, &outline);
    while (!KMATH_IS_FAILURE(status) && outline != NULL) {
        kmath_vect6F measured;
        status = convexHull(outline, hull);
        if (!KMATH_IS_FAILURE(status))
            status = measureHull(hull, &measured);
        if (!KMATH_IS_FAILURE(status))
            status = kstd_vector_kmath_vect6F_pushBack(figures, &measured);
        if (!KMATH_IS_FAILURE(status))
            status = kstd_vector_vector_kmath_vect3_getNextElementConst(outlines, &outline);
    }
    return status;
}

kmath_status measureOutlines(kxObject *outlines, kxObject *figures)
{
    void *input, *output;
    kmath_status status = ask(outlines, L"kstd_vector_vector_kmath_vect3Shareable", &input);
    if (!KMATH_IS_FAILURE(status))
        status = ask(figures, L"kstd_vector_kmath_vect6FShareable", &output);
    if (KMATH_IS_FAILURE(status))
        return status;

    kstd_vector_kmath_vect3 hull;
    kstd_vector_kmath_vect6F measured;
    kstd_vector_kmath_vect3_constructEmpty(&hull);
    kstd_vector_kmath_vect6F_constructEmpty(&measured);
    status = measureAll(&((Outlines *)input)->vector, &hull, &measured);
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect6FShareable_assignVector(output, &measured);
    kstd_vector_kmath_vect6F_destruct(&measured);
    kstd_vector_kmath_vect3_destruct(&hull);
    return status;
}
