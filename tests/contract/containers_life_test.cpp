// The life of the typed containers: the record, its constructors, handles and memory tables, and
// what their failures leave behind.
#include "contract/containers.hpp"

#include <cstdlib>
#include <cstring>
#include <set>

namespace
{

using namespace containers;
using support::allocationsOf;
using support::failAllocation;
using support::liveBlocks;

using Seeds = std::vector<int>;

constexpr kmath_status odd = static_cast<kmath_status>(0x80001234u); // no status of the library

TEST(ContainerRecord, IsTheGenericVectorAndNothingElse)
{
    everyContainer([]<class V>(V *) {
        static_assert(sizeof(V) == sizeof(kstd_vector_));
        Box<V> box;
        EXPECT_EQ(box.v.vector.size, 0u);
        EXPECT_EQ(box.v.vector.elementSize, sizeof(ElementOf<V>));
        const kstd_vectorEtable *const etable = box.v.vector.etable;
        if constexpr (isPlain<ElementOf<V>>) {
            if (etable) {
                EXPECT_TRUE(!etable->constructEmpty && !etable->constructCopy && !etable->assign &&
                            !etable->destruct);
            }
        } else {
            ASSERT_TRUE(etable);
            ASSERT_TRUE(etable->constructEmpty && etable->constructCopy && etable->assign &&
                        etable->destruct);
        }
    });
}

TEST(ContainerRecord, NamesTheOperationsOfItsElements)
{
    everyContainer([]<class V>(V *) {
        using T = ElementOf<V>;
        if constexpr (!isPlain<T>) {
            const std::int64_t before = liveBlocks();
            Box<V> box;
            const kstd_vectorEtable *const etable = box.v.vector.etable;
            ASSERT_TRUE(etable);
            {
                Block<T> source(4);
                T empty, copy;
                EXPECT_EQ(etable->constructEmpty(&empty), KMATH_OK);
                EXPECT_EQ(flat(empty), flatOf<T>(none));
                EXPECT_EQ(etable->constructCopy(&copy, &source), KMATH_OK);
                EXPECT_EQ(flat(copy), flatOf<T>(4));
                poke(&copy, 99.0);
                EXPECT_EQ(flat(source[0]), flatOf<T>(4));
                EXPECT_EQ(etable->assign(&empty, &source), KMATH_OK);
                EXPECT_EQ(flat(empty), flatOf<T>(4));
                EXPECT_EQ(etable->destruct(&empty), KMATH_OK);
                EXPECT_EQ(etable->destruct(&copy), KMATH_OK);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
    });
}

TEST(ContainerLife, EveryConstructorGivesItsElements)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        const std::int64_t before = liveBlocks();
        for (const int n : {0, 1, 2, 17}) {
            const std::size_t count = static_cast<std::size_t>(n);
            SCOPED_TRACE(n);
            V v;
            EXPECT_EQ(Ops::construct(&v, count), KMATH_OK);
            EXPECT_EQ(v.vector.size, count);
            if constexpr (!isPlain<T>) {
                EXPECT_TRUE(holds(v, Seeds(count, none)));
            }
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);

            EXPECT_EQ(Ops::constructUninit(&v, count), KMATH_OK);
            ASSERT_EQ(v.vector.size, count);
            for (int i = 0; i < n; ++i)
                build(elements(v) + i, i);
            EXPECT_TRUE(holds(v, counting(n)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);

            Block<T> fill(7);
            EXPECT_EQ(Ops::constructFill(&v, count, &fill), KMATH_OK);
            EXPECT_TRUE(holds(v, Seeds(count, 7)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);

            Block<T> block(counting(n + 1));
            EXPECT_EQ(Ops::constructFromBlock(&v, &block, count), KMATH_OK);
            EXPECT_TRUE(holds(v, counting(n)));

            V copy;
            EXPECT_EQ(Ops::constructCopy(&copy, &v), KMATH_OK);
            EXPECT_TRUE(holds(copy, counting(n)));
            EXPECT_TRUE(n == 0 || elements(copy) != elements(v));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_TRUE(holds(copy, counting(n)));
            EXPECT_EQ(Ops::destruct(&copy), KMATH_OK);

            EXPECT_EQ(Ops::constructEmpty(&v), KMATH_OK);
            EXPECT_TRUE(holds(v, {}));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ContainerLife, ConstructorsIgnoreWhatTheRecordHeld)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        V v;
        std::memset(static_cast<void *>(&v), 0xA5, sizeof v);
        EXPECT_EQ(Ops::constructEmpty(&v), KMATH_OK);
        EXPECT_TRUE(holds(v, {}));
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        std::memset(static_cast<void *>(&v), 0xA5, sizeof v);
        Box<V> source(counting(3));
        EXPECT_EQ(Ops::constructCopy(&v, &source), KMATH_OK);
        EXPECT_TRUE(holds(v, counting(3)));
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
    });
}

TEST(ContainerLife, FailingConstructorsLeaveARecordThatCanBeDestructed)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        Block<T> block(counting(6));
        Box<V> source(counting(6));
        const auto sweep = [](auto construct) {
            support::sweepAllocationFailures([&] {
                V v;
                const kmath_status status = construct(&v);
                if (fails(status)) {
                    EXPECT_TRUE(holds(v, {}));
                }
                EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
                return status;
            });
        };
        sweep([](V *v) { return Ops::construct(v, 3); });
        sweep([&](V *v) { return Ops::constructFill(v, 6, &block); });
        sweep([&](V *v) { return Ops::constructFromBlock(v, &block, 6); });
        sweep([&](V *v) { return Ops::constructCopy(v, &source); });
        if constexpr (isPlain<T>)
            sweep([](V *v) { return Ops::constructUninit(v, 3); });

