// Crout's factorisation and the substitutions as plain textbook loops, column by column: what the
// library must equal bit by bit, also where it fails.
#pragma once

#include "support/matrices.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace oracle
{

struct Factors {
    support::Matrix lu;
    std::vector<std::int32_t> perm;
    double parity = 1.0;
    bool regular = false;
    int replaced = 0;       ///< pivots below the threshold
    int steps = 0;          ///< columns for which perm is known
    bool overflows = false; ///< an element of the factors is infinite or NaN
};

/// The smallest pivot that is not tiny.
inline const double pivotThreshold = std::bit_cast<double>(std::uint64_t{0x3D06849B86A12B9C});

/// The factorisation on a table of rows, as it is when nobody waits for it.
inline bool crout(double **a, int n, std::int32_t *perm, double &parity, double *scale, bool strict)
{
    parity = 1.0;
    for (int i = 0; i < n; ++i) {
        double big = 0.0;
        for (int j = 0; j < n; ++j)
            if (std::fabs(a[i][j]) > big)
                big = std::fabs(a[i][j]);
        if (big == 0.0)
            return false;
        scale[i] = 1.0 / big;
    }
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i)
            for (int k = 0; k < i; ++k)
                a[i][j] -= a[i][k] * a[k][j];
        double big = 0.0;
        int imax = j;
        for (int i = j; i < n; ++i) {
            for (int k = 0; k < j; ++k)
                a[i][j] -= a[i][k] * a[k][j];
            const double d = scale[i] * std::fabs(a[i][j]);
            if (d >= big) {
                big = d;
                imax = i;
            }
        }
        if (imax != j) {
            for (int k = 0; k < n; ++k)
                std::swap(a[imax][k], a[j][k]);
            parity = -parity;
            scale[imax] = scale[j];
        }
        perm[j] = imax;
        if (std::fabs(a[j][j]) < pivotThreshold) {
            if (strict)
                return false;
            a[j][j] = 1e-12;
        }
        if (j != n - 1) {
            const double reciprocal = 1.0 / a[j][j];
            for (int i = j + 1; i < n; ++i)
                a[i][j] *= reciprocal;
        }
    }
    return true;
}

inline Factors factorise(const support::Matrix &A, bool strict)
{
    Factors f;
    f.lu = A;
    f.perm.assign(static_cast<std::size_t>(A.rows()), -1);
    std::vector<double> scale(f.perm.size());
    f.regular = crout(f.lu->rows, A.rows(), f.perm.data(), f.parity, scale.data(), strict);
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < A.rows(); ++j)
            f.overflows = f.overflows || !std::isfinite(f.lu(i, j));
    for (int j = 0; j < A.rows() && f.perm[static_cast<std::size_t>(j)] >= 0; ++j) {
        ++f.steps;
        f.replaced += f.lu(j, j) == 1e-12;
    }
    return f;
}

inline void substitute(double *const *lu, int n, const std::int32_t *perm, double *b)
{
    int ii = -1;
    for (int i = 0; i < n; ++i) {
        const int p = perm[i];
        double s = b[p];
        b[p] = b[i];
        if (ii >= 0) {
            for (int k = ii; k <= i - 1; ++k)
                s -= lu[i][k] * b[k];
        } else if (s < 0.0 || s > 0.0) {
            ii = i;
        }
        b[i] = s;
    }
    for (int i = n - 1; i >= 0; --i) {
        double s = b[i];
        for (int k = i + 1; k < n; ++k)
            s -= lu[i][k] * b[k];
        b[i] = s / lu[i][i];
    }
}

inline void substitute(const support::Matrix &lu, const std::int32_t *perm, double *b)
{
    substitute(lu->rows, lu.rows(), perm, b);
}

/// One substitution for each column of the identity.
inline support::Matrix inverse(const Factors &f)
{
    const int n = f.lu.rows();
    support::Matrix result(n, n);
    for (int i = 0; i < n; ++i) {
        std::vector<double> column(static_cast<std::size_t>(n), 0.0);
        column[static_cast<std::size_t>(i)] = 1.0;
        substitute(f.lu, f.perm.data(), column.data());
        for (int j = 0; j < n; ++j)
            result(j, i) = column[static_cast<std::size_t>(j)];
    }
    return result;
}

} // namespace oracle
