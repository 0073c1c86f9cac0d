// The conjugate-gradient minimizer where it fails, at a cap, through a callback or for want of
// memory, and on numbers that are not finite: the status, and what each exit leaves behind.
#include "contract/frprmn_loop.hpp"
#include "support/services.hpp"

namespace
{

using frprmn::bowl;
using frprmn::compare;
using frprmn::constant;
using frprmn::custom;
using frprmn::expectSameLog;
using frprmn::expectSameState;
using frprmn::infinity;
using frprmn::Minimizer;
using frprmn::Naive;
using frprmn::nan;
using frprmn::NVector;
using frprmn::onLine;
using frprmn::Problem;
using frprmn::rosenbrock;
using frprmn::sentinel;
using frprmn::Service;
using frprmn::set;
using frprmn::Settings;
using frprmn::tune;
using frprmn::wavy;
using support::liveBlocks;
using support::sameBits;

TEST(FrprmnRules, WithoutIterationsTheCallEndsAfterTheFirstTwoCalls)
{
    for (const int maxIterations : {0, -4}) {
        const Problem problem = bowl(2);
        Service own(problem);
        bool failed = false;
        compare(problem, {.maxIterations = maxIterations}, own, -1, &failed);
        EXPECT_TRUE(failed);
        ASSERT_EQ(own.log.size(), 2u);
        EXPECT_FALSE(own.log[0].gradient);
        EXPECT_TRUE(own.log[1].gradient);

        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = maxIterations;
        NVector result({0, 8.0});
        double fret = sentinel;
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m->iterations, 0);
        EXPECT_EQ(result->n, 1);
        EXPECT_EQ(result->data[1], 8.0);
        // The direction of the first line is there all the same.
        for (int j = 1; j <= 2; ++j) {
            const double descent = -2.0 * std::pow(10.0, j) * (2.5 - 1.0 / j);
            for (const kmath_nvector *v : {&m->g, &m->h, &m->xi})
                EXPECT_EQ(v->data[j], descent);
        }
    }
}

TEST(FrprmnRules, TheCapOfTheIterationsIsAFailureThatKeepsTheResult)
{
    const Problem problem = rosenbrock(2);
    for (const int maxIterations : {1, 2, 5}) {
        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = maxIterations;
        NVector result({0, 8.0, 9.0});
        double fret = sentinel;
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m->iterations, maxIterations);
        EXPECT_EQ(result->data[1], 8.0);
        EXPECT_EQ(result->data[2], 9.0);
        EXPECT_LT(problem.value(m->p.data), problem.value(problem.start.data()));
        EXPECT_TRUE(service.log.back().gradient); // the next direction is computed before the cap
    }
}

TEST(FrprmnRules, TheCapOfTheLineSearchIsAFailureThatDoesNotMoveThePoint)
{
    // No interval is small enough for a tolerance of zero, and none for one that is not a number.
    for (const Settings &settings : {Settings{.ftol = 0.0, .zeps = 0.0}, Settings{.ftol = nan},
                                     Settings{.zeps = nan}, Settings{.zeps = -1.0}}) {
        const Problem problem = onLine(
            0.5, [](double x) { return std::cosh(x - 0.3); },
            [](double x) { return std::sinh(x - 0.3); });
        Service own(problem);
        bool failed = false;
        const Naive naive = compare(problem, settings, own, -1, &failed);
        EXPECT_TRUE(failed);
        EXPECT_EQ(naive.lines, 1);
        EXPECT_EQ(naive.iterations, 1);
        EXPECT_EQ(naive.p, problem.start);
        EXPECT_EQ(own.log.size(), 1 + 1 + static_cast<std::size_t>(naive.lineEvaluations));
        EXPECT_GE(naive.lineEvaluations, 3 + 1 + 100);
        EXPECT_LT(naive.lineEvaluations, 3 + 1 + 100 + 10);
    }
}

TEST(FrprmnRules, AFailingCallbackEndsTheCallWithItsStatus)
{
    for (const Problem &problem : {rosenbrock(2), bowl(4), wavy(7)})
        for (int failing = 0;; ++failing) {
            SCOPED_TRACE(testing::Message() << "call " << failing << " fails");
            Service own(problem);
            bool failed = false;
            const Settings settings{.ftol = 1e-4, .maxIterations = 1000};
            compare(problem, settings, own, failing, &failed);
            if (!failed) {
                EXPECT_GT(failing, 20);
                break;
            }
            EXPECT_EQ(own.log.size(), static_cast<std::size_t>(failing) + 1);
            if (HasFailure())
                return;
        }
}

TEST(FrprmnRules, AnExceptionPassesThroughAndNothingLeaks)
{
    const Problem problem = rosenbrock(2);
    const Settings settings{.ftol = 1e-4, .maxIterations = 1000};
    bool thrown = true;
    for (int failing = 0; thrown; ++failing) {
        const std::int64_t live = liveBlocks();
        {
            Service service(problem), own(problem);
            own.failing = service.failing = failing;
            service.throwing = true;
            Minimizer m;
            set(m, service);
            tune(m, settings);
            Naive naive(own, *&m);
            naive.run();
            NVector result({0, 8.0});
            double fret = sentinel;
            thrown = false;
            try {
                EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
                EXPECT_GT(failing, 50);
            } catch (int value) {
                EXPECT_EQ(value, 42);
                EXPECT_EQ(result->n, 1);
                EXPECT_EQ(result->data[1], 8.0);
                expectSameState(m, naive);
                thrown = true;
            }
        }
        EXPECT_EQ(liveBlocks(), live);
    }
}

