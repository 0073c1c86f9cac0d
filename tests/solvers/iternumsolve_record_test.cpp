#include "solvers/iternumsolve_ladder.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace support;
using namespace support::ladder;

namespace
{

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

} // namespace
