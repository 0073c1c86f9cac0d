// The references of the accuracy tables against each other and against limits of their definitions.
#include "accuracy/exact_rotations.hpp"
#include "accuracy/report.hpp"

#include <gtest/gtest.h>

using namespace accuracy;

namespace
{

const Vector axis = {{Quad(2) / 7, Quad(-3) / 7, Quad(6) / 7}};
const double angles[] = {1e-9, 1e-8, 1e-5, 0.01, 0.7, 1.6, 2.4, 3.0, 3.1415};

double size(const Matrix &A) { return static_cast<double>(largest(A)); }
double size(const Vector &v) { return static_cast<double>(length(v)); }

TEST(ExactRodrigues, IsARotationThatLeavesTheAxis)
{
    for (const double angle : angles) {
        const Matrix R = rodrigues(angle * axis);
        EXPECT_LT(static_cast<double>(orthogonalityError(R)), 1e-32) << angle;
        for (int i = 0; i < 3; ++i)
            EXPECT_LT(static_cast<double>(fabsf128(R(i, 0) * axis[0] + R(i, 1) * axis[1] +
                                                   R(i, 2) * axis[2] - axis[i])),
                      1e-32);
        EXPECT_LT(
            static_cast<double>(fabsf128(R(0, 0) + R(1, 1) + R(2, 2) - 1 - 2 * cosf128(angle))),
            1e-32);
    }
}

TEST(ExactRodrigues, TurnsXTowardsYAboutZ)
{
    const Matrix R = rodrigues({{0, 0, pi / 2}});
    EXPECT_LT(size(R - Matrix{{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}}), 1e-33);
}

TEST(ExactRodrigues, HasTheDerivativeOfItsCentralDifference)
{
    const Quad step = 1e-11;
    for (const double angle : {1e-9, 1e-4, 0.01, 0.7, 3.0}) {
        for (int i = 0; i < 3; ++i) {
            Vector before = angle * axis, after = before;
            before[i] -= step;
            after[i] += step;
            const Matrix difference = 1 / (2 * step) * (rodrigues(after) - rodrigues(before));
            EXPECT_LT(size(rodriguesDerivative(angle * axis, i) - difference), 1e-21) << angle;
        }
    }
}

TEST(ExactRodrigues, HasTheCrossProductForDerivativeAtZero)
{
    EXPECT_EQ(size(rodriguesDerivative({}, 2) - Matrix{{{0, -1, 0}, {1, 0, 0}, {0, 0, 0}}}), 0.0);
}

TEST(ExactRotationVector, InvertsRodrigues)
{
    for (const double angle : angles)
        for (int i = 0; i < 3; ++i) {
            const Vector r = angle * Vector{{axis[i], axis[(i + 1) % 3], -axis[(i + 2) % 3]}};
            EXPECT_LT(size(rotationVector(rodrigues(r)) - r), 1e-31) << angle;
        }
}

TEST(ExactRotationVector, OfHalfATurnIsEitherOfTwo)
{
    const Vector r = pi * axis, s = rotationVector(rodrigues(r));
    EXPECT_LT(std::min(size(s - r), size(s + r)), 1e-31);
}

TEST(ExactPolarFactor, TakesAwayASymmetricFactor)
{
    const Matrix S = {{{2, Quad(1) / 2, 0}, {Quad(1) / 2, 1, Quad(1) / 4}, {0, Quad(1) / 4, 3}}};
    const Matrix mirror = {{{1, 0, 0}, {0, 1, 0}, {0, 0, -1}}};
    for (const Quad scale : {Quad(1e-6), Quad(1), Quad(1e6)}) {
        const Matrix R = rodrigues(axis);
        EXPECT_LT(size(polarFactor(scale * (R * S)) - R), 1e-31);
        EXPECT_LT(size(polarFactor(scale * (R * mirror * S)) - R * mirror), 1e-31);
    }
}

TEST(ExactEulerAngles, InvertTheProductOfAxisRotations)
{
    for (const double ay : {-1.5, 0.0, 1e-9, 1.2}) {
        const Vector r = {{2.385, ay, -3.0}};
        EXPECT_LT(size(eulerAngles(eulerMatrix(r)) - r), 1e-31) << ay;
    }
    const Matrix M = eulerMatrix({{pi / 2, 0, pi / 2}}); // z first: x to y, then y to z
    EXPECT_LT(size(M - Matrix{{{0, -1, 0}, {0, 0, -1}, {1, 0, 0}}}), 1e-33);
}

TEST(ExactLargest, KeepsANaN)
{
    EXPECT_EQ(size(Matrix{{{1, -3, 2}, {0, 0, 0}, {1, 1, 1}}}), 3.0);
    EXPECT_TRUE(std::isnan(size(Matrix{{{1, Quad(std::nan("")), 2}, {0, 0, 0}, {1, 1, 1}}})));
}

/// What a table makes of one measured value.
bool keptUnderLimitOne(const Cell &cell)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Table table("test: table", {{"row"}, {"value", 1.0}});
    table.row({"a", cell});
    const bool kept = table.finish();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), kept);
    return kept;
}

TEST(AccuracyTable, TellsWhatBreaksALimit)
{
    Errors errors;
    errors.add(std::nan(""));
    errors.add(0.5);
    EXPECT_TRUE(keptUnderLimitOne(1.0));
    EXPECT_FALSE(keptUnderLimitOne(1.1));
    EXPECT_FALSE(keptUnderLimitOne(errors.largest()));
    EXPECT_TRUE(keptUnderLimitOne(Cell(2.0, 3.0)));
    EXPECT_FALSE(keptUnderLimitOne(Cell(0.5, 0.25)));
}

} // namespace
