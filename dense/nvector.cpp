// The n-vector: a cleared block of n + 1 doubles. The spare element lets its users count from 1.
#include <kmath/nmmatrix.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

using namespace kmath;

namespace
{

std::int64_t blockLength(const kmath_nvector &vector) { return std::int64_t{vector.n} + 1; }

// True for a length whose allocation failed.
bool hasLostStorage(const kmath_nvector &vector) { return vector.n > 0 && !vector.data; }

} // namespace

kmath_status kmath_nvector_construct(kmath_nvector *vector)
{
    KMATH_ASSERT_LINE(68, vector);
    vector->data = nullptr;
    vector->n = 0;
    return KMATH_OK;
}

kmath_status kmath_nvector_destruct(kmath_nvector *vector)
{
    KMATH_ASSERT_LINE(99, vector);
    if (vector->data)
        destruct(vector->data);
    vector->data = nullptr;
    vector->n = 0;
    return KMATH_OK;
}

kmath_status kmath_nvector_resize(kmath_nvector *vector, int32_t n)
{
    KMATH_ASSERT_LINE(80, vector);
    if (n == vector->n && !hasLostStorage(*vector))
        return KMATH_OK;

    RETURN_IF_FAILED(kmath_nvector_destruct(vector));
    // Deliberate: the length is stored before it is judged, so a refused one stays in the vector,
    // negative or without its block.
    vector->n = n;
    if (n < 0)
        return KMATH_ERR_BAD_DIMENSIONS;
    return n == 0 ? KMATH_OK : allocateClear(vector->data, blockLength(*vector));
}

kmath_status kmath_nvector_assign(kmath_nvector *destination, const kmath_nvector *source)
{
    KMATH_ASSERT_LINE(114, destination && source);
    if (destination == source)
        return KMATH_OK;
    if (hasLostStorage(*source))
        return KMATH_ERR_NO_MEMORY;
    RETURN_IF_FAILED(kmath_nvector_resize(destination, source->n));
    if (destination->n < 1)
        return KMATH_OK;
    return ksys_memory_copy(destination->data, source->data, bytesOf<double>(blockLength(*source)));
}
