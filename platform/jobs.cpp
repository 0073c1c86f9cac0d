// The job library: runs a set of jobs on the calling thread and on the workers of a group.
//
// The workers belong to the group: they start with the first dispatch that has use for them, sleep
// between dispatches and end with the group. Jobs are taken in the order in which they were added,
// each by whichever thread is free. A worker that cannot be started is done without.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/services.hpp"

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

using namespace kmath;

namespace
{

// One dispatch; it lives on the stack of the thread that waits for it.
class Dispatch
{
  public:
    Dispatch(const ksys_jobRequestSet &jobs, ksys_jobResultSet &results)
        : set(jobs), statuses(results.statuses)
    {
        std::fegetenv(&environment);
    }

    bool hasMore() const { return next < set.count; }

    // Runs jobs for as long as there are any that no thread has taken.
    void work()
    {
        for (std::int64_t number; (number = next++) < set.count;) {
            std::exception_ptr exception = run(set.requests[number], statuses[number]);
            if (exception)
                record(number, exception);
        }
    }

    // The same on a worker, which rounds as the calling thread does.
    void workElsewhere()
    {
        std::fesetenv(&environment);
        work();
    }

    // The failure of the lowest job number, once all jobs have ended.
    kmath_status outcome() const
    {
        if (thrown)
            std::rethrow_exception(thrown);
        const auto failed = std::find_if(statuses, statuses + set.count, [](kmath_status status) {
            return KMATH_IS_FAILURE(status);
        });
        return failed == statuses + set.count ? KMATH_OK : *failed;
    }

  private:
    static std::exception_ptr run(const ksys_jobRequest &request, kmath_status &status)
    {
        try {
            status = request.job(&request.params);
        } catch (...) {
            status = KMATH_ERR_FAILED;
            return std::current_exception();
        }
        return nullptr;
    }

    void record(std::int64_t number, std::exception_ptr &exception)
    {
        const std::lock_guard lock(mutex);
        if (!thrown || number < thrower) {
            thrown.swap(exception);
            thrower = number;
        }
    }

    const ksys_jobRequestSet &set;
    kmath_status *const statuses;
    std::fenv_t environment;
    std::atomic<std::int64_t> next = 0; // wider than the count, as each thread steps past it once
    std::mutex mutex;
    std::exception_ptr thrown; // by the job with the lowest number so far
    std::int64_t thrower = 0;
};

struct Worker {
    std::thread thread;
    Worker *next;
};

// The workers of a group.
class Team
{
  public:
    Team() = default;
    Team(const Team &) = delete;
    Team &operator=(const Team &) = delete;

    ~Team()
    {
        {
            const std::lock_guard lock(mutex);
            ending = true;
        }
        wake.notify_all();
        while (Worker *worker = workers) {
            workers = worker->next;
            worker->thread.join();
            worker->~Worker();
            destruct(worker);
        }
    }

    // Works a dispatch off with so many workers beside the calling thread.
    kmath_status serve(Dispatch &dispatch, std::int32_t helpers)
    {
        if (isBusy()) { // one of the jobs dispatches jobs itself
            dispatch.work();
            return KMATH_OK;
        }
        RETURN_IF_FAILED(recruit(helpers));
        {
            const std::lock_guard lock(mutex);
            current = &dispatch;
            wanted = helpers;
        }
        wake.notify_all();
        dispatch.work();

        std::unique_lock lock(mutex);
        done.wait(lock, [this] { return active == 0; });
        current = nullptr;
        return KMATH_OK;
    }

  private:
    bool isBusy()
    {
        const std::lock_guard lock(mutex);
        return current != nullptr;
    }

    kmath_status recruit(std::int32_t number)
    {
        while (count < number) {
            Worker *worker;
            RETURN_IF_FAILED(allocate(worker, 1));
            new (worker) Worker{{}, workers};
            if (!start(*worker)) {
                worker->~Worker();
                destruct(worker);
                return KMATH_OK;
            }
            workers = worker;
            ++count;
        }
        return KMATH_OK;
    }

    bool start(Worker &worker)
    {
        try {
            worker.thread = std::thread([this, number = count] { live(number); });
        } catch (...) { // no thread or no memory for one
            return false;
        }
        return true;
    }

    void live(std::int32_t number)
    {
        std::unique_lock lock(mutex);
        for (;;) {
            wake.wait(lock,
                      [&] { return ending || (current && number < wanted && current->hasMore()); });
            if (ending)
                return;
            Dispatch &dispatch = *current;
            ++active;
            lock.unlock();
            dispatch.workElsewhere();
            lock.lock();
            if (--active == 0)
                done.notify_one();
        }
    }

