// What the tests of the 3D transforms share: builders and comparison by bits.
#pragma once

#include "support/matrices.hpp"
#include "support/services.hpp"

#include <kmath/xform3.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace transforms
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

constexpr kmath_matrix3 unitMatrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr kmath_xform3Linear identity = {{0, 0, 0}, unitMatrix};
constexpr kmath_xform3Linear untouched = {{-0.5, 1.5, 10.5},
                                          {-1.5, 2.5, 3.5, 4.5, -5.5, 6.5, 7.5, 8.5, -9.5}};

// The twelve numbers of a transform: the translation, then the matrix by rows.
constexpr int elementCount = 12;

inline double &element(kmath_xform3Linear &X, int k)
{
    kmath_vect3 &t = X.translation;
    kmath_matrix3 &M = X.matrix;
    double *const all[elementCount] = {&t.x,   &t.y,   &t.z,   &M.m00, &M.m01, &M.m02,
                                       &M.m10, &M.m11, &M.m12, &M.m20, &M.m21, &M.m22};
    return *all[k];
}

inline double element(const kmath_xform3Linear &X, int k)
{
    kmath_xform3Linear copy = X;
    return element(copy, k);
}

inline bool sameBits(const kmath_vect3 &a, const kmath_vect3 &b)
{
    return support::sameBits(a.x, b.x) && support::sameBits(a.y, b.y) &&
           support::sameBits(a.z, b.z);
}

inline bool sameBits(const kmath_vect3F &a, const kmath_vect3F &b)
{
    return sameBits(kmath_vect3{a.x, a.y, a.z}, kmath_vect3{b.x, b.y, b.z});
}

inline bool sameBits(const kmath_xform3Linear &a, const kmath_xform3Linear &b)
{
    for (int k = 0; k < elementCount; ++k)
        if (!support::sameBits(element(a, k), element(b, k)))
            return false;
    return true;
}

inline kmath_vect3F narrowed(const kmath_vect3 &v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

inline kmath_vect3 widened(const kmath_vect3F &v) { return {v.x, v.y, v.z}; }

inline kmath_vect3 plainProduct(const kmath_matrix3 &M, const kmath_vect3 &v)
{
    const auto row = [&](double a, double b, double c) {
        double sum = a * v.x;
        sum = sum + b * v.y;
        return sum + c * v.z;
    };
    return {row(M.m00, M.m01, M.m02), row(M.m10, M.m11, M.m12), row(M.m20, M.m21, M.m22)};
}

inline kmath_vect3 plainImage(const kmath_xform3Linear &X, const kmath_vect3 &p)
{
    const kmath_vect3 q = plainProduct(X.matrix, p);
    return {q.x + X.translation.x, q.y + X.translation.y, q.z + X.translation.z};
}

inline kmath_vect3 randomVector(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    return {uniform(generator), uniform(generator), uniform(generator)};
}

inline kmath_xform3Linear randomTransform(std::mt19937_64 &generator)
{
    std::uniform_real_distribution<double> uniform(-10.0, 10.0);
    kmath_xform3Linear X;
    for (int k = 0; k < elementCount; ++k)
        element(X, k) = uniform(generator);
    return X;
}

} // namespace transforms
