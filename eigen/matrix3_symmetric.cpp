// Eigenvalues and eigenvectors of a symmetric 3×3 matrix in closed form.
//
// The trigonometric method (Smith, CACM 4, 1961) gives the roots of the characteristic cubic. The
// root that stands apart from the other two is well conditioned however close these are to each
// other, and its eigenvector is a cross product of rows of M − λI. The other two pairs are those of
// M restricted to the plane across it, which keeps the three vectors orthonormal for repeated and
// nearly repeated roots (Eberly, A Robust Eigensolver for 3×3 Symmetric Matrices, 2014).
#include <kmath/eigen.h>

#include "platform/check.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

struct Eigenpair {
    double value;
    kmath_vect3 vector;
};

double dot(const kmath_vect3 &a, const kmath_vect3 &b)
{
    double product;
    kmath_vect3_dot(&a, &b, &product);
    return product;
}

kmath_vect3 cross(const kmath_vect3 &a, const kmath_vect3 &b)
{
    kmath_vect3 r;
    kmath_vect3_cross(&a, &b, &r);
    return r;
}

// s·a + t·b
kmath_vect3 combine(double s, const kmath_vect3 &a, double t, const kmath_vect3 &b)
{
    return {s * a.x + t * b.x, s * a.y + t * b.y, s * a.z + t * b.z};
}

kmath_vect3 product(const kmath_matrix3 &M, const kmath_vect3 &v)
{
    kmath_vect3 r;
    kmath_matrix3_multv(&M, &v, &r);
    return r;
}

kmath_vect3 normalised(const kmath_vect3 &v)
{
    constexpr double vanishing = 1e-8;
    const double length = std::sqrt(dot(v, v));
    if (!(length > vanishing))
        return {0.0, 0.0, 0.0};
    return {v.x / length, v.y / length, v.z / length};
}

kmath_matrix3 mirroredUpperTriangle(const kmath_matrix3 &M)
{
    return {M.m00, M.m01, M.m02, M.m01, M.m11, M.m12, M.m02, M.m12, M.m22};
}

bool isDiagonal(const kmath_matrix3 &M) { return M.m01 == 0.0 && M.m02 == 0.0 && M.m12 == 0.0; }

bool isFinite(const kmath_matrix3 &M)
{
    return std::isfinite(M.m00) && std::isfinite(M.m11) && std::isfinite(M.m22) &&
           std::isfinite(M.m01) && std::isfinite(M.m02) && std::isfinite(M.m12);
}

// Divides M by the power of two that brings its largest element into [1/2, 1); returns the
// exponent.
int takeScale(kmath_matrix3 &M)
{
    const double largest = std::max({std::fabs(M.m00), std::fabs(M.m11), std::fabs(M.m22),
                                     std::fabs(M.m01), std::fabs(M.m02), std::fabs(M.m12)});
    int exponent;
    std::frexp(largest, &exponent);
    // In two steps, as the whole factor may be out of range.
    const int half = exponent / 2;
    kmath_matrix3_scale(&M, std::ldexp(1.0, -half));
    kmath_matrix3_scale(&M, std::ldexp(1.0, half - exponent));
    return exponent;
}

// Subtracts the mean of the diagonal from it and returns that mean.
double takeMean(kmath_matrix3 &M)
{
    const double mean = (M.m00 + M.m11 + M.m22) / 3.0;
    M.m00 -= mean;
    M.m11 -= mean;
    M.m22 -= mean;
    return mean;
}

// The root of the characteristic cubic of a centred B that is furthest from the other two. With
// p² = ‖B‖²/6 and cos 3φ = det(B)/2p³ the roots are 2p·cos φ and −p·(cos φ ± √3·sin φ), and φ is in
// [0, π/3]: the largest stands apart up to π/6, the smallest from there.
double separateRoot(const kmath_matrix3 &B)
{
    constexpr double sqrt3 = 1.7320508075688772;
    const double squares = B.m00 * B.m00 + B.m11 * B.m11 + B.m22 * B.m22 +
                           2.0 * (B.m01 * B.m01 + B.m02 * B.m02 + B.m12 * B.m12);
    const double p = std::sqrt(squares / 6.0);
    double det;
    kmath_matrix3_determinant(&B, &det);
    const double cosine = det / (2.0 * p * p * p);
    const double sine = std::sqrt(std::max(0.0, (1.0 - cosine) * (1.0 + cosine)));
    const double phi = std::atan2(sine, cosine) * (1.0 / 3.0);
    return cosine >= 0.0 ? 2.0 * p * std::cos(phi) : -p * (std::cos(phi) + sqrt3 * std::sin(phi));
}

