#include "containers/typed_vectors.hpp"

#include "platform/cleanup_frame.hpp"

#include <cstddef>

namespace
{

using namespace containers;
using support::allocationsOf;
using support::sweepAllocationFailures;

template <class Vector> class TypedVector : public VectorTest<Vector>
{
};
TYPED_TEST_SUITE(TypedVector, VectorTypes, VectorNames);

TYPED_TEST(TypedVector, IsTheGenericVector)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(kstd_vector_));
    EXPECT_EQ(offsetof(TypeParam, vector), 0u);
    EXPECT_EQ(this->vector.vector.mtable, nullptr);
    std::size_t size = 0;
    EXPECT_EQ(OperationsOf<TypeParam>::getElementSize(&this->vector, &size), KMATH_OK);
    EXPECT_EQ(size, sizeof(ElementOf<TypeParam>));
    EXPECT_EQ(OperationsOf<TypeParam>::typeCheck(&this->vector), KMATH_OK);
}

TYPED_TEST(TypedVector, CarriesTheOperationsOfItsElements)
{
    using Values = ValuesIn<TypeParam>;
    const kstd_vectorEtable *table = this->vector.vector.etable;
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->endMark, nullptr);
    if (!Values::ownsMemory) {
        EXPECT_EQ(table->constructEmpty, nullptr);
        EXPECT_EQ(table->constructCopy, nullptr);
        EXPECT_EQ(table->assign, nullptr);
        EXPECT_EQ(table->destruct, nullptr);
        return;
    }
    const BlockOf<TypeParam> block({3, 4});
    ElementOf<TypeParam> element;
    EXPECT_EQ(table->constructEmpty(&element), KMATH_OK);
    EXPECT_EQ(Values::numberOf(element), 0);
    EXPECT_EQ(table->assign(&element, block.data()), KMATH_OK);
    EXPECT_EQ(Values::numberOf(element), 3);
    EXPECT_EQ(table->destruct(&element), KMATH_OK);
    EXPECT_EQ(table->constructCopy(&element, block.data() + 1), KMATH_OK);
    EXPECT_EQ(Values::numberOf(element), 4);
    EXPECT_EQ(table->destruct(&element), KMATH_OK);
}

TYPED_TEST(TypedVector, IsConstructedInEveryWay)
{
    using Operations = OperationsOf<TypeParam>;
    const BlockOf<TypeParam> block({7, 8, 9});
    const auto expect = [](const std::vector<int> &expected, auto construct) {
        TypeParam made;
        ASSERT_EQ(construct(&made), KMATH_OK);
        EXPECT_EQ(numbersOf(made), expected);
        EXPECT_EQ(Operations::destruct(&made), KMATH_OK);
        EXPECT_EQ(made.vector.size, 0u);
        EXPECT_EQ(made.vector.begin, nullptr);
    };
    this->fill({1, 2, 3});
    expect({}, [](auto *made) { return Operations::constructEmpty(made); });
    expect({0, 0, 0, 0}, [](auto *made) { return Operations::construct(made, 4); });
    expect({}, [](auto *made) { return Operations::construct(made, 0); });
    expect({8, 8},
           [&](auto *made) { return Operations::constructFill(made, 2, block.data() + 1); });
    expect({}, [&](auto *made) { return Operations::constructFill(made, 0, block.data()); });
    expect({7, 8, 9},
           [&](auto *made) { return Operations::constructFromBlock(made, block.data(), 3); });
    expect({}, [](auto *made) { return Operations::constructFromBlock(made, nullptr, 0); });
    expect({1, 2, 3}, [&](auto *made) { return Operations::constructCopy(made, &this->vector); });
    expect({5, 6}, [](auto *made) {
        const kmath_status status = Operations::constructUninit(made, 2);
        ElementOf<TypeParam> *elements;
        Operations::getBegin(made, &elements);
        ValuesIn<TypeParam>::make(elements[0], 5);
        ValuesIn<TypeParam>::make(elements[1], 6);
        return status;
    });
}

