// All eigenvalues of a dense general matrix: balancing if asked for, elimination to Hessenberg
// form, then QR with double shifts.
//
// Wilkinson & Reinsch, Handbook for Automatic Computation II, contributions II/11 (balancing),
// II/13 (reduction to Hessenberg form) and II/14 (the QR algorithm for real Hessenberg matrices).
#include <kmath/eigen.h>

#include "platform/check.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/math_support.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

using namespace kmath;

namespace
{

constexpr int maxIterations = 30;
constexpr int maxBalancingSweeps = 100;

// The largest magnitude; infinite when an element is not finite.
double largestElement(double *const *H, int n)
{
    double largest = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            if (!std::isfinite(H[i][j]))
                return HUGE_VAL;
            largest = std::max(largest, std::fabs(H[i][j]));
        }
    return largest;
}

// Divides H by the power of two at or below its largest element and returns that power. This is
// exact: eigenvalues of ordinary matrices keep every bit, and squares of others stay in range.
double scaleToUnit(double *const *H, int n, double largest)
{
    if (largest == 0.0)
        return 1.0;
    const double scale = std::scalbn(1.0, std::ilogb(largest));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            H[i][j] /= scale;
    return scale;
}

// One round of H ← D⁻¹·H·D, D of powers of two, that brings the norms of row i and column i
// together. False when no pair of them shrank by a twentieth.
bool balanceOnce(double *const *H, int n)
{
    bool shrank = false;
    for (int i = 0; i < n; ++i) {
        double column = 0.0;
        double row = 0.0;
        for (int j = 0; j < n; ++j) {
            column += j == i ? 0.0 : std::fabs(H[j][i]);
            row += j == i ? 0.0 : std::fabs(H[i][j]);
        }
        if (column == 0.0 || row == 0.0)
            continue;

        const double f = std::scalbn(1.0, (std::ilogb(row) - std::ilogb(column)) / 2);
        if (!(column * f + row / f < 0.95 * (column + row)))
            continue;
        shrank = true;
        for (int j = 0; j < n; ++j)
            H[i][j] /= f;
        for (int j = 0; j < n; ++j)
            H[j][i] *= f;
    }
    return shrank;
}

void balanceRowsAndColumns(double *const *H, int n)
{
    for (int round = 0; round < maxBalancingSweeps && balanceOnce(H, n); ++round) {
    }
}

int rowOfLargest(double *const *H, int n, int firstRow, int column)
{
    int largest = firstRow;
    for (int i = firstRow + 1; i < n; ++i)
        if (std::fabs(H[i][column]) > std::fabs(H[largest][column]))
            largest = i;
    return largest;
}

void exchangeRowsAndColumns(double *const *H, int n, int a, int b)
{
    std::swap_ranges(H[a], H[a] + n, H[b]);
    for (int i = 0; i < n; ++i)
        std::swap(H[i][a], H[i][b]);
}

// Clears column m − 1 below row m by subtracting multiples of row m, and adds the same multiples of
// the later columns to column m, which makes it a similarity transformation.
void eliminate(double *const *H, int n, int m, double *multipliers)
{
    for (int i = m + 1; i < n; ++i) {
        double &below = H[i][m - 1];
        multipliers[i] = below == 0.0 ? 0.0 : below / H[m][m - 1];
        below = 0.0;
        if (multipliers[i] != 0.0)
            for (int j = m; j < n; ++j)
                H[i][j] -= multipliers[i] * H[m][j];
    }
    for (int i = 0; i < n; ++i)
        for (int j = m + 1; j < n; ++j)
            H[i][m] += multipliers[j] * H[i][j];
}

void reduceToHessenberg(double *const *H, int n, double *multipliers)
{
    for (int m = 1; m < n - 1; ++m) {
        const int pivot = rowOfLargest(H, n, m, m - 1);
        if (pivot != m)
            exchangeRowsAndColumns(H, n, pivot, m);
        eliminate(H, n, m, multipliers);
    }
}

// The first row of the block that ends in row `last`. Above it the subdiagonal is negligible beside
// its neighbours, or below the floor, and is set to zero.
int startOfBlock(double *const *H, int last, double floor)
{
    for (int i = last; i > 0; --i) {
        const double neighbours = std::fabs(H[i - 1][i - 1]) + std::fabs(H[i][i]);
        const double below = std::fabs(H[i][i - 1]);
        if (below + neighbours == neighbours || below < floor) {
            H[i][i - 1] = 0.0;
            return i;
        }
    }
    return 0;
}

