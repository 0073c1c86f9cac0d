#include <kmath/eigen.h>

#include "eigen/reference_matrices.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/vectors.hpp"

#include <gtest/gtest.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

using namespace support;

namespace
{

using Complex = std::complex<double>;

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Solution {
    Doubles re, im;
    kmath_status status;

    explicit Solution(const Matrix &A, std::int32_t balance = 0)
        : status(kmath_nmmatrix_eigenvalues(&A, balance, &re, &im))
    {
    }

    std::vector<Complex> values() const
    {
        const std::vector<double> x = re.values();
        const std::vector<double> y = im.values();
        std::vector<Complex> result;
        for (std::size_t i = 0; i < x.size(); ++i)
            result.emplace_back(x[i], y.at(i));
        return result;
    }
};

struct Expected {
    Complex value;
    double condition; // ‖x‖·‖y‖/|yᴴx| of its right and left vector
};

std::vector<Expected> lapackValues(Matrix A)
{
    const std::int32_t n = A.rows();
    const auto count = static_cast<std::size_t>(n);
    std::vector<double> re(count), im(count), left(count * count), right(count * count);
    std::vector<double> scale(count), reciprocals(count), separations(count);
    std::int32_t low = 0, high = 0;
    double norm = 0.0;
    EXPECT_EQ(LAPACKE_dgeevx(LAPACK_ROW_MAJOR, 'N', 'V', 'V', 'E', n, A->rows[0], n, re.data(),
                             im.data(), left.data(), n, right.data(), n, &low, &high, scale.data(),
                             &norm, reciprocals.data(), separations.data()),
              0);
    std::vector<Expected> expected;
    for (std::size_t i = 0; i < count; ++i)
        expected.push_back({{re[i], im[i]}, 1.0 / reciprocals[i]});
    return expected;
}

std::vector<Expected> wellConditioned(const std::vector<double> &values)
{
    std::vector<Expected> expected;
    for (const double value : values)
        expected.push_back({value, 1.0});
    return expected;
}

// Each expected value has a partner of its own within 10·n·ε·‖A‖ times its condition number.
void expectValues(const Matrix &A, std::int32_t balance, const std::vector<Expected> &expected)
{
    const Solution solution(A, balance);
    ASSERT_EQ(solution.status, KMATH_OK);
    std::vector<Complex> values = solution.values();
    ASSERT_EQ(values.size(), expected.size());
    for (const Expected &e : expected) {
        const auto nearest =
            std::min_element(values.begin(), values.end(), [&](Complex a, Complex b) {
                return std::abs(a - e.value) < std::abs(b - e.value);
            });
        EXPECT_LE(std::abs(*nearest - e.value),
                  10.0 * A.rows() * epsilon * oneNorm(A) * e.condition)
            << e.value << " against " << *nearest;
        values.erase(nearest);
    }
}

// Complex values stand beside their conjugate, the one above the real axis first.
void expectAdjacentPairs(const std::vector<Complex> &values)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i].imag() == 0.0)
            continue;
        EXPECT_GT(values[i].imag(), 0.0) << i;
        ASSERT_LT(i + 1, values.size());
        EXPECT_EQ(values[i + 1], std::conj(values[i])) << i;
        ++i;
    }
}

struct Family {
    const char *name;
    std::function<Matrix(std::int32_t)> make;
};

const std::vector<Family> families{
    {"random", [](std::int32_t n) { return randomMatrix(n, n, static_cast<std::uint64_t>(n)); }},
    {"graded rows",
     [](std::int32_t n) {
         const Matrix R = randomMatrix(n, n, 3);
         return build(n, n, [&](std::int32_t i, std::int32_t j) {
             return R(i, j) * std::pow(10.0, -15.0 * i / n);
         });
     }},
    {"graded columns",
     [](std::int32_t n) {
         const Matrix R = randomMatrix(n, n, 5);
         return build(n, n, [&](std::int32_t i, std::int32_t j) {
             return R(i, j) * std::pow(10.0, -15.0 * j / n);
         });
     }},
    {"symmetric", [](std::int32_t n) { return randomSymmetric(n, 7); }},
    {"skew",
     [](std::int32_t n) {
         const Matrix R = randomMatrix(n, n, 11);
         return build(n, n, [&](std::int32_t i, std::int32_t j) { return R(i, j) - R(j, i); });
     }},
    {"of rank 2",
     [](std::int32_t n) {
         const Matrix U = randomMatrix(n, 2, 13);
         const Matrix V = randomMatrix(2, n, 17);
         Matrix A(n, n);
         kmath::kernels().product(A, U, V);
         return A;
     }},
    {"of small integers",
     [](std::int32_t n) {
         std::mt19937_64 generator(static_cast<std::uint64_t>(n));
         return build(n, n, [&](std::int32_t, std::int32_t) {
             return static_cast<double>(generator() % 7) - 3.0;
         });
     }},
};

