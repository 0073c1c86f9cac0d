/**
 * @file
 * Nonlinear least squares: the Levenberg–Marquardt solver record, its two
 * minimization loops and its replaceable strategy functions. Scalar functions: the
 * numeric gradient driven to zero, and conjugate gradients.
 *
 * Minimizes the cost Σ r_k(p)², the sum of the squared residuals without root
 * or factor ½, over the parameters p. Parameters, residuals, gradient and step
 * are rows (1 × n); indices are 0-based. The Jacobian is kept transposed, row j
 * holding the derivatives of all residuals by parameter j. All values have the
 * caller's units.
 *
 * The caller owns the record: kmath_levmarqsolve_construct fills it with
 * defaults, a setting call gives it the problem, the tuning fields are written
 * directly, kmath_levmarqsolve_minimize or kmath_linsolve_minimize runs, params is
 * read, and kmath_levmarqsolve_destruct releases its matrices. It holds matrices that
 * point into themselves, so it is copied by kmath_levmarqsolve_assign, never
 * bytewise. It keeps the callbacks and userData, which stay the caller's, until
 * it is set again or destructed.
 *
 * kmath_iternumsolve minimizes a scalar objective through such a solver. Its record
 * begins with a whole kmath_levmarqsolve, which is set and tuned as ever; the same
 * rules of ownership and copying hold for it.
 *
 * A smooth scalar function, which need not be a sum of squares, is minimized by
 * kmath_frprmn: conjugate gradients from the function and its gradient. Its
 * vectors are kmath_nvector whose elements are counted from 1: variable i of n is
 * data[i], and the spare element data[0] is not used. The caller owns its record,
 * too: construct, setup, minimize, destruct.
 *
 * Every callback returns a status. A failure ends the call that made it and is
 * passed out unchanged; an exception passes through, with everything released.
 * A null record or matrix is an assertion, never a status; the two residual functions
 * of kmath_iternumsolve, called for every evaluation, do not look for it. Distinct
 * arguments are distinct records unless a function says otherwise.
 */
#ifndef KMATH_SOLVERS_H
#define KMATH_SOLVERS_H

#include <kmath/nmmatrix.h>
#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kmath_levmarqsolve kmath_levmarqsolve;

