// Measures what the iterative eigen-solvers give for published problems and prints it as tables in
// Markdown, one row a problem.
//
//   eigenpair_accuracy [STARTS]    start vectors a row
//
// Fails when a row breaks the limit that the tolerance sets.
#include "accuracy/report.hpp"
#include "support/sparse_problems.hpp"

#include <kmath/eigen.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>

using namespace accuracy;
using support::SparseProblem;

namespace
{

constexpr std::int32_t pairs = 3;

struct Settings {
    double tol, stagTol;
    std::int32_t maxIter;
};

/// Errors of the leading pairs, relative to the value or to the norm of the matrix.
struct Measured {
    Errors value, residual, orthogonality;
};

class Workspace
{
  public:
    explicit Workspace(const SparseProblem &sparseProblem) : problem(sparseProblem)
    {
        for (kmath_nmmatrix *matrix : {&A, &vectors, &values})
            kmath_nmmatrix_construct(matrix);
        kmath_snmmatrix_construct(&S);
        std::vector<kmath_snmmatrix_element> entries = problem.matrix.entries;
        demand(problem.matrix.toDense(A));
        demand(kmath_snmmatrix_setElements(&S, problem.matrix.n, problem.matrix.n, entries.data(),
                                           static_cast<std::int32_t>(entries.size())));
        exact = problem.name == "gr_30_30" ? support::gridEigenvalues() : problem.leading;
    }
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;
    ~Workspace()
    {
        for (kmath_nmmatrix *matrix : {&A, &vectors, &values})
            kmath_nmmatrix_destruct(matrix);
        kmath_snmmatrix_destruct(&S);
    }

    Measured dense(const Settings &s, int starts)
    {
        return measure(starts, [&] {
            return kmath_nmmatrix_qeig(&A, pairs, -1, &vectors, &values, s.tol, s.stagTol,
                                       s.maxIter);
        });
    }
    Measured sparse(const Settings &s, int starts)
    {
        return measure(starts, [&] {
            return kmath_snmmatrix_qeigS(&S, pairs, -1, &vectors, &values, s.tol, s.stagTol,
                                         s.maxIter);
        });
    }

  private:
    template <class Solve> Measured measure(int starts, const Solve &solve)
    {
        Measured measured;
        for (int start = 1; start <= starts; ++start) {
            std::srand(static_cast<unsigned>(start));
            demand(solve());
            for (std::int32_t r = 0; r < pairs; ++r)
                add(r, measured);
        }
        return measured;
    }

    // Against the nearest eigenvalue, as the grid's are double and one copy may be skipped.
    void add(std::int32_t r, Measured &measured) const
    {
        const double theta = values.rows[0][r];
        const double *x = vectors.rows[r];
        const std::int32_t n = problem.matrix.n;
        double nearest = std::numeric_limits<double>::infinity();
        for (const double lambda : exact)
            nearest = std::min(nearest, std::fabs(theta - lambda));
        measured.value.add(nearest / std::fabs(theta));

        const std::vector<double> Ax = problem.matrix.times(x);
        double sum = 0.0;
        for (std::int32_t i = 0; i < n; ++i) {
            const double difference = Ax[static_cast<std::size_t>(i)] - theta * x[i];
            sum += difference * difference;
        }
        measured.residual.add(std::sqrt(sum) / problem.matrix.infinityNorm());

        for (std::int32_t s = 0; s <= r; ++s) {
            double dot = s == r ? -1.0 : 0.0;
            for (std::int32_t i = 0; i < n; ++i)
                dot += vectors.rows[s][i] * x[i];
            measured.orthogonality.add(std::fabs(dot));
        }
    }

    const SparseProblem &problem;
    std::vector<double> exact;
    kmath_nmmatrix A, vectors, values;
    kmath_snmmatrix S;
};

bool table(const char *name, const Settings &settings, double limit, int starts)
{
    Table table(name, {{"problem"},
                       {"n"},
                       {"dense: value", limit},
                       {"residual", limit},
                       {"VᵀV − I, ε", 100.0},
                       {"sparse: value", limit},
                       {"residual", limit},
                       {"VᵀV − I, ε", 100.0}});
    for (const SparseProblem &problem : support::readSparseProblems(SPARSE_FOLDER)) {
        Workspace work(problem);
        const Measured dense = work.dense(settings, starts);
        const Measured sparse = work.sparse(settings, starts);
        table.row({problem.title(), std::to_string(problem.matrix.n), dense.value.largest(),
                   dense.residual.largest(), dense.orthogonality.largest() / epsilon,
                   sparse.value.largest(), sparse.residual.largest(),
                   sparse.orthogonality.largest() / epsilon});
    }
    return table.finish();
}

} // namespace

int main(int argc, char **argv)
{
    const int starts = argc > 1 ? std::atoi(argv[1]) : 10;
    if (starts <= 0) {
        std::fputs("usage: eigenpair_accuracy [STARTS]\n", stderr);
        return EXIT_FAILURE;
    }
    try {
        const bool kept[] = {table("eigenpairs: defaults", {0.0, 0.0, -1}, 1e-9, starts),
                             table("eigenpairs: for clustering", {1e-6, 1e-10, 300}, 1e-5, starts)};
        return kept[0] && kept[1] ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "eigenpair_accuracy: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