        for (const std::size_t n : impossibleCounts<V>()) {
            SCOPED_TRACE(n);
            const std::int64_t before = liveBlocks();
            V v;
            EXPECT_TRUE(fails(Ops::construct(&v, n)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_TRUE(fails(Ops::constructUninit(&v, n)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_TRUE(fails(Ops::constructFill(&v, n, &block)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_TRUE(fails(Ops::constructFromBlock(&v, &block, n)));
            EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
            EXPECT_EQ(liveBlocks(), before);
        }
    });
}

TEST(ContainerLife, NewAndDeleteKeepOneContainerInAHandle)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        const std::int64_t before = liveBlocks();
        V *handle = nullptr;
        EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
        EXPECT_EQ(Ops::new_(&handle), KMATH_OK);
        ASSERT_TRUE(handle);
        EXPECT_TRUE(holds(*handle, {}));
        EXPECT_EQ(liveBlocks(), before + 1);
        Block<ElementOf<V>> block(counting(5));
        EXPECT_EQ(Ops::assignElements(handle, &block, 5), KMATH_OK);

        const std::int64_t elsewhere = liveBlocks();
        EXPECT_EQ(Ops::new_(&handle), KMATH_OK); // the first goes with its elements
        ASSERT_TRUE(handle);
        EXPECT_TRUE(holds(*handle, {}));
        EXPECT_LT(liveBlocks(), elsewhere);
        EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
    });
}

TEST(ContainerLife, NewCloneCopiesOrDeletes)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        const std::int64_t before = liveBlocks();
        {
            Box<V> source(counting(4));
            const std::int64_t live = liveBlocks();
            V *handle = nullptr;
            EXPECT_EQ(Ops::newClone(&handle, nullptr), KMATH_OK);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(Ops::newClone(&handle, &source), KMATH_OK);
            ASSERT_TRUE(handle);
            EXPECT_NE(handle, &source);
            EXPECT_TRUE(holds(*handle, counting(4)));
            poke(elements(*handle), 99.0);
            EXPECT_TRUE(holds(source, counting(4)));

            const std::int64_t one = liveBlocks();
            EXPECT_EQ(Ops::newClone(&handle, &source), KMATH_OK); // over another
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(*handle, counting(4)));
            EXPECT_EQ(liveBlocks(), one);

