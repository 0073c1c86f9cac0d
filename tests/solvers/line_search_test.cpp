#include "solvers/line_search.hpp"

#include "oracle/conjugate_gradients.hpp"
#include "support/matrices.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

using namespace kmath;
using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);
constexpr double ratio = 1.618034;
constexpr double third = 1.0 + ratio * 1.0;              // where the bracket begins with 0 and 1
constexpr double farthest = 1.0 + 100.0 * (third - 1.0); // how far it then looks

constexpr BrentTuning usual{.ftol = 1e-8, .zeps = 1e-10, .goldenSection = 0.381966};

// A function on the line that keeps the places it is asked for.
class Line
{
  public:
    explicit Line(std::function<double(double)> function) : f(std::move(function)) {}

    // Gives these values call by call, whatever the place; the last repeats.
    explicit Line(std::vector<double> values)
        : f([values = std::move(values), this](double) {
              return values[std::min(places.size(), values.size()) - 1];
          })
    {
    }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    LineFunction function()
    {
        return {[](const void *self, double x, double &value) {
                    Line &line = *static_cast<Line *>(const_cast<void *>(self));
                    line.places.push_back(x);
                    if (static_cast<int>(line.places.size()) - 1 == line.failing)
                        return ownFailure;
                    value = line.f(x);
                    return static_cast<kmath_status>(KMATH_OK);
                },
                this};
    }

    std::vector<double> places;
    int failing = -1;

  private:
    std::function<double(double)> f;
};

struct Bracketed {
    Bracket bracket{};
    kmath_status status;
    std::vector<double> places;
};

template <class F> Bracketed bracketOf(F f)
{
    Line line(std::move(f));
    Bracketed result;
    result.status = bracketMinimum(line.function(), result.bracket);
    result.places = line.places;
    return result;
}

void expectSample(const Sample &sample, double x, double f)
{
    EXPECT_TRUE(sameBits(sample.x, x)) << sample.x << " for " << x;
    EXPECT_TRUE(sameBits(sample.f, f)) << sample.f << " for " << f;
}

void expectPlaces(const std::vector<double> &places, const std::vector<double> &expected)
{
    ASSERT_EQ(places.size(), expected.size());
    for (std::size_t i = 0; i < places.size(); ++i)
        EXPECT_TRUE(sameBits(places[i], expected[i])) << "call " << i << ": " << places[i];
}

using Values = std::vector<double>;

TEST(BracketMinimum, IsDoneWhenTheThirdPlaceIsNoLower)
{
    for (const double fc : {1.0, 2.0, infinity, nan}) {
        const Bracketed found = bracketOf(Values{4.0, 1.0, fc});
        EXPECT_EQ(found.status, KMATH_OK);
        expectPlaces(found.places, {0.0, 1.0, third});
        expectSample(found.bracket.a, 0.0, 4.0);
        expectSample(found.bracket.b, 1.0, 1.0);
        expectSample(found.bracket.c, third, fc);
    }
}

TEST(BracketMinimum, GoesDownhill)
{
    const double opposite = 0.0 + ratio * -1.0;
    const Bracketed found = bracketOf(Values{1.0, 4.0, 2.0});
    expectPlaces(found.places, {0.0, 1.0, opposite});
    expectSample(found.bracket.a, 1.0, 4.0);
    expectSample(found.bracket.b, 0.0, 1.0);
    expectSample(found.bracket.c, opposite, 2.0);

    // On level ground, and where one of the two is not a number, upwards.
    for (const Values &values :
         {Values{1.0, 1.0, 1.0}, Values{nan, 1.0, 2.0}, Values{1.0, nan, 2.0}})
        expectPlaces(bracketOf(values).places, {0.0, 1.0, third});
}

// With 4, 1 and the value of (x − 2)² the parabola leads to 2, between b and c.
const double atThird = (third - 2.0) * (third - 2.0);

TEST(BracketMinimum, TakesALowerPlaceBetweenBAndCAsTheMiddle)
{
    const Bracketed found = bracketOf(Values{4.0, 1.0, atThird, 0.25});
    EXPECT_EQ(found.status, KMATH_OK);
    ASSERT_EQ(found.places.size(), 4u);
    EXPECT_NEAR(found.places[3], 2.0, 1e-14);
    expectSample(found.bracket.a, 1.0, 1.0);
    expectSample(found.bracket.b, found.places[3], 0.25);
    expectSample(found.bracket.c, third, atThird);
}

