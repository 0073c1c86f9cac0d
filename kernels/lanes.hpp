// The widest vector of doubles of the instruction set that this object is compiled for.
//
// Everything here lives in the unnamed namespace: an inline function that the linker could share
// between objects might be the copy made for a set that the machine at hand does not have.
#pragma once

namespace
{

#if defined(__AVX512F__)
constexpr int laneCount = 8;
#elif defined(__AVX2__)
constexpr int laneCount = 4;
#else
constexpr int laneCount = 2;
#endif

typedef double Lanes __attribute__((vector_size(laneCount * sizeof(double))));

/// As many floats.
typedef float FloatLanes __attribute__((vector_size(laneCount * sizeof(float))));

/// Doubles in a V, which is a vector of them or double itself.
template <class V> constexpr int width = static_cast<int>(sizeof(V) / sizeof(double));

template <int n> struct VectorOf {
    typedef double type __attribute__((vector_size(n * sizeof(double))));
};
template <> struct VectorOf<1> {
    typedef double type;
};

/// Half of a V.
template <class V> using Narrower = typename VectorOf<width<V> / 2>::type;

template <class V, class Number> inline V load(const Number *from)
{
    V value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}

template <class V, class Number> inline void store(Number *to, V value)
{
    __builtin_memcpy(to, &value, sizeof value);
}

/// A V of element(0), element(1), …
template <class V, class Element> inline V gather(Element element)
{
    if constexpr (width<V> == 1)
        return element(0);
    else {
        V value = {};
        for (int lane = 0; lane < width<V>; ++lane)
            value[lane] = element(lane);
        return value;
    }
}

} // namespace
