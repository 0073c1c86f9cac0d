// The conjugate-gradient minimizer seen from outside: every evaluation in bits and in order against
// the iteration, the bracketing and the line search written out, and what each exit leaves behind.
#include "support/matrices.hpp"
#include "support/owned.hpp"
#include "support/services.hpp"

#include <kmath/solvers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <type_traits>
#include <vector>

namespace
{

using support::allocationsOf;
using support::assertedLine;
using support::liveBlocks;
using support::sameBits;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr auto custom = static_cast<kmath_status>(0x80001234u);
constexpr double sentinel = -77.25;

static_assert(
    std::is_same_v<kmath_frprmn_func, kmath_status (*)(const kmath_nvector *, double *, void *)>);
static_assert(std::is_same_v<kmath_frprmn_dfunc,
                             kmath_status (*)(const kmath_nvector *, kmath_nvector *, void *)>);

/// Elements 1 … n; element 0 is there and means nothing.
using Vector = std::vector<double>;

double &at(Vector &v, int j) { return v[static_cast<std::size_t>(j)]; }

class NVector
    : public support::Owned<kmath_nvector, kmath_nvector_construct, kmath_nvector_destruct>
{
  public:
    NVector() = default;
    explicit NVector(const Vector &elements)
    {
        NVector &vector = *this;
        EXPECT_EQ(kmath_nvector_resize(&vector, static_cast<int>(elements.size()) - 1), KMATH_OK);
        if (vector->n > 0)
            std::copy(elements.begin(), elements.end(), vector->data);
    }
};

using Minimizer = support::Owned<kmath_frprmn, kmath_frprmn_construct, kmath_frprmn_destruct>;

/// The six vectors in the order in which they are constructed.
std::vector<kmath_nvector *> vectorsOf(kmath_frprmn *m)
{
    return {&m->p, &m->g, &m->h, &m->xi, &m->pcom, &m->xicom};
}

/// One call of either callback, with the point that it was given.
struct Evaluation {
    bool gradient;
    Vector point;
};

/// A function with its gradient, as a test states it; x[1] … x[n].
struct Problem {
    Vector start; ///< element 0 first
    std::function<double(const double *x)> value;
    std::function<void(const double *x, double *g)> gradient;
    int n() const { return static_cast<int>(start.size()) - 1; }
};

/// Serves a problem, keeps a log, and lets the call with a number, counted over both callbacks from
/// 0, fail or throw.
struct Service {
    explicit Service(const Problem &of) : problem(of) {}

    const Problem &problem;
    std::vector<Evaluation> log;
    int failing = -1;
    bool throwing = false;
    /// Looks at each call before it is answered.
    std::function<void(const double *, bool gradient)> watch;

    kmath_status call(bool gradient, const double *x, double *out)
    {
        const int n = problem.n(), number = static_cast<int>(log.size());
        log.push_back({gradient, n > 0 ? Vector(x + 1, x + 1 + n) : Vector()});
        if (watch)
            watch(x, gradient);
        if (number == failing) {
            if (throwing)
                throw 42;
            return custom;
        }
        if (gradient)
            problem.gradient(x, out);
        else
            *out = problem.value(x);
        return KMATH_OK;
    }
};

kmath_status valueOf(const kmath_nvector *point, double *value, void *service)
{
    return static_cast<Service *>(service)->call(false, point->data, value);
}

kmath_status gradientOf(const kmath_nvector *point, kmath_nvector *gradient, void *service)
{
    return static_cast<Service *>(service)->call(true, point->data, gradient->data);
}

void set(Minimizer &m, Service &service, double ftol = 1e-10)
{
    NVector start(service.problem.start);
    ASSERT_EQ(
        kmath_frprmn_setup(&m, valueOf, gradientOf, service.problem.n(), &start, ftol, &service),
        KMATH_OK);
}

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
double withSign(double magnitude, double x)
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

void expectSameVector(const kmath_nvector &vector, const Vector &expected, const char *name)
{
    ASSERT_EQ(vector.n + 1, static_cast<int>(expected.size())) << name;
    for (int j = 1; j <= vector.n; ++j)
        EXPECT_TRUE(sameBits(vector.data[j], expected[static_cast<std::size_t>(j)]))
            << name << '[' << j << "] = " << vector.data[j] << ", not "
            << expected[static_cast<std::size_t>(j)];
}

void expectSameLog(const Service &library, const Service &naive)
{
    ASSERT_EQ(library.log.size(), naive.log.size());
    for (std::size_t i = 0; i < library.log.size(); ++i) {
        ASSERT_EQ(library.log[i].gradient, naive.log[i].gradient) << "call " << i;
        for (std::size_t j = 0; j < library.log[i].point.size(); ++j)
            ASSERT_TRUE(sameBits(library.log[i].point[j], naive.log[i].point[j]))
                << "call " << i << ", x[" << j + 1 << "] = " << library.log[i].point[j] << ", not "
                << naive.log[i].point[j];
    }
}

/// The record is left as the iteration leaves its variables.
void expectSameState(Minimizer &m, const Naive &naive)
{
    EXPECT_EQ(m->iterations, naive.iterations);
    const Vector *expected[] = {&naive.p, &naive.g, &naive.h, &naive.xi, &naive.pcom, &naive.xicom};
    const char *const names[] = {"p", "g", "h", "xi", "pcom", "xicom"};
    for (std::size_t i = 0; i < 6; ++i)
        expectSameVector(*vectorsOf(&m)[i], *expected[i], names[i]);
}

struct Settings {
    double ftol = 1e-10;
    int maxIterations = 200;
    double goldenSection = 0.381966, zeps = 1e-10, eps = 1e-10;
};

void tune(Minimizer &m, const Settings &t)
{
    m->ftol = t.ftol;
    m->maxIterations = t.maxIterations;
    m->goldenSection = t.goldenSection;
    m->zeps = t.zeps;
    m->eps = t.eps;
}

/// One minimization beside the one written out; gives the latter back for further questions.
Naive compare(const Problem &problem, const Settings &settings, Service &own, int failing = -1,
              bool *failed = nullptr)
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
    EXPECT_TRUE(sameBits(fret, naive.fret)) << fret << ", not " << naive.fret;
    if (expected == KMATH_OK)
        expectSameVector(*&result, naive.result, "result");
    else
        expectSameVector(*&result, {sentinel, sentinel, sentinel}, "result");
    if (failed)
        *failed = KMATH_IS_FAILURE(expected);
    return naive;
}

