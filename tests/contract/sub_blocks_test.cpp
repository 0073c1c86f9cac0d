// Views and the arithmetic on them seen from outside: every operation of the family in bits against
// a plain loop, over views inside, overlapping and cropped parents, with all memory around watched.
#include "contract/textbook_blocks.hpp"
#include "support/services.hpp"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <string>
#include <tuple>

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

using View = kmath_nmmatrix_subBlock;

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min(),
                       most = std::numeric_limits<std::int32_t>::max();

// The record lies as stated: the parent, four indices, two counts.
static_assert(offsetof(View, matrix) == 0 && offsetof(View, firstRow) == sizeof(void *));
static_assert(offsetof(View, lastRow) == offsetof(View, firstRow) + 4);
static_assert(offsetof(View, firstCol) == offsetof(View, firstRow) + 8);
static_assert(offsetof(View, lastCol) == offsetof(View, firstRow) + 12);
static_assert(offsetof(View, nRows) == offsetof(View, firstRow) + 16);
static_assert(offsetof(View, nCols) == offsetof(View, firstRow) + 20);

View garbage() { return {nullptr, 71, 72, 73, 74, 75, 76}; }

void expectView(const View &v, const kmath_nmmatrix *parent, int r0, int r1, int c0, int c1)
{
    EXPECT_EQ(v.matrix, parent);
    EXPECT_EQ(v.firstRow, r0);
    EXPECT_EQ(v.lastRow, r1);
    EXPECT_EQ(v.firstCol, c0);
    EXPECT_EQ(v.lastCol, c1);
    EXPECT_EQ(v.nRows, parent ? r1 - r0 + 1 : 0);
    EXPECT_EQ(v.nCols, parent ? c1 - c0 + 1 : 0);
}

void expectGarbage(const View &v)
{
    const View g = garbage();
    EXPECT_EQ(std::tie(v.matrix, v.firstRow, v.lastRow, v.firstCol, v.lastCol, v.nRows, v.nCols),
              std::tie(g.matrix, g.firstRow, g.lastRow, g.firstCol, g.lastCol, g.nRows, g.nCols));
}

View viewOf(Matrix &m, int r0, int r1, int c0, int c1)
{
    View v = garbage();
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&v, &m, r0, r1, c0, c1), KMATH_OK);
    return v;
}

// Setting up.

TEST(SubBlockRules, ViewsAreSetUpAsStated)
{
    Matrix m(4, 7), none(0, 0), flat(0, 3), thin(3, 0);
    View v = garbage();
    EXPECT_EQ(kmath_nmmatrix_subBlock_init(&v), KMATH_OK);
    expectView(v, nullptr, -1, -1, -1, -1);
    EXPECT_EQ(allocationsOf([&] {
                  EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&v, &m, 1, 3, 2, 2), KMATH_OK);
              }),
              0);
    expectView(v, &m, 1, 3, 2, 2);
    for (int row = 0; row < 4; ++row) {
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&v, &m, row), KMATH_OK);
        expectView(v, &m, row, row, 0, 6);
    }
    for (int col = 0; col < 7; ++col) {
        EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&v, &m, col), KMATH_OK);
        expectView(v, &m, 0, 3, col, col);
    }
    for (kmath_nmmatrix *whole : {&m, &none, &flat, &thin}) {
        v = garbage();
        EXPECT_EQ(kmath_nmmatrix_subBlock_setAll(&v, whole), KMATH_OK);
        expectView(v, whole, 0, whole->nRows - 1, 0, whole->nCols - 1);
    }
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&v, &thin, 2), KMATH_OK);
    expectView(v, &thin, 2, 2, 0, -1);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&v, &flat, 2), KMATH_OK);
    expectView(v, &flat, 0, -1, 2, 2);
}

TEST(SubBlockRules, ReversedRangesAreAcceptedWithTheirCounts)
{
    Matrix m(3, 3);
    expectView(viewOf(m, 2, 1, 0, 2), &m, 2, 1, 0, 2);
    EXPECT_EQ(viewOf(m, 2, 1, 0, 2).nRows, 0);
    EXPECT_EQ(viewOf(m, 2, 0, 2, 0).nRows, -1);
    EXPECT_EQ(viewOf(m, 2, 0, 2, 0).nCols, -1);
}

