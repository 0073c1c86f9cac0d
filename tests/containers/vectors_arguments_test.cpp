#include "containers/typed_vectors.hpp"

namespace
{

using namespace containers;
using support::assertedLine;

template <class Vector> class TypedVectorArguments : public VectorTest<Vector>
{
};
TYPED_TEST_SUITE(TypedVectorArguments, VectorTypes, VectorNames);

TYPED_TEST(TypedVectorArguments, AreAsserted)
{
    using Operations = OperationsOf<TypeParam>;
    auto *given = &this->vector;
    ElementOf<TypeParam> some, *element = nullptr;
    const ElementOf<TypeParam> *constElement = nullptr;
    std::size_t size;
    std::int32_t size32;
    std::intptr_t sizeIntPtr;
    const auto expectAsserted = [](int line, const auto &body) {
        EXPECT_NE(assertedLine(body), 0) << "line " << line;
    };
#define EXPECT_ASSERTED(...) expectAsserted(__LINE__, [&] { Operations::__VA_ARGS__; })
    EXPECT_ASSERTED(construct(nullptr, 1));
    EXPECT_ASSERTED(constructWithMtable(nullptr, 1, nullptr));
    EXPECT_ASSERTED(constructEmpty(nullptr));
    EXPECT_ASSERTED(constructEmptyWithMtable(nullptr, nullptr));
    EXPECT_ASSERTED(constructUninit(nullptr, 1));
    EXPECT_ASSERTED(constructFill(nullptr, 1, &some));
    EXPECT_ASSERTED(constructFill(given, 1, nullptr));
    EXPECT_ASSERTED(constructFromBlock(nullptr, &some, 1));
    EXPECT_ASSERTED(constructFromBlock(given, nullptr, 1));
    EXPECT_ASSERTED(constructCopy(nullptr, given));
    EXPECT_ASSERTED(constructCopy(given, nullptr));
    EXPECT_ASSERTED(destruct(nullptr));
    EXPECT_ASSERTED(create(nullptr));
    EXPECT_ASSERTED(newClone(nullptr, given));
    EXPECT_ASSERTED(destroy(nullptr));
    EXPECT_ASSERTED(assign(nullptr, given));
    EXPECT_ASSERTED(assign(given, nullptr));
    EXPECT_ASSERTED(assignElements(nullptr, &some, 1));
    EXPECT_ASSERTED(assignElements(given, nullptr, 1));
    EXPECT_ASSERTED(append(nullptr, given));
    EXPECT_ASSERTED(append(given, nullptr));
    EXPECT_ASSERTED(swap(nullptr, given));
    EXPECT_ASSERTED(swap(given, nullptr));
    EXPECT_ASSERTED(clear(nullptr));
    EXPECT_ASSERTED(clearAndFreeMemory(nullptr));
    EXPECT_ASSERTED(reserve(nullptr, 1));
    EXPECT_ASSERTED(resize(nullptr, 1));
    EXPECT_ASSERTED(resizeFill(nullptr, 1, &some));
    EXPECT_ASSERTED(resizeFill(given, 1, nullptr));
    EXPECT_ASSERTED(resizeUninit(nullptr, 1));
    EXPECT_ASSERTED(pushBack(nullptr, &some));
    EXPECT_ASSERTED(pushBack(given, nullptr));
    EXPECT_ASSERTED(popBack(nullptr));
    EXPECT_ASSERTED(insert(nullptr, 0, &some, 1));
    EXPECT_ASSERTED(insert(given, 0, nullptr, 1));
    EXPECT_ASSERTED(insertElement(nullptr, 0, &some));
    EXPECT_ASSERTED(insertElement(given, 0, nullptr));
    EXPECT_ASSERTED(erase(nullptr, 0, 1));
    EXPECT_ASSERTED(eraseElement(nullptr, 0));
    EXPECT_ASSERTED(getBegin(nullptr, &element));
    EXPECT_ASSERTED(getBegin(given, nullptr));
    EXPECT_ASSERTED(getBeginConst(nullptr, &constElement));
    EXPECT_ASSERTED(getBeginConst(given, nullptr));
    EXPECT_ASSERTED(getBeginEnd(nullptr, &element, &element));
    EXPECT_ASSERTED(getBeginEnd(given, &element, nullptr));
    EXPECT_ASSERTED(getBeginEndConst(nullptr, &constElement, &constElement));
    EXPECT_ASSERTED(getBeginEndConst(given, nullptr, &constElement));
    EXPECT_ASSERTED(getBeginSize(nullptr, &element, &size));
    EXPECT_ASSERTED(getBeginSize(given, &element, nullptr));
    EXPECT_ASSERTED(getBeginSizeConst(nullptr, &constElement, &size));
    EXPECT_ASSERTED(getBeginSizeConst(given, &constElement, nullptr));
    EXPECT_ASSERTED(getBeginSize32(nullptr, &element, &size32));
    EXPECT_ASSERTED(getBeginSize32(given, &element, nullptr));
    EXPECT_ASSERTED(getBeginSize32Const(nullptr, &constElement, &size32));
    EXPECT_ASSERTED(getBeginSize32Const(given, &constElement, nullptr));
    EXPECT_ASSERTED(getBeginSizeIntPtr(nullptr, &element, &sizeIntPtr));
    EXPECT_ASSERTED(getBeginSizeIntPtr(given, &element, nullptr));
    EXPECT_ASSERTED(getBeginSizeIntPtrConst(nullptr, &constElement, &sizeIntPtr));
    EXPECT_ASSERTED(getBeginSizeIntPtrConst(given, &constElement, nullptr));
    EXPECT_ASSERTED(getElement(nullptr, 0, &element));
    EXPECT_ASSERTED(getElement(given, 0, nullptr));
    EXPECT_ASSERTED(getElementConst(nullptr, 0, &constElement));
    EXPECT_ASSERTED(getElementConst(given, 0, nullptr));
    EXPECT_ASSERTED(getNextElement(nullptr, &element));
    EXPECT_ASSERTED(getNextElement(given, nullptr));
    EXPECT_ASSERTED(getNextElementConst(nullptr, &constElement));
    EXPECT_ASSERTED(getNextElementConst(given, nullptr));
    EXPECT_ASSERTED(getSize(nullptr, &size32));
    EXPECT_ASSERTED(getSize(given, nullptr));
    EXPECT_ASSERTED(getSize32(nullptr, &size32));
    EXPECT_ASSERTED(getSize32(given, nullptr));
    EXPECT_ASSERTED(getSizeIntPtr(nullptr, &sizeIntPtr));
    EXPECT_ASSERTED(getSizeIntPtr(given, nullptr));
    EXPECT_ASSERTED(getCapacity(nullptr, &size));
    EXPECT_ASSERTED(getCapacity(given, nullptr));
    EXPECT_ASSERTED(getElementSize(nullptr, &size));
    EXPECT_ASSERTED(getElementSize(given, nullptr));
    if constexpr (requires { &Operations::compareEqual; }) {
        std::uint32_t equal;
        EXPECT_ASSERTED(compareEqual(nullptr, given, &equal));
        EXPECT_ASSERTED(compareEqual(given, nullptr, &equal));
        EXPECT_ASSERTED(compareEqual(given, given, nullptr));
    }
#undef EXPECT_ASSERTED
}

TYPED_TEST(TypedVectorArguments, MayBeNullWhereThereIsNothingToRead)
{
    using Operations = OperationsOf<TypeParam>;
    auto *given = &this->vector;
    TypeParam *none = nullptr;
    const auto expectNothingAsserted = [](int line, const auto &body) {
        EXPECT_EQ(assertedLine([&] { EXPECT_EQ(body(), KMATH_OK); }), 0) << "line " << line;
    };
#define EXPECT_NOT_ASSERTED(...)                                                                   \
    expectNothingAsserted(__LINE__, [&] { return Operations::__VA_ARGS__; })
    EXPECT_NOT_ASSERTED(assignElements(given, nullptr, 0));
    EXPECT_NOT_ASSERTED(insert(given, 0, nullptr, 0));
    EXPECT_NOT_ASSERTED(resize(given, 2));
    EXPECT_NOT_ASSERTED(resizeFill(given, 2, nullptr));
    EXPECT_NOT_ASSERTED(resizeFill(given, 0, nullptr));
    TypeParam made; // without a block of its own, whichever constructor is the last
    EXPECT_NOT_ASSERTED(constructFill(&made, 0, nullptr));
    EXPECT_NOT_ASSERTED(constructFromBlock(&made, nullptr, 0));
    EXPECT_NOT_ASSERTED(constructEmptyWithMtable(&made, nullptr));
    EXPECT_NOT_ASSERTED(constructWithMtable(&made, 0, nullptr));
    EXPECT_NOT_ASSERTED(newClone(&none, nullptr));
    EXPECT_NOT_ASSERTED(destroy(&none));
#undef EXPECT_NOT_ASSERTED
}

} // namespace
