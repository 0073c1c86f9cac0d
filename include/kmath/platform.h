/**
 * @file
 * Services that a host may replace: the assertion hook, memory, the clean-up
 * stack, the job library, the generic, double and flag vectors, and objects that
 * can be handed over and asked for their interface, with the shareable vector
 * among them.
 *
 * Each service is exported and weak. A host replaces one by defining a function
 * of the same name and signature in an object of its own. The defaults keep no
 * global state. A host that replaces one of the four functions that allocate and
 * free replaces all of them, as any of them may be given a block of another. The
 * assertion hook, memory and the clean-up stack are called from worker threads
 * too, several at once, and have to bear it.
 *
 * A null pointer where a record, a block address or a result is required is
 * reported to kstd_assert_, never through the status. Records are constructed in
 * storage that the caller provides; once constructed they may be destructed more
 * than once. Shareable vectors, and vectors made by a function named new, are
 * allocated instead and live behind a handle, a pointer of the caller's. Counts of
 * elements are size_t and positions count from 0; job counts are int32_t. An
 * argument may point into the vector that it is added to; other arguments of one
 * call are distinct objects.
 */
#ifndef KMATH_PLATFORM_H
#define KMATH_PLATFORM_H

#include <kmath/status.h>

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Assertion hook. */

/**
 * Receives the line number of a check on a null argument that failed; the calling function then
 * carries on as though it had passed. By default nothing happens; a host's own hook may report,
 * stop or throw.
 */
KMATH_API void kstd_assert_(int32_t line);

/* Memory. */

/**
 * A new block of memory with arbitrary content.
 *
 * @param[out] block  the block, aligned for any record; null for 0 bytes and on failure
 * @param[in]  bytes  its size; above PTRDIFF_MAX it is refused without asking
 * @return KMATH_OK or KMATH_ERR_NO_MEMORY
 */
KMATH_API kmath_status ksys_memory_alloc_internal(void **block, size_t bytes);

/** A new block of memory of zero bytes; otherwise as ksys_memory_alloc_internal. */
KMATH_API kmath_status ksys_memory_allocClear_internal(void **block, size_t bytes);

/**
 * A block of another size with the same content, as far as it reaches.
 *
 * @param[in,out] block  the block, or null for a new one; moved if need be, left alone on failure
 * @param[in]     bytes  its new size; 0 frees it
 * @return KMATH_OK or KMATH_ERR_NO_MEMORY
 */
KMATH_API kmath_status ksys_memory_realloc_internal(void **block, size_t bytes);

/** Gives a block back and sets the caller's pointer to null; a null block is left alone. */
KMATH_API kmath_status ksys_memory_free_internal(void **block);

/** Copies bytes; the two ranges may overlap. For 0 bytes both pointers may be null. */
KMATH_API kmath_status ksys_memory_copy(void *to, const void *from, size_t bytes);

/** Sets bytes to the low eight bits of a value. For 0 bytes the pointer may be null. */
KMATH_API kmath_status ksys_memory_fill(void *to, int32_t byte, size_t bytes);

/* Clean-up stack. */

/** When an entry of the clean-up stack is carried out. */
enum {
    KSYS_CLEANUP_ON_FAILURE = 34, /**< only when the status is a failure */
    KSYS_CLEANUP_ALWAYS = 50      /**< on every exit */
};

/** One object to destruct at the exit of a function. */
typedef struct ksys_cleanupEntry {
    uint32_t sequence;                      /**< 0, 1, …, 0xFFFFFFFE, 0, … within one call */
    uint32_t kind;                          /**< KSYS_CLEANUP_ON_FAILURE or KSYS_CLEANUP_ALWAYS */
    void *object;                           /**< the object */
    kmath_status (*destruct)(void *object); /**< releases what the object owns */
} ksys_cleanupEntry;

/**
 * A tag for the clean-up stack of the function that is being entered; handed back to
 * ksys_cleanupExecute_ at its exit. The default needs none and gives 0.
 */
KMATH_API uint32_t ksys_cleanup_getNextTag(void);

/**
 * Destructs what a function has built, last built first; called at each of its exits.
 *
 * Entries of the kind KSYS_CLEANUP_ON_FAILURE are passed over while the status is no failure. A
 * destructor that fails makes a successful status its own, and what was passed over is then
 * destructed as well.
 *
 * @param[in,out] entries  what was built, in that order; used up
 * @param[in,out] count    number of entries; 0 on return
 * @param[in,out] status   of the function; a failure is kept
 * @param[in]     tag      from ksys_cleanup_getNextTag at entry
 * @return the status
 */
