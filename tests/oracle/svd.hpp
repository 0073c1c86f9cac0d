// The two singular value decompositions as plain loops over rows and columns, without scaling or
// floors: what the library must equal bit by bit wherever these come to an end.
#pragma once

#include "support/matrices.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace oracle
{

struct Svd {
    support::Matrix U, W, V;
};

inline support::Matrix padded(const support::Matrix &A)
{
    return support::build(std::max(A.rows(), A.cols()), A.cols(),
                          [&](int i, int j) { return i < A.rows() ? A(i, j) : 0.0; });
}

inline bool allFinite(const std::vector<double> &x)
{
    return std::all_of(x.begin(), x.end(), [](double v) { return std::isfinite(v); });
}

inline bool allFinite(const support::Matrix &A)
{
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < A.cols(); ++j)
            if (!std::isfinite(A(i, j)))
                return false;
    return true;
}

/// Sorted decomposition; nothing when a value takes more than 100 sweeps or stops being finite.
inline std::optional<Svd> sortedSvd(const support::Matrix &input)
{
    support::Matrix A = padded(input);
    const int m = A.rows();
    const int n = A.cols();
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> s(size), e(size), work(static_cast<std::size_t>(m));
    support::Matrix U(m, n), V(n, n);
    auto S = [&](int i) -> double & { return s[static_cast<std::size_t>(i)]; };
    auto E = [&](int i) -> double & { return e[static_cast<std::size_t>(i)]; };
    auto Work = [&](int i) -> double & { return work[static_cast<std::size_t>(i)]; };

    const int nct = std::min(m - 1, n);
    const int nrt = std::max(0, std::min(n - 2, m));
    for (int k = 0; k < std::max(nct, nrt); ++k) {
        if (k < nct) {
            double sum = 0.0;
            for (int i = k; i < m; ++i)
                sum += A(i, k) * A(i, k);
            S(k) = std::sqrt(sum);
            if (S(k) != 0.0) {
                if (A(k, k) < 0.0)
                    S(k) = -S(k);
                const double r = 1.0 / S(k);
                for (int i = k; i < m; ++i)
                    A(i, k) *= r;
                A(k, k) += 1.0;
            }
            S(k) = -S(k);
        }
        for (int j = k + 1; j < n; ++j) {
            if (k < nct && S(k) != 0.0) {
                double t = 0.0;
                for (int i = k; i < m; ++i)
                    t += A(i, k) * A(i, j);
                t = -t / A(k, k);
                for (int i = k; i < m; ++i)
                    A(i, j) += t * A(i, k);
            }
            E(j) = A(k, j);
        }
        if (k < nct)
            for (int i = k; i < m; ++i)
                U(i, k) = A(i, k);
        if (k < nrt) {
            double sum = 0.0;
            for (int i = k + 1; i < n; ++i)
                sum += E(i) * E(i);
            E(k) = std::sqrt(sum);
            if (E(k) != 0.0) {
                if (E(k + 1) < 0.0)
                    E(k) = -E(k);
                const double r = 1.0 / E(k);
                for (int i = k + 1; i < n; ++i)
                    E(i) *= r;
                E(k + 1) += 1.0;
            }
            E(k) = -E(k);
            if (k + 1 < m && E(k) != 0.0) {
                for (int i = k + 1; i < m; ++i)
                    Work(i) = 0.0;
                for (int j = k + 1; j < n; ++j)
                    for (int i = k + 1; i < m; ++i)
                        Work(i) += E(j) * A(i, j);
                for (int j = k + 1; j < n; ++j) {
                    const double t = -E(j) / E(k + 1);
                    for (int i = k + 1; i < m; ++i)
                        A(i, j) += t * Work(i);
                }
            }
            for (int i = k + 1; i < n; ++i)
                V(i, k) = E(i);
        }
    }

    int p = std::min(n, m + 1);
    if (nct < n)
        S(nct) = A(nct, nct);
    if (nrt + 1 < p)
        E(nrt) = A(nrt, p - 1);
    E(p - 1) = 0.0;

    for (int j = nct; j < n; ++j) {
        for (int i = 0; i < m; ++i)
            U(i, j) = 0.0;
        U(j, j) = 1.0;
    }
    for (int k = nct - 1; k >= 0; --k) {
        if (S(k) != 0.0) {
            for (int j = k + 1; j < n; ++j) {
                double t = 0.0;
                for (int i = k; i < m; ++i)
                    t += U(i, k) * U(i, j);
                t = -t / U(k, k);
                for (int i = k; i < m; ++i)
                    U(i, j) += t * U(i, k);
            }
            for (int i = k; i < m; ++i)
                U(i, k) = -U(i, k);
            U(k, k) = 1.0 + U(k, k);
        } else {
            for (int i = 0; i < m; ++i)
                U(i, k) = 0.0;
            U(k, k) = 1.0;
        }
    }
    for (int k = n - 1; k >= 0; --k) {
        if (k < nrt && E(k) != 0.0)
            for (int j = k + 1; j < n; ++j) {
                double t = 0.0;
                for (int i = k + 1; i < n; ++i)
                    t += V(i, k) * V(i, j);
                t = -t / V(k + 1, k);
                for (int i = k + 1; i < n; ++i)
                    V(i, j) += t * V(i, k);
            }
        for (int i = 0; i < n; ++i)
            V(i, k) = 0.0;
        V(k, k) = 1.0;
    }

    const auto rotate = [](support::Matrix &M, int x, int y, double cs, double sn) {
        for (int i = 0; i < M.rows(); ++i) {
            const double t = cs * M(i, x) + sn * M(i, y);
            M(i, y) = -sn * M(i, x) + cs * M(i, y);
            M(i, x) = t;
        }
    };
    const double eps = std::pow(2.0, -52.0);
    int sweeps = 0;
    while (p > 0) {
        if (!allFinite(s) || !allFinite(e))
            return std::nullopt;
        int k = p - 2;
        for (; k >= 0; --k)
            if (std::fabs(E(k)) <= eps * (std::fabs(S(k)) + std::fabs(S(k + 1)))) {
                E(k) = 0.0;
                break;
            }
        int kase = 4;
        if (k != p - 2) {
            int ks = p - 1;
            for (; ks > k; --ks) {
                const double t = std::fabs(E(ks)) + (ks != k + 1 ? std::fabs(E(ks - 1)) : 0.0);
                if (std::fabs(S(ks)) <= eps * t) {
                    S(ks) = 0.0;
                    break;
                }
            }
            kase = ks == k ? 3 : ks == p - 1 ? 1 : 2;
            if (kase == 2)
                k = ks;
        }
        ++k;
        if (kase == 1) {
            double f = E(p - 2);
            E(p - 2) = 0.0;
            for (int j = p - 2; j >= k; --j) {
                const double t = std::sqrt(S(j) * S(j) + f * f);
                const double cs = S(j) / t;
                const double sn = f / t;
                S(j) = t;
                if (j != k) {
                    f = -sn * E(j - 1);
                    E(j - 1) = cs * E(j - 1);
                }
                rotate(V, j, p - 1, cs, sn);
            }
        } else if (kase == 2) {
            double f = E(k - 1);
            E(k - 1) = 0.0;
            for (int j = k; j < p; ++j) {
                const double t = std::sqrt(S(j) * S(j) + f * f);
                const double cs = S(j) / t;
                const double sn = f / t;
                S(j) = t;
                f = -sn * E(j);
                E(j) = cs * E(j);
                rotate(U, j, k - 1, cs, sn);
            }
        } else if (kase == 3) {
            if (++sweeps > 100)
                return std::nullopt;
            const double b =
                ((S(p - 2) + S(p - 1)) * (S(p - 2) - S(p - 1)) + E(p - 2) * E(p - 2)) * 0.5;
            const double c = (S(p - 1) * E(p - 2)) * (S(p - 1) * E(p - 2));
            double shift = 0.0;
            if (b != 0.0 || c != 0.0) {
                shift = std::sqrt(b * b + c);
                if (b < 0.0)
                    shift = -shift;
                shift = c / (b + shift);
            }
            double f = (S(k) + S(p - 1)) * (S(k) - S(p - 1)) + shift;
            double g = S(k) * E(k);
            for (int j = k; j < p - 1; ++j) {
                double t = std::sqrt(f * f + g * g);
                double cs = f / t;
                double sn = g / t;
                if (j != k)
                    E(j - 1) = t;
                f = cs * S(j) + sn * E(j);
                E(j) = cs * E(j) - sn * S(j);
                g = sn * S(j + 1);
                S(j + 1) = cs * S(j + 1);
                rotate(V, j, j + 1, cs, sn);
                t = std::sqrt(f * f + g * g);
                cs = f / t;
                sn = g / t;
                S(j) = t;
                f = cs * E(j) + sn * S(j + 1);
                S(j + 1) = -sn * E(j) + cs * S(j + 1);
                g = sn * E(j + 1);
                E(j + 1) = cs * E(j + 1);
                rotate(U, j, j + 1, cs, sn);
            }
            E(p - 2) = f;
        } else {
            if (S(k) <= 0.0) {
                S(k) = S(k) < 0.0 ? -S(k) : 0.0;
                for (int i = 0; i < n; ++i)
                    V(i, k) = -V(i, k);
            }
            while (k < n - 1 && S(k + 1) > S(k)) {
                std::swap(S(k), S(k + 1));
                for (int i = 0; i < n; ++i)
                    std::swap(V(i, k), V(i, k + 1));
                for (int i = 0; i < m; ++i)
                    std::swap(U(i, k), U(i, k + 1));
                ++k;
            }
            sweeps = 0;
            --p;
        }
    }
    if (!allFinite(U) || !allFinite(V))
        return std::nullopt;
    return Svd{U, support::build(n, n, [&](int i, int j) { return i == j ? S(i) : 0.0; }), V};
}

