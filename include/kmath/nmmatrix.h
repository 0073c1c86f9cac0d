/**
 * @file
 * The dense matrix and the n-vector: life cycle, element-wise operations,
 * products, factorisations and singular values.
 *
 * Matrices are row-major, rows and columns count from 0. The caller owns every
 * record: it constructs one in place before its first use, and destructs it to
 * give back what the record owns. Up to 16 elements in at most 6 rows live inside
 * the record and never touch the heap; more take one block of elements and one
 * row table. Outputs are constructed by the caller and resized here as needed.
 *
 * Inputs come first and the result last; assign, the constructors and the
 * operations in place begin with the object that they change. Which results may
 * be operands is said with each function. Sums of products and squares run over
 * the index upwards from 0.0, with the same bits on every machine. A null record
 * is an assertion, never a status, and the function then carries on.
 *
 * A matrix that shrank by kmath_nmmatrix_resize_noClear keeps the row stride that
 * it had. Functions of which it is said that they walk the storage flat then see
 * the first nRows × nCols doubles stored from rows[0], not the rectangle; all
 * others go through the row pointers.
 *
 * A matrix or vector whose allocation failed has its new shape and no storage. It
 * may be destructed, and resized even to the same shape, which asks for memory
 * again. In-place operations leave it as it is; to read it into another object is
 * KMATH_ERR_NO_MEMORY. An allocation of more than PTRDIFF_MAX bytes fails without
 * being asked for.
 */
#ifndef KMATH_NMMATRIX_H
#define KMATH_NMMATRIX_H

#include <kmath/matrix4.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Elements and rows that a kmath_nmmatrix keeps inside its record. */
enum { KMATH_NMMATRIX_INLINE_ELEMENTS = 16, KMATH_NMMATRIX_INLINE_ROWS = 6 };

/** A dense matrix of doubles, row-major; it points into itself, so never copy it bytewise. */
typedef struct kmath_nmmatrix {
    double **rows;  /**< row table in use, or null; element (i, j) is rows[i][j] */
    int32_t nRows;  /**< number of rows */
    int32_t nCols;  /**< number of columns */
    int32_t onHeap; /**< 1 when the storage is the heap pair, else 0 */
    double inlineData[KMATH_NMMATRIX_INLINE_ELEMENTS]; /**< inline elements */
    double *inlineRows[KMATH_NMMATRIX_INLINE_ROWS];    /**< inline row table */
    double **heapRows; /**< heap row table, or null; its first entry is the element block */
} kmath_nmmatrix;

/** A vector of n doubles in a heap block of n + 1. */
typedef struct kmath_nvector {
    double *data; /**< block of n + 1 doubles, or null */
    int32_t n;    /**< length */
} kmath_nvector;

/* Life cycle. */

/**
 * An empty matrix, 0 × 0 without storage.
 *
 * @param[out] matrix  taken as raw memory; its inline areas stay as they are
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_construct(kmath_nmmatrix *matrix);

/**
 * A matrix of zeros.
 *
 * @param[out] matrix  taken as raw memory; not written at all for a negative size, and then not to
 *                     be destructed; empty after a failing allocation
 * @param[in]  rows    ≥ 0
 * @param[in]  cols    ≥ 0
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_SIZE, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_constructRowsCols(kmath_nmmatrix *matrix, int32_t rows,
                                                        int32_t cols);

/**
 * A matrix with all elements equal.
 *
 * @param[out] matrix  as by kmath_nmmatrix_constructRowsCols
 * @param[in]  rows    ≥ 0
 * @param[in]  cols    ≥ 0
 * @param[in]  value   of every element, any
 * @return as kmath_nmmatrix_constructRowsCols
 */
KMATH_API kmath_status kmath_nmmatrix_constructRowsColsVal(kmath_nmmatrix *matrix, int32_t rows,
                                                           int32_t cols, double value);