KMATH_API kmath_status ksys_cleanupExecute_(ksys_cleanupEntry *entries, int32_t *count,
                                            kmath_status *status, uint32_t tag);

/* Jobs. */

/** A group of worker threads. */
typedef struct ksys_jobThreadGroup {
    void *workers; /**< the group's threads once it has dispatched, or null */
} ksys_jobThreadGroup;

/** Holder of one job's data. */
typedef struct ksys_jobParams {
    void *data;                           /**< the data, or null */
    kmath_status (*release)(void **data); /**< releases the data and clears the pointer */
} ksys_jobParams;

/** A job: a function of its parameters. */
typedef kmath_status (*ksys_jobFunc)(const ksys_jobParams *params);

/** One entry of a request set; it owns its data. */
typedef struct ksys_jobRequest {
    ksys_jobFunc job;      /**< the function to run */
    ksys_jobParams params; /**< what it is given */
} ksys_jobRequest;

/** The jobs to run, in the order in which they were added. */
typedef struct ksys_jobRequestSet {
    ksys_jobRequest *requests; /**< the jobs */
    int32_t count;             /**< how many there are */
    int32_t capacity;          /**< how many the block has room for */
} ksys_jobRequestSet;

/** The status of each job of the last dispatch, by job number. */
typedef struct ksys_jobResultSet {
    kmath_status *statuses; /**< one per job, or null */
    int32_t count;          /**< how many there are */
} ksys_jobResultSet;

/** A new group of worker threads; none is started before a dispatch has use for it. */
KMATH_API kmath_status ksys_jobThreadGroup_construct(ksys_jobThreadGroup *group);

/**
 * Ends the group's threads and gives back their memory. Not to be called while the group
 * dispatches.
 */
KMATH_API kmath_status ksys_jobThreadGroup_destruct(ksys_jobThreadGroup *group);

/**
 * Runs all jobs of a set and returns when every one has ended.
 *
 * Jobs are numbered from 0 in the order in which they were added, and begun in that order, each by
 * whichever thread is free: the calling thread or one of the group's. Together they are as many as
 * ksys_jobGetCurrentThreadState says, but never more than jobs; a thread that cannot be started
 * means fewer workers and no failure. Jobs round as the calling thread does. All jobs are run, even
 * if some fail. A job that throws has failed with KMATH_ERR_FAILED; once all jobs have ended, the
 * exception of the lowest number is thrown again in the calling thread. The set keeps its jobs and
 * may be dispatched again. A job that dispatches jobs on its own group runs them by itself.
 *
 * @param[in,out] group    starts the threads that it lacks
 * @param[in]     set      the jobs; none is fine
 * @param[in,out] results  resized to one status for each job
 * @return KMATH_OK, the failure of the job with the lowest number, or a failure of
 *         ksys_jobGetCurrentThreadState or of the memory service, in which case no job was run
 */
KMATH_API kmath_status ksys_jobThreadGroup_dispatchAndWait(ksys_jobThreadGroup *group,
                                                           const ksys_jobRequestSet *set,
                                                           ksys_jobResultSet *results);

/**
 * How many threads a group offers: the processors that this process may use.
 *
 * @param[out] threads  at least 1; on Linux the processors of the thread's affinity, cut down to
 *                      the quota of the process's control groups, rounded up
 * @param[in]  group    the group asked about
 * @return KMATH_OK
 */
KMATH_API kmath_status ksys_jobGetCurrentThreadState(int32_t *threads,
                                                     const ksys_jobThreadGroup *group);

/** A new, empty holder of one job's data. */
KMATH_API kmath_status ksys_jobParams_construct(ksys_jobParams *params);

/** Releases the holder's data, if it holds any. */
KMATH_API kmath_status ksys_jobParams_destruct(ksys_jobParams *params);

/**
 * Gives data to a holder, which releases it from then on; what it held before is released first.
 *
 * @param[in,out] params   the holder
 * @param[in,out] data     the data; null on return, as the caller owns it no more
 * @param[in]     release  releases the data and clears the pointer; null for nothing to do
 * @return KMATH_OK, or the failure of releasing the old data: the holder is then empty and the new
 *         data still the caller's
 */
