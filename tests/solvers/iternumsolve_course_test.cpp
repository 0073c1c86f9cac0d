#include "solvers/damped_oracle.hpp"
#include "solvers/iternumsolve_ladder.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

using namespace support;
using namespace support::ladder;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(IternumsolveMinimize, ClimbsSixteenStepsAndComesDownFromTheEndStep)
{
    ScalarRun run(constant, {1.0});
    run.s->gradStep = 77.0;
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);

    std::vector<double> expected;
    double h = 1e-10;
    for (int k = 0; k < 16; ++k, h *= 3.0)
        expected.push_back(h);
    EXPECT_NEAR(expected.back(), 1.4348907e-3, 1e-12);
    h = 0.003;
    for (int k = 0; k < 16; ++k, h /= 3.0)
        expected.push_back(h);
    EXPECT_EQ(stepsOf(run.scalar), expected);
    EXPECT_LE(h, 1e-10);
    EXPECT_EQ(run.scalar.calls.front().gradStep, 77.0);
    EXPECT_EQ(run.scalar.calls.back().gradStep, h);
    EXPECT_EQ(run.s->gradStep, h);
}

TEST(IternumsolveMinimize, EvaluatesAConstantAsOftenAsItSays)
{
    // A gradient of zero ends each run after one evaluation of the residuals.
    for (const std::size_t n : {1u, 3u, 20u}) {
        ScalarRun run(constant, Row(n, 1.5));
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.scalar.calls.size(), 1 + 32 * (1 + 2 * (2 * n + 1)) + 1);
        EXPECT_EQ(run.params(), Row(n, 1.5));
        EXPECT_EQ(run.value, 2.385); // the objective, not the cost of 0 that the runs wrote
        EXPECT_EQ(run.scalar.calls.back().finalValue, 0.0);
        EXPECT_EQ(run.scalar.calls[0].finalValue, unwritten);
    }
}

TEST(IternumsolveMinimize, StartsTheWayDownBelowAnEndStepThatHasBeenRun)
{
    // 1e-3, 3e-3, 9e-3, and 2.7e-2 as the last before an end a little above it.
    double last = 1e-3;
    for (int k = 0; k < 3; ++k)
        last *= 3.0;
    const struct {
        double end;
        bool wasRun;
    } cases[] = {{last * (1 + 9e-7), true},
                 {last * (1 + 1.1e-6), false},
                 {std::nextafter(last, 1.0), true},
                 {last * 1.5, false},
                 // At last itself the climb ends a step before.
                 {last, false}};
    for (const auto &[end, wasRun] : cases) {
        SCOPED_TRACE(end / last - 1.0);
        ScalarRun run(constant, {1.0});
        setSteps(run.s, 1e-3, end, 3.0);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);

        std::vector<double> expected;
        double h = 1e-3;
        for (; h < end; h *= 3.0)
            expected.push_back(h);
        EXPECT_EQ(expected.size(), end == last ? 3u : 4u);
        for (h = wasRun ? end / 3.0 : end; 1e-3 < h; h /= 3.0)
            expected.push_back(h);
        EXPECT_EQ(stepsOf(run.scalar), expected);
        EXPECT_EQ(run.s->gradStep, h);
    }
}

TEST(IternumsolveMinimize, SkipsThePhasesThatHaveNoSteps)
{
    const double ladders[][2] = {{0.003, 0.003}, {0.004, 0.003}, {0.009, 0.003}, {1.0, -1.0}};
    for (const auto &[start, end] : ladders) {
        ScalarRun run(rosenbrock, {-1.2, 1.0});
        setSteps(run.s, start, end, 3.0);
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.scalar.calls.size(), 2u);
        EXPECT_EQ(run.params(), (Row{-1.2, 1.0}));
        EXPECT_TRUE(sameBits(run.value, rosenbrock(run.params().data())));
    }
}

// The whole ladder by a plain loop over the plain damped loop.
struct LadderOracle {
    std::function<double(const double *)> f;
    Tuning tuning;
    double gradStepStart = 1e-10, gradStepEnd = 0.003, gradStepFactor = 3.0;
    Row best;
    double value = unwritten, h = 0.0;
    std::vector<Row> points;
    kmath_status status = KMATH_OK;

    explicit LadderOracle(std::function<double(const double *)> objective) : f(std::move(objective))
    {
    }

    double evaluate(const Row &p)
    {
        points.push_back(p);
        return f(p.data());
    }

