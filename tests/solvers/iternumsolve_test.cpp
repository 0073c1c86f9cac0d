#include "solvers/damped_oracle.hpp"
#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr kmath_status ownFailure = static_cast<kmath_status>(0x80001234u);

using Ladder = Owned<kmath_iternumsolve, kmath_iternumsolve_construct, kmath_iternumsolve_destruct>;

// What the objective saw at one call.
struct Call {
    Row point;
    double gradStep, lambda, finalValue;
};

struct Scalar {
    std::function<double(const double *)> f;
    std::vector<Call> calls;
    const double *finalValue = nullptr; // watched
    std::size_t failing = SIZE_MAX;
    bool throws = false;
    std::mutex mutex;

    explicit Scalar(std::function<double(const double *)> function) : f(std::move(function)) {}
};

Scalar &scalarOf(kmath_iternumsolve *solver)
{
    return *static_cast<Scalar *>(solver->solver.userData);
}

kmath_status objective(kmath_iternumsolve *solver, const kmath_nmmatrix *params, double *value)
{
    Scalar &scalar = scalarOf(solver);
    const double *p = params->rows[0];
    {
        const std::lock_guard lock(scalar.mutex);
        const std::size_t number = scalar.calls.size();
        scalar.calls.push_back({Row(p, p + params->nCols), solver->gradStep, solver->solver.lambda,
                                scalar.finalValue ? *scalar.finalValue : unwritten});
        if (number == scalar.failing && scalar.throws)
            throw std::runtime_error("no value");
        if (number == scalar.failing)
            return ownFailure;
    }
    *value = scalar.f(p);
    return KMATH_OK;
}

void set(Ladder &s, Scalar &scalar, const Row &start, bool indexed = false)
{
    const auto n = static_cast<std::int32_t>(start.size());
    const Matrix p = build(1, n, [&](auto, auto j) { return start[static_cast<std::size_t>(j)]; });
    const auto jacobian = kmath_levmarqsolve_compnumericjacob;
    ASSERT_EQ(indexed
                  ? kmath_levmarqsolve_setSysI(&s->solver, kmath_iternumsolve_levmarqsolve_funcI,
                                               jacobian, n, n, &p, 1, &scalar)
                  : kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                              jacobian, n, n, &p, 1, &scalar),
              KMATH_OK);
    s->objective = objective;
}

void setSteps(Ladder &s, double start, double end, double factor)
{
    s->gradStepStart = start;
    s->gradStepEnd = end;
    s->gradStepFactor = factor;
}

double constant(const double *) { return 2.385; }
double rosenbrock(const double *p)
{
    const double a = p[1] - p[0] * p[0];
    return 100.0 * a * a + (1.0 - p[0]) * (1.0 - p[0]);
}
double bowl(const double *p) // least at (3, −1): 7
{
    const double x = p[0] - 3.0, y = p[1] + 1.0;
    return 7.0 + x * x + 2.0 * y * y + 0.5 * x * y;
}

bool sameRow(const Row &a, const Row &b)
{
    bool same = a.size() == b.size();
    for (std::size_t j = 0; same && j < a.size(); ++j)
        same = sameBits(a[j], b[j]);
    return same;
}

Row rowOf(const kmath_nmmatrix &matrix)
{
    return Row(matrix.rows[0], matrix.rows[0] + matrix.nCols);
}

// The record.

TEST(IternumsolveRecord, HasItsFieldsInOrder)
{
    EXPECT_EQ(offsetof(kmath_iternumsolve, solver), 0u);
    std::size_t expected = sizeof(kmath_levmarqsolve);
    for (const std::size_t offset :
         {offsetof(kmath_iternumsolve, objective), offsetof(kmath_iternumsolve, independence),
          offsetof(kmath_iternumsolve, gradStep), offsetof(kmath_iternumsolve, gradStepStart),
          offsetof(kmath_iternumsolve, gradStepEnd),
          offsetof(kmath_iternumsolve, gradStepFactor)}) {
        EXPECT_EQ(offset, expected);
        expected += 8;
    }
    EXPECT_EQ(sizeof(kmath_iternumsolve), expected);
}

TEST(IternumsolveRecord, AssertsItsPointers)
{
    Ladder s;
    double value;
    EXPECT_EQ(assertedLine([] { kmath_iternumsolve_construct(nullptr); }), 28);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_assign(nullptr, &s); }), 49);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_assign(&s, nullptr); }), 49);
    EXPECT_EQ(assertedLine([] { kmath_iternumsolve_destruct(nullptr); }), 69);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(nullptr, &value); }), 232);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(&s, nullptr); }), 232);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(&s, &value); }), 0);
}

TEST(IternumsolveConstruct, SetsTheDefaults)
{
    kmath_iternumsolve s;
    std::memset(static_cast<void *>(&s), 0xA5, sizeof s);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_iternumsolve_construct(&s), KMATH_OK); }), 0);
    EXPECT_EQ(s.objective, nullptr);
    EXPECT_EQ(s.independence, nullptr);
    EXPECT_EQ(s.gradStep, 1e-10);
    EXPECT_EQ(s.gradStepStart, 1e-10);
    EXPECT_EQ(s.gradStepEnd, 0.003);
    EXPECT_EQ(s.gradStepFactor, 3.0);

    EXPECT_EQ(s.solver.nParams, 0);
    EXPECT_EQ(s.solver.lambda, 0.01);
    EXPECT_EQ(s.solver.maxIterations, 100);
    EXPECT_EQ(s.solver.func, nullptr);
    EXPECT_EQ(s.solver.compJacobian, &kmath_levmarqsolve_compnumericjacob);
    EXPECT_EQ(s.solver.compSearchDir, &kmath_levmarqsolve_compSearchDirLinSys);
    EXPECT_EQ(s.solver.params.rows, nullptr);
    EXPECT_EQ(s.solver.userData, nullptr);
    EXPECT_EQ(kmath_iternumsolve_destruct(&s), KMATH_OK);
}

kmath_status neverIndependent(kmath_iternumsolve *, std::int32_t, std::int32_t, std::int32_t *)
{
    return KMATH_OK;
}

