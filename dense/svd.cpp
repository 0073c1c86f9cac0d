// Sorted singular value decomposition A = U·W·Vᵀ.
//
// Householder reflections bring A to upper bidiagonal form, implicitly shifted QR sweeps of Givens
// rotations bring that to diagonal form (Golub & Reinsch, Numerische Mathematik 14, 1970, in the
// arrangement of LINPACK's dsvdc). The rotations act on columns of U and V, so during the sweeps
// both are held transposed, where a column is one contiguous run.
//
// Lengths are plain square roots of sums of squares, which overflow and underflow early. Where
// that stops the iteration, it runs once more on A scaled by a power of two to about 1, with a
// floor below which a number counts as zero.
#include <kmath/nmmatrix.h>

#include "dense/svd.hpp"
#include "platform/cleanup_frame.hpp"

#include <utility>

using namespace kmath;

namespace
{

constexpr double eps = 0x1p-52;
constexpr int maxSweeps = 100;        // for one singular value
constexpr double scaledFloor = 1e-70; // its fourth power, in the shift, is still a normal number

bool isFinite(const kmath_nmmatrix &A)
{
    const ConstBlock from = block(A);
    for (int i = 0; i < from.rows; ++i)
        for (int j = 0; j < from.cols; ++j)
            if (!std::isfinite(from.table[i][j]))
                return false;
    return true;
}

// Makes x(begin) … x(end − 1) the vector u of the reflection I − u·uᵀ/u(begin), and returns what
// the reflection makes of x(begin); the rest of x it maps to zero. Nothing is done to a vanishing
// x, which is its own image.
template <class Element> double makeReflection(Element x, int begin, int end, double floor)
{
    double sum = 0.0;
    for (int i = begin; i < end; ++i)
        sum += x(i) * x(i);
    double length = std::sqrt(sum);
    if (length <= floor)
        return -0.0;

    if (x(begin) < 0.0)
        length = -length;
    const double reciprocal = 1.0 / length;
    for (int i = begin; i < end; ++i)
        x(i) *= reciprocal;
    x(begin) += 1.0;
    return -length;
}

// Reflects columns first … of M, from row r down, at the vector below M(r, c).
void reflectColumns(const Kernels &kernel, kmath_nmmatrix &M, int r, int c, int first, double *t)
{
    const Block X{M.rows + r, M.nRows - r, M.nCols - first, first};
    const ConstBlock u{X.table, X.rows, 1, c};
    kernel.Tproduct({&t, 1, X.cols}, u, {X.table, X.rows, X.cols, X.column});
    for (int j = 0; j < X.cols; ++j)
        t[j] /= M.rows[r][c];
    kernel.rankOneSubtract(X, u, t);
}

// Reflects rows r … of M, from column c on, at the vector u(c) ….
void reflectRows(const Kernels &kernel, kmath_nmmatrix &M, int r, int c, const double *u, double *t,
                 double *products)
{
    const ConstBlock X{M.rows + r, M.nRows - r, M.nCols - c, c};
    kernel.productT({&products, 1, X.rows}, {&u, 1, X.cols, c}, X);
    for (int j = 0; j < X.cols; ++j)
        t[j] = u[c + j] / u[c];
    for (int i = 0; i < X.rows; ++i)
        kernel.subtractScaled(M.rows[r + i] + c, t, X.cols, products[i]);
}

// The reduction of an m × n matrix, m ≥ n ≥ 1, to bidiagonal form.
struct Bidiagonalisation {
    const Kernels &kernel;
    kmath_nmmatrix &A; // its columns become the vectors of the reflections, then U
    kmath_nmmatrix *V; // likewise the right ones; null where only values are wanted
    double *s;         // diagonal
    double *e;         // superdiagonal, e[n − 1] = 0
    double *t;         // n temporary values
    double *products;  // m temporary values
    double floor;      // lengths up to here count as zero

