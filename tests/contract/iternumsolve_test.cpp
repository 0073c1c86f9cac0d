// The ladder of gradient steps seen from outside: every evaluation of the
// objective in bits and in order against the ladder written out, and what each
// exit leaves behind.
#include "contract/textbook.hpp"
#include "support/owned.hpp"
#include "support/services.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <type_traits>
#include <vector>

namespace
{

using support::assertedLine;
using support::liveBlocks;
using support::Matrix;
using support::sameBits;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr auto custom = static_cast<kmath_status>(0x80001234u);
constexpr double sentinel = -77.25;

static_assert(
    std::is_same_v<kmath_iternumsolve_objectiveFunc,
                   kmath_status (*)(kmath_iternumsolve *, const kmath_nmmatrix *, double *)>);
static_assert(std::is_same_v<kmath_iternumsolve_independenceFunc,
                             kmath_status (*)(kmath_iternumsolve *, std::int32_t, std::int32_t,
                                              std::int32_t *)>);
static_assert(
    std::is_same_v<decltype(&kmath_iternumsolve_levmarqsolve_func), kmath_levmarqsolve_func>);
static_assert(
    std::is_same_v<decltype(&kmath_iternumsolve_levmarqsolve_funcI), kmath_levmarqsolve_funcI>);

using Row = std::vector<double>;

Matrix matrixOf(const Row &row)
{
    return support::build(1, static_cast<int>(row.size()),
                          [&](int, int j) { return row[static_cast<std::size_t>(j)]; });
}

Row rowOf(const kmath_nmmatrix &m) { return Row(m.rows[0], m.rows[0] + m.nCols); }

bool sameRow(const Row &a, const Row &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](double x, double y) { return sameBits(x, y); });
}

using Record =
    support::Owned<kmath_iternumsolve, kmath_iternumsolve_construct, kmath_iternumsolve_destruct>;

/// One call of the objective and what the record held at the time.
struct Evaluation {
    Row point;
    double gradStep, lambda;
    Row params;
};

/// The objective as a test states it. The record's userData leads here.
struct Objective {
    std::function<double(const Row &p)> value;
    std::function<bool(int parameter, int component)> independent = {};

    std::vector<Evaluation> log = {};
    bool logging = true; ///< not while several threads call
    int failing = -1;    ///< number of the call that fails, from 0
    bool throwing = false;
    struct Question {
        int parameter, component;
        std::size_t evaluationsBefore;
    };
    std::vector<Question> questions = {};
    int failingQuestion = -1;
};

Objective &of(kmath_iternumsolve *s) { return *static_cast<Objective *>(s->solver.userData); }

kmath_status objectiveOf(kmath_iternumsolve *s, const kmath_nmmatrix *p, double *value)
{
    Objective &o = of(s);
    EXPECT_EQ(p->nRows, 1);
    const Row point = rowOf(*p);
    if (o.logging) {
        const auto number = static_cast<int>(o.log.size());
        o.log.push_back({point, s->gradStep, s->solver.lambda, rowOf(s->solver.params)});
        if (number == o.failing) {
            if (o.throwing)
                throw 42;
            return custom;
        }
    }
    *value = o.value(point);
    return KMATH_OK;
}

kmath_status independenceOf(kmath_iternumsolve *s, std::int32_t parameter, std::int32_t component,
                            std::int32_t *independent)
{
    Objective &o = of(s);
    const auto number = static_cast<int>(o.questions.size());
    o.questions.push_back({parameter, component, o.log.size()});
    if (number == o.failingQuestion)
        return custom;
    *independent = o.independent(parameter, component) ? -3 : 0; // any value but 0 says so
    return KMATH_OK;
}

// The gradient residuals written out.

kmath_status naiveResiduals(kmath_iternumsolve *s, const kmath_nmmatrix *params,
                            kmath_nmmatrix *residuals, int paramIndex)
{
    const double h = s->gradStep, c = 1.0 / (h * 2.0);
    const Row p = rowOf(*params);
    Row q = p;
    for (int k = 0; k < residuals->nCols; ++k) {
        if (s->independence && paramIndex >= 0) {
            std::int32_t flag = 0;
            const kmath_status status = s->independence(s, paramIndex, k, &flag);
            if (KMATH_IS_FAILURE(status))
                return status;
            if (flag) {
                residuals->rows[0][k] = 0.0;
                continue;
            }
        }
        const auto moved = static_cast<std::size_t>(k);
        double f[2] = {};
        for (const int side : {0, 1}) {
            q[moved] = side == 0 ? p[moved] - h : p[moved] + h;
            const Matrix at = matrixOf(q);
            const kmath_status status = s->objective(s, &at, &f[side]);
            if (KMATH_IS_FAILURE(status))
                return status;
        }
        residuals->rows[0][k] = (f[1] - f[0]) * c;
    }
    return KMATH_OK;
}

kmath_status naiveFunc(kmath_levmarqsolve *s, const kmath_nmmatrix *p, kmath_nmmatrix *r, void *)
{
    return naiveResiduals(reinterpret_cast<kmath_iternumsolve *>(s), p, r, -1);
}

kmath_status naiveFuncI(kmath_levmarqsolve *s, const kmath_nmmatrix *p, kmath_nmmatrix *r,
                        std::int32_t index, std::int32_t *, void *)
{
    return naiveResiduals(reinterpret_cast<kmath_iternumsolve *>(s), p, r, index);
}

enum class Adapter { Plain, Indexed, IndexedAsking };
constexpr Adapter allAdapters[] = {Adapter::Plain, Adapter::Indexed, Adapter::IndexedAsking};

struct Callbacks {
    kmath_levmarqsolve_func plain;
    kmath_levmarqsolve_funcI indexed;
};
const Callbacks librarys = {kmath_iternumsolve_levmarqsolve_func,
                            kmath_iternumsolve_levmarqsolve_funcI};
