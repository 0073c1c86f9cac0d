// How the dense operations see a matrix: through its row table, or as one flat run of its storage.
//
// A matrix whose allocation failed has a shape but no storage. Both views of it are empty, so that
// an operation in place touches nothing; an operation that would read it into another object asks
// hasLostStorage and reports the lack of memory again.
#pragma once

#include <kmath/nmmatrix.h>

#include "kernels/kernels.hpp"
#include "platform/storage.hpp"

#include <cstdint>

namespace kmath
{

inline Block block(kmath_nmmatrix &matrix)
{
    return {matrix.rows, matrix.rows ? matrix.nRows : 0, matrix.nCols};
}

inline ConstBlock block(const kmath_nmmatrix &matrix)
{
    return {matrix.rows, matrix.rows ? matrix.nRows : 0, matrix.nCols};
}

/// Elements that the shape asks for, formed in 64 bits.
inline std::int64_t elementCount(std::int64_t rows, std::int64_t cols) { return rows * cols; }

/// Length of the flat run of nRows × nCols doubles from the first stored element.
inline std::int64_t flatCount(const kmath_nmmatrix &matrix)
{
    return matrix.rows ? elementCount(matrix.nRows, matrix.nCols) : 0;
}

/// Start of the flat run; null when there is nothing to walk.
inline double *flat(const kmath_nmmatrix &matrix)
{
    return flatCount(matrix) > 0 ? matrix.rows[0] : nullptr;
}

inline bool isSquare(const kmath_nmmatrix &matrix) { return matrix.nRows == matrix.nCols; }

template <class A, class B> bool haveSameShape(const A &a, const B &b)
{
    return a.nRows == b.nRows && a.nCols == b.nCols;
}

} // namespace kmath
