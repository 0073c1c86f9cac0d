// The products of matrices and of views beside the textbook loops that give the same bits, in one
// process. The counter ours/textbook is the quotient of the processor times of one call.
#include <kmath/nmmatrix.h>
#include <kmath/sub_block.h>

#include "benchmarks/timing.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <random>

namespace
{

/// A matrix of random elements.
struct Matrix : kmath_nmmatrix {
    Matrix(int rowCount, int colCount)
    {
        std::mt19937_64 generator(1);
        std::uniform_real_distribution<double> element(-1.0, 1.0);
        kmath_nmmatrix_constructRowsCols(this, rowCount, colCount);
        for (int i = 0; i < rowCount; ++i)
            for (int j = 0; j < colCount; ++j)
                rows[i][j] = element(generator);
    }
    Matrix(const Matrix &) = delete;
    Matrix &operator=(const Matrix &) = delete;
    ~Matrix() { kmath_nmmatrix_destruct(this); }
};

void product(const Matrix &A, const Matrix &B, Matrix &C)
{
    for (int i = 0; i < C.nRows; ++i)
        for (int j = 0; j < C.nCols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < B.nRows; ++k)
                sum += A.rows[i][k] * B.rows[k][j];
            C.rows[i][j] = sum;
        }
}

void Tproduct(const Matrix &A, const Matrix &B, Matrix &C)
{
    for (int i = 0; i < C.nRows; ++i)
        for (int j = 0; j < C.nCols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < B.nRows; ++k)
                sum += A.rows[k][i] * B.rows[k][j];
            C.rows[i][j] = sum;
        }
}

void productT(const Matrix &A, const Matrix &B, Matrix &C)
{
    for (int i = 0; i < C.nRows; ++i)
        for (int j = 0; j < C.nCols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < B.nCols; ++k)
                sum += A.rows[i][k] * B.rows[j][k];
            C.rows[i][j] = sum;
        }
}

void square(const Matrix &A, const Matrix &, Matrix &R)
{
    for (int i = 0; i < R.nRows; ++i)
        for (int j = i; j < R.nCols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < A.nRows; ++k)
                sum += A.rows[k][i] * A.rows[k][j];
            R.rows[i][j] = R.rows[j][i] = sum;
        }
}

void Tsquare(const Matrix &A, const Matrix &, Matrix &R)
{
    for (int i = 0; i < R.nRows; ++i)
        for (int j = i; j < R.nCols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < A.nCols; ++k)
                sum += A.rows[i][k] * A.rows[j][k];
            R.rows[i][j] = R.rows[j][i] = sum;
        }
}

/// The whole of a matrix as a view; it stays as it is where the view is only read.
kmath_nmmatrix_subBlock view(const Matrix &matrix)
{
    kmath_nmmatrix_subBlock block;
    kmath_nmmatrix_subBlock_setAll(&block, const_cast<Matrix *>(&matrix));
    return block;
}

template <auto multiply> void onViews(const Matrix &A, const Matrix &B, Matrix &C)
{
    const kmath_nmmatrix_subBlock a = view(A);
    const kmath_nmmatrix_subBlock b = view(B);
    kmath_nmmatrix_subBlock c = view(C);
    multiply(&a, &b, &c);
}

/// C (m × n) of sums of p terms.
struct Product {
    const char *name;
    void (*ours)(const Matrix &, const Matrix &, Matrix &);
    void (*textbook)(const Matrix &, const Matrix &, Matrix &);
    bool transposesA;
    bool transposesB;
    bool isSquare;
};

const Product products[] = {
    {"multiply",
     [](const Matrix &A, const Matrix &B, Matrix &C) { kmath_nmmatrix_multiply(&A, &B, &C); },
     product, false, false, false},
    {"Tmultiply",
     [](const Matrix &A, const Matrix &B, Matrix &C) { kmath_nmmatrix_Tmultiply(&A, &B, &C); },
     Tproduct, true, false, false},
    {"multiplyT",
     [](const Matrix &A, const Matrix &B, Matrix &C) { kmath_nmmatrix_multiplyT(&A, &B, &C); },
     productT, false, true, false},
    {"square", [](const Matrix &A, const Matrix &, Matrix &R) { kmath_nmmatrix_square(&A, &R); },
     square, true, false, true},
    {"Tsquare", [](const Matrix &A, const Matrix &, Matrix &R) { kmath_nmmatrix_Tsquare(&A, &R); },
     Tsquare, false, true, true},
    {"multiplyBBB", onViews<kmath_nmmatrix_multiplyBBB>, product, false, false, false},
    {"TmultiplyBBB", onViews<kmath_nmmatrix_TmultiplyBBB>, Tproduct, true, false, false},
    {"multiplyTBBB", onViews<kmath_nmmatrix_multiplyTBBB>, productT, false, true, false},
};

struct Shape {
    int m, p, n;
};

// Geometry's tiny matrices; the normal matrix and the gradient of a fit; squares; matrix by vector.
constexpr Shape shapes[] = {{3, 3, 3},     {4, 4, 4},       {6, 6, 6},       {12, 12, 12},
                            {6, 300, 6},   {1, 300, 6},     {9, 1000, 9},    {1, 1000, 50},
                            {31, 31, 31},  {100, 100, 100}, {300, 300, 300}, {500, 500, 500},
                            {8, 200, 200}, {200, 8, 200},   {200, 200, 1}};

void run(benchmark::State &state, const Product &product, const Shape &shape)
{
    const auto [m, p, n] = shape;
    const Matrix A(product.transposesA ? p : m, product.transposesA ? m : p);
    const Matrix B(product.transposesB ? n : p, product.transposesB ? p : n);
    Matrix C(m, n);

    const double textbook = timeOf([&] {
        product.textbook(A, B, C);
        benchmark::DoNotOptimize(C.rows[0][0]);
    });
    const std::clock_t start = std::clock();
    for (auto _ : state)
        product.ours(A, B, C);
    const double ours = secondsSince(start) / static_cast<double>(state.iterations());

    state.counters["textbook"] = textbook;
    state.counters["ours/textbook"] = ours / textbook;
}

} // namespace

int main(int argc, char **argv)
{
    for (const Product &product : products)
        for (const Shape &shape : shapes) {
            if (product.isSquare && shape.m != shape.n)
                continue;
            char name[64];
            std::snprintf(name, sizeof name, "%s/%dx%dx%d", product.name, shape.m, shape.p,
                          shape.n);
            benchmark::RegisterBenchmark(
                name, [&](benchmark::State &state) { run(state, product, shape); });
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
