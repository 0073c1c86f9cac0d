#include "support/services.hpp"
#include "support/vector_model.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::sweepAllocationFailures;

/// Plain memory of an odd size.
struct Plain {
    using Element = struct {
        std::int32_t number;
        char more[5];
    };
    static constexpr const kstd_vectorEtable *table = nullptr;

    static void make(Element &element, int number) { element = {number, {}}; }
    static void release(Element &) {}
    static int numberOf(const Element &element) { return element.number; }
};

int liveElements = 0;

/// An element that owns memory and knows its place, so that a bytewise move shows.
struct Owning {
    struct Element {
        Element *place;
        void *number;
    };
    static const kstd_vectorEtable operations;
    static constexpr const kstd_vectorEtable *table = &operations;

    static kmath_status fill(void *element, int number)
    {
        void *memory = nullptr;
        const kmath_status status = ksys_memory_alloc_internal(&memory, sizeof(int));
        if (KMATH_IS_FAILURE(status))
            return status;
        auto *made = static_cast<Element *>(element);
        *made = {made, memory};
        *static_cast<int *>(memory) = number;
        ++liveElements;
        return KMATH_OK;
    }
    static kmath_status destruct(void *element)
    {
        auto *old = static_cast<Element *>(element);
        EXPECT_EQ(old->place, old) << "moved bytewise, or destructed twice";
        old->place = nullptr;
        --liveElements;
        return ksys_memory_free_internal(&old->number);
    }
    static void make(Element &element, int number) { EXPECT_EQ(fill(&element, number), KMATH_OK); }
    static void release(Element &element) { destruct(&element); }
    static int numberOf(const Element &element)
    {
        return element.place == &element ? *static_cast<const int *>(element.number) : -1;
    }
};

const kstd_vectorEtable Owning::operations = {
    [](void *element) { return Owning::fill(element, 0); },
    [](void *element, const void *source) {
        return Owning::fill(element, Owning::numberOf(*static_cast<const Element *>(source)));
    },
    [](void *element, const void *source) {
        *static_cast<int *>(static_cast<Element *>(element)->number) =
            Owning::numberOf(*static_cast<const Element *>(source));
        return KMATH_OK;
    },
    Owning::destruct, nullptr};

/// The generic operations as the model calls those of a typed vector.
template <class Values> struct Generic {
    using Vector = kstd_vector_;
    using Element = typename Values::Element;

    static kmath_status construct(Vector *vector, std::size_t n)
    {
        return kstd_vector__construct(vector, sizeof(Element), Values::table, n);
    }
    static kmath_status constructWithMtable(Vector *vector, std::size_t n,
                                            const kstd_vectorMtable *mtable)
    {
        return kstd_vector__constructWithMtable(vector, sizeof(Element), Values::table, n, mtable);
    }
    static kmath_status constructEmpty(Vector *vector)
    {
        return kstd_vector__constructEmpty(vector, sizeof(Element), Values::table);
    }
    static kmath_status constructEmptyWithMtable(Vector *vector, const kstd_vectorMtable *mtable)
    {
        return kstd_vector__constructEmptyWithMtable(vector, sizeof(Element), Values::table,
                                                     mtable);
    }
    static kmath_status constructUninit(Vector *vector, std::size_t n)
    {
        return kstd_vector__constructUninit(vector, sizeof(Element), Values::table, n);
    }
    static kmath_status constructFill(Vector *vector, std::size_t n, const Element *fill)
    {
        return kstd_vector__constructFill(vector, sizeof(Element), Values::table, n, fill);
    }
    static kmath_status constructFromBlock(Vector *vector, const Element *elements, std::size_t n)
    {
        return kstd_vector__constructFromBlock(vector, sizeof(Element), Values::table, elements, n);
    }
    static kmath_status create(Vector **handle)
    {
        return kstd_vector__new(handle, sizeof(Element), Values::table);
    }
    static kmath_status getBegin(Vector *vector, Element **begin)
    {
        void *first = nullptr;
        const kmath_status status = kstd_vector__getBegin(vector, &first);
        *begin = static_cast<Element *>(first);
        return status;
    }
    static kmath_status getElement(Vector *vector, std::size_t index, Element **element)
    {
        void *found = nullptr;
        const kmath_status status = kstd_vector__getElement(vector, index, &found);
        *element = static_cast<Element *>(found);
        return status;
    }
    static kmath_status getBeginConst(const Vector *vector, const Element **begin)
    {
        const void *first = nullptr;
        const kmath_status status = kstd_vector__getBeginConst(vector, &first);
        *begin = static_cast<const Element *>(first);
        return status;
    }
    static kmath_status getBeginSizeConst(const Vector *vector, const Element **begin,
                                          std::size_t *size)
    {
        const void *first = nullptr;
        const kmath_status status = kstd_vector__getBeginSizeConst(vector, &first, size);
        *begin = static_cast<const Element *>(first);
        return status;
    }
    static constexpr auto constructCopy = kstd_vector__constructCopy;
    static constexpr auto destruct = kstd_vector__destruct;
    static constexpr auto newClone = kstd_vector__newClone;
    static constexpr auto destroy = kstd_vector__delete;
    static constexpr auto assign = kstd_vector__assign;
    static constexpr auto assignElements = kstd_vector__assignElements;
    static constexpr auto append = kstd_vector__append;
    static constexpr auto swap = kstd_vector__swap;
    static constexpr auto clear = kstd_vector__clear;
    static constexpr auto clearAndFreeMemory = kstd_vector__clearAndFreeMemory;
    static constexpr auto reserve = kstd_vector__reserve;
    static constexpr auto resize = kstd_vector__resize;
    static constexpr auto resizeFill = kstd_vector__resizeFill;
    static constexpr auto resizeUninit = kstd_vector__resizeUninit;
    static constexpr auto pushBack = kstd_vector__pushBack;
    static constexpr auto popBack = kstd_vector__popBack;
    static constexpr auto insert = kstd_vector__insert;
    static constexpr auto insertElement = kstd_vector__insertElement;
    static constexpr auto erase = kstd_vector__erase;
    static constexpr auto eraseElement = kstd_vector__eraseElement;
    static constexpr auto getCapacity = kstd_vector__getCapacity;
};

