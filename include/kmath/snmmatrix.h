/**
 * @file
 * The sparse matrix in compressed rows: life cycle, filling, products with dense
 * matrices, largest row sum.
 *
 * Entries are stored row after row: those of row r are at the positions
 * rowStart[r] ≤ p < rowStart[r + 1] of colIndex and values. Rows, columns and
 * positions count from 0. After a filling, rowStart[0] is 0, rowStart never
 * decreases, rowStart[rows] is the number of entries stored, at most nnz, and
 * the columns of a row ascend. Entries of the same row and column are kept side
 * by side; products and sums add them. A matrix without row starts, as after
 * kmath_snmmatrix_resizeNNZ, has no entries.
 *
 * The caller owns every record: it constructs one in place before its first use,
 * and destructs it to give back the arrays. Dense results are constructed by the
 * caller and resized here. Shapes and counts are formed in 64 bits. Null pointers
 * are not checked for: they are the caller's error and neither reported nor given
 * a status.
 */
#ifndef KMATH_SNMMATRIX_H
#define KMATH_SNMMATRIX_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A sparse matrix of doubles in compressed rows. */
typedef struct kmath_snmmatrix {
    int32_t *rowStart; /**< rows + 1 positions of the first entry of each row, or null */
    int32_t *colIndex; /**< column of each entry, or null; room for nnz */
    double *values;    /**< value of each entry, or null; room for nnz */
    int32_t rows;      /**< number of rows */
    int32_t cols;      /**< number of columns */
    int32_t nnz;       /**< capacity: entries that colIndex and values have room for */
} kmath_snmmatrix;

/** One entry of a sparse matrix. */
typedef struct kmath_snmmatrix_element {
    int32_t row;  /**< from 0 */
    int32_t col;  /**< from 0 */
    double value; /**< any */
} kmath_snmmatrix_element;

/* Life cycle. */

/**
 * An empty matrix, 0 × 0 without arrays.
 *
 * @param[out] matrix  taken as raw memory
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_snmmatrix_construct(kmath_snmmatrix *matrix);

/**
 * Gives back the arrays, all three of them even if the release of one fails.
 *
 * @param[in,out] matrix  empty afterwards, as after construct: it may be used again, or be
 *                        destructed again
 * @return KMATH_OK, or the status of the first release that fails
 */
KMATH_API kmath_status kmath_snmmatrix_destruct(kmath_snmmatrix *matrix);

/* Room. */

/**
 * Gives the matrix a shape and a capacity, and no entries: all three arrays are zero.
 *
 * Arrays of the same number of rows and the same capacity are kept and cleared; another number of
 * columns needs no others. Otherwise they are released before new ones are taken.
 *
 * @param[in,out] matrix  rows × cols afterwards; unchanged for a negative argument, and empty
 *                        without arrays after any other failure
 * @param[in]     rows    ≥ 0
 * @param[in]     cols    ≥ 0
 * @param[in]     nnz     capacity, ≥ 0; may exceed rows × cols, as entries may repeat
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_SIZE for a negative argument, or the status of a failing
 *         release, allocation or fill
 */
KMATH_API kmath_status kmath_snmmatrix_resize(kmath_snmmatrix *matrix, int32_t rows, int32_t cols,
                                              int32_t nnz);

/**
 * Raises the capacity, at the price of all that is stored.
 *
 * A growth releases the row starts too and takes no new ones: until the next
 * kmath_snmmatrix_resize, or a filling, the matrix has no entries, and its new columns and values
 * are arbitrary. A capacity that suffices changes nothing.
 *
 * @param[in,out] matrix  keeps its shape; unchanged by KMATH_ERR_BAD_DIMENSIONS, and without
 *                        arrays, with capacity 0, after any other failure
 * @param[in]     nnz     capacity, at most rows × cols; a negative one changes nothing
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS if nnz exceeds rows × cols, whatever the capacity, or
 *         the status of a failing release or allocation
 */
KMATH_API kmath_status kmath_snmmatrix_resizeNNZ(kmath_snmmatrix *matrix, int32_t nnz);

/* Filling. */

