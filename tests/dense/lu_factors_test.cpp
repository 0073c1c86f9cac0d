#include "dense/lu_factors.hpp"

#include "oracle/lu.hpp"
#include "support/matrices.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Outcome {
    Matrix lu;
    std::vector<std::int32_t> perm;
    std::vector<double> scale;
    double parity = 0.0;
    bool regular = false;
};

Outcome factorised(const Matrix &A, bool strict, const kmath::Kernels &set)
{
    Outcome out;
    out.lu = A;
    out.perm.assign(static_cast<std::size_t>(A.rows()), -1);
    out.scale.resize(out.perm.size());
    out.regular = kmath::factorise(out.lu->rows, A.rows(), out.perm.data(), out.parity,
                                   out.scale.data(), strict, set);
    return out;
}

void expectTextbookBits(const Matrix &A)
{
    for (const bool strict : {false, true}) {
        const oracle::Factors expected = oracle::factorise(A, strict);
        for (const kmath::Kernels *set : runnableKernels()) {
            SCOPED_TRACE(testing::Message() << set->name << " n = " << A.rows() << ' ' << strict);
            const Outcome out = factorised(A, strict, *set);
            EXPECT_EQ(out.regular, expected.regular);
            EXPECT_EQ(out.perm, expected.perm);
            EXPECT_EQ(out.parity, expected.parity);
            EXPECT_TRUE(sameBits(out.lu, expected.lu));
        }
    }
}

Matrix integers(int n, int most, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<int> element(-most, most);
    return build(n, n, [&](int, int) { return element(generator); });
}

// Mostly ordinary elements, some of them strange.
Matrix strange(int n, std::uint64_t seed)
{
    constexpr double values[] = {nan,    infinity, -infinity, 0.0,     -0.0,    1e300, -1e308,
                                 1e-300, 5e-324,   -1e-310,   1.0e-14, 1.7e308, 1e-12, 2.2e-308};
    std::mt19937_64 generator(seed);
    Matrix A = randomMatrix(n, n, generator);
    for (int count = 0; count < n; ++count)
        A(static_cast<int>(generator() % static_cast<unsigned>(n)),
          static_cast<int>(generator() % static_cast<unsigned>(n))) =
            values[generator() % std::size(values)];
    return A;
}

TEST(LuFactorise, HasTheBitsOfTheTextbookLoopOnEveryInstructionSet)
{
    for (int n = 0; n <= 40; ++n)
        expectTextbookBits(randomMatrix(n, n, 100 + static_cast<std::uint64_t>(n)));
    for (const int n : {47, 48, 49, 63, 64, 65, 100, 129})
        expectTextbookBits(randomMatrix(n, n, 7));
}

TEST(LuFactorise, HasTheBitsOfTheTextbookLoopForTies)
{
    for (int n = 1; n <= 24; ++n)
        for (std::uint64_t seed = 0; seed < 12; ++seed)
            expectTextbookBits(integers(n, 1 + static_cast<int>(seed % 3), seed));
}

TEST(LuFactorise, HasTheBitsOfTheTextbookLoopForReplacedPivots)
{
    int replaced = 0;
    for (int n = 2; n <= 36; ++n) {
        std::mt19937_64 generator(static_cast<std::uint64_t>(n));
        Matrix A = randomMatrix(n, n, generator);
        for (int j = 0; j < n; ++j) { // a row and a column repeated
            A(n - 1, j) = A(0, j);
            A(j, n / 2) = A(j, 0);
        }
        expectTextbookBits(A);
        replaced += oracle::factorise(A, false).replaced;

        const Matrix tiny = build(n, n, [&](int i, int j) { return A(i, j) * 1e-15; });
        expectTextbookBits(tiny);
        replaced += oracle::factorise(tiny, false).replaced;
    }
    EXPECT_GT(replaced, 35 * 2);
}