// Two shifts at a time: the eigenvalues of the matrix with the diagonal x, y and the product w of
// the other two elements.
struct Shifts {
    double x, y, w;
};

Shifts lastTwoByTwo(double *const *H, int last)
{
    return {H[last][last], H[last - 1][last - 1], H[last][last - 1] * H[last - 1][last]};
}

// Moves the origin to the last diagonal element, adding it to the total, and gives shifts that
// break a cycle.
Shifts exceptionalShifts(double *const *H, int last, double &total)
{
    const double origin = H[last][last];
    total += origin;
    for (int i = 0; i <= last; ++i)
        H[i][i] -= origin;
    const double s = std::fabs(H[last][last - 1]) + std::fabs(H[last - 1][last - 2]);
    return {0.75 * s, 0.75 * s, -0.4375 * s * s};
}

struct Vector3 {
    double p, q, r;
};

// Scales the vector to a sum of magnitudes of 1 and returns that sum; a zero vector stays.
double normalise(Vector3 &v)
{
    const double sum = std::fabs(v.p) + std::fabs(v.q) + std::fabs(v.r);
    if (sum != 0.0)
        v = {v.p / sum, v.q / sum, v.r / sum};
    return sum;
}

// The row where the double step may begin, as two subdiagonal elements in succession are small
// there, with the first column of (H − shift 1)·(H − shift 2) from that row on.
int startOfStep(double *const *H, int first, int last, const Shifts &shifts, Vector3 &v)
{
    for (int m = last - 2;; --m) {
        const double z = H[m][m];
        const double r = shifts.x - z;
        const double s = shifts.y - z;
        v = {(r * s - shifts.w) / H[m + 1][m] + H[m][m + 1], H[m + 1][m + 1] - z - r - s,
             H[m + 2][m + 1]};
        normalise(v);
        if (m == first)
            return m;
        const double small = std::fabs(H[m][m - 1]) * (std::fabs(v.q) + std::fabs(v.r));
        const double large = std::fabs(v.p) * (std::fabs(H[m - 1][m - 1]) + std::fabs(z) +
                                               std::fabs(H[m + 1][m + 1]));
        if (small + large == large)
            return m;
    }
}

// The reflection I − (x, y, z)ᵀ·(1, q, r) of rows and columns k, k + 1, k + 2, without the third
// one at the end of the block.
struct Reflection {
    double x, y, z, q, r;

    Reflection(const Vector3 &v, double s)
        : x((v.p + s) / s), y(v.q / s), z(v.r / s), q(v.q / (v.p + s)), r(v.r / (v.p + s))
    {
    }

    void reflectRows(double *const *H, int k, int last) const
    {
        for (int j = k; j <= last; ++j) {
            double p = H[k][j] + q * H[k + 1][j];
            if (k + 2 <= last) {
                p += r * H[k + 2][j];
                H[k + 2][j] -= p * z;
            }
            H[k + 1][j] -= p * y;
            H[k][j] -= p * x;
        }
    }

    void reflectColumns(double *const *H, int k, int first, int last) const
    {
        for (int i = first; i <= std::min(last, k + 3); ++i) {
            double *h = H[i] + k;
            double p = x * h[0] + y * h[1];
            if (k + 2 <= last) {
                p += z * h[2];
                h[2] -= p * r;
            }
            h[1] -= p * q;
            h[0] -= p;
        }
    }
};

// One double QR step on the block first … last, of three rows or more.
void doubleStep(double *const *H, int first, int last, const Shifts &shifts)
{
    Vector3 v;
    const int m = startOfStep(H, first, last, shifts, v);
    for (int i = m + 2; i <= last; ++i) {
        H[i][i - 2] = 0.0;
        if (i > m + 2)
            H[i][i - 3] = 0.0;
    }

    for (int k = m; k < last; ++k) {
        double sum = 0.0;
        if (k > m) {
            v = {H[k][k - 1], H[k + 1][k - 1], k + 2 <= last ? H[k + 2][k - 1] : 0.0};
            sum = normalise(v);
        }
        const double s = withSignOf(std::sqrt(v.p * v.p + v.q * v.q + v.r * v.r), v.p);
        if (s == 0.0)
            continue;
        if (k > m)
            H[k][k - 1] = -s * sum;
        else if (m > first)
            H[k][k - 1] = -H[k][k - 1];
        const Reflection reflection(v, s);
        reflection.reflectRows(H, k, last);
        reflection.reflectColumns(H, k, first, last);
    }
}

