// The vectors of doubles and of flags: the generic vector over elements of plain memory.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/services.hpp"

// Doubles.

KMATH_REPLACEABLE kmath_status kstd_vectord_construct(kstd_vectord *vector)
{
    KMATH_ASSERT(vector);
    return kstd_vector__constructEmpty(&vector->vector, sizeof(double), nullptr);
}

KMATH_REPLACEABLE kmath_status kstd_vectord_constructFill(kstd_vectord *vector, size_t n,
                                                          double value)
{
    KMATH_ASSERT(vector);
    return kstd_vector__constructFill(&vector->vector, sizeof(double), nullptr, n, &value);
}

KMATH_REPLACEABLE kmath_status kstd_vectord_destruct(kstd_vectord *vector)
{
    KMATH_ASSERT(vector);
    return kstd_vector__destruct(&vector->vector);
}

KMATH_REPLACEABLE kmath_status kstd_vectord_resize(kstd_vectord *vector, size_t n)
{
    KMATH_ASSERT(vector);
    return kstd_vector__resize(&vector->vector, n);
}

KMATH_REPLACEABLE kmath_status kstd_vectord_getBegin(const kstd_vectord *vector, double **begin)
{
    KMATH_ASSERT(vector && begin);
    *begin = static_cast<double *>(vector->vector.begin);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vectord_getSize(const kstd_vectord *vector, int32_t *size)
{
    KMATH_ASSERT(vector && size);
    return kstd_vector__getSize(&vector->vector, size);
}

// Flags.

KMATH_REPLACEABLE kmath_status kstd_vectorb_construct(kstd_vectorb *vector)
{
    KMATH_ASSERT(vector);
    return kstd_vector__constructEmpty(&vector->vector, sizeof(int32_t), nullptr);
}

KMATH_REPLACEABLE kmath_status kstd_vectorb_constructFill(kstd_vectorb *vector, size_t n,
                                                          int32_t value)
{
    KMATH_ASSERT(vector);
    return kstd_vector__constructFill(&vector->vector, sizeof(int32_t), nullptr, n, &value);
}

KMATH_REPLACEABLE kmath_status kstd_vectorb_destruct(kstd_vectorb *vector)
{
    KMATH_ASSERT(vector);
    return kstd_vector__destruct(&vector->vector);
}

KMATH_REPLACEABLE kmath_status kstd_vectorb_resize(kstd_vectorb *vector, size_t n)
{
    KMATH_ASSERT(vector);
    return kstd_vector__resize(&vector->vector, n);
}

KMATH_REPLACEABLE kmath_status kstd_vectorb_getBegin(const kstd_vectorb *vector, int32_t **begin)
{
    KMATH_ASSERT(vector && begin);
    *begin = static_cast<int32_t *>(vector->vector.begin);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vectorb_getSize(const kstd_vectorb *vector, int32_t *size)
{
    KMATH_ASSERT(vector && size);
    return kstd_vector__getSize(&vector->vector, size);
}
