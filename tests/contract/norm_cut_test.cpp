// The normalized cut seen from outside: the graph against one built by plain loops, so that both
// routes give the bits of their solver on it; the angle wrap wherever it ends; the stated cases.
#include "contract/textbook.hpp"
#include "platform/math_core.hpp"
#include "support/services.hpp"
#include "support/vectors.hpp"

#include <kmath/eigen.h>
#include <kmath/normcut.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <random>

namespace
{
long exponentials = 0;
}

// The run-time library's exponential, counted.
extern "C" double exp(double x) noexcept
{
    static const auto genuine = reinterpret_cast<double (*)(double)>(dlsym(RTLD_NEXT, "exp"));
    ++exponentials;
    return genuine(x);
}

namespace
{

using support::build;
using support::Matrix;
using support::randomMatrix;
using support::sameBits;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Scales {
    double dist = 1.0, angle = 40.0, grey = 30.0;
    int clamp = 0;
};

struct Features {
    std::vector<std::int32_t> nodes;
    std::vector<double> positions, angles;
    std::vector<std::uint8_t> greys;

    void add(int node, double x, double y, double angle, int grey)
    {
        nodes.push_back(node);
        positions.push_back(x);
        positions.push_back(y);
        angles.push_back(angle);
        greys.push_back(static_cast<std::uint8_t>(grey));
    }

    int order() const
    {
        return static_cast<int>(nodes.size()) -
               static_cast<int>(std::count(nodes.begin(), nodes.end(), -1));
    }
};

struct Embedding {
    kmath_status status = KMATH_OK;
    Matrix vectors, values;
};

Embedding embed(const Features &f, const Scales &s, int numEigen, unsigned seed = 1)
{
    Embedding e;
    e.vectors = randomMatrix(2, 3);
    e.values = randomMatrix(3, 2);
    std::srand(seed);
    e.status = kf_normCut(f.nodes.data(), static_cast<int>(f.nodes.size()), f.positions.data(),
                          f.angles.data(), f.greys.data(), s.dist, s.angle, s.grey, numEigen,
                          s.clamp, &e.vectors, &e.values);
    return e;
}

/// M as the steps state it, one plain loop after the other.
Matrix graph(const Features &f, const Scales &s)
{
    struct Triplet {
        std::size_t row, col;
        double value;
    };
    const auto N = static_cast<std::size_t>(f.order());
    std::vector<double> degree(N, 0.0), inverse(N, 0.0);
    std::vector<Triplet> list;
    const auto reciprocal = [](double sigma) {
        return sigma == 0.0 || std::isnan(sigma) ? 0.0 : 1 / sigma;
    };
    const double invDist = reciprocal(s.dist), invAngle = reciprocal(s.angle),
                 invGrey = reciprocal(s.grey);
    for (std::size_t i = 0; i < f.nodes.size(); ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            if (f.nodes[i] < 0 || f.nodes[j] < 0)
                continue;
            const auto a = static_cast<std::size_t>(f.nodes[j]),
                       b = static_cast<std::size_t>(f.nodes[i]);
            const double dx = f.positions[2 * j] - f.positions[2 * i],
                         dy = f.positions[2 * j + 1] - f.positions[2 * i + 1];
            const double dist = std::sqrt(dx * dx + dy * dy);
            double dAng = f.angles[j] - f.angles[i];
            while (dAng >= 180.0)
                dAng -= 360.0;
            while (dAng < -180.0)
                dAng += 360.0;
            dAng = std::fabs(dAng);
            if (s.clamp != 0 && dAng > s.angle)
                dAng = s.angle;
            const double dGrey = std::abs(int(f.greys[j]) - int(f.greys[i]));
            const double angleFactor = std::exp(-dAng * invAngle),
                         distFactor = std::exp(-dist * invDist),
                         greyFactor = std::exp(-dGrey * invGrey);
            const double w = distFactor * angleFactor * greyFactor;
            degree[a] += w;
            if (a != b)
                degree[b] += w;
            if (std::fabs(w) > 1e-15) {
                list.push_back({a, b, w});
                if (a != b)
                    list.push_back({b, a, w});
            }
        }
    for (std::size_t n = 0; n < N; ++n)
        inverse[n] = 1.0 / std::sqrt(degree[n]);
    for (Triplet &t : list)
        t.value = t.value * (inverse[t.col] * inverse[t.row]);
    for (Triplet &t : list)
        if (t.row == t.col)
            t.value -= 1.0;
    Matrix M(f.order(), f.order());
    for (const Triplet &t : list)
        M->rows[t.row][t.col] = t.value;
    return M;
}

/// Points of every kind: nodes out of order, shared, left out, counted but without a point.
Features scattered(int points, std::uint64_t seed, double turns, bool everyKind)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> place(0, 6), angle(-180 * turns, 180 * turns);
    std::vector<int> kinds;
    int N = 0;
    for (int p = 0; p < points; ++p) {
        const auto draw = generator() % 20;
        kinds.push_back(everyKind && draw == 0 ? -1 : everyKind && draw == 1 ? -2 : 0);
        N += kinds.back() != -1;
    }
    std::vector<int> order;
    for (int n = 0; n < N; ++n)
        order.push_back(n);
    std::shuffle(order.begin(), order.end(), generator);
    Features f;
    std::size_t next = 0;
    for (const int kind : kinds) {
        const int node = kind < 0 ? kind : order[everyKind && next % 9 == 4 ? next - 1 : next];
        next += kind == 0;
        // Some angles meet at exactly half a turn.
        const double a =
            generator() % 4 == 0 ? 90.0 * static_cast<double>(generator() % 9) : angle(generator);
        f.add(node, place(generator), place(generator), a, static_cast<int>(generator() % 256));
    }
    return f;
}

