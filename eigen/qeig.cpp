// The largest eigenvalues of a dense or sparse symmetric matrix: the restarted Lanczos iteration
// where it has room, the direct method where it has none.
#include <kmath/eigen.h>

#include <kmath/snmmatrix.h>
#include <kmath/sub_block.h>

#include "eigen/lanczos.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <algorithm>
#include <cmath>

using namespace kmath;

namespace
{

struct DenseOperator {
    const kmath_nmmatrix &A;

    std::int32_t order() const { return A.nRows; }
    bool isSquare() const { return A.nRows == A.nCols; }
    bool is(const kmath_nmmatrix &other) const { return &A == &other; }
    kmath_status multiplyT(const kmath_nmmatrix &X, kmath_nmmatrix &AX) const
    {
        return kmath_nmmatrix_multiplyT(&A, &X, &AX);
    }
    kmath_status rowNorm(double &norm) const { return kmath_nmmatrix_oneRowNorm(&A, &norm); }
    kmath_status copyTo(kmath_nmmatrix &dense) const { return kmath_nmmatrix_assign(&dense, &A); }
};

struct SparseOperator {
    const kmath_snmmatrix &S;

    std::int32_t order() const { return S.rows; }
    bool isSquare() const { return S.rows == S.cols; }
    bool is(const kmath_nmmatrix &) const { return false; }
    kmath_status multiplyT(const kmath_nmmatrix &X, kmath_nmmatrix &AX) const
    {
        return kmath_snmmatrix_multiplyTSMM(&S, &X, &AX);
    }
    // Deliberate: the signed sum, 0 where no row has a positive one.
    kmath_status rowNorm(double &norm) const { return kmath_snmmatrix_oneRowNorm(&S, &norm); }
    kmath_status copyTo(kmath_nmmatrix &dense) const
    {
        kmath_nmmatrix identity;
        CleanupFrame frame(identity);
        TRY(kmath_nmmatrix_resize(&identity, S.cols, S.cols));
        TRY(kmath_nmmatrix_adddiag(&identity, 1.0));
        return frame.leave(kmath_snmmatrix_multiplySMM(&S, &identity, &dense));
    }
};

// All pairs, of which the leading ones are copied out.
template <class Operator> kmath_status directEigenpairs(const Operator &A, std::int32_t k,
                                                        kmath_nmmatrix &vectors,
                                                        kmath_nmmatrix &values)
{
    const std::int32_t n = A.order();
    kmath_nmmatrix Z;
    kstd_vectord all;
    kmath_nmmatrix_eigValId *order;
    CleanupFrame frame(Z, all, order);

    TRY(A.copyTo(Z));
    TRY(kmath_nmmatrix_symEigenvalues(&Z, &all, &Z));
    double *lambda = nullptr;
    TRY(kstd_vectord_getBegin(&all, &lambda));
    // A direct method passes over an infinity, or a single NaN, that stands apart on the diagonal.
    if (!std::all_of(lambda, lambda + n, [](double x) { return std::isfinite(x); }))
        return frame.leave(KMATH_ERR_SINGULAR);
    TRY(frame.allocate(order, n));
    for (std::int32_t i = 0; i < n; ++i)
        order[i] = {lambda[i], i};
    sortAscending(order, n);

    TRY(kmath_nmmatrix_resize(&vectors, k, n));
    TRY(kmath_nmmatrix_resize(&values, 1, k));
    for (std::int32_t r = 0; r < k; ++r) {
        const kmath_nmmatrix_eigValId &pair = order[n - 1 - r];
        values.rows[0][r] = pair.eigVal;
        for (std::int32_t i = 0; i < n; ++i)
            vectors.rows[r][i] = Z.rows[i][pair.id];
    }
    return frame.leave(KMATH_OK);
}

template <class Operator> kmath_status solve(const Operator &A, std::int32_t k, std::int32_t p,
                                             kmath_nmmatrix &vectors, kmath_nmmatrix &values,
                                             double tol, double stagTol, std::int32_t maxIter)
{
    const std::int32_t n = A.order();
    if (!A.isSquare() || k < 1 || k > n)
        return KMATH_ERR_FAILED;
    if (A.is(vectors) || A.is(values) || &vectors == &values)
        return KMATH_ERR_ALIASED;
    if (k > n - 2)
        return directEigenpairs(A, k, vectors, values);
    return leadingEigenpairs(A, planLanczos(n, k, p, tol, stagTol, maxIter), vectors, values);
}

} // namespace

kmath_status kmath_nmmatrix_qeig(const kmath_nmmatrix *A, int32_t k, int32_t p,
                                 kmath_nmmatrix *eigenVectors, kmath_nmmatrix *eigenValues,
                                 double tol, double stagTol, int32_t maxIter)
{
    KMATH_ASSERT(A && eigenVectors && eigenValues);
    return solve(DenseOperator{*A}, k, p, *eigenVectors, *eigenValues, tol, stagTol, maxIter);
}

kmath_status kmath_snmmatrix_qeigS(const kmath_snmmatrix *S, int32_t k, int32_t p,
                                   kmath_nmmatrix *eigenVectors, kmath_nmmatrix *eigenValues,
                                   double tol, double stagTol, int32_t maxIter)
{
    KMATH_ASSERT(S && eigenVectors && eigenValues);
    return solve(SparseOperator{*S}, k, p, *eigenVectors, *eigenValues, tol, stagTol, maxIter);
}
