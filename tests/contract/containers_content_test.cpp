// What changes the content of the typed containers: at every position, with ranges of their own,
// and beyond their ends.
#include "contract/containers.hpp"

namespace
{

using namespace containers;
using support::allocationsOf;
using support::liveBlocks;

using Seeds = std::vector<int>;

TEST(ContainerContent, AssignAndAssignElementsReplaceTheContent)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        for (const int from : {0, 1, 6, 20})
            for (const int to : {0, 1, 6, 20}) {
                SCOPED_TRACE(testing::Message() << from << " over " << to);
                Box<V> source(counting(from)), box(Seeds(static_cast<std::size_t>(to), 8));
                EXPECT_EQ(Ops::assign(&box, &source), KMATH_OK);
                EXPECT_TRUE(holds(box, counting(from)));
                EXPECT_TRUE(holds(source, counting(from)));
                if (from > 0) {
                    poke(elements(box.v), 77.0);
                    EXPECT_TRUE(holds(source, counting(from)));
                }
                Box<V> other(Seeds(static_cast<std::size_t>(to), 8));
                Block<T> block(counting(from + 1));
                EXPECT_EQ(Ops::assignElements(&other, &block, static_cast<std::size_t>(from)),
                          KMATH_OK);
                EXPECT_TRUE(holds(other, counting(from)));
            }
    });
}

TEST(ContainerContent, AssignsItselfAndRangesOfItself)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box(counting(6));
        EXPECT_EQ(Ops::assign(&box, &box), KMATH_OK);
        EXPECT_TRUE(holds(box, counting(6)));
        for (int first = 0; first <= 6; ++first)
            for (int n = 0; first + n <= 6; ++n) {
                SCOPED_TRACE(testing::Message() << n << " from " << first);
                Box<V> self(counting(6));
                EXPECT_EQ(
                    Ops::assignElements(&self, elements(self.v) + first, static_cast<size_t>(n)),
                    KMATH_OK);
                Seeds seeds;
                for (int i = 0; i < n; ++i)
                    seeds.push_back(first + i);
                EXPECT_TRUE(holds(self, seeds));
            }
    });
}

TEST(ContainerContent, AppendsAnotherAndItself)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box({4, 5}), other({1, 2, 3}), empty;
        EXPECT_EQ(Ops::append(&box, &other), KMATH_OK);
        EXPECT_TRUE(holds(box, {4, 5, 1, 2, 3}));
        EXPECT_TRUE(holds(other, {1, 2, 3}));
        EXPECT_EQ(Ops::append(&box, &empty), KMATH_OK);
        EXPECT_TRUE(holds(box, {4, 5, 1, 2, 3}));
        EXPECT_EQ(Ops::append(&empty, &other), KMATH_OK);
        EXPECT_TRUE(holds(empty, {1, 2, 3}));
        EXPECT_EQ(Ops::append(&other, &other), KMATH_OK);
        EXPECT_TRUE(holds(other, {1, 2, 3, 1, 2, 3}));
        EXPECT_EQ(Ops::reserve(&other, 100), KMATH_OK);
        EXPECT_EQ(Ops::append(&other, &other), KMATH_OK);
        EXPECT_TRUE(holds(other, {1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3}));
        Box<V> nothing;
        EXPECT_EQ(Ops::append(&nothing, &nothing), KMATH_OK);
        EXPECT_TRUE(holds(nothing, {}));
    });
}

TEST(ContainerContent, SwapExchangesWithoutAllocating)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> a(counting(7)), b({9, 8}), empty;
        const auto *const begin = elements(a.v);
        EXPECT_EQ(allocationsOf([&] {
                      EXPECT_EQ(Ops::swap(&a, &b), KMATH_OK);
                      EXPECT_EQ(Ops::swap(&a, &empty), KMATH_OK);
                      EXPECT_EQ(Ops::swap(&b, &b), KMATH_OK);
                  }),
                  0);
        EXPECT_TRUE(holds(a, {}));
        EXPECT_TRUE(holds(b, counting(7)));
        EXPECT_TRUE(holds(empty, {9, 8}));
        EXPECT_EQ(elements(b.v), begin);
    });
}