const Scales scales[] = {{},
                         {1.0, 40.0, 30.0, 1},
                         {0.0, 40.0, 30.0},
                         {1.0, 0.0, 30.0},
                         {1.0, 0.0, 30.0, 1},
                         {1.0, 40.0, 0.0},
                         {0.0, 0.0, 0.0},
                         {nan, nan, nan, 7},
                         {0.11, 15.0, 9.0}, // many weights about 1e-15
                         {-40.0, 40.0, 30.0},
                         {3.0, -200.0, 30.0, -1},
                         {2.0, inf, 1e-300}};

// Both routes.

/// Eigenvalues and vectors of the direct driver, largest first, as rows.
Embedding direct(const Matrix &M, int numEigen)
{
    Embedding e;
    support::Doubles values;
    Matrix Z;
    e.status = kmath_nmmatrix_symEigenvalues(&M, &values, &Z);
    const std::vector<double> d = values.values();
    std::vector<std::pair<double, int>> order;
    for (std::size_t i = 0; i < d.size(); ++i)
        order.push_back({-d[i], static_cast<int>(i)});
    std::sort(order.begin(), order.end());
    const auto at = [&](int r) { return order[static_cast<std::size_t>(r)]; };
    e.values = build(1, numEigen, [&](int, int r) { return -at(r).first; });
    e.vectors = build(numEigen, M.rows(), [&](int r, int c) { return Z(c, at(r).second); });
    return e;
}

void expectPairsOf(const Matrix &M, const Embedding &e, int numEigen, double accuracy)
{
    ASSERT_EQ(e.status, KMATH_OK);
    ASSERT_EQ(e.vectors.rows(), numEigen);
    ASSERT_EQ(e.vectors.cols(), M.rows());
    ASSERT_EQ(e.values.rows(), 1);
    ASSERT_EQ(e.values.cols(), numEigen);
    const Matrix MX = textbook::timesTransposed(e.vectors, M),
                 gram = textbook::timesTransposed(e.vectors, e.vectors);
    const double norm = std::max(1.0, support::oneNorm(M));
    for (int r = 0; r < numEigen; ++r) {
        for (int c = 0; c < M.rows(); ++c)
            EXPECT_NEAR(MX(r, c), e.values(0, r) * e.vectors(r, c), accuracy * norm);
        for (int q = 0; q < numEigen; ++q)
            EXPECT_NEAR(gram(r, q), r == q, 1e-10);
        if (r > 0) {
            EXPECT_LE(e.values(0, r), e.values(0, r - 1));
        }
    }
}

