#include <kmath/eigen.h>
#include <kmath/snmmatrix.h>

#include "eigen/lanczos.hpp"
#include "support/matrices.hpp"
#include "support/services.hpp"
#include "support/sparse.hpp"
#include "support/sparse_problems.hpp"
#include "support/vectors.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

using namespace support;
using kmath::LanczosPlan;
using kmath::planLanczos;
using kmath::shiftsAfter;

namespace
{

int constantNumber = -1;
int numbersDrawn = 0;

} // namespace

// The C library's generator, or a constant where a test sets one.
extern "C" int rand() noexcept
{
    static const auto generator = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "rand"));
    ++numbersDrawn;
    return constantNumber >= 0 ? constantNumber : generator();
}

namespace
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct ConstantGenerator {
    explicit ConstantGenerator(int number) { constantNumber = number; }
    ~ConstantGenerator() { constantNumber = -1; }
};

Triplets tripletsOf(std::int32_t n,
                    const std::function<double(std::int32_t, std::int32_t)> &element)
{
    Triplets triplets{n, {}};
    for (std::int32_t i = 0; i < n; ++i)
        for (std::int32_t j = 0; j < n; ++j)
            if (element(i, j) != 0.0)
                triplets.entries.push_back({i, j, element(i, j)});
    return triplets;
}

Triplets diagonalOf(std::int32_t n, const std::function<double(std::int32_t)> &element)
{
    return tripletsOf(n, [&](int i, int j) { return i == j ? element(i) : 0.0; });
}

Triplets randomTriplets(std::int32_t n, std::uint64_t seed)
{
    const Matrix A = randomSymmetric(n, seed);
    return tripletsOf(n, [&](int i, int j) { return A(i, j); });
}

struct Settings {
    std::int32_t p = -1;
    double tol = -1.0;
    double stagTol = -1.0;
    std::int32_t maxIter = -1;
};

constexpr Settings tight = {-1, 1e-10, 1e-13, -1};

struct Pairs {
    Matrix vectors, values;
    kmath_status status = KMATH_OK;
};

Pairs solveDense(const Matrix &A, std::int32_t k, const Settings &s = {}, unsigned seed = 1)
{
    Pairs pairs;
    std::srand(seed);
    pairs.status =
        kmath_nmmatrix_qeig(&A, k, s.p, &pairs.vectors, &pairs.values, s.tol, s.stagTol, s.maxIter);
    return pairs;
}

Pairs solveDense(const Triplets &triplets, std::int32_t k, const Settings &s = {},
                 unsigned seed = 1)
{
    Matrix A;
    EXPECT_EQ(triplets.toDense(*&A), KMATH_OK);
    return solveDense(A, k, s, seed);
}

Pairs solveSparse(const Triplets &triplets, std::int32_t k, const Settings &s = {},
                  unsigned seed = 1)
{
    const Sparse S(triplets.n, triplets.n, triplets.entries);
    Pairs pairs;
    std::srand(seed);
    pairs.status = kmath_snmmatrix_qeigS(&S, k, s.p, &pairs.vectors, &pairs.values, s.tol,
                                         s.stagTol, s.maxIter);
    return pairs;
}

using Solver = Pairs (*)(const Triplets &, std::int32_t, const Settings &, unsigned);
struct NamedSolver {
    const char *name;
    Solver solve;
};
constexpr NamedSolver solvers[] = {{"dense", solveDense}, {"sparse", solveSparse}};

// Largest ‖A·x − θ·x‖ of a pair, in the 2-norm.
double largestResidual(const Triplets &A, const Pairs &pairs)
{
    double largest = 0.0;
    for (std::int32_t r = 0; r < pairs.vectors.rows(); ++r) {
        const double *x = pairs.vectors->rows[r];
        const std::vector<double> Ax = A.times(x);
        double sum = 0.0;
        for (std::int32_t i = 0; i < A.n; ++i) {
            const double difference = Ax[static_cast<std::size_t>(i)] - pairs.values(0, r) * x[i];
            sum += difference * difference;
        }
        largest = std::max(largest, std::sqrt(sum));
        if (std::isnan(sum))
            return infinity;
    }
    return largest;
}

double orthogonalityError(const Matrix &X)
{
    Matrix G(X.rows(), X.rows());
    kmath::kernels().Tsquare(G, X);
    return maxDifference(G, identity(X.rows()));
}

// k pairs in their layout, orthonormal, in descending order, each with its residual.
void expectPairs(const Triplets &A, std::int32_t k, const Pairs &pairs, double tol = 1e-10)
{
    ASSERT_EQ(pairs.status, KMATH_OK);
    ASSERT_EQ(pairs.vectors.rows(), k);
    ASSERT_EQ(pairs.vectors.cols(), A.n);
    ASSERT_EQ(pairs.values.rows(), 1);
    ASSERT_EQ(pairs.values.cols(), k);
    for (std::int32_t r = 1; r < k; ++r)
        EXPECT_GE(pairs.values(0, r - 1), pairs.values(0, r));
    EXPECT_LE(orthogonalityError(pairs.vectors), 1e-10);
    EXPECT_LE(largestResidual(A, pairs), 10.0 * tol * A.infinityNorm());
}

std::vector<double> directValues(const Triplets &triplets)
{
    Matrix A, Z;
    Doubles values;
    EXPECT_EQ(triplets.toDense(*&A), KMATH_OK);
    EXPECT_EQ(kmath_nmmatrix_symEigenvalues(&A, &values, &Z), KMATH_OK);
    std::vector<double> sorted = values.values();
    std::sort(sorted.rbegin(), sorted.rend());
    return sorted;
}

double distanceTo(const std::vector<double> &values, double value)
{
    double nearest = infinity;
    for (const double candidate : values)
        nearest = std::min(nearest, std::fabs(candidate - value));
    return nearest;
}

