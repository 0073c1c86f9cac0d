// The minimization seen from outside: its whole course in bits against the loop written out, every
// way out of it, and what a failing step leaves behind.
#include "contract/damped_loop.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>

namespace
{

using support::assertedLine;
using support::Matrix;
using support::sameBits;
using textbook::allShapes;
using textbook::always;
using textbook::Call;
using textbook::decay;
using textbook::deficient;
using textbook::Evaluate;
using textbook::hopeless;
using textbook::linear;
using textbook::powellSingular;
using textbook::Problem;
using textbook::rosenbrock;
using textbook::Shape;
using textbook::Solver;
using textbook::tune;
using textbook::Tuning;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr auto custom = static_cast<kmath_status>(0x80001234u);

/// Beyond 2.5 the residual is not a number.
Problem cliff()
{
    return {
        1, {2.0}, always([](const double *p, double *r) { r[0] = p[0] > 2.5 ? nan : 3.0 - p[0]; })};
}

const std::function<Problem()> problems[] = {rosenbrock, powellSingular, decay,
                                             linear,     deficient,      cliff};

/// Falls back on the pseudo-inverse, which is the library's, where the solve is refused.
class NaiveMinimizer : public textbook::NaiveDamped
{
  public:
    NaiveMinimizer(const Problem &of, const kmath_levmarqsolve &tuning)
        : NaiveDamped(of, tuning, 10.0)
    {
    }

    int fallbacks = 0;

