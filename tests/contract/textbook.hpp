// Plain loops for the dense routines, each sum and each swap in its promised order. They share no
// code with the library, so equal bits mean equal arithmetic.
#pragma once

#include "support/matrices.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace textbook
{

using support::Matrix;

/// Numbers of very different sizes, both zeros, and now and then something that is not finite.
inline Matrix wild(int rows, int cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<int> kind(0, 99), exponent(-150, 150);
    std::uniform_real_distribution<double> uniform(-1, 1);
    return support::build(rows, cols, [&](int, int) {
        const int k = kind(generator);
        if (k == 0)
            return std::numeric_limits<double>::infinity();
        if (k == 1)
            return std::numeric_limits<double>::quiet_NaN();
        if (k < 20)
            return k < 10 ? 0.0 : -0.0;
        return std::ldexp(uniform(generator), exponent(generator));
    });
}

/// A·B, Aᵀ·B and A·Bᵀ, each sum from 0.0 over increasing k.
inline Matrix product(const Matrix &A, const Matrix &B)
{
    Matrix C(A.rows(), B.cols());
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < B.cols(); ++j) {
            double s = 0.0;
            for (int k = 0; k < B.rows(); ++k)
                s += A(i, k) * B(k, j);
            C(i, j) = s;
        }
    return C;
}

inline Matrix transposedTimes(const Matrix &A, const Matrix &B)
{
    Matrix C(A.cols(), B.cols());
    for (int i = 0; i < A.cols(); ++i)
        for (int j = 0; j < B.cols(); ++j) {
            double s = 0.0;
            for (int k = 0; k < B.rows(); ++k)
                s += A(k, i) * B(k, j);
            C(i, j) = s;
        }
    return C;
}

inline Matrix timesTransposed(const Matrix &A, const Matrix &B)
{
    Matrix C(A.rows(), B.rows());
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < B.rows(); ++j) {
            double s = 0.0;
            for (int k = 0; k < A.cols(); ++k)
                s += A(i, k) * B(j, k);
            C(i, j) = s;
        }
    return C;
}

inline Matrix transposed(const Matrix &A)
{
    Matrix T(A.cols(), A.rows());
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < A.cols(); ++j)
            T(j, i) = A(i, j);
    return T;
}

inline double sumOfSquares(const Matrix &A)
{
    double s = 0.0;
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < A.cols(); ++j)
            s += A(i, j) * A(i, j);
    return s;
}

/// Crout's factors with scaled partial pivoting; false for a matrix that is refused.
inline bool factorise(Matrix &a, std::vector<std::int32_t> &perm, double &parity, bool strict)
{
    const double tiny = 1.0000000000000002e-14;
    const int n = a.rows();
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> scaleOf(size);
    const auto scale = [&](int i) -> double & { return scaleOf[static_cast<std::size_t>(i)]; };
    perm.assign(size, -1);
    parity = 1.0;

    for (int i = 0; i < n; ++i) {
        double big = 0.0;
        for (int j = 0; j < n; ++j)
            if (std::fabs(a(i, j)) > big)
                big = std::fabs(a(i, j));
        if (big == 0.0)
            return false;
        scale(i) = 1.0 / big;
    }
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i)
            for (int k = 0; k < i; ++k)
                a(i, j) -= a(i, k) * a(k, j);
        double big = 0.0;
        int imax = j;
        for (int i = j; i < n; ++i) {
            for (int k = 0; k < j; ++k)
                a(i, j) -= a(i, k) * a(k, j);
            const double d = scale(i) * std::fabs(a(i, j));
            if (d >= big) {
                big = d;
                imax = i;
            }
        }
        if (imax != j) {
            for (int k = 0; k < n; ++k)
                std::swap(a(imax, k), a(j, k));
            parity = -parity;
            scale(imax) = scale(j);
        }
        perm[static_cast<std::size_t>(j)] = imax;
        if (std::fabs(a(j, j)) < tiny) {
            if (strict)
                return false;
            a(j, j) = 1e-12;
        }
        if (j != n - 1) {
            const double reciprocal = 1.0 / a(j, j);
            for (int i = j + 1; i < n; ++i)
                a(i, j) *= reciprocal;
        }
    }
    return true;
}

/// Forward from the first non-zero right-hand side, then backward.
inline void substitute(const Matrix &lu, const std::vector<std::int32_t> &perm, double *b)
{
    const int n = lu.rows();
    int first = -1;
    for (int i = 0; i < n; ++i) {
        const int p = perm[static_cast<std::size_t>(i)];
        double s = b[p];
        b[p] = b[i];
        if (first >= 0) {
            for (int k = first; k < i; ++k)
                s -= lu(i, k) * b[k];
        } else if (s < 0.0 || s > 0.0) {
            first = i;
        }
        b[i] = s;
    }
    for (int i = n - 1; i >= 0; --i) {
        double s = b[i];
        for (int k = i + 1; k < n; ++k)
            s -= lu(i, k) * b[k];
        b[i] = s / lu(i, i);
    }
}

} // namespace textbook
