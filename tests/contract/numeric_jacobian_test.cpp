// The numeric Jacobian seen from outside: each column in bits against the difference quotient, the
// flags that callbacks may clear, and the division of the columns over jobs.
#include "contract/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <thread>

namespace
{

using support::assertedLine;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;
using support::ThreadCount;
using textbook::allShapes;
using textbook::Call;
using textbook::Problem;
using textbook::Shape;
using textbook::Solver;

constexpr auto custom = static_cast<kmath_status>(0x80001234u);

/// Smooth residuals that depend on every parameter.
void residualsAt(const double *p, double *r, int n, int m)
{
    for (int k = 0; k < m; ++k) {
        r[k] = 0.1 * k;
        for (int j = 0; j < n; ++j)
            r[k] += std::sin(p[j] * (k + 1)) / (j + 1.0);
    }
}

Problem waves(int n, int m)
{
    std::vector<double> start;
    for (int j = 0; j < n; ++j)
        start.push_back(0.3 + 0.7 * j);
    return {m, start, [=](const double *p, double *r, const Call &) {
                residualsAt(p, r, n, m);
                return KMATH_OK;
            }};
}

struct Outputs {
    Matrix jacobian, gradient, normal;
};

/// The base residuals of the start, as a row.
Matrix baseOf(const Problem &problem)
{
    Matrix r(1, problem.nResiduals);
    problem.evaluate(problem.start.data(), r->rows[0], {-1, nullptr, 0});
    return r;
}

/// Calls with matrices of its own, none of them the record's.
kmath_status compute(Solver &s, Problem &problem, const Matrix &base, Outputs &out)
{
    const int n = static_cast<int>(problem.start.size()), m = problem.nResiduals;
    const Matrix p = textbook::rowOf(problem.start), baseBefore = base;
    out.jacobian = support::build(n, m, [](int, int) { return 1e9; });
    const kmath_status status = kmath_levmarqsolve_compnumericjacob(
        &s, &p, &base, &out.jacobian, &out.gradient, &out.normal, &problem);
    EXPECT_TRUE(sameBits(p, textbook::rowOf(problem.start)));
    EXPECT_TRUE(sameBits(base, baseBefore));
    return status;
}

/// Forward differences on plain arrays; depends(j, k) false leaves the entry 0.
Matrix quotients(
    const Problem &problem, const Matrix &base, double h,
    const std::function<bool(int, int)> &depends = [](int, int) { return true; })
{
    const int n = static_cast<int>(problem.start.size()), m = problem.nResiduals;
    const double inverse = 1.0 / h;
    Matrix J(n, m);
    std::vector<double> q = problem.start, r(static_cast<std::size_t>(m));
    for (int j = 0; j < n; ++j) {
        double &moved = q[static_cast<std::size_t>(j)];
        const double saved = moved;
        moved = moved + h;
        residualsAt(q.data(), r.data(), n, m);
        for (int k = 0; k < m; ++k)
            J(j, k) = depends(j, k) ? (r[static_cast<std::size_t>(k)] - base(0, k)) * inverse : 0.0;
        moved = saved;
    }
    return J;
}

void expectAll(const Outputs &out, const Matrix &J, const Matrix &base)
{
    EXPECT_TRUE(sameBits(out.jacobian, J));
    EXPECT_TRUE(sameBits(out.gradient, textbook::timesTransposed(base, J)));
    EXPECT_TRUE(sameBits(out.normal, textbook::timesTransposed(J, J)));
}

TEST(NumericJacobianRules, EveryEntryIsTheForwardDifferenceInBits)
{
    for (const auto &[n, m] : {std::pair{1, 1}, {1, 9}, {3, 2}, {4, 20}, {10, 33}})
        for (const double h : {1e-8, 1e-3, -1e-6, 0.1})
            for (const Shape shape : allShapes)
                for (const int threads : {0, 1, 2, 3, 8, 64})
                    for (const int interleave : {0, 1}) {
                        const ThreadCount count(std::max(threads, 1));
                        Problem problem = waves(n, m);
                        Solver s;
                        textbook::set(s, problem, shape);
                        s->jacobianStep = h;
                        s->useThreads = threads;
                        s->interleaveColumns = interleave;
                        const Matrix base = baseOf(problem);
                        Outputs out;
                        ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
                        expectAll(out, quotients(problem, base, h), base);
                        EXPECT_EQ(s->params.rows[0][0], problem.start[0]);
                    }
}

TEST(NumericJacobianRules, TheBaseIsTheRowThatIsGiven)
{
    Problem problem = waves(3, 5);
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    const Matrix base = randomMatrix(1, 5, 3);
    for (const int threads : {0, 1}) {
        const ThreadCount count(3);
        s->useThreads = threads;
        Outputs out;
        ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
        expectAll(out, quotients(problem, base, 1e-8), base);
    }
}

struct Seen {
    std::vector<double> params;
    Call call;
    std::thread::id thread;
};

TEST(NumericJacobianRules, EachColumnMovesItsOwnParameterByTheAbsoluteStep)
{
    Problem problem = waves(5, 4);
    problem.start = {1e9, -3.0, 0.0, 1e-12, 2.0}; // 1e9 + 1e-8 is 1e9: restored, not subtracted
    const std::function<kmath_status(const double *, double *, const Call &)> inner =
        problem.evaluate;
    for (const Shape shape : allShapes) {
        std::vector<Seen> calls;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            calls.push_back({{p, p + 5}, call, std::this_thread::get_id()});
            return inner(p, r, call);
        };
        Solver s;
        textbook::set(s, problem, shape);
        const Matrix base = baseOf(problem);
        calls.clear();
        Outputs out;
        ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
        ASSERT_EQ(calls.size(), 5u);
        for (std::size_t j = 0; j < 5; ++j) {
            std::vector<double> expected = problem.start;
            expected[j] += 1e-8;
            EXPECT_EQ(calls[j].params, expected);
            EXPECT_EQ(calls[j].thread, std::this_thread::get_id());
            if (shape != Shape::Plain) {
                EXPECT_EQ(calls[j].call.paramIndex, static_cast<int>(j));
                EXPECT_NE(calls[j].call.mask, nullptr);
            }
            if (shape == Shape::ByJob) {
                EXPECT_EQ(calls[j].call.jobIndex, 0);
            }
        }
    }
}

