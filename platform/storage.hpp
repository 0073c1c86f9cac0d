// What a failed allocation leaves of a dense matrix.
#pragma once

#include <kmath/nmmatrix.h>

namespace kmath
{

/// True for a matrix whose allocation failed: it has a shape, but nothing to be kept or read.
inline bool hasLostStorage(const kmath_nmmatrix &matrix)
{
    return !matrix.rows && matrix.nRows > 0 && matrix.nCols > 0;
}

} // namespace kmath
