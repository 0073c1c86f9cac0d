#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace support;

namespace
{

constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);

int jobsUntilRefusal = -1; // jobs whose data is still taken before one is refused; −1 for all

} // namespace

// In place of the library's own, so that it can refuse.
kmath_status ksys_jobParams_takeData(ksys_jobParams *params, void **data,
                                     kmath_status (*release)(void **))
{
    if (jobsUntilRefusal >= 0 && jobsUntilRefusal-- == 0)
        return ownFailure;
    if (params->data)
        params->release(&params->data);
    *params = {*data, release};
    *data = nullptr;
    return KMATH_OK;
}

namespace
{

// A record under a problem with its residuals evaluated at the start.
struct Evaluated {
    Solver solver;

    Evaluated(Problem &problem, Shape shape = Shape::plain)
    {
        set(solver, problem, shape);
        problem.residuals(solver->params.rows[0], solver->residuals.rows[0]);
    }

    kmath_status run()
    {
        return kmath_levmarqsolve_compnumericjacob(&solver, &solver->params, &solver->residuals,
                                                   &solver->jacobian, &solver->gradient,
                                                   &solver->normalMatrix, solver->userData);
    }
};

Matrix copyOf(const kmath_nmmatrix &matrix)
{
    Matrix copy;
    kmath_nmmatrix_assign(&copy, &matrix);
    return copy;
}

// The definition, straight from the callback.
Matrix forwardDifferences(const Problem &problem, double h)
{
    const double invStep = 1.0 / h;
    std::vector<double> p = problem.start;
    std::vector<double> base(static_cast<std::size_t>(problem.m)), moved = base;
    problem.residuals(p.data(), base.data());
    Matrix J(problem.n(), problem.m);
    for (std::int32_t j = 0; j < problem.n(); ++j) {
        const auto index = static_cast<std::size_t>(j);
        const double saved = p[index];
        p[index] = saved + h;
        problem.residuals(p.data(), moved.data());
        p[index] = saved;
        for (std::int32_t k = 0; k < problem.m; ++k)
            J(j, k) =
                (moved[static_cast<std::size_t>(k)] - base[static_cast<std::size_t>(k)]) * invStep;
    }
    return J;
}

// A·Bᵀ, each sum over increasing k.
Matrix timesTransposed(const Matrix &A, const Matrix &B)
{
    return build(A.rows(), B.rows(), [&](std::int32_t i, std::int32_t j) {
        double sum = 0.0;
        for (std::int32_t k = 0; k < A.cols(); ++k)
            sum += A(i, k) * B(j, k);
        return sum;
    });
}

TEST(NumericJacobian, AssertsItsPointers)
{
    Problem problem = waves(3, 2);
    Evaluated s(problem);
    const auto call = kmath_levmarqsolve_compnumericjacob;
    kmath_nmmatrix *p = &s.solver->params, *r = &s.solver->residuals, *J = &s.solver->jacobian,
                   *g = &s.solver->gradient, *N = &s.solver->normalMatrix;
    void *data = s.solver->userData;
    EXPECT_EQ(assertedLine([&] { call(nullptr, p, r, J, g, N, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, nullptr, r, J, g, N, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, p, nullptr, J, g, N, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, p, r, nullptr, g, N, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, p, r, J, nullptr, N, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, p, r, J, g, nullptr, data); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s.solver, p, r, J, g, N, data); }), 0);
}

TEST(NumericJacobian, RefusesARecordWithoutASystem)
{
    Problem problem = waves(3, 2);
    for (const bool residuals : {true, false})
        for (const std::int32_t count : {0, -1, INT32_MIN}) {
            Evaluated s(problem);
            (residuals ? s.solver->nResiduals : s.solver->nParams) = count;
            EXPECT_EQ(s.run(), KMATH_ERR_BAD_DIMENSIONS);
        }
}

