// The dense matrix object: life cycle, resizing, copying, transposing, comparing.
//
// Up to 16 elements in at most 6 rows live inside the record; more take one block of elements and
// one row table from the memory service.
#include <kmath/nmmatrix.h>

#include "dense/views.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <cmath>

using namespace kmath;

namespace
{

bool fitsInline(int32_t rows, int32_t cols)
{
    return elementCount(rows, cols) <= KMATH_NMMATRIX_INLINE_ELEMENTS &&
           rows <= KMATH_NMMATRIX_INLINE_ROWS;
}

void clearFields(kmath_nmmatrix &matrix)
{
    matrix.rows = nullptr;
    matrix.nRows = 0;
    matrix.nCols = 0;
    matrix.onHeap = 0;
    matrix.heapRows = nullptr;
}

void goInline(kmath_nmmatrix &matrix)
{
    matrix.onHeap = 0;
    matrix.inlineData[0] = 0.0; // the largest element of an empty matrix begins here
    for (int32_t i = 0; i < matrix.nRows; ++i)
        matrix.inlineRows[i] = matrix.inlineData + i * matrix.nCols;
    for (int32_t i = 0; i < matrix.nRows * matrix.nCols; ++i)
        matrix.inlineData[i] = 0.0;
    matrix.rows = matrix.inlineRows;
}

// Elements first, then the table; a failure of the second gives the first back.
kmath_status allocatePair(int32_t rows, int32_t cols, double **&table)
{
    table = nullptr;
    if (rows == 0 || cols == 0)
        return KMATH_OK;

    double *elements = nullptr;
    double **starts = nullptr;
    CleanupFrame<2> frame;
    TRY(allocateClear(elements, elementCount(rows, cols)));
    frame.guard(elements);
    TRY(allocateClear(starts, rows));
    frame.guard(starts);

    for (int32_t i = 0; i < rows; ++i)
        starts[i] = elements + elementCount(i, cols);
    table = starts;
    return frame.leave(KMATH_OK);
}

kmath_status goToHeap(kmath_nmmatrix &matrix)
{
    matrix.onHeap = 1;
    RETURN_IF_FAILED(allocatePair(matrix.nRows, matrix.nCols, matrix.heapRows));
    matrix.rows = matrix.heapRows;
    return KMATH_OK;
}

bool isNegative(int32_t rows, int32_t cols) { return rows < 0 || cols < 0; }

template <class Element>
kmath_status constructFrom(kmath_nmmatrix *matrix, int32_t rows, int32_t cols, Element element)
{
    RETURN_IF_FAILED(kmath_nmmatrix_constructRowsCols(matrix, rows, cols));
    for (int32_t i = 0; i < rows; ++i)
        for (int32_t j = 0; j < cols; ++j)
            matrix->rows[i][j] = element(i, j);
    return KMATH_OK;
}

} // namespace

