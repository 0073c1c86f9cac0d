// Dense matrices for tests: an owning wrapper, builders, and comparison by bits.
#pragma once

#include <kmath/nmmatrix.h>

#include "kernels/kernels.hpp"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <random>
#include <vector>

namespace support
{

/// A kmath_nmmatrix that constructs and destructs itself and can be copied.
class Matrix
{
  public:
    Matrix();
    Matrix(std::int32_t rows, std::int32_t cols);
    Matrix(std::initializer_list<std::initializer_list<double>> rows);
    Matrix(const Matrix &other);
    Matrix &operator=(const Matrix &other);
    ~Matrix();

    kmath_nmmatrix *operator&() { return &matrix; }
    const kmath_nmmatrix *operator&() const { return &matrix; }
    kmath_nmmatrix *operator->() { return &matrix; }
    const kmath_nmmatrix *operator->() const { return &matrix; }

    std::int32_t rows() const { return matrix.nRows; }
    std::int32_t cols() const { return matrix.nCols; }
    double &operator()(std::int32_t i, std::int32_t j) { return matrix.rows[i][j]; }
    double operator()(std::int32_t i, std::int32_t j) const { return matrix.rows[i][j]; }

    operator kmath::Block();
    operator kmath::ConstBlock() const;

  private:
    kmath_nmmatrix matrix;
};

/// Fills by a function of row and column.
Matrix build(std::int32_t rows, std::int32_t cols,
             const std::function<double(std::int32_t, std::int32_t)> &element);

Matrix identity(std::int32_t n);
Matrix diagonal(std::initializer_list<double> elements);

/// Elements uniform in [−1, 1) from the generator.
Matrix randomMatrix(std::int32_t rows, std::int32_t cols, std::mt19937_64 &generator);
Matrix randomMatrix(std::int32_t rows, std::int32_t cols, std::uint64_t seed = 1);
Matrix randomSymmetric(std::int32_t n, std::uint64_t seed = 1);

/// Leaves the matrix as a refused allocation does: rows × cols, more than fit inline, and no
/// storage.
void loseStorage(Matrix &matrix, std::int32_t rows, std::int32_t cols);

/// Equal shape and equal bits in every element; any NaN equals any NaN.
bool sameBits(const Matrix &a, const Matrix &b);
bool sameBits(double a, double b);

/// Largest absolute difference; infinite for different shapes or a NaN.
double maxDifference(const Matrix &a, const Matrix &b);

/// Largest sum of magnitudes over a column; infinite where a NaN is among them.
double oneNorm(const Matrix &A);

std::ostream &operator<<(std::ostream &out, const Matrix &matrix);

/// Tables of kernels that this machine runs, widest first.
std::vector<const kmath::Kernels *> runnableKernels();

} // namespace support
