// Sums, copies and transposes of views, and the operations on whole matrices that go with them:
// diagonals, flips, random numbers.
#include <kmath/sub_block.h>

#include "dense/sub_block.hpp"
#include "kernels/kernels.hpp"
#include "platform/check.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

using namespace kmath;

namespace
{

// c = f(a, b) for any mixture of operands of one shape; write takes the strided c, a and b.
template <class A, class B, class C, class Write>
kmath_status combine(const A &a, const B &b, C &c, Write write)
{
    if (!haveSameShape(a, b) || !accepts(c, a.nRows, a.nCols))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(a) || hasLostStorage(b))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(resize(c, a.nRows, a.nCols));
    write(strided(c), strided(a), strided(b));
    return KMATH_OK;
}

template <class A, class C> kmath_status scale(const A &a, double s, C &c)
{
    return combine(a, a, c, [s](const Strided &to, const ConstStrided &from, const ConstStrided &) {
        kernels().scaled(to, from, s);
    });
}

template <class A, class C> kmath_status copy(const A &a, C &c)
{
    return combine(a, a, c, [](const Strided &to, const ConstStrided &from, const ConstStrided &) {
        for (int i = 0; i < to.rows; ++i)
            std::copy_n(row(from, i), to.cols, row(to, i));
    });
}

template <class A, class C> kmath_status transpose(const A &a, C &c)
{
    if (!accepts(c, a.nCols, a.nRows))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(a))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(resize(c, a.nCols, a.nRows));

    // A few columns of the source at a time, so that the lines they share stay in the cache.
    const ConstStrided from = strided(a);
    const Strided to = strided(c);
    constexpr std::int64_t strip = 8;
    const std::int64_t rows = to.rows;
    for (std::int64_t first = 0; first < rows; first += strip)
        for (int i = 0; i < to.cols; ++i)
            for (std::int64_t j = first; j < std::min(rows, first + strip); ++j)
                row(to, j)[i] = row(from, i)[j];
    return KMATH_OK;
}

// Whether d is a row or a column that gives n diagonal elements.
kmath_status checkDiagonal(const kmath_nmmatrix &d, int32_t n)
{
    if ((d.nRows != 1 && d.nCols != 1) || (d.nRows != n && d.nCols != n))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(d))
        return KMATH_ERR_NO_MEMORY;
    return flatCount(d) < n ? KMATH_ERR_BAD_DIMENSIONS : KMATH_OK;
}

template <class Step>
kmath_status changeDiagonal(kmath_nmmatrix &a, const kmath_nmmatrix &d, Step step)
{
    if (!isSquare(a))
        return KMATH_ERR_BAD_DIMENSIONS;
    RETURN_IF_FAILED(checkDiagonal(d, a.nRows));
    const Block A = block(a);
    const double *diagonal = flat(d);
    for (int i = 0; i < A.rows; ++i)
        step(A.table[i][i], diagonal[i]);
    return KMATH_OK;
}

// c(target(i, j)) = a(i, j) in row-major order, which shows where c is a.
template <class Target>
kmath_status rearrange(const kmath_nmmatrix &a, kmath_nmmatrix &c, Target target)
{
    if (hasLostStorage(a))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&c, a.nRows, a.nCols));
    const ConstBlock A = block(a);
    for (int i = 0; i < A.rows; ++i)
        for (int j = 0; j < A.cols; ++j)
            target(i, j) = A.table[i][j];
    return KMATH_OK;
}

double nextRandom() { return (std::rand() % 10000) / 10000.0; }

} // namespace

kmath_status kmath_nmmatrix_addBBB(const kmath_nmmatrix_subBlock *a,
                                   const kmath_nmmatrix_subBlock *b, kmath_nmmatrix_subBlock *c)
{
    return combine(*a, *b, *c, kernels().sum);
}

kmath_status kmath_nmmatrix_addBMB(const kmath_nmmatrix_subBlock *a, const kmath_nmmatrix *b,
                                   kmath_nmmatrix_subBlock *c)
{
    return combine(*a, *b, *c, kernels().sum);
}

kmath_status kmath_nmmatrix_subtractBMB(const kmath_nmmatrix_subBlock *a, const kmath_nmmatrix *b,
                                        kmath_nmmatrix_subBlock *c)
{
    return combine(*a, *b, *c, kernels().difference);
}

kmath_status kmath_nmmatrix_sApBBBB(double s, const kmath_nmmatrix_subBlock *a,
                                    const kmath_nmmatrix_subBlock *b, kmath_nmmatrix_subBlock *c)
{
    return combine(*a, *b, *c, [s](const Strided &C, const ConstStrided &A, const ConstStrided &B) {
        kernels().scaledSum(C, s, A, B);
    });
}

kmath_status kmath_nmmatrix_scaleBB(const kmath_nmmatrix_subBlock *a, double s,
                                    kmath_nmmatrix_subBlock *c)
{
    return scale(*a, s, *c);
}