            EXPECT_EQ(Ops::newClone(&handle, handle), KMATH_OK); // of itself
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(*handle, counting(4)));
            EXPECT_EQ(liveBlocks(), one);

            EXPECT_EQ(Ops::newClone(&handle, nullptr), KMATH_OK);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(liveBlocks(), live);
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ContainerLife, AFailingNewOrCloneLeavesTheHandleNull)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> source(counting(4));
        for (const bool occupied : {false, true}) {
            const std::int64_t before = liveBlocks();
            for (int number = 0; number < 1000; ++number) {
                SCOPED_TRACE(testing::Message() << "allocation " << number << " fails");
                V *handle = nullptr;
                if (occupied) {
                    ASSERT_EQ(Ops::newClone(&handle, &source), KMATH_OK);
                }
                failAllocation(number);
                const kmath_status status = Ops::newClone(&handle, &source);
                const bool failed = support::allocationHasFailed();
                failAllocation(-1);
                if (!failed) {
                    EXPECT_EQ(status, KMATH_OK);
                    EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
                    break;
                }
                EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                EXPECT_EQ(handle, nullptr);
                EXPECT_EQ(liveBlocks(), before);
            }
            V *handle = nullptr;
            if (occupied) {
                ASSERT_EQ(Ops::newClone(&handle, &source), KMATH_OK);
            }
            failAllocation(0);
            EXPECT_EQ(Ops::new_(&handle), KMATH_ERR_NO_MEMORY);
            failAllocation(-1);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(liveBlocks(), before);
        }
    });
}

/// A memory table over the C library, always moving, with a list of the blocks that it gave.
template <int number> struct Memory {
    static inline std::set<void *> blocks;
    static inline int foreign = 0;
    static inline kmath_status answer = KMATH_OK; // a failure, and nothing more is given

    static kmath_status alloc(void **block, std::size_t bytes)
    {
        *block = nullptr;
        if (fails(answer))
            return answer;
        if (bytes == 0)
            return KMATH_OK;
        *block = std::malloc(bytes);
        blocks.insert(*block);
        return KMATH_OK;
    }
    static kmath_status realloc(void **block, std::size_t bytes)
    {
        if (fails(answer))
            return answer;
        void *const old = *block;
        if (old && blocks.erase(old) == 0)
            ++foreign;
        *block = std::realloc(old, bytes);
        blocks.insert(*block);
        return KMATH_OK;
    }
    static kmath_status release(void **block)
    {
        if (*block && blocks.erase(*block) == 0)
            ++foreign;
        std::free(*block);
        *block = nullptr;
        return KMATH_OK;
    }
    static constexpr kstd_vectorMtable table = {alloc, realloc, release};
};

