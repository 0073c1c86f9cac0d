#include "report.h"

#include "component.h"

#include <math.h>
#include <stdio.h>

static void printLine(size_t number, int32_t nPoints, const kmath_vect6F *figures)
{
    const float *f = figures->v;
    printf("%7d %6d %10.3f %10.3f %10.3f %9.3f %10.2f %10.3f\n", (int)number, (int)nPoints,
           f[CENTRE_X], f[CENTRE_Y], f[DIAMETER], f[DEVIATION], f[AREA], f[EXTENT]);
}

static void printClosingLine(const kmath_vect6F *figures, size_t count)
{
    float least = INFINITY, greatest = 0;
    for (size_t i = 0; i < count; ++i) {
        least = fminf(least, figures[i].v[DIAMETER]);
        greatest = fmaxf(greatest, figures[i].v[DIAMETER]);
    }
    printf("%d outlines, diameters from %.2f to %.2f mm\n", (int)count, least, greatest);
}

kmath_status printFigures(const kstd_vector_vector_kmath_vect3 *outlines,
                          const kstd_vector_kmath_vect6F *figures)
{
    const kstd_vector_kmath_vect3 *outline;
    const kmath_vect6F *measured;
    size_t nOutlines, count;
    kmath_status status =
        kstd_vector_vector_kmath_vect3_getBeginSizeConst(outlines, &outline, &nOutlines);
    if (!KMATH_IS_FAILURE(status))
        status = kstd_vector_kmath_vect6F_getBeginSizeConst(figures, &measured, &count);
    if (KMATH_IS_FAILURE(status) || count != nOutlines)
        return KMATH_IS_FAILURE(status) ? status : KMATH_ERR_BAD_DIMENSIONS;

    puts("outline points   centre x   centre y   diameter deviation       area     extent\n"
         "                       mm         mm         mm        mm        mm2         mm");
    for (size_t i = 0; i < count && !KMATH_IS_FAILURE(status); ++i) {
        int32_t nPoints;
        status = kstd_vector_kmath_vect3_getSize(&outline[i], &nPoints);
        if (!KMATH_IS_FAILURE(status))
            printLine(i + 1, nPoints, &measured[i]);
    }
    if (!KMATH_IS_FAILURE(status))
        printClosingLine(measured, count);
    return status;
}
