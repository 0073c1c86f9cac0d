#include <kmath/solvers.h>

#include "oracle/conjugate_gradients.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);

using Doubles = std::vector<double>; // element 0 is not used

// A kmath_nvector that constructs and destructs itself.
struct Vector : kmath_nvector {
    Vector() { kmath_nvector_construct(this); }
    Vector(const Doubles &values) : Vector()
    {
        EXPECT_EQ(kmath_nvector_resize(this, static_cast<std::int32_t>(values.size()) - 1),
                  KMATH_OK);
        for (std::size_t i = 0; data && i < values.size(); ++i)
            data[i] = values[i];
    }
    Vector(const Vector &) = delete;
    Vector &operator=(const Vector &) = delete;
    ~Vector() { kmath_nvector_destruct(this); }
};

Doubles elements(const kmath_nvector &vector)
{
    return vector.data ? Doubles(vector.data, vector.data + vector.n + 1) : Doubles{0.0};
}

void expectElements(const kmath_nvector &vector, const Doubles &expected)
{
    ASSERT_EQ(vector.n + 1, static_cast<std::int32_t>(expected.size()));
    for (std::size_t j = 1; j < expected.size(); ++j)
        EXPECT_TRUE(sameBits(vector.data[j], expected[j]))
            << "element " << j << ": " << vector.data[j] << " for " << expected[j];
}

// A smooth function, counted from 1, and where to start.
struct Problem {
    std::function<double(const Doubles &)> f;
    std::function<void(const Doubles &, Doubles &)> df;
    Doubles start;

    std::int32_t n() const { return static_cast<std::int32_t>(start.size()) - 1; }
};

// A record that keeps an account of its callbacks.
struct Minimizer {
    kmath_frprmn record;
    Problem problem;
    Vector result{{-1.0, -2.0, -3.0}};
    double fret = -7.0;

    std::int64_t calls = 0; // of both callbacks
    std::int64_t functionCalls = 0;
    std::int64_t gradientCalls = 0;
    std::int64_t failing = -1;
    bool throwing = false;

    explicit Minimizer(Problem ofWhat) : problem(std::move(ofWhat))
    {
        kmath_frprmn_construct(&record);
    }
    Minimizer(Problem ofWhat, double ftol) : Minimizer(std::move(ofWhat))
    {
        EXPECT_EQ(setup(ftol), KMATH_OK);
    }
    ~Minimizer() { kmath_frprmn_destruct(&record); }
    Minimizer(const Minimizer &) = delete;
    Minimizer &operator=(const Minimizer &) = delete;

    kmath_status setup(double ftol)
    {
        const Vector start(problem.start);
        return kmath_frprmn_setup(&record, func, dfunc, problem.n(), &start, ftol, this);
    }
    kmath_status minimize() { return kmath_frprmn_minimize(&record, &result, &fret); }

    void expectUntouchedResult() const { EXPECT_EQ(elements(result), (Doubles{-1.0, -2.0, -3.0})); }

    // True where this call is to fail with a status.
    bool failsNow()
    {
        if (calls++ != failing)
            return false;
        if (throwing)
            throw std::runtime_error("from a callback");
        return true;
    }

    static kmath_status func(const kmath_nvector *point, double *value, void *userData)
    {
        Minimizer &self = *static_cast<Minimizer *>(userData);
        ++self.functionCalls;
        if (self.failsNow())
            return ownFailure;
        *value = self.problem.f(elements(*point));
        return KMATH_OK;
    }

    static kmath_status dfunc(const kmath_nvector *point, kmath_nvector *gradient, void *userData)
    {
        Minimizer &self = *static_cast<Minimizer *>(userData);
        EXPECT_EQ(point, &self.record.p);
        EXPECT_EQ(gradient, &self.record.xi);
        ++self.gradientCalls;
        if (self.failsNow())
            return ownFailure;
        Doubles values(elements(*gradient));
        self.problem.df(elements(*point), values);
        for (std::int32_t j = 1; j <= self.record.n; ++j)
            gradient->data[j] = values[static_cast<std::size_t>(j)];
        return KMATH_OK;
    }
};

Problem rosenbrock()
{
    return {[](const Doubles &x) {
                const double a = x[2] - x[1] * x[1], b = 1.0 - x[1];
                return 100.0 * a * a + b * b;
            },
            [](const Doubles &x, Doubles &g) {
                const double a = x[2] - x[1] * x[1];
                g[1] = -400.0 * a * x[1] - 2.0 * (1.0 - x[1]);
                g[2] = 200.0 * a;
            },
            {0.0, -1.2, 1.0}};
}

