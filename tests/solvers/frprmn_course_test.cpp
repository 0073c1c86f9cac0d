#include "solvers/frprmn_minimizer.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

using namespace support;
using namespace support::conjugate;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(FrprmnMinimize, FindsPublishedMinima)
{
    struct Case {
        const char *name;
        Problem problem;
        Doubles minimum;
        double value, valueError, placeError;
        double ftol = 1e-10;
        std::int32_t maxIterations = 200;
    };
    Doubles inverses(18);
    for (std::size_t j = 1; j < inverses.size(); ++j)
        inverses[j] = 1.0 / static_cast<double>(j);
    const Case cases[] = {
        {"Rosenbrock", rosenbrock(), {0.0, 1.0, 1.0}, 0.0, 1e-12, 1e-6},
        // Its Hessian is singular at the minimum: places tell little, and progress is slow.
        {"Powell", powellSingular(), Doubles(5), 0.0, 1e-10, 5e-3, 1e-4, 2000},
        {"Wood", wood(), {0.0, 1.0, 1.0, 1.0, 1.0}, 0.0, 1e-14, 1e-6, 1e-8},
        {"quadratic", quadratic(17, 2.385), inverses, 2.385, 1e-12, 1e-6},
        {"one variable", quadratic(1), {0.0, 1.0}, 0.0, 1e-14, 1e-7},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.name);
        Minimizer m(one.problem, one.ftol);
        m.record.maxIterations = one.maxIterations;
        EXPECT_EQ(m.minimize(), KMATH_OK);
        EXPECT_NEAR(m.fret, one.value, one.valueError);
        ASSERT_EQ(m.result.n, one.problem.n());
        for (std::size_t j = 1; j < one.minimum.size(); ++j)
            EXPECT_NEAR(m.result.data[j], one.minimum[j], one.placeError) << j;
        EXPECT_EQ(elements(m.result), elements(m.record.p));
        EXPECT_TRUE(sameBits(m.fret, one.problem.f(elements(m.result))));
        EXPECT_GT(m.record.iterations, 0);
        EXPECT_LE(m.record.iterations, one.maxIterations);
        EXPECT_EQ(m.gradientCalls, m.record.iterations);
    }
}

TEST(FrprmnMinimize, EndsAQuadraticInAboutAsManyIterationsAsVariables)
{
    for (const std::size_t n : {1u, 2u, 5u, 17u}) {
        Minimizer m(quadratic(n), 1e-8);
        EXPECT_EQ(m.minimize(), KMATH_OK);
        EXPECT_LE(m.record.iterations, static_cast<int>(n) + 3);
    }
}

// Functions of n variables of every temper, with a gradient that need not be right.
Problem randomProblem(std::size_t n, std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    const double scale = std::exp(4.0 * uniform(generator));
    Doubles a(n + 1), b(n + 1), start(n + 1);
    for (std::size_t j = 1; j <= n; ++j) {
        a[j] = std::exp(3.0 * uniform(generator));
        b[j] = scale * uniform(generator);
        start[j] = 3.0 * scale * uniform(generator);
    }
    const double c = uniform(generator);
    switch (generator() % 7) {
    case 0: // quadratic
        return {[=](const Doubles &x) {
                    double f = c;
                    for (std::size_t j = 1; j <= n; ++j)
                        f += a[j] * (x[j] - b[j]) * (x[j] - b[j]);
                    return f;
                },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = 2.0 * a[j] * (x[j] - b[j]);
                },
                start};
    case 1: // quartic, coupled to its neighbours
        return {[=](const Doubles &x) {
                    double f = 0.0;
                    for (std::size_t j = 1; j <= n; ++j) {
                        const double d = x[j] - (j > 1 ? x[j - 1] : c);
                        f += a[j] * d * d * d * d + x[j] * x[j];
                    }
                    return f;
                },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = n; j >= 1; --j) {
                        const double d = x[j] - (j > 1 ? x[j - 1] : c);
                        g[j] = 4.0 * a[j] * d * d * d + 2.0 * x[j];
                        if (j < n) {
                            const double e = x[j + 1] - x[j];
                            g[j] -= 4.0 * a[j + 1] * e * e * e;
                        }
                    }
                },
                start};
    case 2: // waves in a bowl: many minima
        return {[=](const Doubles &x) {
                    double f = 0.0;
                    for (std::size_t j = 1; j <= n; ++j)
                        f += std::sin(a[j] * x[j]) + 0.01 * x[j] * x[j];
                    return f;
                },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = a[j] * std::cos(a[j] * x[j]) + 0.02 * x[j];
                },
                start};
    case 3: // falls without end
        return {[=](const Doubles &x) {
                    double f = 0.0;
                    for (std::size_t j = 1; j <= n; ++j)
                        f += b[j] * x[j];
                    return f;
                },
                [=](const Doubles &, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = b[j];
                },
                start};
    case 4: // with a border, and nothing behind it
        return {[=](const Doubles &x) {
                    double f = 0.0;
                    for (std::size_t j = 1; j <= n; ++j)
                        f += x[j] > b[j] ? x[j] - std::log(x[j] - b[j]) : c > 0.0 ? nan : infinity;
                    return f;
                },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = 1.0 - 1.0 / (x[j] - b[j]);
                },
                start};
    case 5: // kinked, and a gradient of something else
        return {[=](const Doubles &x) {
                    double f = 0.0;
                    for (std::size_t j = 1; j <= n; ++j)
                        f += std::fabs(x[j] - b[j]);
                    return std::floor(8.0 * f);
                },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = a[j] * x[j] - c;
                },
                start};
    default: // level
        return {[=](const Doubles &) { return c; },
                [=](const Doubles &x, Doubles &g) {
                    for (std::size_t j = 1; j <= n; ++j)
                        g[j] = c > 0.0 ? 0.0 : x[j];
                },
                start};
    }
}

