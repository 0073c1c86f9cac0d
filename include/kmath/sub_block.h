/**
 * @file
 * Sub-blocks: rectangular views of a dense matrix, and the arithmetic on them.
 *
 * A view is a contiguous range of rows and one of columns of its parent, used in
 * place: nothing is copied, and nothing is allocated but the storage of a
 * whole-matrix result. It is a plain value of the caller's, needs no destruct,
 * and holds while the parent keeps its storage; a resize or destruct of the
 * parent leaves it dangling, which nobody notices. Rows and columns count from 0.
 *
 * The letters that end a name are the operands in the order of the arguments, the
 * last one the result: B a view, M a whole matrix. A T before multiply transposes
 * the first factor, a T after it the second. Only copy… has its destination first,
 * which its first letter names.
 *
 * Element (i, j) of a view is the double i·stride + j after its top left element,
 * parent.rows[firstRow] + firstCol, where the stride is the parent's nCols of
 * now; operands that are whole matrices are reached the same way, from rows[0].
 * A matrix that kmath_nmmatrix_resize_noClear has shrunk is thus read as its
 * elements are stored, nCols to a row. Said to go through the row pointers are
 * the functions that see the rectangle.
 *
 * A result that is a view must have the shape of the result, and one that is a
 * whole matrix takes it: the right shape keeps its storage and is overwritten. No
 * function looks for overlap: a result must not overlap an operand, except that
 * it may be the first operand itself where elements are combined one by one.
 * Views of one parent that do not overlap are strangers, also to threads.
 *
 * A view with no rows or no columns, or with fewer than none, has no elements,
 * and neither its parent nor its stride is looked at. KMATH_ERR_BAD_DIMENSIONS
 * for shapes that do not match comes before KMATH_ERR_NO_MEMORY for an operand,
 * or a view as result, whose matrix lost its storage to a failing allocation;
 * nothing is written in either case. Sums run over the index upwards from 0.0,
 * with the same bits on every machine. Null pointers are the caller's error;
 * there is no assertion for them here.
 */
#ifndef KMATH_SUB_BLOCK_H
#define KMATH_SUB_BLOCK_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A view of rows firstRow … lastRow and columns firstCol … lastCol of a matrix. */
typedef struct kmath_nmmatrix_subBlock {
    kmath_nmmatrix *matrix; /**< parent, not owned */
    int32_t firstRow;       /**< first row in the parent */
    int32_t lastRow;        /**< last row, inclusive */
    int32_t firstCol;       /**< first column in the parent */
    int32_t lastCol;        /**< last column, inclusive */
    int32_t nRows;          /**< lastRow − firstRow + 1 */
    int32_t nCols;          /**< lastCol − firstCol + 1 */
} kmath_nmmatrix_subBlock;

/* Setting up a view. */

/**
 * A view of nothing: no parent, all indices −1, both counts 0.
 *
 * @param[out] block  taken as raw memory
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_subBlock_init(kmath_nmmatrix_subBlock *block);

/**
 * The view of rows firstRow … lastRow and columns firstCol … lastCol.
 *
 * A reversed range is accepted: last = first − 1 has a count of 0, and less a negative one.
 *
 * @param[out] block     unchanged on failure
 * @param[in]  matrix    m × n, the parent
 * @param[in]  firstRow  0 … m − 1
 * @param[in]  lastRow   0 … m − 1
 * @param[in]  firstCol  0 … n − 1
 * @param[in]  lastCol   0 … n − 1
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS for any index out of its range
 */
KMATH_API kmath_status kmath_nmmatrix_subBlock_setRange(kmath_nmmatrix_subBlock *block,
                                                        kmath_nmmatrix *matrix, int32_t firstRow,
                                                        int32_t lastRow, int32_t firstCol,
                                                        int32_t lastCol);

/**
 * The view of one whole row, 1 × n.
 *
 * @param[out] block   unchanged on failure
 * @param[in]  matrix  m × n, the parent
 * @param[in]  row     0 … m − 1
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS for a row out of its range
 */
