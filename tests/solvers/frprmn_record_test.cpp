#include "solvers/frprmn_minimizer.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace support;
using namespace support::conjugate;

namespace
{

TEST(FrprmnRecord, HasItsFieldsInOrder)
{
    const std::size_t offsets[] = {offsetof(kmath_frprmn, n),
                                   offsetof(kmath_frprmn, iterations),
                                   offsetof(kmath_frprmn, ftol),
                                   offsetof(kmath_frprmn, func),
                                   offsetof(kmath_frprmn, dfunc),
                                   offsetof(kmath_frprmn, p),
                                   offsetof(kmath_frprmn, g),
                                   offsetof(kmath_frprmn, h),
                                   offsetof(kmath_frprmn, xi),
                                   offsetof(kmath_frprmn, pcom),
                                   offsetof(kmath_frprmn, xicom),
                                   offsetof(kmath_frprmn, userData),
                                   offsetof(kmath_frprmn, maxIterations),
                                   offsetof(kmath_frprmn, goldenSection),
                                   offsetof(kmath_frprmn, zeps),
                                   offsetof(kmath_frprmn, eps),
                                   sizeof(kmath_frprmn)};
    EXPECT_EQ(offsets[0], 0u);
    for (std::size_t i = 1; i < std::size(offsets); ++i)
        EXPECT_GT(offsets[i], offsets[i - 1]) << i;
}

TEST(FrprmnConstruct, GivesTheDefaults)
{
    kmath_frprmn record;
    std::memset(&record, 0xA5, sizeof record);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(kmath_frprmn_construct(&record), KMATH_OK); }), 0);
    EXPECT_EQ(record.n, 0);
    EXPECT_EQ(record.iterations, 0);
    EXPECT_EQ(record.ftol, 0.0);
    EXPECT_EQ(record.func, nullptr);
    EXPECT_EQ(record.dfunc, nullptr);
    EXPECT_EQ(record.userData, nullptr);
    for (const kmath_nvector *vector :
         {&record.p, &record.g, &record.h, &record.xi, &record.pcom, &record.xicom}) {
        EXPECT_EQ(vector->data, nullptr);
        EXPECT_EQ(vector->n, 0);
    }
    EXPECT_EQ(record.maxIterations, 200);
    EXPECT_EQ(record.goldenSection, 0.381966);
    EXPECT_EQ(record.zeps, 1e-10);
    EXPECT_EQ(record.eps, 1e-10);
    kmath_frprmn_destruct(&record);
}

TEST(FrprmnDestruct, ReleasesTheVectorsAndLeavesThemEmpty)
{
    const std::int64_t before = liveBlocks();
    {
        Minimizer m(rosenbrock(), 1e-8);
        EXPECT_GE(liveBlocks(), before + 6);
        EXPECT_EQ(kmath_frprmn_destruct(&m.record), KMATH_OK);
        EXPECT_EQ(m.record.p.data, nullptr);
        EXPECT_EQ(m.record.xicom.n, 0);
        EXPECT_EQ(kmath_frprmn_destruct(&m.record), KMATH_OK);
        EXPECT_EQ(m.setup(1e-8), KMATH_OK); // and may be set again
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Frprmn, AssertsItsPointers)
{
    Minimizer m(rosenbrock(), 1e-8);
    EXPECT_EQ(assertedLine([] { kmath_frprmn_destruct(nullptr); }), 58);

    const Vector start(m.problem.start);
    EXPECT_NE(assertedLine([] { kmath_frprmn_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine(
                  [&] { kmath_frprmn_setup(nullptr, m.func, m.dfunc, 2, &start, 1e-8, nullptr); }),
              0);
    EXPECT_NE(assertedLine([&] {
                  kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, nullptr, 1e-8, nullptr);
              }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(nullptr, &m.result, &m.fret); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(&m.record, nullptr, &m.fret); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_frprmn_minimize(&m.record, &m.result, nullptr); }), 0);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnSetup, StoresTheProblemAndKeepsTheTuning)
{
    Minimizer m(rosenbrock());
    m.record.iterations = 99;
    m.record.maxIterations = 7;
    m.record.goldenSection = 0.4;
    m.record.zeps = 1e-9;
    m.record.eps = 1e-8;
    const Vector start({0.5, 1.5, 2.5});
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &start, 0.125, &m), KMATH_OK);
    EXPECT_EQ(m.record.n, 2);
    EXPECT_EQ(m.record.iterations, 0);
    EXPECT_EQ(m.record.ftol, 0.125);
    EXPECT_EQ(m.record.func, m.func);
    EXPECT_EQ(m.record.dfunc, m.dfunc);
    EXPECT_EQ(m.record.userData, &m);
    EXPECT_EQ(elements(m.record.p), (Doubles{0.5, 1.5, 2.5})); // the spare element, too
    for (const kmath_nvector *vector :
         {&m.record.g, &m.record.h, &m.record.xi, &m.record.pcom, &m.record.xicom})
        EXPECT_EQ(elements(*vector), Doubles(3));
    EXPECT_EQ(m.record.maxIterations, 7);
    EXPECT_EQ(m.record.goldenSection, 0.4);
    EXPECT_EQ(m.record.zeps, 1e-9);
    EXPECT_EQ(m.record.eps, 1e-8);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnSetup, TakesTheStartFirstAndSizesTheVectorsInOrder)
{
    for (int failing = 0; failing < 6; ++failing) {
        Minimizer m(rosenbrock());
        const Vector start(m.problem.start);
        failAllocation(failing);
        EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &start, 0.125, &m),
                  KMATH_ERR_NO_MEMORY);
        failAllocation(-1);
        const kmath_nvector *const inOrder[] = {&m.record.p,  &m.record.g,    &m.record.h,
                                                &m.record.xi, &m.record.pcom, &m.record.xicom};
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(inOrder[i]->n, i <= failing ? 2 : 0) << failing << ' ' << i;
            EXPECT_EQ(inOrder[i]->data != nullptr, i < failing) << failing << ' ' << i;
        }
        EXPECT_EQ(m.record.n, 2);
        EXPECT_EQ(m.record.ftol, 0.125);
        EXPECT_EQ(m.record.func, m.func);

        // Minimizing refuses such a record; setting it again repairs it.
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m.calls, 0);
        m.expectUntouchedResult();
        EXPECT_EQ(m.setup(1e-8), KMATH_OK);
        EXPECT_EQ(m.minimize(), KMATH_OK);
    }
}

