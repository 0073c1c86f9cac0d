// How many processors the control groups of a process leave it.
#pragma once

#include <cstdint>

namespace kmath
{

/// Processors that the quotas of the control groups and of their parents allow, rounded up and at
/// least 1; INT32_MAX where no quota is set or none can be read.
///
/// @param membership file that names the groups, like /proc/self/cgroup
/// @param hierarchy  directory where the groups are mounted, like /sys/fs/cgroup
std::int32_t processorsWithinQuota(const char *membership, const char *hierarchy);

} // namespace kmath
