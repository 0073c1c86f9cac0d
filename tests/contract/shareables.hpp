// The shareable containers by name and signature, and an object that gives itself back.
#pragma once

#include "contract/containers.hpp"

namespace containers
{

template <class S> struct Sharing;

#define SHAREABLE_COMPARED(S) OPERATION(S, compareEqual, const S *, const S *, std::uint32_t *)

#define SHAREABLE(S, V, WIDE_NAME, COMPARE)                                                        \
    template <> struct Sharing<S> {                                                                \
        using Vector = V;                                                                          \
        using T = ElementOf<V>;                                                                    \
        static constexpr const char *name = #S;                                                    \
        static constexpr const wchar_t *wideName = WIDE_NAME;                                      \
        OPERATION(S, construct, S **, std::size_t)                                                 \
        OPERATION(S, constructCopy, S **, const S *)                                               \
        OPERATION(S, constructVector, S **, const V *)                                             \
        OPERATION(S, constructEmpty, S **)                                                         \
        OPERATION_AS(S, new, new_, S **)                                                           \
        OPERATION(S, newClone, S **, const S *)                                                    \
        OPERATION_AS(S, delete, delete_, S **)                                                     \
        OPERATION(S, destruct, S **)                                                               \
        OPERATION(S, assign, S *, const S *)                                                       \
        OPERATION(S, assignVector, S *, const V *)                                                 \
        OPERATION(S, assignElements, S *, const T *, std::size_t)                                  \
        OPERATION(S, reset, S *)                                                                   \
        OPERATION(S, reserve, S *, std::size_t)                                                    \
        OPERATION(S, resize, S *, std::size_t)                                                     \
        OPERATION(S, pushBack, S *, const T *)                                                     \
        OPERATION(S, getBeginEnd, S *, T **, T **)                                                 \
        OPERATION(S, getBeginEndConst, const S *, const T **, const T **)                          \
        OPERATION(S, getBeginSize, S *, T **, std::size_t *)                                       \
        OPERATION(S, getBeginSizeConst, const S *, const T **, std::size_t *)                      \
        OPERATION(S, getCapacity, const S *, std::size_t *)                                        \
        OPERATION(S, getElementSize, const S *, std::size_t *)                                     \
        OPERATION(S, getSize, const S *, std::int32_t *)                                           \
        COMPARE(S)                                                                                 \
        OPERATION(S, getTypename, const S *, const wchar_t **)                                     \
        OPERATION(S, queryInterfaceByTypename, S *, const wchar_t *, void **)                      \
        OPERATION(S, queryInterfaceByTypename_, S *, const wchar_t *, void **)                     \
        OPERATION(S, queryInterfaceByTypenameFinal, S *, const wchar_t *, void **)                 \
    };

SHAREABLE(kstd_vector_kmath_vect3Shareable, kstd_vector_kmath_vect3,
          L"kstd_vector_kmath_vect3Shareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_kmath_vect3FShareable, kstd_vector_kmath_vect3F,
          L"kstd_vector_kmath_vect3FShareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_kmath_vect4Shareable, kstd_vector_kmath_vect4,
          L"kstd_vector_kmath_vect4Shareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_kmath_vect6FShareable, kstd_vector_kmath_vect6F,
          L"kstd_vector_kmath_vect6FShareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_kmath_xform3LinearShareable, kstd_vector_kmath_xform3Linear,
          L"kstd_vector_kmath_xform3LinearShareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_kmath_nmmatrixShareable, kstd_vector_kmath_nmmatrix,
          L"kstd_vector_kmath_nmmatrixShareable", NOT_COMPARED)
SHAREABLE(kstd_vector_vector_kmath_vect3Shareable, kstd_vector_vector_kmath_vect3,
          L"kstd_vector_vector_kmath_vect3Shareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_vector_kmath_vect3FShareable, kstd_vector_vector_kmath_vect3F,
          L"kstd_vector_vector_kmath_vect3FShareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_vector_kmath_xform3LinearShareable, kstd_vector_vector_kmath_xform3Linear,
          L"kstd_vector_vector_kmath_xform3LinearShareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_vector_vector_kmath_vect3Shareable, kstd_vector_vector_vector_kmath_vect3,
          L"kstd_vector_vector_vector_kmath_vect3Shareable", SHAREABLE_COMPARED)
SHAREABLE(kstd_vector_vector_vector_vector_kmath_vect3Shareable,
          kstd_vector_vector_vector_vector_kmath_vect3,
          L"kstd_vector_vector_vector_vector_kmath_vect3Shareable", SHAREABLE_COMPARED)

/// Calls the rule with a null pointer to each shareable type.
template <class Rule> void everyShareable(Rule rule)
{
    support::forEachType(support::ShareableTypes(), [&]<class S>(S *type) {
        SCOPED_TRACE(Sharing<S>::name);
        rule(type);
    });
}

/// A shareable container of elements built from seeds, in a handle of its own.
template <class S> struct Shared {
    explicit Shared(const std::vector<int> &seeds = {})
    {
        EXPECT_EQ(Sharing<S>::constructEmpty(&handle), KMATH_OK);
        for (const int seed : seeds)
            push(seed);
    }
    Shared(const Shared &) = delete;
    Shared &operator=(const Shared &) = delete;
    ~Shared() { EXPECT_EQ(Sharing<S>::destruct(&handle), KMATH_OK); }

    void push(int seed)
    {
        Block<typename Sharing<S>::T> element(seed);
        EXPECT_EQ(Sharing<S>::pushBack(handle, &element), KMATH_OK);
    }
    operator S *() { return handle; }
    S *operator&() { return handle; }
    S *operator->() { return handle; }

    S *handle = nullptr;
};

template <class S>
testing::AssertionResult holds(const Shared<S> &object, const std::vector<int> &seeds)
{
    return holds(object.handle->vector, seeds);
}

} // namespace containers