TEST(NumericJacobianRules, ParametersComeBackAsStored)
{
    // q + h − h would not be q.
    Problem problem = waves(2, 1);
    problem.start = {0.1, 1e-20};
    std::vector<std::vector<double>> seen;
    problem.evaluate = [&](const double *p, double *r, const Call &) {
        seen.push_back({p, p + 2});
        r[0] = p[0];
        return KMATH_OK;
    };
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    s->jacobianStep = 0.7;
    Outputs out;
    const Matrix base = {{0.1}};
    ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
    EXPECT_TRUE(sameBits(seen[1][0], 0.1));
}

TEST(NumericJacobianRules, AClearedFlagStaysClearedUntilItIsSetAgain)
{
    const int n = 10, m = 6;
    for (const Shape shape : {Shape::Indexed, Shape::ByJob})
        for (const int jobs : {1, 2, 3, 4, 8, 64})
            for (const int interleave : {0, 1}) {
                // Parameter j clears flag j % m; parameter 3 sets flag 0 again.
                Problem problem = waves(n, m);
                problem.evaluate = [&](const double *p, double *r, const Call &call) {
                    residualsAt(p, r, n, m);
                    if (call.mask) {
                        if (call.paramIndex == 3)
                            call.mask[0] = 1;
                        call.mask[call.paramIndex % m] = 0;
                        for (int k = 0; k < m; ++k)
                            if (!call.mask[k])
                                r[k] = 1e300; // what is not depended on need not be written
                    }
                    return KMATH_OK;
                };
                const ThreadCount count(jobs);
                Solver s;
                textbook::set(s, problem, shape);
                s->useThreads = 1;
                s->interleaveColumns = interleave;
                const Matrix base = baseOf(problem);
                Outputs out;
                ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);

                const int used = std::min(jobs, n);
                Matrix flags(n, m);
                for (int job = 0; job < used; ++job) {
                    std::vector<int> mask(static_cast<std::size_t>(m), 1);
                    for (int j = 0; j < n; ++j) {
                        const bool mine = interleave
                                              ? j % used == job
                                              : j >= job * n / used && j < (job + 1) * n / used;
                        if (!mine)
                            continue;
                        if (j == 3)
                            mask[0] = 1;
                        mask[static_cast<std::size_t>(j % m)] = 0;
                        for (int k = 0; k < m; ++k)
                            flags(j, k) = mask[static_cast<std::size_t>(k)];
                    }
                }
                const Matrix J = quotients(problem, base, 1e-8,
                                           [&](int j, int k) { return flags(j, k) != 0.0; });
                expectAll(out, J, base);
            }
}

