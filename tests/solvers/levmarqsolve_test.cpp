#include "solvers/problems.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

using namespace support;

namespace
{

kmath_status func(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, void *)
{
    return KMATH_OK;
}
kmath_status funcI(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, std::int32_t,
                   std::int32_t *, void *)
{
    return KMATH_OK;
}
kmath_status funcIJ(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, std::int32_t,
                    std::int32_t *, std::int32_t, void *)
{
    return KMATH_OK;
}
kmath_status ownJacobian(kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *,
                         kmath_nmmatrix *, kmath_nmmatrix *, kmath_nmmatrix *, void *)
{
    return KMATH_OK;
}
kmath_status ownSearchDir(kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                          kmath_nmmatrix *, double, void *)
{
    return KMATH_OK;
}

// The three setting calls as one, so that each test runs on all of them.
using Set = kmath_status (*)(kmath_levmarqsolve *, kmath_levmarqsolve_jacobianFunc, std::int32_t,
                             std::int32_t, const kmath_nmmatrix *, std::int32_t, void *);
struct SettingCall {
    const char *name;
    std::int32_t assertLine;
    Set set;
};
constexpr SettingCall settingCalls[] = {
    {"setSys", 183,
     [](kmath_levmarqsolve *s, kmath_levmarqsolve_jacobianFunc jacobian, std::int32_t m,
        std::int32_t n, const kmath_nmmatrix *p, std::int32_t alloc,
        void *data) { return kmath_levmarqsolve_setSys(s, func, jacobian, m, n, p, alloc, data); }},
    {"setSysI", 245,
     [](kmath_levmarqsolve *s, kmath_levmarqsolve_jacobianFunc jacobian, std::int32_t m,
        std::int32_t n, const kmath_nmmatrix *p, std::int32_t alloc, void *data) {
         return kmath_levmarqsolve_setSysI(s, funcI, jacobian, m, n, p, alloc, data);
     }},
    {"setSysIJ", 306,
     [](kmath_levmarqsolve *s, kmath_levmarqsolve_jacobianFunc jacobian, std::int32_t m,
        std::int32_t n, const kmath_nmmatrix *p, std::int32_t alloc, void *data) {
         return kmath_levmarqsolve_setSysIJ(s, funcIJ, jacobian, m, n, p, alloc, data);
     }},
};

constexpr auto numericJacobian = kmath_levmarqsolve_compnumericjacob;

void expectShape(const kmath_nmmatrix &matrix, std::int32_t rows, std::int32_t cols)
{
    EXPECT_EQ(matrix.nRows, rows);
    EXPECT_EQ(matrix.nCols, cols);
    EXPECT_TRUE(matrix.rows || rows == 0);
}

bool equal(const kmath_nmmatrix &a, const kmath_nmmatrix &b)
{
    std::int32_t same = 0;
    kmath_nmmatrix_compareEqual(&a, &b, 0.0, &same);
    return same != 0;
}

constexpr kmath_nmmatrix kmath_levmarqsolve::*matricesInOrder[] = {
    &kmath_levmarqsolve::params,      &kmath_levmarqsolve::jacobian,
    &kmath_levmarqsolve::residuals,   &kmath_levmarqsolve::normalMatrix,
    &kmath_levmarqsolve::gradient,    &kmath_levmarqsolve::step,
    &kmath_levmarqsolve::trialParams, &kmath_levmarqsolve::spareResiduals,
};

// A record in which no field has its default, with matrices too large for the record itself.
void fillDistinct(Solver &s)
{
    const Matrix p = randomMatrix(1, 17);
    ASSERT_EQ(kmath_levmarqsolve_setSysI(&s, funcI, ownJacobian, 23, 17, &p, 1, &s), KMATH_OK);
    s->decreaseTolerance = 1.5;
    s->costTolerance = 2.5;
    s->lambda = 3.5;
    s->maxIterations = 4;
    s->jacobianStep = 5.5;
    s->maxConditionNumber = 6.5;
    s->maxTries = 7;
    s->useThreads = 8;
    s->interleaveColumns = 9;
    s->func = func;
    s->funcIJ = funcIJ;
    s->compSearchDir = ownSearchDir;
    double value = 0.5;
    for (const auto matrix : matricesInOrder)
        kmath_nmmatrix_set(&((&s)->*matrix), value += 1.0);
}

TEST(LevmarqsolveRecord, HasItsFieldsInOrder)
{
    const std::size_t offsets[] = {
        offsetof(kmath_levmarqsolve, nResiduals),
        offsetof(kmath_levmarqsolve, nParams),
        offsetof(kmath_levmarqsolve, decreaseTolerance),
        offsetof(kmath_levmarqsolve, costTolerance),
        offsetof(kmath_levmarqsolve, lambda),
        offsetof(kmath_levmarqsolve, params),
        offsetof(kmath_levmarqsolve, maxIterations),
        offsetof(kmath_levmarqsolve, jacobianStep),
        offsetof(kmath_levmarqsolve, maxConditionNumber),
        offsetof(kmath_levmarqsolve, maxTries),
        offsetof(kmath_levmarqsolve, useThreads),
        offsetof(kmath_levmarqsolve, interleaveColumns),
        offsetof(kmath_levmarqsolve, func),
        offsetof(kmath_levmarqsolve, funcI),
        offsetof(kmath_levmarqsolve, funcIJ),
        offsetof(kmath_levmarqsolve, compJacobian),
        offsetof(kmath_levmarqsolve, compSearchDir),
        offsetof(kmath_levmarqsolve, allocJacobian),
        offsetof(kmath_levmarqsolve, jacobian),
        offsetof(kmath_levmarqsolve, residuals),
        offsetof(kmath_levmarqsolve, normalMatrix),
        offsetof(kmath_levmarqsolve, gradient),
        offsetof(kmath_levmarqsolve, step),
        offsetof(kmath_levmarqsolve, trialParams),
        offsetof(kmath_levmarqsolve, spareResiduals),
        offsetof(kmath_levmarqsolve, userData),
    };
    static_assert(std::size(offsets) == 26);

    // With natural alignment: int32_t, int32_t, three doubles, a matrix, and so on.
    constexpr std::size_t matrix = sizeof(kmath_nmmatrix);
    const std::size_t sizes[] = {4,      4,      8,      8,      8,      matrix, 4,      8, 8,
                                 4,      4,      4,      8,      8,      8,      8,      8, 4,
                                 matrix, matrix, matrix, matrix, matrix, matrix, matrix, 8};
    static_assert(std::size(sizes) == std::size(offsets));
    std::size_t expected = 0;
    for (std::size_t field = 0; field < std::size(offsets); ++field) {
        const std::size_t alignment = sizes[field] == 4 ? 4 : 8;
        expected = (expected + alignment - 1) / alignment * alignment;
        EXPECT_EQ(offsets[field], expected) << "field " << field + 1;
        expected += sizes[field];
    }
    EXPECT_EQ(sizeof(kmath_levmarqsolve), expected);
}

TEST(LevmarqsolveConstruct, SetsTheDefaults)
{
    kmath_levmarqsolve s;
    std::memset(static_cast<void *>(&s), 0xA5, sizeof s);
    ASSERT_EQ(kmath_levmarqsolve_construct(&s), KMATH_OK);

    EXPECT_EQ(s.nResiduals, 0);
    EXPECT_EQ(s.nParams, 0);
    EXPECT_EQ(s.decreaseTolerance, 1e-15);
    EXPECT_EQ(s.costTolerance, 1e-15);
    EXPECT_EQ(s.lambda, 0.01);
    EXPECT_EQ(s.maxIterations, 100);
    EXPECT_EQ(s.jacobianStep, 1e-8);
    EXPECT_EQ(s.maxConditionNumber, 1e20);
    EXPECT_EQ(s.maxTries, 15);
    EXPECT_EQ(s.useThreads, 0);
    EXPECT_EQ(s.interleaveColumns, 0);
    EXPECT_EQ(s.func, nullptr);
    EXPECT_EQ(s.funcI, nullptr);
    EXPECT_EQ(s.funcIJ, nullptr);
    EXPECT_EQ(s.compJacobian, &kmath_levmarqsolve_compnumericjacob);
    EXPECT_EQ(s.compSearchDir, &kmath_levmarqsolve_compSearchDirLinSys);
    EXPECT_EQ(s.allocJacobian, 0);
    EXPECT_EQ(s.userData, nullptr);
    for (const auto matrix : matricesInOrder) {
        EXPECT_EQ((s.*matrix).rows, nullptr);
        EXPECT_EQ((s.*matrix).nRows, 0);
        EXPECT_EQ((s.*matrix).nCols, 0);
        EXPECT_EQ((s.*matrix).onHeap, 0);
        EXPECT_EQ((s.*matrix).heapRows, nullptr);
    }
    EXPECT_EQ(kmath_levmarqsolve_destruct(&s), KMATH_OK);
}

TEST(LevmarqsolveConstruct, AllocatesNothing)
{
    EXPECT_EQ(allocationsOf([] { Solver solver; }), 0);
}

TEST(LevmarqsolveDestruct, ReleasesEveryMatrix)
{
    const std::int64_t before = liveBlocks();
    {
        Solver s;
        fillDistinct(s);
        EXPECT_EQ(liveBlocks(), before + 16); // eight matrices of two blocks each
        EXPECT_EQ(kmath_levmarqsolve_destruct(&s), KMATH_OK);
        EXPECT_EQ(liveBlocks(), before);
        for (const auto matrix : matricesInOrder)
            EXPECT_EQ(((&s)->*matrix).rows, nullptr);
    } // destructed again
    EXPECT_EQ(liveBlocks(), before);
}

TEST(LevmarqsolveRecord, AssertsItsPointers)
{
    Solver s;
    const Matrix p(1, 2);
    EXPECT_EQ(assertedLine([] { kmath_levmarqsolve_construct(nullptr); }), 31);
    EXPECT_EQ(assertedLine([] { kmath_levmarqsolve_destruct(nullptr); }), 138);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_assign(nullptr, &s); }), 92);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_assign(&s, nullptr); }), 92);
    for (const SettingCall &call : settingCalls) {
        EXPECT_EQ(assertedLine([&] { call.set(nullptr, ownJacobian, 3, 2, &p, 1, nullptr); }),
                  call.assertLine);
        EXPECT_EQ(assertedLine([&] { call.set(&s, ownJacobian, 3, 2, nullptr, 1, nullptr); }),
                  call.assertLine);
        EXPECT_EQ(assertedLine([&] { call.set(&s, ownJacobian, 3, 2, &p, 1, nullptr); }), 0);
    }
}

