// The conjugate-gradient iteration, its bracketing and its line search written out on plain arrays,
// and the library compared with them.
#pragma once

#include "contract/frprmn_problems.hpp"
#include "support/matrices.hpp"

#include <set>
#include <utility>

namespace frprmn
{

/// The ways through the bracketing and the line search.
enum Way {
    Uphill,          // the two first points change places
    MinimumInside,   // u between xb and xc is lower than xc
    RiseInside,      // u between xb and xc is higher than xb
    NoUseInside,     // u between xb and xc is neither
    LowerBeyond,     // u between xc and the limit is lower than xc
    HigherBeyond,    // u between xc and the limit is not
    AtLimit,         // u beyond the limit
    Backwards,       // u elsewhere
    SmallE,          // golden step, as the step before last was small
    RefusedParabola, // golden step after a look at the parabola
    AcceptedParabola,
    NearBound, // the parabola's step replaced by tol1
    SmallStep, // u no nearer to x than tol1
    Lower,
    SecondLowest,
    ThirdLowest,
    NoUse,
    ways
};

/// |magnitude| with the sign of x. A zero of either sign counts as positive, and what is not a
/// number as negative: its own sign bit is no property of the arithmetic.
inline double withSign(double magnitude, double x)
{
    return x >= 0.0 ? std::fabs(magnitude) : -std::fabs(magnitude);
}

/// The iteration written out. Stops where a callback fails, at any exit in the state that the
/// record should have.
class Naive
{
  public:
    struct Failed {
        kmath_status status;
    };

    Naive(Service &of, const kmath_frprmn &from)
        : service(of), s(from), n(from.n), iterations(from.iterations), p(copy(from.p)),
          g(copy(from.g)), h(copy(from.h)), xi(copy(from.xi)), pcom(copy(from.pcom)),
          xicom(copy(from.xicom))
    {
    }

    kmath_status run()
    {
        try {
            return minimize();
        } catch (const Failed &failed) {
            return failed.status;
        }
    }

    Service &service;
    const kmath_frprmn &s;
    int n, iterations;
    Vector p, g, h, xi, pcom, xicom;
    Vector result;
    double fret = sentinel;
    int lineEvaluations = 0, lines = 0;
    bool gradientTest = false;
    int refuseLineEvaluation = -1; ///< as an allocation that fails
    std::set<int> seen;

  private:
    static Vector copy(const kmath_nvector &v)
    {
        return v.data ? Vector(v.data, v.data + v.n + 1) : Vector(1);
    }

    double value(const Vector &x)
    {
        double f = nan;
        check(service.call(false, x.data(), &f));
        return f;
    }

    static void check(kmath_status status)
    {
        if (KMATH_IS_FAILURE(status))
            throw Failed{status};
    }

    kmath_status minimize()
    {
        double fp = value(p);
        check(service.call(true, p.data(), xi.data()));
        for (int j = 1; j <= n; ++j) {
            at(g, j) = -at(xi, j);
            at(xi, j) = at(h, j) = at(g, j);
        }
        for (int its = 1; its <= s.maxIterations; ++its) {
            iterations = its;
            minimizeAlongLine();
            if (2.0 * std::fabs(fret - fp) <= s.ftol * (std::fabs(fret) + std::fabs(fp) + s.eps)) {
                result = p;
                return KMATH_OK;
            }
            fp = fret;
            check(service.call(true, p.data(), xi.data()));
            double gg = 0.0, dgg = 0.0;
            for (int j = 1; j <= n; ++j) {
                gg += at(g, j) * at(g, j);
                dgg += (at(xi, j) + at(g, j)) * at(xi, j);
            }
            if (gg == 0.0) {
                gradientTest = true;
                result = p;
                return KMATH_OK;
            }
            const double gamma = dgg / gg;
            for (int j = 1; j <= n; ++j) {
                at(g, j) = -at(xi, j);
                at(h, j) = at(g, j) + gamma * at(h, j);
                at(xi, j) = at(h, j);
            }
        }
        return KMATH_ERR_BAD_DIMENSIONS;
    }

