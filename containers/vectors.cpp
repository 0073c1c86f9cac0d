// The typed vectors: what vector_operations.h declares, for each entry of vector_types.h.
//
// A typed vector has the generic one as its only member, so each body forwards to the generic
// operation of its name with the element's size and operations.
#include <kmath/containers.h>

#include "containers/stamping.hpp"
#include "platform/check.hpp"

#include <type_traits>

using namespace kmath;

namespace
{

// An element's compareEqual as the generic vector calls it.
template <class T, kmath_status (*CompareEqual)(const T *, const T *, uint32_t *)>
[[maybe_unused]] kmath_status areEqual(const void *a, const void *b, uint32_t *equal)
{
    return CompareEqual(static_cast<const T *>(a), static_cast<const T *>(b), equal);
}

// The generic vector within a typed one; null stays null.
template <class Vector> kstd_vector_ *generic(Vector *vector)
{
    return reinterpret_cast<kstd_vector_ *>(vector);
}

template <class Vector> const kstd_vector_ *generic(const Vector *vector)
{
    return reinterpret_cast<const kstd_vector_ *>(vector);
}

template <class T> using Memory = std::conditional_t<std::is_const_v<T>, const void, void>;

template <class T> Forwarded<T, Memory<T>> out(T **pointer) { return {pointer, nullptr}; }

template <class T> Forwarded<T, Memory<T>> inOut(T **pointer)
{
    return {pointer, pointer ? *pointer : nullptr};
}

template <class Vector> Forwarded<Vector, kstd_vector_> genericHandle(Vector **handle)
{
    return {handle, handle ? *handle : nullptr};
}

} // namespace

#define KSTD_STAMP "containers/vector_operations.inc"
#include <kmath/vector_types.h>

// What one type has beyond the others.

kmath_status kstd_vector_kmath_vect3_assignVect3F(kstd_vector_kmath_vect3 *vector,
                                                  const kstd_vector_kmath_vect3F *source)
{
    KMATH_ASSERT(vector && source);

    kmath_vect3 *wide;
    const kmath_vect3F *narrow;
    size_t n;
    RETURN_IF_FAILED(kstd_vector_kmath_vect3F_getBeginSizeConst(source, &narrow, &n));
    RETURN_IF_FAILED(kstd_vector_kmath_vect3_resize(vector, n));
    RETURN_IF_FAILED(kstd_vector_kmath_vect3_getBegin(vector, &wide));
    for (size_t i = 0; i < n; ++i)
        wide[i] = {narrow[i].x, narrow[i].y, narrow[i].z};
    return KMATH_OK;
}
