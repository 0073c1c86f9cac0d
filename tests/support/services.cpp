#include "support/services.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include <mutex>
#include <thread>
#include <utility>

namespace
{

std::mutex hookMutex;
bool recording = false;
thread_local bool throwing = false;
std::vector<std::int32_t> recorded;

std::atomic<std::int64_t> live{0};
std::atomic<std::int64_t> taken{0};
std::atomic<std::int64_t> untilFailure{-1};
std::atomic<bool> failed{false};
std::atomic<std::size_t> requested{0};

std::atomic<kmath_status> copyAnswer{KMATH_OK};
std::atomic<int> failingCopy{-1}; // −1 for all
std::atomic<int> copies{0};
std::atomic<std::size_t> copied{0};

constexpr std::int32_t machine = -1; // no ThreadCount lives: as many as the machine has
std::atomic<std::int32_t> threadCount{machine};

// Of the thread that watches alone; the services answer others as ever.
thread_local int failingFill = -1;
thread_local kmath_status fillAnswer = KMATH_OK;
thread_local std::vector<std::size_t> *fills = nullptr;
thread_local const std::vector<kmath_status> *releaseAnswers = nullptr;
thread_local std::size_t releases = 0;

bool refuse(std::size_t bytes)
{
    requested = bytes;
    if (bytes > PTRDIFF_MAX)
        return true;
    if (untilFailure.load() < 0 || untilFailure.fetch_sub(1) != 0)
        return false;
    failed = true;
    return true;
}

kmath_status take(void **block, std::size_t bytes, bool clear)
{
    *block = nullptr;
    if (bytes == 0)
        return KMATH_OK;
    if (refuse(bytes))
        return KMATH_ERR_NO_MEMORY;
    *block = clear ? std::calloc(bytes, 1) : std::malloc(bytes);
    if (!*block)
        return KMATH_ERR_NO_MEMORY;
    if (!clear) // fresh memory that is read before it is written shows up as NaN
        std::memset(*block, 0xFF, std::min<std::size_t>(bytes, 1 << 20));
    ++live;
    ++taken;
    return KMATH_OK;
}

} // namespace

void kstd_assert_(std::int32_t line)
{
    if (throwing)
        throw support::Asserted{line};
    const std::lock_guard lock(hookMutex);
    if (recording)
        recorded.push_back(line);
}

kmath_status ksys_memory_alloc_internal(void **block, std::size_t bytes)
{
    return take(block, bytes, false);
}

kmath_status ksys_memory_allocClear_internal(void **block, std::size_t bytes)
{
    return take(block, bytes, true);
}

kmath_status ksys_memory_copy(void *to, const void *from, std::size_t bytes)
{
    const int number = copies++;
    copied = bytes;
    if (KMATH_IS_FAILURE(copyAnswer.load()) && (failingCopy == -1 || failingCopy == number))
        return copyAnswer;
    if (bytes != 0)
        std::memmove(to, from, bytes);
    return KMATH_OK;
}

kmath_status ksys_memory_fill(void *to, std::int32_t byte, std::size_t bytes)
{
    if (fills) {
        fills->push_back(bytes);
        if (static_cast<int>(fills->size()) - 1 == failingFill)
            return fillAnswer;
    }
    if (bytes != 0)
        std::memset(to, byte, bytes);
    return KMATH_OK;
}

kmath_status ksys_memory_realloc_internal(void **block, std::size_t bytes)
{
    if (bytes == 0)
        return ksys_memory_free_internal(block);
    if (refuse(bytes))
        return KMATH_ERR_NO_MEMORY;
    void *memory = std::malloc(bytes); // always elsewhere, so that no old address survives
    if (!memory)
        return KMATH_ERR_NO_MEMORY;
    const std::size_t kept = *block ? std::min(bytes, malloc_usable_size(*block)) : 0;
    std::memset(memory, 0xFF, std::min<std::size_t>(bytes, 1 << 20));
    if (kept > 0)
        std::memcpy(memory, *block, kept);
    if (!*block)
        ++live;
    ++taken;
    std::free(*block);
    *block = memory;
    return KMATH_OK;
}