KMATH_API kmath_status ksys_jobParams_takeData(ksys_jobParams *params, void **data,
                                               kmath_status (*release)(void **data));

/** The holder's data, null if it holds none; used inside a job to read its record. */
KMATH_API kmath_status ksys_jobParams_getDataConst(const ksys_jobParams *params, const void **data);

/** A new, empty set of jobs. */
KMATH_API kmath_status ksys_jobRequestSet_construct(ksys_jobRequestSet *set);

/**
 * Releases the data of all jobs, run or not, and the set's memory; the first failure of a release
 * is returned once everything is released.
 */
KMATH_API kmath_status ksys_jobRequestSet_destruct(ksys_jobRequestSet *set);

/**
 * Adds a job with the holder's current data. The set owns the data from then on, and the holder is
 * empty and can be filled for the next job.
 *
 * @param[in,out] set     the set
 * @param[in]     job     called with a holder of the data, on any thread
 * @param[in,out] params  the holder
 * @return KMATH_OK, or KMATH_ERR_NO_MEMORY: set and holder are then unchanged
 */
KMATH_API kmath_status ksys_jobRequestSet_addFuncAndParams(ksys_jobRequestSet *set,
                                                           ksys_jobFunc job,
                                                           ksys_jobParams *params);

/** A new, empty set of results. */
KMATH_API kmath_status ksys_jobResultSet_construct(ksys_jobResultSet *results);

/** Gives the results' memory back. */
KMATH_API kmath_status ksys_jobResultSet_destruct(ksys_jobResultSet *results);

/* Generic vector.

   What typed vectors stand on: each of these functions is that of containers.h under the same name,
   for elements of any size. Elements whose table has no constructCopy are plain memory: they move
   bytewise, and are cleared to zero where they are constructed empty. Others are only ever copied
   and destructed by their operations, and an operation that needs them elsewhere copies all of them
   before it destructs the old ones. Room grows by half at least. A failing operation leaves the
   vector valid, with the elements that it had; a failing constructor leaves nothing to destruct.
   But dropped elements are gone even if destructing one of them fails: the others are destructed
   too, and the first failure is returned. Old elements that copies have replaced are destructed
   whatever that gives.
   Failures are KMATH_ERR_BAD_DIMENSIONS for a position or count beyond the vector,
   KMATH_ERR_NO_MEMORY, KMATH_ERR_FAILED for two vectors of different element sizes, or those of the
   tables. Tables must outlive the vector. */

/**
 * Element operations: all four, or all null for plain memory. One that fails or throws leaves
 * nothing to destruct; destruct must not throw.
 */
typedef struct kstd_vectorEtable {
    kmath_status (*constructEmpty)(void *element);                    /**< a new, empty element */
    kmath_status (*constructCopy)(void *element, const void *source); /**< a new copy of source */
    kmath_status (*assign)(void *element, const void *source);        /**< overwrite by source; a
                                                                           vector copies instead */
    kmath_status (*destruct)(void *element);                          /**< release the element */
    const void *endMark;                                              /**< null */
} kstd_vectorEtable;

/**
 * Where a vector takes its memory from, as the memory service does, which is the default; no entry
 * is null.
 */
typedef struct kstd_vectorMtable {
    kmath_status (*alloc)(void **block, size_t bytes);   /**< a new block */
    kmath_status (*realloc)(void **block, size_t bytes); /**< a block of another size */
    kmath_status (*release)(void **block);               /**< gives a block back */
} kstd_vectorMtable;

/** A growable run of elements of one size. */
typedef struct kstd_vector_ {
    void *begin;                     /**< first element, or null */
    size_t size;                     /**< number of elements */
    size_t capacity;                 /**< elements that the block has room for */
    size_t elementSize;              /**< bytes of one element */
    const kstd_vectorEtable *etable; /**< element operations */
    const kstd_vectorMtable *mtable; /**< memory operations; null for the memory service */
} kstd_vector_;

/** Tells whether two elements are equal: 1 or 0. */
typedef kmath_status (*kstd_vectorElementTest)(const void *a, const void *b, uint32_t *equal);

/** A new vector of n empty elements. */
KMATH_API kmath_status kstd_vector__construct(kstd_vector_ *vector, size_t elementSize,
                                              const kstd_vectorEtable *etable, size_t n);