TEST(FrprmnMinimize, HasTheBitsOfTheTextbookSteps)
{
    std::mt19937_64 generator(46);
    const double tolerances[] = {1e-8, 1e-3, 1e-12, 0.0, 0.3, -1e-3, nan};
    const std::size_t sizes[] = {0, 1, 2, 3, 5, 17};
    int ends[4] = {};
    for (int k = 0; k < 3000; ++k) {
        const Problem problem = randomProblem(sizes[generator() % std::size(sizes)], generator);
        oracle::ConjugateGradients expected =
            expectedOf(problem, tolerances[generator() % std::size(tolerances)]);
        expected.maxIterations = generator() % 4 ? 20 : 2;
        expected.eps = generator() % 4 ? 1e-10 : nan;
        expected.goldenSection = generator() % 4 ? 0.381966 : 0.45;
        expected.zeps = generator() % 4 ? 1e-10 : 1e-6;
        std::vector<Doubles> places;
        expected.f = [&](const Doubles &x) {
            places.push_back(x);
            return problem.f(x);
        };
        expected.minimize();
        ++ends[expected.end];

        SCOPED_TRACE(testing::Message() << "problem " << k);
        Minimizer m(problem, expected.ftol);
        m.record.maxIterations = expected.maxIterations;
        m.record.eps = expected.eps;
        m.record.goldenSection = expected.goldenSection;
        m.record.zeps = expected.zeps;
        std::size_t place = 0;
        m.problem.f = [&](const Doubles &x) {
            bool same = place < places.size() && places[place].size() == x.size();
            for (std::size_t j = 1; same && j < x.size(); ++j)
                same = sameBits(x[j], places[place][j]);
            EXPECT_TRUE(same) << "evaluation " << place;
            ++place;
            return problem.f(x);
        };
        EXPECT_EQ(m.minimize(), statusOf(expected));
        EXPECT_EQ(place, places.size());
        EXPECT_TRUE(sameBits(m.fret, expected.fret));
        expectState(m.record, expected);
        if (statusOf(expected) == KMATH_OK)
            expectElements(m.result, expected.p);
        else
            m.expectUntouchedResult();
        if (HasFailure())
            return;
    }
    for (const int end : ends)
        EXPECT_GT(end, 20);
}

TEST(FrprmnMinimize, ReportsItsCapOfIterations)
{
    Minimizer whole(rosenbrock(), 1e-8);
    ASSERT_EQ(whole.minimize(), KMATH_OK);
    for (std::int32_t cap = 1; cap < whole.record.iterations; ++cap) {
        Minimizer m(rosenbrock(), 1e-8);
        m.record.maxIterations = cap;
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m.record.iterations, cap);
        m.expectUntouchedResult();
        EXPECT_TRUE(sameBits(m.fret, m.problem.f(elements(m.record.p)))); // of the last line
        EXPECT_EQ(m.gradientCalls, cap + 1);
    }
    Minimizer enough(rosenbrock(), 1e-8);
    enough.record.maxIterations = whole.record.iterations;
    EXPECT_EQ(enough.minimize(), KMATH_OK);
    EXPECT_EQ(elements(enough.result), elements(whole.result));
}