TEST(LevmarqsolveSetSys, StoresTheSystemAndSizesTheMatrices)
{
    for (const SettingCall &call : settingCalls) {
        SCOPED_TRACE(call.name);
        Solver s;
        const Matrix p{{2.385, -7.5}};
        int data = 0;
        ASSERT_EQ(call.set(&s, ownJacobian, 5, 2, &p, -3, &data), KMATH_OK);

        EXPECT_EQ(s->nResiduals, 5);
        EXPECT_EQ(s->nParams, 2);
        EXPECT_EQ(s->allocJacobian, -3);
        EXPECT_EQ(s->userData, &data);
        EXPECT_EQ(s->compJacobian, &ownJacobian);
        EXPECT_EQ(s->compSearchDir, &kmath_levmarqsolve_compSearchDirLinSys);
        EXPECT_TRUE(equal(s->params, *&p));
        expectShape(s->jacobian, 2, 5);
        expectShape(s->residuals, 1, 5);
        expectShape(s->normalMatrix, 2, 2);
        expectShape(s->gradient, 1, 2);
        expectShape(s->step, 1, 2);
        expectShape(s->trialParams, 1, 2);
        expectShape(s->spareResiduals, 1, 5);
    }
}

TEST(LevmarqsolveSetSys, KeepsOnlyTheCallbackThatItIsGiven)
{
    for (const SettingCall &first : settingCalls)
        for (const SettingCall &second : settingCalls) {
            Solver s;
            const Matrix p(1, 1);
            ASSERT_EQ(first.set(&s, ownJacobian, 1, 1, &p, 1, nullptr), KMATH_OK);
            ASSERT_EQ(second.set(&s, ownJacobian, 1, 1, &p, 1, nullptr), KMATH_OK);
            EXPECT_EQ(s->func, second.assertLine == 183 ? func : nullptr);
            EXPECT_EQ(s->funcI, second.assertLine == 245 ? funcI : nullptr);
            EXPECT_EQ(s->funcIJ, second.assertLine == 306 ? funcIJ : nullptr);
        }
}

