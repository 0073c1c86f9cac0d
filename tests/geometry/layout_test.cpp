// The records that cross the interface by address: their sizes and the offsets of their fields.
#include <kmath/matrix3.h>
#include <kmath/matrix4.h>
#include <kmath/rotations.h>
#include <kmath/vectors.h>
#include <kmath/xform3.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace
{

TEST(RecordLayout, RadianIsOneDouble)
{
    EXPECT_EQ(sizeof(radian), 8u);
    EXPECT_EQ(offsetof(radian, value), 0u);
}

TEST(RecordLayout, Vect3IsThreeDoubles)
{
    EXPECT_EQ(sizeof(kmath_vect3), 24u);
    EXPECT_EQ(offsetof(kmath_vect3, x), 0u);
    EXPECT_EQ(offsetof(kmath_vect3, y), 8u);
    EXPECT_EQ(offsetof(kmath_vect3, z), 16u);
}

TEST(RecordLayout, Vect3FIsThreeFloats)
{
    EXPECT_EQ(sizeof(kmath_vect3F), 12u);
    EXPECT_EQ(offsetof(kmath_vect3F, x), 0u);
    EXPECT_EQ(offsetof(kmath_vect3F, y), 4u);
    EXPECT_EQ(offsetof(kmath_vect3F, z), 8u);
}

TEST(RecordLayout, Xform3IsATranslationAndAMatrix)
{
    EXPECT_EQ(sizeof(kmath_xform3Linear), 96u);
    EXPECT_EQ(offsetof(kmath_xform3Linear, translation), 0u);
    EXPECT_EQ(offsetof(kmath_xform3Linear, matrix), 24u);
}

TEST(RecordLayout, Vect4IsFourDoubles)
{
    EXPECT_EQ(sizeof(kmath_vect4), 32u);
    EXPECT_EQ(offsetof(kmath_vect4, x), 0u);
    EXPECT_EQ(offsetof(kmath_vect4, y), 8u);
    EXPECT_EQ(offsetof(kmath_vect4, z), 16u);
    EXPECT_EQ(offsetof(kmath_vect4, w), 24u);
}

TEST(RecordLayout, Vect6FIsSixFloats)
{
    EXPECT_EQ(sizeof(kmath_vect6F), 24u);
    EXPECT_EQ(offsetof(kmath_vect6F, v), 0u);
    EXPECT_EQ(sizeof(kmath_vect6F::v[0]), 4u);
}

TEST(RecordLayout, Matrix3IsNineDoublesByRows)
{
    EXPECT_EQ(sizeof(kmath_matrix3), 72u);
    EXPECT_EQ(offsetof(kmath_matrix3, m00), 0u);
    EXPECT_EQ(offsetof(kmath_matrix3, m01), 8u);
    EXPECT_EQ(offsetof(kmath_matrix3, m02), 16u);
    EXPECT_EQ(offsetof(kmath_matrix3, m10), 24u);
    EXPECT_EQ(offsetof(kmath_matrix3, m11), 32u);
    EXPECT_EQ(offsetof(kmath_matrix3, m12), 40u);
    EXPECT_EQ(offsetof(kmath_matrix3, m20), 48u);
    EXPECT_EQ(offsetof(kmath_matrix3, m21), 56u);
    EXPECT_EQ(offsetof(kmath_matrix3, m22), 64u);
}

TEST(RecordLayout, RodParamIsThreeDoubles)
{
    EXPECT_EQ(sizeof(kmath_rodParam), 24u);
    EXPECT_EQ(offsetof(kmath_rodParam, x), 0u);
    EXPECT_EQ(offsetof(kmath_rodParam, y), 8u);
    EXPECT_EQ(offsetof(kmath_rodParam, z), 16u);
}

TEST(RecordLayout, Angle3VectIsThreeDoubles)
{
    EXPECT_EQ(sizeof(kmath_angle3Vect), 24u);
    EXPECT_EQ(offsetof(kmath_angle3Vect, ax), 0u);
    EXPECT_EQ(offsetof(kmath_angle3Vect, ay), 8u);
    EXPECT_EQ(offsetof(kmath_angle3Vect, az), 16u);
}

TEST(RecordLayout, ComplexIsTheRealPartThenTheImaginary)
{
    EXPECT_EQ(sizeof(kmath_complex), 16u);
    EXPECT_EQ(offsetof(kmath_complex, re), 0u);
    EXPECT_EQ(offsetof(kmath_complex, im), 8u);
}

TEST(RecordLayout, Vect4cIsFourComplexNumbers)
{
    EXPECT_EQ(sizeof(kmath_vect4c), 64u);
    EXPECT_EQ(offsetof(kmath_vect4c, v), 0u);
    EXPECT_EQ(offsetof(kmath_vect4c, v[3].im), 56u);
}

TEST(RecordLayout, Matrix4cIsSixteenComplexNumbersByRows)
{
    EXPECT_EQ(sizeof(kmath_matrix4c), 256u);
    EXPECT_EQ(offsetof(kmath_matrix4c, m), 0u);
    EXPECT_EQ(offsetof(kmath_matrix4c, m[0][1].re), 16u);
    EXPECT_EQ(offsetof(kmath_matrix4c, m[1][0].re), 64u);
    EXPECT_EQ(offsetof(kmath_matrix4c, m[3][3].im), 248u);
}

TEST(RecordLayout, Matrix4IsSixteenDoublesByRows)
{
    EXPECT_EQ(sizeof(kmath_matrix4), 128u);
    EXPECT_EQ(offsetof(kmath_matrix4, m), 0u);
    EXPECT_EQ(offsetof(kmath_matrix4, m[0][1]), 8u);
    EXPECT_EQ(offsetof(kmath_matrix4, m[1][0]), 32u);
    EXPECT_EQ(offsetof(kmath_matrix4, m[3][3]), 120u);
}

TEST(RecordLayout, Matrix6FIsThirtySixFloatsByRows)
{
    EXPECT_EQ(sizeof(kmath_matrix6F), 144u);
    EXPECT_EQ(offsetof(kmath_matrix6F, m), 0u);
    EXPECT_EQ(offsetof(kmath_matrix6F, m[1][0]), 24u);
    EXPECT_EQ(offsetof(kmath_matrix6F, m[5][5]), 140u);
}

TEST(RecordLayout, EveryRecordIsPlain)
{
    EXPECT_TRUE(std::is_trivial_v<radian> && std::is_standard_layout_v<radian>);
    EXPECT_TRUE(std::is_trivial_v<kmath_vect3> && std::is_standard_layout_v<kmath_vect3>);
    EXPECT_TRUE(std::is_trivial_v<kmath_vect3F> && std::is_standard_layout_v<kmath_vect3F>);
    EXPECT_TRUE(std::is_trivial_v<kmath_vect4> && std::is_standard_layout_v<kmath_vect4>);
    EXPECT_TRUE(std::is_trivial_v<kmath_vect6F> && std::is_standard_layout_v<kmath_vect6F>);
    EXPECT_TRUE(std::is_trivial_v<kmath_matrix3> && std::is_standard_layout_v<kmath_matrix3>);
    EXPECT_TRUE(std::is_trivial_v<kmath_rodParam> && std::is_standard_layout_v<kmath_rodParam>);
    EXPECT_TRUE(std::is_trivial_v<kmath_angle3Vect> && std::is_standard_layout_v<kmath_angle3Vect>);
    EXPECT_TRUE(std::is_trivial_v<kmath_complex> && std::is_standard_layout_v<kmath_complex>);
    EXPECT_TRUE(std::is_trivial_v<kmath_vect4c> && std::is_standard_layout_v<kmath_vect4c>);
    EXPECT_TRUE(std::is_trivial_v<kmath_matrix4c> && std::is_standard_layout_v<kmath_matrix4c>);
    EXPECT_TRUE(std::is_trivial_v<kmath_matrix4> && std::is_standard_layout_v<kmath_matrix4>);
    EXPECT_TRUE(std::is_trivial_v<kmath_matrix6F> && std::is_standard_layout_v<kmath_matrix6F>);
}

} // namespace