/**
 * The 6 × 6 matrix of the elements of source, widened to doubles.
 *
 * @param[out] matrix  taken as raw memory; empty after a failing allocation
 * @param[in]  source  any
 * @return KMATH_OK, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_constructMatrix6F(kmath_nmmatrix *matrix,
                                                        const kmath_matrix6F *source);

/**
 * The 6 × 1 column of the components of source, widened to doubles.
 *
 * @param[out] matrix  taken as raw memory; 6 × 1 inside the record
 * @param[in]  source  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_constructVect6F(kmath_nmmatrix *matrix,
                                                      const kmath_vect6F *source);

/**
 * A copy of a matrix, in storage of its own.
 *
 * @param[out] matrix  taken as raw memory, not source; empty after a failure
 * @param[in]  source  m × n
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY for a source whose allocation failed, or the status of a
 *         failing allocation
 * @see kmath_nmmatrix_assign
 */
KMATH_API kmath_status kmath_nmmatrix_constructCopy(kmath_nmmatrix *matrix,
                                                    const kmath_nmmatrix *source);

/**
 * Gives back the storage.
 *
 * @param[in,out] matrix  empty afterwards, as after construct: it may be used again, or be
 *                        destructed again
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_destruct(kmath_nmmatrix *matrix);

/* Shape and copy. */

/**
 * Gives the matrix another shape, filled with zeros.
 *
 * The same shape is kept with its elements and costs nothing.
 *
 * @param[in,out] matrix  rows × cols afterwards; unchanged for a negative size, and without storage
 *                        after a failing allocation
 * @param[in]     rows    ≥ 0
 * @param[in]     cols    ≥ 0
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_SIZE, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_resize(kmath_nmmatrix *matrix, int32_t rows, int32_t cols);

/**
 * Shrinks the matrix to its top left corner without moving it, or takes new storage.
 *
 * A shape that fits into the old one keeps the storage and its row stride: element (i, j) keeps its
 * value, and the elements are no longer one contiguous run. To have them contiguous again, assign
 * the matrix to another one. Any other shape loses the elements and takes zeros on the heap, even
 * where it would fit inside the record.
 *
 * @param[in,out] matrix  rows × cols afterwards; unchanged for a negative size, and without storage
 *                        after a failing allocation
 * @param[in]     rows    ≥ 0
 * @param[in]     cols    ≥ 0
 * @return KMATH_OK, KMATH_ERR_NEGATIVE_SIZE, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_resize_noClear(kmath_nmmatrix *matrix, int32_t rows,
                                                     int32_t cols);

/**
 * destination = source.
 *
 * @param[in,out] destination  resized if its shape differs, else overwritten in place; may be
 *                             source
 * @param[in]     source       m × n
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY for a source whose allocation failed, with destination
 *         unchanged, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_assign(kmath_nmmatrix *destination,
                                             const kmath_nmmatrix *source);

/**
 * destination = sourceᵀ.
 *
 * @param[in]  source       m × n
 * @param[out] destination  n × m, resized if its shape differs; must not be source
 * @return KMATH_OK; KMATH_ERR_ALIASED if destination is source, or KMATH_ERR_NO_MEMORY for a source
 *         whose allocation failed, with destination unchanged; or the status of a failing
 *         allocation
 */
KMATH_API kmath_status kmath_nmmatrix_transpose(const kmath_nmmatrix *source,
                                                kmath_nmmatrix *destination);

/**
 * equal = (a and b have the same shape, and no |a(i, j) − b(i, j)| exceeds the tolerance).
 *
 * Empty matrices of the same shape are equal. Both storages are walked flat. A difference that is
 * NaN exceeds nothing, so a NaN equals any number, and an infinity its like.
 *
 * @param[in]  a          m × n
 * @param[in]  b          m × n, or of another shape
 * @param[in]  tolerance  in the unit of the elements; the bound itself counts as equal, and no
 *                        difference exceeds NaN
 * @param[out] equal      1 or 0; 0 where one alone has lost its storage
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_compareEqual(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                                   double tolerance, int32_t *equal);

/* Element-wise operations and reductions; none allocates, and an empty matrix stays as it is. */

