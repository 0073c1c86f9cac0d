/* A host's own services: they must win over the library's. */
#include <kmath/platform.h>

#include <stdlib.h>

int assertedLine;
int takenBlocks;
int blocksToRefuse;

void kstd_assert_(int32_t line) { assertedLine = line; }

kmath_status ksys_memory_allocClear_internal(void **block, size_t bytes)
{
    *block = blocksToRefuse-- > 0 ? NULL : calloc(bytes, 1);
    ++takenBlocks;
    return *block ? KMATH_OK : KMATH_ERR_NO_MEMORY;
}

/* A clean-up stack that tells calls apart by their tags and remembers what it was handed last. */
uint32_t lastTag;
int tagsThatWereNotTaken;
int entryCount;
ksys_cleanupEntry lastEntry;

uint32_t ksys_cleanup_getNextTag(void) { return ++lastTag; }

kmath_status ksys_cleanupExecute_(ksys_cleanupEntry *entries, int32_t *count, kmath_status *status,
                                  uint32_t tag)
{
    tagsThatWereNotTaken += tag == 0 || tag > lastTag;
    entryCount = *count;
    lastEntry = entries[0];
    while (*count > 0) {
        ksys_cleanupEntry *entry = &entries[--*count];
        if (entry->kind != KSYS_CLEANUP_ON_FAILURE || KMATH_IS_FAILURE(*status))
            entry->destruct(entry->object);
    }
    return *status;
}
