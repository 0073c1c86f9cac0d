// Unsorted singular value decomposition A = U·W·Vᵀ with a capped iteration.
//
// The formulation of Golub & Reinsch (Numerische Mathematik 14, 1970; Handbook for Automatic
// Computation II, I/10) as it is widely published: reflections scaled by the sum of magnitudes,
// both factors accumulated, and a splitting test against the norm of the whole bidiagonal matrix.
//
// The copy is scaled by a power of two to about 1. That is exact and every test is relative, so it
// changes no bit unless squares would overflow or underflow. During the sweeps U and V are held
// transposed, so that a rotation of two columns runs along two rows.
#include <kmath/nmmatrix.h>

#include "dense/svd.hpp"
#include "platform/cleanup_frame.hpp"
#include "platform/math_support.hpp"

using namespace kmath;

namespace
{

constexpr int maxIterations = 100;        // for one singular value
constexpr double floorOfScale = 0x1p-960; // of a row or column; the factors divide by its length

// The reflection I + u·uᵀ/h of a vector that was divided by scale beforehand.
struct Reflection {
    double scale = 0.0; // sum of magnitudes; zero where there is nothing to reflect
    double image = 0.0; // what becomes of the first element; the others become zero
    double h = 0.0;
};

// Divides x(begin) … x(end − 1) by the sum of its magnitudes and makes it the vector u.
template <class Element> Reflection makeReflection(Element x, int begin, int end)
{
    Reflection r;
    for (int i = begin; i < end; ++i)
        r.scale += std::fabs(x(i));
    if (r.scale <= floorOfScale)
        return {};

    double sum = 0.0;
    for (int i = begin; i < end; ++i) {
        x(i) /= r.scale;
        sum += x(i) * x(i);
    }
    const double first = x(begin);
    const double g = -withSignOf(std::sqrt(sum), first);
    r.image = r.scale * g;
    r.h = first * g - sum;
    x(begin) = first - g;
    return r;
}

// The reduction of an m × n matrix, m ≥ n ≥ 1, to bidiagonal form.
struct Bidiagonalisation {
    const Kernels &kernel;
    kmath_nmmatrix &A; // holds the vectors of the reflections, then U
    kmath_nmmatrix &V;
    double *w;        // diagonal
    double *e;        // superdiagonal, e[i] above w[i]; e[0] = 0
    double *t;        // n temporary values
    double *products; // m temporary values

    int m() const { return A.nRows; }
    int n() const { return A.nCols; }

    void reduce()
    {
        e[0] = 0.0;
        for (int i = 0; i < n(); ++i) {
            reflectColumns(i);
            if (i != n() - 1)
                reflectRows(i);
        }
    }

    // Clears column i below the diagonal.
    void reflectColumns(int i)
    {
        const auto column = [&](int k) -> double & { return A.rows[k][i]; };
        const Reflection r = makeReflection(column, i, m());
        w[i] = r.image;
        if (r.scale == 0.0)
            return;
        projectOnColumn(i, i);
        for (int j = 0; j < n() - i - 1; ++j)
            t[j] /= r.h;
        addColumnTimesT(i);
        for (int k = i; k < m(); ++k)
            A.rows[k][i] *= r.scale;
    }

    // Clears row i to the right of the superdiagonal.
    void reflectRows(int i)
    {
        const int l = i + 1;
        double *const u = A.rows[i];
        const Reflection r = makeReflection([&](int j) -> double & { return u[j]; }, l, n());
        e[l] = r.image;
        if (r.scale == 0.0)
            return;
        const ConstBlock below{A.rows + l, m() - l, n() - l, l};
        kernel.productT({&products, 1, below.rows}, {&u, 1, below.cols, l}, below);
        for (int j = l; j < n(); ++j)
            t[j - l] = u[j] / r.h;
        for (int k = 0; k < below.rows; ++k)
            kernel.addScaled(A.rows[l + k] + l, t, below.cols, products[k]);
        kernel.scale(u + l, below.cols, r.scale);
    }