TEST(BracketMinimum, TakesAHigherPlaceBetweenBAndCAsTheEnd)
{
    const Bracketed found = bracketOf(Values{4.0, 1.0, atThird, 1.5});
    EXPECT_EQ(found.status, KMATH_OK);
    ASSERT_EQ(found.places.size(), 4u);
    expectSample(found.bracket.a, 0.0, 4.0);
    expectSample(found.bracket.b, 1.0, 1.0);
    expectSample(found.bracket.c, found.places[3], 1.5);
}

TEST(BracketMinimum, GoesOnPastAUselessPlaceBetweenBAndC)
{
    const double next = third + ratio * (third - 1.0);
    for (const double useless : {0.5, 1.0, atThird, nan}) {
        const Bracketed found = bracketOf(Values{4.0, 1.0, atThird, useless, 9.0});
        EXPECT_EQ(found.status, KMATH_OK);
        ASSERT_EQ(found.places.size(), 5u);
        EXPECT_TRUE(sameBits(found.places[4], next));
        expectSample(found.bracket.a, 1.0, 1.0);
        expectSample(found.bracket.b, third, atThird);
        expectSample(found.bracket.c, next, 9.0);
    }
}

// With the values of (x − 20)² the parabola leads to 20, beyond c but not beyond the limit.
const double towards20 = (third - 20.0) * (third - 20.0);

TEST(BracketMinimum, GoesOnFromALowerPlaceBeyondC)
{
    const Bracketed found = bracketOf(Values{400.0, 361.0, towards20, 3.0, 9.0});
    EXPECT_EQ(found.status, KMATH_OK);
    ASSERT_EQ(found.places.size(), 5u);
    const double u = found.places[3];
    EXPECT_NEAR(u, 20.0, 1e-12);
    EXPECT_TRUE(sameBits(found.places[4], u + ratio * (u - third)));
    expectSample(found.bracket.a, third, towards20);
    expectSample(found.bracket.b, u, 3.0);
    expectSample(found.bracket.c, found.places[4], 9.0);
}

TEST(BracketMinimum, EndsWithAPlaceBeyondCThatIsNoLower)
{
    for (const double fu : {towards20, 500.0, nan}) {
        const Bracketed found = bracketOf(Values{400.0, 361.0, towards20, fu});
        EXPECT_EQ(found.status, KMATH_OK);
        ASSERT_EQ(found.places.size(), 4u);
        expectSample(found.bracket.a, 1.0, 361.0);
        expectSample(found.bracket.b, third, towards20);
        expectSample(found.bracket.c, found.places[3], fu);
    }
}

TEST(BracketMinimum, FollowsAParabolaNoFartherThanTheLimit)
{
    // A straight line: the parabola leads to infinity.
    const Bracketed found = bracketOf(Values{0.0, -1.0, -third, 9.0});
    EXPECT_EQ(found.status, KMATH_OK);
    expectPlaces(found.places, {0.0, 1.0, third, farthest});
    expectSample(found.bracket.a, 1.0, -1.0);
    expectSample(found.bracket.b, third, -third);
    expectSample(found.bracket.c, farthest, 9.0);
}

TEST(BracketMinimum, GoesToTheLimitWhereTheParabolaLeadsExactlyThere)
{
    const Values values{241388.0, 0.0, -387423.9155051802, infinity};
    std::size_t call = 0;
    oracle::LineSearch expected{[&](double) { return values[call++]; }, 0.0, 0.0, 0.0};
    expected.bracket();
    ASSERT_EQ(expected.branches, (oracle::Tally{{"bracket: at the limit", 1}}));

    const Bracketed found = bracketOf(values);
    EXPECT_EQ(found.status, KMATH_OK);
    expectPlaces(found.places, {0.0, 1.0, third, farthest});
    expectSample(found.bracket.c, farthest, infinity);
}

TEST(BracketMinimum, TakesAGoldenStepWhereTheParabolaLeadsBack)
{
    // Concave: the extremum is a maximum behind b.
    const double next = third + ratio * (third - 1.0);
    const Bracketed found = bracketOf(Values{0.0, -1.0, -third * third, 9.0});
    EXPECT_EQ(found.status, KMATH_OK);
    expectPlaces(found.places, {0.0, 1.0, third, next});
    expectSample(found.bracket.a, 1.0, -1.0);
    expectSample(found.bracket.b, third, -third * third);
    expectSample(found.bracket.c, next, 9.0);
}

