// All eigenvalues and eigenvectors of a dense symmetric matrix: tridiagonal form, then implicit QL.
#include <kmath/eigen.h>

#include "kernels/tridiagonal.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <algorithm>

using namespace kmath;

namespace
{

// Up to this order the work arrays need no heap.
constexpr int32_t smallOrder = 6;

bool isSquare(const kmath_nmmatrix &A) { return A.nRows == A.nCols; }

// Turns the matrix into its eigenvectors, with the eigenvalues in d; e is work space.
kmath_status diagonalise(kmath_nmmatrix &A, double *d, double *e)
{
    tridiagonalise(A.rows, A.nRows, d, e, true);
    if (!implicitQL(d, e, A.nRows, A.rows))
        return KMATH_ERR_SINGULAR;
    transposeInPlace(A.rows, A.nRows);
    return KMATH_OK;
}

kmath_status startOfResized(kstd_vectord &vector, int32_t n, double *&begin)
{
    RETURN_IF_FAILED(kstd_vectord_resize(&vector, static_cast<size_t>(n)));
    return kstd_vectord_getBegin(&vector, &begin);
}

kmath_status smallSymEigenvalues(const kmath_nmmatrix &A, kstd_vectord &values,
                                 kmath_nmmatrix &vectors)
{
    KMATH_ASSERT(isSquare(A));
    KMATH_ASSERT(A.nRows <= smallOrder);

    double *d = nullptr;
    double e[smallOrder];
    RETURN_IF_FAILED(kmath_nmmatrix_assign(&vectors, &A));
    RETURN_IF_FAILED(startOfResized(values, A.nRows, d));
    return diagonalise(vectors, d, e);
}

kmath_status largeSymEigenvalues(const kmath_nmmatrix &A, kstd_vectord &values,
                                 kmath_nmmatrix &vectors)
{
    const int32_t n = A.nRows;
    kmath_nmmatrix d, e;
    CleanupFrame frame(d, e);

    TRY(kmath_nmmatrix_assign(&vectors, &A));
    TRY(kmath_nmmatrix_resize(&d, 1, n));
    TRY(kmath_nmmatrix_resize(&e, 1, n));
    TRY(diagonalise(vectors, d.rows[0], e.rows[0]));

    double *begin = nullptr;
    TRY(startOfResized(values, n, begin));
    std::copy_n(d.rows[0], n, begin);
    return frame.leave(KMATH_OK);
}

} // namespace

kmath_status kmath_nmmatrix_symEigenvalues(const kmath_nmmatrix *A, kstd_vectord *values,
                                           kmath_nmmatrix *vectors)
{
    KMATH_ASSERT(A && values && vectors);
    if (!isSquare(*A))
        return KMATH_ERR_BAD_DIMENSIONS;
    return A->nRows <= smallOrder ? smallSymEigenvalues(*A, *values, *vectors)
                                  : largeSymEigenvalues(*A, *values, *vectors);
}