TEST(NormCutRules, SmallGraphsHaveTheDirectSpectrumOfTheirMatrix)
{
    std::uint64_t seed = 10;
    for (const int points : {1, 2, 3, 5, 9, 40, 150})
        for (const Scales &s : scales) {
            const Features f = scattered(points, ++seed, points % 2 ? 1 : 900, points > 2);
            const int N = f.order();
            if (N == 0)
                continue;
            SCOPED_TRACE(testing::Message() << points << " points, scales " << (&s - scales));
            const Matrix M = graph(f, s);
            for (const int numEigen : {1, N / 2, N}) {
                if (numEigen == 0)
                    continue;
                const Embedding e = embed(f, s, numEigen), want = direct(M, numEigen);
                expectPairsOf(M, e, numEigen, 1e-12);
                for (int r = 0; r < numEigen; ++r)
                    EXPECT_NEAR(e.values(0, r), want.values(0, r),
                                1e-13 * std::max(1.0, support::oneNorm(M)));
                EXPECT_TRUE(sameBits(e.values, want.values));
            }
        }
}

TEST(NormCutRules, LargeGraphsHaveTheBitsOfTheIterationOnTheirMatrix)
{
    std::uint64_t seed = 700;
    for (const Scales &s : scales) {
        const Features f = scattered(290, seed, seed % 2 ? 1 : 900, true);
        ++seed;
        ASSERT_GT(f.order(), 250);
        SCOPED_TRACE(testing::Message() << "scales " << (&s - scales));
        const Matrix M = graph(f, s);
        const Embedding e = embed(f, s, 4, 5);
        Embedding want;
        std::srand(5);
        want.status = kmath_nmmatrix_qeig(&M, 4, -1, &want.vectors, &want.values, 1e-6, 1e-10, 300);
        EXPECT_EQ(e.status, KMATH_OK);
        EXPECT_EQ(want.status, KMATH_OK);
        EXPECT_TRUE(sameBits(e.values, want.values));
        EXPECT_TRUE(sameBits(e.vectors, want.vectors));
    }
}

TEST(NormCutRules, TheRouteChangesAfter250Nodes)
{
    for (const bool leftOut : {false, true})
        for (const int N : {249, 250, 251}) {
            Features f = scattered(N, 3, 1, false);
            if (leftOut) // not counted
                for (int extra = 0; extra < 9; ++extra)
                    f.add(-1, 1, 2, 3, 4);
            ASSERT_EQ(f.order(), N);
            std::srand(8);
            const int first = std::rand();
            ASSERT_EQ(embed(f, {}, 3, 8).status, KMATH_OK);
            EXPECT_EQ(std::rand() == first, N <= 250) << N;
            // A node without a point counts.
            f.add(-2, 1, 2, 3, 4);
            ASSERT_EQ(embed(f, {}, 3, 8).status, KMATH_OK);
            EXPECT_EQ(std::rand() == first, N + 1 <= 250) << N;
        }
}

TEST(NormCutRules, TheIterationSpansWhatTheDirectDriverFinds)
{
    for (const int N : {251, 300, 400}) {
        std::mt19937_64 generator(static_cast<std::uint64_t>(N));
        std::normal_distribution<double> spread(0, 0.5);
        Features f;
        for (int p = 0; p < N; ++p)
            f.add(p, 9.0 * (p % 2) + spread(generator), 7.0 * (p / 2 % 2) + spread(generator),
                  30.0 * (p % 4) + 10 * spread(generator), 60 * (p % 4));
        const Scales s = {1.5, 40.0, 60.0};
        const Matrix M = graph(f, s);
        const Embedding e = embed(f, s, 4), want = direct(M, 5);
        expectPairsOf(M, e, 4, 1e-5);
        const double gap = want.values(0, 3) - want.values(0, 4);
        ASSERT_GT(gap, 1e-3);
        for (int r = 0; r < 4; ++r) {
            Matrix rest = build(1, N, [&](int, int c) { return e.vectors(r, c); });
            for (int q = 0; q < 4; ++q) {
                double share = 0.0;
                for (int c = 0; c < N; ++c)
                    share += want.vectors(q, c) * e.vectors(r, c);
                for (int c = 0; c < N; ++c)
                    rest(0, c) -= share * want.vectors(q, c);
            }
            EXPECT_LE(std::sqrt(textbook::sumOfSquares(rest)), 1e-5 / gap);
            EXPECT_NEAR(e.values(0, r), want.values(0, r), 1e-5);
        }
    }
}