TEST(LuFactorise, HasTheBitsOfTheTextbookLoopForStrangeNumbers)
{
    int overflows = 0;
    for (int n = 1; n <= 30; ++n)
        for (std::uint64_t seed = 0; seed < 8; ++seed) {
            const Matrix A = strange(n, 1000 * seed + static_cast<std::uint64_t>(n));
            expectTextbookBits(A);
            overflows += oracle::factorise(A, false).overflows;
        }
    EXPECT_GT(overflows, 10);
}

TEST(LuFactorise, AlwaysNamesARowFromTheDiagonalDown)
{
    for (const double everywhere : {nan, infinity, -infinity, 1e308, 5e-324})
        for (const int n : {1, 2, 5, 17}) {
            Matrix A = build(n, n, [&](int i, int j) { return i == 0 && j == 0 ? 1 : everywhere; });
            for (int i = 0; i < n; ++i)
                A(i, (i + 1) % n) = 2.0; // no row counts as zeros
            const Outcome out = factorised(A, false, kmath::kernels());
            ASSERT_TRUE(out.regular);
            for (int j = 0; j < n; ++j) {
                EXPECT_GE(out.perm[static_cast<std::size_t>(j)], j);
                EXPECT_LT(out.perm[static_cast<std::size_t>(j)], n);
            }
        }
}

TEST(LuFactorise, TakesTheLastOfEqualCandidates)
{
    const Outcome out = factorised({{1, 2, 0}, {1, 0, 1}, {1, 1, 1}}, true, kmath::kernels());
    // relative to their rows 1/2, 1, 1
    EXPECT_EQ(out.perm[0], 2);
}

TEST(LuFactorise, TakesTheLastRowForAColumnOfZeros)
{
    const Outcome out = factorised({{0, 1, 2}, {0, 3, 1}, {0, 1, 5}}, false, kmath::kernels());
    EXPECT_TRUE(out.regular);
    EXPECT_EQ(out.perm[0], 2);
    EXPECT_EQ(out.lu(0, 0), 1e-12);
}

TEST(LuFactorise, ComparesCandidatesRelativeToTheirRows)
{
    // 10 is the larger element, but 1 is the larger part of its row
    const Outcome out = factorised({{10, 1000}, {1, 1}}, true, kmath::kernels());
    EXPECT_EQ(out.perm, (std::vector<std::int32_t>{1, 1}));
    EXPECT_EQ(out.parity, -1.0);
    EXPECT_TRUE(sameBits(out.lu, Matrix({{1, 1}, {10, 990}})));
}

TEST(LuFactorise, KnowsATinyPivotToTheLastBit)
{
    const double threshold = std::bit_cast<double>(std::uint64_t{0x3D06849B86A12B9C});
    ASSERT_EQ(std::nextafter(threshold, 0.0), 1e-14);
    for (const double sign : {1.0, -1.0}) {
        const Outcome above = factorised({{sign * threshold}}, true, kmath::kernels());
        EXPECT_TRUE(above.regular);
        EXPECT_EQ(above.lu(0, 0), sign * threshold);

        EXPECT_FALSE(factorised({{sign * 1e-14}}, true, kmath::kernels()).regular);
        const Outcome below = factorised({{sign * 1e-14}}, false, kmath::kernels());
        EXPECT_TRUE(below.regular);
        EXPECT_EQ(below.lu(0, 0), 1e-12); // whatever its sign was
    }
}

TEST(LuFactorise, LeavesAMatrixWithARowOfZerosAsItWas)
{
    const Matrix A = {{1, 2, 3}, {0, -0.0, 0}, {4, 5, 6}};
    const Outcome out = factorised(A, false, kmath::kernels());
    EXPECT_FALSE(out.regular);
    EXPECT_TRUE(sameBits(out.lu, A));
}

