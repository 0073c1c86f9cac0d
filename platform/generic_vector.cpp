// The generic vector: a growable run of elements of one size.
//
// Elements without operations are plain memory and move with their block. Elements with operations
// may point into themselves, so they never move bytewise: a change that needs them elsewhere builds
// a second run of copies, which takes the first one's place once it is complete. A failure on the
// way therefore leaves the elements as they were. Every change of the content is one splice.
#include <kmath/platform.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/services.hpp"

#include <algorithm>
#include <functional>
#include <utility>

using namespace kmath;

namespace
{

constexpr kstd_vectorEtable plainMemory = {};
constexpr kstd_vectorMtable memoryService = {
    ksys_memory_alloc_internal, ksys_memory_realloc_internal, ksys_memory_free_internal};

const kstd_vectorEtable &operationsOf(const kstd_vector_ &vector)
{
    return vector.etable ? *vector.etable : plainMemory;
}

const kstd_vectorMtable &memoryOf(const kstd_vector_ &vector)
{
    return vector.mtable ? *vector.mtable : memoryService;
}

bool isPlain(const kstd_vector_ &vector) { return !operationsOf(vector).constructCopy; }

char *at(const kstd_vector_ &vector, size_t index)
{
    return index == 0 ? static_cast<char *>(vector.begin)
                      : static_cast<char *>(vector.begin) + index * vector.elementSize;
}

// What new elements are made from.
struct Source {
    enum Kind { Elements, Fill, Empty, Nothing } kind;
    const char *first = nullptr;
};

Source elements(const void *first) { return {Source::Elements, static_cast<const char *>(first)}; }
Source fill(const void *element) { return {Source::Fill, static_cast<const char *>(element)}; }
constexpr Source emptyElements = {Source::Empty};
constexpr Source nothing = {Source::Nothing};

bool liesWithin(const Source &source, const kstd_vector_ &vector)
{
    return source.first && vector.begin && !std::less<>()(source.first, at(vector, 0)) &&
           std::less<>()(source.first, at(vector, vector.capacity));
}

kmath_status truncate(kstd_vector_ &vector, size_t size)
{
    const auto destructElement = operationsOf(vector).destruct;
    kmath_status status = KMATH_OK;
    if (!destructElement)
        vector.size = std::min(vector.size, size);
    while (vector.size > size) {
        const kmath_status released = destructElement(at(vector, --vector.size));
        if (!KMATH_IS_FAILURE(status))
            status = released;
    }
    return status;
}

kmath_status release(kstd_vector_ &vector)
{
    const kmath_status truncated = truncate(vector, 0);
    vector.capacity = 0;
    const kmath_status released = vector.begin ? memoryOf(vector).release(&vector.begin) : KMATH_OK;
    vector.begin = nullptr;
    return KMATH_IS_FAILURE(truncated) ? truncated : released;
}

// One element by its operation; a copy of plain memory where it has none.
kmath_status makeElement(const kstd_vector_ &vector, char *element, const Source &source,
                         size_t index)
{
    const kstd_vectorEtable &operations = operationsOf(vector);
    if (source.kind == Source::Empty)
        return operations.constructEmpty(element);
    const char *original =
        source.kind == Source::Fill ? source.first : source.first + index * vector.elementSize;
    return operations.constructCopy ? operations.constructCopy(element, original)
                                    : ksys_memory_copy(element, original, vector.elementSize);
}

// New elements that need no operation of their own are one run of memory.
bool isMadeAtOnce(const kstd_vector_ &vector, const Source &source)
{
    const kstd_vectorEtable &operations = operationsOf(vector);
    return (source.kind == Source::Elements && !operations.constructCopy) ||
           (source.kind == Source::Empty && !operations.constructEmpty) ||
           source.kind == Source::Nothing;
}

kmath_status makeAtOnce(const kstd_vector_ &vector, const Source &source, size_t n)
{
    char *first = at(vector, vector.size);
    const size_t bytes = n * vector.elementSize;
    return source.kind == Source::Elements ? ksys_memory_copy(first, source.first, bytes)
           : source.kind == Source::Empty  ? ksys_memory_fill(first, 0, bytes)
                                           : KMATH_OK;
}

// Cuts a vector back to its former size unless what was added is kept.
struct Rollback {
    kstd_vector_ &vector;
    size_t size = vector.size;
    void keep() { size = vector.size; }
    ~Rollback() { truncate(vector, size); }
};

// Makes n elements behind the last, where there is room for them.
kmath_status extend(kstd_vector_ &vector, const Source &source, size_t n)
{
    if (n == 0)
        return KMATH_OK;
    if (isMadeAtOnce(vector, source)) {
        RETURN_IF_FAILED(makeAtOnce(vector, source, n));
        vector.size += n;
        return KMATH_OK;
    }
    Rollback added{vector};
    for (size_t i = 0; i < n; ++i, ++vector.size)
        RETURN_IF_FAILED(makeElement(vector, at(vector, vector.size), source, i));
    added.keep();
    return KMATH_OK;
}

// Gives a block of that capacity to a vector that is empty or whose elements are plain memory.
kmath_status setCapacity(kstd_vector_ &vector, size_t capacity)
{
    size_t bytes;
    if (__builtin_mul_overflow(capacity, vector.elementSize, &bytes) || bytes > PTRDIFF_MAX)
        return KMATH_ERR_NO_MEMORY;
    const kstd_vectorMtable &memory = memoryOf(vector);
    void *block = vector.begin;
    RETURN_IF_FAILED(block ? memory.realloc(&block, bytes) : memory.alloc(&block, bytes));
    vector.begin = block;
    vector.capacity = capacity;
    return KMATH_OK;
}

// Half as much again at least, so that adding one by one costs a constant number of copies each.
size_t capacityFor(const kstd_vector_ &vector, size_t size)
{
    if (size <= vector.capacity)
        return vector.capacity;
    const size_t most = PTRDIFF_MAX / std::max<size_t>(vector.elementSize, 1);
    return std::max(size, std::min(vector.capacity + vector.capacity / 2, most));
}

// A vector in the making, with another one's tables; released unless it is swapped for it.
struct Run {
    kstd_vector_ vector;
    explicit Run(const kstd_vector_ &like)
        : vector{nullptr, 0, 0, like.elementSize, like.etable, like.mtable}
    {
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;
    ~Run() { release(vector); }
};

// The splice in a new block: the elements before it, the new ones, the elements behind.
kmath_status rebuild(kstd_vector_ &vector, size_t capacity, size_t position, size_t removed,
                     const Source &source, size_t n)
{
    Run run(vector);
    RETURN_IF_FAILED(setCapacity(run.vector, capacity));
    const size_t behind = position + removed;
    RETURN_IF_FAILED(extend(run.vector, elements(at(vector, 0)), position));
    RETURN_IF_FAILED(extend(run.vector, source, n));
    RETURN_IF_FAILED(extend(run.vector, elements(at(vector, behind)), vector.size - behind));
    std::swap(vector, run.vector); // what the old run then fails to release undoes nothing
    return KMATH_OK;
}

// The splice of plain memory within its block.
kmath_status shift(kstd_vector_ &vector, size_t capacity, size_t position, size_t removed,
                   const Source &source, size_t n)
{
    if (capacity > vector.capacity)
        RETURN_IF_FAILED(setCapacity(vector, capacity));
    if (position == vector.size)
        return extend(vector, source, n);

    char *const first = at(vector, position);
    char *const oldTail = first + removed * vector.elementSize;
    char *const newTail = first + n * vector.elementSize;
    const size_t bytes = (vector.size - position - removed) * vector.elementSize;
    RETURN_IF_FAILED(ksys_memory_copy(newTail, oldTail, bytes));
    const kmath_status status =
        n == 0 ? KMATH_OK : ksys_memory_copy(first, source.first, n * vector.elementSize);
    if (KMATH_IS_FAILURE(status)) {
        ksys_memory_copy(oldTail, newTail, bytes);
        return status;
    }
    vector.size = vector.size - removed + n;
    return KMATH_OK;
}

// Replaces `removed` elements at a position by n new ones, which may come from the vector itself.
kmath_status splice(kstd_vector_ &vector, size_t position, size_t removed, const Source &source,
                    size_t n)
{
    if (position > vector.size || removed > vector.size - position)
        return KMATH_ERR_BAD_DIMENSIONS;
    if (n > PTRDIFF_MAX)
        return KMATH_ERR_NO_MEMORY;

    const size_t size = vector.size - removed + n;
    const size_t capacity = capacityFor(vector, size);
    const bool atTheEnd = position + removed == vector.size && size <= vector.capacity;
    if (atTheEnd && n == 0)
        return truncate(vector, position);
    if (atTheEnd && removed == 0)
        return extend(vector, source, n);
    if (removed == 0 && n == 0)
        return KMATH_OK;
    return isPlain(vector) && !liesWithin(source, vector)
               ? shift(vector, capacity, position, removed, source, n)
               : rebuild(vector, capacity, position, removed, source, n);
}

kmath_status resizeFrom(kstd_vector_ &vector, const Source &source, size_t n)
{
    return n <= vector.size ? truncate(vector, n)
                            : splice(vector, vector.size, 0, source, n - vector.size);
}

kmath_status constructFrom(kstd_vector_ *vector, size_t elementSize,
                           const kstd_vectorEtable *etable, const kstd_vectorMtable *mtable,
                           const Source &source, size_t n)
{
    KMATH_ASSERT(vector && elementSize > 0);
    *vector = {nullptr, 0, 0, elementSize, etable, mtable};
    CleanupFrame<1> frame;
    frame.guard(*vector);
    return frame.leave(splice(*vector, 0, 0, source, n));
}

kmath_status narrow(size_t size, int32_t *result)
{
    const bool fits = size <= INT32_MAX;
    *result = fits ? static_cast<int32_t>(size) : INT32_MAX;
    return fits ? KMATH_OK : KMATH_ERR_FAILED;
}

kmath_status findElement(const kstd_vector_ &vector, size_t index, char *&element)
{
    element = index < vector.size ? at(vector, index) : nullptr;
    return element ? KMATH_OK : KMATH_ERR_BAD_DIMENSIONS;
}

// The element behind the given one: the first for null, null for the last.
kmath_status findNext(const kstd_vector_ &vector, const void *element, char *&next)
{
    next = nullptr;
    size_t index = 0;
    if (element) {
        const size_t offset = static_cast<size_t>(reinterpret_cast<uintptr_t>(element) -
                                                  reinterpret_cast<uintptr_t>(vector.begin));
        if (offset % vector.elementSize != 0 || offset / vector.elementSize >= vector.size)
            return KMATH_ERR_BAD_DIMENSIONS;
        index = offset / vector.elementSize + 1;
    }
    if (index < vector.size)
        next = at(vector, index);
    return KMATH_OK;
}

} // namespace

// Life.

KMATH_REPLACEABLE kmath_status kstd_vector__construct(kstd_vector_ *vector, size_t elementSize,
                                                      const kstd_vectorEtable *etable, size_t n)
{
    return constructFrom(vector, elementSize, etable, nullptr, emptyElements, n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructWithMtable(kstd_vector_ *vector,
                                                                size_t elementSize,
                                                                const kstd_vectorEtable *etable,
                                                                size_t n,
                                                                const kstd_vectorMtable *mtable)
{
    return constructFrom(vector, elementSize, etable, mtable, emptyElements, n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructEmpty(kstd_vector_ *vector, size_t elementSize,
                                                           const kstd_vectorEtable *etable)
{
    return constructFrom(vector, elementSize, etable, nullptr, nothing, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructEmptyWithMtable(
    kstd_vector_ *vector, size_t elementSize, const kstd_vectorEtable *etable,
    const kstd_vectorMtable *mtable)
{
    return constructFrom(vector, elementSize, etable, mtable, nothing, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructUninit(kstd_vector_ *vector,
                                                            size_t elementSize,
                                                            const kstd_vectorEtable *etable,
                                                            size_t n)
{
    return constructFrom(vector, elementSize, etable, nullptr, nothing, n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructFill(kstd_vector_ *vector, size_t elementSize,
                                                          const kstd_vectorEtable *etable, size_t n,
                                                          const void *element)
{
    KMATH_ASSERT(element || n == 0);
    return constructFrom(vector, elementSize, etable, nullptr, fill(element), n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructFromBlock(kstd_vector_ *vector,
                                                               size_t elementSize,
                                                               const kstd_vectorEtable *etable,
                                                               const void *block, size_t n)
{
    KMATH_ASSERT(block || n == 0);
    return constructFrom(vector, elementSize, etable, nullptr, elements(block), n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__constructCopy(kstd_vector_ *vector,
                                                          const kstd_vector_ *source)
{
    KMATH_ASSERT(source);
    return constructFrom(vector, source->elementSize, source->etable, source->mtable,
                         elements(source->begin), source->size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__destruct(kstd_vector_ *vector)
{
    KMATH_ASSERT(vector);
    return release(*vector);
}

KMATH_REPLACEABLE kmath_status kstd_vector__new(kstd_vector_ **handle, size_t elementSize,
                                                const kstd_vectorEtable *etable)
{
    KMATH_ASSERT(handle);
    RETURN_IF_FAILED(kstd_vector__delete(handle));
    RETURN_IF_FAILED(allocate(*handle, 1));
    return kstd_vector__constructEmpty(*handle, elementSize, etable);
}

KMATH_REPLACEABLE kmath_status kstd_vector__newClone(kstd_vector_ **handle,
                                                     const kstd_vector_ *source)
{
    KMATH_ASSERT(handle);
    if (!source)
        return kstd_vector__delete(handle);
    if (*handle == source) // it holds its own clone already
        return KMATH_OK;
    RETURN_IF_FAILED(kstd_vector__new(handle, source->elementSize, source->etable));
    CleanupFrame<2> frame;
    frame.guard(*handle);
    frame.guard(**handle);
    return frame.leave(kstd_vector__assign(*handle, source));
}

KMATH_REPLACEABLE kmath_status kstd_vector__delete(kstd_vector_ **handle)
{
    KMATH_ASSERT(handle);
    if (!*handle)
        return KMATH_OK;
    const kmath_status released = release(**handle);
    const kmath_status freed = destruct(*handle);
    return KMATH_IS_FAILURE(released) ? released : freed;
}

// Content.

KMATH_REPLACEABLE kmath_status kstd_vector__assign(kstd_vector_ *vector, const kstd_vector_ *source)
{
    KMATH_ASSERT(vector && source);
    if (vector == source)
        return KMATH_OK;
    if (source->elementSize != vector->elementSize)
        return KMATH_ERR_FAILED;
    return splice(*vector, 0, vector->size, elements(source->begin), source->size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__assignElements(kstd_vector_ *vector, const void *block,
                                                           size_t n)
{
    KMATH_ASSERT(vector && (block || n == 0));
    return splice(*vector, 0, vector->size, elements(block), n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__append(kstd_vector_ *vector, const kstd_vector_ *source)
{
    KMATH_ASSERT(vector && source);
    if (source->elementSize != vector->elementSize)
        return KMATH_ERR_FAILED;
    return splice(*vector, vector->size, 0, elements(source->begin), source->size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__swap(kstd_vector_ *a, kstd_vector_ *b)
{
    KMATH_ASSERT(a && b);
    std::swap(*a, *b);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__clear(kstd_vector_ *vector)
{
    KMATH_ASSERT(vector);
    return truncate(*vector, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vector__clearAndFreeMemory(kstd_vector_ *vector)
{
    KMATH_ASSERT(vector);
    return release(*vector);
}

KMATH_REPLACEABLE kmath_status kstd_vector__reserve(kstd_vector_ *vector, size_t capacity)
{
    KMATH_ASSERT(vector);
    if (capacity <= vector->capacity)
        return KMATH_OK;
    return isPlain(*vector) ? setCapacity(*vector, capacity)
                            : rebuild(*vector, capacity, vector->size, 0, nothing, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vector__resize(kstd_vector_ *vector, size_t n)
{
    KMATH_ASSERT(vector);
    return resizeFrom(*vector, emptyElements, n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__resizeFill(kstd_vector_ *vector, size_t n,
                                                       const void *element)
{
    KMATH_ASSERT(vector && (element || n <= vector->size));
    return resizeFrom(*vector, fill(element), n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__resizeUninit(kstd_vector_ *vector, size_t n)
{
    KMATH_ASSERT(vector);
    return resizeFrom(*vector, nothing, n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__pushBack(kstd_vector_ *vector, const void *element)
{
    KMATH_ASSERT(vector && element);
    return splice(*vector, vector->size, 0, elements(element), 1);
}

KMATH_REPLACEABLE kmath_status kstd_vector__popBack(kstd_vector_ *vector)
{
    KMATH_ASSERT(vector);
    return vector->size == 0 ? KMATH_ERR_BAD_DIMENSIONS : truncate(*vector, vector->size - 1);
}

KMATH_REPLACEABLE kmath_status kstd_vector__insert(kstd_vector_ *vector, size_t position,
                                                   const void *block, size_t n)
{
    KMATH_ASSERT(vector && (block || n == 0));
    return splice(*vector, position, 0, elements(block), n);
}

KMATH_REPLACEABLE kmath_status kstd_vector__insertElement(kstd_vector_ *vector, size_t position,
                                                          const void *element)
{
    KMATH_ASSERT(vector && element);
    return splice(*vector, position, 0, elements(element), 1);
}

KMATH_REPLACEABLE kmath_status kstd_vector__erase(kstd_vector_ *vector, size_t position, size_t n)
{
    KMATH_ASSERT(vector);
    return splice(*vector, position, n, nothing, 0);
}

KMATH_REPLACEABLE kmath_status kstd_vector__eraseElement(kstd_vector_ *vector, size_t position)
{
    KMATH_ASSERT(vector);
    return splice(*vector, position, 1, nothing, 0);
}

// Access.

KMATH_REPLACEABLE kmath_status kstd_vector__getBegin(kstd_vector_ *vector, void **begin)
{
    KMATH_ASSERT(vector && begin);
    *begin = vector->begin;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginConst(const kstd_vector_ *vector,
                                                          const void **begin)
{
    KMATH_ASSERT(vector && begin);
    *begin = vector->begin;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginEnd(kstd_vector_ *vector, void **begin,
                                                        void **end)
{
    KMATH_ASSERT(vector && begin && end);
    *begin = vector->begin;
    *end = at(*vector, vector->size);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginEndConst(const kstd_vector_ *vector,
                                                             const void **begin, const void **end)
{
    KMATH_ASSERT(vector && begin && end);
    *begin = vector->begin;
    *end = at(*vector, vector->size);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSize(kstd_vector_ *vector, void **begin,
                                                         size_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    *size = vector->size;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSizeConst(const kstd_vector_ *vector,
                                                              const void **begin, size_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    *size = vector->size;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSize32(kstd_vector_ *vector, void **begin,
                                                           int32_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    return narrow(vector->size, size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSize32Const(const kstd_vector_ *vector,
                                                                const void **begin, int32_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    return narrow(vector->size, size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSizeIntPtr(kstd_vector_ *vector, void **begin,
                                                               intptr_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    *size = static_cast<intptr_t>(vector->size);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getBeginSizeIntPtrConst(const kstd_vector_ *vector,
                                                                    const void **begin,
                                                                    intptr_t *size)
{
    KMATH_ASSERT(vector && begin && size);
    *begin = vector->begin;
    *size = static_cast<intptr_t>(vector->size);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getElement(kstd_vector_ *vector, size_t index,
                                                       void **element)
{
    KMATH_ASSERT(vector && element);
    char *found;
    const kmath_status status = findElement(*vector, index, found);
    *element = found;
    return status;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getElementConst(const kstd_vector_ *vector,
                                                            size_t index, const void **element)
{
    KMATH_ASSERT(vector && element);
    char *found;
    const kmath_status status = findElement(*vector, index, found);
    *element = found;
    return status;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getNextElement(kstd_vector_ *vector, void **element)
{
    KMATH_ASSERT(vector && element);
    char *next;
    const kmath_status status = findNext(*vector, *element, next);
    *element = next;
    return status;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getNextElementConst(const kstd_vector_ *vector,
                                                                const void **element)
{
    KMATH_ASSERT(vector && element);
    char *next;
    const kmath_status status = findNext(*vector, *element, next);
    *element = next;
    return status;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getSize(const kstd_vector_ *vector, int32_t *size)
{
    KMATH_ASSERT(vector && size);
    return narrow(vector->size, size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__getSize32(const kstd_vector_ *vector, int32_t *size)
{
    KMATH_ASSERT(vector && size);
    return narrow(vector->size, size);
}

KMATH_REPLACEABLE kmath_status kstd_vector__getSizeIntPtr(const kstd_vector_ *vector,
                                                          intptr_t *size)
{
    KMATH_ASSERT(vector && size);
    *size = static_cast<intptr_t>(vector->size);
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getCapacity(const kstd_vector_ *vector,
                                                        size_t *capacity)
{
    KMATH_ASSERT(vector && capacity);
    *capacity = vector->capacity;
    return KMATH_OK;
}

KMATH_REPLACEABLE kmath_status kstd_vector__getElementSize(const kstd_vector_ *vector,
                                                           size_t *elementSize)
{
    KMATH_ASSERT(vector && elementSize);
    *elementSize = vector->elementSize;
    return KMATH_OK;
}

// Comparison.

KMATH_REPLACEABLE kmath_status kstd_vector__compareEqual(const kstd_vector_ *a,
                                                         const kstd_vector_ *b,
                                                         kstd_vectorElementTest test,
                                                         uint32_t *equal)
{
    KMATH_ASSERT(a && b && test && equal);
    *equal = a->size == b->size && a->elementSize == b->elementSize;
    for (size_t i = 0; i < a->size && *equal; ++i)
        RETURN_IF_FAILED(test(at(*a, i), at(*b, i), equal));
    return KMATH_OK;
}
