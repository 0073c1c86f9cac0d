#include "solvers/problems.hpp"
#include "solvers/script.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(LinsolveMinimize, TakesTheStepOfTheDampedNormalEquations)
{
    // (N + λI)·δ = g with N = diag(3, 1), λ = 1 and g = (8, −6): δ = (2, −3).
    Solver s;
    const Matrix p{{10.0, 20.0}};
    struct Callbacks {
        static kmath_status jacobian(kmath_levmarqsolve *, const kmath_nmmatrix *,
                                     const kmath_nmmatrix *, kmath_nmmatrix *,
                                     kmath_nmmatrix *gradient, kmath_nmmatrix *N, void *)
        {
            gradient->rows[0][0] = 8.0;
            gradient->rows[0][1] = -6.0;
            N->rows[0][0] = 3.0;
            N->rows[1][1] = 1.0;
            N->rows[0][1] = N->rows[1][0] = 0.0;
            return KMATH_OK;
        }
    };
    Script script;
    script.residuals = {2.0, 0.0};
    ASSERT_EQ(
        kmath_levmarqsolve_setSys(&s, scriptedResidual, Callbacks::jacobian, 1, 2, &p, 1, &script),
        KMATH_OK);
    s->lambda = 1.0;
    double cost;
    ASSERT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
    EXPECT_NEAR(s->step.rows[0][0], 2.0, 1e-14);
    EXPECT_NEAR(s->step.rows[0][1], -3.0, 1e-14);
    EXPECT_EQ(s->params.rows[0][0], 10.0 - s->step.rows[0][0]);
    EXPECT_EQ(s->params.rows[0][1], 20.0 - s->step.rows[0][1]);
    EXPECT_EQ(s->normalMatrix.rows[0][0], 3.0); // undamped again
    EXPECT_EQ(s->normalMatrix.rows[1][1], 1.0);
}

TEST(LinsolveMinimize, NeedsNoSearchDirection)
{
    ScriptedRun run(linsolve, {2.0, 0.0});
    run.solver->compSearchDir = [](kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *, double, void *) -> kmath_status {
        ADD_FAILURE() << "asked";
        return ownFailure;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 0.0);
}

TEST(LinsolveMinimize, NeverWritesTheDamping)
{
    struct End {
        const char *name;
        std::vector<double> residuals;
        void (*arrange)(ScriptedRun &);
        kmath_status status;
    };
    const End ends[] = {
        {"within tolerance", {0.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"accepted to the end", {3.0, 2.0, 0.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"no decrease", {3.0, 3.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"iteration cap",
         {9.0, 8.0, 7.0},
         [](ScriptedRun &run) { run.solver->maxIterations = 2; },
         KMATH_OK},
        {"try cap, rejected", {2.0, 3.0}, [](ScriptedRun &) {}, KMATH_OK},
        {"try cap, accepted",
         {2.0, 1.0},
         [](ScriptedRun &run) { run.solver->maxTries = 1; },
         KMATH_OK},
        {"refused solve",
         {2.0},
         [](ScriptedRun &run) { run.solver->maxConditionNumber = 0.5; },
         KMATH_OK},
        {"no Jacobian function",
         {2.0},
         [](ScriptedRun &run) { run.solver->compJacobian = nullptr; },
         KMATH_ERR_FAILED},
        {"failing residuals",
         {3.0, 4.0, 2.0, 1.0},
         [](ScriptedRun &run) { run.script.failingEvaluation = 3; },
         ownFailure},
        {"failing Jacobian",
         {3.0, 4.0, 2.0, 1.0},
         [](ScriptedRun &run) { run.script.failingJacobian = 1; },
         ownFailure},
    };
    for (const End &end : ends) {
        SCOPED_TRACE(end.name);
        ScriptedRun run(linsolve, end.residuals);
        end.arrange(run);
        run.solver->lambda = 0.37;
        run.minimize();
        EXPECT_EQ(run.status, end.status);
        EXPECT_EQ(run.solver->lambda, 0.37);
        EXPECT_EQ(run.finalCost == scriptedCost, KMATH_IS_FAILURE(end.status));
    }
}

TEST(LinsolveMinimize, EndsWithSuccessWhereTheSolveRefuses)
{
    for (const double limit : {0.5, 0.0, -1.0, nan}) { // a 1 × 1 matrix has condition 1
        ScriptedRun run(linsolve, {2.0, 0.0});
        run.solver->maxConditionNumber = limit;
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.finalCost, 4.0);
        EXPECT_EQ(run.params(), start);
        EXPECT_EQ(run.script.evaluations, 1u);
        EXPECT_EQ(run.script.jacobians, 1u);
        EXPECT_EQ(run.solver->normalMatrix.rows[0][0], 0.0); // undamped all the same
    }
}

TEST(LinsolveMinimize, ReportsTheCostOfTheAcceptedParametersWhereTheSolveRefuses)
{
    // The second iteration's third try is refused, after two rejections.
    ScriptedRun run(linsolve, {5.0, 4.0, 6.0, 7.0, 0.0});
    struct Callbacks {
        static kmath_status residual(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                     kmath_nmmatrix *residuals, void *userData)
        {
            if (scriptOf(userData).evaluations == 3)
                solver->maxConditionNumber = 0.5;
            return scriptedResidual(solver, params, residuals, userData);
        }
    };
    run.solver->func = Callbacks::residual;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.script.evaluations, 4u);
    EXPECT_EQ(run.script.jacobians, 2u);
    EXPECT_EQ(run.finalCost, 16.0); // neither 36 nor 49
    EXPECT_EQ(run.params(), from(start, l0));
    EXPECT_EQ(run.lastResidual(), 7.0);
}

TEST(LinsolveMinimize, LeavesARankDeficientSystemWhereItIs)
{
    // The second parameter has no influence: without a damping the normal matrix is singular.
    Problem problem{2, {5.0, 4.0}, [](const double *p, double *r) {
                        r[0] = p[0] - 2.0;
                        r[1] = 2.0 * (p[0] - 2.0);
                    }};
    for (const double lambda : {0.0, nan, infinity, -infinity}) {
        Solver s;
        set(s, problem);
        s->lambda = lambda;
        double cost;
        EXPECT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_OK);
        EXPECT_EQ(cost, 9.0 + 36.0);
        EXPECT_EQ(s->params.rows[0][0], 5.0);
        EXPECT_EQ(s->params.rows[0][1], 4.0);
    }
    Solver damped;
    set(damped, problem);
    double cost;
    EXPECT_EQ(kmath_linsolve_minimize(&damped, &cost), KMATH_OK);
    EXPECT_NEAR(damped->params.rows[0][0], 2.0, 1e-8);
    EXPECT_EQ(damped->params.rows[0][1], 4.0);
}