TEST(FrprmnRules, AnAllocationThatFailsEndsTheCall)
{
    const Problem problem = rosenbrock(3);
    for (int failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << "allocation " << failing << " fails");
        Service service(problem), own(problem);
        Minimizer m;
        set(m, service);
        tune(m, {.ftol = 1e-3, .maxIterations = 1000});
        Naive naive(own, *&m);
        naive.refuseLineEvaluation = failing;
        const kmath_status expected = naive.run();
        NVector result({0, 8.0, 9.0, 10.0});
        double fret = sentinel;
        const std::int64_t live = liveBlocks();
        support::failAllocation(failing);
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), expected);
        support::failAllocation(-1);
        EXPECT_EQ(liveBlocks(), live);
        expectSameLog(service, own);
        expectSameState(m, naive);
        if (expected == KMATH_OK) {
            EXPECT_GT(failing, 30);
            break;
        }
        EXPECT_EQ(result->data[1], 8.0);
        if (HasFailure())
            return;
    }
}

TEST(FrprmnRules, TheStatusOfTheResultsCopyIsReturned)
{
    const Problem problem = bowl(2);
    Service own(problem);
    const Naive naive = compare(problem, {}, own); // as a call without a failure
    Service service(problem);
    Minimizer m;
    set(m, service);
    NVector result({0, 8.0, 9.0});
    double fret = sentinel;
    {
        const support::CopyWatch watch(custom);
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), custom);
    }
    EXPECT_EQ(result->data[1], 8.0);
    EXPECT_EQ(m->iterations, naive.iterations);
    expectSameLog(service, own);

    // A result of another length takes a block, the last of the call.
    Service again(problem);
    set(m, again);
    NVector empty;
    support::failAllocation(naive.lineEvaluations);
    EXPECT_EQ(kmath_frprmn_minimize(&m, &empty, &fret), KMATH_ERR_NO_MEMORY);
    support::failAllocation(-1);
    EXPECT_EQ(empty->data, nullptr);
}

TEST(FrprmnRules, NumbersThatAreNotFiniteEndPromptly)
{
    const auto identity = [](double x) { return x; };
    const auto one = [](double) { return 1.0; };
    const Problem problems[] = {
        onLine(1.0, identity, one), // without a bound
        onLine(
            1.0, [](double x) { return -std::exp(-x); }, one), // steeply without
        onLine(
            1.0, [](double x) { return 1.0 / (1.0 - x); }, [](double) { return -1.0; }),
        onLine(
            1.0, [](double x) { return std::sqrt(x); }, one), // undefined beyond 0
        onLine(
            1.0, [](double x) { return std::log(x); }, one),
        onLine(
            nan, [](double x) { return x * x; }, identity),
        onLine(
            infinity, [](double x) { return x * x; }, identity),
        onLine(
            1e200, [](double x) { return x * x; }, identity),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return nan; }),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return infinity; }),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return 1e300; }),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : nan; }, identity),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : -infinity; }, identity),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : infinity; }, identity),
        constant(infinity, 1.0),
        constant(-infinity, 1.0)};
    for (const Problem &problem : problems)
        for (const Settings &settings :
             {Settings{}, Settings{.ftol = nan}, Settings{.ftol = infinity}, Settings{.ftol = -1.0},
              Settings{.goldenSection = nan}, Settings{.goldenSection = infinity},
              Settings{.goldenSection = 0.0}, Settings{.goldenSection = -3.0},
              Settings{.zeps = infinity}, Settings{.eps = nan}, Settings{.eps = -infinity}}) {
            SCOPED_TRACE(testing::Message()
                         << "problem " << &problem - problems << ", ftol " << settings.ftol
                         << ", golden section " << settings.goldenSection << ", zeps "
                         << settings.zeps);
            Service own(problem);
            compare(problem, settings, own);
            EXPECT_LT(own.log.size(), 200u * 1200u);
            if (HasFailure())
                return;
        }
}

TEST(FrprmnRules, AValueThatIsNotANumberMayComeAtAnyCall)
{
    for (const double bad : {nan, infinity, -infinity})
        for (int when = 0;; ++when) {
            SCOPED_TRACE(testing::Message() << bad << " at call " << when);
            // Of the number of the call, the same for the library and for the loop written out.
            const auto numbered = [&](Service &of) {
                return [&of, bad, when, inner = rosenbrock(2).value](const double *x) {
                    return static_cast<int>(of.log.size()) - 1 == when ? bad : inner(x);
                };
            };
            Problem first = rosenbrock(2), second = rosenbrock(2);
            Service library(first), naiveService(second);
            first.value = numbered(library);
            second.value = numbered(naiveService);
            Minimizer m;
            set(m, library, 1e-4);
            Naive naive(naiveService, *&m);
            const kmath_status expected = naive.run();
            NVector result;
            double fret = sentinel;
            EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), expected);
            expectSameLog(library, naiveService);
            expectSameState(m, naive);
            EXPECT_TRUE(sameBits(fret, naive.fret));
            if (HasFailure())
                return;
            if (when > static_cast<int>(library.log.size())) {
                EXPECT_GT(when, 50);
                break;
            }
        }
}

} // namespace
