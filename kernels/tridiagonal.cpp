// The symmetric eigenproblem on plain arrays.
//
// Wilkinson & Reinsch, Handbook for Automatic Computation II, contributions II/2 (Householder's
// tridiagonalisation) and II/4 (the implicit QL algorithm); Golub & Van Loan, Matrix Computations,
// §8.3.
#include "kernels/tridiagonal.hpp"

#include <cmath>
#include <limits>
#include <utility>

namespace
{

constexpr int maxSweeps = 30; // for one eigenvalue

double withSignOf(double magnitude, double x) { return x >= 0.0 ? magnitude : -magnitude; }

// √(x² + y²), neither overflowing nor underflowing on the way. Written out because the last bit of
// the C library's differs from one library to the next.
double hypotenuse(double x, double y)
{
    x = std::fabs(x);
    y = std::fabs(y);
    const double longer = x > y ? x : y;
    if (longer == 0.0)
        return x + y;
    const double ratio = (x > y ? y : x) / longer;
    return longer * std::sqrt(1.0 + ratio * ratio);
}

bool isZero(const double *x, int n)
{
    for (int k = 0; k < n; ++k)
        if (x[k] != 0.0)
            return false;
    return true;
}

// The power of two at or below the largest magnitude: dividing by it is exact.
double magnitudeOf(const double *x, int n)
{
    double largest = 0.0;
    for (int k = 0; k < n; ++k)
        if (std::fabs(x[k]) > largest)
            largest = std::fabs(x[k]);
    return std::scalbn(1.0, std::ilogb(largest));
}

// Replaces x by the vector u of the reflection I − u·uᵀ/h that takes it to (0, …, 0, length).
// Returns h.
double reflector(double *x, int n, double &length)
{
    const double scale = magnitudeOf(x, n);
    double h = 0.0;
    for (int k = 0; k < n; ++k) {
        x[k] /= scale;
        h += x[k] * x[k];
    }
    const double last = x[n - 1];
    const double g = -withSignOf(std::sqrt(h), last); // away from the last element: no cancellation
    length = scale * g;
    x[n - 1] = last - g;
    return h - last * g;
}

// p = A·u from the lower triangle of A, in one pass over its rows. The shares of both triangles
// reach each p(j) in increasing order of the index.
void symmetricProduct(double *const *A, int n, const double *u, double *p)
{
    for (int j = 0; j < n; ++j) {
        const double *row = A[j];
        double sum = 0.0;
        for (int k = 0; k < j; ++k) {
            sum += row[k] * u[k];
            p[k] += row[k] * u[j];
        }
        p[j] = sum + row[j] * u[j];
    }
}

// A −= u·qᵀ + q·uᵀ in the lower triangle of A.
void rankTwoSubtract(double *const *A, int n, const double *u, const double *q)
{
    for (int j = 0; j < n; ++j)
        for (int k = 0; k <= j; ++k)
            A[j][k] -= u[j] * q[k] + q[j] * u[k];
}

// A ← P·A·P in the lower triangle of A, for the reflection P = I − u·uᵀ/h; q is work space.
void reflectBothSides(double *const *A, int n, const double *u, double h, double *q)
{
    symmetricProduct(A, n, u, q);
    double uq = 0.0;
    for (int j = 0; j < n; ++j) {
        q[j] /= h;
        uq += u[j] * q[j];
    }
    const double half = uq / (h + h);
    for (int j = 0; j < n; ++j)
        q[j] -= half * u[j];
    rankTwoSubtract(A, n, u, q);
}

// A ← A·P for the same reflection.
void reflectRows(double *const *A, int n, const double *u, double h)
{
    for (int j = 0; j < n; ++j) {
        double *row = A[j];
        double g = 0.0;
        for (int k = 0; k < n; ++k)
            g += row[k] * u[k];
        g /= h;
        for (int k = 0; k < n; ++k)
            row[k] -= g * u[k];
    }
}

void setToUnit(double *const *A, int i)
{
    for (int k = 0; k < i; ++k)
        A[i][k] = A[k][i] = 0.0;
    A[i][i] = 1.0;
}

// The first index from l on whose coupling to the next one is negligible beside its neighbours, or
// is below the floor.
int endOfBlock(const double *d, const double *e, int n, int l, double floor)
{
    for (int m = l; m < n - 1; ++m) {
        const double dd = std::fabs(d[m]) + std::fabs(d[m + 1]);
        if (std::fabs(e[m]) + dd == dd || std::fabs(e[m]) < floor)
            return m;
    }
    return n - 1;
}

// Rounding unit times the largest element; infinite when there is one that is not finite.
double roundingFloor(const double *d, const double *e, int n)
{
    double largest = 0.0;
    for (int i = 0; i < n; ++i) {
        if (!std::isfinite(d[i]) || !std::isfinite(e[i]))
            return HUGE_VAL;
        largest = std::fmax(largest, std::fmax(std::fabs(d[i]), std::fabs(e[i])));
    }
    return std::numeric_limits<double>::epsilon() * largest;
}

void rotateRows(double *x, double *y, int n, double c, double s)
{
    for (int k = 0; k < n; ++k) {
        const double xk = x[k];
        const double yk = y[k];
        x[k] = c * xk - s * yk;
        y[k] = s * xk + c * yk;
    }
}

// One QL step with implicit shift on the block l … m.
void sweep(double *d, double *e, int n, double *const *Z, int l, int m)
{
    double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
    const double r = std::sqrt(g * g + 1.0);
    g = d[m] - d[l] + e[l] / (g + withSignOf(r, g));

    double s = 1.0;
    double c = 1.0;
    double p = 0.0;
    for (int i = m - 1; i >= l; --i) {
        const double f = s * e[i];
        const double b = c * e[i];
        e[i + 1] = hypotenuse(f, g);
        if (e[i + 1] == 0.0) { // f and g underflowed: the block falls apart here
            d[i + 1] -= p;
            e[m] = 0.0;
            return;
        }
        s = f / e[i + 1];
        c = g / e[i + 1];
        g = d[i + 1] - p;
        const double t = (d[i] - g) * s + 2.0 * c * b;
        p = s * t;
        d[i + 1] = g + p;
        g = c * t - b;
        if (Z)
            rotateRows(Z[i], Z[i + 1], n, c, s);
    }
    d[l] -= p;
    e[l] = g;
    e[m] = 0.0;
}

// Sweeps until element l is uncoupled.
//
// Eigenvalues that are all rounding noise, as a singular matrix has them, may approach each other
// too slowly to become negligible beside their own kind. After the usual number of sweeps they need
// only be negligible beside the whole matrix, and as many sweeps again are allowed.
bool findEigenvalue(double *d, double *e, int n, double *const *Z, int l)
{
    for (int sweeps = 0; sweeps <= 2 * maxSweeps; ++sweeps) {
        const double floor = sweeps > maxSweeps ? roundingFloor(d, e, n) : 0.0;
        if (std::isinf(floor))
            return false;
        const int m = endOfBlock(d, e, n, l, floor);
        if (m == l)
            return true;
        sweep(d, e, n, Z, l, m);
    }
    return false;
}

} // namespace