/// Unsorted decomposition after Golub and Reinsch; nothing after 100 iterations for one value.
inline std::optional<Svd> golubReinschSvd(const support::Matrix &input)
{
    support::Matrix A = padded(input);
    const int m = A.rows();
    const int n = A.cols();
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> w(size), e(size), temporary(size);
    support::Matrix V(n, n);
    auto W = [&](int i) -> double & { return w[static_cast<std::size_t>(i)]; };
    auto E = [&](int i) -> double & { return e[static_cast<std::size_t>(i)]; };
    auto T = [&](int i) -> double & { return temporary[static_cast<std::size_t>(i)]; };
    const auto signedBy = [](double x, double y) {
        return y >= 0.0 ? std::fabs(x) : -std::fabs(x);
    };

    for (int i = 0; i < n; ++i) {
        double scale = 0.0;
        for (int k = i; k < m; ++k)
            scale += std::fabs(A(k, i));
        W(i) = 0.0;
        if (scale != 0.0) {
            double s = 0.0;
            for (int k = i; k < m; ++k) {
                A(k, i) /= scale;
                s += A(k, i) * A(k, i);
            }
            const double f = A(i, i);
            const double g = -signedBy(std::sqrt(s), f);
            const double h = f * g - s;
            A(i, i) = f - g;
            for (int j = i + 1; j < n; ++j) {
                double sum = 0.0;
                for (int k = i; k < m; ++k)
                    sum += A(k, i) * A(k, j);
                for (int k = i; k < m; ++k)
                    A(k, j) += sum / h * A(k, i);
            }
            for (int k = i; k < m; ++k)
                A(k, i) *= scale;
            W(i) = scale * g;
        }
        if (i == n - 1)
            break;
        scale = 0.0;
        for (int k = i + 1; k < n; ++k)
            scale += std::fabs(A(i, k));
        E(i + 1) = 0.0;
        if (scale != 0.0) {
            double s = 0.0;
            for (int k = i + 1; k < n; ++k) {
                A(i, k) /= scale;
                s += A(i, k) * A(i, k);
            }
            const double f = A(i, i + 1);
            const double g = -signedBy(std::sqrt(s), f);
            const double h = f * g - s;
            A(i, i + 1) = f - g;
            for (int k = i + 1; k < n; ++k)
                T(k) = A(i, k) / h;
            for (int j = i + 1; j < m; ++j) {
                double sum = 0.0;
                for (int k = i + 1; k < n; ++k)
                    sum += A(j, k) * A(i, k);
                for (int k = i + 1; k < n; ++k)
                    A(j, k) += sum * T(k);
            }
            for (int k = i + 1; k < n; ++k)
                A(i, k) *= scale;
            E(i + 1) = scale * g;
        }
    }
    double norm = 0.0;
    for (int i = 0; i < n; ++i)
        norm = std::max(norm, std::fabs(W(i)) + std::fabs(E(i)));

    for (int i = n - 1; i >= 0; --i) {
        if (i < n - 1 && E(i + 1) != 0.0) {
            for (int j = i + 1; j < n; ++j)
                V(j, i) = A(i, j) / A(i, i + 1) / E(i + 1);
            for (int j = i + 1; j < n; ++j) {
                double s = 0.0;
                for (int k = i + 1; k < n; ++k)
                    s += A(i, k) * V(k, j);
                for (int k = i + 1; k < n; ++k)
                    V(k, j) += s * V(k, i);
            }
        }
        for (int j = i + 1; j < n; ++j)
            V(i, j) = V(j, i) = 0.0;
        V(i, i) = 1.0;
    }
    for (int i = n - 1; i >= 0; --i) {
        for (int j = i + 1; j < n; ++j)
            A(i, j) = 0.0;
        if (W(i) != 0.0) {
            const double g = 1.0 / W(i);
            for (int j = i + 1; j < n; ++j) {
                double s = 0.0;
                for (int k = i + 1; k < m; ++k)
                    s += A(k, i) * A(k, j);
                const double f = s / A(i, i) * g;
                for (int k = i; k < m; ++k)
                    A(k, j) += f * A(k, i);
            }
            for (int k = i; k < m; ++k)
                A(k, i) *= g;
        } else {
            for (int k = i; k < m; ++k)
                A(k, i) = 0.0;
        }
        A(i, i) += 1.0;
    }

    const auto rotate = [](support::Matrix &M, int x, int y, double c, double s) {
        for (int i = 0; i < M.rows(); ++i) {
            const double a = M(i, x);
            const double b = M(i, y);
            M(i, x) = a * c + b * s;
            M(i, y) = b * c - a * s;
        }
    };
    const auto negligible = [&](double x) { return std::fabs(x) + norm == norm; };
    for (int k = n - 1; k >= 0; --k) {
        for (int its = 1;; ++its) {
            int l = k;
            bool cancel = false;
            for (; l > 0; --l) {
                if (negligible(E(l)))
                    break;
                if (negligible(W(l - 1))) {
                    cancel = true;
                    break;
                }
            }
            double c = 0.0;
            double s = 1.0;
            for (int i = l; cancel && i <= k; ++i) {
                const double f = s * E(i);
                E(i) = c * E(i);
                if (negligible(f))
                    break;
                const double g = W(i);
                W(i) = std::sqrt(f * f + g * g);
                c = g / W(i);
                s = -f / W(i);
                rotate(A, l - 1, i, c, s);
            }
            if (l == k) {
                if (W(k) < 0.0) {
                    W(k) = -W(k);
                    for (int j = 0; j < n; ++j)
                        V(j, k) = -V(j, k);
                }
                break;
            }
            if (its == 100)
                return std::nullopt;
            double x = W(l);
            double y = W(k - 1);
            double g = E(k - 1);
            double h = E(k);
            double z = W(k);
            double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
            g = std::sqrt(f * f + 1.0);
            f = ((x - z) * (x + z) + h * (y / (f + signedBy(g, f)) - h)) / x;
            c = s = 1.0;
            for (int j = l; j < k; ++j) {
                const int i = j + 1;
                g = E(i);
                y = W(i);
                h = s * g;
                g = c * g;
                z = std::sqrt(f * f + h * h);
                E(j) = z;
                if (z != 0.0) {
                    c = f / z;
                    s = h / z;
                }
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y *= c;
                rotate(V, j, i, c, s);
                z = std::sqrt(f * f + h * h);
                W(j) = z;
                if (z != 0.0) {
                    c = f / z;
                    s = h / z;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                rotate(A, j, i, c, s);
            }
            E(l) = 0.0;
            E(k) = f;
            W(k) = x;
        }
    }
    return Svd{support::build(input.rows(), n, [&](int i, int j) { return A(i, j); }),
               support::build(n, n, [&](int i, int j) { return i == j ? W(i) : 0.0; }), V};
}

} // namespace oracle
