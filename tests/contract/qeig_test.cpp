// The restarted Lanczos solver seen from outside, dense and sparse: residuals and LAPACK's values
// on hard spectra, every default, the numbers it draws, the orders without room, refusals.
#include "contract/textbook_sparse.hpp"
#include "support/services.hpp"

#include <kmath/eigen.h>

#include <dlfcn.h>
#include <lapacke.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <string>

namespace
{

/// What the generator answers while a test has a script for it: draw number to value.
const std::function<int(long)> *script = nullptr;
long draws = 0;

} // namespace

// The C library's generator, with its draws counted and, where a test wants it, another answer.
extern "C" int rand() noexcept
{
    static const auto genuine = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "rand"));
    const long number = draws++;
    return script ? (*script)(number) : genuine();
}

namespace
{

using support::build;
using support::Matrix;
using support::randomMatrix;
using support::randomSymmetric;
using support::sameBits;
using textbook::Sparse;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();

static_assert(offsetof(kmath_nmmatrix_eigValId, eigVal) == 0);
static_assert(offsetof(kmath_nmmatrix_eigValId, id) == 8);

struct Options {
    int p = -1;
    double tol = 1e-10, stagTol = 1e-13;
    int maxIter = -1;
};

struct Pairs {
    kmath_status status = KMATH_OK;
    Matrix vectors, values;
    long draws = 0;
};

enum class Solver { Dense, Sparse };

/// From a generator that begins at the same place each time.
Pairs solve(Solver solver, const Matrix &A, int k, const Options &o = {}, unsigned seed = 1)
{
    Pairs r;
    r.vectors = randomMatrix(2, 3);
    r.values = randomMatrix(3, 2);
    const Matrix was = A;
    std::srand(seed);
    draws = 0;
    if (solver == Solver::Dense) {
        r.status =
            kmath_nmmatrix_qeig(&A, k, o.p, &r.vectors, &r.values, o.tol, o.stagTol, o.maxIter);
    } else {
        const Sparse S(A);
        r.status =
            kmath_snmmatrix_qeigS(&S, k, o.p, &r.vectors, &r.values, o.tol, o.stagTol, o.maxIter);
    }
    r.draws = draws;
    EXPECT_TRUE(sameBits(A, was));
    return r;
}

bool sameBits(const Pairs &a, const Pairs &b)
{
    return a.status == b.status && sameBits(a.vectors, b.vectors) && sameBits(a.values, b.values);
}

double infinityNorm(const Matrix &A) { return support::oneNorm(textbook::transposed(A)); }

/// LAPACK's eigenvalues, largest first.
std::vector<double> spectrum(const Matrix &A)
{
    const auto n = static_cast<std::size_t>(A.rows());
    std::vector<double> a(A->rows[0], A->rows[0] + n * n), w(n);
    EXPECT_EQ(LAPACKE_dsyev(LAPACK_ROW_MAJOR, 'N', 'U', A.rows(), a.data(), A.rows(), w.data()), 0);
    std::reverse(w.begin(), w.end());
    return w;
}

/// Shapes, order, residuals, orthonormal rows, and values that are eigenvalues, the largest first.
void expectPairs(const Matrix &A, int k, const Pairs &r, double accuracy, bool allCopies)
{
    ASSERT_EQ(r.status, KMATH_OK);
    const int n = A.rows();
    ASSERT_EQ(r.vectors.rows(), k);
    ASSERT_EQ(r.vectors.cols(), n);
    ASSERT_EQ(r.values.rows(), 1);
    ASSERT_EQ(r.values.cols(), k);
    const double bound = std::max(accuracy * infinityNorm(A), 1e-300);
    const Matrix AX = textbook::timesTransposed(r.vectors, A),
                 gram = textbook::timesTransposed(r.vectors, r.vectors);
    const std::vector<double> all = spectrum(A);
    for (int i = 0; i < k; ++i) {
        const double value = r.values(0, i);
        double residual = 0.0;
        for (int j = 0; j < n; ++j)
            residual += std::pow(AX(i, j) - value * r.vectors(i, j), 2);
        EXPECT_LE(std::sqrt(residual), bound) << "pair " << i;
        for (int j = 0; j < k; ++j)
            EXPECT_NEAR(gram(i, j), i == j, 1e-10) << i << ' ' << j;
        if (i > 0) {
            EXPECT_LE(value, r.values(0, i - 1));
        }
        double distance = inf;
        for (const double lambda : all)
            distance = std::min(distance, std::fabs(lambda - value));
        EXPECT_LE(distance, bound) << "value " << i;
        if (i == 0 || allCopies) {
            EXPECT_NEAR(value, all[static_cast<std::size_t>(i)], bound);
        }
    }
}

Matrix laplacian(int n, const std::function<bool(int, int)> &joined)
{
    Matrix L = build(n, n, [&](int i, int j) { return i != j && joined(i, j) ? -1.0 : 0.0; });
    for (int i = 0; i < n; ++i) {
        double degree = 0.0;
        for (int j = 0; j < n; ++j)
            degree -= L(i, j);
        L(i, i) = degree;
    }
    return L;
}

Matrix diagonalOf(int n, const std::function<double(int)> &element)
{
    return build(n, n, [&](int i, int j) { return i == j ? element(i) : 0.0; });
}

/// H·diag(d)·H for a reflection H, so that no coordinate is an eigenvector.
Matrix reflected(const Matrix &D)
{
    const int n = D.rows();
    const Matrix v = randomMatrix(n, 1, 77);
    const double norm2 = textbook::sumOfSquares(v);
    const Matrix H =
        build(n, n, [&](int i, int j) { return (i == j) - 2 * v(i, 0) * v(j, 0) / norm2; });
    const Matrix A = textbook::product(textbook::product(H, D), H);
    return build(n, n, [&](int i, int j) { return 0.5 * (A(i, j) + A(j, i)); });
}

bool neighbours(int i, int j) { return std::abs(i - j) == 1; }

struct Problem {
    const char *name;
    Matrix (*matrix)(int n);
    int copies; ///< order up to which the k largest come with all their copies: where each value
                ///< is simple, or few are distinct and the Krylov space breaks down soon
};

const Problem problems[] = {
    {"Identity", [](int n) { return support::identity(n); }, most},
    {"Zero", [](int n) { return Matrix(n, n); }, most},
    {"Ones", [](int n) { return build(n, n, [](int, int) { return 1.0; }); }, most},
    {"Random", [](int n) { return randomSymmetric(n, 3); }, most},
    {"Rising", [](int n) { return diagonalOf(n, [](int i) { return i + 1.0; }); }, most},
    {"Graded",
     [](int n) { return reflected(diagonalOf(n, [](int i) { return std::pow(0.7, i); })); }, most},
    {"NegativeDefinite",
     [](int n) { return reflected(diagonalOf(n, [](int i) { return -1.0 - i; })); }, most},
    {"FewValues",
     [](int n) {
         return diagonalOf(n, [](int i) {
             return i % 14 < 2 ? 4.0 : i % 14 < 5 ? 3.0 : i % 14 < 9 ? -1.0 : 7.0;
         });
     },
     24},
    {"Pairs", [](int n) { return reflected(diagonalOf(n, [](int i) { return i / 2 - 3.0; })); }, 0},
    {"Clustered",
     [](int n) { return reflected(diagonalOf(n, [](int i) { return i % 3 + 1e-7 * i; })); }, 0},
    {"Path", [](int n) { return laplacian(n, neighbours); }, most},
    {"Cycle",
     [](int n) {
         static int order;
         order = n;
         return laplacian(
             n, [](int i, int j) { return neighbours(i, j) || std::abs(i - j) == order - 1; });
     },
     0},
    {"Star", [](int n) { return laplacian(n, [](int i, int j) { return i == 0 || j == 0; }); },
     most},
    {"Disconnected",
     [](int n) { return laplacian(n, [](int i, int j) { return i / 5 == j / 5; }); }, most},
    {"PathAdjacency",
     [](int n) { return build(n, n, [](int i, int j) { return neighbours(i, j) ? 1.0 : 0.0; }); },
     most},
};

std::ostream &operator<<(std::ostream &out, const Problem &problem) { return out << problem.name; }

class QeigRules : public testing::TestWithParam<Problem>
{
};

TEST_P(QeigRules, EveryPairHoldsToTheTolerance)
{
    for (const int n : {1, 2, 3, 4, 5, 6, 7, 9, 13, 21, 24, 40, 100}) {
        const Matrix A = GetParam().matrix(n);
        for (const int k : {1, 3, 8, n / 2, n - 3, n - 2, n - 1, n}) {
            if (k < 1 || k > n || (n == 100 && k > 50))
                continue;
            for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
                SCOPED_TRACE(testing::Message()
                             << n << ", k = " << k
                             << (solver == Solver::Dense ? " dense" : " sparse"));
                expectPairs(A, k, solve(solver, A, k), 1e-9, n <= GetParam().copies);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, QeigRules, testing::ValuesIn(problems),
                         [](const auto &i) { return std::string(i.param.name); });

TEST(QeigRule, DirectOrdersGiveEveryCopy)
{
    for (const int n : {1, 2, 3, 4, 9, 30})
        for (const auto *name : {"Pairs", "Cycle", "Disconnected"})
            for (const Problem &problem : problems)
                if (std::string(problem.name) == name) {
                    const Matrix A = problem.matrix(n);
                    for (const int k : {n - 1, n})
                        if (k > 0)
                            for (const Solver solver : {Solver::Dense, Solver::Sparse})
                                expectPairs(A, k, solve(solver, A, k), 1e-12, true);
                }
}

TEST(QeigRule, LargeGraphsConvergeInTheirOwnPasses)
{
    const Matrix A = build(300, 300, [](int i, int j) {
        return 1.0 / (1.0 + 0.3 * std::abs(i - j)) + (i == j ? 0.01 * (i % 7) : 0.0);
    });
    for (const int k : {1, 3, 8, 20})
        for (const Solver solver : {Solver::Dense, Solver::Sparse})
            expectPairs(A, k, solve(solver, A, k), 1e-9, true);
}

TEST(QeigRule, BothSolversAgreeFromTheSameGenerator)
{
    const Matrix path = laplacian(150, neighbours), random = randomSymmetric(60, 9),
                 weights = build(80, 80, [](int i, int j) {
                     return (i + j) % 3 ? 0.0 : 1.0 / (1 + std::abs(i - j));
                 });
    for (const Matrix &A : {path, random, weights}) {
        const Pairs a = solve(Solver::Dense, A, 5), b = solve(Solver::Sparse, A, 5);
        ASSERT_EQ(a.status, KMATH_OK);
        ASSERT_EQ(b.status, KMATH_OK);
        for (int i = 0; i < 5; ++i)
            EXPECT_NEAR(a.values(0, i), b.values(0, i), 1e-9 * infinityNorm(A));
    }
    EXPECT_TRUE(sameBits(solve(Solver::Dense, weights, 5), solve(Solver::Sparse, weights, 5)));
}

// Parameters.

TEST(QeigRule, EveryParameterHasItsDefault)
{
    const Matrix A = randomSymmetric(300, 5), small = randomSymmetric(22, 6),
                 wide = randomSymmetric(60, 7);
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        // kk = 5 and max(12, 20) = 20; 300 passes or 600 / 20.
        const Pairs base = solve(solver, A, 3, {-1, 0.0, 0.0, -1});
        ASSERT_EQ(base.status, KMATH_OK);
        for (const Options &same : {Options{20, 1e-10, 1e-6, 300},
                                    {-7, -1.0, -2.0, -9},
                                    {least, nan, nan, least},
                                    {20, -inf, -0.0, 300},
                                    {-1, 1e-10, 0.0, -1},
                                    {-1, 0.0, 1e-6, -1}})
            EXPECT_TRUE(sameBits(base, solve(solver, A, 3, same))) << same.p << ' ' << same.tol;
        EXPECT_FALSE(sameBits(base, solve(solver, A, 3, {21, 0.0, 0.0, -1})));
        EXPECT_FALSE(sameBits(base, solve(solver, A, 3, {-1, 1e-3, 0.0, -1})));
        // kk = 12 and max(26, 20) is not below 22.
        EXPECT_TRUE(sameBits(solve(solver, small, 10), solve(solver, small, 10, {22})));
        // kk = 12 and 26.
        EXPECT_TRUE(sameBits(solve(solver, wide, 10), solve(solver, wide, 10, {26})));
        EXPECT_FALSE(sameBits(solve(solver, wide, 10), solve(solver, wide, 10, {25})));
    }
}

TEST(QeigRule, TheLimitOfPassesGrowsWithTheOrder)
{
    // No row sum is positive, so the sparse residual has no finite size and only the limit ends it.
    const auto path = [](int n) {
        std::vector<textbook::Element> list;
        for (int i = 0; i < n; ++i)
            for (int j = std::max(i - 1, 0); j <= std::min(i + 1, n - 1); ++j)
                list.push_back({i, j, i == j ? -3.0 : 1.0});
        return list;
    };
    const auto run = [&](int n, int k, int p, int maxIter) {
        Sparse S(n, n, path(n));
        Pairs r;
        std::srand(3);
        r.status = kmath_snmmatrix_qeigS(&S, k, p, &r.vectors, &r.values, 1e-10, 1e-13, maxIter);
        EXPECT_EQ(r.status, KMATH_OK);
        return r;
    };
    // 2·1010 / 6 = 336 passes by truncation; 300 at least; and 2·4000 / 20 = 400.
    EXPECT_TRUE(sameBits(run(1010, 1, 6, -1), run(1010, 1, 6, 336)));
    EXPECT_FALSE(sameBits(run(1010, 1, 6, -1), run(1010, 1, 6, 335)));
    EXPECT_FALSE(sameBits(run(1010, 1, 6, -1), run(1010, 1, 6, 337)));
    EXPECT_TRUE(sameBits(run(800, 1, 6, -1), run(800, 1, 6, 300)));
    EXPECT_FALSE(sameBits(run(800, 1, 6, -1), run(800, 1, 6, 301)));
    EXPECT_TRUE(sameBits(run(4000, 3, -1, -1), run(4000, 3, 20, 400)));
}

TEST(QeigRule, TwoPassesAreMadeAndTheLimitIsNoFailure)
{
    const Matrix A = laplacian(200, neighbours);
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        const Pairs two = solve(solver, A, 3, {-1, 1e-12, 1e-14, 2});
        ASSERT_EQ(two.status, KMATH_OK);
        EXPECT_TRUE(sameBits(two, solve(solver, A, 3, {-1, 1e-12, 1e-14, 0})));
        EXPECT_TRUE(sameBits(two, solve(solver, A, 3, {-1, 1e-12, 1e-14, 1})));
        EXPECT_FALSE(sameBits(two, solve(solver, A, 3, {-1, 1e-12, 1e-14, 3})));
        EXPECT_EQ(two.vectors.rows(), 3);
        EXPECT_EQ(two.values.cols(), 3);
        const Matrix gram = textbook::timesTransposed(two.vectors, two.vectors);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(gram(i, i), 1.0, 1e-12);
        EXPECT_GE(two.values(0, 0), two.values(0, 1));
        EXPECT_GE(two.values(0, 1), two.values(0, 2));
    }
    // What has converged before stays for two passes too.
    const Matrix easy = diagonalOf(50, [](int i) { return i < 3 ? 100.0 - i : 0.01 * i; });
    EXPECT_TRUE(sameBits(solve(Solver::Dense, easy, 1, {-1, 1e-2, 1e-1, 2}),
                         solve(Solver::Dense, easy, 1, {-1, 1e-2, 1e-1, -1})));
}

TEST(QeigRule, StandingStillEndsTheIteration)
{
    const Matrix A = laplacian(200, neighbours);
    const Options two = {-1, 1e-300, 1e-13, 2}, still = {-1, 1e-300, 1e9, -1};
    EXPECT_TRUE(sameBits(solve(Solver::Dense, A, 3, still), solve(Solver::Dense, A, 3, two)));
    // Out of reach of any tolerance, values that no longer move end it before the limit.
    const Matrix easy = reflected(diagonalOf(60, [](int i) { return std::pow(0.5, i); }));
    EXPECT_TRUE(sameBits(solve(Solver::Dense, easy, 2, {-1, 1e-300, 1e-2, 200}),
                         solve(Solver::Dense, easy, 2, {-1, 1e-300, 1e-2, 5000})));
}

TEST(QeigRule, ABasisOfAnySizeEndsWell)
{
    const Matrix A = reflected(diagonalOf(50, [](int i) { return std::pow(0.6, i); }));
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        for (const int p : {7, 8, 9, 12, 33, 48, 49, 50, 51, 100, most})
            expectPairs(A, 3, solve(solver, A, 3, {p}), 1e-9, true);
        for (const int p : {0, 1, 2, 3, 4, 5, 6}) { // no room for the 5 pairs that are followed
            const Pairs r = solve(solver, A, 3, {p});
            if (r.status == KMATH_OK) {
                expectPairs(A, 3, r, 1e-9, true);
            }
        }
    }
    EXPECT_EQ(solve(Solver::Dense, A, 3, {-1, 1e-10, 1e-13, most}).status, KMATH_OK);
}

