// The number of processors that the library finds by itself.
#include <kmath/platform.h>

#include "platform/processors.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include <sched.h>
#include <unistd.h>

namespace
{

constexpr std::int32_t unlimited = std::numeric_limits<std::int32_t>::max();

/// A made-up hierarchy of control groups.
class ControlGroups : public testing::Test
{
  protected:
    ~ControlGroups() override { std::filesystem::remove_all(root); }

    void write(const std::string &file, const std::string &text) const
    {
        const std::filesystem::path path = root / file;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    std::int32_t processors(const std::string &membership) const
    {
        write("membership", membership);
        return kmath::processorsWithinQuota((root / "membership").c_str(),
                                            (root / "groups").c_str());
    }

    const std::filesystem::path root =
        std::filesystem::temp_directory_path() /
        ("kmath-groups-" + std::to_string(getpid()) + "-" +
         testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(ControlGroups, LimitByTheQuotaOfVersionTwo)
{
    const auto quota = [&](const std::string &text) {
        write("groups/a/b/cpu.max", text);
        return processors("0::/a/b\n");
    };
    EXPECT_EQ(quota("200000 100000\n"), 2);
    EXPECT_EQ(quota("200001 100000\n"), 3) << "rounded up";
    EXPECT_EQ(quota("1000 100000\n"), 1);
    EXPECT_EQ(quota("max 100000\n"), unlimited);
    EXPECT_EQ(quota("9223372036854775807 1\n"), unlimited);
}

TEST_F(ControlGroups, LimitByTheQuotaOfVersionOne)
{
    const auto quota = [&](const std::string &microseconds) {
        write("groups/cpu/a/cpu.cfs_quota_us", microseconds);
        write("groups/cpu/a/cpu.cfs_period_us", "50000\n");
        return processors("5:memory:/a\n4:cpuset:/a\n3:cpu,cpuacct:/a\n1:name=systemd:/a\n");
    };
    EXPECT_EQ(quota("150000\n"), 3);
    EXPECT_EQ(quota("50001\n"), 2);
    EXPECT_EQ(quota("-1\n"), unlimited);
}

TEST_F(ControlGroups, FindTheControllerByItsWholeName)
{
    write("groups/cpu/a/cpu.cfs_quota_us", "100000\n");
    write("groups/cpu/a/cpu.cfs_period_us", "50000\n");
    EXPECT_EQ(processors("3:cpu:/a\n"), 2);
    EXPECT_EQ(processors("3:cpuacct,cpu:/a"), 2);
    EXPECT_EQ(processors("3:cpuacct:/a\n4:cpuset:/a\n"), unlimited);
}

TEST_F(ControlGroups, ObeyTheTightestOfTheGroupAndItsParents)
{
    write("groups/cpu.max", "700000 100000\n");
    write("groups/a/cpu.max", "300000 100000\n");
    write("groups/a/b/cpu.max", "500000 100000\n");
    EXPECT_EQ(processors("0::/a/b\n"), 3);
    EXPECT_EQ(processors("0::/\n"), 7);
    EXPECT_EQ(processors("0::/elsewhere/c\n"), 7) << "only the root shows inside a container";
}

TEST_F(ControlGroups, ObeyTheTighterOfTwoVersions)
{
    write("groups/a/cpu.max", "400000 100000\n");
    write("groups/cpu/cpu.cfs_quota_us", "600000\n");
    write("groups/cpu/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(processors("2:cpu:/docker/x\n0::/a\n"), 4);
    EXPECT_EQ(processors("2:cpu:/docker/x\n0::/b\n"), 6);
}

TEST_F(ControlGroups, AreNoLimitWhereNothingCanBeRead)
{
    EXPECT_EQ(processors("0::/a\n"), unlimited);
    EXPECT_EQ(processors(""), unlimited);
    EXPECT_EQ(processors("nonsense\n::\n:\n\n0:\n"), unlimited);
    EXPECT_EQ(kmath::processorsWithinQuota("/no/such/file", "/no/such/directory"), unlimited);
    for (const char *text : {"", "\n", "nonsense", "100000", "100000 0", "0 100000", "-5 100000",
                             "100000 -5", "99999999999999999999999999 100000000000000000000000"}) {
        write("groups/a/cpu.max", text);
        EXPECT_GE(processors("0::/a\n"), 1) << text;
    }
    const std::string longName(20000, 'x'); // more than any buffer holds
    EXPECT_EQ(processors("0::/" + longName + "\n"), unlimited);
    EXPECT_EQ(processors("3:cpu:/" + longName.substr(0, 5000) + "\n"), unlimited);
}

TEST(ThreadState, IsWithinTheAffinityOfTheThread)
{
    ksys_jobThreadGroup group;
    ksys_jobThreadGroup_construct(&group);
    cpu_set_t before;
    ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
    const std::int32_t quota = kmath::processorsWithinQuota("/proc/self/cgroup", "/sys/fs/cgroup");

    std::int32_t threads = -1;
    ASSERT_EQ(ksys_jobGetCurrentThreadState(&threads, &group), KMATH_OK);
    EXPECT_EQ(threads, std::min(quota, CPU_COUNT(&before)));

    int first = 0;
    while (!CPU_ISSET(first, &before))
        ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(ksys_jobGetCurrentThreadState(&threads, &group), KMATH_OK);
    EXPECT_EQ(threads, 1);
    sched_setaffinity(0, sizeof before, &before);
    ksys_jobThreadGroup_destruct(&group);
}

TEST(ThreadState, IsWhatADispatchUses)
{
    ksys_jobThreadGroup group;
    ksys_jobRequestSet set;
    ksys_jobResultSet results;
    ksys_jobParams params;
    ksys_jobThreadGroup_construct(&group);
    ksys_jobRequestSet_construct(&set);
    ksys_jobResultSet_construct(&results);
    ksys_jobParams_construct(&params);
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(ksys_jobRequestSet_addFuncAndParams(
                      &set, [](const ksys_jobParams *) { return KMATH_OK; }, &params),
                  KMATH_OK);
    EXPECT_EQ(ksys_jobThreadGroup_dispatchAndWait(&group, &set, &results), KMATH_OK);
    EXPECT_EQ(results.count, 20);
    std::int32_t threads = 0;
    ksys_jobGetCurrentThreadState(&threads, &group);
    EXPECT_EQ(group.workers != nullptr, threads > 1);
    ksys_jobResultSet_destruct(&results);
    ksys_jobRequestSet_destruct(&set);
    ksys_jobThreadGroup_destruct(&group);
}

} // namespace
