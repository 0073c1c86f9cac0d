// A number that carries its derivatives along (forward differentiation): what is computed with it
// has derivatives as exact as its value.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace support
{

class Dual
{
  public:
    static constexpr std::size_t variables = 10;

    double value = 0.0;
    std::array<double, variables> slope{};

    Dual() = default;
    Dual(double constant) : value(constant) {}

    static Dual variable(double value, std::size_t index)
    {
        Dual x(value);
        x.slope.at(index) = 1.0;
        return x;
    }

    /// g(u) from its value and its derivative.
    static Dual chain(double value, const Dual &u, double byU)
    {
        return chain(value, u, byU, Dual(), 0.0);
    }
    /// g(u, v) from its value and its partial derivatives.
    static Dual chain(double value, const Dual &u, double byU, const Dual &v, double byV)
    {
        Dual result(value);
        for (std::size_t i = 0; i < variables; ++i)
            result.slope[i] = byU * u.slope[i] + byV * v.slope[i];
        return result;
    }

    Dual &operator+=(const Dual &other) { return *this = *this + other; }
    Dual &operator*=(const Dual &other) { return *this = *this * other; }

    friend Dual operator-(const Dual &u) { return chain(-u.value, u, -1.0); }
    friend Dual operator+(const Dual &u, const Dual &v)
    {
        return chain(u.value + v.value, u, 1.0, v, 1.0);
    }
    friend Dual operator-(const Dual &u, const Dual &v)
    {
        return chain(u.value - v.value, u, 1.0, v, -1.0);
    }
    friend Dual operator*(const Dual &u, const Dual &v)
    {
        return chain(u.value * v.value, u, v.value, v, u.value);
    }
    friend Dual operator/(const Dual &u, const Dual &v)
    {
        const double q = u.value / v.value;
        return chain(q, u, 1.0 / v.value, v, -q / v.value);
    }
    friend Dual exp(const Dual &u)
    {
        const double e = std::exp(u.value);
        return chain(e, u, e);
    }
    friend Dual sqrt(const Dual &u)
    {
        const double root = std::sqrt(u.value);
        return chain(root, u, 0.5 / root);
    }
    friend Dual atan2(const Dual &y, const Dual &x)
    {
        const double square = x.value * x.value + y.value * y.value;
        return chain(std::atan2(y.value, x.value), y, x.value / square, x, -y.value / square);
    }
};

} // namespace support
