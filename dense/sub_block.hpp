// How the operations on sub-blocks see their operands, whole matrices among them: by the address of
// the top left element and the parent's number of columns from one row to the next.
#pragma once

#include <kmath/sub_block.h>

#include "dense/views.hpp"
#include "kernels/kernels.hpp"

namespace kmath
{

/// True for a whole matrix or a view that has at least one element.
template <class Operand> bool hasElements(const Operand &a) { return a.nRows > 0 && a.nCols > 0; }

/// True where the shape promises elements but the parent has no storage.
inline bool hasLostStorage(const kmath_nmmatrix_subBlock &a)
{
    return hasElements(a) && (!a.matrix || !a.matrix->rows);
}

template <class Operand> bool isReadable(const Operand &a)
{
    return hasElements(a) && !hasLostStorage(a);
}

inline double *topLeft(const kmath_nmmatrix &a) { return a.rows[0]; }
inline double *topLeft(const kmath_nmmatrix_subBlock &a)
{
    return a.matrix->rows[a.firstRow] + a.firstCol;
}

inline int32_t stride(const kmath_nmmatrix &a) { return a.nCols; }
inline int32_t stride(const kmath_nmmatrix_subBlock &a) { return a.matrix->nCols; }

/// The elements of a result; none where the shape has none or the storage is lost.
template <class Operand> Strided strided(Operand &c)
{
    return isReadable(c) ? Strided{topLeft(c), stride(c), c.nRows, c.nCols} : Strided{};
}

/// The elements of an operand that is read.
template <class Operand> ConstStrided strided(const Operand &a)
{
    return isReadable(a) ? ConstStrided{topLeft(a), stride(a), a.nRows, a.nCols} : ConstStrided{};
}

inline double *row(const Strided &a, std::int64_t i) { return a.top + i * a.stride; }
inline const double *row(const ConstStrided &a, std::int64_t i) { return a.top + i * a.stride; }

/// A result that is a view must have the shape already; a whole matrix will take it.
inline bool accepts(const kmath_nmmatrix_subBlock &c, int32_t rows, int32_t cols)
{
    return c.nRows == rows && c.nCols == cols;
}

inline bool accepts(const kmath_nmmatrix &, int32_t, int32_t) { return true; }

/// Makes an accepted result ready to be written.
inline kmath_status resize(kmath_nmmatrix_subBlock &c, int32_t, int32_t)
{
    return hasLostStorage(c) ? KMATH_ERR_NO_MEMORY : KMATH_OK;
}

inline kmath_status resize(kmath_nmmatrix &c, int32_t rows, int32_t cols)
{
    return kmath_nmmatrix_resize(&c, rows, cols);
}

} // namespace kmath