kmath_status kmath_nmmatrix_construct(kmath_nmmatrix *matrix)
{
    KMATH_ASSERT_LINE(121, matrix);
    clearFields(*matrix);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_constructRowsCols(kmath_nmmatrix *matrix, int32_t rows, int32_t cols)
{
    KMATH_ASSERT_LINE(235, matrix);
    if (isNegative(rows, cols))
        return KMATH_ERR_NEGATIVE_SIZE;

    CleanupFrame<1> frame;
    TRY(kmath_nmmatrix_construct(matrix));
    frame.guard(*matrix);
    return frame.leave(kmath_nmmatrix_resize(matrix, rows, cols));
}

kmath_status kmath_nmmatrix_constructRowsColsVal(kmath_nmmatrix *matrix, int32_t rows, int32_t cols,
                                                 double value)
{
    KMATH_ASSERT(matrix);
    return constructFrom(matrix, rows, cols, [=](int32_t, int32_t) { return value; });
}

kmath_status kmath_nmmatrix_constructMatrix6F(kmath_nmmatrix *matrix, const kmath_matrix6F *source)
{
    KMATH_ASSERT(matrix && source);
    return constructFrom(matrix, 6, 6, [=](int32_t i, int32_t j) { return source->m[i][j]; });
}

kmath_status kmath_nmmatrix_constructVect6F(kmath_nmmatrix *matrix, const kmath_vect6F *source)
{
    KMATH_ASSERT(matrix && source);
    return constructFrom(matrix, 6, 1, [=](int32_t i, int32_t) { return source->v[i]; });
}

kmath_status kmath_nmmatrix_constructCopy(kmath_nmmatrix *matrix, const kmath_nmmatrix *source)
{
    KMATH_ASSERT(matrix && source);

    CleanupFrame<1> frame;
    TRY(kmath_nmmatrix_construct(matrix));
    frame.guard(*matrix);
    return frame.leave(kmath_nmmatrix_assign(matrix, source));
}

kmath_status kmath_nmmatrix_destruct(kmath_nmmatrix *matrix)
{
    KMATH_ASSERT_LINE(136, matrix);
    if (matrix->onHeap && matrix->heapRows) {
        destruct(matrix->heapRows[0]);
        destruct(matrix->heapRows);
    }
    clearFields(*matrix);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_resize(kmath_nmmatrix *matrix, int32_t rows, int32_t cols)
{
    KMATH_ASSERT_LINE(156, matrix);
    if (isNegative(rows, cols))
        return KMATH_ERR_NEGATIVE_SIZE;
    if (rows == matrix->nRows && cols == matrix->nCols && !hasLostStorage(*matrix))
        return KMATH_OK;

    RETURN_IF_FAILED(kmath_nmmatrix_destruct(matrix));
    matrix->nRows = rows;
    matrix->nCols = cols;
    if (!fitsInline(rows, cols))
        return goToHeap(*matrix);
    goInline(*matrix);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_resize_noClear(kmath_nmmatrix *matrix, int32_t rows, int32_t cols)
{
    KMATH_ASSERT_LINE(205, matrix);
    if (isNegative(rows, cols))
        return KMATH_ERR_NEGATIVE_SIZE;

    // Deliberate: a shrink moves nothing. The row stride stays the old number of columns, and the
    // operations that walk the storage flat see the stored run from then on, not the rectangle.
    if (rows <= matrix->nRows && cols <= matrix->nCols && !hasLostStorage(*matrix)) {
        matrix->nRows = rows;
        matrix->nCols = cols;
        return KMATH_OK;
    }

    RETURN_IF_FAILED(kmath_nmmatrix_destruct(matrix));
    matrix->nRows = rows;
    matrix->nCols = cols;
    return goToHeap(*matrix);
}

kmath_status kmath_nmmatrix_assign(kmath_nmmatrix *destination, const kmath_nmmatrix *source)
{
    KMATH_ASSERT_LINE(329, destination && source);
    if (hasLostStorage(*source))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(destination, source->nRows, source->nCols));

    const Block to = block(*destination);
    const ConstBlock from = block(*source);
    for (int i = 0; i < from.rows; ++i)
        for (int j = 0; j < from.cols; ++j)
            to.table[i][j] = from.table[i][j];
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_transpose(const kmath_nmmatrix *source, kmath_nmmatrix *destination)
{
    KMATH_ASSERT_LINE(359, source && destination);
    if (source == destination)
        return KMATH_ERR_ALIASED;
    if (hasLostStorage(*source))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(destination, source->nCols, source->nRows));

    // The inner loop takes the longer run: a row of the source if it is tall, else of the result.
    const Block to = block(*destination);
    const ConstBlock from = block(*source);
    if (from.rows > from.cols) {
        for (int i = 0; i < from.rows; ++i)
            for (int j = 0; j < from.cols; ++j)
                to.table[j][i] = from.table[i][j];
    } else {
        for (int j = 0; j < to.rows; ++j)
            for (int i = 0; i < to.cols; ++i)
                to.table[j][i] = from.table[i][j];
    }
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_compareEqual(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                         double tolerance, int32_t *equal)
{
    KMATH_ASSERT(a && b && equal);
    *equal = 0;
    if (!haveSameShape(*a, *b) || flatCount(*a) != flatCount(*b))
        return KMATH_OK;

    const double *x = flat(*a);
    const double *y = flat(*b);
    for (std::int64_t i = 0; i < flatCount(*a); ++i)
        if (std::fabs(x[i] - y[i]) > tolerance)
            return KMATH_OK;
    *equal = 1;
    return KMATH_OK;
}