TEST(SubBlockRules, EachIndexIsHeldAgainstTheMatrixAndRefusalChangesNothing)
{
    Matrix m(3, 5), empty(0, 4), narrow(4, 2);
    const int good[] = {0, 2, 1, 4}, limit[] = {3, 3, 5, 5};
    View v = garbage();
    for (int which = 0; which < 4; ++which)
        for (const int bad : {-1, limit[which], limit[which] + 1, least, most}) {
            int i[] = {good[0], good[1], good[2], good[3]};
            i[which] = bad;
            EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&v, &m, i[0], i[1], i[2], i[3]),
                      KMATH_ERR_BAD_DIMENSIONS);
            expectGarbage(v);
        }
    for (const int bad : {-1, 3, least, most}) {
        EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&v, &m, bad), KMATH_ERR_BAD_DIMENSIONS);
        expectGarbage(v);
    }
    for (const int bad : {-1, 5, least, most}) {
        EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&v, &m, bad), KMATH_ERR_BAD_DIMENSIONS);
        expectGarbage(v);
    }
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRange(&v, &empty, 0, 0, 0, 0), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setRow(&v, &empty, 0), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&v, &narrow, 2), KMATH_ERR_BAD_DIMENSIONS);
    expectGarbage(v);
    EXPECT_EQ(kmath_nmmatrix_subBlock_setCol(&v, &narrow, 1), KMATH_OK);
    expectView(v, &narrow, 0, 3, 1, 1);
}

// The family with three operands, or two: one table for all its tests.

enum class Rule { Product, TransposedFirst, TransposedSecond, Elementwise, Unary, Transpose };

struct Operation {
    const char *name;
    const char *kinds; ///< of a, b and c; '-' for no b
    Rule rule;
    kmath_status (*call)(Operand &a, Operand &b, Operand &c);
    double (*term)(double a, double b) = nullptr;
};

std::ostream &operator<<(std::ostream &out, const Operation &op) { return out << op.name; }

template <auto F> kmath_status three(Operand &a, Operand &b, Operand &c) { return F(a, b, c); }
template <auto F> kmath_status two(Operand &a, Operand &, Operand &c) { return F(a, c); }
template <auto F> kmath_status toFirst(Operand &a, Operand &, Operand &c) { return F(c, a); }
template <auto F> kmath_status scaling(Operand &a, Operand &, Operand &c) { return F(a, 0.3, c); }
template <auto F> kmath_status scaleAdd(Operand &a, Operand &b, Operand &c)
{
    return F(-0.7, a, b, c);
}

double sum(double a, double b) { return a + b; }
double difference(double a, double b) { return a - b; }
double scaledSum(double a, double b) { return -0.7 * a + b; }
double scaled(double a, double) { return a * 0.3; }
double same(double a, double) { return a; }

const Operation family[] = {
    {"multiplyBBM", "BBM", Rule::Product, three<kmath_nmmatrix_multiplyBBM>},
    {"multiplyBBB", "BBB", Rule::Product, three<kmath_nmmatrix_multiplyBBB>},
    {"multiplyMBM", "MBM", Rule::Product, three<kmath_nmmatrix_multiplyMBM>},
    {"multiplyMMB", "MMB", Rule::Product, three<kmath_nmmatrix_multiplyMMB>},
    {"TmultiplyBBM", "BBM", Rule::TransposedFirst, three<kmath_nmmatrix_TmultiplyBBM>},
    {"TmultiplyMBM", "MBM", Rule::TransposedFirst, three<kmath_nmmatrix_TmultiplyMBM>},
    {"TmultiplyBBB", "BBB", Rule::TransposedFirst, three<kmath_nmmatrix_TmultiplyBBB>},
    {"multiplyTBMM", "BMM", Rule::TransposedSecond, three<kmath_nmmatrix_multiplyTBMM>},
    {"multiplyTBBM", "BBM", Rule::TransposedSecond, three<kmath_nmmatrix_multiplyTBBM>},
    {"multiplyTBBB", "BBB", Rule::TransposedSecond, three<kmath_nmmatrix_multiplyTBBB>},
    {"addBBB", "BBB", Rule::Elementwise, three<kmath_nmmatrix_addBBB>, sum},
    {"addBMB", "BMB", Rule::Elementwise, three<kmath_nmmatrix_addBMB>, sum},
    {"subtractBMB", "BMB", Rule::Elementwise, three<kmath_nmmatrix_subtractBMB>, difference},
    {"sApBBBB", "BBB", Rule::Elementwise, scaleAdd<kmath_nmmatrix_sApBBBB>, scaledSum},
    {"scaleBB", "B-B", Rule::Unary, scaling<kmath_nmmatrix_scaleBB>, scaled},
    {"scaleBM", "B-M", Rule::Unary, scaling<kmath_nmmatrix_scaleBM>, scaled},
    {"copyMB", "B-M", Rule::Unary, toFirst<kmath_nmmatrix_copyMB>, same},
    {"copyBM", "M-B", Rule::Unary, toFirst<kmath_nmmatrix_copyBM>, same},
    {"transposeMB", "M-B", Rule::Transpose, two<kmath_nmmatrix_transposeMB>},
    {"transposeBM", "B-M", Rule::Transpose, two<kmath_nmmatrix_transposeBM>},
};