kmath_status ksys_memory_free_internal(void **block)
{
    if (*block)
        --live;
    std::free(*block);
    *block = nullptr;
    if (releaseAnswers && releases < releaseAnswers->size())
        return (*releaseAnswers)[releases++];
    return KMATH_OK;
}

kmath_status ksys_jobGetCurrentThreadState(std::int32_t *threads, const ksys_jobThreadGroup *)
{
    *threads = threadCount != machine
                   ? threadCount.load()
                   : static_cast<std::int32_t>(std::max(1u, std::thread::hardware_concurrency()));
    return KMATH_OK;
}

namespace support
{

AssertionRecorder::AssertionRecorder()
{
    const std::lock_guard lock(hookMutex);
    recorded.clear();
    recording = true;
}

AssertionRecorder::~AssertionRecorder()
{
    const std::lock_guard lock(hookMutex);
    recording = false;
}

std::vector<std::int32_t> AssertionRecorder::lines() const
{
    const std::lock_guard lock(hookMutex);
    return recorded;
}

std::int32_t assertedLine(const std::function<void()> &body)
{
    struct Arm {
        Arm() { throwing = true; }
        ~Arm() { throwing = false; }
    } const arm;
    try {
        body();
    } catch (const Asserted &asserted) {
        return asserted.line;
    }
    return 0;
}

std::int64_t liveBlocks() { return live; }

std::int64_t allocationCount() { return taken; }

std::size_t lastRequest() { return requested; }

void failAllocation(std::int64_t number)
{
    failed = false;
    untilFailure = number;
}

bool allocationHasFailed() { return failed; }

void sweepAllocationFailures(const std::function<void(bool)> &judge,
                             const std::function<void()> &body)
{
    constexpr std::int64_t most = 100000;
    for (std::int64_t number = 0; number < most; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number << " fails");
        const std::int64_t before = liveBlocks();
        const struct Arm {
            ~Arm() { failAllocation(-1); }
        } disarmedAfterwards;
        failAllocation(number);
        body();
        const bool hasFailed = allocationHasFailed();
        failAllocation(-1);
        judge(hasFailed);
        EXPECT_EQ(liveBlocks(), before) << "leaked";
        if (!hasFailed)
            return;
        if (testing::Test::HasFailure())
            return;
    }
    ADD_FAILURE() << "still allocating after " << most << " failures";
}

void sweepAllocationFailures(const std::function<kmath_status()> &body)
{
    kmath_status status = KMATH_OK;
    sweepAllocationFailures(
        [&](bool hasFailed) { EXPECT_EQ(status, hasFailed ? KMATH_ERR_NO_MEMORY : KMATH_OK); },
        [&] { status = body(); });
}

CopyWatch::CopyWatch(kmath_status answer, int failing)
{
    copyAnswer = answer;
    failingCopy = failing;
    copies = 0;
}

CopyWatch::~CopyWatch() { copyAnswer = KMATH_OK; }

int CopyWatch::calls() const { return copies; }

std::size_t CopyWatch::lastBytes() const { return copied; }

FillWatch::FillWatch(int failing, kmath_status answer)
{
    failingFill = failing;
    fillAnswer = answer;
    fills = new std::vector<std::size_t>;
}

FillWatch::~FillWatch()
{
    delete fills;
    fills = nullptr;
}

std::vector<std::size_t> FillWatch::bytes() const { return *fills; }

ReleaseAnswers::ReleaseAnswers(std::vector<kmath_status> answers)
{
    releaseAnswers = new std::vector<kmath_status>(std::move(answers));
    releases = 0;
}

ReleaseAnswers::~ReleaseAnswers()
{
    delete releaseAnswers;
    releaseAnswers = nullptr;
}

ThreadCount::ThreadCount(std::int32_t threads) { threadCount = threads; }

ThreadCount::~ThreadCount() { threadCount = machine; }

} // namespace support

// The sanitizers stop at an allocation that cannot be had unless they are told that this is wanted.
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char *__tsan_default_options() { return "allocator_may_return_null=1"; }