// A record in which no field of its own has its default, with matrices on the heap.
void fillDistinct(Ladder &s, Scalar &scalar)
{
    set(s, scalar, Row(17, 2.385));
    s->independence = neverIndependent;
    s->gradStep = 1.5;
    setSteps(s, 2.5, 3.5, 4.5);
    s->solver.lambda = 0.37;
}

TEST(IternumsolveDestruct, ReleasesClearsAndMayBeRepeated)
{
    const std::int64_t before = liveBlocks();
    Scalar scalar(constant);
    Ladder s;
    fillDistinct(s, scalar);
    EXPECT_GT(liveBlocks(), before);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kmath_iternumsolve_destruct(&s), KMATH_OK);
        EXPECT_EQ(liveBlocks(), before);
        EXPECT_EQ(s->solver.params.rows, nullptr);
        EXPECT_EQ(s->objective, nullptr);
        EXPECT_EQ(s->independence, nullptr);
        for (const double step : {s->gradStep, s->gradStepStart, s->gradStepEnd, s->gradStepFactor})
            EXPECT_TRUE(sameBits(step, 0.0));
    }
}

TEST(IternumsolveAssign, CopiesEveryField)
{
    Scalar scalar(constant);
    Ladder s, d;
    fillDistinct(s, scalar);
    ASSERT_EQ(kmath_iternumsolve_assign(&d, &s), KMATH_OK);
    ASSERT_EQ(kmath_iternumsolve_assign(&d, &d), KMATH_OK); // to itself: nothing changes
    EXPECT_EQ(d->objective, &objective);
    EXPECT_EQ(d->independence, &neverIndependent);
    EXPECT_EQ(d->gradStep, 1.5);
    EXPECT_EQ(d->gradStepStart, 2.5);
    EXPECT_EQ(d->gradStepEnd, 3.5);
    EXPECT_EQ(d->gradStepFactor, 4.5);
    EXPECT_EQ(d->solver.lambda, 0.37);
    EXPECT_EQ(d->solver.func, &kmath_iternumsolve_levmarqsolve_func);
    EXPECT_EQ(d->solver.userData, &scalar);
    EXPECT_EQ(rowOf(d->solver.params), rowOf(s->solver.params));
    s->solver.params.rows[0][3] = 9.0; // the copy is its own
    EXPECT_EQ(d->solver.params.rows[0][3], 2.385);
}

TEST(IternumsolveAssign, KeepsCallbacksAndStepsWhenAnAllocationFails)
{
    Scalar scalar(constant);
    Ladder s;
    fillDistinct(s, scalar);
    int failures = 0;
    sweepAllocationFailures([&] {
        Ladder d;
        const kmath_status status = kmath_iternumsolve_assign(&d, &s);
        const bool failed = KMATH_IS_FAILURE(status);
        failures += failed;
        EXPECT_EQ(d->solver.lambda, 0.37);
        EXPECT_EQ(d->objective, failed ? nullptr : objective);
        EXPECT_EQ(d->independence, failed ? nullptr : neverIndependent);
        EXPECT_EQ(d->gradStep, failed ? 1e-10 : 1.5);
        EXPECT_EQ(d->gradStepStart, failed ? 1e-10 : 2.5);
        EXPECT_EQ(d->gradStepEnd, failed ? 0.003 : 3.5);
        EXPECT_EQ(d->gradStepFactor, failed ? 3.0 : 4.5);
        return status;
    });
    EXPECT_EQ(failures, 16);
}

// The residuals.

Matrix gradientAt(Ladder &s, const Matrix &p, kmath_status expected = KMATH_OK)
{
    Matrix residuals(1, p.cols());
    const Matrix before = p;
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &residuals, nullptr), expected);
    EXPECT_TRUE(sameBits(p, before));
    return residuals;
}

TEST(IternumsolveFunc, TakesCentralDifferencesAtAPointThatStaysMoved)
{
    for (const double h : {1e-10, 0.003, 0.25, -0.5}) {
        Scalar scalar([](const double *p) { return p[0] * p[1] + std::sin(p[2]) + p[0] * p[2]; });
        Ladder s;
        set(s, scalar, {0.0, 0.0, 0.0});
        s->gradStep = h;
        const double a = 1.25, b = -2.385, d = 0.7;
        const Matrix residuals = gradientAt(s, Matrix{{a, b, d}});

        const std::vector<Row> points{{a - h, b, d},         {a + h, b, d},
                                      {a + h, b - h, d},     {a + h, b + h, d},
                                      {a + h, b + h, d - h}, {a + h, b + h, d + h}};
        ASSERT_EQ(scalar.calls.size(), points.size());
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(scalar.calls[i].point, points[i]);
            EXPECT_EQ(scalar.calls[i].gradStep, h);
        }
        for (std::int32_t k = 0; k < 3; ++k) {
            const auto i = static_cast<std::size_t>(2 * k);
            const double below = scalar.f(points[i].data()), above = scalar.f(points[i + 1].data());
            EXPECT_TRUE(sameBits(residuals(0, k), (above - below) * (1.0 / (h * 2.0))));
        }
    }
}

TEST(IternumsolveFunc, HasTheDerivativeOfTheMovedPoint)
{
    Scalar scalar([](const double *p) { return p[0] * p[1]; });
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    s->gradStep = 0.5;
    const Matrix residuals = gradientAt(s, Matrix{{3.0, 4.0}}); // exact in binary
    EXPECT_EQ(residuals(0, 0), 4.0);
    EXPECT_EQ(residuals(0, 1), 3.5); // p₀ + h, not p₀
}

