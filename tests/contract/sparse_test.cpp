// The sparse matrix seen from outside: its arrays after each filling and growth, what refusals and
// failing allocations leave, and both products in bits against the plain sum over stored entries.
#include "contract/textbook_sparse.hpp"
#include "support/services.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <random>

namespace
{

using support::allocationsOf;
using support::build;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;
using textbook::Element;
using textbook::Sparse;
using textbook::sparseProduct;
using textbook::wild;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr int most = std::numeric_limits<int>::max();

// The records lie as stated.
static_assert(offsetof(kmath_snmmatrix, rowStart) == 0);
static_assert(offsetof(kmath_snmmatrix, colIndex) == sizeof(void *));
static_assert(offsetof(kmath_snmmatrix, values) == 2 * sizeof(void *));
static_assert(offsetof(kmath_snmmatrix, rows) == 3 * sizeof(void *));
static_assert(offsetof(kmath_snmmatrix, cols) == 3 * sizeof(void *) + 4);
static_assert(offsetof(kmath_snmmatrix, nnz) == 3 * sizeof(void *) + 8);
static_assert(offsetof(Element, row) == 0 && offsetof(Element, col) == 4);
static_assert(offsetof(Element, value) == 8 && sizeof(Element) == 16);

using Ints = std::vector<int>;

void expectWithoutArrays(const kmath_snmmatrix *S)
{
    EXPECT_EQ(S->rowStart, nullptr);
    EXPECT_EQ(S->colIndex, nullptr);
    EXPECT_EQ(S->values, nullptr);
}

void expectCleared(const Sparse &S, int rows, int cols, int nnz)
{
    EXPECT_EQ(S->rows, rows);
    EXPECT_EQ(S->cols, cols);
    EXPECT_EQ(S->nnz, nnz);
    ASSERT_NE(S->rowStart, nullptr);
    EXPECT_EQ(S.starts(), Ints(static_cast<std::size_t>(rows) + 1, 0));
    for (int k = 0; k < nnz; ++k) {
        EXPECT_EQ(S->colIndex[k], 0);
        EXPECT_TRUE(sameBits(S->values[k], 0.0));
    }
}

/// Overwrites whatever the arrays hold, so that a clearing shows.
void spoil(Sparse &S)
{
    std::fill_n(S->rowStart, S->rows + 1, 7);
    std::fill_n(S->colIndex, S->nnz, 7);
    std::fill_n(S->values, S->nnz, nan);
}

/// What every filling promises.
void expectInvariants(const Sparse &S)
{
    ASSERT_NE(S->rowStart, nullptr);
    EXPECT_EQ(S->rowStart[0], 0);
    EXPECT_TRUE(std::is_sorted(S->rowStart, S->rowStart + S->rows + 1));
    EXPECT_LE(S->rowStart[S->rows], S->nnz);
    for (int i = 0; i < S->rows; ++i)
        EXPECT_TRUE(std::is_sorted(S->colIndex + S->rowStart[i], S->colIndex + S->rowStart[i + 1]));
}

// Life cycle and room.

TEST(SparseRules, ConstructAndDestructLeaveAnEmptyRecord)
{
    const std::int64_t live = support::liveBlocks();
    kmath_snmmatrix S;
    std::fill_n(reinterpret_cast<unsigned char *>(&S), sizeof S, static_cast<unsigned char>(0x5a));
    EXPECT_EQ(kmath_snmmatrix_construct(&S), KMATH_OK);
    for (int round = 0; round < 3; ++round) {
        expectWithoutArrays(&S);
        EXPECT_EQ(S.rows, 0);
        EXPECT_EQ(S.cols, 0);
        EXPECT_EQ(S.nnz, 0);
        if (round == 1) {
            EXPECT_EQ(kmath_snmmatrix_resize(&S, 4, 5, 6), KMATH_OK);
        }
        EXPECT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK);
        expectWithoutArrays(&S);
        EXPECT_EQ(support::liveBlocks(), live);
        kmath_snmmatrix_construct(&S);
    }
}