KMATH_API kmath_status kmath_nmmatrix_subBlock_setRow(kmath_nmmatrix_subBlock *block,
                                                      kmath_nmmatrix *matrix, int32_t row);

/**
 * The view of one whole column, m × 1.
 *
 * @param[out] block   unchanged on failure
 * @param[in]  matrix  m × n, the parent
 * @param[in]  col     0 … n − 1
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS for a column out of its range
 */
KMATH_API kmath_status kmath_nmmatrix_subBlock_setCol(kmath_nmmatrix_subBlock *block,
                                                      kmath_nmmatrix *matrix, int32_t col);

/**
 * The view of a whole matrix. Where it has no rows or columns, the last index is −1.
 *
 * @param[out] block   m × n
 * @param[in]  matrix  m × n, the parent
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_subBlock_setAll(kmath_nmmatrix_subBlock *block,
                                                      kmath_nmmatrix *matrix);

/*
 * Products.
 *
 * Element (i, j) is one sum over k upwards from 0.0; without terms it is zero. A whole-matrix
 * result of another shape is destructed before it is resized, so that it is empty where the count
 * of a reversed range makes its shape negative: KMATH_ERR_NEGATIVE_SIZE.
 */

/**
 * c = a·b.
 *
 * @param[in]  a  m × p
 * @param[in]  b  p × n
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS, KMATH_ERR_NO_MEMORY, or the status of a failing
 *         resize
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyBBM(const kmath_nmmatrix_subBlock *a,
                                                  const kmath_nmmatrix_subBlock *b,
                                                  kmath_nmmatrix *c);

/**
 * c = a·b.
 *
 * @param[in]  a  m × p
 * @param[in]  b  p × n
 * @param[out] c  m × n; overlaps neither a nor b
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS or KMATH_ERR_NO_MEMORY
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyBBB(const kmath_nmmatrix_subBlock *a,
                                                  const kmath_nmmatrix_subBlock *b,
                                                  kmath_nmmatrix_subBlock *c);

/**
 * c = a·b.
 *
 * @param[in]  a  m × p
 * @param[in]  b  p × n
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBM
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyMBM(const kmath_nmmatrix *a,
                                                  const kmath_nmmatrix_subBlock *b,
                                                  kmath_nmmatrix *c);

/**
 * c = a·b.
 *
 * @param[in]  a  m × p
 * @param[in]  b  p × n
 * @param[out] c  m × n; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBB
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyMMB(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                                  kmath_nmmatrix_subBlock *c);

/**
 * c = aᵀ·b.
 *
 * @param[in]  a  p × m
 * @param[in]  b  p × n
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBM
 */
KMATH_API kmath_status kmath_nmmatrix_TmultiplyBBM(const kmath_nmmatrix_subBlock *a,
                                                   const kmath_nmmatrix_subBlock *b,
                                                   kmath_nmmatrix *c);

/**
 * c = aᵀ·b.
 *
 * @param[in]  a  p × m
 * @param[in]  b  p × n
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBM
 */
KMATH_API kmath_status kmath_nmmatrix_TmultiplyMBM(const kmath_nmmatrix *a,
                                                   const kmath_nmmatrix_subBlock *b,
                                                   kmath_nmmatrix *c);

/**
 * c = aᵀ·b.
 *
 * @param[in]  a  p × m
 * @param[in]  b  p × n
 * @param[out] c  m × n; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBB
 */
KMATH_API kmath_status kmath_nmmatrix_TmultiplyBBB(const kmath_nmmatrix_subBlock *a,
                                                   const kmath_nmmatrix_subBlock *b,
                                                   kmath_nmmatrix_subBlock *c);