TEST(ContainerContent, ClearKeepsTheRoomAndClearAndFreeMemoryGivesItBack)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        const std::int64_t before = liveBlocks();
        Box<V> box(counting(7));
        const std::size_t capacity = box.capacity();
        const auto *const begin = elements(box.v);
        EXPECT_EQ(Ops::clear(&box), KMATH_OK);
        EXPECT_TRUE(holds(box, {}));
        EXPECT_EQ(box.capacity(), capacity);
        EXPECT_EQ(elements(box.v), begin);
        EXPECT_EQ(liveBlocks(), before + 1);
        EXPECT_EQ(Ops::clear(&box), KMATH_OK);
        Block<ElementOf<V>> block(counting(3));
        EXPECT_EQ(Ops::assignElements(&box, &block, 3), KMATH_OK);
        EXPECT_EQ(elements(box.v), begin);
        EXPECT_TRUE(holds(box, counting(3)));
        EXPECT_EQ(Ops::clearAndFreeMemory(&box), KMATH_OK);
        EXPECT_TRUE(holds(box, {}));
        EXPECT_EQ(box.capacity(), 0u);
        EXPECT_EQ(Ops::clearAndFreeMemory(&box), KMATH_OK);
        EXPECT_EQ(Ops::pushBack(&box, &block), KMATH_OK);
        EXPECT_TRUE(holds(box, {0}));
    });
}

TEST(ContainerContent, ReserveMakesRoomForWhatComes)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        Box<V> box(counting(3));
        EXPECT_EQ(Ops::reserve(&box, 50), KMATH_OK);
        EXPECT_GE(box.capacity(), 50u);
        EXPECT_TRUE(holds(box, counting(3)));
        const auto *const begin = elements(box.v);
        const std::size_t capacity = box.capacity();
        EXPECT_EQ(Ops::reserve(&box, 10), KMATH_OK);
        EXPECT_EQ(Ops::reserve(&box, 0), KMATH_OK);
        EXPECT_GE(box.capacity(), 50u);
        Block<T> block(counting(50));
        const std::int64_t taken = allocationsOf([&] {
            for (int i = 3; i < 50; ++i)
                EXPECT_EQ(Ops::pushBack(&box, &block + i), KMATH_OK);
        });
        if (isPlain<T>) {
            EXPECT_EQ(taken, 0);
        }
        EXPECT_EQ(elements(box.v), begin);
        EXPECT_EQ(box.capacity(), capacity);
        EXPECT_TRUE(holds(box, counting(50)));
    });
}

TEST(ContainerContent, ResizeGrowsAndShrinksAtTheEnd)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        Box<V> box(counting(4));
        Block<T> fill(9);
        EXPECT_EQ(Ops::resize(&box, 2), KMATH_OK);
        EXPECT_TRUE(holds(box, counting(2)));
        if constexpr (!isPlain<T>) {
            EXPECT_EQ(Ops::resize(&box, 5), KMATH_OK);
            EXPECT_TRUE(holds(box, {0, 1, none, none, none}));
            EXPECT_EQ(Ops::resize(&box, 40), KMATH_OK);
            EXPECT_EQ(Ops::resize(&box, 2), KMATH_OK);
        } else {
            EXPECT_EQ(Ops::resize(&box, 40), KMATH_OK);
            ASSERT_EQ(box.size(), 40u);
            for (int i = 0; i < 40; ++i)
                build(elements(box.v) + i, i);
            EXPECT_TRUE(holds(box, counting(40)));
            EXPECT_EQ(Ops::resize(&box, 2), KMATH_OK);
        }
        EXPECT_TRUE(holds(box, {0, 1}));
        EXPECT_EQ(Ops::resizeFill(&box, 4, &fill), KMATH_OK);
        EXPECT_TRUE(holds(box, {0, 1, 9, 9}));
        EXPECT_EQ(Ops::resizeFill(&box, 4, &fill), KMATH_OK);
        EXPECT_EQ(Ops::resizeFill(&box, 3, &fill), KMATH_OK);
        EXPECT_TRUE(holds(box, {0, 1, 9}));
        EXPECT_EQ(Ops::resizeUninit(&box, 6), KMATH_OK);
        ASSERT_EQ(box.size(), 6u);
        for (int i = 3; i < 6; ++i)
            build(elements(box.v) + i, i);
        EXPECT_TRUE(holds(box, {0, 1, 9, 3, 4, 5}));
        EXPECT_EQ(Ops::resizeUninit(&box, 1), KMATH_OK);
        EXPECT_TRUE(holds(box, {0}));
        EXPECT_EQ(Ops::resize(&box, 0), KMATH_OK);
        EXPECT_TRUE(holds(box, {}));
    });
}