bool isProduct(const Operation &op) { return op.rule <= Rule::TransposedSecond; }

// Only a view has a negative count; its rows are to meet no whole matrix.
bool firstMayBeNegative(const Operation &op)
{
    return op.kinds[0] == 'B' && (isProduct(op) || op.kinds[1] != 'M');
}
bool secondMayBeNegative(const Operation &op) { return isProduct(op) && op.kinds[1] == 'B'; }

class BlockFamily : public testing::TestWithParam<Operation>
{
  protected:
    const Operation &op = GetParam();
    bool hasSecond() const { return op.kinds[1] != '-'; }

    /// Sizes of a, b and c for an m × n result of p terms.
    std::array<Size, 3> sizes(int m, int p, int n) const
    {
        switch (op.rule) {
        case Rule::Product:
            return {{{m, p}, {p, n}, {m, n}}};
        case Rule::TransposedFirst:
            return {{{p, m}, {p, n}, {m, n}}};
        case Rule::TransposedSecond:
            return {{{m, p}, {n, p}, {m, n}}};
        case Rule::Elementwise:
            return {{{m, n}, {m, n}, {m, n}}};
        case Rule::Unary:
            return {{{m, n}, {1, 1}, {m, n}}};
        default:
            return {{{n, m}, {1, 1}, {m, n}}};
        }
    }

    bool accepts(Size a, Size b, Size c) const
    {
        const bool fits = op.kinds[2] == 'M' || c == resultSize(a, b);
        switch (op.rule) {
        case Rule::Product:
            return a.cols == b.rows && fits;
        case Rule::TransposedFirst:
            return a.rows == b.rows && fits;
        case Rule::TransposedSecond:
            return a.cols == b.cols && fits;
        case Rule::Elementwise:
            return a == b && fits;
        default:
            return fits;
        }
    }

    Size resultSize(Size a, Size b) const
    {
        switch (op.rule) {
        case Rule::Product:
            return {a.rows, b.cols};
        case Rule::TransposedFirst:
            return {a.cols, b.cols};
        case Rule::TransposedSecond:
            return {a.rows, b.rows};
        case Rule::Transpose:
            return {a.cols, a.rows};
        default:
            return a;
        }
    }

    Matrix expected(const Matrix &a, const Matrix &b) const
    {
        switch (op.rule) {
        case Rule::Product:
            return textbook::product(a, b);
        case Rule::TransposedFirst:
            return textbook::transposedTimes(a, b);
        case Rule::TransposedSecond:
            return textbook::timesTransposed(a, b);
        case Rule::Transpose:
            return textbook::transposed(a);
        default:
            return build(a.rows(), a.cols(), [&](int i, int j) {
                return op.term(a(i, j), hasSecond() ? b(i, j) : 0.0);
            });
        }
    }

    /// Operand number i of those sizes. What stands for a missing b is never looked at.
    Operand make(int i, Size size, Layout layout, std::uint64_t seed) const
    {
        return {op.kinds[i] == '-' ? 'M' : op.kinds[i], size, layout, seed};
    }

