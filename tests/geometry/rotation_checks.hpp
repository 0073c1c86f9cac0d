// What the tests of the rotations share: element access, comparison by bits, random rotations, and
// measures taken in extended precision.
#pragma once

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <kmath/rotations.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <ostream>
#include <random>

// Printed by GoogleTest where a comparison fails.
inline std::ostream &operator<<(std::ostream &out, const kmath_matrix3 &m)
{
    return out << '(' << m.m00 << ' ' << m.m01 << ' ' << m.m02 << "; " << m.m10 << ' ' << m.m11
               << ' ' << m.m12 << "; " << m.m20 << ' ' << m.m21 << ' ' << m.m22 << ')';
}

namespace rotations
{

using Extended = long double;

constexpr double eps = 0x1p-52;
constexpr double pi = 3.141592653589793;
constexpr Extended exactPi = 3.14159265358979323846264338327950288L;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double hugeNumber = std::numeric_limits<double>::max();
constexpr double tinyNumber = std::numeric_limits<double>::denorm_min();

constexpr std::initializer_list<double> strangeNumbers = {
    notANumber,  infinity, -infinity, hugeNumber, -hugeNumber, tinyNumber,
    -tinyNumber, 1e154,    0.0,       -0.0,       1.0,         -1.0};

constexpr kmath_matrix3 identity = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
constexpr kmath_matrix3 untouched = {-1.5, 2.5, 3.5, 4.5, -5.5, 6.5, 7.5, 8.5, -9.5};

constexpr double kmath_matrix3::*elements[9] = {
    &kmath_matrix3::m00, &kmath_matrix3::m01, &kmath_matrix3::m02,
    &kmath_matrix3::m10, &kmath_matrix3::m11, &kmath_matrix3::m12,
    &kmath_matrix3::m20, &kmath_matrix3::m21, &kmath_matrix3::m22};

inline double at(const kmath_matrix3 &m, int i, int j) { return m.*elements[3 * i + j]; }
inline double &at(kmath_matrix3 &m, int i, int j) { return m.*elements[3 * i + j]; }

inline kmath_matrix3 diagonal(double x, double y, double z) { return {x, 0, 0, 0, y, 0, 0, 0, z}; }

inline bool sameBits(const kmath_matrix3 &p, const kmath_matrix3 &q)
{
    return std::all_of(std::begin(elements), std::end(elements),
                       [&](double kmath_matrix3::*e) { return support::sameBits(p.*e, q.*e); });
}

inline bool isFinite(const kmath_matrix3 &m)
{
    return std::all_of(std::begin(elements), std::end(elements),
                       [&](double kmath_matrix3::*e) { return std::isfinite(m.*e); });
}

inline double maxDifference(const kmath_matrix3 &p, const kmath_matrix3 &q)
{
    double largest = 0.0;
    for (const auto e : elements)
        largest = std::fmax(largest, std::fabs(p.*e - q.*e));
    return largest;
}

// max|RᵀR − I|, the products summed without rounding that counts.
inline double orthogonalityError(const kmath_matrix3 &R)
{
    Extended largest = 0.0L;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            Extended sum = i == j ? -1.0L : 0.0L;
            for (int k = 0; k < 3; ++k)
                sum += static_cast<Extended>(at(R, k, i)) * static_cast<Extended>(at(R, k, j));
            largest = std::fmax(largest, std::fabs(sum));
        }
    return static_cast<double>(largest);
}

inline double determinant(const kmath_matrix3 &m)
{
    double det = notANumber;
    EXPECT_EQ(kmath_matrix3_determinant(&m, &det), KMATH_OK);
    return det;
}

inline kmath_matrix3 product(const kmath_matrix3 &a, const kmath_matrix3 &b)
{
    kmath_matrix3 r;
    EXPECT_EQ(kmath_matrix3_initMultiply(&r, &a, &b), KMATH_OK);
    return r;
}

inline kmath_matrix3 scaled(kmath_matrix3 m, double factor)
{
    EXPECT_EQ(kmath_matrix3_scale(&m, factor), KMATH_OK);
    return m;
}

inline kmath_matrix3 buildMat(const kmath_rodParam &r)
{
    kmath_matrix3 M = untouched;
    EXPECT_EQ(kmath_rodParam_buildMat(&r, &M), KMATH_OK);
    return M;
}

// A vector of the given length in a random direction.
inline kmath_rodParam randomVector(double length, std::mt19937_64 &generator)
{
    std::normal_distribution<double> normal;
    const double x = normal(generator), y = normal(generator), z = normal(generator);
    const double factor = length / std::sqrt(x * x + y * y + z * z);
    return {x * factor, y * factor, z * factor};
}

// Exponents uniform between those of the bounds.
inline double randomMagnitude(double lowest, double highest, std::mt19937_64 &generator)
{
    return std::exp(
        std::uniform_real_distribution<double>(std::log(lowest), std::log(highest))(generator));
}

inline kmath_matrix3 randomMatrix3(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    kmath_matrix3 m;
    for (const auto e : elements)
        m.*e = uniform(generator);
    return m;
}

// Each element drawn from the numbers.
inline kmath_matrix3 strangeMatrix3(std::mt19937_64 &generator)
{
    std::uniform_int_distribution<std::size_t> index(0, strangeNumbers.size() - 1);
    kmath_matrix3 m;
    for (const auto e : elements)
        m.*e = strangeNumbers.begin()[index(generator)];
    return m;
}

// Every call reports, and from one line: the function's own check, not that of an inner one.
inline void expectOneAssertion(std::initializer_list<std::function<void()>> calls)
{
    const std::int32_t line = support::assertedLine(*calls.begin());
    EXPECT_GT(line, 0);
    for (const auto &call : calls)
        EXPECT_EQ(support::assertedLine(call), line);
}

} // namespace rotations