TEST(FrprmnMinimize, WithoutIterationsEndsAfterTheFirstTwoCalls)
{
    for (const std::int32_t cap : {0, -1, INT32_MIN}) {
        Minimizer m(rosenbrock(), 1e-8);
        m.record.maxIterations = cap;
        EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS); }), 0)
            << "besides the tests' own";
        EXPECT_EQ(m.functionCalls, 1);
        EXPECT_EQ(m.gradientCalls, 1);
        EXPECT_EQ(m.record.iterations, 0);
        EXPECT_EQ(m.fret, -7.0);
        m.expectUntouchedResult();
        expectElements(m.record.p, m.problem.start);
    }
}

TEST(FrprmnMinimize, ReportsTheCapOfTheLineSearchWithoutMoving)
{
    for (const double ftol : {-1.0, nan}) {
        Minimizer m(rosenbrock(), ftol);
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m.record.iterations, 1);
        EXPECT_GE(m.functionCalls, 1 + 3 + 1 + 100);
        m.expectUntouchedResult();
        expectElements(m.record.p, m.problem.start);
        Doubles descent(3);
        m.problem.df(m.problem.start, descent);
        expectElements(m.record.xi, {0.0, -descent[1], -descent[2]});
        EXPECT_LE(m.fret, m.problem.f(m.problem.start)); // the best of the line all the same
    }

    // In a later iteration: p is where the line before has led.
    oracle::ConjugateGradients expected = expectedOf(rosenbrock(), 1e-8);
    expected.maxIterations = 2;
    expected.minimize();
    Minimizer m(rosenbrock(), 1e-8);
    m.problem.df = [&](const Doubles &x, Doubles &g) {
        rosenbrock().df(x, g);
        if (m.gradientCalls == 3)
            m.record.ftol = -1.0;
    };
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.record.iterations, 3);
    expectElements(m.record.p, expected.p);
    expectElements(m.record.xi, expected.xi);
}

