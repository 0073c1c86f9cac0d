// The embedding of planar features by normalized cut: affinity of all pairs, normalisation by the
// degrees, leading eigenvectors.
//
// Shi & Malik, Normalized cuts and image segmentation, IEEE Trans. PAMI 22 (2000).
#include <kmath/normcut.h>

#include <kmath/eigen.h>

#include "eigen/norm_cut.hpp"
#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"

#include <algorithm>
#include <cstdlib>

using namespace kmath;

namespace
{

constexpr std::int32_t largestDirect = 250; // order
constexpr double negligible = 1e-15;        // weights up to it count only in the degrees

// What the iterative solvers are asked for.
constexpr std::int32_t defaultBasis = -1;
constexpr double tol = 1e-6;
constexpr double stagTol = 1e-10;
constexpr std::int32_t maxIter = 300;

// Solve on the sparse matrix instead. Off: most graphs keep nearly all of their pairs, and elements
// of the same place add up there, while the last one stands in a dense matrix.
constexpr bool sparseRoute = false;

// One factor of a weight, exp(−d/scale).
class Decay
{
  public:
    explicit Decay(double scale) : on(scale > 0.0 || scale < 0.0), inverse(on ? 1.0 / scale : 0.0)
    {
    }

    double operator()(double d) const
    {
        const double x = -d * inverse;
        return !on || x == 0.0 ? 1.0 : std::exp(x);
    }

  private:
    bool on;
    double inverse;
};

class Affinity
{
  public:
    Affinity(const Features &points, const AffinityScales &affinityScales)
        : features(points), scales(affinityScales), distDecay(scales.dist),
          angleDecay(scales.angle), cappedFactor(angleDecay(scales.angle))
    {
        const Decay greyDecay(scales.grey);
        for (int difference = 0; difference < 256; ++difference)
            greyFactors[difference] = greyDecay(difference);
    }

    double operator()(std::int32_t j, std::int32_t i) const
    {
        const int greyDifference = std::abs(features.greyValues[j] - features.greyValues[i]);
        return distFactor(j, i) * angleFactor(j, i) * greyFactors[greyDifference];
    }

  private:
    double distFactor(std::int32_t j, std::int32_t i) const
    {
        const double *from = features.positions + 2 * std::int64_t{i};
        const double *to = features.positions + 2 * std::int64_t{j};
        const double dx = to[0] - from[0];
        const double dy = to[1] - from[1];
        return distDecay(std::sqrt(dx * dx + dy * dy));
    }

    double angleFactor(std::int32_t j, std::int32_t i) const
    {
        const double angle = angularDistance(features.angles[j] - features.angles[i]);
        return scales.clampAngle && angle > scales.angle ? cappedFactor : angleDecay(angle);
    }

    const Features &features;
    const AffinityScales &scales;
    Decay distDecay;
    Decay angleDecay;
    double cappedFactor;
    double greyFactors[256];
};

bool takesPart(const Features &features, std::int32_t point)
{
    return features.nodeIndex[point] >= 0;
}

kmath_status addPair(std::int32_t a, std::int32_t b, double w, double *degree, Triplets &W)
{
    degree[a] += w;
    if (a != b)
        degree[b] += w;
    if (!(std::fabs(w) > negligible))
        return KMATH_OK;
    RETURN_IF_FAILED(W.append({a, b, w}));
    return a != b ? W.append({b, a, w}) : KMATH_OK;
}

bool nodesLieBelow(const Features &features, std::int32_t N)
{
    for (std::int32_t i = 0; i < features.numPoints; ++i)
        if (features.nodeIndex[i] >= N)
            return false;
    return true;
}

int largerFirst(const void *left, const void *right)
{
    const double d = static_cast<const kmath_nmmatrix_eigValId *>(left)->eigVal -
                     static_cast<const kmath_nmmatrix_eigValId *>(right)->eigVal;
    return d > 0.0 ? -1 : d == 0.0 ? 0 : 1;
}

// All pairs, of which the leading ones are copied out.
kmath_status solveDirectly(const Triplets &triplets, std::int32_t N, std::int32_t numEigen,
                           kmath_nmmatrix &eigenVectors, kmath_nmmatrix &eigenValues)
{
    kxNMMatrix M, V;
    kxVector<double> re, im;
    kxVector<kmath_nmmatrix_eigValId> order;

    RETURN_IF_FAILED(M.initResize(N, N, 0.0));
    for (const kmath_snmmatrix_element &t : triplets)
        RETURN_IF_FAILED(M.setElement(t.row, t.col, t.value));
    RETURN_IF_FAILED(M.eigenvalues(true, re, im, V));

    RETURN_IF_FAILED(order.resize(N));
    for (std::int32_t c = 0; c < N; ++c)
        order[c] = {re[c], c};
    std::qsort(order.begin(), static_cast<std::size_t>(N), sizeof order[0], largerFirst);

    RETURN_IF_FAILED(kmath_nmmatrix_resize(&eigenVectors, numEigen, V.rows()));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&eigenValues, 1, numEigen));
    for (std::int32_t r = 0; r < numEigen; ++r) {
        for (std::int32_t c = 0; c < N; ++c)
            RETURN_IF_FAILED(V.getElement(c, order[r].id, eigenVectors.rows[r][c]));
        eigenValues.rows[0][r] = order[r].eigVal;
    }
    return KMATH_OK;
}

