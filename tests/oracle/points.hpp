// The textbook loop over an array of points: what every kernel must equal bit by bit.
#pragma once

#include "kernels/kernels.hpp"

#include <cstdint>

namespace oracle
{

/// Point after point: read whole, mapped in double, rounded where the array holds floats.
template <class Number> void mapPoints(const kmath::Affine &X, bool translated, const Number *input,
                                       Number *output, std::int64_t n)
{
    for (std::int64_t i = 0; i < n; ++i) {
        const double x = input[3 * i];
        const double y = input[3 * i + 1];
        const double z = input[3 * i + 2];
        for (int row = 0; row < 3; ++row) {
            double sum = X.M[row][0] * x;
            sum = sum + X.M[row][1] * y;
            sum = sum + X.M[row][2] * z;
            if (translated)
                sum = sum + X.t[row];
            output[3 * i + row] = static_cast<Number>(sum);
        }
    }
}

} // namespace oracle
