#include "support/matrices.hpp"

#include "oracle/products.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace support;
using kmath::Block;
using kmath::ConstBlock;
using kmath::ConstStrided;
using kmath::Kernels;
using kmath::Strided;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// The elements of a matrix laid out anew: rows `stride` apart, the first one `offset` doubles into
// the buffer, which is NaN elsewhere. The row table points before the elements by `column`.
class Placed
{
  public:
    Placed(const Matrix &matrix, int rowStride, int firstOffset, int tableColumn = 0)
        : rows(matrix.rows()), cols(matrix.cols()), stride(rowStride),
          offset(firstOffset + tableColumn), column(tableColumn),
          buffer(static_cast<std::size_t>(offset + rows * stride + 16), nan)
    {
        for (int i = 0; i < rows; ++i) {
            starts.push_back(buffer.data() + offset + i * stride - column);
            for (int j = 0; j < cols; ++j)
                starts.back()[column + j] = matrix(i, j);
        }
    }

    operator Block() { return {starts.data(), rows, cols, column}; }
    operator ConstBlock() const { return {starts.data(), rows, cols, column}; }
    operator Strided() { return {buffer.data() + offset, stride, rows, cols}; }
    operator ConstStrided() const { return {buffer.data() + offset, stride, rows, cols}; }

    Matrix elements() const
    {
        return build(rows, cols, [this](int i, int j) {
            return starts[static_cast<std::size_t>(i)][column + j];
        });
    }

    bool isUntouchedOutside() const
    {
        for (std::size_t at = 0; at < buffer.size(); ++at) {
            const int place = static_cast<int>(at) - offset;
            const bool inside =
                place >= 0 && place / stride < rows && place % stride < cols && rows > 0;
            if (!inside && !std::isnan(buffer[at]))
                return false;
        }
        return true;
    }

  private:
    int rows, cols, stride, offset, column;
    std::vector<double> buffer;
    std::vector<double *> starts;
};

// A product of two factors, or of one with itself.
struct Product {
    const char *name;
    void (*run)(const Kernels &, const Block &C, const ConstBlock &A, const ConstBlock &B);
    Matrix (*oracle)(const Matrix &A, const Matrix &B);
    bool transposesA;
    bool transposesB;
    bool ofOne;

    Matrix left(int m, int p) const { return make(m, p, transposesA, 1); }
    Matrix right(int p, int n) const { return make(p, n, transposesB, 2); }

  private:
    static Matrix make(int rows, int cols, bool transposed, std::uint64_t seed)
    {
        return transposed ? randomMatrix(cols, rows, seed) : randomMatrix(rows, cols, seed);
    }
};

void PrintTo(const Product &product, std::ostream *out) { *out << product.name; }

const Product products[] = {
    {"product",
     [](const Kernels &set, const Block &C, const ConstBlock &A, const ConstBlock &B) {
         set.product(C, A, B);
     },
     oracle::product, false, false, false},
    {"Tproduct",
     [](const Kernels &set, const Block &C, const ConstBlock &A, const ConstBlock &B) {
         set.Tproduct(C, A, B);
     },
     oracle::Tproduct, true, false, false},
    {"productT",
     [](const Kernels &set, const Block &C, const ConstBlock &A, const ConstBlock &B) {
         set.productT(C, A, B);
     },
     oracle::productT, false, true, false},
    {"square",
     [](const Kernels &set, const Block &C, const ConstBlock &A, const ConstBlock &) {
         set.square(C, A);
     },
     [](const Matrix &A, const Matrix &) { return oracle::square(A); }, true, false, true},
    {"Tsquare",
     [](const Kernels &set, const Block &C, const ConstBlock &A, const ConstBlock &) {
         set.Tsquare(C, A);
     },
     [](const Matrix &A, const Matrix &) { return oracle::Tsquare(A); }, false, true, true},
};