// The two eigenvalues of the last 2 × 2 block; of a complex pair the one above the real axis first.
void solvePair(const Shifts &block, double total, double *re, double *im)
{
    const double p = 0.5 * (block.y - block.x);
    const double q = p * p + block.w;
    const double root = std::sqrt(std::fabs(q));
    const double x = block.x + total;
    if (q >= 0.0) {
        const double z = p + withSignOf(root, p);
        re[0] = re[1] = x + z;
        if (z != 0.0)
            re[1] = x - block.w / z;
        im[0] = im[1] = 0.0;
    } else {
        re[0] = re[1] = x + p;
        im[0] = root;
        im[1] = -root;
    }
}

// Iterates until the block that ends in row `last` has one or two rows, and gives its first row;
// −1 when that takes too long.
//
// Eigenvalues that are all rounding noise may approach each other too slowly to become negligible
// beside their own kind. After the usual number of steps they need only be negligible beside the
// whole matrix, which is scaled to unit, and as many steps again are allowed.
int deflate(double *const *H, int last, double &total)
{
    for (int iteration = 0; iteration <= 2 * maxIterations; ++iteration) {
        const double floor =
            iteration > maxIterations ? std::numeric_limits<double>::epsilon() : 0.0;
        const int first = startOfBlock(H, last, floor);
        if (first >= last - 1)
            return first;
        const int turn = iteration % maxIterations;
        doubleStep(H, first, last,
                   turn == 10 || turn == 20 ? exceptionalShifts(H, last, total)
                                            : lastTwoByTwo(H, last));
    }
    return -1;
}

bool isFinite(const double *x, int n)
{
    return std::all_of(x, x + n, [](double element) { return std::isfinite(element); });
}

// Eigenvalues of the Hessenberg matrix from the last row upwards.
bool shiftedQR(double *const *H, int n, double *re, double *im)
{
    double total = 0.0; // of the exceptional shifts
    for (int last = n - 1; last >= 0;) {
        const int first = deflate(H, last, total);
        if (first < 0)
            return false;
        if (first == last) {
            re[last] = H[last][last] + total;
            im[last] = 0.0;
        } else {
            solvePair(lastTwoByTwo(H, last), total, re + first, im + first);
        }
        last = first - 1;
    }
    return isFinite(re, n) && isFinite(im, n);
}

// The vector receives n values, each times the factor.
kmath_status copyScaled(kstd_vectord &vector, const double *values, int32_t n, double factor)
{
    double *begin = nullptr;
    RETURN_IF_FAILED(kstd_vectord_resize(&vector, static_cast<size_t>(n)));
    RETURN_IF_FAILED(kstd_vectord_getBegin(&vector, &begin));
    for (int32_t i = 0; i < n; ++i)
        begin[i] = values[i] * factor;
    return KMATH_OK;
}

} // namespace

kmath_status kmath_nmmatrix_eigenvalues(const kmath_nmmatrix *A, int32_t balance,
                                        kstd_vectord *realParts, kstd_vectord *imagParts)
{
    KMATH_ASSERT(A && realParts && imagParts);
    if (A->nRows != A->nCols)
        return KMATH_ERR_BAD_DIMENSIONS;

    const int32_t n = A->nRows;
    kmath_nmmatrix H, re, im;
    CleanupFrame frame(H, re, im);

    TRY(kmath_nmmatrix_assign(&H, A));
    TRY(kmath_nmmatrix_resize(&re, 1, n));
    TRY(kmath_nmmatrix_resize(&im, 1, n));

    const double largest = largestElement(H.rows, n);
    if (!std::isfinite(largest))
        return frame.leave(KMATH_ERR_SINGULAR);
    const double scale = scaleToUnit(H.rows, n, largest);
    if (balance)
        balanceRowsAndColumns(H.rows, n);
    reduceToHessenberg(H.rows, n, re.rows[0]);
    if (!shiftedQR(H.rows, n, re.rows[0], im.rows[0]))
        return frame.leave(KMATH_ERR_SINGULAR);

    TRY(copyScaled(*realParts, re.rows[0], n, scale));
    return frame.leave(copyScaled(*imagParts, im.rows[0], n, scale));
}
