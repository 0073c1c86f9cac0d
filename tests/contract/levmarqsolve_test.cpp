// The Levenberg–Marquardt record seen from outside: defaults, the three setting calls, copies, and
// how far each gets before an allocation fails.
#include "contract/textbook.hpp"
#include "support/owned.hpp"
#include "support/services.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>

namespace
{

using support::assertedLine;
using support::failAllocation;
using support::liveBlocks;
using support::Matrix;
using support::randomMatrix;

using Solver =
    support::Owned<kmath_levmarqsolve, kmath_levmarqsolve_construct, kmath_levmarqsolve_destruct>;

kmath_status plain(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, void *)
{
    return KMATH_OK;
}
kmath_status indexed(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, std::int32_t,
                     std::int32_t *, void *)
{
    return KMATH_OK;
}
kmath_status byJob(kmath_levmarqsolve *, const kmath_nmmatrix *, kmath_nmmatrix *, std::int32_t,
                   std::int32_t *, std::int32_t, void *)
{
    return KMATH_OK;
}
kmath_status ownJacobian(kmath_levmarqsolve *, const kmath_nmmatrix *, const kmath_nmmatrix *,
                         kmath_nmmatrix *, kmath_nmmatrix *, kmath_nmmatrix *, void *)
{
    return KMATH_OK;
}
kmath_status ownSearch(kmath_levmarqsolve *, kmath_nmmatrix *, const kmath_nmmatrix *,
                       kmath_nmmatrix *, double, void *)
{
    return KMATH_OK;
}

/// The three setting calls, alike but for the slot.
using Setter = std::function<kmath_status(kmath_levmarqsolve *, std::int32_t, std::int32_t,
                                          const kmath_nmmatrix *, std::int32_t, void *)>;

const Setter setters[] = {
    [](auto *s, auto nr, auto np, auto *p, auto alloc, void *data) {
        return kmath_levmarqsolve_setSys(s, plain, ownJacobian, nr, np, p, alloc, data);
    },
    [](auto *s, auto nr, auto np, auto *p, auto alloc, void *data) {
        return kmath_levmarqsolve_setSysI(s, indexed, ownJacobian, nr, np, p, alloc, data);
    },
    [](auto *s, auto nr, auto np, auto *p, auto alloc, void *data) {
        return kmath_levmarqsolve_setSysIJ(s, byJob, ownJacobian, nr, np, p, alloc, data);
    }};

void expectShape(const kmath_nmmatrix &m, int rows, int cols)
{
    EXPECT_EQ(m.nRows, rows);
    EXPECT_EQ(m.nCols, cols);
}

/// The eight matrices in the order in which they are constructed.
std::vector<kmath_nmmatrix *> matricesOf(kmath_levmarqsolve *s)
{
    return {&s->params,   &s->jacobian, &s->residuals,   &s->normalMatrix,
            &s->gradient, &s->step,     &s->trialParams, &s->spareResiduals};
}

TEST(SolverRecordRules, AFreshRecordHasItsDefaults)
{
    kmath_levmarqsolve s;
    std::memset(&s, 0x5a, sizeof s);
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
    for (const kmath_nmmatrix *m : matricesOf(&s)) {
        expectShape(*m, 0, 0);
        EXPECT_EQ(m->rows, nullptr);
    }
    EXPECT_EQ(kmath_levmarqsolve_destruct(&s), KMATH_OK);
}

TEST(SolverRecordRules, SettingStoresTheProblemAndSizesTheMatrices)
{
    for (int shape = 0; shape < 3; ++shape)
        for (const int alloc : {0, 1, -5}) {
            Solver s;
            s->compSearchDir = ownSearch;
            int data = 0;
            const Matrix start = randomMatrix(1, 4, 5);
            ASSERT_EQ(setters[shape](&s, 9, 4, &start, alloc, &data), KMATH_OK);
            EXPECT_EQ(s->nResiduals, 9);
            EXPECT_EQ(s->nParams, 4);
            EXPECT_EQ(s->func, shape == 0 ? &plain : nullptr);
            EXPECT_EQ(s->funcI, shape == 1 ? &indexed : nullptr);
            EXPECT_EQ(s->funcIJ, shape == 2 ? &byJob : nullptr);
            EXPECT_EQ(s->compJacobian, &ownJacobian);
            EXPECT_EQ(s->compSearchDir, &ownSearch);
            EXPECT_EQ(s->allocJacobian, alloc);
            EXPECT_EQ(s->userData, &data);
            expectShape(s->params, 1, 4);
            for (int j = 0; j < 4; ++j)
                EXPECT_EQ(s->params.rows[0][j], start(0, j));
            if (alloc)
                expectShape(s->jacobian, 4, 9);
            else
                expectShape(s->jacobian, 0, 0);
            expectShape(s->residuals, 1, 9);
            expectShape(s->normalMatrix, 4, 4);
            expectShape(s->gradient, 1, 4);
            expectShape(s->step, 1, 4);
            expectShape(s->trialParams, 1, 4);
            expectShape(s->spareResiduals, 1, 9);
            EXPECT_EQ(s->lambda, 0.01);
            EXPECT_EQ(s->maxIterations, 100);
        }
}

TEST(SolverRecordRules, EachSettingCallClearsTheOtherSlots)
{
    Solver s;
    const Matrix start(1, 2);
    for (const int shape : {0, 1, 2, 1, 0, 2, 0}) {
        ASSERT_EQ(setters[shape](&s, 3, 2, &start, 1, nullptr), KMATH_OK);
        EXPECT_EQ(s->func != nullptr, shape == 0);
        EXPECT_EQ(s->funcI != nullptr, shape == 1);
        EXPECT_EQ(s->funcIJ != nullptr, shape == 2);
    }
}

TEST(SolverRecordRules, ANullJacobianFunctionIsStoredAsItIs)
{
    Solver s;
    const Matrix start(1, 2);
    ASSERT_EQ(kmath_levmarqsolve_setSys(&s, plain, nullptr, 3, 2, &start, 1, nullptr), KMATH_OK);
    EXPECT_EQ(s->compJacobian, nullptr);
}

TEST(SolverRecordRules, UnchangedShapesKeepTheirContents)
{
    Solver s;
    const Matrix start(1, 3), other(1, 2);
    ASSERT_EQ(setters[0](&s, 7, 3, &start, 1, nullptr), KMATH_OK);
    for (kmath_nmmatrix *m : matricesOf(&s))
        kmath_nmmatrix_set(m, 4.5);
    ASSERT_EQ(setters[1](&s, 7, 3, &start, 1, nullptr), KMATH_OK);
    EXPECT_EQ(s->params.rows[0][0], 0.0);
    for (const kmath_nmmatrix *m : matricesOf(&s)) {
        if (m != &s->params) {
            EXPECT_EQ(m->rows[0][0], 4.5);
        }
    }
    // Without the flag the Jacobian keeps whatever shape it had.
    ASSERT_EQ(setters[2](&s, 8, 2, &other, 0, nullptr), KMATH_OK);
    expectShape(s->jacobian, 3, 7);
    EXPECT_EQ(s->jacobian.rows[2][6], 4.5);
    expectShape(s->residuals, 1, 8);
    EXPECT_EQ(s->residuals.rows[0][7], 0.0);
}

TEST(SolverRecordRules, BadSizesAreRefusedBeforeAnythingIsStored)
{
    const Matrix row3(1, 3), column3(3, 1), row0(1, 0), none, two(2, 3);
    for (const Setter &set : setters) {
        Solver s;
        const Matrix start = randomMatrix(1, 2, 6);
        int first = 0, second = 0;
        ASSERT_EQ(kmath_levmarqsolve_setSysI(&s, indexed, ownJacobian, 5, 2, &start, 1, &first),
                  KMATH_OK);
        std::vector<unsigned char> before(sizeof(kmath_levmarqsolve)), after(before);
        std::memcpy(before.data(), &s, before.size());
        const int least = std::numeric_limits<int>::min();
        EXPECT_EQ(set(&s, 0, 3, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, -1, 3, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, least, 3, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 0, &row0, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, -3, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 3, &column3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 2, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 4, &row3, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 3, &two, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(set(&s, 5, 3, &none, 1, &second), KMATH_ERR_BAD_DIMENSIONS);
        std::memcpy(after.data(), &s, after.size());
        EXPECT_EQ(before, after);
    }
}

TEST(SolverRecordRules, AFailingResizeLeavesWhatCameBeforeIt)
{
    // 20 parameters and 30 residuals: every matrix takes two blocks, in the order of sizing.
    const Matrix start = randomMatrix(1, 20, 7);
    for (int shape = 0; shape < 3; ++shape)
        for (int blocks = 0; blocks < 16; ++blocks) {
            Solver s;
            int data = 0;
            const std::int64_t live = liveBlocks();
            failAllocation(blocks);
            EXPECT_EQ(setters[shape](&s, 30, 20, &start, 1, &data), KMATH_ERR_NO_MEMORY);
            failAllocation(-1);
            EXPECT_EQ(liveBlocks(), live + blocks / 2 * 2);
            EXPECT_EQ(s->nResiduals, 30);
            EXPECT_EQ(s->nParams, 20);
            EXPECT_EQ(s->allocJacobian, 1);
            EXPECT_EQ(s->userData, &data);
            EXPECT_EQ(s->compJacobian, &ownJacobian);
            EXPECT_EQ(s->func != nullptr, shape == 0);
            int number = 0;
            for (const kmath_nmmatrix *m : matricesOf(&s)) {
                EXPECT_EQ(m->rows != nullptr, number < blocks / 2);
                EXPECT_EQ(m->nRows != 0, number <= blocks / 2);
                ++number;
            }
        }
    support::sweepAllocationFailures([&] {
        Solver s;
        return setters[0](&s, 30, 20, &start, 1, nullptr);
    });
}

TEST(SolverRecordRules, AssignCopiesEveryField)
{
    Solver a, b;
    int data = 0;
    const Matrix start = randomMatrix(1, 4, 8);
    ASSERT_EQ(setters[2](&a, 9, 4, &start, 1, &data), KMATH_OK);
    a->decreaseTolerance = 1e-3;
    a->costTolerance = 1e-4;
    a->lambda = 7.5;
    a->maxIterations = 3;
    a->jacobianStep = 1e-5;
    a->maxConditionNumber = 1e7;
    a->maxTries = 4;
    a->useThreads = 2;
    a->interleaveColumns = 5;
    a->compSearchDir = ownSearch;
    double value = 1.0;
    for (kmath_nmmatrix *m : matricesOf(&a))
        kmath_nmmatrix_set(m, value++);
    ASSERT_EQ(setters[0](&b, 2, 1, &start, 0, nullptr), KMATH_ERR_BAD_DIMENSIONS);

    ASSERT_EQ(kmath_levmarqsolve_assign(&b, &a), KMATH_OK);
    EXPECT_EQ(b->nResiduals, 9);
    EXPECT_EQ(b->nParams, 4);
    EXPECT_EQ(b->decreaseTolerance, 1e-3);
    EXPECT_EQ(b->costTolerance, 1e-4);
    EXPECT_EQ(b->lambda, 7.5);
    EXPECT_EQ(b->maxIterations, 3);
    EXPECT_EQ(b->jacobianStep, 1e-5);
    EXPECT_EQ(b->maxConditionNumber, 1e7);
    EXPECT_EQ(b->maxTries, 4);
    EXPECT_EQ(b->useThreads, 2);
    EXPECT_EQ(b->interleaveColumns, 5);
    EXPECT_EQ(b->func, nullptr);
    EXPECT_EQ(b->funcI, nullptr);
    EXPECT_EQ(b->funcIJ, &byJob);
    EXPECT_EQ(b->compJacobian, &ownJacobian);
    EXPECT_EQ(b->compSearchDir, &ownSearch);
    EXPECT_EQ(b->allocJacobian, 1);
    EXPECT_EQ(b->userData, &data);
    const auto from = matricesOf(&a), to = matricesOf(&b);
    value = 1.0;
    for (std::size_t i = 0; i < 8; ++i, value += 1.0) {
        expectShape(*to[i], from[i]->nRows, from[i]->nCols);
        ASSERT_NE(to[i]->rows, nullptr);
        EXPECT_NE(to[i]->rows[0], from[i]->rows[0]);
        for (int k = 0; k < to[i]->nRows * to[i]->nCols; ++k)
            EXPECT_EQ(to[i]->rows[0][k], value);
    }
}

TEST(SolverRecordRules, AFailingAssignStopsAtItsMatrix)
{
    Solver a;
    int data = 0;
    const Matrix start = randomMatrix(1, 20, 9);
    ASSERT_EQ(setters[1](&a, 30, 20, &start, 1, &data), KMATH_OK);
    a->lambda = 3.0;
    a->maxTries = 2;
    for (int blocks = 0; blocks < 16; ++blocks) {
        Solver b;
        failAllocation(blocks);
        EXPECT_EQ(kmath_levmarqsolve_assign(&b, &a), KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        EXPECT_EQ(b->nResiduals, 30);
        EXPECT_EQ(b->lambda, 3.0);
        EXPECT_EQ(b->maxTries, 2);
        EXPECT_EQ(b->funcI, &indexed);
        EXPECT_EQ(b->allocJacobian, blocks < 2 ? 0 : 1); // copied after the parameters
        EXPECT_EQ(b->userData, blocks < 2 ? nullptr : static_cast<void *>(&data));
        int number = 0;
        for (const kmath_nmmatrix *m : matricesOf(&b)) {
            EXPECT_EQ(m->rows != nullptr, number < blocks / 2);
            EXPECT_EQ(m->nRows != 0, number <= blocks / 2);
            ++number;
        }
    }
    support::sweepAllocationFailures([&] {
        Solver b;
        return kmath_levmarqsolve_assign(&b, &a);
    });
}

TEST(SolverRecordRules, DestructReleasesEverything)
{
    const std::int64_t live = liveBlocks();
    {
        const Matrix start = randomMatrix(1, 20, 9);
        kmath_levmarqsolve s;
        ASSERT_EQ(kmath_levmarqsolve_construct(&s), KMATH_OK);
        ASSERT_EQ(setters[1](&s, 30, 20, &start, 1, nullptr), KMATH_OK);
        EXPECT_EQ(kmath_levmarqsolve_destruct(&s), KMATH_OK);
        for (const kmath_nmmatrix *m : matricesOf(&s))
            EXPECT_EQ(m->rows, nullptr);
        EXPECT_EQ(kmath_levmarqsolve_destruct(&s), KMATH_OK);
    }
    EXPECT_EQ(liveBlocks(), live);
}

TEST(SolverRecordRules, NullRecordsAreReportedWithTheirLines)
{
    Solver s;
    const Matrix start(1, 2);
    EXPECT_EQ(assertedLine([] { kmath_levmarqsolve_construct(nullptr); }), 31);
    EXPECT_EQ(assertedLine([] { kmath_levmarqsolve_destruct(nullptr); }), 138);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_assign(nullptr, &s); }), 92);
    EXPECT_EQ(assertedLine([&] { kmath_levmarqsolve_assign(&s, nullptr); }), 92);
    const int lines[] = {183, 245, 306};
    for (int shape = 0; shape < 3; ++shape) {
        EXPECT_EQ(assertedLine([&] { setters[shape](nullptr, 3, 2, &start, 1, nullptr); }),
                  lines[shape]);
        EXPECT_EQ(assertedLine([&] { setters[shape](&s, 3, 2, nullptr, 1, nullptr); }),
                  lines[shape]);
    }
}

} // namespace
