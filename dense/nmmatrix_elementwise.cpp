// The dense matrix, element by element: set, scale, sums, the diagonal, the squared norm.
//
// scale, add, addmat and fnorm2 walk the storage as one run from rows[0]; the others go through the
// row pointers. The two ways differ only on a matrix that resize_noClear has shrunk.
#include <kmath/nmmatrix.h>
#include <kmath/sub_block.h>

#include "dense/views.hpp"
#include "kernels/kernels.hpp"
#include "platform/check.hpp"

#include <algorithm>

using namespace kmath;

kmath_status kmath_nmmatrix_set(kmath_nmmatrix *matrix, double value)
{
    KMATH_ASSERT_LINE(1214, matrix);
    const Block M = block(*matrix);
    for (int i = 0; i < M.rows; ++i)
        std::fill_n(M.table[i], M.cols, value);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_adddiag(kmath_nmmatrix *matrix, double value)
{
    KMATH_ASSERT_LINE(644, matrix);
    const Block M = block(*matrix);
    for (int i = 0; i < std::min(M.rows, M.cols); ++i)
        M.table[i][i] += value;
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_scale(kmath_nmmatrix *matrix, double factor)
{
    KMATH_ASSERT_LINE(1067, matrix);
    kernels().scale(flat(*matrix), flatCount(*matrix), factor);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_add(kmath_nmmatrix *matrix, double value)
{
    KMATH_ASSERT_LINE(1091, matrix);
    kernels().addScalar(flat(*matrix), flatCount(*matrix), value);
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_addmat(kmath_nmmatrix *a, const kmath_nmmatrix *b)
{
    KMATH_ASSERT_LINE(1114, a && b);
    if (!haveSameShape(*a, *b))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (hasLostStorage(*b))
        return KMATH_ERR_NO_MEMORY;
    kernels().add(flat(*a), flat(*b), flatCount(*a));
    return KMATH_OK;
}

kmath_status kmath_nmmatrix_submat(kmath_nmmatrix *a, const kmath_nmmatrix *b)
{
    KMATH_ASSERT_LINE(1145, a && b);
    return kmath_nmmatrix_subtractMat(a, b);
}

kmath_status kmath_nmmatrix_fnorm2(const kmath_nmmatrix *matrix, double *sum)
{
    KMATH_ASSERT_LINE(1044, matrix && sum);
    const double *x = flat(*matrix);
    double squares = 0.0;
    for (std::int64_t i = 0; i < flatCount(*matrix); ++i)
        squares += x[i] * x[i];
    *sum = squares;
    return KMATH_OK;
}