TEST(LinsolveMinimize, EndsWithSuccessOnANormalMatrixThatIsNotSquare)
{
    ScriptedRun run(linsolve, {2.0, 0.0});
    run.solver->compJacobian =
        [](kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *, kmath_nmmatrix *,
           kmath_nmmatrix *, kmath_nmmatrix *N, void *) { return kmath_nmmatrix_resize(N, 2, 3); };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.finalCost, 4.0);
}

TEST(LinsolveMinimize, EndsWithoutACapWhenNothingIsEverAccepted)
{
    // Rejections raise the damping until it overflows, and an infinite one is refused.
    std::size_t tries = 0;
    for (double lambda = l0; lambda < infinity; lambda *= 12.0)
        ++tries;
    ScriptedRun rejected(linsolve, {2.0, 3.0});
    rejected.solver->maxTries = 0;
    rejected.minimize();
    EXPECT_EQ(rejected.status, KMATH_OK);
    EXPECT_EQ(rejected.script.evaluations, 1 + tries);
    EXPECT_EQ(rejected.finalCost, 4.0); // of the parameters that stayed
    EXPECT_EQ(rejected.params(), start);

    // With a damping that does not matter, as beside a large normal matrix, tries end at 1000.
    ScriptedRun undecided(linsolve, {2.0, nan});
    undecided.solver->maxTries = 0;
    undecided.solver->compJacobian = [](kmath_levmarqsolve *, const kmath_nmmatrix *,
                                        const kmath_nmmatrix *, kmath_nmmatrix *,
                                        kmath_nmmatrix *gradient, kmath_nmmatrix *N, void *) {
        gradient->rows[0][0] = N->rows[0][0] = 1.0;
        return KMATH_OK;
    };
    undecided.minimize();
    EXPECT_EQ(undecided.status, KMATH_OK);
    EXPECT_EQ(undecided.script.evaluations, 1001u);
    EXPECT_TRUE(std::isnan(undecided.finalCost));
    EXPECT_EQ(undecided.params(), start);
}

TEST(LinsolveMinimize, RefusesAStepOfTheWrongShape)
{
    // A column as gradient makes a column of the step.
    Solver s;
    const Matrix p{{1.0, 2.0}};
    Script script;
    script.residuals = {2.0, 0.0};
    struct Callbacks {
        static kmath_status jacobian(kmath_levmarqsolve *, const kmath_nmmatrix *,
                                     const kmath_nmmatrix *, kmath_nmmatrix *,
                                     kmath_nmmatrix *gradient, kmath_nmmatrix *, void *)
        {
            return kmath_nmmatrix_resize(gradient, 2, 1);
        }
    };
    ASSERT_EQ(
        kmath_levmarqsolve_setSys(&s, scriptedResidual, Callbacks::jacobian, 1, 2, &p, 1, &script),
        KMATH_OK);
    double cost = 2.385;
    EXPECT_EQ(kmath_linsolve_minimize(&s, &cost), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(cost, 2.385);
    EXPECT_EQ(s->params.rows[0][0], 1.0);
}

} // namespace