/** A new vector of n empty elements with memory from the table; null for the memory service. */
KMATH_API kmath_status kstd_vector__constructWithMtable(kstd_vector_ *vector, size_t elementSize,
                                                        const kstd_vectorEtable *etable, size_t n,
                                                        const kstd_vectorMtable *mtable);

/** A new vector without elements; takes no memory and cannot fail. */
KMATH_API kmath_status kstd_vector__constructEmpty(kstd_vector_ *vector, size_t elementSize,
                                                   const kstd_vectorEtable *etable);

/** A new vector without elements, to take its memory from the table. */
KMATH_API kmath_status kstd_vector__constructEmptyWithMtable(kstd_vector_ *vector,
                                                             size_t elementSize,
                                                             const kstd_vectorEtable *etable,
                                                             const kstd_vectorMtable *mtable);

/**
 * A new vector with room for n elements that the caller constructs, all of them, before any other
 * use of the vector.
 */
KMATH_API kmath_status kstd_vector__constructUninit(kstd_vector_ *vector, size_t elementSize,
                                                    const kstd_vectorEtable *etable, size_t n);

/** A new vector of n copies of an element. */
KMATH_API kmath_status kstd_vector__constructFill(kstd_vector_ *vector, size_t elementSize,
                                                  const kstd_vectorEtable *etable, size_t n,
                                                  const void *fill);

/** A new vector of copies of n elements in a row. */
KMATH_API kmath_status kstd_vector__constructFromBlock(kstd_vector_ *vector, size_t elementSize,
                                                       const kstd_vectorEtable *etable,
                                                       const void *elements, size_t n);

/** A new copy of a vector, with its element size and its tables. */
KMATH_API kmath_status kstd_vector__constructCopy(kstd_vector_ *vector, const kstd_vector_ *source);

/** Destructs the elements and gives the memory back; the vector may be filled again. */
KMATH_API kmath_status kstd_vector__destruct(kstd_vector_ *vector);

/**
 * Puts a new empty vector, allocated from the memory service, into a handle; what the handle holds
 * is deleted first, and it is null on failure. It must be null before its first use.
 */
KMATH_API kmath_status kstd_vector__new(kstd_vector_ **handle, size_t elementSize,
                                        const kstd_vectorEtable *etable);

/**
 * Puts a new copy of a vector into a handle; what the handle holds is deleted first. A null source
 * only deletes, and a handle of the source itself stays as it is. On failure the handle is null.
 * The copy's memory is from the memory service, whatever table the source has.
 */
KMATH_API kmath_status kstd_vector__newClone(kstd_vector_ **handle, const kstd_vector_ *source);

/** Destructs the vector that a handle holds, frees it and sets the handle to null. */
KMATH_API kmath_status kstd_vector__delete(kstd_vector_ **handle);

/** Makes a vector a copy of another one of the same element size; the tables stay. */
KMATH_API kmath_status kstd_vector__assign(kstd_vector_ *vector, const kstd_vector_ *source);

/** Makes a vector hold copies of n elements in a row. */
KMATH_API kmath_status kstd_vector__assignElements(kstd_vector_ *vector, const void *elements,
                                                   size_t n);

/** Adds copies of all elements of a vector, which may be the same one, behind the last. */
KMATH_API kmath_status kstd_vector__append(kstd_vector_ *vector, const kstd_vector_ *source);

/** Exchanges two vectors, tables included; cannot fail. */
KMATH_API kmath_status kstd_vector__swap(kstd_vector_ *a, kstd_vector_ *b);

/** Destructs all elements and keeps the memory. */
KMATH_API kmath_status kstd_vector__clear(kstd_vector_ *vector);

/** Destructs all elements and gives the memory back. */
KMATH_API kmath_status kstd_vector__clearAndFreeMemory(kstd_vector_ *vector);

/** Makes room for that many elements in all; never takes room away. */
KMATH_API kmath_status kstd_vector__reserve(kstd_vector_ *vector, size_t capacity);

/** Drops the elements from n on, or adds empty ones up to n. */
KMATH_API kmath_status kstd_vector__resize(kstd_vector_ *vector, size_t n);

/** Drops the elements from n on, or adds copies of an element up to n. */
KMATH_API kmath_status kstd_vector__resizeFill(kstd_vector_ *vector, size_t n, const void *fill);

/**
 * Drops the elements from n on, or adds room up to n for elements that the caller constructs, all
 * of them, before any other use of the vector.
 */