TEST(SparseRules, ResizeKeepsArraysOfTheSameRowsAndCapacityAndClearsThem)
{
    Sparse S;
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_resize(&S, 4, 5, 6), KMATH_OK); }), 3);
    expectCleared(S, 4, 5, 6);
    const kmath_snmmatrix was = *&S;
    for (const int cols : {5, 9, 0, 2}) {
        spoil(S);
        EXPECT_EQ(
            allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_resize(&S, 4, cols, 6), KMATH_OK); }), 0);
        expectCleared(S, 4, cols, 6);
        EXPECT_EQ(S->rowStart, was.rowStart);
        EXPECT_EQ(S->colIndex, was.colIndex);
        EXPECT_EQ(S->values, was.values);
    }
    for (const auto &[rows, nnz] : {std::pair{4, 7}, {3, 7}, {3, 2}, {9, 2}, {9, 0}, {0, 3}}) {
        const std::int64_t live = support::liveBlocks();
        EXPECT_GT(allocationsOf([&, r = rows, k = nnz] {
                      EXPECT_EQ(kmath_snmmatrix_resize(&S, r, 5, k), KMATH_OK);
                  }),
                  0);
        EXPECT_LE(support::liveBlocks(), live + 2);
        expectCleared(S, rows, 5, nnz);
        spoil(S);
    }
}

TEST(SparseRules, ResizeBringsBackArraysThatWereReleased)
{
    Sparse fresh;
    EXPECT_EQ(kmath_snmmatrix_resize(&fresh, 0, 0, 0), KMATH_OK);
    expectCleared(fresh, 0, 0, 0);
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 4, 5, 6), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 9), KMATH_OK);
    EXPECT_EQ(kmath_snmmatrix_resize(&S, 4, 5, 9), KMATH_OK);
    expectCleared(S, 4, 5, 9);
}

TEST(SparseRules, NegativeSizesAreRefused)
{
    for (const auto &[rows, cols, nnz] : {std::array{-1, 2, 3},
                                          {2, 2, -1},
                                          {-1, -1, -1},
                                          {std::numeric_limits<int>::min(), 1, 1}}) {
        Sparse S;
        EXPECT_TRUE(KMATH_IS_FAILURE(kmath_snmmatrix_resize(&S, rows, cols, nnz)));
        Element e{};
        EXPECT_TRUE(KMATH_IS_FAILURE(kmath_snmmatrix_setElements(&S, rows, cols, &e, nnz)));
    }
}

TEST(SparseRules, GrowthOfTheCapacityLosesEverything)
{
    Sparse S(3, 4, {{0, 1, 2.5}, {2, 3, 3.5}});
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 12), KMATH_OK);
    EXPECT_EQ(S->rowStart, nullptr);
    ASSERT_NE(S->colIndex, nullptr);
    ASSERT_NE(S->values, nullptr);
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 4);
    EXPECT_EQ(S->nnz, 12);
    std::fill_n(S->colIndex, 12, 1);
    std::fill_n(S->values, 12, 2.385);
    EXPECT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK);
    expectWithoutArrays(&S);
}

TEST(SparseRules, ACapacityThatSufficesChangesNothing)
{
    Sparse S(3, 4, {{0, 1, 2.5}, {2, 3, 3.5}, {1, 0, 4.5}});
    const kmath_snmmatrix was = *&S;
    for (const int nnz : {3, 2, 1, 0, -1}) {
        EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, nnz), KMATH_OK); }),
                  0);
        EXPECT_EQ(S->rowStart, was.rowStart);
        EXPECT_EQ(S->nnz, 3);
        EXPECT_EQ(S.columns(), (Ints{1, 0, 3}));
    }
}

