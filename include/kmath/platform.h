/**
 * @file
 * Services that a host may replace: the assertion hook, memory, the clean-up
 * stack, the job library, and the generic, double and flag vectors.
 *
 * Each service is exported and weak. A host replaces one by defining a function
 * of the same name and signature in an object of its own. The defaults keep no
 * global state.
 */
#ifndef KMATH_PLATFORM_H
#define KMATH_PLATFORM_H

#include <kmath/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Assertion hook. */

KMATH_API void kstd_assert_(int32_t line);

/* Memory. */

KMATH_API kmath_status ksys_memory_alloc_internal(void **block, size_t bytes);
KMATH_API kmath_status ksys_memory_allocClear_internal(void **block, size_t bytes);
KMATH_API kmath_status ksys_memory_realloc_internal(void **block, size_t bytes);
KMATH_API kmath_status ksys_memory_free_internal(void **block);
KMATH_API kmath_status ksys_memory_copy(void *to, const void *from, size_t bytes);
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

KMATH_API uint32_t ksys_cleanup_getNextTag(void);
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

KMATH_API kmath_status ksys_jobThreadGroup_construct(ksys_jobThreadGroup *group);
KMATH_API kmath_status ksys_jobThreadGroup_destruct(ksys_jobThreadGroup *group);
KMATH_API kmath_status ksys_jobThreadGroup_dispatchAndWait(ksys_jobThreadGroup *group,
                                                           const ksys_jobRequestSet *set,
                                                           ksys_jobResultSet *results);
KMATH_API kmath_status ksys_jobGetCurrentThreadState(int32_t *threads,
                                                     const ksys_jobThreadGroup *group);
KMATH_API kmath_status ksys_jobParams_construct(ksys_jobParams *params);
KMATH_API kmath_status ksys_jobParams_destruct(ksys_jobParams *params);
KMATH_API kmath_status ksys_jobParams_takeData(ksys_jobParams *params, void **data,
                                               kmath_status (*release)(void **data));
KMATH_API kmath_status ksys_jobParams_getDataConst(const ksys_jobParams *params, const void **data);
KMATH_API kmath_status ksys_jobRequestSet_construct(ksys_jobRequestSet *set);
KMATH_API kmath_status ksys_jobRequestSet_destruct(ksys_jobRequestSet *set);
KMATH_API kmath_status ksys_jobRequestSet_addFuncAndParams(ksys_jobRequestSet *set,
                                                           ksys_jobFunc job,
                                                           ksys_jobParams *params);
KMATH_API kmath_status ksys_jobResultSet_construct(ksys_jobResultSet *results);
KMATH_API kmath_status ksys_jobResultSet_destruct(ksys_jobResultSet *results);

/* Generic vector. */

/** Element operations; a null entry means that elements are plain memory. */
typedef struct kstd_vectorEtable {
    kmath_status (*constructEmpty)(void *element);                    /**< a new, empty element */
    kmath_status (*constructCopy)(void *element, const void *source); /**< a new copy of source */
    kmath_status (*assign)(void *element, const void *source);        /**< overwrite by source */
    kmath_status (*destruct)(void *element);                          /**< release the element */
    const void *endMark;                                              /**< null */
} kstd_vectorEtable;

/** Where a vector takes its memory from; the default is the memory service. */
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

KMATH_API kmath_status kstd_vector__construct(kstd_vector_ *vector, size_t elementSize,
                                              const kstd_vectorEtable *etable, size_t n);
KMATH_API kmath_status kstd_vector__constructWithMtable(kstd_vector_ *vector, size_t elementSize,
                                                        const kstd_vectorEtable *etable, size_t n,
                                                        const kstd_vectorMtable *mtable);
KMATH_API kmath_status kstd_vector__constructEmpty(kstd_vector_ *vector, size_t elementSize,
                                                   const kstd_vectorEtable *etable);
KMATH_API kmath_status kstd_vector__constructEmptyWithMtable(kstd_vector_ *vector,
                                                             size_t elementSize,
                                                             const kstd_vectorEtable *etable,
                                                             const kstd_vectorMtable *mtable);
KMATH_API kmath_status kstd_vector__constructUninit(kstd_vector_ *vector, size_t elementSize,
                                                    const kstd_vectorEtable *etable, size_t n);
KMATH_API kmath_status kstd_vector__constructFill(kstd_vector_ *vector, size_t elementSize,
                                                  const kstd_vectorEtable *etable, size_t n,
                                                  const void *fill);
KMATH_API kmath_status kstd_vector__constructFromBlock(kstd_vector_ *vector, size_t elementSize,
                                                       const kstd_vectorEtable *etable,
                                                       const void *elements, size_t n);
KMATH_API kmath_status kstd_vector__constructCopy(kstd_vector_ *vector, const kstd_vector_ *source);
KMATH_API kmath_status kstd_vector__destruct(kstd_vector_ *vector);
KMATH_API kmath_status kstd_vector__new(kstd_vector_ **handle, size_t elementSize,
                                        const kstd_vectorEtable *etable);
KMATH_API kmath_status kstd_vector__newClone(kstd_vector_ **handle, const kstd_vector_ *source);
KMATH_API kmath_status kstd_vector__delete(kstd_vector_ **handle);

KMATH_API kmath_status kstd_vector__assign(kstd_vector_ *vector, const kstd_vector_ *source);
KMATH_API kmath_status kstd_vector__assignElements(kstd_vector_ *vector, const void *elements,
                                                   size_t n);
