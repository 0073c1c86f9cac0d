#include "solvers/iternumsolve_ladder.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace support;
using namespace support::ladder;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(IternumsolveMinimize, RefusesARecordWithoutASystem)
{
    Ladder fresh;
    fresh->objective = objective;
    double value = unwritten;
    EXPECT_EQ(kmath_iternumsolve_minimize(&fresh, &value), KMATH_ERR_BAD_DIMENSIONS);
    for (const bool residuals : {true, false})
        for (const std::int32_t count : {0, -1, INT32_MIN}) {
            ScalarRun run(constant, {1.0});
            (residuals ? run.s->solver.nResiduals : run.s->solver.nParams) = count;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(run.scalar.calls.size(), 0u);
            EXPECT_EQ(run.value, unwritten);
            EXPECT_EQ(run.s->gradStep, 1e-10);
        }
}

TEST(IternumsolveMinimize, RefusesASystemWhoseSettingFailed)
{
    const Matrix p = randomMatrix(1, 19);
    for (std::int64_t number = 0; number < 12; ++number) {
        Ladder s;
        Scalar scalar(constant);
        s->objective = objective;
        failAllocation(number);
        EXPECT_EQ(kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                            kmath_levmarqsolve_compnumericjacob, 19, 19, &p, 1,
                                            &scalar),
                  KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        double value = unwritten;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(scalar.calls.size(), 0u);
    }
}

TEST(IternumsolveMinimize, RefusesANullObjective)
{
    ScalarRun run(constant, {1.0});
    run.s->objective = nullptr;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.value, unwritten);
}

TEST(IternumsolveMinimize, RefusesMoreResidualsThanParameters)
{
    Scalar scalar(bowl);
    Ladder s;
    const Matrix p{{1.0, 2.0}};
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                        kmath_levmarqsolve_compnumericjacob, 3, 2, &p, 1, &scalar),
              KMATH_OK);
    s->objective = objective;
    double value = unwritten;
    EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(value, unwritten);
    EXPECT_EQ(scalar.calls.size(), 2u); // at the start and at the best point
}

// A ladder of two steps up and one down.
void shorten(Ladder &s)
{
    setSteps(s, 1e-3, 5e-3, 3.0);
    s->solver.maxIterations = 3;
}

TEST(IternumsolveMinimize, PassesEveryFailureOutAndWritesNothingMore)
{
    ScalarRun whole(bowl, {0.0, 0.0});
    shorten(whole.s);
    whole.minimize();
    ASSERT_EQ(whole.status, KMATH_OK);
    ASSERT_EQ(stepsOf(whole.scalar).size(), 4u);
    const std::size_t count = whole.scalar.calls.size();
    std::size_t failures = 0;
    for (bool ended = false; !ended && failures <= count; ++failures) {
        ScalarRun run(bowl, {0.0, 0.0});
        shorten(run.s);
        run.scalar.failing = failures;
        run.minimize();
        ended = run.status == KMATH_OK;
        if (ended)
            break;
        EXPECT_EQ(run.status, ownFailure);
        ASSERT_EQ(run.scalar.calls.size(), failures + 1);
        const Call &seen = whole.scalar.calls[failures];
        EXPECT_TRUE(sameRow(run.scalar.calls[failures].point, seen.point));
        EXPECT_EQ(run.s->gradStep, seen.gradStep);
        EXPECT_EQ(run.s->solver.lambda, seen.lambda);
        EXPECT_EQ(run.value, seen.finalValue);
        if (failures == count - 1) { // the best point has already been put back
            EXPECT_TRUE(sameRow(run.params(), whole.params()));
        }
    }
    EXPECT_EQ(failures, count);
    EXPECT_EQ(whole.scalar.calls[0].lambda, 0.01);
    for (std::size_t i = 0; i < 6; ++i) // before any run has ended
        EXPECT_EQ(whole.scalar.calls[i].finalValue, unwritten);
}