// Each value is an eigenvalue. Of a multiple one not all copies need be there.
void expectEigenvalues(const Triplets &A, const Pairs &pairs)
{
    const std::vector<double> all = directValues(A);
    const double norm = A.infinityNorm();
    for (std::int32_t r = 0; r < pairs.values.cols(); ++r)
        EXPECT_LE(distanceTo(all, pairs.values(0, r)), 1e-9 * norm) << r;
    EXPECT_NEAR(pairs.values(0, 0), all.front(), 1e-9 * norm);
}

Triplets cycle(std::int32_t n)
{
    return tripletsOf(n, [n](int i, int j) { return (i + 1) % n == j || (j + 1) % n == i; });
}

Triplets path(std::int32_t n)
{
    return tripletsOf(n, [](int i, int j) { return std::abs(i - j) == 1; });
}

Triplets complete(std::int32_t n)
{
    return tripletsOf(n, [](int i, int j) { return i != j; });
}

// The matrix of several graphs beside one another.
Triplets disjoint(const std::vector<Triplets> &parts)
{
    Triplets whole;
    for (const Triplets &part : parts) {
        for (kmath_snmmatrix_element e : part.entries) {
            e.row += whole.n;
            e.col += whole.n;
            whole.entries.push_back(e);
        }
        whole.n += part.n;
    }
    return whole;
}

Triplets scaled(Triplets A, double factor)
{
    for (kmath_snmmatrix_element &e : A.entries)
        e.value *= factor;
    return A;
}

Triplets shifted(Triplets A, double shift)
{
    for (std::int32_t i = 0; i < A.n; ++i)
        A.entries.push_back({i, i, shift});
    return A;
}

/// Counts products with single vectors and with the Ritz vectors.
struct CountingOperator {
    const kmath_snmmatrix &S;
    double norm;
    mutable int products = 0;
    mutable int checks = 0;

    kmath_status multiplyT(const kmath_nmmatrix &X, kmath_nmmatrix &AX) const
    {
        (X.nRows == 1 ? products : checks) += X.nRows;
        return kmath_snmmatrix_multiplyTSMM(&S, &X, &AX);
    }
    kmath_status rowNorm(double &result) const
    {
        result = norm;
        return KMATH_OK;
    }
};

CountingOperator count(const Triplets &A, const LanczosPlan &plan, Pairs &pairs, double norm)
{
    const Sparse S(A.n, A.n, A.entries);
    const CountingOperator counter = {*&S, norm};
    std::srand(1);
    pairs.status = kmath::leadingEigenpairs(counter, plan, *&pairs.vectors, *&pairs.values);
    return counter;
}

CountingOperator count(const Triplets &A, const LanczosPlan &plan, Pairs &pairs)
{
    return count(A, plan, pairs, A.infinityNorm());
}

LanczosPlan defaults(std::int32_t n, std::int32_t k) { return planLanczos(n, k, -1, 0.0, 0.0, -1); }

} // namespace

// The integers of the method.

TEST(LanczosPlan, CarriesTwoPairsMoreAndTwiceAsManyVectors)
{
    const LanczosPlan plan = defaults(300, 3);
    EXPECT_EQ(plan.wanted, 5);
    EXPECT_EQ(plan.p, 20);
    EXPECT_EQ(plan.extra, 14);
    EXPECT_EQ(plan.last, 19);
    EXPECT_EQ(plan.maxIter, 300);
    EXPECT_EQ(plan.tol, 1e-10);
    EXPECT_EQ(plan.stagTol, 1e-6);

    EXPECT_EQ(defaults(4000, 3).maxIter, 400);
    EXPECT_EQ(defaults(3019, 3).maxIter, 301); // 6038 / 20
    EXPECT_EQ(defaults(300, 8).p, 22);
    EXPECT_EQ(defaults(300, 20).p, 46);
}

TEST(LanczosPlan, TakesTheWholeSpaceOfASmallMatrix)
{
    const LanczosPlan plan = defaults(22, 10);
    EXPECT_EQ(plan.wanted, 12);
    EXPECT_EQ(plan.p, 22);
    EXPECT_EQ(plan.extra, 9);
    EXPECT_EQ(defaults(20, 1).p, 20);
    EXPECT_EQ(defaults(21, 1).p, 20);
    EXPECT_EQ(defaults(14, 8).wanted, 10);
}

TEST(LanczosPlan, CarriesFewerPairsNearTheOrder)
{
    EXPECT_EQ(defaults(10, 6).wanted, 8);
    EXPECT_EQ(defaults(10, 7).wanted, 8);
    EXPECT_EQ(defaults(10, 8).wanted, 8);
    EXPECT_EQ(defaults(3, 1).wanted, 1);
    EXPECT_EQ(defaults(3, 1).extra, 1);
}

TEST(LanczosPlan, KeepsABasisThatIsAskedForBetweenTheLeastWithRoomAndTheOrder)
{
    EXPECT_EQ(planLanczos(300, 3, 40, 0.0, 0.0, -1).p, 40);
    EXPECT_EQ(planLanczos(300, 3, 7, 0.0, 0.0, -1).p, 7);
    for (const int p : {0, 1, 6})
        EXPECT_EQ(planLanczos(300, 3, p, 0.0, 0.0, -1).p, 7);
    for (const int p : {300, 301, INT_MAX})
        EXPECT_EQ(planLanczos(300, 3, p, 0.0, 0.0, -1).p, 300);
    EXPECT_EQ(planLanczos(300, 3, INT_MIN, 0.0, 0.0, -1).p, 20);
    EXPECT_EQ(planLanczos(6000, 3, 0, 0.0, 0.0, -1).maxIter, 1714); // 12000 / 7
    EXPECT_EQ(planLanczos(300, 3, 40, 0.0, 0.0, 0).maxIter, 0);
    EXPECT_EQ(planLanczos(300, 3, 40, 0.0, 0.0, INT_MIN).maxIter, 300);
    EXPECT_EQ(planLanczos(300, 3, 40, 0.0, 0.0, INT_MAX).maxIter, INT_MAX);
}

