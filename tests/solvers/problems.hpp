// Least-squares problems for tests, and a solver record that cleans up after itself.
#pragma once

#include <kmath/solvers.h>

#include "support/matrices.hpp"
#include "support/owned.hpp"

#include <cmath>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

namespace support
{

using Solver = Owned<kmath_levmarqsolve, kmath_levmarqsolve_construct, kmath_levmarqsolve_destruct>;

/// m residuals of n parameters.
struct Problem {
    std::int32_t m;
    std::vector<double> start;
    std::function<void(const double *p, double *r)> residuals;

    std::int32_t n() const { return static_cast<std::int32_t>(start.size()); }
    Matrix initialParams() const
    {
        return build(
            1, n(), [this](std::int32_t, std::int32_t j) { return start[static_cast<size_t>(j)]; });
    }
};

inline kmath_status evaluate(void *problem, const kmath_nmmatrix *params, kmath_nmmatrix *residuals)
{
    static_cast<const Problem *>(problem)->residuals(params->rows[0], residuals->rows[0]);
    return KMATH_OK;
}

inline kmath_status plainShape(kmath_levmarqsolve *, const kmath_nmmatrix *params,
                               kmath_nmmatrix *residuals, void *problem)
{
    return evaluate(problem, params, residuals);
}

inline kmath_status indexedShape(kmath_levmarqsolve *, const kmath_nmmatrix *params,
                                 kmath_nmmatrix *residuals, std::int32_t, std::int32_t *,
                                 void *problem)
{
    return evaluate(problem, params, residuals);
}

inline kmath_status jobShape(kmath_levmarqsolve *, const kmath_nmmatrix *params,
                             kmath_nmmatrix *residuals, std::int32_t, std::int32_t *, std::int32_t,
                             void *problem)
{
    return evaluate(problem, params, residuals);
}

enum class Shape { plain, indexed, job };
constexpr Shape allShapes[] = {Shape::plain, Shape::indexed, Shape::job};

/// Sets the problem with the library's own Jacobian.
inline void set(Solver &solver, Problem &problem, Shape shape = Shape::plain)
{
    const Matrix p = problem.initialParams();
    const auto jacobian = kmath_levmarqsolve_compnumericjacob;
    const kmath_status status =
        shape == Shape::plain ? kmath_levmarqsolve_setSys(&solver, plainShape, jacobian, problem.m,
                                                          problem.n(), &p, 1, &problem)
        : shape == Shape::indexed
            ? kmath_levmarqsolve_setSysI(&solver, indexedShape, jacobian, problem.m, problem.n(),
                                         &p, 1, &problem)
            : kmath_levmarqsolve_setSysIJ(&solver, jobShape, jacobian, problem.m, problem.n(), &p,
                                          1, &problem);
    if (KMATH_IS_FAILURE(status))
        throw std::runtime_error("the test could not set its system");
}

/// Smooth, nonlinear and coupled: r_k = Σ_j sin((j + 1)·p_j + k) + p_j²/(k + 1), for any m and n.
inline Problem waves(std::int32_t m, std::int32_t n)
{
    Problem problem;
    problem.m = m;
    for (std::int32_t j = 0; j < n; ++j)
        problem.start.push_back(0.3 + 0.17 * j);
    problem.residuals = [m, n](const double *p, double *r) {
        for (std::int32_t k = 0; k < m; ++k) {
            r[k] = 0.0;
            for (std::int32_t j = 0; j < n; ++j)
                r[k] += std::sin((j + 1) * p[j] + k) + p[j] * p[j] / (k + 1);
        }
    };
    return problem;
}

inline Problem rosenbrocksValley()
{
    return {2, {-1.2, 1.0}, [](const double *p, double *r) {
                r[0] = 10.0 * (p[1] - p[0] * p[0]);
                r[1] = 1.0 - p[0];
            }};
}

/// r = B·p − B·p* for a fixed full-rank B of 25 × 7 and p* = (1, −2, 3, …).
inline Problem linearProblem()
{
    const Matrix B = randomMatrix(25, 7, 3);
    return {25, std::vector<double>(7, 0.0), [B](const double *p, double *r) {
                for (std::int32_t k = 0; k < 25; ++k) {
                    r[k] = 0.0;
                    for (std::int32_t j = 0; j < 7; ++j)
                        r[k] += B(k, j) * (p[j] - (j % 2 ? -1.0 - j : 1.0 + j));
                }
            }};
}

inline double costOf(const Problem &problem, const kmath_nmmatrix &params)
{
    std::vector<double> r(static_cast<std::size_t>(problem.m));
    problem.residuals(params.rows[0], r.data());
    double cost = 0.0;
    for (const double residual : r)
        cost += residual * residual;
    return cost;
}

} // namespace support