class ProductKernel : public testing::TestWithParam<Product>
{
  protected:
    // Every instruction set on C (m × n) of factors with p terms an element.
    void expectTextbookBits(const Matrix &A, const Matrix &B) const
    {
        const Matrix expected = GetParam().oracle(A, B);
        for (const Kernels *set : runnableKernels()) {
            Matrix C = build(expected.rows(), expected.cols(), [](int, int) { return nan; });
            GetParam().run(*set, C, A, B);
            EXPECT_TRUE(sameBits(C, expected)) << set->name << ": " << A.rows() << " x " << A.cols()
                                               << " and " << B.rows() << " x " << B.cols();
        }
    }

    void expectTextbookBits(int m, int p, int n) const
    {
        if (!GetParam().ofOne || m == n)
            expectTextbookBits(GetParam().left(m, p), GetParam().right(p, n));
    }
};

INSTANTIATE_TEST_SUITE_P(, ProductKernel, testing::ValuesIn(products),
                         [](const testing::TestParamInfo<Product> &test) {
                             return std::string(test.param.name);
                         });

TEST_P(ProductKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    constexpr int sizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33};
    for (const int m : sizes)
        for (const int p : sizes)
            for (const int n : sizes)
                expectTextbookBits(m, p, n);
}

// Every width of the last columns, of every vector, over few rows and over enough for a panel.
TEST_P(ProductKernel, HasThemForEveryWidth)
{
    for (int n = 1; n <= 50; ++n)
        for (const int m : {1, 2, 3, 6, 15, 16, 23, n})
            expectTextbookBits(m, 11, n);
}

// Sums that are carried on in C from one panel to the next.
TEST_P(ProductKernel, HasThemForSumsLongerThanAPanel)
{
    for (const int p : {127, 128, 129, 255, 256, 257, 1000})
        for (const int m : {1, 3, 7, 20})
            for (const int n : {1, 3, 7, 12, 20, 37})
                expectTextbookBits(m, p, n);
}

TEST_P(ProductKernel, HasThemForSpecialValues)
{
    for (const double special : {nan, infinity, -infinity, -0.0, 5e-324, 1.5e308})
        for (const int n : {2, 7, 21}) {
            Matrix A = GetParam().left(n, 40);
            Matrix B = GetParam().right(40, n);
            A(0, 0) = special;
            A(A.rows() / 2, A.cols() - 1) = -special;
            B(B.rows() - 1, 0) = special;
            B(0, B.cols() / 2) = special;
            expectTextbookBits(A, B);
        }
}

// Terms of all magnitudes: another order of the additions would show in the last bits.
TEST_P(ProductKernel, HasThemWhereTheOrderMatters)
{
    const auto graded = [](Matrix matrix, bool alongRows) {
        return build(matrix.rows(), matrix.cols(), [&](int i, int j) {
            const int k = alongRows ? j : i;
            return std::ldexp(matrix(i, j), (37 * k) % 60 - 30);
        });
    };
    const Matrix A = graded(GetParam().left(19, 300), !GetParam().transposesA);
    const Matrix B = graded(GetParam().right(300, 19), GetParam().transposesB);
    expectTextbookBits(A, B);
}

TEST_P(ProductKernel, DoesNotDependOnPlacement)
{
    for (const auto &[m, p, n] : {std::tuple{3, 20, 9}, {9, 9, 9}, {21, 150, 21}, {2, 5, 35}}) {
        if (GetParam().ofOne && m != n)
            continue;
        const Matrix A = GetParam().left(m, p);
        const Matrix B = GetParam().right(p, n);
        const Matrix expected = GetParam().oracle(A, B);
        for (const Kernels *set : runnableKernels())
            for (int offset = 0; offset < 8; ++offset) {
                const Placed placedA(A, A.cols() + offset, offset, offset % 3);
                const Placed placedB(B, B.cols() + 3, 7 - offset);
                Placed C(Matrix(m, n), n + 5 - offset % 4, 3 * offset % 8, 2 * offset);
                GetParam().run(*set, C, placedA, placedB);
                EXPECT_TRUE(sameBits(C.elements(), expected)) << set->name << ' ' << offset;
                EXPECT_TRUE(C.isUntouchedOutside()) << set->name << ' ' << offset;
            }
    }
}

