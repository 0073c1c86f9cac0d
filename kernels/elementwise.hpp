// Element by element over one run of doubles.
#pragma once

#include "kernels/lanes.hpp"

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

} // namespace