TYPED_TEST(TypedVector, MayBeFilledAgainOnceDestructed)
{
    this->fill({1, 2, 3});
    ASSERT_EQ(OperationsOf<TypeParam>::destruct(&this->vector), KMATH_OK);
    this->fill({4, 5});
    EXPECT_EQ(this->numbers(), (std::vector{4, 5}));
}

TYPED_TEST(TypedVector, TakesItsBlockFromTheMemoryTable)
{
    using Operations = OperationsOf<TypeParam>;
    using support::blocksOfTable;
    using support::countingTable;
    blocksOfTable = 0;
    TypeParam counted, copy;
    ASSERT_EQ(Operations::constructWithMtable(&counted, 3, &countingTable), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 1);
    EXPECT_EQ(numbersOf(counted), (std::vector{0, 0, 0}));
    ASSERT_EQ(Operations::constructCopy(&copy, &counted), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 2) << "a copy has the same table";
    Operations::destruct(&copy);
    TypeParam *clone = nullptr;
    ASSERT_EQ(Operations::newClone(&clone, &counted), KMATH_OK);
    EXPECT_EQ(clone->vector.mtable, nullptr) << "a clone is the memory service's";
    EXPECT_EQ(blocksOfTable, 1);
    Operations::destroy(&clone);
    ASSERT_EQ(Operations::reserve(&counted, 30), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 1) << "the old block is given back";
    Operations::destruct(&counted);
    EXPECT_EQ(blocksOfTable, 0);

    ASSERT_EQ(Operations::constructEmptyWithMtable(&counted, &countingTable), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 0);
    ASSERT_EQ(Operations::resize(&counted, 1), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 1);
    this->fill({1, 2});
    ASSERT_EQ(Operations::assign(&counted, &this->vector), KMATH_OK);
    EXPECT_EQ(counted.vector.mtable, &countingTable) << "assigning leaves the table";
    ASSERT_EQ(Operations::swap(&counted, &this->vector), KMATH_OK);
    EXPECT_EQ(this->vector.vector.mtable, &countingTable) << "swapping takes it along";
    Operations::destruct(&counted);
    EXPECT_EQ(blocksOfTable, 1);
    Operations::clearAndFreeMemory(&this->vector);
    EXPECT_EQ(blocksOfTable, 0);

    ASSERT_EQ(Operations::constructWithMtable(&counted, 2, nullptr), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 0) << "without a table the memory service is used";
    Operations::destruct(&counted);
    ASSERT_EQ(Operations::constructEmptyWithMtable(&counted, nullptr), KMATH_OK);
    ASSERT_EQ(Operations::resize(&counted, 2), KMATH_OK);
    EXPECT_EQ(blocksOfTable, 0);
    Operations::destruct(&counted);
}

