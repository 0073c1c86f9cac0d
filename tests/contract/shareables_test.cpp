// The shareable containers seen from outside: objects in a handle around a
// plain container, which tell their type's name and are asked for interfaces by
// it.
#include "contract/containers_null.hpp"
#include "contract/shareables.hpp"

#include <cstddef>
#include <cstring>
#include <limits>
#include <string>

namespace
{

using namespace containers;
using support::failAllocation;
using support::liveBlocks;

using Seeds = std::vector<int>;

/// A place that no result should keep.
int elsewhere = 0;
template <class P> P *garbage() { return reinterpret_cast<P *>(&elsewhere); }

/// Fails allocation 0, 1, 2 … of an operation that puts an object into a
/// handle: the status comes outward, the handle is null, and nothing is kept.
template <class S, class Operation> void leavesNull(const Seeds &result, Operation operation)
{
    for (std::int64_t number = 0; number < 10000; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number << " fails");
        const std::int64_t before = liveBlocks();
        S *handle = nullptr;
        failAllocation(number);
        const kmath_status status = operation(&handle);
        const bool failed = support::allocationHasFailed();
        failAllocation(-1);
        EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
        EXPECT_EQ(handle == nullptr, failed);
        if (handle) {
            EXPECT_TRUE(holds(handle->vector, result));
        }
        EXPECT_EQ(Sharing<S>::delete_(&handle), KMATH_OK);
        EXPECT_EQ(liveBlocks(), before);
        if (!failed || testing::Test::HasFailure())
            return;
    }
    ADD_FAILURE() << "still allocating";
}

TEST(ShareableRecord, IsAnObjectThatEmbedsOnePlainContainer)
{
    everyShareable([]<class S>(S *) {
        using V = typename Sharing<S>::Vector;
        static_assert(offsetof(S, object) == 0);
        static_assert(offsetof(S, vector) == sizeof(kxObject));
        static_assert(std::is_same_v<decltype(S::vector), V>);
        static_assert(sizeof(S) == sizeof(kxObject) + sizeof(V));
        Shared<S> object(counting(3));
        EXPECT_TRUE(object->object.table);
        // What is inside is a container like any other.
        Block<ElementOf<V>> block(5);
        EXPECT_EQ(Operations<V>::insertElement(&object->vector, 1, &block), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {0, 5, 1, 2}));
        Box<V> box(counting(2));
        EXPECT_EQ(Operations<V>::swap(&object->vector, &box), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {0, 1}));
    });
}

