// Conjugate gradients with a bracketing and Brent's line search, written down step by step over
// plain numbers: what the library must equal bit by bit. Every branch leaves its name, so that a
// test can tell which of them its functions have taken.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace oracle
{

using Tally = std::map<std::string, int>;

struct LineSearch {
    std::function<double(double)> f;
    double ftol, goldenSection, zeps;

    double xa = 0, xb = 0, xc = 0, fa = 0, fb = 0, fc = 0;
    double xmin = 0, fmin = 0;
    bool converged = false;
    Tally branches{};

    // The size of one number, with the sign of another; 0 counts as positive, NaN as negative.
    static double carrying(double size, double sign)
    {
        size = std::fabs(size);
        if (sign >= 0)
            return size;
        return -size;
    }

    void bracket()
    {
        xa = 0.0;
        xb = 1.0;
        fa = f(xa);
        fb = f(xb);
        if (fb > fa) {
            ++branches["uphill"];
            double t = xa;
            xa = xb;
            xb = t;
            t = fa;
            fa = fb;
            fb = t;
        }
        xc = xb + 1.618034 * (xb - xa);
        fc = f(xc);
        while (fb > fc) {
            double fu;
            double r = (xb - xa) * (fb - fc);
            double q = (xb - xc) * (fb - fa);
            double size = std::fabs(q - r);
            if (size < 1e-20)
                size = 1e-20;
            double u = xb - ((xb - xc) * q - (xb - xa) * r) / (2.0 * carrying(size, q - r));
            double ulim = xb + 100.0 * (xc - xb);
            if ((xb - u) * (u - xc) > 0.0) {
                fu = f(u);
                if (fu < fc) {
                    ++branches["bracket: between, lower than c"];
                    xa = xb;
                    xb = u;
                    fa = fb;
                    fb = fu;
                    return;
                }
                if (fu > fb) {
                    ++branches["bracket: between, higher than b"];
                    xc = u;
                    fc = fu;
                    return;
                }
                ++branches["bracket: between, no use"];
                u = xc + 1.618034 * (xc - xb);
                fu = f(u);
            } else if ((xc - u) * (u - ulim) > 0.0) {
                fu = f(u);
                if (fu < fc) {
                    ++branches["bracket: beyond c, still falling"];
                    xb = xc;
                    xc = u;
                    u = xc + 1.618034 * (xc - xb);
                    fb = fc;
                    fc = fu;
                    fu = f(u);
                } else {
                    ++branches["bracket: beyond c, rising"];
                }
            } else if ((u - ulim) * (ulim - xc) >= 0.0) {
                ++branches[u == ulim ? "bracket: at the limit" : "bracket: beyond the limit"];
                u = ulim;
                fu = f(u);
            } else {
                ++branches["bracket: behind"];
                u = xc + 1.618034 * (xc - xb);
                fu = f(u);
            }
            xa = xb;
            xb = xc;
            xc = u;
            fa = fb;
            fb = fc;
            fc = fu;
        }
    }

    void brent()
    {
        double a = std::min(xa, xc), b = std::max(xa, xc);
        double x = xb, w = xb, v = xb;
        double fx = f(xb), fw = fx, fv = fx;
        double d = 0, e = 0;
        converged = false;
        for (int iteration = 1; iteration <= 100; ++iteration) {
            const double xm = (a + b) / 2;
            const double tol1 = ftol * std::fabs(x) + zeps;
            const double tol2 = 2 * tol1;
            if (std::fabs(x - xm) <= tol2 - (b - a) / 2) {
                ++branches["brent: converged"];
                converged = true;
                break;
            }
            bool golden = true;
            if (std::fabs(e) > tol1) {
                const double r = (x - w) * (fx - fv);
                double q = (x - v) * (fx - fw);
                double p = (x - v) * q - (x - w) * r;
                q = 2 * (q - r);
                if (q > 0) {
                    ++branches["brent: q positive"];
                    p = -p;
                } else {
                    ++branches["brent: q negative"];
                }
                q = std::fabs(q);
                const double etemp = e;
                e = d;
                if (std::fabs(p) >= std::fabs(q * etemp / 2)) {
                    ++branches["brent: parabola too long"];
                } else if (p <= q * (a - x)) {
                    ++branches["brent: parabola below a"];
                } else if (p >= q * (b - x)) {
                    ++branches["brent: parabola above b"];
                } else {
                    ++branches["brent: parabola"];
                    golden = false;
                    d = p / q;
                    const double u = x + d;
                    if (u - a < tol2) {
                        ++branches["brent: parabola close to a"];
                        d = carrying(tol1, xm - x);
                    } else if (b - u < tol2) {
                        ++branches["brent: parabola close to b"];
                        d = carrying(tol1, xm - x);
                    }
                }
            }
            if (golden) {
                if (x >= xm) {
                    ++branches["brent: golden step down"];
                    e = a - x;
                } else {
                    ++branches["brent: golden step up"];
                    e = b - x;
                }
                d = goldenSection * e;
            }
            double u;
            if (std::fabs(d) >= tol1) {
                u = x + d;
            } else {
                ++branches["brent: least step"];
                u = x + carrying(tol1, d);
            }
            const double fu = f(u);
            if (fu <= fx) {
                if (u >= x) {
                    ++branches["brent: better above"];
                    a = x;
                } else {
                    ++branches["brent: better below"];
                    b = x;
                }
                v = w;
                w = x;
                x = u;
                fv = fw;
                fw = fx;
                fx = fu;
            } else {
                if (u < x) {
                    ++branches["brent: worse below"];
                    a = u;
                } else {
                    ++branches["brent: worse above"];
                    b = u;
                }
                if (fu <= fw || w == x) {
                    ++branches[fu <= fw ? "brent: second by value" : "brent: second, w is x"];
                    v = w;
                    w = u;
                    fv = fw;
                    fw = fu;
                } else if (fu <= fv || v == x || v == w) {
                    ++branches[fu <= fv ? "brent: third by value"
                               : v == x ? "brent: third, v is x"
                                        : "brent: third, v is w"];
                    v = u;
                    fv = fu;
                } else {
                    ++branches["brent: only a bound"];
                }
            }
        }
        if (!converged)
            ++branches["brent: 100 iterations"];
        xmin = x;
        fmin = fx;
    }
};

/// The minimization, with elements counted from 1. f and df may throw to end it: the fields then
/// hold what was reached.
struct ConjugateGradients {
    std::function<double(const std::vector<double> &)> f;
    std::function<void(const std::vector<double> &, std::vector<double> &)> df;
    std::vector<double> p; // p[0] is not used
    double ftol;
    int maxIterations = 200;
    double goldenSection = 0.381966, zeps = 1e-10, eps = 1e-10;

    std::vector<double> g{}, h{}, xi{};
    int iterations = 0;
    double fret = 0;
    enum { converged, stationary, lineSearchCap, iterationCap } end = iterationCap;
    Tally branches{};

    void minimize()
    {
        const std::size_t n = p.size() - 1;
        g = h = xi = std::vector<double>(n + 1);
        double fp = f(p);
        df(p, xi);
        for (std::size_t j = 1; j <= n; ++j) {
            g[j] = -xi[j];
            h[j] = g[j];
            xi[j] = g[j];
        }
        for (int its = 1; its <= maxIterations; ++its) {
            iterations = its;

            const std::vector<double> origin = p, direction = xi;
            LineSearch line{[&](double x) {
                                std::vector<double> point(n + 1);
                                for (std::size_t j = 1; j <= n; ++j)
                                    point[j] = origin[j] + x * direction[j];
                                return f(point);
                            },
                            ftol, goldenSection, zeps};
            line.bracket();
            line.brent();
            for (const auto &[branch, times] : line.branches)
                branches[branch] += times;
            fret = line.fmin;
            if (!line.converged) {
                end = lineSearchCap;
                return;
            }
            for (std::size_t j = 1; j <= n; ++j) {
                xi[j] = xi[j] * line.xmin;
                p[j] = p[j] + xi[j];
            }

            if (2.0 * std::fabs(fret - fp) <= ftol * (std::fabs(fret) + std::fabs(fp) + eps)) {
                end = converged;
                return;
            }
            fp = fret;
            df(p, xi);
            double gg = 0.0;
            for (std::size_t j = 1; j <= n; ++j)
                gg += g[j] * g[j];
            double dgg = 0.0;
            for (std::size_t j = 1; j <= n; ++j)
                dgg += (xi[j] + g[j]) * xi[j];
            if (gg == 0.0) {
                end = stationary;
                return;
            }
            const double gamma = dgg / gg;
            for (std::size_t j = 1; j <= n; ++j) {
                g[j] = -xi[j];
                h[j] = g[j] + gamma * h[j];
                xi[j] = h[j];
            }
        }
        end = iterationCap;
    }
};

} // namespace oracle
