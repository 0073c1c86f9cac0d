/**
 * @file
 * The operations of one typed vector; containers.h includes this file once for
 * each element type that vector_types.h lists. Read on its own it declares the
 * vector of kmath_vect3.
 */
#include <kmath/platform.h>

#ifndef KSTD_ELEMENT
#include <kmath/vectors.h>
#define KSTD_ELEMENT kmath_vect3
#define KSTD_VECTOR  kstd_vector_kmath_vect3
#endif

/* The name of an operation: the vector's, an underscore, the operation's. */
#ifndef KSTD_OPERATION
#define KSTD_OPERATION(operation)   KSTD_JOIN(KSTD_VECTOR, operation)
#define KSTD_JOIN(type, operation)  KSTD_JOIN_(type, operation)
#define KSTD_JOIN_(type, operation) type##_##operation
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A growable run of elements of one type. */
typedef struct KSTD_VECTOR {
    kstd_vector_ vector; /**< the elements; the generic operations take its address */
} KSTD_VECTOR;

/* Life. */

/** A new vector of n empty elements. */
KMATH_API kmath_status KSTD_OPERATION(construct)(KSTD_VECTOR *vector, size_t n);

/**
 * A new vector of n empty elements, whose memory comes from the table; null for the
 * memory service. The table must outlive the vector.
 */
KMATH_API kmath_status KSTD_OPERATION(constructWithMtable)(KSTD_VECTOR *vector, size_t n,
                                                           const kstd_vectorMtable *mtable);

/** A new vector without elements; takes no memory and cannot fail. */
KMATH_API kmath_status KSTD_OPERATION(constructEmpty)(KSTD_VECTOR *vector);

/**
 * A new vector without elements, whose memory will come from the table; null for the
 * memory service. The table must outlive the vector.
 */
KMATH_API kmath_status KSTD_OPERATION(constructEmptyWithMtable)(KSTD_VECTOR *vector,
                                                                const kstd_vectorMtable *mtable);

/**
 * A new vector with room for n elements that the caller constructs, all of them, before
 * any other use of the vector.
 */
KMATH_API kmath_status KSTD_OPERATION(constructUninit)(KSTD_VECTOR *vector, size_t n);

/** A new vector of n copies of an element. */
KMATH_API kmath_status KSTD_OPERATION(constructFill)(KSTD_VECTOR *vector, size_t n,
                                                     const KSTD_ELEMENT *fill);

/** A new vector of copies of n elements in a row. */
KMATH_API kmath_status KSTD_OPERATION(constructFromBlock)(KSTD_VECTOR *vector,
                                                          const KSTD_ELEMENT *elements, size_t n);

/** A new copy of a vector, with the same memory table. */
KMATH_API kmath_status KSTD_OPERATION(constructCopy)(KSTD_VECTOR *vector,
                                                     const KSTD_VECTOR *source);

/**
 * Destructs the elements and gives the memory back; the vector is empty then and may be
 * filled again. A constructor that fails needs no destruct.
 */
KMATH_API kmath_status KSTD_OPERATION(destruct)(KSTD_VECTOR *vector);

/**
 * Puts a new empty vector, allocated from the memory service, into a handle; one that the
 * handle holds already is deleted first. The handle must be null before its first use, and
 * is null on failure.
 */
KMATH_API kmath_status KSTD_OPERATION(new)(KSTD_VECTOR **handle);

/**
 * Puts a new copy of a vector into a handle in place of what it holds; for a null source
 * the handle's vector is deleted. A handle of the source itself stays as it is. On
 * failure the handle is null. The copy's memory is from the memory service, whatever table
 * the source has.
 */
KMATH_API kmath_status KSTD_OPERATION(newClone)(KSTD_VECTOR **handle, const KSTD_VECTOR *source);

/**
 * Destructs a handle's vector, frees it and sets the handle to null; a null handle's
 * content is left alone.
 */
KMATH_API kmath_status KSTD_OPERATION(delete)(KSTD_VECTOR **handle);

/* Content. */

/** Makes the vector a copy of another one; of itself, nothing happens. */
KMATH_API kmath_status KSTD_OPERATION(assign)(KSTD_VECTOR *vector, const KSTD_VECTOR *source);

