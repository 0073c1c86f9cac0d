// Asking an object for an interface by name.
#pragma once

#include "platform/check.hpp"

#include <cwchar>

namespace kmath
{

/// True when the question ends with this object: it is null, or the name is its own, and it is the
/// result. Otherwise the result is null and the question goes on.
inline bool isAnswered(void *object, const wchar_t *ownName, const wchar_t *name, void **result)
{
    KMATH_ASSERT(name && result);
    const bool isOwn = object && std::wcscmp(name, ownName) == 0;
    *result = isOwn ? object : nullptr;
    return isOwn || !object;
}

} // namespace kmath
