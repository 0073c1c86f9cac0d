// The type checks: seven functions a type that do nothing, whatever they are
// given, and do not compile for another type.
#include <kmath/kmath.h>

#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

namespace
{

int called = 0;
template <class X> X *value()
{
    ++called;
    return nullptr;
}
template <class X> X **pointer()
{
    ++called;
    return nullptr;
}
template <class X> kmath_status status(X *)
{
    ++called;
    return KMATH_ERR_FAILED;
}

struct Other;

#define CHECKED(X)                                                                                 \
    static_assert(std::is_invocable_v<decltype(ksys_typeCheck_##X), const X *>);                   \
    static_assert(!std::is_invocable_v<decltype(ksys_typeCheck_##X), const Other *>);              \
    static_assert(!std::is_invocable_v<decltype(ksys_typeCheckPtr_##X), Other **>);                \
    static_assert(!std::is_invocable_v<decltype(ksys_typeCheckFunc_##X), Other *(*)()>);           \
    static_assert(!std::is_invocable_v<decltype(ksys_typeCheckFuncPtr_##X), Other **(*)()>);       \
    static_assert(                                                                                 \
        !std::is_invocable_v<decltype(ksys_typeCheckFuncStatus_##X), kmath_status (*)(Other *)>);  \
    static_assert(!std::is_invocable_v<decltype(ksys_typeCheckFuncStatusPtr_##X),                  \
                                       kmath_status (*)(Other **)>);                               \
                                                                                                   \
    TEST(TypeChecks, DoNothing_##X)                                                                \
    {                                                                                              \
        const support::AssertionRecorder recorder;                                                 \
        const std::int64_t before = support::allocationCount();                                    \
        EXPECT_EQ(ksys_typeCheck_##X(nullptr), KMATH_OK);                                          \
        EXPECT_EQ(ksys_typeCheckPtr_##X(nullptr), KMATH_OK);                                       \
        EXPECT_EQ(ksys_typeCheckFunc_##X(nullptr), KMATH_OK);                                      \
        EXPECT_EQ(ksys_typeCheckFuncPtr_##X(nullptr), KMATH_OK);                                   \
        EXPECT_EQ(ksys_typeCheckFuncStatus_##X(nullptr), KMATH_OK);                                \
        EXPECT_EQ(ksys_typeCheckFuncStatusPtr_##X(nullptr), KMATH_OK);                             \
        EXPECT_EQ(ksys_typeCheck_##X##_##X##__unused__(), KMATH_OK);                               \
                                                                                                   \
        X record, same;                                                                            \
        std::memset(static_cast<void *>(&record), 0x5A, sizeof record);                            \
        std::memcpy(static_cast<void *>(&same), &record, sizeof record);                           \
        X *handle = &record;                                                                       \
        called = 0;                                                                                \
        EXPECT_EQ(ksys_typeCheck_##X(&record), KMATH_OK);                                          \
        EXPECT_EQ(ksys_typeCheckPtr_##X(&handle), KMATH_OK);                                       \
        EXPECT_EQ(ksys_typeCheckFunc_##X(value<X>), KMATH_OK);                                     \
        EXPECT_EQ(ksys_typeCheckFuncPtr_##X(pointer<X>), KMATH_OK);                                \
        EXPECT_EQ(ksys_typeCheckFuncStatus_##X(status<X>), KMATH_OK);                              \
        EXPECT_EQ(ksys_typeCheckFuncStatusPtr_##X(status<X *>), KMATH_OK);                         \
        EXPECT_EQ(called, 0);                                                                      \
        EXPECT_EQ(handle, &record);                                                                \
        EXPECT_EQ(std::memcmp(&record, &same, sizeof record), 0);                                  \
        EXPECT_EQ(support::allocationCount(), before);                                             \
        EXPECT_TRUE(recorder.lines().empty());                                                     \
    }

CHECKED(kmath_nmmatrix)
CHECKED(kmath_nvector)
CHECKED(kmath_snmmatrix)
CHECKED(kmath_levmarqsolve)
CHECKED(kstd_vector_kmath_vect3)
CHECKED(kstd_vector_kmath_vect3F)
CHECKED(kstd_vector_kmath_vect4)
CHECKED(kstd_vector_kmath_vect6F)
CHECKED(kstd_vector_kmath_xform3Linear)
CHECKED(kstd_vector_kmath_nmmatrix)
CHECKED(kstd_vector_vector_kmath_vect3)
CHECKED(kstd_vector_vector_kmath_vect3F)
CHECKED(kstd_vector_vector_kmath_xform3Linear)
CHECKED(kstd_vector_vector_vector_kmath_vect3)
CHECKED(kstd_vector_vector_vector_vector_kmath_vect3)
CHECKED(kstd_vector_kmath_vect3Shareable)
CHECKED(kstd_vector_kmath_vect3FShareable)
CHECKED(kstd_vector_kmath_vect4Shareable)
CHECKED(kstd_vector_kmath_vect6FShareable)
CHECKED(kstd_vector_kmath_xform3LinearShareable)
CHECKED(kstd_vector_kmath_nmmatrixShareable)
CHECKED(kstd_vector_vector_kmath_vect3Shareable)
CHECKED(kstd_vector_vector_kmath_vect3FShareable)
CHECKED(kstd_vector_vector_kmath_xform3LinearShareable)
CHECKED(kstd_vector_vector_vector_kmath_vect3Shareable)
CHECKED(kstd_vector_vector_vector_vector_kmath_vect3Shareable)

// Neighbours that a slip would mix up.
static_assert(!std::is_invocable_v<decltype(ksys_typeCheck_kstd_vector_kmath_vect3),
                                   const kstd_vector_kmath_vect3F *>);
static_assert(!std::is_invocable_v<decltype(ksys_typeCheck_kstd_vector_kmath_vect3),
                                   const kstd_vector_kmath_vect3Shareable *>);
static_assert(!std::is_invocable_v<decltype(ksys_typeCheck_kstd_vector_kmath_vect3Shareable),
                                   const kstd_vector_kmath_vect3 *>);
static_assert(!std::is_invocable_v<decltype(ksys_typeCheck_kstd_vector_kmath_vect3),
                                   const kstd_vector_vector_kmath_vect3 *>);
static_assert(
    !std::is_invocable_v<decltype(ksys_typeCheck_kstd_vector_kmath_vect3), const kstd_vector_ *>);
static_assert(
    !std::is_invocable_v<decltype(ksys_typeCheck_kmath_nmmatrix), const kmath_snmmatrix *>);
static_assert(!std::is_invocable_v<decltype(ksys_typeCheckPtr_kmath_nmmatrix), kmath_nmmatrix *>);

} // namespace
