// The condition number, and the regularised pseudo-inverse with its solve, from singular values.
#include <kmath/nmmatrix.h>

#include "dense/svd.hpp"
#include "kernels/tridiagonal.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

bool isEmpty(const kmath_nmmatrix &A) { return A.nRows == 0 || A.nCols == 0; }

// Eigenvalues of a symmetric A as a row, in no particular order.
kmath_status symmetricEigenvalues(const kmath_nmmatrix &A, kmath_nmmatrix &values)
{
    if (!isSquare(A))
        return KMATH_ERR_BAD_DIMENSIONS;

    const int n = A.nCols;
    kmath_nmmatrix copy, offDiagonal;
    CleanupFrame frame(copy, offDiagonal);
    TRY(kmath_nmmatrix_assign(&copy, &A));
    TRY(kmath_nmmatrix_resize(&values, 1, n));
    TRY(kmath_nmmatrix_resize(&offDiagonal, 1, n));

    double *const d = values.rows[0];
    double *const e = offDiagonal.rows[0];
    tridiagonalise(copy.rows, n, d, e, false);
    return frame.leave(implicitQL(d, e, n, nullptr) ? KMATH_OK : KMATH_ERR_SINGULAR);
}

} // namespace

kmath_status kmath_nmmatrix_conditionNumber(const kmath_nmmatrix *A, int32_t method,
                                            double *condition)
{
    constexpr double unbounded = 1e28;
    constexpr double smallestScale = 1e-14;

    KMATH_ASSERT(A && condition);
    if (isEmpty(*A)) {
        *condition = unbounded;
        return KMATH_OK;
    }

    kmath_nmmatrix values;
    CleanupFrame frame(values);
    TRY(method == 0 ? singularValues(*A, values) : symmetricEigenvalues(*A, values));

    const double *const w = values.rows[0];
    double big = std::fabs(w[0]);
    double small = big;
    for (int i = 1; i < values.nCols; ++i) {
        const double magnitude = std::fabs(w[i]);
        if (!(big >= magnitude))
            big = magnitude;
        if (small > magnitude)
            small = magnitude;
    }
    *condition = small > 0.0 && big >= smallestScale ? big / small : unbounded;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_nmmatrix_pseudoInverse(const kmath_nmmatrix *A, double c, kmath_nmmatrix *Ainv)
{
    KMATH_ASSERT(A && Ainv);
    if (isEmpty(*A))
        return kmath_nmmatrix_assign(Ainv, A);

    kmath_nmmatrix U, W, V, VW;
    CleanupFrame frame(U, W, V, VW);

    TRY(kmath_nmmatrix_decompose(A, &U, &W, &V));

    const double t = W.rows[0][0] / std::sqrt(c); // the largest value comes first
    // Deliberate: a vanishing or NaN threshold yields A itself, not its transpose.
    if (!(t >= 1e-9))
        return frame.leave(kmath_nmmatrix_assign(Ainv, A));

    // W⁺ in place: inverted from t upwards, damped towards zero below; both agree at t.
    for (int i = 0; i < W.nRows; ++i) {
        double &w = W.rows[i][i];
        w = t > w ? w / (t * t) : 1.0 / w;
    }

    TRY(kmath_nmmatrix_multiply(&V, &W, &VW));
    return frame.leave(kmath_nmmatrix_multiplyT(&VW, &U, Ainv));
}

kmath_status kmath_nmmatrix_pseudoSolve(const kmath_nmmatrix *A, const kmath_nmmatrix *b,
                                        kmath_nmmatrix *x, double c)
{
    KMATH_ASSERT(A && b && x);

    kmath_nmmatrix P;
    CleanupFrame frame(P);
    if (isEmpty(*A))
        TRY(kmath_nmmatrix_resize(&P, 0, std::max(A->nRows, A->nCols)));
    else
        TRY(kmath_nmmatrix_pseudoInverse(A, c, &P));
    return frame.leave(kmath_nmmatrix_multiply(&P, b, x));
}
