// The damped driver that solves for itself, seen from outside: its whole course in bits against the
// loop written out, every way out of it, and what a failing step leaves behind.
#include "contract/damped_loop.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>

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
using textbook::Exit;
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

/// A thousand times steeper in the one direction than in the other, and a residual that is not a
/// number beyond 2.5.
Problem steepCliff()
{
    return {2, {2.0, 1.0}, always([](const double *p, double *r) {
                r[0] = p[0] > 2.5 ? nan : 3.0 - p[0];
                r[1] = 1e3 * (p[1] - 0.5);
            })};
}

const std::function<Problem()> problems[] = {rosenbrock, powellSingular, decay,
                                             linear,     deficient,      steepCliff};

/// Ends where the solve is refused.
class NaiveLinsolve : public textbook::NaiveDamped
{
  public:
    NaiveLinsolve(const Problem &of, const kmath_levmarqsolve &tuning)
        : NaiveDamped(of, tuning, 12.0)
    {
    }

  private:
    bool findStep(std::vector<double> &step) override { return solve(step); }
};

/// What a run leaves in the record is what the loop has.
void expectSameState(Solver &s, const NaiveLinsolve &naive)
{
    for (int j = 0; j < naive.n; ++j) {
        const auto at = static_cast<std::size_t>(j);
        EXPECT_TRUE(sameBits(s->params.rows[0][j], naive.p[at])) << j;
        EXPECT_TRUE(sameBits(s->trialParams.rows[0][j], naive.trial[at])) << j;
        EXPECT_TRUE(sameBits(s->gradient.rows[0][j], naive.gradient(0, j))) << j;
        for (int i = 0; i < naive.n; ++i)
            EXPECT_TRUE(sameBits(s->normalMatrix.rows[i][j], naive.normal(i, j))) << i << ' ' << j;
    }
    for (int k = 0; k < naive.m; ++k)
        EXPECT_TRUE(sameBits(s->residuals.rows[0][k], naive.r[static_cast<std::size_t>(k)])) << k;
}

const Tuning tunings[] = {{},
                          {.lambda = 1e-12},
                          {.lambda = 1e6},
                          {.maxIterations = 3},
                          {.maxTries = 1},
                          {.lambda = 1e-8, .maxTries = 2},
                          {.maxTries = 0, .decreaseTolerance = 1e-5},
                          {.jacobianStep = 1e-3},
                          {.maxConditionNumber = 30.0},
                          {.maxConditionNumber = 1e4},
                          {.maxConditionNumber = 1e7},
                          {.maxTries = 40, .maxConditionNumber = 1e5},
                          {.lambda = 0.0, .maxIterations = 20},
                          {.lambda = 0.0, .maxIterations = 20, .maxConditionNumber = 1e3},
                          {.lambda = -0.5, .maxIterations = 20},
                          {.lambda = nan},
                          {.lambda = 1e300},
                          {.decreaseTolerance = 1e-2},
                          {.costTolerance = 0.5},
                          {.decreaseTolerance = nan},
                          {.costTolerance = nan}};

TEST(LinsolveRules, FollowsTheLoopInEveryBit)
{
    std::map<Exit, int> exits;
    int rejected = 0, refusedAfterProgress = 0, problemNumber = 0;
    for (const auto &make : problems) {
        ++problemNumber;
        int tuningNumber = 0;
        for (const Tuning &tuning : tunings) {
            ++tuningNumber;
            if (problemNumber == 6 && tuning.maxTries <= 0)
                continue; // no try beyond the cliff need ever be accepted
            for (const Shape shape : allShapes) {
                SCOPED_TRACE(testing::Message()
                             << "problem " << problemNumber << ", tuning " << tuningNumber);
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
                NaiveLinsolve naive(own, *&s);
                double expected = -2.0, finalCost = -1.0;
                ASSERT_EQ(naive.run(&expected), KMATH_OK);
                ASSERT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
                EXPECT_TRUE(sameBits(finalCost, expected));
                EXPECT_TRUE(sameBits(s->lambda, tuning.lambda));
                EXPECT_EQ(evaluations, naive.evaluations);
                expectSameState(s, naive);
                ++exits[naive.exit];
                rejected += naive.rejected;
                refusedAfterProgress += naive.exit == Exit::SolveRefused && naive.jacobians > 1;
                if (HasFailure())
                    return;
            }
        }
    }
    for (const Exit exit : {Exit::CostReached, Exit::SolveRefused, Exit::TryCap,
                            Exit::SmallDecrease, Exit::IterationCap})
        EXPECT_GT(exits[exit], 3) << static_cast<int>(exit);
    EXPECT_GT(rejected, 100);
    EXPECT_GT(refusedAfterProgress, 3);
}