TEST(IternumsolveFunc, LeavesOutTheComponentsThatAShorterRowHasNot)
{
    Scalar scalar(rosenbrock);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    const Matrix p{{0.5, 0.25}};
    Matrix one(1, 1), none(1, 0), empty;
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &one, nullptr), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 2u);
    EXPECT_TRUE(sameBits(one(0, 0), gradientAt(s, p)(0, 0)));
    scalar.calls.clear();
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &none, nullptr), KMATH_OK);
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &empty, nullptr), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST(IternumsolveFunc, RefusesRowsThatDoNotFit)
{
    Scalar scalar(constant);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    Matrix two(1, 2), three(1, 3), column(2, 1), lost(1, 1), lostLong(1, 1), empty;
    loseStorage(lost, 1, 40);
    loseStorage(lostLong, 1, 40);
    const std::pair<kmath_nmmatrix *, kmath_nmmatrix *> bad[] = {
        {&two, &three}, {&two, &column}, {&column, &two},   {&empty, &two},
        {&lost, &two},  {&two, &lost},   {&lost, &lostLong}};
    for (const auto &[p, r] : bad) {
        EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, p, r, nullptr),
                  KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(kmath_iternumsolve_levmarqsolve_funcI(&s->solver, p, r, 0, nullptr, nullptr),
                  KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST(IternumsolveFunc, RefusesANullObjective)
{
    Scalar scalar(constant);
    Ladder s;
    set(s, scalar, {0.0, 0.0});
    s->objective = nullptr;
    gradientAt(s, Matrix{{1.0, 2.0}}, KMATH_ERR_FAILED);
}

TEST(IternumsolveFunc, PassesAFailureOrAnExceptionOutAtOnce)
{
    for (std::size_t failing = 0; failing < 2 * 18; ++failing)
        for (const bool throws : {false, true}) {
            const std::int64_t before = liveBlocks();
            Scalar scalar([](const double *p) { return p[0] + p[17]; });
            {
                Ladder s;
                set(s, scalar, Row(18, 1.0));
                scalar.failing = failing;
                scalar.throws = throws;
                const Matrix p = randomMatrix(1, 18);
                if (throws) {
                    EXPECT_THROW(gradientAt(s, p), std::runtime_error);
                } else {
                    gradientAt(s, p, ownFailure);
                }
                EXPECT_EQ(scalar.calls.size(), failing + 1);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
}

TEST(IternumsolveFunc, SurvivesEveryFailingAllocation)
{
    Scalar scalar([](const double *p) { return p[0] * p[17]; });
    Ladder s;
    set(s, scalar, Row(18, 1.0));
    const Matrix p = randomMatrix(1, 18);
    Matrix residuals(1, 18);
    sweepAllocationFailures(
        [&] { return kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &residuals, nullptr); });
}

// Independence: asked pairs are kept, answers come from a table.
std::vector<std::pair<std::int32_t, std::int32_t>> asked;
std::vector<std::int32_t> answers; // by component
std::int32_t failingQuestion = -1;
bool questionThrows = false;

kmath_status fromTable(kmath_iternumsolve *, std::int32_t paramIndex, std::int32_t gradientIndex,
                       std::int32_t *independent)
{
    EXPECT_EQ(*independent, 0);
    asked.emplace_back(paramIndex, gradientIndex);
    if (gradientIndex == failingQuestion && questionThrows)
        throw std::runtime_error("no answer");
    if (gradientIndex == failingQuestion)
        return ownFailure;
    if (answers[static_cast<std::size_t>(gradientIndex)])
        *independent = answers[static_cast<std::size_t>(gradientIndex)];
    return KMATH_OK;
}

struct IternumsolveFuncI : testing::Test {
    Scalar scalar{[](const double *p) { return p[0] * p[1] + p[1] * p[2]; }};
    Ladder s;
    Matrix residuals{{-7.0, -7.0, -7.0}};

    void SetUp() override
    {
        asked.clear();
        answers = {0, 0, 0};
        failingQuestion = -1;
        questionThrows = false;
        set(s, scalar, {0.0, 0.0, 0.0}, true);
        s->gradStep = 0.5;
        s->independence = fromTable;
    }

    kmath_status call(std::int32_t paramIndex, std::int32_t *mask = nullptr)
    {
        const Matrix p{{3.0, 4.0, 5.0}};
        return kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &residuals, paramIndex, mask,
                                                     nullptr);
    }
};

TEST_F(IternumsolveFuncI, AsksNobodyInAFullEvaluation)
{
    answers = {1, 1, 1};
    ASSERT_EQ(call(-1), KMATH_OK);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(scalar.calls.size(), 6u);
    EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 3.5 + 5.0, 4.5}}));
}

TEST_F(IternumsolveFuncI, NeedsNoIndependenceFunction)
{
    s->independence = nullptr;
    ASSERT_EQ(call(1), KMATH_OK);
    EXPECT_EQ(scalar.calls.size(), 6u);
    EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 8.5, 4.5}}));
}

TEST_F(IternumsolveFuncI, AsksAboutEveryComponent)
{
    for (const std::int32_t index : {0, 1, 2}) {
        asked.clear();
        ASSERT_EQ(call(index), KMATH_OK);
        EXPECT_EQ(asked, (std::vector<std::pair<std::int32_t, std::int32_t>>{
                             {index, 0}, {index, 1}, {index, 2}}));
        EXPECT_TRUE(sameBits(residuals, Matrix{{4.0, 8.5, 4.5}}));
    }
}

TEST_F(IternumsolveFuncI, LeavesAnIndependentComponentZeroAndUnmoved)
{
    for (const std::int32_t yes : {1, -3, INT32_MIN}) {
        answers = {yes, 0, 0};
        scalar.calls.clear();
        std::int32_t mask[] = {1, 1, 1};
        ASSERT_EQ(call(2, mask), KMATH_OK);
        EXPECT_TRUE(sameBits(residuals, Matrix{{0.0, 8.0, 4.5}})); // 3 + 5: p₀ has not moved
        ASSERT_EQ(scalar.calls.size(), 4u);
        EXPECT_EQ(scalar.calls[0].point, (Row{3.0, 3.5, 5.0}));
        EXPECT_EQ(scalar.calls[3].point, (Row{3.0, 4.5, 5.5}));
        for (const std::int32_t flag : mask)
            EXPECT_EQ(flag, 1);
    }
    answers = {1, 1, 1};
    scalar.calls.clear();
    ASSERT_EQ(call(0), KMATH_OK);
    EXPECT_TRUE(sameBits(residuals, Matrix{{0.0, 0.0, 0.0}}));
    EXPECT_EQ(scalar.calls.size(), 0u);
}

