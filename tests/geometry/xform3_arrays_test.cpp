#include "geometry/transforms.hpp"
#include "support/unchecked.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

using namespace transforms;
using support::CopyWatch;
using support::reportsNothing;

namespace
{

kmath_vect3 randomItem(std::mt19937_64 &generator, kmath_vect3) { return randomVector(generator); }

kmath_vect3F randomItem(std::mt19937_64 &generator, kmath_vect3F)
{
    return narrowed(randomVector(generator));
}

template <class Item> std::vector<Item> randomItems(std::size_t n, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<Item> items(n);
    for (Item &item : items)
        item = randomItem(generator, Item{});
    return items;
}

template <class Item> bool sameItems(const std::vector<Item> &p, const std::vector<Item> &q)
{
    return std::equal(p.begin(), p.end(), q.begin(), q.end(),
                      [](const Item &x, const Item &y) { return sameBits(x, y); });
}

template <class Item> struct Mapping {
    kmath_status (*many)(const kmath_xform3Linear *, std::int64_t, const Item *, Item *);
    kmath_status (*one)(const kmath_xform3Linear *, const Item *, Item *);
};

const Mapping<kmath_vect3> mappings[] = {
    {kmath_xform3Linear_mapPoints, kmath_xform3Linear_mapPoint},
    {kmath_xform3Linear_mapVectors, kmath_xform3Linear_mapVector}};
const Mapping<kmath_vect3F> mappingsF[] = {
    {kmath_xform3Linear_mapPointsF, kmath_xform3Linear_mapPointF},
    {kmath_xform3Linear_mapVectorsF, kmath_xform3Linear_mapVectorF}};

const kmath_xform3Linear X = {{1e-5, -1e4, 0.3},
                              {1.0 / 3.0, -2.385, 1e3, 1e-3, 0.7, -1.0 / 7.0, -0.1, 1e2, 3.3}};

// Calls check(mapping) for each of the four ways to map an array.
template <class Check> void forEachMapping(Check check)
{
    for (const auto &mapping : mappings)
        check(mapping);
    for (const auto &mapping : mappingsF)
        check(mapping);
}

template <class Item> std::vector<Item> oneByOne(const Mapping<Item> &mapping,
                                                 const kmath_xform3Linear &transform,
                                                 std::vector<Item> items)
{
    for (Item &item : items)
        EXPECT_EQ(mapping.one(&transform, &item, &item), KMATH_OK);
    return items;
}

TEST(Xform3MapArrays, HaveTheBitsOfSingleItemsAlsoInPlace)
{
    forEachMapping([]<class Item>(const Mapping<Item> &mapping) {
        for (const std::size_t n : {1u, 2u, 3u, 7u, 8u, 9u, 16u, 17u, 54u, 1000u, 4099u}) {
            std::vector<Item> input = randomItems<Item>(n, n);
            const std::vector<Item> expected = oneByOne(mapping, X, input);
            std::vector<Item> output(n + 1, Item{7, 7, 7});
            EXPECT_EQ(mapping.many(&X, static_cast<std::int64_t>(n), input.data(), output.data()),
                      KMATH_OK);
            EXPECT_TRUE(sameBits(output.back(), Item{7, 7, 7})) << n;
            output.pop_back();
            EXPECT_TRUE(sameItems(output, expected)) << n;
            EXPECT_EQ(mapping.many(&X, static_cast<std::int64_t>(n), input.data(), input.data()),
                      KMATH_OK);
            EXPECT_TRUE(sameItems(input, expected)) << n;
        }
    });
}

TEST(Xform3MapArrays, TakeAnyBits)
{
    const double wild[] = {notANumber, infinity, -infinity, 1e300, -1.7e308, 5e-324, -0.0};
    forEachMapping([&]<class Item>(const Mapping<Item> &mapping) {
        std::mt19937_64 generator(3);
        std::vector<Item> input = randomItems<Item>(100, 3);
        for (Item &item : input)
            item.y = static_cast<decltype(item.y)>(wild[generator() % 7]);
        for (const double number : wild)
            for (int k = 0; k < elementCount; ++k) {
                kmath_xform3Linear transform = X;
                element(transform, k) = number;
                std::vector<Item> output(input.size());
                EXPECT_EQ(mapping.many(&transform, 100, input.data(), output.data()), KMATH_OK);
                EXPECT_TRUE(sameItems(output, oneByOne(mapping, transform, input)))
                    << number << ' ' << k;
            }
    });
}

TEST(Xform3MapArrays, MapOverlappingArraysInOrder)
{
    forEachMapping([]<class Item>(const Mapping<Item> &mapping) {
        const std::size_t n = 21;
        for (std::size_t shift = 0; shift <= 2 * n; ++shift) {
            std::vector<Item> actual = randomItems<Item>(3 * n, shift);
            std::vector<Item> expected = actual;
            for (std::size_t i = 0; i < n; ++i)
                mapping.one(&X, &expected[n + i], &expected[shift + i]);
            EXPECT_EQ(mapping.many(&X, n, &actual[n], &actual[shift]), KMATH_OK);
            EXPECT_TRUE(sameItems(actual, expected)) << shift;
        }
    });
}

TEST(Xform3MapArrays, RefuseNegativeCountsBeforeAnythingElse)
{
    const support::AssertionRecorder recorder;
    for (const std::int64_t count : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        forEachMapping([&]<class Item>(const Mapping<Item> &mapping) {
            Item item = {1, 2, 3};
            EXPECT_EQ(mapping.many(nullptr, count, nullptr, nullptr), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_EQ(mapping.many(&identity, count, &item, &item), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_EQ(mapping.many(&X, count, &item, &item), KMATH_ERR_NEGATIVE_COUNT);
            EXPECT_TRUE(sameBits(item, Item{1, 2, 3}));
        });
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
        EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(count, nullptr, nullptr),
                  KMATH_ERR_NEGATIVE_COUNT);
    }
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Xform3MapArrays, ReadNothingForACountOfZero)
{
    const support::AssertionRecorder recorder;
    const CopyWatch copies;
    forEachMapping([]<class Item>(const Mapping<Item> &mapping) {
        Item item = {1, 2, 3};
        EXPECT_EQ(mapping.many(nullptr, 0, nullptr, nullptr), KMATH_OK);
        EXPECT_EQ(mapping.many(&X, 0, nullptr, &item), KMATH_OK);
        EXPECT_EQ(mapping.many(&identity, 0, nullptr, &item), KMATH_OK);
        EXPECT_TRUE(sameBits(item, Item{1, 2, 3}));
    });
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(0, nullptr, nullptr), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(0, nullptr, nullptr), KMATH_OK);
    EXPECT_EQ(copies.calls(), 0);
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(Xform3MapPoints, CopiesUnderTheIdentity)
{
    std::vector<kmath_vect3> points = randomItems<kmath_vect3>(20, 1);
    std::vector<kmath_vect3F> pointsF = randomItems<kmath_vect3F>(20, 1);
    points[3].y = pointsF[3].y = std::numeric_limits<float>::infinity(); // would spread by 0·∞
    points[4].z = pointsF[4].z = -0.0f;                                  // would lose its sign
    std::vector<kmath_vect3> output(20);
    std::vector<kmath_vect3F> outputF(20);
    kmath_xform3Linear signedZeros = identity;
    signedZeros.translation.x = signedZeros.matrix.m01 = -0.0;
    for (const kmath_xform3Linear &unit : {identity, signedZeros}) {
        const CopyWatch copies;
        EXPECT_EQ(kmath_xform3Linear_mapPoints(&unit, 20, points.data(), output.data()), KMATH_OK);
        EXPECT_EQ(copies.calls(), 1);
        EXPECT_EQ(copies.lastBytes(), 20u * 24u);
        EXPECT_TRUE(sameItems(output, points));
        EXPECT_EQ(kmath_xform3Linear_mapPointsF(&unit, 20, pointsF.data(), outputF.data()),
                  KMATH_OK);
        EXPECT_EQ(copies.calls(), 2);
        EXPECT_EQ(copies.lastBytes(), 20u * 12u);
        EXPECT_TRUE(sameItems(outputF, pointsF));
    }
}

// Unlike the mapping point after point, which would read again what it has written.
TEST(Xform3MapPoints, CopiesOverlappingArraysWholeUnderTheIdentity)
{
    const auto check = []<class Item>(auto map, const std::vector<Item> &before) {
        const std::size_t n = before.size() / 3;
        for (std::size_t shift = 0; shift <= 2 * n; ++shift) {
            std::vector<Item> actual = before, expected = before;
            for (std::size_t i = 0; i < n; ++i)
                expected[shift + i] = before[n + i];
            EXPECT_EQ(map(static_cast<std::int64_t>(n), &actual[n], &actual[shift]), KMATH_OK);
            EXPECT_TRUE(sameItems(actual, expected)) << shift;
        }
    };
    const auto byMap = [](auto map) {
        return [=](auto... arguments) { return map(&identity, arguments...); };
    };
    const std::vector<kmath_vect3> points = randomItems<kmath_vect3>(30, 2);
    const std::vector<kmath_vect3F> pointsF = randomItems<kmath_vect3F>(30, 2);
    check(byMap(kmath_xform3Linear_mapPoints), points);
    check(byMap(kmath_xform3Linear_mapPointsF), pointsF);
    check(kmath_xform3LinearMapPointsIdentity, points);
    check(kmath_xform3LinearMapPointsIdentityF, pointsF);
}

TEST(Xform3MapPoints, DoesNotCopyUnderAlmostTheIdentity)
{
    const CopyWatch copies;
    std::vector<kmath_vect3> points = randomItems<kmath_vect3>(20, 1), output(20);
    std::vector<kmath_vect3F> pointsF = randomItems<kmath_vect3F>(20, 1), outputF(20);
    for (int k = 0; k < elementCount; ++k) {
        kmath_xform3Linear almost = identity;
        element(almost, k) += k % 4 == 3 ? 1e-15 : 1e-300;
        kmath_xform3Linear_mapPoints(&almost, 20, points.data(), output.data());
        kmath_xform3Linear_mapPointsF(&almost, 20, pointsF.data(), outputF.data());
        EXPECT_TRUE(sameItems(output, oneByOne(mappings[0], almost, points)));
    }
    EXPECT_EQ(copies.calls(), 0);
}

TEST(Xform3MapPoints, ReturnsAtOnceUnderTheIdentityInPlace)
{
    // A count far beyond the array: nothing is read or written.
    const CopyWatch copies;
    kmath_vect3 point = {1, 2, 3};
    kmath_vect3F pointF = {1, 2, 3};
    const std::int64_t count = std::int64_t{1} << 60;
    EXPECT_EQ(kmath_xform3Linear_mapPoints(&identity, count, &point, &point), KMATH_OK);
    EXPECT_EQ(kmath_xform3Linear_mapPointsF(&identity, count, &pointF, &pointF), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(count, &point, &point), KMATH_OK);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(count, &pointF, &pointF), KMATH_OK);
    EXPECT_EQ(copies.calls(), 0);
    EXPECT_TRUE(sameBits(point, {1, 2, 3}));
}

TEST(Xform3MapPoints, PassesTheStatusOfTheCopyAndCountsIn64Bits)
{
    const kmath_status refused = static_cast<kmath_status>(0x80001234u);
    const CopyWatch copies(refused);
    const kmath_vect3 point = {1, 2, 3};
    const kmath_vect3F pointF = {1, 2, 3};
    kmath_vect3 output = {4, 5, 6};
    kmath_vect3F outputF = {4, 5, 6};
    const std::int64_t count = 3000000000;
    EXPECT_EQ(kmath_xform3Linear_mapPoints(&identity, count, &point, &output), refused);
    EXPECT_EQ(copies.lastBytes(), 72000000000u);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentity(count, &point, &output), refused);
    EXPECT_EQ(copies.lastBytes(), 72000000000u);
    EXPECT_EQ(kmath_xform3Linear_mapPointsF(&identity, count, &pointF, &outputF), refused);
    EXPECT_EQ(copies.lastBytes(), 36000000000u);
    EXPECT_EQ(kmath_xform3LinearMapPointsIdentityF(count, &pointF, &outputF), refused);
    EXPECT_EQ(copies.lastBytes(), 36000000000u);
    EXPECT_EQ(copies.calls(), 4);
    EXPECT_TRUE(sameBits(output, {4, 5, 6}));
}

