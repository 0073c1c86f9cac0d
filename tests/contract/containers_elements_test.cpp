// The elements of the typed containers through failures, growth and long walks: kept, copied deeply
// and given back.
#include "contract/containers.hpp"

#include <algorithm>
#include <random>

namespace
{

using namespace containers;
using support::allocationsOf;
using support::failAllocation;
using support::liveBlocks;

using Seeds = std::vector<int>;

TEST(ContainerFailures, LeaveTheContainerWithItsElements)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        const Seeds four = counting(4);
        Block<T> block(counting(9));
        Box<V> other({5, 6, 7, 1, 3, 8});
        {
            SCOPED_TRACE("reserve");
            keepsItsElements<Box<V>>(four, four, [](V *v) { return Ops::reserve(v, 40); });
        }
        {
            SCOPED_TRACE("pushBack");
            keepsItsElements<Box<V>>(four, {0, 1, 2, 3, 6},
                                     [&](V *v) { return Ops::pushBack(v, &block + 6); });
        }
        {
            SCOPED_TRACE("resizeFill");
            keepsItsElements<Box<V>>(four, {0, 1, 2, 3, 4, 4, 4, 4, 4, 4},
                                     [&](V *v) { return Ops::resizeFill(v, 10, &block + 4); });
        }
        {
            SCOPED_TRACE("append");
            keepsItsElements<Box<V>>(four, {0, 1, 2, 3, 5, 6, 7, 1, 3, 8},
                                     [&](V *v) { return Ops::append(v, &other); });
        }
        {
            SCOPED_TRACE("insert");
            keepsItsElements<Box<V>>(four, {0, 4, 5, 6, 7, 8, 1, 2, 3},
                                     [&](V *v) { return Ops::insert(v, 1, &block + 4, 5); });
        }
        {
            SCOPED_TRACE("insertElement");
            keepsItsElements<Box<V>>(four, {0, 6, 1, 2, 3},
                                     [&](V *v) { return Ops::insertElement(v, 1, &block + 6); });
        }
        {
            SCOPED_TRACE("assign");
            keepsItsElements<Box<V>>(four, {5, 6, 7, 1, 3, 8},
                                     [&](V *v) { return Ops::assign(v, &other); });
        }
        {
            SCOPED_TRACE("assignElements");
            keepsItsElements<Box<V>>(four, {4, 5, 6},
                                     [&](V *v) { return Ops::assignElements(v, &block + 4, 3); });
        }
        {
            SCOPED_TRACE("erase");
            keepsItsElements<Box<V>>(four, {0, 3}, [](V *v) { return Ops::erase(v, 1, 2); });
        }
        {
            SCOPED_TRACE("eraseElement");
            keepsItsElements<Box<V>>(four, {1, 2, 3}, [](V *v) { return Ops::eraseElement(v, 0); });
        }
        if constexpr (!isPlain<T>) {
            SCOPED_TRACE("resize");
            keepsItsElements<Box<V>>(four, {0, 1, 2, 3, none, none, none, none, none, none},
                                     [](V *v) { return Ops::resize(v, 10); });
        }
    });
}

TEST(ContainerFailures, ShrinkingNeedsNoMemory)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box(counting(9));
        Block<ElementOf<V>> fill(1);
        EXPECT_EQ(allocationsOf([&] {
                      EXPECT_EQ(Ops::popBack(&box), KMATH_OK);
                      EXPECT_EQ(Ops::resize(&box, 7), KMATH_OK);
                      EXPECT_EQ(Ops::resizeFill(&box, 6, &fill), KMATH_OK);
                      EXPECT_EQ(Ops::resizeUninit(&box, 5), KMATH_OK);
                      EXPECT_TRUE(box.size() == 5);
                      EXPECT_EQ(Ops::clear(&box), KMATH_OK);
                      EXPECT_EQ(Ops::clearAndFreeMemory(&box), KMATH_OK);
                  }),
                  0);
    });
}