// The problems.

Problem rosenbrock(int n)
{
    Problem problem{Vector(static_cast<std::size_t>(n) + 1), {}, {}};
    for (int j = 1; j <= n; ++j)
        at(problem.start, j) = j % 2 ? -1.2 : 1.0;
    problem.value = [n](const double *x) {
        double sum = 0.0;
        for (int j = 1; j < n; ++j) {
            const double steep = x[j + 1] - x[j] * x[j], flat = 1.0 - x[j];
            sum += 100.0 * steep * steep + flat * flat;
        }
        return sum;
    };
    problem.gradient = [n](const double *x, double *g) {
        for (int j = 1; j <= n; ++j)
            g[j] = 0.0;
        for (int j = 1; j < n; ++j) {
            const double steep = x[j + 1] - x[j] * x[j];
            g[j] += -400.0 * steep * x[j] - 2.0 * (1.0 - x[j]);
            g[j + 1] += 200.0 * steep;
        }
    };
    return problem;
}

/// Σ 10^j (x_j − 1/j)² + offset
Problem bowl(int n, double offset = 0.0)
{
    Problem problem{Vector(static_cast<std::size_t>(n) + 1, 2.5), {}, {}};
    problem.value = [=](const double *x) {
        double sum = offset;
        for (int j = 1; j <= n; ++j)
            sum += std::pow(10.0, j) * (x[j] - 1.0 / j) * (x[j] - 1.0 / j);
        return sum;
    };
    problem.gradient = [=](const double *x, double *g) {
        for (int j = 1; j <= n; ++j)
            g[j] = 2.0 * std::pow(10.0, j) * (x[j] - 1.0 / j);
    };
    return problem;
}

Problem constant(double value, double slope)
{
    return {{0, 3.0, -4.0},
            [=](const double *) { return value; },
            [=](const double *, double *g) { g[1] = g[2] = slope; }};
}

/// f(x) with a gradient that need not be its own.
Problem onLine(double start, const std::function<double(double)> &f,
               const std::function<double(double)> &slope)
{
    return {{0, start},
            [f](const double *x) { return f(x[1]); },
            [slope](const double *x, double *g) { g[1] = slope(x[1]); }};
}

/// A bowl with waves, now and then a kink or steps; its gradient is off by a factor of any size and
/// sign, so that first steps fall short, go far beyond, or lead uphill.
Problem wavy(std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    };
    const double a = std::pow(10.0, uniform(-3, 1)), b = uniform(-3, 3);
    const double c = uniform(0, 3), w = uniform(0.2, 6), phase = uniform(0, 6);
    const double kink = seed % 3 == 0 ? uniform(0, 5) : 0.0, where = uniform(-2, 2);
    const double steps = seed % 7 == 0 ? 0.25 : 0.0;
    const double factor = std::pow(10.0, uniform(-3, 2)) * (uniform(0, 1) < 0.2 ? -1.0 : 1.0);
    return onLine(
        uniform(-4, 4),
        [=](double x) {
            const double f =
                a * x * x + b * x + c * std::sin(w * x + phase) + kink * std::fabs(x - where);
            return steps == 0.0 ? f : steps * std::floor(f / steps);
        },
        [=](double x) { return factor * (2 * a * x + b + c * w * std::cos(w * x + phase)); });
}

// The record.

