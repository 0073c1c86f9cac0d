#include "solvers/problems.hpp"
#include "solvers/script.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(LevmarqsolveMinimize, HandsTheDampingToItsSearchDirection)
{
    // Costs 100; then 144 and 121, both rejected, and 64; then 49; then 0.
    ScriptedRun run(levmarqsolve, {10.0, 12.0, 11.0, 8.0, 7.0, 0.0});
    run.minimize();
    const double l1 = l0 * 10.0, l2 = l1 * 10.0, l3 = l2 * 0.1, l4 = l3 * 0.1;
    EXPECT_EQ(run.script.lambdas, (std::vector{l0, l1, l2, l3, l4}));

    // The next call starts from what this one has left.
    run.script.lambdas.clear();
    run.script.evaluations = 0;
    run.minimize();
    EXPECT_EQ(run.script.lambdas.front(), l4 * 0.1);
}

TEST(LevmarqsolveMinimize, TriesOnWithAnInfiniteDamping)
{
    for (const std::size_t rejections : {300u, 900u}) { // the damping overflows after 311
        std::vector<double> residuals(rejections + 1, 3.0);
        residuals[0] = 2.0;
        residuals.push_back(0.0);
        ScriptedRun run(levmarqsolve, residuals);
        run.solver->maxTries = 0;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.script.evaluations, rejections + 2);
        EXPECT_EQ(run.finalCost, 0.0);
        EXPECT_EQ(run.solver->lambda, levmarqsolve.raised(l0, rejections) * 0.1);
    }
}

TEST(LevmarqsolveMinimize, EndsWithoutACapWhenNothingIsEverAccepted)
{
    for (const double residual : {3.0, nan, infinity})
        for (const double lambda : {0.01, 0.0, -0.01, infinity, nan}) {
            ScriptedRun run(levmarqsolve, {2.0, residual});
            run.solver->maxTries = 0;
            run.solver->lambda = lambda;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.script.evaluations, 1001u);
            EXPECT_EQ(run.params(), start);
            EXPECT_TRUE(sameBits(run.finalCost, residual * residual));
        }
}

// The search direction is missing or fails.

TEST(LevmarqsolveMinimize, RefusesANullSearchDirectionOnlyWhereItIsNeeded)
{
    ScriptedRun needed(levmarqsolve, {2.0, 0.0}), unneeded(levmarqsolve, {0.0});
    for (ScriptedRun *run : {&needed, &unneeded}) {
        run->solver->compSearchDir = nullptr;
        run->minimize();
    }
    EXPECT_EQ(needed.status, KMATH_ERR_FAILED);
    EXPECT_EQ(needed.finalCost, scriptedCost);
    EXPECT_EQ(unneeded.status, KMATH_OK);
}

TEST(LevmarqsolveMinimize, RefusesASearchDirectionThatACallbackTakesAway)
{
    ScriptedRun run(levmarqsolve, {5.0, 4.0, 3.0, 2.0});
    run.solver->compJacobian = [](kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                  const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                  kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                  void *userData) {
        if (scriptOf(userData).jacobians == 1)
            solver->compSearchDir = nullptr;
        return scriptedJacobian(solver, params, residuals, jacobian, gradient, normalMatrix,
                                userData);
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.finalCost, scriptedCost);
    EXPECT_EQ(run.solver->lambda, l0);
    EXPECT_EQ(run.script.jacobians, 2u);
    EXPECT_EQ(run.script.evaluations, 2u);
}

TEST(LevmarqsolveMinimize, PassesAFailureOfTheSearchDirectionOut)
{
    double accepted = start, lambda = l0;
    for (std::size_t call = 0; call < 4; ++call) {
        ScriptedRun run(levmarqsolve, {9.0, 8.0, 7.0, 6.0, 5.0, 4.0});
        run.script.failingDirection = call;
        run.minimize();
        EXPECT_EQ(run.status, ownFailure);
        EXPECT_EQ(run.params(), accepted);
        EXPECT_EQ(run.finalCost, scriptedCost);
        EXPECT_EQ(run.solver->lambda, l0);
        EXPECT_EQ(run.script.evaluations, call + 1);
        accepted = from(accepted, lambda);
        lambda *= 0.1;
    }
}

TEST(LevmarqsolveMinimize, RefusesAStepOfTheWrongShape)
{
    ScriptedRun run(levmarqsolve, {2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *step, double,
                                   void *) { return kmath_nmmatrix_resize(step, 2, 1); };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(run.params(), start);
}

TEST(LevmarqsolveMinimize, SurvivesAParameterWithoutInfluence)
{
    // The normal matrix is singular: the damping makes it regular, and without one the solve fails
    // and the pseudo-inverse moves the other parameter alone.
    Problem problem{2, {5.0, 4.0}, [](const double *p, double *r) {
                        r[0] = p[0] - 2.0;
                        r[1] = 2.0 * (p[0] - 2.0);
                    }};
    for (const double lambda : {0.01, 0.0}) {
        Solver s;
        set(s, problem);
        s->lambda = lambda;
        s->maxConditionNumber = 1e8;
        double cost;
        ASSERT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_NEAR(s->params.rows[0][0], 2.0, 1e-8);
        EXPECT_EQ(s->params.rows[0][1], 4.0);
    }
}

TEST(LevmarqsolveMinimize, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScriptedRun run(levmarqsolve, {2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *step, double, void *) -> kmath_status {
        step->rows[0][0] = 2.0;
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), 8.0);
}

} // namespace
