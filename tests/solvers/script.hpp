// The decisions of a minimization loop without any mathematics: one parameter, and one residual
// whose values come from a list.
#pragma once

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
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

/// Leaves gradient and normal matrix as they are.
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
    Script &script = scriptOf(userData);
    return script.jacobians++ == script.failingJacobian ? ownFailure : KMATH_OK;
}

} // namespace support