template <class Values> class GenericVector : public testing::Test
{
  protected:
    using Operations = Generic<Values>;
    using Block = support::ElementBlock<Values>;
    using Element = typename Values::Element;

    GenericVector() { Operations::constructEmpty(&vector); }
    ~GenericVector() override
    {
        kstd_vector__destruct(&vector);
        EXPECT_EQ(support::liveBlocks(), blocksBefore) << "leaked";
        EXPECT_EQ(liveElements, 0);
    }

    void fill(const std::vector<int> &wanted)
    {
        const Block block(wanted);
        ASSERT_EQ(kstd_vector__assignElements(&vector, block.data(), wanted.size()), KMATH_OK);
    }

    static std::vector<int> numbersOf(const kstd_vector_ &of)
    {
        return support::numbersOf<Operations, Values>(of);
    }
    std::vector<int> numbers() const { return numbersOf(vector); }

    const Element *element(std::size_t i) const
    {
        return static_cast<const Element *>(vector.begin) + i;
    }

    std::int64_t blocksBefore = support::liveBlocks();
    kstd_vector_ vector;
};

using Kinds = testing::Types<Plain, Owning>;
TYPED_TEST_SUITE(GenericVector, Kinds);

TYPED_TEST(GenericVector, BehavesAsTheModelUnderFailingAllocations)
{
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        support::compareWithModel<Generic<TypeParam>, TypeParam>(seed, 500);
}

TYPED_TEST(GenericVector, TakesExactlyTheMemoryThatItsConstructionNeeds)
{
    kstd_vector_ made;
    ASSERT_EQ(
        kstd_vector__construct(&made, sizeof(typename TypeParam::Element), TypeParam::table, 7),
        KMATH_OK);
    EXPECT_EQ(made.capacity, 7u);
    EXPECT_EQ(this->numbersOf(made), std::vector<int>(7));
    kstd_vector__destruct(&made);
}

TYPED_TEST(GenericVector, GrowsGeometrically)
{
    const typename TestFixture::Block one({5});
    int moves = 0;
    std::size_t copied = 0;
    for (std::size_t i = 0; i < 10000; ++i) {
        const void *before = this->vector.begin;
        const std::size_t size = this->vector.size;
        ASSERT_EQ(kstd_vector__pushBack(&this->vector, one.data()), KMATH_OK);
        if (this->vector.begin != before) {
            ++moves;
            copied += size;
        }
        ASSERT_LE(this->vector.capacity, 2 * this->vector.size);
    }
    EXPECT_LT(moves, 30);
    EXPECT_LT(copied, 40000u) << "a constant number of copies for each element";
}

