// The damped loop as a textbook writes it: plain arrays, plain sums in increasing index, and
// nothing of the library but its linear solves.
#pragma once

#include "solvers/damped_driver.hpp"
#include "solvers/problems.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace support
{

using Row = std::vector<double>;

struct Tuning {
    double decreaseTolerance = 1e-15, costTolerance = 1e-15, lambda = 0.01;
    double jacobianStep = 1e-8, maxConditionNumber = 1e20;
    int maxIterations = 100, maxTries = 15;
};

struct Outcome {
    Row params;
    double lambda, cost;
    int evaluations;
    kmath_status status;
};

constexpr double unwritten = -7.0;

struct DampedOracle {
    const Problem &problem;
    Tuning tuning;
    const Driver &driver;
    int evaluations = 0;

    Row residuals(const Row &p)
    {
        ++evaluations;
        Row r(static_cast<std::size_t>(problem.m));
        problem.residuals(p.data(), r.data());
        return r;
    }

    static double sumOfSquares(const Row &r)
    {
        double sum = 0.0;
        for (const double x : r)
            sum += x * x;
        return sum;
    }

    static double dot(const Row &a, const Row &b)
    {
        double sum = 0.0;
        for (std::size_t k = 0; k < a.size(); ++k)
            sum += a[k] * b[k];
        return sum;
    }

    // What the step comes to: `refused` where the driver without a fallback has none, the
    // failure of the fallback where the other has none.
    kmath_status findStep(Matrix &N, const Matrix &g, double lambda, Matrix &step,
                          bool &refused) const
    {
        for (std::int32_t i = 0; i < N.rows(); ++i)
            N(i, i) += lambda;
        double condition;
        refused = KMATH_IS_FAILURE(
            kmath_nmmatrix_solve(&N, &g, &step, 1, &condition, tuning.maxConditionNumber));
        if (refused && driver.asksDirection) {
            Matrix column(g.cols(), 1), x;
            for (std::int32_t i = 0; i < g.cols(); ++i)
                column(i, 0) = g(0, i);
            const kmath_status status =
                kmath_nmmatrix_pseudoSolve(&N, &column, &x, tuning.maxConditionNumber);
            if (KMATH_IS_FAILURE(status))
                return status;
            for (std::int32_t i = 0; i < g.cols(); ++i)
                step(0, i) = x(i, 0);
            refused = false;
        }
        for (std::int32_t i = 0; i < N.rows(); ++i)
            N(i, i) += -lambda;
        return KMATH_OK;
    }

    Outcome minimize()
    {
        const std::int32_t n = problem.n();
        const auto count = static_cast<std::size_t>(n);
        Row p = problem.start, r = residuals(p);
        double lambda = tuning.lambda, cost = sumOfSquares(r);
        const auto end = [&](double finalCost) {
            return Outcome{p, driver.lambdaAfter(tuning.lambda, lambda), finalCost, evaluations,
                           KMATH_OK};
        };
        for (int iteration = 0; iteration < tuning.maxIterations; ++iteration) {
            if (!(cost > tuning.costTolerance * tuning.costTolerance))
                break;
            std::vector<Row> J;
            for (std::size_t j = 0; j < count; ++j) {
                Row q = p;
                q[j] += tuning.jacobianStep;
                J.push_back(residuals(q));
                for (std::size_t k = 0; k < r.size(); ++k)
                    J[j][k] = (J[j][k] - r[k]) * (1.0 / tuning.jacobianStep);
            }
            const auto row = [&](std::int32_t j) -> const Row & {
                return J[static_cast<std::size_t>(j)];
            };
            Matrix N = build(n, n, [&](auto i, auto j) { return dot(row(i), row(j)); });
            const Matrix g = build(1, n, [&](auto, auto j) { return dot(r, row(j)); });

            Row trial = p;
            double newCost;
            int tries = 0;
            do {
                Matrix step(1, n);
                bool refused;
                const kmath_status status = findStep(N, g, lambda, step, refused);
                if (KMATH_IS_FAILURE(status))
                    return Outcome{p, tuning.lambda, unwritten, evaluations, status};
                if (refused)
                    return end(cost);
                for (std::size_t j = 0; j < count; ++j)
                    trial[j] -= step(0, static_cast<std::int32_t>(j));
                r = residuals(trial);
                newCost = sumOfSquares(r);
                if (newCost > cost) {
                    lambda = lambda * driver.raise;
                    trial = p;
                } else {
                    lambda = lambda * 0.1;
                }
                if (++tries == tuning.maxTries)
                    return end(newCost);
            } while (!(newCost <= cost));
            p = trial;
            const double decrease = cost - newCost;
            cost = newCost;
            if (std::fabs(decrease) < tuning.decreaseTolerance * tuning.decreaseTolerance)
                break;
        }
        return end(cost);
    }
};

} // namespace support