    void step(const Row &start)
    {
        double least = evaluate(best);
        for (const bool fromBest : {true, false}) {
            const auto n = static_cast<std::int32_t>(start.size());
            const Problem gradient{n, fromBest ? best : start, [&](const double *p, double *r) {
                                       Row q(p, p + n);
                                       for (std::size_t k = 0; k < q.size(); ++k) {
                                           q[k] = p[k] - h;
                                           const double below = evaluate(q);
                                           q[k] = p[k] + h;
                                           const double above = evaluate(q);
                                           r[k] = (above - below) * (1.0 / (h * 2.0));
                                       }
                                   }};
            const Outcome run = DampedOracle{gradient, tuning, levmarqsolve}.minimize();
            if (KMATH_IS_FAILURE(status = run.status))
                return;
            const double here = evaluate(run.params);
            if (here < least) {
                best = run.params;
                least = here;
            }
        }
    }

    void minimize(const Row &start)
    {
        evaluate(start);
        best = start;
        for (h = gradStepStart; h < gradStepEnd; h *= gradStepFactor) {
            step(start);
            if (KMATH_IS_FAILURE(status))
                return;
        }
        const bool wasRun = std::fabs(h / gradStepFactor - gradStepEnd) <= gradStepEnd * 1e-6;
        for (h = wasRun ? gradStepEnd / gradStepFactor : gradStepEnd; gradStepStart < h;
             h /= gradStepFactor) {
            step(start);
            if (KMATH_IS_FAILURE(status))
                return;
        }
        value = evaluate(best);
    }
};

void expectOraclesBits(LadderOracle oracle, const Row &start)
{
    oracle.minimize(start);
    for (const bool indexed : {false, true}) {
        ScalarRun run(oracle.f, start, indexed);
        setSteps(run.s, oracle.gradStepStart, oracle.gradStepEnd, oracle.gradStepFactor);
        run.s->solver.lambda = oracle.tuning.lambda;
        run.s->solver.maxIterations = oracle.tuning.maxIterations;
        run.s->solver.maxTries = oracle.tuning.maxTries;
        run.s->solver.jacobianStep = oracle.tuning.jacobianStep;
        run.minimize();
        EXPECT_EQ(run.status, oracle.status);
        ASSERT_EQ(run.scalar.calls.size(), oracle.points.size());
        for (std::size_t i = 0; i < oracle.points.size(); ++i)
            ASSERT_TRUE(sameRow(run.scalar.calls[i].point, oracle.points[i])) << "call " << i;
        EXPECT_TRUE(sameBits(run.s->gradStep, oracle.h));
        if (!KMATH_IS_FAILURE(oracle.status)) {
            EXPECT_TRUE(sameRow(run.params(), oracle.best));
            EXPECT_TRUE(sameBits(run.value, oracle.value));
            EXPECT_TRUE(sameBits(run.s->solver.lambda, oracle.tuning.lambda));
            EXPECT_FALSE(run.value > oracle.f(start.data()));
        }
    }
}

TEST(IternumsolveMinimize, HasTheBitsOfThePlainLoops)
{
    expectOraclesBits(LadderOracle(bowl), {0.0, 0.0});
    expectOraclesBits(LadderOracle(rosenbrock), {-1.2, 1.0});
    expectOraclesBits(LadderOracle(coupledWaves), {0.3, -0.7, 1.9});
    expectOraclesBits(LadderOracle([](const double *p) { return std::fabs(p[0] - 0.7); }), {3.0});
    expectOraclesBits(LadderOracle([](const double *p) { return p[0]; }), {3.0}); // has no minimum
    expectOraclesBits(LadderOracle([](const double *p) { return -p[0] * p[0]; }), {0.1});
    // Not differentiable anywhere, and not a number beyond a wall.
    expectOraclesBits(LadderOracle([](const double *p) { return std::floor(p[0] * 1e4); }), {0.5});
    for (const double beyond : {nan, infinity, -infinity})
        expectOraclesBits(LadderOracle([beyond](const double *p) {
                              return p[0] > 2.0 ? beyond : (p[0] - 3.0) * (p[0] - 3.0);
                          }),
                          {1.0});
}

TEST(IternumsolveMinimize, HasTheBitsOfThePlainLoopsUnderAnyTuning)
{
    LadderOracle oracle(rosenbrock);
    oracle.gradStepStart = 1e-6;
    oracle.gradStepEnd = 0.1;
    oracle.gradStepFactor = 7.5;
    for (const double lambda : {0.0, 1e-6, 1.0, 1e6, -0.5}) {
        LadderOracle with = oracle;
        with.tuning.lambda = lambda;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const int cap : {0, 1, 3}) {
        LadderOracle with = oracle;
        with.tuning.maxIterations = cap;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const int tries : {1, 2, 5}) {
        LadderOracle with = oracle;
        with.tuning.maxTries = tries;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const double step : {1e-4, -1e-6}) {
        LadderOracle with = oracle;
        with.tuning.jacobianStep = step;
        expectOraclesBits(with, {-1.2, 1.0});
    }
}

// Every run starts from the damping of the entry.

std::vector<double> dampings;

