#include "platform/math_core.hpp"
#include "platform/math_support.hpp"

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <utility>

using kmath::kxNMMatrix;
using kmath::kxVector;
using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

double norm(double angle)
{
    const radian given = {angle};
    return kmath_radian_norm(&given).value;
}

TEST(AcosSafe, IsTheArcCosineInItsDomain)
{
    EXPECT_EQ(kmath_acosSafe(1.0).value, 0.0);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(0.5).value, 1.0471975511965979);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(0.0).value, 1.5707963267948966);
    EXPECT_DOUBLE_EQ(kmath_acosSafe(-1.0).value, 3.141592653589793);
}

TEST(AcosSafe, ClampsWhatLiesOutside)
{
    for (const double above : {std::nextafter(1.0, 2.0), 7.0, infinity})
        EXPECT_EQ(kmath_acosSafe(above).value, 0.0) << above;
    for (const double below : {std::nextafter(-1.0, -2.0), -7.0, -infinity})
        EXPECT_DOUBLE_EQ(kmath_acosSafe(below).value, kmath::pi) << below;
}

TEST(AcosSafe, IsNaNForNaN) { EXPECT_TRUE(std::isnan(kmath_acosSafe(notANumber).value)); }

TEST(RadianNorm, KeepsWhatIsAlreadyInRange)
{
    for (const double angle :
         {0.0, 5e-324, 1e-9, 1.0, kmath::pi, std::nextafter(kmath::twoPi, 0.0)})
        EXPECT_EQ(norm(angle), angle);
}

TEST(RadianNorm, TurnsByWholeTurns)
{
    EXPECT_DOUBLE_EQ(norm(-kmath::pi / 2.0), 1.5 * kmath::pi);
    EXPECT_DOUBLE_EQ(norm(2.5 * kmath::pi), 0.5 * kmath::pi);
    EXPECT_NEAR(norm(-7.0 * kmath::pi), kmath::pi, 1e-14);
    EXPECT_EQ(norm(kmath::twoPi), 0.0);
    EXPECT_EQ(norm(-kmath::twoPi), 0.0);
}

TEST(RadianNorm, NeverReachesAFullTurn)
{
    for (const double angle : {-5e-324, -1e-300, -1e-17, -1e-16, -4e-16, -1e-15, 1e15, -1e15, 1e300,
                               -1e300, 1.7976931348623157e308}) {
        EXPECT_GE(norm(angle), 0.0) << angle;
        EXPECT_LT(norm(angle), kmath::twoPi) << angle;
    }
}

TEST(RadianNorm, IsNaNForWhatHasNoDirection)
{
    for (const double angle : {infinity, -infinity, notANumber})
        EXPECT_TRUE(std::isnan(norm(angle)));
}

TEST(DoubleEpsilonEqual, IncludesItsBound)
{
    EXPECT_TRUE(kmath_double_epsilonEqual(1.0, 1.25, 0.25));
    EXPECT_TRUE(kmath_double_epsilonEqual(1.25, 1.0, 0.25));
    EXPECT_FALSE(kmath_double_epsilonEqual(1.0, 1.25, std::nextafter(0.25, 0.0)));
    EXPECT_TRUE(kmath_double_epsilonEqual(2.385, 2.385, 0.0));
    EXPECT_FALSE(kmath_double_epsilonEqual(2.385, 2.385, -1.0));
}

TEST(DoubleEpsilonEqual, FindsNothingEqualToNaN)
{
    EXPECT_FALSE(kmath_double_epsilonEqual(notANumber, notANumber, 1.0));
    EXPECT_FALSE(kmath_double_epsilonEqual(0.0, 0.0, notANumber));
    EXPECT_FALSE(kmath_double_epsilonEqual(infinity, infinity, 1.0));
    EXPECT_TRUE(kmath_double_epsilonEqual(0.0, infinity, infinity));
}

// The growable vector.

struct Record {
    std::int32_t id;
    double value;
};

static_assert(!std::is_copy_constructible_v<kxVector<double>>);

