#include <kmath/containers.h>

#include "platform/cleanup_frame.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/vector_model.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

namespace
{

template <class Vector> struct OperationsOf;

#define KSTD_STAMP "containers/vector_cases.inc"
#include <kmath/vector_types.h>

using support::allocationsOf;
using support::assertedLine;
using support::numbersOf;
using support::sweepAllocationFailures;

using Matrices = OperationsOf<kstd_vector_kmath_nmmatrix>;

/// A matrix for each number: its shape, inside the record or on the heap, and its elements follow
/// from the number. 0 is the empty matrix.
struct MatrixValues {
    using Element = kmath_nmmatrix;

    static std::array<std::int32_t, 2> shapeOf(int number)
    {
        constexpr std::array<std::array<std::int32_t, 2>, 5> shapes = {
            {{1, 1}, {2, 8}, {7, 2}, {1, 17}, {5, 5}}};
        return number == 0 ? std::array<std::int32_t, 2>{0, 0}
                           : shapes[static_cast<std::size_t>(number) % shapes.size()];
    }

    static void make(Element &matrix, int number)
    {
        const auto [rows, cols] = shapeOf(number);
        ASSERT_EQ(kmath_nmmatrix_constructRowsColsVal(&matrix, rows, cols, number), KMATH_OK);
    }

    static void release(Element &matrix) { kmath_nmmatrix_destruct(&matrix); }

    /// −1 for anything but the matrix of a number.
    static int numberOf(const Element &matrix)
    {
        const bool isEmpty = matrix.nRows == 0 || matrix.nCols == 0;
        const int number = isEmpty ? 0 : static_cast<int>(matrix.rows[0][0]);
        if (shapeOf(number) != std::array{matrix.nRows, matrix.nCols})
            return -1;
        // A record that was moved bytewise would still point to where it was.
        if (matrix.onHeap == 0 && !isEmpty && matrix.rows != matrix.inlineRows)
            return -1;
        for (std::int32_t i = 0; i < matrix.nRows; ++i)
            for (std::int32_t j = 0; j < matrix.nCols; ++j)
                if (matrix.rows[i][j] != number)
                    return -1;
        return number;
    }
};

using Block = support::ElementBlock<MatrixValues>;

class VectorOfMatrices : public testing::Test
{
  protected:
    VectorOfMatrices() { kstd_vector_kmath_nmmatrix_constructEmpty(&vector); }
    ~VectorOfMatrices() override { kstd_vector_kmath_nmmatrix_destruct(&vector); }

    void fill(std::vector<int> numbers)
    {
        const Block block(numbers);
        ASSERT_EQ(Matrices::assignElements(&vector, block.data(), numbers.size()), KMATH_OK);
    }

    std::vector<int> numbers() const { return numbersOf<Matrices, MatrixValues>(vector); }

    kstd_vector_kmath_nmmatrix vector;
};

TEST(VectorOfMatricesRecord, IsTheGenericVector)
{
    EXPECT_EQ(sizeof(kstd_vector_kmath_nmmatrix), sizeof(kstd_vector_));
    EXPECT_EQ(offsetof(kstd_vector_kmath_nmmatrix, vector), 0u);
}

TEST_F(VectorOfMatrices, CarriesTheOperationsOfItsElements)
{
    const kstd_vectorEtable *table = vector.vector.etable;
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->endMark, nullptr);
    EXPECT_EQ(vector.vector.mtable, nullptr);
    std::size_t size = 0;
    EXPECT_EQ(Matrices::getElementSize(&vector, &size), KMATH_OK);
    EXPECT_EQ(size, sizeof(kmath_nmmatrix));

    const Block block({3, 4});
    kmath_nmmatrix matrix;
    EXPECT_EQ(table->constructEmpty(&matrix), KMATH_OK);
    EXPECT_EQ(MatrixValues::numberOf(matrix), 0);
    EXPECT_EQ(table->assign(&matrix, block.data()), KMATH_OK);
    EXPECT_EQ(MatrixValues::numberOf(matrix), 3);
    EXPECT_EQ(table->destruct(&matrix), KMATH_OK);
    EXPECT_EQ(table->constructCopy(&matrix, block.data() + 1), KMATH_OK);
    EXPECT_EQ(MatrixValues::numberOf(matrix), 4);
    EXPECT_EQ(table->destruct(&matrix), KMATH_OK);
}

