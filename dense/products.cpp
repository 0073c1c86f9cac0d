// Products of whole matrices: A·B, Aᵀ·B, A·Bᵀ, AᵀA and A·Aᵀ.
//
// Each element is one sum over k upwards from 0.0; the kernels compute several at a time.
#include <kmath/nmmatrix.h>

#include "dense/views.hpp"
#include "kernels/kernels.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

bool lackStorage(const kmath_nmmatrix &A, const kmath_nmmatrix &B)
{
    return hasLostStorage(A) || hasLostStorage(B);
}

} // namespace

kmath_status kmath_nmmatrix_multiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                     kmath_nmmatrix *C)
{
    KMATH_ASSERT_LINE(994, A && B && C);
    if (A->nCols != B->nRows)
        return KMATH_ERR_BAD_DIMENSIONS;
    if (C == A || C == B)
        return KMATH_ERR_ALIASED;
    if (lackStorage(*A, *B))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(C, A->nRows, B->nCols));
    kernels().product(block(*C), block(*A), block(*B));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_Tmultiply(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                      kmath_nmmatrix *C)
{
    KMATH_ASSERT_LINE(942, A && B && C);
    if (A->nRows != B->nRows)
        return KMATH_ERR_BAD_DIMENSIONS;
    if (C == A || C == B)
        return KMATH_ERR_ALIASED;
    if (lackStorage(*A, *B))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(C, A->nCols, B->nCols));
    kernels().Tproduct(block(*C), block(*A), block(*B));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_multiplyT(const kmath_nmmatrix *A, const kmath_nmmatrix *B,
                                      kmath_nmmatrix *C)
{
    KMATH_ASSERT_LINE(842, A && B && C);
    if (A->nCols != B->nCols)
        return KMATH_ERR_BAD_DIMENSIONS;
    if (lackStorage(*A, *B))
        return KMATH_ERR_NO_MEMORY;

    if (C == A || C == B) {
        kmath_nmmatrix product;
        CleanupFrame frame(product);
        TRY(kmath_nmmatrix_multiplyT(A, B, &product));
        return frame.leave(kmath_nmmatrix_assign(C, &product));
    }

    RETURN_IF_FAILED(kmath_nmmatrix_resize(C, A->nRows, B->nRows));
    kernels().productT(block(*C), block(*A), block(*B));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_square(const kmath_nmmatrix *A, kmath_nmmatrix *R)
{
    KMATH_ASSERT_LINE(736, A && R);
    if (A == R)
        return KMATH_ERR_ALIASED;
    if (hasLostStorage(*A))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(R, A->nCols, A->nCols));
    kernels().square(block(*R), block(*A));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_Tsquare(const kmath_nmmatrix *A, kmath_nmmatrix *R)
{
    KMATH_ASSERT_LINE(777, A && R);
    if (A == R)
        return KMATH_ERR_ALIASED;
    if (hasLostStorage(*A))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(R, A->nRows, A->nRows));
    kernels().Tsquare(block(*R), block(*A));
    return KMATH_OK;
}