TEST(FrprmnRules, TheFieldsStandInTheirOrder)
{
    const std::size_t offsets[] = {offsetof(kmath_frprmn, n),
                                   offsetof(kmath_frprmn, iterations),
                                   offsetof(kmath_frprmn, ftol),
                                   offsetof(kmath_frprmn, func),
                                   offsetof(kmath_frprmn, dfunc),
                                   offsetof(kmath_frprmn, p),
                                   offsetof(kmath_frprmn, g),
                                   offsetof(kmath_frprmn, h),
                                   offsetof(kmath_frprmn, xi),
                                   offsetof(kmath_frprmn, pcom),
                                   offsetof(kmath_frprmn, xicom),
                                   offsetof(kmath_frprmn, userData),
                                   offsetof(kmath_frprmn, maxIterations),
                                   offsetof(kmath_frprmn, goldenSection),
                                   offsetof(kmath_frprmn, zeps),
                                   offsetof(kmath_frprmn, eps)};
    EXPECT_EQ(offsets[0], 0u);
    EXPECT_TRUE(std::is_sorted(std::begin(offsets), std::end(offsets)));
    EXPECT_EQ(offsets[15] + sizeof(double), sizeof(kmath_frprmn));
}

TEST(FrprmnRules, AFreshRecordHasItsDefaults)
{
    kmath_frprmn m;
    std::memset(&m, 0x5a, sizeof m);
    EXPECT_EQ(allocationsOf([&] { ASSERT_EQ(kmath_frprmn_construct(&m), KMATH_OK); }), 0);
    EXPECT_EQ(m.func, nullptr);
    EXPECT_EQ(m.dfunc, nullptr);
    EXPECT_EQ(m.userData, nullptr);
    EXPECT_EQ(m.maxIterations, 200);
    EXPECT_EQ(m.goldenSection, 0.381966);
    EXPECT_EQ(m.zeps, 1e-10);
    EXPECT_EQ(m.eps, 1e-10);
    for (const kmath_nvector *v : vectorsOf(&m)) {
        EXPECT_EQ(v->data, nullptr);
        EXPECT_EQ(v->n, 0);
    }
    EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
}

TEST(FrprmnRules, DestructingReleasesTheVectorsAndMayBeRepeated)
{
    const std::int64_t live = liveBlocks();
    const Problem problem = bowl(3);
    Service service(problem);
    kmath_frprmn m;
    ASSERT_EQ(kmath_frprmn_construct(&m), KMATH_OK);
    NVector start(problem.start);
    for (int i = 0; i < 2; ++i) { // a destructed record can be set up again
        ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 3, &start, 1e-3, &service), KMATH_OK);
        EXPECT_EQ(liveBlocks(), live + 1 + 6);
        EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
        for (const kmath_nvector *v : vectorsOf(&m)) {
            EXPECT_EQ(v->data, nullptr);
            EXPECT_EQ(v->n, 0);
        }
        EXPECT_EQ(liveBlocks(), live + 1);
    }
    EXPECT_EQ(kmath_frprmn_destruct(&m), KMATH_OK);
}

TEST(FrprmnRules, ANullRecordIsReportedWithItsLine)
{
    EXPECT_EQ(assertedLine([] { kmath_frprmn_destruct(nullptr); }), 58);
}

TEST(FrprmnRules, SetupStoresTheProblemAndSizesTheVectors)
{
    Minimizer m;
    tune(m, {.maxIterations = 7, .goldenSection = 0.25, .zeps = 0.5, .eps = 0.75});
    int data = 0;
    NVector start({9.5, 1.0, 2.0, 3.0});
    ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 3, &start, 0.125, &data), KMATH_OK);
    EXPECT_EQ(m->func, &valueOf);
    EXPECT_EQ(m->dfunc, &gradientOf);
    EXPECT_EQ(m->n, 3);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->ftol, 0.125);
    EXPECT_EQ(m->userData, &data);
    EXPECT_EQ(m->maxIterations, 7);
    EXPECT_EQ(m->goldenSection, 0.25);
    EXPECT_EQ(m->zeps, 0.5);
    EXPECT_EQ(m->eps, 0.75);
    for (const kmath_nvector *v : vectorsOf(&m))
        EXPECT_EQ(v->n, 3);
    for (int j = 0; j <= 3; ++j) { // element 0 is copied too
        EXPECT_EQ(m->p.data[j], start->data[j]);
        for (const kmath_nvector *v : {&m->g, &m->h, &m->xi, &m->pcom, &m->xicom})
            EXPECT_EQ(v->data[j], 0.0);
    }

    // The same length again: the contents stay and nothing is allocated.
    m->iterations = 12;
    m->g.data[2] = 4.5;
    EXPECT_EQ(allocationsOf([&] {
                  ASSERT_EQ(kmath_frprmn_setup(&m, nullptr, nullptr, 3, &m->p, 0.5, nullptr),
                            KMATH_OK);
              }),
              0);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->g.data[2], 4.5);
    EXPECT_EQ(m->p.data[3], 3.0);
    EXPECT_EQ(m->func, nullptr);
    EXPECT_EQ(m->userData, nullptr);
}