    int n() const { return A.nCols; }
    int leftReflections() const { return std::min(A.nRows - 1, n()); }
    int rightReflections() const { return std::max(0, n() - 2); }

    void reduce()
    {
        for (int k = 0; k < leftReflections(); ++k) {
            s[k] =
                makeReflection([&](int i) -> double & { return A.rows[i][k]; }, k, A.nRows, floor);
            if (s[k] != 0.0)
                reflectColumns(kernel, A, k, k, k + 1, t);
            for (int j = k + 1; j < n(); ++j)
                e[j] = A.rows[k][j];
            if (k < rightReflections())
                reduceRow(k);
        }

        if (leftReflections() < n())
            s[n() - 1] = A.rows[n() - 1][n() - 1];
        if (n() > 1)
            e[n() - 2] = A.rows[n() - 2][n() - 1];
        e[n() - 1] = 0.0;
    }

    void reduceRow(int k)
    {
        e[k] = makeReflection([&](int j) -> double & { return e[j]; }, k + 1, n(), floor);
        if (e[k] != 0.0)
            reflectRows(kernel, A, k + 1, k + 1, e, t, products);
        if (V)
            for (int j = k + 1; j < n(); ++j)
                V->rows[j][k] = e[j];
    }

    // The reflections are applied to the unit matrix from the last to the first, so that each
    // meets only the columns behind its own.
    void generateU()
    {
        for (int i = 0; i < n(); ++i)
            for (int j = i + 1; j < n(); ++j)
                A.rows[i][j] = 0.0;
        for (int k = leftReflections(); k < n(); ++k)
            setUnitColumn(A, k);

        for (int k = leftReflections() - 1; k >= 0; --k) {
            if (s[k] == 0.0) {
                setUnitColumn(A, k);
                continue;
            }
            reflectColumns(kernel, A, k, k, k + 1, t);
            for (int i = k; i < A.nRows; ++i)
                A.rows[i][k] = -A.rows[i][k];
            A.rows[k][k] += 1.0;
        }
    }

    void generateV()
    {
        for (int k = n() - 1; k >= 0; --k) {
            if (k < rightReflections() && e[k] != 0.0)
                reflectColumns(kernel, *V, k + 1, k, k + 1, t);
            setUnitColumn(*V, k);
        }
    }
};

// The bidiagonal matrix of order n on its way to diagonal form.
struct Diagonalisation {
    struct Rotation {
        double c, s;
    };
    enum class Step { deflate, split, sweep, converged };
    struct Task {
        Step step;
        int k; // first index that it works on
    };

    const Kernels &kernel;
    int n;
    double *s;
    double *e;
    kmath_nmmatrix *Ut; // Uᵀ, or null
    kmath_nmmatrix *Vt; // Vᵀ, or null
    double floor;
    bool sound = true; // every rotation so far was one

    // False when a value does not converge or a number is not finite.
    bool run()
    {
        if (!isFiniteFrom(0, n))
            return false;
        int sweeps = 0;
        for (int p = n; p > 0;) { // values p … n − 1 have converged
            const Task task = nextTask(p);
            switch (task.step) {
            case Step::deflate:
                deflateLast(task.k, p);
                break;
            case Step::split:
                split(task.k, p);
                break;
            case Step::sweep:
                if (sweeps++ == maxSweeps)
                    return false;
                sweep(task.k, p);
                break;
            case Step::converged:
                settle(task.k);
                sweeps = 0;
                --p;
                continue;
            }
            if (!sound || !isFiniteFrom(task.k, p))
                return false;
        }
        return true;
    }

    bool isFiniteFrom(int begin, int end) const
    {
        for (int i = begin; i < end; ++i)
            if (!std::isfinite(s[i]) || !std::isfinite(e[i]))
                return false;
        return true;
    }

    bool isNegligible(double x, double neighbours) const
    {
        return std::fabs(x) <= eps * neighbours || std::fabs(x) <= floor;
    }

