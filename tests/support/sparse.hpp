// Sparse matrices for tests: an owning wrapper, its arrays as vectors, and a dense picture of it.
#pragma once

#include <kmath/snmmatrix.h>

#include "support/matrices.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace support
{

using Elements = std::vector<kmath_snmmatrix_element>;

/// A kmath_snmmatrix that constructs and destructs itself.
class Sparse
{
  public:
    Sparse() { kmath_snmmatrix_construct(&matrix); }
    Sparse(std::int32_t rows, std::int32_t cols, Elements elements) : Sparse()
    {
        set(rows, cols, elements);
    }
    ~Sparse() { kmath_snmmatrix_destruct(&matrix); }
    Sparse(const Sparse &) = delete;
    Sparse &operator=(const Sparse &) = delete;

    kmath_snmmatrix *operator&() { return &matrix; }
    const kmath_snmmatrix *operator&() const { return &matrix; }
    kmath_snmmatrix *operator->() { return &matrix; }
    const kmath_snmmatrix *operator->() const { return &matrix; }

    kmath_status set(std::int32_t rows, std::int32_t cols, Elements &elements)
    {
        return kmath_snmmatrix_setElements(&matrix, rows, cols, elements.data(),
                                           static_cast<std::int32_t>(elements.size()));
    }

    /// The row starts; empty where there are none.
    std::vector<std::int32_t> rowStarts() const
    {
        return read(matrix.rowStart, std::int64_t{matrix.rows} + 1);
    }

    /// Entries in use, 0 without row starts.
    std::int32_t stored() const { return matrix.rowStart ? matrix.rowStart[matrix.rows] : 0; }

    /// Columns and values of the entries in use.
    std::vector<std::int32_t> columns() const { return read(matrix.colIndex, stored()); }
    std::vector<double> values() const { return read(matrix.values, stored()); }

    bool hasNoArrays() const { return !matrix.rowStart && !matrix.colIndex && !matrix.values; }

    /// Constructed or given back: 0 × 0 without room.
    bool isEmpty() const
    {
        return hasNoArrays() && matrix.rows == 0 && matrix.cols == 0 && matrix.nnz == 0;
    }

  private:
    template <class T> static std::vector<T> read(const T *block, std::int64_t count)
    {
        return block ? std::vector<T>(block, block + count) : std::vector<T>{};
    }

    kmath_snmmatrix matrix;
};

} // namespace support