TEST(ContainerElements, OwnTheirMemoryAndGiveItBack)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        constexpr int seed = 1; // a matrix on the heap, a container of two
        const std::int64_t before = liveBlocks();
        {
            Block<T> block({seed, seed, seed});
            Box<V> other({seed, seed});
            std::int64_t each = 0;
            {
                const std::int64_t without = liveBlocks();
                Box<V> one({seed});
                each = liveBlocks() - without - 1;
                EXPECT_EQ(each > 0, !isPlain<T>);
            }
            const std::int64_t base = liveBlocks();
            V v;
            const auto owns = [&](std::int64_t n) {
                return v.vector.size == static_cast<std::size_t>(n) &&
                       liveBlocks() == base + (v.vector.capacity > 0) + n * each;
            };
            EXPECT_EQ(Ops::constructFromBlock(&v, &block, 3), KMATH_OK);
            EXPECT_TRUE(owns(3));
            EXPECT_EQ(Ops::pushBack(&v, &block), KMATH_OK);
            EXPECT_TRUE(owns(4));
            EXPECT_EQ(Ops::insertElement(&v, 1, &block), KMATH_OK);
            EXPECT_EQ(Ops::insert(&v, 2, &block, 3), KMATH_OK);
            EXPECT_TRUE(owns(8));
            EXPECT_EQ(Ops::append(&v, &other), KMATH_OK);
            EXPECT_TRUE(owns(10));
            EXPECT_EQ(Ops::reserve(&v, 60), KMATH_OK);
            EXPECT_TRUE(owns(10));
            EXPECT_EQ(Ops::erase(&v, 1, 2), KMATH_OK);
            EXPECT_TRUE(owns(8));
            EXPECT_EQ(Ops::eraseElement(&v, 0), KMATH_OK);
            EXPECT_EQ(Ops::popBack(&v), KMATH_OK);
            EXPECT_TRUE(owns(6));
            EXPECT_EQ(Ops::resize(&v, 5), KMATH_OK);
            EXPECT_TRUE(owns(5));
            EXPECT_EQ(Ops::resizeUninit(&v, 4), KMATH_OK);
            EXPECT_TRUE(owns(4));
            EXPECT_EQ(Ops::resizeFill(&v, 7, &block), KMATH_OK);
            EXPECT_TRUE(owns(7));
            EXPECT_EQ(Ops::assign(&v, &other), KMATH_OK);
            EXPECT_TRUE(owns(2));
            EXPECT_EQ(Ops::assignElements(&v, &block, 3), KMATH_OK);
            EXPECT_TRUE(owns(3));
            EXPECT_EQ(Ops::clear(&v), KMATH_OK);
            EXPECT_TRUE(owns(0));
            EXPECT_EQ(Ops::resizeFill(&v, 7, &block), KMATH_OK);
            EXPECT_EQ(Ops::clearAndFreeMemory(&v), KMATH_OK);
            EXPECT_EQ(liveBlocks(), base);
            EXPECT_EQ(Ops::constructFill(&v, 2, &block), KMATH_OK);
            EXPECT_TRUE(owns(2));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_EQ(liveBlocks(), base);
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ContainerElements, ComeInAndGoOutAsCopiesOfTheirOwn)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        Block<T> block({1, 2, 4});
        Box<V> box, copy;
        EXPECT_EQ(Ops::pushBack(&box, &block), KMATH_OK);
        EXPECT_EQ(Ops::insertElement(&box, 1, &block + 1), KMATH_OK);
        EXPECT_EQ(Ops::insert(&box, 2, &block + 2, 1), KMATH_OK);
        EXPECT_EQ(Ops::resizeFill(&box, 5, &block), KMATH_OK);
        EXPECT_EQ(Ops::assign(&copy, &box), KMATH_OK);
        EXPECT_EQ(Ops::append(&copy, &box), KMATH_OK);
        for (std::size_t i = 0; i < 3; ++i)
            poke(&block[i], 1234.0);
        EXPECT_TRUE(holds(box, {1, 2, 4, 1, 1}));
        for (std::size_t i = 0; i < 4; ++i)
            poke(elements(box.v) + i, 4321.0);
        EXPECT_TRUE(holds(copy, {1, 2, 4, 1, 1, 1, 2, 4, 1, 1}));
        EXPECT_EQ(flat(elements(box.v)[4]), flatOf<T>(1)); // nor do equal ones share
    });
}

