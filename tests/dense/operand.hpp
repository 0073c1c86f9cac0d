// Operands of the block operations: a whole matrix, or a view somewhere inside a larger one.
#pragma once

#include <kmath/sub_block.h>

#include "support/matrices.hpp"

#include <cstdint>

namespace support
{

/// A view that begins at (firstRow, firstCol); a count of 0 is a reversed range.
inline kmath_nmmatrix_subBlock view(Matrix &parent, int firstRow, int firstCol, int rows, int cols)
{
    return {&parent, firstRow, firstRow + rows - 1, firstCol, firstCol + cols - 1, rows, cols};
}

/// The elements of a view: from its top left element on, the parent's nCols to a row.
inline Matrix elementsOf(const kmath_nmmatrix_subBlock &block)
{
    return build(block.nRows, block.nCols, [&](int i, int j) {
        return (block.matrix->rows[block.firstRow] +
                block.firstCol)[std::int64_t{i} * block.matrix->nCols + j];
    });
}

/// A whole matrix ('M') or a view ('B') that holds the given elements. The parent of a view is
/// larger on every side, by different margins for different seeds.
class Operand
{
  public:
    Operand(char kind, const Matrix &elements, unsigned seed = 1)
        : isView(kind == 'B'), parent(isView ? surround(elements, seed) : elements), before(parent)
    {
        range = view(parent, isView ? above(seed) : 0, isView ? left(seed) : 0, elements.rows(),
                     elements.cols());
    }
    Operand(const Operand &) = delete;
    Operand &operator=(const Operand &) = delete;

    kmath_nmmatrix_subBlock *block() { return &range; }
    kmath_nmmatrix *matrix() { return &parent; }
    Matrix &whole() { return parent; }

    Matrix elements() const { return isView ? elementsOf(range) : parent; }

    /// Makes all elements the value.
    void fill(double value)
    {
        for (int i = range.firstRow; i <= range.lastRow; ++i)
            for (int j = range.firstCol; j <= range.lastCol; ++j)
                parent(i, j) = value;
        before = parent;
    }

    /// Nothing has changed since the operand was made or filled.
    bool isUntouched() const { return sameBits(parent, before); }

    /// Nothing has changed but the elements of the view; nothing to be asked of a whole matrix.
    bool isUntouchedOutside() const
    {
        if (!isView)
            return true;
        for (int i = 0; i < parent.rows(); ++i)
            for (int j = 0; j < parent.cols(); ++j) {
                const bool inside = i >= range.firstRow && i <= range.lastRow &&
                                    j >= range.firstCol && j <= range.lastCol;
                if (!inside && !sameBits(parent(i, j), before(i, j)))
                    return false;
            }
        return true;
    }

  private:
    static int above(unsigned seed) { return static_cast<int>(seed % 3); }
    static int left(unsigned seed) { return static_cast<int>((seed * 7 + 1) % 5); }

    static Matrix surround(const Matrix &elements, unsigned seed)
    {
        const int rows = above(seed) + elements.rows() + static_cast<int>((seed + 1) % 3);
        const int cols = left(seed) + elements.cols() + static_cast<int>((seed * 3 + 2) % 4);
        Matrix parent = randomMatrix(rows, cols, seed + 100);
        for (int i = 0; i < elements.rows(); ++i)
            for (int j = 0; j < elements.cols(); ++j)
                parent(above(seed) + i, left(seed) + j) = elements(i, j);
        return parent;
    }

    bool isView;
    Matrix parent;
    Matrix before;
    kmath_nmmatrix_subBlock range{};
};

} // namespace support
