// The clean-up stack: destructs what a function has built, last built first.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/services.hpp"

namespace
{

// A failure of a destructor becomes the function's own unless that has failed already.
void release(const ksys_cleanupEntry &entry, kmath_status &status)
{
    const kmath_status released = entry.destruct(entry.object);
    if (KMATH_IS_FAILURE(released) && !KMATH_IS_FAILURE(status))
        status = released;
}

} // namespace

// The list of entries travels with each call, so the default stack needs no tag to tell calls
// apart.
KMATH_REPLACEABLE uint32_t ksys_cleanup_getNextTag(void) { return 0; }

KMATH_REPLACEABLE kmath_status ksys_cleanupExecute_(ksys_cleanupEntry *entries, int32_t *count,
                                                    kmath_status *status, uint32_t)
{
    KMATH_ASSERT(entries && count && status);
    int32_t kept = 0; // what only a failure undoes, moved to the far end of the walked part
    const int32_t all = *count;
    while (*count > 0) {
        const ksys_cleanupEntry entry = entries[--*count];
        if (entry.kind == KSYS_CLEANUP_ON_FAILURE && !KMATH_IS_FAILURE(*status))
            entries[all - ++kept] = entry;
        else
            release(entry, *status);
    }
    // A destructor that failed on the way makes the function fail, and what was kept goes too.
    for (int32_t i = 1; i <= kept && KMATH_IS_FAILURE(*status); ++i)
        release(entries[all - i], *status);
    return *status;
}
