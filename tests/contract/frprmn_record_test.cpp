// The conjugate-gradient minimizer's record: its fields and defaults, what setting it up stores and
// sizes, and what is left when that fails.
#include "contract/frprmn_problems.hpp"
#include "support/services.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace
{

using frprmn::bowl;
using frprmn::custom;
using frprmn::gradientOf;
using frprmn::Minimizer;
using frprmn::NVector;
using frprmn::Problem;
using frprmn::Service;
using frprmn::tune;
using frprmn::valueOf;
using frprmn::vectorsOf;
using support::allocationsOf;
using support::assertedLine;
using support::liveBlocks;

static_assert(
    std::is_same_v<kmath_frprmn_func, kmath_status (*)(const kmath_nvector *, double *, void *)>);
static_assert(std::is_same_v<kmath_frprmn_dfunc,
                             kmath_status (*)(const kmath_nvector *, kmath_nvector *, void *)>);

TEST(FrprmnRules, TheFieldsStandInTheirOrder)
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
                                   offsetof(kmath_frprmn, eps)};
    EXPECT_EQ(offsets[0], 0u);
    EXPECT_TRUE(std::is_sorted(std::begin(offsets), std::end(offsets)));
    EXPECT_EQ(offsets[15] + sizeof(double), sizeof(kmath_frprmn));
}

TEST(FrprmnRules, AFreshRecordHasItsDefaults)
{
    kmath_frprmn m;
    std::memset(&m, 0x5a, sizeof m);
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_frprmn_construct(&m), KMATH_OK); }), 0);
    EXPECT_EQ(m.func, nullptr);
    EXPECT_EQ(m.dfunc, nullptr);
    EXPECT_EQ(m.userData, nullptr);
    EXPECT_EQ(m.maxIterations, 200);
    EXPECT_EQ(m.goldenSection, 0.381966);
    EXPECT_EQ(m.zeps, 1e-10);
    EXPECT_EQ(m.eps, 1e-10);
    for (const kmath_nvector *v : vectorsOf(&m)) {
        EXPECT_EQ(v->data, nullptr);
        EXPECT_EQ(v->n, 0);
    }
    EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
}

TEST(FrprmnRules, DestructingReleasesTheVectorsAndMayBeRepeated)
{
    const std::int64_t live = liveBlocks();
    const Problem problem = bowl(3);
    Service service(problem);
    kmath_frprmn m;
    ASSERT_EQ(kmath_frprmn_construct(&m), KMATH_OK);
    NVector start(problem.start);
    for (int i = 0; i < 2; ++i) { // a destructed record can be set up again
        ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 3, &start, 1e-3, &service), KMATH_OK);
        EXPECT_EQ(liveBlocks(), live + 1 + 6);
        EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
        for (const kmath_nvector *v : vectorsOf(&m)) {
            EXPECT_EQ(v->data, nullptr);
            EXPECT_EQ(v->n, 0);
        }
        EXPECT_EQ(liveBlocks(), live + 1);
    }
    EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
}

TEST(FrprmnRules, ANullRecordIsReportedWithItsLine)
{
    EXPECT_EQ(assertedLine([] { kmath_frprmn_destruct(nullptr); }), 58);
}