const Callbacks naives = {naiveFunc, naiveFuncI};

void set(Record &s, Objective &objective, const Row &start, Adapter adapter = Adapter::Plain,
         const Callbacks &callbacks = librarys,
         kmath_levmarqsolve_jacobianFunc jacobian = kmath_levmarqsolve_compnumericjacob)
{
    const Matrix p = matrixOf(start);
    const auto n = static_cast<std::int32_t>(start.size());
    s->objective = objectiveOf;
    s->independence = adapter == Adapter::IndexedAsking ? independenceOf : nullptr;
    kmath_levmarqsolve *solver = &s->solver;
    ASSERT_EQ(
        adapter == Adapter::Plain
            ? kmath_levmarqsolve_setSys(solver, callbacks.plain, jacobian, n, n, &p, 1, &objective)
            : kmath_levmarqsolve_setSysI(solver, callbacks.indexed, jacobian, n, n, &p, 1,
                                         &objective),
        KMATH_OK);
}

/// The ladder written out; the runs of the solver are the library's.
class NaiveLadder
{
  public:
    explicit NaiveLadder(Record &record) : s(&record) {}

    kmath_status run(double *finalValue)
    {
        try {
            climb(finalValue);
            return KMATH_OK;
        } catch (const Failed &failed) {
            return failed.status;
        }
    }

    int up = 0, down = 0, improvements = 0;

  private:
    struct Failed {
        kmath_status status;
    };

    static void check(kmath_status status)
    {
        if (KMATH_IS_FAILURE(status))
            throw Failed{status};
    }

    void evaluate(const Row &at, double *value)
    {
        const Matrix p = matrixOf(at);
        check(s->objective(s, &p, value));
    }

    void put(const Row &params)
    {
        std::copy(params.begin(), params.end(), s->solver.params.rows[0]);
    }

    void step(double *finalValue)
    {
        double fBest = nan, fw = nan;
        evaluate(best, &fBest);
        for (const bool fromBest : {true, false}) {
            put(fromBest ? best : start);
            s->solver.lambda = savedLambda;
            check(kmath_levmarqsolve_minimize(&s->solver, finalValue));
            work = rowOf(s->solver.params);
            evaluate(work, &fw);
            if (fw < fBest) {
                ++improvements;
                best = work;
                fBest = fw;
            }
        }
    }

    void climb(double *finalValue)
    {
        savedLambda = s->solver.lambda;
        start = rowOf(s->solver.params);
        double unused;
        evaluate(start, &unused);
        best = start;
        for (s->gradStep = s->gradStepStart; s->gradStep < s->gradStepEnd;
             s->gradStep = s->gradStep * s->gradStepFactor, ++up)
            step(finalValue);
        const double last = s->gradStep / s->gradStepFactor;
        const bool endHasRun = std::fabs(last - s->gradStepEnd) <= s->gradStepEnd * 1e-6;
        for (s->gradStep = endHasRun ? s->gradStepEnd / s->gradStepFactor : s->gradStepEnd;
             s->gradStepStart < s->gradStep; s->gradStep = s->gradStep / s->gradStepFactor, ++down)
            step(finalValue);
        s->solver.lambda = savedLambda;
        put(best);
        evaluate(best, finalValue);
    }

    kmath_iternumsolve *s;
    double savedLambda = nan;
    Row start, best, work;
};

void expectSameLog(const Objective &library, const Objective &naive)
{
    ASSERT_EQ(library.log.size(), naive.log.size());
    for (std::size_t i = 0; i < library.log.size(); ++i) {
        const Evaluation &a = library.log[i], &b = naive.log[i];
        ASSERT_TRUE(sameRow(a.point, b.point)) << "call " << i;
        ASSERT_TRUE(sameBits(a.gradStep, b.gradStep)) << "call " << i;
        ASSERT_TRUE(sameBits(a.lambda, b.lambda)) << "call " << i;
        ASSERT_TRUE(sameRow(a.params, b.params)) << "call " << i;
    }
    ASSERT_EQ(library.questions.size(), naive.questions.size());
    for (std::size_t i = 0; i < library.questions.size(); ++i) {
        ASSERT_EQ(library.questions[i].parameter, naive.questions[i].parameter) << i;
        ASSERT_EQ(library.questions[i].component, naive.questions[i].component) << i;
        ASSERT_EQ(library.questions[i].evaluationsBefore, naive.questions[i].evaluationsBefore);
    }
}

void expectSameState(Record &library, Record &naive)
{
    EXPECT_TRUE(sameBits(library->solver.lambda, naive->solver.lambda));
    EXPECT_TRUE(sameBits(library->gradStep, naive->gradStep));
    EXPECT_TRUE(sameRow(rowOf(library->solver.params), rowOf(naive->solver.params)));
    EXPECT_TRUE(sameRow(rowOf(library->solver.residuals), rowOf(naive->solver.residuals)));
}

struct Ladder {
    double start = 1e-10, end = 0.003, factor = 3.0;
    int maxIterations = 100;
    double lambda = 0.01;
};

void tune(Record &s, const Ladder &ladder)
{
    s->gradStepStart = ladder.start;
    s->gradStepEnd = ladder.end;
    s->gradStepFactor = ladder.factor;
    s->solver.maxIterations = ladder.maxIterations;
    s->solver.lambda = ladder.lambda;
}

// The objectives.

double parabola(const Row &p)
{
    double sum = 1.5;
    for (std::size_t j = 0; j < p.size(); ++j)
        sum += (p[j] - 0.5) * (p[j] - 0.5) * (1.0 + static_cast<double>(j));
    return sum;
}