TEST(NumericJacobian, RefusesMatricesOfTheWrongShapeBeforeAnyWork)
{
    for (const std::int32_t threads : {0, 3})
        for (const auto matrix : {&kmath_levmarqsolve::params, &kmath_levmarqsolve::residuals,
                                  &kmath_levmarqsolve::jacobian})
            for (const std::int32_t rows : {0, 1, 2, 3, 5})
                for (const std::int32_t cols : {0, 1, 2, 3, 5}) {
                    int evaluations = 0;
                    Problem problem = waves(3, 2);
                    Evaluated s(problem);
                    problem.residuals = [&](const double *, double *) { ++evaluations; };
                    kmath_nmmatrix &wrong = (&s.solver)->*matrix;
                    if (wrong.nRows == rows && wrong.nCols == cols)
                        continue;
                    ASSERT_EQ(kmath_nmmatrix_resize(&wrong, rows, cols), KMATH_OK);
                    kmath_nmmatrix_set(&s.solver->gradient, 2.385);
                    s.solver->useThreads = threads;
                    EXPECT_EQ(s.run(), KMATH_ERR_BAD_DIMENSIONS);
                    EXPECT_EQ(evaluations, 0);
                    EXPECT_EQ(s.solver->gradient.rows[0][0], 2.385);
                }
}

TEST(NumericJacobian, RefusesAMatrixThatHasLostItsStorage)
{
    Problem problem = waves(30, 2);
    Evaluated s(problem);
    ASSERT_EQ(kmath_nmmatrix_resize(&s.solver->jacobian, 1, 1), KMATH_OK);
    failAllocation(0);
    ASSERT_EQ(kmath_nmmatrix_resize(&s.solver->jacobian, 2, 30), KMATH_ERR_NO_MEMORY);
    failAllocation(-1);
    EXPECT_EQ(s.run(), KMATH_ERR_BAD_DIMENSIONS);
}

TEST(NumericJacobian, RefusesTheJacobianOfASystemThatDidNotSizeIt)
{
    Problem problem = waves(3, 2);
    Solver s;
    const Matrix p = problem.initialParams();
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, plainShape, kmath_levmarqsolve_compnumericjacob, 3, 2,
                                        &p, 0, &problem),
              KMATH_OK);
    double cost;
    EXPECT_EQ(kmath_levmarqsolve_minimize(&s, &cost), KMATH_ERR_BAD_DIMENSIONS);
}

TEST(NumericJacobian, HasTheBitsOfTheForwardDifferences)
{
    for (const Shape shape : allShapes)
        for (const std::int32_t n : {1, 2, 6, 7, 17})
            for (const std::int32_t m : {1, 3, 16, 17, 50})
                for (const double h : {1e-8, 1e-3, -1e-6, 0.3}) {
                    Problem problem = waves(m, n);
                    Evaluated s(problem, shape);
                    s.solver->jacobianStep = h;
                    const Matrix residuals = copyOf(s.solver->residuals);
                    ASSERT_EQ(s.run(), KMATH_OK);

                    const Matrix J = forwardDifferences(problem, h);
                    EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), J));
                    EXPECT_TRUE(
                        sameBits(copyOf(s.solver->gradient), timesTransposed(residuals, J)));
                    EXPECT_TRUE(sameBits(copyOf(s.solver->normalMatrix), timesTransposed(J, J)));
                    EXPECT_TRUE(sameBits(copyOf(s.solver->residuals), residuals));
                }
}

TEST(NumericJacobian, MultipliesByTheReciprocalOfTheStep)
{
    // 49·(1/49) falls short of 1, which 49/49 would give.
    Problem problem{1, {0.0}, [](const double *p, double *r) { r[0] = p[0] == 0.0 ? 0.0 : 49.0; }};
    Evaluated s(problem);
    s.solver->jacobianStep = 49.0;
    ASSERT_EQ(s.run(), KMATH_OK);
    EXPECT_EQ(s.solver->jacobian.rows[0][0], 1.0 - 0x1p-53);
}

TEST(NumericJacobian, ResizesGradientAndNormalMatrix)
{
    Problem problem = waves(4, 3);
    Evaluated s(problem);
    Matrix gradient(9, 1), normalMatrix;
    ASSERT_EQ(kmath_levmarqsolve_compnumericjacob(&s.solver, &s.solver->params,
                                                  &s.solver->residuals, &s.solver->jacobian,
                                                  &gradient, &normalMatrix, nullptr),
              KMATH_OK);
    EXPECT_EQ(gradient.rows(), 1);
    EXPECT_EQ(gradient.cols(), 3);
    EXPECT_EQ(normalMatrix.rows(), 3);
    EXPECT_EQ(normalMatrix.cols(), 3);
}

