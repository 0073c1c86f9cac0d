// The type checks. That a body compiles where the type's own header is seen is all there is to it.
#include <kmath/containers.h>
#include <kmath/snmmatrix.h>
#include <kmath/solvers.h>
#include <kmath/type_checks.h>

#include "platform/check.hpp"

#define BODIES(X)                                                                                  \
    static_assert(sizeof(X) > 0);                                                                  \
    kmath_status ksys_typeCheck_##X(const X *) { return KMATH_OK; }                                \
    kmath_status ksys_typeCheckPtr_##X(X **) { return KMATH_OK; }                                  \
    kmath_status ksys_typeCheckFunc_##X(X *(*)(void)) { return KMATH_OK; }                         \
    kmath_status ksys_typeCheckFuncPtr_##X(X **(*)(void)) { return KMATH_OK; }                     \
    kmath_status ksys_typeCheckFuncStatus_##X(kmath_status (*)(X *)) { return KMATH_OK; }          \
    kmath_status ksys_typeCheckFuncStatusPtr_##X(kmath_status (*)(X **)) { return KMATH_OK; }      \
    kmath_status ksys_typeCheck_##X##_##X##__unused__(void)                                        \
    {                                                                                              \
        RETURN_IF_FAILED(ksys_typeCheck_##X(nullptr));                                             \
        RETURN_IF_FAILED(ksys_typeCheckPtr_##X(nullptr));                                          \
        RETURN_IF_FAILED(ksys_typeCheckFunc_##X(nullptr));                                         \
        RETURN_IF_FAILED(ksys_typeCheckFuncPtr_##X(nullptr));                                      \
        RETURN_IF_FAILED(ksys_typeCheckFuncStatus_##X(nullptr));                                   \
        return ksys_typeCheckFuncStatusPtr_##X(nullptr);                                           \
    }

KSYS_CHECKED_TYPES(BODIES)