TEST(ContainerContent, PushesAndPopsAtTheEnd)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box;
        Block<ElementOf<V>> block(counting(100));
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(Ops::pushBack(&box, &block + i), KMATH_OK);
        EXPECT_TRUE(holds(box, counting(100)));
        const std::size_t capacity = box.capacity();
        for (int i = 100; i-- > 0;)
            EXPECT_EQ(Ops::popBack(&box), KMATH_OK);
        EXPECT_TRUE(holds(box, {}));
        EXPECT_EQ(box.capacity(), capacity);
        EXPECT_TRUE(fails(Ops::popBack(&box)));
        EXPECT_TRUE(holds(box, {}));
    });
}

TEST(ContainerContent, InsertsBlocksAtEveryPosition)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Block<ElementOf<V>> block({20, 21, 22, 23});
        for (const std::size_t room : {0u, 50u})
            for (int position = 0; position <= 4; ++position)
                for (int n = 0; n <= 4; ++n) {
                    SCOPED_TRACE(testing::Message() << n << " at " << position);
                    const auto at = static_cast<std::size_t>(position);
                    Box<V> box(counting(4));
                    EXPECT_EQ(Ops::reserve(&box, room), KMATH_OK);
                    EXPECT_EQ(Ops::insert(&box, at, &block, static_cast<std::size_t>(n)), KMATH_OK);
                    Seeds seeds = counting(4);
                    for (int i = 0; i < n; ++i)
                        seeds.insert(seeds.begin() + position + i, 20 + i);
                    EXPECT_TRUE(holds(box, seeds));
                    EXPECT_EQ(Ops::insertElement(&box, at, &block + 3), KMATH_OK);
                    seeds.insert(seeds.begin() + position, 23);
                    EXPECT_TRUE(holds(box, seeds));
                }
    });
}

TEST(ContainerContent, InsertsRangesOfItselfAtEveryPosition)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        for (const std::size_t room : {0u, 50u})
            for (int position = 0; position <= 4; ++position)
                for (int first = 0; first <= 4; ++first)
                    for (int n = 0; first + n <= 4; ++n) {
                        SCOPED_TRACE(testing::Message() << n << " from " << first << " at "
                                                        << position << ", room " << room);
                        Box<V> box(counting(4));
                        EXPECT_EQ(Ops::reserve(&box, room), KMATH_OK);
                        EXPECT_EQ(Ops::insert(&box, static_cast<std::size_t>(position),
                                              elements(box.v) + first, static_cast<std::size_t>(n)),
                                  KMATH_OK);
                        Seeds seeds = counting(4);
                        for (int i = 0; i < n; ++i)
                            seeds.insert(seeds.begin() + position + i, first + i);
                        EXPECT_TRUE(holds(box, seeds));
                    }
    });
}

TEST(ContainerContent, TakesElementsOfItsOwn)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        for (int source = 0; source < 5; ++source)
            for (const std::size_t room : {0u, 50u}) {
                SCOPED_TRACE(source);
                const auto prepared = [&](Box<V> &box) {
                    EXPECT_EQ(Ops::reserve(&box, room), KMATH_OK);
                    return elements(box.v) + source;
                };
                for (int position = 0; position <= 5; ++position) {
                    Box<V> box(counting(5));
                    EXPECT_EQ(
                        Ops::insertElement(&box, static_cast<std::size_t>(position), prepared(box)),
                        KMATH_OK);
                    Seeds seeds = counting(5);
                    seeds.insert(seeds.begin() + position, source);
                    EXPECT_TRUE(holds(box, seeds));
                }
                Box<V> filled(counting(5));
                EXPECT_EQ(Ops::resizeFill(&filled, 9, prepared(filled)), KMATH_OK);
                EXPECT_TRUE(holds(filled, {0, 1, 2, 3, 4, source, source, source, source}));

                Box<V> pushed(counting(5)); // over several growths
                Seeds seeds = counting(5);
                for (int i = 0; i < 20; ++i) {
                    EXPECT_EQ(Ops::pushBack(&pushed, elements(pushed.v) + source), KMATH_OK);
                    seeds.push_back(source);
                }
                EXPECT_TRUE(holds(pushed, seeds));
            }
    });
}

