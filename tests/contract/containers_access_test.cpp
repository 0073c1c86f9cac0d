// What the typed containers tell: sizes, elements, comparisons, the widening of single precision,
// and the assertions of null containers.
#include "contract/containers.hpp"
#include "contract/containers_null.hpp"

#include <kmath/xform3.h>

#include <cmath>
#include <limits>

namespace
{

using namespace containers;
using support::failAllocation;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

template <class V> void checkGetters(Box<V> &box)
{
    using Ops = Operations<V>;
    using T = ElementOf<V>;
    const std::size_t n = box.size();
    T *const first = elements(box.v);
    const auto expected = [&](const T *begin) { return begin == first; };

    T *begin = nullptr, *end = nullptr;
    const T *constBegin = nullptr, *constEnd = nullptr;
    std::size_t size = 99;
    std::int32_t size32 = -1;
    std::intptr_t sizePtr = -1;
    EXPECT_EQ(Ops::getBegin(&box, &begin), KMATH_OK);
    EXPECT_TRUE(expected(begin));
    EXPECT_EQ(Ops::getBeginConst(&box, &constBegin), KMATH_OK);
    EXPECT_TRUE(expected(constBegin));
    begin = nullptr, constBegin = nullptr;
    EXPECT_EQ(Ops::getBeginEnd(&box, &begin, &end), KMATH_OK);
    EXPECT_TRUE(expected(begin));
    EXPECT_EQ(static_cast<std::size_t>(end - begin), n);
    EXPECT_EQ(Ops::getBeginEndConst(&box, &constBegin, &constEnd), KMATH_OK);
    EXPECT_TRUE(expected(constBegin));
    EXPECT_EQ(static_cast<std::size_t>(constEnd - constBegin), n);

    begin = nullptr, constBegin = nullptr;
    EXPECT_EQ(Ops::getBeginSize(&box, &begin, &size), KMATH_OK);
    EXPECT_TRUE(expected(begin) && size == n);
    size = 99;
    EXPECT_EQ(Ops::getBeginSizeConst(&box, &constBegin, &size), KMATH_OK);
    EXPECT_TRUE(expected(constBegin) && size == n);
    begin = nullptr, constBegin = nullptr;
    EXPECT_EQ(Ops::getBeginSize32(&box, &begin, &size32), KMATH_OK);
    EXPECT_TRUE(expected(begin) && size32 == static_cast<std::int32_t>(n));
    size32 = -1;
    EXPECT_EQ(Ops::getBeginSize32Const(&box, &constBegin, &size32), KMATH_OK);
    EXPECT_TRUE(expected(constBegin) && size32 == static_cast<std::int32_t>(n));
    begin = nullptr, constBegin = nullptr;
    EXPECT_EQ(Ops::getBeginSizeIntPtr(&box, &begin, &sizePtr), KMATH_OK);
    EXPECT_TRUE(expected(begin) && sizePtr == static_cast<std::intptr_t>(n));
    sizePtr = -1;
    EXPECT_EQ(Ops::getBeginSizeIntPtrConst(&box, &constBegin, &sizePtr), KMATH_OK);
    EXPECT_TRUE(expected(constBegin) && sizePtr == static_cast<std::intptr_t>(n));

    size32 = -1;
    EXPECT_EQ(Ops::getSize(&box, &size32), KMATH_OK);
    EXPECT_EQ(size32, static_cast<std::int32_t>(n));
    size32 = -1;
    EXPECT_EQ(Ops::getSize32(&box, &size32), KMATH_OK);
    EXPECT_EQ(size32, static_cast<std::int32_t>(n));
    sizePtr = -1;
    EXPECT_EQ(Ops::getSizeIntPtr(&box, &sizePtr), KMATH_OK);
    EXPECT_EQ(sizePtr, static_cast<std::intptr_t>(n));
    size = 99;
    EXPECT_EQ(Ops::getElementSize(&box, &size), KMATH_OK);
    EXPECT_EQ(size, sizeof(T));
    EXPECT_EQ(Ops::getCapacity(&box, &size), KMATH_OK);
    EXPECT_TRUE(size == box.capacity() && size >= n);

    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_EQ(Ops::getElement(&box, i, &begin), KMATH_OK);
        EXPECT_EQ(begin, first + i);
        EXPECT_EQ(Ops::getElementConst(&box, i, &constBegin), KMATH_OK);
        EXPECT_EQ(constBegin, first + i);
    }
}

