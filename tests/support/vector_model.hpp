// A randomised test of a vector against std::vector.
//
// `Operations` names the functions of one vector type, `Values` says what an element holds: it
// makes an element for a number and reads the number back. Allocations fail at random; a failing
// operation must then give the allocator's status and leave the elements as they were.
#pragma once

#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

namespace support
{

/// Elements for numbers, in a row, for as long as it lives.
template <class Values> class ElementBlock
{
  public:
    explicit ElementBlock(std::vector<int> wanted) : numbers(std::move(wanted))
    {
        elements = std::make_unique<typename Values::Element[]>(numbers.size() + 1);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            Values::make(elements[i], numbers[i]);
    }
    ~ElementBlock()
    {
        for (std::size_t i = 0; i < numbers.size(); ++i)
            Values::release(elements[i]);
    }
    ElementBlock(const ElementBlock &) = delete;
    ElementBlock &operator=(const ElementBlock &) = delete;

    const typename Values::Element *data() const { return elements.get(); }

    const std::vector<int> numbers;

  private:
    std::unique_ptr<typename Values::Element[]> elements;
};

/// The numbers of a vector's elements.
template <class Operations, class Values>
std::vector<int> numbersOf(const typename Operations::Vector &vector)
{
    const typename Values::Element *begin = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(Operations::getBeginSizeConst(&vector, &begin, &size), KMATH_OK);
    std::vector<int> numbers;
    for (std::size_t i = 0; i < size; ++i)
        numbers.push_back(Values::numberOf(begin[i]));
    return numbers;
}

/// Blocks that vectors with the table below hold.
inline std::int64_t blocksOfTable = 0;

/// A memory table that counts its blocks.
inline constexpr kstd_vectorMtable countingTable = {
    [](void **block, std::size_t bytes) {
        const kmath_status status = ksys_memory_alloc_internal(block, bytes);
        blocksOfTable += *block ? 1 : 0;
        return status;
    },
    ksys_memory_realloc_internal,
    [](void **block) {
        blocksOfTable -= *block ? 1 : 0;
        return ksys_memory_free_internal(block);
    }};

/// All getters of a vector agree, and walking it meets each element in turn.
template <class Operations> void expectAgreeingGetters(typename Operations::Vector &vector)
{
    using Element = typename Operations::Element;
    const auto &constant = vector;
    std::size_t size = 0, capacity = 0, elementSize = 0;
    Element *begin = nullptr;
    ASSERT_EQ(Operations::getBeginSize(&vector, &begin, &size), KMATH_OK);
    ASSERT_EQ(Operations::getCapacity(&constant, &capacity), KMATH_OK);
    ASSERT_GE(capacity, size);
    ASSERT_EQ(Operations::getElementSize(&constant, &elementSize), KMATH_OK);
    ASSERT_EQ(elementSize, sizeof(Element));

    Element *firsts[4] = {}, *end = nullptr;
    const Element *constFirsts[5] = {}, *constEnd = nullptr;
    std::size_t sizes[1] = {};
    std::int32_t sizes32[4] = {};
    std::intptr_t sizesIntPtr[3] = {};
    const kmath_status statuses[] = {
        Operations::getBegin(&vector, &firsts[0]),
        Operations::getBeginEnd(&vector, &firsts[1], &end),
        Operations::getBeginSize32(&vector, &firsts[2], &sizes32[0]),
        Operations::getBeginSizeIntPtr(&vector, &firsts[3], &sizesIntPtr[0]),
        Operations::getBeginConst(&constant, &constFirsts[0]),
        Operations::getBeginEndConst(&constant, &constFirsts[1], &constEnd),
        Operations::getBeginSizeConst(&constant, &constFirsts[2], &sizes[0]),
        Operations::getBeginSize32Const(&constant, &constFirsts[3], &sizes32[1]),
        Operations::getBeginSizeIntPtrConst(&constant, &constFirsts[4], &sizesIntPtr[1]),
        Operations::getSize(&constant, &sizes32[2]),
        Operations::getSize32(&constant, &sizes32[3]),
        Operations::getSizeIntPtr(&constant, &sizesIntPtr[2])};
    const auto all = [](const auto &values, const auto &expected) {
        return std::all_of(std::begin(values), std::end(values),
                           [&](const auto &value) { return value == expected; });
    };
    ASSERT_TRUE(all(statuses, KMATH_OK));
    ASSERT_TRUE(all(firsts, begin) && end == begin + size);
    ASSERT_TRUE(all(constFirsts, begin) && constEnd == begin + size);
    ASSERT_TRUE(all(sizes, size));
    ASSERT_TRUE(all(sizes32, static_cast<std::int32_t>(size)));
    ASSERT_TRUE(all(sizesIntPtr, static_cast<std::intptr_t>(size)));

    Element *next = nullptr, *element = nullptr;
    const Element *constNext = nullptr, *constElement = nullptr;
    for (std::size_t i = 0; i <= size; ++i) {
        Element *const expected = i < size ? begin + i : nullptr;
        const kmath_status found = i < size ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS;
        ASSERT_EQ(Operations::getNextElement(&vector, &next), KMATH_OK);
        ASSERT_EQ(next, expected);
        ASSERT_EQ(Operations::getNextElementConst(&constant, &constNext), KMATH_OK);
        ASSERT_EQ(constNext, expected);
        ASSERT_EQ(Operations::getElement(&vector, i, &element), found);
        ASSERT_EQ(element, expected);
        ASSERT_EQ(Operations::getElementConst(&constant, i, &constElement), found);
        ASSERT_EQ(constElement, expected);
    }
}

template <class Operations, class Values> class VectorModel
{
    using Vector = typename Operations::Vector;
    using Element = typename Values::Element;
    using Numbers = std::vector<int>;

  public:
    explicit VectorModel(std::uint64_t seed) : generator(seed)
    {
        for (auto &vector : vectors)
            Operations::constructEmpty(&vector);
    }
    ~VectorModel()
    {
        for (auto &vector : vectors)
            Operations::destruct(&vector);
        Operations::destroy(&handle);
    }
    VectorModel(const VectorModel &) = delete;
    VectorModel &operator=(const VectorModel &) = delete;

    /// Any one operation on one of two vectors or on a third one in a handle, with arguments of its
    /// own, of another vector's or of the vector's own.
    void step()
    {
        static constexpr void (VectorModel::*operations[])() = {
            &VectorModel::pushBack,       &VectorModel::pushBackOwn,
            &VectorModel::popBack,        &VectorModel::insert,
            &VectorModel::insertOwn,      &VectorModel::insertElement,
            &VectorModel::erase,          &VectorModel::eraseElement,
            &VectorModel::resize,         &VectorModel::resizeFill,
            &VectorModel::resizeFillOwn,  &VectorModel::resizeUninit,
            &VectorModel::reserve,        &VectorModel::assign,
            &VectorModel::assignElements, &VectorModel::assignElementsOwn,
            &VectorModel::append,         &VectorModel::appendSelf,
            &VectorModel::swap,           &VectorModel::clear,
            &VectorModel::construct,      &VectorModel::constructFilled,
            &VectorModel::constructCopy,  &VectorModel::changeHandle,
            &VectorModel::goBeyond,       &VectorModel::look};
        chosen = upTo(1);
        (this->*operations[upTo(std::size(operations) - 1)])();
    }

    /// All elements are those of the model.
    void check() const
    {
        check(vectors[0], models[0]);
        check(vectors[1], models[1]);
        if (handle)
            check(*handle, handleModel);
    }

  private:
    // Content.

    void pushBack()
    {
        const auto one = block(1);
        attempt([&] { return Operations::pushBack(&vector(), one.data()); },
                [&] { model().push_back(one.numbers[0]); });
    }

    void pushBackOwn()
    {
        if (model().empty())
            return;
        const std::size_t own = upTo(model().size() - 1);
        attempt([&] { return Operations::pushBack(&vector(), begin() + own); },
                [&] { model().push_back(int{model()[own]}); });
    }

    void popBack()
    {
        attempt([&] { return Operations::popBack(&vector()); }, [&] { model().pop_back(); },
                validIf(!model().empty()));
    }

    void insert()
    {
        const auto some = block(upTo(6));
        const std::size_t position = anyPosition();
        attempt(
            [&] {
                return Operations::insert(&vector(), position, some.data(), some.numbers.size());
            },
            [&] { model().insert(at(position), some.numbers.begin(), some.numbers.end()); },
            validIf(position <= model().size()));
    }

    void insertOwn()
    {
        const Range own = ownRange();
        const Numbers numbers = numbersIn(own);
        const std::size_t position = anyPosition();
        attempt(
            [&] { return Operations::insert(&vector(), position, begin() + own.first, own.size); },
            [&] { model().insert(at(position), numbers.begin(), numbers.end()); },
            validIf(position <= model().size()));
    }

    void insertElement()
    {
        const auto one = block(1);
        const std::size_t position = anyPosition();
        attempt([&] { return Operations::insertElement(&vector(), position, one.data()); },
                [&] { model().insert(at(position), one.numbers[0]); },
                validIf(position <= model().size()));
    }

    void erase()
    {
        const std::size_t size = model().size(), position = anyPosition();
        const std::size_t count = upTo(size + 2 - position);
        attempt([&] { return Operations::erase(&vector(), position, count); },
                [&] { model().erase(at(position), at(position + count)); },
                validIf(position <= size && count <= size - position));
    }

    void eraseElement()
    {
        const std::size_t position = anyPosition();
        attempt([&] { return Operations::eraseElement(&vector(), position); },
                [&] { model().erase(at(position)); }, validIf(position < model().size()));
    }

    void resize()
    {
        const std::size_t size = upTo(12);
        attempt([&] { return Operations::resize(&vector(), size); }, [&] { model().resize(size); });
    }

    void resizeFill()
    {
        const auto one = block(1);
        const std::size_t size = upTo(12);
        attempt([&] { return Operations::resizeFill(&vector(), size, one.data()); },
                [&] { model().resize(size, one.numbers[0]); });
    }

    void resizeFillOwn()
    {
        const std::size_t size = model().size();
        if (size == 0 || size > large)
            return;
        const std::size_t own = upTo(size - 1);
        attempt([&] { return Operations::resizeFill(&vector(), size * 2, begin() + own); },
                [&] { model().resize(size * 2, int{model()[own]}); });
    }

    void resizeUninit()
    {
        const std::size_t size = upTo(12);
        attempt([&] { return Operations::resizeUninit(&vector(), size); },
                [&] {
                    if (size < model().size())
                        model().resize(size);
                    makeFrom(vector(), model().size(), size);
                    while (model().size() < size)
                        model().push_back(numberAt(model().size()));
                });
    }

    void reserve()
    {
        const std::size_t capacity = model().size() + upTo(12);
        attempt([&] { return Operations::reserve(&vector(), capacity); }, [] {});
    }

    void assign()
    {
        const Source source = anyVector();
        if (source.vector)
            attempt([&] { return Operations::assign(&vector(), source.vector); },
                    [&] { model() = Numbers(*source.numbers); });
    }

    void assignElements()
    {
        const auto some = block(upTo(6));
        attempt(
            [&] { return Operations::assignElements(&vector(), some.data(), some.numbers.size()); },
            [&] { model() = some.numbers; });
    }

    void assignElementsOwn()
    {
        const Range own = ownRange();
        const Numbers numbers = numbersIn(own);
        attempt(
            [&] { return Operations::assignElements(&vector(), begin() + own.first, own.size); },
            [&] { model() = numbers; });
    }

    void append()
    {
        const Source source = anyVector();
        if (source.vector && model().size() + source.numbers->size() <= 2 * large)
            attempt([&] { return Operations::append(&vector(), source.vector); },
                    [&] {
                        const Numbers added = *source.numbers;
                        model().insert(model().end(), added.begin(), added.end());
                    });
    }

    void appendSelf()
    {
        if (model().size() > large)
            return;
        attempt([&] { return Operations::append(&vector(), &vector()); },
                [&] {
                    const Numbers added = model();
                    model().insert(model().end(), added.begin(), added.end());
                });
    }

    void swap()
    {
        attempt([&] { return Operations::swap(&vectors[0], &vectors[1]); },
                [&] { models[0].swap(models[1]); });
    }

    void clear()
    {
        if (model().size() <= large && upTo(3) != 0)
            return;
        const auto operation = upTo(1) == 0 ? Operations::clear : Operations::clearAndFreeMemory;
        attempt([&] { return operation(&vector()); }, [&] { model().clear(); });
    }

    // Life. What is constructed takes the vector's place; where that fails, nothing is left.

    void construct()
    {
        const std::size_t n = upTo(12);
        const kstd_vectorMtable *table = upTo(1) == 0 ? &countingTable : nullptr;
        switch (upTo(3)) {
        case 0:
            return replace(Numbers(n),
                           [&](Vector *made) { return Operations::construct(made, n); });
        case 1:
            return replace(Numbers(n), [&](Vector *made) {
                return Operations::constructWithMtable(made, n, table);
            });
        case 2:
            return replace({}, [&](Vector *made) {
                return Operations::constructEmptyWithMtable(made, table);
            });
        default:
            Numbers numbers;
            while (numbers.size() < n)
                numbers.push_back(numberAt(numbers.size()));
            return replace(
                numbers, [&](Vector *made) { return Operations::constructUninit(made, n); },
                [&](Vector &made) { makeFrom(made, 0, n); });
        }
    }

    void constructFilled()
    {
        const auto some = block(upTo(6) + 1);
        const std::size_t n = some.numbers.size();
        if (upTo(1) == 0)
            return replace(Numbers(n, some.numbers.back()), [&](Vector *made) {
                return Operations::constructFill(made, n, some.data() + n - 1);
            });
        replace(some.numbers,
                [&](Vector *made) { return Operations::constructFromBlock(made, some.data(), n); });
    }

    void constructCopy()
    {
        const Source source = anyVector();
        if (source.vector)
            replace(Numbers(*source.numbers),
                    [&](Vector *made) { return Operations::constructCopy(made, source.vector); });
    }

    void changeHandle()
    {
        const Source source = anyVector();
        const Numbers cloned = *source.numbers;
        switch (upTo(3)) {
        case 0:
            attempt([&] { return Operations::create(&handle); }, [&] { handleModel.clear(); });
            break;
        case 1:
            attempt([&] { return Operations::destroy(&handle); },
                    [&] { EXPECT_EQ(handle, nullptr); });
            break;
        default:
            attempt([&] { return Operations::newClone(&handle, source.vector); },
                    [&] {
                        EXPECT_EQ(handle == nullptr, source.vector == nullptr);
                        handleModel = cloned;
                    });
        }
        if (!handle)
            handleModel.clear();
    }

    // Refusals and getters.

    void goBeyond()
    {
        const auto one = block(1);
        const std::size_t huge = SIZE_MAX - upTo(upTo(1) == 0 ? 3 : SIZE_MAX / 2);
        const std::size_t position = upTo(model().size());
        Element *element = nullptr;
        switch (upTo(6)) {
        case 0:
            return refuse(KMATH_ERR_NO_MEMORY, [&] { return Operations::resize(&vector(), huge); });
        case 1:
            return refuse(KMATH_ERR_NO_MEMORY,
                          [&] { return Operations::reserve(&vector(), huge); });
        case 2:
            return refuse(KMATH_ERR_NO_MEMORY,
                          [&] { return Operations::resizeFill(&vector(), huge, one.data()); });
        case 3:
            return refuse(KMATH_ERR_NO_MEMORY, [&] {
                return Operations::insert(&vector(), position, one.data(), huge);
            });
        case 4:
            return refuse(KMATH_ERR_BAD_DIMENSIONS,
                          [&] { return Operations::erase(&vector(), position, huge); });
        case 5:
            return refuse(KMATH_ERR_BAD_DIMENSIONS,
                          [&] { return Operations::insertElement(&vector(), huge, one.data()); });
        default:
            return refuse(KMATH_ERR_BAD_DIMENSIONS,
                          [&] { return Operations::getElement(&vector(), huge, &element); });
        }
    }

    void look()
    {
        check();
        if constexpr (requires { &Operations::getNextElement; })
            expectAgreeingGetters<Operations>(vector());
        if constexpr (requires { &Operations::compareEqual; }) {
            const auto [other, numbers] = anyVector();
            std::uint32_t equal = 2;
            if (!other)
                return;
            EXPECT_EQ(Operations::compareEqual(&vector(), other, &equal), KMATH_OK);
            EXPECT_EQ(equal, model() == *numbers ? 1u : 0u);
        }
    }

    // What the operations draw from.

    struct Range {
        std::size_t first, size;
    };

    static constexpr std::size_t large = 40;

    Vector &vector() { return vectors[chosen]; }
    Numbers &model() { return models[chosen]; }
    auto at(std::size_t i) { return model().begin() + static_cast<std::ptrdiff_t>(i); }

    const Element *begin()
    {
        const Element *first = nullptr;
        Operations::getBeginConst(&vector(), &first);
        return first;
    }

    std::size_t upTo(std::size_t most)
    {
        return most == SIZE_MAX ? generator() : generator() % (most + 1);
    }

    ElementBlock<Values> block(std::size_t n)
    {
        Numbers numbers(n);
        for (int &number : numbers)
            number = static_cast<int>(upTo(999)) + 1;
        return ElementBlock<Values>(std::move(numbers));
    }

    // One beyond what is valid, now and then.
    std::size_t anyPosition() { return upTo(model().size() + 1); }

    Range ownRange()
    {
        const std::size_t size = model().size();
        if (size == 0)
            return {0, 0};
        const std::size_t first = upTo(size - 1);
        return {first, upTo(std::min(size - first, large))};
    }

    Numbers numbersIn(const Range &range)
    {
        return {at(range.first), at(range.first + range.size)};
    }

    struct Source {
        const Vector *vector;
        const Numbers *numbers;
    };

    // Either vector or the handle's, which may be null.
    Source anyVector()
    {
        const std::size_t i = upTo(2);
        return i == 2 ? Source{handle, &handleModel} : Source{&vectors[i], &models[i]};
    }

    // What the caller makes of elements that are left to it.
    static int numberAt(std::size_t position) { return static_cast<int>(position) + 100; }

    static void makeFrom(Vector &vector, std::size_t first, std::size_t last)
    {
        Element *elements = nullptr;
        Operations::getBegin(&vector, &elements);
        for (std::size_t i = first; i < last; ++i)
            Values::make(elements[i], numberAt(i));
    }

    // Running and judging.

    static kmath_status validIf(bool valid) { return valid ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS; }

    static void check(const Vector &vector, const Numbers &numbers)
    {
        const Element *elements = nullptr;
        std::size_t size = 0;
        EXPECT_EQ(Operations::getBeginSizeConst(&vector, &elements, &size), KMATH_OK);
        bool same = size == numbers.size();
        for (std::size_t i = 0; same && i < size; ++i)
            same = Values::numberOf(elements[i]) == numbers[i];
        if (!same) {
            EXPECT_EQ((numbersOf<Operations, Values>(vector)), numbers);
        }
    }

    // Runs an operation, with an allocation failing now and then, and follows it in the model.
    template <class Operation, class Change>
    void attempt(Operation operation, Change change, kmath_status expected = KMATH_OK)
    {
        if (upTo(2) == 0)
            failAllocation(static_cast<std::int64_t>(upTo(upTo(1) == 0 ? 3 : 60)));
        const kmath_status status = operation();
        const bool failed = allocationHasFailed();
        failAllocation(-1);
        EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : expected);
        if (status == KMATH_OK)
            change();
        check(vector(), model());
        if (failed)
            check();
    }

