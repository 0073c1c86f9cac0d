// A least-squares problem as a test states it, served through each of the three callback shapes.
#pragma once

#include "contract/textbook.hpp"
#include "support/owned.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <functional>

namespace textbook
{

using Solver =
    support::Owned<kmath_levmarqsolve, kmath_levmarqsolve_construct, kmath_levmarqsolve_destruct>;

/// One call of a residual callback.
struct Call {
    int paramIndex = -2;
    std::int32_t *mask = nullptr;
    int jobIndex = -2;
};

enum class Shape { Plain, Indexed, ByJob };
constexpr Shape allShapes[] = {Shape::Plain, Shape::Indexed, Shape::ByJob};

struct Problem {
    int nResiduals;
    std::vector<double> start;
    /// p, r, and how the library called; the status goes back.
    std::function<kmath_status(const double *p, double *r, const Call &call)> evaluate;
};

inline kmath_status callPlain(kmath_levmarqsolve *, const kmath_nmmatrix *p, kmath_nmmatrix *r,
                              void *problem)
{
    return static_cast<Problem *>(problem)->evaluate(p->rows[0], r->rows[0], {});
}

inline kmath_status callIndexed(kmath_levmarqsolve *, const kmath_nmmatrix *p, kmath_nmmatrix *r,
                                std::int32_t index, std::int32_t *mask, void *problem)
{
    return static_cast<Problem *>(problem)->evaluate(p->rows[0], r->rows[0], {index, mask, -2});
}

inline kmath_status callByJob(kmath_levmarqsolve *, const kmath_nmmatrix *p, kmath_nmmatrix *r,
                              std::int32_t index, std::int32_t *mask, std::int32_t job,
                              void *problem)
{
    return static_cast<Problem *>(problem)->evaluate(p->rows[0], r->rows[0], {index, mask, job});
}

inline Matrix rowOf(const std::vector<double> &v)
{
    return support::build(1, static_cast<int>(v.size()),
                          [&](int, int j) { return v[static_cast<std::size_t>(j)]; });
}

inline void set(Solver &s, Problem &problem, Shape shape,
                kmath_levmarqsolve_jacobianFunc jacobian = kmath_levmarqsolve_compnumericjacob)
{
    const Matrix start = rowOf(problem.start);
    const int n = start.cols();
    kmath_status status = KMATH_ERR_FAILED;
    switch (shape) {
    case Shape::Plain:
        status = kmath_levmarqsolve_setSys(&s, callPlain, jacobian, problem.nResiduals, n, &start,
                                           1, &problem);
        break;
    case Shape::Indexed:
        status = kmath_levmarqsolve_setSysI(&s, callIndexed, jacobian, problem.nResiduals, n,
                                            &start, 1, &problem);
        break;
    case Shape::ByJob:
        status = kmath_levmarqsolve_setSysIJ(&s, callByJob, jacobian, problem.nResiduals, n, &start,
                                             1, &problem);
        break;
    }
    ASSERT_EQ(status, KMATH_OK);
}

using Evaluate = std::function<kmath_status(const double *, double *, const Call &)>;

inline Evaluate always(const std::function<void(const double *, double *)> &residuals)
{
    return [residuals](const double *p, double *r, const Call &) {
        residuals(p, r);
        return KMATH_OK;
    };
}

// The problems.

inline Problem rosenbrock()
{
    return {2, {-1.2, 1.0}, always([](const double *p, double *r) {
                r[0] = 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            })};
}

inline Problem powellSingular()
{
    return {4, {3, -1, 0, 1}, always([](const double *p, double *r) {
                r[0] = p[0] + 10 * p[1];
                r[1] = std::sqrt(5.0) * (p[2] - p[3]);
                r[2] = (p[1] - 2 * p[2]) * (p[1] - 2 * p[2]);
                r[3] = std::sqrt(10.0) * (p[0] - p[3]) * (p[0] - p[3]);
            })};
}

/// y = a·exp(−b·x) + c on twenty points with a disturbance.
inline Problem decay()
{
    return {20, {1.0, 5.0, 0.0}, always([](const double *p, double *r) {
                for (int k = 0; k < 20; ++k) {
                    const double x = 0.1 * k;
                    r[k] = p[0] * std::exp(-p[1] * x) + p[2] -
                           (2.5 * std::exp(-1.3 * x) + 0.5 + 0.01 * std::sin(17.0 * k));
                }
            })};
}

inline Problem linear()
{
    return {6, {0, 0}, always([](const double *p, double *r) {
                for (int k = 0; k < 6; ++k)
                    r[k] = p[0] + p[1] * k - (1.0 + 2.0 * k + (k % 2 ? 0.25 : -0.25));
            })};
}

/// The second parameter has no effect, the third copies the first.
inline Problem deficient()
{
    return {3, {2, 7, 1}, always([](const double *p, double *r) {
                r[0] = p[0] + p[2] - 1;
                r[1] = (p[0] + p[2]) * (p[0] + p[2]) - 1;
                r[2] = std::sin(p[0] + p[2]);
            })};
}

/// Residual 1 at the start, 2 anywhere else: every try is rejected.
inline Problem hopeless()
{
    return {1, {2.0}, always([](const double *p, double *r) { r[0] = p[0] == 2.0 ? 1.0 : 2.0; })};
}

/// The record's tuning fields, as a test varies them.
struct Tuning {
    double lambda = 0.01;
    int maxIterations = 100, maxTries = 15;
    double jacobianStep = 1e-8, maxConditionNumber = 1e20, decreaseTolerance = 1e-15,
           costTolerance = 1e-15;
};

inline void tune(Solver &s, const Tuning &t)
{
    s->lambda = t.lambda;
    s->maxIterations = t.maxIterations;
    s->maxTries = t.maxTries;
    s->jacobianStep = t.jacobianStep;
    s->maxConditionNumber = t.maxConditionNumber;
    s->decreaseTolerance = t.decreaseTolerance;
    s->costTolerance = t.costTolerance;
}

} // namespace textbook