kmath_status jacobianAtItsDamping(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                  const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                  kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                  void *userData)
{
    dampings.push_back(solver->lambda); // written when a run ends only
    return kmath_levmarqsolve_compnumericjacob(solver, params, residuals, jacobian, gradient,
                                               normalMatrix, userData);
}

TEST(IternumsolveMinimize, StartsEveryRunFromTheDampingOfTheEntry)
{
    ScalarRun run(rosenbrock, {-1.2, 1.0});
    run.s->solver.lambda = 0.37;
    run.s->solver.compJacobian = jacobianAtItsDamping;
    dampings.clear();
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);
    EXPECT_GT(dampings.size(), 32u);
    for (const double lambda : dampings)
        EXPECT_EQ(lambda, 0.37);
    EXPECT_EQ(run.s->solver.lambda, 0.37);
    bool leftByARun = false; // what a run leaves is another one
    for (const Call &call : run.scalar.calls)
        leftByARun = leftByARun || call.lambda != 0.37;
    EXPECT_TRUE(leftByARun);
    EXPECT_EQ(run.scalar.calls.back().lambda, 0.37);
}

TEST(IternumsolveMinimize, StaysWhereNoRunFindsALowerValue)
{
    // The gradient vanishes at the top of the hill, and there the runs go.
    ScalarRun run([](const double *p) { return std::cos(p[0]); }, {0.1});
    setSteps(run.s, 1e-4, 1e-2, 3.0);
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), (Row{0.1}));
    EXPECT_EQ(run.value, std::cos(0.1));
}

TEST(IternumsolveMinimize, NeverFindsAnythingLowerThanNotANumber)
{
    ScalarRun atStart(
        [](const double *p) { return p[0] == 1.0 ? nan : (p[0] - 3.0) * (p[0] - 3.0); }, {1.0});
    atStart.minimize();
    EXPECT_EQ(atStart.status, KMATH_OK);
    EXPECT_EQ(atStart.params(), (Row{1.0}));
    EXPECT_TRUE(std::isnan(atStart.value));

    for (const double always : {nan, infinity, -infinity}) {
        ScalarRun run([always](const double *) { return always; }, {1.0, 2.0});
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.params(), (Row{1.0, 2.0}));
        EXPECT_TRUE(sameBits(run.value, always));
        EXPECT_EQ(run.scalar.calls.size(), 1 + 32 * (1 + 2 * 5) + 1);
    }
}

// Whole minimizations.

TEST(IternumsolveMinimize, FindsTheMinimumOfABowl)
{
    for (const bool indexed : {false, true}) {
        ScalarRun run(bowl, {0.0, 0.0}, indexed);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);
        EXPECT_NEAR(run.params()[0], 3.0, 1e-6);
        EXPECT_NEAR(run.params()[1], -1.0, 1e-6);
        EXPECT_NEAR(run.value, 7.0, 1e-12);
    }
}

TEST(IternumsolveMinimize, FindsTheMinimumOfRosenbrocksValley)
{
    ScalarRun run(rosenbrock, {-1.2, 1.0});
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);
    EXPECT_NEAR(run.params()[0], 1.0, 1e-4);
    EXPECT_NEAR(run.params()[1], 1.0, 1e-4);
    EXPECT_LT(run.value, 1e-8);
}

TEST(IternumsolveMinimize, NeverEndsAboveItsStart)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const Matrix p = randomMatrix(1, 3, seed);
        const Row start{4.0 * p(0, 0), 4.0 * p(0, 1), 4.0 * p(0, 2)};
        ScalarRun run(coupledWaves, start);
        setSteps(run.s, 1e-7, 1e-3, 10.0);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);
        EXPECT_LE(run.value, coupledWaves(start.data()));
        EXPECT_TRUE(sameBits(run.value, coupledWaves(run.params().data())));
    }
}

TEST(IternumsolveMinimize, HasTheSameBitsOnAnyNumberOfThreads)
{
    const Row start{0.3, -0.7, 1.9, 0.2, -1.1};
    const auto f = [](const double *p) {
        return coupledWaves(p) + p[3] * p[3] + std::sin(p[4]) * p[0] + p[4] * p[4];
    };
    for (const bool indexed : {false, true}) {
        ScalarRun serial(f, start, indexed);
        setSteps(serial.s, 1e-6, 1e-2, 10.0);
        serial.minimize();
        ASSERT_EQ(serial.status, KMATH_OK);
        for (const std::int32_t threads : {1, 2, 3, 8}) {
            const ThreadCount count(threads);
            ScalarRun run(f, start, indexed);
            setSteps(run.s, 1e-6, 1e-2, 10.0);
            run.s->solver.useThreads = 1;
            run.minimize();
            ASSERT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.scalar.calls.size(), serial.scalar.calls.size());
            EXPECT_TRUE(sameRow(run.params(), serial.params()));
            EXPECT_TRUE(sameBits(run.value, serial.value));
        }
    }
}

} // namespace