// The stated cases.

/// Two points on two nodes; the weight follows from the smaller eigenvalue −2w/(1 + w).
double weight(double angle0, double angle1, const Scales &s, double x = 0, int grey = 0)
{
    Features f;
    f.add(0, 0, 0, angle0, 0);
    f.add(1, x, 0, angle1, grey);
    const Embedding e = embed(f, s, 2);
    EXPECT_EQ(e.status, KMATH_OK);
    EXPECT_NEAR(e.values(0, 0), 0.0, 4e-16);
    return -e.values(0, 1) / (2 + e.values(0, 1));
}

TEST(NormCutRules, OnePointHasTheEigenvalueZero)
{
    for (const bool odd : {false, true}) {
        Features f;
        f.add(0, 2.385, -7, 1234.5, 77);
        if (odd) {
            f.add(-1, nan, nan, nan, 0);
            f.add(-1, inf, 0, -inf, 0);
        }
        const Embedding e = embed(f, {}, 1);
        EXPECT_EQ(e.status, KMATH_OK);
        EXPECT_TRUE(sameBits(e.values, Matrix(1, 1)));
        ASSERT_EQ(e.vectors.rows(), 1);
        ASSERT_EQ(e.vectors.cols(), 1);
        EXPECT_EQ(std::fabs(e.vectors(0, 0)), 1.0);
    }
}

TEST(NormCutRules, TwoIdenticalPointsHaveZeroAndMinusOne)
{
    for (const bool swapped : {false, true}) {
        Features f;
        f.add(swapped, 3, 4, 50, 60);
        f.add(!swapped, 3, 4, 50, 60);
        const Embedding e = embed(f, {}, 2);
        EXPECT_EQ(e.status, KMATH_OK);
        EXPECT_NEAR(e.values(0, 0), 0.0, 4e-16);
        EXPECT_NEAR(e.values(0, 1), -1.0, 4e-16);
        const double h = std::sqrt(0.5);
        for (int r = 0; r < 2; ++r)
            for (int c = 0; c < 2; ++c)
                EXPECT_NEAR(std::fabs(e.vectors(r, c)), h, 1e-15);
        EXPECT_GT(e.vectors(0, 0) * e.vectors(0, 1), 0.0);
        EXPECT_LT(e.vectors(1, 0) * e.vectors(1, 1), 0.0);
    }
}

TEST(NormCutRules, ANodeWithoutAPointStandsAlone)
{
    Features f;
    f.add(0, 0, 0, 0, 0);
    f.add(-2, 0, 0, 0, 0);
    f.add(2, 0, 0, 0, 0);
    const Embedding e = embed(f, {}, 3);
    ASSERT_EQ(e.status, KMATH_OK);
    EXPECT_NEAR(e.values(0, 0), 0.0, 4e-16);
    EXPECT_NEAR(e.values(0, 1), 0.0, 4e-16);
    EXPECT_NEAR(e.values(0, 2), -1.0, 4e-16);
    EXPECT_EQ(e.vectors(2, 1), 0.0);
}

TEST(NormCutRules, TermsMultiplyAndSwitchOff)
{
    const double d = std::exp(-0.5), a = std::exp(-30 / 40.0), g = std::exp(-200 / 100.0);
    const struct {
        Scales scales;
        double want;
    } cases[] = {{{4.0, 40.0, 100.0}, d * a * g}, {{0.0, 40.0, 100.0}, a * g},
                 {{4.0, 0.0, 100.0}, d * g},      {{4.0, 40.0, 0.0}, d * a},
                 {{0.0, 0.0, 0.0}, 1.0},          {{-0.0, nan, 100.0}, g},
                 {{nan, nan, nan}, 1.0}};
    for (const auto &c : cases)
        for (const int clamp : {0, 1, -1})
            EXPECT_NEAR(
                weight(10, -20, {c.scales.dist, c.scales.angle, c.scales.grey, clamp}, 2.0, 200),
                c.want, 1e-14);
}