TEST_F(IternumsolveFuncI, PassesAFailureOrAnExceptionOutAtOnce)
{
    for (failingQuestion = 0; failingQuestion < 3; ++failingQuestion)
        for (const bool throws : {false, true}) {
            asked.clear();
            scalar.calls.clear();
            questionThrows = throws;
            if (throws) {
                EXPECT_THROW(call(1), std::runtime_error);
            } else {
                EXPECT_EQ(call(1), ownFailure);
            }
            EXPECT_EQ(asked.size(), static_cast<std::size_t>(failingQuestion) + 1);
            EXPECT_EQ(scalar.calls.size(), 2 * static_cast<std::size_t>(failingQuestion));
        }
    failingQuestion = -1;
    scalar.calls.clear();
    scalar.failing = 3;
    EXPECT_EQ(call(1), ownFailure);
    EXPECT_EQ(scalar.calls.size(), 4u);
}

TEST_F(IternumsolveFuncI, LetsANumericJacobianTakeTheZeroForTheValue)
{
    kmath_levmarqsolve &solver = s->solver;
    answers = {0, 1, 0};
    s->solver.jacobianStep = 0.25;
    const Matrix p{{3.0, 4.0, 5.0}}, base{{4.0, 8.5, 4.5}};
    ASSERT_EQ(kmath_levmarqsolve_compnumericjacob(&solver, &p, &base, &solver.jacobian,
                                                  &solver.gradient, &solver.normalMatrix, &scalar),
              KMATH_OK);
    for (std::int32_t j = 0; j < 3; ++j)
        EXPECT_EQ(solver.jacobian.rows[j][1], (0.0 - 8.5) * 4.0);
    EXPECT_EQ(solver.jacobian.rows[1][0], 1.0); // ∂(∂f/∂p₀)/∂p₁, where nothing is left out
    EXPECT_EQ(solver.jacobian.rows[0][0], 0.0);
    EXPECT_EQ(asked.size(), 9u);
}

// The ladder.

struct ScalarRun {
    Ladder s;
    Scalar scalar;
    double value = unwritten;
    kmath_status status = KMATH_OK;

    explicit ScalarRun(std::function<double(const double *)> f, const Row &start,
                       bool indexed = false)
        : scalar(std::move(f))
    {
        set(s, scalar, start, indexed);
        scalar.finalValue = &value;
    }

    void minimize() { status = kmath_iternumsolve_minimize(&s, &value); }
    Row params() { return rowOf(s->solver.params); }
};

// The steps that the objective saw, each once; the first call comes before the ladder and the last
// after it.
std::vector<double> stepsOf(const Scalar &scalar)
{
    std::vector<double> steps;
    for (std::size_t i = 1; i + 1 < scalar.calls.size(); ++i)
        if (steps.empty() || scalar.calls[i].gradStep != steps.back())
            steps.push_back(scalar.calls[i].gradStep);
    return steps;
}

TEST(IternumsolveMinimize, RefusesARecordWithoutASystem)
{
    Ladder fresh;
    fresh->objective = objective;
    double value = unwritten;
    EXPECT_EQ(kmath_iternumsolve_minimize(&fresh, &value), KMATH_ERR_BAD_DIMENSIONS);
    for (const bool residuals : {true, false})
        for (const std::int32_t count : {0, -1, INT32_MIN}) {
            ScalarRun run(constant, {1.0});
            (residuals ? run.s->solver.nResiduals : run.s->solver.nParams) = count;
            run.minimize();
            EXPECT_EQ(run.status, KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(run.scalar.calls.size(), 0u);
            EXPECT_EQ(run.value, unwritten);
            EXPECT_EQ(run.s->gradStep, 1e-10);
        }
}

TEST(IternumsolveMinimize, RefusesASystemWhoseSettingFailed)
{
    const Matrix p = randomMatrix(1, 19);
    for (std::int64_t number = 0; number < 12; ++number) {
        Ladder s;
        Scalar scalar(constant);
        s->objective = objective;
        failAllocation(number);
        EXPECT_EQ(kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                            kmath_levmarqsolve_compnumericjacob, 19, 19, &p, 1,
                                            &scalar),
                  KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        double value = unwritten;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(scalar.calls.size(), 0u);
    }
}

TEST(IternumsolveMinimize, RefusesANullObjective)
{
    ScalarRun run(constant, {1.0});
    run.s->objective = nullptr;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.value, unwritten);
}

TEST(IternumsolveMinimize, RefusesMoreResidualsThanParameters)
{
    Scalar scalar(bowl);
    Ladder s;
    const Matrix p{{1.0, 2.0}};
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s->solver, kmath_iternumsolve_levmarqsolve_func,
                                        kmath_levmarqsolve_compnumericjacob, 3, 2, &p, 1, &scalar),
              KMATH_OK);
    s->objective = objective;
    double value = unwritten;
    EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(value, unwritten);
    EXPECT_EQ(scalar.calls.size(), 2u); // at the start and at the best point
}

TEST(IternumsolveMinimize, ClimbsSixteenStepsAndComesDownFromTheEndStep)
{
    ScalarRun run(constant, {1.0});
    run.s->gradStep = 77.0;
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);

    std::vector<double> expected;
    double h = 1e-10;
    for (int k = 0; k < 16; ++k, h *= 3.0)
        expected.push_back(h);
    EXPECT_NEAR(expected.back(), 1.4348907e-3, 1e-12);
    h = 0.003;
    for (int k = 0; k < 16; ++k, h /= 3.0)
        expected.push_back(h);
    EXPECT_EQ(stepsOf(run.scalar), expected);
    EXPECT_LE(h, 1e-10);
    EXPECT_EQ(run.scalar.calls.front().gradStep, 77.0);
    EXPECT_EQ(run.scalar.calls.back().gradStep, h);
    EXPECT_EQ(run.s->gradStep, h);
}