TEST(NumericJacobianRules, MasksBeginWithEveryFlagOne)
{
    for (const int jobs : {1, 3}) {
        const ThreadCount count(jobs);
        Problem problem = waves(3, 40);
        std::mutex lock;
        std::vector<std::vector<std::int32_t>> masks;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            residualsAt(p, r, 3, 40);
            const std::lock_guard guard(lock);
            if (call.mask)
                masks.push_back({call.mask, call.mask + 40});
            return KMATH_OK;
        };
        Solver s;
        textbook::set(s, problem, Shape::Indexed);
        s->useThreads = 1;
        const Matrix base = baseOf(problem);
        Outputs out;
        for (int repeat = 0; repeat < 2; ++repeat)
            ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
        ASSERT_EQ(masks.size(), 6u);
        for (const auto &mask : masks)
            EXPECT_EQ(mask, std::vector<std::int32_t>(40, 1));
    }
}

/// The parameters that each job evaluated, in its order.
std::map<int, std::vector<int>> columnsByJob(int n, int jobs, int useThreads, int interleave)
{
    const ThreadCount count(jobs);
    Problem problem = waves(n, 3);
    std::mutex lock;
    std::map<int, std::vector<int>> columns;
    problem.evaluate = [&](const double *p, double *r, const Call &call) {
        residualsAt(p, r, n, 3);
        const std::lock_guard guard(lock);
        if (call.mask)
            columns[call.jobIndex].push_back(call.paramIndex);
        return KMATH_OK;
    };
    Solver s;
    textbook::set(s, problem, Shape::ByJob);
    s->useThreads = useThreads;
    s->interleaveColumns = interleave;
    const Matrix base = baseOf(problem);
    Outputs out;
    EXPECT_EQ(compute(s, problem, base, out), KMATH_OK);
    return columns;
}

TEST(NumericJacobianRules, TenParametersOnFourJobs)
{
    using Columns = std::map<int, std::vector<int>>;
    EXPECT_EQ(columnsByJob(10, 4, 1, 0),
              (Columns{{0, {0, 1}}, {1, {2, 3, 4}}, {2, {5, 6}}, {3, {7, 8, 9}}}));
    EXPECT_EQ(columnsByJob(10, 4, 1, 1),
              (Columns{{0, {0, 4, 8}}, {1, {1, 5, 9}}, {2, {2, 6}}, {3, {3, 7}}}));
    EXPECT_EQ(columnsByJob(10, 4, -1, 7),
              (Columns{{0, {0, 4, 8}}, {1, {1, 5, 9}}, {2, {2, 6}}, {3, {3, 7}}}));
    const std::vector<int> all = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(columnsByJob(10, 4, 0, 0), (Columns{{0, all}}));
    EXPECT_EQ(columnsByJob(10, 4, 0, 1), (Columns{{0, all}}));
    EXPECT_EQ(columnsByJob(10, 1, 1, 1), (Columns{{0, all}}));
    EXPECT_EQ(columnsByJob(1, 4, 1, 0), (Columns{{0, {0}}}));
}

TEST(NumericJacobianRules, ThereAreNeverMoreJobsThanParameters)
{
    for (const int n : {2, 3, 7})
        for (const int jobs : {2, 3, 5, 100})
            for (const int interleave : {0, 1}) {
                const auto columns = columnsByJob(n, jobs, 1, interleave);
                const int used = std::min(n, jobs);
                EXPECT_EQ(columns.size(), static_cast<std::size_t>(used));
                for (const auto &[job, list] : columns) {
                    std::vector<int> expected;
                    for (int j = 0; j < n; ++j)
                        if (interleave ? j % used == job
                                       : j >= job * n / used && j < (job + 1) * n / used)
                            expected.push_back(j);
                    EXPECT_EQ(list, expected);
                }
            }
}

