#include <kmath/snmmatrix.h>

#include "platform/cleanup_frame.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/sparse.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

using Ints = std::vector<std::int32_t>;
using Reals = std::vector<double>;

// 3 × 4 with the entries 1.5, −2.5 and 3.5 in rows 0, 0 and 2, room for three.
void fill(Sparse &S)
{
    Elements elements{{2, 3, 3.5}, {0, 1, 1.5}, {0, 2, -2.5}};
    ASSERT_EQ(S.set(3, 4, elements), KMATH_OK);
}

void expectFilled(const Sparse &S)
{
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 4);
    EXPECT_EQ(S->nnz, 3);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 2, 2, 3}));
    EXPECT_EQ(S.columns(), (Ints{1, 2, 3}));
    EXPECT_EQ(S.values(), (Reals{1.5, -2.5, 3.5}));
}

bool isSorted(const Elements &elements)
{
    return std::is_sorted(elements.begin(), elements.end(), [](const auto &a, const auto &b) {
        return std::tie(a.row, a.col) < std::tie(b.row, b.col);
    });
}

// The filled matrix refuses the operation, and loses nothing by it.
void expectRefusal(kmath_status status, const std::function<kmath_status(kmath_snmmatrix *)> &call)
{
    Sparse S;
    fill(S);
    const kmath_snmmatrix before = *&S;
    EXPECT_EQ(call(&S), status);
    EXPECT_EQ(S->rowStart, before.rowStart);
    EXPECT_EQ(S->colIndex, before.colIndex);
    EXPECT_EQ(S->values, before.values);
    expectFilled(S);
}

// Every allocation of the operation on a filled matrix fails in turn, and leaves it empty.
void expectEmptyAfterEachFailure(const std::function<kmath_status(kmath_snmmatrix *)> &call)
{
    std::int64_t failures = 0;
    sweepAllocationFailures([&] {
        failAllocation(-1);
        Sparse S;
        fill(S);
        failAllocation(failures++);
        const kmath_status status = call(&S);
        EXPECT_EQ(S.isEmpty(), KMATH_IS_FAILURE(status));
        return status;
    });
    EXPECT_GT(failures, 3) << "the operation allocates its three arrays";
}

// The record and its life.

TEST(SparseRecordLayout, IsThreeArraysAndThreeCounts)
{
    constexpr std::size_t pointer = sizeof(void *);
    EXPECT_EQ(offsetof(kmath_snmmatrix, rowStart), 0u);
    EXPECT_EQ(offsetof(kmath_snmmatrix, colIndex), pointer);
    EXPECT_EQ(offsetof(kmath_snmmatrix, values), 2 * pointer);
    EXPECT_EQ(offsetof(kmath_snmmatrix, rows), 3 * pointer);
    EXPECT_EQ(offsetof(kmath_snmmatrix, cols), 3 * pointer + 4);
    EXPECT_EQ(offsetof(kmath_snmmatrix, nnz), 3 * pointer + 8);
    EXPECT_TRUE(std::is_trivial_v<kmath_snmmatrix> && std::is_standard_layout_v<kmath_snmmatrix>);

    EXPECT_EQ(offsetof(kmath_snmmatrix_element, row), 0u);
    EXPECT_EQ(offsetof(kmath_snmmatrix_element, col), 4u);
    EXPECT_EQ(offsetof(kmath_snmmatrix_element, value), 8u);
    EXPECT_EQ(sizeof(kmath_snmmatrix_element), 16u);
}

TEST(SnmmatrixConstruct, EmptiesEveryFieldOfRawMemory)
{
    kmath_snmmatrix S;
    std::memset(&S, 0xFF, sizeof S);
    EXPECT_EQ(kmath_snmmatrix_construct(&S), KMATH_OK);
    EXPECT_EQ(S.rowStart, nullptr);
    EXPECT_EQ(S.colIndex, nullptr);
    EXPECT_EQ(S.values, nullptr);
    EXPECT_EQ(S.rows, 0);
    EXPECT_EQ(S.cols, 0);
    EXPECT_EQ(S.nnz, 0);
}

TEST(SnmmatrixDestruct, GivesBackTheArraysAndMayBeRepeated)
{
    const std::int64_t before = liveBlocks();
    Sparse S;
    EXPECT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK) << "never filled";
    fill(S);
    EXPECT_EQ(liveBlocks(), before + 3);
    EXPECT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before);
    EXPECT_TRUE(S.isEmpty());
    EXPECT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK);
    fill(S);
    expectFilled(S);
}