TEST(NormCutRules, TheCapGivesAllLargeAnglesOneFactor)
{
    const Scales capped = {0, 10.0, 0, 1}, free = {0, 10.0, 0};
    EXPECT_NEAR(weight(0, 10, capped), std::exp(-1.0), 1e-14);
    EXPECT_NEAR(weight(0, 170, capped), std::exp(-1.0), 1e-14);
    EXPECT_NEAR(weight(0, 9, capped), std::exp(-0.9), 1e-14);
    EXPECT_NEAR(weight(0, 10, free), std::exp(-1.0), 1e-14);
    EXPECT_NEAR(weight(0, 30, free), std::exp(-3.0), 1e-14);
}

// The angle wrap.

/// Where the stated loops end, found by taking equal steps together; d below 2⁶².
double wrapped(double d)
{
    d = std::fabs(d);
    while (d >= 180.0) {
        const double a = d - 360.0, step = a - (a - 360.0);
        if (d < 0x1p53 || a < 180.0) {
            // Every difference is exact as long as 360 is a multiple of the last place.
            d = std::fmod(d, 360.0);
            return d >= 180.0 ? 360.0 - d : d;
        }
        const auto bottom = static_cast<std::int64_t>(std::ldexp(1.0, std::ilogb(a)));
        const auto s = static_cast<std::int64_t>(step);
        std::int64_t here = static_cast<std::int64_t>(a);
        const double after = a - 360.0;
        if (after - (after - 360.0) == step && here - bottom > 4 * s)
            here -= ((here - bottom) / s - 2) * s; // all within one binade, so all alike
        d = static_cast<double>(here);
    }
    return d;
}

TEST(NormCutRules, AnglesWrapWhereTheStatedLoopsEnd)
{
    // The shortcut itself, against the loop.
    for (const double d : {0.0, 179.9, 180.0, 180.1, 359.0, 360.0, 540.0, 1e5 + 0.7, 2.5e8 + 0.1}) {
        double x = d;
        while (x >= 180.0)
            x -= 360.0;
        EXPECT_EQ(wrapped(d), std::fabs(x)) << d;
    }
    const Scales s = {0, 180.0, 0};
    for (const double d : {0.0,          0.25,        90.0,         179.5,      180.0,
                           180.5,        360.0,       539.5,        540.0,      720.0,
                           900.0,        12345.678,   1e6 + 1,      1e9 + 0.5,  123456789012.25,
                           1e15 + 0.125, 0x1p53,      0x1p54 + 4,   0x1p55 + 8, 0x1p56 - 8,
                           0x1p56,       0x1p56 + 16, 0x1p56 + 48,  1e17,       0x1p57,
                           0x1p57 + 32,  0x1.8p58,    0x1.23456p59, 1e18,       0x1.8p60,
                           2e18,         0x1.fp60,    0x1.1p61,     4e18,       0x1.fffp61})
        for (const double sign : {1.0, -1.0}) {
            const double angle = -180.0 * std::log(weight(sign * d, 0.0, s));
            EXPECT_NEAR(angle, wrapped(d), 1e-10) << sign * d;
            EXPECT_NEAR(-180.0 * std::log(weight(0.0, sign * d, s)), wrapped(d), 1e-10);
        }
}