double valley(const Row &p)
{
    double sum = 0.0;
    for (std::size_t j = 0; j + 1 < p.size(); ++j) {
        const double steep = p[j + 1] - p[j] * p[j], flat = 1.0 - p[j];
        sum += 100.0 * steep * steep + flat * flat;
    }
    return sum;
}

double waves(const Row &p)
{
    double sum = 0.0;
    for (const double x : p)
        sum += std::sin(3.0 * x) + 0.1 * x * x + std::exp(-x * x);
    return sum + p[0] * p.back();
}

// The record.

TEST(IternumsolveRules, TheFieldsStandInTheirOrder)
{
    const std::size_t offsets[] = {
        offsetof(kmath_iternumsolve, solver),        offsetof(kmath_iternumsolve, objective),
        offsetof(kmath_iternumsolve, independence),  offsetof(kmath_iternumsolve, gradStep),
        offsetof(kmath_iternumsolve, gradStepStart), offsetof(kmath_iternumsolve, gradStepEnd),
        offsetof(kmath_iternumsolve, gradStepFactor)};
    EXPECT_EQ(offsets[0], 0u);
    EXPECT_EQ(offsets[1], sizeof(kmath_levmarqsolve));
    EXPECT_TRUE(std::is_sorted(std::begin(offsets), std::end(offsets)));
    EXPECT_EQ(offsets[6] + sizeof(double), sizeof(kmath_iternumsolve));
}

TEST(IternumsolveRules, AFreshRecordHasItsDefaults)
{
    kmath_iternumsolve s;
    std::memset(&s, 0x5a, sizeof s);
    EXPECT_EQ(
        support::allocationsOf([&] { ASSERT_EQ(kmath_iternumsolve_construct(&s), KMATH_OK); }), 0);
    EXPECT_EQ(s.objective, nullptr);
    EXPECT_EQ(s.independence, nullptr);
    EXPECT_EQ(s.gradStep, 1e-10);
    EXPECT_EQ(s.gradStepStart, 1e-10);
    EXPECT_EQ(s.gradStepEnd, 0.003);
    EXPECT_EQ(s.gradStepFactor, 3.0);
    EXPECT_EQ(s.solver.nParams, 0);
    EXPECT_EQ(s.solver.lambda, 0.01);
    EXPECT_EQ(s.solver.maxIterations, 100);
    EXPECT_EQ(s.solver.maxTries, 15);
    EXPECT_EQ(s.solver.func, nullptr);
    EXPECT_EQ(s.solver.compJacobian, &kmath_levmarqsolve_compnumericjacob);
    EXPECT_EQ(s.solver.compSearchDir, &kmath_levmarqsolve_compSearchDirLinSys);
    EXPECT_EQ(s.solver.userData, nullptr);
    EXPECT_EQ(s.solver.params.rows, nullptr);
    EXPECT_EQ(kmath_iternumsolve_destruct(&s), KMATH_OK);
}

TEST(IternumsolveRules, DestructingClearsTheFieldsAndReleasesTheMatrices)
{
    const std::int64_t live = liveBlocks();
    Objective objective{parabola};
    Record s;
    set(s, objective, Row(20, 1.0), Adapter::IndexedAsking);
    EXPECT_GT(liveBlocks(), live);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kmath_iternumsolve_destruct(&s), KMATH_OK);
        EXPECT_EQ(liveBlocks(), live);
        EXPECT_EQ(s->objective, nullptr);
        EXPECT_EQ(s->independence, nullptr);
        for (const double field :
             {s->gradStep, s->gradStepStart, s->gradStepEnd, s->gradStepFactor})
            EXPECT_TRUE(sameBits(field, 0.0));
        EXPECT_EQ(s->solver.params.nCols, 0);
        EXPECT_EQ(s->solver.jacobian.rows, nullptr);
    }
}

TEST(IternumsolveRules, NullArgumentsAreReportedWithTheirLines)
{
    Record s, t;
    double value;
    EXPECT_EQ(assertedLine([] { kmath_iternumsolve_construct(nullptr); }), 28);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_assign(nullptr, &s); }), 49);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_assign(&s, nullptr); }), 49);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_assign(&s, &t); }), 0);
    EXPECT_EQ(assertedLine([] { kmath_iternumsolve_destruct(nullptr); }), 69);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(nullptr, &value); }), 232);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(&s, nullptr); }), 232);
    EXPECT_EQ(assertedLine([&] { kmath_iternumsolve_minimize(&s, &value); }), 0);
}

TEST(IternumsolveRules, AnAssignedRecordIsACopy)
{
    Objective objective{valley};
    Record source, copy;
    set(source, objective, {-1.2, 1.0}, Adapter::IndexedAsking);
    tune(source, {1e-5, 0.25, 7.0, 12, 0.375});
    source->gradStep = 0.5;
    ASSERT_EQ(kmath_iternumsolve_assign(&copy, &source), KMATH_OK);
    EXPECT_EQ(copy->objective, source->objective);
    EXPECT_EQ(copy->independence, source->independence);
    EXPECT_EQ(copy->gradStep, 0.5);
    EXPECT_EQ(copy->gradStepStart, 1e-5);
    EXPECT_EQ(copy->gradStepEnd, 0.25);
    EXPECT_EQ(copy->gradStepFactor, 7.0);
    EXPECT_EQ(copy->solver.lambda, 0.375);
    EXPECT_EQ(copy->solver.maxIterations, 12);
    EXPECT_EQ(copy->solver.funcI, &kmath_iternumsolve_levmarqsolve_funcI);
    EXPECT_EQ(copy->solver.userData, &objective);
    EXPECT_NE(copy->solver.params.rows, source->solver.params.rows);
    EXPECT_TRUE(sameRow(rowOf(copy->solver.params), {-1.2, 1.0}));
    EXPECT_EQ(kmath_iternumsolve_assign(&copy, &copy), KMATH_OK);
    EXPECT_TRUE(sameRow(rowOf(copy->solver.params), {-1.2, 1.0}));
    EXPECT_EQ(copy->gradStepFactor, 7.0);
    EXPECT_EQ(copy->objective, &objectiveOf);
}