TEST(Eigenvalues, AgreeWithLapackUpToOrder200)
{
    for (std::int32_t n = 1; n <= 200; ++n)
        for (std::size_t family = 0; family < families.size(); ++family) {
            // Large orders take the families in turn.
            if (n > 30 && n != 200 && static_cast<std::size_t>(n) % families.size() != family)
                continue;
            SCOPED_TRACE(testing::Message() << families[family].name << ", n = " << n);
            const Matrix A = families[family].make(n);
            const std::vector<Expected> expected = lapackValues(A);
            expectValues(A, 0, expected);
            expectValues(A, 1, expected);
            expectAdjacentPairs(Solution(A).values());
        }
}

TEST(Eigenvalues, AreTheKnownOnesOfReferenceMatrices)
{
    for (const reference::Case &known : reference::symmetricCases()) {
        SCOPED_TRACE(testing::Message() << known.name << ", n = " << known.A.rows());
        expectValues(known.A, 0, wellConditioned(known.eigenvalues));
        expectValues(known.A, 1, wellConditioned(known.eigenvalues));
    }
}

TEST(Eigenvalues, AreTheKnownOnesOfFranksMatrix)
{
    const reference::Case known = reference::frank6();
    std::vector<Expected> expected = lapackValues(known.A);
    std::sort(expected.begin(), expected.end(),
              [](const Expected &a, const Expected &b) { return a.value.real() < b.value.real(); });
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i].value = known.eigenvalues[i];
    expectValues(known.A, 0, expected);
    expectValues(known.A, 1, expected);
}

TEST(Eigenvalues, OfA1x1MatrixAreItsElement)
{
    for (const double a : {2.385, -7.25, 0.0, 1e300, -5e-324}) {
        const Solution solution(Matrix{{a}});
        ASSERT_EQ(solution.status, KMATH_OK);
        EXPECT_EQ(solution.values(), (std::vector<Complex>{a}));
    }
}

TEST(Eigenvalues, OfAQuarterTurnArePlusAndMinusI)
{
    const Solution solution(Matrix{{0, -1}, {1, 0}});
    ASSERT_EQ(solution.status, KMATH_OK);
    EXPECT_EQ(solution.re.values(), (std::vector{0.0, 0.0}));
    EXPECT_EQ(solution.im.values(), (std::vector{1.0, -1.0}));
}

// λ² − 3·λ + 2 = (λ − 1)·(λ − 2)
TEST(Eigenvalues, OfARealPairHaveNoImaginaryParts)
{
    const Solution solution(Matrix{{0, -2}, {1, 3}});
    ASSERT_EQ(solution.status, KMATH_OK);
    std::vector<double> values = solution.re.values();
    std::sort(values.begin(), values.end());
    EXPECT_NEAR(values[0], 1.0, 8.0 * epsilon);
    EXPECT_NEAR(values[1], 2.0, 8.0 * epsilon);
    EXPECT_EQ(solution.im.values(), (std::vector{0.0, 0.0}));
}

