// Rotations in 128-bit arithmetic (34 digits): the mathematics alone, without the library's
// thresholds, and without its formulas where these lose digits. The elementary functions are the C
// library's for _Float128.
#pragma once

#include <kmath/matrix3.h>
#include <kmath/rotations.h>

#include <cmath>

namespace accuracy
{

using Quad = _Float128;

struct Vector {
    Quad c[3];
    Quad &operator[](int i) { return c[i]; }
    Quad operator[](int i) const { return c[i]; }
};

/// Row-major.
struct Matrix {
    Quad m[3][3];
    Quad &operator()(int i, int j) { return m[i][j]; }
    Quad operator()(int i, int j) const { return m[i][j]; }
};

inline const Quad pi = acosf128(-1);

template <class Element> Matrix buildMatrix(Element element)
{
    Matrix result;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            result(i, j) = element(i, j);
    return result;
}

inline Matrix identity()
{
    return buildMatrix([](int i, int j) { return Quad(i == j); });
}

inline Vector operator*(Quad s, const Vector &v) { return {{s * v[0], s * v[1], s * v[2]}}; }
inline Vector operator+(const Vector &a, const Vector &b)
{
    return {{a[0] + b[0], a[1] + b[1], a[2] + b[2]}};
}
inline Vector operator-(const Vector &a, const Vector &b) { return a + -1 * b; }

inline Matrix operator*(Quad s, const Matrix &A)
{
    return buildMatrix([&](int i, int j) { return s * A(i, j); });
}
inline Matrix operator+(const Matrix &A, const Matrix &B)
{
    return buildMatrix([&](int i, int j) { return A(i, j) + B(i, j); });
}
inline Matrix operator-(const Matrix &A, const Matrix &B) { return A + -1 * B; }
inline Matrix operator*(const Matrix &A, const Matrix &B)
{
    return buildMatrix(
        [&](int i, int j) { return A(i, 0) * B(0, j) + A(i, 1) * B(1, j) + A(i, 2) * B(2, j); });
}
inline Matrix transpose(const Matrix &A)
{
    return buildMatrix([&](int i, int j) { return A(j, i); });
}

inline Quad dot(const Vector &a, const Vector &b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Quad length(const Vector &v) { return sqrtf128(dot(v, v)); }
inline Vector cross(const Vector &a, const Vector &b)
{
    return {{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}

/// The largest magnitude of an element; a NaN when there is one.
inline Quad largest(const Matrix &A)
{
    Quad result = 0;
    for (const auto &row : A.m)
        for (const Quad a : row)
            if (!(fabsf128(a) <= result) && result == result)
                result = fabsf128(a);
    return result;
}

/// max|RᵀR − I|
inline Quad orthogonalityError(const Matrix &R) { return largest(transpose(R) * R - identity()); }

// Between doubles and quads.

inline Vector exact(const kmath_rodParam &r) { return {{r.x, r.y, r.z}}; }
inline Matrix exact(const kmath_matrix3 &M)
{
    return {{{M.m00, M.m01, M.m02}, {M.m10, M.m11, M.m12}, {M.m20, M.m21, M.m22}}};
}
inline kmath_rodParam rounded(const Vector &r)
{
    return {static_cast<double>(r[0]), static_cast<double>(r[1]), static_cast<double>(r[2])};
}
inline kmath_matrix3 rounded(const Matrix &M)
{
    const auto d = [&](int i, int j) { return static_cast<double>(M(i, j)); };
    return {d(0, 0), d(0, 1), d(0, 2), d(1, 0), d(1, 1), d(1, 2), d(2, 0), d(2, 1), d(2, 2)};
}

// The rotation vector.

/// K·v = r × v
inline Matrix crossProductMatrix(const Vector &r)
{
    return {{{0, -r[2], r[1]}, {r[2], 0, -r[0]}, {-r[1], r[0], 0}}};
}

/// The factors of Rodrigues' formula R = I + a·K + b·K² and their derivatives by θ.
struct RodriguesFactors {
    explicit RodriguesFactors(Quad theta)
    {
        if (theta == 0)
            return;
        const Quad s = sinf128(theta), half = sinf128(theta / 2), c = cosf128(theta);
        a = s / theta;
        b = 2 * half * half / (theta * theta);
        da = (c - a) / theta;
        db = (a - 2 * b) / theta;
    }
    Quad a = 1, b = Quad(1) / 2, da = 0, db = 0;
};

inline Matrix rodrigues(const Vector &r)
{
    const RodriguesFactors f(length(r));
    const Matrix K = crossProductMatrix(r);
    return identity() + f.a * K + f.b * (K * K);
}

/// ∂R/∂r(i) of R = rodrigues(r).
inline Matrix rodriguesDerivative(const Vector &r, int i)
{
    Vector unit = {};
    unit[i] = 1;
    const Quad theta = length(r);
    const Quad dTheta = theta == 0 ? 0 : r[i] / theta;
    const RodriguesFactors f(theta);
    const Matrix K = crossProductMatrix(r), dK = crossProductMatrix(unit);
    return dTheta * (f.da * K + f.db * (K * K)) + f.a * dK + f.b * (dK * K + K * dK);
}

/// The vector of length θ ≤ π whose rotation is R, by the quaternion (w, q) with w ≥ 0. The column
/// of 4·(w, q)·(w, q)ᵀ with the largest diagonal element is a multiple of the quaternion, and the
/// arc tangent loses nothing at either end.
inline Vector rotationVector(const Matrix &R)
{
    const Quad columns[4][4] = {
        {1 + R(0, 0) + R(1, 1) + R(2, 2), R(2, 1) - R(1, 2), R(0, 2) - R(2, 0), R(1, 0) - R(0, 1)},
        {R(2, 1) - R(1, 2), 1 + R(0, 0) - R(1, 1) - R(2, 2), R(0, 1) + R(1, 0), R(0, 2) + R(2, 0)},
        {R(0, 2) - R(2, 0), R(0, 1) + R(1, 0), 1 - R(0, 0) + R(1, 1) - R(2, 2), R(1, 2) + R(2, 1)},
        {R(1, 0) - R(0, 1), R(0, 2) + R(2, 0), R(1, 2) + R(2, 1), 1 - R(0, 0) - R(1, 1) + R(2, 2)}};
    int best = 0;
    for (int k = 1; k < 4; ++k)
        if (columns[k][k] > columns[best][best])
            best = k;

    const auto [w, x, y, z] = columns[best];
    const Vector q = {{x, y, z}};
    const Quad n = length(q);
    return n == 0 ? q : (w < 0 ? -1 : 1) * (2 * atan2f128(n, fabsf128(w)) / n) * q;
}

// The closest orthogonal matrix.

/// A⁻ᵀ by cofactors.
inline Matrix inverseTransposed(const Matrix &A)
{
    const Vector rows[3] = {{{A(0, 0), A(0, 1), A(0, 2)}},
                            {{A(1, 0), A(1, 1), A(1, 2)}},
                            {{A(2, 0), A(2, 1), A(2, 2)}}};
    Matrix cofactors;
    for (int i = 0; i < 3; ++i) {
        const Vector row = cross(rows[(i + 1) % 3], rows[(i + 2) % 3]);
        for (int j = 0; j < 3; ++j)
            cofactors(i, j) = row[j];
    }
    return 1 / dot(rows[0], {{cofactors(0, 0), cofactors(0, 1), cofactors(0, 2)}}) * cofactors;
}

/// The orthogonal factor of a regular A by Newton's iteration (Higham, Functions of Matrices,
/// ch. 8): each step averages the matrix with its inverse transposed, and every singular value
/// tends to 1, quadratically.
inline Matrix polarFactor(Matrix A)
{
    for (int step = 0; step < 200; ++step) {
        const Matrix next = (Quad(1) / 2) * (A + inverseTransposed(A));
        const Quad change = largest(next - A);
        A = next;
        if (change < Quad(1e-20)) // its square is below the last digit
            break;
    }
    return A;
}

// Three angles about the fixed axes.

/// The rotation by an angle about axis i.
inline Matrix axisRotation(int i, Quad angle)
{
    Vector r = {};
    r[i] = angle;
    return rodrigues(r);
}

inline Matrix eulerMatrix(const Vector &angles)
{
    return axisRotation(0, angles[0]) * axisRotation(1, angles[1]) * axisRotation(2, angles[2]);
}

/// cos ay ≥ 0 of R = Rx·Ry·Rz
inline Quad cosineOfSecondAngle(const Matrix &R)
{
    return sqrtf128(R(0, 0) * R(0, 0) + R(0, 1) * R(0, 1));
}

/// The angles of a rotation with cos ay > 0.
inline Vector eulerAngles(const Matrix &R)
{
    return {{atan2f128(-R(1, 2), R(2, 2)), atan2f128(R(0, 2), cosineOfSecondAngle(R)),
             atan2f128(-R(0, 1), R(0, 0))}};
}

} // namespace accuracy