TEST(LuFactorise, WorksThroughTheRowTableOfAShrunkenMatrix)
{
    Matrix wide = randomMatrix(9, 12, 3);
    const Matrix A = build(7, 7, [&](int i, int j) { return wide(i, j); });
    const Matrix before = wide;
    ASSERT_EQ(kmath_nmmatrix_resize_noClear(&wide, 7, 7), KMATH_OK);

    std::vector<std::int32_t> perm(7);
    double scale[7], parity;
    ASSERT_TRUE(
        kmath::factorise(wide->rows, 7, perm.data(), parity, scale, true, kmath::kernels()));
    EXPECT_TRUE(sameBits(wide, oracle::factorise(A, true).lu));
    for (int i = 0; i < 7; ++i)
        for (int j = 7; j < 12; ++j)
            EXPECT_EQ(wide->rows[i][j], before(i, j));
}

TEST(LuSubstitute, HasTheBitsOfTheTextbookLoop)
{
    for (int n = 0; n <= 40; ++n) {
        std::mt19937_64 generator(static_cast<std::uint64_t>(n));
        const oracle::Factors f = oracle::factorise(randomMatrix(n, n, generator), false);
        for (int zeros = 0; zeros <= n; ++zeros) { // leading zeros of b, in two signs
            Matrix b = randomMatrix(1, n, generator);
            for (int i = 0; i < zeros; ++i)
                b(0, i) = i % 2 ? -0.0 : 0.0;
            Matrix expected = b;
            oracle::substitute(f.lu, f.perm.data(), n ? expected->rows[0] : nullptr);
            kmath::substitute(f.lu->rows, n, f.perm.data(), n ? b->rows[0] : nullptr);
            EXPECT_TRUE(sameBits(b, expected)) << n << ' ' << zeros;
        }
    }
}

TEST(LuSubstitute, SkipsLeadingZerosBesideInfiniteFactors)
{
    const Matrix lu = {{2, 0, 0}, {infinity, 4, 0}, {nan, 3, 1}};
    const std::int32_t perm[] = {0, 1, 2};
    double b[] = {0, 8, 7};
    kmath::substitute(lu->rows, lu.rows(), perm, b);
    EXPECT_EQ(b[0], 0.0);
    EXPECT_EQ(b[1], 2.0);
    EXPECT_EQ(b[2], -17.0);
}

TEST(LuSubstitute, DoesNotTakeALeadingNaNForNonZero)
{
    // Neither below nor above zero, the NaN is skipped in front and spoils only its own unknown.
    const Matrix lu = {{2, 0}, {5, 4}};
    const std::int32_t perm[] = {0, 1};
    double b[] = {nan, 8};
    kmath::substitute(lu->rows, lu.rows(), perm, b);
    EXPECT_TRUE(std::isnan(b[0]));
    EXPECT_EQ(b[1], 2.0);
}

TEST(LuInvert, HasTheBitsOfOneSubstitutionAColumnOnEveryInstructionSet)
{
    const auto expectBits = [](const oracle::Factors &f) {
        const int n = f.lu.rows();
        const Matrix expected = oracle::inverse(f);
        for (const kmath::Kernels *set : runnableKernels()) {
            Matrix X(n, n);
            kmath::invertFactors(f.lu->rows, n, f.perm.data(), X->rows, *set);
            EXPECT_TRUE(sameBits(X, expected)) << set->name << " n = " << n;
        }
    };
    for (int n = 0; n <= 40; ++n) {
        const auto seed = static_cast<std::uint64_t>(n);
        expectBits(oracle::factorise(randomMatrix(n, n, seed), false));
        if (n > 0) {
            const oracle::Factors ties = oracle::factorise(integers(n, 2, seed), false);
            if (ties.regular)
                expectBits(ties);
            const oracle::Factors odd = oracle::factorise(strange(n, seed), false);
            if (odd.regular)
                expectBits(odd);
        }
    }
    expectBits(oracle::factorise(randomMatrix(97, 97, 5), false));
}

} // namespace
