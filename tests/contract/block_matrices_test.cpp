// Diagonals, norms, the largest element, flips and rectangles of whole matrices seen from outside:
// in bits against plain loops through the row pointers, also where a matrix was cropped in place.
#include "contract/textbook_blocks.hpp"
#include "support/services.hpp"

#include <array>
#include <functional>
#include <string>

namespace
{

using support::allocationsOf;
using support::build;
using support::Matrix;
using support::sameBits;
using textbook::Layout;
using textbook::Operand;
using textbook::sameBits;
using textbook::Size;
using textbook::wild;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

const Size shapes[] = {{1, 1}, {3, 3}, {2, 5}, {5, 2},   {6, 2}, {7, 1},   {1, 17},
                       {9, 9}, {0, 3}, {3, 0}, {40, 31}, {0, 0}, {17, 70}, {64, 64}};

/// Runs the call, and each step through the row pointers on a copy of all memory; wants the same.
void compareThroughRows(Operand &a, const std::function<kmath_status()> &call,
                        const std::function<void(int i, int j, double &element)> &step)
{
    std::vector<double> want = a.block();
    const Matrix &m = *a.parent;
    for (int i = 0; i < m.rows(); ++i)
        for (int j = 0; j < m.cols(); ++j)
            step(i, j, want[static_cast<std::size_t>(m->rows[i] - m->rows[0] + j)]);
    EXPECT_EQ(call(), KMATH_OK);
    EXPECT_TRUE(sameBits(a.block(), want)) << m.rows() << 'x' << m.cols();
}

TEST(BlockMatrixRules, SubtractMatWalksTheRowsOfBoth)
{
    for (const Size s : shapes)
        for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
            Operand a('M', s, layout, 1), b('M', s, layout, 2);
            const Matrix &B = *b.parent;
            compareThroughRows(
                a, [&] { return kmath_nmmatrix_subtractMat(a, b); },
                [&](int i, int j, double &x) { x -= B(i, j); });
        }
    for (const Size wrong : {Size{3, 4}, {2, 3}, {1, 12}, {0, 0}}) {
        Matrix a = wild(4, 3, 3);
        const Matrix b = wild(wrong.rows, wrong.cols, 4), was = a;
        EXPECT_EQ(kmath_nmmatrix_subtractMat(&a, &b), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(a, was));
    }
    Matrix a = {{1, 2}, {3, 4}};
    EXPECT_EQ(kmath_nmmatrix_subtractMat(&a, &a), KMATH_OK);
    EXPECT_TRUE(sameBits(a, Matrix(2, 2)));
}

// Diagonals: a is square where they are added; d is a row or a column, read as one run.

struct Diagonal {
    const char *name;
    kmath_status (*call)(kmath_nmmatrix *a, const kmath_nmmatrix *d);
    bool square;
    int (*length)(Size a);
    void (*step)(int i, int j, double &x, const double *d);
};

std::ostream &operator<<(std::ostream &out, const Diagonal &op) { return out << op.name; }

const Diagonal diagonals[] = {
    {"multiplyDiag", kmath_nmmatrix_multiplyDiag, false, [](Size a) { return a.cols; },
     [](int, int j, double &x, const double *d) { x *= d[j]; }},
    {"TmultiplyDiag", kmath_nmmatrix_TmultiplyDiag, false, [](Size a) { return a.rows; },
     [](int i, int, double &x, const double *d) { x *= d[i]; }},
    {"addDiagMat", kmath_nmmatrix_addDiagMat, true, [](Size a) { return a.rows; },
     [](int i, int j, double &x, const double *d) { x = i == j ? x + d[i] : x; }},
    {"subDiagMat", kmath_nmmatrix_subDiagMat, true, [](Size a) { return a.rows; },
     [](int i, int j, double &x, const double *d) { x = i == j ? x - d[i] : x; }},
};

class DiagonalRules : public testing::TestWithParam<Diagonal>
{
};