TEST(FrprmnMinimize, ReturnsAStartWithoutGradientAfterOneLineSearch)
{
    for (const std::size_t n : {0u, 1u, 2u, 17u})
        for (const double value : {0.0, 2.385, -1e300, nan})
            for (const double ftol : {1e-8, 0.0}) {
                Minimizer m(constant(n, value), ftol);
                EXPECT_EQ(m.minimize(), KMATH_OK) << n << ' ' << value;
                expectElements(m.result, m.problem.start);
                EXPECT_TRUE(sameBits(m.fret, value));
                EXPECT_EQ(m.record.iterations, 1);
                // A number meets the convergence test; what is none goes on to the gradient.
                EXPECT_EQ(m.gradientCalls, std::isfinite(value) ? 1 : 2);
            }

    // A start that the gradient calls stationary, with a minimum elsewhere.
    Minimizer m(rosenbrock(), 1e-8);
    m.problem.df = [](const Doubles &, Doubles &g) { g[1] = g[2] = 0.0; };
    EXPECT_EQ(m.minimize(), KMATH_OK);
    expectElements(m.result, m.problem.start);

    // Where the function is infinite all along, no line search converges.
    Minimizer infinite(constant(2, infinity), 1e-8);
    EXPECT_EQ(infinite.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    expectElements(infinite.record.p, infinite.problem.start);
}

TEST(FrprmnMinimize, TakesAToleranceOfZeroAsNoFurtherChange)
{
    Minimizer m(quadratic(3), 0.0);
    const kmath_status status = m.minimize();
    oracle::ConjugateGradients expected = expectedOf(quadratic(3), 0.0);
    expected.minimize();
    EXPECT_EQ(status, statusOf(expected));
    expectState(m.record, expected);
    EXPECT_NEAR(m.fret, 0.0, 1e-15);
}

TEST(FrprmnMinimize, TakesOneVectorPerEvaluationOnALineAndNothingElse)
{
    for (const std::size_t n : {1u, 2u, 17u}) {
        struct Account {
            Problem problem;
            std::int64_t before = 0, functionCalls = 0;
        } account{quadratic(n)};
        const auto func = [](const kmath_nvector *point, double *value, void *userData) {
            Account &a = *static_cast<Account *>(userData);
            // The first call is at p itself, each later one at a vector of its own.
            EXPECT_EQ(liveBlocks(), a.before + (a.functionCalls++ ? 1 : 0));
            if (a.functionCalls > 1) {
                EXPECT_EQ(lastRequest(), (static_cast<std::size_t>(point->n) + 1) * sizeof(double));
                EXPECT_TRUE(sameBits(point->data[0], 0.0));
            }
            *value = a.problem.f(elements(*point));
            return static_cast<kmath_status>(KMATH_OK);
        };
        const auto dfunc = [](const kmath_nvector *point, kmath_nvector *gradient, void *userData) {
            Account &a = *static_cast<Account *>(userData);
            EXPECT_EQ(liveBlocks(), a.before);
            Doubles g(static_cast<std::size_t>(point->n) + 1);
            a.problem.df(elements(*point), g);
            std::copy(g.begin(), g.end(), gradient->data);
            return static_cast<kmath_status>(KMATH_OK);
        };

        kmath_frprmn record;
        kmath_frprmn_construct(&record);
        const Vector start(account.problem.start);
        Vector result(account.problem.start);
        double fret;
        ASSERT_EQ(kmath_frprmn_setup(&record, func, dfunc, static_cast<std::int32_t>(n), &start,
                                     1e-8, &account),
                  KMATH_OK);
        account.before = liveBlocks();
        const std::int64_t taken = allocationsOf(
            [&] { EXPECT_EQ(kmath_frprmn_minimize(&record, &result, &fret), KMATH_OK); });
        EXPECT_EQ(taken, account.functionCalls - 1);
        EXPECT_EQ(liveBlocks(), account.before);
        kmath_frprmn_destruct(&record);
    }
}

TEST(FrprmnMinimize, WritesIntoAResultOfTheSameLengthWithoutMovingItsBlock)
{
    Minimizer m(rosenbrock(), 1e-8);
    const double *const block = m.result.data;
    EXPECT_EQ(m.minimize(), KMATH_OK);
    EXPECT_EQ(m.result.data, block);
    EXPECT_EQ(elements(m.result), elements(m.record.p));
}

TEST(FrprmnMinimize, MayHaveTheRecordsPointAsResult)
{
    Minimizer whole(rosenbrock(), 1e-8), m(rosenbrock(), 1e-8);
    ASSERT_EQ(whole.minimize(), KMATH_OK);
    EXPECT_EQ(kmath_frprmn_minimize(&m.record, &m.record.p, &m.fret), KMATH_OK);
    EXPECT_EQ(elements(m.record.p), elements(whole.result));
}

TEST(FrprmnMinimize, GoesOnFromWhereItStopped)
{
    Minimizer m(wood(), 1e-10);
    m.record.maxIterations = 5;
    int calls = 0;
    while (KMATH_IS_FAILURE(m.minimize()) && ++calls < 200) {
    }
    EXPECT_GT(calls, 0);
    EXPECT_LT(calls, 200);
    EXPECT_NEAR(m.fret, 0.0, 1e-9);
}

TEST(FrprmnMinimize, MovesOnlyTheFirstElementsOfALongerStart)
{
    Minimizer m(rosenbrock());
    const Vector start({9.0, -1.2, 1.0, 7.0, 8.0});
    ASSERT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &start, 1e-8, &m), KMATH_OK);
    std::vector<std::size_t> lengths;
    m.problem.f = [&](const Doubles &x) {
        lengths.push_back(x.size() - 1);
        return rosenbrock().f(x);
    };
    m.problem.df = [](const Doubles &x, Doubles &g) {
        EXPECT_EQ(x.size(), 5u);
        EXPECT_EQ(g.size(), 3u);
        rosenbrock().df(x, g);
    };
    EXPECT_EQ(m.minimize(), KMATH_OK);
    EXPECT_EQ(lengths[0], 4u); // at p; on a line the point has the variables alone
    for (std::size_t k = 1; k < lengths.size(); ++k)
        EXPECT_EQ(lengths[k], 2u);

    Minimizer plain(rosenbrock(), 1e-8);
    ASSERT_EQ(plain.minimize(), KMATH_OK);
    EXPECT_EQ(elements(m.result),
              (Doubles{9.0, plain.result.data[1], plain.result.data[2], 7.0, 8.0}));
}

} // namespace