TEST(ContainerMemory, ComesFromTheTableThatItWasGiven)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        using A = Memory<0>;
        Block<T> block(counting(9));
        const std::int64_t before = liveBlocks();
        V v;
        const std::int64_t taken = allocationsOf([&] {
            EXPECT_EQ(Ops::constructEmptyWithMtable(&v, &A::table), KMATH_OK);
            EXPECT_TRUE(holds(v, {}));
            EXPECT_EQ(Ops::assignElements(&v, &block, 9), KMATH_OK);
            for (int i = 0; i < 40; ++i)
                EXPECT_EQ(Ops::insertElement(&v, 3, &block + i % 9), KMATH_OK);
            EXPECT_EQ(Ops::erase(&v, 3, 40), KMATH_OK);
            EXPECT_EQ(Ops::reserve(&v, 100), KMATH_OK);
        });
        EXPECT_TRUE(holds(v, counting(9)));
        if (isPlain<T>) {
            EXPECT_EQ(taken, 0);
        }
        EXPECT_EQ(A::blocks.count(elements(v)), 1u);
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        EXPECT_TRUE(A::blocks.empty());

        EXPECT_EQ(Ops::constructWithMtable(&v, 5, &A::table), KMATH_OK);
        EXPECT_EQ(v.vector.size, 5u);
        if (!isPlain<T>) {
            EXPECT_TRUE(holds(v, Seeds(5, none)));
        }
        EXPECT_EQ(A::blocks.count(elements(v)), 1u);
        EXPECT_EQ(Ops::clearAndFreeMemory(&v), KMATH_OK);
        EXPECT_TRUE(A::blocks.empty());
        EXPECT_EQ(Ops::resizeFill(&v, 2, &block), KMATH_OK); // and again from the same table
        EXPECT_EQ(A::blocks.count(elements(v)), 1u);
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        EXPECT_TRUE(A::blocks.empty());
        EXPECT_EQ(A::foreign, 0);
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ContainerMemory, GoesBackToItsOwnTableAfterEveryExchange)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using A = Memory<0>;
        using B = Memory<1>;
        const std::int64_t before = liveBlocks();
        {
            Block<ElementOf<V>> block(counting(9));
            V a, b, c;
            Box<V> ordinary(counting(4));
            EXPECT_EQ(Ops::constructEmptyWithMtable(&a, &A::table), KMATH_OK);
            EXPECT_EQ(Ops::constructEmptyWithMtable(&b, &B::table), KMATH_OK);
            EXPECT_EQ(Ops::assignElements(&a, &block, 9), KMATH_OK);
            EXPECT_EQ(Ops::assignElements(&b, &block + 2, 3), KMATH_OK);
            EXPECT_EQ(Ops::swap(&a, &b), KMATH_OK);
            EXPECT_TRUE(holds(a, {2, 3, 4}));
            EXPECT_TRUE(holds(b, counting(9)));
            EXPECT_EQ(Ops::pushBack(&a, &block), KMATH_OK);
            EXPECT_EQ(Ops::assign(&b, &a), KMATH_OK);
            EXPECT_TRUE(holds(b, {2, 3, 4, 0}));
            EXPECT_EQ(Ops::append(&b, &ordinary), KMATH_OK);
            EXPECT_EQ(Ops::swap(&a, &ordinary), KMATH_OK);
            EXPECT_TRUE(holds(a, counting(4)));
            EXPECT_TRUE(holds(ordinary, {2, 3, 4, 0}));
            EXPECT_EQ(Ops::constructCopy(&c, &b), KMATH_OK);
            EXPECT_TRUE(holds(c, {2, 3, 4, 0, 0, 1, 2, 3}));
            EXPECT_EQ(Ops::destruct(&a), KMATH_OK);
            EXPECT_EQ(Ops::destruct(&b), KMATH_OK);
            EXPECT_EQ(Ops::destruct(&c), KMATH_OK);
        }
        EXPECT_EQ(liveBlocks(), before);
        EXPECT_TRUE(A::blocks.empty() && B::blocks.empty());
        EXPECT_EQ(A::foreign + B::foreign, 0);
    });
}

TEST(ContainerMemory, StatusOfTheTablePassesOutward)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using A = Memory<0>;
        Block<ElementOf<V>> block(counting(3));
        V v;
        A::answer = odd;
        EXPECT_EQ(Ops::constructWithMtable(&v, 3, &A::table), odd);
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        A::answer = KMATH_OK;
        EXPECT_EQ(Ops::constructEmptyWithMtable(&v, &A::table), KMATH_OK);
        EXPECT_EQ(Ops::assignElements(&v, &block, 3), KMATH_OK);
        A::answer = odd;
        EXPECT_EQ(Ops::reserve(&v, 50), odd);
        EXPECT_EQ(Ops::resize(&v, 50), odd);
        EXPECT_EQ(Ops::resizeFill(&v, 50, &block), odd);
        EXPECT_EQ(Ops::resizeUninit(&v, 50), odd);
        kmath_status status = KMATH_OK;
        Seeds seeds = counting(3);
        while (!fails(status = Ops::pushBack(&v, &block)) && seeds.size() < 1000)
            seeds.push_back(0);
        EXPECT_EQ(status, odd);
        EXPECT_EQ(Ops::insertElement(&v, 0, &block), odd);
        EXPECT_TRUE(holds(v, seeds));
        A::answer = KMATH_OK;
        EXPECT_EQ(Ops::destruct(&v), KMATH_OK);
        EXPECT_TRUE(A::blocks.empty());
    });
}

} // namespace
