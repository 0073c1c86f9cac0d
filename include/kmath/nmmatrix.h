/**
 * @file
 * The dense matrix and the n-vector: life cycle, element-wise operations,
 * products, factorisations and singular values.
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

KMATH_API kmath_status kmath_nmmatrix_construct(kmath_nmmatrix *matrix);
KMATH_API kmath_status kmath_nmmatrix_constructRowsCols(kmath_nmmatrix *matrix, int32_t rows,
                                                        int32_t cols);
KMATH_API kmath_status kmath_nmmatrix_constructRowsColsVal(kmath_nmmatrix *matrix, int32_t rows,
                                                           int32_t cols, double value);
KMATH_API kmath_status kmath_nmmatrix_constructMatrix6F(kmath_nmmatrix *matrix,
                                                        const kmath_matrix6F *source);
KMATH_API kmath_status kmath_nmmatrix_constructVect6F(kmath_nmmatrix *matrix,
                                                      const kmath_vect6F *source);
KMATH_API kmath_status kmath_nmmatrix_constructCopy(kmath_nmmatrix *matrix,
                                                    const kmath_nmmatrix *source);
KMATH_API kmath_status kmath_nmmatrix_destruct(kmath_nmmatrix *matrix);

/* Shape and copy. */

KMATH_API kmath_status kmath_nmmatrix_resize(kmath_nmmatrix *matrix, int32_t rows, int32_t cols);
KMATH_API kmath_status kmath_nmmatrix_resize_noClear(kmath_nmmatrix *matrix, int32_t rows,
                                                     int32_t cols);
KMATH_API kmath_status kmath_nmmatrix_assign(kmath_nmmatrix *destination,
                                             const kmath_nmmatrix *source);
KMATH_API kmath_status kmath_nmmatrix_transpose(const kmath_nmmatrix *source,
                                                kmath_nmmatrix *destination);
KMATH_API kmath_status kmath_nmmatrix_compareEqual(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                                   double tolerance, int32_t *equal);

/* Element-wise operations and reductions. */

KMATH_API kmath_status kmath_nmmatrix_set(kmath_nmmatrix *matrix, double value);
KMATH_API kmath_status kmath_nmmatrix_adddiag(kmath_nmmatrix *matrix, double value);
KMATH_API kmath_status kmath_nmmatrix_scale(kmath_nmmatrix *matrix, double factor);
KMATH_API kmath_status kmath_nmmatrix_add(kmath_nmmatrix *matrix, double value);
KMATH_API kmath_status kmath_nmmatrix_addmat(kmath_nmmatrix *a, const kmath_nmmatrix *b);
KMATH_API kmath_status kmath_nmmatrix_submat(kmath_nmmatrix *a, const kmath_nmmatrix *b);
KMATH_API kmath_status kmath_nmmatrix_fnorm2(const kmath_nmmatrix *matrix, double *sum);

/* Products. */

KMATH_API kmath_status kmath_nmmatrix_square(const kmath_nmmatrix *A, kmath_nmmatrix *R);
KMATH_API kmath_status kmath_nmmatrix_Tsquare(const kmath_nmmatrix *A, kmath_nmmatrix *R);
KMATH_API kmath_status kmath_nmmatrix_multiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                               kmath_nmmatrix *C);
KMATH_API kmath_status kmath_nmmatrix_Tmultiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                                kmath_nmmatrix *C);
KMATH_API kmath_status kmath_nmmatrix_multiplyT(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                                kmath_nmmatrix *C);

/* LU factorisation, solving, inverse and determinant. */

KMATH_API kmath_status kmath_nmmatrix_LU(kmath_nmmatrix *a, int32_t **perm, int32_t strict);
KMATH_API kmath_status kmath_nmmatrix_LUbksub(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                              const int32_t *perm, kmath_nmmatrix *x);
KMATH_API kmath_status kmath_nmmatrix_LUbksubOW(const kmath_nmmatrix *a, kmath_nmmatrix *b,
                                                const int32_t *perm);
KMATH_API kmath_status kmath_nmmatrix_solve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                            kmath_nmmatrix *x, int32_t conditionMethod,
                                            double *condition, double maxCondition);
KMATH_API kmath_status kmath_nmmatrix_solve_fast_and_loose(const kmath_nmmatrix *A,
                                                           const kmath_nmmatrix *b,
                                                           kmath_nmmatrix *lu, double *scale,
                                                           int32_t *perm, kmath_nmmatrix *x);
KMATH_API kmath_status kmath_nmmatrix_inverse(const kmath_nmmatrix *A, kmath_nmmatrix *Ainv);
KMATH_API kmath_status kmath_nmmatrix_determinant(const kmath_nmmatrix *A, double *det);

/* Singular values, condition and pseudo-inverse. */

KMATH_API kmath_status kmath_nmmatrix_decompose(const kmath_nmmatrix *A, kmath_nmmatrix *U,
                                                kmath_nmmatrix *W, kmath_nmmatrix *V);
KMATH_API kmath_status kmath_nmmatrix_decomposeNRC(const kmath_nmmatrix *A, kmath_nmmatrix *U,
                                                   kmath_nmmatrix *W, kmath_nmmatrix *V);
KMATH_API kmath_status kmath_nmmatrix_conditionNumber(const kmath_nmmatrix *A, int32_t method,
                                                      double *condition);
KMATH_API kmath_status kmath_nmmatrix_pseudoInverse(const kmath_nmmatrix *A, double c,
                                                    kmath_nmmatrix *Ainv);
KMATH_API kmath_status kmath_nmmatrix_pseudoSolve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                                  kmath_nmmatrix *x, double c);

/* The n-vector. */

KMATH_API kmath_status kmath_nvector_construct(kmath_nvector *vector);
KMATH_API kmath_status kmath_nvector_destruct(kmath_nvector *vector);
KMATH_API kmath_status kmath_nvector_resize(kmath_nvector *vector, int32_t n);
KMATH_API kmath_status kmath_nvector_assign(kmath_nvector *destination,
                                            const kmath_nvector *source);

#ifdef __cplusplus
}
#endif

#endif