TEST(IternumsolveMinimize, EvaluatesAConstantAsOftenAsItSays)
{
    // A gradient of zero ends each run after one evaluation of the residuals.
    for (const std::size_t n : {1u, 3u, 20u}) {
        ScalarRun run(constant, Row(n, 1.5));
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.scalar.calls.size(), 1 + 32 * (1 + 2 * (2 * n + 1)) + 1);
        EXPECT_EQ(run.params(), Row(n, 1.5));
        EXPECT_EQ(run.value, 2.385); // the objective, not the cost of 0 that the runs wrote
        EXPECT_EQ(run.scalar.calls.back().finalValue, 0.0);
        EXPECT_EQ(run.scalar.calls[0].finalValue, unwritten);
    }
}

TEST(IternumsolveMinimize, StartsTheWayDownBelowAnEndStepThatHasBeenRun)
{
    // 1e-3, 3e-3, 9e-3, and 2.7e-2 as the last before an end a little above it.
    double last = 1e-3;
    for (int k = 0; k < 3; ++k)
        last *= 3.0;
    const struct {
        double end;
        bool wasRun;
    } cases[] = {{last * (1 + 9e-7), true},
                 {last * (1 + 1.1e-6), false},
                 {std::nextafter(last, 1.0), true},
                 {last * 1.5, false},
                 // At last itself the climb ends a step before.
                 {last, false}};
    for (const auto &[end, wasRun] : cases) {
        SCOPED_TRACE(end / last - 1.0);
        ScalarRun run(constant, {1.0});
        setSteps(run.s, 1e-3, end, 3.0);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);

        std::vector<double> expected;
        double h = 1e-3;
        for (; h < end; h *= 3.0)
            expected.push_back(h);
        EXPECT_EQ(expected.size(), end == last ? 3u : 4u);
        for (h = wasRun ? end / 3.0 : end; 1e-3 < h; h /= 3.0)
            expected.push_back(h);
        EXPECT_EQ(stepsOf(run.scalar), expected);
        EXPECT_EQ(run.s->gradStep, h);
    }
}

TEST(IternumsolveMinimize, SkipsThePhasesThatHaveNoSteps)
{
    const double ladders[][2] = {{0.003, 0.003}, {0.004, 0.003}, {0.009, 0.003}, {1.0, -1.0}};
    for (const auto &[start, end] : ladders) {
        ScalarRun run(rosenbrock, {-1.2, 1.0});
        setSteps(run.s, start, end, 3.0);
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.scalar.calls.size(), 2u);
        EXPECT_EQ(run.params(), (Row{-1.2, 1.0}));
        EXPECT_TRUE(sameBits(run.value, rosenbrock(run.params().data())));
    }
}

// The whole ladder by a plain loop over the plain damped loop.
struct LadderOracle {
    std::function<double(const double *)> f;
    Tuning tuning;
    double gradStepStart = 1e-10, gradStepEnd = 0.003, gradStepFactor = 3.0;
    Row best;
    double value = unwritten, h = 0.0;
    std::vector<Row> points;
    kmath_status status = KMATH_OK;

    explicit LadderOracle(std::function<double(const double *)> objective) : f(std::move(objective))
    {
    }

    double evaluate(const Row &p)
    {
        points.push_back(p);
        return f(p.data());
    }

    void step(const Row &start)
    {
        double least = evaluate(best);
        for (const bool fromBest : {true, false}) {
            const auto n = static_cast<std::int32_t>(start.size());
            const Problem gradient{n, fromBest ? best : start, [&](const double *p, double *r) {
                                       Row q(p, p + n);
                                       for (std::size_t k = 0; k < q.size(); ++k) {
                                           q[k] = p[k] - h;
                                           const double below = evaluate(q);
                                           q[k] = p[k] + h;
                                           const double above = evaluate(q);
                                           r[k] = (above - below) * (1.0 / (h * 2.0));
                                       }
                                   }};
            const Outcome run = DampedOracle{gradient, tuning, levmarqsolve}.minimize();
            if (KMATH_IS_FAILURE(status = run.status))
                return;
            const double here = evaluate(run.params);
            if (here < least) {
                best = run.params;
                least = here;
            }
        }
    }

    void minimize(const Row &start)
    {
        evaluate(start);
        best = start;
        for (h = gradStepStart; h < gradStepEnd; h *= gradStepFactor) {
            step(start);
            if (KMATH_IS_FAILURE(status))
                return;
        }
        const bool wasRun = std::fabs(h / gradStepFactor - gradStepEnd) <= gradStepEnd * 1e-6;
        for (h = wasRun ? gradStepEnd / gradStepFactor : gradStepEnd; gradStepStart < h;
             h /= gradStepFactor) {
            step(start);
            if (KMATH_IS_FAILURE(status))
                return;
        }
        value = evaluate(best);
    }
};

void expectOraclesBits(LadderOracle oracle, const Row &start)
{
    oracle.minimize(start);
    for (const bool indexed : {false, true}) {
        ScalarRun run(oracle.f, start, indexed);
        setSteps(run.s, oracle.gradStepStart, oracle.gradStepEnd, oracle.gradStepFactor);
        run.s->solver.lambda = oracle.tuning.lambda;
        run.s->solver.maxIterations = oracle.tuning.maxIterations;
        run.s->solver.maxTries = oracle.tuning.maxTries;
        run.s->solver.jacobianStep = oracle.tuning.jacobianStep;
        run.minimize();
        EXPECT_EQ(run.status, oracle.status);
        ASSERT_EQ(run.scalar.calls.size(), oracle.points.size());
        for (std::size_t i = 0; i < oracle.points.size(); ++i)
            ASSERT_TRUE(sameRow(run.scalar.calls[i].point, oracle.points[i])) << "call " << i;
        EXPECT_TRUE(sameBits(run.s->gradStep, oracle.h));
        if (!KMATH_IS_FAILURE(oracle.status)) {
            EXPECT_TRUE(sameRow(run.params(), oracle.best));
            EXPECT_TRUE(sameBits(run.value, oracle.value));
            EXPECT_TRUE(sameBits(run.s->solver.lambda, oracle.tuning.lambda));
            EXPECT_FALSE(run.value > oracle.f(start.data()));
        }
    }
}

double coupledWaves(const double *p)
{
    return std::sin(p[0] + 2.0 * p[1]) + 0.1 * (p[0] * p[0] + p[1] * p[1] + p[2] * p[2]) +
           std::cos(p[2] * p[0]);
}

