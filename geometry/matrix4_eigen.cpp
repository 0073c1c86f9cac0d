// Eigenvalues and eigenvectors of a real 4×4 matrix: A = Q·T·Qᴴ by a shifted QR iteration in
// complex arithmetic, then back-substitution in the triangular T.
// See Golub & Van Loan, Matrix Computations, §5.1 (reflections), §7.5 and §7.6.
#include <kmath/matrix4.h>

#include "geometry/complex_operators.hpp"
#include "platform/check.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

using namespace kmath;

namespace
{

// H = I − factor·v·vᴴ, unitary and its own inverse; v begins at component `first`.
struct Reflection {
    int first;
    kmath_complex v[4];
    double factor;
};

// Reflects column j, from the diagonal down, onto its first component x₀ and writes what becomes
// of it; the other columns are still to follow. v = x + e^{i·arg x₀}·‖x‖·e₀ adds numbers of one
// phase, so nothing cancels. Dividing by the largest part first keeps the squares in range.
Reflection reflectColumn(kmath_matrix4c &T, int j)
{
    Reflection H = {j, {}, 0.0};
    double largest = 0.0;
    bool reduced = true;
    for (int i = j; i < 4; ++i) {
        const kmath_complex x = T.m[i][j];
        largest = std::max({largest, std::fabs(x.re), std::fabs(x.im)});
        reduced = reduced && (i == j || (x.re == 0.0 && x.im == 0.0));
    }
    if (reduced)
        return H;

    double sum = 0.0;
    for (int i = j; i < 4; ++i) {
        H.v[i] = T.m[i][j] / largest;
        sum += squaredMagnitude(H.v[i]);
        T.m[i][j] = {};
    }
    const double norm = std::sqrt(sum);
    const double head = magnitude(H.v[j]);
    // The phase of a head too small to be divided by matters no more than the head itself.
    const kmath_complex phase =
        head < std::numeric_limits<double>::min() ? kmath_complex{1.0, 0.0} : H.v[j] / head;
    H.v[j] = (head + norm) * phase;
    H.factor = 1.0 / (norm * (norm + head)); // 2/vᴴv
    T.m[j][j] = (-norm * largest) * phase;
    return H;
}

// Columns from `column` on of H·M.
void applyFromLeft(const Reflection &H, kmath_matrix4c &M, int column)
{
    for (int j = column; j < 4; ++j) {
        kmath_complex sum = {};
        for (int i = H.first; i < 4; ++i)
            sum = sum + conjugate(H.v[i]) * M.m[i][j];
        sum = H.factor * sum;
        for (int i = H.first; i < 4; ++i)
            M.m[i][j] = M.m[i][j] - H.v[i] * sum;
    }
}

// M·H
void applyFromRight(kmath_matrix4c &M, const Reflection &H)
{
    for (auto &row : M.m) {
        kmath_complex sum = {};
        for (int j = H.first; j < 4; ++j)
            sum = sum + row[j] * H.v[j];
        sum = H.factor * sum;
        for (int j = H.first; j < 4; ++j)
            row[j] = row[j] - sum * conjugate(H.v[j]);
    }
}

void addToDiagonal(kmath_matrix4c &T, const kmath_complex &shift)
{
    for (int i = 0; i < 4; ++i)
        T.m[i][i] = T.m[i][i] + shift;
}

// Clears row m left of the diagonal as far as it is negligible beside the diagonal; true when all
// of it is.
bool deflateRow(kmath_matrix4c &T, int m)
{
    constexpr double epsilon = std::numeric_limits<double>::epsilon();
    for (int k = 0; k < m; ++k) {
        const double scale = magnitude(T.m[k][k]) + magnitude(T.m[m][m]);
        if (!(magnitude(T.m[m][k]) <= epsilon * scale))
            return false;
        T.m[m][k] = {};
    }
    return true;
}

// The last row that is not yet triangular; −1 when there is none.
int deflate(kmath_matrix4c &T)
{
    int m = 3;
    while (m >= 0 && deflateRow(T, m))
        --m;
    return m;
}

// One eigenvalue of the 2×2 block that ends in row m. Deliberate: always the one of this sign, not
// the one closer to T(m, m). In real T it stays real, equally far from both eigenvalues of a
// complex pair that has yet to be found, and about one random matrix in a hundred meets the limit.
kmath_status trailingEigenvalue(const kmath_matrix4c &T, int m, kmath_complex *shift)
{
    const kmath_complex h = 0.5 * (T.m[m - 1][m - 1] + T.m[m][m]);
    const kmath_complex det = T.m[m - 1][m - 1] * T.m[m][m] - T.m[m][m - 1] * T.m[m - 1][m];
    const kmath_complex discriminant = h * h - det;
    kmath_complex root;
    RETURN_IF_FAILED(kmath_complex_initSqrt(&root, &discriminant));
    *shift = h + root;
    return KMATH_OK;
}

// T − μI = Qk·Rk, then T = Rk·Qk + μI and Q = Q·Qk.
void stepQR(kmath_matrix4c &T, kmath_matrix4c &Q, const kmath_complex &shift)
{
    addToDiagonal(T, -shift);
    Reflection H[3];
    for (int j = 0; j < 3; ++j) {
        H[j] = reflectColumn(T, j);
        applyFromLeft(H[j], T, j + 1);
    }
    for (const Reflection &h : H) {
        applyFromRight(Q, h);
        applyFromRight(T, h);
    }
    addToDiagonal(T, shift);
}

// Makes T upper triangular, keeping Q·T·Qᴴ.
kmath_status triangularise(kmath_matrix4c &T, kmath_matrix4c &Q)
{
    constexpr int limit = 100;
    for (int iteration = 0; iteration < limit; ++iteration) {
        const int m = deflate(T);
        if (m < 0)
            return KMATH_OK;
        kmath_complex shift;
        RETURN_IF_FAILED(trailingEigenvalue(T, m, &shift));
        stepQR(T, Q, shift);
    }
    return KMATH_ERR_SINGULAR;
}

// (T − T(j, j)·I)·x = 0 for column j of the triangular X, from the diagonal up.
kmath_status solveColumn(const kmath_matrix4c &T, int j, kmath_matrix4c &X)
{
    constexpr double equal = 1e-9; // relative to the larger eigenvalue
    X.m[j][j] = {1.0, 0.0};
    for (int i = j - 1; i >= 0; --i) {
        kmath_complex sum = {};
        for (int k = i + 1; k <= j; ++k)
            sum = sum + T.m[i][k] * X.m[k][j];
        const kmath_complex difference = T.m[j][j] - T.m[i][i];
        const double bound = equal * std::max(magnitude(T.m[i][i]), magnitude(T.m[j][j]));
        // Deliberate: equal eigenvalues whose bound is 0 come here too, and are refused as a
        // division by zero: two zeros, or two so small that the bound vanishes.
        if (magnitude(difference) >= bound) {
            RETURN_IF_FAILED(kmath_complex_initDiv(&X.m[i][j], &sum, &difference));
        } else if (magnitude(sum) > bound) {
            // No second eigenvector: repeat the first.
            for (auto &row : X.m)
                row[j] = row[i];
            break;
        }
    }
    return KMATH_OK;
}

} // namespace

kmath_status kmath_matrix4_eigen(const kmath_matrix4 *A, kmath_vect4c *values,
                                 kmath_matrix4c *vectors)
{
    KMATH_ASSERT(A && values && vectors);
    kmath_matrix4c T;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            T.m[i][j] = {A->m[i][j], 0.0};
    kmath_matrix4c Q;
    RETURN_IF_FAILED(kmath_matrix4c_initIdentity(&Q));
    RETURN_IF_FAILED(triangularise(T, Q));
    for (int j = 0; j < 4; ++j)
        values->v[j] = T.m[j][j];

    kmath_matrix4c X = {};
    for (int j = 0; j < 4; ++j)
        RETURN_IF_FAILED(solveColumn(T, j, X));
    return kmath_matrix4c_initMultiply(vectors, &Q, &X);
}
