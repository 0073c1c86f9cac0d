#include "platform/cleanup_frame.hpp"
#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <cmath>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <pthread.h>

namespace
{

using support::assertedLine;
using support::ThreadCount;

/// What the jobs of the tests work on. Heap records, released by `releaseRecord`.
struct Record {
    std::int32_t number;
    void *shared;
};

std::atomic<int> released{0};

kmath_status releaseRecord(void **data)
{
    ++released;
    return ksys_memory_free_internal(data);
}

const Record &recordOf(const ksys_jobParams *params)
{
    const void *data = nullptr;
    EXPECT_EQ(ksys_jobParams_getDataConst(params, &data), KMATH_OK);
    return *static_cast<const Record *>(data);
}

/// A group, a set and a result set, with what they own counted.
class Jobs
{
  public:
    Jobs()
    {
        released = 0;
        ksys_jobThreadGroup_construct(&group);
        ksys_jobParams_construct(&params);
        ksys_jobRequestSet_construct(&set);
        ksys_jobResultSet_construct(&results);
    }
    ~Jobs() { destruct(); }
    Jobs(const Jobs &) = delete;
    Jobs &operator=(const Jobs &) = delete;

    void destruct()
    {
        EXPECT_EQ(ksys_jobResultSet_destruct(&results), KMATH_OK);
        EXPECT_EQ(ksys_jobRequestSet_destruct(&set), KMATH_OK);
        EXPECT_EQ(ksys_jobParams_destruct(&params), KMATH_OK);
        EXPECT_EQ(ksys_jobThreadGroup_destruct(&group), KMATH_OK);
    }

    /// A record through the one holder, which is refilled for every job.
    kmath_status add(ksys_jobFunc job, std::int32_t number, void *shared = nullptr)
    {
        Record *record = nullptr;
        RETURN_IF_FAILED(kmath::allocate(record, 1));
        *record = {number, shared};
        void *data = record;
        const kmath_status taken = ksys_jobParams_takeData(&params, &data, releaseRecord);
        EXPECT_EQ(taken, KMATH_OK);
        EXPECT_EQ(data, nullptr) << "the holder owns it now";
        return ksys_jobRequestSet_addFuncAndParams(&set, job, &params);
    }

    kmath_status dispatch() { return ksys_jobThreadGroup_dispatchAndWait(&group, &set, &results); }

    std::vector<kmath_status> statuses() const
    {
        return {results.statuses, results.statuses + results.count};
    }

    ksys_jobThreadGroup group;
    ksys_jobParams params;
    ksys_jobRequestSet set;
    ksys_jobResultSet results;
};

struct Log {
    std::mutex mutex;
    std::vector<std::int32_t> numbers;
    std::set<std::thread::id> threads;
};

kmath_status logNumber(const ksys_jobParams *params)
{
    const Record &record = recordOf(params);
    Log &log = *static_cast<Log *>(record.shared);
    const std::lock_guard lock(log.mutex);
    log.numbers.push_back(record.number);
    log.threads.insert(std::this_thread::get_id());
    return KMATH_OK;
}

/// Waits until as many jobs have met here as are to run at the same time.
struct Meeting {
    explicit Meeting(int expected) : missing(expected) {}
    std::atomic<int> missing;
    Log log;
};

kmath_status meet(const ksys_jobParams *params)
{
    Meeting &meeting = *static_cast<Meeting *>(recordOf(params).shared);
    --meeting.missing;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (meeting.missing > 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return KMATH_ERR_FAILED;
        std::this_thread::yield();
    }
    const std::lock_guard lock(meeting.log.mutex);
    meeting.log.threads.insert(std::this_thread::get_id());
    return KMATH_OK;
}

/// Fails with a status of its own when its number is odd.
kmath_status failWhenOdd(const ksys_jobParams *params)
{
    const std::int32_t number = recordOf(params).number;
    return number % 2 == 1 ? KMATH_ERR_FAILED + number : KMATH_OK;
}

kmath_status throwItsNumber(const ksys_jobParams *params) { throw recordOf(params).number; }

class JobsOnThreads : public testing::TestWithParam<std::int32_t>
{
  protected:
    void TearDown() override { EXPECT_EQ(support::liveBlocks(), blocksBefore) << "leaked"; }

