// The Lanczos factorization, its small eigenproblem and its restart; all that needs no operator.
#include "eigen/lanczos.hpp"

#include <kmath/sub_block.h>

#include "kernels/kernels.hpp"
#include "kernels/tridiagonal.hpp"

#include <cstdlib>
#include <limits>

using namespace kmath;

namespace
{

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr std::int32_t stripColumns = 64;

// √Σx². A sum that leaves the range of the squares is formed again from scaled elements.
double euclideanNorm(const double *x, std::int32_t n)
{
    double sum = 0.0;
    for (std::int32_t i = 0; i < n; ++i)
        sum += x[i] * x[i];
    if ((sum > 1e-280 && sum < 1e280) || std::isnan(sum))
        return std::sqrt(sum);

    double largest = 0.0;
    for (std::int32_t i = 0; i < n; ++i)
        largest = std::max(largest, std::fabs(x[i]));
    if (largest == 0.0 || std::isinf(largest))
        return largest;
    const int exponent = std::ilogb(largest);
    sum = 0.0;
    for (std::int32_t i = 0; i < n; ++i) {
        const double scaled = std::scalbn(x[i], -exponent);
        sum += scaled * scaled;
    }
    return std::scalbn(std::sqrt(sum), exponent);
}

// Rows from the given one on, as the kernels see them.
Block rowsOf(const kmath_nmmatrix &A, std::int32_t first, std::int32_t count)
{
    return {A.rows + first, count, A.nCols};
}

ConstBlock constRowsOf(const kmath_nmmatrix &A, std::int32_t first, std::int32_t count)
{
    return {A.rows + first, count, A.nCols};
}

int compareValues(const void *left, const void *right)
{
    const double a = static_cast<const kmath_nmmatrix_eigValId *>(left)->eigVal;
    const double b = static_cast<const kmath_nmmatrix_eigValId *>(right)->eigVal;
    const double difference = a - b;
    return !(difference >= 0.0) ? -1 : difference > 0.0 ? 1 : 0;
}

// What the second projection takes away is rounding of the first. A vector that loses half its
// length to it is rounding itself, and its direction worth nothing; a NaN does not show that.
bool collapsed(double once, double twice) { return twice <= 0.5 * once; }

void setToIdentity(kmath_nmmatrix &A)
{
    kmath_nmmatrix_set(&A, 0.0);
    kmath_nmmatrix_adddiag(&A, 1.0);
}

} // namespace

LanczosPlan kmath::planLanczos(std::int32_t n, std::int32_t k, std::int32_t p, double tol,
                               double stagTol, std::int32_t maxIter)
{
    LanczosPlan plan = {n, k, 0, 0, 0, 0, 1e-10, 1e-6, maxIter};
    plan.wanted = k < n - 4 ? k + 2 : n - 2;
    const std::int64_t q = std::max<std::int64_t>(2 * std::int64_t{plan.wanted} + 2, 20);
    if (p < 0)
        p = q < n ? static_cast<std::int32_t>(q) : n;
    plan.p = std::min({std::max(p, plan.wanted + 2), n, INT32_MAX - 1});
    if (tol > 0.0)
        plan.tol = tol;
    if (stagTol > 0.0)
        plan.stagTol = stagTol;
    if (maxIter < 0)
        plan.maxIter = std::max(300, static_cast<std::int32_t>(2 * std::int64_t{n} / plan.p));
    plan.extra = plan.p - plan.wanted - 1;
    plan.last = plan.wanted + plan.extra;
    return plan;
}

std::int32_t kmath::shiftsAfter(const LanczosPlan &plan, std::int32_t converged)
{
    // Until the first pair stands, a third of the extra vectors stay, with what they hold of it.
    // Up to a quarter fewer products are needed than with all of them given up.
    if (converged == 0)
        return plan.extra - plan.extra / 3;
    const std::int32_t least = static_cast<std::int32_t>(std::ceil(plan.extra / 3.0));
    return std::max(least, plan.last - plan.k - converged - 2);
}

void kmath::sortAscending(kmath_nmmatrix_eigValId *records, std::int32_t count)
{
    std::qsort(records, static_cast<std::size_t>(count), sizeof *records, compareValues);
}

kmath_status Lanczos::allocate()
{
    const std::int32_t n = plan.n, p = plan.p;
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&V, p + 1, n));
    RETURN_IF_FAILED(kmath_nmmatrix_set(&V, 0.0));
    for (kmath_nmmatrix *matrix : {&H, &S, &square})
        RETURN_IF_FAILED(kmath_nmmatrix_resize(matrix, p, p));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&theta, 1, p));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&small, 3, p));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&previous, 1, plan.wanted));
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&x, 1, n));
    return kmath_nmmatrix_resize(&strip, p, stripColumns);
}

kmath_status Lanczos::drawRow(double *row)
{
    RETURN_IF_FAILED(kmath_nmmatrix_setRand(&x));
    RETURN_IF_FAILED(kmath_nmmatrix_add(&x, -0.5));
    std::copy_n(x.rows[0], plan.n, row);
    return KMATH_OK;
}

