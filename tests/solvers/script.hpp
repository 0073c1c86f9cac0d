// The decisions of the damped loop without any mathematics: one parameter, one residual whose
// values come from a list, and steps of 1/λ, so that the parameters which are tried tell the
// damping.
#pragma once

#include "solvers/damped_driver.hpp"
#include "solvers/problems.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace support
{

struct Script {
    std::vector<double> residuals; // the last value repeats
    std::size_t evaluations = 0;
    std::size_t jacobians = 0;
    std::vector<double> triedParams;
    std::vector<double> lambdas; // as the search direction saw them
    std::size_t failingEvaluation = SIZE_MAX;
    std::size_t failingJacobian = SIZE_MAX;
    std::size_t failingDirection = SIZE_MAX;
};

constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);
constexpr double start = 10.0;
constexpr double l0 = 0.01;           // the default damping
constexpr double scriptedCost = -7.0; // before the call

inline Script &scriptOf(void *userData) { return *static_cast<Script *>(userData); }

inline kmath_status scriptedResidual(kmath_levmarqsolve *, const kmath_nmmatrix *params,
                                     kmath_nmmatrix *residuals, void *userData)
{
    Script &script = scriptOf(userData);
    script.triedParams.push_back(params->rows[0][0]);
    const std::size_t call = script.evaluations++;
    if (call == script.failingEvaluation)
        return ownFailure;
    residuals->rows[0][0] = script.residuals[std::min(call, script.residuals.size() - 1)];
    return KMATH_OK;
}

/// Gradient 1 and normal matrix 0: the damped normal equations are λ·δ = 1.
inline kmath_status scriptedJacobian(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                     const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                     kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                     void *userData)
{
    EXPECT_EQ(params, &solver->params);
    EXPECT_EQ(residuals, &solver->residuals);
    EXPECT_EQ(jacobian, &solver->jacobian);
    EXPECT_EQ(gradient, &solver->gradient);
    EXPECT_EQ(normalMatrix, &solver->normalMatrix);
    gradient->rows[0][0] = 1.0;
    normalMatrix->rows[0][0] = 0.0;
    Script &script = scriptOf(userData);
    return script.jacobians++ == script.failingJacobian ? ownFailure : KMATH_OK;
}

inline kmath_status scriptedDirection(kmath_levmarqsolve *solver, kmath_nmmatrix *normalMatrix,
                                      const kmath_nmmatrix *gradient, kmath_nmmatrix *step,
                                      double lambda, void *userData)
{
    EXPECT_EQ(normalMatrix, &solver->normalMatrix);
    EXPECT_EQ(gradient, &solver->gradient);
    EXPECT_EQ(step, &solver->step);
    Script &script = scriptOf(userData);
    if (script.lambdas.size() == script.failingDirection)
        return ownFailure;
    script.lambdas.push_back(lambda);
    step->rows[0][0] = 1.0 / lambda;
    return KMATH_OK;
}

/// Where a step from p under the damping leads.
inline double from(double p, double lambda) { return p - 1.0 / lambda; }

struct ScriptedRun {
    const Driver &driver;
    Solver solver;
    Script script;
    double finalCost = scriptedCost;
    kmath_status status = KMATH_OK;

    ScriptedRun(const Driver &which, std::vector<double> residuals) : driver(which)
    {
        script.residuals = std::move(residuals);
        const Matrix p{{start}};
        kmath_levmarqsolve_setSys(&solver, scriptedResidual, scriptedJacobian, 1, 1, &p, 1,
                                  &script);
        // A driver that asks no direction gets by without one.
        solver->compSearchDir = driver.asksDirection ? scriptedDirection : nullptr;
    }

    void minimize() { status = driver.minimize(&solver, &finalCost); }
    double params() { return solver->params.rows[0][0]; }
    double lastResidual() { return solver->residuals.rows[0][0]; }

    /// The record's λ is what the driver leaves of a run from l0 that ended with this one.
    void expectLambda(double last) { EXPECT_EQ(solver->lambda, driver.lambdaAfter(l0, last)); }
};

} // namespace support
