// Arc cosine and angles, a growable vector and a small dense matrix, for use inside the library.
#pragma once

#include <kmath/platform.h>
#include <kmath/status.h>
#include <kmath/vectors.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace kmath
{

inline constexpr double pi = 3.141592653589793;
inline constexpr double twoPi = 6.283185307179586;

/// A growable vector on the memory services. A step that fails leaves it as it was.
template <class T> class kxVector
{
    static_assert(std::is_trivially_copyable_v<T>, "elements move bytewise as the vector grows");

  public:
    kxVector() = default;
    kxVector(const kxVector &) = delete;
    kxVector &operator=(const kxVector &) = delete;
    ~kxVector() { release(); }

    /// Adds an element at the end. Room grows by half.
    kmath_status append(T value)
    {
        if (count == room)
            RETURN_IF_FAILED(reserve(count + count / 2 + 8));
        elements[count++] = value;
        return KMATH_OK;
    }

    /// Keeps the first elements; new ones are zero.
    kmath_status resize(std::int64_t size)
    {
        if (size < 0)
            return KMATH_ERR_NEGATIVE_SIZE;
        if (size > room)
            RETURN_IF_FAILED(reserve(size));
        if (size > count)
            std::fill(elements + count, elements + size, T{});
        count = size;
        return KMATH_OK;
    }

    /// Gives all memory back.
    void release()
    {
        destruct(elements);
        count = room = 0;
    }

    std::int64_t size() const { return count; }
    T &operator[](std::int64_t i) { return elements[i]; }
    const T &operator[](std::int64_t i) const { return elements[i]; }
    T *begin() { return elements; }
    T *end() { return elements + count; }
    const T *begin() const { return elements; }
    const T *end() const { return elements + count; }

  private:
    kmath_status reserve(std::int64_t size)
    {
        const std::size_t bytes = bytesOf<T>(size);
        if (bytes > PTRDIFF_MAX)
            return KMATH_ERR_NO_MEMORY;
        void *memory = elements;
        RETURN_IF_FAILED(ksys_memory_realloc_internal(&memory, bytes));
        elements = static_cast<T *>(memory);
        room = size;
        return KMATH_OK;
    }

    T *elements = nullptr;
    std::int64_t count = 0;
    std::int64_t room = 0;
};

/// A dense matrix that solves its own symmetric eigenproblem; 0 × 0 at first.
class kxNMMatrix
{
  public:
    /// Gives the matrix a shape, with all elements equal; KMATH_ERR_NEGATIVE_SIZE leaves it
    /// unchanged, a failing allocation leaves it 0 × 0.
    kmath_status initResize(int rows, int columns, double fill);

    /// KMATH_ERR_BAD_DIMENSIONS outside the matrix.
    kmath_status setElement(int row, int col, double value);
    /// The same; `out` is then left alone.
    kmath_status getElement(int row, int col, double &out) const;

    int rows() const { return static_cast<int>(table.size()); }
    int columns() const { return nColumns; }

    /// The n eigenvalues of a symmetric n × n matrix, given by its lower triangle, in `re`, in the
    /// order in which they are found; `im` receives n zeros.
    ///
    /// With `vectors`, column c of V is the unit eigenvector of re[c]; without, V is work space. V
    /// may be this matrix. KMATH_ERR_BAD_DIMENSIONS unless square, KMATH_ERR_SINGULAR where an
    /// eigenvalue is not found or not finite.
    kmath_status eigenvalues(bool vectors, kxVector<double> &re, kxVector<double> &im,
                             kxNMMatrix &V) const;

  private:
    bool contains(int row, int col) const
    {
        return row >= 0 && row < rows() && col >= 0 && col < columns();
    }

    kxVector<double> elements;
    kxVector<double *> table; // the rows
    int nColumns = 0;
};

} // namespace kmath

/// The arc cosine of x after clamping it to [−1, 1]; in [0, π], NaN for NaN.
radian kmath_acosSafe(double x);

/// The angle brought into [0, 2π).
radian kmath_radian_norm(const radian *angle);
