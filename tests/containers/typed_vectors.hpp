// The typed vectors for tests that run over all of them: their functions under common names, and
// elements made for numbers.
#pragma once

#include <kmath/containers.h>

#include "support/vector_model.hpp"
#include "support/vector_types.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace containers
{

/// The functions of a vector.
template <class Vector> struct OperationsOf;

#define KSTD_NAME(vector)  KSTD_NAME_(vector)
#define KSTD_NAME_(vector) #vector
#define KSTD_STAMP         "containers/vector_cases.inc"
#include <kmath/vector_types.h>
#undef KSTD_NAME
#undef KSTD_NAME_

/// The blocks that an element owns, all the way down.
using Storage = std::set<const void *>;

/// Elements of plain memory: component i is i + ½ times the number, so 0 is all zeros.
template <class Record, class Number> struct PlainValues {
    using Element = Record;
    using Component = Number;
    static constexpr std::size_t components = sizeof(Record) / sizeof(Component);
    static constexpr bool ownsMemory = false;

    static Component componentOf(int number, std::size_t i)
    {
        return static_cast<Component>(number) * (static_cast<Component>(i) + Component(0.5));
    }

    static void make(Element &element, int number)
    {
        Component values[components];
        for (std::size_t i = 0; i < components; ++i)
            values[i] = componentOf(number, i);
        std::memcpy(&element, values, sizeof element);
    }

    static void release(Element &) {}

    /// −1 for anything but the element of a number.
    static int numberOf(const Element &element)
    {
        Component values[components];
        std::memcpy(values, &element, sizeof element);
        if (!(values[0] >= 0 && values[0] <= 10000)) // fresh memory is NaN
            return -1;
        const int number = static_cast<int>(2 * values[0]);
        for (std::size_t i = 0; i < components; ++i)
            if (values[i] != componentOf(number, i))
                return -1;
        return number;
    }

    static void addStorage(const Element &, Storage &) {}
};

/// A matrix for each number: its shape, inside the record or on the heap, and its elements follow
/// from the number. 0 is the empty matrix.
struct MatrixValues {
    using Element = kmath_nmmatrix;
    static constexpr bool ownsMemory = true;

    static std::array<std::int32_t, 2> shapeOf(int number)
    {
        constexpr std::array<std::array<std::int32_t, 2>, 5> shapes = {
            {{1, 1}, {2, 8}, {7, 2}, {1, 17}, {5, 5}}};
        return number == 0 ? std::array<std::int32_t, 2>{0, 0}
                           : shapes[static_cast<std::size_t>(number) % shapes.size()];
    }

    static void make(Element &matrix, int number)
    {
        const auto [rows, cols] = shapeOf(number);
        ASSERT_EQ(kmath_nmmatrix_constructRowsColsVal(&matrix, rows, cols, number), KMATH_OK);
    }

    static void release(Element &matrix) { kmath_nmmatrix_destruct(&matrix); }

    /// −1 for anything but the matrix of a number.
    static int numberOf(const Element &matrix)
    {
        const bool isEmpty = matrix.nRows == 0 || matrix.nCols == 0;
        if (!isEmpty && !(matrix.rows[0][0] >= 0 && matrix.rows[0][0] <= 10000))
            return -1;
        const int number = isEmpty ? 0 : static_cast<int>(matrix.rows[0][0]);
        if (shapeOf(number) != std::array{matrix.nRows, matrix.nCols})
            return -1;
        // A record that was moved bytewise would still point to where it was.
        if (matrix.onHeap == 0 && !isEmpty && matrix.rows != matrix.inlineRows)
            return -1;
        for (std::int32_t i = 0; i < matrix.nRows; ++i)
            for (std::int32_t j = 0; j < matrix.nCols; ++j)
                if (matrix.rows[i][j] != number)
                    return -1;
        return number;
    }

    static void addStorage(const Element &matrix, Storage &storage)
    {
        if (matrix.nRows > 0 && matrix.nCols > 0)
            storage.insert(matrix.rows[0]);
    }
};

template <class Element> struct ValuesOf;

/// A vector as an element. It holds the elements of the number n alone, of n and 0, or of n and
/// n + 1; the vector of 0 is empty.
template <class Vector> struct NestedValues {
    using Element = Vector;
    using Inner = OperationsOf<Vector>;
    using InnerValues = ValuesOf<typename Inner::Element>;
    static constexpr bool ownsMemory = true;

    static std::size_t sizeFor(int number) { return number == 0 ? 0 : number % 4 < 2 ? 1 : 2; }
    static int numberWithin(int number, std::size_t i)
    {
        return i == 0 ? number : number % 4 == 2 ? 0 : number + 1;
    }

    static void make(Element &vector, int number)
    {
        ASSERT_EQ(Inner::constructUninit(&vector, sizeFor(number)), KMATH_OK);
        typename Inner::Element *elements = nullptr;
        Inner::getBegin(&vector, &elements);
        for (std::size_t i = 0; i < sizeFor(number); ++i)
            InnerValues::make(elements[i], numberWithin(number, i));
    }

    static void release(Element &vector) { Inner::destruct(&vector); }

    /// −1 for anything but the vector of a number.
    static int numberOf(const Element &vector)
    {
        const typename Inner::Element *elements = nullptr;
        std::size_t size = 0;
        Inner::getBeginSizeConst(&vector, &elements, &size);
        const int number = size == 0 ? 0 : InnerValues::numberOf(elements[0]);
        if (size > 0 && (number < 1 || size != sizeFor(number)))
            return -1;
        for (std::size_t i = 1; i < size; ++i)
            if (InnerValues::numberOf(elements[i]) != numberWithin(number, i))
                return -1;
        return number;
    }

    static void addStorage(const Element &vector, Storage &storage)
    {
        const typename Inner::Element *elements = nullptr;
        std::size_t size = 0;
        Inner::getBeginSizeConst(&vector, &elements, &size);
        if (size > 0)
            storage.insert(elements);
        for (std::size_t i = 0; i < size; ++i)
            InnerValues::addStorage(elements[i], storage);
    }
};

/// What elements hold.
template <class Vector> struct ValuesOf : NestedValues<Vector> {
};
template <> struct ValuesOf<kmath_vect3> : PlainValues<kmath_vect3, double> {
};
template <> struct ValuesOf<kmath_vect3F> : PlainValues<kmath_vect3F, float> {
};
template <> struct ValuesOf<kmath_vect4> : PlainValues<kmath_vect4, double> {
};
template <> struct ValuesOf<kmath_vect6F> : PlainValues<kmath_vect6F, float> {
};
template <> struct ValuesOf<kmath_xform3Linear> : PlainValues<kmath_xform3Linear, double> {
};
template <> struct ValuesOf<kmath_nmmatrix> : MatrixValues {
};

template <class Vector> using ElementOf = typename OperationsOf<Vector>::Element;
template <class Vector> using ValuesIn = ValuesOf<ElementOf<Vector>>;
template <class Vector> using BlockOf = support::ElementBlock<ValuesIn<Vector>>;

template <class Vector> std::vector<int> numbersOf(const Vector &vector)
{
    return support::numbersOf<OperationsOf<Vector>, ValuesIn<Vector>>(vector);
}

// The vectors by what their elements are.
template <class Vector> struct IsNested
    : std::is_base_of<NestedValues<ElementOf<Vector>>, ValuesIn<Vector>> {
};
template <class Vector> struct IsOwning : std::bool_constant<ValuesIn<Vector>::ownsMemory> {
};
template <class Vector> struct IsPlain : std::negation<IsOwning<Vector>> {
};
template <class Vector> struct IsComparable
    : std::negation<std::is_same<ElementOf<Vector>, kmath_nmmatrix>> {
};
using support::VectorTypes;
using PlainVectorTypes = support::Only<IsPlain, VectorTypes>;
using NestedVectorTypes = support::Only<IsNested, VectorTypes>;
using OwningVectorTypes = support::Only<IsOwning, VectorTypes>;
using ComparableVectorTypes = support::Only<IsComparable, VectorTypes>;

/// Names the tests of a type after it.
struct VectorNames {
    template <class Vector> static std::string GetName(int) { return OperationsOf<Vector>::name; }
};

/// A vector that is empty at first, and numbers for its elements.
template <class Vector> class VectorTest : public testing::Test
{
  protected:
    VectorTest() { OperationsOf<Vector>::constructEmpty(&vector); }
    ~VectorTest() override
    {
        EXPECT_EQ(OperationsOf<Vector>::destruct(&vector), KMATH_OK);
        EXPECT_EQ(support::liveBlocks(), blocksBefore) << "leaked";
    }

    void fill(const std::vector<int> &wanted)
    {
        const BlockOf<Vector> block(wanted);
        ASSERT_EQ(OperationsOf<Vector>::assignElements(&vector, block.data(), wanted.size()),
                  KMATH_OK);
    }

    std::vector<int> numbers() const { return numbersOf(vector); }

    /// An element's address, whatever the vector holds.
    ElementOf<Vector> *element(std::size_t index)
    {
        ElementOf<Vector> *begin = nullptr;
        OperationsOf<Vector>::getBegin(&vector, &begin);
        return begin + index;
    }

    std::int64_t blocksBefore = support::liveBlocks();
    Vector vector;
};

} // namespace containers