    double f1(double x)
    {
        if (lineEvaluations++ == refuseLineEvaluation)
            throw Failed{KMATH_ERR_NO_MEMORY};
        Vector point(static_cast<std::size_t>(n) + 1);
        for (int j = 1; j <= n; ++j)
            at(point, j) = at(pcom, j) + x * at(xicom, j);
        return value(point);
    }

    void minimizeAlongLine()
    {
        ++lines;
        for (int j = 1; j <= n; ++j) {
            at(pcom, j) = at(p, j);
            at(xicom, j) = at(xi, j);
        }
        double xa = 0.0, xb = 1.0, xc;
        bracket(xa, xb, xc);
        const double xmin = brent(xa, xb, xc);
        for (int j = 1; j <= n; ++j) {
            at(xi, j) *= xmin;
            at(p, j) += at(xi, j);
        }
    }

    void bracket(double &xa, double &xb, double &xc)
    {
        constexpr double ratio = 1.618034, limit = 100.0, tiny = 1e-20;
        double fa = f1(xa), fb = f1(xb);
        if (fb > fa) {
            seen.insert(Uphill);
            std::swap(xa, xb);
            std::swap(fa, fb);
        }
        xc = xb + ratio * (xb - xa);
        double fc = f1(xc);
        while (fb > fc) {
            const double r = (xb - xa) * (fb - fc), q = (xb - xc) * (fb - fa);
            const double difference = withSign(std::max(std::fabs(q - r), tiny), q - r);
            double u = xb - ((xb - xc) * q - (xb - xa) * r) / (2.0 * difference);
            const double ulim = xb + limit * (xc - xb);
            double fu;
            if ((xb - u) * (u - xc) > 0.0) {
                fu = f1(u);
                if (fu < fc) {
                    seen.insert(MinimumInside);
                    xa = xb;
                    xb = u;
                    return;
                }
                if (fu > fb) {
                    seen.insert(RiseInside);
                    xc = u;
                    return;
                }
                seen.insert(NoUseInside);
                u = xc + ratio * (xc - xb);
                fu = f1(u);
            } else if ((xc - u) * (u - ulim) > 0.0) {
                fu = f1(u);
                seen.insert(fu < fc ? LowerBeyond : HigherBeyond);
                if (fu < fc) {
                    xb = xc;
                    xc = u;
                    u = xc + ratio * (xc - xb);
                    fb = fc;
                    fc = fu;
                    fu = f1(u);
                }
            } else if ((u - ulim) * (ulim - xc) >= 0.0) {
                seen.insert(AtLimit);
                u = ulim;
                fu = f1(u);
            } else {
                seen.insert(Backwards);
                u = xc + ratio * (xc - xb);
                fu = f1(u);
            }
            xa = xb;
            xb = xc;
            xc = u;
            fa = fb;
            fb = fc;
            fc = fu;
        }
    }