TEST(FrprmnRules, SetupTakesALengthThatIsNotTheStarts)
{
    Minimizer m;
    NVector start({0, 1, 2, 3});
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 0.5, nullptr), KMATH_OK);
    EXPECT_EQ(m->n, 2);
    EXPECT_EQ(m->p.n, 3);
    for (const kmath_nvector *v : {&m->g, &m->h, &m->xi, &m->pcom, &m->xicom})
        EXPECT_EQ(v->n, 2);
}

TEST(FrprmnRules, ANegativeLengthIsRefusedByTheFirstVector)
{
    Minimizer m;
    int data = 0;
    NVector start({0, 1, 2, 3});
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, -2, &start, 0.5, &data),
              KMATH_ERR_BAD_DIMENSIONS);
    EXPECT_EQ(m->n, -2);
    EXPECT_EQ(m->func, &valueOf);
    EXPECT_EQ(m->ftol, 0.5);
    EXPECT_EQ(m->iterations, 0);
    EXPECT_EQ(m->userData, &data);
    EXPECT_EQ(m->p.n, 3);
    EXPECT_EQ(m->g.n, -2);
    EXPECT_EQ(m->g.data, nullptr);
    for (const kmath_nvector *v : {&m->h, &m->xi, &m->pcom, &m->xicom})
        EXPECT_EQ(v->n, 0);
}

TEST(FrprmnRules, SetupStopsAtTheFirstAllocationThatFails)
{
    int failing = 0;
    for (; failing < 6; ++failing) {
        const std::int64_t live = liveBlocks();
        {
            Minimizer m;
            NVector start({0, 1, 2, 3, 4, 5});
            support::failAllocation(failing);
            EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 5, &start, 0.5, nullptr),
                      KMATH_ERR_NO_MEMORY);
            support::failAllocation(-1);
            EXPECT_EQ(m->n, 5);
            EXPECT_EQ(m->func, &valueOf);
            for (int i = 0; i < 6; ++i) {
                EXPECT_EQ(vectorsOf(&m)[static_cast<std::size_t>(i)]->data != nullptr, i < failing);
                if (i > failing) {
                    EXPECT_EQ(vectorsOf(&m)[static_cast<std::size_t>(i)]->n, 0);
                }
            }
        }
        EXPECT_EQ(liveBlocks(), live);
    }
    support::sweepAllocationFailures([] {
        Minimizer m;
        NVector start;
        return kmath_frprmn_setup(&m, valueOf, gradientOf, 5, &start, 0.5, nullptr);
    });
}

TEST(FrprmnRules, AFailingCopyOfTheStartIsPassedOn)
{
    Minimizer m;
    NVector start({0, 1, 2});
    const support::CopyWatch watch(custom);
    EXPECT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 0.5, nullptr), custom);
    EXPECT_EQ(m->g.n, 0);
}

// The minimization.

TEST(FrprmnRules, FollowsTheIterationInEveryBitOnPlainProblems)
{
    const Settings settings[] = {{},
                                 {.ftol = 1e-3},
                                 {.ftol = 1e-15},
                                 {.ftol = 0.0},
                                 {.maxIterations = 1},
                                 {.maxIterations = 3},
                                 {.goldenSection = 0.25},
                                 {.zeps = 1e-3},
                                 {.zeps = 1e-18},
                                 {.ftol = 1e-3, .eps = 1e3},
                                 {.eps = 0.0}};
    int converged = 0, notConverged = 0;
    for (const Problem &problem :
         {rosenbrock(1), rosenbrock(2), rosenbrock(5), rosenbrock(40), bowl(0, 3.0), bowl(1),
          bowl(2, -5.0), bowl(6), constant(3.0, 0.0), constant(0.0, 1.0), constant(-2.0, -1e-3)})
        for (const Settings &s : settings) {
            SCOPED_TRACE(testing::Message()
                         << problem.n() << " variables, setting " << &s - settings);
            Service own(problem);
            bool failed = false;
            compare(problem, s, own, -1, &failed);
            ++(failed ? notConverged : converged);
            if (HasFailure())
                return;
        }
    EXPECT_GT(converged, 50);
    EXPECT_GT(notConverged, 10);
}

TEST(FrprmnRules, FollowsTheIterationInEveryBitThroughEveryBranch)
{
    int visits[ways] = {};
    for (std::uint64_t seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const Problem problem = wavy(seed);
        Service own(problem);
        Settings settings{.ftol = seed % 2 ? 1e-8 : 1e-3, .maxIterations = 6};
        if (seed % 5 == 0)
            settings = {.ftol = 1e-2, .maxIterations = 6, .zeps = 0.05};
        const Naive naive = compare(problem, settings, own);
        for (const int way : naive.seen)
            ++visits[way];
        if (HasFailure())
            return;
    }
    for (int way = 0; way < ways; ++way)
        EXPECT_GT(visits[way], 5) << "way " << way;
}