TEST(LinsolveRules, FindsTheMinimum)
{
    Problem valley = rosenbrock();
    Solver s;
    textbook::set(s, valley, Shape::ByJob);
    double finalCost = nan;
    ASSERT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_NEAR(s->params.rows[0][0], 1.0, 1e-6);
    EXPECT_NEAR(s->params.rows[0][1], 1.0, 1e-6);
    EXPECT_LT(finalCost, 1e-12);
}

TEST(LinsolveRules, UnsetSizesAreRefused)
{
    Solver s;
    double finalCost = 5.0;
    EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
    int evaluations = 0;
    Problem problem = linear();
    problem.evaluate = [&](const double *, double *, const Call &) {
        ++evaluations;
        return KMATH_OK;
    };
    textbook::set(s, problem, Shape::Plain);
    for (const int bad : {0, -1}) {
        s->nParams = bad;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
        s->nParams = 2;
        s->nResiduals = bad;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_ERR_BAD_DIMENSIONS);
        s->nResiduals = 6;
    }
    EXPECT_EQ(finalCost, 5.0);
    EXPECT_EQ(evaluations, 0);
}

int jacobianCalls;
int failingJacobianCall;

kmath_status watchedJacobian(kmath_levmarqsolve *s, const kmath_nmmatrix *p,
                             const kmath_nmmatrix *r, kmath_nmmatrix *J, kmath_nmmatrix *g,
                             kmath_nmmatrix *N, void *data)
{
    EXPECT_EQ(p, &s->params);
    EXPECT_EQ(r, &s->residuals);
    EXPECT_EQ(J, &s->jacobian);
    EXPECT_EQ(g, &s->gradient);
    EXPECT_EQ(N, &s->normalMatrix);
    EXPECT_EQ(data, s->userData);
    if (jacobianCalls++ == failingJacobianCall)
        return custom;
    return kmath_levmarqsolve_compnumericjacob(s, p, r, J, g, N, data);
}

void watchJacobian(int failing = -1)
{
    jacobianCalls = 0;
    failingJacobianCall = failing;
}

TEST(LinsolveRules, AStartThatIsGoodEnoughCostsOneEvaluation)
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
        textbook::set(s, problem, Shape::ByJob, watchedJacobian);
        s->costTolerance = c.costTolerance;
        s->maxIterations = c.maxIterations;
        s->lambda = 0.125;
        watchJacobian();
        double finalCost = -1.0;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_EQ(evaluations, 1);
        EXPECT_EQ(jacobianCalls, 0);
        EXPECT_TRUE(sameBits(finalCost, c.offset * c.offset));
        EXPECT_EQ(s->lambda, 0.125);
        EXPECT_EQ(s->params.rows[0][0], 2.0);
    }
}