/**
 * r(p): evaluates all residuals.
 *
 * With useThreads set, the numeric Jacobian calls this and the two other shapes
 * from several threads at once, each call with a residual row of its own.
 *
 * @param[in]  solver     the record that calls; read only
 * @param[in]  params     1 × nParams
 * @param[out] residuals  1 × nResiduals, already sized; not to be resized
 * @param[in]  userData   the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_levmarqsolve_func)(kmath_levmarqsolve *solver,
                                                const kmath_nmmatrix *params,
                                                kmath_nmmatrix *residuals, void *userData);

/**
 * r(p), told which parameter has moved.
 *
 * With paramIndex −1 and a null mask every residual is wanted. During a numeric
 * Jacobian there is a mask, and one parameter has moved by jacobianStep from
 * where the Jacobian is taken. The callback may then clear flag k of each
 * residual that does not depend on it: residual k need not be written, and its
 * derivative is 0.0. The flags are set to 1 once per Jacobian (once per job on
 * threads), not per parameter: a cleared flag stays cleared for the parameters
 * that follow until the callback sets it again.
 *
 * @param[in]     solver        the record that calls; read only
 * @param[in]     params        1 × nParams
 * @param[out]    residuals     1 × nResiduals, already sized; not to be resized
 * @param[in]     paramIndex    the moved parameter, 0 … nParams − 1, or −1
 * @param[in,out] residualMask  nResiduals flags, or null with paramIndex −1
 * @param[in]     userData      the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_levmarqsolve_funcI)(kmath_levmarqsolve *solver,
                                                 const kmath_nmmatrix *params,
                                                 kmath_nmmatrix *residuals, int32_t paramIndex,
                                                 int32_t *residualMask, void *userData);

/**
 * r(p), told which parameter has moved and which job calls.
 *
 * As kmath_levmarqsolve_funcI, with a job number for scratch storage per job:
 * no two calls with the same number run at once. It is 0 in a full evaluation
 * and in a Jacobian on one thread.
 *
 * @param[in]     solver        the record that calls; read only
 * @param[in]     params        1 × nParams
 * @param[out]    residuals     1 × nResiduals, already sized; not to be resized
 * @param[in]     paramIndex    the moved parameter, 0 … nParams − 1, or −1
 * @param[in,out] residualMask  nResiduals flags, or null with paramIndex −1
 * @param[in]     jobIndex      0 … jobs − 1
 * @param[in]     userData      the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_levmarqsolve_funcIJ)(kmath_levmarqsolve *solver,
                                                  const kmath_nmmatrix *params,
                                                  kmath_nmmatrix *residuals, int32_t paramIndex,
                                                  int32_t *residualMask, int32_t jobIndex,
                                                  void *userData);

/**
 * J, r·Jᵀ and J·Jᵀ at p, with J in the record's transposed layout.
 *
 * @param[in]  solver        the record that calls
 * @param[in]  params        1 × nParams
 * @param[in]  residuals     1 × nResiduals, evaluated at params
 * @param[out] jacobian      nParams × nResiduals; sized if allocJacobian was set
 * @param[out] gradient      1 × nParams
 * @param[out] normalMatrix  nParams × nParams
 * @param[in]  userData      the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_levmarqsolve_jacobianFunc)(
    kmath_levmarqsolve *solver, const kmath_nmmatrix *params, const kmath_nmmatrix *residuals,
    kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
    void *userData);

/**
 * Solves (N + λI)·δ = g for the step δ, which is then subtracted from p.
 *
 * @param[in]     solver        the record that calls
 * @param[in,out] normalMatrix  N, nParams × nParams; unchanged on return
 * @param[in]     gradient      g, 1 × nParams
 * @param[out]    step          δ, 1 × nParams
 * @param[in]     lambda        λ
 * @param[in]     userData      the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
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
    double lambda;                  /**< damping to start from; see the two minimizations */
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

/**
 * A record with the default tuning, no system and empty matrices.
 *
 * decreaseTolerance and costTolerance 1e-15, lambda 0.01, maxIterations 100,
 * jacobianStep 1e-8, maxConditionNumber 1e20, maxTries 15; compJacobian and
 * compSearchDir are the library's own; everything else is 0 or null.
 *
 * @param[out] solver  the record, in storage of the caller
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_levmarqsolve_construct(kmath_levmarqsolve *solver);

/**
 * Releases the record's matrices and leaves them empty.
 *
 * @param[in,out] solver  a constructed record
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_levmarqsolve_destruct(kmath_levmarqsolve *solver);

/**
 * destination = source: tuning, callbacks, userData and all matrices.
 *
 * A failure leaves what came before it copied: scalars and callbacks come first,
 * then params, then allocJacobian and userData, then the other matrices in the
 * order of the record.
 *
 * @param[in,out] destination  a constructed record; may be source
 * @param[in]     source       a constructed record
 * @return KMATH_OK, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_levmarqsolve_assign(kmath_levmarqsolve *destination,
                                                 const kmath_levmarqsolve *source);

/**
 * Sets the system: callback, sizes, initial parameters and work matrices.
 *
 * The callback replaces one of any shape that was set before; compSearchDir and
 * the tuning fields stay. Bad sizes are refused before anything is stored. After
 * a failing allocation the system is stored and the matrices are partly sized.
 *
 * @param[in,out] solver         a constructed record
 * @param[in]     func           residuals; must not be null once residuals are evaluated
 * @param[in]     compJacobian   Jacobian function, stored as given;
 *                               kmath_levmarqsolve_compnumericjacob for numeric derivatives
 * @param[in]     nResiduals     ≥ 1
 * @param[in]     nParams        ≥ 1
 * @param[in]     initialParams  1 × nParams, copied; may be a matrix of the record
 * @param[in]     allocJacobian  non-zero: size the Jacobian, as the numeric one needs it
 * @param[in]     userData       handed to every callback; may be null
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS for a count below 1 or initial parameters
 *         that are not 1 × nParams; or the status of a failing allocation
 */
