// Processor time of what a benchmark compares with, in the process of the benchmark itself.
#pragma once

#include <cstdint>
#include <ctime>

inline double secondsSince(std::clock_t start)
{
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Time of one call, over a hundredth of a second or more.
template <class Call> double timeOf(Call call)
{
    for (std::int64_t calls = 1;; calls *= 2) {
        const std::clock_t start = std::clock();
        for (std::int64_t i = 0; i < calls; ++i)
            call();
        const double elapsed = secondsSince(start);
        if (elapsed > 0.01)
            return elapsed / static_cast<double>(calls);
    }
}
