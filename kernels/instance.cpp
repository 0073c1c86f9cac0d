// One table of kernels. The build compiles this file once per instruction set, with KMATH_INSTANCE
// naming the table: the only symbol that such an object may define.
#include "kernels/kernels.hpp"
#include "kernels/lanes.hpp"

#include "kernels/elementwise.hpp"
#include "kernels/points.hpp"
#include "kernels/products.hpp"
#include "kernels/updates.hpp"

#define KMATH_TEXT_(x) #x
#define KMATH_TEXT(x)  KMATH_TEXT_(x)

namespace kmath
{

const Kernels KMATH_INSTANCE = {
    .name = KMATH_TEXT(KMATH_INSTANCE),
    .lanes = laneCount,
    .product = product<Block, ConstBlock>,
    .Tproduct = Tproduct<Block, ConstBlock>,
    .productT = productT<Block, ConstBlock>,
    .square = square,
    .Tsquare = Tsquare,
    .stridedProduct = product<Strided, ConstStrided>,
    .stridedTproduct = Tproduct<Strided, ConstStrided>,
    .stridedProductT = productT<Strided, ConstStrided>,
    .sum = sum,
    .difference = difference,
    .scaledSum = scaledSum,
    .scaled = scaled,
    .scale = scale,
    .addScalar = addScalar,
    .add = add,
    .subtract = subtract,
    .addScaled = addScaled,
    .subtractScaled = subtractScaled,
    .rotate = rotate,
    .rankOneSubtract = rankOneSubtract,
    .mapPoints = mapPoints,
    .mapPointsF = mapPointsF,
    .mapVectors = mapVectors,
    .mapVectorsF = mapVectorsF,
};

} // namespace kmath
