#include "solvers/damped_oracle.hpp"
#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace support;

namespace
{

void expectOraclesBits(Problem problem, const Tuning &tuning)
{
    for (const bool linear : {false, true})
        for (const Shape shape : allShapes) {
            SCOPED_TRACE(linear ? "linsolve" : "levmarqsolve");
            const Outcome expected = DampedOracle{problem, tuning, linear}.minimize();

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