TEST(ShareableLife, ConstructorsPutANewObjectIntoTheHandle)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        using V = typename Ops::Vector;
        const std::int64_t before = liveBlocks();
        for (const int n : {0, 1, 9}) {
            const auto count = static_cast<std::size_t>(n);
            S *handle = garbage<S>(); // what it held is not looked at
            EXPECT_EQ(Ops::construct(&handle, count), KMATH_OK);
            ASSERT_TRUE(handle && handle != garbage<S>());
            EXPECT_EQ(handle->vector.vector.size, count);
            if constexpr (!isPlain<ElementOf<V>>) {
                EXPECT_TRUE(holds(handle->vector, Seeds(count, none)));
            }
            EXPECT_EQ(Ops::destruct(&handle), KMATH_OK);
            EXPECT_EQ(handle, nullptr);

            handle = garbage<S>();
            EXPECT_EQ(Ops::constructEmpty(&handle), KMATH_OK);
            EXPECT_TRUE(holds(handle->vector, {}));
            EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
            EXPECT_EQ(handle, nullptr);

            handle = garbage<S>();
            Shared<S> source(counting(n));
            EXPECT_EQ(Ops::constructCopy(&handle, source), KMATH_OK);
            EXPECT_TRUE(handle != source.handle);
            EXPECT_TRUE(holds(handle->vector, counting(n)));
            if (n > 0)
                poke(elements(handle->vector), 99.0);
            EXPECT_TRUE(holds(source->vector, counting(n)));
            EXPECT_EQ(Ops::destruct(&handle), KMATH_OK);

            handle = garbage<S>();
            Box<V> box(counting(n));
            EXPECT_EQ(Ops::constructVector(&handle, &box), KMATH_OK);
            EXPECT_TRUE(holds(handle->vector, counting(n)));
            if (n > 0)
                poke(elements(handle->vector), 99.0);
            EXPECT_TRUE(holds(box, counting(n)));
            EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ShareableLife, FailuresLeaveTheHandleNull)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        using V = typename Ops::Vector;
        const Seeds seeds = counting(5);
        Shared<S> source(seeds);
        Box<V> box(seeds);
        leavesNull<S>(seeds, [&](S **handle) {
            *handle = garbage<S>();
            return Ops::constructCopy(handle, source);
        });
        leavesNull<S>(seeds, [&](S **handle) {
            *handle = garbage<S>();
            return Ops::constructVector(handle, &box);
        });
        leavesNull<S>({}, [](S **handle) {
            *handle = garbage<S>();
            return Ops::constructEmpty(handle);
        });
        leavesNull<S>({}, [](S **handle) { return Ops::new_(handle); });
        leavesNull<S>(seeds, [&](S **handle) { return Ops::newClone(handle, source); });
        if constexpr (!isPlain<ElementOf<V>>)
            leavesNull<S>(Seeds(3, none), [](S **handle) { return Ops::construct(handle, 3); });

        for (const std::size_t n : impossibleCounts<V>()) {
            const std::int64_t before = liveBlocks();
            S *handle = garbage<S>();
            EXPECT_TRUE(fails(Ops::construct(&handle, n)));
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(liveBlocks(), before);
        }
    });
}

TEST(ShareableLife, NewCloneAndDeleteKeepOneObjectInAHandle)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        const std::int64_t before = liveBlocks();
        {
            Shared<S> source(counting(4));
            const std::int64_t live = liveBlocks();
            S *handle = nullptr;
            EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
            EXPECT_EQ(Ops::destruct(&handle), KMATH_OK);
            EXPECT_EQ(Ops::newClone(&handle, nullptr), KMATH_OK);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(Ops::new_(&handle), KMATH_OK);
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(handle->vector, {}));
            EXPECT_EQ(Ops::newClone(&handle, source), KMATH_OK);
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(handle->vector, counting(4)));
            const std::int64_t one = liveBlocks();
            EXPECT_EQ(Ops::newClone(&handle, source), KMATH_OK);
            EXPECT_EQ(liveBlocks(), one);
            EXPECT_EQ(Ops::newClone(&handle, handle), KMATH_OK); // of itself
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(handle->vector, counting(4)));
            EXPECT_EQ(liveBlocks(), one);
            poke(elements(handle->vector), 99.0);
            EXPECT_TRUE(holds(source->vector, counting(4)));
            EXPECT_EQ(Ops::new_(&handle),
                      KMATH_OK); // the clone goes with its elements
            ASSERT_TRUE(handle);
            EXPECT_TRUE(holds(handle->vector, {}));
            EXPECT_EQ(Ops::newClone(&handle, nullptr), KMATH_OK);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(liveBlocks(), live);
        }
        EXPECT_EQ(liveBlocks(), before);
    });
}

