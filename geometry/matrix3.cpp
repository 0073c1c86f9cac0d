// The 3×3 matrix: products, closed-form inverse and determinant, rotations about the axes.
//
// A result may be an operand throughout: it is formed whole, or element by element, before it is
// stored.
#include <kmath/matrix3.h>

#include "geometry/matrix3_product.hpp"
#include "platform/check.hpp"
#include "platform/math_support.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace kmath;

namespace
{

using Element = double kmath_matrix3::*;

// In row-major order.
constexpr Element elements[9] = {&kmath_matrix3::m00, &kmath_matrix3::m01, &kmath_matrix3::m02,
                                 &kmath_matrix3::m10, &kmath_matrix3::m11, &kmath_matrix3::m12,
                                 &kmath_matrix3::m20, &kmath_matrix3::m21, &kmath_matrix3::m22};

constexpr Element at(int i, int j) { return elements[3 * i + j]; }

constexpr kmath_matrix3 unitMatrix = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

// The transposed matrix of cofactors: m·adjugate(m) = det(m)·I.
kmath_matrix3 adjugate(const kmath_matrix3 &m)
{
    const auto [a, b, c, d, e, f, g, h, i] = m;
    return {e * i - f * h,    -(b * i - c * h), b * f - c * e,    //
            -(d * i - f * g), a * i - c * g,    -(a * f - c * d), //
            d * h - e * g,    -(a * h - b * g), a * e - b * d};
}

} // namespace

kmath_status kmath_matrix3_init(kmath_matrix3 *r, double m00, double m01, double m02, double m10,
                                double m11, double m12, double m20, double m21, double m22)
{
    KMATH_ASSERT(r);
    *r = {m00, m01, m02, m10, m11, m12, m20, m21, m22};
    return KMATH_OK;
}

kmath_status kmath_matrix3_initIdentity(kmath_matrix3 *r)
{
    KMATH_ASSERT(r);
    *r = unitMatrix;
    return KMATH_OK;
}

kmath_status kmath_matrix3_setToIdentity(kmath_matrix3 *r) { return kmath_matrix3_initIdentity(r); }

kmath_status kmath_matrix3_reset(kmath_matrix3 *r) { return kmath_matrix3_initIdentity(r); }

kmath_status kmath_matrix3_initClear(kmath_matrix3 *r)
{
    KMATH_ASSERT(r);
    *r = {};
    return KMATH_OK;
}

kmath_status kmath_matrix3_initFromAxes(kmath_matrix3 *r, const kmath_vect3 *axis0,
                                        const kmath_vect3 *axis1, const kmath_vect3 *axis2)
{
    *r = {axis0->x, axis1->x, axis2->x, //
          axis0->y, axis1->y, axis2->y, //
          axis0->z, axis1->z, axis2->z};
    return KMATH_OK;
}

kmath_status kmath_matrix3_initMultiply(kmath_matrix3 *r, const kmath_matrix3 *a,
                                        const kmath_matrix3 *b)
{
    KMATH_ASSERT(r && a && b);
    kmath_matrix3 product;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            product.*at(i, j) = a->*at(i, 0) * b->*at(0, j) + a->*at(i, 1) * b->*at(1, j) +
                                a->*at(i, 2) * b->*at(2, j);
    *r = product;
    return KMATH_OK;
}

kmath_status kmath_matrix3_initAdd(kmath_matrix3 *r, const kmath_matrix3 *a, const kmath_matrix3 *b)
{
    KMATH_ASSERT(r && a && b);
    for (const Element e : elements)
        r->*e = a->*e + b->*e;
    return KMATH_OK;
}

kmath_status kmath_matrix3_initSubtract(kmath_matrix3 *r, const kmath_matrix3 *a,
                                        const kmath_matrix3 *b)
{
    KMATH_ASSERT(r && a && b);
    for (const Element e : elements)
        r->*e = a->*e - b->*e;
    return KMATH_OK;
}

kmath_status kmath_matrix3_scale(kmath_matrix3 *m, double s)
{
    KMATH_ASSERT(m);
    for (const Element e : elements)
        m->*e *= s;
    return KMATH_OK;
}

kmath_status kmath_matrix3_transpose(const kmath_matrix3 *m, kmath_matrix3 *r)
{
    KMATH_ASSERT(m && r);
    const kmath_matrix3 source = *m;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r->*at(i, j) = source.*at(j, i);
    return KMATH_OK;
}

kmath_status kmath_matrix3_multv(const kmath_matrix3 *m, const kmath_vect3 *v, kmath_vect3 *r)
{
    KMATH_ASSERT(m && v && r);
    *r = product(*m, *v);
    return KMATH_OK;
}

kmath_status kmath_matrix3_multvF(const kmath_matrix3 *m, const kmath_vect3F *v, kmath_vect3F *r)
{
    KMATH_ASSERT(m && v && r);
    const kmath_vect3 p = product(*m, v->x, v->y, v->z);
    *r = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
    return KMATH_OK;
}