// The leading pairs by iteration on the dense matrix A, which is set here.
kmath_status solveByIteration(Triplets &triplets, std::int32_t N, std::int32_t numEigen,
                              kmath_nmmatrix &A, kmath_nmmatrix &eigenVectors,
                              kmath_nmmatrix &eigenValues)
{
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&A, N, N));
    for (const kmath_snmmatrix_element &t : triplets)
        A.rows[t.row][t.col] = t.value;
    triplets.release(); // makes room for the basis
    return kmath_nmmatrix_qeig(&A, numEigen, defaultBasis, &eigenVectors, &eigenValues, tol,
                               stagTol, maxIter);
}

// The same on the sparse matrix S.
[[maybe_unused]] kmath_status solveSparse(Triplets &triplets, std::int32_t N, std::int32_t numEigen,
                                          kmath_snmmatrix &S, kmath_nmmatrix &eigenVectors,
                                          kmath_nmmatrix &eigenValues)
{
    if (triplets.size() > INT32_MAX)
        return KMATH_ERR_FAILED;
    RETURN_IF_FAILED(kmath_snmmatrix_setElements(&S, N, N, triplets.begin(),
                                                 static_cast<std::int32_t>(triplets.size())));
    triplets.release();
    return kmath_snmmatrix_qeigS(&S, numEigen, defaultBasis, &eigenVectors, &eigenValues, tol,
                                 stagTol, maxIter);
}

} // namespace

// Deliberate: only −1 is not counted, while every negative entry leaves its point out. A caller
// reserves a node without a point by −2.
std::int32_t kmath::countNodes(const Features &features)
{
    std::int32_t N = 0;
    for (std::int32_t i = 0; i < features.numPoints; ++i)
        N += features.nodeIndex[i] != -1;
    return N;
}

kmath_status kmath::affinityGraph(const Features &features, const AffinityScales &scales,
                                  double *degree, Triplets &W)
{
    const Affinity weight(features, scales);
    for (std::int32_t i = 0; i < features.numPoints; ++i) {
        if (!takesPart(features, i))
            continue;
        for (std::int32_t j = 0; j <= i; ++j)
            if (takesPart(features, j))
                RETURN_IF_FAILED(
                    addPair(features.nodeIndex[j], features.nodeIndex[i], weight(j, i), degree, W));
    }
    return KMATH_OK;
}

void kmath::normaliseGraph(Triplets &W, const double *degree, std::int32_t N, double *invSqrtDegree)
{
    // A node without points has degree 0 and an infinite factor, which no element meets.
    for (std::int32_t n = 0; n < N; ++n)
        invSqrtDegree[n] = 1.0 / std::sqrt(degree[n]);
    for (kmath_snmmatrix_element &t : W)
        t.value *= invSqrtDegree[t.col] * invSqrtDegree[t.row];
    for (kmath_snmmatrix_element &t : W)
        if (t.row == t.col)
            t.value -= 1.0;
}

kmath_status kf_normCut(const int32_t *nodeIndex, int32_t numPoints, const double *positions,
                        const double *angles, const uint8_t *greyValues, double sigmaDist,
                        double sigmaAngle, double sigmaGrey, int32_t numEigen, int32_t clampAngle,
                        kmath_nmmatrix *eigenVectors, kmath_nmmatrix *eigenValues)
{
    KMATH_ASSERT(numPoints <= 0 || (nodeIndex && positions && angles && greyValues));
    KMATH_ASSERT(eigenVectors && eigenValues);

    const Features features{numPoints, nodeIndex, positions, angles, greyValues};
    const AffinityScales scales{sigmaDist, sigmaAngle, sigmaGrey, clampAngle != 0};
    const std::int32_t N = countNodes(features);
    if (numEigen < 1 || numEigen > N)
        return KMATH_ERR_FAILED;
    if (!nodesLieBelow(features, N))
        return KMATH_ERR_BAD_DIMENSIONS;
    if (eigenVectors == eigenValues)
        return KMATH_ERR_ALIASED;

    Triplets triplets;
    kmath_snmmatrix S;
    kmath_nmmatrix A;
    double *degree, *invSqrtDegree;
    CleanupFrame frame(S, A, degree, invSqrtDegree);
    TRY(allocateClear(degree, N));
    TRY(allocateClear(invSqrtDegree, N));

    TRY(affinityGraph(features, scales, degree, triplets));
    normaliseGraph(triplets, degree, N, invSqrtDegree);

    if constexpr (sparseRoute)
        return frame.leave(solveSparse(triplets, N, numEigen, S, *eigenVectors, *eigenValues));
    if (N <= largestDirect)
        return frame.leave(solveDirectly(triplets, N, numEigen, *eigenVectors, *eigenValues));
    return frame.leave(solveByIteration(triplets, N, numEigen, A, *eigenVectors, *eigenValues));
}
