// The clean-up frame: a function's local records, and what becomes of them at its exit.
//
// The frame keeps the entry list that the clean-up stack carries out. Records are named in its
// constructor, which constructs and registers them; `leave` runs the stack and gives the status
// back. Only when an exception of a host's callback passes does the destructor run it instead.
#pragma once

#include <kmath/containers.h>
#include <kmath/nmmatrix.h>
#include <kmath/platform.h>
#include <kmath/snmmatrix.h>

#include "platform/check.hpp"

#include <cstdint>

namespace kmath
{

// Construct and destruct of each record that a frame can hold, under one name.
inline kmath_status construct(kmath_nmmatrix &matrix) { return kmath_nmmatrix_construct(&matrix); }
inline kmath_status destruct(kmath_nmmatrix &matrix) { return kmath_nmmatrix_destruct(&matrix); }
inline kmath_status construct(kmath_nvector &vector) { return kmath_nvector_construct(&vector); }
inline kmath_status destruct(kmath_nvector &vector) { return kmath_nvector_destruct(&vector); }
inline kmath_status construct(kmath_snmmatrix &matrix)
{
    return kmath_snmmatrix_construct(&matrix);
}
inline kmath_status destruct(kmath_snmmatrix &matrix) { return kmath_snmmatrix_destruct(&matrix); }
inline kmath_status construct(kstd_vector_kmath_nmmatrix &matrices)
{
    return kstd_vector_kmath_nmmatrix_constructEmpty(&matrices);
}
inline kmath_status destruct(kstd_vector_kmath_nmmatrix &matrices)
{
    return kstd_vector_kmath_nmmatrix_destruct(&matrices);
}
inline kmath_status destruct(kstd_vector_ &vector) { return kstd_vector__destruct(&vector); }
inline kmath_status construct(kstd_vectord &vector) { return kstd_vectord_construct(&vector); }
inline kmath_status destruct(kstd_vectord &vector) { return kstd_vectord_destruct(&vector); }
inline kmath_status construct(kstd_vectorb &vector) { return kstd_vectorb_construct(&vector); }
inline kmath_status destruct(kstd_vectorb &vector) { return kstd_vectorb_destruct(&vector); }

inline kmath_status construct(ksys_jobThreadGroup &group)
{
    return ksys_jobThreadGroup_construct(&group);
}
inline kmath_status destruct(ksys_jobThreadGroup &group)
{
    return ksys_jobThreadGroup_destruct(&group);
}
inline kmath_status construct(ksys_jobParams &params) { return ksys_jobParams_construct(&params); }
inline kmath_status destruct(ksys_jobParams &params) { return ksys_jobParams_destruct(&params); }
inline kmath_status construct(ksys_jobRequestSet &set)
{
    return ksys_jobRequestSet_construct(&set);
}
inline kmath_status destruct(ksys_jobRequestSet &set) { return ksys_jobRequestSet_destruct(&set); }
inline kmath_status construct(ksys_jobResultSet &results)
{
    return ksys_jobResultSet_construct(&results);
}
inline kmath_status destruct(ksys_jobResultSet &results)
{
    return ksys_jobResultSet_destruct(&results);
}

// A block of memory is a record too: null until the frame allocates it.
template <class T> kmath_status construct(T *&block)
{
    block = nullptr;
    return KMATH_OK;
}
template <class T> kmath_status destruct(T *&block)
{
    void *memory = block;
    const kmath_status status = ksys_memory_free_internal(&memory);
    block = static_cast<T *>(memory);
    return status;
}

/// Bytes of `count` elements of T; what the address space cannot hold gives SIZE_MAX, which the
/// memory services refuse.
template <class T> std::size_t bytesOf(std::int64_t count)
{
    constexpr std::int64_t most = PTRDIFF_MAX / static_cast<std::int64_t>(sizeof(T));
    return count < 0 || count > most ? SIZE_MAX : static_cast<std::size_t>(count) * sizeof(T);
}

/// A new block of `count` elements, null on failure; one too large to address is refused without
/// asking.
template <class T>
kmath_status allocate(T *&block, std::int64_t count,
                      kmath_status (*service)(void **, std::size_t) = ksys_memory_alloc_internal)
{
    block = nullptr;
    const std::size_t bytes = bytesOf<T>(count);
    if (bytes > PTRDIFF_MAX)
        return KMATH_ERR_NO_MEMORY;
    void *memory = nullptr;
    RETURN_IF_FAILED(service(&memory, bytes));
    block = static_cast<T *>(memory);
    return KMATH_OK;
}

/// The same, cleared to zero bytes.
template <class T> kmath_status allocateClear(T *&block, std::int64_t count)
{
    return allocate(block, count, ksys_memory_allocClear_internal);
}

template <int N> class CleanupFrame
{
  public:
    /// Constructs each record and destructs it on every exit.
    template <class... Records> explicit CleanupFrame(Records &...records)
        : tag(ksys_cleanup_getNextTag())
    {
        (enter(records), ...);
    }

    CleanupFrame(const CleanupFrame &) = delete;
    CleanupFrame &operator=(const CleanupFrame &) = delete;

    ~CleanupFrame()
    {
        if (open)
            leave(KMATH_ERR_FAILED);
    }

    /// Destructs what the frame holds and gives back the status of the function.
    kmath_status leave(kmath_status status)
    {
        KMATH_ASSERT(count >= 0 && count <= N);
        open = false;
        ksys_cleanupExecute_(entries, &count, &status, tag);
        return status;
    }

    /// Destructs an object that is already constructed, but only if the function fails.
    template <class Record> void guard(Record &record) { add(record, KSYS_CLEANUP_ON_FAILURE); }

    /// Constructs a record whose construct may fail, and destructs it on every exit.
    template <class Record> kmath_status adopt(Record &record)
    {
        RETURN_IF_FAILED(construct(record));
        add(record, KSYS_CLEANUP_ALWAYS);
        return KMATH_OK;
    }

    /// Fills a block that the frame holds with room for `n` elements.
    template <class T> kmath_status allocate(T *&block, std::int64_t n)
    {
        return kmath::allocate(block, n);
    }

  private:
    template <class Record> void enter(Record &record)
    {
        construct(record);
        add(record, KSYS_CLEANUP_ALWAYS);
    }

    template <class Record> void add(Record &record, std::uint32_t kind)
    {
        KMATH_ASSERT(count < N);
        if (count >= N)
            return; // better leaked than written past the list
        entries[count++] = {sequence, kind, &record,
                            [](void *object) { return destruct(*static_cast<Record *>(object)); }};
        sequence = sequence == 0xFFFFFFFEu ? 0 : sequence + 1;
    }

    ksys_cleanupEntry entries[N];
    std::int32_t count = 0;
    std::uint32_t sequence = 0;
    std::uint32_t tag;
    bool open = true;
};

template <class... Records> CleanupFrame(Records &...) -> CleanupFrame<int{sizeof...(Records)}>;

} // namespace kmath
