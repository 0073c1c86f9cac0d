// A sparse matrix that constructs and destructs itself, and its dense twin.
#pragma once

#include "contract/textbook.hpp"

#include <kmath/snmmatrix.h>

#include <gtest/gtest.h>

#include <vector>

namespace textbook
{

using Element = kmath_snmmatrix_element;

class Sparse
{
  public:
    Sparse() { EXPECT_EQ(kmath_snmmatrix_construct(&record), KMATH_OK); }
    Sparse(int rows, int cols, std::vector<Element> elements) : Sparse()
    {
        EXPECT_EQ(kmath_snmmatrix_setElements(&record, rows, cols, elements.data(),
                                              static_cast<int>(elements.size())),
                  KMATH_OK);
    }
    /// Of the elements of a dense matrix that are not zero.
    explicit Sparse(const Matrix &A) : Sparse()
    {
        EXPECT_EQ(kmath_snmmatrix_setMat(&record, &A, 1.0, 0.0), KMATH_OK);
    }
    ~Sparse() { EXPECT_EQ(kmath_snmmatrix_destruct(&record), KMATH_OK); }
    Sparse(const Sparse &) = delete;
    Sparse &operator=(const Sparse &) = delete;
    kmath_snmmatrix *operator&() { return &record; }
    const kmath_snmmatrix *operator&() const { return &record; }
    kmath_snmmatrix *operator->() { return &record; }
    const kmath_snmmatrix *operator->() const { return &record; }

    std::vector<int> starts() const { return {record.rowStart, record.rowStart + record.rows + 1}; }
    std::vector<int> columns() const
    {
        return {record.colIndex, record.colIndex + record.rowStart[record.rows]};
    }
    std::vector<double> values() const
    {
        return {record.values, record.values + record.rowStart[record.rows]};
    }

  private:
    kmath_snmmatrix record;
};

/// S·B, or S·Bᵀ, over the stored entries in their order from 0.0.
inline Matrix sparseProduct(const Sparse &S, const Matrix &B, bool transposed)
{
    Matrix C(S->rows, transposed ? B.rows() : B.cols());
    for (int i = 0; i < C.rows(); ++i)
        for (int j = 0; j < C.cols(); ++j) {
            double s = 0.0;
            for (int p = S->rowStart[i]; p < S->rowStart[i + 1]; ++p)
                s += S->values[p] * (transposed ? B(j, S->colIndex[p]) : B(S->colIndex[p], j));
            C(i, j) = s;
        }
    return C;
}

} // namespace textbook
