// Products of matrices and of views. Each element of C is one sum over k upwards from 0.0, in its
// own lane.
//
// C is computed in tiles of R rows by N vectors, so that R·N sums are in flight while one addition
// waits for the one before. Where a tile's columns of B serve many rows, they are first packed into
// a panel on the stack, one block of k after the other; C carries the sums from block to block.
#pragma once

#include "kernels/kernels.hpp"
#include "kernels/lanes.hpp"
#include "kernels/rows.hpp"

#include <cstdint>

namespace
{ // compiled once per instruction set; Lanes is its widest vector of doubles

using kmath::Block;
using kmath::ConstBlock;
using kmath::ConstStrided;
using kmath::Strided;

inline int smaller(int a, int b) { return a < b ? a : b; }

// A factor as it lies, or read across. From is ConstBlock or ConstStrided.
template <class From> struct Direct {
    const From &matrix;
};
template <class From> struct Transposed {
    const From &matrix;
};

template <class From> inline double element(const Direct<From> &M, int i, int j)
{
    return row(M.matrix, i)[j];
}
template <class From> inline double element(const Transposed<From> &M, int i, int j)
{
    return row(M.matrix, j)[i];
}

// The columns of C that one step computes, from its top row down to `rows`. They are covered by N
// vectors whose starts lie `step` apart: where there are fewer columns than lanes, the vectors
// overlap, and what lies in two of them comes out twice with the same bits. To is Block or Strided.
template <class To> struct Part {
    const To &C;
    int rows;
    int column;
    int cols;
    int step;
};

// The terms k of a block, first to last.
struct Span {
    int first;
    int last; // exclusive
};

// Vector n of row k of the right factor: as it lies, element by element across, or packed.
template <class V, class From, class To>
V load(const Direct<From> &B, const Part<To> &part, Span, int k, int n)
{
    return load<V>(row(B.matrix, k) + part.column + n * part.step);
}

template <class V, class From, class To>
V load(const Transposed<From> &B, const Part<To> &part, Span, int k, int n)
{
    static_assert(width<V> == 1);
    return element(B, k, part.column + n * part.step);
}

constexpr int panelRows = 128; // a panel takes at most half of a 32 KiB cache
struct Panel {
    alignas(Lanes) double elements[panelRows * 2 * laneCount];
};
template <class V, class To> V load(const Panel &panel, const Part<To> &, Span terms, int k, int n)
{
    return load<V>(panel.elements + (2 * (k - terms.first) + n) * width<V>);
}

template <class V, int R, int N, class To, class Left, class Right>
void tile(const Part<To> &part, int i, const Left &A, const Right &B, Span terms)
{
    double *C[R];
    V sum[R][N]; // set one by one: an array cleared at a stroke would stay in memory
    for (int r = 0; r < R; ++r) {
        C[r] = row(part.C, i + r) + part.column;
        for (int n = 0; n < N; ++n)
            sum[r][n] = terms.first > 0 ? load<V>(C[r] + n * part.step) : V{};
    }

    for (int k = terms.first; k < terms.last; ++k)
        for (int n = 0; n < N; ++n) {
            const V b = load<V>(B, part, terms, k, n);
            for (int r = 0; r < R; ++r)
                sum[r][n] += element(A, i + r, k) * b;
        }

    for (int r = 0; r < R; ++r)
        for (int n = 0; n < N; ++n)
            store(C[r] + n * part.step, sum[r][n]);
}

// All rows from i on: R at a time, then the rest at once.
template <class V, int R, int N, class To, class Left, class Right>
void tiles(const Part<To> &part, const Left &A, const Right &B, Span terms, int i = 0)
{
    for (; i + R <= part.rows; i += R)
        tile<V, R, N>(part, i, A, B, terms);
    if constexpr (R > 1)
        if (i < part.rows)
            tiles<V, R - 1, N>(part, A, B, terms, i);
}

template <class V, class From, class To>
void pack(Panel &panel, const Direct<From> &B, const Part<To> &part, Span terms)
{
    double *to = panel.elements;
    for (int k = terms.first; k < terms.last; ++k, to += 2 * width<V>)
        for (int n = 0; n < 2; ++n)
            store(to + n * width<V>, load<V>(B, part, terms, k, n));
}

template <class V, class From, class To>
void pack(Panel &panel, const Transposed<From> &B, const Part<To> &part, Span terms)
{
    for (int n = 0; n < 2; ++n) {
        const double *b[width<V>];
        for (int c = 0; c < width<V>; ++c)
            b[c] = row(B.matrix, part.column + n * part.step + c);
        for (int k = terms.first; k < terms.last; ++k)
            store(panel.elements + (2 * (k - terms.first) + n) * width<V>,
                  gather<V>([=](int c) { return b[c][k]; }));
    }
}

template <class V, class To, class Left, class Right>
void throughPanel(const Part<To> &part, const Left &A, const Right &B, int p)
{
    Panel panel;
    Span terms = {0, 0};
    do {
        terms.first = terms.last;
        terms.last = p - terms.first > panelRows ? terms.first + panelRows : p;
        pack<V>(panel, B, part, terms);
        tiles<V, 4, 2>(part, A, panel, terms);
    } while (terms.last < p);
}

// Few rows are not worth packing for.
template <class V, class To, class Left, class From>
void twoVectors(const Part<To> &part, const Left &A, const Direct<From> &B, int p)
{
    if (part.rows < 16)
        tiles<V, 4, 2>(part, A, B, {0, p});
    else
        throughPanel<V>(part, A, B, p);
}

template <class V, class To, class Left, class From>
void twoVectors(const Part<To> &part, const Left &A, const Transposed<From> &B, int p)
{
    throughPanel<V>(part, A, B, p);
}

// By the widest vectors of which the columns need two.
template <class V, class To, class Left, class Right>
void vectors(Part<To> part, const Left &A, const Right &B, int p)
{
    if constexpr (1 < width<V>)
        if (part.cols <= width<V>)
            return vectors<Narrower<V>>(part, A, B, p);
    part.step = part.cols - width<V>;
    twoVectors<V>(part, A, B, p);
}

// Row by row, up to N inner products at a time.
template <int N, class To, class Left, class Right>
void innerProducts(Part<To> part, const Left &A, const Right &B, int p)
{
    part.step = 1;
    for (; part.cols >= N; part.cols -= N, part.column += N)
        tiles<double, 1, N>(part, A, B, {0, p});
    if constexpr (N > 1)
        if (part.cols > 0)
            innerProducts<N - 1>(part, A, B, p);
}

template <class To, class Left, class From>
void columns(const Part<To> &part, const Left &A, const Direct<From> &B, int p)
{
    vectors<Lanes>(part, A, B, p);
}

template <class To, class Left, class From>
void columns(const Part<To> &part, const Left &A, const Transposed<From> &B, int p)
{
    if (part.rows < 3)
        innerProducts<8>(part, A, B, p);
    else
        vectors<Lanes>(part, A, B, p);
}

// Of a symmetric result only the columns down to the diagonal are wanted, and a little below.
enum class Wanted { all, upper };

template <class To, class Left, class Right>
__attribute__((noinline)) void multiplyByParts(const To &C, const Left &A, const Right &B, int p,
                                               Wanted wanted)
{
    int cols = 0;
    for (int j = 0; j < C.cols; j += cols) {
        cols = smaller(C.cols - j, 2 * laneCount);
        const int rows = wanted == Wanted::upper ? smaller(C.rows, j + cols) : C.rows;
        const Part<To> part = {C, rows, j, cols, 0};
        if (cols == 1)
            tiles<double, 8, 1>(part, A, B, {0, p});
        else
            columns(part, A, B, p);
    }
}

// The textbook loop.
template <class To, class Left, class Right>
inline void multiplyPlainly(const To &C, const Left &A, const Right &B, int p, Wanted wanted)
{
    for (int i = 0; i < C.rows; ++i)
        for (int j = wanted == Wanted::upper ? i : 0; j < C.cols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < p; ++k)
                sum += element(A, i, k) * element(B, k, j);
            row(C, i)[j] = sum;
        }
}