  private:
    bool findStep(std::vector<double> &step) override
    {
        if (solve(step))
            return true;
        ++fallbacks;
        Matrix solution;
        const Matrix column = textbook::transposed(gradient);
        EXPECT_EQ(
            kmath_nmmatrix_pseudoSolve(&normal, &column, &solution, settings.maxConditionNumber),
            KMATH_OK);
        step.assign(static_cast<std::size_t>(n), 0.0);
        for (int j = 0; j < n; ++j)
            step[static_cast<std::size_t>(j)] = solution(j, 0);
        return true;
    }
};

const Tuning tunings[] = {{},
                          {.lambda = 1e-12},
                          {.lambda = 1e6},
                          {.maxIterations = 3},
                          {.maxTries = 1},
                          {.lambda = 1e-8, .maxTries = 2},
                          {.maxTries = 0, .decreaseTolerance = 1e-5},
                          {.jacobianStep = 1e-3},
                          {.maxConditionNumber = 30.0},
                          {.lambda = 0.0, .maxIterations = 20},
                          {.lambda = 0.0, .maxIterations = 20, .maxConditionNumber = 1e3},
                          {.decreaseTolerance = 1e-2},
                          {.costTolerance = 0.5}};

TEST(MinimizeRules, FollowsTheLoopInEveryBit)
{
    int fallbacks = 0, rejected = 0, number = 0;
    for (const auto &make : problems) {
        for (const Tuning &tuning : tunings) {
            ++number;
            if (make().start.size() == 1 && tuning.maxTries <= 0)
                continue; // no try of the cliff need ever be accepted
            for (const Shape shape : allShapes) {
                Problem problem = make();
                const Evaluate inner = problem.evaluate;
                int evaluations = 0;
                problem.evaluate = [&](const double *p, double *r, const Call &call) {
                    ++evaluations;
                    return inner(p, r, call);
                };
                Solver s;
                textbook::set(s, problem, shape);
                tune(s, tuning);
                const Problem own = make();
                NaiveMinimizer naive(own, *&s);
                double expected = nan, finalCost = -1.0;
                ASSERT_EQ(naive.run(&expected), KMATH_OK);
                ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
                EXPECT_TRUE(sameBits(finalCost, expected)) << number;
                EXPECT_TRUE(sameBits(s->lambda, naive.lambda)) << number;
                EXPECT_EQ(evaluations, naive.evaluations) << number;
                for (int j = 0; j < naive.n; ++j)
                    EXPECT_TRUE(
                        sameBits(s->params.rows[0][j], naive.p[static_cast<std::size_t>(j)]))
                        << number << ' ' << j;
                for (int k = 0; k < naive.m; ++k)
                    EXPECT_TRUE(
                        sameBits(s->residuals.rows[0][k], naive.r[static_cast<std::size_t>(k)]))
                        << number << ' ' << k;
                fallbacks += naive.fallbacks;
                rejected += naive.rejected;
            }
        }
    }
    EXPECT_GT(fallbacks, 20);
    EXPECT_GT(rejected, 100);
}

TEST(MinimizeRules, FindsTheMinimum)
{
    Problem problem = linear();
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    double finalCost = nan;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    // The straight line through 1 + 2k ∓ 0.25, by the normal equations.
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (int k = 0; k < 6; ++k) {
        const double y = 1.0 + 2.0 * k + (k % 2 ? 0.25 : -0.25);
        sx += k;
        sy += y;
        sxx += k * k;
        sxy += k * y;
    }
    const double slope = (6 * sxy - sx * sy) / (6 * sxx - sx * sx);
    EXPECT_NEAR(s->params.rows[0][1], slope, 1e-7);
    EXPECT_NEAR(s->params.rows[0][0], (sy - slope * sx) / 6, 1e-7);
    Problem valley = rosenbrock();
    Solver t;
    textbook::set(t, valley, Shape::ByJob);
    ASSERT_EQ(kmath_levmarqsolve_minimize(&t, &finalCost), KMATH_OK);
    EXPECT_NEAR(t->params.rows[0][0], 1.0, 1e-6);
    EXPECT_NEAR(t->params.rows[0][1], 1.0, 1e-6);
    EXPECT_LT(finalCost, 1e-12);
}

TEST(MinimizeRules, UnsetSizesAreRefused)
{
    Solver s;
    double finalCost = 5.0;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
    Problem problem = linear();
    textbook::set(s, problem, Shape::Plain);
    s->nParams = 0;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
    s->nParams = 2;
    s->nResiduals = -1;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(finalCost, 5.0);
    EXPECT_EQ(s->lambda, 0.01);
    s->nResiduals = 6;
}

int jacobianCalls;

kmath_status countedJacobian(kmath_levmarqsolve *s, const kmath_nmmatrix *p,
                             const kmath_nmmatrix *r, kmath_nmmatrix *J, kmath_nmmatrix *g,
                             kmath_nmmatrix *N, void *data)
{
    ++jacobianCalls;
    EXPECT_EQ(p, &s->params);
    EXPECT_EQ(r, &s->residuals);
    EXPECT_EQ(J, &s->jacobian);
    EXPECT_EQ(g, &s->gradient);
    EXPECT_EQ(N, &s->normalMatrix);
    EXPECT_EQ(data, s->userData);
    return kmath_levmarqsolve_compnumericjacob(s, p, r, J, g, N, data);
}

TEST(MinimizeRules, AStartThatIsGoodEnoughCostsOneEvaluation)
{
    struct Case {
        double offset, costTolerance;
        int maxIterations;
    };
    // A cost of exactly the squared tolerance is not above it.
    for (const Case &c : {Case{0.0, 1e-15, 100}, Case{1e-15, 1e-15, 100}, Case{0.5, 0.5, 100},
                          Case{3.0, 1e-15, 0}, Case{3.0, 1e-15, -7}, Case{nan, 1e-15, 100}}) {
        int evaluations = 0;
        Problem problem = {1, {2.0}, [&](const double *, double *r, const Call &call) {
                               ++evaluations;
                               EXPECT_EQ(call.paramIndex, -1);
                               EXPECT_EQ(call.mask, nullptr);
                               EXPECT_EQ(call.jobIndex, 0);
                               r[0] = c.offset;
                               return KMATH_OK;
                           }};
        Solver s;
        textbook::set(s, problem, Shape::ByJob, countedJacobian);
        s->costTolerance = c.costTolerance;
        s->maxIterations = c.maxIterations;
        s->lambda = 0.125;
        jacobianCalls = 0;
        double finalCost = -1.0;
        EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_EQ(evaluations, 1);
        EXPECT_EQ(jacobianCalls, 0);
        EXPECT_TRUE(sameBits(finalCost, c.offset * c.offset));
        EXPECT_EQ(s->lambda, 0.125);
        EXPECT_EQ(s->params.rows[0][0], 2.0);
    }
}

TEST(MinimizeRules, AnEqualCostIsAcceptedAndEndsTheCall)
{
    Problem problem = {1, {2.0}, always([](const double *, double *r) { r[0] = 3.0; })};
    Solver s;
    textbook::set(s, problem, Shape::Plain, countedJacobian);
    jacobianCalls = 0;
    double finalCost = nan;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_EQ(finalCost, 9.0);
    EXPECT_TRUE(sameBits(s->lambda, 0.01 * 0.1));
    EXPECT_EQ(jacobianCalls, 1);
}

TEST(MinimizeRules, RejectedTriesRaiseTheDampingTenfoldAndKeepTheParameters)
{
    for (const int maxTries : {1, 4, 15}) {
        Problem problem = hopeless();
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        s->maxTries = maxTries;
        s->jacobianStep = 1e-2;
        double finalCost = nan, lambda = 0.01;
        for (int i = 0; i < maxTries; ++i)
            lambda *= 10.0;
        EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_TRUE(sameBits(s->lambda, lambda));
        EXPECT_EQ(s->params.rows[0][0], 2.0);
        EXPECT_EQ(finalCost, 4.0);               // of the last try, although it was rejected
        EXPECT_EQ(s->residuals.rows[0][0], 2.0); // so are the residuals
    }
}

TEST(MinimizeRules, ATryAtTheCapIsReportedButNotKept)
{
    Problem problem = linear();
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->maxTries = 1;
    double before = 0.0;
    std::vector<double> r(6);
    problem.evaluate(problem.start.data(), r.data(), {});
    for (const double value : r)
        before += value * value;
    double finalCost = nan;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_LT(finalCost, before);
    EXPECT_EQ(s->params.rows[0][0], 0.0);
    EXPECT_EQ(s->params.rows[0][1], 0.0);
    EXPECT_TRUE(sameBits(s->lambda, 0.01 * 0.1));
    EXPECT_NE(s->trialParams.rows[0][1], 0.0);
}

TEST(MinimizeRules, WithoutACapTheTriesGoOnUntilOneIsAccepted)
{
    for (const int maxTries : {0, -3}) {
        Problem problem = hopeless();
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        s->maxTries = maxTries;
        s->jacobianStep = 1e-2;
        double finalCost = nan;
        EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_EQ(finalCost, 1.0); // the step has become too small to move the parameter
        EXPECT_EQ(s->params.rows[0][0], 2.0);
        EXPECT_GT(s->lambda, 1e15);
    }
}

TEST(MinimizeRules, ASecondCallGoesOnWithTheDampingOfTheFirst)
{
    Problem problem = decay();
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->maxIterations = 2;
    double finalCost = nan;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    const double lambda = s->lambda;
    EXPECT_NE(lambda, 0.01);
    Problem rest = decay();
    rest.start.assign(s->params.rows[0], s->params.rows[0] + 3);
    NaiveMinimizer naive(rest, *&s);
    double expected = nan;
    ASSERT_EQ(naive.run(&expected), KMATH_OK);
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_TRUE(sameBits(finalCost, expected));
    EXPECT_TRUE(sameBits(s->lambda, naive.lambda));
}

TEST(MinimizeRules, TheCallbackInUseIsTheFirstThatIsSet)
{
    Problem problem = rosenbrock();
    int plain = 0, indexed = 0, byJob = 0;
    problem.evaluate = [&](const double *, double *r, const Call &call) {
        ++(call.paramIndex == -2 ? plain : call.jobIndex == -2 ? indexed : byJob);
        r[0] = r[1] = 0.0;
        return KMATH_OK;
    };
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->funcI = textbook::callIndexed;
    s->funcIJ = textbook::callByJob;
    double finalCost;
    kmath_levmarqsolve_minimize(&s, &finalCost);
    EXPECT_EQ(plain, 1);
    s->func = nullptr;
    kmath_levmarqsolve_minimize(&s, &finalCost);
    EXPECT_EQ(indexed, 1);
    s->funcI = nullptr;
    kmath_levmarqsolve_minimize(&s, &finalCost);
    EXPECT_EQ(byJob, 1);
    EXPECT_EQ(plain + indexed, 2);
}

TEST(MinimizeRules, AFailingEvaluationEndsTheCallWithItsStatus)
{
    for (const Shape shape : allShapes)
        for (int failing = 0;; ++failing) {
            Problem problem = decay();
            const Evaluate inner = problem.evaluate;
            int count = 0;
            problem.evaluate = [&](const double *p, double *r, const Call &call) {
                return count++ == failing ? custom : inner(p, r, call);
            };
            Solver s;
            textbook::set(s, problem, shape);
            s->maxIterations = 3;
            double finalCost = -77.0;
            const kmath_status status = kmath_levmarqsolve_minimize(&s, &finalCost);
            if (status == KMATH_OK) {
                EXPECT_GT(failing, 10);
                break;
            }
            EXPECT_EQ(status, custom);
            EXPECT_EQ(count, failing + 1);
            EXPECT_EQ(finalCost, -77.0);
            EXPECT_EQ(s->lambda, 0.01);
            // The parameters are those after the iterations that were completed.
            Problem undisturbed = decay();
            bool matched = false;
            for (int iterations = 0; iterations <= 3 && !matched; ++iterations) {
                Solver t;
                textbook::set(t, undisturbed, shape);
                t->maxIterations = iterations;
                double cost;
                kmath_levmarqsolve_minimize(&t, &cost);
                matched = std::equal(t->params.rows[0], t->params.rows[0] + 3, s->params.rows[0]);
            }
            EXPECT_TRUE(matched) << failing;
        }
}

TEST(MinimizeRules, AStatusWithoutBit31IsNoFailure)
{
    Problem problem = rosenbrock();
    const Evaluate inner = problem.evaluate;
    problem.evaluate = [&](const double *p, double *r, const Call &call) {
        inner(p, r, call);
        return kmath_status{0x1234};
    };
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    double finalCost = nan;
    EXPECT_FALSE(KMATH_IS_FAILURE(kmath_levmarqsolve_minimize(&s, &finalCost)));
    EXPECT_LT(finalCost, 1e-12);
}

kmath_status failingJacobian(kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *,
                             kmath_nmmatrix *, kmath_nmmatrix *, kmath_nmmatrix *, void *)
{
    return custom;
}

kmath_status failingSearch(kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                           kmath_nmmatrix *, double, void *)
{
    return custom;
}

TEST(MinimizeRules, AFailingStrategyEndsTheCallWithItsStatus)
{
    Problem problem = rosenbrock();
    Solver s;
    double finalCost = -77.0;
    textbook::set(s, problem, Shape::Plain, failingJacobian);
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), custom);
    textbook::set(s, problem, Shape::Plain);
    s->compSearchDir = failingSearch;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), custom);
    EXPECT_EQ(finalCost, -77.0);
    EXPECT_EQ(s->lambda, 0.01);
    EXPECT_EQ(s->params.rows[0][0], -1.2);
}