TEST_F(VectorOfMatrices, IsConstructedInEveryWay)
{
    const Block block({7, 8, 9});
    const auto expect = [](const std::vector<int> &expected, auto construct) {
        kstd_vector_kmath_nmmatrix made;
        ASSERT_EQ(construct(&made), KMATH_OK);
        EXPECT_EQ((numbersOf<Matrices, MatrixValues>(made)), expected);
        EXPECT_EQ(Matrices::destruct(&made), KMATH_OK);
        EXPECT_EQ(made.vector.size, 0u);
        EXPECT_EQ(made.vector.begin, nullptr);
    };
    fill({1, 2, 3});
    expect({}, [](auto *made) { return Matrices::constructEmpty(made); });
    expect({0, 0, 0, 0}, [](auto *made) { return Matrices::construct(made, 4); });
    expect({}, [](auto *made) { return Matrices::construct(made, 0); });
    expect({8, 8}, [&](auto *made) { return Matrices::constructFill(made, 2, block.data() + 1); });
    expect({7, 8, 9},
           [&](auto *made) { return Matrices::constructFromBlock(made, block.data(), 3); });
    expect({}, [](auto *made) { return Matrices::constructFromBlock(made, nullptr, 0); });
    expect({1, 2, 3}, [&](auto *made) { return Matrices::constructCopy(made, &vector); });
    expect({5, 6}, [](auto *made) {
        const kmath_status status = Matrices::constructUninit(made, 2);
        kmath_nmmatrix *elements;
        Matrices::getBegin(made, &elements);
        MatrixValues::make(elements[0], 5);
        MatrixValues::make(elements[1], 6);
        return status;
    });
}

int taken = 0;

TEST_F(VectorOfMatrices, TakesItsBlockFromTheMemoryTable)
{
    taken = 0;
    const kstd_vectorMtable counting = {[](void **block, std::size_t bytes) {
                                            ++taken;
                                            return ksys_memory_alloc_internal(block, bytes);
                                        },
                                        [](void **block, std::size_t bytes) {
                                            ++taken;
                                            return ksys_memory_realloc_internal(block, bytes);
                                        },
                                        [](void **block) {
                                            --taken;
                                            return ksys_memory_free_internal(block);
                                        }};
    kstd_vector_kmath_nmmatrix counted, copy;
    ASSERT_EQ(Matrices::constructWithMtable(&counted, 3, &counting), KMATH_OK);
    EXPECT_EQ(taken, 1);
    EXPECT_EQ((numbersOf<Matrices, MatrixValues>(counted)), (std::vector{0, 0, 0}));
    ASSERT_EQ(Matrices::constructCopy(&copy, &counted), KMATH_OK);
    EXPECT_EQ(taken, 2);
    Matrices::destruct(&copy);
    ASSERT_EQ(Matrices::reserve(&counted, 30), KMATH_OK);
    EXPECT_EQ(taken, 1) << "the old block is given back";
    Matrices::destruct(&counted);
    EXPECT_EQ(taken, 0);

    ASSERT_EQ(Matrices::constructEmptyWithMtable(&counted, &counting), KMATH_OK);
    EXPECT_EQ(taken, 0);
    ASSERT_EQ(Matrices::resize(&counted, 1), KMATH_OK);
    EXPECT_EQ(taken, 1);
    Matrices::destruct(&counted);
    EXPECT_EQ(taken, 0);
}