TEST(ContainerContent, ErasesRangesEverywhere)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        for (int position = 0; position <= 5; ++position)
            for (int n = 0; position + n <= 5; ++n) {
                SCOPED_TRACE(testing::Message() << n << " at " << position);
                Box<V> box(counting(5));
                const std::size_t capacity = box.capacity();
                EXPECT_EQ(Ops::erase(&box, static_cast<std::size_t>(position),
                                     static_cast<std::size_t>(n)),
                          KMATH_OK);
                Seeds seeds = counting(5);
                seeds.erase(seeds.begin() + position, seeds.begin() + position + n);
                EXPECT_TRUE(holds(box, seeds));
                EXPECT_EQ(box.capacity(), capacity);
            }
        Box<V> box(counting(5));
        EXPECT_EQ(Ops::eraseElement(&box, 4), KMATH_OK);
        EXPECT_EQ(Ops::eraseElement(&box, 0), KMATH_OK);
        EXPECT_EQ(Ops::eraseElement(&box, 1), KMATH_OK);
        EXPECT_TRUE(holds(box, {1, 3}));
    });
}

TEST(ContainerBounds, RefusesPositionsAndRangesBeyondTheContainer)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        constexpr std::size_t most = SIZE_MAX;
        Block<T> block(counting(3));
        for (const int size : {0, 4}) {
            Box<V> box(counting(size));
            const auto n = static_cast<std::size_t>(size);
            const std::size_t capacity = box.capacity();
            const std::int64_t live = liveBlocks();
            for (const std::size_t index :
                 {n, n + 1, most, most - 1, most / 2, std::size_t{1} << 62, std::size_t{1} << 32}) {
                SCOPED_TRACE(testing::Message() << "size " << size << ", index " << index);
                T *element = &block;
                const T *constElement = &block;
                EXPECT_TRUE(fails(Ops::getElement(&box, index, &element)));
                EXPECT_TRUE(fails(Ops::getElementConst(&box, index, &constElement)));
                EXPECT_TRUE(fails(Ops::eraseElement(&box, index)));
                EXPECT_TRUE(fails(Ops::erase(&box, index, 1)));
                EXPECT_TRUE(fails(Ops::erase(&box, index, most)));
                if (index != n) {
                    EXPECT_TRUE(fails(Ops::erase(&box, index, 0)));
                    EXPECT_TRUE(fails(Ops::insertElement(&box, index, &block)));
                    EXPECT_TRUE(fails(Ops::insert(&box, index, &block, 3)));
                    EXPECT_TRUE(fails(Ops::insert(&box, index, &block, 0)));
                }
                EXPECT_TRUE(holds(box, counting(size)));
            }
            for (std::size_t position = 0; position <= n; ++position)
                for (const std::size_t beyond :
                     {n - position + 1, n + 1, most, most - position + 1, most / 2}) {
                    if (beyond <= n - position)
                        continue; // wrapped round to a count that is there
                    SCOPED_TRACE(testing::Message() << beyond << " at " << position);
                    EXPECT_TRUE(fails(Ops::erase(&box, position, beyond)));
                }
            EXPECT_TRUE(holds(box, counting(size)));
            EXPECT_EQ(box.capacity(), capacity);
            EXPECT_EQ(liveBlocks(), live);
        }
    });
}

TEST(ContainerBounds, RefusesCountsThatNoMemoryHolds)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Block<ElementOf<V>> block(counting(3));
        for (const int size : {0, 4})
            for (const std::size_t n : impossibleCounts<V>()) {
                SCOPED_TRACE(testing::Message() << "size " << size << ", count " << n);
                Box<V> box(counting(size));
                const std::int64_t live = liveBlocks();
                EXPECT_TRUE(fails(Ops::reserve(&box, n)));
                EXPECT_TRUE(fails(Ops::resize(&box, n)));
                EXPECT_TRUE(fails(Ops::resizeFill(&box, n, &block)));
                EXPECT_TRUE(fails(Ops::resizeUninit(&box, n)));
                EXPECT_TRUE(fails(Ops::assignElements(&box, &block, n)));
                for (std::size_t position = 0; position <= box.size(); ++position)
                    EXPECT_TRUE(fails(Ops::insert(&box, position, &block, n)));
                EXPECT_TRUE(holds(box, counting(size)));
                EXPECT_EQ(liveBlocks(), live);
                EXPECT_EQ(Ops::pushBack(&box, &block), KMATH_OK);
            }
    });
}

} // namespace
