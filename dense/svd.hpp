// What the two singular value decompositions share: the padded copy that they work on, its exact
// scaling by a power of two, and the diagonal matrix that they deliver.
#pragma once

#include <kmath/nmmatrix.h>

#include "dense/views.hpp"
#include "platform/check.hpp"

#include <algorithm>
#include <cmath>

namespace kmath
{

/// Singular values of A, largest first, as a row of A.nCols values: those of
/// kmath_nmmatrix_decompose bit by bit, without the cost of its vectors.
kmath_status singularValues(const kmath_nmmatrix &A, kmath_nmmatrix &values);

/// The x with 2^(x−1) ≤ max|A(i, j)| < 2^x; 0 where there is none.
inline int binaryExponent(const kmath_nmmatrix &A)
{
    const ConstBlock from = block(A);
    double most = 0.0;
    for (int i = 0; i < from.rows; ++i)
        for (int j = 0; j < from.cols; ++j)
            most = std::max(most, std::fabs(from.table[i][j]));
    int exponent = 0;
    if (std::isfinite(most))
        std::frexp(most, &exponent);
    return exponent;
}

/// padded = A·2^(−exponent) above rows of zeros, at least as many rows as columns. Sized by the
/// caller.
inline void copyPadded(const kmath_nmmatrix &A, int exponent, kmath_nmmatrix &padded)
{
    kmath_nmmatrix_set(&padded, 0.0);
    const ConstBlock from = block(A);
    for (int i = 0; i < from.rows; ++i)
        for (int j = 0; j < from.cols; ++j)
            padded.rows[i][j] = std::ldexp(from.table[i][j], -exponent);
}

/// values = values·2^exponent; false when one of them is too large to be represented.
inline bool scaleBack(kmath_nmmatrix &values, int exponent)
{
    bool representable = true;
    for (int i = 0; i < values.nCols; ++i) {
        values.rows[0][i] = std::ldexp(values.rows[0][i], exponent);
        representable = representable && std::isfinite(values.rows[0][i]);
    }
    return representable;
}

/// W = diag(values), from a row of values.
inline kmath_status setDiagonal(const kmath_nmmatrix &values, kmath_nmmatrix &W)
{
    const int n = values.nCols;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&W, n, n));
    kmath_nmmatrix_set(&W, 0.0);
    for (int i = 0; i < n; ++i)
        W.rows[i][i] = values.rows[0][i];
    return KMATH_OK;
}

/// Column j of M becomes the unit vector with its one in row j.
inline void setUnitColumn(kmath_nmmatrix &M, int j)
{
    for (int i = 0; i < M.nRows; ++i)
        M.rows[i][j] = 0.0;
    M.rows[j][j] = 1.0;
}

} // namespace kmath
