// The Levenberg–Marquardt solver record: life cycle, copy, and setting the system.
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

constexpr kmath_nmmatrix kmath_levmarqsolve::*matrices[] = {
    &kmath_levmarqsolve::params,      &kmath_levmarqsolve::jacobian,
    &kmath_levmarqsolve::residuals,   &kmath_levmarqsolve::normalMatrix,
    &kmath_levmarqsolve::gradient,    &kmath_levmarqsolve::step,
    &kmath_levmarqsolve::trialParams, &kmath_levmarqsolve::spareResiduals,
};

void setDefaults(kmath_levmarqsolve &solver)
{
    solver.nResiduals = 0;
    solver.nParams = 0;
    solver.decreaseTolerance = 1e-15;
    solver.costTolerance = 1e-15;
    solver.lambda = 0.01;
    solver.maxIterations = 100;
    solver.jacobianStep = 1e-8;
    solver.maxConditionNumber = 1e20;
    solver.maxTries = 15;
    solver.useThreads = 0;
    solver.interleaveColumns = 0;
    solver.func = nullptr;
    solver.funcI = nullptr;
    solver.funcIJ = nullptr;
    solver.compJacobian = kmath_levmarqsolve_compnumericjacob;
    solver.compSearchDir = kmath_levmarqsolve_compSearchDirLinSys;
    solver.allocJacobian = 0;
}

// One of the three is set.
struct Callbacks {
    kmath_levmarqsolve_func func = nullptr;
    kmath_levmarqsolve_funcI funcI = nullptr;
    kmath_levmarqsolve_funcIJ funcIJ = nullptr;
};

kmath_status sizeMatrices(kmath_levmarqsolve &solver)
{
    const int32_t m = solver.nResiduals;
    const int32_t n = solver.nParams;
    if (solver.allocJacobian)
        RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.jacobian, n, m));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.residuals, 1, m));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.normalMatrix, n, n));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.gradient, 1, n));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.step, 1, n));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&solver.trialParams, 1, n));
    return kmath_nmmatrix_resize(&solver.spareResiduals, 1, m);
}

kmath_status setSystem(kmath_levmarqsolve &solver, const Callbacks &callbacks,
                       kmath_levmarqsolve_jacobianFunc compJacobian, int32_t nResiduals,
                       int32_t nParams, const kmath_nmmatrix &initialParams, int32_t allocJacobian,
                       void *userData)
{
    if (nResiduals < 1 || nParams < 1 || initialParams.nRows != 1 || initialParams.nCols != nParams)
        return KMATH_ERR_BAD_DIMENSIONS;

    solver.allocJacobian = allocJacobian;
    solver.nResiduals = nResiduals;
    solver.nParams = nParams;
    solver.func = callbacks.func;
    solver.funcI = callbacks.funcI;
    solver.funcIJ = callbacks.funcIJ;
    solver.compJacobian = compJacobian;
    solver.userData = userData;

    // The parameters come first: the initial ones may be another matrix of this record.
    RETURN_IF_FAILED(kmath_nmmatrix_assign(&solver.params, &initialParams));
    return sizeMatrices(solver);
}

} // namespace

kmath_status kmath_levmarqsolve_construct(kmath_levmarqsolve *solver)
{
    KMATH_ASSERT_LINE(31, solver);
    setDefaults(*solver);

    CleanupFrame<8> frame;
    for (const auto matrix : matrices) {
        TRY(kmath_nmmatrix_construct(&(solver->*matrix)));
        frame.guard(solver->*matrix);
    }
    solver->userData = nullptr;
    return frame.leave(KMATH_OK);
}

kmath_status kmath_levmarqsolve_destruct(kmath_levmarqsolve *solver)
{
    KMATH_ASSERT_LINE(138, solver);
    for (const auto matrix : matrices)
        kmath_nmmatrix_destruct(&(solver->*matrix));
    return KMATH_OK;
}

kmath_status kmath_levmarqsolve_assign(kmath_levmarqsolve *destination,
                                       const kmath_levmarqsolve *source)
{
    KMATH_ASSERT_LINE(92, destination && source);
    destination->nResiduals = source->nResiduals;
    destination->nParams = source->nParams;
    destination->decreaseTolerance = source->decreaseTolerance;
    destination->costTolerance = source->costTolerance;
    destination->lambda = source->lambda;
    destination->jacobianStep = source->jacobianStep;
    destination->maxConditionNumber = source->maxConditionNumber;
    destination->maxIterations = source->maxIterations;
    destination->maxTries = source->maxTries;
    destination->useThreads = source->useThreads;
    destination->interleaveColumns = source->interleaveColumns;
    destination->func = source->func;
    destination->funcI = source->funcI;
    destination->funcIJ = source->funcIJ;
    destination->compJacobian = source->compJacobian;
    destination->compSearchDir = source->compSearchDir;

    RETURN_IF_FAILED(kmath_nmmatrix_assign(&destination->params, &source->params));
    destination->allocJacobian = source->allocJacobian;
    destination->userData = source->userData;

    for (const auto matrix : matrices)
        if (matrix != &kmath_levmarqsolve::params)
            RETURN_IF_FAILED(kmath_nmmatrix_assign(&(destination->*matrix), &(source->*matrix)));
    return KMATH_OK;
}

kmath_status kmath_levmarqsolve_setSys(kmath_levmarqsolve *solver, kmath_levmarqsolve_func func,
                                       kmath_levmarqsolve_jacobianFunc compJacobian,
                                       int32_t nResiduals, int32_t nParams,
                                       const kmath_nmmatrix *initialParams, int32_t allocJacobian,
                                       void *userData)
{
    KMATH_ASSERT_LINE(183, solver && initialParams);
    return setSystem(*solver, {.func = func}, compJacobian, nResiduals, nParams, *initialParams,
                     allocJacobian, userData);
}

kmath_status kmath_levmarqsolve_setSysI(kmath_levmarqsolve *solver, kmath_levmarqsolve_funcI funcI,
                                        kmath_levmarqsolve_jacobianFunc compJacobian,
                                        int32_t nResiduals, int32_t nParams,
                                        const kmath_nmmatrix *initialParams, int32_t allocJacobian,
                                        void *userData)
{
    KMATH_ASSERT_LINE(245, solver && initialParams);
    return setSystem(*solver, {.funcI = funcI}, compJacobian, nResiduals, nParams, *initialParams,
                     allocJacobian, userData);
}

kmath_status kmath_levmarqsolve_setSysIJ(kmath_levmarqsolve *solver,
                                         kmath_levmarqsolve_funcIJ funcIJ,
                                         kmath_levmarqsolve_jacobianFunc compJacobian,
                                         int32_t nResiduals, int32_t nParams,
                                         const kmath_nmmatrix *initialParams, int32_t allocJacobian,
                                         void *userData)
{
    KMATH_ASSERT_LINE(306, solver && initialParams);
    return setSystem(*solver, {.funcIJ = funcIJ}, compJacobian, nResiduals, nParams, *initialParams,
                     allocJacobian, userData);
}