TEST(ShareableContent, ForwardsToTheEmbeddedContainer)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        using V = typename Ops::Vector;
        using T = ElementOf<V>;
        Shared<S> object, other(counting(6));
        Box<V> box({5, 4});
        Block<T> block({7, 8, 9});
        EXPECT_EQ(Ops::assign(object, other), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, counting(6)));
        EXPECT_EQ(Ops::assign(object, object), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, counting(6)));
        EXPECT_EQ(Ops::assignVector(object, &box), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {5, 4}));
        EXPECT_EQ(Ops::assignVector(object, &object->vector), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {5, 4}));
        EXPECT_EQ(Ops::assignElements(object, &block, 3), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {7, 8, 9}));
        EXPECT_EQ(Ops::assignElements(object, elements(object->vector) + 1, 2), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {8, 9}));
        EXPECT_EQ(Ops::assignElements(object, &block, 0), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {}));
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(Ops::pushBack(object, &block + i), KMATH_OK);
        EXPECT_EQ(Ops::pushBack(object, elements(object->vector)), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {7, 8, 9, 7}));
        EXPECT_EQ(Ops::resize(object, 2), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {7, 8}));
        EXPECT_EQ(Ops::reserve(object, 33), KMATH_OK);
        std::size_t capacity = 0, elementSize = 0;
        EXPECT_EQ(Ops::getCapacity(object, &capacity), KMATH_OK);
        EXPECT_GE(capacity, 33u);
        EXPECT_EQ(capacity, object->vector.vector.capacity);
        EXPECT_EQ(Ops::getElementSize(object, &elementSize), KMATH_OK);
        EXPECT_EQ(elementSize, sizeof(T));
        EXPECT_EQ(Ops::resize(object, 4), KMATH_OK);
        if constexpr (!isPlain<T>) {
            EXPECT_TRUE(holds(object->vector, {7, 8, none, none}));
        }
        EXPECT_EQ(object->vector.vector.size, 4u);
        for (const std::size_t n : impossibleCounts<V>()) {
            EXPECT_EQ(Ops::assignElements(object, &block, 3), KMATH_OK);
            EXPECT_TRUE(fails(Ops::reserve(object, n)));
            EXPECT_TRUE(fails(Ops::resize(object, n)));
            EXPECT_TRUE(fails(Ops::assignElements(object, &block, n)));
            EXPECT_TRUE(holds(object->vector, {7, 8, 9}));
        }
    });
}

TEST(ShareableContent, ResetGivesTheMemoryBack)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        const std::int64_t before = liveBlocks();
        Shared<S> object(counting(8));
        EXPECT_EQ(Ops::reset(object), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {}));
        EXPECT_EQ(liveBlocks(), before + 1);
        EXPECT_EQ(Ops::reset(object), KMATH_OK);
        Block<typename Ops::T> block(3);
        EXPECT_EQ(Ops::pushBack(object, &block), KMATH_OK);
        EXPECT_TRUE(holds(object->vector, {3}));
        const wchar_t *name = nullptr;
        EXPECT_EQ(Ops::getTypename(object, &name),
                  KMATH_OK); // the same object as before
        EXPECT_STREQ(name, Ops::wideName);
    });
}

TEST(ShareableContent, FailuresLeaveTheElements)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        using V = typename Ops::Vector;
        const Seeds four = counting(4);
        Shared<S> other({5, 6, 7, 1, 3, 8});
        Box<V> box({5, 6, 7, 1, 3, 8});
        Block<ElementOf<V>> block(counting(9));
        keepsItsElements<Shared<S>>(four, {5, 6, 7, 1, 3, 8},
                                    [&](S *s) { return Ops::assign(s, other); });
        keepsItsElements<Shared<S>>(four, {5, 6, 7, 1, 3, 8},
                                    [&](S *s) { return Ops::assignVector(s, &box); });
        keepsItsElements<Shared<S>>(four, counting(9),
                                    [&](S *s) { return Ops::assignElements(s, &block, 9); });
        keepsItsElements<Shared<S>>(four, {0, 1, 2, 3, 6},
                                    [&](S *s) { return Ops::pushBack(s, &block + 6); });
        keepsItsElements<Shared<S>>(four, four, [&](S *s) { return Ops::reserve(s, 30); });
        if constexpr (!isPlain<ElementOf<V>>)
            keepsItsElements<Shared<S>>(four, {0, 1, 2, 3, none, none, none, none},
                                        [&](S *s) { return Ops::resize(s, 8); });
    });
}