TEST(SnmmatrixDestruct, ReportsTheFirstFailingReleaseAndReleasesTheRest)
{
    const std::int64_t before = liveBlocks();
    const kmath_status first = KMATH_ERR_FAILED, second = KMATH_ERR_NO_MEMORY;
    const std::vector<std::vector<kmath_status>> cases{
        {first}, {KMATH_OK, first}, {KMATH_OK, KMATH_OK, first}, {first, second, second}};
    for (const auto &answers : cases) {
        Sparse S;
        fill(S);
        {
            const ReleaseAnswers releases(answers);
            EXPECT_EQ(kmath_snmmatrix_destruct(&S), first);
        }
        EXPECT_TRUE(S.isEmpty());
        EXPECT_EQ(liveBlocks(), before);
    }
}

TEST(SnmmatrixCleanup, IsARecordThatAFrameHolds)
{
    const std::int64_t before = liveBlocks();
    const auto filled = [] {
        kmath_snmmatrix S;
        kmath::CleanupFrame frame(S);
        EXPECT_EQ(kmath_snmmatrix_resize(&S, 3, 3, 5), KMATH_OK);
        return frame.leave(KMATH_OK);
    };
    EXPECT_EQ(filled(), KMATH_OK);
    EXPECT_EQ(liveBlocks(), before);
}

// Room.

TEST(SnmmatrixResize, TakesThreeArraysOfZeros)
{
    Sparse S;
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_resize(&S, 3, 5, 7), KMATH_OK); }), 3);
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 5);
    EXPECT_EQ(S->nnz, 7);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 0, 0, 0}));
    EXPECT_EQ(Ints(S->colIndex, S->colIndex + 7), Ints(7, 0));
    EXPECT_EQ(Reals(S->values, S->values + 7), Reals(7, 0.0));
}

TEST(SnmmatrixResize, KeepsAndClearsArraysOfTheSameRowsAndCapacity)
{
    Sparse S;
    fill(S);
    const kmath_snmmatrix before = *&S;
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_resize(&S, 3, 9, 3), KMATH_OK); }), 0);
    EXPECT_EQ(S->rowStart, before.rowStart);
    EXPECT_EQ(S->colIndex, before.colIndex);
    EXPECT_EQ(S->values, before.values);
    EXPECT_EQ(S->cols, 9);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 0, 0, 0}));
    EXPECT_EQ(Ints(S->colIndex, S->colIndex + 3), Ints(3, 0));
    EXPECT_EQ(Reals(S->values, S->values + 3), Reals(3, 0.0));
}

TEST(SnmmatrixResize, TakesNewArraysForOtherRowsOrAnotherCapacity)
{
    struct Shape {
        std::int32_t rows, nnz;
    };
    for (const Shape shape : {Shape{2, 3}, {4, 3}, {3, 2}, {3, 4}, {3, 0}, {0, 3}}) {
        Sparse S;
        fill(S);
        EXPECT_EQ(allocationsOf([&] {
                      EXPECT_EQ(kmath_snmmatrix_resize(&S, shape.rows, 4, shape.nnz), KMATH_OK);
                  }),
                  shape.nnz > 0 ? 3 : 1);
        EXPECT_EQ(S.rowStarts(), Ints(static_cast<std::size_t>(shape.rows) + 1, 0));
        EXPECT_EQ(S->nnz, shape.nnz);
    }
}

TEST(SnmmatrixResize, ClearsByTheMemoryServiceInBothCases)
{
    Sparse S;
    for (const char *which : {"new", "kept"}) {
        const FillWatch watch;
        ASSERT_EQ(kmath_snmmatrix_resize(&S, 4, 4, 6), KMATH_OK);
        EXPECT_EQ(watch.bytes(), (std::vector<std::size_t>{5 * 4, 6 * 4, 6 * 8})) << which;
    }
}

TEST(SnmmatrixResize, GivesAnEmptyMatrixItsRowStart)
{
    for (const std::int32_t cols : {0, 5}) {
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_resize(&S, 0, cols, 0), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), Ints{0});
        EXPECT_EQ(S->cols, cols);
        const std::int32_t *start = S->rowStart;
        ASSERT_EQ(kmath_snmmatrix_resize(&S, 0, cols, 0), KMATH_OK);
        EXPECT_EQ(S->rowStart, start) << "kept the second time";
    }
}

TEST(SnmmatrixResize, TakesMoreRoomThanCells)
{
    Sparse S;
    EXPECT_EQ(kmath_snmmatrix_resize(&S, 1, 1, 5), KMATH_OK);
    EXPECT_EQ(S->nnz, 5);
}

