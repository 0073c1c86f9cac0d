// The linear transform of space: building, composing, inverting, comparing, and mapping one item.
//
// M·p comes first and t is added to it; normals go by the inverse transpose. Results are formed in
// temporaries, or field by field from what is still unread, so they may be operands.
#include <kmath/xform3.h>

#include "geometry/matrix3_product.hpp"
#include "platform/check.hpp"

#include <cmath>

using namespace kmath;

namespace
{

constexpr kmath_xform3Linear identityTransform = {{0.0, 0.0, 0.0},
                                                  {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0}};

kmath_vect3 widened(const kmath_vect3F &v) { return {v.x, v.y, v.z}; }

kmath_vect3F narrowed(const kmath_vect3 &v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

kmath_vect3 mapped(const kmath_xform3Linear &X, const kmath_vect3 &p)
{
    const kmath_vect3 turned = product(X.matrix, p);
    const kmath_vect3 &t = X.translation;
    return {turned.x + t.x, turned.y + t.y, turned.z + t.z};
}

using AxisRotation = kmath_status (*)(kmath_matrix3 *, const radian *);

kmath_status initRotation(kmath_xform3Linear *r, AxisRotation rotation, const radian *angle)
{
    RETURN_IF_FAILED(rotation(&r->matrix, angle));
    return kmath_vect3_initClear(&r->translation);
}

} // namespace

kmath_status kmath_xform3Linear_initIdentity(kmath_xform3Linear *r)
{
    KMATH_ASSERT(r);
    *r = identityTransform;
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_reset(kmath_xform3Linear *r)
{
    return kmath_xform3Linear_initIdentity(r);
}

kmath_status kmath_xform3Linear_initMatrixTrans(kmath_xform3Linear *r, const kmath_matrix3 *m,
                                                const kmath_vect3 *t)
{
    KMATH_ASSERT(r && m && t);
    *r = {*t, *m};
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_initMatrixTransElements(kmath_xform3Linear *r, double m00,
                                                        double m01, double m02, double m10,
                                                        double m11, double m12, double m20,
                                                        double m21, double m22, double tx,
                                                        double ty, double tz)
{
    KMATH_ASSERT(r);
    *r = {{tx, ty, tz}, {m00, m01, m02, m10, m11, m12, m20, m21, m22}};
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_initRotationAroundXAxis(kmath_xform3Linear *r, const radian *angle)
{
    return initRotation(r, kmath_matrix3_initRotationAroundXAxis, angle);
}

kmath_status kmath_xform3Linear_initRotationAroundYAxis(kmath_xform3Linear *r, const radian *angle)
{
    return initRotation(r, kmath_matrix3_initRotationAroundYAxis, angle);
}

kmath_status kmath_xform3Linear_initRotationAroundZAxis(kmath_xform3Linear *r, const radian *angle)
{
    return initRotation(r, kmath_matrix3_initRotationAroundZAxis, angle);
}

kmath_status kmath_xform3Linear_initInverse(kmath_xform3Linear *r, const kmath_xform3Linear *X)
{
    RETURN_IF_FAILED(kmath_matrix3_getInverse(&X->matrix, &r->matrix));
    kmath_vect3 negated;
    RETURN_IF_FAILED(kmath_vect3_initScale(&negated, &X->translation, -1.0));
    r->translation = product(r->matrix, negated);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_getInverse(const kmath_xform3Linear *X, kmath_xform3Linear *r)
{
    return kmath_xform3Linear_initInverse(r, X);
}

kmath_status kmath_xform3Linear_initCompose(kmath_xform3Linear *r, const kmath_xform3Linear *a,
                                            const kmath_xform3Linear *b)
{
    kmath_matrix3 M;
    RETURN_IF_FAILED(kmath_matrix3_initMultiply(&M, &a->matrix, &b->matrix));
    *r = {mapped(*a, b->translation), M};
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_initCompose3(kmath_xform3Linear *r, const kmath_xform3Linear *a,
                                             const kmath_xform3Linear *b,
                                             const kmath_xform3Linear *c)
{
    KMATH_ASSERT(r && a && b && c);
    kmath_xform3Linear ab;
    RETURN_IF_FAILED(kmath_xform3Linear_initCompose(&ab, a, b));
    return kmath_xform3Linear_initCompose(r, &ab, c);
}

kmath_status kmath_xform3Linear_initCompose4(kmath_xform3Linear *r, const kmath_xform3Linear *a,
                                             const kmath_xform3Linear *b,
                                             const kmath_xform3Linear *c,
                                             const kmath_xform3Linear *d)
{
    KMATH_ASSERT(r && a && b && c && d);
    kmath_xform3Linear ab, abc;
    RETURN_IF_FAILED(kmath_xform3Linear_initCompose(&ab, a, b));
    RETURN_IF_FAILED(kmath_xform3Linear_initCompose(&abc, &ab, c));
    return kmath_xform3Linear_initCompose(r, &abc, d);
}

kmath_status kmath_xform3Linear_compareEqual(const kmath_xform3Linear *a,
                                             const kmath_xform3Linear *b, uint32_t *equal)
{
    RETURN_IF_FAILED(kmath_matrix3_compareEqual(&a->matrix, &b->matrix, equal));
    return *equal ? kmath_vect3_compareEqual(&a->translation, &b->translation, equal) : KMATH_OK;
}

kmath_status kmath_xform3Linear_epsilonEqual(const kmath_xform3Linear *a,
                                             const kmath_xform3Linear *b, double eps,
                                             uint32_t *equal)
{
    RETURN_IF_FAILED(kmath_matrix3_epsilonEqual(&a->matrix, &b->matrix, eps, equal));
    return *equal ? kmath_vect3_epsilonEqual(&a->translation, &b->translation, eps, equal)
                  : KMATH_OK;
}

kmath_status kmath_xform3Linear_getIsIdentity(const kmath_xform3Linear *X, uint32_t *identity)
{
    KMATH_ASSERT(X && identity);
    return kmath_xform3Linear_compareEqual(X, &identityTransform, identity);
}

kmath_status kmath_xform3Linear_getIsDegenerate(const kmath_xform3Linear *X, uint32_t *degenerate)
{
    constexpr double bound = 1e-10;
    double det;
    RETURN_IF_FAILED(kmath_matrix3_determinant(&X->matrix, &det));
    *degenerate = -bound < det && det < bound;
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_rotateXformAroundZAxisForXAxisToBeProjParallelToVector(
    const kmath_xform3Linear *X, const kmath_vect3 *v, kmath_xform3Linear *r)
{
    constexpr double vanishing = 1e-12;
    const kmath_vect3 a = product(X->matrix, 1.0, 0.0, 0.0);
    const kmath_vect3 b = product(X->matrix, 0.0, 1.0, 0.0);
    double c0, c1;
    RETURN_IF_FAILED(kmath_vect3_dot(&a, v, &c0));
    RETURN_IF_FAILED(kmath_vect3_dot(&b, v, &c1));
    if (std::fabs(c0) < vanishing && std::fabs(c1) < vanishing)
        return KMATH_ERR_SINGULAR;

    const radian theta = {std::atan2(c1, c0)};
    kmath_xform3Linear Rz;
    RETURN_IF_FAILED(kmath_xform3Linear_initRotationAroundZAxis(&Rz, &theta));
    return kmath_xform3Linear_initCompose(r, X, &Rz);
}

kmath_status kmath_xform3Linear_mapPoint(const kmath_xform3Linear *X, const kmath_vect3 *p,
                                         kmath_vect3 *r)
{
    *r = mapped(*X, *p);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_mapPointF(const kmath_xform3Linear *X, const kmath_vect3F *p,
                                          kmath_vect3F *r)
{
    *r = narrowed(mapped(*X, widened(*p)));
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_invMapPoint(const kmath_xform3Linear *X, const kmath_vect3 *p,
                                            kmath_vect3 *r)
{
    kmath_xform3Linear inverse;
    RETURN_IF_FAILED(kmath_xform3Linear_getInverse(X, &inverse));
    *r = mapped(inverse, *p);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_mapVector(const kmath_xform3Linear *X, const kmath_vect3 *v,
                                          kmath_vect3 *r)
{
    KMATH_ASSERT(X && v && r);
    *r = product(X->matrix, *v);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_mapVectorF(const kmath_xform3Linear *X, const kmath_vect3F *v,
                                           kmath_vect3F *r)
{
    KMATH_ASSERT(X && v && r);
    *r = narrowed(product(X->matrix, widened(*v)));
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_invMapVector(const kmath_xform3Linear *X, const kmath_vect3 *v,
                                             kmath_vect3 *r)
{
    kmath_matrix3 inverse;
    RETURN_IF_FAILED(kmath_matrix3_initInverse(&inverse, &X->matrix));
    *r = product(inverse, *v);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_invMapVectorF(const kmath_xform3Linear *X, const kmath_vect3F *v,
                                              kmath_vect3F *r)
{
    kmath_vect3 image = widened(*v);
    RETURN_IF_FAILED(kmath_xform3Linear_invMapVector(X, &image, &image));
    *r = narrowed(image);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_mapNormal_(const kmath_xform3Linear *X, const kmath_vect3 *n,
                                           kmath_vect3 *r)
{
    kmath_matrix3 inverse;
    RETURN_IF_FAILED(kmath_matrix3_getInverse(&X->matrix, &inverse));
    RETURN_IF_FAILED(kmath_matrix3_transpose(&inverse, &inverse));
    const kmath_vect3 image = product(inverse, *n);
    return kmath_vect3_getUnit(&image, r);
}

kmath_status kmath_xform3Linear_mapNormalF_(const kmath_xform3Linear *X, const kmath_vect3F *n,
                                            kmath_vect3F *r)
{
    kmath_vect3 image = widened(*n);
    RETURN_IF_FAILED(kmath_xform3Linear_mapNormal_(X, &image, &image));
    *r = narrowed(image);
    return KMATH_OK;
}

kmath_status kmath_xform3Linear_mapVolume(const kmath_xform3Linear *X, double volume,
                                          double *mapped)
{
    KMATH_ASSERT(X && mapped);
    double det;
    RETURN_IF_FAILED(kmath_matrix3_determinant(&X->matrix, &det));
    *mapped = volume * std::fabs(det);
    return KMATH_OK;
}
