#include <kmath/normcut.h>

#include <kmath/eigen.h>

#include "eigen/norm_cut.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/vectors.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

using namespace support;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Points {
    std::vector<std::int32_t> nodes;
    std::vector<double> positions;
    std::vector<double> angles;
    std::vector<std::uint8_t> greys;

    std::int32_t count() const { return static_cast<std::int32_t>(nodes.size()); }

    Points &add(std::int32_t node, double x, double y, double angle, std::uint8_t grey)
    {
        nodes.push_back(node);
        positions.insert(positions.end(), {x, y});
        angles.push_back(angle);
        greys.push_back(grey);
        return *this;
    }
};

struct Scales {
    double dist = 10.0;
    double angle = 60.0;
    double grey = 80.0;
    std::int32_t clamp = 0;
};

struct Cut {
    Matrix vectors, values;
    kmath_status status;

    Cut(const Points &points, const Scales &scales, std::int32_t numEigen)
        : status(kf_normCut(points.nodes.data(), points.count(), points.positions.data(),
                            points.angles.data(), points.greys.data(), scales.dist, scales.angle,
                            scales.grey, numEigen, scales.clamp, &vectors, &values))
    {
    }
};

struct Graph {
    std::vector<kmath_snmmatrix_element> elements;
    std::vector<double> degree;
};

std::int32_t orderOf(const Points &points)
{
    return static_cast<std::int32_t>(std::count_if(points.nodes.begin(), points.nodes.end(),
                                                   [](std::int32_t node) { return node != -1; }));
}

template <class Real> Real plainAngle(Real d)
{
    while (d >= Real(180))
        d -= Real(360);
    while (d < Real(-180))
        d += Real(360);
    return std::fabs(d);
}

double plainInverse(double sigma) { return sigma == 0.0 || std::isnan(sigma) ? 0.0 : 1.0 / sigma; }

double plainWeight(const Points &p, const Scales &scales, std::size_t j, std::size_t i)
{
    const double dx = p.positions[2 * j] - p.positions[2 * i];
    const double dy = p.positions[2 * j + 1] - p.positions[2 * i + 1];
    const double dist = std::sqrt(dx * dx + dy * dy);
    double dAng = plainAngle(p.angles[j] - p.angles[i]);
    if (scales.clamp != 0 && dAng > scales.angle)
        dAng = scales.angle;
    const double dGrey = std::abs(int{p.greys[j]} - int{p.greys[i]});
    const double angleFactor = std::exp(-dAng * plainInverse(scales.angle));
    const double distFactor = std::exp(-dist * plainInverse(scales.dist));
    const double greyFactor = std::exp(-dGrey * plainInverse(scales.grey));
    return distFactor * angleFactor * greyFactor;
}

Graph plainGraph(const Points &p, const Scales &scales)
{
    Graph graph;
    graph.degree.assign(static_cast<std::size_t>(orderOf(p)), 0.0);
    for (std::size_t i = 0; i < p.nodes.size(); ++i) {
        if (p.nodes[i] < 0)
            continue;
        for (std::size_t j = 0; j <= i; ++j) {
            if (p.nodes[j] < 0)
                continue;
            const std::int32_t a = p.nodes[j], b = p.nodes[i];
            const double w = plainWeight(p, scales, j, i);
            graph.degree[static_cast<std::size_t>(a)] += w;
            if (a != b)
                graph.degree[static_cast<std::size_t>(b)] += w;
            if (std::fabs(w) > 1e-15) {
                graph.elements.push_back({a, b, w});
                if (a != b)
                    graph.elements.push_back({b, a, w});
            }
        }
    }
    return graph;
}

void plainNormalise(Graph &graph)
{
    const auto factor = [&](std::int32_t n) {
        return 1.0 / std::sqrt(graph.degree[static_cast<std::size_t>(n)]);
    };
    for (kmath_snmmatrix_element &t : graph.elements)
        t.value = t.value * (factor(t.col) * factor(t.row));
    for (kmath_snmmatrix_element &t : graph.elements)
        if (t.row == t.col)
            t.value -= 1.0;
}

// The matrix that is solved, from the plain graph.
Matrix plainMatrix(const Points &points, const Scales &scales)
{
    Graph graph = plainGraph(points, scales);
    plainNormalise(graph);
    Matrix M(orderOf(points), orderOf(points));
    for (const kmath_snmmatrix_element &t : graph.elements)
        M(t.row, t.col) = t.value;
    return M;
}

kmath::Features featuresOf(const Points &p)
{
    return {p.count(), p.nodes.data(), p.positions.data(), p.angles.data(), p.greys.data()};
}

Graph libraryGraph(const Points &points, const Scales &scales, bool normalised)
{
    const kmath::Features features = featuresOf(points);
    const std::int32_t N = kmath::countNodes(features);
    Graph graph;
    graph.degree.assign(static_cast<std::size_t>(N), 0.0);
    kmath::Triplets triplets;
    EXPECT_EQ(kmath::affinityGraph(features,
                                   {scales.dist, scales.angle, scales.grey, scales.clamp != 0},
                                   graph.degree.data(), triplets),
              KMATH_OK);
    if (normalised) {
        std::vector<double> factors(graph.degree.size());
        kmath::normaliseGraph(triplets, graph.degree.data(), N, factors.data());
    }
    graph.elements.assign(triplets.begin(), triplets.end());
    return graph;
}

