// The shareable vectors: what shareable_operations.h declares, for each entry of vector_types.h.
//
// A shareable vector is the generic one with a typed vector in it, so each body forwards to the
// generic function of its name, or to that of the vector within.
#include <kmath/containers.h>

#include "containers/stamping.hpp"
#include "platform/check.hpp"
#include "platform/type_names.hpp"

#include <cstddef>

#define KSTD_WIDE(name)  KSTD_WIDE_(name)
#define KSTD_WIDE_(name) L"" #name

using namespace kmath;

namespace
{

template <class Object> constexpr const wchar_t *typenameOf = nullptr;
template <class Object> constexpr kstd_vectorShareableInterface interfaceOf = {};

// The interface of an object's type; each function is called as what it is.
template <class Object, class Element,
          kmath_status (*QueryInterfaceByTypename_)(Object *, const wchar_t *, void **),
          kmath_status (*GetTypename)(const Object *, const wchar_t **)>
constexpr kstd_vectorShareableInterface interfaceFrom = {
    {[](kxObject *object, const wchar_t *name, void **result) {
         return QueryInterfaceByTypename_(reinterpret_cast<Object *>(object), name, result);
     },
     [](const kxObject *object, const wchar_t **name) {
         return GetTypename(reinterpret_cast<const Object *>(object), name);
     }},
    OperationsOf<Element>::own};

// The generic view of an object; null stays null.
template <class Object> kstd_vectorShareable *generic(Object *object)
{
    return reinterpret_cast<kstd_vectorShareable *>(object);
}

template <class Object> const kstd_vectorShareable *generic(const Object *object)
{
    return reinterpret_cast<const kstd_vectorShareable *>(object);
}

// The vector within an object; null stays null.
template <class Object> auto within(Object *object) -> decltype(&object->vector)
{
    return object ? &object->vector : nullptr;
}

// A handle that holds an object or null, and one whose content is not looked at.
template <class Object> Forwarded<Object, kstd_vectorShareable> genericHandle(Object **handle)
{
    return {handle, handle ? *handle : nullptr};
}

template <class Object> Forwarded<Object, kstd_vectorShareable> newHandle(Object **handle)
{
    return {handle, nullptr};
}

} // namespace

#define KSTD_STAMP "containers/shareable_operations.inc"
#include <kmath/vector_types.h>
