// The LU factors P·A = L·U: making them in place, and solving with them.
#pragma once

#include "kernels/kernels.hpp"

#include <cstdint>

namespace kmath
{

/// Replaces the n × n matrix with the row table a by its factors; perm[j] is the row swapped with
/// row j at step j, parity the sign of the permutation, scale room for n reciprocal row sizes.
/// False where a is singular: for a row of zeros, which leaves a as it was, and, if strict, for a
/// tiny pivot, which leaves the columns up to its own factorised and only the swaps applied to the
/// others.
bool factorise(double *const *a, int n, int32_t *perm, double &parity, double *scale, bool strict,
               const Kernels &set);

/// b = A⁻¹·b for n contiguous doubles.
void substitute(const double *const *lu, int n, const int32_t *perm, double *b);

/// X = A⁻¹ for an n × n X of zeros.
void invertFactors(const double *const *lu, int n, const int32_t *perm, double *const *X,
                   const Kernels &set);

} // namespace kmath