    void accumulateV()
    {
        for (int i = n() - 1; i >= 0; --i) {
            const int l = i + 1;
            const double *const u = A.rows[i];
            if (i < n() - 1 && e[l] != 0.0) {
                for (int j = l; j < n(); ++j) // divided twice, against underflow
                    V.rows[j][i] = u[j] / u[l] / e[l];
                const ConstBlock behind{V.rows + l, n() - l, n() - l, l};
                kernel.product({&t, 1, behind.cols}, {&u, 1, behind.rows, l}, behind);
                for (int k = l; k < n(); ++k)
                    kernel.addScaled(V.rows[k] + l, t, behind.cols, V.rows[k][i]);
            }
            setUnitColumn(V, i);
        }
    }

    void accumulateU()
    {
        for (int i = n() - 1; i >= 0; --i) {
            const int l = i + 1;
            for (int j = l; j < n(); ++j)
                A.rows[i][j] = 0.0;
            if (w[i] != 0.0) {
                const double reciprocal = 1.0 / w[i];
                projectOnColumn(i, l);
                for (int j = 0; j < n() - l; ++j)
                    t[j] = t[j] / A.rows[i][i] * reciprocal;
                addColumnTimesT(i);
                for (int k = i; k < m(); ++k)
                    A.rows[k][i] *= reciprocal;
            } else {
                for (int k = i; k < m(); ++k)
                    A.rows[k][i] = 0.0;
            }
            A.rows[i][i] += 1.0;
        }
    }

    // t = products of column i with the columns behind it, from row `first` down.
    void projectOnColumn(int i, int first)
    {
        const ConstBlock behind{A.rows + first, m() - first, n() - i - 1, i + 1};
        kernel.Tproduct({&t, 1, behind.cols}, {behind.table, behind.rows, 1, i}, behind);
    }

    // Adds column i, from row i down, t(j) times to the columns behind it.
    void addColumnTimesT(int i)
    {
        for (int k = i; k < m(); ++k)
            kernel.addScaled(A.rows[k] + i + 1, t, n() - i - 1, A.rows[k][i]);
    }
};

// The bidiagonal matrix of order n on its way to diagonal form.
struct Diagonalisation {
    const Kernels &kernel;
    int n;
    double *w;
    double *e;
    kmath_nmmatrix &Ut;
    kmath_nmmatrix &Vt;
    double norm = 0.0; // largest |w(i)| + |e(i)|

    // False when a value does not converge, as for a matrix that is not finite.
    bool run()
    {
        for (int i = 0; i < n; ++i) {
            const double sum = std::fabs(w[i]) + std::fabs(e[i]);
            if (!std::isfinite(sum))
                return false;
            norm = std::max(norm, sum);
        }
        for (int k = n - 1; k >= 0; --k)
            if (!converges(k))
                return false;
        return true;
    }

    bool converges(int k)
    {
        for (int iteration = 1; iteration <= maxIterations; ++iteration) {
            const int l = splittingPoint(k);
            if (l == k) {
                makePositive(k);
                return true;
            }
            if (iteration < maxIterations)
                sweep(l, k);
        }
        return false;
    }

    bool isNegligible(double x) const { return std::fabs(x) + norm == norm; }

    // First row of the unreduced block that ends with row k.
    int splittingPoint(int k)
    {
        for (int l = k; l > 0; --l) { // e(0) = 0: the search ends at the top, whatever the numbers
            if (isNegligible(e[l]))
                return l;
            if (isNegligible(w[l - 1])) {
                cancel(l, k);
                return l;
            }
        }
        return 0;
    }

    // w(l−1) = 0: rotations of rows with row l − 1 clear e(l).
    void cancel(int l, int k)
    {
        double c = 0.0;
        double s = 1.0;
        for (int i = l; i <= k; ++i) {
            const double f = s * e[i];
            e[i] = c * e[i];
            if (isNegligible(f))
                return;
            const double g = w[i];
            w[i] = std::sqrt(f * f + g * g);
            c = g / w[i];
            s = -f / w[i];
            rotate(Ut, l - 1, i, c, s);
        }
    }

    void rotate(kmath_nmmatrix &M, int i, int j, double c, double s)
    {
        kernel.rotate(M.rows[i], M.rows[j], M.nCols, c, s);
    }

