// The service records that a host sees: their sizes and the offsets of their fields.
#include <kmath/platform.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace
{

constexpr std::size_t pointer = sizeof(void *);

template <class Record> constexpr bool isPlain =
    std::is_trivial_v<Record> &&std::is_standard_layout_v<Record>;

TEST(ServiceRecordLayout, ACleanupEntryHoldsTwoNumbersAndTwoPointers)
{
    EXPECT_TRUE(isPlain<ksys_cleanupEntry>);
    EXPECT_EQ(offsetof(ksys_cleanupEntry, sequence), 0u);
    EXPECT_EQ(offsetof(ksys_cleanupEntry, kind), 4u);
    EXPECT_EQ(offsetof(ksys_cleanupEntry, object), 8u);
    EXPECT_EQ(offsetof(ksys_cleanupEntry, destruct), 8u + pointer);
    EXPECT_EQ(sizeof(ksys_cleanupEntry), 8u + 2 * pointer);
}

TEST(ServiceRecordLayout, AThreadGroupIsOnePointer)
{
    EXPECT_TRUE(isPlain<ksys_jobThreadGroup>);
    EXPECT_EQ(offsetof(ksys_jobThreadGroup, workers), 0u);
    EXPECT_EQ(sizeof(ksys_jobThreadGroup), pointer);
}

TEST(ServiceRecordLayout, JobRecordsHoldPointersBeforeCounts)
{
    EXPECT_TRUE(isPlain<ksys_jobParams>);
    EXPECT_EQ(offsetof(ksys_jobParams, data), 0u);
    EXPECT_EQ(offsetof(ksys_jobParams, release), pointer);
    EXPECT_EQ(sizeof(ksys_jobParams), 2 * pointer);

    EXPECT_TRUE(isPlain<ksys_jobRequest>);
    EXPECT_EQ(offsetof(ksys_jobRequest, job), 0u);
    EXPECT_EQ(offsetof(ksys_jobRequest, params), pointer);
    EXPECT_EQ(sizeof(ksys_jobRequest), 3 * pointer);

    EXPECT_TRUE(isPlain<ksys_jobRequestSet>);
    EXPECT_EQ(offsetof(ksys_jobRequestSet, requests), 0u);
    EXPECT_EQ(offsetof(ksys_jobRequestSet, count), pointer);
    EXPECT_EQ(offsetof(ksys_jobRequestSet, capacity), pointer + 4);
    EXPECT_EQ(sizeof(ksys_jobRequestSet), pointer + 8);

    EXPECT_TRUE(isPlain<ksys_jobResultSet>);
    EXPECT_EQ(offsetof(ksys_jobResultSet, statuses), 0u);
    EXPECT_EQ(offsetof(ksys_jobResultSet, count), pointer);
    EXPECT_EQ(sizeof(ksys_jobResultSet), 2 * pointer);
}

TEST(ServiceRecordLayout, AVectorIsABlockThreeSizesAndTwoTables)
{
    EXPECT_TRUE(isPlain<kstd_vector_>);
    EXPECT_EQ(offsetof(kstd_vector_, begin), 0u);
    EXPECT_EQ(offsetof(kstd_vector_, size), pointer);
    EXPECT_EQ(offsetof(kstd_vector_, capacity), 2 * pointer);
    EXPECT_EQ(offsetof(kstd_vector_, elementSize), 3 * pointer);
    EXPECT_EQ(offsetof(kstd_vector_, etable), 4 * pointer);
    EXPECT_EQ(offsetof(kstd_vector_, mtable), 5 * pointer);
    EXPECT_EQ(sizeof(kstd_vector_), 6 * pointer);

    EXPECT_EQ(offsetof(kstd_vectord, vector), 0u);
    EXPECT_EQ(sizeof(kstd_vectord), sizeof(kstd_vector_));
    EXPECT_EQ(offsetof(kstd_vectorb, vector), 0u);
    EXPECT_EQ(sizeof(kstd_vectorb), sizeof(kstd_vector_));
}

TEST(ServiceRecordLayout, TheElementTableHasFourEntriesAndAnEndMark)
{
    EXPECT_TRUE(isPlain<kstd_vectorEtable>);
    EXPECT_EQ(offsetof(kstd_vectorEtable, constructEmpty), 0u);
    EXPECT_EQ(offsetof(kstd_vectorEtable, constructCopy), pointer);
    EXPECT_EQ(offsetof(kstd_vectorEtable, assign), 2 * pointer);
    EXPECT_EQ(offsetof(kstd_vectorEtable, destruct), 3 * pointer);
    EXPECT_EQ(offsetof(kstd_vectorEtable, endMark), 4 * pointer);
    EXPECT_EQ(sizeof(kstd_vectorEtable), 5 * pointer);

    EXPECT_TRUE(isPlain<kstd_vectorMtable>);
    EXPECT_EQ(offsetof(kstd_vectorMtable, alloc), 0u);
    EXPECT_EQ(offsetof(kstd_vectorMtable, realloc), pointer);
    EXPECT_EQ(offsetof(kstd_vectorMtable, release), 2 * pointer);
    EXPECT_EQ(sizeof(kstd_vectorMtable), 3 * pointer);
}

} // namespace
