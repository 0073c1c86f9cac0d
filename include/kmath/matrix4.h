/**
 * @file
 * Complex numbers, 4×4 matrices of doubles and of complex numbers, and the 6×6 matrix of floats.
 *
 * The records are plain values that the caller owns and may copy at will; nothing here allocates.
 * Matrices are stored in row-major order and map column vectors: r = M·v. Rows, columns and
 * components count from 0. Sums run upwards from the first index, and a complex product is
 * (a + ib)·(c + id) = (ac − bd) + i(ad + bc), each operation rounded.
 *
 * An operation whose name begins with init takes its result first; all others take their results
 * last. A result may be one of the operands, or a number within one. A null record is a
 * programming error, never a status: it is reported to kstd_assert_, and the function carries
 * on. Unless a function names a failure, it returns KMATH_OK for any numbers, NaN and infinities
 * included; unless it says otherwise, a failing function leaves its results untouched.
 */
#ifndef KMATH_MATRIX4_H
#define KMATH_MATRIX4_H

#include <kmath/status.h>
#include <kmath/vectors.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A complex number. */
typedef struct kmath_complex {
    double re; /**< real part */
    double im; /**< imaginary part */
} kmath_complex;

/** A vector of four complex numbers. */
typedef struct kmath_vect4c {
    kmath_complex v[4]; /**< component i at v[i] */
} kmath_vect4c;

/** A 4×4 matrix of complex numbers, row-major. */
typedef struct kmath_matrix4c {
    kmath_complex m[4][4]; /**< element (i, j) at m[i][j] */
} kmath_matrix4c;

/** A 4×4 matrix, row-major. */
typedef struct kmath_matrix4 {
    double m[4][4]; /**< element (i, j) at m[i][j] */
} kmath_matrix4;

/** A 6×6 matrix of floats, row-major. */
typedef struct kmath_matrix6F {
    float m[6][6]; /**< element (i, j) at m[i][j] */
} kmath_matrix6F;

/* Complex numbers. */

/**
 * c = 0 + 0i.
 *
 * @param[out] c  zero
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_complex_init(kmath_complex *c);

/**
 * c = 0 + 0i, the default of the record.
 *
 * @param[out] c  zero
 * @return KMATH_OK
 * @see kmath_complex_init
 */
KMATH_API kmath_status kmath_complex_reset(kmath_complex *c);

/**
 * r = n/d.
 *
 * The parts of d are divided by the larger of them first, so |d|² is never formed. Where
 * the quotient of the parts, or a product with it, leaves the range of the doubles, the
 * result loses digits.
 *
 * @param[out] r  may be n or d; untouched on failure
 * @param[in]  n  any
 * @param[in]  d  any but 0
 * @return KMATH_OK, or KMATH_ERR_DIVIDE_BY_ZERO when both parts of d are exactly 0
 * @see Smith, Algorithm 116: Complex division, Comm. ACM 5 (1962)
 */
KMATH_API kmath_status kmath_complex_initDiv(kmath_complex *r, const kmath_complex *n,
                                             const kmath_complex *d);

/**
 * magnitude = |c|.
 *
 * Formed from the quotient of the parts, so it overflows only where |c| itself does. Two
 * infinite parts have no quotient: the result is NaN.
 *
 * @param[out] magnitude  ≥ 0, in the unit of c; unlike other results it comes first; may be
 *                        a part of c
 * @param[in]  c          any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_complex_abs(double *magnitude, const kmath_complex *c);

/**
 * r = √c, the principal root: Re r ≥ 0.
 *
 * For Re c > 0, with t = √((|c| + Re c)/2), the root is t + i·Im c/(2t): both terms under
 * the root are positive, so nothing cancels however small Im c is. For Re c ≤ 0 it is
 * √|c|·(Im c + i·(|c| − Re c))/|c − |c||, negated when Im c < 0; on the negative real axis
 * that is i·√|c|, whichever the sign of a zero Im c. Powers of four are taken out of very
 * large and very small numbers, so every finite c has a finite root, accurate to a few units
 * in the last place of |r|. An infinite or NaN part yields NaN, or an infinite root.
 *
 * @param[out] r  may be c; 0 for c = 0
 * @param[in]  c  any
 * @return KMATH_OK
 * @see Kahan, Branch cuts for complex elementary functions, in The State of the Art in
 *      Numerical Analysis (1987)
 */