    double brent(double xa, double xb, double xc)
    {
        double a = std::min(xa, xc), b = std::max(xa, xc);
        double x = xb, w = xb, v = xb, d = 0.0, e = 0.0;
        double fx = f1(xb), fw = fx, fv = fx;
        for (int iteration = 0; iteration < 100; ++iteration) {
            const double xm = (a + b) / 2.0;
            const double tol1 = s.ftol * std::fabs(x) + s.zeps, tol2 = 2.0 * tol1;
            if (std::fabs(x - xm) <= tol2 - (b - a) / 2.0) {
                fret = fx;
                return x;
            }
            bool golden = true;
            if (std::fabs(e) > tol1) {
                const double r = (x - w) * (fx - fv);
                double q = (x - v) * (fx - fw);
                double parabola = (x - v) * q - (x - w) * r;
                q = 2.0 * (q - r);
                if (q > 0.0)
                    parabola = -parabola;
                q = std::fabs(q);
                const double etemp = e;
                e = d;
                golden = std::fabs(parabola) >= std::fabs(q * etemp / 2.0) ||
                         parabola <= q * (a - x) || parabola >= q * (b - x);
                seen.insert(golden ? RefusedParabola : AcceptedParabola);
                if (!golden) {
                    d = parabola / q;
                    const double u = x + d;
                    if (u - a < tol2 || b - u < tol2) {
                        seen.insert(NearBound);
                        d = withSign(tol1, xm - x);
                    }
                }
            } else {
                seen.insert(SmallE);
            }
            if (golden) {
                e = x >= xm ? a - x : b - x;
                d = s.goldenSection * e;
            }
            if (!(std::fabs(d) >= tol1))
                seen.insert(SmallStep);
            const double u = std::fabs(d) >= tol1 ? x + d : x + withSign(tol1, d);
            const double fu = f1(u);
            if (fu <= fx) {
                seen.insert(Lower);
                (u >= x ? a : b) = x;
                v = w;
                w = x;
                x = u;
                fv = fw;
                fw = fx;
                fx = fu;
            } else {
                (u < x ? a : b) = u;
                if (fu <= fw || w == x) {
                    seen.insert(SecondLowest);
                    v = w;
                    w = u;
                    fv = fw;
                    fw = fu;
                } else if (fu <= fv || v == x || v == w) {
                    seen.insert(ThirdLowest);
                    v = u;
                    fv = fu;
                } else {
                    seen.insert(NoUse);
                }
            }
        }
        fret = fx;
        throw Failed{KMATH_ERR_BAD_DIMENSIONS};
    }
};

inline void expectSameVector(const kmath_nvector &vector, const Vector &expected, const char *name)
{
    ASSERT_EQ(vector.n + 1, static_cast<int>(expected.size())) << name;
    for (int j = 1; j <= vector.n; ++j)
        EXPECT_TRUE(support::sameBits(vector.data[j], expected[static_cast<std::size_t>(j)]))
            << name << '[' << j << "] = " << vector.data[j] << ", not "
            << expected[static_cast<std::size_t>(j)];
}

inline void expectSameLog(const Service &library, const Service &naive)
{
    ASSERT_EQ(library.log.size(), naive.log.size());
    for (std::size_t i = 0; i < library.log.size(); ++i) {
        ASSERT_EQ(library.log[i].gradient, naive.log[i].gradient) << "call " << i;
        for (std::size_t j = 0; j < library.log[i].point.size(); ++j)
            ASSERT_TRUE(support::sameBits(library.log[i].point[j], naive.log[i].point[j]))
                << "call " << i << ", x[" << j + 1 << "] = " << library.log[i].point[j] << ", not "
                << naive.log[i].point[j];
    }
}

/// The record is left as the iteration leaves its variables.
inline void expectSameState(Minimizer &m, const Naive &naive)
{
    EXPECT_EQ(m->iterations, naive.iterations);
    const Vector *expected[] = {&naive.p, &naive.g, &naive.h, &naive.xi, &naive.pcom, &naive.xicom};
    const char *const names[] = {"p", "g", "h", "xi", "pcom", "xicom"};
    for (std::size_t i = 0; i < 6; ++i)
        expectSameVector(*vectorsOf(&m)[i], *expected[i], names[i]);
}

/// One minimization beside the one written out; gives the latter back for further questions.
inline Naive compare(const Problem &problem, const Settings &settings, Service &own,
                     int failing = -1, bool *failed = nullptr)
{
    Service service(problem);
    own.failing = service.failing = failing;
    Minimizer m;
    set(m, service);
    tune(m, settings);
    Naive naive(own, *&m);
    const kmath_status expected = naive.run();
    NVector result({sentinel, sentinel, sentinel});
    double fret = sentinel;
    const kmath_status status = kmath_frprmn_minimize(&m, &result, &fret);
    EXPECT_EQ(status, expected);
    expectSameLog(service, own);
    expectSameState(m, naive);
    EXPECT_TRUE(support::sameBits(fret, naive.fret)) << fret << ", not " << naive.fret;
    if (expected == KMATH_OK)
        expectSameVector(*&result, naive.result, "result");
    else
        expectSameVector(*&result, {sentinel, sentinel, sentinel}, "result");
    if (failed)
        *failed = KMATH_IS_FAILURE(expected);
    return naive;
}

} // namespace frprmn