KMATH_API kmath_status kmath_levmarqsolve_setSys(kmath_levmarqsolve *solver,
                                                 kmath_levmarqsolve_func func,
                                                 kmath_levmarqsolve_jacobianFunc compJacobian,
                                                 int32_t nResiduals, int32_t nParams,
                                                 const kmath_nmmatrix *initialParams,
                                                 int32_t allocJacobian, void *userData);

/**
 * kmath_levmarqsolve_setSys with an indexed callback.
 *
 * @param[in,out] solver         a constructed record
 * @param[in]     funcI          residuals; must not be null once residuals are evaluated
 * @param[in]     compJacobian   Jacobian function, stored as given
 * @param[in]     nResiduals     ≥ 1
 * @param[in]     nParams        ≥ 1
 * @param[in]     initialParams  1 × nParams, copied; may be a matrix of the record
 * @param[in]     allocJacobian  non-zero: size the Jacobian
 * @param[in]     userData       handed to every callback; may be null
 * @return as kmath_levmarqsolve_setSys
 */
KMATH_API kmath_status kmath_levmarqsolve_setSysI(kmath_levmarqsolve *solver,
                                                  kmath_levmarqsolve_funcI funcI,
                                                  kmath_levmarqsolve_jacobianFunc compJacobian,
                                                  int32_t nResiduals, int32_t nParams,
                                                  const kmath_nmmatrix *initialParams,
                                                  int32_t allocJacobian, void *userData);

/**
 * kmath_levmarqsolve_setSys with an indexed callback that is told its job.
 *
 * @param[in,out] solver         a constructed record
 * @param[in]     funcIJ         residuals; must not be null once residuals are evaluated
 * @param[in]     compJacobian   Jacobian function, stored as given
 * @param[in]     nResiduals     ≥ 1
 * @param[in]     nParams        ≥ 1
 * @param[in]     initialParams  1 × nParams, copied; may be a matrix of the record
 * @param[in]     allocJacobian  non-zero: size the Jacobian
 * @param[in]     userData       handed to every callback; may be null
 * @return as kmath_levmarqsolve_setSys
 */
KMATH_API kmath_status kmath_levmarqsolve_setSysIJ(kmath_levmarqsolve *solver,
                                                   kmath_levmarqsolve_funcIJ funcIJ,
                                                   kmath_levmarqsolve_jacobianFunc compJacobian,
                                                   int32_t nResiduals, int32_t nParams,
                                                   const kmath_nmmatrix *initialParams,
                                                   int32_t allocJacobian, void *userData);

/**
 * Moves params to a local minimum of the cost Σ r_k².
 *
 * Each iteration takes the Jacobian at params and tries steps p − δ(λ). A try
 * that raises the cost is undone and multiplies λ by 10; any other multiplies it
 * by 0.1; the first with a cost at or below the present one is accepted. A NaN
 * cost neither raises nor is accepted: the next try goes on from its parameters.
 *
 * Ends with KMATH_OK, params the last accepted ones and lambda updated, when
 * - the cost is not above costTolerance², a NaN cost included: *finalCost is that cost;
 * - a step changes the cost by less than decreaseTolerance²: *finalCost is the new cost;
 * - maxIterations iterations are done: *finalCost is the cost of params;
 * - an iteration has made maxTries tries: *finalCost is the cost of the last try, even
 *   of a rejected one, and a last try that succeeded is not taken into params.
 *
 * With maxTries ≤ 0 an iteration goes on until a try is accepted; after 1000, when
 * the damping has run through the range of a double, it ends as at the cap.
 * Convergence is not reported otherwise. residuals holds the last evaluation; a
 * further call with maxIterations 0 evaluates residuals and *finalCost at params
 * and changes neither params nor lambda. Every call starts from the lambda that the
 * one before has left. On a failure lambda and *finalCost are not written and params
 * are the last accepted ones.
 *
 * @param[in,out] solver     a record with a system
 * @param[out]    finalCost  cost as above, square of the residuals' unit
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS, before any callback, without a system
 *         (nResiduals or nParams below 1) or with one whose setting call failed;
 *         KMATH_ERR_FAILED when an iteration finds compJacobian or
 *         compSearchDir null; or the failure of a callback or of a matrix operation
 * @see Marquardt, An algorithm for least-squares estimation of nonlinear parameters,
 *      SIAM J. Appl. Math. 11 (1963); Nocedal & Wright, Numerical Optimization, §10.3
 */