TEST(LanczosPlan, FormsItsIntegersWithoutOverflow)
{
    const LanczosPlan plan = defaults(INT_MAX, INT_MAX - 2);
    EXPECT_EQ(plan.wanted, INT_MAX - 2);
    EXPECT_EQ(plan.p, INT_MAX - 1);
    EXPECT_EQ(defaults(INT_MAX, 3).maxIter, 214748364);
    // p = 2³¹ − 14, pp = 2³⁰ − 7
    EXPECT_EQ(shiftsAfter(defaults(INT_MAX, INT_MAX / 2 - 9), INT_MAX / 2 - 9), 357913939);
}

TEST(LanczosPlan, TakesTolerancesOnlyAboveZero)
{
    for (const double refused : {0.0, -0.0, -1.0, -infinity, notANumber}) {
        EXPECT_EQ(planLanczos(300, 3, -1, refused, refused, -1).tol, 1e-10);
        EXPECT_EQ(planLanczos(300, 3, -1, refused, refused, -1).stagTol, 1e-6);
    }
    EXPECT_EQ(planLanczos(300, 3, -1, 1e-300, 2.0, -1).tol, 1e-300);
    EXPECT_EQ(planLanczos(300, 3, -1, 1e-300, 2.0, -1).stagTol, 2.0);
}

TEST(LanczosPlan, GivesUpFewerVectorsAsPairsConverge)
{
    const LanczosPlan plan = defaults(300, 3); // m = 19, pp = 14
    EXPECT_EQ(shiftsAfter(plan, 1), 13);       // 19 − (3 + 1 + 2)
    EXPECT_EQ(shiftsAfter(plan, 2), 12);
    EXPECT_EQ(shiftsAfter(plan, 5), 9);
    const LanczosPlan many = defaults(300, 20); // p = 46, m = 45, pp = 23
    EXPECT_EQ(shiftsAfter(many, 5), 18);
    EXPECT_EQ(shiftsAfter(many, 15), 8); // ⌈23 / 3⌉ = 8 and 45 − 37 = 8
    EXPECT_EQ(shiftsAfter(many, 22), 8);
    EXPECT_EQ(shiftsAfter(defaults(14, 8), 3), 1); // pp = 3
}

TEST(LanczosPlan, AlwaysLeavesTheWantedPairsAndSomethingToGiveUp)
{
    for (int n = 3; n < 60; ++n)
        for (int k = 1; k <= n - 2; ++k)
            for (int p = -1; p < n + 2; ++p) {
                const LanczosPlan plan = planLanczos(n, k, p, 0.0, 0.0, -1);
                ASSERT_GE(plan.wanted, k);
                ASSERT_LE(plan.p, n);
                ASSERT_EQ(plan.last, plan.p - 1);
                for (int c = 0; c <= plan.wanted; ++c) {
                    ASSERT_GE(shiftsAfter(plan, c), 1);
                    ASSERT_GT(plan.p - shiftsAfter(plan, c), plan.wanted);
                }
            }
}

// The steps of a pass.

TEST(LanczosProjection, IsAveragedExceptForOnePair)
{
    const LanczosPlan plan = planLanczos(9, 1, 6, 0.0, 0.0, -1); // m = 5
    Matrix V;
    kmath::Lanczos lanczos(plan, *&V);
    kmath::CleanupFrame<12> frame(lanczos.H, lanczos.theta, lanczos.S, lanczos.previous, lanczos.x,
                                  lanczos.Ax, lanczos.X, lanczos.AX, lanczos.small, lanczos.square,
                                  lanczos.strip);
    ASSERT_EQ(lanczos.allocate(), KMATH_OK);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            lanczos.H.rows[i][j] = i <= j + 1 ? 10 * i + j : 0;

    lanczos.makeTridiagonal();

    const Matrix expected = {{0, 5.5, 0, 0, 0, 0},      {5.5, 11, 16.5, 0, 0, 0},
                             {0, 16.5, 22, 27.5, 0, 0}, {0, 0, 27.5, 33, 34, 35},
                             {0, 0, 0, 43, 44, 49.5},   {0, 0, 0, 0, 49.5, 55}};
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(lanczos.H.rows[i][j], expected(i, j)) << i << ' ' << j;
    frame.leave(KMATH_OK);
}

TEST(LanczosProjection, CountsTheLeadingPairsBelowTheTolerance)
{
    const LanczosPlan plan = planLanczos(9, 3, 8, 0.5, 0.0, -1); // 5 wanted, m = 7
    Matrix V;
    kmath::Lanczos lanczos(plan, *&V);
    kmath::CleanupFrame<12> frame(lanczos.H, lanczos.theta, lanczos.S, lanczos.previous, lanczos.x,
                                  lanczos.Ax, lanczos.X, lanczos.AX, lanczos.small, lanczos.square,
                                  lanczos.strip);
    ASSERT_EQ(lanczos.allocate(), KMATH_OK);
    V(8, 2) = 1.2;
    V(8, 7) = -1.6; // β = 2
    const auto converged = [&](const std::vector<double> &lastComponents, double largest) {
        for (std::size_t i = 0; i < lastComponents.size(); ++i)
            lanczos.S.rows[i][7] = lastComponents[i];
        std::int32_t count = -1;
        EXPECT_DOUBLE_EQ(lanczos.residualEstimate(count), largest);
        return count;
    };
    // The sixth pair is not wanted.
    EXPECT_EQ(converged({0.1, -0.2, 0.1, 0.0, -0.1, 0.9}, 0.4), 5);
    EXPECT_EQ(converged({0.1, -0.2, 0.25, 0.1, 0.1, 0.9}, 0.5), 2); // 0.5 is not below
    EXPECT_EQ(converged({-0.4, 0.0, 0.0, 0.0, 0.0, 0.9}, 0.8), 0);
    frame.leave(KMATH_OK);
}

