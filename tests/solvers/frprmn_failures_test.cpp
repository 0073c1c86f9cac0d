#include "solvers/frprmn_minimizer.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

using namespace support;
using namespace support::conjugate;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Runs until a run needs no more calls, each with call k failing. What is left is what the textbook
// steps leave that end at the same call.
void failEveryCall(const Problem &problem, bool throwing)
{
    struct Ended {
    };
    for (std::int64_t k = 0;; ++k) {
        SCOPED_TRACE(testing::Message() << "call " << k);
        std::int64_t calls = 0;
        oracle::ConjugateGradients expected = expectedOf(problem, 1e-4);
        expected.f = [&](const Doubles &x) {
            if (calls++ == k)
                throw Ended();
            return problem.f(x);
        };
        expected.df = [&](const Doubles &x, Doubles &g) {
            if (calls++ == k)
                throw Ended();
            problem.df(x, g);
        };
        bool ended = false;
        try {
            expected.minimize();
        } catch (const Ended &) {
            ended = true;
        }

        const std::int64_t before = liveBlocks();
        {
            Minimizer m(problem, 1e-4);
            m.failing = k;
            m.throwing = throwing;
            const std::int64_t inside = liveBlocks();
            if (ended && throwing) {
                EXPECT_THROW(m.minimize(), std::runtime_error);
            } else {
                EXPECT_EQ(m.minimize(), ended ? ownFailure : KMATH_OK);
            }
            if (ended) { // otherwise the result has its own size
                EXPECT_EQ(liveBlocks(), inside);
            }
            EXPECT_EQ(m.calls, ended ? k + 1 : calls);
            EXPECT_EQ(m.record.iterations, expected.iterations);
            expectElements(m.record.p, expected.p);
            if (ended)
                m.expectUntouchedResult();

            // The record is as good as new.
            m.failing = -1;
            EXPECT_EQ(m.setup(1e-4), KMATH_OK);
            EXPECT_EQ(m.minimize(), KMATH_OK);
        }
        EXPECT_EQ(liveBlocks(), before);
        if (!ended || testing::Test::HasFailure())
            return;
    }
}

TEST(FrprmnMinimize, PassesOnTheFailureOfAnyCall)
{
    failEveryCall(rosenbrock(), false);
    failEveryCall(quadratic(5), false);
    failEveryCall(quadratic(0), false);
}

TEST(FrprmnMinimize, LetsAnExceptionOfAnyCallPass)
{
    failEveryCall(rosenbrock(), true);
    failEveryCall(quadratic(5), true);
}

TEST(FrprmnMinimize, TakesAStatusWithoutTheFailureBitAsSuccess)
{
    Minimizer m(quadratic(2), 1e-8);
    m.record.func = [](const kmath_nvector *point, double *value, void *userData) {
        Minimizer::func(point, value, userData);
        return static_cast<kmath_status>(0x1234);
    };
    EXPECT_EQ(m.minimize(), KMATH_OK);
    EXPECT_NEAR(m.result.data[2], 0.5, 1e-6);
}

TEST(FrprmnMinimize, SurvivesEveryFailingAllocation)
{
    sweepAllocationFailures([] {
        kmath_frprmn record;
        kmath_frprmn_construct(&record);
        kmath_nvector start, result;
        kmath_nvector_construct(&start);
        kmath_nvector_construct(&result);
        kmath_status status = kmath_nvector_resize(&start, 3);
        double fret;
        Minimizer *const none = nullptr;
        if (!KMATH_IS_FAILURE(status))
            status = kmath_frprmn_setup(
                &record,
                [](const kmath_nvector *x, double *value, void *) {
                    *value = 0.0;
                    for (int j = 1; j <= 3; ++j)
                        *value += j * (x->data[j] - j) * (x->data[j] - j);
                    return static_cast<kmath_status>(KMATH_OK);
                },
                [](const kmath_nvector *x, kmath_nvector *gradient, void *) {
                    for (int j = 1; j <= 3; ++j)
                        gradient->data[j] = 2.0 * j * (x->data[j] - j);
                    return static_cast<kmath_status>(KMATH_OK);
                },
                3, &start, 1e-6, none);
        if (!KMATH_IS_FAILURE(status))
            status = kmath_frprmn_minimize(&record, &result, &fret);
        if (KMATH_IS_FAILURE(status)) {
            EXPECT_EQ(result.n, 0); // the last allocation, for the result itself, included
            EXPECT_EQ(result.data, nullptr);
        } else {
            EXPECT_NEAR(result.data[3], 3.0, 1e-4);
        }
        kmath_nvector_destruct(&start);
        kmath_nvector_destruct(&result);
        kmath_frprmn_destruct(&record);
        return status;
    });
}

