// The conjugate-gradient minimizer seen from outside: every evaluation in bits and in order against
// the iteration, the bracketing and the line search written out, and where it ends in success.
#include "contract/frprmn_loop.hpp"
#include "support/services.hpp"

#include <algorithm>

namespace
{

using frprmn::AtLimit;
using frprmn::bowl;
using frprmn::compare;
using frprmn::constant;
using frprmn::Evaluation;
using frprmn::expectSameLog;
using frprmn::expectSameState;
using frprmn::expectSameVector;
using frprmn::gradientOf;
using frprmn::Minimizer;
using frprmn::Naive;
using frprmn::nan;
using frprmn::NVector;
using frprmn::onLine;
using frprmn::Problem;
using frprmn::rosenbrock;
using frprmn::Service;
using frprmn::set;
using frprmn::Settings;
using frprmn::valueOf;
using frprmn::Vector;
using frprmn::wavy;
using frprmn::ways;
using support::allocationsOf;
using support::liveBlocks;
using support::sameBits;

TEST(FrprmnRules, FollowsTheIterationInEveryBitOnPlainProblems)
{
    const Settings settings[] = {{},
                                 {.ftol = 1e-3},
                                 {.ftol = 1e-15},
                                 {.ftol = 0.0},
                                 {.maxIterations = 1},
                                 {.maxIterations = 3},
                                 {.goldenSection = 0.25},
                                 {.zeps = 1e-3},
                                 {.zeps = 1e-18},
                                 {.ftol = 1e-3, .eps = 1e3},
                                 {.eps = 0.0}};
    int converged = 0, notConverged = 0;
    for (const Problem &problem :
         {rosenbrock(1), rosenbrock(2), rosenbrock(5), rosenbrock(40), bowl(0, 3.0), bowl(1),
          bowl(2, -5.0), bowl(6), constant(3.0, 0.0), constant(0.0, 1.0), constant(-2.0, -1e-3)})
        for (const Settings &s : settings) {
            SCOPED_TRACE(testing::Message()
                         << problem.n() << " variables, setting " << &s - settings);
            Service own(problem);
            bool failed = false;
            compare(problem, s, own, -1, &failed);
            ++(failed ? notConverged : converged);
            if (HasFailure())
                return;
        }
    EXPECT_GT(converged, 50);
    EXPECT_GT(notConverged, 10);
}

TEST(FrprmnRules, FollowsTheIterationInEveryBitThroughEveryBranch)
{
    int visits[ways] = {};
    for (std::uint64_t seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const Problem problem = wavy(seed);
        Service own(problem);
        Settings settings{.ftol = seed % 2 ? 1e-8 : 1e-3, .maxIterations = 6};
        if (seed % 5 == 0)
            settings = {.ftol = 1e-2, .maxIterations = 6, .zeps = 0.05};
        const Naive naive = compare(problem, settings, own);
        for (const int way : naive.seen)
            ++visits[way];
        if (HasFailure())
            return;
    }
    for (int way = 0; way < ways; ++way)
        EXPECT_GT(visits[way], 5) << "way " << way;
}

TEST(FrprmnRules, FindsTheMinimum)
{
    for (const int n : {2, 6}) {
        const Problem problem = rosenbrock(n);
        Service service(problem);
        Minimizer m;
        set(m, service, 1e-12);
        m->maxIterations = 5000;
        NVector result;
        double fret = nan;
        ASSERT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
        for (int j = 1; j <= n; ++j)
            EXPECT_NEAR(result->data[j], 1.0, 1e-3);
        EXPECT_LT(fret, 1e-6);
        EXPECT_TRUE(sameBits(fret, problem.value(result->data)));
        EXPECT_GT(m->iterations, 3);
    }
}

TEST(FrprmnRules, TheFirstCallsAndTheirArguments)
{
    const Problem problem = bowl(3);
    struct Data {
        kmath_frprmn *m;
        int values = 0, gradients = 0;
    };
    Minimizer m;
    Data data{&m};
    NVector start(problem.start), result;
    const auto value = [](const kmath_nvector *point, double *out, void *userData) {
        auto &d = *static_cast<Data *>(userData);
        EXPECT_EQ(point->n, 3);
        if (d.values++ == 0) {
            EXPECT_EQ(d.gradients, 0);
            EXPECT_EQ(point, &d.m->p);
        } else {
            EXPECT_NE(point->data, d.m->p.data); // a vector of its own
        }
        *out = bowl(3).value(point->data);
        return KMATH_OK;
    };
    const auto gradient = [](const kmath_nvector *point, kmath_nvector *out, void *userData) {
        auto &d = *static_cast<Data *>(userData);
        ++d.gradients;
        EXPECT_EQ(point, &d.m->p);
        EXPECT_EQ(out, &d.m->xi);
        EXPECT_EQ(out->n, 3);
        bowl(3).gradient(point->data, out->data);
        return KMATH_OK;
    };
    ASSERT_EQ(kmath_frprmn_setup(&m, value, gradient, 3, &start, 1e-8, &data), KMATH_OK);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    EXPECT_GT(data.gradients, 2);
}

TEST(FrprmnRules, AStartOfZeroGradientComesBackAfterOneLineSearch)
{
    // Through the convergence test.
    for (const double ftol : {1e-10, 0.1}) {
        Problem problem = bowl(2);
        problem.start = {0, 1.0, 0.5};
        Service own(problem);
        const Naive naive = compare(problem, {.ftol = ftol}, own);
        EXPECT_EQ(naive.lines, 1);
        EXPECT_FALSE(naive.gradientTest);
        EXPECT_EQ(naive.result, problem.start);
        EXPECT_EQ(naive.fret, 0.0);
    }
    // Through the test of the gradient: the value at the start is not a number, or not the same
    // when it is asked for again.
    const Problem undefined = constant(nan, 0.0);
    Service own(undefined);
    const Naive naive = compare(undefined, {}, own);
    EXPECT_TRUE(naive.gradientTest);
    EXPECT_EQ(naive.lines, 1);
    EXPECT_EQ(naive.result, undefined.start);

    int asked = 0;
    Problem changing = constant(0.0, 0.0);
    changing.value = [&](const double *) { return asked++ == 0 ? 5.0 : 4.0; };
    Service service(changing);
    Minimizer m;
    set(m, service);
    NVector result;
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    EXPECT_EQ(fret, 4.0);
    EXPECT_EQ(m->iterations, 1);
    EXPECT_EQ(std::count_if(service.log.begin(), service.log.end(),
                            [](const Evaluation &e) { return e.gradient; }),
              2);
    expectSameVector(*&result, changing.start, "result");
}

TEST(FrprmnRules, AGradientWhoseSquareUnderflowsCountsAsZero)
{
    const Problem problem = onLine(
        0.0, [](double x) { return (x * 1e200 - 5.0) * (x * 1e200 - 5.0) + 1.0; },
        [](double) { return -1e-200; });
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    EXPECT_TRUE(naive.gradientTest);
    EXPECT_NEAR(naive.fret, 1.0, 1e-9);
    EXPECT_NEAR(naive.result[1], 5e-200, 1e-204);
}

TEST(FrprmnRules, AGradientWhoseSquareIsTheSmallestNumberCounts)
{
    const Problem problem = onLine(
        0.0, [](double x) { return (x * 1e160 - 5.0) * (x * 1e160 - 5.0) + 1.0; },
        [](double) { return -1e-160; });
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    EXPECT_FALSE(naive.gradientTest);
    EXPECT_GT(naive.lines, 1);
}

TEST(FrprmnRules, TheSmallTermOfTheConvergenceTestIsAddedLast)
{
    // (1 + 1) + 2^53 reaches 4/ftol, 1 + (1 + 2^53) does not.
    const Problem problem = onLine(
        0.0, [](double x) { return 2.0 * (x - 1.0) * (x - 1.0) - 1.0; },
        [](double) { return -1.0; });
    Service own(problem);
    const Naive naive = compare(problem, {.ftol = 0x1p-51 * (1.0 - 0x1p-53), .eps = 0x1p53}, own);
    EXPECT_EQ(naive.lines, 1);
    EXPECT_EQ(naive.fret, -1.0);
}

TEST(FrprmnRules, AParabolaThatLeadsExactlyToTheLimitIsFollowed)
{
    // The values at 0, 1 and the golden place beyond, found so that the extremum is the limit.
    const double beyond = 1.0 + 1.618034, limit = 1.0 + 100.0 * (beyond - 1.0);
    const Problem problem = onLine(
        0.0,
        [=](double x) {
            return x == 0.0      ? 0x1.55563228475e4p-1
                   : x == 1.0    ? 0.0
                   : x == beyond ? -0x1.11eb851eb851fp+0
                                 : std::fabs(x - 30.0);
        },
        [](double) { return -1.0; });
    Service own(problem);
    const Naive naive = compare(problem, {.maxIterations = 1}, own);
    ASSERT_GT(own.log.size(), 5u);
    EXPECT_EQ(own.log[4].point, Vector{beyond}); // after the value, the gradient, 0 and 1
    EXPECT_EQ(own.log[5].point, Vector{limit});
    EXPECT_TRUE(naive.seen.count(AtLimit));
}

TEST(FrprmnRules, EveryLineEvaluationTakesOneVectorAndNothingElseIsAllocated)
{
    for (const Problem &problem : {rosenbrock(2), rosenbrock(30), bowl(5)}) {
        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = 5000;
        NVector result(problem.start);
        double fret = nan;
        const std::int64_t live = liveBlocks();
        int values = 0;
        service.watch = [&](const double *, bool gradient) {
            EXPECT_EQ(liveBlocks(), live + (!gradient && values > 0 ? 1 : 0));
            values += !gradient;
        };
        const std::int64_t allocations =
            allocationsOf([&] { EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK); });
        EXPECT_EQ(allocations, values - 1);
        EXPECT_EQ(liveBlocks(), live);
        EXPECT_EQ(support::lastRequest(),
                  (static_cast<std::size_t>(problem.n()) + 1) * sizeof(double));
        EXPECT_GT(values, 50);
    }
}

