// Crout's factorisation with scaled partial pivoting, and substitution with its factors.
//
// Each element is its own value less one product after another, in the order of increasing k;
// Press et al., Numerical Recipes, §2.3. A matrix of more than a few rows is transposed in place
// for the while: then a column is one contiguous run, and the lanes of a kernel hold different
// rows.
#include "dense/lu_factors.hpp"

#include <bit>
#include <cmath>
#include <utility>

namespace kmath
{
namespace
{

constexpr double smallestPivot = std::bit_cast<double>(0x3D06849B86A12B9CULL); // just above 1e-14
constexpr double replacementPivot = 1e-12;
constexpr int smallestTransposed = 32; // rows; both ways take as long there (lu_benchmark)

// scale[i] = 1 / max |a(i, j)| over j; false for a row of zeros. A row of NaNs counts as zeros.
bool scaleRows(const double *const *a, int n, double *scale)
{
    for (int i = 0; i < n; ++i) {
        double big = 0.0;
        for (int j = 0; j < n; ++j)
            if (std::fabs(a[i][j]) > big)
                big = std::fabs(a[i][j]);
        if (big == 0.0)
            return false;
        scale[i] = 1.0 / big;
    }
    return true;
}

// By squares, so that both the rows read and the rows written stay in the cache.
void transposeInPlace(double *const *a, int n)
{
    constexpr int side = 16;
    for (int top = 0; top < n; top += side)
        for (int left = 0; left <= top; left += side)
            for (int i = top; i < top + side && i < n; ++i)
                for (int j = left; j < left + side && j < i; ++j)
                    std::swap(a[i][j], a[j][i]);
}

// x −= a·y. A call of the kernel pays from about eight elements upwards.
inline void subtractMultiple(double *x, const double *y, int n, double a, const Kernels &set)
{
    if (n >= 8)
        set.subtractScaled(x, y, n, a);
    else
        for (int i = 0; i < n; ++i)
            x[i] -= a * y[i];
}

// The matrix as it stands: element by element, the best for a few.
struct ByRows {
    double *const *rows;
    int n;

    double &at(int i, int j) const { return rows[i][j]; }

    // a(i, j) −= Σ a(i, k)·a(k, j) over k below i and j
    void eliminate(int j) const
    {
        for (int i = 1; i < n; ++i) {
            double sum = rows[i][j];
            for (int k = 0; k < i && k < j; ++k)
                sum -= rows[i][k] * rows[k][j];
            rows[i][j] = sum;
        }
    }

    void scaleBelow(int j, double factor) const
    {
        for (int i = j + 1; i < n; ++i)
            rows[i][j] *= factor;
    }
};

// The transpose, where a column is one run and the lanes of a kernel hold its rows.
struct ByColumns {
    double *const *columns;
    int n;
    const Kernels &set;

    double &at(int i, int j) const { return columns[j][i]; }

    void eliminate(int j) const
    {
        double *column = columns[j];
        for (int k = 0; k < j; ++k)
            subtractMultiple(column + k + 1, columns[k] + k + 1, n - k - 1, column[k], set);
    }

    void scaleBelow(int j, double factor) const
    {
        set.scale(columns[j] + j + 1, n - j - 1, factor);
    }
};

// The row of the largest scaled element from the diagonal down, the last of equals. Where NaNs
// leave nothing to compare it is the diagonal.
template <class Matrix> int pivotRow(const Matrix &a, const double *scale, int j)
{
    double big = 0.0;
    int pivot = j;
    for (int i = j; i < a.n; ++i) {
        const double size = scale[i] * std::fabs(a.at(i, j));
        if (size >= big) {
            big = size;
            pivot = i;
        }
    }
    return pivot;
}

template <class Matrix>
bool crout(const Matrix &a, int32_t *perm, double &parity, double *scale, bool strict)
{
    for (int j = 0; j < a.n; ++j) {
        a.eliminate(j);

        const int pivot = pivotRow(a, scale, j);
        if (pivot != j) {
            for (int k = 0; k < a.n; ++k)
                std::swap(a.at(pivot, k), a.at(j, k));
            parity = -parity;
            scale[pivot] = scale[j];
        }
        perm[j] = pivot;

        if (std::fabs(a.at(j, j)) < smallestPivot) {
            if (strict)
                return false;
            a.at(j, j) = replacementPivot;
        }
        if (j != a.n - 1)
            a.scaleBelow(j, 1.0 / a.at(j, j));
    }
    return true;
}

} // namespace

bool factorise(double *const *a, int n, int32_t *perm, double &parity, double *scale, bool strict,
               const Kernels &set)
{
    parity = 1.0;
    if (!scaleRows(a, n, scale))
        return false;

    if (n < smallestTransposed)
        return crout(ByRows{a, n}, perm, parity, scale, strict);

    transposeInPlace(a, n);
    const bool regular = crout(ByColumns{a, n, set}, perm, parity, scale, strict);
    transposeInPlace(a, n);
    return regular;
}

void substitute(const double *const *lu, int n, const int32_t *perm, double *b)
{
    int first = -1; // leading zeros are skipped, so that no infinite factor turns them into NaN
    for (int i = 0; i < n; ++i) {
        double sum = std::exchange(b[perm[i]], b[i]);
        if (first >= 0)
            for (int k = first; k < i; ++k)
                sum -= lu[i][k] * b[k];
        else if (sum < 0.0 || sum > 0.0)
            first = i;
        b[i] = sum;
    }
    for (int i = n - 1; i >= 0; --i) {
        double sum = b[i];
        for (int k = i + 1; k < n; ++k)
            sum -= lu[i][k] * b[k];
        b[i] = sum / lu[i][i];
    }
}

// All n substitutions at once: row i of X holds unknown i of each, so that a lane owns a right-hand
// side. X starts as the identity in place of P, which makes L⁻¹ lower triangular and lets the
// leading zeros of each right-hand side be skipped as above; the swaps then go to the columns.
void invertFactors(const double *const *lu, int n, const int32_t *perm, double *const *X,
                   const Kernels &set)
{
    for (int i = 0; i < n; ++i) {
        X[i][i] = 1.0;
        for (int k = 0; k < i; ++k)
            subtractMultiple(X[i], X[k], k + 1, lu[i][k], set);
    }
    for (int i = n - 1; i >= 0; --i) {
        for (int k = i + 1; k < n; ++k)
            subtractMultiple(X[i], X[k], n, lu[i][k], set);
        for (int j = 0; j < n; ++j)
            X[i][j] /= lu[i][i];
    }
    for (int j = n - 1; j >= 0; --j)
        if (perm[j] != j)
            for (int i = 0; i < n; ++i)
                std::swap(X[i][j], X[i][perm[j]]);
}

} // namespace kmath