TEST(SnmmatrixResize, TakesReleasedArraysAnew)
{
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 3, 4, 2), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 3), KMATH_OK);
    ASSERT_EQ(S->rowStart, nullptr);
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 3, 4, 3), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 0, 0, 0}));
    EXPECT_EQ(Reals(S->values, S->values + 3), Reals(3, 0.0));

    ASSERT_EQ(kmath_snmmatrix_destruct(&S), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 3, 4, 3), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 0, 0, 0}));
}

TEST(SnmmatrixResize, RefusesNegativeArgumentsAndLosesNothing)
{
    for (const std::int32_t negative : {-1, lowest}) {
        expectRefusal(KMATH_ERR_NEGATIVE_SIZE, [=](kmath_snmmatrix *S) {
            return kmath_snmmatrix_resize(S, negative, 4, 3);
        });
        expectRefusal(KMATH_ERR_NEGATIVE_SIZE, [=](kmath_snmmatrix *S) {
            return kmath_snmmatrix_resize(S, 3, negative, 3);
        });
        expectRefusal(KMATH_ERR_NEGATIVE_SIZE, [=](kmath_snmmatrix *S) {
            return kmath_snmmatrix_resize(S, 3, 4, negative);
        });
    }
}

TEST(SnmmatrixResize, LeavesNoArraysAfterAFailingAllocation)
{
    expectEmptyAfterEachFailure(
        [](kmath_snmmatrix *S) { return kmath_snmmatrix_resize(S, 5, 5, 9); });
}

TEST(SnmmatrixResize, AsksForTheBytesOfTheLargestShape)
{
    struct Request {
        std::int32_t rows, nnz;
        std::int64_t failing;
        std::int64_t bytes;
    };
    for (const Request request :
         {Request{highest, 0, 0, 4 * 2147483648LL}, Request{1, highest, 1, 4 * 2147483647LL}}) {
        Sparse S;
        failAllocation(request.failing);
        EXPECT_EQ(kmath_snmmatrix_resize(&S, request.rows, 1, request.nnz), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(lastRequest(), static_cast<std::size_t>(request.bytes));
        EXPECT_TRUE(S.isEmpty());
    }
}

TEST(SnmmatrixResize, LeavesNoArraysAfterAFailingFill)
{
    for (const std::int32_t rows : {3, 6}) // arrays kept, arrays new
        for (const int failing : {0, 1, 2}) {
            Sparse S;
            fill(S);
            const FillWatch watch(failing, KMATH_ERR_SINGULAR);
            EXPECT_EQ(kmath_snmmatrix_resize(&S, rows, 4, 3), KMATH_ERR_SINGULAR);
            EXPECT_TRUE(S.isEmpty()) << rows << ' ' << failing;
        }
}

TEST(SnmmatrixResize, LeavesNoArraysAfterAFailingRelease)
{
    const std::int64_t before = liveBlocks();
    for (std::size_t failing = 0; failing < 3; ++failing) {
        Sparse S;
        fill(S);
        std::vector<kmath_status> answers(failing, KMATH_OK);
        answers.push_back(KMATH_ERR_SINGULAR);
        {
            const ReleaseAnswers releases(answers);
            EXPECT_EQ(kmath_snmmatrix_resize(&S, 4, 4, 4), KMATH_ERR_SINGULAR);
        }
        EXPECT_TRUE(S.isEmpty());
        EXPECT_EQ(liveBlocks(), before);
    }
}

TEST(SnmmatrixResizeNNZ, ChangesNothingWhereTheRoomSuffices)
{
    for (const std::int32_t nnz : {3, 2, 0, -1, lowest})
        expectRefusal(KMATH_OK,
                      [=](kmath_snmmatrix *S) { return kmath_snmmatrix_resizeNNZ(S, nnz); });
}

TEST(SnmmatrixResizeNNZ, GrowsAtThePriceOfAllThatIsStored)
{
    const std::int64_t before = liveBlocks();
    Sparse S;
    fill(S);
    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 12), KMATH_OK) << "as many as there are cells";
    EXPECT_EQ(S->rowStart, nullptr);
    EXPECT_EQ(S->nnz, 12);
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 4);
    EXPECT_EQ(liveBlocks(), before + 2);
    for (int p = 0; p < 12; ++p) { // the tests' memory comes filled with ones
        EXPECT_EQ(S->colIndex[p], -1);
        EXPECT_TRUE(std::isnan(S->values[p]));
    }
    fill(S);
    expectFilled(S);
}