Problem powellSingular()
{
    return {[](const Doubles &x) {
                const double a = x[1] + 10.0 * x[2], b = x[3] - x[4];
                const double c = x[2] - 2.0 * x[3], d = x[1] - x[4];
                return a * a + 5.0 * b * b + c * c * c * c + 10.0 * d * d * d * d;
            },
            [](const Doubles &x, Doubles &g) {
                const double a = x[1] + 10.0 * x[2], b = x[3] - x[4];
                const double c = x[2] - 2.0 * x[3], d = x[1] - x[4];
                g[1] = 2.0 * a + 40.0 * d * d * d;
                g[2] = 20.0 * a + 4.0 * c * c * c;
                g[3] = 10.0 * b - 8.0 * c * c * c;
                g[4] = -10.0 * b - 40.0 * d * d * d;
            },
            {0.0, 3.0, -1.0, 0.0, 1.0}};
}

Problem wood()
{
    return {[](const Doubles &x) {
                const double a = x[2] - x[1] * x[1], b = 1.0 - x[1];
                const double c = x[4] - x[3] * x[3], d = 1.0 - x[3];
                const double e = x[2] + x[4] - 2.0, f = x[2] - x[4];
                return 100.0 * a * a + b * b + 90.0 * c * c + d * d + 10.0 * e * e + 0.1 * f * f;
            },
            [](const Doubles &x, Doubles &g) {
                const double a = x[2] - x[1] * x[1], c = x[4] - x[3] * x[3];
                const double e = x[2] + x[4] - 2.0, f = x[2] - x[4];
                g[1] = -400.0 * a * x[1] - 2.0 * (1.0 - x[1]);
                g[2] = 200.0 * a + 20.0 * e + 0.2 * f;
                g[3] = -360.0 * c * x[3] - 2.0 * (1.0 - x[3]);
                g[4] = 180.0 * c + 20.0 * e - 0.2 * f;
            },
            {0.0, -3.0, -1.0, -3.0, -1.0}};
}

// Σ j·(x_j − 1/j)² + ½(Σ x_j − s)² with s the sum at the minimum, which is x_j = 1/j with value c.
Problem quadratic(std::size_t n, double c = 0.0)
{
    double s = 0.0;
    for (std::size_t j = 1; j <= n; ++j)
        s += 1.0 / static_cast<double>(j);
    const auto excess = [=](const Doubles &x) {
        double sum = -s;
        for (std::size_t j = 1; j <= n; ++j)
            sum += x[j];
        return sum;
    };
    return {[=](const Doubles &x) {
                double f = c + 0.5 * excess(x) * excess(x);
                for (std::size_t j = 1; j <= n; ++j) {
                    const double weight = static_cast<double>(j), d = x[j] - 1.0 / weight;
                    f += weight * d * d;
                }
                return f;
            },
            [=](const Doubles &x, Doubles &g) {
                for (std::size_t j = 1; j <= n; ++j) {
                    const double weight = static_cast<double>(j);
                    g[j] = 2.0 * weight * (x[j] - 1.0 / weight) + excess(x);
                }
            },
            Doubles(n + 1, 3.0)};
}

Problem constant(std::size_t n, double value)
{
    return {[=](const Doubles &) { return value; },
            [=](const Doubles &, Doubles &g) { std::fill(g.begin(), g.end(), 0.0); },
            Doubles(n + 1, 2.385)};
}

oracle::ConjugateGradients expectedOf(const Problem &problem, double ftol)
{
    return {.f = problem.f, .df = problem.df, .p = problem.start, .ftol = ftol};
}

kmath_status statusOf(const oracle::ConjugateGradients &expected)
{
    const bool found = expected.end == oracle::ConjugateGradients::converged ||
                       expected.end == oracle::ConjugateGradients::stationary;
    return found ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS;
}

void expectState(const kmath_frprmn &record, const oracle::ConjugateGradients &expected)
{
    EXPECT_EQ(record.iterations, expected.iterations);
    expectElements(record.p, expected.p);
    expectElements(record.g, expected.g);
    expectElements(record.h, expected.h);
    expectElements(record.xi, expected.xi);
}

TEST(FrprmnRecord, HasItsFieldsInOrder)
{
    const std::size_t offsets[] = {offsetof(kmath_frprmn, n),
                                   offsetof(kmath_frprmn, iterations),
                                   offsetof(kmath_frprmn, ftol),
                                   offsetof(kmath_frprmn, func),
                                   offsetof(kmath_frprmn, dfunc),
                                   offsetof(kmath_frprmn, p),
                                   offsetof(kmath_frprmn, g),
                                   offsetof(kmath_frprmn, h),
                                   offsetof(kmath_frprmn, xi),
                                   offsetof(kmath_frprmn, pcom),
                                   offsetof(kmath_frprmn, xicom),
                                   offsetof(kmath_frprmn, userData),
                                   offsetof(kmath_frprmn, maxIterations),
                                   offsetof(kmath_frprmn, goldenSection),
                                   offsetof(kmath_frprmn, zeps),
                                   offsetof(kmath_frprmn, eps),
                                   sizeof(kmath_frprmn)};
    EXPECT_EQ(offsets[0], 0u);
    for (std::size_t i = 1; i < std::size(offsets); ++i)
        EXPECT_GT(offsets[i], offsets[i - 1]) << i;
}