KMATH_API kmath_status kmath_levmarqsolve_minimize(kmath_levmarqsolve *solver, double *finalCost);

/**
 * Moves params to a local minimum of the cost Σ r_k², by linear solves alone.
 *
 * kmath_levmarqsolve_minimize with four differences:
 * - a step comes from kmath_nmmatrix_solve on the damped normal equations
 *   (N + λI)·δ = g; compSearchDir is not called and may be null;
 * - there is no fallback: when that solve fails, for whatever reason, a failing
 *   allocation included, the call ends with KMATH_OK, params the last accepted ones
 *   and *finalCost their cost;
 * - a rejected try multiplies λ by 12, not by 10;
 * - lambda is read and never written: every call starts from the caller's.
 *
 * A normal matrix that is singular or beyond maxConditionNumber in spite of its
 * damping thus leaves params where they are, which the status does not tell.
 * normalMatrix comes back undamped, up to rounding. All else, the tuning fields, the
 * other ends and what a failure leaves behind, is as described there.
 *
 * @param[in,out] solver     a record with a system
 * @param[out]    finalCost  cost as above, square of the residuals' unit
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS, before any callback, without a system
 *         (nResiduals or nParams below 1) or with one whose setting call failed;
 *         KMATH_ERR_FAILED when an iteration finds compJacobian null; or the failure of
 *         a callback or of a matrix operation other than the solve
 * @see kmath_levmarqsolve_minimize, kmath_nmmatrix_solve
 */
KMATH_API kmath_status kmath_linsolve_minimize(kmath_levmarqsolve *solver, double *finalCost);

/**
 * Step δ of the damped normal equations (N + λI)·δ = g.
 *
 * By kmath_nmmatrix_solve with the record's maxConditionNumber; if that fails for
 * whatever reason, by kmath_nmmatrix_pseudoSolve. λ is added to the diagonal of N
 * and subtracted again, so N comes back up to rounding. It comes back damped when
 * the fallback fails.
 *
 * @param[in]     solver        maxConditionNumber is read
 * @param[in,out] normalMatrix  N, n × n
 * @param[in]     gradient      g, 1 × n; may be step
 * @param[out]    step          δ, 1 × n, resized
 * @param[in]     lambda        λ
 * @param[in]     userData      not used
 * @return KMATH_OK, or the status of the failing fallback: KMATH_ERR_SINGULAR for a
 *         damped matrix that is not finite, KMATH_ERR_BAD_DIMENSIONS for shapes that
 *         do not fit, or that of a failing allocation
 * @see kmath_nmmatrix_solve, kmath_nmmatrix_pseudoSolve
 */
KMATH_API kmath_status kmath_levmarqsolve_compSearchDirLinSys(kmath_levmarqsolve *solver,
                                                              kmath_nmmatrix *normalMatrix,
                                                              const kmath_nmmatrix *gradient,
                                                              kmath_nmmatrix *step, double lambda,
                                                              void *userData);