TEST(LevmarqsolveSetSys, RefusesBadSizesBeforeStoringAnything)
{
    const Matrix row(1, 2), column(2, 1), wide(1, 3), empty(1, 0), none(0, 0), two(2, 2);
    struct Bad {
        std::int32_t m, n;
        const kmath_nmmatrix *p;
    };
    const Bad bad[] = {{0, 2, &row},   {-1, 2, &row},   {INT32_MIN, 2, &row}, {3, 0, &empty},
                       {3, -2, &row},  {3, 2, &column}, {3, 2, &wide},        {3, 3, &row},
                       {3, 2, &empty}, {3, 2, &none},   {3, 0, &none},        {3, 2, &two},
                       {0, 0, &empty}};
    for (const SettingCall &call : settingCalls)
        for (const Bad &sizes : bad) {
            Solver s;
            fillDistinct(s);
            std::array<unsigned char, sizeof(kmath_levmarqsolve)> before, after;
            std::memcpy(before.data(), &s, before.size());
            EXPECT_EQ(call.set(&s, numericJacobian, sizes.m, sizes.n, sizes.p, 0, nullptr),
                      KMATH_ERR_BAD_DIMENSIONS)
                << call.name << ' ' << sizes.m << ' ' << sizes.n;
            std::memcpy(after.data(), &s, after.size());
            EXPECT_EQ(before, after);
        }
}

