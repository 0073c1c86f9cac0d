// What the sparse operations share: the stored entries of a row, and dense operands without
// storage.
#pragma once

#include <kmath/snmmatrix.h>

#include <cstdint>

namespace kmath
{

/// The stored entries of one row.
struct SparseRow {
    const std::int32_t *columns;
    const double *values;
    std::int32_t count;
};

/// Row i; without entries where the matrix has no row starts.
inline SparseRow sparseRow(const kmath_snmmatrix &S, std::int32_t i)
{
    if (!S.rowStart)
        return {nullptr, nullptr, 0};
    const std::int32_t first = S.rowStart[i];
    return {S.colIndex + first, S.values + first, S.rowStart[i + 1] - first};
}

/// True for a dense matrix whose allocation failed: it has a shape, but nothing to be read.
inline bool lacksStorage(const kmath_nmmatrix &A) { return !A.rows && A.nRows > 0 && A.nCols > 0; }

} // namespace kmath