TEST(NumericJacobian, UsesTheMatricesThatItIsGiven)
{
    // At other parameters than the record's own.
    Problem problem = waves(4, 3), elsewhere = problem;
    elsewhere.start = {1.0, -2.0, 0.5};
    Evaluated s(problem);
    const Matrix p = elsewhere.initialParams();
    Matrix r(1, 4), J(3, 4), g, N;
    problem.residuals(p->rows[0], r->rows[0]);
    ASSERT_EQ(kmath_levmarqsolve_compnumericjacob(&s.solver, &p, &r, &J, &g, &N, nullptr),
              KMATH_OK);
    EXPECT_TRUE(sameBits(J, forwardDifferences(elsewhere, 1e-8)));
    EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), Matrix(3, 4))); // untouched
}

TEST(NumericJacobian, MovesOneParameterAtATimeAndPutsItBack)
{
    // 1/3 + 0.1 − 0.1 is not 1/3: the stored value comes back, not the difference.
    std::vector<std::vector<double>> seen;
    Problem problem{2, {1.0 / 3.0, 1e300, -0.0}, [](const double *, double *r) {
                        r[0] = 0.0;
                        r[1] = 0.0;
                    }};
    Evaluated s(problem);
    problem.residuals = [&](const double *p, double *r) {
        seen.emplace_back(p, p + 3);
        r[0] = p[0];
        r[1] = p[1];
    };
    s.solver->jacobianStep = 0.1;
    const Matrix before = copyOf(s.solver->params);
    ASSERT_EQ(s.run(), KMATH_OK);
    EXPECT_TRUE(sameBits(copyOf(s.solver->params), before));

    ASSERT_EQ(seen.size(), 3u);
    for (std::size_t call = 0; call < 3; ++call)
        for (std::size_t j = 0; j < 3; ++j)
            EXPECT_TRUE(
                sameBits(seen[call][j], call == j ? problem.start[j] + 0.1 : problem.start[j]));
}

TEST(NumericJacobian, GivesWhatTheArithmeticGivesForOddSteps)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double h : {0.0, infinity, -infinity, std::nan(""), 1e-320, 1e308}) {
        Problem problem = waves(3, 2);
        Evaluated s(problem);
        s.solver->jacobianStep = h;
        ASSERT_EQ(s.run(), KMATH_OK);
        EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), forwardDifferences(problem, h)));
    }
}

// What an indexed callback is told, and what it does to its mask.

struct Calls {
    std::mutex mutex;
    std::map<std::int32_t, std::vector<std::int32_t>> columnsOfJob;
    std::map<std::int32_t, std::int32_t *> maskOfJob;
    std::thread::id caller = std::this_thread::get_id();
    bool allOnCaller = true;
    bool maskChanged = false;
};

kmath_status recordCallIJ(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *,
                          std::int32_t paramIndex, std::int32_t *mask, std::int32_t jobIndex,
                          void *userData)
{
    Calls &calls = *static_cast<Calls *>(userData);
    const std::lock_guard lock(calls.mutex);
    calls.columnsOfJob[jobIndex].push_back(paramIndex);
    const auto known = calls.maskOfJob.emplace(jobIndex, mask).first;
    calls.maskChanged |= known->second != mask;
    calls.allOnCaller &= std::this_thread::get_id() == calls.caller;
    return KMATH_OK;
}

kmath_status recordCallI(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                         kmath_nmmatrix *residuals, std::int32_t paramIndex, std::int32_t *mask,
                         void *userData)
{
    return recordCallIJ(solver, params, residuals, paramIndex, mask, 0, userData);
}

using Columns = std::map<std::int32_t, std::vector<std::int32_t>>;

