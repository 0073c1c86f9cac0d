/**
 * @file
 * Nonlinear least squares: the Levenberg–Marquardt solver record, its
 * minimization loop and its replaceable strategy functions.
 */
#ifndef KMATH_SOLVERS_H
#define KMATH_SOLVERS_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kmath_levmarqsolve kmath_levmarqsolve;

typedef kmath_status (*kmath_levmarqsolve_func)(kmath_levmarqsolve *solver,
                                                const kmath_nmmatrix *params,
                                                kmath_nmmatrix *residuals, void *userData);
typedef kmath_status (*kmath_levmarqsolve_funcI)(kmath_levmarqsolve *solver,
                                                 const kmath_nmmatrix *params,
                                                 kmath_nmmatrix *residuals, int32_t paramIndex,
                                                 int32_t *residualMask, void *userData);
typedef kmath_status (*kmath_levmarqsolve_funcIJ)(kmath_levmarqsolve *solver,
                                                  const kmath_nmmatrix *params,
                                                  kmath_nmmatrix *residuals, int32_t paramIndex,
                                                  int32_t *residualMask, int32_t jobIndex,
                                                  void *userData);
typedef kmath_status (*kmath_levmarqsolve_jacobianFunc)(
    kmath_levmarqsolve *solver, const kmath_nmmatrix *params, const kmath_nmmatrix *residuals,
    kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
    void *userData);
typedef kmath_status (*kmath_levmarqsolve_searchDirFunc)(kmath_levmarqsolve *solver,
                                                         kmath_nmmatrix *normalMatrix,
                                                         const kmath_nmmatrix *gradient,
                                                         kmath_nmmatrix *step, double lambda,
                                                         void *userData);

/** A nonlinear least-squares problem, its tuning and its work matrices. */
struct kmath_levmarqsolve {
    int32_t nResiduals;             /**< number of residuals */
    int32_t nParams;                /**< number of parameters */
    double decreaseTolerance;       /**< stop when a step's drop of the cost is below its square */
    double costTolerance;           /**< stop when the cost is not above its square */
    double lambda;                  /**< damping: start value on entry, last value on return */
    kmath_nmmatrix params;          /**< 1 × nParams: start on entry, solution on return */
    int32_t maxIterations;          /**< cap on Jacobian evaluations */
    double jacobianStep;            /**< absolute forward-difference step of the numeric Jacobian */
    double maxConditionNumber;      /**< limit handed to the linear solve and its fallback */
    int32_t maxTries;               /**< damping tries allowed in one iteration */
    int32_t useThreads;             /**< non-zero: the numeric Jacobian uses worker threads */
    int32_t interleaveColumns;      /**< non-zero: job i takes parameters i, i + nJobs, … */
    kmath_levmarqsolve_func func;   /**< residuals, plain shape, or null */
    kmath_levmarqsolve_funcI funcI; /**< residuals, indexed shape, or null */
    kmath_levmarqsolve_funcIJ funcIJ; /**< residuals, indexed shape with a job number, or null */
    kmath_levmarqsolve_jacobianFunc compJacobian;   /**< Jacobian, gradient and normal matrix */
    kmath_levmarqsolve_searchDirFunc compSearchDir; /**< solves the damped normal equations */
    int32_t allocJacobian;         /**< non-zero: setting the system sized the Jacobian */
    kmath_nmmatrix jacobian;       /**< nParams × nResiduals, transposed textbook Jacobian */
    kmath_nmmatrix residuals;      /**< 1 × nResiduals */
    kmath_nmmatrix normalMatrix;   /**< nParams × nParams, jacobian·jacobianᵀ */
    kmath_nmmatrix gradient;       /**< 1 × nParams, residuals·jacobianᵀ */
    kmath_nmmatrix step;           /**< 1 × nParams, search direction */
    kmath_nmmatrix trialParams;    /**< 1 × nParams, parameters being tried */
    kmath_nmmatrix spareResiduals; /**< 1 × nResiduals, room for the caller */
    void *userData;                /**< handed to every callback */
};

KMATH_API kmath_status kmath_levmarqsolve_construct(kmath_levmarqsolve *solver);
KMATH_API kmath_status kmath_levmarqsolve_destruct(kmath_levmarqsolve *solver);
KMATH_API kmath_status kmath_levmarqsolve_assign(kmath_levmarqsolve *destination,
                                                 const kmath_levmarqsolve *source);
KMATH_API kmath_status kmath_levmarqsolve_setSys(kmath_levmarqsolve *solver,
                                                 kmath_levmarqsolve_func func,
                                                 kmath_levmarqsolve_jacobianFunc compJacobian,
                                                 int32_t nResiduals, int32_t nParams,
                                                 const kmath_nmmatrix *initialParams,
                                                 int32_t allocJacobian, void *userData);
KMATH_API kmath_status kmath_levmarqsolve_setSysI(kmath_levmarqsolve *solver,
                                                  kmath_levmarqsolve_funcI funcI,
                                                  kmath_levmarqsolve_jacobianFunc compJacobian,
                                                  int32_t nResiduals, int32_t nParams,
                                                  const kmath_nmmatrix *initialParams,
                                                  int32_t allocJacobian, void *userData);
KMATH_API kmath_status kmath_levmarqsolve_setSysIJ(kmath_levmarqsolve *solver,
                                                   kmath_levmarqsolve_funcIJ funcIJ,
                                                   kmath_levmarqsolve_jacobianFunc compJacobian,
                                                   int32_t nResiduals, int32_t nParams,
                                                   const kmath_nmmatrix *initialParams,
                                                   int32_t allocJacobian, void *userData);
KMATH_API kmath_status kmath_levmarqsolve_minimize(kmath_levmarqsolve *solver, double *finalCost);
KMATH_API kmath_status kmath_levmarqsolve_compSearchDirLinSys(kmath_levmarqsolve *solver,
                                                              kmath_nmmatrix *normalMatrix,
                                                              const kmath_nmmatrix *gradient,
                                                              kmath_nmmatrix *step, double lambda,
                                                              void *userData);
KMATH_API kmath_status kmath_levmarqsolve_compnumericjacob(
    kmath_levmarqsolve *solver, const kmath_nmmatrix *params, const kmath_nmmatrix *residuals,
    kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
    void *userData);

#ifdef __cplusplus
}
#endif

#endif