TEST(Xform3MapVectors, KnowsNoShortcutForTheIdentity)
{
    const CopyWatch copies;
    std::vector<kmath_vect3> vectors = randomItems<kmath_vect3>(20, 1), output(20);
    vectors[11].x = infinity; // 0·∞ spreads
    EXPECT_EQ(kmath_xform3Linear_mapVectors(&identity, 20, vectors.data(), output.data()),
              KMATH_OK);
    EXPECT_TRUE(sameItems(output, oneByOne(mappings[1], identity, vectors)));
    EXPECT_TRUE(std::isnan(output[11].y));
    std::vector<kmath_vect3F> vectorsF = randomItems<kmath_vect3F>(20, 1), outputF(20);
    EXPECT_EQ(kmath_xform3Linear_mapVectorsF(&identity, 20, vectorsF.data(), outputF.data()),
              KMATH_OK);
    EXPECT_TRUE(sameItems(outputF, vectorsF));
    EXPECT_EQ(copies.calls(), 0);
}

TEST(Xform3MapArrays, AssertNothing)
{
    forEachMapping([]<class Item>(const Mapping<Item> &mapping) {
        Item item = {1, 2, 3};
        EXPECT_TRUE(reportsNothing([&] { mapping.many(nullptr, 1, &item, &item); }));
        EXPECT_TRUE(reportsNothing([&] { mapping.many(&X, 1, nullptr, &item); }));
        EXPECT_TRUE(reportsNothing([&] { mapping.many(&X, 1, &item, nullptr); }));
    });
    kmath_vect3 point = {1, 2, 3};
    kmath_vect3F pointF = {1, 2, 3};
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3LinearMapPointsIdentity(1, nullptr, &point); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3LinearMapPointsIdentity(1, &point, nullptr); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3LinearMapPointsIdentityF(1, nullptr, &pointF); }));
    EXPECT_TRUE(reportsNothing([&] { kmath_xform3LinearMapPointsIdentityF(1, &pointF, nullptr); }));
}

} // namespace