/**
 * c = a·bᵀ.
 *
 * @param[in]  a  m × p
 * @param[in]  b  n × p
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBM
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyTBMM(const kmath_nmmatrix_subBlock *a,
                                                   const kmath_nmmatrix *b, kmath_nmmatrix *c);

/**
 * c = a·bᵀ.
 *
 * @param[in]  a  m × p
 * @param[in]  b  n × p
 * @param[out] c  m × n, resized if its shape differs; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBM
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyTBBM(const kmath_nmmatrix_subBlock *a,
                                                   const kmath_nmmatrix_subBlock *b,
                                                   kmath_nmmatrix *c);

/**
 * c = a·bᵀ.
 *
 * @param[in]  a  m × p
 * @param[in]  b  n × p
 * @param[out] c  m × n; overlaps neither a nor b
 * @return as kmath_nmmatrix_multiplyBBB
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyTBBB(const kmath_nmmatrix_subBlock *a,
                                                   const kmath_nmmatrix_subBlock *b,
                                                   kmath_nmmatrix_subBlock *c);

/* Sums, copies and transposes of views. */

/**
 * c = a + b.
 *
 * @param[in]  a  m × n
 * @param[in]  b  m × n
 * @param[out] c  m × n; may be a
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS or KMATH_ERR_NO_MEMORY
 */
KMATH_API kmath_status kmath_nmmatrix_addBBB(const kmath_nmmatrix_subBlock *a,
                                             const kmath_nmmatrix_subBlock *b,
                                             kmath_nmmatrix_subBlock *c);

/**
 * c = a + b.
 *
 * @param[in]  a  m × n
 * @param[in]  b  m × n
 * @param[out] c  m × n; may be a
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_addBMB(const kmath_nmmatrix_subBlock *a,
                                             const kmath_nmmatrix *b, kmath_nmmatrix_subBlock *c);

/**
 * c = a − b.
 *
 * @param[in]  a  m × n
 * @param[in]  b  m × n
 * @param[out] c  m × n; may be a
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_subtractBMB(const kmath_nmmatrix_subBlock *a,
                                                  const kmath_nmmatrix *b,
                                                  kmath_nmmatrix_subBlock *c);

/**
 * c = s·a + b, the product rounded before the sum.
 *
 * @param[in]  s  any
 * @param[in]  a  m × n
 * @param[in]  b  m × n
 * @param[out] c  m × n; may be a
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_sApBBBB(double s, const kmath_nmmatrix_subBlock *a,
                                              const kmath_nmmatrix_subBlock *b,
                                              kmath_nmmatrix_subBlock *c);

/**
 * c = a·s.
 *
 * @param[in]  a  m × n
 * @param[in]  s  any
 * @param[out] c  m × n; may be a
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_scaleBB(const kmath_nmmatrix_subBlock *a, double s,
                                              kmath_nmmatrix_subBlock *c);

/**
 * c = a·s.
 *
 * @param[in]  a  m × n
 * @param[in]  s  any
 * @param[out] c  m × n, resized if its shape differs; may be the parent of an a that is all of it
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY, or the status of a failing resize:
 *         KMATH_ERR_NEGATIVE_SIZE, with c unchanged, for an a with a negative count
 */
KMATH_API kmath_status kmath_nmmatrix_scaleBM(const kmath_nmmatrix_subBlock *a, double s,
                                              kmath_nmmatrix *c);

/**
 * Every element of a = value.
 *
 * @param[in,out] a      m × n
 * @param[in]     value  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_setB(kmath_nmmatrix_subBlock *a, double value);

/**
 * c = a.
 *
 * @param[out] c  m × n, resized if its shape differs
 * @param[in]  a  m × n
 * @return as kmath_nmmatrix_scaleBM
 */
KMATH_API kmath_status kmath_nmmatrix_copyMB(kmath_nmmatrix *c, const kmath_nmmatrix_subBlock *a);

/**
 * c = a.
 *
 * @param[out] c  m × n
 * @param[in]  a  m × n
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_copyBM(kmath_nmmatrix_subBlock *c, const kmath_nmmatrix *a);

/**
 * c = aᵀ. The source comes first.
 *
 * @param[in]  a  m × n
 * @param[out] c  n × m; does not overlap a
 * @return as kmath_nmmatrix_addBBB
 */