KMATH_API kmath_status kstd_vector__resizeUninit(kstd_vector_ *vector, size_t n);

/** Adds a copy of an element behind the last. */
KMATH_API kmath_status kstd_vector__pushBack(kstd_vector_ *vector, const void *element);

/** Drops the last element; KMATH_ERR_BAD_DIMENSIONS where there is none. */
KMATH_API kmath_status kstd_vector__popBack(kstd_vector_ *vector);

/** Inserts copies of n elements in a row before a position in [0, size]. */
KMATH_API kmath_status kstd_vector__insert(kstd_vector_ *vector, size_t position,
                                           const void *elements, size_t n);

/** Inserts a copy of an element before a position in [0, size]. */
KMATH_API kmath_status kstd_vector__insertElement(kstd_vector_ *vector, size_t position,
                                                  const void *element);

/** Drops n elements from a position on; position + n must not exceed the size. */
KMATH_API kmath_status kstd_vector__erase(kstd_vector_ *vector, size_t position, size_t n);

/** Drops the element at a position in [0, size). */
KMATH_API kmath_status kstd_vector__eraseElement(kstd_vector_ *vector, size_t position);

/** The first element; null or an address not to be used while the vector is empty. */
KMATH_API kmath_status kstd_vector__getBegin(kstd_vector_ *vector, void **begin);

/** The first element, for reading. */
KMATH_API kmath_status kstd_vector__getBeginConst(const kstd_vector_ *vector, const void **begin);

/** The first element and one past the last. */
KMATH_API kmath_status kstd_vector__getBeginEnd(kstd_vector_ *vector, void **begin, void **end);

/** The first element and one past the last, for reading. */
KMATH_API kmath_status kstd_vector__getBeginEndConst(const kstd_vector_ *vector, const void **begin,
                                                     const void **end);

/** The first element and the number of elements. */
KMATH_API kmath_status kstd_vector__getBeginSize(kstd_vector_ *vector, void **begin, size_t *size);

/** The first element, for reading, and the number of elements. */
KMATH_API kmath_status kstd_vector__getBeginSizeConst(const kstd_vector_ *vector,
                                                      const void **begin, size_t *size);

/**
 * The first element and the number of elements; above INT32_MAX of them KMATH_ERR_FAILED, with
 * INT32_MAX as the number.
 */
KMATH_API kmath_status kstd_vector__getBeginSize32(kstd_vector_ *vector, void **begin,
                                                   int32_t *size);

/** The first element, for reading, and the number of elements, as getBeginSize32. */
KMATH_API kmath_status kstd_vector__getBeginSize32Const(const kstd_vector_ *vector,
                                                        const void **begin, int32_t *size);

/** The first element and the number of elements, signed. */
KMATH_API kmath_status kstd_vector__getBeginSizeIntPtr(kstd_vector_ *vector, void **begin,
                                                       intptr_t *size);

/** The first element, for reading, and the number of elements, signed. */
KMATH_API kmath_status kstd_vector__getBeginSizeIntPtrConst(const kstd_vector_ *vector,
                                                            const void **begin, intptr_t *size);

/** The element at a position in [0, size); beyond, KMATH_ERR_BAD_DIMENSIONS and null. */
KMATH_API kmath_status kstd_vector__getElement(kstd_vector_ *vector, size_t index, void **element);

/** The element at a position, for reading, as getElement. */
KMATH_API kmath_status kstd_vector__getElementConst(const kstd_vector_ *vector, size_t index,
                                                    const void **element);

/**
 * Steps from an element to the one behind it: from null to the first, from the last to null. An
 * address that is none of the elements gives KMATH_ERR_BAD_DIMENSIONS and null.
 */
KMATH_API kmath_status kstd_vector__getNextElement(kstd_vector_ *vector, void **element);

/** Steps from an element to the one behind it, for reading, as getNextElement. */
KMATH_API kmath_status kstd_vector__getNextElementConst(const kstd_vector_ *vector,
                                                        const void **element);

/** The number of elements; above INT32_MAX KMATH_ERR_FAILED, with INT32_MAX as the number. */
KMATH_API kmath_status kstd_vector__getSize(const kstd_vector_ *vector, int32_t *size);

/** The number of elements, as getSize. */
KMATH_API kmath_status kstd_vector__getSize32(const kstd_vector_ *vector, int32_t *size);