TEST(ShareableAccess, GettersTellTheSameAsTheEmbeddedContainer)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        using T = typename Ops::T;
        for (const int n : {0, 5}) {
            Shared<S> object(counting(n));
            const auto count = static_cast<std::size_t>(n);
            T *const first = elements(object->vector);
            T *begin = nullptr, *end = nullptr;
            const T *constBegin = nullptr, *constEnd = nullptr;
            std::size_t size = 99;
            std::int32_t size32 = 99;
            EXPECT_EQ(Ops::getBeginEnd(object, &begin, &end), KMATH_OK);
            EXPECT_TRUE(begin == first && end - begin == n);
            EXPECT_EQ(Ops::getBeginEndConst(object, &constBegin, &constEnd), KMATH_OK);
            EXPECT_TRUE(constBegin == first && constEnd - constBegin == n);
            begin = nullptr, constBegin = nullptr;
            EXPECT_EQ(Ops::getBeginSize(object, &begin, &size), KMATH_OK);
            EXPECT_TRUE(begin == first && size == count);
            size = 99;
            EXPECT_EQ(Ops::getBeginSizeConst(object, &constBegin, &size), KMATH_OK);
            EXPECT_TRUE(constBegin == first && size == count);
            EXPECT_EQ(Ops::getSize(object, &size32), KMATH_OK);
            EXPECT_EQ(size32, n);
        }
    });
}

TEST(ShareableCompare, ComparesTheEmbeddedContainers)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        if constexpr (isCompared<typename Ops::Vector>) {
            Shared<S> a(counting(4)), b(counting(4)), shorter(counting(3)), empty, alsoEmpty;
            const auto equal = [](S *x, S *y) {
                std::uint32_t flag = 77;
                EXPECT_EQ(Ops::compareEqual(x, y, &flag), KMATH_OK);
                return flag;
            };
            EXPECT_EQ(equal(a, a), 1u);
            EXPECT_EQ(equal(a, b), 1u);
            EXPECT_EQ(equal(empty, alsoEmpty), 1u);
            EXPECT_EQ(equal(a, shorter), 0u);
            EXPECT_EQ(equal(empty, a), 0u);
            poke(elements(b->vector) + 3, 0.0625);
            EXPECT_EQ(equal(a, b), 0u);
            poke(elements(a->vector) + 3, 0.0625);
            EXPECT_EQ(equal(a, b), 1u);
            poke(elements(a->vector), 0.0);
            poke(elements(b->vector), -0.0);
            EXPECT_EQ(equal(a, b), 1u);
            poke(elements(a->vector), std::numeric_limits<double>::quiet_NaN());
            EXPECT_EQ(equal(a, a), 0u);
        }
    });
}

TEST(ShareableTypename, IsTheNameOfTheInterface)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        Shared<S> object, other;
        const wchar_t *name = nullptr, *again = nullptr, *byTable = nullptr, *byObject = nullptr;
        EXPECT_EQ(Ops::getTypename(object, &name), KMATH_OK);
        EXPECT_STREQ(name, Ops::wideName);
        EXPECT_EQ(Ops::getTypename(other, &again), KMATH_OK);
        EXPECT_EQ(name, again); // one constant for all
        EXPECT_EQ(object->object.table->getTypename(&object->object, &byTable), KMATH_OK);
        EXPECT_STREQ(byTable, Ops::wideName);
        EXPECT_EQ(kxObject_getTypename(&object->object, &byObject), KMATH_OK);
        EXPECT_STREQ(byObject, Ops::wideName);
    });
}

/// The ways to ask an object for an interface, all with the same answers.
template <class S, class Check> void everyQuery(Check check)
{
    using Ops = Sharing<S>;
    const auto ask = [&](const char *which, auto query) {
        SCOPED_TRACE(which);
        check(query);
    };
    ask("queryInterfaceByTypename", Ops::queryInterfaceByTypename);
    ask("queryInterfaceByTypename_", Ops::queryInterfaceByTypename_);
    ask("queryInterfaceByTypenameFinal", Ops::queryInterfaceByTypenameFinal);
    ask("the table's", [](S *object, const wchar_t *name, void **result) {
        return object->object.table->queryInterfaceByTypename_(&object->object, name, result);
    });
    ask("kxObject's", [](S *object, const wchar_t *name, void **result) {
        return kxObject_queryInterfaceByTypename(&object->object, name, result);
    });
}

