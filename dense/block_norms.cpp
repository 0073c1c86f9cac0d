// Norms of rows, columns and matrices, and the largest element.
#include <kmath/sub_block.h>

#include "dense/sub_block.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

using namespace kmath;

namespace
{

// Deliberate: the squares are added up in *out itself, where a caller may watch them.
template <class Element> kmath_status euclidean(int n, Element element, double *out)
{
    *out = 0.0;
    for (int i = 0; i < n; ++i)
        *out += element(i) * element(i);
    *out = std::sqrt(*out);
    return KMATH_OK;
}

// A NaN sum is never greater.
void takeGreater(double &most, double value)
{
    if (value > most)
        most = value;
}

// Element (0, 0) of the storage, even where no row or no column is left of it.
const double *firstStored(const kmath_nmmatrix &a)
{
    if (!a.rows)
        return nullptr;
    return a.nRows > 0 || a.onHeap ? a.rows[0] : a.inlineData;
}

} // namespace

kmath_status kmath_nmmatrix_rowNorm(const kmath_nmmatrix *a, int32_t row, double *out)
{
    return euclidean(
        isReadable(*a) ? a->nCols : 0, [=](int j) { return a->rows[row][j]; }, out);
}

kmath_status kmath_nmmatrix_columnNorm(const kmath_nmmatrix *a, int32_t col, double *out)
{
    return euclidean(
        isReadable(*a) ? a->nRows : 0, [=](int i) { return a->rows[i][col]; }, out);
}

kmath_status kmath_nmmatrix_rowNormB(const kmath_nmmatrix_subBlock *a, int32_t row, double *out)
{
    const ConstStrided A = strided(*a);
    return euclidean(
        A.cols, [&](int j) { return kmath::row(A, row)[j]; }, out);
}

kmath_status kmath_nmmatrix_columnNormB(const kmath_nmmatrix_subBlock *a, int32_t col, double *out)
{
    *out = 0.0;
    if (col < 0 || col >= a->nCols)
        return KMATH_ERR_BAD_DIMENSIONS;
    const ConstStrided A = strided(*a);
    return euclidean(
        A.rows, [&](int i) { return row(A, i)[col]; }, out);
}

kmath_status kmath_nmmatrix_oneRowNorm(const kmath_nmmatrix *a, double *out)
{
    const ConstBlock A = block(*a);
    double most = 0.0;
    for (int i = 0; i < A.rows; ++i) {
        double sum = 0.0;
        for (int j = 0; j < A.cols; ++j)
            sum += std::fabs(A.table[i][j]);
        takeGreater(most, sum);
    }
    *out = most;
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_oneColNorm(const kmath_nmmatrix *a, double *out)
{
    const ConstBlock A = block(*a);
    double most = 0.0;
    // As many columns at a time as fill a cache line or two of each row.
    constexpr std::int64_t strip = 16;
    const std::int64_t columns = A.rows > 0 ? A.cols : 0; // of no rows there may be billions
    for (std::int64_t first = 0; first < columns; first += strip) {
        const std::int64_t cols = std::min(strip, columns - first);
        double sums[strip] = {};
        for (int i = 0; i < A.rows; ++i)
            for (std::int64_t j = 0; j < cols; ++j)
                sums[j] += std::fabs(A.table[i][first + j]);
        for (std::int64_t j = 0; j < cols; ++j)
            takeGreater(most, sums[j]);
    }
    *out = most;
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_max(const kmath_nmmatrix *a, double *out)
{
    const double *const first = firstStored(*a);
    double most = first ? *first : 0.0;
    const ConstBlock A = block(*a);
    for (int i = 0; i < A.rows; ++i)
        for (int j = 0; j < A.cols; ++j)
            // Deliberate: a NaN takes the place of any result, and gives it up to the next element.
            if (!(most >= A.table[i][j]))
                most = A.table[i][j];
    *out = most;
    return KMATH_OK;
}
