// What the tests of complex numbers and 4×4 matrices share: views as std::complex and as Eigen
// matrices, random records, comparison by bits.
#pragma once

#include "support/matrices.hpp"

#include <kmath/matrix4.h>

#include <Eigen/Dense>

#include <complex>
#include <limits>
#include <random>

using Complex = std::complex<double>;

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double largestDouble = std::numeric_limits<double>::max();
constexpr double smallestDouble = std::numeric_limits<double>::denorm_min();

inline Complex standard(const kmath_complex &c) { return {c.re, c.im}; }

inline Eigen::Matrix4d toEigen(const kmath_matrix4 &m)
{
    return Eigen::Map<const Eigen::Matrix<double, 4, 4, Eigen::RowMajor>>(&m.m[0][0]);
}

inline Eigen::Matrix4cd toEigen(const kmath_matrix4c &m)
{
    Eigen::Matrix4cd r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r(i, j) = standard(m.m[i][j]);
    return r;
}

inline Eigen::Vector4cd toEigen(const kmath_vect4c &v)
{
    return {standard(v.v[0]), standard(v.v[1]), standard(v.v[2]), standard(v.v[3])};
}

inline kmath_matrix4 fromEigen(const Eigen::Matrix4d &m)
{
    kmath_matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = m(i, j);
    return r;
}

inline kmath_matrix4c fromEigen(const Eigen::Matrix4cd &m)
{
    kmath_matrix4c r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = {m(i, j).real(), m(i, j).imag()};
    return r;
}

inline bool sameBits(const kmath_complex &a, const kmath_complex &b)
{
    return support::sameBits(a.re, b.re) && support::sameBits(a.im, b.im);
}

inline bool sameBits(const kmath_vect4c &a, const kmath_vect4c &b)
{
    for (int i = 0; i < 4; ++i)
        if (!sameBits(a.v[i], b.v[i]))
            return false;
    return true;
}

inline bool sameBits(const kmath_matrix4 &a, const kmath_matrix4 &b)
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (!support::sameBits(a.m[i][j], b.m[i][j]))
                return false;
    return true;
}

inline bool sameBits(const kmath_matrix4c &a, const kmath_matrix4c &b)
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (!sameBits(a.m[i][j], b.m[i][j]))
                return false;
    return true;
}

/// Doubles, complex numbers and records of them, with parts uniform in [−1, 1).
class RandomRecords
{
  public:
    explicit RandomRecords(std::uint64_t seed) : generator(seed) {}

    double number() { return uniform(generator); }

    /// Over nearly the whole range of the doubles, denormals included, of either sign.
    double numberOfAnySize(int exponent = 1070)
    {
        std::uniform_int_distribution<int> exponents(-exponent, std::min(exponent, 1020));
        return std::ldexp(number(), exponents(generator));
    }

    kmath_complex complex()
    {
        const double re = number();
        return {re, number()};
    }

    kmath_vect4c vector()
    {
        kmath_vect4c v;
        for (kmath_complex &c : v.v)
            c = complex();
        return v;
    }

    kmath_matrix4 real()
    {
        kmath_matrix4 m;
        for (auto &row : m.m)
            for (double &element : row)
                element = number();
        return m;
    }

    kmath_matrix4c matrix()
    {
        kmath_matrix4c m;
        for (auto &row : m.m)
            for (kmath_complex &element : row)
                element = complex();
        return m;
    }

    /// Any double at all but for the NaN payloads: infinite, NaN, zero or of any size.
    double anything()
    {
        switch (generator() % 8) {
        case 0:
            return infinity;
        case 1:
            return -infinity;
        case 2:
            return notANumber;
        case 3:
            return generator() % 2 ? 0.0 : -0.0;
        default:
            return numberOfAnySize();
        }
    }

    std::mt19937_64 generator;

  private:
    std::uniform_real_distribution<double> uniform{-1.0, 1.0};
};