/**
 * Forward-difference Jacobian J(j, k) = (r_k(p + h·e_j) − r_k(p))·(1/h), h = jacobianStep.
 *
 * One evaluation of the residuals per parameter, on a copy of params, through the
 * callback and userData of the record; then gradient r·Jᵀ and normal matrix J·Jᵀ.
 *
 * With useThreads set, the parameters are spread over as many jobs as
 * ksys_jobGetCurrentThreadState offers threads (a host that wants another number
 * defines its own), at most one per parameter: job i of n takes a block of
 * nParams/n neighbouring parameters, or with interleaveColumns i, i + n, i + 2n, ….
 * The callback then runs on several threads at once. The result has the bits of
 * the serial one, as long as the callback sets every mask flag that it relies on.
 *
 * @param[in]  solver        a record with a system
 * @param[in]  params        1 × nParams
 * @param[in]  residuals     1 × nResiduals, evaluated at params
 * @param[out] jacobian      nParams × nResiduals, not resized (see allocJacobian)
 * @param[out] gradient      1 × nParams, resized
 * @param[out] normalMatrix  nParams × nParams, resized
 * @param[in]  userData      not used: the callback is given the record's
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS without a system, for params, residuals
 *         or jacobian of another shape or without storage, or for a callback that
 *         reshapes its residuals; the status of a failing callback, on threads that of
 *         the first failing job; or that of a failing allocation
 * @see Dennis & Schnabel, Numerical Methods for Unconstrained Optimization, §5.4
 */
KMATH_API kmath_status kmath_levmarqsolve_compnumericjacob(
    kmath_levmarqsolve *solver, const kmath_nmmatrix *params, const kmath_nmmatrix *residuals,
    kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
    void *userData);

/* A scalar through its numeric gradient. */

typedef struct kmath_iternumsolve kmath_iternumsolve;

/**
 * f(p), the scalar to minimize.
 *
 * With useThreads set in the embedded solver, the numeric Jacobian calls this and
 * the independence function from several threads at once.
 *
 * @param[in]  solver  the record that calls; read only. Its solver.userData is the caller's
 * @param[in]  params  1 × nParams
 * @param[out] value   f(p)
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_iternumsolve_objectiveFunc)(kmath_iternumsolve *solver,
                                                         const kmath_nmmatrix *params,
                                                         double *value);

/**
 * Whether a component of the gradient may be left out when a parameter moves.
 *
 * @param[in]  solver         the record that calls; read only
 * @param[in]  paramIndex     the moved parameter, 0 … nParams − 1
 * @param[in]  gradientIndex  the component, 0 … nResiduals − 1
 * @param[out] independent    non-zero: the component is not computed and counts as 0.0.
 *                            Holds 0 when the function is called
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_iternumsolve_independenceFunc)(kmath_iternumsolve *solver,
                                                            int32_t paramIndex,
                                                            int32_t gradientIndex,
                                                            int32_t *independent);

/** A scalar minimization problem: a whole solver record, an objective and a ladder of steps. */
struct kmath_iternumsolve {
    kmath_levmarqsolve solver;                        /**< drives the gradient to zero */
    kmath_iternumsolve_objectiveFunc objective;       /**< the scalar to minimize */
    kmath_iternumsolve_independenceFunc independence; /**< what funcI may leave out, or null */
    double gradStep;       /**< h, half-width of the central differences; set by minimize */
    double gradStepStart;  /**< smallest step of the ladder, the parameters' unit */
    double gradStepEnd;    /**< largest step of the ladder */
    double gradStepFactor; /**< ratio of neighbouring steps, > 1 */
};

/**
 * A record with the defaults of kmath_levmarqsolve_construct and no objective.
 *
 * gradStep and gradStepStart 1e-10, gradStepEnd 0.003, gradStepFactor 3; the two
 * callbacks are null. The caller writes objective (and independence) and sets the
 * embedded solver, with nResiduals equal to nParams:
 * kmath_levmarqsolve_setSys(&record.solver, kmath_iternumsolve_levmarqsolve_func,
 * kmath_levmarqsolve_compnumericjacob, n, n, &initialParams, 1, userData).
 *
 * @param[out] solver  the record, in storage of the caller
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_iternumsolve_construct(kmath_iternumsolve *solver);

/**
 * destination = source: the embedded solver, the callbacks and the steps.
 *
 * The embedded solver comes first; when its assignment fails, it is left as
 * kmath_levmarqsolve_assign says and the rest as it was.
 *
 * @param[in,out] destination  a constructed record; may be source
 * @param[in]     source       a constructed record
 * @return KMATH_OK, or the status of a failing allocation
 */