Columns columnsOf(std::int32_t n, std::int32_t useThreads, std::int32_t threads,
                  std::int32_t interleave, bool *allOnCaller = nullptr)
{
    const ThreadCount count(threads);
    Calls calls;
    Problem problem = waves(2, n);
    Evaluated s(problem, Shape::job);
    s.solver->funcIJ = recordCallIJ;
    s.solver->userData = &calls;
    s.solver->useThreads = useThreads;
    s.solver->interleaveColumns = interleave;
    EXPECT_EQ(s.run(), KMATH_OK);
    EXPECT_FALSE(calls.maskChanged);
    for (const auto &[job, mask] : calls.maskOfJob)
        EXPECT_NE(mask, nullptr);
    if (allOnCaller)
        *allOnCaller = calls.allOnCaller;
    return calls.columnsOfJob;
}

TEST(NumericJacobian, SharesTenColumnsAmongFourJobs)
{
    EXPECT_EQ(columnsOf(10, 1, 4, 0),
              (Columns{{0, {0, 1}}, {1, {2, 3, 4}}, {2, {5, 6}}, {3, {7, 8, 9}}}));
    EXPECT_EQ(columnsOf(10, 1, 4, 1),
              (Columns{{0, {0, 4, 8}}, {1, {1, 5, 9}}, {2, {2, 6}}, {3, {3, 7}}}));
    EXPECT_EQ(columnsOf(10, -7, 4, -7), columnsOf(10, 1, 4, 1)); // any non-zero flag
}

TEST(NumericJacobian, GivesEveryColumnToOneJob)
{
    for (std::int32_t n = 1; n <= 13; ++n)
        for (const std::int32_t threads : {2, 3, 5, 8, 64})
            for (const std::int32_t interleave : {0, 1}) {
                const Columns columns = columnsOf(n, 1, threads, interleave);
                EXPECT_EQ(columns.size(), static_cast<std::size_t>(std::min(n, threads)));
                std::vector<int> times(static_cast<std::size_t>(n), 0);
                for (const auto &[job, indices] : columns) {
                    EXPECT_FALSE(indices.empty());
                    for (const std::int32_t j : indices)
                        ++times[static_cast<std::size_t>(j)];
                }
                EXPECT_EQ(times, std::vector<int>(static_cast<std::size_t>(n), 1));
            }
}

TEST(NumericJacobian, IsSerialWithoutTheFlagOrASecondThreadOrASecondParameter)
{
    const Columns serial{{0, {0, 1, 2, 3, 4}}};
    for (const std::int32_t interleave : {0, 1}) {
        bool allOnCaller = false;
        EXPECT_EQ(columnsOf(5, 0, 8, interleave, &allOnCaller), serial);
        EXPECT_TRUE(allOnCaller);
        EXPECT_EQ(columnsOf(5, 1, 1, interleave, &allOnCaller), serial);
        EXPECT_TRUE(allOnCaller);
        EXPECT_EQ(columnsOf(5, 1, -3, interleave, &allOnCaller), serial);
        EXPECT_TRUE(allOnCaller);
        EXPECT_EQ(columnsOf(1, 1, 8, interleave, &allOnCaller), (Columns{{0, {0}}}));
        EXPECT_TRUE(allOnCaller);
    }
}

TEST(NumericJacobian, RunsItsJobsAtTheSameTime)
{
    // Each of two callbacks waits for the other.
    struct Meeting {
        std::mutex mutex;
        std::condition_variable arrival;
        int present = 0;
        bool met = true;
    } meeting;
    const ThreadCount count(2);
    Problem problem = waves(2, 2);
    Evaluated s(problem);
    problem.residuals = [&](const double *, double *r) {
        std::unique_lock lock(meeting.mutex);
        ++meeting.present;
        meeting.arrival.notify_all();
        meeting.met &= meeting.arrival.wait_for(lock, std::chrono::seconds(20),
                                                [&] { return meeting.present == 2; });
        r[0] = r[1] = 0.0;
    };
    s.solver->useThreads = 1;
    ASSERT_EQ(s.run(), KMATH_OK);
    EXPECT_TRUE(meeting.met);
}