TEST(SparseRules, NoMoreRoomThanCells)
{
    Sparse S(2, 3,
             {{0, 1, 2.5},
              {0, 1, 1.5},
              {0, 1, 1.5},
              {0, 1, 0.5},
              {1, 1, 3.0},
              {1, 1, 4.0},
              {1, 2, 5.0},
              {1, 2, 6.0}}); // the eight entries of six cells
    const Ints was = S.columns();
    for (const int nnz : {7, 8, 9, most}) { // refused although there is room for some of it
        EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, nnz), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(S->nnz, 8);
        EXPECT_EQ(S.columns(), was);
    }
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 6), KMATH_OK);
    // 2³² cells, a product that does not fit 32 bits.
    Sparse large;
    ASSERT_EQ(kmath_snmmatrix_resize(&large, 65536, 65536, 0), KMATH_OK);
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&large, 10), KMATH_OK);
    EXPECT_EQ(large->nnz, 10);
}

// Filling from entries.

TEST(SparseRules, RowStartsCloseEmptyRows)
{
    const struct {
        int rows;
        Ints rowsOfEntries, starts;
    } cases[] = {{3, {0, 0, 2}, {0, 2, 2, 3}},
                 {3, {0}, {0, 1, 1, 1}},
                 {3, {1}, {0, 0, 1, 1}},
                 {3, {2}, {0, 0, 0, 1}},
                 {3, {}, {0, 0, 0, 0}},
                 {0, {}, {0}},
                 {1, {0, 0, 0}, {0, 3}},
                 {6, {4, 1, 4, 1, 1}, {0, 0, 3, 3, 3, 5, 5}},
                 {5, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}}};
    for (const auto &c : cases) {
        std::vector<Element> elements;
        for (const int row : c.rowsOfEntries)
            elements.push_back({row, 1, 1.0});
        const Sparse S(c.rows, 2, elements);
        EXPECT_EQ(S.starts(), c.starts);
        EXPECT_EQ(S->nnz, static_cast<int>(elements.size()));
        EXPECT_EQ(S->cols, 2);
        expectInvariants(S);
    }
}

TEST(SparseRules, EntriesAreThoseOfTheCallersListAsItIsLeftSorted)
{
    std::mt19937_64 generator(71);
    Sparse S; // filled again and again
    for (const auto &[rows, cols, count] : {std::array{1, 1, 5},
                                            {5, 7, 12},
                                            {50, 40, 300},
                                            {300, 2, 100},
                                            {3, 1000, 500},
                                            {8, 8, 12},
                                            {0, 5, 0},
                                            {9, 0, 0},
                                            {40, 40, 1600}}) {
        std::vector<Element> list;
        std::multimap<std::pair<int, int>, double> given, kept;
        for (int k = 0; k < count; ++k) {
            const Element e = {static_cast<int>(generator() % static_cast<unsigned>(rows)),
                               static_cast<int>(generator() % static_cast<unsigned>(cols)),
                               static_cast<double>(k) - 0.5};
            list.push_back(e);
            given.insert({{e.row, e.col}, e.value});
        }
        ASSERT_EQ(kmath_snmmatrix_setElements(&S, rows, cols, list.data(), count), KMATH_OK);
        expectInvariants(S);
        EXPECT_EQ(S->rowStart[rows], count);
        for (std::size_t k = 0; k < list.size(); ++k) {
            const Element &e = list[k];
            EXPECT_EQ(S->colIndex[k], e.col);
            EXPECT_EQ(S->values[k], e.value);
            EXPECT_GE(static_cast<int>(k), S->rowStart[e.row]);
            EXPECT_LT(static_cast<int>(k), S->rowStart[e.row + 1]);
            kept.insert({{e.row, e.col}, e.value});
        }
        ASSERT_EQ(kept.size(), given.size());
        for (auto it = given.begin(); it != given.end(); it = given.upper_bound(it->first)) {
            std::vector<double> x, y;
            for (auto [p, end] = given.equal_range(it->first); p != end; ++p)
                x.push_back(p->second);
            for (auto [p, end] = kept.equal_range(it->first); p != end; ++p)
                y.push_back(p->second);
            std::sort(x.begin(), x.end());
            std::sort(y.begin(), y.end());
            EXPECT_EQ(x, y);
        }
    }
}

