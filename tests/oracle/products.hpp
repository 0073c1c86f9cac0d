// The textbook loops of the products: what every kernel must equal bit by bit.
#pragma once

#include "support/matrices.hpp"

namespace oracle
{

inline support::Matrix product(const support::Matrix &A, const support::Matrix &B)
{
    return support::build(A.rows(), B.cols(), [&](int i, int j) {
        double sum = 0.0;
        for (int k = 0; k < B.rows(); ++k)
            sum += A(i, k) * B(k, j);
        return sum;
    });
}

inline support::Matrix Tproduct(const support::Matrix &A, const support::Matrix &B)
{
    return support::build(A.cols(), B.cols(), [&](int i, int j) {
        double sum = 0.0;
        for (int k = 0; k < B.rows(); ++k)
            sum += A(k, i) * B(k, j);
        return sum;
    });
}

inline support::Matrix productT(const support::Matrix &A, const support::Matrix &B)
{
    return support::build(A.rows(), B.rows(), [&](int i, int j) {
        double sum = 0.0;
        for (int k = 0; k < A.cols(); ++k)
            sum += A(i, k) * B(j, k);
        return sum;
    });
}

inline support::Matrix square(const support::Matrix &A) { return Tproduct(A, A); }

inline support::Matrix Tsquare(const support::Matrix &A) { return productT(A, A); }

} // namespace oracle
