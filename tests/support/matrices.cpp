#include "support/matrices.hpp"

#include "dense/views.hpp"
#include "support/services.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <ostream>
#include <stdexcept>

namespace support
{

Matrix::Matrix() { kmath_nmmatrix_construct(&matrix); }

Matrix::Matrix(std::int32_t rows, std::int32_t cols)
{
    if (KMATH_IS_FAILURE(kmath_nmmatrix_constructRowsCols(&matrix, rows, cols)))
        throw std::runtime_error("the test could not make its matrix");
}

Matrix::Matrix(std::initializer_list<std::initializer_list<double>> rows)
    : Matrix(static_cast<std::int32_t>(rows.size()),
             rows.size() == 0 ? 0 : static_cast<std::int32_t>(rows.begin()->size()))
{
    std::int32_t i = 0;
    for (const auto &row : rows) {
        std::int32_t j = 0;
        for (const double element : row)
            (*this)(i, j++) = element;
        ++i;
    }
}

Matrix::Matrix(const Matrix &other) : Matrix(other.rows(), other.cols()) { *this = other; }

Matrix &Matrix::operator=(const Matrix &other)
{
    if (KMATH_IS_FAILURE(kmath_nmmatrix_assign(&matrix, &other)))
        throw std::runtime_error("the test could not copy its matrix");
    return *this;
}

Matrix::~Matrix() { kmath_nmmatrix_destruct(&matrix); }

Matrix::operator kmath::Block() { return kmath::block(matrix); }

Matrix::operator kmath::ConstBlock() const { return kmath::block(matrix); }

Matrix build(std::int32_t rows, std::int32_t cols,
             const std::function<double(std::int32_t, std::int32_t)> &element)
{
    Matrix result(rows, cols);
    for (std::int32_t i = 0; i < rows; ++i)
        for (std::int32_t j = 0; j < cols; ++j)
            result(i, j) = element(i, j);
    return result;
}

Matrix identity(std::int32_t n)
{
    return build(n, n, [](std::int32_t i, std::int32_t j) { return i == j ? 1.0 : 0.0; });
}

Matrix diagonal(std::initializer_list<double> elements)
{
    const auto n = static_cast<std::int32_t>(elements.size());
    Matrix result(n, n);
    std::int32_t i = 0;
    for (const double element : elements) {
        result(i, i) = element;
        ++i;
    }
    return result;
}

Matrix randomMatrix(std::int32_t rows, std::int32_t cols, std::mt19937_64 &generator)
{
    return build(rows, cols, [&](std::int32_t, std::int32_t) {
        return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    });
}

Matrix randomMatrix(std::int32_t rows, std::int32_t cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    return randomMatrix(rows, cols, generator);
}

Matrix randomSymmetric(std::int32_t n, std::uint64_t seed)
{
    const Matrix half = randomMatrix(n, n, seed);
    return build(n, n,
                 [&](std::int32_t i, std::int32_t j) { return i <= j ? half(i, j) : half(j, i); });
}

void loseStorage(Matrix &matrix, std::int32_t rows, std::int32_t cols)
{
    kmath_nmmatrix_destruct(&matrix);
    failAllocation(0);
    const kmath_status status = kmath_nmmatrix_resize(&matrix, rows, cols);
    failAllocation(-1);
    if (status != KMATH_ERR_NO_MEMORY)
        throw std::runtime_error("the test's matrix did not ask for memory");
}

bool sameBits(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool sameBits(const Matrix &a, const Matrix &b)
{
    if (a.rows() != b.rows() || a.cols() != b.cols())
        return false;
    for (std::int32_t i = 0; i < a.rows(); ++i)
        for (std::int32_t j = 0; j < a.cols(); ++j)
            if (!sameBits(a(i, j), b(i, j)))
                return false;
    return true;
}

double maxDifference(const Matrix &a, const Matrix &b)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    if (a.rows() != b.rows() || a.cols() != b.cols())
        return infinity;
    double most = 0.0;
    for (std::int32_t i = 0; i < a.rows(); ++i)
        for (std::int32_t j = 0; j < a.cols(); ++j) {
            const double difference = std::fabs(a(i, j) - b(i, j));
            if (!(difference <= most))
                most = std::isnan(difference) ? infinity : difference;
        }
    return most;
}

double oneNorm(const Matrix &A)
{
    double norm = 0.0;
    for (std::int32_t j = 0; j < A.cols(); ++j) {
        double sum = 0.0;
        for (std::int32_t i = 0; i < A.rows(); ++i)
            sum += std::fabs(A(i, j));
        if (!(sum <= norm))
            norm = std::isnan(sum) ? std::numeric_limits<double>::infinity() : sum;
    }
    return norm;
}

std::ostream &operator<<(std::ostream &out, const Matrix &matrix)
{
    out << matrix.rows() << " x " << matrix.cols();
    for (std::int32_t i = 0; i < matrix.rows(); ++i) {
        out << '\n';
        for (std::int32_t j = 0; j < matrix.cols(); ++j)
            out << ' ' << matrix(i, j);
    }
    return out;
}

std::vector<const kmath::Kernels *> runnableKernels()
{
    std::vector<const kmath::Kernels *> tables;
    kmath::forEachRunnable(
        [](const kmath::Kernels &table, void *context) {
            static_cast<std::vector<const kmath::Kernels *> *>(context)->push_back(&table);
        },
        &tables);
    return tables;
}

} // namespace support