TEST(ContainerElements, FourLevelsOfPointsAreHeldAndReached)
{
    const std::int64_t before = liveBlocks();
    {
        using One = kstd_vector_kmath_vect3;
        using Two = kstd_vector_vector_kmath_vect3;
        using Three = kstd_vector_vector_vector_kmath_vect3;
        using Four = kstd_vector_vector_vector_vector_kmath_vect3;
        const kmath_vect3 point = {1.5, 2.5, 3.5};
        Box<One> one;
        Box<Two> two;
        Box<Three> three;
        Box<Four> four, copy;
        EXPECT_EQ(Operations<One>::pushBack(&one, &point), KMATH_OK);
        EXPECT_EQ(Operations<Two>::resize(&two, 1), KMATH_OK);
        EXPECT_EQ(Operations<Two>::pushBack(&two, &one), KMATH_OK);
        EXPECT_EQ(Operations<Three>::pushBack(&three, &two), KMATH_OK);
        EXPECT_EQ(Operations<Four>::pushBack(&four, &three), KMATH_OK);
        EXPECT_EQ(Operations<Four>::assign(&copy, &four), KMATH_OK);

        Three *threes = nullptr;
        Two *twos = nullptr;
        One *ones = nullptr;
        kmath_vect3 *points = nullptr;
        EXPECT_EQ(Operations<Four>::getElement(&four, 0, &threes), KMATH_OK);
        EXPECT_EQ(Operations<Three>::getElement(threes, 0, &twos), KMATH_OK);
        EXPECT_EQ(Operations<Two>::getElement(twos, 1, &ones), KMATH_OK);
        EXPECT_EQ(Operations<One>::getElement(ones, 0, &points), KMATH_OK);
        EXPECT_EQ(flat(*points), (Values{1.5, 2.5, 3.5}));
        points->y = 9.0;
        std::uint32_t equal = 7;
        EXPECT_EQ(Operations<Four>::compareEqual(&four, &copy, &equal), KMATH_OK);
        EXPECT_EQ(equal, 0u);
        points->y = 2.5;
        EXPECT_EQ(Operations<Four>::compareEqual(&four, &copy, &equal), KMATH_OK);
        EXPECT_EQ(equal, 1u);
        EXPECT_EQ(Operations<One>::pushBack(ones, &point), KMATH_OK); // deep inside
        EXPECT_EQ(Operations<Four>::compareEqual(&four, &copy, &equal), KMATH_OK);
        EXPECT_EQ(equal, 0u);
        EXPECT_EQ(flat(four.v), (Values{1, 1, 2, 0, 2, 1.5, 2.5, 3.5, 1.5, 2.5, 3.5}));
        EXPECT_EQ(flat(copy.v), (Values{1, 1, 2, 0, 1, 1.5, 2.5, 3.5}));
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(ContainerGrowth, IsGeometricHoweverElementsAreAdded)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        constexpr std::size_t n = 4000;
        Block<ElementOf<V>> one(0);
        Box<V> pushed, appended, inserted, single({0});
        const auto moves = [&](Box<V> &box, auto add) {
            int count = 0;
            const void *begin = nullptr;
            for (std::size_t i = 0; i < n; ++i) {
                add(&box);
                count += box.v.vector.begin != begin;
                begin = box.v.vector.begin;
            }
            EXPECT_EQ(box.size(), n);
            return count;
        };
        constexpr int few = 60; // of growths by a seventh or more
        EXPECT_LE(moves(pushed, [&](V *v) { EXPECT_EQ(Ops::pushBack(v, &one), KMATH_OK); }), few);
        EXPECT_LE(moves(appended, [&](V *v) { EXPECT_EQ(Ops::append(v, &single), KMATH_OK); }),
                  few);
        EXPECT_LE(
            moves(inserted,
                  [&](V *v) { EXPECT_EQ(Ops::insertElement(v, v->vector.size, &one), KMATH_OK); }),
            few);
    });
}

