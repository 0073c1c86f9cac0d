#include <kmath/kmath.h>
#include <stdio.h>

/* A component that knows what it is given by name only: the mean of points. */
static kmath_status meanOf(kxObject *object, kmath_vect3 *mean)
{
    void *found;
    const kmath_vect3 *begin, *end;
    kmath_status status =
        kxObject_queryInterfaceByTypename(object, L"kstd_vector_kmath_vect3Shareable", &found);
    if (!KMATH_IS_FAILURE(status) && found == NULL)
        status = KMATH_ERR_FAILED; /* some other kind of object */
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect3Shareable_getBeginEndConst(found, &begin, &end);
    if (KMATH_IS_FAILURE(status))
        return status;

    kmath_vect3_initClear(mean);
    for (const kmath_vect3 *point = begin; point != end; ++point)
        kmath_vect3_initAdd(mean, mean, point);
    return kmath_vect3_initScale(mean, mean, 1.0 / (double)(end - begin));
}

int main(void)
{
    kmath_vect3 mean;
    kstd_vector_kmath_vect3 points;
    kstd_vector_kmath_vect3Shareable *shared = NULL;

    kmath_status status = kstd_vector_kmath_vect3_constructEmpty(&points);
    for (int i = 0; i < 5 && !KMATH_IS_FAILURE(status); ++i) {
        const kmath_vect3 point = {i, i * i, 0.5};
        status = kstd_vector_kmath_vect3_pushBack(&points, &point);
    }
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect3Shareable_constructVector(&shared, &points);
    if (!KMATH_IS_FAILURE(status))
        status = meanOf(&shared->object, &mean);
    if (!KMATH_IS_FAILURE(status))
        printf("mean (%g, %g, %g)\n", mean.x, mean.y, mean.z);

    kstd_vector_kmath_vect3Shareable_delete(&shared);
    kstd_vector_kmath_vect3_destruct(&points);
    return KMATH_IS_FAILURE(status) ? 1 : 0;
}