// Residual k depends on parameter j alone where k = j or k = j + 1, which the callback says.
kmath_status banded(const kmath_nmmatrix *params, kmath_nmmatrix *residuals,
                    std::int32_t paramIndex, std::int32_t *mask)
{
    for (std::int32_t k = 0; k < residuals->nCols; ++k) {
        const bool depends = paramIndex < 0 || k == paramIndex || k == paramIndex + 1;
        if (mask)
            mask[k] = depends;
        if (depends)
            residuals->rows[0][k] = (k < params->nCols ? std::sin(params->rows[0][k]) : 0.0) +
                                    (k > 0 ? std::exp(params->rows[0][k - 1]) : 0.0);
        else
            residuals->rows[0][k] = 1e9; // must not be read
    }
    return KMATH_OK;
}

kmath_status bandedI(kmath_levmarqsolve *, const kmath_nmmatrix *params, kmath_nmmatrix *residuals,
                     std::int32_t paramIndex, std::int32_t *mask, void *)
{
    return banded(params, residuals, paramIndex, mask);
}

kmath_status bandedIJ(kmath_levmarqsolve *, const kmath_nmmatrix *params, kmath_nmmatrix *residuals,
                      std::int32_t paramIndex, std::int32_t *mask, std::int32_t, void *)
{
    return banded(params, residuals, paramIndex, mask);
}

TEST(NumericJacobian, HasTheSameBitsOnAnyNumberOfThreads)
{
    for (const std::int32_t n : {2, 5, 10, 17})
        for (const Shape shape : allShapes)
            for (const bool masked : {false, true}) {
                const auto jacobian = [&](std::int32_t useThreads, std::int32_t threads,
                                          std::int32_t interleave) {
                    const ThreadCount count(threads);
                    Problem problem = waves(n + 1, n);
                    Evaluated s(problem, shape);
                    if (masked && shape != Shape::plain) {
                        banded(&s.solver->params, &s.solver->residuals, -1, nullptr);
                        s.solver->funcI = shape == Shape::indexed ? bandedI : nullptr;
                        s.solver->funcIJ = shape == Shape::job ? bandedIJ : nullptr;
                    }
                    s.solver->useThreads = useThreads;
                    s.solver->interleaveColumns = interleave;
                    EXPECT_EQ(s.run(), KMATH_OK);
                    return std::vector{copyOf(s.solver->jacobian), copyOf(s.solver->gradient),
                                       copyOf(s.solver->normalMatrix)};
                };
                const auto serial = jacobian(0, 1, 0);
                for (const std::int32_t threads : {1, 2, 3, 8})
                    for (const std::int32_t interleave : {0, 1}) {
                        const auto parallel = jacobian(1, threads, interleave);
                        for (std::size_t i = 0; i < 3; ++i)
                            EXPECT_TRUE(sameBits(parallel[i], serial[i]));
                    }
            }
}

TEST(NumericJacobian, GivesZeroWhereTheMaskIsCleared)
{
    Problem problem = waves(4, 3);
    Evaluated s(problem, Shape::indexed);
    s.solver->funcI = bandedI;
    banded(&s.solver->params, &s.solver->residuals, -1, nullptr);
    ASSERT_EQ(s.run(), KMATH_OK);
    for (std::int32_t j = 0; j < 3; ++j)
        for (std::int32_t k = 0; k < 4; ++k) {
            const double p = problem.start[static_cast<std::size_t>(j)];
            const double exact = k == j ? std::cos(p) : k == j + 1 ? std::exp(p) : 0.0;
            const double derivative = s.solver->jacobian.rows[j][k];
            if (exact == 0.0) {
                EXPECT_TRUE(sameBits(derivative, 0.0));
            } else {
                EXPECT_NEAR(derivative, exact, 1e-6);
            }
        }
}

// Clears flag 1 for parameter 0 only, sets flag 2 back for parameter 3.
kmath_status sticky(kmath_levmarqsolve *, const kmath_nmmatrix *params, kmath_nmmatrix *residuals,
                    std::int32_t paramIndex, std::int32_t *mask, void *)
{
    double sum = 0.0;
    for (std::int32_t j = 0; j < params->nCols; ++j)
        sum += params->rows[0][j];
    for (std::int32_t k = 0; k < residuals->nCols; ++k)
        residuals->rows[0][k] = sum;
    if (paramIndex == 0)
        mask[1] = mask[2] = 0;
    if (paramIndex == 3)
        mask[2] = -5; // any value but 0 counts
    return KMATH_OK;
}

