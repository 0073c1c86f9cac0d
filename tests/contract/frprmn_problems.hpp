// What the tests of the conjugate-gradient minimizer share: problems as a test states them, served
// through callbacks that keep a log, and records that own themselves.
#pragma once

#include "support/owned.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace frprmn
{

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr auto custom = static_cast<kmath_status>(0x80001234u);
constexpr double sentinel = -77.25;

/// Elements 1 … n; element 0 is there and means nothing.
using Vector = std::vector<double>;

inline double &at(Vector &v, int j) { return v[static_cast<std::size_t>(j)]; }

class NVector
    : public support::Owned<kmath_nvector, kmath_nvector_construct, kmath_nvector_destruct>
{
  public:
    NVector() = default;
    explicit NVector(const Vector &elements)
    {
        NVector &vector = *this;
        EXPECT_EQ(kmath_nvector_resize(&vector, static_cast<int>(elements.size()) - 1), KMATH_OK);
        if (vector->n > 0)
            std::copy(elements.begin(), elements.end(), vector->data);
    }
};

using Minimizer = support::Owned<kmath_frprmn, kmath_frprmn_construct, kmath_frprmn_destruct>;

/// The six vectors in the order in which they are constructed.
inline std::vector<kmath_nvector *> vectorsOf(kmath_frprmn *m)
{
    return {&m->p, &m->g, &m->h, &m->xi, &m->pcom, &m->xicom};
}

/// One call of either callback, with the point that it was given.
struct Evaluation {
    bool gradient;
    Vector point;
};

/// A function with its gradient, as a test states it; x[1] … x[n].
struct Problem {
    Vector start; ///< element 0 first
    std::function<double(const double *x)> value;
    std::function<void(const double *x, double *g)> gradient;
    int n() const { return static_cast<int>(start.size()) - 1; }
};

/// Serves a problem, keeps a log, and lets the call with a number, counted over both callbacks from
/// 0, fail or throw.
struct Service {
    explicit Service(const Problem &of) : problem(of) {}

    const Problem &problem;
    std::vector<Evaluation> log;
    int failing = -1;
    bool throwing = false;
    /// Looks at each call before it is answered.
    std::function<void(const double *, bool gradient)> watch;

    kmath_status call(bool gradient, const double *x, double *out)
    {
        const int n = problem.n(), number = static_cast<int>(log.size());
        log.push_back({gradient, n > 0 ? Vector(x + 1, x + 1 + n) : Vector()});
        if (watch)
            watch(x, gradient);
        if (number == failing) {
            if (throwing)
                throw 42;
            return custom;
        }
        if (gradient)
            problem.gradient(x, out);
        else
            *out = problem.value(x);
        return KMATH_OK;
    }
};

inline kmath_status valueOf(const kmath_nvector *point, double *value, void *service)
{
    return static_cast<Service *>(service)->call(false, point->data, value);
}

inline kmath_status gradientOf(const kmath_nvector *point, kmath_nvector *gradient, void *service)
{
    return static_cast<Service *>(service)->call(true, point->data, gradient->data);
}

inline void set(Minimizer &m, Service &service, double ftol = 1e-10)
{
    NVector start(service.problem.start);
    ASSERT_EQ(
        kmath_frprmn_setup(&m, valueOf, gradientOf, service.problem.n(), &start, ftol, &service),
        KMATH_OK);
}

struct Settings {
    double ftol = 1e-10;
    int maxIterations = 200;
    double goldenSection = 0.381966, zeps = 1e-10, eps = 1e-10;
};

inline void tune(Minimizer &m, const Settings &t)
{
    m->ftol = t.ftol;
    m->maxIterations = t.maxIterations;
    m->goldenSection = t.goldenSection;
    m->zeps = t.zeps;
    m->eps = t.eps;
}

inline Problem rosenbrock(int n)
{
    Problem problem{Vector(static_cast<std::size_t>(n) + 1), {}, {}};
    for (int j = 1; j <= n; ++j)
        at(problem.start, j) = j % 2 ? -1.2 : 1.0;
    problem.value = [n](const double *x) {
        double sum = 0.0;
        for (int j = 1; j < n; ++j) {
            const double steep = x[j + 1] - x[j] * x[j], flat = 1.0 - x[j];
            sum += 100.0 * steep * steep + flat * flat;
        }
        return sum;
    };
    problem.gradient = [n](const double *x, double *g) {
        for (int j = 1; j <= n; ++j)
            g[j] = 0.0;
        for (int j = 1; j < n; ++j) {
            const double steep = x[j + 1] - x[j] * x[j];
            g[j] += -400.0 * steep * x[j] - 2.0 * (1.0 - x[j]);
            g[j + 1] += 200.0 * steep;
        }
    };
    return problem;
}

/// Σ 10^j (x_j − 1/j)² + offset
inline Problem bowl(int n, double offset = 0.0)
{
    Problem problem{Vector(static_cast<std::size_t>(n) + 1, 2.5), {}, {}};
    problem.value = [=](const double *x) {
        double sum = offset;
        for (int j = 1; j <= n; ++j)
            sum += std::pow(10.0, j) * (x[j] - 1.0 / j) * (x[j] - 1.0 / j);
        return sum;
    };
    problem.gradient = [=](const double *x, double *g) {
        for (int j = 1; j <= n; ++j)
            g[j] = 2.0 * std::pow(10.0, j) * (x[j] - 1.0 / j);
    };
    return problem;
}

inline Problem constant(double value, double slope)
{
    return {{0, 3.0, -4.0},
            [=](const double *) { return value; },
            [=](const double *, double *g) { g[1] = g[2] = slope; }};
}

/// f(x) with a gradient that need not be its own.
inline Problem onLine(double start, const std::function<double(double)> &f,
                      const std::function<double(double)> &slope)
{
    return {{0, start},
            [f](const double *x) { return f(x[1]); },
            [slope](const double *x, double *g) { g[1] = slope(x[1]); }};
}

/// A bowl with waves, now and then a kink or steps; its gradient is off by a factor of any size and
/// sign, so that first steps fall short, go far beyond, or lead uphill.
inline Problem wavy(std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    };
    const double a = std::pow(10.0, uniform(-3, 1)), b = uniform(-3, 3);
    const double c = uniform(0, 3), w = uniform(0.2, 6), phase = uniform(0, 6);
    const double kink = seed % 3 == 0 ? uniform(0, 5) : 0.0, where = uniform(-2, 2);
    const double steps = seed % 7 == 0 ? 0.25 : 0.0;
    const double factor = std::pow(10.0, uniform(-3, 2)) * (uniform(0, 1) < 0.2 ? -1.0 : 1.0);
    return onLine(
        uniform(-4, 4),
        [=](double x) {
            const double f =
                a * x * x + b * x + c * std::sin(w * x + phase) + kink * std::fabs(x - where);
            return steps == 0.0 ? f : steps * std::floor(f / steps);
        },
        [=](double x) { return factor * (2 * a * x + b + c * w * std::cos(w * x + phase)); });
}

} // namespace frprmn