TEST(FrprmnMinimize, KeepsTheResultWhenItsOwnAllocationFails)
{
    Minimizer whole(quadratic(3), 1e-8);
    const std::int64_t taken = allocationsOf([&] { EXPECT_EQ(whole.minimize(), KMATH_OK); });
    EXPECT_EQ(taken, whole.functionCalls); // one less on the lines, one for the longer result

    Minimizer m(quadratic(3), 1e-8);
    failAllocation(taken - 1);
    EXPECT_EQ(m.minimize(), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    m.expectUntouchedResult();
    EXPECT_EQ(elements(m.record.p), elements(whole.result));
    EXPECT_EQ(m.fret, whole.fret);
}

TEST(FrprmnMinimize, TakesAGradientThatWasMadeLonger)
{
    Minimizer plain(rosenbrock(), 1e-8), m(rosenbrock(), 1e-8);
    ASSERT_EQ(plain.minimize(), KMATH_OK);
    m.record.dfunc = [](const kmath_nvector *point, kmath_nvector *gradient, void *userData) {
        Minimizer &self = *static_cast<Minimizer *>(userData);
        Doubles own(3 + static_cast<std::size_t>(self.gradientCalls % 4), 7.0);
        ++self.gradientCalls;
        rosenbrock().df(elements(*point), own);
        const Vector longer(own);
        return kmath_nvector_assign(gradient, &longer);
    };
    EXPECT_EQ(m.minimize(), KMATH_OK);
    EXPECT_EQ(m.gradientCalls, plain.gradientCalls);
    EXPECT_EQ(elements(m.result), elements(plain.result));
    EXPECT_TRUE(sameBits(m.fret, plain.fret));
    EXPECT_EQ(m.setup(1e-8), KMATH_OK);
    EXPECT_EQ(m.record.xi.n, 2);
}

TEST(FrprmnMinimize, RefusesAGradientThatWasMadeTooShort)
{
    for (const std::int32_t length : {0, 1, -1, 2}) // 2 loses its storage on the way back
        for (const std::int64_t call : {1, 2, 4}) {
            Minimizer m(rosenbrock(), 1e-8);
            m.problem.df = [&](const Doubles &x, Doubles &g) { rosenbrock().df(x, g); };
            struct Reshaping {
                Minimizer &m;
                std::int32_t length;
                std::int64_t call;
            } reshaping{m, length, call};
            m.record.userData = &reshaping;
            m.record.func = [](const kmath_nvector *point, double *value, void *userData) {
                return Minimizer::func(point, value, &static_cast<Reshaping *>(userData)->m);
            };
            m.record.dfunc = [](const kmath_nvector *point, kmath_nvector *gradient,
                                void *userData) {
                const Reshaping &r = *static_cast<Reshaping *>(userData);
                const kmath_status status = Minimizer::dfunc(point, gradient, &r.m);
                if (r.m.gradientCalls == r.call) {
                    if (r.length == 2)
                        kmath_nvector_resize(gradient, 5);
                    failAllocation(r.length == 2 ? 0 : -1);
                    kmath_nvector_resize(gradient, r.length);
                    failAllocation(-1);
                }
                return status;
            };
            EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(m.gradientCalls, call);
            m.expectUntouchedResult();
        }
}

TEST(FrprmnMinimize, EndsPromptlyOnWhateverTheCallbacksGive)
{
    // A line has 3 + 2·1475 evaluations at most for the bracket of a function of the place, and 101
    // for Brent's method.
    constexpr std::int64_t most = 1 + 200 * (3 + 2 * 1475 + 101);
    const double specials[] = {nan, infinity, -infinity, 1e308, -1e308, 5e-324, 0.0};
    for (const double value : specials)
        for (const double slope : specials)
            for (const double border : {-infinity, 0.5, 1e10}) {
                // Rosenbrock up to the border, then the value; one element of the gradient is set.
                Problem problem = rosenbrock();
                problem.f = [=](const Doubles &x) {
                    return x[1] > border || !(x[2] <= 1e200) ? value : rosenbrock().f(x);
                };
                problem.df = [=](const Doubles &x, Doubles &g) {
                    rosenbrock().df(x, g);
                    if (x[1] > -1.0 || border == 0.5)
                        g[1] = slope;
                };
                Minimizer m(problem, 1e-8);
                const kmath_status status = m.minimize();
                EXPECT_TRUE(status == KMATH_OK || status == KMATH_ERR_BAD_DIMENSIONS);
                EXPECT_LE(m.functionCalls, most);
                oracle::ConjugateGradients expected = expectedOf(problem, 1e-8);
                expected.minimize();
                EXPECT_EQ(status, statusOf(expected));
                expectState(m.record, expected);
            }
    for (const double start : {nan, infinity, -infinity, 1e308, -1e200}) {
        Problem problem = rosenbrock();
        problem.start[1] = start;
        Minimizer m(problem, 1e-8);
        m.minimize();
        EXPECT_LE(m.functionCalls, most);
    }
}

TEST(FrprmnMinimize, EndsOnAFunctionThatFallsFromCallToCall)
{
    double value = 0.0;
    Minimizer m(rosenbrock(), 1e-8);
    m.problem.f = [&](const Doubles &) { return value -= 1.0; };
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_LE(m.functionCalls, 30000);
    EXPECT_EQ(m.record.iterations, 1);
    EXPECT_EQ(m.fret, -7.0);
    expectElements(m.record.p, m.problem.start);
    m.expectUntouchedResult();
}

} // namespace