TEST(BracketMinimum, FollowsAFallingFunctionToInfinity)
{
    const std::vector<std::function<double(double)>> falling = {
        [](double x) { return -x; },
        [](double x) { return x; },
        [](double x) { return -x * x; },
        [](double x) { return -std::exp(x); },
        [](double x) { return -std::log(x + 2.0); },
        [](double x) { return -std::sqrt(std::sqrt(std::fabs(x))); },
        [](double x) { return -std::log(std::log(std::fabs(x) + 3.0)); },
        [](double x) { return 1.0 / (1.0 + std::fabs(x)); },
        [](double x) { return x < 1e300 ? -std::atan(x) : nan; },
    };
    for (std::size_t k = 0; k < falling.size(); ++k) {
        const Bracketed found = bracketOf(falling[k]);
        EXPECT_EQ(found.status, KMATH_OK) << k;
        // Golden steps from 1 to infinity are 1475, each with at most two evaluations.
        EXPECT_LE(found.places.size(), 3u + 2u * 1475u) << k;
        EXPECT_FALSE(found.bracket.b.f > found.bracket.c.f) << k;
    }
}

TEST(BracketMinimum, GivesUpOnAFunctionThatFallsFromCallToCall)
{
    double value = 0.0;
    const Bracketed found = bracketOf([&](double) { return value -= 1.0; });
    EXPECT_EQ(found.status, KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_GE(found.places.size(), 3u + 10000u);
    EXPECT_LE(found.places.size(), 3u + 2u * 10000u);
    EXPECT_FALSE(std::isfinite(found.places.back()));
}

TEST(BracketMinimum, PassesOnTheFailureOfAnyEvaluation)
{
    for (const Values &values :
         {Values{4.0, 1.0, atThird, 0.5, 0.3, 9.0}, Values{400.0, 361.0, towards20, 3.0, 9.0},
          Values{0.0, -1.0, -third, 9.0}, Values{0.0, -1.0, -third * third, 9.0}}) {
        Bracket bracket;
        Line whole(values);
        ASSERT_EQ(bracketMinimum(whole.function(), bracket), KMATH_OK);
        const int calls = static_cast<int>(whole.places.size());
        for (int k = 0; k < calls; ++k) {
            Line line(values);
            line.failing = k;
            EXPECT_EQ(bracketMinimum(line.function(), bracket), ownFailure);
            EXPECT_EQ(static_cast<int>(line.places.size()), k + 1);
        }
    }
}

struct Minimized {
    double x = -7.0;
    double f = -7.0;
    kmath_status status;
    std::vector<double> places;
};

template <class F>
Minimized minimumOf(F f, double a, double b, double c, const BrentTuning &tuning = usual)
{
    Line line(std::move(f));
    Minimized result;
    const Bracket bracket{{a, nan}, {b, nan}, {c, nan}}; // the values are not read
    result.status = minimizeInBracket(line.function(), bracket, tuning, result.x, result.f);
    result.places = line.places;
    return result;
}

TEST(MinimizeInBracket, FindsKnownMinima)
{
    struct Case {
        std::function<double(double)> f;
        double a, b, c, minimum;
    };
    const Case cases[] = {
        {[](double x) { return (x - 2.385) * (x - 2.385); }, 0.0, 1.0, 7.0, 2.385},
        {[](double x) { return std::cos(x); }, 5.0, 3.0, 1.0, 3.14159265358979},
        {[](double x) { return x * std::log(x); }, 0.1, 0.3, 1.0, 0.367879441171442},
        {[](double x) { return std::fabs(x - 0.7); }, -3.0, 0.1, 2.0, 0.7},
        {[](double x) { return x - std::log(x); }, 0.1, 0.9, 9.0, 1.0},
    };
    for (const Case &one : cases) {
        const Minimized found = minimumOf(one.f, one.a, one.b, one.c);
        EXPECT_EQ(found.status, KMATH_OK);
        EXPECT_NEAR(found.x, one.minimum, 3e-8 * std::fabs(one.minimum));
        EXPECT_TRUE(sameBits(found.f, one.f(found.x)));
        EXPECT_LE(found.places.size(), 60u);
        EXPECT_EQ(found.places.front(), one.b);
    }
}

TEST(MinimizeInBracket, ReachesAMinimumAtZeroThroughTheAbsoluteTolerance)
{
    const Minimized found = minimumOf([](double x) { return x * x; }, -1.0, 0.3, 2.0,
                                      {.ftol = 1e-8, .zeps = 1e-10, .goldenSection = 0.381966});
    EXPECT_EQ(found.status, KMATH_OK);
    EXPECT_LE(std::fabs(found.x), 2e-10);
}

TEST(MinimizeInBracket, TakesAGoldenStepFirst)
{
    // From 1 in [0, 3] upwards into the larger part, from 2 downwards, from the middle downwards.
    const auto f = [](double x) { return std::fabs(x); };
    EXPECT_TRUE(sameBits(minimumOf(f, 0.0, 1.0, 3.0).places[1], 1.0 + 0.381966 * 2.0));
    EXPECT_TRUE(sameBits(minimumOf(f, 3.0, 2.0, 0.0).places[1], 2.0 + 0.381966 * -2.0));
    EXPECT_TRUE(sameBits(minimumOf(f, 0.0, 1.5, 3.0).places[1], 1.5 + 0.381966 * -1.5));
    EXPECT_TRUE(sameBits(
        minimumOf(f, 0.0, 1.0, 3.0, {.ftol = 1e-8, .zeps = 1e-10, .goldenSection = 0.25}).places[1],
        1.5));
}

TEST(MinimizeInBracket, EndsAtOnceInABracketWithinTheTolerance)
{
    const Minimized found = minimumOf([](double x) { return x; }, 1.0 - 1e-9, 1.0, 1.0 + 1e-9);
    EXPECT_EQ(found.status, KMATH_OK);
    expectPlaces(found.places, {1.0});
    EXPECT_EQ(found.x, 1.0);
    EXPECT_EQ(found.f, 1.0);

    // |x − xm| may equal what the interval leaves of 2·tol1, and no more.
    const auto calls = [](double zeps) {
        return minimumOf([](double x) { return x * x; }, -1.0, 0.0, 1.0,
                         {.ftol = 0.0, .zeps = zeps, .goldenSection = 0.381966})
            .places.size();
    };
    EXPECT_EQ(calls(0.5), 1u);
    EXPECT_GT(calls(std::nextafter(0.5, 0.0)), 1u);
}

TEST(MinimizeInBracket, WritesTheBestPlaceEvenWithoutConvergence)
{
    const auto f = [](double x) { return (x - 2.0) * (x - 2.0); };
    for (const double ftol : {-1.0, nan}) {
        const Minimized found =
            minimumOf(f, 0.0, 1.0, 7.0, {.ftol = ftol, .zeps = 1e-10, .goldenSection = 0.381966});
        EXPECT_EQ(found.status, KMATH_ERR_BAD_DIMENSIONS);
        ASSERT_EQ(found.places.size(), 101u);
        // Among the places with a number: a NaN tolerance leads to none but the first.
        double best = infinity;
        for (const double x : found.places)
            best = std::fmin(best, f(x));
        EXPECT_EQ(found.f, best);
        EXPECT_EQ(f(found.x), best);
    }
}

TEST(MinimizeInBracket, LeavesTheOutcomeUnwrittenWhenAnEvaluationFails)
{
    const auto f = [](double x) { return std::cosh(x - 1.9); };
    const std::size_t calls = minimumOf(f, 0.0, 1.0, 7.0).places.size();
    for (int k = 0; k < static_cast<int>(calls); ++k) {
        Line line(f);
        line.failing = k;
        double x = -7.0, minimum = -7.0;
        EXPECT_EQ(minimizeInBracket(line.function(), {{0.0, 0.0}, {1.0, 0.0}, {7.0, 0.0}}, usual, x,
                                    minimum),
                  ownFailure);
        EXPECT_EQ(static_cast<int>(line.places.size()), k + 1);
        EXPECT_EQ(x, -7.0);
        EXPECT_EQ(minimum, -7.0);
    }
}

// A deterministic number in [0, 1) from the bits of another: noise that is a function. Every NaN is
// the same to it.
double noise(double x, std::uint64_t seed)
{
    std::uint64_t z = std::bit_cast<std::uint64_t>(std::isnan(x) ? nan : x) ^ seed;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1p-53;
}

// Functions of every temper: smooth, kinked, stepped, noisy, unbounded, infinite, undefined.
std::function<double(double)> randomFunction(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    const double scale = std::exp(12.0 * uniform(generator));
    const double s = scale * uniform(generator), a = uniform(generator), b = uniform(generator);
    const double c = 10.0 * uniform(generator);
    const std::uint64_t seed = generator();
    switch (generator() % 16) {
    case 0:
        return [=](double x) { return (x - s) * (x - s); };
    case 1:
        return [=](double x) { return a * x + b; };
    case 2:
        return [=](double x) { return ((x - s) * a + b) * x * x + c; };
    case 3:
        return [=](double x) { return std::fabs(x - s) + a * x; };
    case 4:
        return [=](double x) { return std::floor((x - s) * (x - s) / scale); };
    case 5:
        return [=](double x) { return std::sin(c * x + a) + b * std::fabs(x); };
    case 6:
        return [=](double x) { return noise(x, seed); };
    case 7:
        return [=](double x) { return std::fabs(x - s) + std::fabs(c) * noise(x, seed); };
    case 8:
        return [=](double x) { return std::floor(5.0 * noise(x, seed)) + 1e-3 * std::fabs(x); };
    case 9:
        return [=](double x) { return x > s ? infinity : -x; };
    case 10:
        return [=](double x) { return x > s ? nan : a * x; };
    case 11:
        return [=](double x) { return -std::exp(c * x) + b; };
    case 12:
        return [=](double x) { return std::pow((x - s) / scale, 4.0) + a * 1e-3 * x; };
    case 13:
        return [=](double x) { return 1.0 / ((x - s) * (x - s)) + a; };
    case 14:
        return [=](double x) { return noise(x, seed) < 0.2 ? nan : std::fabs(x - s); };
    default:
        return [=](double) { return a; };
    }
}

TEST(LineSearch, HasTheBitsOfTheTextbookStepsOnEveryBranch)
{
    std::mt19937_64 generator(46);
    oracle::Tally branches;
    const double tolerances[] = {1e-8, 1e-3, 0.0, 1e-12, 0.3, -1e-3, nan};
    for (int k = 0; k < 20000; ++k) {
        const auto f = randomFunction(generator);
        const BrentTuning tuning{.ftol = tolerances[generator() % std::size(tolerances)],
                                 .zeps = generator() % 8 ? 1e-10 : 0.0,
                                 .goldenSection = generator() % 8 ? 0.381966 : 0.9};

        std::vector<double> expectedPlaces;
        oracle::LineSearch expected{[&](double x) {
                                        expectedPlaces.push_back(x);
                                        return f(x);
                                    },
                                    tuning.ftol, tuning.goldenSection, tuning.zeps};
        expected.bracket();
        expected.brent();
        for (const auto &[branch, times] : expected.branches)
            branches[branch] += times;

        SCOPED_TRACE(testing::Message() << "function " << k);
        Line line(f);
        Bracket bracket;
        double x, minimum;
        ASSERT_EQ(bracketMinimum(line.function(), bracket), KMATH_OK);
        expectSample(bracket.a, expected.xa, expected.fa);
        expectSample(bracket.b, expected.xb, expected.fb);
        expectSample(bracket.c, expected.xc, expected.fc);
        EXPECT_EQ(minimizeInBracket(line.function(), bracket, tuning, x, minimum),
                  expected.converged ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS);
        expectSample({x, minimum}, expected.xmin, expected.fmin);
        // As it went to the same places it took the same branches.
        expectPlaces(line.places, expectedPlaces);
        if (HasFailure())
            return;
    }

    for (const char *branch : {"uphill",
                               "bracket: between, lower than c",
                               "bracket: between, higher than b",
                               "bracket: between, no use",
                               "bracket: beyond c, still falling",
                               "bracket: beyond c, rising",
                               "bracket: beyond the limit",
                               "bracket: behind",
                               "brent: converged",
                               "brent: 100 iterations",
                               "brent: q positive",
                               "brent: q negative",
                               "brent: parabola too long",
                               "brent: parabola below a",
                               "brent: parabola above b",
                               "brent: parabola",
                               "brent: parabola close to a",
                               "brent: parabola close to b",
                               "brent: golden step down",
                               "brent: golden step up",
                               "brent: least step",
                               "brent: better above",
                               "brent: better below",
                               "brent: worse below",
                               "brent: worse above",
                               "brent: second by value",
                               "brent: second, w is x",
                               "brent: third by value",
                               "brent: third, v is x",
                               "brent: third, v is w",
                               "brent: only a bound"})
        EXPECT_GT(branches[branch], 0) << branch;
    EXPECT_EQ(branches.size(), 31u);
}

} // namespace
