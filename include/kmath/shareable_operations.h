/**
 * @file
 * The operations of one shareable vector; containers.h includes this file once
 * for each element type that vector_types.h lists. Read on its own it declares
 * kstd_vector_kmath_vect3Shareable.
 */
#ifndef KSTD_ELEMENT
#include <kmath/vector_operations.h>
#define KSTD_ELEMENT kmath_vect3
#define KSTD_VECTOR  kstd_vector_kmath_vect3
#endif

/* The object's name: the vector's, and Shareable. Its operations are named as the vector's are. */
#ifndef KSTD_SHAREABLE
#define KSTD_SHAREABLE                      KSTD_SHARE(KSTD_VECTOR)
#define KSTD_SHARE(vector)                  KSTD_SHARE_(vector)
#define KSTD_SHARE_(vector)                 vector##Shareable
#define KSTD_SHAREABLE_OPERATION(operation) KSTD_JOIN(KSTD_SHAREABLE, operation)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An object that holds a vector of elements of one type. */
typedef struct KSTD_SHAREABLE {
    kxObject object;    /**< the header; its table is a kstd_vectorShareableInterface */
    KSTD_VECTOR vector; /**< the elements; the vector's operations take its address */
} KSTD_SHAREABLE;

/* Life. */

/**
 * Allocates an object with n empty elements into a handle, which is null on failure. What
 * the handle held before is not looked at.
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(construct)(KSTD_SHAREABLE **handle, size_t n);

/** Allocates a copy of an object; otherwise as construct. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(constructCopy)(KSTD_SHAREABLE **handle,
                                                               const KSTD_SHAREABLE *source);

/** Allocates an object with copies of a vector's elements; otherwise as construct. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(constructVector)(KSTD_SHAREABLE **handle,
                                                                 const KSTD_VECTOR *source);

/** Allocates an object without elements; otherwise as construct. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(constructEmpty)(KSTD_SHAREABLE **handle);

/**
 * Puts a new object without elements into a handle; one that the handle holds already is
 * deleted first. The handle must be null before its first use, and is null on failure.
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(new)(KSTD_SHAREABLE **handle);

/**
 * Puts a new copy of an object into a handle in place of what it holds; for a null source
 * the handle's object is deleted. A handle of the source itself stays as it is. On
 * failure the handle is null.
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(newClone)(KSTD_SHAREABLE **handle,
                                                          const KSTD_SHAREABLE *source);

/**
 * Destructs a handle's object with its elements, frees it and sets the handle to null; a
 * null handle's content is left alone.
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(delete)(KSTD_SHAREABLE **handle);

/** The same as delete. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(destruct)(KSTD_SHAREABLE **handle);

/* Content. */

/** Makes the object's elements copies of another one's; of itself, nothing happens. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(assign)(KSTD_SHAREABLE *object,
                                                        const KSTD_SHAREABLE *source);

/** Makes the object's elements copies of a vector's, which may be its own. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(assignVector)(KSTD_SHAREABLE *object,
                                                              const KSTD_VECTOR *source);

/** Makes the object hold copies of n elements in a row. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(assignElements)(KSTD_SHAREABLE *object,
                                                                const KSTD_ELEMENT *elements,
                                                                size_t n);

/** Destructs all elements and gives their memory back. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(reset)(KSTD_SHAREABLE *object);

/** Makes room for that many elements in all; never takes room away. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(reserve)(KSTD_SHAREABLE *object, size_t capacity);

/** Drops the elements from n on, or adds empty ones up to n. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(resize)(KSTD_SHAREABLE *object, size_t n);

/** Adds a copy of an element behind the last. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(pushBack)(KSTD_SHAREABLE *object,
                                                          const KSTD_ELEMENT *element);

/* Access. */

/** The first element and one past the last. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getBeginEnd)(KSTD_SHAREABLE *object,
                                                             KSTD_ELEMENT **begin,
                                                             KSTD_ELEMENT **end);

/** The first element and one past the last, for reading. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getBeginEndConst)(const KSTD_SHAREABLE *object,
                                                                  const KSTD_ELEMENT **begin,
                                                                  const KSTD_ELEMENT **end);

/** The first element and the number of elements. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getBeginSize)(KSTD_SHAREABLE *object,
                                                              KSTD_ELEMENT **begin, size_t *size);

/** The first element, for reading, and the number of elements. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getBeginSizeConst)(const KSTD_SHAREABLE *object,
                                                                   const KSTD_ELEMENT **begin,
                                                                   size_t *size);

/** The number of elements that there is room for. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getCapacity)(const KSTD_SHAREABLE *object,
                                                             size_t *capacity);

/** The bytes of one element. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getElementSize)(const KSTD_SHAREABLE *object,
                                                                size_t *elementSize);

/** The number of elements; above INT32_MAX KMATH_ERR_FAILED, with INT32_MAX as the number. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getSize)(const KSTD_SHAREABLE *object,
                                                         int32_t *size);

#ifndef KSTD_WITHOUT_COMPARE_EQUAL
/** 1 when the vectors of two objects are equal by their compareEqual; otherwise 0. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(compareEqual)(const KSTD_SHAREABLE *a,
                                                              const KSTD_SHAREABLE *b,
                                                              uint32_t *equal);
#endif

/* Type names. */

/** The name of the object's type, a constant: that of its record, as a wide string. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(getTypename)(const KSTD_SHAREABLE *object,
                                                             const wchar_t **name);

/**
 * Asks an object for the interface of a name: its own type's name gives the object itself,
 * any other one goes on to kstd_vectorShareable_queryInterfaceByTypename.
 *
 * @param[in]  object  the object, or null
 * @param[in]  name    such as L"kstd_vectorShareable"
 * @param[out] result  the object as the record of that name, still owned by whoever owns it;
 *                     null for a name that it does not know, and for a null object
 * @return KMATH_OK, for an unknown name too
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(queryInterfaceByTypename)(KSTD_SHAREABLE *object,
                                                                          const wchar_t *name,
                                                                          void **result);

/**
 * The same, as the object's table has it: any other name than its own goes on to
 * kstd_vectorShareable_queryInterfaceByTypenameFinal, which asks the table no more.
 */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(queryInterfaceByTypename_)(KSTD_SHAREABLE *object,
                                                                           const wchar_t *name,
                                                                           void **result);

/** The same as queryInterfaceByTypename_, for the table of a more special object to go on to. */
KMATH_API kmath_status KSTD_SHAREABLE_OPERATION(queryInterfaceByTypenameFinal)(
    KSTD_SHAREABLE *object, const wchar_t *name, void **result);

#ifdef __cplusplus
}
#endif

#undef KSTD_ELEMENT
#undef KSTD_VECTOR
#undef KSTD_WITHOUT_COMPARE_EQUAL