/** The number of elements, as a signed number that holds any of them. */
KMATH_API kmath_status kstd_vector__getSizeIntPtr(const kstd_vector_ *vector, intptr_t *size);

/** The number of elements that there is room for. */
KMATH_API kmath_status kstd_vector__getCapacity(const kstd_vector_ *vector, size_t *capacity);

/** The bytes of one element. */
KMATH_API kmath_status kstd_vector__getElementSize(const kstd_vector_ *vector, size_t *elementSize);

/**
 * 1 when two vectors have the same number of elements of the same size and the test finds each pair
 * equal; otherwise 0. A failing test ends the comparison with its status.
 */
KMATH_API kmath_status kstd_vector__compareEqual(const kstd_vector_ *a, const kstd_vector_ *b,
                                                 kstd_vectorElementTest test, uint32_t *equal);

/* Vectors of doubles and of flags: generic vectors of plain memory. */

/** A growable run of doubles. */
typedef struct kstd_vectord {
    kstd_vector_ vector; /**< the elements */
} kstd_vectord;

/** A growable run of flags, one int32_t each. */
typedef struct kstd_vectorb {
    kstd_vector_ vector; /**< the elements */
} kstd_vectorb;

/** A new vector without elements; takes no memory and cannot fail. */
KMATH_API kmath_status kstd_vectord_construct(kstd_vectord *vector);

/** A new vector of n doubles of one value; KMATH_ERR_NO_MEMORY leaves nothing to destruct. */
KMATH_API kmath_status kstd_vectord_constructFill(kstd_vectord *vector, size_t n, double value);

/** Gives the memory back; the vector is empty then and may be filled again. */
KMATH_API kmath_status kstd_vectord_destruct(kstd_vectord *vector);

/**
 * Drops the doubles from n on, or adds zeros up to n; on KMATH_ERR_NO_MEMORY all stays as it was.
 */
KMATH_API kmath_status kstd_vectord_resize(kstd_vectord *vector, size_t n);

/** The first double; null or an address not to be used while the vector is empty. */
KMATH_API kmath_status kstd_vectord_getBegin(const kstd_vectord *vector, double **begin);

/** The number of doubles; above INT32_MAX KMATH_ERR_FAILED, with INT32_MAX as the number. */
KMATH_API kmath_status kstd_vectord_getSize(const kstd_vectord *vector, int32_t *size);

/** A new vector without elements; takes no memory and cannot fail. */
KMATH_API kmath_status kstd_vectorb_construct(kstd_vectorb *vector);

/** A new vector of n flags of one value; KMATH_ERR_NO_MEMORY leaves nothing to destruct. */
KMATH_API kmath_status kstd_vectorb_constructFill(kstd_vectorb *vector, size_t n, int32_t value);

/** Gives the memory back; the vector is empty then and may be filled again. */
KMATH_API kmath_status kstd_vectorb_destruct(kstd_vectorb *vector);

/**
 * Drops the flags from n on, or adds zeros up to n; on KMATH_ERR_NO_MEMORY all stays as it was.
 */
KMATH_API kmath_status kstd_vectorb_resize(kstd_vectorb *vector, size_t n);

/** The first flag; null or an address not to be used while the vector is empty. */
KMATH_API kmath_status kstd_vectorb_getBegin(const kstd_vectorb *vector, int32_t **begin);

/** The number of flags; above INT32_MAX KMATH_ERR_FAILED, with INT32_MAX as the number. */
KMATH_API kmath_status kstd_vectorb_getSize(const kstd_vectorb *vector, int32_t *size);

/* Objects.

   An object begins with the address of its interface table. It can be passed on as a kxObject to
   code that knows it by the names of its interfaces only, and asked there for the one that is
   wanted. Names are compared character by character. Tables must outlive their objects. */

/** The header of every object. */
typedef struct kxObject {
    const struct kxObjectInterface *table; /**< what the object can be asked */
} kxObject;

/** What every object can be asked; the interface tables of all kinds begin with it. */
typedef struct kxObjectInterface {
    /** As kxObject_queryInterfaceByTypename; a name that is not its own ends with …Final. */
    kmath_status (*queryInterfaceByTypename_)(kxObject *object, const wchar_t *name, void **result);
    /** As kxObject_getTypename. */
    kmath_status (*getTypename)(const kxObject *object, const wchar_t **name);
} kxObjectInterface;

