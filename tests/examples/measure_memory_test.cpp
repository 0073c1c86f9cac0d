// The measuring example with memory that runs out at each of its allocations: the status comes
// back, the figures stay as they were, and everything is released.
#include "tests/support/services.hpp"

#include <gtest/gtest.h>

extern "C" {
#include "examples/measure/component.h"
#include "examples/measure/outlines.h"
}

namespace
{

// Two squares of four corners and their middle.
kmath_status makeOutlines(kstd_vector_vector_kmath_vect3 *outlines)
{
    double positions[] = {0, 0, 2, 0, 2, 2, 0, 2, 1, 1, 5, 5, 9, 5, 9, 9, 5, 9, 7, 7};
    int32_t groups[] = {1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
    Features features = {};
    features.nPoints = 10;
    features.nGroups = 2;
    features.positions = positions;
    features.groups = groups;
    return groupOutlines(&features, outlines);
}

TEST(MeasureWithoutMemory, GroupsOrSaysSo)
{
    support::sweepAllocationFailures([] {
        kstd_vector_vector_kmath_vect3 outlines;
        EXPECT_EQ(kstd_vector_vector_kmath_vect3_constructEmpty(&outlines), KMATH_OK);
        const kmath_status status = makeOutlines(&outlines);
        EXPECT_EQ(kstd_vector_vector_kmath_vect3_destruct(&outlines), KMATH_OK);
        return status;
    });
}

TEST(MeasureWithoutMemory, LeavesTheFiguresAndTheOutlines)
{
    kstd_vector_vector_kmath_vect3 outlines;
    kstd_vector_vector_kmath_vect3Shareable *shared = nullptr;
    kstd_vector_kmath_vect6FShareable *figures = nullptr;
    ASSERT_EQ(kstd_vector_vector_kmath_vect3_constructEmpty(&outlines), KMATH_OK);
    ASSERT_EQ(makeOutlines(&outlines), KMATH_OK);
    ASSERT_EQ(kstd_vector_vector_kmath_vect3Shareable_constructVector(&shared, &outlines),
              KMATH_OK);

    support::sweepAllocationFailures([&] {
        kmath_status status = kstd_vector_kmath_vect6FShareable_new(&figures);
        if (KMATH_IS_FAILURE(status))
            return status;
        status = measureOutlines(&shared->object, &figures->object);
        int32_t count;
        EXPECT_EQ(kstd_vector_kmath_vect6FShareable_getSize(figures, &count), KMATH_OK);
        EXPECT_EQ(count, KMATH_IS_FAILURE(status) ? 0 : 2);
        uint32_t equal;
        EXPECT_EQ(kstd_vector_vector_kmath_vect3_compareEqual(&shared->vector, &outlines, &equal),
                  KMATH_OK);
        EXPECT_EQ(equal, 1u);
        EXPECT_EQ(kstd_vector_kmath_vect6FShareable_delete(&figures), KMATH_OK);
        return status;
    });
    kstd_vector_vector_kmath_vect3Shareable_delete(&shared);
    kstd_vector_vector_kmath_vect3_destruct(&outlines);
}

} // namespace