    std::int64_t blocksBefore = support::liveBlocks();
    ThreadCount threads{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Threads, JobsOnThreads, testing::Values(1, 2, 3, 8));

TEST_P(JobsOnThreads, RunEachJobOnceWithItsOwnData)
{
    for (const std::int32_t count : {0, 1, 2, 7, 100}) {
        Log log;
        Jobs jobs;
        std::vector<std::int32_t> expected;
        for (std::int32_t i = 0; i < count; ++i) {
            ASSERT_EQ(jobs.add(logNumber, i, &log), KMATH_OK);
            expected.push_back(i);
        }
        EXPECT_EQ(jobs.dispatch(), KMATH_OK);
        EXPECT_EQ(jobs.statuses(), std::vector<kmath_status>(expected.size(), KMATH_OK));
        EXPECT_LE(log.threads.size(), static_cast<std::size_t>(GetParam()));
        if (GetParam() == 1) {
            EXPECT_EQ(log.numbers, expected) << "in the order in which they were added";
        }
        std::sort(log.numbers.begin(), log.numbers.end());
        EXPECT_EQ(log.numbers, expected);
    }
}

TEST_P(JobsOnThreads, RunAtTheSameTimeOnAsManyThreads)
{
    Meeting meeting(GetParam());
    Jobs jobs;
    for (std::int32_t i = 0; i < GetParam(); ++i)
        ASSERT_EQ(jobs.add(meet, i, &meeting), KMATH_OK);
    EXPECT_EQ(jobs.dispatch(), KMATH_OK) << "some job waited in vain for the others";
    EXPECT_EQ(meeting.log.threads.size(), static_cast<std::size_t>(GetParam()));
    EXPECT_TRUE(meeting.log.threads.count(std::this_thread::get_id())) << "the caller works too";
}

TEST_P(JobsOnThreads, GiveTheFailureOfTheLowestNumber)
{
    Jobs jobs;
    std::vector<kmath_status> expected;
    for (std::int32_t number : {0, 2, 5, 4, 3, 1, 8, 7}) {
        ASSERT_EQ(jobs.add(failWhenOdd, number), KMATH_OK);
        expected.push_back(number % 2 == 1 ? KMATH_ERR_FAILED + number : KMATH_OK);
    }
    for (int repeat = 0; repeat < 20; ++repeat) {
        EXPECT_EQ(jobs.dispatch(), KMATH_ERR_FAILED + 5);
        EXPECT_EQ(jobs.statuses(), expected);
    }
}

TEST_P(JobsOnThreads, HandTheExceptionOfTheLowestNumberToTheCaller)
{
    Log log;
    Jobs jobs;
    ASSERT_EQ(jobs.add(logNumber, 0, &log), KMATH_OK);
    ASSERT_EQ(jobs.add(failWhenOdd, 1), KMATH_OK); // an exception goes before a failure
    for (std::int32_t number = 2; number < 9; ++number)
        ASSERT_EQ(jobs.add(throwItsNumber, number), KMATH_OK);
    ASSERT_EQ(jobs.add(logNumber, 9, &log), KMATH_OK);

    for (int repeat = 0; repeat < 20; ++repeat) {
        log.numbers.clear();
        try {
            jobs.dispatch();
            FAIL() << "nothing was thrown";
        } catch (std::int32_t number) {
            EXPECT_EQ(number, 2);
        }
        EXPECT_EQ(log.numbers.size(), 2u) << "all jobs have ended by then";
        EXPECT_EQ(jobs.statuses()[0], KMATH_OK);
        EXPECT_EQ(jobs.statuses()[1], KMATH_ERR_FAILED + 1);
        EXPECT_EQ(jobs.statuses()[5], KMATH_ERR_FAILED);
        EXPECT_EQ(jobs.statuses()[9], KMATH_OK);
    }
    EXPECT_EQ(released, 0) << "the set keeps its data";
    jobs.destruct();
    EXPECT_EQ(released, 10);
}

TEST_P(JobsOnThreads, SurviveALateException)
{
    // Objects with memory of their own, thrown and given up in turn.
    Jobs jobs;
    for (std::int32_t number = 0; number < 30; ++number)
        ASSERT_EQ(jobs.add(
                      [](const ksys_jobParams *params) -> kmath_status {
                          throw std::runtime_error("job " +
                                                   std::to_string(recordOf(params).number));
                      },
                      number),
                  KMATH_OK);
    for (int repeat = 0; repeat < 50; ++repeat) {
        try {
            jobs.dispatch();
            FAIL() << "nothing was thrown";
        } catch (const std::runtime_error &error) {
            EXPECT_STREQ(error.what(), "job 0");
        }
    }
}

TEST_P(JobsOnThreads, MayBeDispatchedAgainAndAgain)
{
    Log log;
    Jobs jobs;
    std::size_t expected = 0;
    for (std::int32_t round = 0; round < 50; ++round) {
        if (round % 5 == 0) {
            ASSERT_EQ(jobs.add(logNumber, round, &log), KMATH_OK);
        }
        EXPECT_EQ(jobs.dispatch(), KMATH_OK);
        expected += static_cast<std::size_t>(jobs.set.count);
        ASSERT_EQ(log.numbers.size(), expected);
        ASSERT_EQ(jobs.results.count, jobs.set.count);
    }
    EXPECT_LE(log.threads.size(), static_cast<std::size_t>(GetParam()))
        << "the group keeps its threads";
}

TEST_P(JobsOnThreads, MayDispatchJobsThemselves)
{
    struct Nest {
        Log log;
        Jobs outer;
    } nest;
    const auto nested = [](const ksys_jobParams *params) {
        Nest &mine = *static_cast<Nest *>(recordOf(params).shared);
        ksys_jobParams holder = {&mine.log, nullptr};
        ksys_jobRequestSet set;
        ksys_jobResultSet results;
        ksys_jobRequestSet_construct(&set);
        ksys_jobResultSet_construct(&results);
        for (int i = 0; i < 3; ++i) {
            holder = {&mine.log, nullptr};
            ksys_jobRequestSet_addFuncAndParams(
                &set,
                [](const ksys_jobParams *inner) {
                    Log &log = *static_cast<Log *>(inner->data);
                    const std::lock_guard lock(log.mutex);
                    log.numbers.push_back(1);
                    return KMATH_OK;
                },
                &holder);
        }
        const kmath_status status =
            ksys_jobThreadGroup_dispatchAndWait(&mine.outer.group, &set, &results);
        ksys_jobResultSet_destruct(&results);
        ksys_jobRequestSet_destruct(&set);
        return status;
    };
    for (std::int32_t i = 0; i < 10; ++i)
        ASSERT_EQ(nest.outer.add(nested, i, &nest), KMATH_OK);
    EXPECT_EQ(nest.outer.dispatch(), KMATH_OK);
    EXPECT_EQ(nest.log.numbers.size(), 30u);
}

/// One third, worked out at the same time on every thread.
struct Thirds {
    std::atomic<int> missing;
    std::array<double, 8> value;
};

kmath_status divide(const ksys_jobParams *params)
{
    const Record &record = recordOf(params);
    Thirds &thirds = *static_cast<Thirds *>(record.shared);
    --thirds.missing;
    while (thirds.missing > 0)
        std::this_thread::yield();
    volatile double one = 1.0, three = 3.0;
    thirds.value[static_cast<std::size_t>(record.number)] = one / three;
    return KMATH_OK;
}

TEST_P(JobsOnThreads, RoundAsTheCallerDoes)
{
    Thirds thirds = {};
    Jobs jobs;
    for (std::int32_t i = 0; i < GetParam(); ++i)
        ASSERT_EQ(jobs.add(divide, i, &thirds), KMATH_OK);
    thirds.missing = GetParam();
    EXPECT_EQ(jobs.dispatch(), KMATH_OK);
    const double nearest = thirds.value[0];

    thirds.missing = GetParam();
    std::fesetround(FE_UPWARD);
    const kmath_status status = jobs.dispatch(); // on the threads that are there already
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(status, KMATH_OK);
    for (std::size_t i = 0; i < static_cast<std::size_t>(GetParam()); ++i)
        EXPECT_EQ(thirds.value[i], std::nextafter(nearest, 1.0)) << i;
}

/// Throws only when the jobs with higher numbers have long thrown.
kmath_status throwLate(const ksys_jobParams *params)
{
    auto &others = *static_cast<std::atomic<int> *>(recordOf(params).shared);
    while (others > 0)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    throw recordOf(params).number;
}

kmath_status throwEarly(const ksys_jobParams *params)
{
    --*static_cast<std::atomic<int> *>(recordOf(params).shared);
    throw recordOf(params).number;
}

TEST(JobThreadGroup, HandsOverTheExceptionOfTheLowestNumberThoughItCameLast)
{
    const ThreadCount three(3);
    std::atomic<int> others = 5;
    Jobs jobs;
    ASSERT_EQ(jobs.add(throwLate, 0, &others), KMATH_OK);
    for (std::int32_t i = 1; i <= 5; ++i)
        ASSERT_EQ(jobs.add(throwEarly, i, &others), KMATH_OK);
    try {
        jobs.dispatch();
        FAIL() << "nothing was thrown";
    } catch (std::int32_t number) {
        EXPECT_EQ(number, 0);
    }
}

TEST_P(JobsOnThreads, ServeFewerThreadsAfterMore)
{
    Log log;
    Jobs jobs;
    for (std::int32_t i = 0; i < 40; ++i)
        ASSERT_EQ(jobs.add(logNumber, i, &log), KMATH_OK);
    EXPECT_EQ(jobs.dispatch(), KMATH_OK);
    log.threads.clear();
    {
        const ThreadCount one(1);
        EXPECT_EQ(jobs.dispatch(), KMATH_OK);
    }
    EXPECT_EQ(log.threads, (std::set{std::this_thread::get_id()}));
}

TEST_P(JobsOnThreads, ComeBackWithTheStatusOfAFailingAllocation)
{
    Log log;
    support::sweepAllocationFailures([&] {
        Jobs jobs;
        log.numbers.clear();
        kmath_status status = KMATH_OK;
        for (std::int32_t i = 0; i < 6 && !KMATH_IS_FAILURE(status); ++i)
            status = jobs.add(logNumber, i, &log);
        if (!KMATH_IS_FAILURE(status)) {
            status = jobs.dispatch();
            EXPECT_EQ(log.numbers.size(), KMATH_IS_FAILURE(status) ? 0u : 6u);
        }
        return status;
    });
}

/// No thread can be started while it lives: none could have a stack of that size.
class NoMoreThreads
{
  public:
    NoMoreThreads()
    {
        pthread_getattr_default_np(&before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        EXPECT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 47), 0);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
        EXPECT_THROW(std::thread([] {}).join(), std::system_error);
    }
    ~NoMoreThreads()
    {
        pthread_setattr_default_np(&before);
        pthread_attr_destroy(&before);
    }
    NoMoreThreads(const NoMoreThreads &) = delete;
    NoMoreThreads &operator=(const NoMoreThreads &) = delete;

