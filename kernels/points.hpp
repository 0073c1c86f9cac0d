// Arrays of points, three numbers each, under one linear transform. A lane owns a point: the
// coordinates are sorted into one vector per axis, and each sum then runs as for a single point.
#pragma once

#include "kernels/kernels.hpp"
#include "kernels/lanes.hpp"

#include <cstdint>
#include <utility>

namespace
{

using kmath::Affine;

/// As many points as a V has lanes, one vector per axis; a double holds a single point.
template <class V> struct Points {
    V x, y, z;
};

// Coordinates lie in memory as a = x0 y0 z0 x1 …, b and c after it. Pairs of neighbours go to their
// place first: across the halves of a vector every move is dear, within a half it is cheap.

#if defined(__AVX512F__)

// Each axis from a and b first, then completed from c; −1 leaves an element open.
inline Points<Lanes> byAxis(Lanes a, Lanes b, Lanes c)
{
    const Lanes xOfAB = __builtin_shufflevector(a, b, 0, 3, 6, 9, 12, 15, -1, -1);
    const Lanes yOfAB = __builtin_shufflevector(a, b, 1, 4, 7, 10, 13, -1, -1, -1);
    const Lanes zOfAB = __builtin_shufflevector(a, b, 2, 5, 8, 11, 14, -1, -1, -1);
    return {__builtin_shufflevector(xOfAB, c, 0, 1, 2, 3, 4, 5, 10, 13),
            __builtin_shufflevector(yOfAB, c, 0, 1, 2, 3, 4, 8, 11, 14),
            __builtin_shufflevector(zOfAB, c, 0, 1, 2, 3, 4, 9, 12, 15)};
}

inline Points<Lanes> inMemoryOrder(const Points<Lanes> &p)
{
    const Lanes a = __builtin_shufflevector(p.x, p.y, 0, 8, -1, 1, 9, -1, 2, 10);
    const Lanes b = __builtin_shufflevector(p.x, p.y, -1, 3, 11, -1, 4, 12, -1, 5);
    const Lanes c = __builtin_shufflevector(p.x, p.y, 13, -1, 6, 14, -1, 7, 15, -1);
    return {__builtin_shufflevector(a, p.z, 0, 1, 8, 3, 4, 9, 6, 7),
            __builtin_shufflevector(b, p.z, 10, 1, 2, 11, 4, 5, 12, 7),
            __builtin_shufflevector(c, p.z, 0, 13, 2, 3, 14, 5, 6, 15)};
}

#elif defined(__AVX2__)

inline Points<Lanes> byAxis(Lanes a, Lanes b, Lanes c)
{
    const Lanes xy = __builtin_shufflevector(a, b, 0, 1, 6, 7); // x0 y0 x2 y2
    const Lanes zx = __builtin_shufflevector(a, c, 2, 3, 4, 5); // z0 x1 z2 x3
    const Lanes yz = __builtin_shufflevector(b, c, 0, 1, 6, 7); // y1 z1 y3 z3
    return {__builtin_shufflevector(xy, zx, 0, 5, 2, 7),        //
            __builtin_shufflevector(xy, yz, 1, 4, 3, 6),        //
            __builtin_shufflevector(zx, yz, 0, 5, 2, 7)};
}

inline Points<Lanes> inMemoryOrder(const Points<Lanes> &p)
{
    const Lanes xy = __builtin_shufflevector(p.x, p.y, 0, 4, 2, 6);
    const Lanes zx = __builtin_shufflevector(p.z, p.x, 0, 5, 2, 7);
    const Lanes yz = __builtin_shufflevector(p.y, p.z, 1, 5, 3, 7);
    return {__builtin_shufflevector(xy, zx, 0, 1, 4, 5), //
            __builtin_shufflevector(yz, xy, 0, 1, 6, 7), //
            __builtin_shufflevector(zx, yz, 2, 3, 6, 7)};
}

#else

inline Points<Lanes> byAxis(Lanes a, Lanes b, Lanes c)
{
    return {__builtin_shufflevector(a, b, 0, 3), //
            __builtin_shufflevector(a, c, 1, 2), //
            __builtin_shufflevector(b, c, 0, 3)};
}

inline Points<Lanes> inMemoryOrder(const Points<Lanes> &p)
{
    return {__builtin_shufflevector(p.x, p.y, 0, 2), //
            __builtin_shufflevector(p.z, p.x, 0, 3), //
            __builtin_shufflevector(p.y, p.z, 1, 3)};
}

#endif

inline Points<double> byAxis(double x, double y, double z) { return {x, y, z}; }

inline const Points<double> &inMemoryOrder(const Points<double> &p) { return p; }

/// In place of a lane's number in a shuffle: nobody asks for the element.
template <int> constexpr int open = -1;

/// The same numbers as doubles. GCC 12 widens by halves of a vector and joins them again; given one
/// of twice the length, of which nobody asks for the upper half, it has a single instruction.
template <int... lane> inline Lanes widened(FloatLanes value, std::integer_sequence<int, lane...>)
{
    const auto longer = __builtin_shufflevector(value, value, lane..., open<lane>...);
    typedef double Longer __attribute__((vector_size(2 * sizeof(Lanes))));
    const auto doubles = __builtin_convertvector(longer, Longer);
    return __builtin_shufflevector(doubles, doubles, lane...);
}

/// width<V> numbers from memory, as doubles.
template <class V> inline V loadWide(const double *from) { return load<V>(from); }

template <class V> inline V loadWide(const float *from)
{
    if constexpr (width<V> == 1)
        return *from;
    else
        return widened(load<FloatLanes>(from), std::make_integer_sequence<int, width<V>>());
}

/// width<V> doubles to memory, rounded where it holds floats.
template <class V> inline void storeRounded(double *to, V value) { store(to, value); }

template <class V> inline void storeRounded(float *to, V value)
{
    if constexpr (width<V> == 1)
        *to = static_cast<float>(value);
    else
        store(to, __builtin_convertvector(value, FloatLanes));
}

/// Reads width<V> points whole, then writes them.
template <class V, bool translated, class Number>
inline void mapStep(const Affine &X, const Number *from, Number *to)
{
    const auto [x, y, z] =
        byAxis(loadWide<V>(from), loadWide<V>(from + width<V>), loadWide<V>(from + 2 * width<V>));
    const auto &M = X.M;
    Points<V> image = {M[0][0] * x + M[0][1] * y + M[0][2] * z,
                       M[1][0] * x + M[1][1] * y + M[1][2] * z,
                       M[2][0] * x + M[2][1] * y + M[2][2] * z};
    if constexpr (translated)
        image = {image.x + X.t[0], image.y + X.t[1], image.z + X.t[2]};
    const auto [a, b, c] = inMemoryOrder(image);
    storeRounded<V>(to, a);
    storeRounded<V>(to + width<V>, b);
    storeRounded<V>(to + 2 * width<V>, c);
}

/// True when writing a point to the output may change points that are still to be read.
template <class Number>
inline bool runsIntoItsInput(const Number *input, const Number *output, std::int64_t n)
{
    const std::uintptr_t from = reinterpret_cast<std::uintptr_t>(input);
    const std::uintptr_t to = reinterpret_cast<std::uintptr_t>(output);
    return from < to && (to - from) / (3 * sizeof(Number)) < static_cast<std::uint64_t>(n);
}

template <bool translated, class Number>
inline void mapArray(const Affine &X, const Number *input, Number *output, std::int64_t n)
{
    std::int64_t i = 0;
    if (!runsIntoItsInput(input, output, n))
        for (; i + laneCount <= n; i += laneCount)
            mapStep<Lanes, translated>(X, input + 3 * i, output + 3 * i);
    for (; i < n; ++i)
        mapStep<double, translated>(X, input + 3 * i, output + 3 * i);
}

void mapPoints(Affine X, const double *input, double *output, std::int64_t n)
{
    mapArray<true>(X, input, output, n);
}

void mapPointsF(Affine X, const float *input, float *output, std::int64_t n)
{
    mapArray<true>(X, input, output, n);
}

void mapVectors(Affine X, const double *input, double *output, std::int64_t n)
{
    mapArray<false>(X, input, output, n);
}

void mapVectorsF(Affine X, const float *input, float *output, std::int64_t n)
{
    mapArray<false>(X, input, output, n);
}

} // namespace