TEST(ShareableQuery, FindsTheObjectUnderItsNames)
{
    everyShareable([]<class S>(S *) {
        Shared<S> object(counting(2));
        const std::wstring own(Sharing<S>::wideName); // equal, at another address
        everyQuery<S>([&](auto query) {
            for (const wchar_t *const name : {own.c_str(), L"kstd_vectorShareable", L"kxObject"}) {
                void *result = &elsewhere;
                EXPECT_EQ(query(object.handle, name, &result), KMATH_OK);
                EXPECT_EQ(result, object.handle);
            }
        });
        EXPECT_TRUE(holds(object->vector, counting(2)));
    });
}

TEST(ShareableQuery, FindsNothingUnderAnyOtherName)
{
    everyShareable([]<class S>(S *) {
        Shared<S> object;
        const std::wstring own(Sharing<S>::wideName);
        const std::wstring names[] = {L"",
                                      L"k",
                                      own.substr(0, own.size() - 1),
                                      own.substr(1),
                                      own + L"2",
                                      own.substr(0, own.size() - 9), // the plain container's
                                      L"K" + own.substr(1),
                                      L"kxobject",
                                      L"kstd_vectorShareable_",
                                      L"kstd_vector_kmath_vect5Shareable"};
        everyQuery<S>([&](auto query) {
            for (const std::wstring &name : names) {
                void *result = &elsewhere;
                EXPECT_EQ(query(object.handle, name.c_str(), &result), KMATH_OK);
                EXPECT_EQ(result, nullptr);
            }
            int found = 0;
            everyShareable([&]<class Another>(Another *) {
                void *result = &elsewhere;
                EXPECT_EQ(query(object.handle, Sharing<Another>::wideName, &result), KMATH_OK);
                EXPECT_EQ(result != nullptr, (std::is_same_v<S, Another>));
                found += result != nullptr;
            });
            EXPECT_EQ(found, 1);
        });
    });
}

TEST(ShareableQuery, OfANullObjectIsANullResult)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        const support::AssertionRecorder recorder;
        for (const auto query : {Ops::queryInterfaceByTypename, Ops::queryInterfaceByTypename_,
                                 Ops::queryInterfaceByTypenameFinal})
            for (const wchar_t *const name : {Ops::wideName, L"kxObject", L"another"}) {
                void *result = &elsewhere;
                EXPECT_EQ(query(nullptr, name, &result), KMATH_OK);
                EXPECT_EQ(result, nullptr);
            }
        EXPECT_TRUE(recorder.lines().empty());
    });
}

TEST(ShareableQuery, AssertsANameAndAResult)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        Shared<S> object;
        for (const auto query : {Ops::queryInterfaceByTypename, Ops::queryInterfaceByTypename_,
                                 Ops::queryInterfaceByTypenameFinal})
            for (S *const asked : {object.handle, static_cast<S *>(nullptr)}) {
                void *result = &elsewhere;
                EXPECT_NE(support::assertedLine([&] { query(asked, nullptr, &result); }), 0);
                EXPECT_NE(support::assertedLine([&] { query(asked, Ops::wideName, nullptr); }), 0);
            }
    });
}

