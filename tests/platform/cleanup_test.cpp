#include "platform/cleanup_frame.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <vector>

using namespace kmath;

namespace
{

std::vector<int> released;

struct Numbered {
    int number;
};

kmath_status construct(Numbered &) { return KMATH_OK; }
kmath_status destruct(Numbered &record)
{
    released.push_back(record.number);
    return KMATH_OK;
}

TEST(CleanupFrame, ReleasesTheLastBuiltFirst)
{
    released.clear();
    Numbered a{1}, b{2}, c{3};
    CleanupFrame frame(a, b, c);
    EXPECT_EQ(frame.leave(KMATH_OK), KMATH_OK);
    EXPECT_EQ(released, (std::vector{3, 2, 1}));
}

TEST(CleanupFrame, ReleasesAGuardedRecordOnlyOnFailure)
{
    for (const kmath_status status : {KMATH_OK, KMATH_ERR_SINGULAR}) {
        released.clear();
        Numbered guarded{7};
        CleanupFrame<1> frame;
        frame.guard(guarded);
        EXPECT_EQ(frame.leave(status), status);
        EXPECT_EQ(released.size(), KMATH_IS_FAILURE(status) ? 1u : 0u);
    }
}

TEST(CleanupFrame, ReleasesEverythingWhenAnExceptionPasses)
{
    released.clear();
    Numbered a{1}, guarded{2};
    try {
        CleanupFrame<2> frame(a);
        frame.guard(guarded);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(released, (std::vector{2, 1}));
}

TEST(CleanupFrame, FreesTheBlocksItHolds)
{
    const std::int64_t before = support::liveBlocks();
    double *block;
    CleanupFrame frame(block);
    ASSERT_EQ(frame.allocate(block, 5), KMATH_OK);
    EXPECT_EQ(support::liveBlocks(), before + 1);
    frame.leave(KMATH_OK);
    EXPECT_EQ(support::liveBlocks(), before);
}

TEST(CleanupFrame, RefusesABlockTooLargeToAddress)
{
    double *block;
    CleanupFrame frame(block);
    EXPECT_EQ(frame.allocate(block, INT64_MAX), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(block, nullptr);
    frame.leave(KMATH_OK);
}

} // namespace
