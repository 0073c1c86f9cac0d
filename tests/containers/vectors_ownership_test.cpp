// Elements that own memory: copies share none of it, and what is dropped is released.
#include "containers/typed_vectors.hpp"

namespace
{

using namespace containers;

template <class Vector> Storage storageOf(const Vector &vector)
{
    Storage storage;
    NestedValues<Vector>::addStorage(vector, storage);
    return storage;
}

/// All blocks below the vector's own, each counted for every element that has it.
template <class Vector> std::size_t blocksOfElements(const Vector &vector)
{
    const ElementOf<Vector> *begin = nullptr;
    std::size_t size = 0, blocks = 0;
    OperationsOf<Vector>::getBeginSizeConst(&vector, &begin, &size);
    for (std::size_t i = 0; i < size; ++i) {
        Storage storage;
        ValuesIn<Vector>::addStorage(begin[i], storage);
        blocks += storage.size();
    }
    return blocks;
}

template <class Vector> class OwningVector : public VectorTest<Vector>
{
  protected:
    /// No two elements share a block.
    void expectSeparateElements()
    {
        EXPECT_EQ(storageOf(this->vector).size(), 1 + blocksOfElements(this->vector));
    }

    static void expectSeparate(const Vector &a, const Vector &b)
    {
        const Storage inB = storageOf(b);
        for (const void *block : storageOf(a))
            EXPECT_EQ(inB.count(block), 0u);
    }
};
TYPED_TEST_SUITE(OwningVector, OwningVectorTypes, VectorNames);

TYPED_TEST(OwningVector, CopiesShareNoMemory)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2, 3, 4});
    const auto *source = &this->vector;
    const ElementOf<TypeParam> *begin = this->element(0);
    const auto expectDeep = [&](auto construct) {
        TypeParam copy;
        ASSERT_EQ(construct(&copy), KMATH_OK);
        ASSERT_EQ(numbersOf(copy), (std::vector{1, 2, 3, 4}));
        this->expectSeparate(copy, *source);

        // Another element in either is not seen in the other.
        ElementOf<TypeParam> *changed = nullptr;
        Operations::getElement(&copy, 1, &changed);
        ValuesIn<TypeParam>::release(*changed);
        ValuesIn<TypeParam>::make(*changed, 9);
        EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3, 4}));
        EXPECT_EQ(numbersOf(copy), (std::vector{1, 9, 3, 4}));
        EXPECT_EQ(Operations::destruct(&copy), KMATH_OK);
        EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3, 4}));
    };
    expectDeep([&](auto *copy) { return Operations::constructCopy(copy, source); });
    expectDeep([&](auto *copy) { return Operations::constructFromBlock(copy, begin, 4); });
    const auto expectDeepInto = [&](auto fill) {
        expectDeep([&](auto *copy) {
            Operations::construct(copy, 2);
            return fill(copy);
        });
    };
    expectDeepInto([&](auto *copy) { return Operations::assign(copy, source); });
    expectDeepInto([&](auto *copy) { return Operations::assignElements(copy, begin, 4); });
    expectDeepInto([&](auto *copy) {
        Operations::clear(copy);
        return Operations::append(copy, source);
    });
    expectDeepInto([&](auto *copy) {
        Operations::clear(copy);
        return Operations::insert(copy, 0, begin, 4);
    });
    expectDeepInto([&](auto *copy) {
        Operations::clear(copy);
        for (int i = 3; i > 0; --i)
            EXPECT_EQ(Operations::insertElement(copy, 0, begin + i), KMATH_OK);
        return Operations::insertElement(copy, 0, begin);
    });
    expectDeepInto([&](auto *copy) {
        Operations::clear(copy);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(Operations::pushBack(copy, begin + i), KMATH_OK);
        return Operations::pushBack(copy, begin + 3);
    });

    TypeParam *handle = nullptr;
    ASSERT_EQ(Operations::newClone(&handle, source), KMATH_OK);
    this->expectSeparate(*handle, *source);
    Operations::destroy(&handle);
    EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3, 4}));
}

TYPED_TEST(OwningVector, CopiesOfItsOwnElementsShareNoMemory)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2, 3, 4});
    ASSERT_EQ(Operations::append(&this->vector, &this->vector), KMATH_OK);
    ASSERT_EQ(Operations::insert(&this->vector, 2, this->element(1), 5), KMATH_OK);
    ASSERT_EQ(Operations::pushBack(&this->vector, this->element(0)), KMATH_OK);
    ASSERT_EQ(Operations::resizeFill(&this->vector, 20, this->element(2)), KMATH_OK);
    EXPECT_EQ(this->numbers(),
              (std::vector{1, 2, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 2, 2, 2, 2, 2}));
    this->expectSeparateElements();
    TypeParam made;
    ASSERT_EQ(Operations::constructFill(&made, 5, this->element(2)), KMATH_OK);
    Operations::swap(&made, &this->vector);
    EXPECT_EQ(Operations::destruct(&made), KMATH_OK);
    EXPECT_EQ(this->numbers(), std::vector<int>(5, 2));
    this->expectSeparateElements();
}