    template <class Operation> void refuse(kmath_status expected, Operation operation)
    {
        attempt(
            operation, [] {}, expected);
    }

    template <class Construct> void replace(const Numbers &numbers, Construct construct)
    {
        replace(numbers, construct, [](Vector &) {});
    }

    template <class Construct, class Finish>
    void replace(const Numbers &numbers, Construct construct, Finish finish)
    {
        Vector made;
        attempt([&] { return construct(&made); },
                [&] {
                    finish(made);
                    Operations::destruct(&vector());
                    Operations::constructEmpty(&vector());
                    Operations::swap(&vector(), &made);
                    Operations::destruct(&made);
                    model() = numbers;
                });
    }

    std::mt19937_64 generator;
    std::size_t chosen = 0;
    Vector vectors[2];
    Numbers models[2];
    Vector *handle = nullptr;
    Numbers handleModel;
};

template <class Operations, class Values> void compareWithModel(std::uint64_t seed, int steps)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const std::int64_t before = liveBlocks();
    blocksOfTable = 0;
    {
        VectorModel<Operations, Values> model(seed);
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i)
            model.step();
        model.check();
    }
    EXPECT_EQ(liveBlocks(), before) << "leaked";
    EXPECT_EQ(blocksOfTable, 0) << "of the table's blocks are left";
}

} // namespace support
