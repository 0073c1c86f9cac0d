// Safe arc cosine and normalisation of angles. The eigenvalues of the small dense matrix:
// tridiagonal form, then implicit QL.
#include "platform/math_core.hpp"

#include "kernels/tridiagonal.hpp"

#include <cmath>

using namespace kmath;

namespace
{

bool areFinite(const kxVector<double> &values)
{
    return std::all_of(values.begin(), values.end(), [](double x) { return std::isfinite(x); });
}

} // namespace

radian kmath_acosSafe(double x) { return {std::acos(x < -1.0 ? -1.0 : x > 1.0 ? 1.0 : x)}; }

radian kmath_radian_norm(const radian *angle)
{
    const double remainder = std::fmod(angle->value, twoPi);
    const double norm = remainder < 0.0 ? remainder + twoPi : remainder;
    // A tiny negative remainder rounds up to 2π itself, which belongs to the next turn.
    return {norm < twoPi ? norm : norm - twoPi};
}

kmath_status kxNMMatrix::initResize(int rows, int columns, double fill)
{
    if (rows < 0 || columns < 0)
        return KMATH_ERR_NEGATIVE_SIZE;

    const std::int64_t size = std::int64_t{rows} * columns;
    kmath_status status = elements.resize(size);
    if (!KMATH_IS_FAILURE(status))
        status = table.resize(rows);
    if (KMATH_IS_FAILURE(status)) {
        elements.release();
        table.release();
        nColumns = 0;
        return status;
    }

    nColumns = columns;
    std::fill(elements.begin(), elements.end(), fill);
    for (int i = 0; i < rows; ++i)
        table[i] = elements.begin() + std::int64_t{i} * columns;
    return KMATH_OK;
}

kmath_status kxNMMatrix::setElement(int row, int col, double value)
{
    if (!contains(row, col))
        return KMATH_ERR_BAD_DIMENSIONS;
    table[row][col] = value;
    return KMATH_OK;
}

kmath_status kxNMMatrix::getElement(int row, int col, double &out) const
{
    if (!contains(row, col))
        return KMATH_ERR_BAD_DIMENSIONS;
    out = table[row][col];
    return KMATH_OK;
}

kmath_status kxNMMatrix::eigenvalues(bool vectors, kxVector<double> &re, kxVector<double> &im,
                                     kxNMMatrix &V) const
{
    const int n = rows();
    if (n != columns())
        return KMATH_ERR_BAD_DIMENSIONS;

    if (&V != this) {
        RETURN_IF_FAILED(V.initResize(n, n, 0.0));
        std::copy(elements.begin(), elements.end(), V.elements.begin());
    }
    RETURN_IF_FAILED(re.resize(n));
    RETURN_IF_FAILED(im.resize(n)); // serves as the elements beside the diagonal

    double *const *Z = V.table.begin();
    tridiagonalise(Z, n, re.begin(), im.begin(), vectors);
    if (!implicitQL(re.begin(), im.begin(), n, vectors ? Z : nullptr) || !areFinite(re))
        return KMATH_ERR_SINGULAR;
    transposeInPlace(Z, n);
    std::fill(im.begin(), im.end(), 0.0);
    return KMATH_OK;
}