TEST(FrprmnRules, FindsTheMinimum)
{
    for (const int n : {2, 6}) {
        const Problem problem = rosenbrock(n);
        Service service(problem);
        Minimizer m;
        set(m, service, 1e-12);
        m->maxIterations = 5000;
        NVector result;
        double fret = nan;
        ASSERT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
        for (int j = 1; j <= n; ++j)
            EXPECT_NEAR(result->data[j], 1.0, 1e-3);
        EXPECT_LT(fret, 1e-6);
        EXPECT_TRUE(sameBits(fret, problem.value(result->data)));
        EXPECT_GT(m->iterations, 3);
    }
}

TEST(FrprmnRules, TheFirstCallsAndTheirArguments)
{
    const Problem problem = bowl(3);
    struct Data {
        kmath_frprmn *m;
        int values = 0, gradients = 0;
    };
    Minimizer m;
    Data data{&m};
    NVector start(problem.start), result;
    const auto value = [](const kmath_nvector *point, double *out, void *userData) {
        auto &d = *static_cast<Data *>(userData);
        EXPECT_EQ(point->n, 3);
        if (d.values++ == 0) {
            EXPECT_EQ(d.gradients, 0);
            EXPECT_EQ(point, &d.m->p);
        } else {
            EXPECT_NE(point->data, d.m->p.data); // a vector of its own
        }
        *out = bowl(3).value(point->data);
        return KMATH_OK;
    };
    const auto gradient = [](const kmath_nvector *point, kmath_nvector *out, void *userData) {
        auto &d = *static_cast<Data *>(userData);
        ++d.gradients;
        EXPECT_EQ(point, &d.m->p);
        EXPECT_EQ(out, &d.m->xi);
        EXPECT_EQ(out->n, 3);
        bowl(3).gradient(point->data, out->data);
        return KMATH_OK;
    };
    ASSERT_EQ(kmath_frprmn_setup(&m, value, gradient, 3, &start, 1e-8, &data), KMATH_OK);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    EXPECT_GT(data.gradients, 2);
}

TEST(FrprmnRules, AStartOfZeroGradientComesBackAfterOneLineSearch)
{
    // Through the convergence test.
    for (const double ftol : {1e-10, 0.1}) {
        Problem problem = bowl(2);
        problem.start = {0, 1.0, 0.5};
        Service own(problem);
        const Naive naive = compare(problem, {.ftol = ftol}, own);
        EXPECT_EQ(naive.lines, 1);
        EXPECT_FALSE(naive.gradientTest);
        EXPECT_EQ(naive.result, problem.start);
        EXPECT_EQ(naive.fret, 0.0);
    }
    // Through the test of the gradient: the value at the start is not a number, or not the same
    // when it is asked for again.
    const Problem undefined = constant(nan, 0.0);
    Service own(undefined);
    const Naive naive = compare(undefined, {}, own);
    EXPECT_TRUE(naive.gradientTest);
    EXPECT_EQ(naive.lines, 1);
    EXPECT_EQ(naive.result, undefined.start);

    int asked = 0;
    Problem changing = constant(0.0, 0.0);
    changing.value = [&](const double *) { return asked++ == 0 ? 5.0 : 4.0; };
    Service service(changing);
    Minimizer m;
    set(m, service);
    NVector result;
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    EXPECT_EQ(fret, 4.0);
    EXPECT_EQ(m->iterations, 1);
    EXPECT_EQ(std::count_if(service.log.begin(), service.log.end(),
                            [](const Evaluation &e) { return e.gradient; }),
              2);
    expectSameVector(*&result, changing.start, "result");
}

TEST(FrprmnRules, AGradientWhoseSquareUnderflowsCountsAsZero)
{
    const Problem problem = onLine(
        0.0, [](double x) { return (x * 1e200 - 5.0) * (x * 1e200 - 5.0) + 1.0; },
        [](double) { return -1e-200; });
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    EXPECT_TRUE(naive.gradientTest);
    EXPECT_NEAR(naive.fret, 1.0, 1e-9);
    EXPECT_NEAR(naive.result[1], 5e-200, 1e-204);
}

TEST(FrprmnRules, AGradientWhoseSquareIsTheSmallestNumberCounts)
{
    const Problem problem = onLine(
        0.0, [](double x) { return (x * 1e160 - 5.0) * (x * 1e160 - 5.0) + 1.0; },
        [](double) { return -1e-160; });
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    EXPECT_FALSE(naive.gradientTest);
    EXPECT_GT(naive.lines, 1);
}

TEST(FrprmnRules, TheSmallTermOfTheConvergenceTestIsAddedLast)
{
    // (1 + 1) + 2^53 reaches 4/ftol, 1 + (1 + 2^53) does not.
    const Problem problem = onLine(
        0.0, [](double x) { return 2.0 * (x - 1.0) * (x - 1.0) - 1.0; },
        [](double) { return -1.0; });
    Service own(problem);
    const Naive naive = compare(problem, {.ftol = 0x1p-51 * (1.0 - 0x1p-53), .eps = 0x1p53}, own);
    EXPECT_EQ(naive.lines, 1);
    EXPECT_EQ(naive.fret, -1.0);
}