// Without the exceptional shifts a cyclic shift never changes under the double step.
TEST(Eigenvalues, OfACyclicShiftAreTheRootsOfUnity)
{
    for (const std::int32_t n : {3, 4, 5, 8, 17, 64, 200}) {
        const Matrix A = build(
            n, n, [n](std::int32_t i, std::int32_t j) { return i == (j + 1) % n ? 1.0 : 0.0; });
        std::vector<Expected> roots;
        for (std::int32_t k = 0; k < n; ++k)
            roots.push_back({std::polar(1.0, 2.0 * std::numbers::pi * k / n), 1.0});
        SCOPED_TRACE(n);
        expectValues(A, 0, roots);
        expectValues(A, 1, roots);
    }
}

TEST(Eigenvalues, OfATriangleAreItsDiagonalInOrder)
{
    for (const std::int32_t n : {2, 3, 7, 40}) {
        const Matrix R = randomMatrix(n, n, 19);
        const Matrix upper =
            build(n, n, [&](std::int32_t i, std::int32_t j) { return i <= j ? R(i, j) : 0.0; });
        const Solution solution(upper);
        ASSERT_EQ(solution.status, KMATH_OK);
        for (std::int32_t i = 0; i < n; ++i)
            EXPECT_EQ(solution.values()[static_cast<std::size_t>(i)], Complex(R(i, i)));
    }
}

TEST(Eigenvalues, OfANilpotentMatrixAreZero)
{
    for (std::int32_t n = 2; n <= 200; n += n < 20 ? 1 : 30) {
        const Matrix A =
            build(n, n, [](std::int32_t i, std::int32_t j) { return i == j + 1 ? 1.0 : 0.0; });
        const Solution solution(A);
        ASSERT_EQ(solution.status, KMATH_OK) << n;
        for (const Complex value : solution.values())
            EXPECT_EQ(value, 0.0) << n;
    }
}

TEST(Eigenvalues, OfConstantMatricesOfEveryOrderUpTo200)
{
    for (std::int32_t n = 1; n <= 200; ++n) {
        const Matrix A = build(n, n, [](std::int32_t, std::int32_t) { return 2.385; });
        std::vector<double> values(static_cast<std::size_t>(n), 0.0);
        values.front() = 2.385 * n;
        SCOPED_TRACE(n);
        expectValues(A, 0, wellConditioned(values));
        expectValues(A, 1, wellConditioned(values));
    }
}

TEST(Eigenvalues, OfAZeroMatrixAreZero)
{
    for (const std::int32_t n : {1, 2, 3, 6, 7, 200}) {
        const Solution solution(Matrix(n, n), 1);
        ASSERT_EQ(solution.status, KMATH_OK);
        EXPECT_EQ(solution.values(), std::vector<Complex>(static_cast<std::size_t>(n)));
    }
}

TEST(Eigenvalues, OfAnEmptyMatrixAreNone)
{
    const Matrix empty(0, 0);
    Doubles re, im;
    ASSERT_EQ(kstd_vectord_resize(&re, 4), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_eigenvalues(&empty, 1, &re, &im), KMATH_OK);
    EXPECT_TRUE(re.values().empty());
    EXPECT_TRUE(im.values().empty());
}

