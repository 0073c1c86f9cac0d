// The 4×4 matrix of doubles: products, sums and scaling.
//
// A result may be an operand throughout: it is formed whole, or element by element, before it is
// stored.
#include <kmath/matrix4.h>

#include "platform/check.hpp"

kmath_status kmath_matrix4_initIdentity(kmath_matrix4 *m)
{
    KMATH_ASSERT(m);
    *m = {};
    for (int i = 0; i < 4; ++i)
        m->m[i][i] = 1.0;
    return KMATH_OK;
}

kmath_status kmath_matrix4_initClear(kmath_matrix4 *m)
{
    KMATH_ASSERT(m);
    *m = {};
    return KMATH_OK;
}

kmath_status kmath_matrix4_reset(kmath_matrix4 *m) { return kmath_matrix4_initIdentity(m); }

kmath_status kmath_matrix4_initMultiply(kmath_matrix4 *r, const kmath_matrix4 *a,
                                        const kmath_matrix4 *b)
{
    KMATH_ASSERT(r && a && b);
    kmath_matrix4 product;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            product.m[i][j] = a->m[i][0] * b->m[0][j] + a->m[i][1] * b->m[1][j] +
                              a->m[i][2] * b->m[2][j] + a->m[i][3] * b->m[3][j];
    *r = product;
    return KMATH_OK;
}

kmath_status kmath_matrix4_multv(const kmath_matrix4 *m, const kmath_vect4 *v, kmath_vect4 *r)
{
    KMATH_ASSERT(m && v && r);
    const auto row = [m, v](int i) {
        return m->m[i][0] * v->x + m->m[i][1] * v->y + m->m[i][2] * v->z + m->m[i][3] * v->w;
    };
    *r = {row(0), row(1), row(2), row(3)};
    return KMATH_OK;
}

kmath_status kmath_matrix4_scale(kmath_matrix4 *m, double s)
{
    KMATH_ASSERT(m);
    for (auto &row : m->m)
        for (double &element : row)
            element *= s;
    return KMATH_OK;
}

kmath_status kmath_matrix4_initAdd(kmath_matrix4 *r, const kmath_matrix4 *a, const kmath_matrix4 *b)
{
    KMATH_ASSERT(r && a && b);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r->m[i][j] = a->m[i][j] + b->m[i][j];
    return KMATH_OK;
}