TEST(LanczosProjection, ForgetsNoChangeOfTheValues)
{
    const LanczosPlan plan = planLanczos(9, 1, 6, 0.0, 1e-3, -1);
    Matrix V;
    kmath::Lanczos lanczos(plan, *&V);
    kmath::CleanupFrame<12> frame(lanczos.H, lanczos.theta, lanczos.S, lanczos.previous, lanczos.x,
                                  lanczos.Ax, lanczos.X, lanczos.AX, lanczos.small, lanczos.square,
                                  lanczos.strip);
    ASSERT_EQ(lanczos.allocate(), KMATH_OK);
    const auto pass = [&](double a, double b, double c) {
        const double values[3] = {a, b, c};
        std::copy_n(values, 3, lanczos.theta.rows[0]);
        const bool stagnates = lanczos.valuesStagnate();
        lanczos.rememberValues();
        return stagnates;
    };
    lanczos.rememberValues(); // all 0
    EXPECT_TRUE(pass(1e-17, 1e-17, 1e-17));
    EXPECT_EQ(lanczos.largestChange, 1e-17); // not relative to what is nearly 0
    EXPECT_FALSE(pass(8.0, 4.0, 2.0));       // against 1e-17: absolute
    EXPECT_EQ(lanczos.largestChange, 8.0 - 1e-17);
    EXPECT_FALSE(pass(8.0, 4.0, 2.0));
    EXPECT_EQ(lanczos.largestChange, 8.0 - 1e-17);

    lanczos.largestChange = 0.0;
    EXPECT_FALSE(pass(8.0, 4.0, 2.0 + 0x1p-4)); // relative: 1/32
    EXPECT_EQ(lanczos.largestChange, 0x1p-5);
    EXPECT_FALSE(pass(8.0, 4.0, 2.0 + 0x1p-4));
    lanczos.largestChange = 0.0;
    EXPECT_TRUE(pass(8.0, 4.0, 2.0 + 0x1p-4));
    frame.leave(KMATH_OK);
}

TEST(LanczosIteration, StaysAFactorizationThroughRestarts)
{
    const Triplets triplets = randomTriplets(40, 3);
    const Sparse S(triplets.n, triplets.n, triplets.entries);
    const CountingOperator A = {*&S, 1.0};
    const LanczosPlan plan = planLanczos(40, 2, 12, 0.0, 0.0, -1);
    Matrix V;
    kmath::Lanczos lanczos(plan, *&V);
    kmath::CleanupFrame<12> frame(lanczos.H, lanczos.theta, lanczos.S, lanczos.previous, lanczos.x,
                                  lanczos.Ax, lanczos.X, lanczos.AX, lanczos.small, lanczos.square,
                                  lanczos.strip);
    ASSERT_EQ(lanczos.allocate(), KMATH_OK);

    // A·Vᵀ = Vᵀ·H + r·eᵀ over the first `size` rows, and V orthonormal.
    const auto expectFactorization = [&](int size) {
        double worst = 0.0;
        for (int j = 0; j < size; ++j) {
            const std::vector<double> Av = triplets.times(V->rows[j]);
            for (int c = 0; c < 40; ++c) {
                double sum = j == size - 1 ? V(size, c) : 0.0;
                for (int i = 0; i < size; ++i)
                    sum += V(i, c) * lanczos.H.rows[i][j];
                worst = std::max(worst, std::fabs(Av[static_cast<std::size_t>(c)] - sum));
            }
        }
        EXPECT_LE(worst, 1e-13);
        EXPECT_LE(orthogonalityError(build(size, 40, [&](int i, int j) { return V(i, j); })),
                  1e-14);
    };

    std::srand(1);
    int kept = 0;
    for (const int next : {6, 5, 11, 8}) {
        ASSERT_EQ(kmath::extend(A, lanczos, kept), KMATH_OK);
        lanczos.makeTridiagonal();
        expectFactorization(12);
        ASSERT_EQ(lanczos.diagonalise(), KMATH_OK);
        const std::vector<double> leading(lanczos.theta.rows[0], lanczos.theta.rows[0] + next);
        kept = next;
        lanczos.restart(kept);
        expectFactorization(kept);

        // What is kept spans the leading Ritz vectors: its projection has their values.
        Matrix H = build(kept, kept, [&](int i, int j) { return lanczos.H.rows[i][j]; });
        std::vector<double> values = directValues(tripletsOf(
            kept, [&](int i, int j) { return i <= j + 1 && j <= i + 1 ? H(i, j) : 0.0; }));
        for (int i = 0; i < kept; ++i)
            EXPECT_NEAR(values[static_cast<std::size_t>(i)], leading[static_cast<std::size_t>(i)],
                        1e-13);
    }
    frame.leave(KMATH_OK);
}

TEST(LanczosIteration, MakesTwoPassesWhateverTheLimit)
{
    const Triplets A = path(60);
    for (const int maxIter : {0, 1, 2}) {
        Pairs pairs;
        const CountingOperator counter = count(A, planLanczos(60, 1, -1, 0.0, 0.0, maxIter), pairs);
        EXPECT_EQ(pairs.status, KMATH_OK); // reaching the limit is no failure
        EXPECT_EQ(counter.products, 20 + 11);
        EXPECT_NEAR(pairs.values(0, 0), 2.0, 0.05);
    }
    Pairs pairs;
    EXPECT_EQ(count(A, planLanczos(60, 1, -1, 0.0, 0.0, 3), pairs).products, 20 + 11 + 11);
}

TEST(LanczosIteration, EndsWhenItStagnates)
{
    // No residual is as small as 1e-300, so that only a standstill ends it before the limit.
    const Triplets A = path(60);
    Pairs pairs;
    const int coarse = count(A, planLanczos(60, 1, -1, 1e-300, 10.0, 100), pairs).products;
    EXPECT_EQ(pairs.status, KMATH_OK);
    EXPECT_LE(coarse, 20 + 11 + 11);
    const int fine = count(A, planLanczos(60, 1, -1, 1e-300, 1e-300, 100), pairs).products;
    EXPECT_EQ(pairs.status, KMATH_OK);
    EXPECT_GE(fine, 5 * coarse); // until not a bit changes any more, or to the limit
}

// Eigenvalues against published ones.

class SparseProblems : public testing::TestWithParam<SparseProblem>
{
};

namespace support
{
void PrintTo(const SparseProblem &problem, std::ostream *out) { *out << problem.title(); }
} // namespace support

