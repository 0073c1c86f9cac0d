#include "support/matrices.hpp"

#include "oracle/points.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <random>
#include <vector>

using kmath::Affine;
using kmath::Kernels;
using support::runnableKernels;

namespace
{

template <class Number> using Numbers = std::vector<Number>;

template <class Number> Numbers<Number> randomRun(std::size_t n, std::uint64_t seed, bool wild)
{
    using Limits = std::numeric_limits<Number>;
    const Number special[] = {Limits::quiet_NaN(),  Limits::infinity(),  Number(-0.0),
                              Limits::denorm_min(), -Limits::infinity(), Limits::max()};
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<Number> uniform(-10, 10);
    Numbers<Number> run(n);
    for (std::size_t i = 0; i < n; ++i)
        run[i] = wild && generator() % 7 == 0 ? special[generator() % 6] : uniform(generator);
    return run;
}

template <class Number> bool sameBits(const Numbers<Number> &a, const Numbers<Number> &b)
{
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!support::sameBits(static_cast<double>(a[i]), static_cast<double>(b[i])))
            return false;
    return a.size() == b.size();
}

// Terms of very different size, so that another order of the sums would show.
const Affine transform = {{1e-5, -1e4, 0.3},
                          {{1.0 / 3.0, -2.385, 1e3}, {1e-3, 0.7, -1.0 / 7.0}, {-0.1, 1e2, 3.3}}};

const Affine wildTransform = {{-0.0, 1e308, 0.5},
                              {{1e300, -std::numeric_limits<double>::infinity(), 0.0},
                               {std::numeric_limits<double>::quiet_NaN(), 1.0, -0.0},
                               {5e-324, -1e308, 1e-300}}};

template <class Number> struct Entry {
    void (*Kernels::*map)(Affine, const Number *, Number *, std::int64_t);
    bool translated;
};

constexpr Entry<double> doubles[] = {{&Kernels::mapPoints, true}, {&Kernels::mapVectors, false}};
constexpr Entry<float> floats[] = {{&Kernels::mapPointsF, true}, {&Kernels::mapVectorsF, false}};

// Calls check(set, entry, transform) for every instruction set and every way to map.
template <class Number, class Check>
void forEachCase(const Entry<Number> (&entries)[2], Check check)
{
    for (const Kernels *set : runnableKernels())
        for (const Entry<Number> &entry : entries)
            for (const Affine &X : {transform, wildTransform})
                check(*set, entry, X);
}

// Every count around the lane counts, at every alignment of both arrays, and nothing written beside
// the output.
template <class Number> void expectTextbookBits(const Entry<Number> (&entries)[2])
{
    forEachCase(entries, [](const Kernels &set, const Entry<Number> &entry, const Affine &X) {
        for (std::size_t n = 0; n <= 35; ++n)
            for (std::size_t offset = 0; offset < 8; ++offset) {
                const std::size_t offsetOut = (5 * offset + 3) % 8;
                const Numbers<Number> input = randomRun<Number>(3 * n + 16, n, offset % 2 == 1);
                Numbers<Number> output = randomRun<Number>(3 * n + 16, 99, false);
                Numbers<Number> expected = output;
                const auto count = static_cast<std::int64_t>(n);
                oracle::mapPoints(X, entry.translated, input.data() + offset,
                                  expected.data() + offsetOut, count);
                (set.*entry.map)(X, input.data() + offset, output.data() + offsetOut, count);
                EXPECT_TRUE(sameBits(output, expected)) << set.name << ' ' << n << ' ' << offset;
            }
    });
}

TEST(PointsKernel, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    expectTextbookBits(doubles);
    expectTextbookBits(floats);
}

// Input and output in one buffer, at any distance, before or behind each other or the same.
template <class Number> void expectInOrderWhenOverlapping(const Entry<Number> (&entries)[2])
{
    forEachCase(entries, [](const Kernels &set, const Entry<Number> &entry, const Affine &X) {
        for (const std::size_t n : {1u, 2u, 8u, 9u, 17u, 24u, 33u}) {
            const std::size_t reach = 3 * n + 4;
            for (std::size_t shift = 0; shift <= 2 * reach; ++shift) {
                const Numbers<Number> before = randomRun<Number>(3 * reach + 16, shift, false);
                Numbers<Number> expected = before;
                Numbers<Number> actual = before;
                const auto count = static_cast<std::int64_t>(n);
                oracle::mapPoints(X, entry.translated, expected.data() + reach,
                                  expected.data() + shift, count);
                (set.*entry.map)(X, actual.data() + reach, actual.data() + shift, count);
                EXPECT_TRUE(sameBits(actual, expected))
                    << set.name << ' ' << n << ' ' << shift << ' ' << reach;
            }
        }
    });
}

TEST(PointsKernel, MapsOverlappingArraysPointAfterPoint)
{
    expectInOrderWhenOverlapping(doubles);
    expectInOrderWhenOverlapping(floats);
}

TEST(PointsKernel, RoundsFloatsOnceAtTheEnd)
{
    // Sums that cancel in double but not in floats, that exceed the floats, and one just above a
    // tie.
    const Affine X = {{0.0, 0.0, 0.0},
                      {{0x1p30, -0x1p30, 1.0}, {1e300, 0.0, 0.0}, {1.0, 0x1p-24, 0.0}}};
    for (const Kernels *set : runnableKernels()) {
        Numbers<float> points(3 * 20, 1.0f);
        for (std::size_t i = 1; i < points.size(); i += 3)
            points[i] = 1.0f + 0x1p-23f;
        set->mapPointsF(X, points.data(), points.data(), 20);
        for (std::size_t i = 0; i < points.size(); i += 3) {
            EXPECT_EQ(points[i], -127.0f);
            EXPECT_EQ(points[i + 1], std::numeric_limits<float>::infinity());
            EXPECT_EQ(points[i + 2], 1.0f + 0x1p-23f);
        }
    }
}

TEST(PointsKernel, KeepsTheSignOfAZeroVector)
{
    const Affine X = {{0, 0, 0}, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    for (const Kernels *set : runnableKernels()) {
        Numbers<double> vectors(3 * 9, -0.0);
        Numbers<double> points = vectors;
        set->mapVectors(X, vectors.data(), vectors.data(), 9);
        set->mapPoints(X, points.data(), points.data(), 9);
        for (std::size_t i = 0; i < vectors.size(); ++i) {
            EXPECT_TRUE(support::sameBits(vectors[i], -0.0)) << set->name;
            EXPECT_TRUE(support::sameBits(points[i], 0.0)) << set->name;
        }
    }
}

} // namespace