TEST(LinsolveRules, EvaluatesFullyAtParamsThenAtTrialParams)
{
    for (const Shape shape : {Shape::Indexed, Shape::ByJob}) {
        std::vector<const double *> places;
        std::vector<double *> rows;
        Problem problem = rosenbrock();
        const Evaluate inner = problem.evaluate;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            if (call.paramIndex == -1) {
                EXPECT_EQ(call.mask, nullptr);
                EXPECT_EQ(call.jobIndex, shape == Shape::ByJob ? 0 : -2);
                places.push_back(p);
                rows.push_back(r);
            }
            return inner(p, r, call);
        };
        Solver s;
        textbook::set(s, problem, shape);
        s->maxIterations = 2;
        double finalCost;
        ASSERT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        ASSERT_GE(places.size(), 3u);
        EXPECT_EQ(places[0], s->params.rows[0]);
        for (std::size_t i = 0; i < places.size(); ++i) {
            EXPECT_EQ(places[i], i == 0 ? s->params.rows[0] : s->trialParams.rows[0]);
            EXPECT_EQ(rows[i], s->residuals.rows[0]);
        }
    }
}

TEST(LinsolveRules, AnEqualCostIsAcceptedAndEndsTheCall)
{
    Problem problem = {1, {2.0}, always([](const double *, double *r) { r[0] = 3.0; })};
    Solver s;
    textbook::set(s, problem, Shape::Plain, watchedJacobian);
    watchJacobian();
    double finalCost = nan;
    EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_EQ(finalCost, 9.0);
    EXPECT_EQ(jacobianCalls, 1);
    EXPECT_EQ(s->lambda, 0.01);
}

TEST(LinsolveRules, RejectedTriesRaiseTheDampingTwelvefold)
{
    for (const int maxTries : {1, 4, 15}) {
        Problem problem = hopeless();
        std::vector<double> tried;
        const Evaluate inner = problem.evaluate;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            if (call.paramIndex == -1)
                tried.push_back(p[0]);
            return inner(p, r, call);
        };
        Solver s;
        textbook::set(s, problem, Shape::Indexed);
        s->maxTries = maxTries;
        s->jacobianStep = 0.5; // the slope is exactly 2, gradient 2, normal matrix 4
        double finalCost = nan, lambda = 0.01;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        ASSERT_EQ(tried.size(), static_cast<std::size_t>(maxTries) + 1);
        double normal = 4.0;
        for (std::size_t i = 1; i < tried.size(); ++i) {
            normal += lambda;
            EXPECT_TRUE(sameBits(tried[i], 2.0 - 2.0 / normal)) << i;
            normal += -lambda;
            lambda *= 12.0;
        }
        EXPECT_TRUE(sameBits(s->normalMatrix.rows[0][0], normal));
        EXPECT_EQ(s->lambda, 0.01);
        EXPECT_EQ(s->params.rows[0][0], 2.0);
        EXPECT_EQ(s->trialParams.rows[0][0], 2.0);
        EXPECT_EQ(finalCost, 4.0);               // of the last try, although it was rejected
        EXPECT_EQ(s->residuals.rows[0][0], 2.0); // so are the residuals
    }
}

TEST(LinsolveRules, ATryAtTheCapIsReportedButNotKept)
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
    EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
    EXPECT_LT(finalCost, before);
    EXPECT_EQ(s->params.rows[0][0], 0.0);
    EXPECT_EQ(s->params.rows[0][1], 0.0);
    EXPECT_EQ(s->lambda, 0.01);
    EXPECT_NE(s->trialParams.rows[0][1], 0.0);
}

TEST(LinsolveRules, WithoutACapTheTriesGoOnUntilOneIsAccepted)
{
    for (const int maxTries : {0, -3}) {
        Problem problem = hopeless();
        int evaluations = 0;
        const Evaluate inner = problem.evaluate;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            ++evaluations;
            return inner(p, r, call);
        };
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        s->maxTries = maxTries;
        s->jacobianStep = 1e-2;
        double finalCost = nan;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_EQ(finalCost, 1.0); // the step has become too small to move the parameter
        EXPECT_EQ(s->params.rows[0][0], 2.0);
        EXPECT_GT(evaluations, 15);
        EXPECT_EQ(s->lambda, 0.01);
    }
}

