#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace
{

using support::assertedLine;

/// The operations of the vector of doubles and of the vector of flags under one name.
struct Doubles {
    using Vector = kstd_vectord;
    using Element = double;
    static constexpr auto construct = kstd_vectord_construct;
    static constexpr auto constructFill = kstd_vectord_constructFill;
    static constexpr auto destruct = kstd_vectord_destruct;
    static constexpr auto resize = kstd_vectord_resize;
    static constexpr auto getBegin = kstd_vectord_getBegin;
    static constexpr auto getSize = kstd_vectord_getSize;
    static constexpr double value = -2.625;
};

struct Flags {
    using Vector = kstd_vectorb;
    using Element = std::int32_t;
    static constexpr auto construct = kstd_vectorb_construct;
    static constexpr auto constructFill = kstd_vectorb_constructFill;
    static constexpr auto destruct = kstd_vectorb_destruct;
    static constexpr auto resize = kstd_vectorb_resize;
    static constexpr auto getBegin = kstd_vectorb_getBegin;
    static constexpr auto getSize = kstd_vectorb_getSize;
    static constexpr std::int32_t value = 1;
};

template <class Kind> class ScalarVector : public testing::Test
{
  protected:
    using Vector = typename Kind::Vector;
    using Element = typename Kind::Element;

    static std::vector<Element> contentOf(const Vector &vector)
    {
        Element *begin = nullptr;
        std::int32_t size = -1;
        EXPECT_EQ(Kind::getBegin(&vector, &begin), KMATH_OK);
        EXPECT_EQ(Kind::getSize(&vector, &size), KMATH_OK);
        return {begin, begin + size};
    }

    void TearDown() override { EXPECT_EQ(support::liveBlocks(), blocksBefore) << "leaked"; }

    Vector vector;
    std::int64_t blocksBefore = support::liveBlocks();
};

using Kinds = testing::Types<Doubles, Flags>;
TYPED_TEST_SUITE(ScalarVector, Kinds);

TYPED_TEST(ScalarVector, BeginsEmptyWithoutMemory)
{
    const std::int64_t taken = support::allocationsOf([&] { TypeParam::construct(&this->vector); });
    EXPECT_EQ(taken, 0);
    EXPECT_TRUE(this->contentOf(this->vector).empty());
    EXPECT_EQ(TypeParam::destruct(&this->vector), KMATH_OK);
}

TYPED_TEST(ScalarVector, IsFilledWithItsValue)
{
    for (const std::size_t n : {0u, 1u, 17u, 1000u}) {
        ASSERT_EQ(TypeParam::constructFill(&this->vector, n, TypeParam::value), KMATH_OK);
        EXPECT_EQ(this->contentOf(this->vector), std::vector(n, TypeParam::value));
        EXPECT_EQ(TypeParam::destruct(&this->vector), KMATH_OK);
    }
}

TYPED_TEST(ScalarVector, ResizeKeepsWhatStaysAndClearsWhatIsNew)
{
    ASSERT_EQ(TypeParam::constructFill(&this->vector, 3, TypeParam::value), KMATH_OK);
    ASSERT_EQ(TypeParam::resize(&this->vector, 5), KMATH_OK);
    auto expected = std::vector(3, TypeParam::value);
    expected.resize(5);
    EXPECT_EQ(this->contentOf(this->vector), expected);

    ASSERT_EQ(TypeParam::resize(&this->vector, 2), KMATH_OK);
    ASSERT_EQ(TypeParam::resize(&this->vector, 4), KMATH_OK); // within the old block
    expected.resize(2);
    expected.resize(4);
    EXPECT_EQ(this->contentOf(this->vector), expected);

    ASSERT_EQ(TypeParam::resize(&this->vector, 0), KMATH_OK);
    EXPECT_TRUE(this->contentOf(this->vector).empty());
    TypeParam::destruct(&this->vector);
}

TYPED_TEST(ScalarVector, MayBeUsedAgainAfterDestruct)
{
    TypeParam::constructFill(&this->vector, 9, TypeParam::value);
    TypeParam::destruct(&this->vector);
    EXPECT_EQ(TypeParam::destruct(&this->vector), KMATH_OK);
    EXPECT_EQ(TypeParam::resize(&this->vector, 2), KMATH_OK);
    EXPECT_EQ(this->contentOf(this->vector), (std::vector<typename TypeParam::Element>(2)));
    TypeParam::destruct(&this->vector);
}

TYPED_TEST(ScalarVector, RefusesMoreThanCanBeAddressed)
{
    ASSERT_EQ(TypeParam::constructFill(&this->vector, 2, TypeParam::value), KMATH_OK);
    constexpr std::size_t size = sizeof(typename TypeParam::Element);
    for (const std::size_t n :
         {std::numeric_limits<std::size_t>::max(),
          std::numeric_limits<std::size_t>::max() / size + 2, std::size_t{PTRDIFF_MAX} / size + 1})
        EXPECT_EQ(TypeParam::resize(&this->vector, n), KMATH_ERR_NO_MEMORY) << n;
    EXPECT_EQ(this->contentOf(this->vector), std::vector(2, TypeParam::value));
    TypeParam::destruct(&this->vector);
}

TYPED_TEST(ScalarVector, SurvivesFailingAllocations)
{
    support::sweepAllocationFailures([&] {
        typename TypeParam::Vector swept;
        const kmath_status made = TypeParam::constructFill(&swept, 4, TypeParam::value);
        const kmath_status status = KMATH_IS_FAILURE(made) ? made : TypeParam::resize(&swept, 4000);
        EXPECT_EQ(this->contentOf(swept).size(), KMATH_IS_FAILURE(made)     ? 0u
                                                 : KMATH_IS_FAILURE(status) ? 4u
                                                                            : 4000u);
        TypeParam::destruct(&swept);
        return status;
    });
}

TYPED_TEST(ScalarVector, AssertsItsArguments)
{
    typename TypeParam::Element *begin;
    std::int32_t size;
    EXPECT_NE(assertedLine([] { TypeParam::construct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { TypeParam::constructFill(nullptr, 1, TypeParam::value); }), 0);
    EXPECT_NE(assertedLine([] { TypeParam::destruct(nullptr); }), 0);
    EXPECT_NE(assertedLine([] { TypeParam::resize(nullptr, 1); }), 0);
    EXPECT_NE(assertedLine([&] { TypeParam::getBegin(nullptr, &begin); }), 0);
    EXPECT_NE(assertedLine([&] { TypeParam::getBegin(&this->vector, nullptr); }), 0);
    EXPECT_NE(assertedLine([&] { TypeParam::getSize(nullptr, &size); }), 0);
    EXPECT_NE(assertedLine([&] { TypeParam::getSize(&this->vector, nullptr); }), 0);
}

} // namespace
