// Crout's factorisation with scaled partial pivoting, and substitution with its factors.
//
// Each element is its own value less one product after another, in the order of increasing k;
// Press et al., Numerical Recipes, §2.3. The work is done column by column on the transpose, where
// a column is one contiguous run and the lanes of a kernel hold different rows.
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

// scale[i] = 1 / max |a(i, j)| over j; false for a row of zeros. A row of NaNs counts as zeros.
bool scaleRows(ConstBlock a, double *scale)
{
    for (int i = 0; i < a.rows; ++i) {
        double big = 0.0;
        for (int j = 0; j < a.rows; ++j)
            if (std::fabs(a.table[i][j]) > big)
                big = std::fabs(a.table[i][j]);
        if (big == 0.0)
            return false;
        scale[i] = 1.0 / big;
    }
    return true;
}

// By squares, so that both the rows read and the rows written stay in the cache.
void transposeInPlace(Block a)
{
    constexpr int side = 16;
    for (int top = 0; top < a.rows; top += side)
        for (int left = 0; left <= top; left += side)
            for (int i = top; i < top + side && i < a.rows; ++i)
                for (int j = left; j < left + side && j < i; ++j)
                    std::swap(a.table[i][j], a.table[j][i]);
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

// The row of the largest scaled element from the diagonal down, the last of equals. Where NaNs
// leave nothing to compare it is the diagonal.
int pivotRow(const double *column, const double *scale, int j, int n)
{
    double big = 0.0;
    int pivot = j;
    for (int i = j; i < n; ++i) {
        const double size = scale[i] * std::fabs(column[i]);
        if (size >= big) {
            big = size;
            pivot = i;
        }
    }
    return pivot;
}

bool factoriseColumns(double *const *columns, int n, int32_t *perm, double &parity, double *scale,
                      bool strict, const Kernels &set)
{
    for (int j = 0; j < n; ++j) {
        double *column = columns[j];
        for (int k = 0; k < j; ++k)
            subtractMultiple(column + k + 1, columns[k] + k + 1, n - k - 1, column[k], set);

        const int pivot = pivotRow(column, scale, j, n);
        if (pivot != j) {
            for (int k = 0; k < n; ++k)
                std::swap(columns[k][pivot], columns[k][j]);
            parity = -parity;
            scale[pivot] = scale[j];
        }
        perm[j] = pivot;

        if (std::fabs(column[j]) < smallestPivot) {
            if (strict)
                return false;
            column[j] = replacementPivot;
        }
        if (j != n - 1)
            set.scale(column + j + 1, n - j - 1, 1.0 / column[j]);
    }
    return true;
}

} // namespace

bool factorise(Block a, int32_t *perm, double &parity, double *scale, bool strict,
               const Kernels &set)
{
    parity = 1.0;
    if (!scaleRows({a.table, a.rows, a.cols}, scale))
        return false;

    transposeInPlace(a);
    const bool regular = factoriseColumns(a.table, a.rows, perm, parity, scale, strict, set);
    transposeInPlace(a);
    return regular;
}

void substitute(ConstBlock lu, const int32_t *perm, double *b)
{
    const int n = lu.rows;
    int first = -1; // leading zeros are skipped, so that no infinite factor turns them into NaN
    for (int i = 0; i < n; ++i) {
        double sum = std::exchange(b[perm[i]], b[i]);
        if (first >= 0)
            for (int k = first; k < i; ++k)
                sum -= lu.table[i][k] * b[k];
        else if (sum < 0.0 || sum > 0.0)
            first = i;
        b[i] = sum;
    }
    for (int i = n - 1; i >= 0; --i) {
        double sum = b[i];
        for (int k = i + 1; k < n; ++k)
            sum -= lu.table[i][k] * b[k];
        b[i] = sum / lu.table[i][i];
    }
}

// All n substitutions at once: row i of X holds unknown i of each, so that a lane owns a right-hand
// side. X starts as the identity in place of P, which makes L⁻¹ lower triangular and lets the
// leading zeros of each right-hand side be skipped as above; the swaps then go to the columns.
void invertFactors(ConstBlock lu, const int32_t *perm, Block X, const Kernels &set)
{
    const int n = lu.rows;
    for (int i = 0; i < n; ++i) {
        X.table[i][i] = 1.0;
        for (int k = 0; k < i; ++k)
            subtractMultiple(X.table[i], X.table[k], k + 1, lu.table[i][k], set);
    }
    for (int i = n - 1; i >= 0; --i) {
        for (int k = i + 1; k < n; ++k)
            subtractMultiple(X.table[i], X.table[k], n, lu.table[i][k], set);
        for (int j = 0; j < n; ++j)
            X.table[i][j] /= lu.table[i][i];
    }
    for (int j = n - 1; j >= 0; --j)
        if (perm[j] != j)
            for (int i = 0; i < n; ++i)
                std::swap(X.table[i][j], X.table[i][perm[j]]);
}

} // namespace kmath
