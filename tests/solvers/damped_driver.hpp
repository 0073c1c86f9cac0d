// The drivers of the damped loop, with all in which they differ, as the parameter of the tests that
// hold for each of them.
#pragma once

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace support
{

struct Driver {
    const char *name;
    kmath_status (*minimize)(kmath_levmarqsolve *solver, double *finalCost);
    std::int32_t assertionLine;
    double raise;       // what a rejected try multiplies λ by
    bool keepsLambda;   // the record's λ becomes the last one
    bool asksDirection; // a step comes from the record, which falls back where the solve refuses

    /// The record's λ when the minimization is over.
    double lambdaAfter(double first, double last) const { return keepsLambda ? last : first; }

    /// λ after so many rejections.
    double raised(double lambda, std::size_t times = 1) const
    {
        for (; times > 0; --times)
            lambda *= raise;
        return lambda;
    }
};

inline std::ostream &operator<<(std::ostream &stream, const Driver &driver)
{
    return stream << driver.name;
}

constexpr Driver levmarqsolve{.name = "levmarqsolve",
                              .minimize = kmath_levmarqsolve_minimize,
                              .assertionLine = 439,
                              .raise = 10.0,
                              .keepsLambda = true,
                              .asksDirection = true};
constexpr Driver linsolve{.name = "linsolve",
                          .minimize = kmath_linsolve_minimize,
                          .assertionLine = 994,
                          .raise = 12.0,
                          .keepsLambda = false,
                          .asksDirection = false};

/// The suite of what holds for each driver. It is spread over several files; one instantiates it.
struct DampedLoop : testing::TestWithParam<Driver> {
    const Driver &driver = GetParam();
};

} // namespace support
