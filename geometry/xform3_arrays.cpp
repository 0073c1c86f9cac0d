// Arrays of points and vectors under one linear transform.
//
// Every item gets the bits of the function that maps one.
#include <kmath/platform.h>
#include <kmath/xform3.h>

#include "kernels/kernels.hpp"

#include <bit>
#include <cstddef>

using namespace kmath;

namespace
{

// Asks as getIsIdentity does, without its assertions.
bool isIdentity(const kmath_xform3Linear *X)
{
    kmath_xform3Linear identity;
    uint32_t equal = 0;
    kmath_xform3Linear_initIdentity(&identity);
    kmath_xform3Linear_compareEqual(X, &identity, &equal);
    return equal != 0;
}

template <class Item> kmath_status copyItems(int64_t count, const Item *input, Item *output)
{
    if (count < 0)
        return KMATH_ERR_NEGATIVE_COUNT;
    if (count == 0 || input == output)
        return KMATH_OK;
    return ksys_memory_copy(output, input, static_cast<std::size_t>(count) * sizeof(Item));
}

// The same items as the kernels see them; their transform has the layout of ours.
const double *numbers(const kmath_vect3 *items) { return reinterpret_cast<const double *>(items); }
double *numbers(kmath_vect3 *items) { return reinterpret_cast<double *>(items); }
const float *numbers(const kmath_vect3F *items) { return reinterpret_cast<const float *>(items); }
float *numbers(kmath_vect3F *items) { return reinterpret_cast<float *>(items); }

template <class Number> using MapNumbers = void (*)(Affine, const Number *, Number *, std::int64_t);

template <class Item, class Number>
kmath_status mapItems(const kmath_xform3Linear *X, int64_t count, const Item *input, Item *output,
                      MapNumbers<Number> Kernels::*map)
{
    static_assert(sizeof(Item) == 3 * sizeof(Number));
    if (count < 0)
        return KMATH_ERR_NEGATIVE_COUNT;
    if (count > 0)
        (kernels().*map)(std::bit_cast<Affine>(*X), numbers(input), numbers(output), count);
    return KMATH_OK;
}

} // namespace

kmath_status kmath_xform3Linear_mapPoints(const kmath_xform3Linear *X, int64_t count,
                                          const kmath_vect3 *input, kmath_vect3 *output)
{
    if (count > 0 && isIdentity(X))
        return kmath_xform3LinearMapPointsIdentity(count, input, output);
    return mapItems(X, count, input, output, &Kernels::mapPoints);
}

kmath_status kmath_xform3Linear_mapPointsF(const kmath_xform3Linear *X, int64_t count,
                                           const kmath_vect3F *input, kmath_vect3F *output)
{
    if (count > 0 && isIdentity(X))
        return kmath_xform3LinearMapPointsIdentityF(count, input, output);
    return mapItems(X, count, input, output, &Kernels::mapPointsF);
}

kmath_status kmath_xform3Linear_mapVectors(const kmath_xform3Linear *X, int64_t count,
                                           const kmath_vect3 *input, kmath_vect3 *output)
{
    return mapItems(X, count, input, output, &Kernels::mapVectors);
}

kmath_status kmath_xform3Linear_mapVectorsF(const kmath_xform3Linear *X, int64_t count,
                                            const kmath_vect3F *input, kmath_vect3F *output)
{
    return mapItems(X, count, input, output, &Kernels::mapVectorsF);
}

kmath_status kmath_xform3LinearMapPointsIdentity(int64_t count, const kmath_vect3 *input,
                                                 kmath_vect3 *output)
{
    return copyItems(count, input, output);
}

kmath_status kmath_xform3LinearMapPointsIdentityF(int64_t count, const kmath_vect3F *input,
                                                  kmath_vect3F *output)
{
    return copyItems(count, input, output);
}