kmath_status kmath_nmmatrix_scaleBM(const kmath_nmmatrix_subBlock *a, double s, kmath_nmmatrix *c)
{
    return scale(*a, s, *c);
}

kmath_status kmath_nmmatrix_setB(kmath_nmmatrix_subBlock *a, double value)
{
    const Strided A = strided(*a);
    for (int i = 0; i < A.rows; ++i)
        std::fill_n(row(A, i), A.cols, value);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_copyMB(kmath_nmmatrix *c, const kmath_nmmatrix_subBlock *a)
{
    return copy(*a, *c);
}

kmath_status kmath_nmmatrix_copyBM(kmath_nmmatrix_subBlock *c, const kmath_nmmatrix *a)
{
    return copy(*a, *c);
}

kmath_status kmath_nmmatrix_transposeMB(const kmath_nmmatrix *a, kmath_nmmatrix_subBlock *c)
{
    return transpose(*a, *c);
}

kmath_status kmath_nmmatrix_transposeBM(const kmath_nmmatrix_subBlock *a, kmath_nmmatrix *c)
{
    return transpose(*a, *c);
}

kmath_status kmath_nmmatrix_subtractMat(kmath_nmmatrix *a, const kmath_nmmatrix *b)
{
    if (!haveSameShape(*a, *b))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(*b))
        return KMATH_ERR_NO_MEMORY;
    // Of two empty matrices of the same shape one may have a row table and the other none.
    if (flatCount(*a) == 0)
        return KMATH_OK;
    const Kernels &kernel = kernels();
    const Block A = block(*a);
    for (int i = 0; i < A.rows; ++i)
        kernel.subtract(A.table[i], b->rows[i], A.cols);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_multiplyDiag(kmath_nmmatrix *a, const kmath_nmmatrix *d)
{
    RETURN_IF_FAILED(checkDiagonal(*d, a->nCols));
    const Block A = block(*a);
    const double *diagonal = flat(*d);
    for (int i = 0; i < A.rows; ++i)
        for (int j = 0; j < A.cols; ++j)
            A.table[i][j] *= diagonal[j];
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_TmultiplyDiag(kmath_nmmatrix *a, const kmath_nmmatrix *d)
{
    RETURN_IF_FAILED(checkDiagonal(*d, a->nRows));
    const Kernels &kernel = kernels();
    const Block A = block(*a);
    const double *diagonal = flat(*d);
    for (int i = 0; i < A.rows; ++i)
        kernel.scale(A.table[i], A.cols, diagonal[i]);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_addDiagMat(kmath_nmmatrix *a, const kmath_nmmatrix *d)
{
    return changeDiagonal(*a, *d, [](double &element, double value) { element += value; });
}

kmath_status kmath_nmmatrix_subDiagMat(kmath_nmmatrix *a, const kmath_nmmatrix *d)
{
    return changeDiagonal(*a, *d, [](double &element, double value) { element -= value; });
}

kmath_status kmath_nmmatrix_flipLR(const kmath_nmmatrix *a, kmath_nmmatrix *c)
{
    return rearrange(*a, *c,
                     [=](int i, int j) -> double & { return c->rows[i][c->nCols - 1 - j]; });
}

kmath_status kmath_nmmatrix_flipUD(const kmath_nmmatrix *a, kmath_nmmatrix *c)
{
    return rearrange(*a, *c,
                     [=](int i, int j) -> double & { return c->rows[c->nRows - 1 - i][j]; });
}

kmath_status kmath_nmmatrix_copyBlock(kmath_nmmatrix *c, const kmath_nmmatrix *a, int32_t firstRow,
                                      int32_t lastRow, int32_t firstCol, int32_t lastCol)
{
    const std::int64_t rows = std::int64_t{lastRow} - firstRow + 1;
    const std::int64_t cols = std::int64_t{lastCol} - firstCol + 1;
    if (rows < 0 || cols < 0)
        return KMATH_ERR_NEGATIVE_SIZE;
    if (std::max(rows, cols) > std::numeric_limits<int32_t>::max())
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(*a))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(
        kmath_nmmatrix_resize(c, static_cast<int32_t>(rows), static_cast<int32_t>(cols)));

    const Block C = block(*c);
    if (C.cols > 0)
        for (int i = 0; i < C.rows; ++i)
            std::copy_n(a->rows[firstRow + i] + firstCol, C.cols, C.table[i]);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_setRand(kmath_nmmatrix *a)
{
    const Block A = block(*a);
    for (int i = 0; i < A.rows; ++i)
        std::generate_n(A.table[i], A.cols, nextRandom);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_setRandB(kmath_nmmatrix_subBlock *a)
{
    if (!isReadable(*a))
        return KMATH_OK;
    double *const *table = a->matrix->rows;
    for (int i = a->firstRow; i <= a->lastRow; ++i)
        std::generate_n(table[i] + a->firstCol, a->nCols, nextRandom);
    return KMATH_OK;
}