    // Looks upwards from p − 1 for the first place where the matrix falls apart.
    Task nextTask(int p)
    {
        int k = p - 2;
        while (k >= 0 && !isNegligible(e[k], std::fabs(s[k]) + std::fabs(s[k + 1])))
            --k;
        if (k >= 0)
            e[k] = 0.0;
        if (k == p - 2)
            return {Step::converged, p - 1};

        int z = p - 1;
        while (z > k &&
               !isNegligible(s[z], std::fabs(e[z]) + (z != k + 1 ? std::fabs(e[z - 1]) : 0.0)))
            --z;
        if (z == k)
            return {Step::sweep, k + 1};
        s[z] = 0.0;
        return z == p - 1 ? Task{Step::deflate, k + 1} : Task{Step::split, z + 1};
    }

    // The rotation that maps (f, g) to (length, 0). At the start of a sweep f and g are squares of
    // values, hence the square of the floor.
    Rotation rotationOf(double f, double g, double &length)
    {
        length = std::sqrt(f * f + g * g);
        if (floor > 0.0 && length <= floor * floor)
            return {1.0, 0.0};
        sound = sound && length > 0.0 && std::isfinite(length);
        return {f / length, g / length};
    }

    void rotate(kmath_nmmatrix *M, int i, int j, Rotation r)
    {
        if (M)
            kernel.rotate(M->rows[i], M->rows[j], M->nCols, r.c, r.s);
    }

    // s(p−1) = 0: rotations of columns chase e(p−2) out through the top of the block.
    void deflateLast(int k, int p)
    {
        double f = std::exchange(e[p - 2], 0.0);
        for (int j = p - 2; j >= k; --j) {
            const Rotation r = rotationOf(s[j], f, s[j]);
            if (j != k) {
                f = -r.s * e[j - 1];
                e[j - 1] = r.c * e[j - 1];
            }
            rotate(Vt, j, p - 1, r);
        }
    }

    // s(k−1) = 0: rotations of rows chase e(k−1) out through the right end of the block.
    void split(int k, int p)
    {
        double f = std::exchange(e[k - 1], 0.0);
        for (int j = k; j < p; ++j) {
            const Rotation r = rotationOf(s[j], f, s[j]);
            f = -r.s * e[j];
            e[j] = r.c * e[j];
            rotate(Ut, j, k - 1, r);
        }
    }

    // The amount by which the eigenvalue of the trailing 2 × 2 block of B·Bᵀ that is nearer to
    // s(p−1)² lies below it.
    double shiftAt(int p) const
    {
        const double b =
            ((s[p - 2] + s[p - 1]) * (s[p - 2] - s[p - 1]) + e[p - 2] * e[p - 2]) * 0.5;
        const double root = s[p - 1] * e[p - 2];
        const double c = root * root;
        if (b == 0.0 && c == 0.0)
            return 0.0;
        const double r = std::sqrt(b * b + c);
        return c / (b + (b < 0.0 ? -r : r));
    }

    // One implicitly shifted QR step on rows and columns k … p − 1.
    void sweep(int k, int p)
    {
        double f = (s[k] + s[p - 1]) * (s[k] - s[p - 1]) + shiftAt(p);
        double g = s[k] * e[k];
        for (int j = k; j < p - 1; ++j) {
            double length;
            const Rotation right = rotationOf(f, g, length);
            if (j != k)
                e[j - 1] = length;
            f = right.c * s[j] + right.s * e[j];
            e[j] = right.c * e[j] - right.s * s[j];
            g = right.s * s[j + 1];
            s[j + 1] = right.c * s[j + 1];
            rotate(Vt, j, j + 1, right);

            const Rotation left = rotationOf(f, g, s[j]);
            f = left.c * e[j] + left.s * s[j + 1];
            s[j + 1] = -left.s * e[j] + left.c * s[j + 1];
            g = left.s * e[j + 1];
            e[j + 1] = left.c * e[j + 1];
            rotate(Ut, j, j + 1, left);
        }
        e[p - 2] = f;
    }

