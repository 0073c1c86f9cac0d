// Objects that can be asked for their interface by name, and the vectors among them.
//
// A question goes from the most special kind to the most general one: a table's own function
// compares its own name and passes any other to the Final function of the kind below. These do not
// use the table, so the question ends.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/services.hpp"
#include "platform/type_names.hpp"

using namespace kmath;

namespace
{

// Allocates an object whose vector is then constructed; it is freed again if that fails.
template <class ConstructVector> kmath_status makeObject(kstd_vectorShareable **handle,
                                                         const kstd_vectorShareableInterface *table,
                                                         ConstructVector constructVector)
{
    KMATH_ASSERT(handle && table);
    CleanupFrame<1> frame;
    TRY(allocate(*handle, 1));
    frame.guard(*handle);
    (*handle)->object.table = &table->object;
    return frame.leave(constructVector(&(*handle)->vector));
}

const kstd_vectorShareableInterface *interfaceOf(const kstd_vectorShareable &object)
{
    return reinterpret_cast<const kstd_vectorShareableInterface *>(object.object.table);
}

} // namespace

// Objects.

KMATH_REPLACEABLE kmath_status kxObject_getTypename(const kxObject *object, const wchar_t **name)
{
    KMATH_ASSERT(object && name);
    return object->table->getTypename(object, name);
}

KMATH_REPLACEABLE kmath_status kxObject_queryInterfaceByTypename(kxObject *object,
                                                                 const wchar_t *name, void **result)
{
    KMATH_ASSERT(name && result);
    *result = nullptr;
    return object ? object->table->queryInterfaceByTypename_(object, name, result) : KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kxObject_queryInterfaceByTypenameFinal(kxObject *object,
                                                                      const wchar_t *name,
                                                                      void **result)
{
    isAnswered(object, L"kxObject", name, result);
    return KMATH_OK; // an unknown name is an answer too
}

// Shareable vectors.

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_construct(
    kstd_vectorShareable **handle, const kstd_vectorShareableInterface *table, size_t elementSize,
    const kstd_vectorEtable *etable, size_t n)
{
    return makeObject(handle, table, [&](kstd_vector_ *vector) {
        return kstd_vector__construct(vector, elementSize, etable, n);
    });
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_constructCopy(
    kstd_vectorShareable **handle, const kstd_vectorShareable *source)
{
    KMATH_ASSERT(source);
    return kstd_vectorShareable_constructVector(handle, interfaceOf(*source), &source->vector);
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_constructVector(
    kstd_vectorShareable **handle, const kstd_vectorShareableInterface *table,
    const kstd_vector_ *source)
{
    KMATH_ASSERT(source);
    // From the block, not as a copy of the vector, whose memory table may not live as long.
    return makeObject(handle, table, [&](kstd_vector_ *vector) {
        return kstd_vector__constructFromBlock(vector, source->elementSize, source->etable,
                                               source->begin, source->size);
    });
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_new(kstd_vectorShareable **handle,
                                                        const kstd_vectorShareableInterface *table,
                                                        size_t elementSize,
                                                        const kstd_vectorEtable *etable)
{
    KMATH_ASSERT(handle);
    RETURN_IF_FAILED(kstd_vectorShareable_delete(handle));
    return kstd_vectorShareable_construct(handle, table, elementSize, etable, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_newClone(kstd_vectorShareable **handle,
                                                             const kstd_vectorShareable *source)
{
    KMATH_ASSERT(handle);
    if (source && *handle == source) // it holds its own clone already
        return KMATH_OK;
    RETURN_IF_FAILED(kstd_vectorShareable_delete(handle));
    return source ? kstd_vectorShareable_constructCopy(handle, source) : KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_delete(kstd_vectorShareable **handle)
{
    KMATH_ASSERT(handle);
    if (!*handle)
        return KMATH_OK;
    const kmath_status released = kstd_vector__destruct(&(*handle)->vector);
    const kmath_status freed = destruct(*handle);
    return KMATH_IS_FAILURE(released) ? released : freed;
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_queryInterfaceByTypename(
    kstd_vectorShareable *object, const wchar_t *name, void **result)
{
    return kxObject_queryInterfaceByTypename(object ? &object->object : nullptr, name, result);
}

KMATH_REPLACEABLE kmath_status kstd_vectorShareable_queryInterfaceByTypenameFinal(
    kstd_vectorShareable *object, const wchar_t *name, void **result)
{
    return isAnswered(object, L"kstd_vectorShareable", name, result)
               ? KMATH_OK
               : kxObject_queryInterfaceByTypenameFinal(&object->object, name, result);
}