// A walk over all that changes a container, beside a list of seeds, with memory that fails.
TEST(ContainerWalk, FollowsAListOfSeedsThroughFailures)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        const std::int64_t before = liveBlocks();
        {
            std::mt19937 generator(2024);
            const auto below = [&](std::size_t n) {
                return std::uniform_int_distribution<std::size_t>(0, n - 1)(generator);
            };
            Block<T> block(counting(12));
            Box<V> box, other({3, 1, 4});
            Seeds seeds;
            for (int step = 0; step < 1500; ++step) {
                const std::size_t size = seeds.size();
                const std::size_t position = below(size + 1);
                const std::size_t first = below(9);
                const std::size_t n = below(4);
                const std::size_t operation = below(size > 40 ? 5 : 12);
                Seeds next = seeds;
                const auto at = next.begin() + static_cast<std::ptrdiff_t>(position);
                kmath_status status = KMATH_OK;
                if (below(4) == 0)
                    failAllocation(static_cast<std::int64_t>(below(6)));
                switch (operation) {
                case 0:
                    next.resize(position);
                    status = Ops::resizeUninit(&box, position);
                    break;
                case 1: {
                    const std::size_t count = std::min(n, size - position);
                    next.erase(at, at + static_cast<std::ptrdiff_t>(count));
                    status = Ops::erase(&box, position, count);
                    break;
                }
                case 2:
                    if (size == 0)
                        break;
                    next.pop_back();
                    status = Ops::popBack(&box);
                    break;
                case 3:
                    if (position == size)
                        break;
                    next.erase(at);
                    status = Ops::eraseElement(&box, position);
                    break;
                case 4:
                    next = {3, 1, 4};
                    status = Ops::assign(&box, &other);
                    break;
                case 5:
                    next.push_back(static_cast<int>(first));
                    status = Ops::pushBack(&box, &block + first);
                    break;
                case 6: {
                    Seeds inserted;
                    for (std::size_t i = 0; i < n; ++i)
                        inserted.push_back(static_cast<int>(first + i));
                    next.insert(at, inserted.begin(), inserted.end());
                    status = Ops::insert(&box, position, &block + first, n);
                    break;
                }
                case 7:
                    next.insert(at, static_cast<int>(first));
                    status = Ops::insertElement(&box, position, &block + first);
                    break;
                case 8:
                    next.insert(next.end(), {3, 1, 4});
                    status = Ops::append(&box, &other);
                    break;
                case 9: {
                    const Seeds own(seeds.begin() + static_cast<std::ptrdiff_t>(position),
                                    seeds.end());
                    next.insert(next.begin(), own.begin(), own.end());
                    status = Ops::insert(&box, 0, elements(box.v) + position, size - position);
                    break;
                }
                case 10:
                    next.resize(size + n, static_cast<int>(first));
                    status = Ops::resizeFill(&box, size + n, &block + first);
                    break;
                default:
                    status = Ops::reserve(&box, size + 2 * n);
                    break;
                }
                const bool failed = support::allocationHasFailed();
                failAllocation(-1);
                EXPECT_EQ(fails(status), failed);
                if (!fails(status))
                    seeds = next;
                ASSERT_TRUE(holds(box, seeds)) << "step " << step << ", operation " << operation;
            }
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

} // namespace