// Which entries are exactly zero, a row a parameter.
Matrix zerosOfSticky(std::int32_t threads, std::int32_t interleave)
{
    const ThreadCount count(threads);
    Problem problem{3, {1.0, 2.0, 3.0, 4.0, 5.0, 6.0}, [](const double *, double *r) {
                        r[0] = r[1] = r[2] = 21.0;
                    }};
    Evaluated s(problem, Shape::indexed);
    s.solver->funcI = sticky;
    s.solver->jacobianStep = 0.25;
    s.solver->useThreads = 1;
    s.solver->interleaveColumns = interleave;
    EXPECT_EQ(s.run(), KMATH_OK);
    return copyOf(s.solver->jacobian);
}

TEST(NumericJacobian, KeepsAClearedFlagForTheFollowingColumns)
{
    const Matrix expected{{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 1}, {1, 0, 1}, {1, 0, 1}};
    EXPECT_TRUE(sameBits(zerosOfSticky(1, 0), expected));
    EXPECT_TRUE(sameBits(zerosOfSticky(1, 1), expected));
}

TEST(NumericJacobian, KeepsAClearedFlagWithinItsJobOnly)
{
    // Jobs {0, 1, 2} and {3, 4, 5}, then {0, 2, 4} and {1, 3, 5}.
    EXPECT_TRUE(sameBits(zerosOfSticky(2, 0),
                         Matrix{{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}}));
    EXPECT_TRUE(sameBits(zerosOfSticky(2, 1),
                         Matrix{{1, 0, 0}, {1, 1, 1}, {1, 0, 0}, {1, 1, 1}, {1, 0, 0}, {1, 1, 1}}));
}

TEST(NumericJacobian, StartsEachCallWithAFreshMask)
{
    struct Check {
        static kmath_status allSet(kmath_levmarqsolve *, const kmath_nmmatrix *,
                                   kmath_nmmatrix *residuals, std::int32_t paramIndex,
                                   std::int32_t *mask, void *)
        {
            for (std::int32_t k = 0; k < residuals->nCols; ++k) {
                if (paramIndex == 0) {
                    EXPECT_EQ(mask[k], 1);
                }
                mask[k] = 0;
            }
            return KMATH_OK;
        }
    };
    Problem problem = waves(37, 3);
    Evaluated s(problem, Shape::indexed);
    s.solver->funcI = Check::allSet;
    for (int repeat = 0; repeat < 3; ++repeat)
        ASSERT_EQ(s.run(), KMATH_OK);
    EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), Matrix(3, 37)));
}

TEST(NumericJacobian, PrefersThePlainCallbackAndBuildsItNoMask)
{
    Problem problem = waves(60, 3);
    Evaluated plain(problem), indexed(problem, Shape::indexed);
    Calls calls;
    plain.solver->funcI = recordCallI;
    plain.solver->funcIJ = recordCallIJ;
    const std::int64_t withoutMask = allocationsOf([&] { EXPECT_EQ(plain.run(), KMATH_OK); });
    const std::int64_t withMask = allocationsOf([&] { EXPECT_EQ(indexed.run(), KMATH_OK); });
    EXPECT_EQ(withMask, withoutMask + 1);
    EXPECT_TRUE(calls.columnsOfJob.empty());
}

TEST(NumericJacobian, AllocatesNothingPerColumn)
{
    for (const Shape shape : allShapes)
        for (const std::int32_t threads : {1, 3}) {
            const ThreadCount count(threads);
            const auto allocations = [&](std::int32_t n) {
                Problem problem = waves(60, n);
                Evaluated s(problem, shape);
                s.solver->useThreads = 1;
                return allocationsOf([&] { EXPECT_EQ(s.run(), KMATH_OK); });
            };
            EXPECT_EQ(allocations(20), allocations(90));
        }
}

