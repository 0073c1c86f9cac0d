// Whole-matrix products. Each element is one sum over k upwards from 0.0.
#pragma once

#include "kernels/kernels.hpp"
#include "kernels/lanes.hpp"

namespace
{ // compiled once per instruction set; Lanes is its widest vector of doubles

using kmath::Block;
using kmath::ConstBlock;

inline double *row(const Block &block, int i) { return block.table[i] + block.column; }
inline const double *row(const ConstBlock &block, int i) { return block.table[i] + block.column; }

template <class V> // Lanes for the body of a row, double for its last few columns
int productColumns(Block C, ConstBlock A, ConstBlock B, int i, int j)
{
    for (; j + width<V> <= C.cols; j += width<V>) {
        V sum = {};
        for (int k = 0; k < B.rows; ++k)
            sum += row(A, i)[k] * load<V>(row(B, k) + j);
        store(row(C, i) + j, sum);
    }
    return j;
}

// C = A·B. A lane owns one element of C, so each sum runs over k upwards from 0.0 at any width.
void product(Block C, ConstBlock A, ConstBlock B)
{
    for (int i = 0; i < C.rows; ++i)
        productColumns<double>(C, A, B, i, productColumns<Lanes>(C, A, B, i, 0));
}

template <class V> int TproductColumns(Block C, ConstBlock A, ConstBlock B, int i, int j)
{
    for (; j + width<V> <= C.cols; j += width<V>) {
        V sum = {};
        for (int k = 0; k < B.rows; ++k)
            sum += row(A, k)[i] * load<V>(row(B, k) + j);
        store(row(C, i) + j, sum);
    }
    return j;
}

// C = Aᵀ·B, likewise.
void Tproduct(Block C, ConstBlock A, ConstBlock B)
{
    for (int i = 0; i < C.rows; ++i)
        TproductColumns<double>(C, A, B, i, TproductColumns<Lanes>(C, A, B, i, 0));
}

// C = A·Bᵀ.
void productT(Block C, ConstBlock A, ConstBlock B)
{
    for (int i = 0; i < C.rows; ++i)
        for (int j = 0; j < C.cols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < A.cols; ++k)
                sum += row(A, i)[k] * row(B, j)[k];
            row(C, i)[j] = sum;
        }
}

// The lower triangle takes the bits of the upper one.
void mirror(Block R)
{
    for (int i = 0; i < R.rows; ++i)
        for (int j = 0; j < i; ++j)
            row(R, i)[j] = row(R, j)[i];
}

// R = AᵀA: each row from its diagonal rightwards.
void square(Block R, ConstBlock A)
{
    for (int i = 0; i < R.rows; ++i)
        TproductColumns<double>(R, A, A, i, TproductColumns<Lanes>(R, A, A, i, i));
    mirror(R);
}

// R = A·Aᵀ, likewise.
void Tsquare(Block R, ConstBlock A)
{
    for (int i = 0; i < R.rows; ++i)
        for (int j = i; j < R.cols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < A.cols; ++k)
                sum += row(A, i)[k] * row(A, j)[k];
            row(R, i)[j] = sum;
        }
    mirror(R);
}

} // namespace