INSTANTIATE_TEST_SUITE_P(Published, SparseProblems,
                         testing::ValuesIn(readSparseProblems(SPARSE_FOLDER)),
                         [](const auto &problem) {
                             return problem.param.name + '_' + problem.param.symbol;
                         });

TEST_P(SparseProblems, HaveTheirPublishedEigenvaluesByBothSolvers)
{
    const SparseProblem &problem = GetParam();
    const Triplets &A = problem.matrix;
    const double norm = A.infinityNorm();
    const bool multiple = problem.name == "gr_30_30";
    const std::vector<double> exact = multiple ? gridEigenvalues() : problem.leading;
    ASSERT_GE(exact.size(), 8u);

    for (const std::int32_t k : {1, 3, 8, 10}) {
        if (static_cast<std::size_t>(k) > problem.leading.size())
            continue;
        Pairs found[2];
        for (int s = 0; s < 2; ++s) {
            SCOPED_TRACE(std::string(solvers[s].name) + ", k = " + std::to_string(k));
            found[s] = solvers[s].solve(A, k, tight, 1);
            expectPairs(A, k, found[s]);
            for (std::int32_t r = 0; r < k; ++r) {
                const double value = found[s].values(0, r);
                const double limit = std::max(1e-9 * std::fabs(value), 100.0 * epsilon * norm);
                EXPECT_LE(multiple ? distanceTo(exact, value)
                                   : std::fabs(value - exact[static_cast<std::size_t>(r)]),
                          limit)
                    << r;
            }
            EXPECT_NEAR(found[s].values(0, 0), exact[0], 1e-9 * exact[0]);
        }
        for (std::int32_t r = 0; r < k; ++r)
            EXPECT_NEAR(found[0].values(0, r), found[1].values(0, r), 1e-9 * norm);
    }
}

TEST_P(SparseProblems, KeepToTheirDefaultTolerance)
{
    const SparseProblem &problem = GetParam();
    for (const NamedSolver &solver : solvers)
        expectPairs(problem.matrix, 3, solver.solve(problem.matrix, 3, {}, 3));
}

TEST_P(SparseProblems, NeedFewProducts)
{
    // Products of ARPACK 3.8 for three pairs to 1e-10 from a basis of the same size.
    constexpr struct {
        const char *title;
        int products;
    } peers[] = {{"nos3 A", 167},     {"pts5ldd03 A", 104}, {"gr_30_30 A", 371},
                 {"bcspwr03 N", 120}, {"bcspwr06 L", 69},   {"bcspwr06 N", 846},
                 {"dwt_878 L", 352},  {"dwt_878 N", 239},   {"bcsstk01 A", 53}};
    const SparseProblem &problem = GetParam();
    for (const auto &peer : peers) {
        if (problem.title() != peer.title)
            continue;
        Pairs pairs;
        const LanczosPlan plan = planLanczos(problem.matrix.n, 3, -1, 1e-10, 1e-13, -1);
        const CountingOperator counter = count(problem.matrix, plan, pairs);
        expectPairs(problem.matrix, 3, pairs);
        EXPECT_LE(counter.products + counter.checks, 1.2 * peer.products);
    }
}

// Hard cases.

struct HardCase {
    std::string name;
    Triplets A;
};

class HardCases : public testing::TestWithParam<HardCase>
{
};

void PrintTo(const HardCase &hard, std::ostream *out) { *out << hard.name; }