TEST(KxVector, KeepsWhatIsAppendedInOrder)
{
    kxVector<Record> records;
    EXPECT_EQ(records.size(), 0);
    EXPECT_EQ(records.begin(), records.end());
    const std::int64_t allocations = allocationsOf([&] {
        for (std::int32_t i = 0; i < 10'000; ++i)
            ASSERT_EQ(records.append({i, 0.5 * i}), KMATH_OK);
    });
    EXPECT_LT(allocations, 25) << "room does not grow geometrically";

    ASSERT_EQ(records.size(), 10'000);
    std::int32_t i = 0;
    for (const Record &record : records) {
        ASSERT_EQ(record.id, i);
        ASSERT_EQ(record.value, 0.5 * i++);
    }
    EXPECT_EQ(i, 10'000);
}

TEST(KxVector, AppendsAnElementOfItsOwn)
{
    kxVector<double> vector;
    ASSERT_EQ(vector.append(2.385), KMATH_OK);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(vector.append(vector[0]), KMATH_OK);
    for (const double element : vector)
        EXPECT_EQ(element, 2.385);
}

TEST(KxVector, FillsWithZerosWhatAResizeAdds)
{
    kxVector<double> vector;
    ASSERT_EQ(vector.resize(3), KMATH_OK);
    for (std::int64_t i = 0; i < 3; ++i) {
        EXPECT_EQ(vector[i], 0.0);
        vector[i] = 1.5;
    }
    ASSERT_EQ(vector.resize(1), KMATH_OK);
    ASSERT_EQ(vector.resize(50), KMATH_OK);
    EXPECT_EQ(vector.size(), 50);
    EXPECT_EQ(vector[0], 1.5);
    for (std::int64_t i = 1; i < 50; ++i)
        EXPECT_EQ(vector[i], 0.0) << i;
    ASSERT_EQ(vector.resize(0), KMATH_OK);
    EXPECT_EQ(vector.size(), 0);
}

TEST(KxVector, RefusesSizesThatNoMemoryHolds)
{
    kxVector<double> vector;
    ASSERT_EQ(vector.append(7.0), KMATH_OK);
    EXPECT_EQ(vector.resize(-1), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(vector.resize(std::numeric_limits<std::int64_t>::min()), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(vector.resize(std::numeric_limits<std::int64_t>::max()), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(vector.resize(PTRDIFF_MAX / 8 + 1), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(vector.size(), 1);
    EXPECT_EQ(vector[0], 7.0);
}

TEST(KxVector, GivesBackItsMemory)
{
    const std::int64_t before = liveBlocks();
    {
        kxVector<double> vector, released, empty;
        ASSERT_EQ(vector.resize(100), KMATH_OK);
        ASSERT_EQ(released.resize(100), KMATH_OK);
        EXPECT_EQ(liveBlocks(), before + 2);
        released.release();
        EXPECT_EQ(liveBlocks(), before + 1);
        EXPECT_EQ(released.size(), 0);
        EXPECT_EQ(released.append(1.0), KMATH_OK);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(KxVector, IsAsItWasAfterAFailingStep)
{
    sweepAllocationFailures([] {
        kxVector<double> vector;
        kmath_status status = KMATH_OK;
        std::int64_t appended = 0;
        while (appended < 200 && !KMATH_IS_FAILURE(status = vector.append(0.25)))
            ++appended;
        EXPECT_EQ(vector.size(), appended);
        if (!KMATH_IS_FAILURE(status)) {
            status = vector.resize(5000);
            EXPECT_EQ(vector.size(), KMATH_IS_FAILURE(status) ? 200 : 5000);
        }
        for (std::int64_t i = 0; i < appended; ++i)
            EXPECT_EQ(vector[i], 0.25);
        return status;
    });
}

// The dense matrix.

void fill(kxNMMatrix &matrix, std::initializer_list<std::initializer_list<double>> rows)
{
    const int columns = rows.size() == 0 ? 0 : static_cast<int>(rows.begin()->size());
    ASSERT_EQ(matrix.initResize(static_cast<int>(rows.size()), columns, 0.0), KMATH_OK);
    int i = 0;
    for (const auto &row : rows) {
        int j = 0;
        for (const double element : row)
            EXPECT_EQ(matrix.setElement(i, j++, element), KMATH_OK);
        ++i;
    }
}

double at(const kxNMMatrix &matrix, int i, int j)
{
    double element = notANumber;
    EXPECT_EQ(matrix.getElement(i, j, element), KMATH_OK) << i << ", " << j;
    return element;
}

void fill(kxNMMatrix &matrix, const Matrix &from)
{
    ASSERT_EQ(matrix.initResize(from.rows(), from.cols(), 0.0), KMATH_OK);
    for (int i = 0; i < from.rows(); ++i)
        for (int j = 0; j < from.cols(); ++j)
            ASSERT_EQ(matrix.setElement(i, j, from(i, j)), KMATH_OK);
}

TEST(KxNMMatrix, IsEmptyAtFirst)
{
    kxNMMatrix matrix;
    double element = 4.0;
    EXPECT_EQ(matrix.rows(), 0);
    EXPECT_EQ(matrix.columns(), 0);
    EXPECT_EQ(matrix.getElement(0, 0, element), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(matrix.setElement(0, 0, 1.0), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(element, 4.0);
}

TEST(KxNMMatrix, IsFilledWhenItIsResized)
{
    kxNMMatrix matrix;
    for (const auto &[rows, columns] :
         {std::pair{2, 3}, {30, 40}, {1, 1}, {7, 2}, {0, 5}, {5, 0}}) {
        ASSERT_EQ(matrix.initResize(rows, columns, -2.5), KMATH_OK);
        EXPECT_EQ(matrix.rows(), rows);
        EXPECT_EQ(matrix.columns(), columns);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < columns; ++j) {
                EXPECT_EQ(at(matrix, i, j), -2.5);
                EXPECT_EQ(matrix.setElement(i, j, 9.0), KMATH_OK);
            }
    }
}

TEST(KxNMMatrix, HoldsEachElementByItself)
{
    kxNMMatrix matrix;
    ASSERT_EQ(matrix.initResize(5, 7, 0.0), KMATH_OK);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 7; ++j)
            ASSERT_EQ(matrix.setElement(i, j, 10.0 * i + j), KMATH_OK);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 7; ++j)
            EXPECT_EQ(at(matrix, i, j), 10.0 * i + j);
}

TEST(KxNMMatrix, RefusesIndicesOutside)
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    kxNMMatrix matrix;
    ASSERT_EQ(matrix.initResize(2, 3, 1.0), KMATH_OK);
    double element = 4.0;
    for (const auto &[i, j] : {std::pair{2, 0}, {0, 3}, {-1, 0}, {0, -1}, {least, 0}, {0, most}}) {
        EXPECT_EQ(matrix.setElement(i, j, 5.0), KMATH_ERR_BAD_DIMENSIONS) << i << ", " << j;
        EXPECT_EQ(matrix.getElement(i, j, element), KMATH_ERR_BAD_DIMENSIONS) << i << ", " << j;
    }
    EXPECT_EQ(element, 4.0);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(at(matrix, i, j), 1.0);
}

TEST(KxNMMatrix, RefusesNegativeSizesUnchanged)
{
    kxNMMatrix matrix;
    ASSERT_EQ(matrix.initResize(2, 2, 3.0), KMATH_OK);
    EXPECT_EQ(matrix.initResize(-1, 2, 0.0), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(matrix.initResize(2, -1, 0.0), KMATH_ERR_NEGATIVE_SIZE);
    EXPECT_EQ(matrix.rows(), 2);
    EXPECT_EQ(matrix.columns(), 2);
    EXPECT_EQ(at(matrix, 1, 1), 3.0);
}

TEST(KxNMMatrix, IsEmptyAfterAFailingAllocation)
{
    sweepAllocationFailures([] {
        kxNMMatrix matrix;
        kmath_status status = matrix.initResize(2, 2, 1.0);
        if (!KMATH_IS_FAILURE(status))
            status = matrix.initResize(40, 30, 1.0);
        if (KMATH_IS_FAILURE(status)) {
            EXPECT_EQ(matrix.rows(), 0);
            EXPECT_EQ(matrix.columns(), 0);
            EXPECT_EQ(matrix.setElement(0, 0, 1.0), KMATH_ERR_BAD_DIMENSIONS);
        }
        return status;
    });
}

TEST(KxNMMatrixEigenvalues, SolveAMatrixWithKnownOnes)
{
    kxNMMatrix A, V;
    kxVector<double> re, im;
    fill(A, {{2.0, -1.0, 0.0}, {-1.0, 2.0, -1.0}, {0.0, -1.0, 2.0}});
    ASSERT_EQ(A.eigenvalues(true, re, im, V), KMATH_OK);
    ASSERT_EQ(re.size(), 3);
    std::sort(re.begin(), re.end());
    EXPECT_NEAR(re[0], 2.0 - std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(re[1], 2.0, 1e-15);
    EXPECT_NEAR(re[2], 2.0 + std::sqrt(2.0), 2e-15);
}

TEST(KxNMMatrixEigenvalues, BelongToTheColumnsOfV)
{
    for (const int n : {1, 2, 3, 6, 7, 40}) {
        const Matrix S = randomSymmetric(n, static_cast<std::uint64_t>(n));
        kxNMMatrix A, V;
        kxVector<double> re, im;
        ASSERT_EQ(im.append(3.0), KMATH_OK);
        fill(A, S);
        ASSERT_EQ(A.eigenvalues(true, re, im, V), KMATH_OK);
        ASSERT_EQ(V.rows(), n);
        ASSERT_EQ(V.columns(), n);
        ASSERT_EQ(re.size(), n);
        ASSERT_EQ(im.size(), n);
        for (int c = 0; c < n; ++c) {
            EXPECT_EQ(im[c], 0.0);
            for (int i = 0; i < n; ++i) {
                EXPECT_EQ(at(A, i, c), S(i, c)) << "the matrix has changed";
                double r = -re[c] * at(V, i, c);
                double dot = i == c ? -1.0 : 0.0;
                for (int j = 0; j < n; ++j) {
                    r += S(i, j) * at(V, j, c);
                    dot += at(V, j, i) * at(V, j, c);
                }
                EXPECT_NEAR(r, 0.0, 4e-15 * n) << n;
                EXPECT_NEAR(dot, 0.0, 4e-15 * n) << n;
            }
        }
    }
}

TEST(KxNMMatrixEigenvalues, HaveTheSameBitsWithoutVectorsAndInPlace)
{
    const Matrix S = randomSymmetric(20);
    kxNMMatrix A, V, work;
    kxVector<double> re, im, alone, inPlace;
    fill(A, S);
    ASSERT_EQ(A.eigenvalues(true, re, im, V), KMATH_OK);
    ASSERT_EQ(A.eigenvalues(false, alone, im, work), KMATH_OK);
    ASSERT_EQ(A.eigenvalues(true, inPlace, im, A), KMATH_OK);
    for (int c = 0; c < 20; ++c) {
        EXPECT_TRUE(sameBits(alone[c], re[c])) << c;
        EXPECT_TRUE(sameBits(inPlace[c], re[c])) << c;
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(sameBits(at(A, i, c), at(V, i, c)));
    }
}

TEST(KxNMMatrixEigenvalues, OfAnEmptyMatrixAreNone)
{
    kxNMMatrix A, V;
    kxVector<double> re, im;
    ASSERT_EQ(re.append(1.0), KMATH_OK);
    ASSERT_EQ(V.initResize(3, 3, 1.0), KMATH_OK);
    EXPECT_EQ(A.eigenvalues(true, re, im, V), KMATH_OK);
    EXPECT_EQ(re.size(), 0);
    EXPECT_EQ(im.size(), 0);
    EXPECT_EQ(V.rows(), 0);
}

TEST(KxNMMatrixEigenvalues, RefuseWhatIsNotSquare)
{
    kxNMMatrix A, V;
    kxVector<double> re, im;
    for (const auto &[rows, columns] : {std::pair{2, 3}, {3, 2}, {0, 1}, {1, 0}}) {
        ASSERT_EQ(A.initResize(rows, columns, 1.0), KMATH_OK);
        EXPECT_EQ(A.eigenvalues(true, re, im, V), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(re.size(), 0);
        EXPECT_EQ(V.rows(), 0);
    }
}

TEST(KxNMMatrixEigenvalues, RefuseWhatIsNotFinite)
{
    for (const double wild : {notANumber, infinity, -infinity})
        for (const int n : {1, 2, 3, 12})
            for (const int at : {0, n / 2, n - 1}) {
                Matrix S = randomSymmetric(n);
                S(n - 1, at) = S(at, n - 1) = wild;
                kxNMMatrix A, V;
                kxVector<double> re, im;
                fill(A, S);
                EXPECT_EQ(A.eigenvalues(true, re, im, V), KMATH_ERR_SINGULAR) << n << ' ' << at;
            }
}

TEST(KxNMMatrixEigenvalues, ReportEveryFailingAllocation)
{
    sweepAllocationFailures([] {
        kxNMMatrix A, V;
        kxVector<double> re, im;
        const kmath_status status = A.initResize(9, 9, 0.125);
        return KMATH_IS_FAILURE(status) ? status : A.eigenvalues(true, re, im, V);
    });
}

} // namespace