TEST(IternumsolveMinimize, HasTheBitsOfThePlainLoops)
{
    expectOraclesBits(LadderOracle(bowl), {0.0, 0.0});
    expectOraclesBits(LadderOracle(rosenbrock), {-1.2, 1.0});
    expectOraclesBits(LadderOracle(coupledWaves), {0.3, -0.7, 1.9});
    expectOraclesBits(LadderOracle([](const double *p) { return std::fabs(p[0] - 0.7); }), {3.0});
    expectOraclesBits(LadderOracle([](const double *p) { return p[0]; }), {3.0}); // has no minimum
    expectOraclesBits(LadderOracle([](const double *p) { return -p[0] * p[0]; }), {0.1});
    // Not differentiable anywhere, and not a number beyond a wall.
    expectOraclesBits(LadderOracle([](const double *p) { return std::floor(p[0] * 1e4); }), {0.5});
    for (const double beyond : {nan, infinity, -infinity})
        expectOraclesBits(LadderOracle([beyond](const double *p) {
                              return p[0] > 2.0 ? beyond : (p[0] - 3.0) * (p[0] - 3.0);
                          }),
                          {1.0});
}

TEST(IternumsolveMinimize, HasTheBitsOfThePlainLoopsUnderAnyTuning)
{
    LadderOracle oracle(rosenbrock);
    oracle.gradStepStart = 1e-6;
    oracle.gradStepEnd = 0.1;
    oracle.gradStepFactor = 7.5;
    for (const double lambda : {0.0, 1e-6, 1.0, 1e6, -0.5}) {
        LadderOracle with = oracle;
        with.tuning.lambda = lambda;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const int cap : {0, 1, 3}) {
        LadderOracle with = oracle;
        with.tuning.maxIterations = cap;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const int tries : {1, 2, 5}) {
        LadderOracle with = oracle;
        with.tuning.maxTries = tries;
        expectOraclesBits(with, {-1.2, 1.0});
    }
    for (const double step : {1e-4, -1e-6}) {
        LadderOracle with = oracle;
        with.tuning.jacobianStep = step;
        expectOraclesBits(with, {-1.2, 1.0});
    }
}

// Every run starts from the damping of the entry.

std::vector<double> dampings;

kmath_status jacobianAtItsDamping(kmath_levmarqsolve *solver, const kmath_nmmatrix *params,
                                  const kmath_nmmatrix *residuals, kmath_nmmatrix *jacobian,
                                  kmath_nmmatrix *gradient, kmath_nmmatrix *normalMatrix,
                                  void *userData)
{
    dampings.push_back(solver->lambda); // written when a run ends only
    return kmath_levmarqsolve_compnumericjacob(solver, params, residuals, jacobian, gradient,
                                               normalMatrix, userData);
}

TEST(IternumsolveMinimize, StartsEveryRunFromTheDampingOfTheEntry)
{
    ScalarRun run(rosenbrock, {-1.2, 1.0});
    run.s->solver.lambda = 0.37;
    run.s->solver.compJacobian = jacobianAtItsDamping;
    dampings.clear();
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);
    EXPECT_GT(dampings.size(), 32u);
    for (const double lambda : dampings)
        EXPECT_EQ(lambda, 0.37);
    EXPECT_EQ(run.s->solver.lambda, 0.37);
    bool leftByARun = false; // what a run leaves is another one
    for (const Call &call : run.scalar.calls)
        leftByARun = leftByARun || call.lambda != 0.37;
    EXPECT_TRUE(leftByARun);
    EXPECT_EQ(run.scalar.calls.back().lambda, 0.37);
}

TEST(IternumsolveMinimize, StaysWhereNoRunFindsALowerValue)
{
    // The gradient vanishes at the top of the hill, and there the runs go.
    ScalarRun run([](const double *p) { return std::cos(p[0]); }, {0.1});
    setSteps(run.s, 1e-4, 1e-2, 3.0);
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_EQ(run.params(), (Row{0.1}));
    EXPECT_EQ(run.value, std::cos(0.1));
}

TEST(IternumsolveMinimize, NeverFindsAnythingLowerThanNotANumber)
{
    ScalarRun atStart(
        [](const double *p) { return p[0] == 1.0 ? nan : (p[0] - 3.0) * (p[0] - 3.0); }, {1.0});
    atStart.minimize();
    EXPECT_EQ(atStart.status, KMATH_OK);
    EXPECT_EQ(atStart.params(), (Row{1.0}));
    EXPECT_TRUE(std::isnan(atStart.value));

    for (const double always : {nan, infinity, -infinity}) {
        ScalarRun run([always](const double *) { return always; }, {1.0, 2.0});
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.params(), (Row{1.0, 2.0}));
        EXPECT_TRUE(sameBits(run.value, always));
        EXPECT_EQ(run.scalar.calls.size(), 1 + 32 * (1 + 2 * 5) + 1);
    }
}