KMATH_API kmath_status kmath_iternumsolve_assign(kmath_iternumsolve *destination,
                                                 const kmath_iternumsolve *source);

/**
 * Releases the matrices of the embedded solver; callbacks become null, the steps 0.
 *
 * @param[in,out] solver  a constructed record
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_iternumsolve_destruct(kmath_iternumsolve *solver);

/**
 * r_k = (f(q + h·e_k) − f(q − h·e_k))·(1/(2h)), the gradient of the objective, h = gradStep.
 *
 * The residuals to set the embedded solver with. q is params, moved by +h in every component before
 * k: a component is left where its second value was taken. With many parameters or a large h the
 * gradient is thus that of a point beside params.
 *
 * Two values of the objective per residual, in increasing k, on a copy of params. A
 * row with fewer residuals than parameters leaves the last components out.
 *
 * @param[in]  solver     the solver record at the head of a kmath_iternumsolve; any other
 *                        is not allowed
 * @param[in]  params     1 × n
 * @param[out] residuals  1 × m, m ≤ n, not resized; not params
 * @param[in]  userData   not used
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS, before any call of the objective, for a row
 *         longer than params and for one that is no row or has no storage;
 *         KMATH_ERR_FAILED without an objective; the failure of the objective, at once;
 *         or that of an allocation
 * @see Dennis & Schnabel, Numerical Methods for Unconstrained Optimization, §5.6
 */
KMATH_API kmath_status kmath_iternumsolve_levmarqsolve_func(kmath_levmarqsolve *solver,
                                                            const kmath_nmmatrix *params,
                                                            kmath_nmmatrix *residuals,
                                                            void *userData);

/**
 * kmath_iternumsolve_levmarqsolve_func that leaves out what has not changed.
 *
 * With paramIndex ≥ 0 and an independence function, that is asked about every
 * component first. One that it calls independent of the parameter becomes 0.0: the
 * objective is not called for it and its parameter is not moved. The mask is left
 * alone, so kmath_levmarqsolve_compnumericjacob takes the 0.0 for the new value of
 * that residual, and for a derivative of 0 − r_k over its step.
 *
 * @param[in]  solver        the solver record at the head of a kmath_iternumsolve
 * @param[in]  params        1 × n
 * @param[out] residuals     1 × m, m ≤ n, not resized; not params
 * @param[in]  paramIndex    the moved parameter, or −1
 * @param[in]  residualMask  not used; may be null
 * @param[in]  userData      not used
 * @return as kmath_iternumsolve_levmarqsolve_func, or the failure of the independence
 *         function
 */
KMATH_API kmath_status kmath_iternumsolve_levmarqsolve_funcI(kmath_levmarqsolve *solver,
                                                             const kmath_nmmatrix *params,
                                                             kmath_nmmatrix *residuals,
                                                             int32_t paramIndex,
                                                             int32_t *residualMask, void *userData);