TEST(SnmmatrixResizeNNZ, RefusesMoreThanTheCells)
{
    for (const std::int32_t nnz : {13, highest})
        expectRefusal(KMATH_ERR_BAD_DIMENSIONS,
                      [=](kmath_snmmatrix *S) { return kmath_snmmatrix_resizeNNZ(S, nnz); });

    Sparse empty;
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&empty, 1), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&empty, 0), KMATH_OK);
    EXPECT_TRUE(empty.isEmpty());

    // Even where there is room already.
    Sparse roomy;
    ASSERT_EQ(kmath_snmmatrix_resize(&roomy, 2, 2, 9), KMATH_OK);
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&roomy, 5), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&roomy, 4), KMATH_OK);
    EXPECT_EQ(roomy->nnz, 9);
    EXPECT_NE(roomy->rowStart, nullptr);
}

TEST(SnmmatrixResizeNNZ, CountsCellsBeyond32Bits)
{
    // 2^32 cells would wrap to 0, and 2.5e9 to a negative number.
    for (const std::int32_t n : {65536, 50000}) {
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_resize(&S, n, n, 0), KMATH_OK);
        EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 10), KMATH_OK) << n;
        EXPECT_EQ(S->nnz, 10);
    }
}

TEST(SnmmatrixResizeNNZ, KeepsTheShapeAndNoArraysAfterAFailure)
{
    for (const std::int64_t failing : {0, 1}) {
        const std::int64_t before = liveBlocks();
        Sparse S;
        fill(S);
        failAllocation(failing);
        EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 8), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_TRUE(S.hasNoArrays());
        EXPECT_EQ(liveBlocks(), before);
        EXPECT_EQ(S->nnz, 0);
        EXPECT_EQ(S->rows, 3);
        EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 8), KMATH_OK) << "asked again";
        EXPECT_EQ(S->nnz, 8);
    }

    Sparse S;
    fill(S);
    const ReleaseAnswers releases({KMATH_OK, KMATH_ERR_SINGULAR});
    EXPECT_EQ(kmath_snmmatrix_resizeNNZ(&S, 8), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(S.hasNoArrays());
    EXPECT_EQ(S->nnz, 0);
}

// Filling from entries.

TEST(SnmmatrixSetElements, OrdersEntriesByRowAndColumn)
{
    Elements elements{{2, 0, 5.0}, {0, 3, 2.0}, {1, 2, 4.0}, {0, 1, 1.0}, {1, 0, 3.0}};
    Sparse S;
    ASSERT_EQ(S.set(3, 4, elements), KMATH_OK);
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 4);
    EXPECT_EQ(S->nnz, 5);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 2, 4, 5}));
    EXPECT_EQ(S.columns(), (Ints{1, 3, 0, 2, 0}));
    EXPECT_EQ(S.values(), (Reals{1.0, 2.0, 3.0, 4.0, 5.0}));
    EXPECT_TRUE(isSorted(elements)) << "the caller's list too";
    EXPECT_EQ(elements[1].value, 2.0) << "with its values";
}

TEST(SnmmatrixSetElements, ClosesRowsWithoutEntries)
{
    struct Case {
        std::int32_t rows;
        Ints filled;
        Ints starts;
    };
    const std::vector<Case> cases{{3, {0, 0, 2}, {0, 2, 2, 3}},
                                  {3, {2, 1}, {0, 0, 1, 2}},
                                  {3, {2, 2}, {0, 0, 0, 2}},
                                  {3, {0}, {0, 1, 1, 1}},
                                  {4, {1}, {0, 0, 1, 1, 1}},
                                  {6, {1, 1, 4}, {0, 0, 2, 2, 2, 3, 3}},
                                  {1, {0, 0}, {0, 2}},
                                  {2, {}, {0, 0, 0}},
                                  {0, {}, {0}}};
    for (const Case &c : cases) {
        Elements elements;
        for (const std::int32_t row : c.filled)
            elements.push_back({row, 0, 1.0});
        Sparse S;
        ASSERT_EQ(S.set(c.rows, 1, elements), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), c.starts);
    }
}

TEST(SnmmatrixSetElements, KeepsEntriesOfOneCellSideBySide)
{
    Elements elements{{1, 1, 2.0}, {0, 0, 9.0}, {1, 1, 3.0}};
    Sparse S;
    ASSERT_EQ(S.set(2, 2, elements), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 1, 3}));
    EXPECT_EQ(S.columns(), (Ints{0, 1, 1}));
    EXPECT_EQ(S->values[1] + S->values[2], 5.0);
}