TEST(NumericJacobianRules, WithoutAChoiceTheCallingThreadDoesTheWork)
{
    struct Case {
        int useThreads, threads, n;
    };
    for (const Case &c : {Case{0, 8, 6}, Case{1, 1, 6}, Case{1, 8, 1}, Case{1, 0, 6}}) {
        const ThreadCount count(c.threads);
        Problem problem = waves(c.n, 3);
        bool elsewhere = false;
        const std::thread::id here = std::this_thread::get_id();
        problem.evaluate = [&](const double *p, double *r, const Call &) {
            elsewhere |= std::this_thread::get_id() != here;
            residualsAt(p, r, c.n, 3);
            return KMATH_OK;
        };
        Solver s;
        textbook::set(s, problem, Shape::Plain);
        s->useThreads = c.useThreads;
        const Matrix base = baseOf(problem);
        Outputs out;
        ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
        EXPECT_FALSE(elsewhere);
        expectAll(out, quotients(problem, base, 1e-8), base);
    }
}

TEST(NumericJacobianRules, NothingIsAllocatedBetweenColumns)
{
    Problem problem = waves(20, 30);
    std::vector<std::int64_t> counts;
    counts.reserve(100);
    problem.evaluate = [&](const double *p, double *r, const Call &) {
        counts.push_back(support::allocationCount());
        residualsAt(p, r, 20, 30);
        return KMATH_OK;
    };
    Solver s;
    textbook::set(s, problem, Shape::Indexed);
    const Matrix base = baseOf(problem);
    counts.clear();
    Outputs out;
    ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
    ASSERT_EQ(counts.size(), 20u);
    EXPECT_EQ(counts.front(), counts.back());
}

TEST(NumericJacobianRules, AFailingColumnEndsTheSerialWalk)
{
    for (const Shape shape : allShapes)
        for (int failing = 0; failing < 4; ++failing) {
            Problem problem = waves(4, 3);
            int count = -1; // the base comes first
            problem.evaluate = [&](const double *p, double *r, const Call &) {
                residualsAt(p, r, 4, 3);
                return count++ == failing ? custom : KMATH_OK;
            };
            Solver s;
            textbook::set(s, problem, shape);
            const Matrix base = baseOf(problem);
            Outputs out;
            out.gradient = out.normal = Matrix{{5}};
            EXPECT_EQ(compute(s, problem, base, out), custom);
            EXPECT_EQ(count, failing + 1);
            const Matrix J = quotients(problem, base, 1e-8);
            for (int j = 0; j < 4; ++j)
                EXPECT_TRUE(sameBits(out.jacobian(j, 0), j < failing ? J(j, 0) : 1e9));
            EXPECT_EQ(out.gradient.rows(), 1);
            EXPECT_EQ(out.gradient.cols(), 1);
            EXPECT_EQ(out.normal(0, 0), 5.0);
        }
}

TEST(NumericJacobianRules, TheFirstFailingJobGivesItsStatus)
{
    for (const int interleave : {0, 1}) {
        const ThreadCount count(4);
        Problem problem = waves(8, 3);
        std::mutex lock;
        std::vector<int> seen;
        problem.evaluate = [&](const double *p, double *r, const Call &call) {
            residualsAt(p, r, 8, 3);
            const std::lock_guard guard(lock);
            if (call.mask)
                seen.push_back(call.paramIndex);
            return call.mask && call.jobIndex % 2 ? custom + call.jobIndex : KMATH_OK;
        };
        Solver s;
        textbook::set(s, problem, Shape::ByJob);
        s->useThreads = 1;
        s->interleaveColumns = interleave;
        const Matrix base = baseOf(problem);
        Outputs out;
        out.gradient = Matrix{{5}};
        EXPECT_EQ(compute(s, problem, base, out), custom + 1);
        EXPECT_EQ(out.gradient(0, 0), 5.0);
        // Jobs 0 and 2 finish, jobs 1 and 3 end at their first column.
        std::sort(seen.begin(), seen.end());
        EXPECT_EQ(seen, interleave ? (std::vector<int>{0, 1, 2, 3, 4, 6})
                                   : (std::vector<int>{0, 1, 2, 4, 5, 6}));
    }
}