/**
 * Every element = value.
 *
 * @param[in,out] matrix  m × n
 * @param[in]     value   any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_set(kmath_nmmatrix *matrix, double value);

/**
 * Adds value to each element (i, i), i < min(m, n).
 *
 * @param[in,out] matrix  m × n
 * @param[in]     value   any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_adddiag(kmath_nmmatrix *matrix, double value);

/**
 * Multiplies every element by the factor. Walks the storage flat.
 *
 * @param[in,out] matrix  m × n
 * @param[in]     factor  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_scale(kmath_nmmatrix *matrix, double factor);

/**
 * Adds a number to every element. Walks the storage flat.
 *
 * @param[in,out] matrix  m × n
 * @param[in]     value   any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_add(kmath_nmmatrix *matrix, double value);

/**
 * a += b. Walks both storages flat.
 *
 * @param[in,out] a  m × n
 * @param[in]     b  m × n; may be a
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS if the shapes differ, or KMATH_ERR_NO_MEMORY for a b
 *         whose allocation failed, with a unchanged
 */
KMATH_API kmath_status kmath_nmmatrix_addmat(kmath_nmmatrix *a, const kmath_nmmatrix *b);

/**
 * a −= b. Unlike addmat it goes through the row pointers.
 *
 * @param[in,out] a  m × n
 * @param[in]     b  m × n; may be a
 * @return as kmath_nmmatrix_addmat
 */
KMATH_API kmath_status kmath_nmmatrix_submat(kmath_nmmatrix *a, const kmath_nmmatrix *b);

/**
 * sum = Σ a(i, j)², the square of the Frobenius norm: no root is taken. Walks the storage flat.
 *
 * @param[in]  matrix  m × n
 * @param[out] sum     in the square of the elements' unit; 0 for an empty matrix
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nmmatrix_fnorm2(const kmath_nmmatrix *matrix, double *sum);

/*
 * Products.
 *
 * A result of the right shape keeps its storage and is overwritten; another one is resized first.
 * Where there are no terms, as in (m × 0)·(0 × n), the result is zero. A refusal leaves the result
 * unchanged: KMATH_ERR_BAD_DIMENSIONS for shapes that do not match comes before KMATH_ERR_ALIASED
 * for a result that is an operand, and this before KMATH_ERR_NO_MEMORY for an operand whose
 * allocation failed.
 */

/**
 * R = AᵀA, exactly symmetric.
 *
 * @param[in]  A  m × n
 * @param[out] R  n × n, resized; must not be A
 * @return KMATH_OK, KMATH_ERR_ALIASED, KMATH_ERR_NO_MEMORY, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_square(const kmath_nmmatrix *A, kmath_nmmatrix *R);

/**
 * R = A·Aᵀ, exactly symmetric.
 *
 * @param[in]  A  m × n
 * @param[out] R  m × m, resized; must not be A
 * @return KMATH_OK, KMATH_ERR_ALIASED, KMATH_ERR_NO_MEMORY, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_Tsquare(const kmath_nmmatrix *A, kmath_nmmatrix *R);

/**
 * C = A·B.
 *
 * @param[in]  A  m × p
 * @param[in]  B  p × n
 * @param[out] C  m × n, resized; must be neither A nor B
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS, KMATH_ERR_ALIASED, KMATH_ERR_NO_MEMORY, or the status
 *         of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_multiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                               kmath_nmmatrix *C);

/**
 * C = Aᵀ·B.
 *
 * @param[in]  A  p × m
 * @param[in]  B  p × n
 * @param[out] C  m × n, resized; must be neither A nor B
 * @return as kmath_nmmatrix_multiply
 */
KMATH_API kmath_status kmath_nmmatrix_Tmultiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                                kmath_nmmatrix *C);