TEST(SnmmatrixSetElements, StoresAnyValue)
{
    Elements elements{{0, 0, nan}, {0, 1, infinity}, {0, 2, -0.0}, {0, 3, 0.0}, {0, 4, 5e-324}};
    Sparse S;
    ASSERT_EQ(S.set(1, 5, elements), KMATH_OK);
    const Reals expected{nan, infinity, -0.0, 0.0, 5e-324};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(sameBits(S.values()[i], expected[i])) << i;
}

TEST(SnmmatrixSetElements, TakesNoEntriesFromANullList)
{
    for (const std::int32_t rows : {0, 3}) {
        Sparse S;
        EXPECT_EQ(kmath_snmmatrix_setElements(&S, rows, 0, nullptr, 0), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), Ints(static_cast<std::size_t>(rows) + 1, 0));
        EXPECT_EQ(S->nnz, 0);
    }
}

TEST(SnmmatrixSetElements, RefusesAColumnBeyondTheMatrix)
{
    const std::int64_t before = liveBlocks();
    for (const std::int32_t col : {4, 5, highest}) {
        Sparse S;
        fill(S);
        Elements elements{{2, 3, 1.0}, {1, col, 1.0}, {0, 0, 1.0}};
        EXPECT_EQ(S.set(3, 4, elements), KMATH_ERR_FAILED);
        EXPECT_TRUE(S.isEmpty());
        EXPECT_EQ(liveBlocks(), before);
        EXPECT_TRUE(isSorted(elements));
        fill(S);
        expectFilled(S);
    }
    Sparse narrow;
    Elements elements{{0, 0, 1.0}};
    EXPECT_EQ(narrow.set(1, 0, elements), KMATH_ERR_FAILED) << "no column at all";
}

TEST(SnmmatrixSetElements, RefusesNegativeArgumentsAndLosesNothing)
{
    Elements elements{{1, 1, 2.0}, {0, 0, 9.0}};
    const Elements before = elements;
    const auto refuses = [&](std::int32_t rows, std::int32_t cols, std::int32_t count) {
        expectRefusal(KMATH_ERR_NEGATIVE_SIZE, [&](kmath_snmmatrix *S) {
            return kmath_snmmatrix_setElements(S, rows, cols, elements.data(), count);
        });
        EXPECT_EQ(elements[0].value, before[0].value) << "not even sorted";
    };
    refuses(-1, 2, 2);
    refuses(2, -1, 2);
    refuses(2, 2, -1);
    refuses(2, 2, lowest);
}

TEST(SnmmatrixSetElements, DoesNotDetectRowsBeyondTheMatrixButStaysInside)
{
    for (const std::int32_t row : {3, 4, 1000000, highest}) {
        Sparse S;
        Elements elements{{row, 1, 7.0}, {0, 0, 1.0}, {row, 0, 8.0}};
        ASSERT_EQ(S.set(3, 2, elements), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), (Ints{0, 1, 1, 3})) << "counted at the end";
        EXPECT_EQ(S.values(), (Reals{1.0, 8.0, 7.0}));
    }
    for (const std::int32_t row : {-1, -2, -1000000, lowest}) {
        Sparse S;
        Elements elements{{0, 0, 1.0}, {row, 1, 7.0}, {2, 0, 2.0}};
        ASSERT_EQ(S.set(3, 2, elements), KMATH_OK);
        EXPECT_EQ(S.rowStarts().back(), 3);
        EXPECT_TRUE(std::is_sorted(S->rowStart, S->rowStart + 4));
        EXPECT_EQ(S.values(), (Reals{7.0, 1.0, 2.0}));
    }
    Sparse none;
    Elements elements{{0, 0, 1.0}, {-1, 0, 1.0}, {1, 0, 1.0}};
    EXPECT_EQ(none.set(0, 1, elements), KMATH_OK);
    EXPECT_EQ(none.rowStarts(), Ints{3});
}

TEST(SnmmatrixSetElements, StoresNegativeColumnsUnchecked)
{
    Sparse S;
    Elements elements{{0, 1, 2.0}, {0, -1, 1.0}, {0, lowest, 0.5}};
    ASSERT_EQ(S.set(1, 2, elements), KMATH_OK);
    EXPECT_EQ(S.columns(), (Ints{lowest, -1, 1}));
}