TEST_P(DiagonalRules, HaveTheBitsOfTheirLoop)
{
    const Diagonal &op = GetParam();
    for (const Size s : shapes) {
        const int n = op.length(s);
        if (n == 0 || (op.square && s.rows != s.cols))
            continue;
        for (const bool column : {false, true})
            for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
                Operand a('M', s, layout, 11), d('M', column ? Size{n, 1} : Size{1, n}, layout, 12);
                const std::vector<double> wasD = d.block();
                compareThroughRows(
                    a, [&] { return op.call(a, d); },
                    [&](int i, int j, double &x) { op.step(i, j, x, (*d.parent)->rows[0]); });
                EXPECT_TRUE(sameBits(d.block(), wasD));
            }
    }
}

TEST_P(DiagonalRules, RefuseADiagonalOfAnotherShape)
{
    const Diagonal &op = GetParam();
    const auto statusOf = [&](Size sizeA, Size sizeD) {
        Matrix a = wild(sizeA.rows, sizeA.cols, 13);
        const Matrix d = wild(sizeD.rows, sizeD.cols, 14), was = a;
        kmath_status status = KMATH_OK;
        EXPECT_EQ(allocationsOf([&] { status = op.call(&a, &d); }), 0);
        if (status != KMATH_OK) {
            EXPECT_TRUE(sameBits(a, was));
        }
        return status;
    };
    for (const Size a : {Size{3, 3}, {2, 3}, {3, 2}}) {
        const int n = op.length(a);
        const bool allowed = !op.square || a.rows == a.cols;
        for (const Size d : {Size{1, n}, {n, 1}})
            EXPECT_EQ(statusOf(a, d), allowed ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
        for (const Size d : {Size{2, 2},
                             {n, n},
                             {1, n + 1},
                             {n - 1, 1},
                             {n + 1, 1},
                             {1, n - 1},
                             {2, n},
                             {n, 2},
                             {0, n},
                             {n, 0},
                             {0, 0},
                             {1, 1}})
            EXPECT_EQ(statusOf(a, d), KMATH_ERR_BAD_DIMENSIONS) << a << d;
    }
    EXPECT_EQ(statusOf({1, 1}, {1, 1}), KMATH_OK);
}

INSTANTIATE_TEST_SUITE_P(All, DiagonalRules, testing::ValuesIn(diagonals),
                         [](const auto &i) { return std::string(i.param.name); });

// Norms.

double norm(int n, const std::function<double(int)> &element)
{
    double s = 0.0;
    for (int k = 0; k < n; ++k)
        s += element(k) * element(k);
    return std::sqrt(s);
}

TEST(BlockMatrixRules, EuclideanNormsHaveTheBitsOfTheirSum)
{
    for (const Size s : shapes)
        for (const Layout layout : {Layout::Whole, Layout::Inside, Layout::Cropped}) {
            Operand whole('M', s, layout, 21), view('B', s, layout, 22);
            const Matrix &m = *whole.parent, v = view.content();
            for (int i = 0; i < s.rows; ++i) {
                double a = nan, b = nan;
                EXPECT_EQ(kmath_nmmatrix_rowNorm(whole, i, &a), KMATH_OK);
                EXPECT_TRUE(sameBits(a, norm(s.cols, [&](int j) { return m(i, j); })));
                EXPECT_EQ(kmath_nmmatrix_rowNormB(view, i, &b), KMATH_OK);
                EXPECT_TRUE(sameBits(b, norm(s.cols, [&](int j) { return v(i, j); })));
            }
            for (int j = 0; j < s.cols; ++j) {
                double a = nan, b = nan;
                EXPECT_EQ(kmath_nmmatrix_columnNorm(whole, j, &a), KMATH_OK);
                EXPECT_TRUE(sameBits(a, norm(s.rows, [&](int i) { return m(i, j); })));
                EXPECT_EQ(kmath_nmmatrix_columnNormB(view, j, &b), KMATH_OK);
                EXPECT_TRUE(sameBits(b, norm(s.rows, [&](int i) { return v(i, j); })));
            }
        }
}

TEST(BlockMatrixRules, OnlyTheColumnOfAViewIsHeldAgainstItsCount)
{
    Matrix m = build(4, 5, [](int i, int j) { return 10 * i + j; });
    kmath_nmmatrix_subBlock v;
    ASSERT_EQ(kmath_nmmatrix_subBlock_setRange(&v, &m, 1, 2, 1, 2), KMATH_OK);
    for (const int bad :
         {-1, 2, 3, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        double out = 7;
        EXPECT_EQ(kmath_nmmatrix_columnNormB(&v, bad, &out), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(sameBits(out, 0.0));
    }
    // The rows below and above the view are the parent's.
    double out = 7;
    EXPECT_EQ(kmath_nmmatrix_rowNormB(&v, 2, &out), KMATH_OK);
    EXPECT_EQ(out, std::sqrt(31.0 * 31 + 32 * 32));
    EXPECT_EQ(kmath_nmmatrix_rowNormB(&v, -1, &out), KMATH_OK);
    EXPECT_EQ(out, std::sqrt(1.0 * 1 + 2 * 2));
    // So are the columns that a matrix has lost in place, and its rows.
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&m, 3, 3), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_columnNorm(&m, 4, &out), KMATH_OK);
    EXPECT_EQ(out, norm(3, [](int i) { return 10.0 * i + 4; }));
    EXPECT_EQ(kmath_nmmatrix_rowNorm(&m, 3, &out), KMATH_OK);
    EXPECT_EQ(out, norm(3, [](int j) { return 30.0 + j; }));
}

TEST(BlockMatrixRules, SquaresAreAddedUpInTheOutputItself)
{
    // An output inside the row is cleared, then read as an element.
    Matrix m = {{3, 4, 5}, {6, 7, 8}};
    EXPECT_EQ(kmath_nmmatrix_rowNorm(&m, 0, &m->rows[0][0]), KMATH_OK);
    EXPECT_EQ(m(0, 0), std::sqrt(41.0));
    m = {{3, 4, 5}, {6, 7, 8}};
    EXPECT_EQ(kmath_nmmatrix_rowNorm(&m, 0, &m->rows[0][2]), KMATH_OK);
    EXPECT_EQ(m(0, 2), std::sqrt(25.0 + 25.0 * 25.0));
    m = {{3, 4, 5}, {6, 7, 8}};
    EXPECT_EQ(kmath_nmmatrix_columnNorm(&m, 1, &m->rows[1][1]), KMATH_OK);
    EXPECT_EQ(m(1, 1), std::sqrt(16.0 + 16.0 * 16.0));
    kmath_nmmatrix_subBlock v;
    m = {{3, 4, 5}, {6, 7, 8}};
    ASSERT_EQ(kmath_nmmatrix_subBlock_setAll(&v, &m), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_rowNormB(&v, 1, &m->rows[1][1]), KMATH_OK);
    EXPECT_EQ(m(1, 1), std::sqrt(36.0 + 36.0 * 36.0 + 64.0));
    m = {{3, 4, 5}, {6, 7, 8}};
    EXPECT_EQ(kmath_nmmatrix_columnNormB(&v, 2, &m->rows[0][2]), KMATH_OK);
    EXPECT_EQ(m(0, 2), 8.0);
}

TEST(BlockMatrixRules, SumsOfMagnitudesAreTakenByRowAndByColumn)
{
    const Matrix known = {{1, -2}, {3, 0}};
    double rows = -1, cols = -1;
    EXPECT_EQ(kmath_nmmatrix_oneRowNorm(&known, &rows), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_oneColNorm(&known, &cols), KMATH_OK);
    EXPECT_EQ(rows, 3.0);
    EXPECT_EQ(cols, 4.0);
    for (const Size s : shapes)
        for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
            Operand a('M', s, layout, 31);
            const Matrix &m = *a.parent;
            double wantRows = 0.0, wantCols = 0.0;
            for (int i = 0; i < s.rows; ++i) {
                double sum = 0.0;
                for (int j = 0; j < s.cols; ++j)
                    sum += std::fabs(m(i, j));
                wantRows = sum > wantRows ? sum : wantRows;
            }
            for (int j = 0; j < s.cols; ++j) {
                double sum = 0.0;
                for (int i = 0; i < s.rows; ++i)
                    sum += std::fabs(m(i, j));
                wantCols = sum > wantCols ? sum : wantCols;
            }
            EXPECT_EQ(kmath_nmmatrix_oneRowNorm(a, &rows), KMATH_OK);
            EXPECT_EQ(kmath_nmmatrix_oneColNorm(a, &cols), KMATH_OK);
            EXPECT_TRUE(sameBits(rows, wantRows)) << s;
            EXPECT_TRUE(sameBits(cols, wantCols)) << s;
        }
}