/**
 * C = A·Bᵀ.
 *
 * @param[in]  A  m × p
 * @param[in]  B  n × p
 * @param[out] C  m × n, resized; may be A or B, at the price of a temporary matrix
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS, KMATH_ERR_NO_MEMORY, or the status of a failing
 *         allocation
 */
KMATH_API kmath_status kmath_nmmatrix_multiplyT(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                                kmath_nmmatrix *C);

/*
 * LU factorisation, solving, inverse and determinant.
 *
 * A right-hand side b of n elements is a column (n × 1) or a row (1 × n); its solution has the same
 * shape. A b with more than one row and more than one column lends the first n doubles of its
 * storage, in row-major order, and must hold as many. Elements of a row or column are taken from
 * the storage one after the other, too, whatever stride kmath_nmmatrix_resize_noClear has left.
 *
 * A pivot is tiny when its magnitude is below 1.0000000000000002e-14. Each function either refuses
 * the matrix then or puts 1e-12 in the pivot's place and goes on. A row that holds only zeros, or
 * only zeros and NaNs, is refused by both. Infinite and NaN elements are not looked for otherwise:
 * they run through the arithmetic, may leave a pivot that is tiny, and make the result meaningless.
 *
 * A matrix without rows is regular: its determinant is 1, its inverse and its solutions are empty.
 */

/**
 * P·A = L·U in place, by Crout's method with scaled partial pivoting.
 *
 * The strict lower triangle of a becomes L, whose diagonal is 1, the rest U. Where candidates for a
 * pivot are equally large relative to their rows, the last one is taken.
 *
 * On success the caller owns the array that perm receives and releases it with
 * ksys_memory_free_internal. On failure there is none: *perm is null after a singular matrix and a
 * failing allocation, and is left alone where a is not square or lost its storage earlier.
 *
 * @param[in,out] a       n × n; after KMATH_ERR_SINGULAR its columns are factorised as far as the
 *                        tiny pivot, and of the others only rows are swapped
 * @param[out]    perm    new array of n row indices from 0: entry j is the row, from j upwards,
 *                        that changed places with row j at step j
 * @param[in]     strict  non-zero to refuse a tiny pivot, 0 to replace it
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an a that is not square, KMATH_ERR_SINGULAR, or
 *         the status of a failing allocation
 * @see Press et al., Numerical Recipes, §2.3; Golub & Van Loan, Matrix Computations, §3.4
 */
KMATH_API kmath_status kmath_nmmatrix_LU(kmath_nmmatrix *a, int32_t **perm, int32_t strict);

/**
 * x = A⁻¹·b from the factors of A.
 *
 * Each ordinary call reports line 440 to the assertion hook once, then carries on. x receives a
 * copy of b before the shapes are looked at.
 *
 * @param[in]  a     n × n, as kmath_nmmatrix_LU left it
 * @param[in]  b     n × 1 or 1 × n
 * @param[in]  perm  n row indices, as kmath_nmmatrix_LU made them
 * @param[out] x     shape of b, resized; may be b, must not be a
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an a that is not square, a b of another length or
 *         a perm that names a row outside a, or the status of a failing allocation
 * @see Golub & Van Loan, Matrix Computations, §3.1
 */
KMATH_API kmath_status kmath_nmmatrix_LUbksub(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                              const int32_t *perm, kmath_nmmatrix *x);

/**
 * b ← A⁻¹·b from the factors of A; nothing is allocated.
 *
 * @param[in]     a     n × n, as kmath_nmmatrix_LU left it
 * @param[in,out] b     n × 1 or 1 × n; must not be a
 * @param[in]     perm  n row indices, as kmath_nmmatrix_LU made them
 * @return KMATH_OK, or KMATH_ERR_BAD_DIMENSIONS for an a that is not square, a b of another length
 *         or a perm that names a row outside a; b is unchanged then
 * @see kmath_nmmatrix_LUbksub
 */
KMATH_API kmath_status kmath_nmmatrix_LUbksubOW(const kmath_nmmatrix *a, kmath_nmmatrix *b,
                                                const int32_t *perm);

