// Views of a matrix: which rows and columns they show.
#include <kmath/sub_block.h>

namespace
{

bool isIndex(int32_t index, int32_t count) { return 0 <= index && index < count; }

kmath_nmmatrix_subBlock viewOf(kmath_nmmatrix *matrix, int32_t firstRow, int32_t lastRow,
                               int32_t firstCol, int32_t lastCol)
{
    return {.matrix = matrix,
            .firstRow = firstRow,
            .lastRow = lastRow,
            .firstCol = firstCol,
            .lastCol = lastCol,
            .nRows = lastRow - firstRow + 1,
            .nCols = lastCol - firstCol + 1};
}

} // namespace

kmath_status kmath_nmmatrix_subBlock_init(kmath_nmmatrix_subBlock *block)
{
    *block = {nullptr, -1, -1, -1, -1, 0, 0};
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_subBlock_setRange(kmath_nmmatrix_subBlock *block,
                                              kmath_nmmatrix *matrix, int32_t firstRow,
                                              int32_t lastRow, int32_t firstCol, int32_t lastCol)
{
    // Deliberate: each index is tested on its own, so a reversed range passes and shows nothing.
    const bool inside = isIndex(firstRow, matrix->nRows) && isIndex(lastRow, matrix->nRows) &&
                        isIndex(firstCol, matrix->nCols) && isIndex(lastCol, matrix->nCols);
    if (!inside)
        return KMATH_ERR_BAD_DIMENSIONS;
    *block = viewOf(matrix, firstRow, lastRow, firstCol, lastCol);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_subBlock_setRow(kmath_nmmatrix_subBlock *block, kmath_nmmatrix *matrix,
                                            int32_t row)
{
    if (!isIndex(row, matrix->nRows))
        return KMATH_ERR_BAD_DIMENSIONS;
    *block = viewOf(matrix, row, row, 0, matrix->nCols - 1);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_subBlock_setCol(kmath_nmmatrix_subBlock *block, kmath_nmmatrix *matrix,
                                            int32_t col)
{
    if (!isIndex(col, matrix->nCols))
        return KMATH_ERR_BAD_DIMENSIONS;
    *block = viewOf(matrix, 0, matrix->nRows - 1, col, col);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_subBlock_setAll(kmath_nmmatrix_subBlock *block, kmath_nmmatrix *matrix)
{
    *block = viewOf(matrix, 0, matrix->nRows - 1, 0, matrix->nCols - 1);
    return KMATH_OK;
}