TYPED_TEST(GenericVector, KeepsItsPlaceWithinWhatItHasReserved)
{
    const typename TestFixture::Block one({5});
    ASSERT_EQ(kstd_vector__reserve(&this->vector, 100), KMATH_OK);
    EXPECT_EQ(this->vector.capacity, 100u);
    const void *place = this->vector.begin;
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(kstd_vector__pushBack(&this->vector, one.data()), KMATH_OK);
    EXPECT_EQ(this->vector.begin, place);
    ASSERT_EQ(kstd_vector__reserve(&this->vector, 10), KMATH_OK);
    EXPECT_EQ(this->vector.capacity, 100u) << "no room is taken away";
}

TYPED_TEST(GenericVector, StaysAsItIsWhenAssignedToItself)
{
    this->fill({1, 2, 3});
    const void *place = this->vector.begin;
    EXPECT_EQ(kstd_vector__assign(&this->vector, &this->vector), KMATH_OK);
    EXPECT_EQ(this->vector.begin, place);
    EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3}));
}

TYPED_TEST(GenericVector, InsertsAnyPartOfItselfAnywhere)
{
    const std::vector<int> numbers = {1, 2, 3, 4, 5};
    for (const std::size_t room : {5u, 20u})
        for (std::size_t position = 0; position <= 5; ++position)
            for (std::size_t first = 0; first <= 5; ++first)
                for (std::size_t n = 0; first + n <= 5; ++n) {
                    this->fill(numbers);
                    kstd_vector__reserve(&this->vector, room);
                    std::vector<int> expected = numbers;
                    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(position),
                                    numbers.begin() + static_cast<std::ptrdiff_t>(first),
                                    numbers.begin() + static_cast<std::ptrdiff_t>(first + n));
                    ASSERT_EQ(kstd_vector__insert(&this->vector, position, this->element(first), n),
                              KMATH_OK);
                    ASSERT_EQ(this->numbers(), expected);
                    kstd_vector__clearAndFreeMemory(&this->vector);
                }
}

TYPED_TEST(GenericVector, RefusesPositionsAndCountsBeyondIt)
{
    this->fill({1, 2, 3});
    const typename TestFixture::Block one({5});
    const auto refused = [&](kmath_status status) {
        EXPECT_EQ(status, KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3}));
    };
    for (const std::size_t beyond : {std::size_t{4}, SIZE_MAX - 1, SIZE_MAX}) {
        refused(kstd_vector__insert(&this->vector, beyond, one.data(), 1));
        refused(kstd_vector__insert(&this->vector, beyond, one.data(), 0));
        refused(kstd_vector__insertElement(&this->vector, beyond, one.data()));
        refused(kstd_vector__erase(&this->vector, beyond, 0));
        refused(kstd_vector__erase(&this->vector, 0, beyond));
        refused(kstd_vector__erase(&this->vector, 2, beyond));
        refused(kstd_vector__eraseElement(&this->vector, beyond));
    }
    refused(kstd_vector__eraseElement(&this->vector, 3));
    EXPECT_EQ(kstd_vector__erase(&this->vector, 3, 0), KMATH_OK);
    kstd_vector__clear(&this->vector);
    EXPECT_EQ(kstd_vector__popBack(&this->vector), KMATH_ERR_BAD_DIMENSIONS);
}