/** Makes the vector hold copies of n elements in a row. */
KMATH_API kmath_status KSTD_OPERATION(assignElements)(KSTD_VECTOR *vector,
                                                      const KSTD_ELEMENT *elements, size_t n);

/** Adds copies of all elements of a vector, which may be the same one, behind the last. */
KMATH_API kmath_status KSTD_OPERATION(append)(KSTD_VECTOR *vector, const KSTD_VECTOR *source);

/** Exchanges the contents of two vectors, memory tables included; cannot fail. */
KMATH_API kmath_status KSTD_OPERATION(swap)(KSTD_VECTOR *a, KSTD_VECTOR *b);

/** Destructs all elements and keeps the memory. */
KMATH_API kmath_status KSTD_OPERATION(clear)(KSTD_VECTOR *vector);

/** Destructs all elements and gives the memory back. */
KMATH_API kmath_status KSTD_OPERATION(clearAndFreeMemory)(KSTD_VECTOR *vector);

/** Makes room for that many elements in all; never takes room away. */
KMATH_API kmath_status KSTD_OPERATION(reserve)(KSTD_VECTOR *vector, size_t capacity);

/** Drops the elements from n on, or adds empty ones up to n. */
KMATH_API kmath_status KSTD_OPERATION(resize)(KSTD_VECTOR *vector, size_t n);

/** Drops the elements from n on, or adds copies of an element up to n. */
KMATH_API kmath_status KSTD_OPERATION(resizeFill)(KSTD_VECTOR *vector, size_t n,
                                                  const KSTD_ELEMENT *fill);

/**
 * Drops the elements from n on, or adds room up to n for elements that the caller
 * constructs, all of them, before any other use of the vector.
 */
KMATH_API kmath_status KSTD_OPERATION(resizeUninit)(KSTD_VECTOR *vector, size_t n);

/** Adds a copy of an element behind the last. */
KMATH_API kmath_status KSTD_OPERATION(pushBack)(KSTD_VECTOR *vector, const KSTD_ELEMENT *element);

/** Drops the last element; KMATH_ERR_BAD_DIMENSIONS where there is none. */
KMATH_API kmath_status KSTD_OPERATION(popBack)(KSTD_VECTOR *vector);

/** Inserts copies of n elements in a row before a position in [0, size]. */
KMATH_API kmath_status KSTD_OPERATION(insert)(KSTD_VECTOR *vector, size_t position,
                                              const KSTD_ELEMENT *elements, size_t n);

/** Inserts a copy of an element before a position in [0, size]. */
KMATH_API kmath_status KSTD_OPERATION(insertElement)(KSTD_VECTOR *vector, size_t position,
                                                     const KSTD_ELEMENT *element);

/**
 * Drops n elements from a position on; position + n must not exceed the size. Elements
 * that own memory are copied to close a gap, so dropping them may fail.
 */
KMATH_API kmath_status KSTD_OPERATION(erase)(KSTD_VECTOR *vector, size_t position, size_t n);

/** Drops the element at a position in [0, size), like erase of one. */
KMATH_API kmath_status KSTD_OPERATION(eraseElement)(KSTD_VECTOR *vector, size_t position);

/* Access. */

/** The first element; null or an address not to be used while the vector is empty. */
KMATH_API kmath_status KSTD_OPERATION(getBegin)(KSTD_VECTOR *vector, KSTD_ELEMENT **begin);

/** The first element, for reading. */
KMATH_API kmath_status KSTD_OPERATION(getBeginConst)(const KSTD_VECTOR *vector,
                                                     const KSTD_ELEMENT **begin);

/** The first element and one past the last. */
KMATH_API kmath_status KSTD_OPERATION(getBeginEnd)(KSTD_VECTOR *vector, KSTD_ELEMENT **begin,
                                                   KSTD_ELEMENT **end);

/** The first element and one past the last, for reading. */
KMATH_API kmath_status KSTD_OPERATION(getBeginEndConst)(const KSTD_VECTOR *vector,
                                                        const KSTD_ELEMENT **begin,
                                                        const KSTD_ELEMENT **end);

