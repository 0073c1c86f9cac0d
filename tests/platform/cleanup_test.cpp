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

kmath_status construct(Numbered &record)
{
    return record.number < 0 ? KMATH_ERR_SINGULAR : KMATH_OK;
}
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

TEST(CleanupFrame, ReleasesWhatItAdoptsAndOnlyWhatWasConstructed)
{
    released.clear();
    Numbered good{1}, bad{-1}, last{3};
    CleanupFrame<3> frame;
    EXPECT_EQ(frame.adopt(good), KMATH_OK);
    EXPECT_EQ(frame.adopt(bad), KMATH_ERR_SINGULAR);
    EXPECT_EQ(frame.adopt(last), KMATH_OK);
    EXPECT_EQ(frame.leave(KMATH_ERR_FAILED), KMATH_ERR_FAILED);
    EXPECT_EQ(released, (std::vector{3, 1}));
}

TEST(CleanupFrame, LeavesAFullListAlone)
{
    released.clear();
    Numbered a{1}, b{2};
    CleanupFrame frame(a);
    const support::AssertionRecorder recorder;
    frame.guard(b);
    EXPECT_EQ(recorder.lines().size(), 1u);
    frame.leave(KMATH_ERR_FAILED);
    EXPECT_EQ(released, (std::vector{1}));
}

TEST(CleanupFrame, ReturnsFromAFailingStep)
{
    released.clear();
    const auto function = [](kmath_status step, bool &reached) {
        Numbered a{1};
        CleanupFrame frame(a);
        TRY(step);
        reached = true;
        return frame.leave(KMATH_OK);
    };
    bool reached = false;
    EXPECT_EQ(function(KMATH_ERR_SINGULAR, reached), KMATH_ERR_SINGULAR);
    EXPECT_FALSE(reached);
    EXPECT_EQ(released, (std::vector{1}));
    EXPECT_EQ(function(5, reached), KMATH_OK) << "no failure without bit 31";
    EXPECT_TRUE(reached);
}

TEST(BytesOf, NeverWrapsAround)
{
    EXPECT_EQ(bytesOf<double>(0), 0u);
    EXPECT_EQ(bytesOf<double>(3), 24u);
    EXPECT_EQ(bytesOf<double>(PTRDIFF_MAX / 8), static_cast<std::size_t>(PTRDIFF_MAX / 8) * 8);
    for (const std::int64_t count : {PTRDIFF_MAX / 8 + 1, std::int64_t{INT64_MAX}, std::int64_t{-1},
                                     std::int64_t{INT64_MIN}, -(std::int64_t{1} << 61)})
        EXPECT_EQ(bytesOf<double>(count), SIZE_MAX) << count;
}

/// Entries whose destructors report the given statuses, released in the order that is recorded.
struct Entry {
    std::uint32_t kind;
    kmath_status status;
};

std::vector<const void *> destructed;

kmath_status execute(std::vector<Entry> wanted, kmath_status status, std::vector<int> &order)
{
    std::vector<ksys_cleanupEntry> entries;
    for (Entry &entry : wanted)
        entries.push_back(
            {static_cast<std::uint32_t>(entries.size()), entry.kind, &entry, [](void *object) {
                 destructed.push_back(object);
                 return static_cast<Entry *>(object)->status;
             }});
    destructed.clear();
    auto count = static_cast<std::int32_t>(entries.size());
    kmath_status returned = status;
    const kmath_status result =
        ksys_cleanupExecute_(entries.data(), &count, &returned, ksys_cleanup_getNextTag());
    EXPECT_EQ(count, 0);
    EXPECT_EQ(result, returned);
    order.clear();
    for (const void *object : destructed)
        order.push_back(static_cast<int>(static_cast<const Entry *>(object) - wanted.data()));
    return result;
}

constexpr std::uint32_t always = KSYS_CLEANUP_ALWAYS;
constexpr std::uint32_t onFailure = KSYS_CLEANUP_ON_FAILURE;

TEST(CleanupStack, NumbersItsKinds)
{
    EXPECT_EQ(onFailure, 34u);
    EXPECT_EQ(always, 50u);
}

TEST(CleanupStack, PassesOverWhatOnlyAFailureUndoes)
{
    const std::vector<Entry> entries = {{always, 0}, {onFailure, 0}, {always, 0}, {onFailure, 0}};
    std::vector<int> order;
    EXPECT_EQ(execute(entries, KMATH_OK, order), KMATH_OK);
    EXPECT_EQ(order, (std::vector{2, 0}));
    EXPECT_EQ(execute(entries, 1, order), 1) << "no failure without bit 31";
    EXPECT_EQ(order, (std::vector{2, 0}));
    EXPECT_EQ(execute(entries, KMATH_ERR_SINGULAR, order), KMATH_ERR_SINGULAR);
    EXPECT_EQ(order, (std::vector{3, 2, 1, 0}));
    EXPECT_EQ(execute({}, KMATH_ERR_SINGULAR, order), KMATH_ERR_SINGULAR);
    EXPECT_TRUE(order.empty());
}

TEST(CleanupStack, FailsWithTheFirstFailingDestructorAndThenUndoesTheRest)
{
    const std::vector<Entry> entries = {{onFailure, 0}, {always, KMATH_ERR_ALIASED},
                                        {onFailure, 0}, {always, KMATH_ERR_FAILED},
                                        {onFailure, 0}, {always, 0}};
    std::vector<int> order;
    EXPECT_EQ(execute(entries, KMATH_OK, order), KMATH_ERR_FAILED);
    EXPECT_EQ(order, (std::vector{5, 3, 2, 1, 0, 4}));
    EXPECT_EQ(execute(entries, KMATH_ERR_SINGULAR, order), KMATH_ERR_SINGULAR);
    EXPECT_EQ(order, (std::vector{5, 4, 3, 2, 1, 0}));
}

TEST(CleanupStack, AssertsItsArguments)
{
    std::int32_t count = 0;
    kmath_status status = KMATH_OK;
    ksys_cleanupEntry entry;
    EXPECT_NE(support::assertedLine([&] { ksys_cleanupExecute_(nullptr, &count, &status, 0); }), 0);
    EXPECT_NE(support::assertedLine([&] { ksys_cleanupExecute_(&entry, nullptr, &status, 0); }), 0);
    EXPECT_NE(support::assertedLine([&] { ksys_cleanupExecute_(&entry, &count, nullptr, 0); }), 0);
}

} // namespace