    /// Calls, and looks at every double of all three parents.
    void run(Operand &a, Operand &b, Operand &c)
    {
        const Matrix want = expected(a.content(), b.content());
        const std::vector<double> wantC = c.blockWith(want), wasA = a.block(), wasB = b.block();
        const bool apart = c.parent != a.parent && c.parent != b.parent;
        kmath_status status = KMATH_ERR_FAILED;
        EXPECT_EQ(allocationsOf([&] { status = op.call(a, b, c); }), 0);
        EXPECT_EQ(status, KMATH_OK);
        EXPECT_TRUE(sameBits(c.block(), wantC));
        EXPECT_TRUE(sameBits(c.content(), want));
        if (apart) {
            EXPECT_TRUE(sameBits(a.block(), wasA));
            EXPECT_TRUE(sameBits(b.block(), wasB));
        }
    }
};

class MatrixResults : public BlockFamily
{
};
class ReversedRanges : public BlockFamily
{
};
class InPlace : public BlockFamily
{
};

struct Terms {
    int m, p, n;
};
const Terms shapes[] = {{1, 1, 1}, {2, 3, 4},   {3, 8, 3},   {4, 7, 5},   {5, 9, 2},    {1, 17, 1},
                        {7, 2, 1}, {4, 16, 4},  {5, 17, 9},  {9, 24, 17}, {1, 5, 33},   {33, 3, 1},
                        {6, 6, 6}, {17, 31, 8}, {40, 65, 9}, {66, 1, 70}, {24, 40, 48}, {2, 0, 3},
                        {0, 3, 2}, {3, 2, 0},   {0, 0, 0}};

TEST_P(BlockFamily, HasTheBitsOfThePlainLoopAndTouchesNothingElse)
{
    std::uint64_t seed = 1;
    const Layout all[] = {Layout::Whole, Layout::Inside, Layout::Cropped};
    for (const Terms &t : shapes)
        for (int mix = 0; mix < 27; mix += 1 + (t.m * t.n > 200)) {
            const auto size = sizes(t.m, t.p, t.n);
            SCOPED_TRACE(testing::Message() << t.m << ' ' << t.p << ' ' << t.n << " mix " << mix);
            Operand a = make(0, size[0], all[mix % 3], ++seed),
                    b = make(1, size[1], all[mix / 3 % 3], ++seed),
                    c = make(2, size[2], all[mix / 9], ++seed);
            run(a, b, c);
        }
}

TEST_P(BlockFamily, TakesOperandsThatOverlapInOneParent)
{
    std::uint64_t seed = 5000;
    for (const Terms &t : shapes) {
        const auto size = sizes(t.m, t.p, t.n);
        const Operand field('B', {200, 90}, Layout::Inside, ++seed);
        Operand a = op.kinds[0] == 'B' ? Operand(field, 2, 4, size[0])
                                       : Operand('M', size[0], Layout::Cropped, ++seed),
                b = op.kinds[1] == 'B' ? Operand(field, 3, 2, size[1])
                                       : Operand('M', size[1], Layout::Whole, ++seed),
                c = op.kinds[2] == 'B' ? Operand(field, 80, 5, size[2])
                                       : Operand('M', size[2], Layout::Whole, ++seed);
        run(a, b, c);
    }
}

TEST_P(BlockFamily, RefusesEveryWrongShapeBeforeItWrites)
{
    int refused = 0;
    for (int which = 0; which < 6; ++which)
        for (const int step : {-1, 1}) {
            auto size = sizes(3, 4, 5);
            Size &changed = size[static_cast<std::size_t>(which / 2)];
            (which % 2 ? changed.cols : changed.rows) += step;
            Operand a = make(0, size[0], Layout::Inside, 1),
                    b = make(1, size[1], Layout::Inside, 2),
                    c = make(2, size[2], Layout::Inside, 3);
            if (accepts(size[0], size[1], size[2]))
                continue;
            ++refused;
            const std::vector<double> was = c.block();
            kmath_status status = KMATH_OK;
            EXPECT_EQ(allocationsOf([&] { status = op.call(a, b, c); }), 0);
            EXPECT_EQ(status, KMATH_ERR_BAD_DIMENSIONS) << size[0] << size[1] << size[2];
            EXPECT_TRUE(sameBits(c.block(), was));
            EXPECT_EQ(c.parent->rows(), op.kinds[2] == 'M' ? size[2].rows : size[2].rows + 4);
        }
    EXPECT_EQ(refused > 0, hasSecond() || op.kinds[2] == 'B');
}

