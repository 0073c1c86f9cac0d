// The forward-difference Jacobian: J(j, k) = (r_k(p + h·e_j) − r_k(p))·(1/h), one parameter a row,
// walked on the calling thread or in jobs of the job library.
//
// A job owns its parameters, its residual row and its mask, and writes rows of the Jacobian that no
// other job writes; what it reads besides, nobody writes. So the result is that of the serial walk.
#include <kmath/containers.h>
#include <kmath/solvers.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "solvers/residuals.hpp"

#include <algorithm>
#include <cstdint>

using namespace kmath;

namespace
{

// What one job works on. The serial walk is the only job, number 0 of 1.
struct ColumnJob {
    kmath_levmarqsolve *solver = nullptr;
    kmath_nmmatrix *jobParams = nullptr;    // its own copy of the parameters
    int32_t firstColumn = 0;                // its block of parameters …
    int32_t endColumn = 0;                  // … ends before this one
    double diffStep = 0.0;                  // h
    kmath_nmmatrix *jobResiduals = nullptr; // its own residual row
    int32_t nResiduals = 0;
    double invStep = 0.0;                          // 1/h
    kmath_nmmatrix *jacobian = nullptr;            // shared; it writes its own rows
    const kmath_nmmatrix *baseResiduals = nullptr; // shared; at the unmoved parameters
    int32_t interleave = 0;
    int32_t jobIndex = 0; // start of an interleaved walk
    int32_t nParams = 0;
    int32_t nJobs = 1;
    int32_t callbackJobIndex = 0; // what funcIJ is told
};

kmath_status differentiate(const ColumnJob &job, int32_t j, int32_t *mask)
{
    double &parameter = job.jobParams->rows[0][j];
    const double saved = parameter;
    parameter = saved + job.diffStep;
    RETURN_IF_FAILED(evaluateResiduals(*job.solver, *job.jobParams, *job.jobResiduals,
                                       {j, mask, job.callbackJobIndex}));
    if (!hasShape(*job.jobResiduals, 1, job.nResiduals)) // the callback has reshaped the row
        return KMATH_ERR_BAD_DIMENSIONS;

    const double *moved = job.jobResiduals->rows[0];
    const double *base = job.baseResiduals->rows[0];
    double *derivative = job.jacobian->rows[j];
    for (int32_t k = 0; k < job.nResiduals; ++k)
        derivative[k] = mask && mask[k] == 0 ? 0.0 : (moved[k] - base[k]) * job.invStep;

    parameter = saved;
    return KMATH_OK;
}

kmath_status walkColumns(const ColumnJob &job)
{
    kstd_vectorb flags;
    CleanupFrame frame(flags);
    int32_t *mask = nullptr;
    if (!job.solver->func) {
        TRY(kstd_vectorb_constructFill(&flags, static_cast<size_t>(job.nResiduals), 1));
        TRY(kstd_vectorb_getBegin(&flags, &mask));
    }

    // Deliberate: the mask is set once and not again between columns. A flag that the callback
    // clears stays cleared in the columns that follow, until the callback sets it.
    const int64_t first = job.interleave ? job.jobIndex : job.firstColumn;
    const int64_t end = job.interleave ? job.nParams : job.endColumn;
    const int64_t stride = job.interleave ? job.nJobs : 1;
    for (int64_t j = first; j < end; j += stride)
        TRY(differentiate(job, static_cast<int32_t>(j), mask));
    return frame.leave(KMATH_OK);
}

kmath_status columnWorker(const ksys_jobParams *params)
{
    const void *job = nullptr;
    RETURN_IF_FAILED(ksys_jobParams_getDataConst(params, &job));
    return walkColumns(*static_cast<const ColumnJob *>(job));
}

kmath_status walkSerially(ColumnJob job, const kmath_nmmatrix &params)
{
    kmath_nmmatrix q, s;
    CleanupFrame frame(q, s);

    TRY(kmath_nmmatrix_assign(&q, &params));
    TRY(kmath_nmmatrix_resize(&s, 1, job.nResiduals));
    job.jobParams = &q;
    job.jobResiduals = &s;
    return frame.leave(walkColumns(job));
}

ColumnJob part(const ColumnJob &whole, int32_t jobIndex, int32_t nJobs, kmath_nmmatrix &q,
               kmath_nmmatrix &s)
{
    const auto blockStart = [&](int64_t index) {
        return static_cast<int32_t>(index * whole.nParams / nJobs);
    };
    ColumnJob job = whole;
    job.jobParams = &q;
    job.jobResiduals = &s;
    job.firstColumn = blockStart(jobIndex);
    job.endColumn = blockStart(jobIndex + int64_t{1});
    job.jobIndex = jobIndex;
    job.nJobs = nJobs;
    job.callbackJobIndex = jobIndex;
    return job;
}

// The holder owns the data once it has taken it.
kmath_status refill(ksys_jobParams &holder, const ColumnJob &job)
{
    ColumnJob *data;
    CleanupFrame<1> frame;

    TRY(frame.allocate(data, 1));
    frame.guard(data);
    *data = job;
    void *taken = data;
    return frame.leave(ksys_jobParams_takeData(&holder, &taken, ksys_memory_free_internal));
}

kmath_status walkInJobs(const ColumnJob &whole, const kmath_nmmatrix &params)
{
    ksys_jobThreadGroup group;
    ksys_jobParams holder;
    ksys_jobRequestSet requests;
    ksys_jobResultSet results;
    kstd_vector_kmath_nmmatrix paramRows, residualRows;
    CleanupFrame<6> frame;

    TRY(frame.adopt(group));
    TRY(frame.adopt(holder));
    TRY(frame.adopt(requests));
    TRY(frame.adopt(results));
    int32_t nThreads = 0;
    TRY(ksys_jobGetCurrentThreadState(&nThreads, &group));
    const int32_t nJobs = std::min(nThreads, whole.nParams);
    if (nJobs <= 1)
        return frame.leave(walkSerially(whole, params));

    TRY(frame.adopt(paramRows));
    TRY(kstd_vector_kmath_nmmatrix_resize(&paramRows, static_cast<size_t>(nJobs)));
    TRY(frame.adopt(residualRows));
    TRY(kstd_vector_kmath_nmmatrix_resize(&residualRows, static_cast<size_t>(nJobs)));
    kmath_nmmatrix *q = nullptr;
    kmath_nmmatrix *s = nullptr;
    TRY(kstd_vector_kmath_nmmatrix_getBegin(&paramRows, &q));
    TRY(kstd_vector_kmath_nmmatrix_getBegin(&residualRows, &s));

    for (int32_t i = 0; i < nJobs; ++i) {
        TRY(kmath_nmmatrix_assign(&q[i], &params));
        TRY(kmath_nmmatrix_resize(&s[i], 1, whole.nResiduals));
        TRY(refill(holder, part(whole, i, nJobs, q[i], s[i])));
        TRY(ksys_jobRequestSet_addFuncAndParams(&requests, columnWorker, &holder));
    }
    return frame.leave(ksys_jobThreadGroup_dispatchAndWait(&group, &requests, &results));
}

} // namespace