TEST(FrprmnSetup, PassesOnWhatANegativeCountGives)
{
    Minimizer m(rosenbrock());
    const Vector start(m.problem.start);
    const auto setup = [&] {
        return kmath_frprmn_setup(&m.record, m.func, m.dfunc, -2, &start, 1e-8, &m);
    };
    // Each call gets one vector further, as a refused length stays.
    for (int call = 0; call < 5; ++call) {
        EXPECT_EQ(setup(), KMATH_ERR_BAD_DIMENSIONS) << call;
        EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    }
    EXPECT_EQ(setup(), KMATH_OK);
    EXPECT_EQ(m.record.n, -2);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
    m.expectUntouchedResult();
    EXPECT_EQ(m.fret, -7.0);
    EXPECT_EQ(m.record.iterations, 0);
}

TEST(FrprmnSetup, TakesAVectorOfTheRecordAsStart)
{
    Minimizer m(rosenbrock(), 1e-8);
    m.record.maxIterations = 3;
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    const Doubles reached = elements(m.record.p);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &m.record.p, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(elements(m.record.p), reached);
    EXPECT_EQ(m.record.iterations, 0);

    const Doubles origin = elements(m.record.pcom);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &m.record.pcom, 1e-8, &m),
              KMATH_OK);
    EXPECT_EQ(elements(m.record.p), origin);
}

TEST(FrprmnSetup, PassesOnWhatTheStartGives)
{
    Minimizer m(rosenbrock(), 1e-8);
    Vector start;
    failAllocation(0);
    kmath_nvector_resize(&start, 2);
    failAllocation(-1);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 1, &start, 0.125, &m),
              KMATH_ERR_NO_MEMORY);
    expectElements(m.record.p, m.problem.start);
    EXPECT_EQ(m.record.g.n, 2);
    EXPECT_EQ(m.record.n, 1);
    EXPECT_EQ(m.record.ftol, 0.125);

    kmath_nvector_resize(&start, -3);
    EXPECT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 1, &start, 0.125, &m),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.record.p.n, -3);
    EXPECT_EQ(m.record.g.n, 2);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
}

TEST(FrprmnMinimize, RefusesARecordWithoutCallbacks)
{
    Minimizer fresh(rosenbrock());
    EXPECT_EQ(fresh.minimize(), KMATH_ERR_FAILED);

    for (const bool function : {true, false}) {
        Minimizer m(rosenbrock(), 1e-8);
        if (function)
            m.record.func = nullptr;
        else
            m.record.dfunc = nullptr;
        EXPECT_EQ(m.minimize(), KMATH_ERR_FAILED);
        EXPECT_EQ(m.calls, 0);
        m.expectUntouchedResult();
        EXPECT_EQ(m.fret, -7.0);
    }
}

TEST(FrprmnMinimize, RefusesMoreVariablesThanTheVectorsHold)
{
    // A start that is too short.
    Minimizer m(rosenbrock());
    const Vector shorter(Doubles{0.0, 1.0});
    ASSERT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &shorter, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    const Vector none;
    ASSERT_EQ(kmath_frprmn_setup(&m.record, m.func, m.dfunc, 2, &none, 1e-8, &m), KMATH_OK);
    EXPECT_EQ(m.minimize(), KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m.calls, 0);
    m.expectUntouchedResult();

    constexpr kmath_nvector kmath_frprmn::*vectors[] = {&kmath_frprmn::p,    &kmath_frprmn::g,
                                                        &kmath_frprmn::h,    &kmath_frprmn::xi,
                                                        &kmath_frprmn::pcom, &kmath_frprmn::xicom};
    for (const auto vector : vectors)
        for (const std::int32_t length : {1, 0, -1, 5}) { // 5 loses its storage
            Minimizer one(rosenbrock(), 1e-8);
            failAllocation(length == 5 ? 0 : -1);
            kmath_nvector_resize(&(one.record.*vector), length);
            failAllocation(-1);
            EXPECT_EQ(one.minimize(), KMATH_ERR_BAD_DIMENSIONS);
            EXPECT_EQ(one.calls, 0);
        }
    for (const std::int32_t n : {3, INT32_MAX, -1, INT32_MIN}) {
        Minimizer one(rosenbrock(), 1e-8);
        one.record.n = n;
        EXPECT_EQ(one.minimize(), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(one.calls, 0);
    }
}

} // namespace