TEST(BlockMatrixRules, TheLargestElementYieldsToNaNAndNaNToWhatFollows)
{
    const auto largest = [](const Matrix &m) {
        double out = 77;
        EXPECT_EQ(kmath_nmmatrix_max(&m, &out), KMATH_OK);
        return out;
    };
    EXPECT_EQ(largest({{1, 5}, {3, 2}}), 5.0);
    EXPECT_EQ(largest({{-3, -1}, {-2, -4}}), -1.0);
    EXPECT_EQ(largest({{9, nan}, {3, 2}}), 3.0);
    EXPECT_TRUE(std::isnan(largest({{9, 8}, {3, nan}})));
    EXPECT_EQ(largest({{nan, -8}, {-inf, -9}}), -8.0);
    EXPECT_TRUE(std::signbit(largest({{-0.0, 0.0}})));
    EXPECT_FALSE(std::signbit(largest({{0.0, -0.0}})));
    for (const Size s : shapes)
        for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
            if (s.rows * s.cols == 0)
                continue;
            Operand a('M', s, layout, 41);
            const Matrix &m = *a.parent;
            double want = m(0, 0);
            for (int i = 0; i < s.rows; ++i)
                for (int j = 0; j < s.cols; ++j)
                    if (!(want >= m(i, j)))
                        want = m(i, j);
            EXPECT_TRUE(sameBits(largest(m), want)) << s;
        }
    // Of an empty matrix the place of element (0, 0) is read all the same.
    Matrix empty = {{2.385, 3}, {4, 5}, {6, 7}};
    ASSERT_EQ(kmath_nmmatrix_resize(&empty, 3, 0), KMATH_OK);
    empty->inlineData[0] = -4.25;
    double out = 77;
    EXPECT_EQ(kmath_nmmatrix_max(&empty, &out), KMATH_OK);
    EXPECT_EQ(out, -4.25);
}