kmath_status Lanczos::start()
{
    double *q = V.rows[0];
    RETURN_IF_FAILED(drawRow(q));
    const double length = euclideanNorm(q, plan.n);
    if (!(length >= epsilon))
        return KMATH_ERR_FAILED;
    kernels().scale(q, plan.n, 1.0 / length);
    return KMATH_OK;
}

// r −= Vᵀ·(V·r) over the first rows of V; the coefficients are those of V·r.
void Lanczos::projectOut(std::int32_t count, double *r, double *coefficients)
{
    const Kernels &kernel = kernels();
    kernel.productT({&coefficients, 1, count}, {&r, 1, plan.n}, constRowsOf(V, 0, count));
    kernel.product(rowsOf(x, 0, 1), {&coefficients, 1, count}, constRowsOf(V, 0, count));
    kernel.subtract(r, x.rows[0], plan.n);
}

// A random unit vector in row j, orthogonal to the rows above. One that all but lies among them is
// drawn again, as what remains of it would be rounding; a NaN passes, for the caller to find.
kmath_status Lanczos::drawOrthogonal(std::int32_t j)
{
    double *r = V.rows[j];
    for (int attempt = 0; attempt < 8; ++attempt) {
        RETURN_IF_FAILED(drawRow(r));
        projectOut(j, r, small.rows[2]);
        const double once = euclideanNorm(r, plan.n);
        projectOut(j, r, small.rows[2]);
        const double length = euclideanNorm(r, plan.n);
        if (!collapsed(once, length)) {
            kernels().scale(r, plan.n, 1.0 / length);
            return KMATH_OK;
        }
    }
    return KMATH_ERR_FAILED;
}

kmath_status Lanczos::acceptResidual(std::int32_t j)
{
    double *r = V.rows[j];
    double *column = small.rows[2];
    for (std::int32_t i = 0; i < j; ++i)
        column[i] = H.rows[i][j - 1];
    const double beta = euclideanNorm(r, plan.n);
    const double length = euclideanNorm(column, j);
    brokeDown = brokeDown || residualIsRounding || !(beta > 1e-10 * length);
    // The column may be as small as rounding, where A maps what has been found to zero.
    if (residualIsRounding || !(beta > 10.0 * epsilon * length)) {
        H.rows[j][j - 1] = 0.0;
        return drawOrthogonal(j);
    }
    H.rows[j][j - 1] = beta;
    kernels().scale(r, plan.n, 1.0 / beta);
    return KMATH_OK;
}

void Lanczos::orthogonaliseProduct(std::int32_t j)
{
    double *r = V.rows[j + 1];
    std::copy_n(Ax.rows[0], plan.n, r);
    for (std::int32_t i = 0; i <= j; ++i)
        H.rows[i][j] = 0.0;
    double *h = small.rows[2];
    double length[2];
    for (double &after : length) {
        projectOut(j + 1, r, h);
        for (std::int32_t i = 0; i <= j; ++i)
            H.rows[i][j] += h[i];
        after = euclideanNorm(r, plan.n);
    }
    residualIsRounding = collapsed(length[0], length[1]);
}

void Lanczos::makeTridiagonal()
{
    const std::int32_t m = plan.last;
    const auto average = [this](std::int32_t i, std::int32_t j) {
        H.rows[i][j] = H.rows[j][i] = (H.rows[i][j] + H.rows[j][i]) * 0.5;
    };
    // Deliberate: the pair (m − 2, m − 1) is passed over, and H keeps its element below the
    // diagonal, the length of a residual.
    for (std::int32_t i = 0; i < m - 2; ++i) {
        std::fill(H.rows[i] + i + 2, H.rows[i] + m + 1, 0.0);
        average(i, i + 1);
    }
    average(m - 1, m);
}

kmath_status Lanczos::diagonalise()
{
    const std::int32_t p = plan.p;
    double *d = small.rows[0];
    double *e = small.rows[1];
    for (std::int32_t i = 0; i < p; ++i) {
        d[i] = H.rows[i][i];
        e[i] = i > 0 ? H.rows[i][i - 1] : 0.0;
    }
    setToIdentity(square);
    if (!implicitQL(d, e, p, square.rows))
        return KMATH_ERR_SINGULAR;

    kmath_nmmatrix_eigValId *order;
    CleanupFrame frame(order);
    TRY(frame.allocate(order, p));
    for (std::int32_t i = 0; i < p; ++i)
        order[i] = {d[i], i};
    sortAscending(order, p);
    for (std::int32_t i = 0; i < p; ++i) {
        const kmath_nmmatrix_eigValId &pair = order[p - 1 - i];
        theta.rows[0][i] = pair.eigVal;
        std::copy_n(square.rows[pair.id], p, S.rows[i]);
    }
    return frame.leave(KMATH_OK);
}