void expectSameBits(const Graph &a, const Graph &b)
{
    ASSERT_EQ(a.degree.size(), b.degree.size());
    for (std::size_t n = 0; n < a.degree.size(); ++n)
        EXPECT_TRUE(sameBits(a.degree[n], b.degree[n])) << "degree " << n;
    ASSERT_EQ(a.elements.size(), b.elements.size());
    for (std::size_t t = 0; t < a.elements.size(); ++t) {
        ASSERT_EQ(a.elements[t].row, b.elements[t].row) << t;
        ASSERT_EQ(a.elements[t].col, b.elements[t].col) << t;
        ASSERT_TRUE(sameBits(a.elements[t].value, b.elements[t].value)) << t;
    }
}

double weightOf(const Points &two, const Scales &scales)
{
    const Graph graph = libraryGraph(two, scales, false);
    EXPECT_EQ(graph.elements.size(), 4u);
    return graph.elements.size() == 4 ? graph.elements[1].value : nan;
}

// Points in groups some way apart, node i for point i.
Points scattered(std::int32_t n, std::uint64_t seed = 1)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Points points;
    for (std::int32_t i = 0; i < n; ++i)
        points.add(i, 20.0 * unit(generator) + 25.0 * (i % 3), 20.0 * unit(generator),
                   -400.0 + 900.0 * unit(generator),
                   static_cast<std::uint8_t>(255.0 * unit(generator)));
    return points;
}

// The same with shared nodes, points left out, and nodes that no point takes.
Points irregular(std::int32_t n, std::uint64_t seed)
{
    Points points = scattered(n, seed);
    std::mt19937_64 generator(seed);
    for (std::int32_t &node : points.nodes)
        node = generator() % 7 == 0 ? -1 : generator() % 7 == 0 ? -2 : 0;
    const std::int32_t order = orderOf(points);
    for (std::int32_t &node : points.nodes)
        if (node == 0)
            node = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(order));
    return points;
}

// Largest |(M·v − λ·v)(i)| over the rows v.
double residual(const Matrix &M, const Cut &cut)
{
    double largest = 0.0;
    for (std::int32_t r = 0; r < cut.vectors.rows(); ++r)
        for (std::int32_t i = 0; i < M.rows(); ++i) {
            double sum = -cut.values(0, r) * cut.vectors(r, i);
            for (std::int32_t j = 0; j < M.cols(); ++j)
                sum += M(i, j) * cut.vectors(r, j);
            largest = std::fmax(largest, std::isnan(sum) ? infinity : std::fabs(sum));
        }
    return largest;
}

// Largest |V·Vᵀ − I|.
double deviationFromOrthonormal(const Matrix &V)
{
    double largest = 0.0;
    for (std::int32_t i = 0; i < V.rows(); ++i)
        for (std::int32_t j = 0; j < V.rows(); ++j)
            largest = std::fmax(
                largest,
                std::fabs(std::inner_product(V->rows[i], V->rows[i] + V.cols(), V->rows[j], 0.0) -
                          (i == j)));
    return largest;
}

std::vector<double> valuesDescending(const Matrix &M, Matrix &Z, std::vector<std::int32_t> &order)
{
    Doubles lambda;
    EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&M, &lambda, &Z), KMATH_OK);
    const std::vector<double> found = lambda.values();
    order.resize(found.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
        return found[static_cast<std::size_t>(a)] > found[static_cast<std::size_t>(b)];
    });
    std::vector<double> sorted;
    for (const std::int32_t i : order)
        sorted.push_back(found[static_cast<std::size_t>(i)]);
    return sorted;
}