  private:
    pthread_attr_t before;
};

TEST_P(JobsOnThreads, RunOnTheCallerWhereNoThreadStarts)
{
    Log log;
    Jobs jobs;
    for (std::int32_t i = 0; i < 10; ++i)
        ASSERT_EQ(jobs.add(logNumber, i, &log), KMATH_OK);
    {
        const NoMoreThreads none;
        EXPECT_EQ(jobs.dispatch(), KMATH_OK);
    }
    EXPECT_EQ(log.numbers.size(), 10u);
    EXPECT_EQ(log.threads, (std::set{std::this_thread::get_id()}));

    Meeting meeting(GetParam()); // the same group finds its threads once there are some
    Jobs more;
    for (std::int32_t i = 0; i < GetParam(); ++i)
        ASSERT_EQ(more.add(meet, i, &meeting), KMATH_OK);
    EXPECT_EQ(ksys_jobThreadGroup_dispatchAndWait(&jobs.group, &more.set, &more.results), KMATH_OK);
}

TEST(JobParams, ReleaseWhatTheyHoldOnce)
{
    Jobs jobs;
    void *data = nullptr;
    for (int i = 0; i < 3; ++i) { // each takes the place of the one before
        ASSERT_EQ(ksys_memory_alloc_internal(&data, 8), KMATH_OK);
        ASSERT_EQ(ksys_jobParams_takeData(&jobs.params, &data, releaseRecord), KMATH_OK);
        EXPECT_EQ(released, i);
    }
    ksys_jobParams_destruct(&jobs.params);
    EXPECT_EQ(released, 3);
    ksys_jobParams_destruct(&jobs.params);
    EXPECT_EQ(released, 3);
}

TEST(JobParams, GiveTheDataBackForReading)
{
    Jobs jobs;
    const void *read = &jobs;
    EXPECT_EQ(ksys_jobParams_getDataConst(&jobs.params, &read), KMATH_OK);
    EXPECT_EQ(read, nullptr);
    int value = 5;
    void *data = &value;
    ASSERT_EQ(ksys_jobParams_takeData(&jobs.params, &data, nullptr), KMATH_OK);
    EXPECT_EQ(ksys_jobParams_getDataConst(&jobs.params, &read), KMATH_OK);
    EXPECT_EQ(read, &value);
}

TEST(JobParams, LeaveNewDataWithTheCallerWhenReleasingTheOldFails)
{
    Jobs jobs;
    int old = 1, fresh = 2;
    void *data = &old;
    ASSERT_EQ(ksys_jobParams_takeData(&jobs.params, &data,
                                      [](void **) -> kmath_status { return KMATH_ERR_SINGULAR; }),
              KMATH_OK);
    data = &fresh;
    EXPECT_EQ(ksys_jobParams_takeData(&jobs.params, &data, releaseRecord), KMATH_ERR_SINGULAR);
    EXPECT_EQ(data, &fresh);
    EXPECT_EQ(jobs.params.data, nullptr);
}

TEST(JobRequestSet, OwnsTheDataOfJobsThatNeverRan)
{
    const std::int64_t before = support::liveBlocks();
    Log log;
    {
        Jobs jobs;
        for (std::int32_t i = 0; i < 9; ++i) {
            ASSERT_EQ(jobs.add(logNumber, i, &log), KMATH_OK);
            EXPECT_EQ(jobs.params.data, nullptr) << "the holder is empty again";
        }
        EXPECT_EQ(released, 0);
    }
    EXPECT_EQ(released, 9);
    EXPECT_TRUE(log.numbers.empty());
    EXPECT_EQ(support::liveBlocks(), before);
}

TEST(JobRequestSet, LeavesTheDataWithTheHolderWhenAddingFails)
{
    Jobs jobs;
    void *data = nullptr;
    ASSERT_EQ(ksys_memory_alloc_internal(&data, 8), KMATH_OK);
    ASSERT_EQ(ksys_jobParams_takeData(&jobs.params, &data, releaseRecord), KMATH_OK);
    support::failAllocation(0);
    EXPECT_EQ(ksys_jobRequestSet_addFuncAndParams(&jobs.set, logNumber, &jobs.params),
              KMATH_ERR_NO_MEMORY);
    support::failAllocation(-1);
    EXPECT_EQ(jobs.set.count, 0);
    EXPECT_NE(jobs.params.data, nullptr);
    EXPECT_EQ(released, 0);
    jobs.destruct();
    EXPECT_EQ(released, 1);
}

TEST(JobRequestSet, GivesTheFirstFailureOfReleasingAfterReleasingAll)
{
    Jobs jobs;
    std::vector<int> order;
    for (int i = 0; i < 3; ++i) {
        void *data = &order;
        ksys_jobParams_takeData(&jobs.params, &data, [](void **held) -> kmath_status {
            auto &seen = *static_cast<std::vector<int> *>(*held);
            seen.push_back(0);
            return KMATH_ERR_FAILED + static_cast<kmath_status>(seen.size());
        });
        ASSERT_EQ(ksys_jobRequestSet_addFuncAndParams(&jobs.set, logNumber, &jobs.params),
                  KMATH_OK);
    }
    EXPECT_EQ(ksys_jobRequestSet_destruct(&jobs.set), KMATH_ERR_FAILED + 1);
    EXPECT_EQ(order.size(), 3u);
    EXPECT_EQ(jobs.set.requests, nullptr);
}

TEST(JobResultSet, ShrinksAndGrowsWithTheJobs)
{
    const ThreadCount two(2);
    Log log;
    Jobs few, many;
    for (std::int32_t i = 0; i < 12; ++i)
        ASSERT_EQ((i < 2 ? few : many).add(logNumber, i, &log), KMATH_OK);
    for (const ksys_jobRequestSet *set : {&many.set, &few.set, &many.set}) {
        ASSERT_EQ(ksys_jobThreadGroup_dispatchAndWait(&few.group, set, &few.results), KMATH_OK);
        EXPECT_EQ(few.results.count, set->count);
    }
    ksys_jobRequestSet none;
    ksys_jobRequestSet_construct(&none);
    ASSERT_EQ(ksys_jobThreadGroup_dispatchAndWait(&few.group, &none, &few.results), KMATH_OK);
    EXPECT_EQ(few.results.count, 0);
    EXPECT_EQ(few.results.statuses, nullptr);
}

TEST(JobThreadGroup, TakesNoMemoryUntilItHasUseForThreads)
{
    const ThreadCount one(1);
    Log log;
    Jobs jobs;
    ASSERT_EQ(jobs.add(logNumber, 0, &log), KMATH_OK);
    ASSERT_EQ(jobs.add(logNumber, 1, &log), KMATH_OK);
    EXPECT_EQ(support::allocationsOf([&] { jobs.dispatch(); }), 1) << "the statuses";
    EXPECT_EQ(support::allocationsOf([&] { jobs.dispatch(); }), 0);
    EXPECT_EQ(jobs.group.workers, nullptr);
}

TEST(JobThreadGroup, MayBeDestructedUnusedAndTwice)
{
    ksys_jobThreadGroup group;
    ASSERT_EQ(ksys_jobThreadGroup_construct(&group), KMATH_OK);
    EXPECT_EQ(ksys_jobThreadGroup_destruct(&group), KMATH_OK);
    EXPECT_EQ(ksys_jobThreadGroup_destruct(&group), KMATH_OK);
}

TEST(Jobs, AssertTheirArguments)
{
    Jobs jobs;
    void *data = nullptr;
    const void *read = nullptr;
    EXPECT_NE(assertedLine([] { ksys_jobThreadGroup_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobThreadGroup_destruct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobParams_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobParams_destruct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobRequestSet_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobRequestSet_destruct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobResultSet_construct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { ksys_jobResultSet_destruct(nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { ksys_jobParams_takeData(nullptr, &data, releaseRecord); }), 0);
    EXPECT_NE(assertedLine([&] { ksys_jobParams_takeData(&jobs.params, nullptr, releaseRecord); }),
              0);
    EXPECT_NE(assertedLine([&] { ksys_jobParams_getDataConst(nullptr, &read); }), 0);
    EXPECT_NE(assertedLine([&] { ksys_jobParams_getDataConst(&jobs.params, nullptr); }), 0);
    const auto add = ksys_jobRequestSet_addFuncAndParams;
    EXPECT_NE(assertedLine([&] { add(nullptr, logNumber, &jobs.params); }), 0);
    EXPECT_NE(assertedLine([&] { add(&jobs.set, nullptr, &jobs.params); }), 0);
    EXPECT_NE(assertedLine([&] { add(&jobs.set, logNumber, nullptr); }), 0);
    const auto dispatch = ksys_jobThreadGroup_dispatchAndWait;
    EXPECT_NE(assertedLine([&] { dispatch(nullptr, &jobs.set, &jobs.results); }), 0);
    EXPECT_NE(assertedLine([&] { dispatch(&jobs.group, nullptr, &jobs.results); }), 0);
    EXPECT_NE(assertedLine([&] { dispatch(&jobs.group, &jobs.set, nullptr); }), 0);
}

} // namespace
