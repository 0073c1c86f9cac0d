// The ten products of views and whole matrices: A·B, Aᵀ·B and A·Bᵀ on strided operands.
//
// Each kind is written once for any mixture of operands; the kernels are those of the whole
// matrices, with a stride in place of the row table.
#include <kmath/sub_block.h>

#include "dense/sub_block.hpp"
#include "kernels/kernels.hpp"
#include "platform/check.hpp"

using namespace kmath;

namespace
{

using Kernel = void (*)(const Strided &C, const ConstStrided &A, const ConstStrided &B);

kmath_status replace(kmath_nmmatrix_subBlock &c, int32_t rows, int32_t cols)
{
    return resize(c, rows, cols);
}

// Deliberate: a matrix of another shape is emptied first, and stays empty if a reversed range asks
// for a negative one.
kmath_status replace(kmath_nmmatrix &c, int32_t rows, int32_t cols)
{
    if (c.nRows != rows || c.nCols != cols)
        RETURN_IF_FAILED(kmath_nmmatrix_destruct(&c));
    return resize(c, rows, cols);
}

template <class A, class B, class C>
kmath_status product(Kernel kernel, const A &a, const B &b, C &c, int32_t rows, int32_t cols)
{
    if (!accepts(c, rows, cols))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(a) || hasLostStorage(b))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(replace(c, rows, cols));
    kernel(strided(c), strided(a), strided(b));
    return KMATH_OK;
}

template <class A, class B, class C> kmath_status multiply(const A &a, const B &b, C &c)
{
    if (a.nCols != b.nRows)
        return KMATH_ERR_BAD_DIMENSIONS;
    return product(kernels().stridedProduct, a, b, c, a.nRows, b.nCols);
}

template <class A, class B, class C> kmath_status Tmultiply(const A &a, const B &b, C &c)
{
    if (a.nRows != b.nRows)
        return KMATH_ERR_BAD_DIMENSIONS;
    return product(kernels().stridedTproduct, a, b, c, a.nCols, b.nCols);
}

template <class A, class B, class C> kmath_status multiplyT(const A &a, const B &b, C &c)
{
    if (a.nCols != b.nCols)
        return KMATH_ERR_BAD_DIMENSIONS;
    return product(kernels().stridedProductT, a, b, c, a.nRows, b.nRows);
}

} // namespace

kmath_status kmath_nmmatrix_multiplyBBM(const kmath_nmmatrix_subBlock *a,
                                        const kmath_nmmatrix_subBlock *b, kmath_nmmatrix *c)
{
    return multiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyBBB(const kmath_nmmatrix_subBlock *a,
                                        const kmath_nmmatrix_subBlock *b,
                                        kmath_nmmatrix_subBlock *c)
{
    return multiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyMBM(const kmath_nmmatrix *a, const kmath_nmmatrix_subBlock *b,
                                        kmath_nmmatrix *c)
{
    return multiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyMMB(const kmath_nmmatrix *a, const kmath_nmmatrix *b,
                                        kmath_nmmatrix_subBlock *c)
{
    return multiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_TmultiplyBBM(const kmath_nmmatrix_subBlock *a,
                                         const kmath_nmmatrix_subBlock *b, kmath_nmmatrix *c)
{
    return Tmultiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_TmultiplyMBM(const kmath_nmmatrix *a, const kmath_nmmatrix_subBlock *b,
                                         kmath_nmmatrix *c)
{
    return Tmultiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_TmultiplyBBB(const kmath_nmmatrix_subBlock *a,
                                         const kmath_nmmatrix_subBlock *b,
                                         kmath_nmmatrix_subBlock *c)
{
    return Tmultiply(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyTBMM(const kmath_nmmatrix_subBlock *a, const kmath_nmmatrix *b,
                                         kmath_nmmatrix *c)
{
    return multiplyT(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyTBBM(const kmath_nmmatrix_subBlock *a,
                                         const kmath_nmmatrix_subBlock *b, kmath_nmmatrix *c)
{
    return multiplyT(*a, *b, *c);
}

kmath_status kmath_nmmatrix_multiplyTBBB(const kmath_nmmatrix_subBlock *a,
                                         const kmath_nmmatrix_subBlock *b,
                                         kmath_nmmatrix_subBlock *c)
{
    return multiplyT(*a, *b, *c);
}
