/* A host's own services: they must win over the library's. */
#include <kmath/platform.h>

#include <stdlib.h>

int assertedLine;
int takenBlocks;

void kstd_assert_(int32_t line)
{
    assertedLine = line;
}

kmath_status ksys_memory_allocClear_internal(void **block, size_t bytes)
{
    *block = calloc(bytes, 1);
    ++takenBlocks;
    return *block ? KMATH_OK : KMATH_ERR_NO_MEMORY;
}