TEST(ContainerAccess, AllGettersTellTheSame)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box;
        checkGetters(box);
        Block<ElementOf<V>> block(counting(6));
        EXPECT_EQ(Ops::assignElements(&box, &block, 6), KMATH_OK);
        checkGetters(box);
        EXPECT_EQ(Ops::eraseElement(&box, 2), KMATH_OK);
        checkGetters(box);
        EXPECT_EQ(Ops::clear(&box), KMATH_OK);
        checkGetters(box);
    });
}

TEST(ContainerAccess, NextElementWalksFromTheFirstToTheLast)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        using T = ElementOf<V>;
        for (const int n : {0, 1, 5}) {
            Box<V> box(counting(n));
            T *element = nullptr;
            const T *constElement = nullptr;
            for (int i = 0; i < n; ++i) {
                EXPECT_EQ(Ops::getNextElement(&box, &element), KMATH_OK);
                EXPECT_EQ(element, elements(box.v) + i);
                EXPECT_EQ(Ops::getNextElementConst(&box, &constElement), KMATH_OK);
                EXPECT_EQ(constElement, elements(box.v) + i);
            }
            EXPECT_EQ(Ops::getNextElement(&box, &element), KMATH_OK);
            EXPECT_EQ(element, nullptr);
            EXPECT_EQ(Ops::getNextElementConst(&box, &constElement), KMATH_OK);
            EXPECT_EQ(constElement, nullptr);
        }
    });
}

TEST(ContainerAccess, ACountBeyond32BitsIsNoAnswerOf32)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box({0});
        V large = box.v; // never touched, only asked
        for (const std::size_t n :
             {std::size_t{1} << 31, std::size_t{1} << 32, (std::size_t{1} << 32) + 1}) {
            large.vector.size = n;
            large.vector.capacity = n;
            ElementOf<V> *begin = nullptr;
            const ElementOf<V> *constBegin = nullptr;
            std::int32_t size32 = 0;
            std::intptr_t size = 0;
            EXPECT_TRUE(fails(Ops::getSize(&large, &size32)));
            EXPECT_TRUE(fails(Ops::getSize32(&large, &size32)));
            EXPECT_TRUE(fails(Ops::getBeginSize32(&large, &begin, &size32)));
            EXPECT_TRUE(fails(Ops::getBeginSize32Const(&large, &constBegin, &size32)));
            EXPECT_EQ(Ops::getSizeIntPtr(&large, &size), KMATH_OK);
            EXPECT_EQ(size, static_cast<std::intptr_t>(n));
        }
    });
}

template <class V> std::uint32_t equal(Box<V> &a, Box<V> &b)
{
    std::uint32_t forward = 77, backward = 78;
    EXPECT_EQ(Operations<V>::compareEqual(&a, &b, &forward), KMATH_OK);
    EXPECT_EQ(Operations<V>::compareEqual(&b, &a, &backward), KMATH_OK);
    EXPECT_EQ(forward, backward);
    return forward;
}

TEST(ContainerCompare, EqualMeansAsManyElementsEachEqual)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        if constexpr (isCompared<V>) {
            Box<V> empty, alsoEmpty, a(counting(5)), b(counting(5)), shorter(counting(4));
            EXPECT_EQ(equal(empty, alsoEmpty), 1u);
            EXPECT_EQ(equal(a, a), 1u);
            EXPECT_EQ(equal(a, b), 1u);
            EXPECT_EQ(equal(a, empty), 0u);
            EXPECT_EQ(equal(a, shorter), 0u);
            EXPECT_EQ(Ops::reserve(&b, 70), KMATH_OK);
            EXPECT_EQ(equal(a, b), 1u);
            for (std::size_t i = 0; i < 5; ++i) {
                SCOPED_TRACE(i);
                Box<V> other(counting(5));
                poke(elements(other.v) + i, 0.0625);
                EXPECT_EQ(equal(a, other), 0u);
            }
            Box<V> reversed({4, 3, 2, 1, 0});
            EXPECT_EQ(equal(a, reversed), 0u);
        }
    });
}

TEST(ContainerCompare, TestsElementsByTheirOwnComparison)
{
    everyContainer([]<class V>(V *) {
        if constexpr (isCompared<V>) {
            Box<V> plus(counting(3)), minus(counting(3)), unordered(counting(3)), infinite({0});
            poke(elements(plus.v) + 1, 0.0);
            poke(elements(minus.v) + 1, -0.0);
            EXPECT_EQ(equal(plus, minus), 1u); // by value and not by bits
            poke(elements(unordered.v) + 1, nan);
            EXPECT_EQ(equal(unordered, unordered), 0u);
            poke(elements(infinite.v), inf);
            EXPECT_EQ(equal(infinite, infinite), 1u);
        }
    });
}

