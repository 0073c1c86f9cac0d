// A least-squares problem as a test states it, served through each of the three callback shapes.
#pragma once

#include "contract/textbook.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <functional>

namespace textbook
{

class Solver
{
  public:
    Solver() { EXPECT_EQ(kmath_levmarqsolve_construct(&record), KMATH_OK); }
    ~Solver() { EXPECT_EQ(kmath_levmarqsolve_destruct(&record), KMATH_OK); }
    Solver(const Solver &) = delete;
    Solver &operator=(const Solver &) = delete;
    kmath_levmarqsolve *operator&() { return &record; }
    kmath_levmarqsolve *operator->() { return &record; }

  private:
    kmath_levmarqsolve record;
};

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

} // namespace textbook