TEST(LinsolveRules, TwoCallsStartFromTheSameDamping)
{
    Problem problem = decay();
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->maxIterations = 2;
    s->lambda = 0.75;
    const Matrix start = textbook::rowOf(problem.start);
    double first = nan, second = nan;
    ASSERT_EQ(kmath_linsolve_minimize(&s, &first), KMATH_OK);
    EXPECT_EQ(s->lambda, 0.75);
    const std::vector<double> end(s->params.rows[0], s->params.rows[0] + 3);
    ASSERT_EQ(kmath_nmmatrix_assign(&s->params, &start), KMATH_OK);
    ASSERT_EQ(kmath_linsolve_minimize(&s, &second), KMATH_OK);
    EXPECT_TRUE(sameBits(first, second));
    EXPECT_TRUE(std::equal(end.begin(), end.end(), s->params.rows[0]));

    // Going on from the end: again with the damping of the record.
    Problem rest = decay();
    rest.start = end;
    NaiveLinsolve naive(rest, *&s);
    double expected = -1.0;
    ASSERT_EQ(naive.run(&expected), KMATH_OK);
    ASSERT_EQ(kmath_linsolve_minimize(&s, &first), KMATH_OK);
    EXPECT_TRUE(sameBits(first, expected));
    expectSameState(s, naive);
}

kmath_status failingSearch(kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                           kmath_nmmatrix *, double, void *)
{
    ADD_FAILURE() << "the slot is not this driver's";
    return custom;
}

TEST(LinsolveRules, TheSearchDirectionSlotIsNotCalled)
{
    for (const auto slot : {&failingSearch, kmath_levmarqsolve_searchDirFunc{}}) {
        Problem problem = rosenbrock();
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        s->compSearchDir = slot;
        double finalCost = nan;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_LT(finalCost, 1e-12);
        EXPECT_EQ(s->compSearchDir, slot);
    }
}

TEST(LinsolveRules, ARefusedSystemEndsTheCallWithSuccess)
{
    Problem problem = deficient();
    for (const Tuning &tuning :
         {Tuning{.lambda = 0.0, .maxConditionNumber = 1e10},
          Tuning{.lambda = 1e-3, .maxConditionNumber = 100.0}, Tuning{.maxConditionNumber = 0.5},
          Tuning{.maxConditionNumber = nan}}) {
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        tune(s, tuning);
        std::vector<double> r(3);
        problem.evaluate(problem.start.data(), r.data(), {});
        const double cost = textbook::sumOfSquares(textbook::rowOf(r));
        double finalCost = -1.0;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        EXPECT_TRUE(sameBits(finalCost, cost));
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(s->params.rows[0][j], problem.start[static_cast<std::size_t>(j)]);
        EXPECT_TRUE(sameBits(s->lambda, tuning.lambda));
    }
}

/// A diagonal as given, a gradient of a length as given.
double ownDiagonal;
int ownGradientLength, ownNormalColumns;

kmath_status ownJacobian(kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *,
                         kmath_nmmatrix *, kmath_nmmatrix *g, kmath_nmmatrix *N, void *)
{
    kmath_nmmatrix_resize(g, 1, ownGradientLength);
    kmath_nmmatrix_set(g, 1.0);
    kmath_nmmatrix_resize(N, 2, ownNormalColumns);
    kmath_nmmatrix_set(N, 0.0);
    return kmath_nmmatrix_adddiag(N, ownDiagonal);
}