TEST(NumericJacobian, NeedsNoMemoryForASmallSerialProblem)
{
    const ThreadCount count(1); // without a second thread no jobs are made, even where allowed
    for (const std::int32_t useThreads : {0, 1}) {
        Problem problem = waves(5, 3);
        Evaluated s(problem);
        s.solver->useThreads = useThreads;
        EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(s.run(), KMATH_OK); }), 0);
    }
}

TEST(NumericJacobian, PassesOutTheFailureOfTheCallback)
{
    for (const std::int32_t threads : {1, 2, 3})
        for (const std::int32_t interleave : {0, 1})
            for (std::int32_t failing = 0; failing < 5; ++failing) {
                const ThreadCount count(threads);
                const std::int64_t before = liveBlocks();
                {
                    Problem problem = waves(20, 5);
                    Evaluated s(problem, Shape::indexed);
                    const Matrix params = copyOf(s.solver->params);
                    s.solver->useThreads = 1;
                    s.solver->interleaveColumns = interleave;
                    s.solver->userData = &failing;
                    s.solver->funcI = [](kmath_levmarqsolve *, const kmath_nmmatrix *,
                                         kmath_nmmatrix *, std::int32_t paramIndex, std::int32_t *,
                                         void *userData) {
                        return paramIndex == *static_cast<std::int32_t *>(userData) ? ownFailure
                                                                                    : KMATH_OK;
                    };
                    EXPECT_EQ(s.run(), ownFailure);
                    EXPECT_TRUE(sameBits(copyOf(s.solver->params), params));
                }
                EXPECT_EQ(liveBlocks(), before);
            }
}

TEST(NumericJacobian, PassesOutTheFailureOfTheFirstFailingJob)
{
    // Every job fails, with its number in the status.
    for (const std::int32_t threads : {2, 3, 8}) {
        const ThreadCount count(threads);
        Problem problem = waves(4, 10);
        Evaluated s(problem, Shape::job);
        s.solver->useThreads = 1;
        s.solver->funcIJ = [](kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *,
                              std::int32_t, std::int32_t *, std::int32_t jobIndex, void *) {
            return static_cast<kmath_status>(0x80000100u + static_cast<std::uint32_t>(jobIndex));
        };
        EXPECT_EQ(s.run(), static_cast<kmath_status>(0x80000100u));
    }
}

TEST(NumericJacobian, StopsASerialWalkAtTheFirstFailure)
{
    Problem problem = waves(4, 10);
    Evaluated s(problem, Shape::indexed);
    std::int32_t calls = 0;
    s.solver->userData = &calls;
    s.solver->funcI = [](kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *,
                         std::int32_t paramIndex, std::int32_t *, void *userData) {
        ++*static_cast<std::int32_t *>(userData);
        return paramIndex == 3 ? KMATH_ERR_SINGULAR : 1;
    };
    EXPECT_EQ(s.run(), KMATH_ERR_SINGULAR);
    EXPECT_EQ(calls, 4);
}

TEST(NumericJacobian, LetsAnExceptionOfTheCallbackPass)
{
    for (const std::int32_t threads : {1, 2, 3})
        for (int failing = 0; failing < 5; ++failing) {
            const ThreadCount count(threads);
            const std::int64_t before = liveBlocks();
            {
                Problem problem = waves(20, 5);
                Evaluated s(problem, Shape::job);
                const Matrix params = copyOf(s.solver->params);
                s.solver->useThreads = 1;
                std::atomic<int> calls{0};
                problem.residuals = [&](const double *, double *) {
                    if (calls++ == failing)
                        throw std::runtime_error("no residuals");
                };
                EXPECT_THROW(s.run(), std::runtime_error);
                EXPECT_TRUE(sameBits(copyOf(s.solver->params), params));
            }
            EXPECT_EQ(liveBlocks(), before);
        }
}