TEST_P(MatrixResults, TakeTheirShape)
{
    for (const Terms &t : {Terms{3, 4, 5}, {7, 3, 2}, {9, 2, 9}, {0, 3, 4}, {3, 0, 6}})
        for (const Size was : {Size{2, 2}, {0, 0}, {5, 3}, {9, 8}, {20, 20}}) {
            const auto size = sizes(t.m, t.p, t.n);
            Operand a = make(0, size[0], Layout::Inside, 11),
                    b = make(1, size[1], Layout::Inside, 12), c('M', was, Layout::Whole, 13);
            EXPECT_EQ(op.call(a, b, c), KMATH_OK);
            EXPECT_TRUE(sameBits(*c.parent, expected(a.content(), b.content()))) << was << t.m;
        }
    const auto size = sizes(9, 4, 7);
    Operand a = make(0, size[0], Layout::Inside, 14), b = make(1, size[1], Layout::Inside, 15);
    support::sweepAllocationFailures([&] {
        Operand c('M', {0, 0}, Layout::Whole, 16);
        return op.call(a, b, c);
    });
    Operand c('M', {5, 5}, Layout::Whole, 17);
    EXPECT_EQ(allocationsOf([&] { op.call(a, b, c); }), 2);
    double *const kept = (*c.parent)->rows[0];
    EXPECT_EQ(allocationsOf([&] { op.call(a, b, c); }), 0);
    EXPECT_EQ((*c.parent)->rows[0], kept);
}

TEST_P(ReversedRanges, DoNothing)
{
    // One row of a, or column of b, fewer than none.
    const auto size = firstMayBeNegative(op) ? sizes(-1, 2, 3) : sizes(3, 2, -1);
    Operand a = make(0, size[0], Layout::Inside, 21), b = make(1, size[1], Layout::Inside, 22);
    if (op.kinds[2] == 'B') {
        Operand c('B', size[2], Layout::Inside, 23);
        const std::vector<double> was = c.block();
        EXPECT_EQ(op.call(a, b, c), KMATH_OK);
        EXPECT_TRUE(sameBits(c.block(), was));
    } else {
        // The resize refuses; only the products have destructed the result by then.
        Operand c('M', {5, 4}, Layout::Whole, 24);
        const Matrix was = *c.parent;
        EXPECT_EQ(op.call(a, b, c), KMATH_ERR_NEGATIVE_SIZE);
        EXPECT_TRUE(sameBits(*c.parent, isProduct(op) ? Matrix() : was));
    }
}

TEST_P(InPlace, HasTheBitsOfThePlainLoop)
{
    for (const Terms &t : shapes)
        for (const Layout layout : {Layout::Whole, Layout::Inside}) {
            const auto size = sizes(t.m, t.p, t.n);
            Operand a = make(0, size[0], layout, 31), b = make(1, size[1], layout, 32);
            run(a, b, a);
        }
}

std::vector<Operation> only(bool (*wanted)(const Operation &))
{
    std::vector<Operation> some;
    std::copy_if(std::begin(family), std::end(family), std::back_inserter(some), wanted);
    return some;
}