TYPED_TEST(OwningVector, SwappingMovesNoElement)
{
    using Operations = OperationsOf<TypeParam>;
    this->fill({1, 2, 3});
    const Storage before = storageOf(this->vector);
    TypeParam other;
    ASSERT_EQ(Operations::constructEmpty(&other), KMATH_OK);
    ASSERT_EQ(Operations::swap(&other, &this->vector), KMATH_OK);
    EXPECT_EQ(storageOf(other), before);
    EXPECT_EQ(numbersOf(other), (std::vector{1, 2, 3}));
    EXPECT_TRUE(this->numbers().empty());
    Operations::destruct(&other);
}

TYPED_TEST(OwningVector, ReleasesWhatItDrops)
{
    using Operations = OperationsOf<TypeParam>;
    auto *changed = &this->vector;
    const auto blocksOf = [&](const std::vector<int> &numbers) {
        const BlockOf<TypeParam> block(numbers);
        TypeParam made;
        const std::int64_t before = support::liveBlocks();
        Operations::constructFromBlock(&made, block.data(), numbers.size());
        const std::int64_t blocks = support::liveBlocks() - before;
        Operations::destruct(&made);
        return blocks;
    };
    const auto expectLeft = [&](const std::vector<int> &left, auto operation) {
        Operations::clearAndFreeMemory(changed);
        this->fill({13, 3, 18, 8, 23}); // matrices of numbers 3 + 5·k are on the heap
        ASSERT_EQ(operation(), KMATH_OK);
        EXPECT_EQ(this->numbers(), left);
        EXPECT_EQ(support::liveBlocks() - this->blocksBefore,
                  left.empty() ? 1 : blocksOf(left)); // an empty one keeps its own block
    };
    EXPECT_GT(blocksOf({13}), 1) << "elements own blocks";
    expectLeft({13, 3, 18, 8}, [&] { return Operations::popBack(changed); });
    expectLeft({13, 8, 23}, [&] { return Operations::erase(changed, 1, 2); });
    expectLeft({3, 18, 8, 23}, [&] { return Operations::eraseElement(changed, 0); });
    expectLeft({13, 3}, [&] { return Operations::resize(changed, 2); });
    expectLeft({13, 3}, [&] { return Operations::resizeFill(changed, 2, nullptr); });
    expectLeft({13}, [&] { return Operations::resizeUninit(changed, 1); });
    expectLeft({}, [&] { return Operations::clear(changed); });
    expectLeft({18}, [&] { return Operations::assignElements(changed, this->element(2), 1); });
    expectLeft({13, 3, 18, 8, 23}, [&] { return Operations::reserve(changed, 50); });
}

template <class Vector> class PlainVector : public VectorTest<Vector>
{
};
TYPED_TEST_SUITE(PlainVector, PlainVectorTypes, VectorNames);

TYPED_TEST(PlainVector, MovesItsElementsAsMemory)
{
    using Operations = OperationsOf<TypeParam>;
    constexpr std::size_t n = 10000;
    std::vector<int> numbers(n);
    for (std::size_t i = 0; i < n; ++i)
        numbers[i] = static_cast<int>(i % 997) + 1;
    const BlockOf<TypeParam> block(numbers);
    auto *changed = &this->vector;
    // However many elements: this many blocks, copies of memory at most, and fills.
    const auto expectCalls = [&](std::int64_t blocks, int copies, std::size_t fills,
                                 auto operation) {
        const support::CopyWatch copyWatch;
        const support::FillWatch fillWatch;
        EXPECT_EQ(support::allocationsOf([&] { EXPECT_EQ(operation(), KMATH_OK); }), blocks);
        EXPECT_LE(copyWatch.calls(), copies);
        EXPECT_EQ(fillWatch.bytes().size(), fills);
    };
    const std::size_t size = sizeof(ElementOf<TypeParam>);
    expectCalls(1, 1, 0, [&] { return Operations::assignElements(changed, block.data(), n); });
    EXPECT_EQ(this->numbers(), numbers);
    EXPECT_EQ(std::memcmp(this->element(0), block.data(), n * size), 0);
    expectCalls(1, 0, 0, [&] { return Operations::reserve(changed, 4 * n); });
    expectCalls(0, 2, 0, [&] { return Operations::insert(changed, 0, block.data(), n); });
    expectCalls(0, 1, 0, [&] { return Operations::erase(changed, n / 2, n); });
    expectCalls(0, 1, 0, [&] { return Operations::append(changed, changed); });
    expectCalls(0, 0, 1, [&] { return Operations::resize(changed, 3 * n); });
    expectCalls(0, 0, 0, [&] { return Operations::resizeUninit(changed, 4 * n); });
    expectCalls(0, 0, 0, [&] { return Operations::resizeUninit(changed, 2 * n); });
    TypeParam copy;
    expectCalls(1, 1, 0, [&] { return Operations::constructCopy(&copy, changed); });
    EXPECT_EQ(numbersOf(copy), this->numbers());
    expectCalls(0, 0, 0, [&] { return Operations::clear(changed); });
    Operations::destruct(&copy);
}

} // namespace
