// What the tests of the typed containers share: every operation of every container by name and
// signature, elements numbered by a seed, and a container's content read from its bare record.
#pragma once

#include <kmath/containers.h>

#include "support/services.hpp"
#include "support/vector_types.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <vector>

namespace containers
{

template <class V> struct Operations;

// A member for one operation. The pointer's type is the signature that is promised.
#define OPERATION_AS(V, operation, member, ...)                                                    \
    static constexpr kmath_status (*member)(__VA_ARGS__) = V##_##operation;
#define OPERATION(V, operation, ...) OPERATION_AS(V, operation, operation, __VA_ARGS__)

#define COMPARED(V) OPERATION(V, compareEqual, const V *, const V *, std::uint32_t *)
#define NOT_COMPARED(V)

#define CONTAINER(V, T, COMPARE)                                                                   \
    template <> struct Operations<V> {                                                             \
        using Element = T;                                                                         \
        static constexpr const char *name = #V;                                                    \
        OPERATION(V, construct, V *, std::size_t)                                                  \
        OPERATION(V, constructWithMtable, V *, std::size_t, const kstd_vectorMtable *)             \
        OPERATION(V, constructEmpty, V *)                                                          \
        OPERATION(V, constructEmptyWithMtable, V *, const kstd_vectorMtable *)                     \
        OPERATION(V, constructUninit, V *, std::size_t)                                            \
        OPERATION(V, constructFill, V *, std::size_t, const T *)                                   \
        OPERATION(V, constructFromBlock, V *, const T *, std::size_t)                              \
        OPERATION(V, constructCopy, V *, const V *)                                                \
        OPERATION(V, destruct, V *)                                                                \
        OPERATION_AS(V, new, new_, V **)                                                           \
        OPERATION(V, newClone, V **, const V *)                                                    \
        OPERATION_AS(V, delete, delete_, V **)                                                     \
        OPERATION(V, assign, V *, const V *)                                                       \
        OPERATION(V, assignElements, V *, const T *, std::size_t)                                  \
        OPERATION(V, append, V *, const V *)                                                       \
        OPERATION(V, swap, V *, V *)                                                               \
        OPERATION(V, clear, V *)                                                                   \
        OPERATION(V, clearAndFreeMemory, V *)                                                      \
        OPERATION(V, reserve, V *, std::size_t)                                                    \
        OPERATION(V, resize, V *, std::size_t)                                                     \
        OPERATION(V, resizeFill, V *, std::size_t, const T *)                                      \
        OPERATION(V, resizeUninit, V *, std::size_t)                                               \
        OPERATION(V, pushBack, V *, const T *)                                                     \
        OPERATION(V, popBack, V *)                                                                 \
        OPERATION(V, insert, V *, std::size_t, const T *, std::size_t)                             \
        OPERATION(V, insertElement, V *, std::size_t, const T *)                                   \
        OPERATION(V, erase, V *, std::size_t, std::size_t)                                         \
        OPERATION(V, eraseElement, V *, std::size_t)                                               \
        OPERATION(V, getBegin, V *, T **)                                                          \
        OPERATION(V, getBeginConst, const V *, const T **)                                         \
        OPERATION(V, getBeginEnd, V *, T **, T **)                                                 \
        OPERATION(V, getBeginEndConst, const V *, const T **, const T **)                          \
        OPERATION(V, getBeginSize, V *, T **, std::size_t *)                                       \
        OPERATION(V, getBeginSizeConst, const V *, const T **, std::size_t *)                      \
        OPERATION(V, getBeginSize32, V *, T **, std::int32_t *)                                    \
        OPERATION(V, getBeginSize32Const, const V *, const T **, std::int32_t *)                   \
        OPERATION(V, getBeginSizeIntPtr, V *, T **, std::intptr_t *)                               \
        OPERATION(V, getBeginSizeIntPtrConst, const V *, const T **, std::intptr_t *)              \
        OPERATION(V, getElement, V *, std::size_t, T **)                                           \
        OPERATION(V, getElementConst, const V *, std::size_t, const T **)                          \
        OPERATION(V, getNextElement, V *, T **)                                                    \
        OPERATION(V, getNextElementConst, const V *, const T **)                                   \
        OPERATION(V, getSize, const V *, std::int32_t *)                                           \
        OPERATION(V, getSize32, const V *, std::int32_t *)                                         \
        OPERATION(V, getSizeIntPtr, const V *, std::intptr_t *)                                    \
        OPERATION(V, getCapacity, const V *, std::size_t *)                                        \
        OPERATION(V, getElementSize, const V *, std::size_t *)                                     \
        COMPARE(V)                                                                                 \
    };

CONTAINER(kstd_vector_kmath_vect3, kmath_vect3, COMPARED)
CONTAINER(kstd_vector_kmath_vect3F, kmath_vect3F, COMPARED)
CONTAINER(kstd_vector_kmath_vect4, kmath_vect4, COMPARED)
CONTAINER(kstd_vector_kmath_vect6F, kmath_vect6F, COMPARED)
CONTAINER(kstd_vector_kmath_xform3Linear, kmath_xform3Linear, COMPARED)
CONTAINER(kstd_vector_kmath_nmmatrix, kmath_nmmatrix, NOT_COMPARED)
CONTAINER(kstd_vector_vector_kmath_vect3, kstd_vector_kmath_vect3, COMPARED)
CONTAINER(kstd_vector_vector_kmath_vect3F, kstd_vector_kmath_vect3F, COMPARED)
CONTAINER(kstd_vector_vector_kmath_xform3Linear, kstd_vector_kmath_xform3Linear, COMPARED)
CONTAINER(kstd_vector_vector_vector_kmath_vect3, kstd_vector_vector_kmath_vect3, COMPARED)
CONTAINER(kstd_vector_vector_vector_vector_kmath_vect3, kstd_vector_vector_vector_kmath_vect3,
          COMPARED)

template <class V> using ElementOf = typename Operations<V>::Element;

template <class V> constexpr bool isCompared = !std::is_same_v<ElementOf<V>, kmath_nmmatrix>;
template <class T> constexpr bool isPlain =
    std::is_same_v<T, kmath_vect3> || std::is_same_v<T, kmath_vect3F> ||
    std::is_same_v<T, kmath_vect4> || std::is_same_v<T, kmath_vect6F> ||
    std::is_same_v<T, kmath_xform3Linear>;

/// Calls the rule with a null pointer to each container type.
template <class Rule> void everyContainer(Rule rule)
{
    support::forEachType(support::VectorTypes(), [&]<class V>(V *type) {
        SCOPED_TRACE(Operations<V>::name);
        rule(type);
    });
}

// An element's numbers in a row, for a matrix after its shape, for a container after its size.
using Values = std::vector<double>;

inline Values flat(const kmath_vect3 &p) { return {p.x, p.y, p.z}; }
inline Values flat(const kmath_vect3F &p) { return {p.x, p.y, p.z}; }
inline Values flat(const kmath_vect4 &p) { return {p.x, p.y, p.z, p.w}; }
inline Values flat(const kmath_vect6F &p) { return Values(p.v, p.v + 6); }
inline Values flat(const kmath_xform3Linear &f)
{
    const kmath_matrix3 &m = f.matrix;
    const kmath_vect3 &t = f.translation;
    return {t.x, t.y, t.z, m.m00, m.m01, m.m02, m.m10, m.m11, m.m12, m.m20, m.m21, m.m22};
}
inline Values flat(const kmath_nmmatrix &m)
{
    Values values{static_cast<double>(m.nRows), static_cast<double>(m.nCols)};
    for (int i = 0; i < m.nRows; ++i)
        values.insert(values.end(), m.rows[i], m.rows[i] + m.nCols);
    return values;
}

template <class V> const ElementOf<V> *elements(const V &v)
{
    return static_cast<const ElementOf<V> *>(v.vector.begin);
}
template <class V> ElementOf<V> *elements(V &v)
{
    return static_cast<ElementOf<V> *>(v.vector.begin);
}

template <class V, class T = ElementOf<V>> Values flat(const V &v)
{
    Values values{static_cast<double>(v.vector.size)};
    for (std::size_t i = 0; i < v.vector.size; ++i) {
        const Values element = flat(elements(v)[i]);
        values.insert(values.end(), element.begin(), element.end());
    }
    return values;
}

// Construct an element with a content of its seed; small matrices and large ones take turns.
inline void build(kmath_vect3 *p, int seed) { *p = {seed + 0.25, -seed * 1.0, seed * 2.0}; }
inline void build(kmath_vect3F *p, int seed)
{
    const float s = static_cast<float>(seed);
    *p = {s + 0.5f, -s, s * 3.0f};
}
inline void build(kmath_vect4 *p, int seed)
{
    *p = {seed + 0.125, seed * 0.5, -seed * 3.0, seed * 1.0};
}
inline void build(kmath_vect6F *p, int seed)
{
    for (int i = 0; i < 6; ++i)
        p->v[i] = static_cast<float>(seed) + 0.0625f * static_cast<float>(i);
}
inline void build(kmath_xform3Linear *f, int seed)
{
    const double s = seed;
    *f = {{s, s + 0.5, -s}, {s, 1, 2, 3, s * 0.5, 5, 6, 7, 8 - s}};
}
inline void build(kmath_nmmatrix *m, int seed)
{
    constexpr int shapes[][2] = {{2, 3}, {5, 5}, {7, 1}, {4, 4}, {1, 17}};
    const auto &[rows, cols] = shapes[seed % 5];
    ASSERT_EQ(kmath_nmmatrix_constructRowsCols(m, rows, cols), KMATH_OK);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            m->rows[i][j] = seed + 0.5 * i - 0.25 * j;
}

inline void drop(kmath_nmmatrix *m) { EXPECT_EQ(kmath_nmmatrix_destruct(m), KMATH_OK); }
template <class T> void drop(T *element)
{
    if constexpr (!isPlain<T>) {
        EXPECT_EQ(Operations<T>::destruct(element), KMATH_OK);
    }
}

template <class V, class T = ElementOf<V>> void build(V *v, int seed)
{
    ASSERT_EQ(Operations<V>::constructEmpty(v), KMATH_OK);
    for (int i = 0; i < 1 + seed % 3; ++i) {
        T element;
        build(&element, seed + 10 * i);
        ASSERT_EQ(Operations<V>::pushBack(v, &element), KMATH_OK);
        drop(&element);
    }
}

// Sets the first number that an element holds.
inline void poke(kmath_vect3 *p, double value) { p->x = value; }
inline void poke(kmath_vect3F *p, double value) { p->x = static_cast<float>(value); }
inline void poke(kmath_vect4 *p, double value) { p->x = value; }
inline void poke(kmath_vect6F *p, double value) { p->v[0] = static_cast<float>(value); }
inline void poke(kmath_xform3Linear *f, double value) { f->matrix.m00 = value; }
inline void poke(kmath_nmmatrix *m, double value) { m->rows[0][0] = value; }
template <class V, class T = ElementOf<V>> void poke(V *v, double value)
{
    poke(elements(*v), value);
}

/// Elements of their own, one for each seed.
template <class T> class Block
{
  public:
    explicit Block(const std::vector<int> &seeds) : elements(seeds.size())
    {
        for (std::size_t i = 0; i < seeds.size(); ++i)
            build(&elements[i], seeds[i]);
    }
    explicit Block(int seed) : Block(std::vector<int>{seed}) {}
    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;
    ~Block()
    {
        for (T &element : elements)
            drop(&element);
    }

    T *operator&() { return elements.data(); }
    T &operator[](std::size_t i) { return elements[i]; }

  private:
    std::vector<T> elements;
};

/// A container that is built element by element from seeds, and destructs itself.
template <class V> struct Box {
    explicit Box(const std::vector<int> &seeds = {})
    {
        EXPECT_EQ(Operations<V>::constructEmpty(&v), KMATH_OK);
        for (const int seed : seeds)
            push(seed);
    }
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;
    ~Box() { EXPECT_EQ(Operations<V>::destruct(&v), KMATH_OK); }

    V *operator&() { return &v; }
    void push(int seed)
    {
        Block<ElementOf<V>> element(seed);
        EXPECT_EQ(Operations<V>::pushBack(&v, &element), KMATH_OK);
    }
    std::size_t size() const { return v.vector.size; }
    std::size_t capacity() const { return v.vector.capacity; }

    V v;
};

/// The seed of an element that is constructed empty, in what a container is expected to hold.
constexpr int none = -1;

template <class T> Values flatOf(int seed)
{
    if (seed == none) {
        if constexpr (std::is_same_v<T, kmath_nmmatrix>)
            return {0, 0};
        else
            return {0};
    }
    Block<T> element(seed);
    return flat(element[0]);
}

/// Whether the container is valid and holds just the elements of the seeds.
template <class V> testing::AssertionResult holds(const V &v, const std::vector<int> &seeds)
{
    if (v.vector.size != seeds.size())
        return testing::AssertionFailure()
               << "size " << v.vector.size << " and not " << seeds.size();
    if (v.vector.capacity < v.vector.size)
        return testing::AssertionFailure() << "capacity " << v.vector.capacity << " below the size";
    if (v.vector.elementSize != sizeof(ElementOf<V>))
        return testing::AssertionFailure() << "element size " << v.vector.elementSize;
    for (std::size_t i = 0; i < seeds.size(); ++i)
        if (flat(elements(v)[i]) != flatOf<ElementOf<V>>(seeds[i]))
            return testing::AssertionFailure() << "another element at " << i;
    return testing::AssertionSuccess();
}

template <class V> testing::AssertionResult holds(const Box<V> &box, const std::vector<int> &seeds)
{
    return holds(box.v, seeds);
}

inline std::vector<int> counting(int n)
{
    std::vector<int> seeds;
    for (int i = 0; i < n; ++i)
        seeds.push_back(i);
    return seeds;
}

inline bool fails(kmath_status status) { return KMATH_IS_FAILURE(status); }

/// Counts of elements that no memory holds; the bytes of some wrap around to few.
template <class V> std::vector<std::size_t> impossibleCounts()
{
    return {SIZE_MAX,
            SIZE_MAX - 2,
            SIZE_MAX / 2,
            SIZE_MAX / sizeof(ElementOf<V>),
            SIZE_MAX / sizeof(ElementOf<V>) + 1,
            (std::size_t{1} << 62) + 1};
}

/// Fails allocation 0, 1, 2 … of an operation on a container of these elements. The status comes
/// outward, the container keeps its elements and goes on to work, and nothing leaks.
template <class Owner, class Operation> void keepsItsElements(const std::vector<int> &seeds,
                                                              const std::vector<int> &result,
                                                              Operation operation)
{
    for (std::int64_t number = 0; number < 10000; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number << " fails");
        const std::int64_t before = support::liveBlocks();
        bool failed = false;
        {
            Owner owner(seeds);
            support::failAllocation(number);
            const kmath_status status = operation(&owner);
            failed = support::allocationHasFailed();
            support::failAllocation(-1);
            EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
            EXPECT_TRUE(holds(owner, failed ? seeds : result));
            owner.push(1);
        }
        EXPECT_EQ(support::liveBlocks(), before);
        if (!failed || testing::Test::HasFailure())
            return;
    }
    ADD_FAILURE() << "still allocating";
}

} // namespace containers