/**
 * x = A⁻¹·b for an A that is not too ill-conditioned; tiny pivots are replaced.
 *
 * @param[in]  A                n × n
 * @param[in]  b                n × 1 or 1 × n
 * @param[out] x                shape of b, resized; may be b or A
 * @param[in]  conditionMethod  as for kmath_nmmatrix_conditionNumber: 0 for any A, else A is taken
 *                              as symmetric
 * @param[out] condition        dimensionless, the condition number of A; written also when it makes
 *                              the call fail
 * @param[in]  maxCondition     dimensionless, the largest condition number let through; NaN lets
 *                              none through. Not looked at when n is 0
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an A that is not square or a b of another length,
 *         with x and *condition unchanged, KMATH_ERR_SINGULAR for a condition number that is NaN or
 *         above maxCondition, with x unchanged, and for a row of zeros, or the status of
 *         kmath_nmmatrix_conditionNumber or of a failing allocation
 * @see kmath_nmmatrix_LU, kmath_nmmatrix_pseudoSolve
 */
KMATH_API kmath_status kmath_nmmatrix_solve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                            kmath_nmmatrix *x, int32_t conditionMethod,
                                            double *condition, double maxCondition);

/**
 * x = A⁻¹·b in the caller's work storage, for many small systems in a loop; tiny pivots are
 * refused.
 *
 * Nothing is allocated when x has the shape of b.
 *
 * @param[in]  A      n × n
 * @param[in]  b      n × 1 or 1 × n
 * @param[out] lu     becomes n × n without being reallocated and receives the factors of A. Its
 *                    storage must have room for n rows of n elements, as when it was once resized
 *                    to n × n or more; must not be b or x
 * @param[out] scale  work, n doubles
 * @param[out] perm   work, n entries
 * @param[out] x      shape of b, resized; may be b or A
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an A that is not square, a b of another length or
 *         an lu without storage, with all outputs unchanged, KMATH_ERR_SINGULAR for a tiny pivot or
 *         a row of zeros, with a copy of b in x, or the status of a failing allocation
 * @see kmath_nmmatrix_solve
 */
KMATH_API kmath_status kmath_nmmatrix_solve_fast_and_loose(const kmath_nmmatrix *A,
                                                           const kmath_nmmatrix *b,
                                                           kmath_nmmatrix *lu, double *scale,
                                                           int32_t *perm, kmath_nmmatrix *x);

/**
 * A⁻¹; tiny pivots are refused.
 *
 * @param[in]  A     n × n
 * @param[out] Ainv  n × n, resized; may be A
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an A that is not square, KMATH_ERR_SINGULAR for a
 *         tiny pivot or a row of zeros, or the status of a failing allocation; only a failing
 *         resize of Ainv itself changes it
 * @see kmath_nmmatrix_LU, kmath_nmmatrix_pseudoInverse
 */
KMATH_API kmath_status kmath_nmmatrix_inverse(const kmath_nmmatrix *A, kmath_nmmatrix *Ainv);

/**
 * det A, the product of the pivots; tiny ones are replaced by 1e-12.
 *
 * A singular A is no failure. A row of zeros gives exactly 0.0, and so does a 1 × 1 matrix of 0.0,
 * whose determinant is its element whatever that is.
 *
 * @param[in]  A    n × n
 * @param[out] det  the determinant, in the unit of A's elements to the power n
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for an A that is not square, or the status of a
 *         failing allocation; *det is unchanged then
 * @see kmath_nmmatrix_LU
 */
KMATH_API kmath_status kmath_nmmatrix_determinant(const kmath_nmmatrix *A, double *det);

/*
 * Singular values, condition and pseudo-inverse.
 *
 * Both decompositions write A = U·W·Vᵀ: the left singular vectors as the columns of U, the right
 * ones as the columns of V, and a square W that holds the singular values on its diagonal and zeros
 * elsewhere. A with fewer rows than columns is decomposed above rows of zeros that make it square.
 * A is copied before anything is written, so an output may be the record of A; the outputs are
 * three distinct records.
 */