TEST(FrprmnRules, SetupStoresTheProblemAndSizesTheVectors)
{
    Minimizer m;
    tune(m, {.maxIterations = 7, .goldenSection = 0.25, .zeps = 0.5, .eps = 0.75});
    int data = 0;
    NVector start({9.5, 1.0, 2.0, 3.0});
    ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 3, &start, 0.125, &data), KMATH_OK);
    EXPECT_EQ(m->func, &valueOf);
    EXPECT_EQ(m->dfunc, &gradientOf);
    EXPECT_EQ(m->n, 3);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->ftol, 0.125);
    EXPECT_EQ(m->userData, &data);
    EXPECT_EQ(m->maxIterations, 7);
    EXPECT_EQ(m->goldenSection, 0.25);
    EXPECT_EQ(m->zeps, 0.5);
    EXPECT_EQ(m->eps, 0.75);
    for (const kmath_nvector *v : vectorsOf(&m))
        EXPECT_EQ(v->n, 3);
    for (int j = 0; j <= 3; ++j) { // element 0 is copied too
        EXPECT_EQ(m->p.data[j], start->data[j]);
        for (const kmath_nvector *v : {&m->g, &m->h, &m->xi, &m->pcom, &m->xicom})
            EXPECT_EQ(v->data[j], 0.0);
    }

    // The same length again: the contents stay and nothing is allocated.
    m->iterations = 12;
    m->g.data[2] = 4.5;
    EXPECT_EQ(allocationsOf([&] {
                  ASSERT_EQ(kmath_frprmn_setup(&m, nullptr, nullptr, 3, &m->p, 0.5, nullptr),
                            KMATH_OK);
              }),
              0);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->g.data[2], 4.5);
    EXPECT_EQ(m->p.data[3], 3.0);
    EXPECT_EQ(m->func, nullptr);
    EXPECT_EQ(m->userData, nullptr);
}

TEST(FrprmnRules, SetupTakesALengthThatIsNotTheStarts)
{
    Minimizer m;
    NVector start({0, 1, 2, 3});
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 0.5, nullptr), KMATH_OK);
    EXPECT_EQ(m->n, 2);
    EXPECT_EQ(m->p.n, 3);
    for (const kmath_nvector *v : {&m->g, &m->h, &m->xi, &m->pcom, &m->xicom})
        EXPECT_EQ(v->n, 2);
}

TEST(FrprmnRules, ANegativeLengthIsRefusedByTheFirstVector)
{
    Minimizer m;
    int data = 0;
    NVector start({0, 1, 2, 3});
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, -2, &start, 0.5, &data),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m->n, -2);
    EXPECT_EQ(m->func, &valueOf);
    EXPECT_EQ(m->ftol, 0.5);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->userData, &data);
    EXPECT_EQ(m->p.n, 3);
    EXPECT_EQ(m->g.n, -2);
    EXPECT_EQ(m->g.data, nullptr);
    for (const kmath_nvector *v : {&m->h, &m->xi, &m->pcom, &m->xicom})
        EXPECT_EQ(v->n, 0);
}

TEST(FrprmnRules, SetupStopsAtTheFirstAllocationThatFails)
{
    int failing = 0;
    for (; failing < 6; ++failing) {
        const std::int64_t live = liveBlocks();
        {
            Minimizer m;
            NVector start({0, 1, 2, 3, 4, 5});
            support::failAllocation(failing);
            EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 5, &start, 0.5, nullptr),
                      KMATH_ERR_NO_MEMORY);
            support::failAllocation(-1);
            EXPECT_EQ(m->n, 5);
            EXPECT_EQ(m->func, &valueOf);
            for (int i = 0; i < 6; ++i) {
                EXPECT_EQ(vectorsOf(&m)[static_cast<std::size_t>(i)]->data != nullptr, i < failing);
                if (i > failing) {
                    EXPECT_EQ(vectorsOf(&m)[static_cast<std::size_t>(i)]->n, 0);
                }
            }
        }
        EXPECT_EQ(liveBlocks(), live);
    }
    support::sweepAllocationFailures([] {
        Minimizer m;
        NVector start;
        return kmath_frprmn_setup(&m, valueOf, gradientOf, 5, &start, 0.5, nullptr);
    });
}

TEST(FrprmnRules, AFailingCopyOfTheStartIsPassedOn)
{
    Minimizer m;
    NVector start({0, 1, 2});
    const support::CopyWatch watch(custom);
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 0.5, nullptr), custom);
    EXPECT_EQ(m->g.n, 0);
}

} // namespace