TEST(SnmmatrixSetElements, OrdersIndicesWhoseDifferenceWraps)
{
    Elements rows{{highest, 0, 3.0}, {lowest, 0, 1.0}, {0, 0, 2.0}, {highest, 0, 4.0}};
    Sparse S;
    ASSERT_EQ(S.set(1, 1, rows), KMATH_OK);
    EXPECT_TRUE(isSorted(rows));

    Elements columns{{0, highest - 1, 3.0}, {0, lowest, 1.0}, {0, -5, 2.0}};
    ASSERT_EQ(S.set(1, highest, columns), KMATH_OK);
    EXPECT_TRUE(isSorted(columns));
    EXPECT_EQ(S.values(), (Reals{1.0, 2.0, 3.0}));
}

TEST(SnmmatrixSetElements, FillsAFilledMatrixAgain)
{
    Sparse S;
    fill(S);
    const std::int32_t *starts = S->rowStart;
    Elements other{{1, 0, 1.0}, {1, 1, 2.0}, {1, 7, 3.0}};
    ASSERT_EQ(S.set(3, 8, other), KMATH_OK);
    EXPECT_EQ(S->rowStart, starts) << "as rows and count are the same";
    EXPECT_EQ(S.rowStarts(), (Ints{0, 0, 3, 3}));

    Elements smaller{{0, 0, 1.0}};
    ASSERT_EQ(S.set(1, 1, smaller), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 1}));
    EXPECT_EQ(S->nnz, 1);
    fill(S);
    expectFilled(S);
}

TEST(SnmmatrixSetElements, HoldsItsInvariantsForRandomLists)
{
    std::mt19937 generator(5);
    for (int run = 0; run < 200; ++run) {
        const auto below = [&](std::int32_t n) {
            return static_cast<std::int32_t>(generator() % static_cast<unsigned>(n));
        };
        const std::int32_t rows = 1 + below(12), cols = 1 + below(12);
        Elements elements(static_cast<std::size_t>(below(40)));
        for (auto &e : elements)
            e = {below(rows), below(cols), 1.0 + below(1000)};
        Elements expected = elements;

        Sparse S;
        ASSERT_EQ(S.set(rows, cols, elements), KMATH_OK);
        ASSERT_TRUE(isSorted(elements));
        Elements read;
        for (std::int32_t r = 0; r < rows; ++r)
            for (std::int32_t p = S->rowStart[r]; p < S->rowStart[r + 1]; ++p)
                read.push_back({r, S->colIndex[p], S->values[p]});
        ASSERT_EQ(S->rowStart[0], 0);
        ASSERT_TRUE(isSorted(read)) << "columns ascend in each row";

        // The same entries as were given, in any order within a cell.
        const auto all = [](const auto &a, const auto &b) {
            return std::tie(a.row, a.col, a.value) < std::tie(b.row, b.col, b.value);
        };
        std::sort(read.begin(), read.end(), all);
        std::sort(expected.begin(), expected.end(), all);
        ASSERT_EQ(read.size(), expected.size());
        for (std::size_t i = 0; i < read.size(); ++i)
            ASSERT_FALSE(all(read[i], expected[i]) || all(expected[i], read[i])) << i;
    }
}

TEST(SnmmatrixSetElements, HoldsFewEntriesInAMillionRows)
{
    Sparse S;
    Elements elements{{999999, 0, 3.0}, {0, 999999, 1.0}, {500000, 5, 2.0}};
    ASSERT_EQ(S.set(1000000, 1000000, elements), KMATH_OK);
    EXPECT_EQ(S->rowStart[1], 1);
    EXPECT_EQ(S->rowStart[500000], 1);
    EXPECT_EQ(S->rowStart[500001], 2);
    EXPECT_EQ(S->rowStart[999999], 2);
    EXPECT_EQ(S->rowStart[1000000], 3);
}

TEST(SnmmatrixSetElements, LeavesNoArraysAfterAFailure)
{
    expectEmptyAfterEachFailure([](kmath_snmmatrix *S) {
        Elements elements{{4, 0, 1.0}, {0, 0, 2.0}};
        return kmath_snmmatrix_setElements(S, 5, 1, elements.data(), 2);
    });
    Sparse S;
    fill(S);
    Elements elements{{4, 0, 1.0}, {0, 0, 2.0}};
    const FillWatch watch(2, KMATH_ERR_SINGULAR);
    EXPECT_EQ(S.set(5, 1, elements), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(S.isEmpty());
}

// Filling from a dense matrix.

TEST(SnmmatrixSetMat, KeepsWhatExceedsTheThreshold)
{
    const Matrix A{{0.5, -3.0, 0.0}, {1.0, -1.0, 0.25}, {0.0, 2.0, -0.0}};
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, 1.0), KMATH_OK);
    EXPECT_EQ(S->rows, 3);
    EXPECT_EQ(S->cols, 3);
    EXPECT_EQ(S->nnz, 9);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 1, 1, 2})) << "magnitudes of exactly 1 are dropped";
    EXPECT_EQ(S.columns(), (Ints{1, 1}));
    EXPECT_EQ(S.values(), (Reals{-3.0, 2.0}));

    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, 0.0), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 2, 5, 6})) << "every element but the zeros";
    EXPECT_EQ(S.columns(), (Ints{0, 1, 0, 1, 2, 1}));
    EXPECT_EQ(S.values(), (Reals{0.5, -3.0, 1.0, -1.0, 0.25, 2.0}));
}

