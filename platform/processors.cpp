// The processors that this process may use: its affinity, cut down by the quotas of its control
// groups in either version of their hierarchy. Plain system calls over buffers on the stack.
#include "platform/processors.hpp"

#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/services.hpp"

#include <algorithm>
#include <thread>

#if defined(__linux__)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>
#endif

namespace
{

constexpr std::int32_t unlimited = INT32_MAX;

#if defined(__linux__)

constexpr std::size_t textSize = 8192;
constexpr std::size_t pathSize = 4096;

bool readText(const char *path, char (&text)[textSize])
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    std::size_t length = 0;
    for (ssize_t n = 1; n > 0 && length + 1 < textSize;) {
        n = read(file, text + length, textSize - 1 - length);
        length += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    close(file);
    text[length] = '\0';
    return length > 0;
}

bool readGroupFile(const char *directory, const char *group, const char *name,
                   char (&text)[textSize])
{
    char path[pathSize];
    const int length = std::snprintf(path, sizeof path, "%s%s/%s", directory, group, name);
    return length > 0 && static_cast<std::size_t>(length) < sizeof path && readText(path, text);
}

// Microseconds of processor time within each period; anything but two positive numbers is no limit.
std::int32_t processorsFor(long long quota, long long period)
{
    if (quota <= 0 || period <= 0)
        return unlimited;
    const long long whole = quota / period + (quota % period != 0);
    return static_cast<std::int32_t>(std::min<long long>(whole, unlimited));
}

// Version 2: one file of "quota period", where the quota may be the word max.
std::int32_t unifiedQuota(const char *directory, const char *group)
{
    char text[textSize];
    if (!readGroupFile(directory, group, "cpu.max", text))
        return unlimited;
    char *behindQuota;
    const long long quota = std::strtoll(text, &behindQuota, 10);
    return processorsFor(quota, std::strtoll(behindQuota, nullptr, 10));
}

// Version 1: a file each, where a quota of −1 is none.
std::int32_t controllerQuota(const char *directory, const char *group)
{
    char quota[textSize], period[textSize];
    if (!readGroupFile(directory, group, "cpu.cfs_quota_us", quota) ||
        !readGroupFile(directory, group, "cpu.cfs_period_us", period))
        return unlimited;
    return processorsFor(std::strtoll(quota, nullptr, 10), std::strtoll(period, nullptr, 10));
}

// The tightest quota from a group up to the root, which inside a container may be all that shows.
// The group's name is consumed.
std::int32_t quotaUpwards(std::int32_t (*quotaOf)(const char *, const char *),
                          const char *directory, char *group)
{
    std::int32_t least = unlimited;
    for (;;) {
        const std::size_t length = std::strlen(group);
        if (length > 0 && group[length - 1] == '/')
            group[length - 1] = '\0';
        least = std::min(least, quotaOf(directory, group));
        char *parent = std::strrchr(group, '/');
        if (!parent)
            return least;
        *parent = '\0';
    }
}

bool namesController(const char *controllers, const char *name)
{
    const std::size_t length = std::strlen(name);
    for (const char *each = controllers; each; each = std::strchr(each, ',')) {
        each += *each == ',';
        if (std::strncmp(each, name, length) == 0 && (each[length] == ',' || each[length] == '\0'))
            return true;
    }
    return false;
}

// One line of the membership file: number:controllers:group.
std::int32_t quotaOfLine(char *line, const char *hierarchy)
{
    char *controllers = std::strchr(line, ':');
    char *group = controllers ? std::strchr(controllers + 1, ':') : nullptr;
    if (!group)
        return unlimited;
    *controllers++ = '\0';
    *group++ = '\0';

    if (*controllers == '\0')
        return quotaUpwards(unifiedQuota, hierarchy, group);
    if (!namesController(controllers, "cpu"))
        return unlimited;
    char directory[pathSize];
    const int length = std::snprintf(directory, sizeof directory, "%s/cpu", hierarchy);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof directory)
        return unlimited;
    return quotaUpwards(controllerQuota, directory, group);
}

std::int32_t processorsOfAffinity()
{
    cpu_set_t sets[8];
    if (sched_getaffinity(0, sizeof sets, sets) != 0)
        return static_cast<std::int32_t>(std::thread::hardware_concurrency());
    return CPU_COUNT_S(sizeof sets, sets);
}

std::int32_t usableProcessors()
{
    return std::min(processorsOfAffinity(),
                    kmath::processorsWithinQuota("/proc/self/cgroup", "/sys/fs/cgroup"));
}

#else

std::int32_t usableProcessors()
{
    return static_cast<std::int32_t>(std::thread::hardware_concurrency());
}

#endif

} // namespace

std::int32_t kmath::processorsWithinQuota([[maybe_unused]] const char *membership,
                                          [[maybe_unused]] const char *hierarchy)
{
    std::int32_t least = unlimited;
#if defined(__linux__)
    char text[textSize];
    if (!readText(membership, text))
        return unlimited;
    for (char *line = text; line;) {
        char *next = std::strchr(line, '\n');
        if (next)
            *next++ = '\0';
        least = std::min(least, quotaOfLine(line, hierarchy));
        line = next;
    }
#endif
    return least;
}

KMATH_REPLACEABLE kmath_status ksys_jobGetCurrentThreadState(int32_t *threads,
                                                             const ksys_jobThreadGroup *group)
{
    KMATH_ASSERT(threads && group);
    *threads = std::max(1, usableProcessors());
    return KMATH_OK;
}
