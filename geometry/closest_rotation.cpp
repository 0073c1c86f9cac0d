// The rotation, or the orthogonal matrix, closest to a 3×3 matrix.
//
// Of all orthogonal matrices, U·Vᵀ from the singular value decomposition M = U·W·Vᵀ is nearest to
// M in the Frobenius norm (the orthogonal Procrustes problem; Golub & Van Loan, §12.4).
#include <kmath/rotations.h>

#include "platform/cleanup_frame.hpp"
#include "platform/math_support.hpp"

using namespace kmath;

namespace
{

enum class Handed { right, either };

// True where every element of S is within 1e-15 of the unit matrix.
bool isIdentity(const kmath_nmmatrix &S)
{
    constexpr double tolerance = 1e-15;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!kmath_double_epsilonEqual(S.rows[i][j], i == j ? 1.0 : 0.0, tolerance))
                return false;
    return true;
}

double determinant(const kmath_matrix3 &M)
{
    double det;
    kmath_matrix3_determinant(&M, &det);
    return det;
}

kmath_status copyRotation(const kmath_matrix3 *M, kmath_matrix3 *R)
{
    if (determinant(*M) <= 0.0)
        return KMATH_ERR_LEFT_HANDED;
    *R = *M;
    return KMATH_OK;
}

kmath_status copyOrthogonal(const kmath_matrix3 *M, const kmath_nmmatrix &S, kmath_matrix3 *R)
{
    *R = *M;
    // Never negative, as it is the square of that of M: reflections are welcome here.
    kmath_matrix3 square;
    RETURN_IF_FAILED(kmath_matrix3_copyNM3x3to3(&square, &S));
    return determinant(square) < 0.0 ? KMATH_ERR_SINGULAR : KMATH_OK;
}

kmath_status closest(const kmath_matrix3 *M, kmath_matrix3 *R, Handed handed)
{
    kmath_nmmatrix A, U, W, V;
    CleanupFrame frame(A, U, W, V);
    kmath_nmmatrix &S = W; // MᵀM, until W holds the singular values
    kmath_nmmatrix &P = A; // U·Vᵀ, once M has been decomposed

    TRY(kmath_matrix3_copy3toNM(&A, M));
    TRY(kmath_nmmatrix_square(&A, &S));
    if (isIdentity(S))
        return frame.leave(handed == Handed::right ? copyRotation(M, R) : copyOrthogonal(M, S, R));

    TRY(kmath_nmmatrix_decompose(&A, &U, &W, &V));
    TRY(kmath_nmmatrix_multiplyT(&U, &V, &P));
    TRY(kmath_matrix3_copyNM3x3to3(R, &P));
    // Deliberate: R already holds the reflection that is refused, and 0 passes, unlike above.
    const bool refused = handed == Handed::right && determinant(*R) < 0.0;
    return frame.leave(refused ? KMATH_ERR_LEFT_HANDED : KMATH_OK);
}

} // namespace

kmath_status kmath_rodParam_findClosestRotation(const kmath_matrix3 *M, kmath_matrix3 *R)
{
    KMATH_ASSERT(M && R);
    return closest(M, R, Handed::right);
}

kmath_status kmath_rodParam_findClosestRotationAllowLeftHanded(const kmath_matrix3 *M,
                                                               kmath_matrix3 *R)
{
    return closest(M, R, Handed::either);
}