TEST(IternumsolveRules, AFailedAssignmentLeavesItsOwnFields)
{
    Objective objective{parabola};
    Record source;
    set(source, objective, Row(20, 1.0), Adapter::IndexedAsking);
    tune(source, {1e-5, 0.25, 7.0, 12, 0.375});
    source->gradStep = 0.5;
    for (int failing = 0;; ++failing) {
        const std::int64_t live = liveBlocks();
        bool failed;
        {
            Record copy;
            support::failAllocation(failing);
            const kmath_status status = kmath_iternumsolve_assign(&copy, &source);
            failed = support::allocationHasFailed();
            support::failAllocation(-1);
            EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
            EXPECT_EQ(copy->solver.lambda, 0.375);
            EXPECT_EQ(copy->objective, failed ? nullptr : &objectiveOf);
            EXPECT_EQ(copy->independence, failed ? nullptr : &independenceOf);
            EXPECT_EQ(copy->gradStep, failed ? 1e-10 : 0.5);
            EXPECT_EQ(copy->gradStepStart, failed ? 1e-10 : 1e-5);
            EXPECT_EQ(copy->gradStepEnd, failed ? 0.003 : 0.25);
            EXPECT_EQ(copy->gradStepFactor, failed ? 3.0 : 7.0);
        }
        EXPECT_EQ(liveBlocks(), live);
        if (!failed) {
            EXPECT_EQ(failing, 16); // eight matrices on the heap
            break;
        }
    }
}

// The gradient residuals.

TEST(IternumsolveRules, TheGradientIsDifferencedAtAPointThatMoves)
{
    // p₀p₁ + p₁²: with the first parameter left at 2.5, the second slope is 2.5 +
    // 6, not 2 + 6.
    Objective objective{[](const Row &p) { return p[0] * p[1] + p[1] * p[1]; }};
    for (const Adapter adapter : {Adapter::Plain, Adapter::Indexed}) {
        Record s;
        set(s, objective, {0.0, 0.0}, adapter);
        s->gradStep = 0.5;
        objective.log.clear();
        const Matrix p = {{2, 3}};
        Matrix r = {{-1, -1}};
        EXPECT_EQ(
            adapter == Adapter::Plain
                ? kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr)
                : kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 1, nullptr, nullptr),
            KMATH_OK);
        EXPECT_EQ(r(0, 0), 3.0);
        EXPECT_EQ(r(0, 1), 8.5);
        const Row places[] = {{1.5, 3}, {2.5, 3}, {2.5, 2.5}, {2.5, 3.5}};
        ASSERT_EQ(objective.log.size(), std::size(places));
        for (std::size_t i = 0; i < std::size(places); ++i)
            EXPECT_EQ(objective.log[i].point, places[i]) << i;
        EXPECT_EQ(p(0, 0), 2.0); // the parameters themselves stay
        EXPECT_EQ(p(0, 1), 3.0);
        EXPECT_EQ(s->gradStep, 0.5);
    }
}

TEST(IternumsolveRules, TheResidualsAreThoseOfThePlainLoopInEveryBit)
{
    for (const int n : {1, 2, 5, 16, 17, 40})
        for (const double h : {1e-10, 1e-3, 0.7, -1e-4, 0.0, 1e-320, infinity, nan})
            for (const int index : {-1, 0, n - 1})
                for (const bool asking : {false, true}) {
                    const Row place = rowOf(*&support::randomMatrix(1, n, 40));
                    Objective own{waves}, objective{waves};
                    own.independent =
                        objective.independent = [](int j, int k) { return (j + k) % 3 == 0; };
                    Record s, t;
                    set(s, objective, place, asking ? Adapter::IndexedAsking : Adapter::Indexed);
                    set(t, own, place, asking ? Adapter::IndexedAsking : Adapter::Indexed);
                    s->gradStep = t->gradStep = h;
                    const Matrix p = matrixOf(place);
                    Matrix r(1, n), expected(1, n), plain(1, n);
                    std::vector<std::int32_t> mask(static_cast<std::size_t>(n), 77);
                    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, index,
                                                                    mask.data(), nullptr),
                              KMATH_OK);
                    naiveFuncI(&t->solver, &p, &expected, index, nullptr, nullptr);
                    EXPECT_TRUE(sameBits(r, expected)) << n << ' ' << h << ' ' << index;
                    expectSameLog(objective, own);
                    EXPECT_EQ(std::count(mask.begin(), mask.end(), 77), n);

                    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &plain, nullptr),
                              KMATH_OK);
                    naiveFunc(&t->solver, &p, &expected, nullptr);
                    EXPECT_TRUE(sameBits(plain, expected)) << n << ' ' << h;
                    expectSameLog(objective, own);
                    if (HasFailure())
                        return;
                }
}

TEST(IternumsolveRules, AStepWhoseDoubleOverflowsHasNoSlope)
{
    Objective objective{[](const Row &p) { return p[0] > 0.0 ? 3.0 : 1.0; }};
    Record s;
    set(s, objective, {1.0});
    s->gradStep = 1.2e308;
    const Matrix p = {{1}};
    Matrix r = {{-1}};
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr), KMATH_OK);
    EXPECT_TRUE(sameBits(r(0, 0), 0.0));
}

