// How the solvers evaluate residuals: through whichever of the three callbacks is set.
#pragma once

#include <kmath/solvers.h>

#include <cstdint>

namespace kmath
{

/// True for a matrix of that shape that has the storage for it.
inline bool hasShape(const kmath_nmmatrix &matrix, std::int32_t rows, std::int32_t cols)
{
    return matrix.rows && matrix.nRows == rows && matrix.nCols == cols;
}

/// True for a record with a system, set without a failure. After a setting call that ran out of
/// memory some matrix has no storage, and those that would have been sized after it may be smaller
/// than the callbacks take them to be. Jacobian, gradient, normal matrix and step are otherwise the
/// strategy functions' own affair.
inline bool hasSystem(const kmath_levmarqsolve &s)
{
    return s.nResiduals >= 1 && s.nParams >= 1 && hasShape(s.params, 1, s.nParams) &&
           hasShape(s.residuals, 1, s.nResiduals) && (s.jacobian.rows || !s.allocJacobian) &&
           s.normalMatrix.rows && s.gradient.rows && s.step.rows;
}

/// What an indexed callback is told; by default that every residual is wanted.
struct Evaluation {
    std::int32_t paramIndex = -1;
    std::int32_t *residualMask = nullptr;
    std::int32_t jobIndex = 0;
};

inline kmath_status evaluateResiduals(kmath_levmarqsolve &solver, const kmath_nmmatrix &params,
                                      kmath_nmmatrix &residuals, const Evaluation &at = {})
{
    if (solver.func)
        return solver.func(&solver, &params, &residuals, solver.userData);
    if (solver.funcI)
        return solver.funcI(&solver, &params, &residuals, at.paramIndex, at.residualMask,
                            solver.userData);
    return solver.funcIJ(&solver, &params, &residuals, at.paramIndex, at.residualMask, at.jobIndex,
                         solver.userData);
}

} // namespace kmath