TEST(ContainerCompare, AgreesWithTheComparisonOfRecords)
{
    kmath_xform3Linear f, g;
    build(&f, 3);
    for (int difference = 0; difference < 3; ++difference) {
        g = f;
        if (difference == 1)
            g.translation.z += 1e-9;
        if (difference == 2)
            g.matrix.m21 = nan;
        std::uint32_t records = 7;
        EXPECT_EQ(kmath_xform3Linear_compareEqual(&f, &g, &records), KMATH_OK);
        EXPECT_EQ(records, difference == 0);
        Box<kstd_vector_kmath_xform3Linear> a, b;
        EXPECT_EQ(kstd_vector_kmath_xform3Linear_pushBack(&a, &f), KMATH_OK);
        EXPECT_EQ(kstd_vector_kmath_xform3Linear_pushBack(&b, &g), KMATH_OK);
        EXPECT_EQ(equal(a, b), records);
    }
}

TEST(ContainerOfVect3, WidensAContainerOfVect3FComponentByComponent)
{
    const float tiny = std::numeric_limits<float>::denorm_min();
    const float large = std::numeric_limits<float>::max();
    const kmath_vect3F sources[] = {{0.1f, -2.5f, 1e-30f},
                                    {tiny, large, -0.0f},
                                    {std::numeric_limits<float>::infinity(), 1.0f / 3.0f, -large}};
    Box<kstd_vector_kmath_vect3F> source;
    EXPECT_EQ(kstd_vector_kmath_vect3F_assignElements(&source, sources, 3), KMATH_OK);
    for (const int n : {0, 2, 3, 30}) {
        Box<kstd_vector_kmath_vect3> destination(counting(n));
        EXPECT_EQ(kstd_vector_kmath_vect3_assignVect3F(&destination, &source), KMATH_OK);
        ASSERT_EQ(destination.size(), 3u);
        for (int i = 0; i < 3; ++i) {
            const kmath_vect3 &p = elements(destination.v)[i];
            EXPECT_EQ(p.x, static_cast<double>(sources[i].x));
            EXPECT_EQ(p.y, static_cast<double>(sources[i].y));
            EXPECT_EQ(p.z, static_cast<double>(sources[i].z));
            EXPECT_EQ(std::signbit(p.z), std::signbit(sources[i].z));
        }
        Box<kstd_vector_kmath_vect3F> empty;
        EXPECT_EQ(kstd_vector_kmath_vect3_assignVect3F(&destination, &empty), KMATH_OK);
        EXPECT_TRUE(holds(destination, {}));
    }
    poke(elements(source.v), nan);
    Box<kstd_vector_kmath_vect3> destination;
    EXPECT_EQ(kstd_vector_kmath_vect3_assignVect3F(&destination, &source), KMATH_OK);
    EXPECT_TRUE(std::isnan(elements(destination.v)[0].x));
}