TEST(FrprmnRules, AParabolaThatLeadsExactlyToTheLimitIsFollowed)
{
    // The values at 0, 1 and the golden place beyond, found so that the extremum is the limit.
    const double beyond = 1.0 + 1.618034, limit = 1.0 + 100.0 * (beyond - 1.0);
    const Problem problem = onLine(
        0.0,
        [=](double x) {
            return x == 0.0      ? 0x1.55563228475e4p-1
                   : x == 1.0    ? 0.0
                   : x == beyond ? -0x1.11eb851eb851fp+0
                                 : std::fabs(x - 30.0);
        },
        [](double) { return -1.0; });
    Service own(problem);
    const Naive naive = compare(problem, {.maxIterations = 1}, own);
    ASSERT_GT(own.log.size(), 5u);
    EXPECT_EQ(own.log[4].point, Vector{beyond}); // after the value, the gradient, 0 and 1
    EXPECT_EQ(own.log[5].point, Vector{limit});
    EXPECT_TRUE(naive.seen.count(AtLimit));
}

TEST(FrprmnRules, WithoutIterationsTheCallEndsAfterTheFirstTwoCalls)
{
    for (const int maxIterations : {0, -4}) {
        const Problem problem = bowl(2);
        Service own(problem);
        bool failed = false;
        compare(problem, {.maxIterations = maxIterations}, own, -1, &failed);
        EXPECT_TRUE(failed);
        ASSERT_EQ(own.log.size(), 2u);
        EXPECT_FALSE(own.log[0].gradient);
        EXPECT_TRUE(own.log[1].gradient);

        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = maxIterations;
        NVector result({0, 8.0});
        double fret = sentinel;
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m->iterations, 0);
        EXPECT_EQ(result->n, 1);
        EXPECT_EQ(result->data[1], 8.0);
        // The direction of the first line is there all the same.
        for (int j = 1; j <= 2; ++j) {
            const double descent = -2.0 * std::pow(10.0, j) * (2.5 - 1.0 / j);
            for (const kmath_nvector *v : {&m->g, &m->h, &m->xi})
                EXPECT_EQ(v->data[j], descent);
        }
    }
}

TEST(FrprmnRules, TheCapOfTheIterationsIsAFailureThatKeepsTheResult)
{
    const Problem problem = rosenbrock(2);
    for (const int maxIterations : {1, 2, 5}) {
        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = maxIterations;
        NVector result({0, 8.0, 9.0});
        double fret = sentinel;
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
        EXPECT_EQ(m->iterations, maxIterations);
        EXPECT_EQ(result->data[1], 8.0);
        EXPECT_EQ(result->data[2], 9.0);
        EXPECT_LT(problem.value(m->p.data), problem.value(problem.start.data()));
        EXPECT_TRUE(service.log.back().gradient); // the next direction is computed before the cap
    }
}

TEST(FrprmnRules, TheCapOfTheLineSearchIsAFailureThatDoesNotMoveThePoint)
{
    // No interval is small enough for a tolerance of zero, and none for one that is not a number.
    for (const Settings &settings : {Settings{.ftol = 0.0, .zeps = 0.0}, Settings{.ftol = nan},
                                     Settings{.zeps = nan}, Settings{.zeps = -1.0}}) {
        const Problem problem = onLine(
            0.5, [](double x) { return std::cosh(x - 0.3); },
            [](double x) { return std::sinh(x - 0.3); });
        Service own(problem);
        bool failed = false;
        const Naive naive = compare(problem, settings, own, -1, &failed);
        EXPECT_TRUE(failed);
        EXPECT_EQ(naive.lines, 1);
        EXPECT_EQ(naive.iterations, 1);
        EXPECT_EQ(naive.p, problem.start);
        EXPECT_EQ(own.log.size(), 1 + 1 + static_cast<std::size_t>(naive.lineEvaluations));
        EXPECT_GE(naive.lineEvaluations, 3 + 1 + 100);
        EXPECT_LT(naive.lineEvaluations, 3 + 1 + 100 + 10);
    }
}

TEST(FrprmnRules, EveryLineEvaluationTakesOneVectorAndNothingElseIsAllocated)
{
    for (const Problem &problem : {rosenbrock(2), rosenbrock(30), bowl(5)}) {
        Service service(problem);
        Minimizer m;
        set(m, service);
        m->maxIterations = 5000;
        NVector result(problem.start);
        double fret = nan;
        const std::int64_t live = liveBlocks();
        int values = 0;
        service.watch = [&](const double *, bool gradient) {
            EXPECT_EQ(liveBlocks(), live + (!gradient && values > 0 ? 1 : 0));
            values += !gradient;
        };
        const std::int64_t allocations =
            allocationsOf([&] { EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK); });
        EXPECT_EQ(allocations, values - 1);
        EXPECT_EQ(liveBlocks(), live);
        EXPECT_EQ(support::lastRequest(),
                  (static_cast<std::size_t>(problem.n()) + 1) * sizeof(double));
        EXPECT_GT(values, 50);
    }
}