TEST(FrprmnConstruct, GivesTheDefaults)
{
    kmath_frprmn record;
    std::memset(&record, 0xA5, sizeof record);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_frprmn_construct(&record), KMATH_OK); }), 0);
    EXPECT_EQ(record.n, 0);
    EXPECT_EQ(record.iterations, 0);
    EXPECT_EQ(record.ftol, 0.0);
    EXPECT_EQ(record.func, nullptr);
    EXPECT_EQ(record.dfunc, nullptr);
    EXPECT_EQ(record.userData, nullptr);
    for (const kmath_nvector *vector :
         {&record.p, &record.g, &record.h, &record.xi, &record.pcom, &record.xicom}) {
        EXPECT_EQ(vector->data, nullptr);
        EXPECT_EQ(vector->n, 0);
    }
    EXPECT_EQ(record.maxIterations, 200);
    EXPECT_EQ(record.goldenSection, 0.381966);
    EXPECT_EQ(record.zeps, 1e-10);
    EXPECT_EQ(record.eps, 1e-10);
    kmath_frprmn_destruct(&record);
}

TEST(FrprmnDestruct, ReleasesTheVectorsAndLeavesThemEmpty)
{
    const std::int64_t before = liveBlocks();
    {
        Minimizer m(rosenbrock(), 1e-8);
        EXPECT_GE(liveBlocks(), before + 6);
        EXPECT_EQ(kmath_frprmn_destruct(&m.record), KMATH_OK);
        EXPECT_EQ(m.record.p.data, nullptr);
        EXPECT_EQ(m.record.xicom.n, 0);
        EXPECT_EQ(kmath_frprmn_destruct(&m.record), KMATH_OK);
        EXPECT_EQ(m.setup(1e-8), KMATH_OK); // and may be set again
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Frprmn, AssertsItsPointers)
{
    Minimizer m(rosenbrock(), 1e-8);
    EXPECT_EQ(assertedLine([] { kmath_frprmn_destruct(nullptr); }), 58);

    const Vector start(m.problem.start);
    EXPECT_NE(assertedLine([] { kmath_frprmn_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine(
                  [&] { kmath_frprmn_setup(nullptr, m.func, m.dfunc, 2, &start, 1e-8, nullptr); }),
              0);
    EXPECT_NE(assertedLine([&] {
                  kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, nullptr, 1e-8, nullptr);
              }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(nullptr, &m.result, &m.fret); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(&m.record, nullptr, &m.fret); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(&m.record, &m.result, nullptr); }), 0);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnSetup, StoresTheProblemAndKeepsTheTuning)
{
    Minimizer m(rosenbrock());
    m.record.iterations = 99;
    m.record.maxIterations = 7;
    m.record.goldenSection = 0.4;
    m.record.zeps = 1e-9;
    m.record.eps = 1e-8;
    const Vector start({0.5, 1.5, 2.5});
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &start, 0.125, &m), KMATH_OK);
    EXPECT_EQ(m.record.n, 2);
    EXPECT_EQ(m.record.iterations, 0);
    EXPECT_EQ(m.record.ftol, 0.125);
    EXPECT_EQ(m.record.func, m.func);
    EXPECT_EQ(m.record.dfunc, m.dfunc);
    EXPECT_EQ(m.record.userData, &m);
    EXPECT_EQ(elements(m.record.p), (Doubles{0.5, 1.5, 2.5})); // the spare element, too
    for (const kmath_nvector *vector :
         {&m.record.g, &m.record.h, &m.record.xi, &m.record.pcom, &m.record.xicom})
        EXPECT_EQ(elements(*vector), Doubles(3));
    EXPECT_EQ(m.record.maxIterations, 7);
    EXPECT_EQ(m.record.goldenSection, 0.4);
    EXPECT_EQ(m.record.zeps, 1e-9);
    EXPECT_EQ(m.record.eps, 1e-8);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnSetup, TakesTheStartFirstAndSizesTheVectorsInOrder)
{
    for (int failing = 0; failing < 6; ++failing) {
        Minimizer m(rosenbrock());
        const Vector start(m.problem.start);
        failAllocation(failing);
        EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &start, 0.125, &m),
                  KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        const kmath_nvector *const inOrder[] = {&m.record.p,  &m.record.g,    &m.record.h,
                                                &m.record.xi, &m.record.pcom, &m.record.xicom};
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(inOrder[i]->n, i <= failing ? 2 : 0) << failing << ' ' << i;
            EXPECT_EQ(inOrder[i]->data != nullptr, i < failing) << failing << ' ' << i;
        }
        EXPECT_EQ(m.record.n, 2);
        EXPECT_EQ(m.record.ftol, 0.125);
        EXPECT_EQ(m.record.func, m.func);

        // Minimizing refuses such a record; setting it again repairs it.
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m.calls, 0);
        m.expectUntouchedResult();
        EXPECT_EQ(m.setup(1e-8), KMATH_OK);
        EXPECT_EQ(m.minimize(), KMATH_OK);
    }
}