kmath_status kmath_matrix3_mapPoint(const kmath_matrix3 *m, const kmath_vect3 *p, kmath_vect3 *r)
{
    return kmath_matrix3_multv(m, p, r);
}

kmath_status kmath_matrix3_invMapPoint(const kmath_matrix3 *m, const kmath_vect3 *p, kmath_vect3 *r)
{
    kmath_matrix3 inverse;
    RETURN_IF_FAILED(kmath_matrix3_getInverse(m, &inverse));
    return kmath_matrix3_multv(&inverse, p, r);
}

kmath_status kmath_matrix3_getInverse(const kmath_matrix3 *m, kmath_matrix3 *r)
{
    KMATH_ASSERT(m && r);
    constexpr double vanishing = 1e-150;
    constexpr double smallestRatio = 1e-15; // of the determinant to a cofactor

    kmath_matrix3 A = adjugate(*m);
    const double det = m->m00 * A.m00 + m->m10 * A.m01 + m->m20 * A.m02;
    if (kmath_double_epsilonEqual(det, 0.0, vanishing))
        return KMATH_ERR_SINGULAR;
    for (const Element e : elements)
        if (std::fabs(det) < smallestRatio * std::fabs(A.*e))
            return KMATH_ERR_SINGULAR;

    RETURN_IF_FAILED(kmath_matrix3_scale(&A, 1.0 / det));
    *r = A;
    return KMATH_OK;
}

kmath_status kmath_matrix3_initInverse(kmath_matrix3 *r, const kmath_matrix3 *m)
{
    return kmath_matrix3_getInverse(m, r);
}

kmath_status kmath_matrix3_determinant(const kmath_matrix3 *m, double *det)
{
    KMATH_ASSERT(m && det);
    *det = m->m00 * (m->m11 * m->m22 - m->m12 * m->m21) +
           m->m10 * (-m->m01 * m->m22 + m->m02 * m->m21) +
           m->m20 * (m->m01 * m->m12 - m->m02 * m->m11);
    return KMATH_OK;
}

kmath_status kmath_matrix3_getIsIdentity(const kmath_matrix3 *m, uint32_t *identity)
{
    KMATH_ASSERT(m && identity);
    return kmath_matrix3_compareEqual(m, &unitMatrix, identity);
}

kmath_status kmath_matrix3_compareEqual(const kmath_matrix3 *a, const kmath_matrix3 *b,
                                        uint32_t *equal)
{
    *equal = std::all_of(std::begin(elements), std::end(elements),
                         [&](Element e) { return a->*e == b->*e; });
    return KMATH_OK;
}

kmath_status kmath_matrix3_epsilonEqual(const kmath_matrix3 *a, const kmath_matrix3 *b, double eps,
                                        uint32_t *equal)
{
    *equal = std::all_of(std::begin(elements), std::end(elements),
                         [&](Element e) { return std::fabs(a->*e - b->*e) <= eps; });
    return KMATH_OK;
}

kmath_status kmath_matrix3_initRotationAroundXAxis(kmath_matrix3 *r, const radian *angle)
{
    const double c = std::cos(angle->value);
    const double s = std::sin(angle->value);
    return kmath_matrix3_init(r, 1.0, 0.0, 0.0, 0.0, c, -s, 0.0, s, c);
}

kmath_status kmath_matrix3_initRotationAroundYAxis(kmath_matrix3 *r, const radian *angle)
{
    const double c = std::cos(angle->value);
    const double s = std::sin(angle->value);
    return kmath_matrix3_init(r, c, 0.0, s, 0.0, 1.0, 0.0, -s, 0.0, c);
}

kmath_status kmath_matrix3_initRotationAroundZAxis(kmath_matrix3 *r, const radian *angle)
{
    const double c = std::cos(angle->value);
    const double s = std::sin(angle->value);
    return kmath_matrix3_init(r, c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0);
}

kmath_status kmath_matrix3_copy3toNM(kmath_nmmatrix *r, const kmath_matrix3 *m)
{
    KMATH_ASSERT(r && m);
    RETURN_IF_FAILED(kmath_nmmatrix_resize(r, 3, 3));
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r->rows[i][j] = m->*at(i, j);
    return KMATH_OK;
}

kmath_status kmath_matrix3_copyNM3x3to3(kmath_matrix3 *r, const kmath_nmmatrix *source)
{
    // The shape comes before the pointers, as far as there is a source to have one. A matrix that
    // lost its storage to a failed allocation holds no 3×3 block either.
    if (source && (!source->rows || source->nRows < 3 || source->nCols < 3))
        return KMATH_ERR_BAD_DIMENSIONS;
    KMATH_ASSERT(r && source);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r->*at(i, j) = source->rows[i][j];
    return KMATH_OK;
}