TEST(FrprmnRules, AFailingCallbackEndsTheCallWithItsStatus)
{
    for (const Problem &problem : {rosenbrock(2), bowl(4), wavy(7)})
        for (int failing = 0;; ++failing) {
            SCOPED_TRACE(testing::Message() << "call " << failing << " fails");
            Service own(problem);
            bool failed = false;
            const Settings settings{.ftol = 1e-4, .maxIterations = 1000};
            compare(problem, settings, own, failing, &failed);
            if (!failed) {
                EXPECT_GT(failing, 20);
                break;
            }
            EXPECT_EQ(own.log.size(), static_cast<std::size_t>(failing) + 1);
            if (HasFailure())
                return;
        }
}

TEST(FrprmnRules, AnExceptionPassesThroughAndNothingLeaks)
{
    const Problem problem = rosenbrock(2);
    const Settings settings{.ftol = 1e-4, .maxIterations = 1000};
    bool thrown = true;
    for (int failing = 0; thrown; ++failing) {
        const std::int64_t live = liveBlocks();
        {
            Service service(problem), own(problem);
            own.failing = service.failing = failing;
            service.throwing = true;
            Minimizer m;
            set(m, service);
            tune(m, settings);
            Naive naive(own, *&m);
            naive.run();
            NVector result({0, 8.0});
            double fret = sentinel;
            thrown = false;
            try {
                EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
                EXPECT_GT(failing, 50);
            } catch (int value) {
                EXPECT_EQ(value, 42);
                EXPECT_EQ(result->n, 1);
                EXPECT_EQ(result->data[1], 8.0);
                expectSameState(m, naive);
                thrown = true;
            }
        }
        EXPECT_EQ(liveBlocks(), live);
    }
}

TEST(FrprmnRules, AnAllocationThatFailsEndsTheCall)
{
    const Problem problem = rosenbrock(3);
    for (int failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << "allocation " << failing << " fails");
        Service service(problem), own(problem);
        Minimizer m;
        set(m, service);
        tune(m, {.ftol = 1e-3, .maxIterations = 1000});
        Naive naive(own, *&m);
        naive.refuseLineEvaluation = failing;
        const kmath_status expected = naive.run();
        NVector result({0, 8.0, 9.0, 10.0});
        double fret = sentinel;
        const std::int64_t live = liveBlocks();
        support::failAllocation(failing);
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), expected);
        support::failAllocation(-1);
        EXPECT_EQ(liveBlocks(), live);
        expectSameLog(service, own);
        expectSameState(m, naive);
        if (expected == KMATH_OK) {
            EXPECT_GT(failing, 30);
            break;
        }
        EXPECT_EQ(result->data[1], 8.0);
        if (HasFailure())
            return;
    }
}

TEST(FrprmnRules, TheStatusOfTheResultsCopyIsReturned)
{
    const Problem problem = bowl(2);
    Service own(problem);
    const Naive naive = compare(problem, {}, own); // as a call without a failure
    Service service(problem);
    Minimizer m;
    set(m, service);
    NVector result({0, 8.0, 9.0});
    double fret = sentinel;
    {
        const support::CopyWatch watch(custom);
        EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), custom);
    }
    EXPECT_EQ(result->data[1], 8.0);
    EXPECT_EQ(m->iterations, naive.iterations);
    expectSameLog(service, own);

    // A result of another length takes a block, the last of the call.
    Service again(problem);
    set(m, again);
    NVector empty;
    support::failAllocation(naive.lineEvaluations);
    EXPECT_EQ(kmath_frprmn_minimize(&m, &empty, &fret), KMATH_ERR_NO_MEMORY);
    support::failAllocation(-1);
    EXPECT_EQ(empty->data, nullptr);
}

TEST(FrprmnRules, OnlyTheFirstElementsOfALongerStartMove)
{
    const Problem problem = bowl(2);
    Service own(problem), service(problem);
    const Naive naive = compare(problem, {}, own);
    Minimizer m;
    NVector start({0.25, 2.5, 2.5, 7.0, 8.0}), result;
    ASSERT_EQ(kmath_frprmn_setup(&m, valueOf, gradientOf, 2, &start, 1e-10, &service), KMATH_OK);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    expectSameLog(service, own);
    Vector expected = naive.result;
    expected.insert(expected.end(), {7.0, 8.0});
    expectSameVector(*&result, expected, "result");
    EXPECT_EQ(result->data[0], 0.25);
}

TEST(FrprmnRules, TheResultMayBeThePointOfTheRecord)
{
    const Problem problem = rosenbrock(2);
    Service own(problem);
    const Naive naive = compare(problem, {}, own);
    Service service(problem);
    Minimizer m;
    set(m, service);
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &m->p, &fret), KMATH_OK);
    expectSameVector(m->p, naive.result, "p");
}

