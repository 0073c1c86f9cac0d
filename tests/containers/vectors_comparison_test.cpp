#include "containers/typed_vectors.hpp"

#include <cmath>
#include <limits>

namespace
{

using namespace containers;

/// The plain record at the bottom of an element: the first one of its first vector.
template <class Element> auto *innermost(Element *element)
{
    if constexpr (ValuesOf<Element>::ownsMemory) {
        ElementOf<Element> *begin = nullptr;
        OperationsOf<Element>::getBegin(element, &begin);
        return innermost(begin);
    } else {
        return element;
    }
}

template <class Vector> class VectorComparison : public VectorTest<Vector>
{
  protected:
    ~VectorComparison() override
    {
        OperationsOf<Vector>::destruct(&other); // before the base counts the blocks
    }

    void fillOther(const std::vector<int> &wanted)
    {
        const BlockOf<Vector> block(wanted);
        ASSERT_EQ(OperationsOf<Vector>::assignElements(&other, block.data(), wanted.size()),
                  KMATH_OK);
    }

    static std::uint32_t areEqual(const Vector &a, const Vector &b)
    {
        std::uint32_t equal = 77;
        EXPECT_EQ(OperationsOf<Vector>::compareEqual(&a, &b, &equal), KMATH_OK);
        return equal;
    }

    std::uint32_t compare(const std::vector<int> &a, const std::vector<int> &b)
    {
        this->fill(a);
        fillOther(b);
        const std::uint32_t equal = areEqual(this->vector, other);
        EXPECT_EQ(areEqual(other, this->vector), equal) << "whichever comes first";
        return equal;
    }

    Vector other = [] {
        Vector empty;
        OperationsOf<Vector>::constructEmpty(&empty);
        return empty;
    }();
};
TYPED_TEST_SUITE(VectorComparison, ComparableVectorTypes, VectorNames);

TYPED_TEST(VectorComparison, IsOneForTheSameElements)
{
    EXPECT_EQ(this->compare({}, {}), 1u);
    EXPECT_EQ(this->compare({1, 2, 3}, {1, 2, 3}), 1u);
    ASSERT_EQ(OperationsOf<TypeParam>::reserve(&this->vector, 100), KMATH_OK);
    EXPECT_EQ(this->areEqual(this->vector, this->other), 1u) << "whatever there is room for";
    EXPECT_EQ(this->areEqual(this->vector, this->vector), 1u);
}

TYPED_TEST(VectorComparison, IsZeroForOtherSizes)
{
    EXPECT_EQ(this->compare({1, 2, 3}, {1, 2}), 0u);
    EXPECT_EQ(this->compare({}, {1}), 0u);
    EXPECT_EQ(this->compare({0}, {0, 0}), 0u);
    EXPECT_EQ(this->compare({}, {0}), 0u);
}

TYPED_TEST(VectorComparison, IsZeroForOneOtherElement)
{
    for (std::size_t i = 0; i < 5; ++i) {
        std::vector<int> changed = {1, 2, 3, 4, 5};
        changed[i] = 9;
        EXPECT_EQ(this->compare({1, 2, 3, 4, 5}, changed), 0u) << i;
    }
    EXPECT_EQ(this->compare({1, 2}, {2, 1}), 0u);
}

TYPED_TEST(VectorComparison, ComparesEachComponentAsANumberOfItsPrecision)
{
    this->fill({5, 6, 7});
    this->fillOther({5, 6, 7});
    using Record = std::remove_pointer_t<decltype(innermost(this->element(0)))>;
    using Number = typename ValuesOf<Record>::Component;
    using Limits = std::numeric_limits<Number>;
    for (std::size_t i = 0; i < ValuesOf<Record>::components; ++i) {
        ElementOf<TypeParam> *begin = nullptr;
        OperationsOf<TypeParam>::getBegin(&this->other, &begin);
        const auto place = [i](auto *element) {
            return reinterpret_cast<char *>(innermost(element)) + i * sizeof(Number);
        };
        char *a = place(this->element(1)), *b = place(begin + 1);
        Number before;
        std::memcpy(&before, a, sizeof before);
        const auto compare = [&](Number inA, Number inB) {
            std::memcpy(a, &inA, sizeof inA);
            std::memcpy(b, &inB, sizeof inB);
            return this->areEqual(this->vector, this->other);
        };
        EXPECT_EQ(compare(before, std::nextafter(before, Limits::infinity())), 0u) << i;
        EXPECT_EQ(compare(std::nextafter(before, Number(0)), before), 0u) << i;
        EXPECT_EQ(compare(Limits::denorm_min(), 0), 0u) << i;
        EXPECT_EQ(compare(Number(-0.0), Number(0.0)), 1u) << i;
        EXPECT_EQ(compare(Limits::infinity(), Limits::infinity()), 1u) << i;
        EXPECT_EQ(compare(Limits::infinity(), -Limits::infinity()), 0u) << i;
        EXPECT_EQ(compare(Limits::quiet_NaN(), Limits::quiet_NaN()), 0u) << i;
        EXPECT_EQ(this->areEqual(this->vector, this->vector), 0u) << "a NaN equals nothing";
        EXPECT_EQ(compare(before, before), 1u) << i;
    }
}

template <class Vector> class NestedVectorComparison : public testing::Test
{
  protected:
    using Inner = ElementOf<Vector>;

    /// A vector with those numbers in each of its vectors.
    static void make(Vector &made, const std::vector<std::vector<int>> &wanted)
    {
        ASSERT_EQ(OperationsOf<Vector>::construct(&made, wanted.size()), KMATH_OK);
        Inner *inner = nullptr;
        OperationsOf<Vector>::getBegin(&made, &inner);
        for (const std::vector<int> &numbers : wanted) {
            const BlockOf<Inner> block(numbers);
            ASSERT_EQ(OperationsOf<Inner>::assignElements(inner++, block.data(), numbers.size()),
                      KMATH_OK);
        }
    }

    static std::uint32_t compare(const std::vector<std::vector<int>> &wantedA,
                                 const std::vector<std::vector<int>> &wantedB)
    {
        Vector a, b;
        make(a, wantedA);
        make(b, wantedB);
        std::uint32_t equal = 77;
        EXPECT_EQ(OperationsOf<Vector>::compareEqual(&a, &b, &equal), KMATH_OK);
        OperationsOf<Vector>::destruct(&a);
        OperationsOf<Vector>::destruct(&b);
        return equal;
    }
};
TYPED_TEST_SUITE(NestedVectorComparison, NestedVectorTypes, VectorNames);

TYPED_TEST(NestedVectorComparison, ComparesTheVectorsWithin)
{
    EXPECT_EQ(this->compare({{1}, {2, 3}, {}}, {{1}, {2, 3}, {}}), 1u);
    EXPECT_EQ(this->compare({{1}, {2, 3}}, {{1, 2}, {3}}), 0u) << "they end at other places";
    EXPECT_EQ(this->compare({{}, {1}}, {{1}, {}}), 0u);
    EXPECT_EQ(this->compare({{}}, {}), 0u);
    EXPECT_EQ(this->compare({{}}, {{}}), 1u);
    EXPECT_EQ(this->compare({{0}}, {{}}), 0u);
    EXPECT_EQ(this->compare({{1, 2, 3}}, {{1, 2, 4}}), 0u);
    EXPECT_EQ(this->compare({{1, 2, 3}}, {{1, 2}}), 0u);
}

} // namespace