    // s(k) has converged: made non-negative, it moves down behind the larger ones.
    void settle(int k)
    {
        if (s[k] <= 0.0) {
            s[k] = s[k] < 0.0 ? -s[k] : 0.0;
            if (Vt)
                kernel.scale(Vt->rows[k], Vt->nCols, -1.0);
        }
        for (; k < n - 1 && s[k + 1] > s[k]; ++k) {
            std::swap(s[k], s[k + 1]);
            swapRows(Ut, k);
            swapRows(Vt, k);
        }
    }

    static void swapRows(kmath_nmmatrix *M, int k)
    {
        if (M)
            std::swap_ranges(M->rows[k], M->rows[k] + M->nCols, M->rows[k + 1]);
    }
};

// Values as a row and, unless they are null, the transposed factors.
kmath_status decompose(const kmath_nmmatrix &A, kmath_nmmatrix &values, kmath_nmmatrix *Ut,
                       kmath_nmmatrix *Vt)
{
    if (hasLostStorage(A))
        return KMATH_ERR_NO_MEMORY;
    if (!isFinite(A))
        return KMATH_ERR_SINGULAR;

    const int n = A.nCols;
    const int m = std::max(A.nRows, n);
    kmath_nmmatrix U, V, e, t, products;
    CleanupFrame frame(U, V, e, t, products);

    TRY(kmath_nmmatrix_resize(&values, 1, n));
    if (Ut) {
        TRY(kmath_nmmatrix_resize(&V, n, n));
        TRY(kmath_nmmatrix_resize(Ut, n, m));
        TRY(kmath_nmmatrix_resize(Vt, n, n));
    }
    if (n == 0)
        return frame.leave(KMATH_OK);
    TRY(kmath_nmmatrix_resize(&U, m, n));
    TRY(kmath_nmmatrix_resize(&e, 1, n));
    TRY(kmath_nmmatrix_resize(&t, 1, n));
    TRY(kmath_nmmatrix_resize(&products, 1, m));

    const Kernels &kernel = kernels();
    const auto converges = [&](int exponent, double floor) {
        copyPadded(A, exponent, U);
        Bidiagonalisation reduction{kernel,    U,         Ut ? &V : nullptr, values.rows[0],
                                    e.rows[0], t.rows[0], products.rows[0],  floor};
        reduction.reduce();
        if (Ut) {
            reduction.generateU();
            reduction.generateV();
            kmath_nmmatrix_transpose(&U, Ut);
            kmath_nmmatrix_transpose(&V, Vt);
        }
        return Diagonalisation{kernel, n, values.rows[0], e.rows[0], Ut, Vt, floor}.run();
    };

    int exponent = 0;
    if (!converges(exponent, 0.0)) {
        exponent = binaryExponent(A);
        if (!converges(exponent, scaledFloor))
            return frame.leave(KMATH_ERR_SINGULAR);
    }
    return frame.leave(scaleBack(values, exponent) ? KMATH_OK : KMATH_ERR_SINGULAR);
}

} // namespace

kmath_status kmath::singularValues(const kmath_nmmatrix &A, kmath_nmmatrix &values)
{
    return decompose(A, values, nullptr, nullptr);
}

kmath_status kmath_nmmatrix_decompose(const kmath_nmmatrix *A, kmath_nmmatrix *U, kmath_nmmatrix *W,
                                      kmath_nmmatrix *V)
{
    KMATH_ASSERT(A && U && W && V);

    kmath_nmmatrix values, Ut, Vt;
    CleanupFrame frame(values, Ut, Vt);

    TRY(decompose(*A, values, &Ut, &Vt));
    TRY(kmath_nmmatrix_transpose(&Ut, U));
    TRY(setDiagonal(values, *W));
    return frame.leave(kmath_nmmatrix_transpose(&Vt, V));
}