// The eigenvector of a simple root: it is perpendicular to every row of B − λI, and the longest
// cross product of two rows tells its direction best.
kmath_vect3 vectorOfRoot(const kmath_matrix3 &B, double root)
{
    const kmath_vect3 row0 = {B.m00 - root, B.m01, B.m02};
    const kmath_vect3 row1 = {B.m10, B.m11 - root, B.m12};
    const kmath_vect3 row2 = {B.m20, B.m21, B.m22 - root};
    const auto shorter = [](const kmath_vect3 &a, const kmath_vect3 &b) {
        return dot(a, a) < dot(b, b);
    };
    return normalised(std::max({cross(row0, row1), cross(row0, row2), cross(row1, row2)}, shorter));
}

// A unit vector perpendicular to the unit vector v, far from losing digits.
kmath_vect3 perpendicular(const kmath_vect3 &v)
{
    return normalised(std::fabs(v.x) > std::fabs(v.y) ? kmath_vect3{-v.z, 0.0, v.x}
                                                      : kmath_vect3{0.0, v.z, -v.y});
}

// The eigenpairs of B in the plane of the orthonormal u and w, by one Jacobi rotation.
void pairsInPlane(const kmath_matrix3 &B, const kmath_vect3 &u, const kmath_vect3 &w,
                  Eigenpair &first, Eigenpair &second)
{
    const kmath_vect3 Bu = product(B, u);
    const kmath_vect3 Bw = product(B, w);
    const double a = dot(u, Bu);
    const double b = dot(w, Bu);
    const double d = dot(w, Bw);

    double tangent = 0.0;
    if (b != 0.0) {
        const double tau = (d - a) / (2.0 * b);
        tangent = std::copysign(1.0, tau) / (std::fabs(tau) + std::sqrt(1.0 + tau * tau));
    }
    const double cosine = 1.0 / std::sqrt(1.0 + tangent * tangent);
    const double sine = tangent * cosine;
    first = {a - tangent * b, combine(cosine, u, -sine, w)};
    second = {d + tangent * b, combine(sine, u, cosine, w)};
}

void decomposeDiagonal(const kmath_matrix3 &M, Eigenpair (&pairs)[3])
{
    pairs[0] = {M.m00, {1.0, 0.0, 0.0}};
    pairs[1] = {M.m11, {0.0, 1.0, 0.0}};
    pairs[2] = {M.m22, {0.0, 0.0, 1.0}};
}

void decompose(const kmath_matrix3 &M, Eigenpair (&pairs)[3])
{
    if (isDiagonal(M))
        return decomposeDiagonal(M, pairs);
    if (!isFinite(M)) {
        std::fill_n(pairs, 3, Eigenpair{std::numeric_limits<double>::quiet_NaN(), {0.0, 0.0, 0.0}});
        return;
    }

    // M = 2^outer·(mean·I + 2^inner·(rest·I + B)), and the elements of B are of the size of 1. The
    // first mean is only as exact as M is large. What it leaves may be no larger than its rounding,
    // so that is centred once more in its own scale: the cubic holds for a trace of 0 alone.
    kmath_matrix3 B = M;
    const int outer = takeScale(B);
    if (isDiagonal(B)) // beside the diagonal nothing but elements that are lost in any sum with it
        return decomposeDiagonal(M, pairs);
    const double mean = takeMean(B);
    const int inner = takeScale(B);
    const double rest = takeMean(B);

    const double root = separateRoot(B);
    const kmath_vect3 v = vectorOfRoot(B, root);
    const kmath_vect3 u = perpendicular(v);
    pairs[0] = {root, v};
    pairsInPlane(B, u, cross(v, u), pairs[1], pairs[2]);

    for (Eigenpair &pair : pairs)
        pair.value = std::ldexp(mean + std::ldexp(rest + pair.value, inner), outer);
}

// The index of the smallest magnitude among the pairs not yet taken. Neither an infinity nor a NaN
// is less than the infinite start, so the first free index stands until something is.
int smallestFree(const Eigenpair (&pairs)[3], const bool (&taken)[3])
{
    int smallest = taken[0] ? (taken[1] ? 2 : 1) : 0;
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3; ++i)
        if (!taken[i] && std::fabs(pairs[i].value) < least) {
            least = std::fabs(pairs[i].value);
            smallest = i;
        }
    return smallest;
}

} // namespace

kmath_status kmath_matrix3_symEigenvalues(const kmath_matrix3 *M, double values[3],
                                          kmath_vect3 vectors[3])
{
    KMATH_ASSERT(M && values && vectors);
    for (int i = 0; i < 3; ++i) {
        values[i] = 0.0;
        RETURN_IF_FAILED(kmath_vect3_init(&vectors[i], 0.0, 0.0, 0.0));
    }

    Eigenpair pairs[3];
    decompose(mirroredUpperTriangle(*M), pairs);

    bool taken[3] = {};
    for (int k = 0; k < 3; ++k) {
        const int i = smallestFree(pairs, taken);
        taken[i] = true;
        values[k] = pairs[i].value;
        vectors[k] = pairs[i].vector;
    }
    return KMATH_OK;
}