TEST(FrprmnSetup, PassesOnWhatANegativeCountGives)
{
    Minimizer m(rosenbrock());
    const Vector start(m.problem.start);
    const auto setup = [&] {
        return kmath_frprmn_setup(&m.record, m.func, m.dfunc, -2, &start, 1e-8, &m);
    };
    // Each call gets one vector further, as a refused length stays.
    for (int call = 0; call < 5; ++call) {
        EXPECT_EQ(setup(), KMATH_ERR_BAD_DIMENSIONS) << call;
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_EQ(setup(), KMATH_OK);
    EXPECT_EQ(m.record.n, -2);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
    m.expectUntouchedResult();
    EXPECT_EQ(m.fret, -7.0);
    EXPECT_EQ(m.record.iterations, 0);
}

TEST(FrprmnSetup, TakesAVectorOfTheRecordAsStart)
{
    Minimizer m(rosenbrock(), 1e-8);
    m.record.maxIterations = 3;
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    const Doubles reached = elements(m.record.p);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &m.record.p, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(elements(m.record.p), reached);
    EXPECT_EQ(m.record.iterations, 0);

    const Doubles origin = elements(m.record.pcom);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &m.record.pcom, 1e-8, &m),
              KMATH_OK);
    EXPECT_EQ(elements(m.record.p), origin);
}

TEST(FrprmnSetup, PassesOnWhatTheStartGives)
{
    Minimizer m(rosenbrock(), 1e-8);
    Vector start;
    failAllocation(0);
    kmath_nvector_resize(&start, 2);
    failAllocation(-1);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 1, &start, 0.125, &m),
              KMATH_ERR_NO_MEMORY);
    expectElements(m.record.p, m.problem.start);
    EXPECT_EQ(m.record.g.n, 2);
    EXPECT_EQ(m.record.n, 1);
    EXPECT_EQ(m.record.ftol, 0.125);

    kmath_nvector_resize(&start, -3);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 1, &start, 0.125, &m),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.record.p.n, -3);
    EXPECT_EQ(m.record.g.n, 2);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnMinimize, RefusesARecordWithoutCallbacks)
{
    Minimizer fresh(rosenbrock());
    EXPECT_EQ(fresh.minimize(), KMATH_ERR_FAILED);

    for (const bool function : {true, false}) {
        Minimizer m(rosenbrock(), 1e-8);
        if (function)
            m.record.func = nullptr;
        else
            m.record.dfunc = nullptr;
        EXPECT_EQ(m.minimize(), KMATH_ERR_FAILED);
        EXPECT_EQ(m.calls, 0);
        m.expectUntouchedResult();
        EXPECT_EQ(m.fret, -7.0);
    }
}

TEST(FrprmnMinimize, RefusesMoreVariablesThanTheVectorsHold)
{
    // A start that is too short.
    Minimizer m(rosenbrock());
    const Vector shorter(Doubles{0.0, 1.0});
    ASSERT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &shorter, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    const Vector none;
    ASSERT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &none, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
    m.expectUntouchedResult();

    constexpr kmath_nvector kmath_frprmn::*vectors[] = {&kmath_frprmn::p,    &kmath_frprmn::g,
                                                        &kmath_frprmn::h,    &kmath_frprmn::xi,
                                                        &kmath_frprmn::pcom, &kmath_frprmn::xicom};
    for (const auto vector : vectors)
        for (const std::int32_t length : {1, 0, -1, 5}) { // 5 loses its storage
            Minimizer one(rosenbrock(), 1e-8);
            failAllocation(length == 5 ? 0 : -1);
            kmath_nvector_resize(&(one.record.*vector), length);
            failAllocation(-1);
            EXPECT_EQ(one.minimize(), KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(one.calls, 0);
        }
    for (const std::int32_t n : {3, INT32_MAX, -1, INT32_MIN}) {
        Minimizer one(rosenbrock(), 1e-8);
        one.record.n = n;
        EXPECT_EQ(one.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(one.calls, 0);
    }
}

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