std::string nameOf(const testing::TestParamInfo<Operation> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(All, BlockFamily, testing::ValuesIn(family), nameOf);
INSTANTIATE_TEST_SUITE_P(All, MatrixResults, testing::ValuesIn(only([](const Operation &op) {
                             return op.kinds[2] == 'M';
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(All, ReversedRanges, testing::ValuesIn(only([](const Operation &op) {
                             return firstMayBeNegative(op) || secondMayBeNegative(op);
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(All, InPlace, testing::ValuesIn(only([](const Operation &op) {
                             return op.rule == Rule::Elementwise ||
                                    op.call == scaling<kmath_nmmatrix_scaleBB>;
                         })),
                         nameOf);

TEST(SubBlockRules, AViewFollowsTheStrideThatItsParentHasNow)
{
    Matrix m = build(4, 6, [](int i, int j) { return 10 * i + j; }), c;
    const View v = viewOf(m, 1, 2, 1, 2);
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&m, 4, 4), KMATH_OK);
    ASSERT_EQ(kmath_nmmatrix_copyMB(&c, &v), KMATH_OK);
    EXPECT_TRUE(sameBits(c, Matrix{{11, 12}, {15, 20}}));
}

TEST(SubBlockRules, SumsBeginAtPositiveZeroAndEmptySumsAreZero)
{
    Matrix minus = {{-0.0}}, one = {{1.0}}, c;
    const View a = viewOf(minus, 0, 0, 0, 0), b = viewOf(one, 0, 0, 0, 0);
    for (const auto product :
         {kmath_nmmatrix_multiplyBBM, kmath_nmmatrix_TmultiplyBBM, kmath_nmmatrix_multiplyTBBM}) {
        ASSERT_EQ(product(&a, &b, &c), KMATH_OK);
        EXPECT_TRUE(sameBits(c, Matrix(1, 1)));
    }
    Matrix m = wild(4, 4, 3), full = wild(3, 3, 4);
    const View thin = viewOf(m, 0, 2, 1, 0), flat = viewOf(m, 1, 0, 0, 2);
    ASSERT_EQ(kmath_nmmatrix_multiplyBBM(&thin, &flat, &full), KMATH_OK);
    EXPECT_TRUE(sameBits(full, Matrix(3, 3)));
}

// Filling.

TEST(SubBlockRules, SetAndRandomFillStayInsideTheView)
{
    for (const Size size : {Size{1, 1}, {3, 5}, {17, 9}, {0, 4}, {4, -1}, {-1, -1}, {1, 40}})
        for (const Layout layout : {Layout::Whole, Layout::Inside, Layout::Cropped}) {
            if (layout == Layout::Whole && (size.rows < 0 || size.cols < 0))
                continue;
            Operand a('B', size, layout, 41);
            const Matrix want = build(std::max(size.rows, 0), std::max(size.cols, 0),
                                      [](int, int) { return -2.385; });
            const std::vector<double> wantBlock = a.blockWith(want);
            EXPECT_EQ(kmath_nmmatrix_setB(a, -2.385), KMATH_OK);
            EXPECT_TRUE(sameBits(a.block(), wantBlock));

            // Random numbers go through the row pointers instead.
            Matrix &m = *a.parent;
            std::vector<double> block = a.block();
            std::srand(77);
            for (int i = a.view.firstRow; i <= a.view.lastRow; ++i)
                for (int j = a.view.firstCol; j <= a.view.lastCol; ++j)
                    block[static_cast<std::size_t>(m->rows[i] - m->rows[0] + j)] =
                        std::rand() % 10000 / 10000.0;
            const int next = std::rand();
            std::srand(77);
            EXPECT_EQ(kmath_nmmatrix_setRandB(a), KMATH_OK);
            EXPECT_EQ(std::rand(), next);
            EXPECT_TRUE(sameBits(a.block(), block));
        }
}

TEST(SubBlockRules, RandomMatricesRepeatWithTheGenerator)
{
    for (const Size size : {Size{4, 4}, {1, 1}, {30, 40}, {0, 3}, {5, 0}}) {
        Matrix a(size.rows, size.cols), b(size.rows, size.cols);
        std::srand(5);
        const Matrix want =
            build(size.rows, size.cols, [](int, int) { return std::rand() % 10000 / 10000.0; });
        for (Matrix *m : {std::addressof(a), std::addressof(b)}) {
            std::srand(5);
            EXPECT_EQ(kmath_nmmatrix_setRand(&*m), KMATH_OK);
            EXPECT_TRUE(sameBits(*m, want));
        }
    }
    Operand cropped('M', {3, 4}, Layout::Cropped, 1);
    Matrix &m = *cropped.parent;
    std::srand(6);
    EXPECT_EQ(kmath_nmmatrix_setRand(&m), KMATH_OK);
    std::srand(6);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(m(i, j), std::rand() % 10000 / 10000.0);
}

} // namespace