TEST(NormCutRules, NoAngleTakesLong)
{
    const auto begin = std::chrono::steady_clock::now();
    for (const double d : {1e17, 4e18, 0x1p62, 1e19, 1e100, 1.7e308, inf, -inf, nan})
        for (const int points : {2, 30}) {
            Features f;
            for (int p = 0; p < points; ++p)
                f.add(p, p, 0, p % 2 ? d : -d / 3, 0);
            embed(f, {0, 180.0, 0}, 1); // any status
        }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(NormCutRules, NoMoreExponentialsThanPairsNeed)
{
    const Features f = scattered(60, 4, 1, false);
    exponentials = 0;
    ASSERT_EQ(embed(f, {}, 2).status, KMATH_OK);
    EXPECT_GT(exponentials, 0);
    EXPECT_LE(exponentials, 2 * (60 * 61 / 2) + 256);
}

TEST(NormCutRules, TheSmallMatrixKeepsItsContract)
{
    kmath::kxNMMatrix A, V;
    kmath::kxVector<double> re, im;
    EXPECT_EQ(A.rows(), 0);
    ASSERT_EQ(A.initResize(6, 6, 2.385), KMATH_OK);
    EXPECT_EQ(A.rows(), 6);
    const Matrix M = support::randomSymmetric(6, 3);
    double x = 0.0;
    EXPECT_EQ(A.getElement(5, 0, x), KMATH_OK);
    EXPECT_EQ(x, 2.385);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(A.setElement(i, j, M(i, j)), KMATH_OK);
    ASSERT_EQ(A.eigenvalues(true, re, im, V), KMATH_OK);
    ASSERT_EQ(re.size(), 6);
    ASSERT_EQ(im.size(), 6);
    ASSERT_EQ(V.rows(), 6);
    Embedding e; // column c belongs to re[c], whatever the order
    for (int c = 0; c < 6; ++c) {
        EXPECT_EQ(im[c], 0.0);
        e.values = {{re[c]}};
        e.vectors = build(1, 6, [&](int, int i) {
            EXPECT_EQ(V.getElement(i, c, x), KMATH_OK);
            return x;
        });
        expectPairsOf(M, e, 1, 1e-14);
        EXPECT_EQ(A.getElement(c, 2, x), KMATH_OK);
        EXPECT_EQ(x, M(c, 2));
    }
}

// Failures.

TEST(NormCutRules, WhatIsNotFiniteEndsAsSingular)
{
    for (const int N : {2, 40, 260}) {
        Features f = scattered(N, 5, 1, false);
        f.positions[1] = nan;
        const Embedding e = embed(f, {100.0, 40.0, 30.0}, 2);
        EXPECT_EQ(e.status, KMATH_ERR_SINGULAR) << N;
        if (N <= 250) { // found before the outputs are resized
            EXPECT_TRUE(sameBits(e.vectors, randomMatrix(2, 3)));
            EXPECT_TRUE(sameBits(e.values, randomMatrix(3, 2)));
        }
    }
    // An infinite weight makes 0·∞.
    Features f = scattered(9, 6, 1, false);
    EXPECT_EQ(embed(f, {-1e-3, 40.0, 30.0}, 2).status, KMATH_ERR_SINGULAR);
}

TEST(NormCutRules, WhatIsInfinitelyFarAwayStandsAlone)
{
    // Its weight with itself is NaN and left out; with all others it is 0.
    Features f = scattered(20, 5, 1, false);
    f.positions[1] = inf;
    expectPairsOf(graph(f, {}), embed(f, {}, 20), 20, 1e-12);
    // And a point without a place, alone, leaves no element at all.
    Features alone;
    alone.add(0, nan, nan, nan, 0);
    const Embedding e = embed(alone, {}, 1);
    EXPECT_EQ(e.status, KMATH_OK);
    EXPECT_TRUE(sameBits(e.values, Matrix(1, 1)));
}

TEST(NormCutRules, UnsettledArgumentsEnd)
{
    const Features f = scattered(20, 7, 1, false), none;
    for (const int numEigen : {21, 22, 1000, 0, -1})
        embed(f, {}, numEigen); // any status
    embed(none, {}, 1);
    const Features many = scattered(255, 7, 1, false);
    for (const int numEigen : {256, 0, -1})
        EXPECT_EQ(embed(many, {}, numEigen).status, KMATH_ERR_FAILED);
}

TEST(NormCutRules, EverythingIsGivenBackWhenAnAllocationFails)
{
    for (const int N : {2, 20, 251}) {
        Features f; // two heaps far apart, so that the iteration is short
        for (int p = 0; p < N; ++p)
            f.add(p, p % 2 * 50, 0, 0, 0);
        support::sweepAllocationFailures([&] { return embed(f, {}, 2).status; });
    }
}

} // namespace