KMATH_API kmath_status kstd_vector__append(kstd_vector_ *vector, const kstd_vector_ *source);
KMATH_API kmath_status kstd_vector__swap(kstd_vector_ *a, kstd_vector_ *b);
KMATH_API kmath_status kstd_vector__clear(kstd_vector_ *vector);
KMATH_API kmath_status kstd_vector__clearAndFreeMemory(kstd_vector_ *vector);
KMATH_API kmath_status kstd_vector__reserve(kstd_vector_ *vector, size_t capacity);
KMATH_API kmath_status kstd_vector__resize(kstd_vector_ *vector, size_t n);
KMATH_API kmath_status kstd_vector__resizeFill(kstd_vector_ *vector, size_t n, const void *fill);
KMATH_API kmath_status kstd_vector__resizeUninit(kstd_vector_ *vector, size_t n);
KMATH_API kmath_status kstd_vector__pushBack(kstd_vector_ *vector, const void *element);
KMATH_API kmath_status kstd_vector__popBack(kstd_vector_ *vector);
KMATH_API kmath_status kstd_vector__insert(kstd_vector_ *vector, size_t position,
                                           const void *elements, size_t n);
KMATH_API kmath_status kstd_vector__insertElement(kstd_vector_ *vector, size_t position,
                                                  const void *element);
KMATH_API kmath_status kstd_vector__erase(kstd_vector_ *vector, size_t position, size_t n);
KMATH_API kmath_status kstd_vector__eraseElement(kstd_vector_ *vector, size_t position);

KMATH_API kmath_status kstd_vector__getBegin(kstd_vector_ *vector, void **begin);
KMATH_API kmath_status kstd_vector__getBeginConst(const kstd_vector_ *vector, const void **begin);
KMATH_API kmath_status kstd_vector__getBeginEnd(kstd_vector_ *vector, void **begin, void **end);
KMATH_API kmath_status kstd_vector__getBeginEndConst(const kstd_vector_ *vector, const void **begin,
                                                     const void **end);
KMATH_API kmath_status kstd_vector__getBeginSize(kstd_vector_ *vector, void **begin, size_t *size);
KMATH_API kmath_status kstd_vector__getBeginSizeConst(const kstd_vector_ *vector,
                                                      const void **begin, size_t *size);
KMATH_API kmath_status kstd_vector__getBeginSize32(kstd_vector_ *vector, void **begin,
                                                   int32_t *size);
KMATH_API kmath_status kstd_vector__getBeginSize32Const(const kstd_vector_ *vector,
                                                        const void **begin, int32_t *size);
KMATH_API kmath_status kstd_vector__getBeginSizeIntPtr(kstd_vector_ *vector, void **begin,
                                                       intptr_t *size);
KMATH_API kmath_status kstd_vector__getBeginSizeIntPtrConst(const kstd_vector_ *vector,
                                                            const void **begin, intptr_t *size);
KMATH_API kmath_status kstd_vector__getElement(kstd_vector_ *vector, size_t index, void **element);
KMATH_API kmath_status kstd_vector__getElementConst(const kstd_vector_ *vector, size_t index,
                                                    const void **element);
KMATH_API kmath_status kstd_vector__getNextElement(kstd_vector_ *vector, void **element);
KMATH_API kmath_status kstd_vector__getNextElementConst(const kstd_vector_ *vector,
                                                        const void **element);
KMATH_API kmath_status kstd_vector__getSize(const kstd_vector_ *vector, int32_t *size);
KMATH_API kmath_status kstd_vector__getSize32(const kstd_vector_ *vector, int32_t *size);
KMATH_API kmath_status kstd_vector__getSizeIntPtr(const kstd_vector_ *vector, intptr_t *size);
KMATH_API kmath_status kstd_vector__getCapacity(const kstd_vector_ *vector, size_t *capacity);
KMATH_API kmath_status kstd_vector__getElementSize(const kstd_vector_ *vector, size_t *elementSize);
KMATH_API kmath_status kstd_vector__compareEqual(const kstd_vector_ *a, const kstd_vector_ *b,
                                                 kstd_vectorElementTest test, uint32_t *equal);

/* Vectors of doubles and of flags. */

/** A growable run of doubles. */
typedef struct kstd_vectord {
    kstd_vector_ vector; /**< the elements */
} kstd_vectord;

/** A growable run of flags, one int32_t each. */
typedef struct kstd_vectorb {
    kstd_vector_ vector; /**< the elements */
} kstd_vectorb;

KMATH_API kmath_status kstd_vectord_construct(kstd_vectord *vector);
KMATH_API kmath_status kstd_vectord_constructFill(kstd_vectord *vector, size_t n, double value);
KMATH_API kmath_status kstd_vectord_destruct(kstd_vectord *vector);
KMATH_API kmath_status kstd_vectord_resize(kstd_vectord *vector, size_t n);
KMATH_API kmath_status kstd_vectord_getBegin(const kstd_vectord *vector, double **begin);
KMATH_API kmath_status kstd_vectord_getSize(const kstd_vectord *vector, int32_t *size);

KMATH_API kmath_status kstd_vectorb_construct(kstd_vectorb *vector);
KMATH_API kmath_status kstd_vectorb_constructFill(kstd_vectorb *vector, size_t n, int32_t value);
KMATH_API kmath_status kstd_vectorb_destruct(kstd_vectorb *vector);
KMATH_API kmath_status kstd_vectorb_resize(kstd_vectorb *vector, size_t n);
KMATH_API kmath_status kstd_vectorb_getBegin(const kstd_vectorb *vector, int32_t **begin);
KMATH_API kmath_status kstd_vectorb_getSize(const kstd_vectorb *vector, int32_t *size);

#ifdef __cplusplus
}
#endif

#endif