// The generator.

class Scripted
{
  public:
    explicit Scripted(std::function<int(long)> answer) : answers(std::move(answer))
    {
        script = &answers;
    }
    ~Scripted() { script = nullptr; }
    Scripted(const Scripted &) = delete;
    Scripted &operator=(const Scripted &) = delete;

  private:
    std::function<int(long)> answers;
};

TEST(QeigRule, TheStartVectorTakesOneNumberForEachElement)
{
    const Matrix A = randomSymmetric(90, 5);
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        EXPECT_EQ(solve(solver, A, 3).draws, 90);
        const long identity = solve(solver, support::identity(90), 3).draws;
        EXPECT_EQ(identity % 90, 0); // and fresh rows where the space breaks down
        EXPECT_GT(identity, 90);
    }
}

TEST(QeigRule, AStartVectorWithoutLengthFails)
{
    const Scripted halves([](long) { return 5000; });
    for (const Solver solver : {Solver::Dense, Solver::Sparse})
        EXPECT_EQ(solve(solver, randomSymmetric(60, 5), 3).status, KMATH_ERR_FAILED);
}

TEST(QeigRule, TheStartVectorIsTheGeneratorsLessAHalf)
{
    // Element 7 gets no share of the start, so the iteration never sees the largest value there.
    const Matrix A = diagonalOf(60, [](int i) { return i == 7 ? 100.0 : 1.0 + 0.5 * i; });
    for (const Solver solver : {Solver::Dense, Solver::Sparse})
        for (const long blind : {7L, 8L}) {
            const Scripted answers([&](long number) {
                return number == blind ? 25000 : static_cast<int>((number * 7919 + 13) % 9973);
            });
            const Pairs r = solve(solver, A, 1);
            ASSERT_EQ(r.status, KMATH_OK);
            EXPECT_NEAR(r.values(0, 0), blind == 7 ? 30.5 : 100.0, 1e-8);
            EXPECT_EQ(r.draws, 60);
        }
}

