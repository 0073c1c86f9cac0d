// The services as the tests define them: an assertion hook that records, and an allocator that
// counts and can be told to fail. Linked into every unit test, they replace the library's own.
#pragma once

#include <kmath/platform.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace support
{

/// Records the lines reported to the assertion hook while it lives.
class AssertionRecorder
{
  public:
    AssertionRecorder();
    ~AssertionRecorder();
    AssertionRecorder(const AssertionRecorder &) = delete;
    AssertionRecorder &operator=(const AssertionRecorder &) = delete;

    /// All lines in the order in which they were reported.
    std::vector<std::int32_t> lines() const;
};

/// What the hook throws when it is armed.
struct Asserted {
    std::int32_t line;
};

/// Runs the body with a hook that throws, and gives the line that it reported; 0 if it did not.
/// After a null assertion a function goes on into its caller's own fault, so tests of null
/// arguments leave it this way.
std::int32_t assertedLine(const std::function<void()> &body);

/// Blocks that were taken and not yet given back, over the whole process.
std::int64_t liveBlocks();

/// Blocks that were taken since the process began.
std::int64_t allocationCount();

/// Allocations that the body makes.
template <class Body> std::int64_t allocationsOf(Body &&body)
{
    const std::int64_t before = allocationCount();
    body();
    return allocationCount() - before;
}

/// Bytes that were last asked for, granted or not.
std::size_t lastRequest();

/// Fails the allocation with the given number from now on, counted from 0; −1 for none.
void failAllocation(std::int64_t number);

/// True when the failure that was asked for has happened.
bool allocationHasFailed();

/// Fails allocation 0, 1, 2 … of the body, each in a run of its own, until a run needs no more.
/// Every failing run must return KMATH_ERR_NO_MEMORY, and no run may leak. The body constructs and
/// destructs what it uses and returns the status of the call under test.
void sweepAllocationFailures(const std::function<kmath_status()> &body);

/// The same for a call with a fallback: the body judges each run itself, failed or not.
void sweepAllocationFailures(const std::function<void(bool failed)> &judge,
                             const std::function<void()> &body);

/// Watches ksys_memory_copy while it lives. With a failure to answer, nothing is copied: at any
/// call, or at the one with the given number, counted from 0.
class CopyWatch
{
  public:
    explicit CopyWatch(kmath_status answer = KMATH_OK, int failing = -1);
    ~CopyWatch();
    CopyWatch(const CopyWatch &) = delete;
    CopyWatch &operator=(const CopyWatch &) = delete;

    int calls() const;
    std::size_t lastBytes() const;
};

/// Watches ksys_memory_fill while it lives, and lets the call with the given number, counted from
/// 0, fail with the answer and fill nothing; −1 for none.
class FillWatch
{
  public:
    explicit FillWatch(int failing = -1, kmath_status answer = KMATH_ERR_FAILED);
    ~FillWatch();
    FillWatch(const FillWatch &) = delete;
    FillWatch &operator=(const FillWatch &) = delete;

    /// Bytes of each call so far.
    std::vector<std::size_t> bytes() const;
};

/// Lets ksys_memory_free_internal answer from a list while it lives, call by call, and KMATH_OK
/// after its end. The blocks are given back all the same.
class ReleaseAnswers
{
  public:
    explicit ReleaseAnswers(std::vector<kmath_status> answers);
    ~ReleaseAnswers();
    ReleaseAnswers(const ReleaseAnswers &) = delete;
    ReleaseAnswers &operator=(const ReleaseAnswers &) = delete;
};

/// Makes ksys_jobGetCurrentThreadState answer the count while it lives.
class ThreadCount
{
  public:
    explicit ThreadCount(std::int32_t threads);
    ~ThreadCount();
    ThreadCount(const ThreadCount &) = delete;
    ThreadCount &operator=(const ThreadCount &) = delete;
};

} // namespace support