TEST(IternumsolveRules, AsManyComponentsAsTheResidualsHaveColumns)
{
    Objective objective{parabola};
    Record s;
    set(s, objective, {1, 2, 3});
    s->gradStep = 0.25;
    const Matrix p = {{1, 2, 3}};
    Matrix two = {{-1, -1}};
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &two, nullptr), KMATH_OK);
    EXPECT_EQ(objective.log.size(), 4u);
    EXPECT_EQ(objective.log[0].point.size(), 3u);
    EXPECT_EQ(two(0, 0), 1.0);
    EXPECT_EQ(two(0, 1), 6.0);
    Matrix none(1, 0);
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &none, nullptr), KMATH_OK);
    EXPECT_EQ(objective.log.size(), 4u);
}

TEST(IternumsolveRules, IndependentComponentsAreZeroAndCostNoEvaluation)
{
    Objective objective{parabola};
    objective.independent = [](int, int k) { return k == 1; };
    Record s;
    set(s, objective, {1, 2, 3}, Adapter::IndexedAsking);
    s->gradStep = 0.25;
    const Matrix p = {{1, 2, 3}};
    Matrix r = {{-1, -1, -1}};
    std::int32_t mask[] = {5, 6, 7};
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 2, mask, nullptr),
              KMATH_OK);
    EXPECT_TRUE(sameBits(r(0, 1), 0.0));
    EXPECT_EQ(r(0, 0), 1.0);
    EXPECT_EQ(r(0, 2), 15.0);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(mask[k], 5 + k);
    // A question before each component; the point stays where it is in an
    // independent one.
    ASSERT_EQ(objective.questions.size(), 3u);
    const std::size_t before[] = {0, 2, 2};
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(objective.questions[k].parameter, 2);
        EXPECT_EQ(objective.questions[k].component, static_cast<int>(k));
        EXPECT_EQ(objective.questions[k].evaluationsBefore, before[k]);
    }
    ASSERT_EQ(objective.log.size(), 4u);
    EXPECT_EQ(objective.log[2].point, (Row{1.25, 2, 2.75}));

    // No questions in a full evaluation, nor from the plain adapter.
    for (const int index : {-1, -7}) {
        objective.log.clear();
        EXPECT_EQ(
            kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, index, nullptr, nullptr),
            KMATH_OK);
        EXPECT_EQ(objective.log.size(), 6u);
        EXPECT_EQ(r(0, 1), 6.0);
    }
    EXPECT_EQ(kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr), KMATH_OK);
    EXPECT_EQ(objective.questions.size(), 3u);
}

TEST(IternumsolveRules, AFailingQuestionOrEvaluationEndsTheResiduals)
{
    Objective objective{parabola};
    objective.independent = [](int, int) { return false; };
    Record s;
    set(s, objective, {1, 2, 3}, Adapter::IndexedAsking);
    s->gradStep = 0.25;
    const Matrix p = {{1, 2, 3}};
    const double slopes[] = {1.0, 6.0, 15.0};
    for (int failing = 0; failing < 6; ++failing)
        for (const bool indexed : {false, true}) {
            objective.log.clear();
            objective.failing = failing;
            Matrix r = {{-1, -1, -1}};
            EXPECT_EQ(indexed ? kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 0,
                                                                      nullptr, nullptr)
                              : kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr),
                      custom);
            EXPECT_EQ(objective.log.size(), static_cast<std::size_t>(failing) + 1);
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(r(0, k), k < failing / 2 ? slopes[k] : -1.0) << failing;
        }
    objective.failing = -1;
    for (int failing = 0; failing < 3; ++failing) {
        objective.log.clear();
        objective.questions.clear();
        objective.failingQuestion = failing;
        Matrix r = {{-1, -1, -1}};
        EXPECT_EQ(kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 0, nullptr, nullptr),
                  custom);
        EXPECT_EQ(objective.log.size(), 2 * static_cast<std::size_t>(failing));
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(r(0, k), k < failing ? slopes[k] : -1.0) << failing;
    }
}

TEST(IternumsolveRules, TheResidualsCopyIsReleasedOnEveryExit)
{
    const Row place(20, 1.0);
    const Matrix p = matrixOf(place);
    const auto evaluate = [&](Objective &objective, bool indexed) {
        Record s;
        set(s, objective, place, Adapter::Indexed);
        Matrix r(1, 20);
        return indexed
                   ? kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 0, nullptr, nullptr)
                   : kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr);
    };
    for (const bool indexed : {false, true}) {
        const std::int64_t live = liveBlocks();
        Objective failing{parabola}, throwing{parabola};
        failing.failing = throwing.failing = 7;
        throwing.throwing = true;
        EXPECT_EQ(evaluate(failing, indexed), custom);
        EXPECT_THROW(evaluate(throwing, indexed), int);
        EXPECT_EQ(liveBlocks(), live);

        for (int number = 0; number < 3; ++number) { // a block and its row table
            Record s;
            Objective objective{parabola};
            set(s, objective, place, Adapter::Indexed);
            Matrix r(1, 20);
            support::failAllocation(number);
            const kmath_status status =
                indexed
                    ? kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 0, nullptr, nullptr)
                    : kmath_iternumsolve_levmarqsolve_func(&s->solver, &p, &r, nullptr);
            support::failAllocation(-1);
            EXPECT_EQ(status, number < 2 ? KMATH_ERR_NO_MEMORY : KMATH_OK);
            EXPECT_EQ(objective.log.size(), number < 2 ? 0u : 40u);
        }
        EXPECT_EQ(liveBlocks(), live);
    }
}

