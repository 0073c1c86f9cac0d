// What the stamped bodies share: the operations of each element type as the generic vector calls
// them, and callers' typed pointers as the generic functions set them.
#pragma once

#include <kmath/containers.h>

#include "platform/check.hpp"

namespace kmath
{

// The operations of an element type T that has its own; each is called as what it is.
template <class T, kmath_status (*ConstructEmpty)(T *),
          kmath_status (*ConstructCopy)(T *, const T *), kmath_status (*Assign)(T *, const T *),
          kmath_status (*Destruct)(T *)>
struct Operations {
    static kmath_status constructEmpty(void *element)
    {
        return ConstructEmpty(static_cast<T *>(element));
    }
    static kmath_status constructCopy(void *element, const void *source)
    {
        return ConstructCopy(static_cast<T *>(element), static_cast<const T *>(source));
    }
    static kmath_status assign(void *element, const void *source)
    {
        return Assign(static_cast<T *>(element), static_cast<const T *>(source));
    }
    static kmath_status destruct(void *element) { return Destruct(static_cast<T *>(element)); }

    static constexpr kstd_vectorEtable table = {constructEmpty, constructCopy, assign, destruct,
                                                nullptr};
    static constexpr const kstd_vectorEtable *own = &table;
};

// Elements are plain memory unless said otherwise: here for matrices, below for vectors.
template <class T> struct OperationsOf {
    static constexpr kstd_vectorEtable table = {};
    static constexpr const kstd_vectorEtable *own = nullptr;
};

template <> struct OperationsOf<kmath_nmmatrix>
    : Operations<kmath_nmmatrix, kmath_nmmatrix_construct, kmath_nmmatrix_constructCopy,
                 kmath_nmmatrix_assign, kmath_nmmatrix_destruct> {
};

#define KSTD_STAMP "containers/element_operations.inc"
#include <kmath/vector_types.h>

// A caller's typed pointer for the length of one generic call, which sets an untyped one.
template <class T, class Untyped> class Forwarded
{
  public:
    Forwarded(T **pointer, T *value) : typed(pointer), untyped(reinterpret_cast<Untyped *>(value))
    {
        KMATH_ASSERT(typed);
    }
    Forwarded(const Forwarded &) = delete;
    Forwarded &operator=(const Forwarded &) = delete;
    ~Forwarded() { *typed = reinterpret_cast<T *>(untyped); }
    operator Untyped **() { return &untyped; }

  private:
    T **typed;
    Untyped *untyped;
};

} // namespace kmath