TEST(SparseRules, TheOrderHoldsForIndicesFarApart)
{
    // Neither rows nor negative columns are tested; differences of these pass 32 bits.
    std::vector<Element> list = {{1, most - 1, 1.0}, {1, -5, 2.0}, {1, 7, 3.0}};
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_setElements(&S, 2, most, list.data(), 3), KMATH_OK);
    EXPECT_EQ(S.columns(), (Ints{-5, 7, most - 1}));
    list = {{most, 0, 1.0}, {-3, 1, 2.0}, {1, 0, 3.0}, {most - 1, 0, 4.0}};
    ASSERT_EQ(kmath_snmmatrix_setElements(&S, 2, 2, list.data(), 4), KMATH_OK);
    EXPECT_EQ(list[0].row, -3);
    EXPECT_EQ(list[1].row, 1);
    EXPECT_EQ(list[2].row, most - 1);
    EXPECT_EQ(list[3].row, most);
    EXPECT_EQ(S->rowStart[2], 4);
}

TEST(SparseRules, RowsOutOfRangeAreNotDetectedAndStayInsideTheArrays)
{
    for (const int bad : {3, 4, 5, 1000000, most, -2, -1000000, std::numeric_limits<int>::min()}) {
        Sparse S;
        std::vector<Element> list = {{1, 0, 1.0},
                                     {bad, 1, 2.0},
                                     {bad, 0, 4.0},
                                     {2, 1, 3.0},
                                     {bad < 0 ? bad + 1 : bad - 1, 0, 5.0}};
        EXPECT_EQ(kmath_snmmatrix_setElements(&S, 3, 2, list.data(), 5), KMATH_OK) << bad;
        EXPECT_EQ(S->rowStart[3], 5);
    }
}

TEST(SparseRules, AColumnBeyondTheLastFailsAndLeavesNoArrays)
{
    for (const int bad : {2, 3, most})
        for (std::size_t place = 0; place < 3; ++place) {
            Sparse S(3, 2, {{0, 1, 1.0}});
            std::vector<Element> list = {{2, 1, 1.0}, {0, 0, 2.0}, {1, 1, 3.0}};
            list[place].col = bad;
            const std::int64_t live = support::liveBlocks();
            EXPECT_EQ(kmath_snmmatrix_setElements(&S, 3, 2, list.data(), 3), KMATH_ERR_FAILED);
            expectWithoutArrays(&S);
            EXPECT_LT(support::liveBlocks(), live);
            EXPECT_EQ(list[0].row, 0); // sorted all the same
            EXPECT_EQ(list[2].row, 2);
            list = {{0, 0, 1.0}, {1, 0, 1.0}, {2, 0, 1.0}};
            EXPECT_EQ(kmath_snmmatrix_setElements(&S, 3, 2, list.data(), 3), KMATH_OK);
            EXPECT_EQ(S.starts(), (Ints{0, 1, 2, 3}));
        }
}

// Filling from a dense matrix.

