// What the sparse operations share: the stored entries of a row.
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

} // namespace kmath
