// The 4×4 matrix of complex numbers: products, cofactors, closed-form inverse.
//
// A result may be an operand, or a number within one, throughout: it is formed whole, or element by
// element, before it is stored.
#include <kmath/matrix4.h>

#include "geometry/complex_operators.hpp"
#include "platform/check.hpp"

using namespace kmath;

namespace
{

// Σ m(i, k)·x(k), with x(k) given by a function.
template <class Vector> kmath_complex rowTimes(const kmath_matrix4c &m, int i, Vector x)
{
    return m.m[i][0] * x(0) + m.m[i][1] * x(1) + m.m[i][2] * x(2) + m.m[i][3] * x(3);
}

// The rows or columns that remain when one is struck out.
constexpr int others[4][3] = {{1, 2, 3}, {0, 2, 3}, {0, 1, 3}, {0, 1, 2}};

// (−1)^(i+j) times the determinant without row i and column j, expanded along its first row.
kmath_complex cofactor(const kmath_matrix4c &m, int i, int j)
{
    const auto a = [&m, i, j](int p, int q) { return m.m[others[i][p]][others[j][q]]; };
    const kmath_complex minor = a(0, 0) * (a(1, 1) * a(2, 2) - a(1, 2) * a(2, 1)) -
                                a(0, 1) * (a(1, 0) * a(2, 2) - a(1, 2) * a(2, 0)) +
                                a(0, 2) * (a(1, 0) * a(2, 1) - a(1, 1) * a(2, 0));
    return (i + j) % 2 == 0 ? minor : -minor;
}

} // namespace

kmath_status kmath_matrix4c_initIdentity(kmath_matrix4c *m)
{
    KMATH_ASSERT(m);
    *m = {};
    for (int i = 0; i < 4; ++i)
        m->m[i][i] = {1.0, 0.0};
    return KMATH_OK;
}

kmath_status kmath_matrix4c_initClear(kmath_matrix4c *m)
{
    KMATH_ASSERT(m);
    *m = {};
    return KMATH_OK;
}

kmath_status kmath_matrix4c_reset(kmath_matrix4c *m) { return kmath_matrix4c_initIdentity(m); }

kmath_status kmath_matrix4c_realImag(const kmath_matrix4c *m, kmath_matrix4 *real,
                                     kmath_matrix4 *imaginary)
{
    KMATH_ASSERT(m);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            if (real)
                real->m[i][j] = m->m[i][j].re;
            if (imaginary)
                imaginary->m[i][j] = m->m[i][j].im;
        }
    return KMATH_OK;
}

kmath_status kmath_matrix4c_initMultiply(kmath_matrix4c *r, const kmath_matrix4c *a,
                                         const kmath_matrix4c *b)
{
    KMATH_ASSERT(r && a && b);
    kmath_matrix4c product;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            product.m[i][j] = rowTimes(*a, i, [b, j](int k) { return b->m[k][j]; });
    *r = product;
    return KMATH_OK;
}

kmath_status kmath_matrix4c_multv(const kmath_matrix4c *m, const kmath_vect4c *v, kmath_vect4c *r)
{
    KMATH_ASSERT(m && v && r);
    kmath_vect4c product;
    for (int i = 0; i < 4; ++i)
        product.v[i] = rowTimes(*m, i, [v](int k) { return v->v[k]; });
    *r = product;
    return KMATH_OK;
}

kmath_status kmath_matrix4c_scale(kmath_matrix4c *m, const kmath_complex *s)
{
    KMATH_ASSERT(m && s);
    const kmath_complex factor = *s;
    for (auto &row : m->m)
        for (kmath_complex &element : row)
            element = factor * element;
    return KMATH_OK;
}

kmath_status kmath_matrix4c_initAdd(kmath_matrix4c *r, const kmath_matrix4c *a,
                                    const kmath_matrix4c *b)
{
    KMATH_ASSERT(r && a && b);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r->m[i][j] = a->m[i][j] + b->m[i][j];
    return KMATH_OK;
}

kmath_status kmath_matrix4c_trace(const kmath_matrix4c *m, kmath_complex *trace)
{
    KMATH_ASSERT(m && trace);
    *trace = m->m[0][0] + m->m[1][1] + m->m[2][2] + m->m[3][3];
    return KMATH_OK;
}

kmath_status kmath_matrix4c_determinant(const kmath_matrix4c *m, kmath_complex *det)
{
    KMATH_ASSERT(m && det);
    *det = rowTimes(*m, 0, [m](int j) { return cofactor(*m, 0, j); });
    return KMATH_OK;
}

kmath_status kmath_matrix4c_getInverse(const kmath_matrix4c *m, kmath_matrix4c *r)
{
    KMATH_ASSERT(m && r);
    constexpr double vanishing = 1e-15; // of a squared determinant

    kmath_complex det;
    RETURN_IF_FAILED(kmath_matrix4c_determinant(m, &det));
    const double squared = squaredMagnitude(det);
    if (!(squared > vanishing)) // a NaN is refused as well
        return KMATH_ERR_SINGULAR;

    const kmath_complex reciprocal = conjugate(det) / squared;
    kmath_matrix4c inverse;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            inverse.m[i][j] = cofactor(*m, j, i) * reciprocal;
    *r = inverse;
    return KMATH_OK;
}
