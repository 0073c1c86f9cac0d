#include "solvers/iternumsolve_ladder.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace support;
using namespace support::ladder;

namespace
{

Matrix gradientAt(Ladder &s, const Matrix &p, kmath_status expected = KMATH_OK)
{
    Matrix residuals(1, p.cols());
    const Matrix before = p;
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &residuals, nullptr), expected);
    EXPECT_TRUE(sameBits(p, before));
    return residuals;
}

TEST(IternumsolveFunc, TakesCentralDifferencesAtAPointThatStaysMoved)
{
    for (const double h : {1e-10, 0.003, 0.25, -0.5}) {
        Scalar scalar([](const double *p) { return p[0] * p[1] + std::sin(p[2]) + p[0] * p[2]; });
        Ladder s;
        set(s, scalar, {0.0, 0.0, 0.0});
        s->gradStep = h;
        const double a = 1.25, b = -2.385, d = 0.7;
        const Matrix residuals = gradientAt(s, Matrix{{a, b, d}});

        const std::vector<Row> points{{a - h, b, d},         {a + h, b, d},
                                      {a + h, b - h, d},     {a + h, b + h, d},
                                      {a + h, b + h, d - h}, {a + h, b + h, d + h}};
        ASSERT_EQ(scalar.calls.size(), points.size());
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(scalar.calls[i].point, points[i]);
            EXPECT_EQ(scalar.calls[i].gradStep, h);
        }
        for (std::int32_t k = 0; k < 3; ++k) {
            const auto i = static_cast<std::size_t>(2 * k);
            const double below = scalar.f(points[i].data()), above = scalar.f(points[i + 1].data());
            EXPECT_TRUE(sameBits(residuals(0, k), (above - below) * (1.0 / (h * 2.0))));
        }
    }
}

TEST(IternumsolveFunc, HasTheDerivativeOfTheMovedPoint)
{
    Scalar scalar([](const double *p) { return p[0] * p[1]; });
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    s->gradStep = 0.5;
    const Matrix residuals = gradientAt(s, Matrix{{3.0, 4.0}}); // exact in binary
    EXPECT_EQ(residuals(0, 0), 4.0);
    EXPECT_EQ(residuals(0, 1), 3.5); // p₀ + h, not p₀
}

TEST(IternumsolveFunc, LeavesOutTheComponentsThatAShorterRowHasNot)
{
    Scalar scalar(rosenbrock);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    const Matrix p{{0.5, 0.25}};
    Matrix one(1, 1), none(1, 0), empty;
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &one, nullptr), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 2u);
    EXPECT_TRUE(sameBits(one(0, 0), gradientAt(s, p)(0, 0)));
    scalar.calls.clear();
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &none, nullptr), KMATH_OK);
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &empty, nullptr), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST(IternumsolveFunc, RefusesRowsThatDoNotFit)
{
    Scalar scalar(constant);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    Matrix two(1, 2), three(1, 3), column(2, 1), lost(1, 1), lostLong(1, 1), empty;
    loseStorage(lost, 1, 40);
    loseStorage(lostLong, 1, 40);
    const std::pair<kmath_nmmatrix *, kmath_nmmatrix *> bad[] = {
        {&two, &three}, {&two, &column}, {&column, &two},   {&empty, &two},
        {&lost, &two},  {&two, &lost},   {&lost, &lostLong}};
    for (const auto &[p, r] : bad) {
        EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, p, r, nullptr),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_iternumsolve_levmarqsolve_funcI(&s->solver, p, r, 0, nullptr, nullptr),
                  KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST(IternumsolveFunc, RefusesANullObjective)
{
    Scalar scalar(constant);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    s->objective = nullptr;
    gradientAt(s, Matrix{{1.0, 2.0}}, KMATH_ERR_FAILED);
}

TEST(IternumsolveFunc, PassesAFailureOrAnExceptionOutAtOnce)
{
    for (std::size_t failing = 0; failing < 2 * 18; ++failing)
        for (const bool throws : {false, true}) {
            const std::int64_t before = liveBlocks();
            Scalar scalar([](const double *p) { return p[0] + p[17]; });
            {
                Ladder s;
                set(s, scalar, Row(18, 1.0));
                scalar.failing = failing;
                scalar.throws = throws;
                const Matrix p = randomMatrix(1, 18);
                if (throws) {
                    EXPECT_THROW(gradientAt(s, p), std::runtime_error);
                } else {
                    gradientAt(s, p, ownFailure);
                }
                EXPECT_EQ(scalar.calls.size(), failing + 1);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
}

TEST(IternumsolveFunc, SurvivesEveryFailingAllocation)
{
    Scalar scalar([](const double *p) { return p[0] * p[17]; });
    Ladder s;
    set(s, scalar, Row(18, 1.0));
    const Matrix p = randomMatrix(1, 18);
    Matrix residuals(1, 18);
    sweepAllocationFailures(
        [&] { return kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &residuals, nullptr); });
}

struct IternumsolveFuncI : testing::Test {
    Scalar scalar{[](const double *p) { return p[0] * p[1] + p[1] * p[2]; }};
    Ladder s;
    Matrix residuals{{-7.0, -7.0, -7.0}};

    void SetUp() override
    {
        asked.clear();
        answers = {0, 0, 0};
        failingQuestion = -1;
        questionThrows = false;
        set(s, scalar, {0.0, 0.0, 0.0}, true);
        s->gradStep = 0.5;
        s->independence = fromTable;
    }

    kmath_status call(std::int32_t paramIndex, std::int32_t *mask = nullptr)
    {
        const Matrix p{{3.0, 4.0, 5.0}};
        return kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &residuals, paramIndex, mask,
                                                     nullptr);
    }
};

TEST_F(IternumsolveFuncI, AsksNobodyInAFullEvaluation)
{
    answers = {1, 1, 1};
    ASSERT_EQ(call(-1), KMATH_OK);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(scalar.calls.size(), 6u);
    EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 3.5 + 5.0, 4.5}}));
}