/** The name of an object's own interface, through its table; the string belongs to the object. */
KMATH_API kmath_status kxObject_getTypename(const kxObject *object, const wchar_t **name);

/**
 * Asks an object, through its table, for the interface of a name.
 *
 * @param[in]  object  the object, or null
 * @param[in]  name    such as L"kstd_vectorShareable"
 * @param[out] result  the object as the record of that name, still owned by whoever owns it; null
 *                     for a name that it does not know, and for a null object
 * @return KMATH_OK, for an unknown name too, or what the table's own function gives
 */
KMATH_API kmath_status kxObject_queryInterfaceByTypename(kxObject *object, const wchar_t *name,
                                                         void **result);

/** The last to be asked: knows the name L"kxObject" only, and does not use the table. */
KMATH_API kmath_status kxObject_queryInterfaceByTypenameFinal(kxObject *object, const wchar_t *name,
                                                              void **result);

/* Shareable vectors: objects that hold a generic vector.

   What the typed ones of containers.h stand on, and how code sees them that does not know their
   elements. The memory of an object and of its elements comes from the memory service, whatever
   memory table a source has. */

/** The interface table of a shareable vector. */
typedef struct kstd_vectorShareableInterface {
    kxObjectInterface object;          /**< what every object can be asked */
    const kstd_vectorEtable *elements; /**< element operations; null for plain memory */
} kstd_vectorShareableInterface;

/** An object that holds a growable run of elements of one size. */
typedef struct kstd_vectorShareable {
    kxObject object;     /**< the header; its table is a kstd_vectorShareableInterface */
    kstd_vector_ vector; /**< the elements; the generic operations take its address */
} kstd_vectorShareable;

/**
 * Allocates an object with a vector of n empty elements.
 *
 * @param[out] handle       the object; null on failure. What it held before is not looked at.
 * @param[in]  table        the object's interface
 * @param[in]  elementSize  bytes of one element
 * @param[in]  etable       element operations; null for plain memory
 * @param[in]  n            number of elements
 * @return KMATH_OK, KMATH_ERR_NO_MEMORY or the status of constructing an element
 */
KMATH_API kmath_status kstd_vectorShareable_construct(kstd_vectorShareable **handle,
                                                      const kstd_vectorShareableInterface *table,
                                                      size_t elementSize,
                                                      const kstd_vectorEtable *etable, size_t n);

/** Allocates a copy of an object, with its interface; otherwise as construct. */
KMATH_API kmath_status kstd_vectorShareable_constructCopy(kstd_vectorShareable **handle,
                                                          const kstd_vectorShareable *source);

/** Allocates an object with a copy of a vector; otherwise as construct. */
KMATH_API kmath_status kstd_vectorShareable_constructVector(
    kstd_vectorShareable **handle, const kstd_vectorShareableInterface *table,
    const kstd_vector_ *source);

/**
 * Puts a new object without elements into a handle; what the handle holds is deleted first, and it
 * is null on failure. It must be null before its first use.
 */
KMATH_API kmath_status kstd_vectorShareable_new(kstd_vectorShareable **handle,
                                                const kstd_vectorShareableInterface *table,
                                                size_t elementSize,
                                                const kstd_vectorEtable *etable);

/**
 * Puts a new copy of an object into a handle; what the handle holds is deleted first. A null source
 * only deletes, and a handle of the source itself stays as it is. On failure the handle is null.
 */
KMATH_API kmath_status kstd_vectorShareable_newClone(kstd_vectorShareable **handle,
                                                     const kstd_vectorShareable *source);

/** Destructs the object that a handle holds, frees it and sets the handle to null. */
KMATH_API kmath_status kstd_vectorShareable_delete(kstd_vectorShareable **handle);

/** As kxObject_queryInterfaceByTypename. */
KMATH_API kmath_status kstd_vectorShareable_queryInterfaceByTypename(kstd_vectorShareable *object,
                                                                     const wchar_t *name,
                                                                     void **result);

/**
 * Where a table's own function goes on with a name that is not its own: knows the name
 * L"kstd_vectorShareable" and otherwise ends with kxObject_queryInterfaceByTypenameFinal. Does not
 * use the table.
 */
KMATH_API kmath_status kstd_vectorShareable_queryInterfaceByTypenameFinal(
    kstd_vectorShareable *object, const wchar_t *name, void **result);

#ifdef __cplusplus
}
#endif

#endif