/** The first element and the number of elements. */
KMATH_API kmath_status KSTD_OPERATION(getBeginSize)(KSTD_VECTOR *vector, KSTD_ELEMENT **begin,
                                                    size_t *size);

/** The first element, for reading, and the number of elements. */
KMATH_API kmath_status KSTD_OPERATION(getBeginSizeConst)(const KSTD_VECTOR *vector,
                                                         const KSTD_ELEMENT **begin, size_t *size);

/**
 * The first element and the number of elements; above INT32_MAX of them KMATH_ERR_FAILED,
 * with INT32_MAX as the number.
 */
KMATH_API kmath_status KSTD_OPERATION(getBeginSize32)(KSTD_VECTOR *vector, KSTD_ELEMENT **begin,
                                                      int32_t *size);

/** The first element, for reading, and the number of elements, as getBeginSize32. */
KMATH_API kmath_status KSTD_OPERATION(getBeginSize32Const)(const KSTD_VECTOR *vector,
                                                           const KSTD_ELEMENT **begin,
                                                           int32_t *size);

/** The first element and the number of elements, signed. */
KMATH_API kmath_status KSTD_OPERATION(getBeginSizeIntPtr)(KSTD_VECTOR *vector, KSTD_ELEMENT **begin,
                                                          intptr_t *size);

/** The first element, for reading, and the number of elements, signed. */
KMATH_API kmath_status KSTD_OPERATION(getBeginSizeIntPtrConst)(const KSTD_VECTOR *vector,
                                                               const KSTD_ELEMENT **begin,
                                                               intptr_t *size);

/** The element at a position in [0, size); beyond, KMATH_ERR_BAD_DIMENSIONS and null. */
KMATH_API kmath_status KSTD_OPERATION(getElement)(KSTD_VECTOR *vector, size_t index,
                                                  KSTD_ELEMENT **element);

/** The element at a position in [0, size), for reading, as getElement. */
KMATH_API kmath_status KSTD_OPERATION(getElementConst)(const KSTD_VECTOR *vector, size_t index,
                                                       const KSTD_ELEMENT **element);

/**
 * Steps from an element to the one behind it: from null to the first, from the last to
 * null. An address that is none of the elements gives KMATH_ERR_BAD_DIMENSIONS and null.
 */
KMATH_API kmath_status KSTD_OPERATION(getNextElement)(KSTD_VECTOR *vector, KSTD_ELEMENT **element);

/** Steps from an element to the one behind it, for reading, as getNextElement. */
KMATH_API kmath_status KSTD_OPERATION(getNextElementConst)(const KSTD_VECTOR *vector,
                                                           const KSTD_ELEMENT **element);

/** The number of elements; above INT32_MAX KMATH_ERR_FAILED, with INT32_MAX as the number. */
KMATH_API kmath_status KSTD_OPERATION(getSize)(const KSTD_VECTOR *vector, int32_t *size);

/** The number of elements, as getSize. */
KMATH_API kmath_status KSTD_OPERATION(getSize32)(const KSTD_VECTOR *vector, int32_t *size);

/** The number of elements, as a signed number that holds any of them. */
KMATH_API kmath_status KSTD_OPERATION(getSizeIntPtr)(const KSTD_VECTOR *vector, intptr_t *size);

/** The number of elements that there is room for. */
KMATH_API kmath_status KSTD_OPERATION(getCapacity)(const KSTD_VECTOR *vector, size_t *capacity);

/** The bytes of one element. */
KMATH_API kmath_status KSTD_OPERATION(getElementSize)(const KSTD_VECTOR *vector,
                                                      size_t *elementSize);

#ifndef KSTD_WITHOUT_COMPARE_EQUAL
/**
 * 1 when two vectors have the same number of elements, equal one by one by the element's
 * own compareEqual; otherwise 0.
 */
KMATH_API kmath_status KSTD_OPERATION(compareEqual)(const KSTD_VECTOR *a, const KSTD_VECTOR *b,
                                                    uint32_t *equal);
#endif

#ifdef __cplusplus
}
#endif

#undef KSTD_ELEMENT
#undef KSTD_VECTOR
#undef KSTD_WITHOUT_COMPARE_EQUAL
