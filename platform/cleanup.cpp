// The clean-up stack: destructs what a function has built, last built first.
#include <kmath/platform.h>

#include "platform/services.hpp"

// The list of entries travels with each call, so the default stack needs no tag to tell calls
// apart.
KMATH_REPLACEABLE uint32_t ksys_cleanup_getNextTag(void) { return 0; }

KMATH_REPLACEABLE kmath_status ksys_cleanupExecute_(ksys_cleanupEntry *entries, int32_t *count,
                                                    kmath_status *status, uint32_t)
{
    const bool failed = KMATH_IS_FAILURE(*status);
    while (*count > 0) {
        const ksys_cleanupEntry &entry = entries[--*count];
        if (entry.kind == KSYS_CLEANUP_ON_FAILURE && !failed)
            continue;
        const kmath_status released = entry.destruct(entry.object);
        if (KMATH_IS_FAILURE(released) && !KMATH_IS_FAILURE(*status))
            *status = released;
    }
    return *status;
}
