// Arrays of points and vectors under one linear transform.
//
// Every item gets the bits of the function that maps one.
#include <kmath/xform3.h>

#include "platform/check.hpp"

#include <cstddef>

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

template <class Item>
using MapItem = kmath_status (*)(const kmath_xform3Linear *, const Item *, Item *);

template <class Item> kmath_status mapItems(const kmath_xform3Linear *X, int64_t count,
                                            const Item *input, Item *output, MapItem<Item> mapItem)
{
    if (count < 0)
        return KMATH_ERR_NEGATIVE_COUNT;
    for (int64_t i = 0; i < count; ++i)
        RETURN_IF_FAILED(mapItem(X, input + i, output + i));
    return KMATH_OK;
}

} // namespace

kmath_status kmath_xform3Linear_mapPoints(const kmath_xform3Linear *X, int64_t count,
                                          const kmath_vect3 *input, kmath_vect3 *output)
{
    if (count > 0 && isIdentity(X))
        return kmath_xform3LinearMapPointsIdentity(count, input, output);
    return mapItems(X, count, input, output, kmath_xform3Linear_mapPoint);
}

kmath_status kmath_xform3Linear_mapPointsF(const kmath_xform3Linear *X, int64_t count,
                                           const kmath_vect3F *input, kmath_vect3F *output)
{
    if (count > 0 && isIdentity(X))
        return kmath_xform3LinearMapPointsIdentityF(count, input, output);
    return mapItems(X, count, input, output, kmath_xform3Linear_mapPointF);
}

kmath_status kmath_xform3Linear_mapVectors(const kmath_xform3Linear *X, int64_t count,
                                           const kmath_vect3 *input, kmath_vect3 *output)
{
    return mapItems(X, count, input, output, kmath_xform3Linear_mapVector);
}

kmath_status kmath_xform3Linear_mapVectorsF(const kmath_xform3Linear *X, int64_t count,
                                            const kmath_vect3F *input, kmath_vect3F *output)
{
    return mapItems(X, count, input, output, kmath_xform3Linear_mapVectorF);
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