TEST(IternumsolveRules, AStatusWithoutBit31IsNoFailure)
{
    Record s;
    Objective objective{parabola};
    set(s, objective, {1.0});
    s->objective = [](kmath_iternumsolve *, const kmath_nmmatrix *p, double *value) {
        *value = 4.0 * p->rows[0][0];
        return kmath_status{0x1234};
    };
    s->independence = [](kmath_iternumsolve *, std::int32_t, std::int32_t, std::int32_t *flag) {
        *flag = 0;
        return kmath_status{5};
    };
    s->gradStep = 0.5;
    const Matrix p = {{1}};
    Matrix r(1, 1);
    EXPECT_FALSE(KMATH_IS_FAILURE(
        kmath_iternumsolve_levmarqsolve_funcI(&s->solver, &p, &r, 0, nullptr, nullptr)));
    EXPECT_EQ(r(0, 0), 4.0);
}

// The ladder.

/// Steps and dampings of the searches; one of each a run when runs have one
/// iteration of one try.
std::vector<double> stepsSeen, lambdasSeen;

kmath_status recordingSearch(kmath_levmarqsolve *solver, kmath_nmmatrix *N, const kmath_nmmatrix *g,
                             kmath_nmmatrix *step, double lambda, void *data)
{
    stepsSeen.push_back(reinterpret_cast<kmath_iternumsolve *>(solver)->gradStep);
    lambdasSeen.push_back(lambda);
    EXPECT_EQ(solver->lambda, lambda);
    return kmath_levmarqsolve_compSearchDirLinSys(solver, N, g, step, lambda, data);
}

/// The steps of the runs, each seen twice.
Row stepsOf(const Ladder &ladder)
{
    Objective objective{[](const Row &p) { return std::exp(p[0]); }};
    Record s;
    set(s, objective, {0.5});
    tune(s, ladder);
    s->solver.maxIterations = s->solver.maxTries = 1;
    s->solver.compSearchDir = recordingSearch;
    stepsSeen.clear();
    lambdasSeen.clear();
    double value = nan;
    EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
    Row steps;
    EXPECT_EQ(stepsSeen.size() % 2, 0u);
    for (std::size_t i = 0; i + 1 < stepsSeen.size(); i += 2) {
        EXPECT_TRUE(sameBits(stepsSeen[i], stepsSeen[i + 1]));
        steps.push_back(stepsSeen[i]);
    }
    EXPECT_TRUE(sameBits(s->solver.lambda, ladder.lambda));
    return steps;
}

TEST(IternumsolveRules, TheDefaultLadderHasSixteenStepsEachWay)
{
    Row expected;
    double h = 1e-10;
    for (int k = 0; k < 16; ++k, h *= 3.0)
        expected.push_back(h);
    EXPECT_NEAR(expected.back(), 1.4348907e-3, 1e-12);
    h = 0.003;
    for (; h > 1e-10; h /= 3.0)
        expected.push_back(h);
    EXPECT_EQ(expected.size(), 32u);
    EXPECT_TRUE(sameRow(stepsOf({}), expected));
}

TEST(IternumsolveRules, TheEndStepIsNotRunTwice)
{
    // The last step up is 0.4; the end lies above it by less than its millionth,
    // or by more.
    const double near = 0.4 * (1 + 5e-7), far = 0.4 * (1 + 5e-6);
    EXPECT_TRUE(sameRow(stepsOf({.start = 0.1, .end = near, .factor = 2.0}),
                        {0.1, 0.2, 0.4, near / 2.0, near / 4.0}));
    EXPECT_TRUE(sameRow(stepsOf({.start = 0.1, .end = far, .factor = 2.0}),
                        {0.1, 0.2, 0.4, far, far / 2.0, far / 4.0}));
    // An end that the steps meet is not run on the way up.
    EXPECT_TRUE(
        sameRow(stepsOf({.start = 0.125, .end = 0.5, .factor = 2.0}), {0.125, 0.25, 0.5, 0.25}));
    // A ladder of one rung, and one whose only rung is as good as its end.
    EXPECT_TRUE(sameRow(stepsOf({.start = 0.25, .end = 0.5, .factor = 4.0}), {0.25, 0.5}));
    EXPECT_TRUE(sameRow(stepsOf({.start = 0.25, .end = 0.25 * (1 + 1e-7), .factor = 4.0}), {0.25}));
}

TEST(IternumsolveRules, WithoutALadderTheStartIsEvaluatedTwice)
{
    for (const Ladder &ladder :
         {Ladder{.start = 0.5, .end = 0.5}, Ladder{.start = 0.5, .end = 0.25},
          Ladder{.start = 0.75, .end = 0.25}, Ladder{.start = nan}, Ladder{.end = nan}}) {
        Objective objective{waves};
        Record s;
        set(s, objective, {0.3, -0.4});
        tune(s, ladder);
        s->solver.compSearchDir = recordingSearch;
        stepsSeen.clear();
        double value = sentinel;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
        EXPECT_TRUE(stepsSeen.empty());
        ASSERT_EQ(objective.log.size(), 2u);
        for (const Evaluation &e : objective.log)
            EXPECT_EQ(e.point, (Row{0.3, -0.4}));
        EXPECT_TRUE(sameBits(value, waves({0.3, -0.4})));
        EXPECT_EQ(rowOf(s->solver.params), (Row{0.3, -0.4}));
    }
}

TEST(IternumsolveRules, EveryRunStartsFromTheDampingOfTheEntry)
{
    for (const double lambda : {0.01, 0.37, 1e-9}) {
        EXPECT_EQ(stepsOf({.start = 1e-4, .lambda = lambda}).size(), 4u + 4u);
        EXPECT_EQ(lambdasSeen.size(), 16u);
        for (const double seen : lambdasSeen)
            EXPECT_TRUE(sameBits(seen, lambda));
    }
}

