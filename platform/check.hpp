// Checks at the head of a function and the way out of its failing steps.
#pragma once

#include <kmath/platform.h>
#include <kmath/status.h>

/// Reports the number to the assertion hook unless the condition holds, and carries on.
#define KMATH_ASSERT_LINE(line, condition)                                                         \
    do {                                                                                           \
        if (!(condition))                                                                          \
            kstd_assert_(line);                                                                    \
    } while (0)

/// The same with the number of its own line.
#define KMATH_ASSERT(condition) KMATH_ASSERT_LINE(__LINE__, condition)

/// A step that may fail, where no clean-up frame is open.
#define RETURN_IF_FAILED(step)                                                                     \
    do {                                                                                           \
        const kmath_status status_ = (step);                                                       \
        if (KMATH_IS_FAILURE(status_))                                                             \
            return status_;                                                                        \
    } while (0)

/// A step that may fail, under the clean-up frame named `frame`.
#define TRY(step)                                                                                  \
    do {                                                                                           \
        const kmath_status status_ = (step);                                                       \
        if (KMATH_IS_FAILURE(status_))                                                             \
            return frame.leave(status_);                                                           \
    } while (0)