std::vector<double> lambdasSeen;

kmath_status recordingSearch(kmath_levmarqsolve *s, kmath_nmmatrix *N, const kmath_nmmatrix *g,
                             kmath_nmmatrix *step, double lambda, void *data)
{
    EXPECT_EQ(N, &s->normalMatrix);
    EXPECT_EQ(g, &s->gradient);
    EXPECT_EQ(step, &s->step);
    EXPECT_EQ(data, s->userData);
    lambdasSeen.push_back(lambda);
    return kmath_levmarqsolve_compSearchDirLinSys(s, N, g, step, lambda, data);
}

TEST(MinimizeRules, TheSearchDirectionGetsTheCurrentDamping)
{
    Problem problem = hopeless();
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->compSearchDir = recordingSearch;
    s->maxTries = 5;
    s->jacobianStep = 1e-2;
    lambdasSeen.clear();
    double finalCost, lambda = 0.01;
    ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &finalCost), KMATH_OK);
    ASSERT_EQ(lambdasSeen.size(), 5u);
    for (const double seen : lambdasSeen) {
        EXPECT_TRUE(sameBits(seen, lambda));
        lambda *= 10.0;
    }
}

// The library's own search direction.

TEST(MinimizeRules, SearchDirectionSolvesTheDampedSystem)
{
    for (const int n : {1, 2, 5, 9}) {
        Solver s;
        const Matrix X = support::randomMatrix(n, n + 3, 70);
        const Matrix N = textbook::timesTransposed(X, X), g = support::randomMatrix(1, n, 71);
        const double lambda = 0.3;
        Matrix damped = N, restored, step, lu;
        for (int i = 0; i < n; ++i)
            damped(i, i) += lambda;
        restored = damped;
        for (int i = 0; i < n; ++i)
            restored(i, i) += -lambda;
        lu = damped;
        std::vector<std::int32_t> perm;
        double parity;
        ASSERT_TRUE(textbook::factorise(lu, perm, parity, false));
        std::vector<double> x(g->rows[0], g->rows[0] + n);
        textbook::substitute(lu, perm, x.data());
        Matrix normal = N;
        EXPECT_EQ(kmath_levmarqsolve_compSearchDirLinSys(&s, &normal, &g, &step, lambda, nullptr),
                  KMATH_OK);
        EXPECT_TRUE(sameBits(step, textbook::rowOf(x)));
        EXPECT_TRUE(sameBits(normal, restored));

        // Above the limit of the condition number: the pseudo-inverse with the same limit.
        s->maxConditionNumber = 1.0 - 1e-9;
        normal = N;
        Matrix solution;
        const Matrix column = textbook::transposed(g);
        ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&damped, &column, &solution, s->maxConditionNumber),
                  KMATH_OK);
        EXPECT_EQ(kmath_levmarqsolve_compSearchDirLinSys(&s, &normal, &g, &step, lambda, nullptr),
                  KMATH_OK);
        EXPECT_TRUE(sameBits(step, textbook::transposed(solution)));
        EXPECT_TRUE(sameBits(normal, restored));
    }
}

