#include "status.h"

const char *statusName(kmath_status status)
{
    switch (status) {
    case KMATH_OK:
        return "KMATH_OK";
    case KMATH_ERR_FAILED:
        return "KMATH_ERR_FAILED";
    case KMATH_ERR_BAD_DIMENSIONS:
        return "KMATH_ERR_BAD_DIMENSIONS";
    case KMATH_ERR_SINGULAR:
        return "KMATH_ERR_SINGULAR";
    case KMATH_ERR_ALIASED:
        return "KMATH_ERR_ALIASED";
    case KMATH_ERR_NEGATIVE_COUNT:
        return "KMATH_ERR_NEGATIVE_COUNT";
    case KMATH_ERR_LEFT_HANDED:
        return "KMATH_ERR_LEFT_HANDED";
    case KMATH_ERR_ZERO_LENGTH:
        return "KMATH_ERR_ZERO_LENGTH";
    case KMATH_ERR_NEGATIVE_SIZE:
        return "KMATH_ERR_NEGATIVE_SIZE";
    case KMATH_ERR_NO_MEMORY:
        return "KMATH_ERR_NO_MEMORY";
    case KMATH_ERR_NOT_ROTATION:
        return "KMATH_ERR_NOT_ROTATION";
    case KMATH_ERR_DIVIDE_BY_ZERO:
        return "KMATH_ERR_DIVIDE_BY_ZERO";
    default:
        return "a status without a name";
    }
}