TEST(LevmarqsolveSetSys, LeavesTuningAndSearchDirectionAlone)
{
    for (const SettingCall &call : settingCalls) {
        Solver s;
        fillDistinct(s);
        const Matrix p(1, 3);
        ASSERT_EQ(call.set(&s, nullptr, 4, 3, &p, 1, nullptr), KMATH_OK);
        EXPECT_EQ(s->compJacobian, nullptr); // stored as given
        EXPECT_EQ(s->compSearchDir, &ownSearchDir);
        EXPECT_EQ(s->decreaseTolerance, 1.5);
        EXPECT_EQ(s->costTolerance, 2.5);
        EXPECT_EQ(s->lambda, 3.5);
        EXPECT_EQ(s->maxIterations, 4);
        EXPECT_EQ(s->jacobianStep, 5.5);
        EXPECT_EQ(s->maxConditionNumber, 6.5);
        EXPECT_EQ(s->maxTries, 7);
        EXPECT_EQ(s->useThreads, 8);
        EXPECT_EQ(s->interleaveColumns, 9);
    }
}

TEST(LevmarqsolveSetSys, LeavesTheJacobianAloneUnlessAsked)
{
    Solver s;
    const Matrix p(1, 2);
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &p, 0, nullptr), KMATH_OK);
    expectShape(s->jacobian, 0, 0);

    ASSERT_EQ(kmath_nmmatrix_resize(&s->jacobian, 7, 4), KMATH_OK);
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &p, 0, nullptr), KMATH_OK);
    expectShape(s->jacobian, 7, 4);
    EXPECT_EQ(s->allocJacobian, 0);
}