TEST(IternumsolveMinimize, EndsOnLaddersThatWouldGoOnForEver)
{
    const auto stepsDownToNothing = [](double h, double factor) {
        std::size_t steps = 0;
        for (double last = infinity; h > 0.0 && h < last; ++steps) {
            last = h;
            h /= factor;
        }
        return steps;
    };
    const auto stepsToInfinity = [](double h) {
        std::size_t steps = 0;
        for (; h < infinity; h *= 3.0)
            ++steps;
        return steps;
    };
    const double barely = std::nextafter(1.0, 2.0);
    const struct {
        const char *name;
        double start, end, factor;
        std::size_t steps;
    } ladders[] = {
        {"factor 1", 1e-10, 0.003, 1.0, 2},
        {"factor below 1", 1e-10, 0.003, 0.5, 2},
        {"factor 0", 1e-10, 0.003, 0.0, 2},
        // Up to 1e-10·3¹⁵, every other one below 0, and the end step.
        {"factor −3", 1e-10, 0.003, -3.0, 16 + 1},
        {"factor NaN", 1e-10, 0.003, nan, 2},
        {"factor ∞", 1e-10, 0.003, infinity, 2},
        {"factor −∞", 1e-10, 0.003, -infinity, 3},
        {"factor just above 1", 1e-10, 0.003, barely, 200000},
        {"factor just below 1", 1e-10, 0.003, std::nextafter(1.0, 0.0), 2},
        {"start 0", 0.0, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0)},
        {"start −0", -0.0, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0)},
        {"start 0, slow", 0.0, 0.003, 1.5, 1 + stepsDownToNothing(0.003, 1.5)},
        // Up to −∞ and once there, down to 0 and once there.
        {"start below 0", -1.0, 0.003, 3.0,
         stepsToInfinity(1.0) + 1 + stepsDownToNothing(0.003, 3.0) + 1},
        {"start −∞", -infinity, 0.003, 3.0, 1 + stepsDownToNothing(0.003, 3.0) + 1},
        {"start NaN", nan, 0.003, 3.0, 0},
        {"end ∞", 1e-10, infinity, 3.0, stepsToInfinity(1e-10) + 1},
        {"end NaN", 1e-10, nan, 3.0, 0},
        {"end below start", 1e-10, -0.003, 3.0, 0},
        {"both below 0", -0.003, -1e-10, 3.0,
         stepsToInfinity(0.003) + 1 + stepsDownToNothing(1e-10, 3.0) + 1},
        {"smallest start", 5e-324, 1e-323, 1.5, 2},
    };
    for (const auto &ladder : ladders) {
        SCOPED_TRACE(ladder.name);
        ScalarRun run(constant, {1.0});
        setSteps(run.s, ladder.start, ladder.end, ladder.factor);
        run.minimize();
        EXPECT_EQ(run.status, KMATH_OK);
        EXPECT_EQ(run.value, 2.385);
        // A run takes two calls for its gradient, and a step three more.
        EXPECT_EQ(run.scalar.calls.size(), 2 + 7 * ladder.steps);
    }
}

TEST(IternumsolveMinimize, EndsOnAnyBitsInItsNumbers)
{
    const double odd[] = {0.0,    -0.0,   nan,   infinity, -infinity, 1e308,
                          -1e308, 1e-320, 1e160, -0.01,    1.0};
    for (const double value : odd)
        for (int field = 0; field < 12; ++field) {
            SCOPED_TRACE(testing::Message() << "field " << field << ", value " << value);
            Row start{-1.2, 1.0};
            if (field == 0)
                start[1] = value;
            std::function<double(const double *)> f = rosenbrock;
            if (field == 1)
                f = [value](const double *p) { return p[0] + value; };
            if (field == 2)
                f = [value](const double *p) { return p[0] * value; };
            if (field == 3)
                f = [value](const double *p) { return p[0] < -1.2 ? value : rosenbrock(p); };
            ScalarRun run(f, start);
            setSteps(run.s, 1e-6, 1e-2, 10.0);
            double *const tuning[] = {&run.s->gradStepStart,
                                      &run.s->gradStepEnd,
                                      &run.s->gradStepFactor,
                                      &run.s->gradStep,
                                      &run.s->solver.lambda,
                                      &run.s->solver.jacobianStep,
                                      &run.s->solver.maxConditionNumber,
                                      &run.s->solver.costTolerance};
            if (field >= 4)
                *tuning[field - 4] = value;
            const double lambda = run.s->solver.lambda;
            run.minimize();
            EXPECT_TRUE(run.status == KMATH_OK || run.status == KMATH_ERR_SINGULAR) << run.status;
            EXPECT_LT(run.scalar.calls.size(), 3000000u);
            if (run.status == KMATH_OK) {
                EXPECT_TRUE(sameBits(run.s->solver.lambda, lambda));
                EXPECT_TRUE(sameBits(run.value, f(run.params().data())));
                EXPECT_FALSE(run.value > f(start.data()));
            }
        }
}

// Failures.

// A ladder of two steps up and one down.
void shorten(Ladder &s)
{
    setSteps(s, 1e-3, 5e-3, 3.0);
    s->solver.maxIterations = 3;
}

TEST(IternumsolveMinimize, PassesEveryFailureOutAndWritesNothingMore)
{
    ScalarRun whole(bowl, {0.0, 0.0});
    shorten(whole.s);
    whole.minimize();
    ASSERT_EQ(whole.status, KMATH_OK);
    ASSERT_EQ(stepsOf(whole.scalar).size(), 4u);
    const std::size_t count = whole.scalar.calls.size();
    std::size_t failures = 0;
    for (bool ended = false; !ended && failures <= count; ++failures) {
        ScalarRun run(bowl, {0.0, 0.0});
        shorten(run.s);
        run.scalar.failing = failures;
        run.minimize();
        ended = run.status == KMATH_OK;
        if (ended)
            break;
        EXPECT_EQ(run.status, ownFailure);
        ASSERT_EQ(run.scalar.calls.size(), failures + 1);
        const Call &seen = whole.scalar.calls[failures];
        EXPECT_TRUE(sameRow(run.scalar.calls[failures].point, seen.point));
        EXPECT_EQ(run.s->gradStep, seen.gradStep);
        EXPECT_EQ(run.s->solver.lambda, seen.lambda);
        EXPECT_EQ(run.value, seen.finalValue);
        if (failures == count - 1) { // the best point has already been put back
            EXPECT_TRUE(sameRow(run.params(), whole.params()));
        }
    }
    EXPECT_EQ(failures, count);
    EXPECT_EQ(whole.scalar.calls[0].lambda, 0.01);
    for (std::size_t i = 0; i < 6; ++i) // before any run has ended
        EXPECT_EQ(whole.scalar.calls[i].finalValue, unwritten);
}

