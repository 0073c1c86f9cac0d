// Updates of the factorisations: the rotation of two rows and the rank-one subtraction.
#pragma once

#include "kernels/elementwise.hpp"
#include "kernels/products.hpp"

namespace
{

void rotate(double *x, double *y, std::int64_t n, double c, double s)
{
    inSteps(n, [=](std::int64_t i, auto v) {
        using V = decltype(v);
        const V xi = load<V>(x + i);
        const V yi = load<V>(y + i);
        store(x + i, c * xi + s * yi);
        store(y + i, c * yi - s * xi);
    });
}

void rankOneSubtract(Block A, ConstBlock u, const double *v)
{
    for (int i = 0; i < A.rows; ++i)
        subtractScaled(row(A, i), v, A.cols, *row(u, i));
}

} // namespace