TEST(NumericJacobian, RefusesResidualsThatTheCallbackHasReshaped)
{
    struct ShapePair {
        std::int32_t rows, cols;
    };
    for (const std::int32_t threads : {1, 3})
        for (const ShapePair shape : {ShapePair{0, 0}, {1, 3}, {1, 200}, {20, 1}, {2, 20}}) {
            const ThreadCount count(threads);
            const std::int64_t before = liveBlocks();
            {
                Problem problem = waves(20, 5);
                Evaluated s(problem);
                ShapePair wanted = shape;
                s.solver->useThreads = 1;
                s.solver->userData = &wanted;
                s.solver->func = [](kmath_levmarqsolve *, const kmath_nmmatrix *,
                                    kmath_nmmatrix *residuals, void *userData) {
                    const ShapePair &to = *static_cast<ShapePair *>(userData);
                    return kmath_nmmatrix_resize(residuals, to.rows, to.cols);
                };
                EXPECT_EQ(s.run(), KMATH_ERR_BAD_DIMENSIONS);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
}

TEST(NumericJacobian, GivesTheCallbackTheUserDataOfTheRecord)
{
    for (const std::int32_t threads : {1, 3}) {
        const ThreadCount count(threads);
        Problem problem = waves(4, 3);
        Evaluated s(problem);
        s.solver->useThreads = 1;
        int other = 0;
        ASSERT_EQ(kmath_levmarqsolve_compnumericjacob(
                      &s.solver, &s.solver->params, &s.solver->residuals, &s.solver->jacobian,
                      &s.solver->gradient, &s.solver->normalMatrix, &other),
                  KMATH_OK);
        EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), forwardDifferences(problem, 1e-8)));
    }
}

TEST(NumericJacobian, SurvivesEveryFailingAllocation)
{
    for (const Shape shape : allShapes)
        for (const std::int32_t threads : {1, 3}) {
            const ThreadCount count(threads);
            Problem problem = waves(40, 20);
            Evaluated s(problem, shape);
            s.solver->useThreads = 1;
            const Matrix params = copyOf(s.solver->params);
            sweepAllocationFailures([&] {
                Matrix gradient, normalMatrix;
                return kmath_levmarqsolve_compnumericjacob(
                    &s.solver, &s.solver->params, &s.solver->residuals, &s.solver->jacobian,
                    &gradient, &normalMatrix, s.solver->userData);
            });
            EXPECT_TRUE(sameBits(copyOf(s.solver->params), params));
            EXPECT_TRUE(sameBits(copyOf(s.solver->jacobian), forwardDifferences(problem, 1e-8)));
        }
}

TEST(NumericJacobian, ReleasesTheDataOfAJobThatIsRefused)
{
    const ThreadCount count(4);
    for (const int job : {0, 1, 3}) {
        const std::int64_t before = liveBlocks();
        {
            Problem problem = waves(20, 5);
            Evaluated s(problem);
            s.solver->useThreads = 1;
            jobsUntilRefusal = job;
            EXPECT_EQ(s.run(), ownFailure);
            EXPECT_EQ(jobsUntilRefusal, -1);
        }
        EXPECT_EQ(liveBlocks(), before);
    }
}

TEST(NumericJacobian, RepeatsItselfOnThreads)
{
    const ThreadCount count(4);
    Problem problem = waves(12, 10);
    const Matrix expected = forwardDifferences(problem, 1e-8);
    Evaluated contiguous(problem, Shape::indexed), interleaved(problem, Shape::job);
    for (Evaluated *s : {&contiguous, &interleaved})
        s->solver->useThreads = 1;
    interleaved.solver->interleaveColumns = 1;
    for (int repeat = 0; repeat < 500; ++repeat)
        for (Evaluated *s : {&contiguous, &interleaved}) {
            kmath_nmmatrix_set(&s->solver->jacobian, 0.0);
            ASSERT_EQ(s->run(), KMATH_OK);
            ASSERT_TRUE(sameBits(copyOf(s->solver->jacobian), expected));
        }
}

TEST(NumericJacobian, ServesConcurrentCallsOnDistinctRecords)
{
    const ThreadCount count(2);
    std::atomic<int> right{0};
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller)
        callers.emplace_back([&, caller] {
            Problem problem = waves(9, 5 + caller);
            const Matrix expected = forwardDifferences(problem, 1e-8);
            Evaluated s(problem, Shape::job);
            s.solver->useThreads = 1;
            for (int repeat = 0; repeat < 50; ++repeat)
                right += s.run() == KMATH_OK && sameBits(copyOf(s.solver->jacobian), expected);
        });
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(right, 200);
}

} // namespace
