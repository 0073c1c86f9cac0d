// The table of hot loops, filled once per instruction set, and the views they work on.
//
// Every entry gives the bits of its textbook loop on every set: a lane owns a result, and no sum is
// ever split over lanes.
#pragma once

#include <cstdint>

namespace kmath
{

// The views are plain aggregates: a constructor would be an inline function, and the linker might
// keep the copy made for an instruction set that the machine does not have.

/// A rectangle of doubles seen through its row table.
struct Block {
    double *const *table; ///< row starts, before the column offset
    int rows;
    int cols;
    int column = 0; ///< offset of the first column in each row
};

/// The same for reading.
struct ConstBlock {
    const double *const *table;
    int rows;
    int cols;
    int column = 0;
};

/// A rectangle of doubles whose rows start `stride` doubles apart.
struct Strided {
    double *top; ///< element (0, 0)
    std::int64_t stride;
    int rows;
    int cols;
};

/// The same for reading.
struct ConstStrided {
    const double *top;
    std::int64_t stride;
    int rows;
    int cols;
};

/// The transform p ↦ M·p + t of points in space.
struct Affine {
    double t[3];
    double M[3][3];
};

struct Kernels {
    const char *name; ///< instruction set
    int lanes;        ///< doubles in its widest vector

    void (*product)(const Block &C, const ConstBlock &A, const ConstBlock &B);  ///< C = A·B
    void (*Tproduct)(const Block &C, const ConstBlock &A, const ConstBlock &B); ///< C = Aᵀ·B
    void (*productT)(const Block &C, const ConstBlock &A, const ConstBlock &B); ///< C = A·Bᵀ
    void (*square)(const Block &R, const ConstBlock &A);                        ///< R = AᵀA
    void (*Tsquare)(const Block &R, const ConstBlock &A);                       ///< R = A·Aᵀ

    void (*stridedProduct)(const Strided &C, const ConstStrided &A, const ConstStrided &B);
    void (*stridedTproduct)(const Strided &C, const ConstStrided &A, const ConstStrided &B);
    void (*stridedProductT)(const Strided &C, const ConstStrided &A, const ConstStrided &B);

    // C may be A.
    void (*sum)(const Strided &C, const ConstStrided &A, const ConstStrided &B); ///< C = A + B
    void (*difference)(const Strided &C, const ConstStrided &A,
                       const ConstStrided &B); ///< C = A − B
    void (*scaledSum)(const Strided &C, double s, const ConstStrided &A,
                      const ConstStrided &B);                          ///< C = s·A + B
    void (*scaled)(const Strided &C, const ConstStrided &A, double s); ///< C = A·s

    void (*scale)(double *x, std::int64_t n, double factor);                      ///< x *= factor
    void (*addScalar)(double *x, std::int64_t n, double value);                   ///< x += value
    void (*add)(double *x, const double *y, std::int64_t n);                      ///< x += y
    void (*subtract)(double *x, const double *y, std::int64_t n);                 ///< x −= y
    void (*addScaled)(double *x, const double *y, std::int64_t n, double a);      ///< x += a·y
    void (*subtractScaled)(double *x, const double *y, std::int64_t n, double a); ///< x −= a·y

    /// x = c·x + s·y and y = c·y − s·x, both from the old values
    void (*rotate)(double *x, double *y, std::int64_t n, double c, double s);
    /// A(i, j) −= u(i)·v(j), where u is a column of a block
    void (*rankOneSubtract)(Block A, ConstBlock u, const double *v);

    // q(i) = M·p(i) + t or M·v(i) for n points of three numbers, in order; floats are widened,
    // mapped and rounded. The arrays may be the same or overlap: each point is read whole before it
    // is written, and what was written is read.
    void (*mapPoints)(Affine X, const double *p, double *q, std::int64_t n);
    void (*mapPointsF)(Affine X, const float *p, float *q, std::int64_t n);
    void (*mapVectors)(Affine X, const double *v, double *q, std::int64_t n);
    void (*mapVectorsF)(Affine X, const float *v, float *q, std::int64_t n);
};

extern const Kernels kernelsBaseline;
#if defined(__x86_64__)
extern const Kernels kernelsAvx2;
extern const Kernels kernelsAvx512;
#endif

/// The table for the widest instruction set that this processor runs.
const Kernels &kernels();

/// Calls visit(table) for every table that this processor runs, widest first.
void forEachRunnable(void (*visit)(const Kernels &table, void *context), void *context);

} // namespace kmath