TEST(IternumsolveMinimize, LetsEveryExceptionPass)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount processors(3);
        bool ended = false;
        for (std::size_t failing = 0; !ended; ++failing) {
            ASSERT_LT(failing, 5000u);
            const std::int64_t before = liveBlocks();
            {
                ScalarRun run(bowl, Row(17, 0.5)); // rows of the heap
                shorten(run.s);
                setSteps(run.s, 1e-3, 2e-3, 10.0);
                run.s->solver.maxIterations = 1;
                run.s->solver.maxTries = 1;
                run.s->solver.useThreads = threads;
                run.scalar.failing = failing;
                run.scalar.throws = true;
                try {
                    run.minimize();
                    ended = true;
                    EXPECT_EQ(run.status, KMATH_OK);
                    EXPECT_EQ(run.scalar.calls.size(), failing);
                } catch (const std::runtime_error &) {
                    EXPECT_GT(run.scalar.calls.size(), failing);
                }
            }
            EXPECT_EQ(liveBlocks(), before);
            if (threads && failing > 1) // a few of the many calls, where they take threads
                failing += 36;
        }
    }
}

TEST(IternumsolveMinimize, PassesAFailureOfTheIndependenceFunctionOut)
{
    asked.clear();
    answers = {0, 0};
    failingQuestion = 1;
    questionThrows = false;
    ScalarRun run(bowl, {0.0, 0.0}, true);
    run.s->independence = fromTable;
    run.minimize();
    EXPECT_EQ(run.status, ownFailure);
    EXPECT_EQ(run.value, unwritten);
    EXPECT_EQ(run.s->solver.lambda, 0.01);
    EXPECT_EQ(asked, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0}, {0, 1}}));
}

TEST(IternumsolveMinimize, PassesAFailureOfARunOut)
{
    ScalarRun run(bowl, {0.0, 0.0});
    run.s->solver.compJacobian = nullptr;
    run.minimize();
    EXPECT_EQ(run.status, KMATH_ERR_FAILED);
    EXPECT_EQ(run.value, unwritten);
}

TEST(IternumsolveMinimize, TakesAnyStatusWithoutTheTopBitForSuccess)
{
    ScalarRun run(bowl, {0.0, 0.0});
    run.s->objective = [](kmath_iternumsolve *solver, const kmath_nmmatrix *params,
                          double *value) -> kmath_status {
        objective(solver, params, value);
        return 0x7FFFFFFF;
    };
    run.minimize();
    EXPECT_EQ(run.status, KMATH_OK);
    EXPECT_NEAR(run.value, 7.0, 1e-12);
}

TEST(IternumsolveMinimize, SurvivesEveryFailingAllocation)
{
    for (const std::int32_t threads : {0, 3}) {
        const ThreadCount processors(3);
        kmath_status status = KMATH_OK;
        double value = 0.0;
        int refused = 0, recovered = 0;
        sweepAllocationFailures(
            [&](bool failed) {
                if (KMATH_IS_FAILURE(status)) {
                    EXPECT_TRUE(failed);
                    EXPECT_EQ(status, KMATH_ERR_NO_MEMORY);
                    ++refused;
                } else { // the solve failed and the pseudo-inverse took its place
                    EXPECT_LE(value, bowl(Row(17, 0.5).data()));
                    recovered += failed;
                }
            },
            [&] {
                failAllocation(-1);
                ScalarRun run(bowl, Row(17, 0.5));
                setSteps(run.s, 1e-3, 2e-3, 10.0);
                run.s->solver.maxIterations = 1;
                run.s->solver.maxTries = 2;
                run.s->solver.useThreads = threads;
                failAllocation(refused + recovered);
                run.minimize();
                status = run.status;
                value = run.value;
            });
        EXPECT_GT(refused, 0);
        EXPECT_GT(recovered, 0);
    }
}

// Whole minimizations.

TEST(IternumsolveMinimize, FindsTheMinimumOfABowl)
{
    for (const bool indexed : {false, true}) {
        ScalarRun run(bowl, {0.0, 0.0}, indexed);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);
        EXPECT_NEAR(run.params()[0], 3.0, 1e-6);
        EXPECT_NEAR(run.params()[1], -1.0, 1e-6);
        EXPECT_NEAR(run.value, 7.0, 1e-12);
    }
}

TEST(IternumsolveMinimize, FindsTheMinimumOfRosenbrocksValley)
{
    ScalarRun run(rosenbrock, {-1.2, 1.0});
    run.minimize();
    ASSERT_EQ(run.status, KMATH_OK);
    EXPECT_NEAR(run.params()[0], 1.0, 1e-4);
    EXPECT_NEAR(run.params()[1], 1.0, 1e-4);
    EXPECT_LT(run.value, 1e-8);
}

TEST(IternumsolveMinimize, NeverEndsAboveItsStart)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const Matrix p = randomMatrix(1, 3, seed);
        const Row start{4.0 * p(0, 0), 4.0 * p(0, 1), 4.0 * p(0, 2)};
        ScalarRun run(coupledWaves, start);
        setSteps(run.s, 1e-7, 1e-3, 10.0);
        run.minimize();
        ASSERT_EQ(run.status, KMATH_OK);
        EXPECT_LE(run.value, coupledWaves(start.data()));
        EXPECT_TRUE(sameBits(run.value, coupledWaves(run.params().data())));
    }
}

TEST(IternumsolveMinimize, HasTheSameBitsOnAnyNumberOfThreads)
{
    const Row start{0.3, -0.7, 1.9, 0.2, -1.1};
    const auto f = [](const double *p) {
        return coupledWaves(p) + p[3] * p[3] + std::sin(p[4]) * p[0] + p[4] * p[4];
    };
    for (const bool indexed : {false, true}) {
        ScalarRun serial(f, start, indexed);
        setSteps(serial.s, 1e-6, 1e-2, 10.0);
        serial.minimize();
        ASSERT_EQ(serial.status, KMATH_OK);
        for (const std::int32_t threads : {1, 2, 3, 8}) {
            const ThreadCount count(threads);
            ScalarRun run(f, start, indexed);
            setSteps(run.s, 1e-6, 1e-2, 10.0);
            run.s->solver.useThreads = 1;
            run.minimize();
            ASSERT_EQ(run.status, KMATH_OK);
            EXPECT_EQ(run.scalar.calls.size(), serial.scalar.calls.size());
            EXPECT_TRUE(sameRow(run.params(), serial.params()));
            EXPECT_TRUE(sameBits(run.value, serial.value));
        }
    }
}

} // namespace