TEST(SparseRules, ElementsAboveTheThresholdAreKept)
{
    const Matrix A = {{0, -2, 0.5}, {nan, 0, 0}, {-0.0, inf, 2}, {0, 0, -inf}};
    const struct {
        double threshold;
        Ints starts, columns;
    } cases[] = {{0.0, {0, 2, 2, 4, 5}, {1, 2, 1, 2, 2}},
                 {0.5, {0, 1, 1, 3, 4}, {1, 1, 2, 2}},
                 {2.0, {0, 0, 0, 1, 2}, {1, 2}},
                 {inf, {0, 0, 0, 0, 0}, {}},
                 {nan, {0, 0, 0, 0, 0}, {}},
                 {-1.0, {0, 3, 5, 8, 11}, {0, 1, 2, 1, 2, 0, 1, 2, 0, 1, 2}}};
    Sparse S;
    for (const auto &c : cases) {
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, c.threshold), KMATH_OK);
        EXPECT_EQ(S.starts(), c.starts);
        EXPECT_EQ(S.columns(), c.columns);
        EXPECT_EQ(S->rows, 4);
        EXPECT_EQ(S->cols, 3);
        EXPECT_EQ(S->nnz, 12);
        for (int i = 0; i < 4; ++i)
            for (int p = S->rowStart[i]; p < S->rowStart[i + 1]; ++p)
                EXPECT_TRUE(sameBits(S->values[p], A(i, S->colIndex[p])));
    }
    Matrix cropped = build(5, 6, [](int i, int j) { return 10 * i + j; });
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&cropped, 2, 3), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &cropped, 1.0, 0.0), KMATH_OK);
    EXPECT_EQ(S.values(), (std::vector<double>{1, 2, 10, 11, 12}));
    for (const auto &[rows, cols] : {std::pair{0, 4}, {4, 0}, {0, 0}}) {
        const Matrix none(rows, cols);
        Sparse fresh;
        ASSERT_EQ(kmath_snmmatrix_setMat(&fresh, &none, 1.0, 0.0), KMATH_OK);
        EXPECT_EQ(fresh.starts(), Ints(static_cast<std::size_t>(rows) + 1, 0));
    }
}

TEST(SparseRules, TheFirstCapacityIsCutToAnInteger)
{
    Sparse S;
    for (int rows = 1; rows < 40; rows += 3)
        for (int cols = 1; cols < 40; cols += 3)
            for (const double ratio :
                 {0.0, 0.1, 0.29, 0.3, 0.5, 0.7, 1.0 / 3, 0.99, 1.0, 1.1, 2.0}) {
                const Matrix A(rows, cols);
                ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, ratio, 0.0), KMATH_OK);
                EXPECT_EQ(S->nnz, static_cast<int>((rows * ratio) * cols));
            }
    const Matrix A = randomMatrix(3, 3);
    for (const double bad : {-1.0, nan, inf, -inf, 1e300})
        EXPECT_TRUE(KMATH_IS_FAILURE(kmath_snmmatrix_setMat(&S, &A, bad, 0.0))) << bad;
}

TEST(SparseRules, ACapacityTooSmallGrowsByATenthOfTheCells)
{
    // Each step is trunc(0.1·cells) + 1; beyond the cells it is refused.
    const struct {
        int rows, cols, kept;
        double ratio;
        int capacity; ///< −1: refused
    } cases[] = {{10, 10, 30, 0.0, 33},  {10, 10, 33, 0.0, 33},   {10, 10, 34, 0.0, 44},
                 {10, 10, 99, 0.0, 99},  {10, 10, 100, 0.0, -1},  {10, 10, 25, 0.2, 31},
                 {10, 10, 100, 0.9, -1}, {10, 10, 95, 0.89, 100}, {3, 3, 9, 0.0, 9},
                 {3, 3, 9, 0.5, 9},      {7, 5, 35, 0.0, -1},     {7, 5, 32, 0.0, 32}};
    for (const auto &c : cases) {
        const Matrix A = build(c.rows, c.cols,
                               [&](int i, int j) { return i * c.cols + j < c.kept ? 2.0 : 0.0; });
        Sparse S;
        const kmath_status status = kmath_snmmatrix_setMat(&S, &A, c.ratio, 0.0);
        if (c.capacity < 0) {
            EXPECT_EQ(status, KMATH_ERR_BAD_DIMENSIONS) << c.kept;
            expectWithoutArrays(&S);
        } else {
            EXPECT_EQ(status, KMATH_OK) << c.kept;
            EXPECT_EQ(S->nnz, c.capacity) << c.kept;
        }
        Matrix all(c.rows, c.cols);
        EXPECT_EQ(kmath_snmmatrix_setMat(&S, &all, 1.0, 0.0), KMATH_OK);
        expectInvariants(S);
    }
}