/**
 * Singular value decomposition A = U·W·Vᵀ, the values in decreasing order.
 *
 * Squares of lengths are plain sums, so A is best scaled to moderate numbers. Where they overflow,
 * or underflow to the end that the iteration stops converging, it is run again on A scaled exactly
 * by a power of two, lengths and bidiagonal elements up to 1e-70 of the largest element then
 * counting as zero. Three limits remain, for matrices whose first run converges. Columns and rows
 * whose elements are all below about 1e-162 can count as zero. Columns that shrink through rounding
 * noise until their squares lose precision (below about 1e-154, as in a matrix of low rank and
 * order above 12) cost the vectors of zero values their orthogonality, though not A = U·W·Vᵀ. And
 * singular values below about 1e-70 that are not zero can cost U and V their orthogonality, as
 * those around 1e-77 to 1e-83, whose fourth powers underflow in the shift; in an A of low rank,
 * whose columns shrink through rounding noise, elements below about 1e-44 can. Scale A so that its
 * largest element is above about 1e-40, best to about 1.
 *
 * @param[in]  A  m × n
 * @param[out] U  max(m, n) × n, resized
 * @param[out] W  n × n, resized; values non-negative, largest first
 * @param[out] V  n × n, resized
 * @return KMATH_OK; KMATH_ERR_SINGULAR, with the outputs untouched, for an A that is not finite,
 *         that has a singular value too large for a double, or that has a value that does not
 *         converge within 100 sweeps in either run; KMATH_ERR_NO_MEMORY for an A whose allocation
 *         failed; or the status of a failing allocation
 * @see Golub & Reinsch, Numerische Mathematik 14 (1970); Dongarra, Bunch, Moler & Stewart, LINPACK
 *      Users' Guide, ch. 11
 */
KMATH_API kmath_status kmath_nmmatrix_decompose(const kmath_nmmatrix *A, kmath_nmmatrix *U,
                                                kmath_nmmatrix *W, kmath_nmmatrix *V);

/**
 * Singular value decomposition A = U·W·Vᵀ, the values unsorted.
 *
 * The values stand in the order in which the bidiagonal form gives them up. Neither overflow nor
 * underflow disturbs it: any finite A is scaled exactly to moderate numbers first.
 *
 * @param[in]  A  m × n
 * @param[out] U  m × n, resized; of a wide A the columns are not orthonormal, being the upper rows
 *                of orthonormal ones
 * @param[out] W  n × n, resized; values non-negative
 * @param[out] V  n × n, resized
 * @return KMATH_OK; KMATH_ERR_SINGULAR, with V overwritten and U and W untouched, where a value
 *         does not converge within 100 iterations, as for an A that is not finite, or is too large
 *         for a double; KMATH_ERR_NO_MEMORY for an A whose allocation failed; or the status of a
 *         failing allocation
 * @see kmath_nmmatrix_decompose; Golub & Reinsch, Numerische Mathematik 14 (1970); Press et al.,
 *      Numerical Recipes, §2.6
 */
KMATH_API kmath_status kmath_nmmatrix_decomposeNRC(const kmath_nmmatrix *A, kmath_nmmatrix *U,
                                                   kmath_nmmatrix *W, kmath_nmmatrix *V);

