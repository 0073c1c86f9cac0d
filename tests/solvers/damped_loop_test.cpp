// Both damped drivers against the loop as a textbook writes it: plain arrays, plain sums in
// increasing index, and nothing of the library but its linear solves.
#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace support;

namespace
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

struct Oracle {
    const Problem &problem;
    Tuning tuning;
    bool linear; // kmath_linsolve_minimize, else kmath_levmarqsolve_minimize
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

    // What the step comes to: `refused` where the linear driver has none, the failure of the
    // fallback where the other has none.
    kmath_status findStep(Matrix &N, const Matrix &g, double lambda, Matrix &step,
                          bool &refused) const
    {
        for (std::int32_t i = 0; i < N.rows(); ++i)
            N(i, i) += lambda;
        double condition;
        refused = KMATH_IS_FAILURE(
            kmath_nmmatrix_solve(&N, &g, &step, 1, &condition, tuning.maxConditionNumber));
        if (refused && !linear) {
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
            return Outcome{p, linear ? tuning.lambda : lambda, finalCost, evaluations, KMATH_OK};
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
                    lambda = lambda * (linear ? 12.0 : 10.0);
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

void expectOraclesBits(Problem problem, const Tuning &tuning)
{
    for (const bool linear : {false, true})
        for (const Shape shape : allShapes) {
            SCOPED_TRACE(linear ? "linsolve" : "levmarqsolve");
            const Outcome expected = Oracle{problem, tuning, linear}.minimize();

            int evaluations = 0;
            Problem counted = problem;
            counted.residuals = [&](const double *p, double *r) {
                ++evaluations;
                problem.residuals(p, r);
            };
            Solver s;
            set(s, counted, shape);
            s->decreaseTolerance = tuning.decreaseTolerance;
            s->costTolerance = tuning.costTolerance;
            s->lambda = tuning.lambda;
            s->jacobianStep = tuning.jacobianStep;
            s->maxConditionNumber = tuning.maxConditionNumber;
            s->maxIterations = tuning.maxIterations;
            s->maxTries = tuning.maxTries;
            double cost = unwritten;
            EXPECT_EQ(linear ? kmath_linsolve_minimize(&s, &cost)
                             : kmath_levmarqsolve_minimize(&s, &cost),
                      expected.status);
            EXPECT_EQ(evaluations, expected.evaluations);
            EXPECT_TRUE(sameBits(cost, expected.cost)) << cost << ' ' << expected.cost;
            EXPECT_TRUE(sameBits(s->lambda, expected.lambda)) << s->lambda;
            for (std::int32_t j = 0; j < problem.n(); ++j)
                EXPECT_TRUE(
                    sameBits(s->params.rows[0][j], expected.params[static_cast<std::size_t>(j)]))
                    << "parameter " << j;
        }
}

Problem rosenbrock()
{
    return {2, {-1.2, 1.0}, [](const double *p, double *r) {
                r[0] = 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            }};
}

TEST(DampedLoop, HasTheBitsOfTheTextbookLoop)
{
    for (const std::int32_t n : {1, 2, 5, 9, 17})
        for (const std::int32_t m : {1, n, 2 * n + 3}) {
            SCOPED_TRACE(testing::Message() << m << " residuals, " << n << " parameters");
            Tuning tuning;
            tuning.maxIterations = 25;
            expectOraclesBits(waves(m, n), tuning);
        }
    expectOraclesBits(rosenbrock(), {});
}

TEST(DampedLoop, HasTheBitsOfTheTextbookLoopUnderAnyTuning)
{
    const auto with = [](auto field, auto value) {
        Tuning tuning;
        tuning.maxIterations = 25;
        tuning.*field = value;
        return tuning;
    };
    const Problem problems[] = {rosenbrock(), waves(8, 4), waves(3, 5)};
    for (const Problem &problem : problems) {
        for (const double lambda : {0.0, 1e-12, 1.0, 1e6, -0.5})
            expectOraclesBits(problem, with(&Tuning::lambda, lambda));
        for (const double condition : {0.0, 10.0, 1e5})
            expectOraclesBits(problem, with(&Tuning::maxConditionNumber, condition));
        for (const double tolerance : {0.0, 1e-3, 2.0}) {
            expectOraclesBits(problem, with(&Tuning::costTolerance, tolerance));
            expectOraclesBits(problem, with(&Tuning::decreaseTolerance, tolerance));
        }
        for (const int tries : {1, 2, 3})
            expectOraclesBits(problem, with(&Tuning::maxTries, tries));
        for (const int iterations : {0, 1, 2})
            expectOraclesBits(problem, with(&Tuning::maxIterations, iterations));
        for (const double step : {1e-3, -1e-8, 1e-12})
            expectOraclesBits(problem, with(&Tuning::jacobianStep, step));
    }
}

// A wall of NaN or infinity beside the way: costs that cannot be compared take part in the bits.
TEST(DampedLoop, HasTheBitsOfTheTextbookLoopAroundPoles)
{
    for (const double beyond :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        for (const double wall : {-0.9, -0.3, 0.2, 0.9}) {
            SCOPED_TRACE(testing::Message() << beyond << " beyond " << wall);
            Problem problem = rosenbrock();
            problem.residuals = [=](const double *p, double *r) {
                r[0] = p[0] > wall ? beyond : 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            };
            Tuning tuning;
            tuning.lambda = 1e3;
            expectOraclesBits(problem, tuning);
        }
}

} // namespace