// Products and the row sum.

TEST(SparseRules, ProductsHaveTheBitsOfTheSumInStorageOrder)
{
    std::uint64_t seed = 100;
    for (const auto &[m, p, n, count] : {std::array{1, 1, 1, 1},
                                         {3, 4, 5, 6},
                                         {5, 9, 1, 60},
                                         {9, 30, 7, 200},
                                         {40, 17, 23, 90},
                                         {4, 64, 8, 250},
                                         {6, 3, 2, 0},
                                         {0, 3, 2, 0},
                                         {3, 0, 2, 0},
                                         {3, 2, 0, 5},
                                         {70, 70, 70, 900}})
        for (const bool shuffled : {false, true}) {
            std::mt19937_64 generator(++seed);
            const Matrix numbers = wild(1, count, ++seed);
            std::vector<Element> list;
            for (int k = 0; k < count; ++k)
                list.push_back({static_cast<int>(generator() % static_cast<unsigned>(m)),
                                static_cast<int>(generator() % static_cast<unsigned>(p)),
                                numbers(0, k)});
            Sparse S(m, p, list);
            if (shuffled) // a caller may order a row as it likes
                for (int i = 0; i < m; ++i)
                    std::shuffle(S->colIndex + S->rowStart[i], S->colIndex + S->rowStart[i + 1],
                                 generator);
            const Matrix B = wild(p, n, ++seed), Bt = wild(n, p, ++seed);
            Matrix C = randomMatrix(2, 2);
            EXPECT_EQ(kmath_snmmatrix_multiplySMM(&S, &B, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, sparseProduct(S, B, false))) << m << ' ' << p << ' ' << n;
            EXPECT_EQ(kmath_snmmatrix_multiplyTSMM(&S, &Bt, &C), KMATH_OK);
            EXPECT_TRUE(sameBits(C, sparseProduct(S, Bt, true))) << m << ' ' << p << ' ' << n;
        }
}

TEST(SparseRules, ProductsAddDuplicatesAndTouchOnlyWhatIsStored)
{
    const Sparse S(3, 2, {{0, 1, 2.0}, {0, 1, 0.5}, {2, 0, -0.0}});
    const Matrix B = {{nan, 5, 1}, {3, inf, 4}};
    Matrix C;
    EXPECT_EQ(kmath_snmmatrix_multiplySMM(&S, &B, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(C, Matrix{{7.5, inf, 10}, {0, 0, 0}, {nan, 0, 0}}));
    const Matrix Bt = textbook::transposed(B);
    EXPECT_EQ(kmath_snmmatrix_multiplyTSMM(&S, &Bt, &C), KMATH_OK);
    EXPECT_TRUE(sameBits(C, Matrix{{7.5, inf, 10}, {0, 0, 0}, {nan, 0, 0}}));
}

TEST(SparseRules, ProductsKeepAResultOfTheRightShape)
{
    const Sparse S(20, 3, {{0, 0, 2.0}, {19, 2, 1.0}});
    const Matrix B = randomMatrix(3, 3);
    for (const bool transposed : {false, true}) {
        const auto product =
            transposed ? kmath_snmmatrix_multiplyTSMM : kmath_snmmatrix_multiplySMM;
        Matrix C(20, 3);
        kmath_nmmatrix_set(&C, nan);
        double *const block = C->rows[0];
        EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(product(&S, &B, &C), KMATH_OK); }), 0);
        EXPECT_EQ(C->rows[0], block);
        EXPECT_TRUE(sameBits(C, sparseProduct(S, B, transposed)));
        Matrix fresh;
        EXPECT_EQ(allocationsOf([&] { product(&S, &B, &fresh); }), 2);
        support::sweepAllocationFailures([&] {
            Matrix other(4, 4);
            return product(&S, &B, &other);
        });
        // Elements of cropped matrices are found through the row pointers.
        Matrix wideB = randomMatrix(5, 6, 9), wideC = randomMatrix(22, 7, 10);
        ASSERT_EQ(kmath_nmmatrix_resize_noClear(&wideB, 3, 3), KMATH_OK);
        ASSERT_EQ(kmath_nmmatrix_resize_noClear(&wideC, 20, 3), KMATH_OK);
        EXPECT_EQ(product(&S, &wideB, &wideC), KMATH_OK);
        const Matrix want = sparseProduct(S, wideB, transposed);
        for (int i = 0; i < 20; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_TRUE(sameBits(wideC(i, j), want(i, j)));
    }
}