TEST(IternumsolveRules, TheNumberOfEvaluationsIsThatOfTheRuns)
{
    // A run without iterations evaluates the gradient once: 2n evaluations.
    for (const int n : {1, 3}) {
        Objective objective{waves};
        Record s;
        set(s, objective, Row(static_cast<std::size_t>(n), 0.4));
        s->solver.maxIterations = 0;
        double value = nan;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
        EXPECT_EQ(objective.log.size(), static_cast<std::size_t>(2 + 32 * (1 + 2 * (2 * n + 1))));
    }
}

TEST(IternumsolveRules, FollowsTheLadderInEveryBit)
{
    const Ladder ladders[] = {
        {.maxIterations = 2},
        {.start = 1e-4, .end = 1e-1, .factor = 10.0},
        {.start = 0.1, .end = 0.4 * (1 + 5e-7), .factor = 2.0},
        {.start = 0.1, .end = 0.4 * (1 + 5e-6), .factor = 2.0, .maxIterations = 5, .lambda = 10.0},
        {.start = 1e-5, .end = 1e-3, .factor = 7.0, .lambda = 0.0},
        {.start = 0.5, .end = 0.25},
        {.start = 1e-3, .end = 1e-2, .factor = infinity},
        {.start = 1e-3, .end = 1e-2, .factor = nan}};
    struct Case {
        std::function<double(const Row &)> value;
        Row start;
    };
    const Case cases[] = {
        {parabola, {3.0}},
        {parabola, {3.0, -2.0, 0.25}},
        {valley, {-1.2, 1.0}},
        {waves, {0.3, -0.4, 1.7}},
        {waves, {2.0}},
        {[](const Row &p) { return std::fabs(p[0] - 0.1) + std::fabs(p[1]); }, {1.0, 1.0}},
        {[](const Row &p) { return p[0] > 1.5 ? nan : (p[0] - 1.0) * p[0] * p[0]; }, {0.2}},
        {[](const Row &) { return infinity; }, {0.2}}};
    int up = 0, down = 0, improvements = 0;
    for (const Case &c : cases)
        for (const Ladder &ladder : ladders)
            for (const Adapter adapter : allAdapters) {
                SCOPED_TRACE(testing::Message()
                             << "objective " << &c - cases << ", ladder " << &ladder - ladders
                             << ", adapter " << static_cast<int>(adapter));
                Objective objective{c.value}, own{c.value};
                objective.independent = own.independent = [](int j, int k) { return j != k; };
                Record s, t;
                set(s, objective, c.start, adapter);
                set(t, own, c.start, adapter, naives);
                tune(s, ladder);
                tune(t, ladder);
                NaiveLadder naive(t);
                double value = sentinel, expected = sentinel;
                ASSERT_EQ(naive.run(&expected), KMATH_OK);
                ASSERT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
                EXPECT_TRUE(sameBits(value, expected)) << value << ", not " << expected;
                expectSameLog(objective, own);
                expectSameState(s, t);
                EXPECT_TRUE(sameBits(s->solver.lambda, ladder.lambda));
                EXPECT_EQ(objective.log.back().point, rowOf(s->solver.params));
                up += naive.up;
                down += naive.down;
                improvements += naive.improvements;
                if (HasFailure())
                    return;
            }
    EXPECT_GT(up, 100);
    EXPECT_GT(down, 100);
    EXPECT_GT(improvements, 50);
}

TEST(IternumsolveRules, FindsTheMinimum)
{
    Objective objective{parabola};
    Record s;
    set(s, objective, {3.0, -2.0, 7.0});
    double value = nan;
    ASSERT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
    EXPECT_NEAR(value, 1.5, 1e-10);
    for (int j = 0; j < 3; ++j)
        EXPECT_NEAR(s->solver.params.rows[0][j], 0.5, 1e-5);
    EXPECT_TRUE(sameBits(value, parabola(rowOf(s->solver.params))));

    Objective banana{valley};
    Record t;
    set(t, banana, {-1.2, 1.0}, Adapter::Indexed);
    ASSERT_EQ(kmath_iternumsolve_minimize(&t, &value), KMATH_OK);
    EXPECT_LT(value, 1e-6);
}

TEST(IternumsolveRules, AStartThatNoRunImprovesStays)
{
    const Row start = {0.5, 0.5};
    const std::function<double(const Row &)> values[] = {
        [](const Row &) { return 4.0; }, parabola,
        [&](const Row &p) { return p == start ? 5.0 : nan; },
        [&](const Row &p) { return p == start ? 5.0 : 6.0; },
        [&](const Row &p) { return p == start ? 5.0 : infinity; }};
    for (const auto &f : values) {
        Objective objective{f};
        Record s;
        set(s, objective, start);
        tune(s, {.start = 1e-6, .maxIterations = 5});
        double value = nan;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_OK);
        EXPECT_EQ(value, f(start));
        EXPECT_EQ(rowOf(s->solver.params), start);
        EXPECT_EQ(s->solver.lambda, 0.01);
    }
}

TEST(IternumsolveRules, UnsetSizesAreRefused)
{
    Record s;
    double value = 5.0;
    EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
    Objective objective{parabola};
    set(s, objective, {1.0, 2.0});
    for (const int bad : {0, -1}) {
        s->solver.nParams = bad;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
        s->solver.nParams = 2;
        s->solver.nResiduals = bad;
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), KMATH_ERR_BAD_DIMENSIONS);
        s->solver.nResiduals = 2;
    }
    EXPECT_EQ(value, 5.0);
    EXPECT_TRUE(objective.log.empty());
    EXPECT_EQ(s->gradStep, 1e-10);
    EXPECT_EQ(s->solver.lambda, 0.01);
}