KMATH_API kmath_status kmath_nmmatrix_transposeMB(const kmath_nmmatrix *a,
                                                  kmath_nmmatrix_subBlock *c);

/**
 * c = aᵀ. The source comes first.
 *
 * @param[in]  a  m × n
 * @param[out] c  n × m, resized if its shape differs; does not overlap a
 * @return as kmath_nmmatrix_scaleBM
 */
KMATH_API kmath_status kmath_nmmatrix_transposeBM(const kmath_nmmatrix_subBlock *a,
                                                  kmath_nmmatrix *c);

/* Whole matrices, through the row pointers. */

/**
 * a −= b: kmath_nmmatrix_submat without its assertion.
 *
 * @param[in,out] a  m × n
 * @param[in]     b  m × n; may be a
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS if the shapes differ, or KMATH_ERR_NO_MEMORY for a b
 *         whose allocation failed, with a unchanged
 */
KMATH_API kmath_status kmath_nmmatrix_subtractMat(kmath_nmmatrix *a, const kmath_nmmatrix *b);

/*
 * Diagonal matrices, given as a row or a column d. Its elements are taken from its storage one
 * after the other, from rows[0]. What has to match is nRows or nCols of d, either of them: a size
 * of 1 is thus matched by a d of any length, of which the first element serves.
 */

/**
 * a = a·diag(d): column j is multiplied by d[j].
 *
 * @param[in,out] a  m × n
 * @param[in]     d  n × 1 or 1 × n
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS for a d that is neither row nor column, does not match
 *         or is empty though a has columns, or KMATH_ERR_NO_MEMORY for one whose allocation failed,
 *         with a unchanged
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyDiag(kmath_nmmatrix *a, const kmath_nmmatrix *d);

/**
 * a = diag(d)·a: row i is multiplied by d[i].
 *
 * @param[in,out] a  m × n
 * @param[in]     d  m × 1 or 1 × m
 * @return as kmath_nmmatrix_multiplyDiag
 */
KMATH_API kmath_status kmath_nmmatrix_TmultiplyDiag(kmath_nmmatrix *a, const kmath_nmmatrix *d);

/**
 * a += diag(d).
 *
 * @param[in,out] a  n × n
 * @param[in]     d  n × 1 or 1 × n
 * @return as kmath_nmmatrix_multiplyDiag; KMATH_ERR_BAD_DIMENSIONS also for an a that is not square
 */
KMATH_API kmath_status kmath_nmmatrix_addDiagMat(kmath_nmmatrix *a, const kmath_nmmatrix *d);

/**
 * a −= diag(d).
 *
 * @param[in,out] a  n × n
 * @param[in]     d  n × 1 or 1 × n
 * @return as kmath_nmmatrix_addDiagMat
 */
KMATH_API kmath_status kmath_nmmatrix_subDiagMat(kmath_nmmatrix *a, const kmath_nmmatrix *d);

/**
 * c(i, n − 1 − j) = a(i, j): the columns in reverse order.
 *
 * @param[in]  a  m × n
 * @param[out] c  m × n, resized; c = a is not refused, and makes each row a mirrored copy of its
 *                left half
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY for an a whose allocation failed, or the status of a
 *         failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_flipLR(const kmath_nmmatrix *a, kmath_nmmatrix *c);

/**
 * c(m − 1 − i, j) = a(i, j): the rows in reverse order.
 *
 * @param[in]  a  m × n
 * @param[out] c  m × n, resized; c = a is not refused, and makes the lower half a mirrored copy of
 *                the upper one
 * @return as kmath_nmmatrix_flipLR
 */
KMATH_API kmath_status kmath_nmmatrix_flipUD(const kmath_nmmatrix *a, kmath_nmmatrix *c);

