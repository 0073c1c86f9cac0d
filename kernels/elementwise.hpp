// Element by element over one run of doubles, or row by row over views.
#pragma once

#include "kernels/kernels.hpp"
#include "kernels/lanes.hpp"
#include "kernels/rows.hpp"

#include <cstdint>

namespace
{

// Lanes for the body of the run, double for its last few elements.
template <class Step> inline void inSteps(std::int64_t n, Step step)
{
    std::int64_t i = 0;
    for (; i + laneCount <= n; i += laneCount)
        step(i, Lanes{});
    for (; i < n; ++i)
        step(i, double{});
}

void scale(double *x, std::int64_t n, double factor)
{
    inSteps(n, [=](std::int64_t i, auto v) { store(x + i, load<decltype(v)>(x + i) * factor); });
}

void addScalar(double *x, std::int64_t n, double value)
{
    inSteps(n, [=](std::int64_t i, auto v) { store(x + i, load<decltype(v)>(x + i) + value); });
}

void add(double *x, const double *y, std::int64_t n)
{
    inSteps(n, [=](std::int64_t i, auto v) {
        using V = decltype(v);
        store(x + i, load<V>(x + i) + load<V>(y + i));
    });
}

void subtract(double *x, const double *y, std::int64_t n)
{
    inSteps(n, [=](std::int64_t i, auto v) {
        using V = decltype(v);
        store(x + i, load<V>(x + i) - load<V>(y + i));
    });
}

void addScaled(double *x, const double *y, std::int64_t n, double a)
{
    inSteps(n, [=](std::int64_t i, auto v) {
        using V = decltype(v);
        store(x + i, load<V>(x + i) + a * load<V>(y + i));
    });
}

void subtractScaled(double *x, const double *y, std::int64_t n, double a)
{
    inSteps(n, [=](std::int64_t i, auto v) {
        using V = decltype(v);
        store(x + i, load<V>(x + i) - a * load<V>(y + i));
    });
}

// C(i, j) = combine(A(i, j), B(i, j))
template <class Combine> inline void elementByElement(const kmath::Strided &C,
                                                      const kmath::ConstStrided &A,
                                                      const kmath::ConstStrided &B, Combine combine)
{
    for (int i = 0; i < C.rows; ++i) {
        double *const c = row(C, i);
        const double *const a = row(A, i);
        const double *const b = row(B, i);
        inSteps(C.cols, [=](std::int64_t j, auto v) {
            using V = decltype(v);
            store(c + j, combine(load<V>(a + j), load<V>(b + j)));
        });
    }
}

void sum(const kmath::Strided &C, const kmath::ConstStrided &A, const kmath::ConstStrided &B)
{
    elementByElement(C, A, B, [](auto a, auto b) { return a + b; });
}

void difference(const kmath::Strided &C, const kmath::ConstStrided &A, const kmath::ConstStrided &B)
{
    elementByElement(C, A, B, [](auto a, auto b) { return a - b; });
}

void scaledSum(const kmath::Strided &C, double s, const kmath::ConstStrided &A,
               const kmath::ConstStrided &B)
{
    elementByElement(C, A, B, [=](auto a, auto b) { return s * a + b; });
}

void scaled(const kmath::Strided &C, const kmath::ConstStrided &A, double s)
{
    elementByElement(C, A, A, [=](auto a, auto) { return a * s; });
}

} // namespace
