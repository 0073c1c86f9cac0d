#define _POSIX_C_SOURCE 200809L

#include "clock.h"

#include <time.h>

double now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + 1e-9 * (double)time.tv_nsec;
}
