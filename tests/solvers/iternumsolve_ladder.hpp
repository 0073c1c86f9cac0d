// Scalar functions for the ladder of numeric gradients, and a record that keeps an account of what
// its objective saw.
#pragma once

#include <kmath/solvers.h>

#include "solvers/damped_oracle.hpp"
#include "support/matrices.hpp"
#include "support/owned.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace support::ladder
{

constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);

using Ladder = Owned<kmath_iternumsolve, kmath_iternumsolve_construct, kmath_iternumsolve_destruct>;

/// What the objective saw at one call.
struct Call {
    Row point;
    double gradStep, lambda, finalValue;
};

struct Scalar {
    std::function<double(const double *)> f;
    std::vector<Call> calls;
    const double *finalValue = nullptr; // watched
    std::size_t failing = SIZE_MAX;
    bool throws = false;
    std::mutex mutex;

    explicit Scalar(std::function<double(const double *)> function) : f(std::move(function)) {}
};

inline Scalar &scalarOf(kmath_iternumsolve *solver)
{
    return *static_cast<Scalar *>(solver->solver.userData);
}

inline kmath_status objective(kmath_iternumsolve *solver, const kmath_nmmatrix *params,
                              double *value)
{
    Scalar &scalar = scalarOf(solver);
    const double *p = params->rows[0];
    {
        const std::lock_guard lock(scalar.mutex);
        const std::size_t number = scalar.calls.size();
        scalar.calls.push_back({Row(p, p + params->nCols), solver->gradStep, solver->solver.lambda,
                                scalar.finalValue ? *scalar.finalValue : unwritten});
        if (number == scalar.failing && scalar.throws)
            throw std::runtime_error("no value");
        if (number == scalar.failing)
            return ownFailure;
    }
    *value = scalar.f(p);
    return KMATH_OK;
}

inline void set(Ladder &s, Scalar &scalar, const Row &start, bool indexed = false)
{
    const auto n = static_cast<std::int32_t>(start.size());
    const Matrix p = build(1, n, [&](auto, auto j) { return start[static_cast<std::size_t>(j)]; });
    const auto jacobian = kmath_levmarqsolve_compnumericjacob;
    ASSERT_EQ(indexed
                  ? kmath_levmarqsolve_setSysI(&s->solver, kmath_iternumsolve_levmarqsolve_funcI,
                                               jacobian, n, n, &p, 1, &scalar)
                  : kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                              jacobian, n, n, &p, 1, &scalar),
              KMATH_OK);
    s->objective = objective;
}

inline void setSteps(Ladder &s, double start, double end, double factor)
{
    s->gradStepStart = start;
    s->gradStepEnd = end;
    s->gradStepFactor = factor;
}

inline double constant(const double *) { return 2.385; }
inline double rosenbrock(const double *p)
{
    const double a = p[1] - p[0] * p[0];
    return 100.0 * a * a + (1.0 - p[0]) * (1.0 - p[0]);
}
inline double bowl(const double *p) // least at (3, −1): 7
{
    const double x = p[0] - 3.0, y = p[1] + 1.0;
    return 7.0 + x * x + 2.0 * y * y + 0.5 * x * y;
}

inline bool sameRow(const Row &a, const Row &b)
{
    bool same = a.size() == b.size();
    for (std::size_t j = 0; same && j < a.size(); ++j)
        same = sameBits(a[j], b[j]);
    return same;
}

inline Row rowOf(const kmath_nmmatrix &matrix)
{
    return Row(matrix.rows[0], matrix.rows[0] + matrix.nCols);
}

inline double coupledWaves(const double *p)
{
    return std::sin(p[0] + 2.0 * p[1]) + 0.1 * (p[0] * p[0] + p[1] * p[1] + p[2] * p[2]) +
           std::cos(p[2] * p[0]);
}

struct ScalarRun {
    Ladder s;
    Scalar scalar;
    double value = unwritten;
    kmath_status status = KMATH_OK;

    explicit ScalarRun(std::function<double(const double *)> f, const Row &start,
                       bool indexed = false)
        : scalar(std::move(f))
    {
        set(s, scalar, start, indexed);
        scalar.finalValue = &value;
    }

    void minimize() { status = kmath_iternumsolve_minimize(&s, &value); }
    Row params() { return rowOf(s->solver.params); }
};

/// The steps that the objective saw, each once; the first call comes before the ladder and the last
/// after it.
inline std::vector<double> stepsOf(const Scalar &scalar)
{
    std::vector<double> steps;
    for (std::size_t i = 1; i + 1 < scalar.calls.size(); ++i)
        if (steps.empty() || scalar.calls[i].gradStep != steps.back())
            steps.push_back(scalar.calls[i].gradStep);
    return steps;
}

/// Independence: asked pairs are kept, answers come from a table.
inline std::vector<std::pair<std::int32_t, std::int32_t>> asked;
inline std::vector<std::int32_t> answers; // by component
inline std::int32_t failingQuestion = -1;
inline bool questionThrows = false;

inline kmath_status fromTable(kmath_iternumsolve *, std::int32_t paramIndex,
                              std::int32_t gradientIndex, std::int32_t *independent)
{
    EXPECT_EQ(*independent, 0);
    asked.emplace_back(paramIndex, gradientIndex);
    if (gradientIndex == failingQuestion && questionThrows)
        throw std::runtime_error("no answer");
    if (gradientIndex == failingQuestion)
        return ownFailure;
    if (answers[static_cast<std::size_t>(gradientIndex)])
        *independent = answers[static_cast<std::size_t>(gradientIndex)];
    return KMATH_OK;
}

} // namespace support::ladder