TYPED_TEST(GenericVector, RefusesMoreElementsThanCanBeAddressed)
{
    this->fill({1, 2});
    const typename TestFixture::Block one({5});
    constexpr std::size_t size = sizeof(typename TypeParam::Element);
    for (const std::size_t n : {SIZE_MAX, SIZE_MAX / size, SIZE_MAX / size + 1, SIZE_MAX / size + 2,
                                std::size_t{PTRDIFF_MAX}, PTRDIFF_MAX / size + 1}) {
        EXPECT_EQ(kstd_vector__resize(&this->vector, n), KMATH_ERR_NO_MEMORY) << n;
        EXPECT_EQ(kstd_vector__resizeFill(&this->vector, n, one.data()), KMATH_ERR_NO_MEMORY) << n;
        EXPECT_EQ(kstd_vector__resizeUninit(&this->vector, n), KMATH_ERR_NO_MEMORY) << n;
        EXPECT_EQ(kstd_vector__reserve(&this->vector, n), KMATH_ERR_NO_MEMORY) << n;
        EXPECT_EQ(kstd_vector__insert(&this->vector, 1, one.data(), n), KMATH_ERR_NO_MEMORY) << n;
        EXPECT_EQ(kstd_vector__assignElements(&this->vector, one.data(), n), KMATH_ERR_NO_MEMORY);
        kstd_vector_ made;
        EXPECT_EQ(kstd_vector__construct(&made, size, TypeParam::table, n), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(kstd_vector__constructUninit(&made, size, TypeParam::table, n),
                  KMATH_ERR_NO_MEMORY);
    }
    EXPECT_EQ(this->numbers(), (std::vector{1, 2}));
}

TYPED_TEST(GenericVector, KeepsItsElementsWhenTheTableOfMemoryFails)
{
    static bool refusing;
    refusing = false;
    const kstd_vectorMtable table = {
        [](void **block, std::size_t bytes) {
            return refusing ? KMATH_ERR_DIVIDE_BY_ZERO : ksys_memory_alloc_internal(block, bytes);
        },
        [](void **block, std::size_t bytes) {
            return refusing ? KMATH_ERR_DIVIDE_BY_ZERO : ksys_memory_realloc_internal(block, bytes);
        },
        ksys_memory_free_internal};
    const typename TestFixture::Block block({1, 2, 3});
    kstd_vector_ made;
    ASSERT_EQ(kstd_vector__constructWithMtable(&made, sizeof(typename TypeParam::Element),
                                               TypeParam::table, 0, &table),
              KMATH_OK);
    ASSERT_EQ(kstd_vector__assignElements(&made, block.data(), 3), KMATH_OK);
    refusing = true;
    EXPECT_EQ(kstd_vector__pushBack(&made, block.data()), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(kstd_vector__resize(&made, 50), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(kstd_vector__reserve(&made, 50), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(this->numbersOf(made), (std::vector{1, 2, 3}));
    kstd_vector_ copy; // the copy would use the same table
    EXPECT_EQ(kstd_vector__constructCopy(&copy, &made), KMATH_ERR_DIVIDE_BY_ZERO);
    EXPECT_EQ(kstd_vector__assign(&this->vector, &made), KMATH_OK);
    EXPECT_EQ(this->numbers(), (std::vector{1, 2, 3}));
    kstd_vector__destruct(&made);
}

TYPED_TEST(GenericVector, SwapsWholeVectorsWithTheirTables)
{
    const kstd_vectorMtable table = {ksys_memory_alloc_internal, ksys_memory_realloc_internal,
                                     ksys_memory_free_internal};
    this->fill({1, 2});
    kstd_vector_ other;
    ASSERT_EQ(kstd_vector__constructEmptyWithMtable(&other, sizeof(typename TypeParam::Element),
                                                    TypeParam::table, &table),
              KMATH_OK);
    ASSERT_EQ(kstd_vector__swap(&this->vector, &other), KMATH_OK);
    EXPECT_TRUE(this->numbers().empty());
    EXPECT_EQ(this->vector.mtable, &table);
    EXPECT_EQ(this->numbersOf(other), (std::vector{1, 2}));
    EXPECT_EQ(other.mtable, nullptr);
    ASSERT_EQ(kstd_vector__swap(&other, &other), KMATH_OK);
    EXPECT_EQ(this->numbersOf(other), (std::vector{1, 2}));
    kstd_vector__destruct(&other);
}

TYPED_TEST(GenericVector, RefusesElementsOfAnotherSize)
{
    this->fill({1, 2});
    kstd_vector_ bytes;
    ASSERT_EQ(kstd_vector__construct(&bytes, 1, nullptr, 2), KMATH_OK);
    EXPECT_EQ(kstd_vector__assign(&this->vector, &bytes), KMATH_ERR_FAILED);
    EXPECT_EQ(kstd_vector__append(&this->vector, &bytes), KMATH_ERR_FAILED);
    EXPECT_EQ(kstd_vector__assign(&bytes, &this->vector), KMATH_ERR_FAILED);
    EXPECT_EQ(this->numbers(), (std::vector{1, 2}));
    std::uint32_t equal = 1;
    const auto never = [](const void *, const void *, std::uint32_t *) {
        ADD_FAILURE() << "elements of two kinds were compared";
        return KMATH_OK;
    };
    EXPECT_EQ(kstd_vector__compareEqual(&this->vector, &bytes, never, &equal), KMATH_OK);
    EXPECT_EQ(equal, 0u);
    kstd_vector__destruct(&bytes);
}

template <class Values> kmath_status sameNumber(const void *a, const void *b, std::uint32_t *equal)
{
    using Element = typename Values::Element;
    const int number = Values::numberOf(*static_cast<const Element *>(a));
    if (number == 13)
        return KMATH_ERR_SINGULAR;
    *equal = number == Values::numberOf(*static_cast<const Element *>(b));
    return KMATH_OK;
}

TYPED_TEST(GenericVector, ComparesElementByElement)
{
    const auto compare = [&](const std::vector<int> &a, const std::vector<int> &b,
                             kmath_status expected = KMATH_OK) {
        kstd_vector_ other;
        TestFixture::Operations::constructEmpty(&other);
        const typename TestFixture::Block block(b);
        kstd_vector__assignElements(&other, block.data(), b.size());
        this->fill(a);
        std::uint32_t equal = 77;
        EXPECT_EQ(kstd_vector__compareEqual(&this->vector, &other, sameNumber<TypeParam>, &equal),
                  expected);
        kstd_vector__destruct(&other);
        return equal;
    };
    EXPECT_EQ(compare({}, {}), 1u);
    EXPECT_EQ(compare({1, 2, 3}, {1, 2, 3}), 1u);
    EXPECT_EQ(compare({1, 2, 3}, {1, 2}), 0u);
    EXPECT_EQ(compare({}, {1}), 0u);
    EXPECT_EQ(compare({1, 2, 3}, {1, 2, 4}), 0u);
    EXPECT_EQ(compare({0, 2, 3}, {1, 2, 3}), 0u);
    EXPECT_EQ(compare({1, 5, 13}, {1, 2, 13}), 0u) << "stops at the first difference";
    compare({1, 13, 3}, {1, 13, 3}, KMATH_ERR_SINGULAR);
}

TYPED_TEST(GenericVector, WalksOnlyItsOwnElements)
{
    this->fill({4, 5});
    void *element = nullptr;
    EXPECT_EQ(kstd_vector__getNextElement(&this->vector, &element), KMATH_OK);
    EXPECT_EQ(element, this->element(0));
    for (void *stranger :
         {static_cast<void *>(static_cast<char *>(this->vector.begin) + 1), // between two elements
          static_cast<void *>(static_cast<char *>(this->vector.begin) +
                              2 * this->vector.elementSize), // behind the last
          static_cast<void *>(&element)}) {
        EXPECT_EQ(kstd_vector__getNextElement(&this->vector, &stranger), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(stranger, nullptr);
    }
    kstd_vector__clear(&this->vector);
    element = this->vector.begin;
    EXPECT_EQ(kstd_vector__getNextElement(&this->vector, &element), KMATH_ERR_BAD_DIMENSIONS);
    element = nullptr;
    EXPECT_EQ(kstd_vector__getNextElement(&this->vector, &element), KMATH_OK);
    EXPECT_EQ(element, nullptr);
}

TYPED_TEST(GenericVector, LivesInAHandleThroughFailingAllocations)
{
    this->fill({1, 2, 3});
    sweepAllocationFailures([&] {
        kstd_vector_ *handle = nullptr;
        kmath_status status = kstd_vector__new(&handle, this->vector.elementSize, TypeParam::table);
        EXPECT_EQ(handle == nullptr, KMATH_IS_FAILURE(status));
        if (!KMATH_IS_FAILURE(status)) {
            status = kstd_vector__newClone(&handle, &this->vector);
            EXPECT_EQ(handle == nullptr, KMATH_IS_FAILURE(status));
        }
        if (handle) {
            EXPECT_EQ(this->numbersOf(*handle), (std::vector{1, 2, 3}));
        }
        EXPECT_EQ(kstd_vector__delete(&handle), KMATH_OK);
        EXPECT_EQ(handle, nullptr);
        return status;
    });
}

TEST(GenericVectorSize, IsNarrowedToThirtyTwoBitsOnlyWhereItFits)
{
    char first = 0;
    kstd_vector_ vector = {&first, INT32_MAX, INT32_MAX, 1, nullptr, nullptr};
    std::int32_t narrow = 0;
    std::intptr_t wide = 0;
    void *begin = nullptr;
    const void *constBegin = nullptr;
    EXPECT_EQ(kstd_vector__getSize(&vector, &narrow), KMATH_OK);
    EXPECT_EQ(narrow, INT32_MAX);

    vector.size = vector.capacity = std::size_t{INT32_MAX} + 1;
    const auto refused = [&](kmath_status status) {
        EXPECT_EQ(status, KMATH_ERR_FAILED);
        EXPECT_EQ(narrow, INT32_MAX);
        narrow = 0;
    };
    refused(kstd_vector__getSize(&vector, &narrow));
    refused(kstd_vector__getSize32(&vector, &narrow));
    refused(kstd_vector__getBeginSize32(&vector, &begin, &narrow));
    refused(kstd_vector__getBeginSize32Const(&vector, &constBegin, &narrow));
    EXPECT_EQ(begin, &first);
    EXPECT_EQ(constBegin, &first);
    EXPECT_EQ(kstd_vector__getSizeIntPtr(&vector, &wide), KMATH_OK);
    EXPECT_EQ(wide, std::intptr_t{INT32_MAX} + 1);
}

/// An element whose copying throws for one number, as operations of a host may.
struct Throwing : Owning {
    static const kstd_vectorEtable operations;
    static constexpr const kstd_vectorEtable *table = &operations;
};

const kstd_vectorEtable Throwing::operations = {
    Owning::operations.constructEmpty,
    [](void *element, const void *source) -> kmath_status {
        const int number = Owning::numberOf(*static_cast<const Element *>(source));
        if (number == 13)
            throw number;
        return Owning::fill(element, number);
    },
    Owning::operations.assign, Owning::destruct, nullptr};

TEST(GenericVectorWithThrowingElements, KeepsTheOldOnesAndReleasesTheNew)
{
    const std::int64_t before = support::liveBlocks();
    {
        const support::ElementBlock<Throwing> block({1, 2, 13, 4}), good({7, 8, 9});
        const std::size_t size = sizeof(Throwing::Element);
        kstd_vector_ vector, made;
        ASSERT_EQ(kstd_vector__constructFromBlock(&vector, size, Throwing::table, good.data(), 3),
                  KMATH_OK);
        const auto throws = [&](const auto &operation) {
            const int elements = liveElements;
            EXPECT_THROW(operation(), int);
            EXPECT_EQ((support::numbersOf<Generic<Throwing>, Throwing>(vector)),
                      (std::vector{7, 8, 9}));
            EXPECT_EQ(liveElements, elements);
        };
        throws([&] { kstd_vector__insert(&vector, 1, block.data(), 4); });
        throws([&] { kstd_vector__insert(&vector, 3, block.data(), 4); });
        throws([&] { kstd_vector__assignElements(&vector, block.data(), 4); });
        throws([&] { kstd_vector__resizeFill(&vector, 9, block.data() + 2); });
        ASSERT_EQ(kstd_vector__reserve(&vector, 20), KMATH_OK);
        throws([&] { kstd_vector__insert(&vector, 3, block.data(), 4); });
        throws([&] {
            kstd_vector__constructFromBlock(&made, size, Throwing::table, block.data(), 4);
        });
        kstd_vector_ *handle = nullptr;
        const kstd_vector_ source = {
            const_cast<Throwing::Element *>(block.data()), 4, 4, size, Throwing::table, nullptr};
        throws([&] { kstd_vector__newClone(&handle, &source); });
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(kstd_vector__destruct(&vector), KMATH_OK);
    }
    EXPECT_EQ(support::liveBlocks(), before);
    EXPECT_EQ(liveElements, 0);
}

/// A destructor that fails, at most once.
struct Failing : Owning {
    static const kstd_vectorEtable operations;
    static constexpr const kstd_vectorEtable *table = &operations;
};

const kstd_vectorEtable Failing::operations = {
    Owning::operations.constructEmpty, Owning::operations.constructCopy, Owning::operations.assign,
    [](void *element) {
        const int number = Owning::numberOf(*static_cast<Element *>(element));
        Owning::destruct(element);
        return number == 0 ? KMATH_OK : KMATH_ERR_FAILED + number;
    },
    nullptr};

TEST(GenericVectorWithFailingDestructors, DestructsAllAndGivesTheFirstFailure)
{
    const std::int64_t before = support::liveBlocks();
    {
        const support::ElementBlock<Owning> block({1, 2, 3});
        kstd_vector_ vector;
        ASSERT_EQ(kstd_vector__constructFromBlock(&vector, sizeof(Failing::Element), Failing::table,
                                                  block.data(), 3),
                  KMATH_OK);
        EXPECT_EQ(kstd_vector__popBack(&vector), KMATH_ERR_FAILED + 3);
        EXPECT_EQ(vector.size, 2u);
        EXPECT_EQ(kstd_vector__destruct(&vector), KMATH_ERR_FAILED + 2) << "the last comes first";
        EXPECT_EQ(vector.begin, nullptr);
    }
    EXPECT_EQ(support::liveBlocks(), before);
    EXPECT_EQ(liveElements, 0);
}

TEST(GenericVectorWithFailingDestructors, DropsElementsAllTheSame)
{
    const support::ElementBlock<Owning> block({1, 2, 3});
    const auto attempt = [&](kmath_status expected, const std::vector<int> &left,
                             const auto &operation) {
        kstd_vector_ vector;
        ASSERT_EQ(kstd_vector__constructFromBlock(&vector, sizeof(Failing::Element), Failing::table,
                                                  block.data(), 3),
                  KMATH_OK);
        EXPECT_EQ(operation(&vector), expected);
        EXPECT_EQ((support::numbersOf<Generic<Failing>, Failing>(vector)), left);
        kstd_vector__destruct(&vector);
        EXPECT_EQ(liveElements, 3) << "the block's own";
    };
    const auto failure = [](int number) { return KMATH_ERR_FAILED + number; };
    attempt(failure(3), {}, kstd_vector__clear);
    attempt(failure(3), {}, kstd_vector__clearAndFreeMemory);
    attempt(failure(3), {1}, [](auto *vector) { return kstd_vector__resize(vector, 1); });
    attempt(failure(3), {1, 2}, [](auto *vector) { return kstd_vector__erase(vector, 2, 1); });
    // Copies have taken the place of the old elements by then.
    attempt(KMATH_OK, {2, 3}, [](auto *vector) { return kstd_vector__eraseElement(vector, 0); });
    attempt(KMATH_OK, {1, 2, 3}, [](auto *vector) { return kstd_vector__reserve(vector, 9); });
    attempt(KMATH_OK, {1, 3, 2, 3},
            [&](auto *vector) { return kstd_vector__insertElement(vector, 1, block.data() + 2); });
    attempt(KMATH_OK, {2},
            [&](auto *vector) { return kstd_vector__assignElements(vector, block.data() + 1, 1); });
}

TEST(GenericVectorArguments, AreAsserted)
{
    kstd_vector_ vector;
    kstd_vector__constructEmpty(&vector, 4, nullptr);
    kstd_vector_ *none = nullptr;
    std::uint32_t equal;
    const auto test = [](const void *, const void *, std::uint32_t *) { return KMATH_OK; };
    EXPECT_NE(assertedLine([&] { kstd_vector__constructEmpty(&vector, 0, nullptr); }), 0)
        << "an element has a size";
    EXPECT_NE(assertedLine([&] { kstd_vector__constructEmpty(nullptr, 4, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__new(nullptr, 4, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__newClone(nullptr, &vector); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__delete(nullptr); }), 0);
    EXPECT_EQ(assertedLine([&] { kstd_vector__newClone(&none, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__compareEqual(nullptr, &vector, test, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__compareEqual(&vector, nullptr, test, &equal); }), 0);
    EXPECT_NE(assertedLine([&] { kstd_vector__compareEqual(&vector, &vector, nullptr, &equal); }),
              0);
    EXPECT_NE(assertedLine([&] { kstd_vector__compareEqual(&vector, &vector, test, nullptr); }), 0);
    kstd_vector__destruct(&vector);
}

} // namespace