/**
 * Moves params towards a minimum of the objective f, over a ladder of difference steps.
 *
 * gradStep takes the values gradStepStart·factorⁱ below gradStepEnd, growing, and
 * then gradStepEnd·factor⁻ⁱ above gradStepStart, shrinking (from gradStepEnd/factor
 * where the last step of the growing phase equals gradStepEnd within 1e-6 of it).
 * With the defaults these are 16 steps up and 16 down. At each step two
 * runs of kmath_levmarqsolve_minimize start, one from the best point so far and one
 * from the point that was in params on entry, both from the entry's lambda; a run
 * that ends at a lower value of f gives the new best point.
 *
 * On KMATH_OK params are the best point, *finalValue is f there, lambda is as on
 * entry, and gradStep is the step at which the ladder ended. Where no run finds a
 * lower value the best point is the start; whether it is a minimum is not told. A
 * run drives the gradient to zero and may also end at a maximum or a saddle, which
 * the comparison of values then sorts out. A NaN is never lower, and nothing is
 * lower than a NaN: a start whose value is NaN stays.
 *
 * f is evaluated at the start, at the best point before each step, after each run,
 * at the end, and by the runs. A run takes 2·nParams evaluations for a gradient and
 * nParams gradients for a numeric Jacobian. With useThreads set, those of a Jacobian
 * come from several threads at once.
 *
 * A phase is also over as soon as the size |gradStep| no longer grows (growing) or
 * shrinks (shrinking), and after 100000 steps. So a factor from −1 to 1, or one that
 * is NaN, makes one step a phase; a gradStepStart of 0 or below makes the shrinking
 * phase go on until the step vanishes, and an infinite gradStepEnd or a negative
 * gradStepStart the growing one until it overflows.
 *
 * On a failure *finalValue may hold the cost of the last run that ended, and params,
 * lambda and gradStep are those of the run that failed: lambda is the entry's while a
 * run goes on and what the run made of it after that. The best point is lost, unless
 * it is its own last evaluation that fails: all is then as on KMATH_OK but *finalValue.
 *
 * @param[in,out] solver      a record with an objective and a system of gradient
 *                            residuals, see kmath_iternumsolve_construct
 * @param[out]    finalValue  f at the best point
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS, before any callback, without a system
 *         (nResiduals or nParams below 1) or with one whose setting call failed, and at
 *         the first run for more residuals than parameters; KMATH_ERR_FAILED without an
 *         objective; or the first failure of the objective, of a run (see
 *         kmath_levmarqsolve_minimize) or of an allocation
 * @see kmath_levmarqsolve_minimize
 */
KMATH_API kmath_status kmath_iternumsolve_minimize(kmath_iternumsolve *solver, double *finalValue);

/* Conjugate gradients: variables are counted from 1. */

/**
 * f(x): evaluates the function that kmath_frprmn_minimize minimizes.
 *
 * @param[in]  point     x in elements 1 … n; it may be longer where the start was
 * @param[out] value     f(x)
 * @param[in]  userData  the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_frprmn_func)(const kmath_nvector *point, double *value,
                                          void *userData);

/**
 * ∇f(x): evaluates the gradient.
 *
 * @param[in]  point     x in elements 1 … n; it may be longer where the start was
 * @param[out] gradient  elements 1 … n are to be filled; already sized, not to be made shorter; it
 *                       comes with what was in it before
 * @param[in]  userData  the record's
 * @return KMATH_OK, or a failure that ends the calling function
 */
typedef kmath_status (*kmath_frprmn_dfunc)(const kmath_nvector *point, kmath_nvector *gradient,
                                           void *userData);

/** A smooth function of n variables, the tuning of its minimization and its work vectors. */
typedef struct kmath_frprmn {
    int32_t n;                /**< number of variables */
    int32_t iterations;       /**< number of the last iteration started, 0 after setup */
    double ftol;              /**< relative tolerance of the minimum and of each line search */
    kmath_frprmn_func func;   /**< the function */
    kmath_frprmn_dfunc dfunc; /**< its gradient */
    kmath_nvector p;          /**< the current point */
    kmath_nvector g;          /**< minus the previous gradient */
    kmath_nvector h;          /**< the previous conjugate direction */
    kmath_nvector xi;         /**< gradient, then search direction, then the step taken */
    kmath_nvector pcom;       /**< origin of the line search */
    kmath_nvector xicom;      /**< direction of the line search */
    void *userData;           /**< handed to both callbacks */
    int32_t maxIterations;    /**< cap on iterations, each with one line search */
    double goldenSection;     /**< fraction that a golden step of the line search takes */
    double zeps;              /**< absolute tolerance of the line search, for a minimum at 0 */
    double eps;               /**< small term of the convergence test, for a minimum of value 0 */
} kmath_frprmn;

