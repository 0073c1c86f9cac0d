// An operand of a block operation as a test lays it out: a view or a whole matrix, somewhere in a
// block of memory that is watched as a whole. Elements are found by address arithmetic of its own.
#pragma once

#include "contract/textbook.hpp"

#include <kmath/sub_block.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>

namespace textbook
{

struct Size {
    int rows, cols;
    bool operator==(const Size &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Size &s)
{
    return out << s.rows << 'x' << s.cols;
}

/// Whole: all of its parent. Inside: with other elements around. Cropped: inside a parent that has
/// lost columns in place, so that its rows overlap in memory.
enum class Layout { Whole, Inside, Cropped };

class Operand
{
  public:
    /// Of wild numbers. A whole matrix ('M') fills its parent, cropped or not.
    Operand(char kind, Size size, Layout layout, std::uint64_t seed)
    {
        const bool whole = kind == 'M' || layout == Layout::Whole;
        const int rows = whole ? size.rows : (size.rows > 0 ? size.rows : 0) + 4,
                  cols = whole ? size.cols : (size.cols > 0 ? size.cols : 0) + 5;
        const bool cropped = layout == Layout::Cropped;
        hold(wild(rows + cropped, cols + 3 * cropped, seed));
        if (cropped) {
            EXPECT_EQ(kmath_nmmatrix_resize_noClear(&*parent, rows, cols), KMATH_OK);
        }
        if (whole) {
            EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&view, &*parent), KMATH_OK);
        } else {
            see(2, 3, size);
        }
    }

    /// Of the rows and columns from here on, in the parent of another.
    Operand(const Operand &other, int row, int col, Size size)
        : parent(other.parent), stored(other.stored)
    {
        see(row, col, size);
    }

    /// The operands as the functions take them.
    operator kmath_nmmatrix_subBlock *() { return &view; }
    operator kmath_nmmatrix *() { return &*parent; }

    Size size() const { return {view.nRows, view.nCols}; }

    Matrix content() const
    {
        Matrix values(std::max(view.nRows, 0), std::max(view.nCols, 0));
        for (int i = 0; i < view.nRows; ++i)
            for (int j = 0; j < view.nCols; ++j)
                values(i, j) = view.matrix->rows[0][offset(i, j)];
        return values;
    }

    /// Everything in the parent's memory, inside the view and around it.
    std::vector<double> block() const
    {
        return stored == 0 ? std::vector<double>()
                           : std::vector<double>((*parent)->rows[0], (*parent)->rows[0] + stored);
    }

    /// The same after the values have been written to the view, row by row.
    std::vector<double> blockWith(const Matrix &values) const
    {
        std::vector<double> b = block();
        for (int i = 0; i < view.nRows; ++i)
            for (int j = 0; j < view.nCols; ++j)
                b[static_cast<std::size_t>(offset(i, j))] = values(i, j);
        return b;
    }

    std::shared_ptr<Matrix> parent;
    kmath_nmmatrix_subBlock view;

  private:
    void hold(const Matrix &values)
    {
        parent = std::make_shared<Matrix>(values);
        stored = std::ptrdiff_t(values.rows()) * values.cols();
    }

    void see(int row, int col, Size size)
    {
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&view, &*parent, row, row + size.rows - 1, col,
                                                   col + size.cols - 1),
                  KMATH_OK);
    }

    /// From the start of the parent's memory: down to the first row by its pointer, on by the
    /// present number of columns.
    std::ptrdiff_t offset(int i, int j) const
    {
        const kmath_nmmatrix &m = *view.matrix;
        return m.rows[view.firstRow] - m.rows[0] + view.firstCol + std::ptrdiff_t(i) * m.nCols + j;
    }

    std::ptrdiff_t stored = 0;
};

inline bool sameBits(const std::vector<double> &a, const std::vector<double> &b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](double x, double y) { return support::sameBits(x, y); });
}

} // namespace textbook