KMATH_API kmath_status kmath_complex_initSqrt(kmath_complex *r, const kmath_complex *c);

/* Vectors of four complex numbers. */

/**
 * r = 0.
 *
 * @param[out] r  every component 0 + 0i
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4c_init(kmath_vect4c *r);

/**
 * r = 0, the default of the record.
 *
 * @param[out] r  every component 0 + 0i
 * @return KMATH_OK
 * @see kmath_vect4c_init
 */
KMATH_API kmath_status kmath_vect4c_reset(kmath_vect4c *r);

/**
 * r = a − b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_vect4c_initSubtract(kmath_vect4c *r, const kmath_vect4c *a,
                                                 const kmath_vect4c *b);

/* 4×4 matrices of complex numbers. */

/**
 * m = I.
 *
 * @param[out] m  1 + 0i on the diagonal, else 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_initIdentity(kmath_matrix4c *m);

/**
 * m = 0.
 *
 * @param[out] m  every element 0 + 0i
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_initClear(kmath_matrix4c *m);

/**
 * m = I, the default of the record.
 *
 * @param[out] m  identity
 * @return KMATH_OK
 * @see kmath_matrix4c_initIdentity
 */
KMATH_API kmath_status kmath_matrix4c_reset(kmath_matrix4c *m);

/**
 * m = real + i·imaginary, taken apart.
 *
 * @param[in]  m          any
 * @param[out] real       real parts; null to skip
 * @param[out] imaginary  imaginary parts; null to skip
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_realImag(const kmath_matrix4c *m, kmath_matrix4 *real,
                                               kmath_matrix4 *imaginary);

/**
 * r = a·b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_initMultiply(kmath_matrix4c *r, const kmath_matrix4c *a,
                                                   const kmath_matrix4c *b);

/**
 * r = m·v.
 *
 * @param[in]  m  any
 * @param[in]  v  any
 * @param[out] r  may be v
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_multv(const kmath_matrix4c *m, const kmath_vect4c *v,
                                            kmath_vect4c *r);

/**
 * m = s·m.
 *
 * @param[in,out] m  scaled in place
 * @param[in]     s  any; may be an element of m, and then acts with the value it came with
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_scale(kmath_matrix4c *m, const kmath_complex *s);

/**
 * r = a + b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_initAdd(kmath_matrix4c *r, const kmath_matrix4c *a,
                                              const kmath_matrix4c *b);

/**
 * trace = Σ m(i, i).
 *
 * @param[in]  m      any
 * @param[out] trace  sum of the diagonal
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_trace(const kmath_matrix4c *m, kmath_complex *trace);

/**
 * det = det(m), expanded along the first row.
 *
 * Each cofactor is a 3×3 determinant, itself expanded along its first row. Nothing is scaled
 * on the way: products of the elements may overflow or vanish.
 *
 * @param[in]  m    any
 * @param[out] det  the determinant
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4c_determinant(const kmath_matrix4c *m, kmath_complex *det);

/**
 * r = m⁻¹ = adj(m)/det(m).
 *
 * Refused as singular is every m whose |det(m)|² is not above 1e-15: a determinant up to
 * 3.2e-8, or a NaN. The bound is absolute: in other units the same matrix may pass or fail.
 * Nothing is scaled on the way: where |det(m)|² overflows, the inverse holds zeros or NaN.
 *
 * @param[in]  m  any
 * @param[out] r  may be m; untouched on failure
 * @return KMATH_OK, or KMATH_ERR_SINGULAR
 * @see kmath_matrix4c_determinant
 */
KMATH_API kmath_status kmath_matrix4c_getInverse(const kmath_matrix4c *m, kmath_matrix4c *r);

/* 4×4 matrices of doubles. */