TEST(LinsolveRules, WhateverFailsInTheSolveEndsTheCallWithSuccess)
{
    struct Case {
        double diagonal;
        int gradientLength, normalColumns;
    };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const Case &c : {Case{-0.25, 2, 2},    // damped: all zeros
                          Case{nan, 2, 2},      // no condition number
                          Case{infinity, 2, 2}, // nor here
                          Case{1.0, 3, 2},      // a right-hand side too long
                          Case{1.0, 2, 3}}) {   // not square
        ownDiagonal = c.diagonal;
        ownGradientLength = c.gradientLength;
        ownNormalColumns = c.normalColumns;
        Problem problem = rosenbrock();
        Solver s;
        textbook::set(s, problem, Shape::Plain, ownJacobian);
        s->lambda = 0.25;
        double finalCost = -1.0;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK) << c.diagonal;
        std::vector<double> r(2);
        problem.evaluate(problem.start.data(), r.data(), {});
        EXPECT_TRUE(sameBits(finalCost, textbook::sumOfSquares(textbook::rowOf(r))));
        EXPECT_EQ(s->params.rows[0][0], -1.2);
        EXPECT_EQ(s->params.rows[0][1], 1.0);
        // The damping is taken off again.
        for (int i = 0; i < 2; ++i)
            EXPECT_TRUE(sameBits(s->normalMatrix.rows[i][i], (c.diagonal + 0.25) + -0.25));
    }
}

TEST(LinsolveRules, TheCallbackInUseIsTheFirstThatIsSet)
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
    kmath_linsolve_minimize(&s, &finalCost);
    EXPECT_EQ(plain, 1);
    s->func = nullptr;
    kmath_linsolve_minimize(&s, &finalCost);
    EXPECT_EQ(indexed, 1);
    s->funcI = nullptr;
    kmath_linsolve_minimize(&s, &finalCost);
    EXPECT_EQ(byJob, 1);
    EXPECT_EQ(plain + indexed, 2);
}

TEST(LinsolveRules, AFailingEvaluationEndsTheCallWithItsStatus)
{
    for (const auto &make : {rosenbrock, decay})
        for (const Shape shape : allShapes)
            for (int failing = 0;; ++failing) {
                const auto failingOnce = [&](int &count) {
                    Problem problem = make();
                    problem.evaluate = [inner = problem.evaluate, failing,
                                        &count](const double *p, double *r, const Call &call) {
                        return count++ == failing ? custom : inner(p, r, call);
                    };
                    return problem;
                };
                int count = 0, ownCount = 0;
                Problem problem = failingOnce(count), own = failingOnce(ownCount);
                Solver s;
                textbook::set(s, problem, shape);
                s->maxIterations = 4;
                NaiveLinsolve naive(own, *&s);
                double finalCost = -77.0, expected = -77.0;
                const kmath_status status = kmath_linsolve_minimize(&s, &finalCost);
                EXPECT_EQ(status, naive.run(&expected));
                EXPECT_TRUE(sameBits(finalCost, expected));
                EXPECT_EQ(s->lambda, 0.01);
                expectSameState(s, naive);
                if (status == KMATH_OK) {
                    EXPECT_GT(failing, 10);
                    break;
                }
                EXPECT_EQ(status, custom);
                EXPECT_EQ(count, failing + 1);
                EXPECT_EQ(finalCost, -77.0);
            }
}

TEST(LinsolveRules, AnExceptionPassesThroughAndNothingLeaks)
{
    for (const Shape shape : allShapes) {
        bool thrown = true;
        for (int failing = 0; thrown; ++failing) {
            const std::int64_t live = support::liveBlocks();
            {
                Problem problem = decay();
                int count = 0;
                problem.evaluate = [inner = problem.evaluate, failing,
                                    &count](const double *p, double *r, const Call &call) {
                    if (count++ == failing)
                        throw 42;
                    return inner(p, r, call);
                };
                Solver s;
                textbook::set(s, problem, shape);
                s->maxIterations = 3;
                double finalCost = -77.0;
                thrown = false;
                try {
                    EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
                    EXPECT_GT(failing, 10);
                } catch (int value) {
                    EXPECT_EQ(value, 42);
                    EXPECT_EQ(finalCost, -77.0);
                    thrown = true;
                }
                EXPECT_EQ(s->lambda, 0.01);
            }
            EXPECT_EQ(support::liveBlocks(), live);
        }
    }
}