// Flips and rectangles.

struct Flip {
    kmath_status (*call)(const kmath_nmmatrix *a, kmath_nmmatrix *c);
    bool sideways;
};

TEST(BlockMatrixRules, FlipsMirrorIntoAResultOfAnyShape)
{
    for (const Flip flip : {Flip{kmath_nmmatrix_flipLR, true}, {kmath_nmmatrix_flipUD, false}})
        for (const Size s : shapes) {
            for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
                Operand from('M', s, layout, 51), to('M', s, layout, 52);
                const Matrix &a = *from.parent;
                compareThroughRows(
                    to, [&] { return flip.call(from, to); },
                    [&](int i, int j, double &x) {
                        x = flip.sideways ? a(i, s.cols - 1 - j) : a(s.rows - 1 - i, j);
                    });
                // Onto itself: each element as the one before has left it.
                std::vector<double> want = from.block();
                const auto at = [&](int i, int j) -> double & {
                    return want[static_cast<std::size_t>(a->rows[i] - a->rows[0] + j)];
                };
                for (int i = 0; i < s.rows; ++i)
                    for (int j = 0; j < s.cols; ++j)
                        at(flip.sideways ? i : s.rows - 1 - i, flip.sideways ? s.cols - 1 - j : j) =
                            at(i, j);
                EXPECT_EQ(flip.call(from, from), KMATH_OK);
                EXPECT_TRUE(sameBits(from.block(), want)) << s;
            }
            Matrix fresh;
            const Matrix a = wild(s.rows, s.cols, 53);
            EXPECT_EQ(flip.call(&a, &fresh), KMATH_OK);
            EXPECT_TRUE(sameBits(fresh, build(s.rows, s.cols, [&](int i, int j) {
                                     return flip.sideways ? a(i, s.cols - 1 - j)
                                                          : a(s.rows - 1 - i, j);
                                 })));
        }
    Matrix m = {{1, 2, 3, 4, 5}};
    EXPECT_EQ(kmath_nmmatrix_flipLR(&m, &m), KMATH_OK);
    EXPECT_TRUE(sameBits(m, Matrix{{1, 2, 3, 2, 1}}));
}