/**
 * The matrix of a list of entries.
 *
 * Takes O(count·log count) for the order and O(rows + count) for the rest. The order of entries of
 * the same row and column is left open.
 *
 * A column below 0, and a row below 0 or not below rows, are not detected, and nothing is
 * written outside the arrays for them; but the rows that hold such entries are wrong, and the
 * products then read outside their operand for a negative column. They are the caller's error.
 *
 * @param[in,out] matrix    rows × cols with the capacity count afterwards; unchanged for a negative
 *                          argument, and empty without arrays after any other failure
 * @param[in]     rows      ≥ 0
 * @param[in]     cols      ≥ 0
 * @param[in,out] elements  sorted here by row, then by column; may be null for none, and is sorted
 *                          too where a column is refused
 * @param[in]     count     number of elements, ≥ 0
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_SIZE for a negative argument, KMATH_ERR_FAILED for a column
 *         of cols or more, or a failure of kmath_snmmatrix_resize
 */
KMATH_API kmath_status kmath_snmmatrix_setElements(kmath_snmmatrix *matrix, int32_t rows,
                                                   int32_t cols, kmath_snmmatrix_element *elements,
                                                   int32_t count);

/**
 * The elements of a dense matrix with |a(i, j)| > threshold.
 *
 * The first capacity is (rows × fillRatio) × cols, cut to an integer. If that does not hold them
 * all, kmath_snmmatrix_resizeNNZ raises it by steps of a tenth of rows × cols, rounded down, and 1
 * more, and A is gone through once more; a ratio that covers them all spares this. A step that
 * would pass rows × cols fails, as may happen where nearly all elements are kept. NaN exceeds no
 * threshold and is dropped.
 *
 * @param[in,out] matrix     the shape of A afterwards; unchanged for a capacity that is refused and
 *                           for an A without storage, and empty without arrays after any other
 *                           failure
 * @param[in]     A          m × n
 * @param[in]     fillRatio  share of the elements to make room for, ≥ 0; 1 holds any matrix
 * @param[in]     threshold  in the unit of the elements; a magnitude that equals it is dropped.
 *                           Below 0 zeros are stored too, and NaN drops everything
 * @return KMATH_OK; KMATH_ERR_NO_MEMORY for an A whose allocation failed; KMATH_ERR_NEGATIVE_SIZE
 *         for a first capacity below 0; KMATH_ERR_FAILED for one that is NaN or beyond INT32_MAX,
 *         or for a step beyond it; or a failure of kmath_snmmatrix_resize or
 *         kmath_snmmatrix_resizeNNZ
 */
KMATH_API kmath_status kmath_snmmatrix_setMat(kmath_snmmatrix *matrix, const kmath_nmmatrix *A,
                                              double fillRatio, double threshold);

/*
 * Products.
 *
 * Each element is one sum over the stored entries of a row, in their order, from 0.0: a NaN or an
 * infinity of B where S stores nothing does not count. A refusal leaves the result unchanged:
 * KMATH_ERR_BAD_DIMENSIONS comes before KMATH_ERR_ALIASED, and this before KMATH_ERR_NO_MEMORY for
 * an operand whose allocation failed.
 */

/**
 * C = S·B.
 *
 * @param[in]  S  m × p
 * @param[in]  B  p × n
 * @param[out] C  m × n, resized; must not be B
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS, KMATH_ERR_ALIASED, KMATH_ERR_NO_MEMORY, or the status
 *         of a failing allocation
 */
KMATH_API kmath_status kmath_snmmatrix_multiplySMM(const kmath_snmmatrix *S,
                                                   const kmath_nmmatrix *B, kmath_nmmatrix *C);

/**
 * C = S·Bᵀ.
 *
 * @param[in]  S  m × p
 * @param[in]  B  n × p
 * @param[out] C  m × n, resized; must not be B
 * @return as kmath_snmmatrix_multiplySMM
 */
KMATH_API kmath_status kmath_snmmatrix_multiplyTSMM(const kmath_snmmatrix *S,
                                                    const kmath_nmmatrix *B, kmath_nmmatrix *C);

/**
 * largest = max(0, maxᵢ Σⱼ s(i, j)): the largest row sum, of the values with their signs.
 *
 * For a matrix without negative entries this is its ∞-norm; for others it is no norm. A row sum
 * that is NaN is passed over.
 *
 * @param[in]  S        m × n
 * @param[out] largest  in the unit of the entries; 0 where no row sum is positive
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_snmmatrix_oneRowNorm(const kmath_snmmatrix *S, double *largest);

#ifdef __cplusplus
}
#endif

#endif
