// Eighteen least-squares problems with known minima. F = Σ f_i² is the sum of squares of m
// residuals f_i of n parameters, without a factor ½.
//
// J. J. Moré, B. S. Garbow & K. E. Hillstrom, Testing unconstrained optimization software, ACM
// Transactions on Mathematical Software 7 (1981) 17–41. Minima other than 0, and where they lie,
// were computed with 50 digits.
#pragma once

#include "support/dual.hpp"

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace support
{

struct MinimisationProblem {
    std::string name;
    std::int32_t m;
    std::vector<double> start;
    double startValue; ///< F at the start
    double minimum;    ///< the least F near which a descent from the start ends
    std::vector<double> minimiser;
    std::function<void(const double *x, double *f)> residuals;
    std::function<void(const Dual *x, Dual *f)> residualsWithSlopes;

    std::size_t n() const { return start.size(); }

    double value(const double *x) const
    {
        std::vector<double> f(static_cast<std::size_t>(m));
        residuals(x, f.data());
        double sum = 0.0;
        for (const double residual : f)
            sum += residual * residual;
        return sum;
    }

    /// The residuals with their derivatives by each parameter.
    std::vector<Dual> slopes(const double *x) const
    {
        std::vector<Dual> variables, f(static_cast<std::size_t>(m));
        for (std::size_t j = 0; j < n(); ++j)
            variables.push_back(Dual::variable(x[j], j));
        residualsWithSlopes(variables.data(), f.data());
        return f;
    }

    /// ∂F/∂x_j = 2·Σ f_i·∂f_i/∂x_j.
    std::vector<double> gradient(const double *x) const
    {
        std::vector<double> sum(n(), 0.0);
        for (const Dual &f : slopes(x))
            for (std::size_t j = 0; j < n(); ++j)
                sum[j] += 2.0 * f.value * f.slope[j];
        return sum;
    }
};

namespace more
{

/// The residuals are written once, for plain numbers and for those with slopes.
template <class Residuals>
MinimisationProblem problem(const char *name, std::int32_t m, std::vector<double> start,
                            double startValue, double minimum, std::vector<double> minimiser,
                            const Residuals &residuals)
{
    return {name,      m,        std::move(start), startValue, minimum, std::move(minimiser),
            residuals, residuals};
}

template <class Number> Number sumOf(const Number *x, int n)
{
    Number sum = x[0];
    for (int j = 1; j < n; ++j)
        sum += x[j];
    return sum;
}

inline MinimisationProblem linearFullRank()
{
    return problem("linear, full rank", 10, std::vector<double>(5, 1.0), 25.0, 5.0,
                   std::vector<double>(5, -1.0), [](const auto *x, auto *f) {
                       for (int i = 0; i < 10; ++i) {
                           f[i] = -0.2 * sumOf(x, 5) - 1.0;
                           if (i < 5)
                               f[i] += x[i];
                       }
                   });
}

/// Any x with Σ j·x_j = 1/7 is a minimiser.
inline MinimisationProblem linearRankOne()
{
    return problem("linear, rank 1", 10, std::vector<double>(5, 1.0), 84985.0, 15.0 / 7.0,
                   {1.0 / 7.0, 0.0, 0.0, 0.0, 0.0}, [](const auto *x, auto *f) {
                       auto sum = x[0];
                       for (int j = 1; j < 5; ++j)
                           sum += (j + 1.0) * x[j];
                       for (int i = 0; i < 10; ++i)
                           f[i] = (i + 1.0) * sum - 1.0;
                   });
}

inline MinimisationProblem rosenbrock()
{
    return problem("Rosenbrock", 2, {-1.2, 1.0}, 24.2, 0.0, {1.0, 1.0}, [](const auto *x, auto *f) {
        f[0] = 10.0 * (x[1] - x[0] * x[0]);
        f[1] = 1.0 - x[0];
    });
}

/// Jumps where x_1 = 0 and x_2 < 0, away from the start and the minimum.
inline MinimisationProblem helicalValley()
{
    return problem("helical valley", 3, {-1.0, 0.0, 0.0}, 2500.0, 0.0, {1.0, 0.0, 0.0},
                   [](const auto *x, auto *f) {
                       using std::atan2, std::sqrt;
                       const auto turns = 0.25 - atan2(x[0], x[1]) / (2.0 * std::numbers::pi);
                       f[0] = 10.0 * (x[2] - 10.0 * turns);
                       f[1] = 10.0 * (sqrt(x[0] * x[0] + x[1] * x[1]) - 1.0);
                       f[2] = x[2];
                   });
}

inline MinimisationProblem powellSingular()
{
    return problem("Powell singular", 4, {3.0, -1.0, 0.0, 1.0}, 215.0, 0.0, {0.0, 0.0, 0.0, 0.0},
                   [](const auto *x, auto *f) {
                       const auto inner = x[1] - 2.0 * x[2], outer = x[0] - x[3];
                       f[0] = x[0] + 10.0 * x[1];
                       f[1] = std::sqrt(5.0) * (x[2] - x[3]);
                       f[2] = inner * inner;
                       f[3] = std::sqrt(10.0) * outer * outer;
                   });
}

/// Has the minimum 0 at (5, 4) too, on the other side of a ridge.
inline MinimisationProblem freudensteinRoth()
{
    return problem("Freudenstein, Roth", 2, {0.5, -2.0}, 400.5, 48.9842536792400212,
                   {11.41277898690209, -0.8968052532744765}, [](const auto *x, auto *f) {
                       f[0] = x[0] - 13.0 + ((5.0 - x[1]) * x[1] - 2.0) * x[1];
                       f[1] = x[0] - 29.0 + ((x[1] + 1.0) * x[1] - 14.0) * x[1];
                   });
}

/// Falls towards 17.4286933 as x_2 and x_3 go to −∞.
inline MinimisationProblem bard()
{
    return problem("Bard", 15, {1.0, 1.0, 1.0}, 41.6816958617, 0.008214877306578974752,
                   {0.08241055974978893, 1.133036092029722, 2.343695178642537},
                   [](const auto *x, auto *f) {
                       constexpr double y[] = {0.14, 0.18, 0.22, 0.25, 0.29, 0.32, 0.35, 0.39,
                                               0.37, 0.58, 0.73, 0.96, 1.34, 2.10, 4.39};
                       for (int i = 0; i < 15; ++i) {
                           const double u = i + 1.0, v = 15.0 - i, w = std::fmin(u, v);
                           f[i] = y[i] - (x[0] + u / (v * x[1] + w * x[2]));
                       }
                   });
}

inline MinimisationProblem beale()
{
    return problem("Beale", 3, {1.0, 1.0}, 14.203125, 0.0, {3.0, 0.5}, [](const auto *x, auto *f) {
        constexpr double y[] = {1.5, 2.25, 2.625};
        auto power = x[1];
        for (int i = 0; i < 3; ++i, power *= x[1])
            f[i] = y[i] - x[0] * (1.0 - power);
    });
}

inline MinimisationProblem brownBadlyScaled()
{
    return problem("Brown, badly scaled", 3, {1.0, 1.0}, 999998000003.0, 0.0, {1e6, 2e-6},
                   [](const auto *x, auto *f) {
                       f[0] = x[0] - 1e6;
                       f[1] = x[1] - 2e-6;
                       f[2] = x[0] * x[1] - 2.0;
                   });
}

inline MinimisationProblem powellBadlyScaled()
{
    return problem("Powell, badly scaled", 2, {0.0, 1.0}, 1.13526171734838, 0.0,
                   {1.09815932969981746e-5, 9.10614673986652401}, [](const auto *x, auto *f) {
                       using std::exp;
                       f[0] = 1e4 * x[0] * x[1] - 1.0;
                       f[1] = exp(-x[0]) + exp(-x[1]) - 1.0001;
                   });
}

inline MinimisationProblem jennrichSampson()
{
    return problem("Jennrich, Sampson", 10, {0.3, 0.4}, 4171.30616196, 124.36218235561485351,
                   {0.2578252136703641, 0.2578252136703641}, [](const auto *x, auto *f) {
                       using std::exp;
                       for (int i = 1; i <= 10; ++i)
                           f[i - 1] = 2.0 + 2.0 * i - (exp(i * 1.0 * x[0]) + exp(i * 1.0 * x[1]));
                   });
}

inline MinimisationProblem brownDennis()
{
    return problem("Brown, Dennis", 20, {25.0, 5.0, -5.0, -1.0}, 7926693.337, 85822.201626356344661,
                   {-11.59443990476217, 13.2036300512072, -0.4034394881768595, 0.2367787744557363},
                   [](const auto *x, auto *f) {
                       for (int i = 0; i < 20; ++i) {
                           const double t = (i + 1) / 5.0;
                           const auto a = x[0] + t * x[1] - std::exp(t);
                           const auto b = x[2] + std::sin(t) * x[3] - std::cos(t);
                           f[i] = a * a + b * b;
                       }
                   });
}

inline MinimisationProblem gaussian()
{
    return problem("Gaussian", 15, {0.4, 1.0, 0.0}, 3.88810699117e-6, 1.1279327696186480327e-8,
                   {0.3989561378387567, 1.000019084487806, 0.0}, [](const auto *x, auto *f) {
                       using std::exp;
                       constexpr double y[] = {0.0009, 0.0044, 0.0175, 0.0540, 0.1295,
                                               0.2420, 0.3521, 0.3989, 0.3521, 0.2420,
                                               0.1295, 0.0540, 0.0175, 0.0044, 0.0009};
                       for (int i = 0; i < 15; ++i) {
                           const auto distance = 0.5 * (7.0 - i) - x[2];
                           f[i] = x[0] * exp(-0.5 * x[1] * distance * distance) - y[i];
                       }
                   });
}

/// 0 also at (10, 1, −1) and wherever x_1 = x_2, x_3 = 0.
inline MinimisationProblem box()
{
    return problem("Box", 10, {0.0, 10.0, 20.0}, 1031.1538106094, 0.0, {1.0, 10.0, 1.0},
                   [](const auto *x, auto *f) {
                       using std::exp;
                       for (int i = 0; i < 10; ++i) {
                           const double t = (i + 1) / 10.0;
                           f[i] =
                               exp(-t * x[0]) - exp(-t * x[1]) - (exp(-t) - exp(-10.0 * t)) * x[2];
                       }
                   });
}

inline MinimisationProblem wood()
{
    return problem("Wood", 6, {-3.0, -1.0, -3.0, -1.0}, 19192.0, 0.0, {1.0, 1.0, 1.0, 1.0},
                   [](const auto *x, auto *f) {
                       f[0] = 10.0 * (x[1] - x[0] * x[0]);
                       f[1] = 1.0 - x[0];
                       f[2] = std::sqrt(90.0) * (x[3] - x[2] * x[2]);
                       f[3] = 1.0 - x[2];
                       f[4] = std::sqrt(10.0) * (x[1] + x[3] - 2.0);
                       f[5] = (x[1] - x[3]) / std::sqrt(10.0);
                   });
}

inline MinimisationProblem osborne()
{
    return problem(
        "Osborne 1", 33, {0.5, 1.5, -1.0, 0.01, 0.02}, 0.879026293545, 5.4648946974829064159e-5,
        {0.375410052106952, 1.935846912712367, -1.464687136613423, 0.01286753464005729,
         0.02212269966167261},
        [](const auto *x, auto *f) {
            using std::exp;
            constexpr double y[] = {0.844, 0.908, 0.932, 0.936, 0.925, 0.908, 0.881, 0.850, 0.818,
                                    0.784, 0.751, 0.718, 0.685, 0.658, 0.628, 0.603, 0.580, 0.558,
                                    0.538, 0.522, 0.506, 0.490, 0.478, 0.467, 0.457, 0.448, 0.438,
                                    0.431, 0.424, 0.420, 0.414, 0.411, 0.406};
            for (int i = 0; i < 33; ++i)
                f[i] = y[i] - (x[0] + x[1] * exp(-10.0 * i * x[3]) + x[2] * exp(-10.0 * i * x[4]));
        });
}

/// The coordinates of the minimiser may come in any order.
inline MinimisationProblem chebyquad()
{
    std::vector<double> start;
    for (int j = 1; j <= 8; ++j)
        start.push_back(j / 9.0);
    return problem("Chebyquad", 8, std::move(start), 0.0386176982859, 0.0035168737256779316701,
                   {0.04315276015101663, 0.1930908403841861, 0.2663287068902729, 0.5, 0.5,
                    0.7336712931097271, 0.8069091596158139, 0.9568472398489834},
                   [](const auto *x, auto *f) {
                       using Number = std::decay_t<decltype(x[0])>;
                       for (int i = 1; i <= 8; ++i)
                           f[i - 1] = i % 2 == 0 ? 1.0 / (i * i - 1.0) : 0.0;
                       for (int j = 0; j < 8; ++j) {
                           const Number y = 2.0 * x[j] - 1.0;
                           Number before = 1.0, polynomial = y;
                           for (int i = 0; i < 8; ++i) {
                               f[i] += 0.125 * polynomial;
                               before = std::exchange(polynomial, 2.0 * y * polynomial - before);
                           }
                       }
                   });
}

/// 0 also at (a, …, a, a⁻⁹) for another a; near (0, …, 0, 11) there is a minimum of 1.
inline MinimisationProblem brownAlmostLinear()
{
    return problem("Brown, almost linear", 10, std::vector<double>(10, 0.5), 273.248047828674, 0.0,
                   std::vector<double>(10, 1.0), [](const auto *x, auto *f) {
                       auto product = x[0];
                       for (int j = 1; j < 10; ++j)
                           product *= x[j];
                       for (int i = 0; i < 9; ++i)
                           f[i] = x[i] + sumOf(x, 10) - 11.0;
                       f[9] = product - 1.0;
                   });
}

} // namespace more

inline std::vector<MinimisationProblem> minimisationProblems()
{
    using namespace more;
    return {linearFullRank(),
            linearRankOne(),
            rosenbrock(),
            helicalValley(),
            powellSingular(),
            freudensteinRoth(),
            bard(),
            beale(),
            brownBadlyScaled(),
            powellBadlyScaled(),
            jennrichSampson(),
            brownDennis(),
            gaussian(),
            box(),
            wood(),
            osborne(),
            chebyquad(),
            brownAlmostLinear()};
}

} // namespace support