TEST_F(IternumsolveFuncI, NeedsNoIndependenceFunction)
{
    s->independence = nullptr;
    ASSERT_EQ(call(1), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 6u);
    EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 8.5, 4.5}}));
}

TEST_F(IternumsolveFuncI, AsksAboutEveryComponent)
{
    for (const std::int32_t index : {0, 1, 2}) {
        asked.clear();
        ASSERT_EQ(call(index), KMATH_OK);
        EXPECT_EQ(asked, (std::vector<std::pair<std::int32_t, std::int32_t>>{
                             {index, 0}, {index, 1}, {index, 2}}));
        EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 8.5, 4.5}}));
    }
}

TEST_F(IternumsolveFuncI, LeavesAnIndependentComponentZeroAndUnmoved)
{
    for (const std::int32_t yes : {1, -3, INT32_MIN}) {
        answers = {yes, 0, 0};
        scalar.calls.clear();
        std::int32_t mask[] = {1, 1, 1};
        ASSERT_EQ(call(2, mask), KMATH_OK);
        EXPECT_TRUE(sameBits(residuals, Matrix{{0.0, 8.0, 4.5}})); // 3 + 5: p₀ has not moved
        ASSERT_EQ(scalar.calls.size(), 4u);
        EXPECT_EQ(scalar.calls[0].point, (Row{3.0, 3.5, 5.0}));
        EXPECT_EQ(scalar.calls[3].point, (Row{3.0, 4.5, 5.5}));
        for (const std::int32_t flag : mask)
            EXPECT_EQ(flag, 1);
    }
    answers = {1, 1, 1};
    scalar.calls.clear();
    ASSERT_EQ(call(0), KMATH_OK);
    EXPECT_TRUE(sameBits(residuals, Matrix{{0.0, 0.0, 0.0}}));
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST_F(IternumsolveFuncI, PassesAFailureOrAnExceptionOutAtOnce)
{
    for (failingQuestion = 0; failingQuestion < 3; ++failingQuestion)
        for (const bool throws : {false, true}) {
            asked.clear();
            scalar.calls.clear();
            questionThrows = throws;
            if (throws) {
                EXPECT_THROW(call(1), std::runtime_error);
            } else {
                EXPECT_EQ(call(1), ownFailure);
            }
            EXPECT_EQ(asked.size(), static_cast<std::size_t>(failingQuestion) + 1);
            EXPECT_EQ(scalar.calls.size(), 2 * static_cast<std::size_t>(failingQuestion));
        }
    failingQuestion = -1;
    scalar.calls.clear();
    scalar.failing = 3;
    EXPECT_EQ(call(1), ownFailure);
    EXPECT_EQ(scalar.calls.size(), 4u);
}

TEST_F(IternumsolveFuncI, LetsANumericJacobianTakeTheZeroForTheValue)
{
    kmath_levmarqsolve &solver = s->solver;
    answers = {0, 1, 0};
    s->solver.jacobianStep = 0.25;
    const Matrix p{{3.0, 4.0, 5.0}}, base{{4.0, 8.5, 4.5}};
    ASSERT_EQ(kmath_levmarqsolve_compnumericjacob(&solver, &p, &base, &solver.jacobian,
                                                  &solver.gradient, &solver.normalMatrix, &scalar),
              KMATH_OK);
    for (std::int32_t j = 0; j < 3; ++j)
        EXPECT_EQ(solver.jacobian.rows[j][1], (0.0 - 8.5) * 4.0);
    EXPECT_EQ(solver.jacobian.rows[1][0], 1.0); // ∂(∂f/∂p₀)/∂p₁, where nothing is left out
    EXPECT_EQ(solver.jacobian.rows[0][0], 0.0);
    EXPECT_EQ(asked.size(), 9u);
}

} // namespace