TEST(SparseRules, ProductsRefuseOtherShapesAndLeaveTheResult)
{
    const Sparse S(4, 3, {{0, 0, 2.0}});
    const Matrix wide = randomMatrix(2, 4), tall = randomMatrix(4, 2), was = randomMatrix(2, 2, 5);
    Matrix C = was;
    EXPECT_EQ(kmath_snmmatrix_multiplySMM(&S, &wide, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_snmmatrix_multiplySMM(&S, &tall, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_snmmatrix_multiplyTSMM(&S, &wide, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_snmmatrix_multiplyTSMM(&S, &tall, &C), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(sameBits(C, was));
}

TEST(SparseRules, TheRowSumIsSigned)
{
    const auto largest = [](const Sparse &S) {
        double out = 77;
        EXPECT_EQ(kmath_snmmatrix_oneRowNorm(&S, &out), KMATH_OK);
        return out;
    };
    EXPECT_TRUE(sameBits(largest(Sparse(Matrix{{-1, -2}, {-3, 0}})), 0.0));
    EXPECT_EQ(largest(Sparse(Matrix{{1, -3}, {2, 2}})), 4.0);
    EXPECT_EQ(largest(Sparse(Matrix{{1, -3}, {2, -7}})), 0.0);
    EXPECT_EQ(largest(Sparse(3, 3, {{1, 1, 2.5}, {1, 1, 1.0}, {0, 2, 3.0}})), 3.5);
    EXPECT_TRUE(sameBits(largest(Sparse(3, 3, {})), 0.0));
    EXPECT_TRUE(sameBits(largest(Sparse(0, 0, {})), 0.0));
    const Matrix A = randomMatrix(30, 20, 6);
    double want = 0.0;
    for (int i = 0; i < 30; ++i) {
        double sum = 0.0;
        for (int j = 0; j < 20; ++j)
            sum += A(i, j);
        want = std::max(want, sum);
    }
    EXPECT_TRUE(sameBits(largest(Sparse(A)), want));
}

TEST(SparseRules, ARefusedAllocationLeavesNoArrays)
{
    const Matrix A = randomMatrix(6, 6);
    const std::vector<Element> list = {{1, 2, 3.0}, {0, 0, 1.0}};
    const std::function<kmath_status(kmath_snmmatrix *)> calls[] = {
        [](auto *S) { return kmath_snmmatrix_resize(S, 5, 6, 7); },
        [&](auto *S) {
            std::vector<Element> copy = list;
            return kmath_snmmatrix_setElements(S, 5, 6, copy.data(), 2);
        },
        [&](auto *S) { return kmath_snmmatrix_setMat(S, &A, 1.0, 0.0); },
        [&](auto *S) { return kmath_snmmatrix_setMat(S, &A, 0.12, 0.0); },
        [](auto *S) { return kmath_snmmatrix_resizeNNZ(S, 9); }};
    for (const auto &call : calls)
        support::sweepAllocationFailures([&] {
            Sparse S;
            kmath_status status = kmath_snmmatrix_resize(&S, 3, 3, 4);
            if (status == KMATH_OK)
                status = call(&S);
            if (status != KMATH_OK)
                expectWithoutArrays(&S);
            return status;
        });
}

} // namespace