double Lanczos::residualEstimate(std::int32_t &converged) const
{
    const double beta = euclideanNorm(V.rows[plan.p], plan.n);
    double largest = 0.0;
    converged = 0;
    for (std::int32_t i = 0; i < plan.wanted; ++i) {
        const double estimate = std::fabs(beta * S.rows[i][plan.last]);
        if (converged == i && estimate < plan.tol)
            ++converged;
        largest = std::max(largest, estimate);
    }
    return largest;
}

kmath_status Lanczos::formRitzVectors(std::int32_t count)
{
    RETURN_IF_FAILED(kmath_nmmatrix_resize(&X, count, plan.n));
    kernels().product(rowsOf(X, 0, count), constRowsOf(S, 0, count), constRowsOf(V, 0, plan.p));
    for (std::int32_t i = 0; i < count; ++i) {
        const double length = euclideanNorm(X.rows[i], plan.n);
        if (length > epsilon)
            kernels().scale(X.rows[i], plan.n, 1.0 / length);
    }
    return KMATH_OK;
}

double Lanczos::residualNorm() const
{
    double largest = 0.0;
    for (std::int32_t i = 0; i < plan.n; ++i) {
        double sum = 0.0;
        for (std::int32_t j = 0; j < plan.wanted; ++j)
            sum += std::fabs(AX.rows[i][j] - X.rows[j][i] * theta.rows[0][j]);
        if (sum > largest)
            largest = sum;
    }
    return largest;
}

bool Lanczos::holdsAllCopies()
{
    // A basis of the whole space leaves nothing out.
    if (!brokeDown || plan.p == plan.n)
        return true;
    const double *now = theta.rows[0];
    const double scale = std::max(std::fabs(now[0]), std::fabs(now[plan.p - 1]));
    const double bound = std::max(plan.tol, 100.0 * epsilon) * scale;
    const bool still =
        std::equal(now, now + plan.wanted, previous.rows[0],
                   [bound](double a, double b) { return std::fabs(a - b) <= bound; });
    stillPasses = still ? stillPasses + 1 : 0;
    // A new vector takes a few passes to grow towards the copies that it holds.
    return stillPasses >= 3;
}

bool Lanczos::valuesStagnate()
{
    for (std::int32_t i = 0; i < plan.wanted; ++i) {
        const double now = theta.rows[0][i];
        const double before = previous.rows[0][i];
        double change = std::fabs(now - before);
        if (std::fabs(now) > epsilon && std::fabs(before) > epsilon)
            change /= std::fabs(before);
        // Deliberate: the largest change is never forgotten, so a run that once moved on while its
        // residual stood still does not stagnate any more.
        largestChange = std::max(largestChange, change);
    }
    return largestChange < plan.stagTol;
}

void Lanczos::rememberValues() { std::copy_n(theta.rows[0], plan.wanted, previous.rows[0]); }

// V ← rotation·V in the first `kept` rows, a strip of columns at a time.
void Lanczos::rotateBasis(const kmath_nmmatrix &rotation, std::int32_t kept)
{
    for (std::int32_t first = 0, cols = 0; first < plan.n; first += cols) {
        cols = std::min(stripColumns, plan.n - first);
        for (std::int32_t i = 0; i < plan.p; ++i)
            std::copy_n(V.rows[i] + first, cols, strip.rows[i]);
        kernels().product({V.rows, kept, cols, first}, constRowsOf(rotation, 0, kept),
                          {strip.rows, plan.p, cols});
    }
}

// QR steps with the unwanted Ritz values as shifts would leave the tridiagonal matrix that has the
// kept Ritz values and couples to the residual by its last row alone. It is unique up to signs and
// is formed directly, without the instability of shifts that have all but converged: in the basis
// of the kept Ritz vectors the projection is diagonal, with a border β·s that couples to the
// residual, and reflections from the border upwards make it tridiagonal.
void Lanczos::restart(std::int32_t kept)
{
    const std::int32_t n = plan.n, p = plan.p;
    double *d = small.rows[0];
    double *e = small.rows[1];
    double *residual = V.rows[p];
    const double beta = euclideanNorm(residual, n);

    kmath_nmmatrix &Q = square;
    kmath_nmmatrix_set(&Q, 0.0);
    for (std::int32_t i = 0; i < kept; ++i) {
        Q.rows[i][i] = theta.rows[0][i];
        Q.rows[kept][i] = beta * S.rows[i][plan.last];
    }
    tridiagonalise(Q.rows, kept + 1, d, e, true);

    kmath_nmmatrix &rotation = H;
    kernels().product(rowsOf(rotation, 0, kept), {Q.rows, kept, kept}, constRowsOf(S, 0, kept));
    rotateBasis(rotation, kept);
    kernels().scale(residual, n, beta > 0.0 ? e[kept] / beta : 0.0);
    std::copy_n(residual, n, V.rows[kept]);

    kmath_nmmatrix_set(&H, 0.0);
    for (std::int32_t i = 0; i < kept; ++i) {
        H.rows[i][i] = d[i];
        if (i > 0)
            H.rows[i][i - 1] = H.rows[i - 1][i] = e[i];
    }
}