TEST(LinsolveRules, AFailingJacobianEndsTheCallWithItsStatus)
{
    for (const int failing : {0, 1, 2, 5}) {
        Problem problem = rosenbrock();
        Solver s, t;
        textbook::set(s, problem, Shape::Plain, watchedJacobian);
        double finalCost = -77.0, cost;
        watchJacobian(failing);
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), custom);
        EXPECT_EQ(jacobianCalls, failing + 1);
        EXPECT_EQ(finalCost, -77.0);
        EXPECT_EQ(s->lambda, 0.01);
        // The parameters are those after the iterations that were completed.
        textbook::set(t, problem, Shape::Plain);
        t->maxIterations = failing;
        ASSERT_EQ(kmath_linsolve_minimize(&t, &cost), KMATH_OK);
        for (int j = 0; j < 2; ++j)
            EXPECT_TRUE(sameBits(s->params.rows[0][j], t->params.rows[0][j]));
    }
}

TEST(LinsolveRules, AStatusWithoutBit31IsNoFailure)
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
    EXPECT_FALSE(KMATH_IS_FAILURE(kmath_linsolve_minimize(&s, &finalCost)));
    EXPECT_LT(finalCost, 1e-12);
}

/// A gradient and a normal matrix that ask for no memory.
kmath_status diagonalJacobian(kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *,
                              kmath_nmmatrix *, kmath_nmmatrix *g, kmath_nmmatrix *N, void *)
{
    kmath_nmmatrix_set(g, 1.0);
    kmath_nmmatrix_set(N, 0.0);
    return kmath_nmmatrix_adddiag(N, 2.0);
}

TEST(LinsolveRules, AnAllocationThatFailsInTheSolveEndsTheCallWithSuccess)
{
    Problem problem = rosenbrock();
    std::vector<double> r(2);
    problem.evaluate(problem.start.data(), r.data(), {});
    const double cost = textbook::sumOfSquares(textbook::rowOf(r));
    for (int number = 0;; ++number) {
        Solver s;
        textbook::set(s, problem, Shape::Plain, diagonalJacobian);
        s->maxTries = 1;
        double finalCost = -1.0;
        support::failAllocation(number);
        EXPECT_EQ(kmath_linsolve_minimize(&s, &finalCost), KMATH_OK);
        const bool failed = support::allocationHasFailed();
        support::failAllocation(-1);
        EXPECT_EQ(sameBits(finalCost, cost), failed);
        EXPECT_TRUE(sameBits(s->normalMatrix.rows[0][0], (2.0 + 0.01) + -0.01));
        EXPECT_EQ(s->params.rows[0][0], -1.2);
        if (!failed) {
            EXPECT_GT(number, 1);
            break;
        }
    }
}

TEST(LinsolveRules, NothingLeaksWhereverAnAllocationFails)
{
    int refused = 0;
    for (int number = 0;; ++number) {
        Problem problem = decay();
        const std::int64_t live = support::liveBlocks();
        bool failed;
        {
            Solver s;
            textbook::set(s, problem, Shape::Indexed);
            s->maxIterations = 2;
            double finalCost = -77.0;
            support::failAllocation(number);
            const kmath_status status = kmath_linsolve_minimize(&s, &finalCost);
            failed = support::allocationHasFailed();
            support::failAllocation(-1);
            EXPECT_EQ(s->lambda, 0.01);
            if (KMATH_IS_FAILURE(status)) {
                ++refused;
                EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                EXPECT_EQ(finalCost, -77.0);
            } else {
                EXPECT_EQ(status, KMATH_OK);
                EXPECT_GE(finalCost, 0.0);
            }
        }
        EXPECT_EQ(support::liveBlocks(), live);
        if (!failed) {
            EXPECT_GT(number, 4);
            break;
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(LinsolveRules, NullArgumentsAreReportedWithTheirLine)
{
    Solver s;
    double finalCost;
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(nullptr, &finalCost); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(&s, nullptr); }), 994);
    EXPECT_EQ(assertedLine([&] { kmath_linsolve_minimize(&s, &finalCost); }), 0);
}

} // namespace