TEST(IternumsolveMinimize, LetsEveryExceptionPass)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount processors(3);
        bool ended = false;
        for (std::size_t failing = 0; !ended; ++failing) {
            ASSERT_LT(failing, 5000u);
            const std::int64_t before = liveBlocks();
            {
                ScalarRun run(bowl, Row(17, 0.5)); // rows of the heap
                shorten(run.s);
                setSteps(run.s, 1e-3, 2e-3, 10.0);
                run.s->solver.maxIterations = 1;
                run.s->solver.maxTries = 1;
                run.s->solver.useThreads = threads;
                run.scalar.failing = failing;
                run.scalar.throws = true;
                try {
                    run.minimize();
                    ended = true;
                    EXPECT_EQ(run.status, KMATH_OK);
                    EXPECT_EQ(run.scalar.calls.size(), failing);
                } catch (const std::runtime_error &) {
                    EXPECT_GT(run.scalar.calls.size(), failing);
                }
            }
            EXPECT_EQ(liveBlocks(), before);
            if (threads && failing > 1) // a few of the many calls, where they take threads
                failing += 36;
        }
    }
}

TEST(IternumsolveMinimize, PassesAFailureOfTheIndependenceFunctionOut)
{
    asked.clear();
    answers = {0, 0};
    failingQuestion = 1;
    questionThrows = false;
    ScalarRun run(bowl, {0.0, 0.0}, true);
    run.s->independence = fromTable;
    run.minimize();
    EXPECT_EQ(run.status, ownFailure);
    EXPECT_EQ(run.value, unwritten);
    EXPECT_EQ(run.s->solver.lambda, 0.01);
    EXPECT_EQ(asked, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0}, {0, 1}}));
}

TEST(IternumsolveMinimize, PassesAFailureOfARunOut)
{
    ScalarRun run(bowl, {0.0, 0.0});
    run.s->solver.compJacobian = nullptr;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.value, unwritten);
}

TEST(IternumsolveMinimize, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScalarRun run(bowl, {0.0, 0.0});
    run.s->objective = [](kmath_iternumsolve *solver, const kmath_nmmatrix *params,
                          double *value) -> kmath_status {
        objective(solver, params, value);
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_NEAR(run.value, 7.0, 1e-12);
}

TEST(IternumsolveMinimize, SurvivesEveryFailingAllocation)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount processors(3);
        kmath_status status = KMATH_OK;
        double value = 0.0;
        int refused = 0, recovered = 0;
        sweepAllocationFailures(
            [&](bool failed) {
                if (KMATH_IS_FAILURE(status)) {
                    EXPECT_TRUE(failed);
                    EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                    ++refused;
                } else { // the solve failed and the pseudo-inverse took its place
                    EXPECT_LE(value, bowl(Row(17, 0.5).data()));
                    recovered += failed;
                }
            },
            [&] {
                failAllocation(-1);
                ScalarRun run(bowl, Row(17, 0.5));
                setSteps(run.s, 1e-3, 2e-3, 10.0);
                run.s->solver.maxIterations = 1;
                run.s->solver.maxTries = 2;
                run.s->solver.useThreads = threads;
                failAllocation(refused + recovered);
                run.minimize();
                status = run.status;
                value = run.value;
            });
        EXPECT_GT(refused, 0);
        EXPECT_GT(recovered, 0);
    }
}

// Numbers that no sensible caller sets.