TEST(ShareableQuery, OfTheGenericVectorGoesThroughTheObject)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        Shared<S> object;
        auto *const generic = reinterpret_cast<kstd_vectorShareable *>(object.handle);
        void *result = &elsewhere;
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(generic, Ops::wideName, &result),
                  KMATH_OK);
        EXPECT_EQ(result, object.handle);
        result = &elsewhere;
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(generic, L"another", &result),
                  KMATH_OK);
        EXPECT_EQ(result, nullptr);
        result = &elsewhere;
        EXPECT_EQ(
            kstd_vectorShareable_queryInterfaceByTypenameFinal(generic, Ops::wideName, &result),
            KMATH_OK);
        EXPECT_EQ(result, nullptr); // which knows the generic names alone
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypenameFinal(
                      generic, L"kstd_vectorShareable", &result),
                  KMATH_OK);
        EXPECT_EQ(result, object.handle);
        result = &elsewhere;
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(nullptr, L"kxObject", &result),
                  KMATH_OK);
        EXPECT_EQ(result, nullptr);
    });
}

/// A shareable's table as far as it is promised: the object's two entries, then
/// the elements'.
struct PromisedTable {
    kxObjectInterface object;
    const kstd_vectorEtable *elements;
};

TEST(ShareableRecord, ItsTableNamesTheOperationsOfItsElements)
{
    everyShareable([]<class S>(S *) {
        using T = typename Sharing<S>::T;
        Shared<S> object;
        PromisedTable table;
        std::memcpy(&table, object->object.table, sizeof table);
        EXPECT_TRUE(table.object.queryInterfaceByTypename_ && table.object.getTypename);
        EXPECT_EQ(table.elements == nullptr, isPlain<T>);
        if (!isPlain<T>) {
            EXPECT_EQ(table.elements, object->vector.vector.etable);
        }
    });
}

TEST(ShareableAssertions, ANullContainerOrHandleIsAsserted)
{
    everyShareable([]<class S>(S *) {
        using Ops = Sharing<S>;
        const NullCall calls[] = {
            {"construct", assertsNull<0>(Ops::construct)},
            {"constructCopy", assertsNull<0>(Ops::constructCopy)},
            {"constructCopy", assertsNull<1>(Ops::constructCopy)},
            {"constructVector", assertsNull<0>(Ops::constructVector)},
            {"constructVector", assertsNull<1>(Ops::constructVector)},
            {"constructEmpty", assertsNull<0>(Ops::constructEmpty)},
            {"new", assertsNull<0>(Ops::new_)},
            {"newClone", assertsNull<0>(Ops::newClone)},
            {"delete", assertsNull<0>(Ops::delete_)},
            {"destruct", assertsNull<0>(Ops::destruct)},
            {"assign", assertsNull<0>(Ops::assign)},
            {"assign", assertsNull<1>(Ops::assign)},
            {"assignVector", assertsNull<0>(Ops::assignVector)},
            {"assignVector", assertsNull<1>(Ops::assignVector)},
            {"assignElements", assertsNull<0>(Ops::assignElements)},
            {"reset", assertsNull<0>(Ops::reset)},
            {"reserve", assertsNull<0>(Ops::reserve)},
            {"resize", assertsNull<0>(Ops::resize)},
            {"pushBack", assertsNull<0>(Ops::pushBack)},
            {"getBeginEnd", assertsNull<0>(Ops::getBeginEnd)},
            {"getBeginEndConst", assertsNull<0>(Ops::getBeginEndConst)},
            {"getBeginSize", assertsNull<0>(Ops::getBeginSize)},
            {"getBeginSizeConst", assertsNull<0>(Ops::getBeginSizeConst)},
            {"getCapacity", assertsNull<0>(Ops::getCapacity)},
            {"getElementSize", assertsNull<0>(Ops::getElementSize)},
            {"getSize", assertsNull<0>(Ops::getSize)},
            {"getTypename", assertsNull<0>(Ops::getTypename)},
        };
        for (const NullCall &call : calls)
            EXPECT_TRUE(call.asserted) << call.operation;
        if constexpr (isCompared<typename Ops::Vector>) {
            EXPECT_TRUE(assertsNull<0>(Ops::compareEqual));
            EXPECT_TRUE(assertsNull<1>(Ops::compareEqual));
        }
    });
}

} // namespace