namespace
{

std::vector<HardCase> hardCases()
{
    std::vector<HardCase> cases;
    const auto add = [&](std::string name, Triplets A) { cases.push_back({std::move(name), A}); };
    for (const int n : {3, 5, 23, 60}) {
        const std::string of = std::to_string(n);
        add("Identity" + of, diagonalOf(n, [](int) { return 1.0; }));
        add("Zero" + of, {n, {}});
        add("MinusIdentity" + of, diagonalOf(n, [](int) { return -1.0; }));
        for (int copies = 2; copies <= 5; ++copies)
            add("Diagonal" + of + "By" + std::to_string(copies),
                diagonalOf(n, [&](int i) { return 1.0 + i / copies; }));
        add("Cycle" + of, cycle(n));
        add("Path" + of, path(n));
        add("Complete" + of, complete(n));
        add("NegativeDefinite" + of, shifted(scaled(path(n), -1.0), -3.0));
        add("Random" + of, randomTriplets(n, 5));
    }
    add("LongPath", path(300));
    add("LongCycle", cycle(301));
    add("Disconnected", disjoint({cycle(30), path(41), complete(7), {9, {}}}));
    add("EqualParts", disjoint({complete(12), complete(12), complete(12), complete(12)}));
    add("Clustered", diagonalOf(80, [](int i) { return i < 10 ? 1.0 + 1e-9 * i : 1e-2 * i; }));
    add("TightlyClustered", diagonalOf(80, [](int i) { return i < 10 ? 1.0 + 1e-14 * i : 0.5; }));
    add("OneLarge", diagonalOf(80, [](int i) { return i == 40 ? 1e8 : 1.0 / (1.0 + i); }));
    add("RankOne", tripletsOf(50, [](int, int) { return 1.0; }));
    add("Graded", diagonalOf(60, [](int i) { return std::pow(10.0, -i / 3.0); }));
    return cases;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Each, HardCases, testing::ValuesIn(hardCases()),
                         [](const auto &hard) { return hard.param.name; });

TEST_P(HardCases, EndWithOrthonormalPairs)
{
    const Triplets &A = GetParam().A;
    for (const NamedSolver &solver : solvers)
        for (const std::int32_t k : {1, 2, 3, 8, A.n - 3, A.n - 2, A.n - 1, A.n}) {
            if (k < 1 || k > A.n)
                continue;
            SCOPED_TRACE(std::string(solver.name) + ", k = " + std::to_string(k));
            const Pairs pairs = solver.solve(A, k, tight, 1);
            expectPairs(A, k, pairs);
            expectEigenvalues(A, pairs);
        }
}

TEST(Qeig, FindsAllCopiesWhereTheBasisCannotGrowByProducts)
{
    const Triplets A = diagonalOf(60, [](int i) { return i < 4 ? 2.0 : i < 9 ? 1.0 : 0.0; });
    for (const NamedSolver &solver : solvers) {
        const Pairs pairs = solver.solve(A, 8, tight, 1);
        expectPairs(A, 8, pairs);
        for (int r = 0; r < 8; ++r)
            EXPECT_NEAR(pairs.values(0, r), r < 4 ? 2.0 : 1.0, 1e-12) << solver.name << ' ' << r;
    }
}

// A basis that breaks down holds a copy of a multiple value for each vector that it began from, and
// may have room for fewer than are wanted.
TEST(Qeig, FindsAllCopiesWhereTheBasisBreaksDown)
{
    for (const int copies : {2, 3, 4, 5})
        for (const int distinct : {3, 5, 8, 11, 14})
            for (const int k : {1, 3, 6, 8})
                for (const unsigned seed : {1u, 2u, 3u}) {
                    const int n = copies * distinct;
                    if (n < k + 3)
                        continue;
                    const Triplets A =
                        diagonalOf(n, [distinct](int i) { return 1.0 + i % distinct; });
                    const Pairs pairs = solvers[seed % 2].solve(A, k, {}, seed);
                    ASSERT_EQ(pairs.status, KMATH_OK);
                    for (int r = 0; r < k; ++r)
                        EXPECT_NEAR(pairs.values(0, r), distinct - r / copies, 1e-8)
                            << n << " = " << copies << " * " << distinct << ", k " << k << ", row "
                            << r << ", seed " << seed;
                }
}

TEST(Qeig, SolvesEveryOrderAndCount)
{
    for (std::int32_t n = 1; n <= 26; ++n) {
        const Triplets A = randomTriplets(n, static_cast<std::uint64_t>(n));
        const std::vector<double> all = directValues(A);
        for (std::int32_t k = 1; k <= n; ++k)
            for (const NamedSolver &solver : solvers) {
                SCOPED_TRACE(std::string(solver.name) + ", n = " + std::to_string(n) +
                             ", k = " + std::to_string(k));
                const Pairs pairs = solver.solve(A, k, tight, 1);
                expectPairs(A, k, pairs);
                for (std::int32_t r = 0; r < k; ++r)
                    EXPECT_NEAR(pairs.values(0, r), all[static_cast<std::size_t>(r)], 1e-9 * n);
            }
    }
}

TEST(Qeig, TakesTheDirectMethodWhereTheIterationHasNoRoom)
{
    for (const auto &[n, k] : {std::pair{1, 1}, {2, 1}, {2, 2}, {3, 2}, {3, 3}, {40, 39}, {40, 40}})
        for (const NamedSolver &solver : solvers) {
            const int before = numbersDrawn;
            expectPairs(cycle(n), k, solver.solve(cycle(n), k, {}, 1), 1e-14);
            EXPECT_EQ(numbersDrawn, before) << n << ' ' << k;
        }
    const int before = numbersDrawn;
    solveDense(randomTriplets(40, 1), 38);
    EXPECT_GE(numbersDrawn, before + 40);
}

TEST(Qeig, GivesAxesOfADiagonalMatrixDirectly)
{
    const Pairs pairs = solveDense(Matrix{{-3.0, 0.0}, {0.0, 5.0}}, 2);
    EXPECT_TRUE(sameBits(pairs.values, Matrix{{5.0, -3.0}}));
    EXPECT_TRUE(sameBits(pairs.vectors, Matrix{{0.0, 1.0}, {1.0, 0.0}}));
}

// Arguments.

TEST(Qeig, RefusesCountsAndShapesWithoutASolution)
{
    for (const NamedSolver &solver : solvers) {
        for (const std::int32_t k : {INT_MIN, -1, 0, 6, INT_MAX})
            EXPECT_EQ(solver.solve(path(5), k, {}, 1).status, KMATH_ERR_FAILED) << k;
        for (const std::int32_t k : {-1, 0, 1})
            EXPECT_EQ(solver.solve({0, {}}, k, {}, 1).status, KMATH_ERR_FAILED) << k;
    }
    EXPECT_EQ(solveDense(randomMatrix(5, 4), 1).status, KMATH_ERR_FAILED);
    EXPECT_EQ(solveDense(randomMatrix(40, 41), 1).status, KMATH_ERR_FAILED);

    const Sparse S(40, 41, {{0, 0, 1.0}});
    Pairs pairs;
    EXPECT_EQ(kmath_snmmatrix_qeigS(&S, 1, -1, &pairs.vectors, &pairs.values, 0.0, 0.0, -1),
              KMATH_ERR_FAILED);
}

TEST(Qeig, EndsForAnyBasisLimitAndTolerance)
{
    const Triplets A = randomTriplets(30, 8);
    for (const NamedSolver &solver : solvers)
        for (const int p : {INT_MIN, -1, 0, 1, 2, 4, 6, 7, 25, 29, 30, 31, 99, INT_MAX})
            for (const int maxIter : {INT_MIN, 0, 1, 5})
                for (const double tol : {notANumber, -infinity, 0.0, 1e-300, 1.0, infinity})
                    for (const double stagTol : {notANumber, 0.0, infinity}) {
                        const Pairs pairs = solver.solve(A, 3, {p, tol, stagTol, maxIter}, 1);
                        ASSERT_EQ(pairs.status, KMATH_OK);
                        ASSERT_LE(orthogonalityError(pairs.vectors), 1e-10);
                    }
}

TEST(Qeig, TakesTheLargestBasisAndLimit)
{
    const Triplets A = randomTriplets(30, 8);
    for (const NamedSolver &solver : solvers)
        for (const std::int32_t p : {-1, INT_MAX})
            expectPairs(A, 3, solver.solve(A, 3, {p, 1e-10, 1e-13, INT_MAX}, 1));
}

TEST(Qeig, RefusesOneRecordForTwo)
{
    // 30 × 30 is solved by iteration for 3 pairs, directly for 30.
    const Sparse S(30, 30, path(30).entries);
    for (const std::int32_t k : {1, 3, 30}) {
        Matrix A = randomSymmetric(30, 1), X{{1.0, 2.0}};
        const Matrix before = A;
        const auto solve = [&](kmath_nmmatrix *vectors, kmath_nmmatrix *values) {
            return kmath_nmmatrix_qeig(&A, k, -1, vectors, values, 0.0, 0.0, -1);
        };
        EXPECT_EQ(solve(&A, &X), KMATH_ERR_ALIASED);
        EXPECT_EQ(solve(&X, &A), KMATH_ERR_ALIASED);
        EXPECT_EQ(solve(&A, &A), KMATH_ERR_ALIASED);
        EXPECT_EQ(solve(&X, &X), KMATH_ERR_ALIASED);
        EXPECT_EQ(kmath_snmmatrix_qeigS(&S, k, -1, &X, &X, 0.0, 0.0, -1), KMATH_ERR_ALIASED);
        EXPECT_EQ(kmath_snmmatrix_qeigS(&S, 31, -1, &X, &X, 0.0, 0.0, -1), KMATH_ERR_FAILED);
        EXPECT_TRUE(sameBits(A, before));
        EXPECT_TRUE(sameBits(X, Matrix{{1.0, 2.0}}));
    }
}

TEST(Qeig, KeepsToATolerance)
{
    const Triplets A = path(300);
    for (const double tol : {1e-3, 1e-6, 1e-9, 1e-12}) {
        const Pairs pairs = solveSparse(A, 2, {-1, tol, 1e-15, 3000});
        expectPairs(A, 2, pairs, tol);
        EXPECT_NEAR(pairs.values(0, 0), 2.0 * std::cos(std::numbers::pi / 301.0), 20.0 * tol);
    }
}

TEST(Qeig, ReplacesWhatTheOutputsHeld)
{
    const Triplets triplets = randomTriplets(30, 2);
    Matrix A;
    ASSERT_EQ(triplets.toDense(*&A), KMATH_OK);
    const Matrix before = A;
    const Pairs fresh = solveDense(A, 3);
    Pairs used;
    used.vectors =
        build(21, 30, [](int, int) { return notANumber; }); // already the shape of the basis
    used.values = build(1, 3, [](int, int) { return notANumber; });
    std::srand(1);
    ASSERT_EQ(kmath_nmmatrix_qeig(&A, 3, -1, &used.vectors, &used.values, 0.0, 0.0, -1), KMATH_OK);
    EXPECT_TRUE(sameBits(used.vectors, fresh.vectors));
    EXPECT_TRUE(sameBits(used.values, fresh.values));
    EXPECT_TRUE(sameBits(A, before));
}

TEST(Qeig, DependsOnTheGeneratorWithinTheTolerance)
{
    const Triplets A = randomTriplets(100, 4);
    const Pairs one = solveDense(A, 4, tight, 1);
    const Pairs again = solveDense(A, 4, tight, 1);
    const Pairs other = solveDense(A, 4, tight, 2);
    EXPECT_TRUE(sameBits(one.vectors, again.vectors));
    EXPECT_FALSE(sameBits(one.vectors, other.vectors));
    for (int r = 0; r < 4; ++r)
        EXPECT_NEAR(one.values(0, r), other.values(0, r), 1e-12 * A.infinityNorm());
}

TEST(Qeig, GivesTheSameBitsDenseAndSparseWithoutNegativeEntries)
{
    for (const SparseProblem &problem : readSparseProblems(SPARSE_FOLDER)) {
        if (problem.symbol != 'N')
            continue;
        const Pairs dense = solveDense(problem.matrix, 3, {}, 7);
        const Pairs sparse = solveSparse(problem.matrix, 3, {}, 7);
        EXPECT_TRUE(sameBits(dense.values, sparse.values)) << problem.title();
        EXPECT_TRUE(sameBits(dense.vectors, sparse.vectors)) << problem.title();
    }
}

TEST(Qeig, AddsRepeatedEntries)
{
    const Triplets once = randomTriplets(30, 6);
    Triplets halves = scaled(once, 0.5);
    halves.entries.insert(halves.entries.end(), halves.entries.begin(), halves.entries.end());
    for (const std::int32_t k : {3, 30}) {
        const Pairs expected = solveSparse(once, k, tight);
        const Pairs found = solveSparse(halves, k, tight);
        for (std::int32_t r = 0; r < k; ++r)
            EXPECT_NEAR(found.values(0, r), expected.values(0, r), 1e-12);
    }
}

// Norms and scales.

TEST(Qeig, RunsToTheLimitUnderASignedNormOfZero)
{
    const SparseProblem karate = readSparseProblems(SPARSE_FOLDER)[6];
    ASSERT_EQ(karate.title(), "karate L");
    Pairs pairs;
    const LanczosPlan plan = planLanczos(karate.matrix.n, 3, -1, 1e-10, 1e-13, 50);
    const int finite = count(karate.matrix, plan, pairs).products;
    const int zero = count(karate.matrix, plan, pairs, 0.0).products;
    expectPairs(karate.matrix, 3, pairs);
    EXPECT_LT(finite, 40);
    EXPECT_GE(zero, 20 + 49 * 5);
}

TEST(Qeig, KeepsItsDigitsAtEveryScale)
{
    const Triplets A = randomTriplets(50, 9);
    const std::vector<double> all = directValues(A);
    for (const double scale : {1e-290, 1e-200, 1e-150, 1e-20, 1e20, 1e150, 1e200, 1e290})
        for (const NamedSolver &solver : solvers) {
            const Pairs pairs = solver.solve(scaled(A, scale), 4, tight, 1);
            ASSERT_EQ(pairs.status, KMATH_OK) << scale;
            EXPECT_LE(orthogonalityError(pairs.vectors), 1e-10) << scale;
            for (int r = 0; r < 4; ++r)
                EXPECT_NEAR(pairs.values(0, r) / scale, all[static_cast<std::size_t>(r)], 1e-9)
                    << solver.name << ' ' << scale;
        }
}

TEST(Qeig, SolvesHardCasesAtEveryScale)
{
    for (const HardCase &hard : hardCases()) {
        SCOPED_TRACE(hard.name);
        const double largest = directValues(hard.A).front();
        for (const double scale : {1e-250, 1e-200, 1e200, 1e280})
            for (const NamedSolver &solver : solvers)
                for (const std::int32_t k : {1, 3}) {
                    const Triplets A = scaled(hard.A, scale);
                    const Pairs pairs = solver.solve(A, k, {-1, 1e-10, 1e-13, 30}, 1);
                    ASSERT_EQ(pairs.status, KMATH_OK) << solver.name << ' ' << scale << ' ' << k;
                    EXPECT_LE(orthogonalityError(pairs.vectors), 1e-10) << scale;
                    EXPECT_NEAR(pairs.values(0, 0) / scale, largest,
                                1e-3 * hard.A.infinityNorm()) // after 30 passes
                        << solver.name << ' ' << scale << ' ' << k;
                }
    }
}

// Failures.

TEST(Qeig, FailsWithoutAStartVector)
{
    const ConstantGenerator constant(5000); // 0.5 − 0.5
    for (const NamedSolver &solver : solvers)
        EXPECT_EQ(solver.solve(path(30), 3, {}, 1).status, KMATH_ERR_FAILED);
}

TEST(Qeig, FailsWhenNoVectorIsLeftToGoOnWith)
{
    // A constant start spans an invariant space, and every vector drawn after it lies in there.
    const ConstantGenerator constant(0);
    for (const NamedSolver &solver : solvers)
        EXPECT_EQ(solver.solve(cycle(30), 3, {}, 1).status, KMATH_ERR_FAILED);
    const Pairs pairs = solveDense(randomTriplets(30, 1), 3, tight);
    expectPairs(randomTriplets(30, 1), 3, pairs); // a start like any other
}

TEST(Qeig, FindsNoPairsOfAMatrixThatIsNotFinite)
{
    for (const double bad : {notANumber, infinity, -infinity})
        for (const std::int32_t n : {2, 3, 5, 30, 200})
            for (const std::int32_t k : {1, n - 2, n - 1, n}) {
                if (k < 1)
                    continue;
                for (const NamedSolver &solver : solvers) {
                    Triplets A = path(n);
                    A.entries.push_back({n - 1, 0, bad});
                    A.entries.push_back({0, n - 1, bad});
                    EXPECT_EQ(solver.solve(A, k, {-1, 0.0, 0.0, INT_MAX}, 1).status,
                              KMATH_ERR_SINGULAR)
                        << bad << ' ' << n << ' ' << k << solver.name;
                }
            }
}

TEST(Qeig, FindsNoPairsOfADiagonalMatrixThatIsNotFinite)
{
    for (const double bad : {notANumber, infinity, -infinity})
        for (const std::int32_t n : {1, 2, 3, 30})
            for (std::int32_t k = 1; k <= n; ++k)
                for (const NamedSolver &solver : solvers)
                    EXPECT_EQ(solver.solve({n, {{n - 1, n - 1, bad}}}, k, {}, 1).status,
                              KMATH_ERR_SINGULAR)
                        << bad << ' ' << n << ' ' << k << solver.name;
}

TEST(Qeig, ReturnsTheStatusOfAFailingAllocation)
{
    const Triplets triplets = randomTriplets(40, 1);
    const Sparse S(triplets.n, triplets.n, triplets.entries);
    Matrix A;
    ASSERT_EQ(triplets.toDense(*&A), KMATH_OK);
    for (const std::int32_t k : {1, 8, 39})
        for (const bool sparse : {false, true})
            sweepAllocationFailures([&] {
                Pairs pairs;
                std::srand(1);
                return sparse ? kmath_snmmatrix_qeigS(&S, k, -1, &pairs.vectors, &pairs.values, 0.0,
                                                      0.0, -1)
                              : kmath_nmmatrix_qeig(&A, k, -1, &pairs.vectors, &pairs.values, 0.0,
                                                    0.0, -1);
            });
}

TEST(Qeig, ReportsAMatrixWithoutStorage)
{
    Matrix A;
    loseStorage(A, 30, 30);
    for (const std::int32_t k : {1, 30})
        EXPECT_EQ(solveDense(A, k).status, KMATH_ERR_NO_MEMORY);
}

TEST(Qeig, TakesASparseMatrixWithoutRowStartsAsZero)
{
    Sparse S;
    ASSERT_EQ(kmath_snmmatrix_resize(&S, 25, 25, 1), KMATH_OK);
    ASSERT_EQ(kmath_snmmatrix_resizeNNZ(&S, 2), KMATH_OK);
    for (const std::int32_t k : {2, 25}) {
        Pairs pairs;
        pairs.status =
            kmath_snmmatrix_qeigS(&S, k, -1, &pairs.vectors, &pairs.values, 0.0, 0.0, -1);
        expectPairs({25, {}}, k, pairs);
    }
}

TEST(Qeig, AssertsItsRecords)
{
    Matrix A = identity(3), X, W;
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_qeig(nullptr, 1, -1, &X, &W, 0.0, 0.0, -1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_qeig(&A, 1, -1, nullptr, &W, 0.0, 0.0, -1); }), 0);
    EXPECT_NE(assertedLine([&] { kmath_nmmatrix_qeig(&A, 1, -1, &X, nullptr, 0.0, 0.0, -1); }), 0);
    const Sparse S(3, 3, path(3).entries);
    EXPECT_NE(assertedLine([&] { kmath_snmmatrix_qeigS(nullptr, 1, -1, &X, &W, 0.0, 0.0, -1); }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_snmmatrix_qeigS(&S, 1, -1, nullptr, &W, 0.0, 0.0, -1); }),
              0);
    EXPECT_NE(assertedLine([&] { kmath_snmmatrix_qeigS(&S, 1, -1, &X, nullptr, 0.0, 0.0, -1); }),
              0);
}