// How many numbers the body draws from rand, up to 10⁵; −1 beyond.
template <class Body> int drawsOf(Body &&body)
{
    std::srand(7);
    std::vector<int> sequence(100'004);
    for (int &number : sequence)
        number = std::rand();
    std::srand(7);
    body();
    int after[4];
    for (int &number : after)
        number = std::rand();
    const auto at = std::search(sequence.begin(), sequence.end(), after, after + 4);
    return at == sequence.end() ? -1 : static_cast<int>(at - sequence.begin());
}

// Angles.

TEST(AngularDistance, WrapsHalfTurnsToHalfATurn)
{
    for (const double d : {180.0, -180.0, 540.0, -540.0, 900.0, 180.0 + 360.0 * 1e12})
        EXPECT_EQ(kmath::angularDistance(d), 180.0) << d;
    for (const double d : {0.0, -0.0, 360.0, -360.0, 720.0, -3600.0})
        EXPECT_TRUE(sameBits(kmath::angularDistance(d), 0.0)) << d;
    EXPECT_EQ(kmath::angularDistance(190.0), 170.0);
    EXPECT_EQ(kmath::angularDistance(-190.0), 170.0);
    EXPECT_EQ(kmath::angularDistance(-12.5), 12.5);
}

TEST(AngularDistance, HasTheBitsOfThePlainLoops)
{
    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> exponent(-3.0, 9.0);
    for (int sample = 0; sample < 2000; ++sample) {
        const double magnitude = std::pow(10.0, exponent(generator));
        for (const double d : {magnitude, -magnitude, std::floor(magnitude)})
            ASSERT_TRUE(sameBits(kmath::angularDistance(d), plainAngle(d))) << d;
    }
}

TEST(AngularDistance, HasTheBitsOfThePlainLoopsBesideEveryHalfTurn)
{
    for (int k = -4000; k <= 4000; ++k)
        for (const double to : {-infinity, infinity}) {
            const double d = std::nextafter(90.0 * k, to);
            ASSERT_TRUE(sameBits(kmath::angularDistance(d), plainAngle(d))) << d;
            ASSERT_TRUE(sameBits(kmath::angularDistance(90.0 * k), plainAngle(90.0 * k))) << d;
        }
}

// In floats the loops end soon enough to be run from where their differences are rounded.
TEST(AngularDistance, HasTheBitsOfThePlainLoopsWhereDifferencesAreRounded)
{
    std::mt19937 generator(5);
    for (int binade = 24; binade < 33; ++binade) {
        const float bottom = std::scalbn(1.0f, binade);
        std::uniform_real_distribution<float> inBinade(bottom, 2.0f * bottom);
        std::vector<float> samples{bottom, std::nextafter(bottom, 0.0f),
                                   std::nextafter(bottom, HUGE_VALF)};
        for (int sample = 0; sample < (binade < 30 ? 40 : 3); ++sample)
            samples.push_back(inBinade(generator));
        for (const float d : samples) {
            ASSERT_EQ(kmath::angularDistance(d), plainAngle(d)) << d;
            if (binade < 30) {
                ASSERT_EQ(kmath::angularDistance(-d), plainAngle(-d)) << d;
            }
        }
    }
    const float last = 8589934592.0f; // 2^33, from which the loops still come down
    EXPECT_EQ(kmath::angularDistance(last), plainAngle(last));
    const float beyond = std::nextafter(last, HUGE_VALF);
    ASSERT_EQ(beyond - 360.0f, beyond);
    const float remainder = std::fmod(beyond, 360.0f);
    EXPECT_EQ(kmath::angularDistance(beyond), std::fmin(remainder, 360.0f - remainder));
}

TEST(AngularDistance, IsUnchangedByTurnsOfTheLoopAtAnyMagnitude)
{
    std::mt19937_64 generator(7);
    for (int binade = 50; binade < 62; ++binade) {
        const double bottom = std::scalbn(1.0, binade);
        std::uniform_real_distribution<double> inBinade(bottom, 2.0 * bottom);
        std::vector<double> samples{bottom, bottom + 352.0, bottom + 368.0, bottom + 512.0};
        for (int sample = 0; sample < 30; ++sample)
            samples.push_back(inBinade(generator));
        for (const double start : samples) {
            const double distance = kmath::angularDistance(start);
            EXPECT_TRUE(distance >= 0.0 && distance <= 180.0);
            EXPECT_EQ(kmath::angularDistance(-start), distance);
            double d = start;
            for (int turn = 0; turn < 1000; ++turn) {
                d -= 360.0;
                ASSERT_EQ(kmath::angularDistance(d), distance) << start << " after " << turn;
            }
        }
    }
}

TEST(AngularDistance, ReducesExactlyWhatTheLoopsNeverWould)
{
    const double last = std::scalbn(1.0, 62);
    ASSERT_LT(last - 360.0, last);
    EXPECT_EQ(kmath::angularDistance(last), kmath::angularDistance(last - 360.0));
    for (const double d : {std::nextafter(last, infinity), 1e20, 1e300, 1.7976931348623157e308}) {
        ASSERT_EQ(d - 360.0, d);
        const double remainder = std::fmod(d, 360.0);
        EXPECT_EQ(kmath::angularDistance(d), std::fmin(remainder, 360.0 - remainder)) << d;
        EXPECT_EQ(kmath::angularDistance(-d), kmath::angularDistance(d)) << d;
    }
    for (const double d : {infinity, -infinity, nan})
        EXPECT_TRUE(std::isnan(kmath::angularDistance(d))) << d;
}

// The graph.

TEST(AffinityGraph, HasTheBitsOfThePlainLoops)
{
    const std::vector<Scales> scales{{},
                                     {10.0, 60.0, 80.0, 1},
                                     {0.0, 60.0, 80.0, 1},
                                     {10.0, 0.0, 80.0, 1},
                                     {10.0, 0.0, 80.0, 0},
                                     {10.0, 60.0, 0.0, 0},
                                     {-0.0, nan, 0.0, -1},
                                     {nan, 17.3, nan, 1},
                                     {0.7, 3.1, 2.9, 0},
                                     {-3.0, -20.0, -50.0, 1},
                                     {-3.0, -20.0, -50.0, 0},
                                     {infinity, infinity, -infinity, 1},
                                     {1.7, -infinity, 30.0, 1},
                                     {1e-310, 1e-310, 1e-310, 0},
                                     {1e308, 1e308, 1e308, 1}};
    for (std::uint64_t seed = 1; seed <= 3; ++seed)
        for (const Points &points : {scattered(40, seed), irregular(70, seed)})
            for (const Scales &scale : scales) {
                Graph plain = plainGraph(points, scale);
                expectSameBits(libraryGraph(points, scale, false), plain);
                plainNormalise(plain);
                expectSameBits(libraryGraph(points, scale, true), plain);
            }
}

TEST(AffinityGraph, VisitsEachPairOnceAndEachPointWithItself)
{
    Points points;
    points.add(2, 0.0, 0.0, 0.0, 0).add(-1, 0.0, 0.0, 0.0, 0).add(0, 0.5, 0.0, 0.0, 0);
    points.add(2, 1.0, 0.0, 0.0, 0).add(-2, 0.0, 0.0, 0.0, 0);
    const Graph graph = libraryGraph(points, {}, false);

    const std::vector<std::pair<int, int>> expected{{2, 2}, {2, 0}, {0, 2}, {0, 0},
                                                    {2, 2}, {0, 2}, {2, 0}, {2, 2}};
    ASSERT_EQ(graph.elements.size(), expected.size());
    for (std::size_t t = 0; t < expected.size(); ++t) {
        EXPECT_EQ(graph.elements[t].row, expected[t].first) << t;
        EXPECT_EQ(graph.elements[t].col, expected[t].second) << t;
    }
    ASSERT_EQ(graph.degree.size(), 4u);
    EXPECT_EQ(graph.degree[1], 0.0);
    EXPECT_EQ(graph.degree[3], 0.0);
    EXPECT_DOUBLE_EQ(graph.degree[0], 1.0 + 2.0 * std::exp(-0.05));
    EXPECT_DOUBLE_EQ(graph.degree[2], 2.0 + 2.0 * std::exp(-0.05) + std::exp(-0.1));
}

TEST(AffinityGraph, IsPlainlyEuclideanInDistance)
{
    Points points;
    points.add(0, 1.0, 2.0, 0.0, 9).add(1, 4.0, 6.0, 0.0, 9);
    EXPECT_EQ(weightOf(points, {5.0, 1.0, 1.0, 0}), std::exp(-5.0 * 0.2));
    EXPECT_EQ(weightOf(points, {2.0, 1.0, 1.0, 0}), std::exp(-2.5));
}

TEST(AffinityGraph, TakesGreyDifferencesWithoutWrapping)
{
    Points points;
    points.add(0, 0.0, 0.0, 0.0, 255).add(1, 0.0, 0.0, 0.0, 0);
    EXPECT_EQ(weightOf(points, {1.0, 1.0, 64.0, 0}), std::exp(-255.0 / 64.0));
    std::swap(points.greys[0], points.greys[1]);
    EXPECT_EQ(weightOf(points, {1.0, 1.0, 64.0, 0}), std::exp(-255.0 / 64.0));
}

TEST(AffinityGraph, CapsTheAngleAtItsScale)
{
    const auto apart = [](double degrees, std::int32_t clamp) {
        Points points;
        points.add(0, 0.0, 0.0, degrees, 0).add(1, 0.0, 0.0, 0.0, 0);
        return weightOf(points, {1.0, 10.0, 1.0, clamp});
    };
    for (const std::int32_t clamp : {1, -5}) {
        EXPECT_EQ(apart(10.0, clamp), std::exp(-1.0));
        EXPECT_EQ(apart(170.0, clamp), std::exp(-1.0));
        EXPECT_GT(apart(9.5, clamp), std::exp(-1.0));
    }
    EXPECT_EQ(apart(10.0, 0), std::exp(-1.0));
    EXPECT_EQ(apart(170.0, 0), std::exp(-170.0 * 0.1));
    EXPECT_EQ(apart(190.0, 0), apart(170.0, 0));
    EXPECT_EQ(apart(540.0, 0), std::exp(-180.0 * 0.1));
}

TEST(AffinityGraph, HasTheFactorOneWhereAScaleIsSwitchedOff)
{
    Points points;
    points.add(0, 0.0, 0.0, 10.0, 7).add(1, 30.0, 40.0, 75.0, 200);
    const double dist = std::exp(-50.0 / 64.0);
    const double angle = std::exp(-65.0 / 64.0);
    const double grey = std::exp(-193.0 / 64.0);
    for (const double off : {0.0, -0.0, nan})
        for (const std::int32_t clamp : {0, 1}) {
            EXPECT_EQ(weightOf(points, {off, 64.0, 64.0, 0}), angle * grey);
            EXPECT_EQ(weightOf(points, {64.0, off, 64.0, clamp}), dist * grey);
            EXPECT_EQ(weightOf(points, {64.0, 64.0, off, 0}), dist * angle);
            EXPECT_EQ(weightOf(points, {off, off, off, clamp}), 1.0);
        }
    points.positions[0] = infinity;
    points.angles[1] = nan;
    EXPECT_EQ(weightOf(points, {0.0, 0.0, 64.0, 1}), grey);
}

TEST(AffinityGraph, CountsNegligibleWeightsInTheDegreesAlone)
{
    const auto graphAt = [](double distance) {
        Points points;
        points.add(0, 0.0, 0.0, 0.0, 0).add(1, distance, 0.0, 0.0, 0);
        return libraryGraph(points, {0.1, 0.0, 0.0, 0}, false);
    };
    EXPECT_EQ(graphAt(3.453).elements.size(), 4u); // exp(−34.53) = 1.0085e-15
    const Graph graph = graphAt(3.454);            // exp(−34.54) = 9.985e-16
    ASSERT_EQ(graph.elements.size(), 2u);
    EXPECT_EQ(graph.elements[1].row, 1);
    EXPECT_EQ(graph.elements[1].col, 1);
    EXPECT_GT(graph.degree[0], 1.0);
    EXPECT_GT(graph.degree[1], 1.0);
}

// The embedding.

TEST(NormCut, OfOnePointIsZero)
{
    Points points;
    points.add(0, 3.0, 4.0, 50.0, 60);
    const Cut cut(points, {}, 1);
    ASSERT_EQ(cut.status, KMATH_OK);
    ASSERT_EQ(cut.vectors.rows(), 1);
    ASSERT_EQ(cut.vectors.cols(), 1);
    ASSERT_EQ(cut.values.rows(), 1);
    ASSERT_EQ(cut.values.cols(), 1);
    EXPECT_EQ(cut.values(0, 0), 0.0);
    EXPECT_EQ(std::fabs(cut.vectors(0, 0)), 1.0);

    const Graph graph = libraryGraph(points, {}, true);
    EXPECT_EQ(graph.degree[0], 1.0);
    ASSERT_EQ(graph.elements.size(), 1u);
    EXPECT_EQ(graph.elements[0].value, 0.0);
}

TEST(NormCut, OfTwoIdenticalPointsIsZeroAndMinusOne)
{
    Points points;
    points.add(0, 3.0, 4.0, 50.0, 60).add(1, 3.0, 4.0, 50.0, 60);
    const Graph weights = libraryGraph(points, {}, false);
    EXPECT_EQ(weights.degree, (std::vector<double>{2.0, 2.0}));
    for (const kmath_snmmatrix_element &t : weights.elements)
        EXPECT_EQ(t.value, 1.0);
    for (const kmath_snmmatrix_element &t : libraryGraph(points, {}, true).elements)
        EXPECT_NEAR(t.value, t.row == t.col ? -0.5 : 0.5, 2e-16);

    const Cut cut(points, {}, 2);
    ASSERT_EQ(cut.status, KMATH_OK);
    EXPECT_NEAR(cut.values(0, 0), 0.0, 5e-16);
    EXPECT_NEAR(cut.values(0, 1), -1.0, 5e-16);
    EXPECT_NEAR(cut.vectors(0, 0) * cut.vectors(0, 1), 0.5, 5e-16);
    EXPECT_NEAR(cut.vectors(1, 0) * cut.vectors(1, 1), -0.5, 5e-16);
}

TEST(NormCut, CountsMinusTwoAsANodeAndMinusOneNot)
{
    Points points;
    points.add(-1, 0.0, 0.0, 0.0, 0).add(0, 3.0, 4.0, 50.0, 60).add(-2, 3.0, 4.0, 50.0, 60);
    points.add(1, 3.0, 4.0, 50.0, 60).add(-1, 0.0, 0.0, 0.0, 0);
    const Cut cut(points, {}, 3);
    ASSERT_EQ(cut.status, KMATH_OK);
    ASSERT_EQ(cut.vectors.cols(), 3);
    EXPECT_NEAR(cut.values(0, 0), 0.0, 5e-16);
    EXPECT_NEAR(cut.values(0, 1), 0.0, 5e-16);
    EXPECT_NEAR(cut.values(0, 2), -1.0, 5e-16);
    EXPECT_NEAR(cut.vectors(2, 2), 0.0, 1e-15);
    EXPECT_LT(residual(plainMatrix(points, {}), cut), 1e-15);

    for (std::int32_t &node : points.nodes)
        node = node == -2 ? -1 : node;
    EXPECT_EQ(Cut(points, {}, 3).status, KMATH_ERR_FAILED);
    EXPECT_EQ(Cut(points, {}, 2).status, KMATH_OK);
}

TEST(NormCut, LetsTheLastPairOfSharedNodesStand)
{
    Points points;
    points.add(0, 0.0, 0.0, 0.0, 0).add(1, 5.0, 0.0, 30.0, 40).add(0, 1.0, 0.0, 10.0, 20);
    const Matrix M = plainMatrix(points, {});
    const Graph graph = libraryGraph(points, {}, true);
    EXPECT_EQ(M(0, 0), graph.elements.back().value);
    EXPECT_GT(graph.elements.size(), 6u);

    const Cut cut(points, {}, 3);
    ASSERT_EQ(cut.status, KMATH_OK);
    EXPECT_LT(residual(M, cut), 2e-15);
}

TEST(NormCut, SolvesTheMatrixOfThePlainLoops)
{
    for (const std::int32_t n : {3, 4, 7, 16, 17, 40, 101, 250})
        for (const Points &points : {scattered(n), irregular(n, 4)})
            for (const Scales &scales : {Scales{}, Scales{2.0, 20.0, 0.0, 1}}) {
                const Matrix M = plainMatrix(points, scales);
                const std::int32_t N = M.rows();
                for (const std::int32_t k : {1, (N + 1) / 2, N}) {
                    const Cut cut(points, scales, k);
                    ASSERT_EQ(cut.status, KMATH_OK);
                    ASSERT_EQ(cut.vectors.rows(), k);
                    ASSERT_EQ(cut.vectors.cols(), N);
                    ASSERT_EQ(cut.values.rows(), 1);
                    ASSERT_EQ(cut.values.cols(), k);
                    EXPECT_LT(residual(M, cut), 1e-13);
                    EXPECT_LT(deviationFromOrthonormal(cut.vectors), 1e-13);

                    Matrix Z;
                    std::vector<std::int32_t> order;
                    const std::vector<double> expected = valuesDescending(M, Z, order);
                    for (std::int32_t r = 0; r < k; ++r)
                        EXPECT_NEAR(cut.values(0, r), expected[static_cast<std::size_t>(r)], 1e-13);
                }
            }
}

TEST(NormCut, IsDirectUpTo250NodesAndIteratesAbove)
{
    const Points at = scattered(250);
    EXPECT_EQ(drawsOf([&] { EXPECT_EQ(Cut(at, {}, 3).status, KMATH_OK); }), 0);

    const Points above = scattered(251);
    const int draws = drawsOf([&] { EXPECT_EQ(Cut(above, {}, 3).status, KMATH_OK); });
    EXPECT_GE(draws, 251);
    EXPECT_EQ(draws % 251, 0);

    // It is the order that decides, not the number of points.
    Points shared = scattered(260);
    for (std::size_t i = 250; i < 260; ++i)
        shared.nodes[i] = -1;
    EXPECT_EQ(drawsOf([&] { EXPECT_EQ(Cut(shared, {}, 3).status, KMATH_OK); }), 0);
    shared.nodes[259] = -2;
    EXPECT_GE(drawsOf([&] { EXPECT_EQ(Cut(shared, {}, 3).status, KMATH_OK); }), 251);
}

// The sine of the largest angle between the rows of the cut and the given columns of Z is at most
// what the rows leave of themselves outside the span of the columns.
double outsideSpan(const Cut &cut, const Matrix &Z, const std::int32_t *columns)
{
    const std::int32_t n = Z.rows();
    double outside = 0.0;
    for (std::int32_t r = 0; r < cut.vectors.rows(); ++r) {
        std::vector<double> rest(cut.vectors->rows[r], cut.vectors->rows[r] + n);
        for (std::int32_t l = 0; l < cut.vectors.rows(); ++l) {
            const std::int32_t c = columns[l];
            double share = 0.0;
            for (std::int32_t i = 0; i < n; ++i)
                share += Z(i, c) * cut.vectors(r, i);
            for (std::int32_t i = 0; i < n; ++i)
                rest[static_cast<std::size_t>(i)] -= share * Z(i, c);
        }
        outside += std::inner_product(rest.begin(), rest.end(), rest.begin(), 0.0);
    }
    return std::sqrt(outside);
}

TEST(NormCut, IteratesIntoTheSubspaceOfTheDirectDriver)
{
    for (const std::int32_t n : {251, 300, 337, 400})
        for (const Scales &scales :
             {Scales{}, Scales{5.0, 45.0, 0.0, 1}, Scales{30.0, 0.0, 60.0, 0}}) {
            const Points points = scattered(n, static_cast<std::uint64_t>(n));
            Matrix Z;
            std::vector<std::int32_t> order;
            const std::vector<double> lambda =
                valuesDescending(plainMatrix(points, scales), Z, order);
            for (const std::int32_t k : {1, 3, 6}) {
                std::srand(11);
                const Cut cut(points, scales, k);
                ASSERT_EQ(cut.status, KMATH_OK);
                ASSERT_EQ(cut.vectors.rows(), k);
                ASSERT_EQ(cut.vectors.cols(), n);
                ASSERT_EQ(cut.values.rows(), 1);
                ASSERT_EQ(cut.values.cols(), k);
                EXPECT_LT(deviationFromOrthonormal(cut.vectors), 1e-10);
                for (std::int32_t r = 0; r < k; ++r)
                    EXPECT_NEAR(cut.values(0, r), lambda[static_cast<std::size_t>(r)], 1e-6);

                const std::size_t last = static_cast<std::size_t>(k - 1);
                const double gap = lambda[last] - lambda[last + 1];
                EXPECT_LE(outsideSpan(cut, Z, order.data()), 1e-5 / gap) << n << ", k = " << k;
            }
        }
}

TEST(NormCut, GivesNearlyAllPairsAbove250Nodes)
{
    const Points points = scattered(251);
    const Matrix M = plainMatrix(points, {});
    Matrix Z;
    std::vector<std::int32_t> order;
    const std::vector<double> lambda = valuesDescending(M, Z, order);
    for (const std::int32_t k : {249, 250, 251}) {
        std::srand(5);
        const Cut cut(points, {}, k);
        ASSERT_EQ(cut.status, KMATH_OK);
        ASSERT_EQ(cut.vectors.rows(), k);
        ASSERT_EQ(cut.values.cols(), k);
        EXPECT_LT(residual(M, cut), 1e-10) << k; // the basis is the whole space
        EXPECT_LT(deviationFromOrthonormal(cut.vectors), 1e-10) << k;
        for (std::int32_t r = 0; r < k; ++r)
            EXPECT_NEAR(cut.values(0, r), lambda[static_cast<std::size_t>(r)], 1e-10) << k;
    }
}

TEST(NormCut, OverwritesSharedNodesWhenItIterates)
{
    Points points = scattered(290);
    std::mt19937_64 generator(3);
    for (std::int32_t &node : points.nodes)
        node = static_cast<std::int32_t>(generator() % 290);
    std::srand(1);
    const Cut cut(points, {}, 2);
    ASSERT_EQ(cut.status, KMATH_OK);
    EXPECT_LT(residual(plainMatrix(points, {}), cut), 1e-4);
}

TEST(NormCut, SeparatesGroupsByTheSecondRow)
{
    Points points;
    std::mt19937_64 generator(9);
    std::normal_distribution<double> normal(0.0, 1.0);
    for (std::int32_t i = 0; i < 60; ++i)
        points.add(i, normal(generator) + (i % 2) * 12.0, normal(generator), 0.0, 0);
    const Cut cut(points, {2.0, 0.0, 0.0, 0}, 2);
    ASSERT_EQ(cut.status, KMATH_OK);
    for (std::int32_t i = 2; i < 60; ++i)
        EXPECT_GT(cut.vectors(1, i) * cut.vectors(1, i % 2), 0.0) << i;
    EXPECT_LT(cut.vectors(1, 0) * cut.vectors(1, 1), 0.0);
}

// What is refused, and how it ends otherwise.

void expectRefused(const Points &points, std::int32_t numPoints, std::int32_t numEigen,
                   kmath_status expected)
{
    Matrix vectors{{1.0, 2.0}}, values{{3.0}};
    const std::int64_t allocations = allocationsOf([&] {
        EXPECT_EQ(kf_normCut(points.nodes.data(), numPoints, points.positions.data(),
                             points.angles.data(), points.greys.data(), 1.0, 1.0, 1.0, numEigen, 0,
                             &vectors, &values),
                  expected);
    });
    EXPECT_EQ(allocations, 0);
    EXPECT_TRUE(sameBits(vectors, Matrix{{1.0, 2.0}}));
    EXPECT_TRUE(sameBits(values, Matrix{{3.0}}));
}

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();

TEST(NormCut, RefusesNumbersOfPairsOutsideOneToN)
{
    for (const std::int32_t n : {1, 2, 40, 250, 251}) {
        const Points points = scattered(n);
        for (const std::int32_t k : {least, -1, 0, n + 1, n + 1000, most})
            expectRefused(points, n, k, KMATH_ERR_FAILED);
    }
}

TEST(NormCut, RefusesPointsThatMakeNoNode)
{
    const Points points = scattered(3);
    for (const std::int32_t n : {0, -1, least})
        for (const std::int32_t k : {-1, 0, 1, 2})
            expectRefused(points, n, k, KMATH_ERR_FAILED);

    Points skipped = points;
    skipped.nodes.assign(3, -1);
    expectRefused(skipped, 3, 1, KMATH_ERR_FAILED);

    Matrix vectors, values;
    EXPECT_EQ(assertedLine([&] {
                  kf_normCut(nullptr, 0, nullptr, nullptr, nullptr, 1.0, 1.0, 1.0, 1, 0, &vectors,
                             &values);
              }),
              0);
}

TEST(NormCut, RefusesNodesOfNOrMore)
{
    for (const std::int32_t n : {1, 5, 250, 251})
        for (const std::int32_t node : {n, n + 1, most})
            for (const std::int32_t at : {0, n / 2, n - 1}) {
                Points points = scattered(n);
                points.nodes[static_cast<std::size_t>(at)] = node;
                expectRefused(points, n, 1, KMATH_ERR_BAD_DIMENSIONS);
            }
    // Entries of −1 do not count: two points take part, and node 2 is one too many.
    Points points = scattered(3);
    points.nodes[0] = -1;
    expectRefused(points, 3, 1, KMATH_ERR_BAD_DIMENSIONS);
    expectRefused(points, 3, 3, KMATH_ERR_FAILED);
}

TEST(NormCut, RefusesOneRecordForBothResults)
{
    for (const std::int32_t n : {1, 5, 250, 251}) {
        const Points p = scattered(n);
        Matrix both{{1.0, 2.0}};
        const auto cut = [&](std::int32_t numEigen) {
            return kf_normCut(p.nodes.data(), n, p.positions.data(), p.angles.data(),
                              p.greys.data(), 1.0, 1.0, 1.0, numEigen, 0, &both, &both);
        };
        EXPECT_EQ(cut(1), KMATH_ERR_ALIASED);
        EXPECT_EQ(cut(n), KMATH_ERR_ALIASED);
        EXPECT_EQ(cut(n + 1), KMATH_ERR_FAILED);
        EXPECT_TRUE(sameBits(both, Matrix{{1.0, 2.0}}));
    }
}

TEST(NormCut, GivesZerosWhereNoPointTakesPart)
{
    Points points = scattered(4);
    points.nodes = {-2, -2, least, -3};
    const Cut cut(points, {}, 4);
    ASSERT_EQ(cut.status, KMATH_OK);
    for (std::int32_t r = 0; r < 4; ++r)
        EXPECT_EQ(cut.values(0, r), 0.0);
    EXPECT_EQ(deviationFromOrthonormal(cut.vectors), 0.0);
}

TEST(NormCut, AssertsNullPointers)
{
    const Points p = scattered(2);
    Matrix vectors, values;
    const auto call = [&](int missing) {
        return assertedLine([&] {
            kf_normCut(missing == 0 ? nullptr : p.nodes.data(), 2,
                       missing == 1 ? nullptr : p.positions.data(),
                       missing == 2 ? nullptr : p.angles.data(),
                       missing == 3 ? nullptr : p.greys.data(), 1.0, 1.0, 1.0, 1, 0,
                       missing == 4 ? nullptr : &vectors, missing == 5 ? nullptr : &values);
        });
    };
    for (int missing = 0; missing < 6; ++missing)
        EXPECT_GT(call(missing), 0) << missing;
    EXPECT_EQ(call(6), 0);
}

TEST(NormCut, EndsInSingularForOrientationsThatAreNotFinite)
{
    for (const std::int32_t n : {2, 30, 251})
        for (const double wild : {nan, infinity, -infinity}) {
            Points points = scattered(n);
            points.angles[1] = wild;
            EXPECT_EQ(Cut(points, {}, 1).status, KMATH_ERR_SINGULAR) << n << ' ' << wild;
            EXPECT_EQ(Cut(points, {10.0, 0.0, 80.0, 0}, 1).status, KMATH_OK) << n << ' ' << wild;
        }
}

TEST(NormCut, EndsForAnyNumbers)
{
    const double wildNumbers[] = {nan,     infinity, -infinity, 0.0,  -1.0, 5e-324,
                                  -5e-324, 1e17,     -1e17,     1e18, 1e19, 1.7976931348623157e308};
    for (const std::int32_t n : {1, 2, 5, 60, 251})
        for (const double wild : wildNumbers)
            for (int argument = 0; argument < 6; ++argument) {
                Points points = scattered(n);
                Scales scales;
                double *const place[] = {&points.positions[0], &points.positions.back(),
                                         &points.angles[0],    &scales.dist,
                                         &scales.angle,        &scales.grey};
                *place[argument] = wild;
                scales.clamp = argument % 2;
                const Cut cut(points, scales, 1);
                if (cut.status == KMATH_OK) {
                    EXPECT_TRUE(std::isfinite(cut.values(0, 0))) << n << ' ' << wild << argument;
                } else {
                    EXPECT_EQ(cut.status, KMATH_ERR_SINGULAR) << n << ' ' << wild << argument;
                }
            }
}

TEST(NormCut, ReportsEveryFailingAllocation)
{
    for (const std::int32_t n : {1, 3, 12, 40, 251}) {
        const Points points = scattered(n);
        sweepAllocationFailures([&] { return Cut(points, {}, std::min(n, 3)).status; });
    }
}

TEST(NormCut, LeavesOutputsUsableAfterAFailingAllocation)
{
    for (const std::int32_t n : {12, 251}) {
        const Points points = scattered(n);
        sweepAllocationFailures([&] {
            Cut cut(points, {}, 9);
            EXPECT_EQ(kmath_nmmatrix_destruct(&cut.values), KMATH_OK);
            if (KMATH_IS_FAILURE(cut.status)) {
                EXPECT_EQ(kmath_nmmatrix_resize(&cut.vectors, 8, 8), KMATH_OK);
                EXPECT_EQ(cut.vectors(7, 7), 0.0);
            }
            return cut.status;
        });
    }
}

TEST(NormCut, GivesTheSameBitsAgain)
{
    for (const std::int32_t n : {120, 260}) {
        const Points points = scattered(n);
        std::srand(3);
        const Cut first(points, {}, 4);
        std::srand(3);
        const Cut again(points, {}, 4);
        EXPECT_TRUE(sameBits(first.vectors, again.vectors));
        EXPECT_TRUE(sameBits(first.values, again.values));
    }
}

} // namespace