TEST(FrprmnRules, ASecondCallGoesOnFromThePointOfTheFirst)
{
    const Problem problem = rosenbrock(2);
    Service service(problem), own(problem);
    Minimizer m;
    set(m, service);
    m->maxIterations = 3;
    NVector result;
    double fret = nan;
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_ERR_BAD_DIMENSIONS);
    service.log.clear();
    m->maxIterations = 200;
    Naive naive(own, *&m);
    ASSERT_EQ(naive.run(), KMATH_OK);
    EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), KMATH_OK);
    expectSameLog(service, own);
    expectSameState(m, naive);
    EXPECT_TRUE(sameBits(fret, naive.fret));
}

TEST(FrprmnRules, AStatusWithoutBit31IsNoFailure)
{
    Minimizer m;
    NVector start({0, 4.0}), result;
    ASSERT_EQ(kmath_frprmn_setup(
                  &m,
                  [](const kmath_nvector *x, double *value, void *) {
                      *value = (x->data[1] - 1) * (x->data[1] - 1);
                      return kmath_status{0x1234};
                  },
                  [](const kmath_nvector *x, kmath_nvector *g, void *) {
                      g->data[1] = 2 * (x->data[1] - 1);
                      return kmath_status{7};
                  },
                  1, &start, 1e-10, nullptr),
              KMATH_OK);
    double fret = nan;
    EXPECT_FALSE(KMATH_IS_FAILURE(kmath_frprmn_minimize(&m, &result, &fret)));
    EXPECT_NEAR(result->data[1], 1.0, 1e-8);
}

TEST(FrprmnRules, NumbersThatAreNotFiniteEndPromptly)
{
    const auto identity = [](double x) { return x; };
    const auto one = [](double) { return 1.0; };
    const Problem problems[] = {
        onLine(1.0, identity, one), // without a bound
        onLine(
            1.0, [](double x) { return -std::exp(-x); }, one), // steeply without
        onLine(
            1.0, [](double x) { return 1.0 / (1.0 - x); }, [](double) { return -1.0; }),
        onLine(
            1.0, [](double x) { return std::sqrt(x); }, one), // undefined beyond 0
        onLine(
            1.0, [](double x) { return std::log(x); }, one),
        onLine(
            nan, [](double x) { return x * x; }, identity),
        onLine(
            infinity, [](double x) { return x * x; }, identity),
        onLine(
            1e200, [](double x) { return x * x; }, identity),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return nan; }),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return infinity; }),
        onLine(
            1.0, [](double x) { return x * x; }, [](double) { return 1e300; }),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : nan; }, identity),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : -infinity; }, identity),
        onLine(
            1.0, [](double x) { return x > 0.9 ? x * x : infinity; }, identity),
        constant(infinity, 1.0),
        constant(-infinity, 1.0)};
    for (const Problem &problem : problems)
        for (const Settings &settings :
             {Settings{}, Settings{.ftol = nan}, Settings{.ftol = infinity}, Settings{.ftol = -1.0},
              Settings{.goldenSection = nan}, Settings{.goldenSection = infinity},
              Settings{.goldenSection = 0.0}, Settings{.goldenSection = -3.0},
              Settings{.zeps = infinity}, Settings{.eps = nan}, Settings{.eps = -infinity}}) {
            SCOPED_TRACE(testing::Message()
                         << "problem " << &problem - problems << ", ftol " << settings.ftol
                         << ", golden section " << settings.goldenSection << ", zeps "
                         << settings.zeps);
            Service own(problem);
            compare(problem, settings, own);
            EXPECT_LT(own.log.size(), 200u * 1200u);
            if (HasFailure())
                return;
        }
}

TEST(FrprmnRules, AValueThatIsNotANumberMayComeAtAnyCall)
{
    for (const double bad : {nan, infinity, -infinity})
        for (int when = 0;; ++when) {
            SCOPED_TRACE(testing::Message() << bad << " at call " << when);
            // Of the number of the call, the same for the library and for the loop written out.
            const auto numbered = [&](Service &of) {
                return [&of, bad, when, inner = rosenbrock(2).value](const double *x) {
                    return static_cast<int>(of.log.size()) - 1 == when ? bad : inner(x);
                };
            };
            Problem first = rosenbrock(2), second = rosenbrock(2);
            Service library(first), naiveService(second);
            first.value = numbered(library);
            second.value = numbered(naiveService);
            Minimizer m;
            set(m, library, 1e-4);
            Naive naive(naiveService, *&m);
            const kmath_status expected = naive.run();
            NVector result;
            double fret = sentinel;
            EXPECT_EQ(kmath_frprmn_minimize(&m, &result, &fret), expected);
            expectSameLog(library, naiveService);
            expectSameState(m, naive);
            EXPECT_TRUE(sameBits(fret, naive.fret));
            if (HasFailure())
                return;
            if (when > static_cast<int>(library.log.size())) {
                EXPECT_GT(when, 50);
                break;
            }
        }
}

} // namespace