TEST(BlockMatrixRules, CopyBlockTakesARectangleThroughTheRowPointers)
{
    for (const Layout layout : {Layout::Whole, Layout::Cropped}) {
        Operand from('M', {20, 19}, layout, 61);
        const Matrix &a = *from.parent;
        for (const auto &[r0, r1, c0, c1] : {std::array{0, 19, 0, 18},
                                             {3, 3, 4, 4},
                                             {2, 9, 1, 17},
                                             {19, 19, 0, 18},
                                             {5, 4, 1, 6},
                                             {5, 7, 9, 8},
                                             {5, 4, 9, 8}})
            for (const Size was : {Size{0, 0}, {1, 1}, {8, 17}, {30, 2}}) {
                Matrix c = wild(was.rows, was.cols, 62);
                EXPECT_EQ(kmath_nmmatrix_copyBlock(&c, from, r0, r1, c0, c1), KMATH_OK);
                EXPECT_TRUE(
                    sameBits(c, build(r1 - r0 + 1, c1 - c0 + 1, [&, r = r0, k = c0](int i, int j) {
                                 return a(r + i, k + j);
                             })));
            }
    }
    // The range is not held against the matrix: these columns and this row were cropped away.
    Matrix m = build(5, 6, [](int i, int j) { return 10 * i + j; }), c;
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&m, 4, 4), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&c, &m, 3, 4, 3, 5), KMATH_OK);
    EXPECT_TRUE(sameBits(c, Matrix{{33, 34, 35}, {43, 44, 45}}));
}

TEST(BlockMatrixRules, ANegativeRectangleIsRefusedAndLeavesTheResult)
{
    const Matrix a = wild(5, 5, 63), was = wild(3, 3, 64);
    Matrix c = was;
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&c, &a, 3, 1, 0, 2), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(kmath_nmmatrix_copyBlock(&c, &a, 0, 2, 4, 0), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_TRUE(sameBits(c, was));
}

TEST(BlockMatrixRules, AResultOfTheRightShapeKeepsItsStorage)
{
    const Matrix a = wild(9, 9, 65);
    for (const auto &call :
         {std::function<kmath_status(kmath_nmmatrix *)>(
              [&](auto *c) { return kmath_nmmatrix_flipLR(&a, c); }),
          {[&](auto *c) { return kmath_nmmatrix_flipUD(&a, c); }},
          {[&](auto *c) { return kmath_nmmatrix_copyBlock(c, &a, 0, 8, 0, 8); }}}) {
        Matrix c(9, 9);
        double *const block = c->rows[0];
        EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(call(&c), KMATH_OK); }), 0);
        EXPECT_EQ(c->rows[0], block);
        support::sweepAllocationFailures([&] {
            Matrix fresh(2, 2);
            return call(&fresh);
        });
    }
}

} // namespace