TEST(LevmarqsolveSetSys, ClearsAMatrixOnlyWhenItsShapeChanges)
{
    Solver s;
    const Matrix p{{1.0, 2.0}}, q{{1.0, 2.0, 3.0}};
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &p, 1, nullptr), KMATH_OK);
    for (const auto matrix : matricesInOrder)
        kmath_nmmatrix_set(&((&s)->*matrix), 2.385);

    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &p, 1, nullptr), KMATH_OK);
    EXPECT_TRUE(equal(s->params, *&p));
    for (const auto matrix : matricesInOrder) {
        const bool given = matrix == &kmath_levmarqsolve::params;
        EXPECT_EQ(((&s)->*matrix).rows[0][0], given ? 1.0 : 2.385);
    }

    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 3, &q, 1, nullptr), KMATH_OK);
    EXPECT_EQ(s->residuals.rows[0][0], 2.385);
    EXPECT_EQ(s->spareResiduals.rows[0][0], 2.385);
    EXPECT_EQ(s->jacobian.rows[0][0], 0.0);
    EXPECT_EQ(s->normalMatrix.rows[0][0], 0.0);
    EXPECT_EQ(s->gradient.rows[0][0], 0.0);
    EXPECT_EQ(s->step.rows[0][0], 0.0);
    EXPECT_EQ(s->trialParams.rows[0][0], 0.0);
}

TEST(LevmarqsolveSetSys, TakesInitialParametersFromTheRecordItself)
{
    for (const auto matrix : matricesInOrder)
        for (const std::int32_t n : {3, 17, 40}) {
            Solver s;
            const Matrix old(1, 2), values = randomMatrix(1, n);
            ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &old, 1, nullptr),
                      KMATH_OK);
            ASSERT_EQ(kmath_nmmatrix_assign(&((&s)->*matrix), &values), KMATH_OK);
            ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 5, n, &((&s)->*matrix), 1,
                                                nullptr),
                      KMATH_OK);
            EXPECT_TRUE(equal(s->params, *&values));
        }
}

TEST(LevmarqsolveSetSys, SurvivesEveryFailingAllocation)
{
    const Matrix p = randomMatrix(1, 19);
    for (const SettingCall &call : settingCalls) {
        SCOPED_TRACE(call.name);
        kmath_status status = KMATH_OK;
        sweepAllocationFailures(
            [&](bool failed) { EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK); },
            [&] {
                Solver s;
                status = call.set(&s, ownJacobian, 21, 19, &p, 1, &s);
                // The system is stored whatever becomes of the matrices.
                EXPECT_EQ(s->nResiduals, 21);
                EXPECT_EQ(s->nParams, 19);
                EXPECT_EQ(s->compJacobian, &ownJacobian);
                EXPECT_EQ(s->userData, &s);
            });
    }
}

TEST(LevmarqsolveSetSys, TakesTheSystemAgainAfterAFailingAllocation)
{
    const Matrix p = randomMatrix(1, 19);
    for (std::int64_t number = 0; number < 16; ++number) {
        Solver s;
        failAllocation(number);
        EXPECT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 21, 19, &p, 1, nullptr),
                  KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 21, 19, &p, 1, nullptr),
                  KMATH_OK);
        EXPECT_TRUE(equal(s->params, *&p));
        expectShape(s->jacobian, 19, 21);
        expectShape(s->residuals, 1, 21);
        expectShape(s->normalMatrix, 19, 19);
        expectShape(s->gradient, 1, 19);
        expectShape(s->step, 1, 19);
        expectShape(s->trialParams, 1, 19);
        expectShape(s->spareResiduals, 1, 21);
    }
}