/**
 * m = I.
 *
 * @param[out] m  identity
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_initIdentity(kmath_matrix4 *m);

/**
 * m = 0.
 *
 * @param[out] m  every element 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_initClear(kmath_matrix4 *m);

/**
 * m = I, the default of the record.
 *
 * @param[out] m  identity
 * @return KMATH_OK
 * @see kmath_matrix4_initIdentity
 */
KMATH_API kmath_status kmath_matrix4_reset(kmath_matrix4 *m);

/**
 * r = a·b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_initMultiply(kmath_matrix4 *r, const kmath_matrix4 *a,
                                                  const kmath_matrix4 *b);

/**
 * r = m·v.
 *
 * @param[in]  m  any
 * @param[in]  v  any
 * @param[out] r  may be v
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_multv(const kmath_matrix4 *m, const kmath_vect4 *v,
                                           kmath_vect4 *r);

/**
 * m = s·m.
 *
 * @param[in,out] m  scaled in place
 * @param[in]     s  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_scale(kmath_matrix4 *m, double s);

/**
 * r = a + b.
 *
 * @param[out] r  may be a or b
 * @param[in]  a  any
 * @param[in]  b  any
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix4_initAdd(kmath_matrix4 *r, const kmath_matrix4 *a,
                                             const kmath_matrix4 *b);

/**
 * A·V = V·diag(λ): eigenvalues and eigenvectors of a real matrix, both complex in general.
 *
 * A shifted QR iteration in complex arithmetic turns A into Q·T·Qᴴ with T upper triangular,
 * whose eigenvectors follow by back-substitution. The shift is h + √(h² − det) of the
 * trailing 2×2 block with h half its trace, always this one of its two eigenvalues. Each
 * reflection adds to its column x the multiple e^{i·arg x₀}·‖x‖ of the first unit vector: the
 * phase of x₀ itself, so that nothing cancels; a column that is zero below its first element
 * needs no reflection and gets none. ‖x‖ is formed without overflow.
 *
 * Eigenvalues closer than 1e-9 relative to the larger count as equal. The second of them
 * either has an eigenvector of its own, which is exact to that tolerance, or, as in a Jordan
 * block, repeats the vector of the first: the columns of V are then linearly dependent.
 *
 * This shift does not serve every matrix. The limit of 100 iterations ends, among others,
 * rotations about the y axis, the cyclic permutation of four components, matrices whose shift
 * stays real before a complex pair, and about one random matrix in a hundred, but none seen
 * of the symmetric ones. For −A the shift is the other root, so it often converges where A
 * does not. Nothing is scaled beforehand: where squares of the elements overflow or vanish,
 * the shift is spoilt, and the limit usually ends these too, as it does most matrices with
 * NaN or infinities.
 *
 * @param[in]  A        any
 * @param[out] values   λ, the diagonal of T in order; not sorted
 * @param[out] vectors  V, the eigenvector of values.v[j] in column j; neither normalised nor
 *                      of a fixed phase
 * @return KMATH_OK, KMATH_ERR_SINGULAR when 100 iterations do not make T triangular, or
 *         KMATH_ERR_DIVIDE_BY_ZERO when two eigenvalues come out as exactly 0, as for the zero
 *         matrix or for scales too far apart, or exactly equal and smaller than 2.5e-315. Both
 *         leave vectors untouched; values is untouched by the first, and holds λ after the second
 * @see Golub & Van Loan, Matrix Computations, §5.1, §7.5 and §7.6
 */
KMATH_API kmath_status kmath_matrix4_eigen(const kmath_matrix4 *A, kmath_vect4c *values,
                                           kmath_matrix4c *vectors);

/* 6×6 matrices of floats. */

/**
 * m = I.
 *
 * @param[out] m  identity
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix6F_initIdentity(kmath_matrix6F *m);

/**
 * m = 0.
 *
 * @param[out] m  every element 0
 * @return KMATH_OK
 */
KMATH_API kmath_status kmath_matrix6F_initClear(kmath_matrix6F *m);

#ifdef __cplusplus
}
#endif

#endif