// Tiny products, those without a single term among them, take the textbook loop. Where to stop,
// like the numbers of rows above, is a measurement of benchmarks/products_benchmark.cpp.
template <class To, class Left, class Right>
inline void multiply(const To &C, const Left &A, const Right &B, int p, Wanted wanted = Wanted::all)
{
    if (std::int64_t{C.rows} * C.cols * p <= (wanted == Wanted::upper ? 125 : 27))
        multiplyPlainly(C, A, B, p, wanted);
    else
        multiplyByParts(C, A, B, p, wanted);
}

// C = A·B
template <class To, class From> void product(const To &C, const From &A, const From &B)
{
    multiply(C, Direct<From>{A}, Direct<From>{B}, A.cols);
}

// C = Aᵀ·B
template <class To, class From> void Tproduct(const To &C, const From &A, const From &B)
{
    multiply(C, Transposed<From>{A}, Direct<From>{B}, A.rows);
}

// C = A·Bᵀ
template <class To, class From> void productT(const To &C, const From &A, const From &B)
{
    multiply(C, Direct<From>{A}, Transposed<From>{B}, A.cols);
}

// The lower triangle takes the bits of the upper one.
void mirror(const Block &R)
{
    for (int i = 0; i < R.rows; ++i)
        for (int j = 0; j < i; ++j)
            row(R, i)[j] = row(R, j)[i];
}

// R = AᵀA
void square(const Block &R, const ConstBlock &A)
{
    multiply(R, Transposed<ConstBlock>{A}, Direct<ConstBlock>{A}, A.rows, Wanted::upper);
    mirror(R);
}

// R = A·Aᵀ
void Tsquare(const Block &R, const ConstBlock &A)
{
    multiply(R, Direct<ConstBlock>{A}, Transposed<ConstBlock>{A}, A.cols, Wanted::upper);
    mirror(R);
}

} // namespace