TEST(ContainerOfVect3, KeepsItsPointsWhenWideningFails)
{
    Box<kstd_vector_kmath_vect3F> source(counting(20));
    Box<kstd_vector_kmath_vect3> destination(counting(3));
    failAllocation(0);
    EXPECT_EQ(kstd_vector_kmath_vect3_assignVect3F(&destination, &source), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    EXPECT_TRUE(holds(destination, counting(3)));
    source.v.vector.size = SIZE_MAX / 2; // asked before it is read
    EXPECT_TRUE(fails(kstd_vector_kmath_vect3_assignVect3F(&destination, &source)));
    source.v.vector.size = 20;
    EXPECT_TRUE(holds(destination, counting(3)));
    EXPECT_TRUE(assertsNull<0>(kstd_vector_kmath_vect3_assignVect3F));
    EXPECT_TRUE(assertsNull<1>(kstd_vector_kmath_vect3_assignVect3F));
}

TEST(ContainerAssertions, ANullContainerOrHandleIsAsserted)
{
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        const NullCall calls[] = {
            {"construct", assertsNull<0>(Ops::construct)},
            {"constructWithMtable", assertsNull<0>(Ops::constructWithMtable)},
            {"constructEmpty", assertsNull<0>(Ops::constructEmpty)},
            {"constructEmptyWithMtable", assertsNull<0>(Ops::constructEmptyWithMtable)},
            {"constructUninit", assertsNull<0>(Ops::constructUninit)},
            {"constructFill", assertsNull<0>(Ops::constructFill)},
            {"constructFromBlock", assertsNull<0>(Ops::constructFromBlock)},
            {"constructCopy", assertsNull<0>(Ops::constructCopy)},
            {"constructCopy", assertsNull<1>(Ops::constructCopy)},
            {"destruct", assertsNull<0>(Ops::destruct)},
            {"new", assertsNull<0>(Ops::new_)},
            {"newClone", assertsNull<0>(Ops::newClone)},
            {"delete", assertsNull<0>(Ops::delete_)},
            {"assign", assertsNull<0>(Ops::assign)},
            {"assign", assertsNull<1>(Ops::assign)},
            {"assignElements", assertsNull<0>(Ops::assignElements)},
            {"append", assertsNull<0>(Ops::append)},
            {"append", assertsNull<1>(Ops::append)},
            {"swap", assertsNull<0>(Ops::swap)},
            {"swap", assertsNull<1>(Ops::swap)},
            {"clear", assertsNull<0>(Ops::clear)},
            {"clearAndFreeMemory", assertsNull<0>(Ops::clearAndFreeMemory)},
            {"reserve", assertsNull<0>(Ops::reserve)},
            {"resize", assertsNull<0>(Ops::resize)},
            {"resizeFill", assertsNull<0>(Ops::resizeFill)},
            {"resizeUninit", assertsNull<0>(Ops::resizeUninit)},
            {"pushBack", assertsNull<0>(Ops::pushBack)},
            {"popBack", assertsNull<0>(Ops::popBack)},
            {"insert", assertsNull<0>(Ops::insert)},
            {"insertElement", assertsNull<0>(Ops::insertElement)},
            {"erase", assertsNull<0>(Ops::erase)},
            {"eraseElement", assertsNull<0>(Ops::eraseElement)},
            {"getBegin", assertsNull<0>(Ops::getBegin)},
            {"getBeginConst", assertsNull<0>(Ops::getBeginConst)},
            {"getBeginEnd", assertsNull<0>(Ops::getBeginEnd)},
            {"getBeginEndConst", assertsNull<0>(Ops::getBeginEndConst)},
            {"getBeginSize", assertsNull<0>(Ops::getBeginSize)},
            {"getBeginSizeConst", assertsNull<0>(Ops::getBeginSizeConst)},
            {"getBeginSize32", assertsNull<0>(Ops::getBeginSize32)},
            {"getBeginSize32Const", assertsNull<0>(Ops::getBeginSize32Const)},
            {"getBeginSizeIntPtr", assertsNull<0>(Ops::getBeginSizeIntPtr)},
            {"getBeginSizeIntPtrConst", assertsNull<0>(Ops::getBeginSizeIntPtrConst)},
            {"getElement", assertsNull<0>(Ops::getElement)},
            {"getElementConst", assertsNull<0>(Ops::getElementConst)},
            {"getNextElement", assertsNull<0>(Ops::getNextElement)},
            {"getNextElementConst", assertsNull<0>(Ops::getNextElementConst)},
            {"getSize", assertsNull<0>(Ops::getSize)},
            {"getSize32", assertsNull<0>(Ops::getSize32)},
            {"getSizeIntPtr", assertsNull<0>(Ops::getSizeIntPtr)},
            {"getCapacity", assertsNull<0>(Ops::getCapacity)},
            {"getElementSize", assertsNull<0>(Ops::getElementSize)},
        };
        for (const NullCall &call : calls)
            EXPECT_TRUE(call.asserted) << call.operation;
        if constexpr (isCompared<V>) {
            EXPECT_TRUE(assertsNull<0>(Ops::compareEqual));
            EXPECT_TRUE(assertsNull<1>(Ops::compareEqual));
        }
    });
}

TEST(ContainerAssertions, NothingElseIsAsserted)
{
    const support::AssertionRecorder recorder;
    everyContainer([]<class V>(V *) {
        using Ops = Operations<V>;
        Box<V> box(counting(4)), empty;
        Block<ElementOf<V>> block(1);
        V *handle = nullptr;
        EXPECT_EQ(Ops::newClone(&handle, nullptr), KMATH_OK);
        EXPECT_EQ(Ops::delete_(&handle), KMATH_OK);
        ElementOf<V> *element = nullptr;
        EXPECT_TRUE(fails(Ops::getElement(&box, 4, &element)));
        EXPECT_TRUE(fails(Ops::eraseElement(&box, 4)));
        EXPECT_TRUE(fails(Ops::popBack(&empty)));
        EXPECT_EQ(Ops::assign(&box, &empty), KMATH_OK);
        EXPECT_EQ(Ops::append(&empty, &empty), KMATH_OK);
        checkGetters(empty);
    });
    EXPECT_TRUE(recorder.lines().empty());
}

} // namespace