TEST(IternumsolveMinimize, EndsOnLaddersThatWouldGoOnForEver)
{
    const auto stepsDownToNothing = [](double h, double factor) {
        std::size_t steps = 0;
        for (double last = infinity; h > 0.0 && h < last; ++steps) {
            last = h;
            h /= factor;
        }
        return steps;
    };
    const auto stepsToInfinity = [](double h) {
        std::size_t steps = 0;
        for (; h < infinity; h *= 3.0)
            ++steps;
        return steps;
    };
    const double barely = std::nextafter(1.0, 2.0);
    const struct {
        const char *name;
        double start, end, factor;
        std::size_t steps;
    } ladders[] = {
        {"factor 1", 1e-10, 0.003, 1.0, 2},
        {"factor below 1", 1e-10, 0.003, 0.5, 2},
        {"factor 0", 1e-10, 0.003, 0.0, 2},
        // Up to 1e-10·3¹⁵, every other one below 0, and the end step.
        {"factor −3", 1e-10, 0.003, -3.0, 16 + 1},
        {"factor NaN", 1e-10, 0.003, nan, 2},
        {"factor ∞", 1e-10, 0.003, infinity, 2},
        {"factor −∞", 1e-10, 0.003, -infinity, 3},
        {"factor just above 1", 1e-10, 0.003, barely, 200000},
        {"factor just below 1", 1e-10, 0.003, std::nextafter(1.0, 0.0), 2},
        {"start 0", 0.0, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0)},
        {"start −0", -0.0, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0)},
        {"start 0, slow", 0.0, 0.003, 1.5, 1 + stepsDownToNothing(0.003, 1.5)},
        // Up to −∞ and once there, down to 0 and once there.
        {"start below 0", -1.0, 0.003, 3.0,
         stepsToInfinity(1.0) + 1 + stepsDownToNothing(0.003, 3.0) + 1},
        {"start −∞", -infinity, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0) + 1},
        {"start NaN", nan, 0.003, 3.0, 0},
        {"end ∞", 1e-10, infinity, 3.0, stepsToInfinity(1e-10) + 1},
        {"end NaN", 1e-10, nan, 3.0, 0},
        {"end below start", 1e-10, -0.003, 3.0, 0},
        {"both below 0", -0.003, -1e-10, 3.0,
         stepsToInfinity(0.003) + 1 + stepsDownToNothing(1e-10, 3.0) + 1},
        {"smallest start", 5e-324, 1e-323, 1.5, 2},
    };
    for (const auto &ladder : ladders) {
        SCOPED_TRACE(ladder.name);
        ScalarRun run(constant, {1.0});
        setSteps(run.s, ladder.start, ladder.end, ladder.factor);
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.value, 2.385);
        // A run takes two calls for its gradient, and a step three more.
        EXPECT_EQ(run.scalar.calls.size(), 2 + 7 * ladder.steps);
    }
}

TEST(IternumsolveMinimize, EndsOnAnyBitsInItsNumbers)
{
    const double odd[] = {0.0,    -0.0,   nan,   infinity, -infinity, 1e308,
                          -1e308, 1e-320, 1e160, -0.01,    1.0};
    for (const double value : odd)
        for (int field = 0; field < 12; ++field) {
            SCOPED_TRACE(testing::Message() << "field " << field << ", value " << value);
            Row start{-1.2, 1.0};
            if (field == 0)
                start[1] = value;
            std::function<double(const double *)> f = rosenbrock;
            if (field == 1)
                f = [value](const double *p) { return p[0] + value; };
            if (field == 2)
                f = [value](const double *p) { return p[0] * value; };
            if (field == 3)
                f = [value](const double *p) { return p[0] < -1.2 ? value : rosenbrock(p); };
            ScalarRun run(f, start);
            setSteps(run.s, 1e-6, 1e-2, 10.0);
            double *const tuning[] = {&run.s->gradStepStart,
                                      &run.s->gradStepEnd,
                                      &run.s->gradStepFactor,
                                      &run.s->gradStep,
                                      &run.s->solver.lambda,
                                      &run.s->solver.jacobianStep,
                                      &run.s->solver.maxConditionNumber,
                                      &run.s->solver.costTolerance};
            if (field >= 4)
                *tuning[field - 4] = value;
            const double lambda = run.s->solver.lambda;
            run.minimize();
            EXPECT_TRUE(run.status == KMATH_OK || run.status == KMATH_ERR_SINGULAR) << run.status;
            EXPECT_LT(run.scalar.calls.size(), 3000000u);
            if (run.status == KMATH_OK) {
                EXPECT_TRUE(sameBits(run.s->solver.lambda, lambda));
                EXPECT_TRUE(sameBits(run.value, f(run.params().data())));
                EXPECT_FALSE(run.value > f(start.data()));
            }
        }
}

} // namespace