TEST_F(VectorOfMatrices, LivesInAHandle)
{
    const std::int64_t before = support::liveBlocks();
    kstd_vector_kmath_nmmatrix *handle = nullptr;
    ASSERT_EQ(Matrices::create(&handle), KMATH_OK);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(Matrices::resize(handle, 3), KMATH_OK);
    ASSERT_EQ(Matrices::create(&handle), KMATH_OK); // the first one is deleted
    EXPECT_TRUE((numbersOf<Matrices, MatrixValues>(*handle)).empty());

    fill({4, 5});
    ASSERT_EQ(Matrices::newClone(&handle, &vector), KMATH_OK);
    EXPECT_NE(handle, &vector);
    EXPECT_EQ((numbersOf<Matrices, MatrixValues>(*handle)), (std::vector{4, 5}));
    const auto *same = handle;
    ASSERT_EQ(Matrices::newClone(&handle, handle), KMATH_OK);
    EXPECT_EQ(handle, same);
    EXPECT_EQ((numbersOf<Matrices, MatrixValues>(*handle)), (std::vector{4, 5}));

    ASSERT_EQ(Matrices::newClone(&handle, nullptr), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(Matrices::newClone(&handle, nullptr), KMATH_OK);
    ASSERT_EQ(Matrices::destroy(&handle), KMATH_OK);
    ASSERT_EQ(Matrices::create(&handle), KMATH_OK);
    ASSERT_EQ(Matrices::destroy(&handle), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
    Matrices::clearAndFreeMemory(&vector);
    EXPECT_EQ(support::liveBlocks(), before);
}

TEST_F(VectorOfMatrices, LeavesANullHandleWhenCloningFails)
{
    fill({3, 4, 5});
    sweepAllocationFailures([&] {
        kstd_vector_kmath_nmmatrix *handle = nullptr;
        const kmath_status status = Matrices::newClone(&handle, &vector);
        EXPECT_EQ(handle == nullptr, KMATH_IS_FAILURE(status));
        Matrices::destroy(&handle);
        return status;
    });
}

TEST_F(VectorOfMatrices, EveryConstructorSurvivesFailingAllocations)
{
    fill({1, 2, 3, 4});
    const Block block({7, 8, 9});
    const auto sweep = [](auto construct) {
        sweepAllocationFailures([&] {
            kstd_vector_kmath_nmmatrix made;
            const kmath_status status = construct(&made);
            if (!KMATH_IS_FAILURE(status))
                Matrices::destruct(&made);
            return status;
        });
    };
    sweep([](auto *made) { return Matrices::construct(made, 4); });
    sweep([&](auto *made) { return Matrices::constructFill(made, 3, block.data() + 1); });
    sweep([&](auto *made) { return Matrices::constructFromBlock(made, block.data(), 3); });
    sweep([&](auto *made) { return Matrices::constructCopy(made, &vector); });
    sweep([](auto *made) { return Matrices::constructUninit(made, 0); });
}

TEST_F(VectorOfMatrices, HandsOutItsElements)
{
    fill({5, 6, 7});
    const auto &constant = vector;
    kmath_nmmatrix *begin, *end, *element;
    const kmath_nmmatrix *constBegin, *constEnd, *constElement;
    std::size_t size;
    std::int32_t size32;
    std::intptr_t sizeIntPtr;

    ASSERT_EQ(Matrices::getBegin(&vector, &begin), KMATH_OK);
    EXPECT_EQ(begin, vector.vector.begin);
    const auto expectAll = [&] {
        EXPECT_EQ(begin, vector.vector.begin);
        EXPECT_EQ(size, 3u);
        EXPECT_EQ(size32, 3);
        EXPECT_EQ(sizeIntPtr, 3);
    };
    begin = nullptr;
    ASSERT_EQ(Matrices::getBeginConst(&constant, &constBegin), KMATH_OK);
    EXPECT_EQ(constBegin, vector.vector.begin);
    ASSERT_EQ(Matrices::getBeginEnd(&vector, &begin, &end), KMATH_OK);
    EXPECT_EQ(end, begin + 3);
    constBegin = nullptr;
    ASSERT_EQ(Matrices::getBeginEndConst(&constant, &constBegin, &constEnd), KMATH_OK);
    EXPECT_EQ(constBegin, begin);
    EXPECT_EQ(constEnd, begin + 3);

    ASSERT_EQ(Matrices::getBeginSize(&vector, &begin, &size), KMATH_OK);
    ASSERT_EQ(Matrices::getBeginSize32(&vector, &begin, &size32), KMATH_OK);
    ASSERT_EQ(Matrices::getBeginSizeIntPtr(&vector, &begin, &sizeIntPtr), KMATH_OK);
    expectAll();
    size = 0, size32 = 0, sizeIntPtr = 0, begin = nullptr;
    ASSERT_EQ(Matrices::getBeginSizeConst(&constant, &constBegin, &size), KMATH_OK);
    ASSERT_EQ(Matrices::getBeginSize32Const(&constant, &constBegin, &size32), KMATH_OK);
    ASSERT_EQ(Matrices::getBeginSizeIntPtrConst(&constant, &constBegin, &sizeIntPtr), KMATH_OK);
    begin = const_cast<kmath_nmmatrix *>(constBegin);
    expectAll();
    size32 = 0, sizeIntPtr = 0;
    ASSERT_EQ(Matrices::getSize(&constant, &size32), KMATH_OK);
    EXPECT_EQ(size32, 3);
    size32 = 0;
    ASSERT_EQ(Matrices::getSize32(&constant, &size32), KMATH_OK);
    ASSERT_EQ(Matrices::getSizeIntPtr(&constant, &sizeIntPtr), KMATH_OK);
    expectAll();

    for (std::size_t i = 0; i < 3; ++i) {
        ASSERT_EQ(Matrices::getElement(&vector, i, &element), KMATH_OK);
        EXPECT_EQ(element, begin + i);
        ASSERT_EQ(Matrices::getElementConst(&constant, i, &constElement), KMATH_OK);
        EXPECT_EQ(constElement, begin + i);
    }
    for (const std::size_t beyond : {std::size_t{3}, SIZE_MAX}) {
        EXPECT_EQ(Matrices::getElement(&vector, beyond, &element), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(element, nullptr);
        EXPECT_EQ(Matrices::getElementConst(&constant, beyond, &constElement),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(constElement, nullptr);
    }
}

TEST_F(VectorOfMatrices, IsWalkedElementByElement)
{
    fill({5, 6, 7});
    std::vector<int> seen, seenConst;
    kmath_nmmatrix *element = nullptr;
    const kmath_nmmatrix *constElement = nullptr;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Matrices::getNextElement(&vector, &element), KMATH_OK);
        seen.push_back(MatrixValues::numberOf(*element));
        ASSERT_EQ(Matrices::getNextElementConst(&vector, &constElement), KMATH_OK);
        seenConst.push_back(MatrixValues::numberOf(*constElement));
    }
    EXPECT_EQ(seen, (std::vector{5, 6, 7}));
    EXPECT_EQ(seenConst, seen);
    ASSERT_EQ(Matrices::getNextElement(&vector, &element), KMATH_OK);
    EXPECT_EQ(element, nullptr);
    ASSERT_EQ(Matrices::getNextElementConst(&vector, &constElement), KMATH_OK);
    EXPECT_EQ(constElement, nullptr);

    kmath_nmmatrix stranger;
    element = &stranger;
    EXPECT_EQ(Matrices::getNextElement(&vector, &element), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(element, nullptr);
}

TEST_F(VectorOfMatrices, LetsTheCallerConstructNewElements)
{
    fill({5, 6});
    ASSERT_EQ(Matrices::resizeUninit(&vector, 4), KMATH_OK);
    kmath_nmmatrix *begin;
    Matrices::getBegin(&vector, &begin);
    MatrixValues::make(begin[2], 8);
    MatrixValues::make(begin[3], 9);
    EXPECT_EQ(numbers(), (std::vector{5, 6, 8, 9}));
    ASSERT_EQ(Matrices::resizeUninit(&vector, 1), KMATH_OK);
    EXPECT_EQ(numbers(), (std::vector{5}));
}

TEST_F(VectorOfMatrices, KeepsItsMemoryWhenClearedAndGivesItBackWhenAsked)
{
    fill({5, 6, 8});
    std::size_t capacity;
    ASSERT_EQ(Matrices::clear(&vector), KMATH_OK);
    Matrices::getCapacity(&vector, &capacity);
    EXPECT_GE(capacity, 3u);
    EXPECT_EQ(vector.vector.size, 0u);
    ASSERT_EQ(Matrices::clearAndFreeMemory(&vector), KMATH_OK);
    Matrices::getCapacity(&vector, &capacity);
    EXPECT_EQ(capacity, 0u);
    EXPECT_EQ(vector.vector.begin, nullptr);
}

TEST_F(VectorOfMatrices, BehavesAsTheModelUnderFailingAllocations)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        support::compareWithModel<Matrices, MatrixValues>(seed, 500);
}

TEST_F(VectorOfMatrices, AssertsItsArguments)
{
    kmath_nmmatrix matrix, *element = nullptr;
    const kmath_nmmatrix *constElement = nullptr;
    std::size_t size;
    std::int32_t size32;
    std::intptr_t sizeIntPtr;
    const auto expectAsserted = [](int line, const auto &body) {
        EXPECT_NE(assertedLine(body), 0) << "line " << line;
    };
#define EXPECT_ASSERTED(...) expectAsserted(__LINE__, [&] { Matrices::__VA_ARGS__; })
    EXPECT_ASSERTED(construct(nullptr, 1));
    EXPECT_ASSERTED(constructWithMtable(nullptr, 1, nullptr));
    EXPECT_ASSERTED(constructEmpty(nullptr));
    EXPECT_ASSERTED(constructEmptyWithMtable(nullptr, nullptr));
    EXPECT_ASSERTED(constructUninit(nullptr, 1));
    EXPECT_ASSERTED(constructFill(nullptr, 1, &matrix));
    EXPECT_ASSERTED(constructFill(&vector, 1, nullptr));
    EXPECT_ASSERTED(constructFromBlock(nullptr, &matrix, 1));
    EXPECT_ASSERTED(constructFromBlock(&vector, nullptr, 1));
    EXPECT_ASSERTED(constructCopy(nullptr, &vector));
    EXPECT_ASSERTED(constructCopy(&vector, nullptr));
    EXPECT_ASSERTED(destruct(nullptr));
    EXPECT_ASSERTED(create(nullptr));
    EXPECT_ASSERTED(newClone(nullptr, &vector));
    EXPECT_ASSERTED(destroy(nullptr));
    EXPECT_ASSERTED(assign(nullptr, &vector));
    EXPECT_ASSERTED(assign(&vector, nullptr));
    EXPECT_ASSERTED(assignElements(nullptr, &matrix, 1));
    EXPECT_ASSERTED(assignElements(&vector, nullptr, 1));
    EXPECT_ASSERTED(append(nullptr, &vector));
    EXPECT_ASSERTED(append(&vector, nullptr));
    EXPECT_ASSERTED(swap(nullptr, &vector));
    EXPECT_ASSERTED(swap(&vector, nullptr));
    EXPECT_ASSERTED(clear(nullptr));
    EXPECT_ASSERTED(clearAndFreeMemory(nullptr));
    EXPECT_ASSERTED(reserve(nullptr, 1));
    EXPECT_ASSERTED(resize(nullptr, 1));
    EXPECT_ASSERTED(resizeFill(nullptr, 1, &matrix));
    EXPECT_ASSERTED(resizeFill(&vector, 1, nullptr));
    EXPECT_ASSERTED(resizeUninit(nullptr, 1));
    EXPECT_ASSERTED(pushBack(nullptr, &matrix));
    EXPECT_ASSERTED(pushBack(&vector, nullptr));
    EXPECT_ASSERTED(popBack(nullptr));
    EXPECT_ASSERTED(insert(nullptr, 0, &matrix, 1));
    EXPECT_ASSERTED(insert(&vector, 0, nullptr, 1));
    EXPECT_ASSERTED(insertElement(nullptr, 0, &matrix));
    EXPECT_ASSERTED(insertElement(&vector, 0, nullptr));
    EXPECT_ASSERTED(erase(nullptr, 0, 1));
    EXPECT_ASSERTED(eraseElement(nullptr, 0));
    EXPECT_ASSERTED(getBegin(nullptr, &element));
    EXPECT_ASSERTED(getBegin(&vector, nullptr));
    EXPECT_ASSERTED(getBeginConst(nullptr, &constElement));
    EXPECT_ASSERTED(getBeginConst(&vector, nullptr));
    EXPECT_ASSERTED(getBeginEnd(nullptr, &element, &element));
    EXPECT_ASSERTED(getBeginEnd(&vector, &element, nullptr));
    EXPECT_ASSERTED(getBeginEndConst(nullptr, &constElement, &constElement));
    EXPECT_ASSERTED(getBeginEndConst(&vector, nullptr, &constElement));
    EXPECT_ASSERTED(getBeginSize(nullptr, &element, &size));
    EXPECT_ASSERTED(getBeginSize(&vector, &element, nullptr));
    EXPECT_ASSERTED(getBeginSizeConst(nullptr, &constElement, &size));
    EXPECT_ASSERTED(getBeginSizeConst(&vector, &constElement, nullptr));
    EXPECT_ASSERTED(getBeginSize32(nullptr, &element, &size32));
    EXPECT_ASSERTED(getBeginSize32(&vector, &element, nullptr));
    EXPECT_ASSERTED(getBeginSize32Const(nullptr, &constElement, &size32));
    EXPECT_ASSERTED(getBeginSize32Const(&vector, &constElement, nullptr));
    EXPECT_ASSERTED(getBeginSizeIntPtr(nullptr, &element, &sizeIntPtr));
    EXPECT_ASSERTED(getBeginSizeIntPtr(&vector, &element, nullptr));
    EXPECT_ASSERTED(getBeginSizeIntPtrConst(nullptr, &constElement, &sizeIntPtr));
    EXPECT_ASSERTED(getBeginSizeIntPtrConst(&vector, &constElement, nullptr));
    EXPECT_ASSERTED(getElement(nullptr, 0, &element));
    EXPECT_ASSERTED(getElement(&vector, 0, nullptr));
    EXPECT_ASSERTED(getElementConst(nullptr, 0, &constElement));
    EXPECT_ASSERTED(getElementConst(&vector, 0, nullptr));
    EXPECT_ASSERTED(getNextElement(nullptr, &element));
    EXPECT_ASSERTED(getNextElement(&vector, nullptr));
    EXPECT_ASSERTED(getNextElementConst(nullptr, &constElement));
    EXPECT_ASSERTED(getNextElementConst(&vector, nullptr));
    EXPECT_ASSERTED(getSize(nullptr, &size32));
    EXPECT_ASSERTED(getSize(&vector, nullptr));
    EXPECT_ASSERTED(getSize32(nullptr, &size32));
    EXPECT_ASSERTED(getSize32(&vector, nullptr));
    EXPECT_ASSERTED(getSizeIntPtr(nullptr, &sizeIntPtr));
    EXPECT_ASSERTED(getSizeIntPtr(&vector, nullptr));
    EXPECT_ASSERTED(getCapacity(nullptr, &size));
    EXPECT_ASSERTED(getCapacity(&vector, nullptr));
    EXPECT_ASSERTED(getElementSize(nullptr, &size));
    EXPECT_ASSERTED(getElementSize(&vector, nullptr));
#undef EXPECT_ASSERTED
}

TEST(VectorOfMatricesFrame, ReleasesTheMatrices)
{
    const std::int64_t before = support::liveBlocks();
    kstd_vector_kmath_nmmatrix vector;
    kmath::CleanupFrame frame(vector);
    ASSERT_EQ(Matrices::resize(&vector, 3), KMATH_OK);
    kmath_nmmatrix *begin;
    Matrices::getBegin(&vector, &begin);
    ASSERT_EQ(kmath_nmmatrix_resize(&begin[1], 10, 10), KMATH_OK);
    EXPECT_GT(support::liveBlocks(), before);
    frame.leave(KMATH_OK);
    EXPECT_EQ(support::liveBlocks(), before);
}

} // namespace