/**
 * c = rows firstRow … lastRow and columns firstCol … lastCol of a.
 *
 * The range is not held against the shape of a: to stay inside is the caller's part.
 *
 * @param[out] c         (lastRow − firstRow + 1) × (lastCol − firstCol + 1), resized; must not be a
 * @param[in]  a         m × n
 * @param[in]  firstRow  0 … m − 1
 * @param[in]  lastRow   firstRow − 1 … m − 1
 * @param[in]  firstCol  0 … n − 1
 * @param[in]  lastCol   firstCol − 1 … n − 1
 * @return KMATH_OK; KMATH_ERR_NEGATIVE_SIZE for a range that is reversed by more than one,
 *         KMATH_ERR_BAD_DIMENSIONS for a count above INT32_MAX, or KMATH_ERR_NO_MEMORY for an a
 *         whose allocation failed, with c unchanged; or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_copyBlock(kmath_nmmatrix *c, const kmath_nmmatrix *a,
                                                int32_t firstRow, int32_t lastRow, int32_t firstCol,
                                                int32_t lastCol);

/**
 * Each element, in row-major order, is the next (rand() % 10000) / 10000.0.
 *
 * The numbers are those of the C library's generator: srand makes them repeatable, and they are no
 * safer between threads than rand is.
 *
 * @param[in,out] a  m × n
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_setRand(kmath_nmmatrix *a);

/**
 * The same for each element of a view, through the row pointers of its parent: rows
 * firstRow … lastRow, columns firstCol … lastCol.
 *
 * @param[in,out] a  m × n
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_setRandB(kmath_nmmatrix_subBlock *a);

/*
 * Norms and the largest element.
 *
 * Squares are added up in *out itself, so out must not point into the row or column. Whole matrices
 * are read through the row pointers. Where there are no elements to read, as in an empty matrix or
 * one whose allocation failed, a norm is 0 whatever the index; otherwise an index that is not said
 * to be tested is the caller's part.
 */

/**
 * out = √Σⱼ a(row, j)².
 *
 * @param[in]  a    m × n
 * @param[in]  row  0 … m − 1, not tested
 * @param[out] out  ≥ 0, or NaN
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_rowNorm(const kmath_nmmatrix *a, int32_t row, double *out);

/**
 * out = √Σᵢ a(i, col)².
 *
 * @param[in]  a    m × n
 * @param[in]  col  0 … n − 1, not tested
 * @param[out] out  ≥ 0, or NaN
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_columnNorm(const kmath_nmmatrix *a, int32_t col, double *out);

/**
 * out = √Σⱼ a(row, j)², of a row of the view.
 *
 * @param[in]  a    m × n
 * @param[in]  row  0 … m − 1, counted in the view, not tested
 * @param[out] out  ≥ 0, or NaN
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_rowNormB(const kmath_nmmatrix_subBlock *a, int32_t row,
                                               double *out);

/**
 * out = √Σᵢ a(i, col)², of a column of the view.
 *
 * @param[in]  a    m × n
 * @param[in]  col  0 … n − 1, counted in the view
 * @param[out] out  ≥ 0, or NaN; 0 on failure
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS for a column out of its range
 */
KMATH_API kmath_status kmath_nmmatrix_columnNormB(const kmath_nmmatrix_subBlock *a, int32_t col,
                                                  double *out);

/**
 * out = maxᵢ Σⱼ |a(i, j)|, the ∞-norm. A row whose sum is NaN counts for nothing.
 *
 * @param[in]  a    m × n
 * @param[out] out  ≥ 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_oneRowNorm(const kmath_nmmatrix *a, double *out);

/**
 * out = maxⱼ Σᵢ |a(i, j)|, the 1-norm. A column whose sum is NaN counts for nothing.
 *
 * @param[in]  a    m × n
 * @param[out] out  ≥ 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_oneColNorm(const kmath_nmmatrix *a, double *out);

/**
 * out = the largest element.
 *
 * From element (0, 0) on, each element in row-major order takes the place of the result unless the
 * result is greater or equal: a NaN takes it, and loses it to the element after it.
 *
 * @param[in]  a    m × n; of an empty matrix that has storage, element (0, 0) is read all the same
 * @param[out] out  0 for a matrix without storage
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_max(const kmath_nmmatrix *a, double *out);

#ifdef __cplusplus
}
#endif

#endif