/**
 * A record with the default tuning, no function and empty vectors.
 *
 * maxIterations 200, goldenSection 0.381966, zeps and eps 1e-10; everything else is 0 or null.
 *
 * @param[out] solver  the record, in storage of the caller
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_frprmn_construct(kmath_frprmn *solver);

/**
 * Releases the record's vectors and leaves them empty.
 *
 * @param[in,out] solver  a constructed record
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_frprmn_destruct(kmath_frprmn *solver);

/**
 * Sets the function, the start point and the tolerance, and sizes the work vectors.
 *
 * The tuning fields stay. n is not checked here: kmath_frprmn_minimize refuses what does not fit.
 * After a failure the function, n and the tolerance are stored and the vectors partly sized.
 *
 * @param[in,out] solver    a constructed record
 * @param[in]     func      the function
 * @param[in]     dfunc     its gradient
 * @param[in]     n         number of variables, ≥ 0
 * @param[in]     start     x in elements 1 … n, copied whole; may be longer than n; may be a vector
 *                          of the record, so that a search goes on from the record's p
 * @param[in]     ftol      dimensionless, ≥ 0; relative decrease of the function by which one
 *                          iteration must not fall short, and relative precision of the place on
 *                          each line, where √ε ≈ 1e-8 is the best that can be had
 * @param[in]     userData  handed to both callbacks; may be null
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS for a start of negative length and for a negative n,
 *         unless the vectors have that length already; KMATH_ERR_NO_MEMORY for a start whose
 *         allocation failed; or the status of a failing allocation
 */
KMATH_API kmath_status kmath_frprmn_setup(kmath_frprmn *solver, kmath_frprmn_func func,
                                          kmath_frprmn_dfunc dfunc, int32_t n,
                                          const kmath_nvector *start, double ftol, void *userData);

/**
 * A local minimum of f by conjugate gradients from p: d ← −∇f + γ·d with γ = Δ∇f·∇f / |∇f_old|².
 *
 * An iteration searches the line p + x·d. The minimum is bracketed downhill from x = 0 and 1 in
 * steps of the golden ratio, or as parabolas lead, and narrowed by Brent's method to
 * ftol·|x| + zeps. p moves there, and the iteration ends with KMATH_OK when the minimum has changed
 * by 2·|f − f_old| ≤ ftol·(|f| + |f_old| + eps), or when Σ (∂f/∂x_j)² was exactly 0 before the
 * step, as squares that underflow make it, too.
 *
 * KMATH_ERR_BAD_DIMENSIONS reports, too, that maxIterations did not suffice, or that a line search
 * did not end: Brent's method after 100 iterations, the bracket after 10000 steps, which only a
 * function with a memory takes. Where a function has no minimum on the line, or is not a number
 * there, the search ends in one of these ways, or on what value it has met. p then stands where
 * the last complete line search left it, also after a failing callback.
 *
 * The callbacks are to leave the record's vectors alone. Every evaluation on a line has a point of
 * its own; there is no other allocation in the iteration.
 *
 * @param[in,out] solver  a record after setup; iterations counts, p moves
 * @param[in,out] result  p on success, otherwise as it was; may be the record's p, which moves in
 *                        any case, but no other of its vectors
 * @param[out]    fret    f at p; after a failure the value of the last line search that ended or
 *                        ran into its 100 iterations, if there was one
 * @return KMATH_OK; KMATH_ERR_BAD_DIMENSIONS as above, before any callback for a negative n or one
 *         above the length of the start or of a work vector, as a failing setup leaves them, and
 *         after a dfunc that makes the gradient too short; KMATH_ERR_FAILED, before any callback,
 *         where one of the two is null; the failure of a callback; or that of an allocation
 * @see Polak & Ribière, Rev. Fr. Inform. Rech. Opér. 16 (1969); Brent, Algorithms for Minimization
 *      without Derivatives, chapter 5; Press et al., Numerical Recipes, §10.1–10.2 and §10.6
 */
KMATH_API kmath_status kmath_frprmn_minimize(kmath_frprmn *solver, kmath_nvector *result,
                                             double *fret);

#ifdef __cplusplus
}
#endif

#endif