    std::mutex mutex; // guards current, wanted, active and ending
    std::condition_variable wake, done;
    Dispatch *current = nullptr; // set until no worker is active in it
    std::int32_t wanted = 0;     // workers that take part in it
    std::int32_t active = 0;     // workers that are at it
    bool ending = false;
    Worker *workers = nullptr;
    std::int32_t count = 0;
};

kmath_status teamOf(ksys_jobThreadGroup &group, Team *&team)
{
    team = static_cast<Team *>(group.workers);
    if (team)
        return KMATH_OK;
    RETURN_IF_FAILED(allocate(team, 1));
    group.workers = new (team) Team;
    return KMATH_OK;
}

// One status for each job; a failure leaves the set as it was.
kmath_status makeRoom(ksys_jobResultSet &results, std::int32_t count)
{
    if (count == results.count)
        return KMATH_OK;
    void *block = results.statuses;
    RETURN_IF_FAILED(ksys_memory_realloc_internal(&block, bytesOf<kmath_status>(count)));
    results = {static_cast<kmath_status *>(block), count};
    return KMATH_OK;
}

kmath_status makeRoomForOneMore(ksys_jobRequestSet &set)
{
    if (set.count < set.capacity)
        return KMATH_OK;
    const std::int64_t capacity = std::min<std::int64_t>(set.capacity * 2LL + 4, INT32_MAX);
    if (set.count >= capacity)
        return KMATH_ERR_NO_MEMORY;
    void *block = set.requests;
    RETURN_IF_FAILED(ksys_memory_realloc_internal(&block, bytesOf<ksys_jobRequest>(capacity)));
    set.requests = static_cast<ksys_jobRequest *>(block);
    set.capacity = static_cast<std::int32_t>(capacity);
    return KMATH_OK;
}

// Empties the holder; what it held is released once, even if that fails.
kmath_status releaseData(ksys_jobParams &params)
{
    ksys_jobParams held = params;
    params = {};
    return held.data && held.release ? held.release(&held.data) : KMATH_OK;
}

} // namespace

KMATH_REPLACEABLE kmath_status ksys_jobThreadGroup_construct(ksys_jobThreadGroup *group)
{
    KMATH_ASSERT(group);
    group->workers = nullptr;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobThreadGroup_destruct(ksys_jobThreadGroup *group)
{
    KMATH_ASSERT(group);
    Team *team = static_cast<Team *>(group->workers);
    if (!team)
        return KMATH_OK;
    group->workers = nullptr;
    team->~Team();
    return destruct(team);
}

KMATH_REPLACEABLE kmath_status ksys_jobThreadGroup_dispatchAndWait(ksys_jobThreadGroup *group,
                                                                   const ksys_jobRequestSet *set,
                                                                   ksys_jobResultSet *results)
{
    KMATH_ASSERT(group && set && results);

    std::int32_t threads = 1;
    RETURN_IF_FAILED(ksys_jobGetCurrentThreadState(&threads, group));
    RETURN_IF_FAILED(makeRoom(*results, set->count));

    Dispatch dispatch(*set, *results);
    const std::int32_t helpers = std::min(threads, set->count) - 1;
    if (helpers <= 0) {
        dispatch.work();
    } else {
        Team *team;
        RETURN_IF_FAILED(teamOf(*group, team));
        RETURN_IF_FAILED(team->serve(dispatch, helpers));
    }
    return dispatch.outcome();
}

KMATH_REPLACEABLE kmath_status ksys_jobParams_construct(ksys_jobParams *params)
{
    KMATH_ASSERT(params);
    *params = {};
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobParams_destruct(ksys_jobParams *params)
{
    KMATH_ASSERT(params);
    return releaseData(*params);
}

KMATH_REPLACEABLE kmath_status ksys_jobParams_takeData(ksys_jobParams *params, void **data,
                                                       kmath_status (*free)(void **data))
{
    KMATH_ASSERT(params && data);
    RETURN_IF_FAILED(releaseData(*params));
    *params = {*data, free};
    *data = nullptr;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobParams_getDataConst(const ksys_jobParams *params,
                                                           const void **data)
{
    KMATH_ASSERT(params && data);
    *data = params->data;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobRequestSet_construct(ksys_jobRequestSet *set)
{
    KMATH_ASSERT(set);
    *set = {};
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobRequestSet_destruct(ksys_jobRequestSet *set)
{
    KMATH_ASSERT(set);
    kmath_status status = KMATH_OK;
    while (set->count > 0) {
        const kmath_status released = releaseData(set->requests[--set->count].params);
        if (!KMATH_IS_FAILURE(status))
            status = released;
    }
    const kmath_status freed = destruct(set->requests);
    set->capacity = 0;
    return KMATH_IS_FAILURE(status) ? status : freed;
}

KMATH_REPLACEABLE kmath_status ksys_jobRequestSet_addFuncAndParams(ksys_jobRequestSet *set,
                                                                   ksys_jobFunc job,
                                                                   ksys_jobParams *params)
{
    KMATH_ASSERT(set && job && params);
    RETURN_IF_FAILED(makeRoomForOneMore(*set));
    set->requests[set->count++] = {job, *params};
    *params = {};
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobResultSet_construct(ksys_jobResultSet *results)
{
    KMATH_ASSERT(results);
    *results = {};
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_jobResultSet_destruct(ksys_jobResultSet *results)
{
    KMATH_ASSERT(results);
    results->count = 0;
    return destruct(results->statuses);
}