void kmath::tridiagonalise(double *const *A, int n, double *d, double *e, bool accumulate)
{
    // From the last row upwards: the elements left of the subdiagonal are reflected away. The
    // reflecting vector stays in its row and h in d; e serves as work space below its index i.
    for (int i = n - 1; i > 0; --i) {
        double *u = A[i];
        double h = 0.0;
        if (isZero(u, i - 1)) {
            e[i] = u[i - 1];
        } else {
            h = reflector(u, i, e[i]);
            reflectBothSides(A, i, u, h, e);
        }
        d[i] = h;
    }
    if (n > 0)
        e[0] = d[0] = 0.0;

    // From the first row downwards the reflections are multiplied into Qᵀ, which grows from the top
    // left over diagonal elements and vectors that have served.
    for (int i = 0; i < n; ++i) {
        const double h = d[i];
        d[i] = A[i][i];
        if (!accumulate)
            continue;
        if (h != 0.0)
            reflectRows(A, i, A[i], h);
        setToUnit(A, i);
    }
}

bool kmath::implicitQL(double *d, double *e, int n, double *const *Z)
{
    for (int i = 1; i < n; ++i)
        e[i - 1] = e[i];
    if (n > 0)
        e[n - 1] = 0.0;

    for (int l = 0; l < n; ++l)
        if (!findEigenvalue(d, e, n, Z, l))
            return false;
    return true;
}

void kmath::transposeInPlace(double *const *A, int n)
{
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j)
            std::swap(A[i][j], A[j][i]);
}