void expectScalarsCopied(Solver &d, Solver &s)
{
    EXPECT_EQ(d->nResiduals, s->nResiduals);
    EXPECT_EQ(d->nParams, s->nParams);
    EXPECT_EQ(d->decreaseTolerance, s->decreaseTolerance);
    EXPECT_EQ(d->costTolerance, s->costTolerance);
    EXPECT_EQ(d->lambda, s->lambda);
    EXPECT_EQ(d->maxIterations, s->maxIterations);
    EXPECT_EQ(d->jacobianStep, s->jacobianStep);
    EXPECT_EQ(d->maxConditionNumber, s->maxConditionNumber);
    EXPECT_EQ(d->maxTries, s->maxTries);
    EXPECT_EQ(d->useThreads, s->useThreads);
    EXPECT_EQ(d->interleaveColumns, s->interleaveColumns);
    EXPECT_EQ(d->func, s->func);
    EXPECT_EQ(d->funcI, s->funcI);
    EXPECT_EQ(d->funcIJ, s->funcIJ);
    EXPECT_EQ(d->compJacobian, s->compJacobian);
    EXPECT_EQ(d->compSearchDir, s->compSearchDir);
}

TEST(LevmarqsolveAssign, CopiesEveryField)
{
    Solver s, d;
    fillDistinct(s);
    ASSERT_EQ(kmath_levmarqsolve_assign(&d, &s), KMATH_OK);
    expectScalarsCopied(d, s);
    EXPECT_EQ(d->allocJacobian, 1);
    EXPECT_EQ(d->userData, &s);
    for (const auto matrix : matricesInOrder) {
        EXPECT_TRUE(equal((&d)->*matrix, (&s)->*matrix));
        EXPECT_NE(((&d)->*matrix).rows, ((&s)->*matrix).rows);
    }
}

TEST(LevmarqsolveAssign, MakesAnIndependentCopyOfSmallMatrices)
{
    Solver s, d;
    const Matrix p{{2.385, 4.0}};
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, func, ownJacobian, 3, 2, &p, 1, nullptr), KMATH_OK);
    ASSERT_EQ(kmath_levmarqsolve_assign(&d, &s), KMATH_OK);
    s->params.rows[0][0] = 9.0;
    EXPECT_EQ(d->params.rows[0][0], 2.385);
}

TEST(LevmarqsolveAssign, AcceptsTheRecordItself)
{
    Solver s, copy;
    fillDistinct(s);
    ASSERT_EQ(kmath_levmarqsolve_assign(&copy, &s), KMATH_OK);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_levmarqsolve_assign(&s, &s), KMATH_OK); }), 0);
    expectScalarsCopied(s, copy);
    for (const auto matrix : matricesInOrder)
        EXPECT_TRUE(equal((&s)->*matrix, (&copy)->*matrix));
}

TEST(LevmarqsolveAssign, KeepsItsOrderWhenAnAllocationFails)
{
    Solver s;
    fillDistinct(s);
    std::int64_t number = 0;
    kmath_status status = KMATH_OK;
    bool failed = false;
    sweepAllocationFailures(
        [&](bool hasFailed) {
            failed = hasFailed;
            EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
            ++number;
        },
        [&] {
            Solver d;
            status = kmath_levmarqsolve_assign(&d, &s);
            expectScalarsCopied(d, s);
            // Two allocations a matrix: the first two belong to the parameters.
            EXPECT_EQ(d->userData, number < 2 ? nullptr : &s);
            EXPECT_EQ(d->allocJacobian, number < 2 ? 0 : 1);
            for (std::int64_t i = 0; i < 8; ++i) {
                const auto matrix = matricesInOrder[i];
                if (i < number / 2) {
                    EXPECT_TRUE(equal((&d)->*matrix, (&s)->*matrix));
                } else if (i > number / 2) {
                    EXPECT_EQ(((&d)->*matrix).nCols, 0);
                }
            }
        });
    EXPECT_EQ(number, 17);
}

} // namespace
