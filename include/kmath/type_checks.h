/**
 * @file
 * Type checks: functions without an effect, so that a caller who mistakes one type
 * for another does not compile.
 *
 * Each of the types in KSYS_CHECKED_TYPES has six that take a pointer or a function,
 * which may be null and is not looked at, and a seventh that calls them all with
 * null. They return KMATH_OK.
 *
 * | function for a type X                | argument                  |
 * | ------------------------------------ | ------------------------- |
 * | `ksys_typeCheck_X`                   | `const X *`               |
 * | `ksys_typeCheckPtr_X`                | `X **`                    |
 * | `ksys_typeCheckFunc_X`               | `X *(*)(void)`            |
 * | `ksys_typeCheckFuncPtr_X`            | `X **(*)(void)`           |
 * | `ksys_typeCheckFuncStatus_X`         | `kmath_status (*)(X *)`   |
 * | `ksys_typeCheckFuncStatusPtr_X`      | `kmath_status (*)(X **)`  |
 * | `ksys_typeCheck_X_X__unused__`       | none                      |
 */
#ifndef KMATH_TYPE_CHECKS_H
#define KMATH_TYPE_CHECKS_H

#include <kmath/status.h>

/** Every checked type once, as the argument of the given macro. */
#define KSYS_CHECKED_TYPES(CHECK)                                                                  \
    CHECK(kmath_nmmatrix)                                                                          \
    CHECK(kmath_nvector)                                                                           \
    CHECK(kmath_snmmatrix)                                                                         \
    CHECK(kmath_levmarqsolve)                                                                      \
    CHECK(kstd_vector_kmath_vect3)                                                                 \
    CHECK(kstd_vector_kmath_vect3F)                                                                \
    CHECK(kstd_vector_kmath_vect4)                                                                 \
    CHECK(kstd_vector_kmath_vect6F)                                                                \
    CHECK(kstd_vector_kmath_xform3Linear)                                                          \
    CHECK(kstd_vector_kmath_nmmatrix)                                                              \
    CHECK(kstd_vector_vector_kmath_vect3)                                                          \
    CHECK(kstd_vector_vector_kmath_vect3F)                                                         \
    CHECK(kstd_vector_vector_kmath_xform3Linear)                                                   \
    CHECK(kstd_vector_vector_vector_kmath_vect3)                                                   \
    CHECK(kstd_vector_vector_vector_vector_kmath_vect3)                                            \
    CHECK(kstd_vector_kmath_vect3Shareable)                                                        \
    CHECK(kstd_vector_kmath_vect3FShareable)                                                       \
    CHECK(kstd_vector_kmath_vect4Shareable)                                                        \
    CHECK(kstd_vector_kmath_vect6FShareable)                                                       \
    CHECK(kstd_vector_kmath_xform3LinearShareable)                                                 \
    CHECK(kstd_vector_kmath_nmmatrixShareable)                                                     \
    CHECK(kstd_vector_vector_kmath_vect3Shareable)                                                 \
    CHECK(kstd_vector_vector_kmath_vect3FShareable)                                                \
    CHECK(kstd_vector_vector_kmath_xform3LinearShareable)                                          \
    CHECK(kstd_vector_vector_vector_kmath_vect3Shareable)                                          \
    CHECK(kstd_vector_vector_vector_vector_kmath_vect3Shareable)

/** Declares the seven checks of a type. */
#define KSYS_TYPE_CHECKS(X)                                                                        \
    typedef struct X X;                                                                            \
    KMATH_API kmath_status ksys_typeCheck_##X(const X *value);                                     \
    KMATH_API kmath_status ksys_typeCheckPtr_##X(X **pointer);                                     \
    KMATH_API kmath_status ksys_typeCheckFunc_##X(X *(*function)(void));                           \
    KMATH_API kmath_status ksys_typeCheckFuncPtr_##X(X **(*function)(void));                       \
    KMATH_API kmath_status ksys_typeCheckFuncStatus_##X(kmath_status (*function)(X *));            \
    KMATH_API kmath_status ksys_typeCheckFuncStatusPtr_##X(kmath_status (*function)(X **));        \
    KMATH_API kmath_status ksys_typeCheck_##X##_##X##__unused__(void);

#ifdef __cplusplus
extern "C" {
#endif

KSYS_CHECKED_TYPES(KSYS_TYPE_CHECKS)

#ifdef __cplusplus
}
#endif

#endif
