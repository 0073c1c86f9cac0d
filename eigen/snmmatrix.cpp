// The sparse matrix in compressed rows: life cycle, room, filling from entries or a dense matrix.
//
// A matrix has all three arrays or, after a failure, none; only a growth of the capacity leaves it
// with columns and values but no row starts.
#include <kmath/snmmatrix.h>

#include "eigen/sparse_rows.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/storage.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

using namespace kmath;

namespace
{

constexpr double capacityLimit = 2147483648.0; // the first that no int32_t holds

std::int64_t cellCount(const kmath_snmmatrix &S) { return std::int64_t{S.rows} * S.cols; }

kmath_status releaseArrays(kmath_snmmatrix &S)
{
    S.nnz = 0;
    const kmath_status released[] = {destruct(S.rowStart), destruct(S.colIndex),
                                     destruct(S.values)};
    for (const kmath_status status : released)
        RETURN_IF_FAILED(status);
    return KMATH_OK;
}

template <class T> kmath_status clear(T *block, std::int64_t count)
{
    return ksys_memory_fill(block, 0, bytesOf<T>(count));
}

// By row, then by column. The differences of two int32_t need more than 32 bits.
int compareCells(const void *left, const void *right)
{
    const auto &a = *static_cast<const kmath_snmmatrix_element *>(left);
    const auto &b = *static_cast<const kmath_snmmatrix_element *>(right);
    const std::int64_t rows = std::int64_t{a.row} - b.row;
    const std::int64_t difference = rows != 0 ? rows : std::int64_t{a.col} - b.col;
    return (difference > 0) - (difference < 0);
}

void sortCells(kmath_snmmatrix_element *elements, std::int32_t count)
{
    if (count > 0) // as elements may be null for none
        std::qsort(elements, static_cast<std::size_t>(count), sizeof *elements, compareCells);
}

// Sets the end of a row, if the matrix has such a row start.
void endRow(kmath_snmmatrix &S, std::int64_t row, std::int32_t end)
{
    if (row + 1 >= 0 && row + 1 <= S.rows)
        S.rowStart[row + 1] = end;
}

// Stores the elements above the threshold as far as there is room, and counts them all.
std::int64_t storeLarge(kmath_snmmatrix &S, const kmath_nmmatrix &A, double threshold)
{
    std::int64_t k = 0;
    for (std::int32_t i = 0; i < A.nRows; ++i) {
        for (std::int32_t j = 0; j < A.nCols; ++j) {
            if (!(std::fabs(A.rows[i][j]) > threshold))
                continue;
            if (k < S.nnz) {
                S.values[k] = A.rows[i][j];
                S.colIndex[k] = j;
            }
            ++k;
        }
        endRow(S, i, static_cast<std::int32_t>(std::min<std::int64_t>(k, S.nnz)));
    }
    return k;
}

// Room for more entries than were estimated, by tenths of all cells.
kmath_status growTo(kmath_snmmatrix &S, std::int64_t count)
{
    const double step = std::trunc(0.1 * static_cast<double>(cellCount(S))) + 1.0;
    while (S.nnz < count) {
        const double capacity = S.nnz + step;
        if (capacity >= capacityLimit)
            return KMATH_ERR_FAILED;
        RETURN_IF_FAILED(kmath_snmmatrix_resizeNNZ(&S, static_cast<std::int32_t>(capacity)));
    }
    return KMATH_OK;
}

} // namespace

kmath_status kmath_snmmatrix_construct(kmath_snmmatrix *matrix)
{
    *matrix = {nullptr, nullptr, nullptr, 0, 0, 0};
    return KMATH_OK;
}

kmath_status kmath_snmmatrix_destruct(kmath_snmmatrix *matrix)
{
    matrix->rows = 0;
    matrix->cols = 0;
    return releaseArrays(*matrix);
}

kmath_status kmath_snmmatrix_resize(kmath_snmmatrix *matrix, int32_t rows, int32_t cols,
                                    int32_t nnz)
{
    if (rows < 0 || cols < 0 || nnz < 0)
        return KMATH_ERR_NEGATIVE_SIZE;

    const std::int64_t starts = std::int64_t{rows} + 1;
    CleanupFrame<1> frame;
    frame.guard(*matrix);

    // Deliberate: the columns are not compared, as no array depends on their number.
    if (nnz != matrix->nnz || rows != matrix->rows || !matrix->rowStart) {
        TRY(releaseArrays(*matrix));
        TRY(allocateClear(matrix->rowStart, starts));
        TRY(allocateClear(matrix->colIndex, nnz));
        TRY(allocateClear(matrix->values, nnz));
        matrix->nnz = nnz;
    }
    TRY(clear(matrix->rowStart, starts));
    TRY(clear(matrix->colIndex, nnz));
    TRY(clear(matrix->values, nnz));
    matrix->rows = rows;
    matrix->cols = cols;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_snmmatrix_resizeNNZ(kmath_snmmatrix *matrix, int32_t nnz)
{
    if (nnz > cellCount(*matrix))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (nnz <= matrix->nnz)
        return KMATH_OK;

    // Deliberate: nothing is carried over, and the row starts go too.
    RETURN_IF_FAILED(releaseArrays(*matrix));
    CleanupFrame<2> frame;
    frame.guard(matrix->colIndex);
    frame.guard(matrix->values);
    TRY(allocate(matrix->colIndex, nnz, ksys_memory_realloc_internal));
    TRY(allocate(matrix->values, nnz, ksys_memory_realloc_internal));
    matrix->nnz = nnz;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_snmmatrix_setElements(kmath_snmmatrix *matrix, int32_t rows, int32_t cols,
                                         kmath_snmmatrix_element *elements, int32_t count)
{
    RETURN_IF_FAILED(kmath_snmmatrix_resize(matrix, rows, cols, count));
    CleanupFrame<1> frame;
    frame.guard(*matrix);

    sortCells(elements, count);
    for (std::int32_t k = 0; k < count; ++k) {
        if (elements[k].col >= cols)
            return frame.leave(KMATH_ERR_FAILED);
        matrix->colIndex[k] = elements[k].col;
        matrix->values[k] = elements[k].value;
        endRow(*matrix, elements[k].row, k + 1);
    }

    // A row without entries ends where it begins.
    for (std::int32_t r = 0; r < rows; ++r)
        if (matrix->rowStart[r + 1] == 0)
            matrix->rowStart[r + 1] = matrix->rowStart[r];
    matrix->rowStart[rows] = count;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_snmmatrix_setMat(kmath_snmmatrix *matrix, const kmath_nmmatrix *A,
                                    double fillRatio, double threshold)
{
    if (hasLostStorage(*A))
        return KMATH_ERR_NO_MEMORY;
    const double estimate = (A->nRows * fillRatio) * A->nCols;
    if (!(estimate < capacityLimit))
        return KMATH_ERR_FAILED;
    const auto capacity = static_cast<std::int32_t>(std::max(estimate, -1.0));

    RETURN_IF_FAILED(kmath_snmmatrix_resize(matrix, A->nRows, A->nCols, capacity));
    CleanupFrame<1> frame;
    frame.guard(*matrix);

    const std::int64_t count = storeLarge(*matrix, *A, threshold);
    if (count > capacity) {
        // The growth keeps neither entries nor row starts: begin again with room for all.
        TRY(growTo(*matrix, count));
        TRY(kmath_snmmatrix_resize(matrix, A->nRows, A->nCols, matrix->nnz));
        storeLarge(*matrix, *A, threshold);
    }
    return frame.leave(KMATH_OK);
}