TEST(SnmmatrixSetMat, TakesAnyThresholdAndAnyElement)
{
    const Matrix A{{nan, infinity, -infinity, 0.0, -5e-324}};
    const auto kept = [&](double threshold) {
        Sparse S;
        EXPECT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, threshold), KMATH_OK);
        return S.columns();
    };
    EXPECT_EQ(kept(0.0), (Ints{1, 2, 4}));
    EXPECT_EQ(kept(1.0), (Ints{1, 2}));
    EXPECT_EQ(kept(-1.0), (Ints{1, 2, 3, 4}));
    EXPECT_EQ(kept(infinity), Ints{});
    EXPECT_EQ(kept(-infinity), (Ints{1, 2, 3, 4}));
    EXPECT_EQ(kept(nan), Ints{});
}

TEST(SnmmatrixSetMat, CutsTheCapacityToAnInteger)
{
    struct Case {
        std::int32_t rows, cols;
        double fillRatio;
        std::int32_t capacity;
    };
    // 3·0.7 is 2.0999999999999996: the order of the factors shows.
    for (const Case &c : {Case{3, 10, 0.7, 20},
                          {9, 10, 0.3, 26},
                          {4, 4, 0.5, 8},
                          {3, 3, 0.99, 8},
                          {3, 3, 0.1, 0},
                          {3, 3, -0.1, 0},
                          {4, 4, 2.5, 40},
                          {0, 7, 1.0, 0}}) {
        const Matrix A(c.rows, c.cols);
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, c.fillRatio, 0.0), KMATH_OK);
        EXPECT_EQ(S->nnz, c.capacity) << c.rows << " x " << c.cols << " at " << c.fillRatio;
        EXPECT_EQ(S.rowStarts(), Ints(static_cast<std::size_t>(c.rows) + 1, 0));
    }
}

TEST(SnmmatrixSetMat, RefusesACapacityThatIsNoCount)
{
    const Matrix A = identity(4);
    const auto refuses = [&](kmath_status status, double fillRatio) {
        expectRefusal(status, [&](kmath_snmmatrix *S) {
            return kmath_snmmatrix_setMat(S, &A, fillRatio, 0.0);
        });
    };
    refuses(KMATH_ERR_NEGATIVE_SIZE, -1.0 / 16.0);
    refuses(KMATH_ERR_NEGATIVE_SIZE, -1e300);
    refuses(KMATH_ERR_NEGATIVE_SIZE, -infinity);
    refuses(KMATH_ERR_FAILED, 134217728.0); // 2^27 · 16 = 2^31
    refuses(KMATH_ERR_FAILED, infinity);
    refuses(KMATH_ERR_FAILED, nan);
}

TEST(SnmmatrixSetMat, ReadsThroughTheRowTable)
{
    Matrix A = randomMatrix(8, 9, 3);
    const Matrix corner = build(5, 4, [&](int i, int j) { return A(i, j); });
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&A, 5, 4), KMATH_OK);
    Sparse S, T;
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, 0.25), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_setMat(&T, &corner, 1.0, 0.25), KMATH_OK);
    EXPECT_EQ(S.rowStarts(), T.rowStarts());
    EXPECT_EQ(S.columns(), T.columns());
    EXPECT_EQ(S.values(), T.values());
}

TEST(SnmmatrixSetMat, TakesEmptyMatrices)
{
    for (const auto &[rows, cols] : {std::pair{0, 0}, {0, 5}, {5, 0}, {100, 0}}) {
        const Matrix A(rows, cols);
        Sparse S;
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 1.0, 0.0), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), Ints(static_cast<std::size_t>(rows) + 1, 0));
        EXPECT_EQ(S->cols, cols);
    }
}

