// Products with the matrix that the largest eigenvalues take, beside those of ARPACK from the same
// start vectors: for the same tolerance, and for the accuracy that ours reached.
//
//   lanczos_benchmark FOLDER    of the matrices
#include <kmath/eigen.h>
#include <kmath/snmmatrix.h>

#include "eigen/lanczos.hpp"
#include "support/sparse_problems.hpp"

#include <arpack/arpack.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <vector>

using support::SparseProblem;
using support::Triplets;

namespace
{

constexpr double tolerance = 1e-10;
constexpr double stagnation = 1e-13;
constexpr unsigned starts = 5;

/// Products counted; residuals are relative to the ∞-norm of the matrix.
struct Count {
    int products = 0;
    int checks = 0; ///< among them those with Ritz vectors
    double residual = 0.0;
    double largest = 0.0; ///< eigenvalue
};

struct CountingOperator {
    const kmath_snmmatrix &S;
    double norm;
    Count &count;

    kmath_status multiplyT(const kmath_nmmatrix &X, kmath_nmmatrix &AX) const
    {
        count.products += X.nRows;
        if (X.nRows > 1)
            count.checks += X.nRows;
        return kmath_snmmatrix_multiplyTSMM(&S, &X, &AX);
    }
    kmath_status rowNorm(double &result) const
    {
        result = norm;
        return KMATH_OK;
    }
};

double residual(const Triplets &A, double theta, const double *x)
{
    const std::vector<double> Ax = A.times(x);
    double sum = 0.0;
    for (std::size_t i = 0; i < Ax.size(); ++i)
        sum += (Ax[i] - theta * x[i]) * (Ax[i] - theta * x[i]);
    return std::sqrt(sum) / A.infinityNorm();
}

Count ours(const Triplets &A, std::int32_t k, unsigned start)
{
    kmath_snmmatrix S;
    kmath_nmmatrix vectors, values;
    kmath_snmmatrix_construct(&S);
    kmath_nmmatrix_construct(&vectors);
    kmath_nmmatrix_construct(&values);
    std::vector<kmath_snmmatrix_element> entries = A.entries;
    kmath_status status = kmath_snmmatrix_setElements(&S, A.n, A.n, entries.data(),
                                                      static_cast<std::int32_t>(entries.size()));
    Count count;
    std::srand(start);
    if (!KMATH_IS_FAILURE(status))
        status = kmath::leadingEigenpairs(CountingOperator{S, A.infinityNorm(), count},
                                          kmath::planLanczos(A.n, k, -1, tolerance, stagnation, -1),
                                          vectors, values);
    for (std::int32_t r = 0; r < vectors.nRows && !KMATH_IS_FAILURE(status); ++r)
        count.residual = std::max(count.residual, residual(A, values.rows[0][r], vectors.rows[r]));
    count.largest = KMATH_IS_FAILURE(status) ? 0.0 : values.rows[0][0];
    kmath_nmmatrix_destruct(&values);
    kmath_nmmatrix_destruct(&vectors);
    kmath_snmmatrix_destruct(&S);
    if (KMATH_IS_FAILURE(status))
        throw std::runtime_error("the library returned " + std::to_string(status));
    return count;
}

// dsaupd by reverse communication from the same start vector, with a basis of the same size.
Count arpacks(const Triplets &A, std::int32_t k, double tol, unsigned start)
{
    const int n = A.n, p = kmath::planLanczos(n, k, -1, 0.0, 0.0, -1).p;
    const auto size = [](int count) { return static_cast<std::size_t>(count); };
    std::vector<double> v(size(n)), V(size(n) * size(p)), work(3 * size(n)), d(size(k)),
        Z(size(n) * size(k)), projection(size(p) * size(p + 8));
    std::srand(start);
    for (double &x : v)
        x = (std::rand() % 10000) / 10000.0 - 0.5;

    int parameters[11] = {1, 0, 3000, 1, 0, 0, 1, 0, 0, 0, 0};
    int pointers[14] = {};
    int task = 0, info = 1;
    Count count;
    for (;;) {
        dsaupd_c(&task, "I", n, "LA", k, tol, v.data(), p, V.data(), n, parameters, pointers,
                 work.data(), projection.data(), static_cast<int>(projection.size()), &info);
        if (task != 1 && task != -1)
            break;
        const std::vector<double> Ax = A.times(&work[size(pointers[0] - 1)]);
        std::copy(Ax.begin(), Ax.end(), &work[size(pointers[1] - 1)]);
        ++count.products;
    }
    std::vector<int> select(size(p));
    int failed = 0;
    dseupd_c(1, "A", select.data(), d.data(), Z.data(), n, 0.0, "I", n, "LA", k, tol, v.data(), p,
             V.data(), n, parameters, pointers, work.data(), projection.data(),
             static_cast<int>(projection.size()), &failed);
    if (info != 0 || failed != 0)
        throw std::runtime_error("ARPACK returned " + std::to_string(info));
    for (int r = 0; r < k; ++r)
        count.residual = std::max(count.residual, residual(A, d[size(r)], &Z[size(n) * size(r)]));
    return count;
}

void compare(const SparseProblem &problem, std::int32_t k)
{
    const Triplets &A = problem.matrix;
    Count mine, same, reached;
    for (unsigned start = 1; start <= starts; ++start) {
        const Count own = ours(A, k, start);
        // What ARPACK takes as relative to each value. Rounding does not allow less.
        const double tol = std::max(own.residual * A.infinityNorm() / own.largest, 1e-15);
        const Count other = arpacks(A, k, tolerance, start);
        mine.products += own.products;
        mine.checks += own.checks;
        mine.residual = std::max(mine.residual, own.residual);
        same.products += other.products;
        same.residual = std::max(same.residual, other.residual);
        reached.products += arpacks(A, k, tol, start).products;
    }
    const auto mean = [](int sum) { return static_cast<double>(sum) / starts; };
    std::printf("| %s | %d | %.0f (%.0f) | %.0e | %.0f | %.0e | %.0f | %.2f |\n",
                problem.title().c_str(), k, mean(mine.products), mean(mine.checks), mine.residual,
                mean(same.products), same.residual, mean(reached.products),
                static_cast<double>(mine.products) / reached.products);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        std::puts("| problem | k | products (checks) | residual | ARPACK, same tol | residual | "
                  "ARPACK, same residual | ratio |\n"
                  "| --- | --- | --- | --- | --- | --- | --- | --- |");
        for (const SparseProblem &problem :
             support::readSparseProblems(argc > 1 ? argv[1] : SPARSE_FOLDER))
            for (const std::int32_t k : {1, 3, 8})
                compare(problem, k);
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "lanczos_benchmark: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