TEST(MinimizeRules, AFailingFallbackLeavesTheDampedMatrix)
{
    Solver s;
    Matrix normal = {{1, nan}, {nan, 1}}, step;
    const Matrix g = {{1, 1}};
    EXPECT_EQ(kmath_levmarqsolve_compSearchDirLinSys(&s, &normal, &g, &step, 0.5, nullptr),
              KMATH_ERR_SINGULAR);
    EXPECT_EQ(normal(0, 0), 1.5);
    EXPECT_EQ(normal(1, 1), 1.5);
}

TEST(MinimizeRules, AFailedAllocationInTheSolveFallsBack)
{
    Solver s;
    const Matrix X = support::randomMatrix(9, 12, 72);
    const Matrix N = textbook::timesTransposed(X, X), g = support::randomMatrix(1, 9, 73);
    Matrix normal = N, step(1, 9), damped = N, solution;
    for (int i = 0; i < 9; ++i)
        damped(i, i) += 0.25;
    const Matrix column = textbook::transposed(g);
    ASSERT_EQ(kmath_nmmatrix_pseudoSolve(&damped, &column, &solution, 1e20), KMATH_OK);
    support::failAllocation(0);
    EXPECT_EQ(kmath_levmarqsolve_compSearchDirLinSys(&s, &normal, &g, &step, 0.25, nullptr),
              KMATH_OK);
    EXPECT_TRUE(support::allocationHasFailed());
    support::failAllocation(-1);
    EXPECT_TRUE(sameBits(step, textbook::transposed(solution)));
}

