// The dense records: their sizes and the offsets of their fields.
#include <kmath/nmmatrix.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace
{

constexpr std::size_t pointer = sizeof(void *);

TEST(DenseRecordLayout, NmmatrixHoldsSixteenElementsInSixRows)
{
    EXPECT_EQ(KMATH_NMMATRIX_INLINE_ELEMENTS, 16);
    EXPECT_EQ(KMATH_NMMATRIX_INLINE_ROWS, 6);
    EXPECT_EQ(offsetof(kmath_nmmatrix, rows), 0u);
    EXPECT_EQ(offsetof(kmath_nmmatrix, nRows), pointer);
    EXPECT_EQ(offsetof(kmath_nmmatrix, nCols), pointer + 4);
    EXPECT_EQ(offsetof(kmath_nmmatrix, onHeap), pointer + 8);
    // The doubles begin at the next multiple of 8.
    const std::size_t elements = (pointer + 12 + 7) / 8 * 8;
    EXPECT_EQ(offsetof(kmath_nmmatrix, inlineData), elements);
    EXPECT_EQ(offsetof(kmath_nmmatrix, inlineRows), elements + 16 * 8);
    EXPECT_EQ(offsetof(kmath_nmmatrix, heapRows), elements + 16 * 8 + 6 * pointer);
    EXPECT_EQ(sizeof(kmath_nmmatrix), (elements + 16 * 8 + 7 * pointer + 7) / 8 * 8);
    EXPECT_TRUE(std::is_trivial_v<kmath_nmmatrix> && std::is_standard_layout_v<kmath_nmmatrix>);
}

TEST(DenseRecordLayout, NvectorIsAPointerAndALength)
{
    EXPECT_EQ(offsetof(kmath_nvector, data), 0u);
    EXPECT_EQ(offsetof(kmath_nvector, n), pointer);
    EXPECT_EQ(sizeof(kmath_nvector), 2 * pointer);
    EXPECT_TRUE(std::is_trivial_v<kmath_nvector> && std::is_standard_layout_v<kmath_nvector>);
}

} // namespace