TEST(QeigRule, AGeneratorThatStopsEndsPromptly)
{
    // One element to start with, an eigenvector, and nothing to go on with.
    const Matrix A = diagonalOf(40, [](int i) { return 1.0 + i; });
    const Scripted answers([](long number) { return number == 3 ? 5001 : 5000; });
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        const Pairs r = solve(solver, A, 3);
        if (r.status == KMATH_OK) {
            expectPairs(A, 3, r, 1e-9, false);
        }
    }
}

TEST(QeigRule, TheSameGeneratorGivesTheSameBits)
{
    const Matrix A = laplacian(120, neighbours);
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        EXPECT_TRUE(sameBits(solve(solver, A, 4), solve(solver, A, 4)));
        EXPECT_FALSE(sameBits(solve(solver, A, 4), solve(solver, A, 4, {}, 2)));
    }
}

// Refusals and what is not finite.

TEST(QeigRule, WhatHasNoAnswerFails)
{
    const Matrix A = randomSymmetric(30, 8), one = {{2.5}}, none(0, 0);
    for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
        for (const int k : {0, -1, 31, 32, most, least})
            EXPECT_EQ(solve(solver, A, k).status, KMATH_ERR_FAILED) << k;
        for (const int k : {0, 2, -1})
            EXPECT_EQ(solve(solver, one, k).status, KMATH_ERR_FAILED) << k;
        for (const int k : {0, 1, -1})
            EXPECT_EQ(solve(solver, none, k).status, KMATH_ERR_FAILED) << k;
        for (const auto &[rows, cols] :
             {std::pair{30, 31}, {31, 30}, {1, 2}, {2, 1}, {0, 3}, {3, 0}})
            EXPECT_EQ(solve(solver, randomMatrix(rows, cols), 1).status, KMATH_ERR_FAILED);
    }
}