TEST(Eigenvalues, RefuseAMatrixThatIsNotSquareAndTouchNothing)
{
    for (const Matrix &A : {Matrix(2, 3), Matrix(3, 2), Matrix(0, 3), Matrix(7, 8), Matrix(9, 1)}) {
        Doubles re, im;
        EXPECT_EQ(kmath_nmmatrix_eigenvalues(&A, 0, &re, &im), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_TRUE(re.values().empty());
        EXPECT_TRUE(im.values().empty());
    }
}

TEST(Eigenvalues, LeaveTheMatrixUnchanged)
{
    for (const std::int32_t n : {3, 5, 20}) {
        const Matrix A = randomMatrix(n, n, 23);
        const Matrix before = A;
        for (const std::int32_t balance : {0, 1})
            EXPECT_EQ(Solution(A, balance).status, KMATH_OK);
        EXPECT_TRUE(support::sameBits(A, before));
    }
}

TEST(Eigenvalues, GainFromBalancing)
{
    // A = D⁻¹·S·D for a symmetric S and D = diag(1, 2⁴⁰, 1, 2⁴⁰, …), both exact: balancing finds S
    // again, whose eigenvalues are well conditioned.
    const Matrix S = randomSymmetric(8, 29);
    const Matrix A = build(8, 8, [&](std::int32_t i, std::int32_t j) {
        return S(i, j) * std::pow(2.0, 40.0 * (j % 2 - i % 2));
    });
    std::vector<double> expected = Solution(S).re.values();
    std::sort(expected.begin(), expected.end());
    const auto error = [&](std::int32_t balance) {
        std::vector<double> values = Solution(A, balance).re.values();
        std::sort(values.begin(), values.end());
        double most = 0.0;
        for (std::size_t i = 0; i < values.size(); ++i)
            most = std::max(most, std::fabs(values[i] - expected[i]));
        return most;
    };
    const double bound = 1000.0 * epsilon * oneNorm(S);
    EXPECT_LT(error(1), bound);
    EXPECT_GT(error(0), bound);
}

TEST(Eigenvalues, ScaleExactlyWithPowersOfTwo)
{
    for (const std::int32_t n : {1, 2, 3, 7, 20})
        for (const std::int32_t balance : {0, 1})
            for (const double scale : {0x1p-960, 0x1p-500, 0x1p500, 0x1p996}) {
                const Matrix A = randomMatrix(n, n, 31);
                const Matrix scaled =
                    build(n, n, [&](std::int32_t i, std::int32_t j) { return A(i, j) * scale; });
                const Solution plain(A, balance), extreme(scaled, balance);
                ASSERT_EQ(extreme.status, KMATH_OK) << scale;
                std::vector<Complex> expected = plain.values();
                for (Complex &value : expected)
                    value *= scale;
                EXPECT_EQ(extreme.values(), expected) << scale;
            }
}

TEST(Eigenvalues, AreRefusedForAMatrixThatIsNotFinite)
{
    for (const double bad : {nan, infinity, -infinity})
        for (const std::int32_t n : {1, 2, 3, 6, 7, 30}) {
            Matrix A = randomMatrix(n, n, 37);
            A(n / 2, n - 1) = bad;
            for (const std::int32_t balance : {0, 1}) {
                const std::int64_t before = liveBlocks();
                const Solution solution(A, balance);
                EXPECT_EQ(solution.status, KMATH_ERR_SINGULAR);
                EXPECT_EQ(liveBlocks(), before);
            }
        }
}

TEST(Eigenvalues, EndOnAnyFiniteBits)
{
    const double odd[] = {0.0,
                          -0.0,
                          1.0,
                          -1.0,
                          5e-324,
                          1e-300,
                          1e-160,
                          1e160,
                          1e300,
                          -1e300,
                          0x1p-52,
                          2.385e8,
                          std::numeric_limits<double>::max()};
    std::mt19937_64 generator(41);
    for (int round = 0; round < 2000; ++round) {
        const auto n = static_cast<std::int32_t>(1 + generator() % 12);
        const Matrix A = build(
            n, n, [&](std::int32_t, std::int32_t) { return odd[generator() % std::size(odd)]; });
        for (const std::int32_t balance : {0, 1}) {
            const Solution solution(A, balance);
            EXPECT_TRUE(solution.status == KMATH_OK || solution.status == KMATH_ERR_SINGULAR) << A;
            for (const Complex value : solution.values())
                EXPECT_FALSE(std::isnan(value.real()) || std::isnan(value.imag())) << A;
        }
    }
}

TEST(Eigenvalues, ReportNullArguments)
{
    const Matrix A{{1.0}};
    Doubles re, im;
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_eigenvalues(nullptr, 0, &re, &im); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_eigenvalues(&A, 0, nullptr, &im); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_eigenvalues(&A, 0, &re, nullptr); }), 0);
    EXPECT_EQ(assertedLine([&] { kmath_nmmatrix_eigenvalues(&A, 0, &re, &im); }), 0);
}

TEST(Eigenvalues, SurviveEveryFailingAllocation)
{
    for (const std::int32_t n : {1, 4, 6, 20}) {
        const Matrix A = randomMatrix(n, n, 43);
        sweepAllocationFailures([&] {
            Doubles re, im;
            return kmath_nmmatrix_eigenvalues(&A, 1, &re, &im);
        });
    }
}

} // namespace