/**
 * Condition number, the largest over the smallest singular value.
 *
 * It is 1e28 where the smallest is zero, where all are below 1e-14, and for an empty A. By a method
 * other than 0, infinite or NaN elements of a diagonal A come through as eigenvalues, and the
 * condition number may be infinite or NaN.
 *
 * @param[in]  A          m × n; by a method other than 0 square and symmetric, of which the lower
 *                        triangle is read
 * @param[in]  method     0: singular values as kmath_nmmatrix_decompose gives them; any other:
 *                        magnitudes of the eigenvalues, which is faster
 * @param[out] condition  dimensionless, ≥ 1 or NaN as above; untouched on failure
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS for a rectangular A by a method other than 0;
 *         KMATH_ERR_SINGULAR where the values are not found, as kmath_nmmatrix_decompose or
 *         kmath_nmmatrix_symEigenvalues tells; KMATH_ERR_NO_MEMORY for an A whose allocation
 *         failed; or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_conditionNumber(const kmath_nmmatrix *A, int32_t method,
                                                      double *condition);

/**
 * Regularised pseudo-inverse A⁺ = V·W⁺·Uᵀ.
 *
 * Singular values from t = w_max/√c upwards are inverted, smaller ones damped to w/t². Where t is
 * not at least 1e-9, as for a c above 1e18·w_max², a zero matrix, an empty one, a negative or a NaN
 * c, the result is a copy of A, not its transpose, and no failure is reported.
 *
 * @param[in]  A     m × n
 * @param[in]  c     dimensionless, > 0; √c is the largest ratio w_max/w still inverted exactly
 * @param[out] Ainv  n × max(m, n), or m × n for the copy; resized; may be A
 * @return KMATH_OK; a failure of kmath_nmmatrix_decompose, Ainv untouched; or the status of a
 *         failing allocation
 * @see Golub & Van Loan, Matrix Computations, §5.5
 */
KMATH_API kmath_status kmath_nmmatrix_pseudoInverse(const kmath_nmmatrix *A, double c,
                                                    kmath_nmmatrix *Ainv);

/**
 * x = A⁺·b, the regularised least-squares solution of A·x = b.
 *
 * Where kmath_nmmatrix_pseudoInverse gives a copy of A, that copy is what b is multiplied by. An
 * empty A gives an x without rows.
 *
 * @param[in]  A  m × n
 * @param[in]  b  max(m, n) × r; for a wide A the rows below its own belong to rows of zeros
 * @param[out] x  n × r, resized; may be A
 * @param[in]  c  as for kmath_nmmatrix_pseudoInverse
 * @return KMATH_OK; a failure of kmath_nmmatrix_pseudoInverse; KMATH_ERR_BAD_DIMENSIONS where b has
 *         another number of rows, KMATH_ERR_ALIASED where x is b, KMATH_ERR_NO_MEMORY for a b whose
 *         allocation failed, x untouched in each case; or the status of a failing allocation
 */
KMATH_API kmath_status kmath_nmmatrix_pseudoSolve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                                  kmath_nmmatrix *x, double c);

/* The n-vector: its users count its elements from 0 or from 1, the block has room for both. */

/**
 * An empty vector, without a block.
 *
 * @param[out] vector  taken as raw memory
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nvector_construct(kmath_nvector *vector);

/**
 * Gives back the block.
 *
 * @param[in,out] vector  empty afterwards, as after construct
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_nvector_destruct(kmath_nvector *vector);

/**
 * Gives the vector another length, filled with zeros.
 *
 * The same length is kept with its elements, even a negative one. The new length is stored before
 * it is judged and before its block is asked for: after a failure the vector has that length and no
 * block.
 *
 * @param[in,out] vector  n + 1 doubles afterwards, or no block if n is 0
 * @param[in]     n       ≥ 0
 * @return KMATH_OK, KMATH_ERR_BAD_DIMENSIONS for a negative n that is not already the length, or
 *         the status of a failing allocation
 */
KMATH_API kmath_status kmath_nvector_resize(kmath_nvector *vector, int32_t n);

/**
 * destination = source, all n + 1 doubles of the block.
 *
 * @param[in,out] destination  resized if its length differs; may be source, which changes nothing
 * @param[in]     source       n elements
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY for a source whose allocation failed, with destination
 *         unchanged, or the status of kmath_nvector_resize
 */
KMATH_API kmath_status kmath_nvector_assign(kmath_nvector *destination,
                                            const kmath_nvector *source);

#ifdef __cplusplus
}
#endif

#endif