TEST(SnmmatrixSetMat, FillsAFilledMatrixAgain)
{
    const Matrix A = identity(4), B{{0, 2, 0, 0}, {3, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 4}};
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.5, 0.0), KMATH_OK);
    const kmath_snmmatrix before = *&S;
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_snmmatrix_setMat(&S, &B, 0.5, 0.0), KMATH_OK); }),
              0)
        << "as rows and capacity are the same";
    EXPECT_EQ(S->values, before.values);
    EXPECT_EQ(S.rowStarts(), (Ints{0, 1, 2, 2, 3}));
    EXPECT_EQ(S.columns(), (Ints{1, 0, 3}));
    EXPECT_EQ(S.values(), (Reals{2.0, 3.0, 4.0}));
    fill(S);
    expectFilled(S);
}

TEST(SnmmatrixSetMat, RefusesAMatrixThatLostItsStorage)
{
    Matrix A;
    loseStorage(A, 6, 6);
    expectRefusal(KMATH_ERR_NO_MEMORY,
                  [&](kmath_snmmatrix *S) { return kmath_snmmatrix_setMat(S, &A, 1.0, 0.0); });
}

// A dense n × n matrix whose first `count` elements are not zero.
Matrix withElements(std::int32_t n, std::int32_t count)
{
    return build(n, n, [=](int i, int j) { return i * n + j < count ? i * n + j + 1.0 : 0.0; });
}

TEST(SnmmatrixSetMat, GrowsByTenthsOfTheCells)
{
    struct Case {
        std::int32_t n, count;
        double fillRatio;
        std::int32_t capacity;
    };
    for (const Case &c : {Case{10, 50, 0.1, 54},
                          {10, 11, 0.1, 21},
                          {10, 10, 0.1, 10},
                          {10, 99, 0.0, 99},
                          {4, 16, 0.0, 16},
                          {3, 1, 0.0, 1},
                          {3, 9, 0.0, 9}}) {
        const Matrix A = withElements(c.n, c.count);
        Sparse S, whole;
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, c.fillRatio, 0.0), KMATH_OK);
        EXPECT_EQ(S->nnz, c.capacity);
        ASSERT_EQ(kmath_snmmatrix_setMat(&whole, &A, 1.0, 0.0), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), whole.rowStarts());
        EXPECT_EQ(S.columns(), whole.columns());
        EXPECT_EQ(S.values(), whole.values());
    }
}

TEST(SnmmatrixSetMat, FailsWhereAStepWouldPassTheCells)
{
    const std::int64_t before = liveBlocks();
    Sparse S;
    fill(S);
    const Matrix A = withElements(10, 100); // 0, 11, …, 99, 110
    const std::int64_t ofA = liveBlocks() - before - 3;
    EXPECT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.0, 0.0), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_TRUE(S.isEmpty());
    EXPECT_EQ(liveBlocks(), before + ofA);
}

TEST(SnmmatrixSetMat, LeavesNoArraysAfterAFailingAllocation)
{
    const Matrix A = withElements(10, 50);
    for (const double fillRatio : {1.0, 0.3, 0.0})
        expectEmptyAfterEachFailure(
            [&](kmath_snmmatrix *S) { return kmath_snmmatrix_setMat(S, &A, fillRatio, 0.0); });
}

TEST(SnmmatrixSetMat, LeavesNoArraysAfterAFailingFill)
{
    const Matrix A = withElements(10, 50);
    for (const int failing : {0, 1, 2, 3, 4, 5}) { // the first shape, and the one after growth
        Sparse S;
        fill(S);
        const FillWatch watch(failing, KMATH_ERR_SINGULAR);
        EXPECT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.3, 0.0), KMATH_ERR_SINGULAR);
        EXPECT_TRUE(S.isEmpty()) << failing;
    }
}

TEST(SnmmatrixSetMat, AgreesWithTheListOfTheSameElements)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const Matrix A = randomMatrix(static_cast<std::int32_t>(seed), 13, seed);
        Elements elements;
        for (std::int32_t i = 0; i < A.rows(); ++i)
            for (std::int32_t j = 0; j < A.cols(); ++j)
                if (std::fabs(A(i, j)) > 0.6)
                    elements.push_back({i, j, A(i, j)});
        std::shuffle(elements.begin(), elements.end(), std::mt19937(7));
        Sparse S, T;
        ASSERT_EQ(kmath_snmmatrix_setMat(&S, &A, 0.1, 0.6), KMATH_OK);
        ASSERT_EQ(T.set(A.rows(), A.cols(), elements), KMATH_OK);
        EXPECT_EQ(S.rowStarts(), T.rowStarts());
        EXPECT_EQ(S.columns(), T.columns());
        EXPECT_EQ(S.values(), T.values());
    }
}

} // namespace
