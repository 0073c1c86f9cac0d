// The memory services, over the C library's allocator.
//
// A request for no bytes yields a null block. A request above PTRDIFF_MAX, which no pointer
// difference could span, is refused without asking.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/services.hpp"

#include <cstdlib>
#include <cstring>

namespace
{

kmath_status hold(void **block, void *memory, size_t bytes)
{
    *block = memory;
    return memory || bytes == 0 ? KMATH_OK : KMATH_ERR_NO_MEMORY;
}

bool isRefused(size_t bytes) { return bytes > PTRDIFF_MAX; }

} // namespace

KMATH_REPLACEABLE kmath_status ksys_memory_alloc_internal(void **block, size_t bytes)
{
    KMATH_ASSERT(block);
    return hold(block, bytes == 0 || isRefused(bytes) ? nullptr : std::malloc(bytes), bytes);
}

KMATH_REPLACEABLE kmath_status ksys_memory_allocClear_internal(void **block, size_t bytes)
{
    KMATH_ASSERT(block);
    return hold(block, bytes == 0 || isRefused(bytes) ? nullptr : std::calloc(bytes, 1), bytes);
}

KMATH_REPLACEABLE kmath_status ksys_memory_realloc_internal(void **block, size_t bytes)
{
    KMATH_ASSERT(block);
    if (bytes == 0)
        return ksys_memory_free_internal(block);
    void *memory = isRefused(bytes) ? nullptr : std::realloc(*block, bytes);
    if (!memory)
        return KMATH_ERR_NO_MEMORY; // the old block stays as it was
    *block = memory;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_memory_free_internal(void **block)
{
    KMATH_ASSERT(block);
    std::free(*block);
    *block = nullptr;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_memory_copy(void *to, const void *from, size_t bytes)
{
    KMATH_ASSERT((to && from) || bytes == 0);
    if (bytes != 0)
        std::memmove(to, from, bytes);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status ksys_memory_fill(void *to, int32_t byte, size_t bytes)
{
    KMATH_ASSERT(to || bytes == 0);
    if (bytes != 0)
        std::memset(to, byte, bytes);
    return KMATH_OK;
}