TEST(FrprmnRules, OnlyTheFirstElementsOfALongerStartMove)
{
    const Problem problem = bowl(2);
    Service own(problem), service(problem);
    const Naive naive = compare(problem, {}, own);
    Minimizer m;
    NVector start({0.25, 2.5, 2.5, 7.0, 8.0}), result;
    ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 1e-10, &service), KMATH_OK);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    expectSameLog(service, own);
    Vector expected = naive.result;
    expected.insert(expected.end(), {7.0, 8.0});
    expectSameVector(*&result, expected, "result");
    EXPECT_EQ(result->data[0], 0.25);
}

TEST(FrprmnRules, TheResultMayBeThePointOfTheRecord)
{
    const Problem problem = rosenbrock(2);
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    Service service(problem);
    Minimizer m;
    set(m, service);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &m->p, &fret), KMATH_OK);
    expectSameVector(m->p, naive.result, "p");
}

TEST(FrprmnRules, ASecondCallGoesOnFromThePointOfTheFirst)
{
    const Problem problem = rosenbrock(2);
    Service service(problem), own(problem);
    Minimizer m;
    set(m, service);
    m->maxIterations = 3;
    NVector result;
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
    service.log.clear();
    m->maxIterations = 200;
    Naive naive(own, *&m);
    ASSERT_EQ(naive.run(), KMATH_OK);
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    expectSameLog(service, own);
    expectSameState(m, naive);
    EXPECT_TRUE(sameBits(fret, naive.fret));
}

TEST(FrprmnRules, AStatusWithoutBit31IsNoFailure)
{
    Minimizer m;
    NVector start({0, 4.0}), result;
    ASSERT_EQ(kmath_frprmn_setup(
                  &m,
                  [](const kmath_nvector *x, double *value, void *) {
                      *value = (x->data[1] - 1) * (x->data[1] - 1);
                      return kmath_status{0x1234};
                  },
                  [](const kmath_nvector *x, kmath_nvector *g, void *) {
                      g->data[1] = 2 * (x->data[1] - 1);
                      return kmath_status{7};
                  },
                  1, &start, 1e-10, nullptr),
              KMATH_OK);
    double fret = nan;
    EXPECT_FALSE(KMATH_IS_FAILURE(kmath_frprmn_minimize(&m, &result, &fret)));
    EXPECT_NEAR(result->data[1], 1.0, 1e-8);
}

} // namespace
