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

/// The elements, to be written; nothing where there are none or where they are lost.
inline Strided strided(kmath_nmmatrix &a)
{
    return isReadable(a) ? Strided{a.rows[0], a.nCols, a.nRows, a.nCols} : Strided{};
}

inline Strided strided(kmath_nmmatrix_subBlock &a)
{
    return isReadable(a)
               ? Strided{a.matrix->rows[a.firstRow] + a.firstCol, a.matrix->nCols, a.nRows, a.nCols}
               : Strided{};
}

/// The elements, to be read.
inline ConstStrided strided(const kmath_nmmatrix &a)
{
    return isReadable(a) ? ConstStrided{a.rows[0], a.nCols, a.nRows, a.nCols} : ConstStrided{};
}

inline ConstStrided strided(const kmath_nmmatrix_subBlock &a)
{
    return isReadable(a) ? ConstStrided{a.matrix->rows[a.firstRow] + a.firstCol, a.matrix->nCols,
                                        a.nRows, a.nCols}
                         : ConstStrided{};
}

inline double *row(const Strided &a, std::int64_t i) { return a.top + i * a.stride; }
inline const double *row(const ConstStrided &a, std::int64_t i) { return a.top + i * a.stride; }

template <class A, class B> bool haveSameShape(const A &a, const B &b)
{
    return a.nRows == b.nRows && a.nCols == b.nCols;
}

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