TYPED_TEST(TypedVector, PassesTheFailureOfItsMemoryTableOn)
{
    using Operations = OperationsOf<TypeParam>;
    static bool refusing;
    refusing = false;
    constexpr kstd_vectorMtable table = {
        [](void **block, std::size_t bytes) {
            return refusing ? KMATH_ERR_DIVIDE_BY_ZERO : ksys_memory_alloc_internal(block, bytes);
        },
        [](void **block, std::size_t bytes) {
            return refusing ? KMATH_ERR_DIVIDE_BY_ZERO : ksys_memory_realloc_internal(block, bytes);
        },
        ksys_memory_free_internal};
    this->fill({1, 2, 3});
    TypeParam made;
    ASSERT_EQ(Operations::constructEmptyWithMtable(&made, &table), KMATH_OK);
    ASSERT_EQ(Operations::assign(&made, &this->vector), KMATH_OK);
    refusing = true;
    EXPECT_EQ(Operations::pushBack(&made, this->element(0)), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(Operations::insert(&made, 1, this->element(0), 3), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(Operations::resize(&made, 50), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(Operations::reserve(&made, 50), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(numbersOf(made), (std::vector{1, 2, 3}));
    TypeParam other;
    EXPECT_EQ(Operations::constructWithMtable(&other, 3, &table), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(Operations::constructCopy(&other, &made), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(Operations::destruct(&made), KMATH_OK);
}

TYPED_TEST(TypedVector, LivesInAHandle)
{
    using Operations = OperationsOf<TypeParam>;
    TypeParam *handle = nullptr;
    ASSERT_EQ(Operations::create(&handle), KMATH_OK);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(Operations::resize(handle, 3), KMATH_OK);
    ASSERT_EQ(Operations::create(&handle), KMATH_OK); // the first one is deleted
    EXPECT_TRUE(numbersOf(*handle).empty());

    this->fill({4, 5});
    ASSERT_EQ(Operations::newClone(&handle, &this->vector), KMATH_OK);
    EXPECT_NE(handle, &this->vector);
    EXPECT_EQ(numbersOf(*handle), (std::vector{4, 5}));
    const auto *same = handle;
    ASSERT_EQ(Operations::newClone(&handle, handle), KMATH_OK);
    EXPECT_EQ(handle, same);
    EXPECT_EQ(numbersOf(*handle), (std::vector{4, 5}));

    ASSERT_EQ(Operations::newClone(&handle, nullptr), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(Operations::newClone(&handle, nullptr), KMATH_OK);
    ASSERT_EQ(Operations::destroy(&handle), KMATH_OK);
    ASSERT_EQ(Operations::create(&handle), KMATH_OK);
    ASSERT_EQ(Operations::destroy(&handle), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
}

TYPED_TEST(TypedVector, LeavesANullHandleWhenMakingOneFails)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({3, 4, 5});
    for (const bool occupied : {false, true})
        for (const bool clone : {false, true}) {
            const auto run = [&](TypeParam **handle) {
                return clone ? Operations::newClone(handle, &this->vector)
                             : Operations::create(handle);
            };
            const std::int64_t before = support::liveBlocks();
            for (int failing = 0;; ++failing) {
                TypeParam *handle = nullptr;
                if (occupied) {
                    ASSERT_EQ(Operations::newClone(&handle, &this->vector), KMATH_OK);
                }
                support::failAllocation(failing);
                const kmath_status status = run(&handle);
                const bool failed = support::allocationHasFailed();
                support::failAllocation(-1);
                EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
                EXPECT_EQ(handle == nullptr, failed);
                EXPECT_EQ(Operations::destroy(&handle), KMATH_OK);
                ASSERT_EQ(support::liveBlocks(), before);
                if (!failed)
                    break;
            }
        }
}

TYPED_TEST(TypedVector, EveryConstructorSurvivesFailingAllocations)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2, 3, 4});
    const BlockOf<TypeParam> block({7, 8, 9});
    const auto sweep = [](auto construct) {
        sweepAllocationFailures([&] {
            TypeParam made;
            const kmath_status status = construct(&made);
            if (!KMATH_IS_FAILURE(status))
                Operations::destruct(&made);
            return status;
        });
    };
    sweep([](auto *made) { return Operations::construct(made, 4); });
    sweep([](auto *made) {
        return Operations::constructWithMtable(made, 4, &support::countingTable);
    });
    sweep([&](auto *made) { return Operations::constructFill(made, 3, block.data() + 1); });
    sweep([&](auto *made) { return Operations::constructFromBlock(made, block.data(), 3); });
    sweep([&](auto *made) { return Operations::constructCopy(made, &this->vector); });
    sweep([](auto *made) { return Operations::constructUninit(made, 0); });
}

TYPED_TEST(TypedVector, KeepsItsElementsThroughFailingAllocations)
{
    using Operations = OperationsOf<TypeParam>;
    auto *changed = &this->vector;
    const BlockOf<TypeParam> block({7, 8, 9, 10, 11});
    TypeParam other;
    ASSERT_EQ(Operations::constructFromBlock(&other, block.data(), 5), KMATH_OK);
    // An operation on 1, 2, 3, 4, in a block with room for no more or for plenty.
    const auto sweep = [&](const std::vector<int> &after, auto operation) {
        for (const std::size_t room : {4u, 30u})
            for (int failing = 0;; ++failing) {
                this->fill({1, 2, 3, 4});
                ASSERT_EQ(Operations::reserve(changed, room), KMATH_OK);
                support::failAllocation(failing);
                const kmath_status status = operation();
                const bool failed = support::allocationHasFailed();
                support::failAllocation(-1);
                ASSERT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
                ASSERT_EQ(this->numbers(), failed ? std::vector({1, 2, 3, 4}) : after);
                Operations::clearAndFreeMemory(changed);
                if (!failed)
                    break;
            }
    };
    sweep({7, 8, 9, 10, 11}, [&] { return Operations::assign(changed, &other); });
    sweep({7, 8}, [&] { return Operations::assignElements(changed, block.data(), 2); });
    sweep({2, 3}, [&] { return Operations::assignElements(changed, this->element(1), 2); });
    sweep({1, 2, 3, 4, 7, 8, 9, 10, 11}, [&] { return Operations::append(changed, &other); });
    sweep({1, 2, 3, 4, 1, 2, 3, 4}, [&] { return Operations::append(changed, changed); });
    sweep({1, 2, 3, 4}, [&] { return Operations::reserve(changed, 50); });
    sweep({1, 2, 3, 4, 0, 0}, [&] { return Operations::resize(changed, 6); });
    sweep({1, 2}, [&] { return Operations::resize(changed, 2); });
    sweep({1, 2, 3, 4, 9, 9}, [&] { return Operations::resizeFill(changed, 6, block.data() + 2); });
    sweep({1, 2, 3, 4, 7}, [&] { return Operations::pushBack(changed, block.data()); });
    sweep({1, 2, 3, 4, 1}, [&] { return Operations::pushBack(changed, this->element(0)); });
    sweep({1, 7, 8, 2, 3, 4}, [&] { return Operations::insert(changed, 1, block.data(), 2); });
    sweep({1, 3, 4, 2, 3, 4}, [&] { return Operations::insert(changed, 1, this->element(2), 2); });
    sweep({7, 1, 2, 3, 4}, [&] { return Operations::insertElement(changed, 0, block.data()); });
    sweep({1, 4}, [&] { return Operations::erase(changed, 1, 2); });
    sweep({2, 3, 4}, [&] { return Operations::eraseElement(changed, 0); });
    sweep({1, 2, 3}, [&] { return Operations::popBack(changed); });
    sweep({}, [&] { return Operations::clear(changed); });
    sweep({}, [&] { return Operations::clearAndFreeMemory(changed); });
    Operations::destruct(&other);
}

TYPED_TEST(TypedVector, HandsOutItsElements)
{
    for (const std::vector<int> &numbers :
         {std::vector<int>{}, std::vector{5}, std::vector{5, 6, 7}}) {
        this->fill(numbers);
        support::expectAgreeingGetters<OperationsOf<TypeParam>>(this->vector);
        EXPECT_EQ(this->numbers(), numbers);
    }
    EXPECT_EQ(this->element(0), this->vector.vector.begin);
}

TYPED_TEST(TypedVector, WalksOnlyItsOwnElements)
{
    using Operations = OperationsOf<TypeParam>;
    using Element = ElementOf<TypeParam>;
    this->fill({5, 6, 7});
    Element stranger;
    for (const std::size_t far : {std::size_t{3}, SIZE_MAX}) {
        Element *element = &stranger;
        const Element *constElement = &stranger;
        if (far == 3)
            constElement = element = this->element(3);
        EXPECT_EQ(Operations::getNextElement(&this->vector, &element), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(element, nullptr);
        EXPECT_EQ(Operations::getNextElementConst(&this->vector, &constElement),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(constElement, nullptr);
    }
}

TYPED_TEST(TypedVector, LetsTheCallerConstructNewElements)
{
    this->fill({5, 6});
    ASSERT_EQ(OperationsOf<TypeParam>::resizeUninit(&this->vector, 4), KMATH_OK);
    ValuesIn<TypeParam>::make(*this->element(2), 8);
    ValuesIn<TypeParam>::make(*this->element(3), 9);
    EXPECT_EQ(this->numbers(), (std::vector{5, 6, 8, 9}));
    ASSERT_EQ(OperationsOf<TypeParam>::resizeUninit(&this->vector, 1), KMATH_OK);
    EXPECT_EQ(this->numbers(), (std::vector{5}));
}

TYPED_TEST(TypedVector, KeepsItsMemoryWhenClearedAndGivesItBackWhenAsked)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({5, 6, 8});
    std::size_t capacity;
    ASSERT_EQ(Operations::clear(&this->vector), KMATH_OK);
    Operations::getCapacity(&this->vector, &capacity);
    EXPECT_GE(capacity, 3u);
    EXPECT_TRUE(this->numbers().empty());
    EXPECT_EQ(support::liveBlocks(), this->blocksBefore + 1) << "the elements' memory is released";
    ASSERT_EQ(Operations::clearAndFreeMemory(&this->vector), KMATH_OK);
    Operations::getCapacity(&this->vector, &capacity);
    EXPECT_EQ(capacity, 0u);
    EXPECT_EQ(support::liveBlocks(), this->blocksBefore);
}

TYPED_TEST(TypedVector, GrowsGeometrically)
{
    using Operations = OperationsOf<TypeParam>;
    const BlockOf<TypeParam> empty({0});
    std::size_t copied = 0;
    const std::int64_t allocations = allocationsOf([&] {
        for (std::size_t i = 0; i < 100000; ++i) {
            const std::size_t capacity = this->vector.vector.capacity;
            ASSERT_EQ(Operations::pushBack(&this->vector, empty.data()), KMATH_OK);
            if (this->vector.vector.capacity != capacity)
                copied += i;
        }
    });
    EXPECT_LT(allocations, 40) << "an empty element owns nothing yet";
    EXPECT_LT(copied, 400000u) << "a constant number of copies for each element";
    EXPECT_EQ(this->vector.vector.size, 100000u);
}

TYPED_TEST(TypedVector, KeepsItsPlaceWithinWhatItHasReserved)
{
    using Operations = OperationsOf<TypeParam>;
    const BlockOf<TypeParam> one({5});
    ASSERT_EQ(Operations::reserve(&this->vector, 100), KMATH_OK);
    const auto *place = this->element(0);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(Operations::pushBack(&this->vector, one.data()), KMATH_OK);
    EXPECT_EQ(this->element(0), place);
    EXPECT_EQ(this->numbers(), std::vector<int>(100, 5));
}

TYPED_TEST(TypedVector, InsertsAnyPartOfItselfAnywhere)
{
    using Operations = OperationsOf<TypeParam>;
    const std::vector<int> numbers = {1, 2, 3, 4, 5};
    const auto at = [&](std::size_t i) { return numbers.begin() + static_cast<std::ptrdiff_t>(i); };
    for (const std::size_t room : {5u, 20u})
        for (std::size_t position = 0; position <= 5; ++position)
            for (std::size_t first = 0; first <= 5; ++first)
                for (std::size_t n = 0; first + n <= 5; ++n) {
                    this->fill(numbers);
                    ASSERT_EQ(Operations::reserve(&this->vector, room), KMATH_OK);
                    std::vector<int> expected(at(0), at(position));
                    expected.insert(expected.end(), at(first), at(first + n));
                    expected.insert(expected.end(), at(position), at(5));
                    ASSERT_EQ(Operations::insert(&this->vector, position, this->element(first), n),
                              KMATH_OK);
                    ASSERT_EQ(this->numbers(), expected);
                    Operations::clearAndFreeMemory(&this->vector);
                }
    this->fill(numbers);
    ASSERT_EQ(Operations::append(&this->vector, &this->vector), KMATH_OK);
    EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3, 4, 5, 1, 2, 3, 4, 5}));
    ASSERT_EQ(Operations::assign(&this->vector, &this->vector), KMATH_OK);
    ASSERT_EQ(Operations::assignElements(&this->vector, this->element(3), 3), KMATH_OK);
    EXPECT_EQ(this->numbers(), (std::vector{4, 5, 1}));
    ASSERT_EQ(Operations::insertElement(&this->vector, 0, this->element(2)), KMATH_OK);
    ASSERT_EQ(Operations::resizeFill(&this->vector, 9, this->element(1)), KMATH_OK);
    EXPECT_EQ(this->numbers(), (std::vector{1, 4, 5, 1, 4, 4, 4, 4, 4}));
}

TYPED_TEST(TypedVector, RefusesPositionsAndCountsBeyondIt)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2, 3});
    const BlockOf<TypeParam> one({5});
    const auto refused = [&](kmath_status status) {
        EXPECT_EQ(status, KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3}));
    };
    ElementOf<TypeParam> *element = nullptr;
    const ElementOf<TypeParam> *constElement = nullptr;
    for (const std::size_t beyond : {std::size_t{4}, SIZE_MAX - 1, SIZE_MAX}) {
        refused(Operations::insert(&this->vector, beyond, one.data(), 1));
        refused(Operations::insert(&this->vector, beyond, nullptr, 0));
        refused(Operations::insertElement(&this->vector, beyond, one.data()));
        refused(Operations::erase(&this->vector, beyond, 0));
        refused(Operations::erase(&this->vector, 0, beyond));
        refused(Operations::erase(&this->vector, 2, beyond));
        refused(Operations::eraseElement(&this->vector, beyond));
        element = this->element(0), constElement = element;
        refused(Operations::getElement(&this->vector, beyond, &element));
        EXPECT_EQ(element, nullptr);
        refused(Operations::getElementConst(&this->vector, beyond, &constElement));
        EXPECT_EQ(constElement, nullptr);
    }
    refused(Operations::eraseElement(&this->vector, 3));
    EXPECT_EQ(Operations::erase(&this->vector, 3, 0), KMATH_OK);
    Operations::clear(&this->vector);
    EXPECT_EQ(Operations::popBack(&this->vector), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(Operations::eraseElement(&this->vector, 0), KMATH_ERR_BAD_DIMENSIONS);
}