TEST(QeigRule, WhatIsNotFiniteEndsAsSingular)
{
    for (const int n : {2, 5, 30, 60})
        for (const double bad : {nan, inf, -inf})
            for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
                if (solver == Solver::Sparse && std::isnan(bad))
                    continue; // no threshold keeps it
                Matrix A = randomSymmetric(n, 12);
                A(n - 1, 0) = A(0, n - 1) = bad;
                EXPECT_EQ(solve(solver, A, 1).status, KMATH_ERR_SINGULAR) << n << ' ' << bad;
            }
}

TEST(QeigRule, ExtremeMagnitudesEnd)
{
    for (const double scale : {1e-320, 1e-200, 1e-100, 1e100, 1e200, 1e307})
        for (const Solver solver : {Solver::Dense, Solver::Sparse}) {
            Matrix A = randomSymmetric(40, 13);
            kmath_nmmatrix_scale(&A, scale);
            const Pairs r = solve(solver, A, 3);
            if (scale > 1e-150 && scale < 1e150) {
                expectPairs(A, 3, r, 1e-9, true);
            }
        }
}

TEST(QeigRule, EverythingIsGivenBackWhenAnAllocationFails)
{
    for (const int n : {4, 30}) {
        const Matrix A = randomSymmetric(n, 14);
        const Sparse S(A);
        support::sweepAllocationFailures([&] {
            std::srand(1);
            Matrix X, values;
            return kmath_nmmatrix_qeig(&A, 3, -1, &X, &values, 1e-6, 1e-10, 300);
        });
        support::sweepAllocationFailures([&] {
            std::srand(1);
            Matrix X, values;
            return kmath_snmmatrix_qeigS(&S, 3, -1, &X, &values, 1e-6, 1e-10, 300);
        });
    }
}

} // namespace