TEST(MinimizeRules, NothingLeaksWhereverAnAllocationFails)
{
    Problem problem = decay();
    for (int number = 0;; ++number) {
        const std::int64_t live = support::liveBlocks();
        bool failed;
        {
            Solver s;
            textbook::set(s, problem, Shape::Indexed);
            s->maxIterations = 2;
            double finalCost = -77.0;
            support::failAllocation(number);
            const kmath_status status = kmath_levmarqsolve_minimize(&s, &finalCost);
            failed = support::allocationHasFailed();
            support::failAllocation(-1);
            if (KMATH_IS_FAILURE(status)) {
                EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                EXPECT_EQ(finalCost, -77.0);
                EXPECT_EQ(s->lambda, 0.01);
            }
        }
        EXPECT_EQ(support::liveBlocks(), live);
        if (!failed) {
            EXPECT_GT(number, 0);
            break;
        }
    }
}

TEST(MinimizeRules, NullArgumentsAreReportedWithTheirLines)
{
    Solver s;
    Matrix N(2, 2), g(1, 2), step(1, 2);
    double finalCost;
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_minimize(nullptr, &finalCost); }), 439);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_minimize(&s, nullptr); }), 439);
    const auto search = kmath_levmarqsolve_compSearchDirLinSys;
    EXPECT_EQ(assertedLine([&] { search(nullptr, &N, &g, &step, 1, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { search(&s, nullptr, &g, &step, 1, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { search(&s, &N, nullptr, &step, 1, nullptr); }), 369);
    EXPECT_EQ(assertedLine([&] { search(&s, &N, &g, nullptr, 1, nullptr); }), 369);
}

} // namespace