TYPED_TEST(TypedVector, RefusesMoreElementsThanCanBeAddressed)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2});
    const BlockOf<TypeParam> one({5});
    constexpr std::size_t size = sizeof(ElementOf<TypeParam>);
    for (const std::size_t n : {SIZE_MAX, SIZE_MAX / size, SIZE_MAX / size + 1, SIZE_MAX / size + 2,
                                std::size_t{PTRDIFF_MAX}, PTRDIFF_MAX / size + 1}) {
        const auto refused = [&](kmath_status status) {
            EXPECT_EQ(status, KMATH_ERR_NO_MEMORY) << n;
            EXPECT_EQ(this->numbers(), (std::vector{1, 2})) << n;
        };
        refused(Operations::resize(&this->vector, n));
        refused(Operations::resizeFill(&this->vector, n, one.data()));
        refused(Operations::resizeUninit(&this->vector, n));
        refused(Operations::reserve(&this->vector, n));
        refused(Operations::insert(&this->vector, 1, one.data(), n));
        refused(Operations::assignElements(&this->vector, one.data(), n));
        TypeParam made;
        refused(Operations::construct(&made, n));
        refused(Operations::constructWithMtable(&made, n, &support::countingTable));
        refused(Operations::constructUninit(&made, n));
        refused(Operations::constructFill(&made, n, one.data()));
        refused(Operations::constructFromBlock(&made, one.data(), n));
    }
}

TEST(VectorOfMatrices, IsReleasedByACleanUpFrame)
{
    const std::int64_t before = support::liveBlocks();
    kstd_vector_kmath_nmmatrix vector;
    kmath::CleanupFrame frame(vector);
    ASSERT_EQ(kstd_vector_kmath_nmmatrix_resize(&vector, 3), KMATH_OK);
    kmath_nmmatrix *begin;
    kstd_vector_kmath_nmmatrix_getBegin(&vector, &begin);
    ASSERT_EQ(kmath_nmmatrix_resize(&begin[1], 10, 10), KMATH_OK);
    EXPECT_GT(support::liveBlocks(), before);
    frame.leave(KMATH_OK);
    EXPECT_EQ(support::liveBlocks(), before);
}

} // namespace