TEST(IternumsolveRules, AFailingEvaluationEndsTheLadderWithItsStatus)
{
    for (const bool throwing : {false, true})
        for (int failing = 0;; ++failing) {
            SCOPED_TRACE(testing::Message() << "evaluation " << failing);
            const std::int64_t live = liveBlocks();
            bool ended = false;
            {
                const Row start(17, 1.5);
                Objective objective{parabola}, own{parabola};
                objective.failing = own.failing = failing;
                objective.throwing = throwing;
                Record s, t;
                set(s, objective, start);
                set(t, own, start, Adapter::Plain, naives);
                const Ladder ladder{.start = 0.1, .end = 0.2, .maxIterations = 0, .lambda = 0.75};
                tune(s, ladder);
                tune(t, ladder);
                double value = sentinel, expected = sentinel;
                NaiveLadder naive(t);
                const kmath_status status = naive.run(&expected);
                try {
                    EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), status);
                    EXPECT_EQ(throwing && status != KMATH_OK, false);
                    ended = status == KMATH_OK;
                } catch (int thrown) {
                    EXPECT_TRUE(throwing && status == custom);
                    EXPECT_EQ(thrown, 42);
                }
                EXPECT_TRUE(sameBits(value, expected));
                expectSameLog(objective, own);
                expectSameState(s, t);
            }
            EXPECT_EQ(liveBlocks(), live);
            if (HasFailure())
                return;
            if (ended) {
                EXPECT_EQ(failing, 1 + 2 * (1 + 2 * (2 * 17 + 1)) + 1);
                break;
            }
        }
}

TEST(IternumsolveRules, AFailingEvaluationWithinAnIterationKeepsWhatTheSolverKept)
{
    for (int failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << "evaluation " << failing);
        Objective objective{valley}, own{valley};
        objective.failing = own.failing = failing;
        Record s, t;
        set(s, objective, {-1.2, 1.0}, Adapter::Indexed);
        set(t, own, {-1.2, 1.0}, Adapter::Indexed, naives);
        const Ladder ladder{.start = 1e-3, .end = 2e-3, .maxIterations = 3};
        tune(s, ladder);
        tune(t, ladder);
        double value = sentinel, expected = sentinel;
        NaiveLadder naive(t);
        const kmath_status status = naive.run(&expected);
        EXPECT_EQ(kmath_iternumsolve_minimize(&s, &value), status);
        EXPECT_TRUE(sameBits(value, expected));
        expectSameLog(objective, own);
        expectSameState(s, t);
        if (HasFailure())
            return;
        if (status == KMATH_OK) {
            EXPECT_GT(failing, 100);
            break;
        }
    }
}

int jacobianCalls, failingJacobianCall;

kmath_status failingJacobian(kmath_levmarqsolve *s, const kmath_nmmatrix *p,
                             const kmath_nmmatrix *r, kmath_nmmatrix *J, kmath_nmmatrix *g,
                             kmath_nmmatrix *N, void *data)
{
    if (jacobianCalls++ == failingJacobianCall)
        return custom;
    return kmath_levmarqsolve_compnumericjacob(s, p, r, J, g, N, data);
}

TEST(IternumsolveRules, AFailingRunEndsTheLadderWithItsStatus)
{
    for (failingJacobianCall = 0;; ++failingJacobianCall) {
        Objective objective{valley};
        Record s;
        set(s, objective, {-1.2, 1.0}, Adapter::Plain, librarys, failingJacobian);
        tune(s, {.start = 1e-3, .end = 2e-3, .maxIterations = 2, .lambda = 0.5});
        jacobianCalls = 0;
        double value = sentinel;
        const kmath_status status = kmath_iternumsolve_minimize(&s, &value);
        if (status == KMATH_OK) {
            EXPECT_EQ(failingJacobianCall,
                      8); // two steps of two runs of two iterations
            break;
        }
        EXPECT_EQ(status, custom);
        EXPECT_EQ(jacobianCalls, failingJacobianCall + 1);
        EXPECT_EQ(s->solver.lambda, 0.5); // as the run found it
        if (failingJacobianCall < 2) {
            EXPECT_EQ(value, sentinel);
        }
    }
}

TEST(IternumsolveRules, NothingLeaksWhereverAnAllocationFails)
{
    int refused = 0;
    for (int number = 0;; ++number) {
        const std::int64_t live = liveBlocks();
        bool failed;
        {
            Objective objective{parabola};
            Record s;
            set(s, objective, Row(17, 1.0));
            tune(s, {.start = 0.1, .end = 0.2, .maxIterations = 1});
            double value = sentinel;
            support::failAllocation(number);
            const kmath_status status = kmath_iternumsolve_minimize(&s, &value);
            failed = support::allocationHasFailed();
            support::failAllocation(-1);
            // A failure in a run's linear solve alone leads to the pseudo-inverse.
            EXPECT_TRUE(status == KMATH_OK || (failed && status == KMATH_ERR_NO_MEMORY)) << status;
            refused += status != KMATH_OK;
        }
        EXPECT_EQ(liveBlocks(), live);
        if (!failed || HasFailure()) {
            EXPECT_GT(number, 20);
            break;
        }
    }
    EXPECT_GT(refused, 20);
}

TEST(IternumsolveRules, ThreadsGiveTheSameBits)
{
    const Row start = {0.3, -0.4, 1.7, 0.9, -1.1};
    double values[2] = {};
    Row ends[2];
    for (const int threads : {0, 1}) {
        const support::ThreadCount count(3);
        Objective objective{waves};
        objective.logging = false;
        Record s;
        set(s, objective, start);
        tune(s, {.start = 1e-5});
        s->solver.useThreads = threads;
        ASSERT_EQ(kmath_iternumsolve_minimize(&s, &values[threads]), KMATH_OK);
        ends[threads] = rowOf(s->solver.params);
    }
    EXPECT_TRUE(sameBits(values[0], values[1]));
    EXPECT_TRUE(sameRow(ends[0], ends[1]));
}

} // namespace
