// LU factorisation and what rests on it: three ways to solve, the inverse and the determinant.
#include <kmath/nmmatrix.h>

#include "dense/lu_factors.hpp"
#include "dense/views.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

kmath_status checkSquare(const kmath_nmmatrix &A)
{
    if (!isSquare(A))
        return KMATH_ERR_BAD_DIMENSIONS;
    return hasLostStorage(A) ? KMATH_ERR_NO_MEMORY : KMATH_OK;
}

// b is a column or a row of n elements. Any other shape lends its first n stored doubles, so it
// must hold as many.
kmath_status checkSystem(const kmath_nmmatrix &A, const kmath_nmmatrix &b)
{
    RETURN_IF_FAILED(checkSquare(A));
    const int32_t n = A.nRows;
    if ((b.nCols == 1 && b.nRows != n) || (b.nRows == 1 && b.nCols != n) ||
        elementCount(b.nRows, b.nCols) < n)
        return KMATH_ERR_BAD_DIMENSIONS;
    return hasLostStorage(b) ? KMATH_ERR_NO_MEMORY : KMATH_OK;
}

// True when each entry names a row, as in every array that a factorisation made.
bool namesRows(const int32_t *perm, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        if (perm[i] < 0 || perm[i] >= n)
            return false;
    return true;
}

kmath_status substituteIn(const kmath_nmmatrix &a, const int32_t *perm, kmath_nmmatrix &x)
{
    RETURN_IF_FAILED(checkSystem(a, x));
    if (!namesRows(perm, a.nRows))
        return KMATH_ERR_BAD_DIMENSIONS;
    substitute(a.rows, a.nRows, perm, flat(x));
    return KMATH_OK;
}

enum TinyPivot { Replace, Refuse };

kmath_status factoriseIn(kmath_nmmatrix &a, int32_t *perm, double &parity, double *scale,
                         TinyPivot tiny)
{
    const bool regular = factorise(a.rows, a.nRows, perm, parity, scale, tiny == Refuse, kernels());
    return regular ? KMATH_OK : KMATH_ERR_SINGULAR;
}

} // namespace

kmath_status kmath_nmmatrix_LU(kmath_nmmatrix *a, int32_t **perm, int32_t strict)
{
    KMATH_ASSERT(a && perm);
    RETURN_IF_FAILED(checkSquare(*a));

    double parity;
    double *scale;
    CleanupFrame<2> frame(scale);
    TRY(frame.allocate(*perm, a->nRows));
    frame.guard(*perm);
    TRY(frame.allocate(scale, a->nRows));
    return frame.leave(factoriseIn(*a, *perm, parity, scale, strict ? Refuse : Replace));
}

kmath_status kmath_nmmatrix_LUbksub(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                    const int32_t *perm, kmath_nmmatrix *x)
{
    if (b)
        RETURN_IF_FAILED(kmath_nmmatrix_assign(x, b));
    // Deliberate: the test of x is inverted and comes after x was written, so that every ordinary
    // call reports this line once and then succeeds.
    KMATH_ASSERT_LINE(440, a && b && perm && !x);
    return substituteIn(*a, perm, *x);
}

kmath_status kmath_nmmatrix_LUbksubOW(const kmath_nmmatrix *a, kmath_nmmatrix *b,
                                      const int32_t *perm)
{
    KMATH_ASSERT_LINE(413, a && b);
    return substituteIn(*a, perm, *b);
}

kmath_status kmath_nmmatrix_solve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                  kmath_nmmatrix *x, int32_t conditionMethod, double *condition,
                                  double maxCondition)
{
    KMATH_ASSERT(A && b && x && condition);
    RETURN_IF_FAILED(checkSystem(*A, *b));

    double parity;
    kmath_nmmatrix lu;
    int32_t *perm;
    double *scale;
    CleanupFrame frame(lu, perm, scale);

    // A NaN on either side refuses the system too. One without unknowns is never ill-conditioned.
    TRY(kmath_nmmatrix_conditionNumber(A, conditionMethod, condition));
    if (!(maxCondition >= *condition) && A->nRows != 0)
        return frame.leave(KMATH_ERR_SINGULAR);

    TRY(kmath_nmmatrix_assign(&lu, A));
    TRY(kmath_nmmatrix_assign(x, b));
    TRY(frame.allocate(perm, lu.nRows));
    TRY(frame.allocate(scale, lu.nRows));
    TRY(factoriseIn(lu, perm, parity, scale, Replace));
    substitute(lu.rows, lu.nRows, perm, flat(*x));
    return frame.leave(KMATH_OK);
}

kmath_status kmath_nmmatrix_solve_fast_and_loose(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                                 kmath_nmmatrix *lu, double *scale, int32_t *perm,
                                                 kmath_nmmatrix *x)
{
    KMATH_ASSERT(A && b && lu && x);
    RETURN_IF_FAILED(checkSystem(*A, *b));
    if (A->nRows != 0 && !lu->rows)
        return KMATH_ERR_BAD_DIMENSIONS;

    // Deliberate: lu takes A's shape by name only. Its storage, which holds as much as the caller
    // says, stays.
    lu->nRows = A->nRows;
    lu->nCols = A->nCols;
    RETURN_IF_FAILED(kmath_nmmatrix_assign(lu, A));
    RETURN_IF_FAILED(kmath_nmmatrix_assign(x, b));

    double parity;
    RETURN_IF_FAILED(factoriseIn(*lu, perm, parity, scale, Refuse));
    substitute(lu->rows, lu->nRows, perm, flat(*x));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_inverse(const kmath_nmmatrix *A, kmath_nmmatrix *Ainv)
{
    KMATH_ASSERT(A && Ainv);
    RETURN_IF_FAILED(checkSquare(*A));

    double parity;
    int32_t *perm;
    double *scale;
    kmath_nmmatrix lu, X;
    CleanupFrame frame(perm, scale, lu, X);
    TRY(frame.allocate(perm, A->nRows));
    TRY(frame.allocate(scale, A->nRows));
    TRY(kmath_nmmatrix_assign(&lu, A));
    TRY(kmath_nmmatrix_resize(&X, A->nRows, A->nCols));

    TRY(factoriseIn(lu, perm, parity, scale, Refuse));
    invertFactors(lu.rows, lu.nRows, perm, X.rows, kernels());
    return frame.leave(kmath_nmmatrix_assign(Ainv, &X));
}

kmath_status kmath_nmmatrix_determinant(const kmath_nmmatrix *A, double *det)
{
    KMATH_ASSERT(A && det);
    RETURN_IF_FAILED(checkSquare(*A));
    if (A->nRows == 1) {
        *det = A->rows[0][0];
        return KMATH_OK;
    }

    int32_t *perm;
    kmath_nmmatrix lu;
    double *scale;
    CleanupFrame frame(perm, lu, scale);
    TRY(frame.allocate(perm, A->nRows));
    TRY(kmath_nmmatrix_assign(&lu, A));
    TRY(frame.allocate(scale, A->nRows));

    if (KMATH_IS_FAILURE(factoriseIn(lu, perm, *det, scale, Replace)))
        *det = 0.0;
    else
        for (int i = 0; i < lu.nRows; ++i)
            *det *= lu.rows[i][i];
    return frame.leave(KMATH_OK);
}