// The same products on views: those with a stride go through code of their own.
struct StridedProduct {
    const char *name;
    void (*const Kernels::*run)(const Strided &C, const ConstStrided &A, const ConstStrided &B);
    Matrix (*oracle)(const Matrix &A, const Matrix &B);
    bool transposesA;
    bool transposesB;

    Matrix left(int m, int p) const
    {
        return transposesA ? randomMatrix(p, m) : randomMatrix(m, p);
    }
    Matrix right(int p, int n) const
    {
        return transposesB ? randomMatrix(n, p, 2) : randomMatrix(p, n, 2);
    }
};

void PrintTo(const StridedProduct &product, std::ostream *out) { *out << product.name; }

class StridedProductKernel : public testing::TestWithParam<StridedProduct>
{
  protected:
    // Every instruction set, with strides that leave `gap` doubles or more between the rows.
    void expectTextbookBits(const Matrix &A, const Matrix &B, int gap) const
    {
        const Matrix expected = GetParam().oracle(A, B);
        const Placed a(A, A.cols() + gap, gap % 7);
        const Placed b(B, B.cols() + 2 * gap, gap % 5);
        for (const Kernels *set : runnableKernels()) {
            Placed c(Matrix(expected.rows(), expected.cols()), expected.cols() + 1 + gap, gap % 8);
            (set->*GetParam().run)(c, a, b);
            EXPECT_TRUE(sameBits(c.elements(), expected))
                << set->name << ": " << A.rows() << " x " << A.cols() << " and " << B.rows()
                << " x " << B.cols();
            EXPECT_TRUE(c.isUntouchedOutside()) << set->name;
        }
    }

    void expectTextbookBits(int m, int p, int n) const
    {
        expectTextbookBits(GetParam().left(m, p), GetParam().right(p, n), (m + 3 * p + n) % 9);
    }
};

INSTANTIATE_TEST_SUITE_P(
    , StridedProductKernel,
    testing::Values(
        StridedProduct{"stridedProduct", &Kernels::stridedProduct, oracle::product, false, false},
        StridedProduct{"stridedTproduct", &Kernels::stridedTproduct, oracle::Tproduct, true, false},
        StridedProduct{"stridedProductT", &Kernels::stridedProductT, oracle::productT, false,
                       true}),
    [](const testing::TestParamInfo<StridedProduct> &test) {
        return std::string(test.param.name);
    });

TEST_P(StridedProductKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    constexpr int sizes[] = {0, 1, 2, 3, 5, 8, 9, 16, 17, 33};
    for (const int m : sizes)
        for (const int p : sizes)
            for (const int n : sizes)
                expectTextbookBits(m, p, n);
}

TEST_P(StridedProductKernel, HasThemForEveryWidth)
{
    for (int n = 1; n <= 50; ++n)
        for (const int m : {1, 2, 3, 6, 15, 16, n})
            expectTextbookBits(m, 11, n);
}

TEST_P(StridedProductKernel, HasThemForSumsLongerThanAPanel)
{
    for (const int p : {127, 128, 129, 256, 1000})
        for (const int m : {1, 3, 20})
            for (const int n : {1, 7, 20, 37})
                expectTextbookBits(m, p, n);
}

TEST_P(StridedProductKernel, HasThemForSpecialValues)
{
    for (const double special : {nan, infinity, -infinity, -0.0, 5e-324, 1.5e308})
        for (const int n : {2, 7, 21}) {
            Matrix A = GetParam().left(n, 40);
            Matrix B = GetParam().right(40, n);
            A(0, 0) = special;
            A(A.rows() / 2, A.cols() - 1) = -special;
            B(B.rows() - 1, 0) = special;
            expectTextbookBits(A, B, 3);
        }
}

TEST(ProductKernels, AreRunOnEverySetOfThisMachine)
{
    const std::vector<const Kernels *> sets = runnableKernels();
    ASSERT_FALSE(sets.empty());
    EXPECT_EQ(sets.back(), &kmath::kernelsBaseline);
    EXPECT_EQ(sets.front(), &kmath::kernels());
    for (std::size_t i = 1; i < sets.size(); ++i)
        EXPECT_LT(sets[i]->lanes, sets[i - 1]->lanes);
}

} // namespace