    void makePositive(int k)
    {
        if (w[k] < 0.0) {
            w[k] = -w[k];
            kernel.scale(Vt.rows[k], n, -1.0);
        }
    }

    // One QR step on rows l … k, the shift from the trailing 2 × 2 block of BᵀB.
    void sweep(int l, int k)
    {
        double f = firstColumn(l, k);
        double x = w[l];
        double c = 1.0;
        double s = 1.0;
        for (int j = l; j < k; ++j) {
            double g = e[j + 1];
            double y = w[j + 1];
            double h = s * g;
            g = c * g;
            e[j] = rotationOf(f, h, c, s);
            f = x * c + g * s;
            g = g * c - x * s;
            h = y * s;
            y *= c;
            rotate(Vt, j, j + 1, c, s);

            w[j] = rotationOf(f, h, c, s);
            f = c * g + s * y;
            x = c * y - s * g;
            rotate(Ut, j, j + 1, c, s);
        }
        e[l] = 0.0;
        e[k] = f;
        w[k] = x;
    }

    // What the first rotation of a sweep is to make zero, relative to e(l+1): ((BᵀB)(l,l) −
    // σ²)/w(l).
    double firstColumn(int l, int k) const
    {
        const double x = w[l];
        const double y = w[k - 1];
        const double z = w[k];
        const double g = e[k - 1];
        const double h = e[k];
        const double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
        const double root = std::sqrt(f * f + 1.0);
        return ((x - z) * (x + z) + h * (y / (f + withSignOf(root, f)) - h)) / x;
    }

    // Sets c and s to the rotation that maps (f, h) to (length, 0); they stay where both vanish.
    static double rotationOf(double f, double h, double &c, double &s)
    {
        const double length = std::sqrt(f * f + h * h);
        if (length != 0.0) {
            c = f / length;
            s = h / length;
        }
        return length;
    }
};

} // namespace

kmath_status kmath_nmmatrix_decomposeNRC(const kmath_nmmatrix *A, kmath_nmmatrix *U,
                                         kmath_nmmatrix *W, kmath_nmmatrix *V)
{
    KMATH_ASSERT(A && U && W && V);
    if (hasLostStorage(*A))
        return KMATH_ERR_NO_MEMORY;

    const int m = A->nRows;
    const int n = A->nCols;
    const int padded = n > 0 ? std::max(m, n) : 0;
    kmath_nmmatrix copy, right, Ut, Vt, w, e, t, products;
    CleanupFrame frame(copy, right, Ut, Vt, w, e, t, products);

    TRY(kmath_nmmatrix_resize(&copy, padded, n));
    TRY(kmath_nmmatrix_resize(&right, n, n));
    TRY(kmath_nmmatrix_resize(&w, 1, n));
    TRY(kmath_nmmatrix_resize(&e, 1, n));
    TRY(kmath_nmmatrix_resize(&t, 1, n));
    TRY(kmath_nmmatrix_resize(&products, 1, padded));

    const Kernels &kernel = kernels();
    const int exponent = binaryExponent(*A);
    copyPadded(*A, exponent, copy);

    Bidiagonalisation reduction{kernel,    copy,      right,           w.rows[0],
                                e.rows[0], t.rows[0], products.rows[0]};
    reduction.reduce();
    reduction.accumulateV();
    reduction.accumulateU();
    TRY(kmath_nmmatrix_transpose(&copy, &Ut));
    TRY(kmath_nmmatrix_transpose(&right, &Vt));

    Diagonalisation iteration{kernel, n, w.rows[0], e.rows[0], Ut, Vt};
    const bool converged = iteration.run() && scaleBack(w, exponent);

    TRY(kmath_nmmatrix_transpose(&Vt, V));
    if (!converged)
        return frame.leave(KMATH_ERR_SINGULAR);
    TRY(setDiagonal(w, *W));
    TRY(kmath_nmmatrix_resize(U, m, n));
    const Block to = block(*U);
    for (int i = 0; i < to.rows; ++i)
        for (int j = 0; j < to.cols; ++j)
            to.table[i][j] = Ut.rows[j][i];
    return frame.leave(KMATH_OK);
}
