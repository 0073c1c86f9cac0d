// Smooth functions counted from 1, and a conjugate-gradient record that keeps an account of its
// callbacks.
#pragma once

#include <kmath/solvers.h>

#include "oracle/conjugate_gradients.hpp"
#include "support/matrices.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace support::conjugate
{

constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);

using Doubles = std::vector<double>; // element 0 is not used

/// A kmath_nvector that constructs and destructs itself.
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

inline Doubles elements(const kmath_nvector &vector)
{
    return vector.data ? Doubles(vector.data, vector.data + vector.n + 1) : Doubles{0.0};
}

inline void expectElements(const kmath_nvector &vector, const Doubles &expected)
{
    ASSERT_EQ(vector.n + 1, static_cast<std::int32_t>(expected.size()));
    for (std::size_t j = 1; j < expected.size(); ++j)
        EXPECT_TRUE(sameBits(vector.data[j], expected[j]))
            << "element " << j << ": " << vector.data[j] << " for " << expected[j];
}

/// A smooth function, counted from 1, and where to start.
struct Problem {
    std::function<double(const Doubles &)> f;
    std::function<void(const Doubles &, Doubles &)> df;
    Doubles start;

    std::int32_t n() const { return static_cast<std::int32_t>(start.size()) - 1; }
};

/// A record that keeps an account of its callbacks.
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

inline Problem rosenbrock()
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

inline Problem powellSingular()
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

inline Problem wood()
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

/// Σ j·(x_j − 1/j)² + ½(Σ x_j − s)² with s the sum at the minimum, which is x_j = 1/j with value c.
inline Problem quadratic(std::size_t n, double c = 0.0)
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

inline Problem constant(std::size_t n, double value)
{
    return {[=](const Doubles &) { return value; },
            [=](const Doubles &, Doubles &g) { std::fill(g.begin(), g.end(), 0.0); },
            Doubles(n + 1, 2.385)};
}

inline oracle::ConjugateGradients expectedOf(const Problem &problem, double ftol)
{
    return {.f = problem.f, .df = problem.df, .p = problem.start, .ftol = ftol};
}

inline kmath_status statusOf(const oracle::ConjugateGradients &expected)
{
    const bool found = expected.end == oracle::ConjugateGradients::converged ||
                       expected.end == oracle::ConjugateGradients::stationary;
    return found ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS;
}

inline void expectState(const kmath_frprmn &record, const oracle::ConjugateGradients &expected)
{
    EXPECT_EQ(record.iterations, expected.iterations);
    expectElements(record.p, expected.p);
    expectElements(record.g, expected.g);
    expectElements(record.h, expected.h);
    expectElements(record.xi, expected.xi);
}

} // namespace support::conjugate