TEST(NumericJacobianRules, UnsetSizesAreRefused)
{
    Problem problem = waves(2, 3);
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    const Matrix base = baseOf(problem);
    Outputs out;
    s->nParams = 0;
    EXPECT_EQ(compute(s, problem, base, out), KMATH_ERR_BAD_DIMENSIONS);
    s->nParams = 2;
    s->nResiduals = 0;
    EXPECT_EQ(compute(s, problem, base, out), KMATH_ERR_BAD_DIMENSIONS);
    s->nResiduals = 3;
    EXPECT_EQ(compute(s, problem, base, out), KMATH_OK);
}

TEST(NumericJacobianRules, EverythingIsGivenBackWhenAnAllocationFails)
{
    const ThreadCount count(3);
    for (const Shape shape : allShapes)
        for (const int useThreads : {0, 1}) {
            Problem problem = waves(7, 20);
            Solver s;
            textbook::set(s, problem, shape);
            s->useThreads = useThreads;
            const Matrix base = baseOf(problem), p = textbook::rowOf(problem.start);
            Matrix J(7, 20);
            support::sweepAllocationFailures([&] {
                Matrix g, N;
                return kmath_levmarqsolve_compnumericjacob(&s, &p, &base, &J, &g, &N, &problem);
            });
            EXPECT_TRUE(sameBits(p, textbook::rowOf(problem.start)));
        }
}

TEST(NumericJacobianRules, AnExceptionOfTheCallbackPassesThrough)
{
    for (const int useThreads : {0, 1}) {
        const ThreadCount count(3);
        Problem problem = waves(6, 20);
        problem.evaluate = [](const double *p, double *r, const Call &call) -> kmath_status {
            residualsAt(p, r, 6, 20);
            if (call.mask && call.paramIndex == 4)
                throw 42;
            return KMATH_OK;
        };
        Solver s;
        textbook::set(s, problem, Shape::Indexed);
        s->useThreads = useThreads;
        const Matrix base = baseOf(problem), p = textbook::rowOf(problem.start);
        Matrix J(6, 20), g, N;
        const std::int64_t live = support::liveBlocks();
        EXPECT_THROW(kmath_levmarqsolve_compnumericjacob(&s, &p, &base, &J, &g, &N, &problem), int);
        EXPECT_EQ(support::liveBlocks(), live);
    }
}

TEST(NumericJacobianRules, ValuesThatAreNotFiniteAreCarriedThrough)
{
    Problem problem = waves(2, 2);
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    const double inf = std::numeric_limits<double>::infinity();
    const Matrix base = {{inf, std::nan("")}};
    Outputs out;
    ASSERT_EQ(compute(s, problem, base, out), KMATH_OK);
    EXPECT_EQ(out.jacobian(0, 0), -inf);
    EXPECT_TRUE(std::isnan(out.jacobian(1, 1)));
    s->jacobianStep = 0.0; // 0 · ∞
    const Matrix at = baseOf(problem);
    ASSERT_EQ(compute(s, problem, at, out), KMATH_OK);
    EXPECT_TRUE(std::isnan(out.jacobian(0, 0)));
}

TEST(NumericJacobianRules, NullArgumentsAreReported)
{
    Problem problem = waves(2, 3);
    Solver s;
    textbook::set(s, problem, Shape::Plain);
    Matrix p(1, 2), r(1, 3), J(2, 3), g(1, 2), N(2, 2);
    const auto call = kmath_levmarqsolve_compnumericjacob;
    EXPECT_EQ(assertedLine([&] { call(nullptr, &p, &r, &J, &g, &N, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, nullptr, &r, &J, &g, &N, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, &p, nullptr, &J, &g, &N, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, &p, &r, nullptr, &g, &N, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, &p, &r, &J, nullptr, &N, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, &p, &r, &J, &g, nullptr, &problem); }), 758);
    EXPECT_EQ(assertedLine([&] { call(&s, &p, &r, &J, &g, &N, nullptr); }), 0);
}

} // namespace
