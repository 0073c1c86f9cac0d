// What a shareable vector holds: its life behind a handle, its content and the access to it.
#include "containers/shareable_vectors.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>

namespace
{

using namespace containers;
using support::assertedLine;
using support::sweepAllocationFailures;

template <class Vector> class ShareableVector : public ShareableTest<Vector>
{
};
TYPED_TEST_SUITE(ShareableVector, VectorTypes, VectorNames);

TYPED_TEST(ShareableVector, IsAnObjectWithAVectorBehindItsHeader)
{
    using S = typename TestFixture::Object;
    EXPECT_EQ(offsetof(S, object), offsetof(kstd_vectorShareable, object));
    EXPECT_EQ(offsetof(S, vector), offsetof(kstd_vectorShareable, vector));
    EXPECT_EQ(sizeof(S), sizeof(kstd_vectorShareable));

    const kstd_vector_ &generic = this->shareable->vector.vector;
    EXPECT_EQ(generic.elementSize, sizeof(ElementOf<TypeParam>));
    EXPECT_EQ(generic.mtable, nullptr);
    ASSERT_NE(generic.etable, nullptr);
    EXPECT_EQ(generic.etable->constructCopy != nullptr, ValuesIn<TypeParam>::ownsMemory);
    EXPECT_EQ(ShareableOf<TypeParam>::typeCheck(this->shareable), KMATH_OK);
}

TYPED_TEST(ShareableVector, IsConstructedInEveryWay)
{
    using Shareable = ShareableOf<TypeParam>;
    const auto expect = [this](const std::vector<int> &expected, auto construct) {
        auto *made = this->shareable; // what the handle holds is not looked at
        ASSERT_EQ(construct(&made), KMATH_OK);
        ASSERT_NE(made, this->shareable);
        EXPECT_EQ(made->object.table, this->shareable->object.table);
        EXPECT_EQ(this->numbersIn(made), expected);
        EXPECT_EQ(Shareable::destruct(&made), KMATH_OK);
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(this->numbersIn(this->shareable), (std::vector{4, 5}));
    };
    this->fill({1, 2, 3});
    this->fillObject({4, 5});
    expect({0, 0, 0}, [](auto **made) { return Shareable::construct(made, 3); });
    expect({}, [](auto **made) { return Shareable::construct(made, 0); });
    expect({}, [](auto **made) { return Shareable::constructEmpty(made); });
    expect({4, 5}, [](auto **made) { return Shareable::constructCopy(made, *made); });
    expect({1, 2, 3},
           [this](auto **made) { return Shareable::constructVector(made, &this->vector); });
    expect({4, 5}, [](auto **made) { return Shareable::constructVector(made, &(*made)->vector); });
}

TYPED_TEST(ShareableVector, RefusesMoreElementsThanCanBeAddressed)
{
    using Shareable = ShareableOf<TypeParam>;
    for (const std::size_t n : {SIZE_MAX, SIZE_MAX / sizeof(ElementOf<TypeParam>)}) {
        auto *made = this->shareable;
        EXPECT_EQ(Shareable::construct(&made, n), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(made, nullptr);
    }
}

TYPED_TEST(ShareableVector, LivesInAHandle)
{
    using Shareable = ShareableOf<TypeParam>;
    const std::int64_t before = support::liveBlocks();
    typename TestFixture::Object *handle = nullptr;
    ASSERT_EQ(Shareable::create(&handle), KMATH_OK);
    ASSERT_NE(handle, nullptr);
    const std::int64_t empty = support::liveBlocks();
    EXPECT_EQ(Shareable::resize(handle, 3), KMATH_OK);
    ASSERT_EQ(Shareable::create(&handle), KMATH_OK);
    EXPECT_TRUE(this->numbersIn(handle).empty());
    EXPECT_EQ(support::liveBlocks(), empty) << "the first one is deleted";

    for (const auto destroy : {Shareable::destroy, Shareable::destruct}) {
        EXPECT_EQ(destroy(&handle), KMATH_OK);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(destroy(&handle), KMATH_OK);
        ASSERT_EQ(Shareable::construct(&handle, 4), KMATH_OK);
    }
    EXPECT_EQ(Shareable::destroy(&handle), KMATH_OK);
    EXPECT_EQ(support::liveBlocks(), before);
}

TYPED_TEST(ShareableVector, IsClonedIntoAHandle)
{
    using Shareable = ShareableOf<TypeParam>;
    this->fillObject({4, 5, 6});
    typename TestFixture::Object *handle = nullptr;
    ASSERT_EQ(Shareable::newClone(&handle, this->shareable), KMATH_OK);
    EXPECT_EQ(this->numbersIn(handle), (std::vector{4, 5, 6}));

    this->fillObject({7, 8});
    EXPECT_EQ(this->numbersIn(handle), (std::vector{4, 5, 6})) << "it is a copy";
    ASSERT_EQ(Shareable::newClone(&handle, this->shareable), KMATH_OK);
    EXPECT_EQ(this->numbersIn(handle), (std::vector{7, 8}));

    const auto *same = handle;
    ASSERT_EQ(Shareable::newClone(&handle, handle), KMATH_OK);
    EXPECT_EQ(handle, same);
    EXPECT_EQ(this->numbersIn(handle), (std::vector{7, 8}));

    ASSERT_EQ(Shareable::newClone(&handle, nullptr), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(Shareable::newClone(&handle, nullptr), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
}

TYPED_TEST(ShareableVector, CopiesEveryElementDeeply)
{
    using Shareable = ShareableOf<TypeParam>;
    this->fillObject({3, 4, 6, 7});
    const auto storageOf = [](const auto &object) {
        Storage storage;
        const ElementOf<TypeParam> *begin = nullptr;
        std::size_t size = 0;
        EXPECT_EQ(Shareable::getBeginSizeConst(object, &begin, &size), KMATH_OK);
        storage.insert(begin);
        for (std::size_t i = 0; i < size; ++i)
            ValuesIn<TypeParam>::addStorage(begin[i], storage);
        return storage;
    };
    const Storage original = storageOf(this->shareable);
    EXPECT_GE(original.size(), ValuesIn<TypeParam>::ownsMemory ? 5u : 1u);

    typename TestFixture::Object *copies[5] = {};
    ASSERT_EQ(Shareable::constructCopy(&copies[0], this->shareable), KMATH_OK);
    ASSERT_EQ(Shareable::constructVector(&copies[1], &this->shareable->vector), KMATH_OK);
    ASSERT_EQ(Shareable::newClone(&copies[2], this->shareable), KMATH_OK);
    ASSERT_EQ(Shareable::construct(&copies[3], 2), KMATH_OK);
    ASSERT_EQ(Shareable::assign(copies[3], this->shareable), KMATH_OK);
    ASSERT_EQ(Shareable::constructEmpty(&copies[4]), KMATH_OK);
    ASSERT_EQ(Shareable::assignVector(copies[4], &this->shareable->vector), KMATH_OK);
    for (auto *&copy : copies) {
        const Storage storage = storageOf(copy);
        EXPECT_EQ(storage.size(), original.size());
        for (const void *block : storage)
            EXPECT_EQ(original.count(block), 0u) << "shared with the source";
    }
    ASSERT_EQ(Shareable::reset(this->shareable), KMATH_OK);
    for (auto *&copy : copies) {
        EXPECT_EQ(this->numbersIn(copy), (std::vector{3, 4, 6, 7}));
        EXPECT_EQ(Shareable::destroy(&copy), KMATH_OK);
    }
}

TYPED_TEST(ShareableVector, TakesItsMemoryFromTheServiceWhateverTheVectorsTable)
{
    using Shareable = ShareableOf<TypeParam>;
    support::blocksOfTable = 0;
    TypeParam counted;
    ASSERT_EQ(OperationsOf<TypeParam>::constructWithMtable(&counted, 3, &support::countingTable),
              KMATH_OK);
    EXPECT_EQ(support::blocksOfTable, 1);
    typename TestFixture::Object *made = nullptr;
    ASSERT_EQ(Shareable::constructVector(&made, &counted), KMATH_OK);
    EXPECT_EQ(Shareable::assignVector(this->shareable, &counted), KMATH_OK);
    EXPECT_EQ(support::blocksOfTable, 1);
    OperationsOf<TypeParam>::destruct(&counted);
    EXPECT_EQ(this->numbersIn(made), (std::vector{0, 0, 0}));
    EXPECT_EQ(this->numbersIn(this->shareable), (std::vector{0, 0, 0}));
    EXPECT_EQ(Shareable::destroy(&made), KMATH_OK);
}

TYPED_TEST(ShareableVector, LeavesANullHandleWhenAllocationsFail)
{
    using Shareable = ShareableOf<TypeParam>;
    this->fill({1, 2, 3});
    this->fillObject({4, 5, 6});
    const auto sweep = [](bool held, auto construct) {
        sweepAllocationFailures([&]() -> kmath_status {
            typename TestFixture::Object *handle = nullptr;
            if (held) {
                const kmath_status status = Shareable::construct(&handle, 2);
                if (KMATH_IS_FAILURE(status))
                    return status;
            }
            const kmath_status status = construct(&handle);
            EXPECT_EQ(handle == nullptr, KMATH_IS_FAILURE(status));
            EXPECT_EQ(Shareable::destroy(&handle), KMATH_OK);
            return status;
        });
    };
    sweep(false, [](auto **handle) { return Shareable::construct(handle, 3); });
    sweep(false, [](auto **handle) { return Shareable::constructEmpty(handle); });
    sweep(false,
          [this](auto **handle) { return Shareable::constructCopy(handle, this->shareable); });
    sweep(false,
          [this](auto **handle) { return Shareable::constructVector(handle, &this->vector); });
    for (const bool held : {false, true}) {
        sweep(held, [](auto **handle) { return Shareable::create(handle); });
        sweep(held, [this](auto **handle) { return Shareable::newClone(handle, this->shareable); });
    }
    EXPECT_EQ(this->numbersIn(this->shareable), (std::vector{4, 5, 6}));
}

TYPED_TEST(ShareableVector, ChangesItsContentInEveryWay)
{
    using Shareable = ShareableOf<TypeParam>;
    const BlockOf<TypeParam> block({7, 8, 9});
    const auto expect = [this](const std::vector<int> &expected, kmath_status status) {
        EXPECT_EQ(status, KMATH_OK);
        EXPECT_EQ(this->numbersIn(this->shareable), expected);
    };
    auto *object = this->shareable;
    expect({7, 8}, Shareable::assignElements(object, block.data(), 2));
    expect({7, 8, 9}, Shareable::pushBack(object, block.data() + 2));
    expect({7, 8, 9, 0, 0}, Shareable::resize(object, 5));
    expect({7}, Shareable::resize(object, 1));
    this->fill({1, 2, 3});
    expect({1, 2, 3}, Shareable::assignVector(object, &this->vector));
    EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3}));

    typename TestFixture::Object *other = nullptr;
    ASSERT_EQ(Shareable::construct(&other, 2), KMATH_OK);
    expect({0, 0}, Shareable::assign(object, other));
    expect({}, Shareable::assignElements(object, nullptr, 0));
    expect({7, 8, 9}, Shareable::assignElements(object, block.data(), 3));
    ASSERT_EQ(Shareable::reset(other), KMATH_OK);
    expect({}, Shareable::assign(object, other));
    ASSERT_EQ(Shareable::destroy(&other), KMATH_OK);
}

TYPED_TEST(ShareableVector, TakesItsOwnElements)
{
    using Shareable = ShareableOf<TypeParam>;
    auto *object = this->shareable;
    const auto at = [object](std::size_t i) {
        const ElementOf<TypeParam> *begin = nullptr, *end = nullptr;
        EXPECT_EQ(Shareable::getBeginEndConst(object, &begin, &end), KMATH_OK);
        return begin + i;
    };
    this->fillObject({1, 2, 3, 4, 5});
    ASSERT_EQ(Shareable::assign(object, object), KMATH_OK);
    EXPECT_EQ(this->numbersIn(object), (std::vector{1, 2, 3, 4, 5}));
    ASSERT_EQ(Shareable::assignVector(object, &object->vector), KMATH_OK);
    EXPECT_EQ(this->numbersIn(object), (std::vector{1, 2, 3, 4, 5}));
    ASSERT_EQ(Shareable::assignElements(object, at(1), 3), KMATH_OK);
    EXPECT_EQ(this->numbersIn(object), (std::vector{2, 3, 4}));

    std::vector<int> expected = {2, 3, 4};
    for (std::size_t i = 0; i < 40; ++i) { // past several reallocations
        ASSERT_EQ(Shareable::pushBack(object, at(i)), KMATH_OK);
        expected.push_back(expected[i]);
    }
    EXPECT_EQ(this->numbersIn(object), expected);
}

TYPED_TEST(ShareableVector, KeepsItsElementsWhenAllocationsFail)
{
    using Shareable = ShareableOf<TypeParam>;
    const BlockOf<TypeParam> block({7, 8, 9, 10, 11, 12});
    const BlockOf<TypeParam> original({4, 5});
    this->fill({1, 2, 3});
    this->fillObject({1, 2, 3});
    const auto sweep = [&](auto change) {
        sweepAllocationFailures([&]() -> kmath_status {
            typename TestFixture::Object *held = nullptr;
            kmath_status status = Shareable::constructEmpty(&held);
            if (KMATH_IS_FAILURE(status))
                return status;
            status = Shareable::assignElements(held, original.data(), 2);
            if (!KMATH_IS_FAILURE(status)) {
                status = change(held);
                if (KMATH_IS_FAILURE(status)) {
                    EXPECT_EQ(this->numbersIn(held), (std::vector{4, 5}));
                }
            }
            EXPECT_EQ(Shareable::destroy(&held), KMATH_OK);
            return status;
        });
    };
    sweep([this](auto *held) { return Shareable::assign(held, this->shareable); });
    sweep([this](auto *held) { return Shareable::assignVector(held, &this->vector); });
    sweep([&](auto *held) { return Shareable::assignElements(held, block.data(), 6); });
    sweep([&](auto *held) { return Shareable::pushBack(held, block.data()); });
    sweep([](auto *held) { return Shareable::resize(held, 5); });
    sweep([](auto *held) { return Shareable::reserve(held, 50); });
    for (const std::size_t huge : {SIZE_MAX, SIZE_MAX / 2}) {
        EXPECT_EQ(Shareable::reserve(this->shareable, huge), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(Shareable::resize(this->shareable, huge), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(this->numbersIn(this->shareable), (std::vector{1, 2, 3}));
    }
}

TYPED_TEST(ShareableVector, ReservesRoomAndGivesItBackWhenReset)
{
    using Shareable = ShareableOf<TypeParam>;
    auto *object = this->shareable;
    const BlockOf<TypeParam> block({5});
    const std::int64_t empty = support::liveBlocks();
    std::size_t capacity = 1;
    ASSERT_EQ(Shareable::getCapacity(object, &capacity), KMATH_OK);
    EXPECT_EQ(capacity, 0u);
    ASSERT_EQ(Shareable::reserve(object, 20), KMATH_OK);
    ASSERT_EQ(Shareable::getCapacity(object, &capacity), KMATH_OK);
    EXPECT_GE(capacity, 20u);
    EXPECT_TRUE(this->numbersIn(object).empty());

    const ElementOf<TypeParam> *begin = nullptr, *later = nullptr;
    std::size_t size = 1;
    ASSERT_EQ(Shareable::getBeginSizeConst(object, &begin, &size), KMATH_OK);
    EXPECT_EQ(size, 0u);
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(Shareable::pushBack(object, block.data()), KMATH_OK);
    ASSERT_EQ(Shareable::getBeginSizeConst(object, &later, &size), KMATH_OK);
    EXPECT_EQ(later, begin) << "there was room";
    ASSERT_EQ(Shareable::reserve(object, 1), KMATH_OK);
    EXPECT_EQ(this->numbersIn(object), std::vector<int>(20, 5));

    ASSERT_EQ(Shareable::reset(object), KMATH_OK);
    ASSERT_EQ(Shareable::getCapacity(object, &capacity), KMATH_OK);
    EXPECT_EQ(capacity, 0u);
    EXPECT_EQ(object->vector.vector.begin, nullptr);
    EXPECT_EQ(support::liveBlocks(), empty);
    ASSERT_EQ(Shareable::reset(object), KMATH_OK);
    this->fillObject({3});
    EXPECT_EQ(this->numbersIn(object), (std::vector{3}));
}

TYPED_TEST(ShareableVector, HandsOutItsElements)
{
    using Shareable = ShareableOf<TypeParam>;
    using T = ElementOf<TypeParam>;
    for (const int n : {0, 1, 3}) {
        this->fillObject(std::vector<int>(static_cast<std::size_t>(n), 6));
        auto *object = this->shareable;
        const auto *constant = this->shareable;
        T *begin = nullptr, *beginOfSize = nullptr, *end = nullptr;
        const T *constBegin = nullptr, *constBeginOfSize = nullptr, *constEnd = nullptr;
        std::size_t size = 77, constSize = 77, elementSize = 0;
        std::int32_t size32 = 77;
        EXPECT_EQ(Shareable::getBeginEnd(object, &begin, &end), KMATH_OK);
        EXPECT_EQ(Shareable::getBeginEndConst(constant, &constBegin, &constEnd), KMATH_OK);
        EXPECT_EQ(Shareable::getBeginSize(object, &beginOfSize, &size), KMATH_OK);
        EXPECT_EQ(Shareable::getBeginSizeConst(constant, &constBeginOfSize, &constSize), KMATH_OK);
        EXPECT_EQ(Shareable::getSize(constant, &size32), KMATH_OK);
        EXPECT_EQ(Shareable::getElementSize(constant, &elementSize), KMATH_OK);
        EXPECT_EQ(begin, object->vector.vector.begin);
        EXPECT_EQ(begin, beginOfSize);
        EXPECT_EQ(begin, constBegin);
        EXPECT_EQ(begin, constBeginOfSize);
        EXPECT_EQ(end - begin, n);
        EXPECT_EQ(constEnd, end);
        EXPECT_EQ(size, static_cast<std::size_t>(n));
        EXPECT_EQ(constSize, size);
        EXPECT_EQ(size32, n);
        EXPECT_EQ(elementSize, sizeof(T));
    }
}

TYPED_TEST(ShareableVector, SaysSoWhenItsSizeDoesNotFit)
{
    using Shareable = ShareableOf<TypeParam>;
    const std::size_t size = this->shareable->vector.vector.size;
    std::int32_t size32 = 0;
    this->shareable->vector.vector.size = INT32_MAX;
    EXPECT_EQ(Shareable::getSize(this->shareable, &size32), KMATH_OK);
    EXPECT_EQ(size32, INT32_MAX);
    this->shareable->vector.vector.size = std::size_t{INT32_MAX} + 1;
    EXPECT_EQ(Shareable::getSize(this->shareable, &size32), KMATH_ERR_FAILED);
    EXPECT_EQ(size32, INT32_MAX);
    this->shareable->vector.vector.size = size;
}

TYPED_TEST(ShareableVector, AssertsItsArguments)
{
    using Shareable = ShareableOf<TypeParam>;
    using T = ElementOf<TypeParam>;
    const BlockOf<TypeParam> block({1});
    auto *object = this->shareable;
    typename TestFixture::Object *handle = nullptr;
    T *begin = nullptr, *end = nullptr;
    const T *constBegin = nullptr, *constEnd = nullptr;
    std::size_t size = 0;
    std::int32_t size32 = 0;
    const auto expectAsserted = [](int line, const std::function<void()> &body) {
        EXPECT_NE(assertedLine(body), 0) << "line " << line;
    };
#define EXPECT_ASSERTED(...) expectAsserted(__LINE__, [&] { Shareable::__VA_ARGS__; })
    EXPECT_ASSERTED(construct(nullptr, 1));
    EXPECT_ASSERTED(constructCopy(nullptr, object));
    EXPECT_ASSERTED(constructCopy(&handle, nullptr));
    EXPECT_ASSERTED(constructVector(nullptr, &this->vector));
    EXPECT_ASSERTED(constructVector(&handle, nullptr));
    EXPECT_ASSERTED(constructEmpty(nullptr));
    EXPECT_ASSERTED(create(nullptr));
    EXPECT_ASSERTED(newClone(nullptr, object));
    EXPECT_ASSERTED(destroy(nullptr));
    EXPECT_ASSERTED(destruct(nullptr));
    EXPECT_ASSERTED(assign(nullptr, object));
    EXPECT_ASSERTED(assign(object, nullptr));
    EXPECT_ASSERTED(assignVector(nullptr, &this->vector));
    EXPECT_ASSERTED(assignVector(object, nullptr));
    EXPECT_ASSERTED(assignElements(nullptr, block.data(), 1));
    EXPECT_ASSERTED(assignElements(object, nullptr, 1));
    EXPECT_ASSERTED(reset(nullptr));
    EXPECT_ASSERTED(reserve(nullptr, 1));
    EXPECT_ASSERTED(resize(nullptr, 1));
    EXPECT_ASSERTED(pushBack(nullptr, block.data()));
    EXPECT_ASSERTED(pushBack(object, nullptr));
    EXPECT_ASSERTED(getBeginEnd(nullptr, &begin, &end));
    EXPECT_ASSERTED(getBeginEnd(object, nullptr, &end));
    EXPECT_ASSERTED(getBeginEnd(object, &begin, nullptr));
    EXPECT_ASSERTED(getBeginEndConst(nullptr, &constBegin, &constEnd));
    EXPECT_ASSERTED(getBeginEndConst(object, nullptr, &constEnd));
    EXPECT_ASSERTED(getBeginEndConst(object, &constBegin, nullptr));
    EXPECT_ASSERTED(getBeginSize(nullptr, &begin, &size));
    EXPECT_ASSERTED(getBeginSize(object, nullptr, &size));
    EXPECT_ASSERTED(getBeginSize(object, &begin, nullptr));
    EXPECT_ASSERTED(getBeginSizeConst(nullptr, &constBegin, &size));
    EXPECT_ASSERTED(getBeginSizeConst(object, nullptr, &size));
    EXPECT_ASSERTED(getBeginSizeConst(object, &constBegin, nullptr));
    EXPECT_ASSERTED(getCapacity(nullptr, &size));
    EXPECT_ASSERTED(getCapacity(object, nullptr));
    EXPECT_ASSERTED(getElementSize(nullptr, &size));
    EXPECT_ASSERTED(getElementSize(object, nullptr));
    EXPECT_ASSERTED(getSize(nullptr, &size32));
    EXPECT_ASSERTED(getSize(object, nullptr));
    if constexpr (requires { &Shareable::compareEqual; }) {
        std::uint32_t equal = 0;
        EXPECT_ASSERTED(compareEqual(nullptr, object, &equal));
        EXPECT_ASSERTED(compareEqual(object, nullptr, &equal));
        EXPECT_ASSERTED(compareEqual(object, object, nullptr));
    }
#undef EXPECT_ASSERTED
    EXPECT_EQ(handle, nullptr);
}

template <class Vector> class ComparableShareableVector : public ShareableTest<Vector>
{
};
TYPED_TEST_SUITE(ComparableShareableVector, ComparableVectorTypes, VectorNames);

TYPED_TEST(ComparableShareableVector, IsEqualWhereItsVectorIs)
{
    using Shareable = ShareableOf<TypeParam>;
    const std::vector<std::vector<int>> contents = {{},     {0},       {1},       {2},
                                                    {1, 2}, {1, 2, 3}, {1, 2, 4}, {3, 2, 1}};
    typename TestFixture::Object *other = nullptr;
    ASSERT_EQ(Shareable::constructEmpty(&other), KMATH_OK);
    for (const std::vector<int> &a : contents) {
        this->fillObject(a);
        for (const std::vector<int> &b : contents) {
            const BlockOf<TypeParam> block(b);
            ASSERT_EQ(Shareable::assignElements(other, block.data(), b.size()), KMATH_OK);
            std::uint32_t equal = 77, equalVectors = 88;
            EXPECT_EQ(Shareable::compareEqual(this->shareable, other, &equal), KMATH_OK);
            EXPECT_EQ(OperationsOf<TypeParam>::compareEqual(&this->shareable->vector,
                                                            &other->vector, &equalVectors),
                      KMATH_OK);
            EXPECT_EQ(equal, a == b ? 1u : 0u);
            EXPECT_EQ(equal, equalVectors);
        }
        std::uint32_t equal = 77;
        EXPECT_EQ(Shareable::compareEqual(this->shareable, this->shareable, &equal), KMATH_OK);
        EXPECT_EQ(equal, 1u);
    }
    EXPECT_EQ(Shareable::destroy(&other), KMATH_OK);
}

} // namespace