kmath_status kmath_levmarqsolve_compnumericjacob(kmath_levmarqsolve *solver,
                                                 const kmath_nmmatrix *params,
                                                 const kmath_nmmatrix *residuals,
                                                 kmath_nmmatrix *jacobian, kmath_nmmatrix *gradient,
                                                 kmath_nmmatrix *normalMatrix, void *)
{
    KMATH_ASSERT_LINE(758, solver && params && residuals && jacobian && gradient && normalMatrix);
    const int32_t m = solver->nResiduals;
    const int32_t n = solver->nParams;
    if (m < 1 || n < 1)
        return KMATH_ERR_BAD_DIMENSIONS;
    if (!hasShape(*params, 1, n) || !hasShape(*residuals, 1, m) || !hasShape(*jacobian, n, m))
        return KMATH_ERR_BAD_DIMENSIONS;

    ColumnJob whole;
    whole.solver = solver;
    whole.endColumn = n;
    whole.diffStep = solver->jacobianStep;
    whole.nResiduals = m;
    whole.invStep = 1.0 / solver->jacobianStep;
    whole.jacobian = jacobian;
    whole.baseResiduals = residuals;
    whole.interleave = solver->interleaveColumns;
    whole.nParams = n;

    RETURN_IF_FAILED(solver->useThreads ? walkInJobs(whole, *params)
                                        : walkSerially(whole, *params));
    RETURN_IF_FAILED(kmath_nmmatrix_multiplyT(residuals, jacobian, gradient));
    return kmath_nmmatrix_Tsquare(jacobian, normalMatrix);
}
