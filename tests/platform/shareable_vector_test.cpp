// Objects that are asked for their interface by name, and the generic vectors among them, with an
// object of the test's own kind in the host's place.
#include <kmath/platform.h>

#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

using support::assertedLine;
using support::liveBlocks;
using support::sweepAllocationFailures;

// Numbers that own memory; they can be told to fail or to throw.

int liveElements = 0;
int untilThrow = -1;
kmath_status destructAnswer = KMATH_OK;

struct Number {
    void *value;
};

int &valueOf(void *element) { return *static_cast<int *>(static_cast<Number *>(element)->value); }

int valueOf(const void *element)
{
    return *static_cast<const int *>(static_cast<const Number *>(element)->value);
}

kmath_status make(void *element, int value)
{
    if (untilThrow >= 0 && untilThrow-- == 0)
        throw std::runtime_error("an element cannot be made");
    void *memory = nullptr;
    const kmath_status status = ksys_memory_alloc_internal(&memory, sizeof(int));
    if (KMATH_IS_FAILURE(status))
        return status;
    static_cast<Number *>(element)->value = memory;
    valueOf(element) = value;
    ++liveElements;
    return KMATH_OK;
}

constexpr kstd_vectorEtable numberOperations = {
    [](void *element) { return make(element, 0); },
    [](void *element, const void *source) { return make(element, valueOf(source)); },
    [](void *element, const void *source) {
        valueOf(element) = valueOf(source);
        return KMATH_OK;
    },
    [](void *element) {
        --liveElements;
        ksys_memory_free_internal(&static_cast<Number *>(element)->value);
        return destructAnswer;
    },
    nullptr};

// A kind of object as a host would add it: a shareable vector with a name of its own.

constexpr const wchar_t *hostName = L"hostNumbersShareable";
int asked = 0;

kmath_status queryHost(kxObject *object, const wchar_t *name, void **result)
{
    ++asked;
    if (std::wcscmp(name, L"unavailable") == 0)
        return KMATH_ERR_FAILED;
    if (std::wcscmp(name, hostName) == 0) {
        *result = object;
        return KMATH_OK;
    }
    return kstd_vectorShareable_queryInterfaceByTypenameFinal(
        reinterpret_cast<kstd_vectorShareable *>(object), name, result);
}

kmath_status getHostTypename(const kxObject *, const wchar_t **name)
{
    *name = hostName;
    return KMATH_OK;
}

constexpr kstd_vectorShareableInterface hostInterface = {{queryHost, getHostTypename},
                                                         &numberOperations};

class HostObject : public testing::Test
{
  protected:
    void SetUp() override
    {
        blocks = liveBlocks();
        asked = 0;
        untilThrow = -1;
        destructAnswer = KMATH_OK;
        ASSERT_EQ(create(&object, 3), KMATH_OK);
    }
    void TearDown() override
    {
        untilThrow = -1;
        EXPECT_EQ(kstd_vectorShareable_delete(&object), destructAnswer);
        EXPECT_EQ(liveElements, 0);
        EXPECT_EQ(liveBlocks(), blocks) << "leaked";
    }

    static kmath_status create(kstd_vectorShareable **handle, std::size_t n)
    {
        return kstd_vectorShareable_construct(handle, &hostInterface, sizeof(Number),
                                              &numberOperations, n);
    }

    void fill(const std::vector<int> &values)
    {
        ASSERT_EQ(kstd_vector__resize(&object->vector, values.size()), KMATH_OK);
        for (std::size_t i = 0; i < values.size(); ++i)
            valueOf(static_cast<Number *>(object->vector.begin) + i) = values[i];
    }

    static std::vector<int> valuesOf(const kstd_vectorShareable &shareable)
    {
        std::vector<int> values;
        for (std::size_t i = 0; i < shareable.vector.size; ++i) {
            const auto *elements = static_cast<const Number *>(shareable.vector.begin);
            values.push_back(valueOf(static_cast<const void *>(elements + i)));
        }
        return values;
    }

    kxObject *header() { return &object->object; }

    std::int64_t blocks = 0;
    kstd_vectorShareable *object = nullptr;
};

// Where no name is known: whoever asks finds that out by a call that fails the test.
constexpr kstd_vectorShareableInterface untouchable = {{[](kxObject *, const wchar_t *, void **) {
                                                            ADD_FAILURE()
                                                                << "the table is not to be asked";
                                                            return KMATH_ERR_FAILED;
                                                        },
                                                        [](const kxObject *, const wchar_t **) {
                                                            ADD_FAILURE()
                                                                << "the table is not to be asked";
                                                            return KMATH_ERR_FAILED;
                                                        }},
                                                       nullptr};

const std::vector<std::wstring> strangers = {
    L"",
    L"kxObjec",
    L"kxObject ",
    L"xObject",
    L"KXOBJECT",
    L"kxObject\u00e9",
    L"kstd_vectorShareabl",
    L"kstd_vectorShareable_",
    L"vectorShareable",
    L"kstd_vectorshareable",
    L"kstd_vector_",
    L"hostNumbersShareabl",
    L"hostNumbersShareable2",
};

int untouched; // results are set to something else than null before each question

TEST(KxObject, IsKnownByItsNameOnly)
{
    kxObject object = {&untouchable.object};
    void *result = &untouched;
    EXPECT_EQ(kxObject_queryInterfaceByTypenameFinal(&object, L"kxObject", &result), KMATH_OK);
    EXPECT_EQ(result, &object);
    for (const std::wstring &name : strangers) {
        result = &untouched;
        EXPECT_EQ(kxObject_queryInterfaceByTypenameFinal(&object, name.c_str(), &result), KMATH_OK);
        EXPECT_EQ(result, nullptr);
    }
    result = &untouched;
    EXPECT_EQ(kxObject_queryInterfaceByTypenameFinal(&object, L"kstd_vectorShareable", &result),
              KMATH_OK);
    EXPECT_EQ(result, nullptr);
}

TEST(KxObject, NullHasNoInterface)
{
    void *result = &untouched;
    EXPECT_EQ(kxObject_queryInterfaceByTypename(nullptr, L"kxObject", &result), KMATH_OK);
    EXPECT_EQ(result, nullptr);
    result = &untouched;
    EXPECT_EQ(kxObject_queryInterfaceByTypenameFinal(nullptr, L"kxObject", &result), KMATH_OK);
    EXPECT_EQ(result, nullptr);
    result = &untouched;
    EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(nullptr, L"kxObject", &result),
              KMATH_OK);
    EXPECT_EQ(result, nullptr);
    result = &untouched;
    EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypenameFinal(nullptr, L"kstd_vectorShareable",
                                                                 &result),
              KMATH_OK);
    EXPECT_EQ(result, nullptr);
}

TEST(VectorShareable, KnowsItsNameAndThatOfEveryObjectWithoutItsTable)
{
    kstd_vectorShareable object = {{&untouchable.object}, {}};
    void *result = &untouched;
    EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypenameFinal(&object, L"kstd_vectorShareable",
                                                                 &result),
              KMATH_OK);
    EXPECT_EQ(result, &object);
    result = &untouched;
    EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypenameFinal(&object, L"kxObject", &result),
              KMATH_OK);
    EXPECT_EQ(result, &object.object);
    for (const std::wstring &name : strangers) {
        result = &untouched;
        EXPECT_EQ(
            kstd_vectorShareable_queryInterfaceByTypenameFinal(&object, name.c_str(), &result),
            KMATH_OK);
        EXPECT_EQ(result, nullptr);
    }
}

TEST_F(HostObject, IsFoundThroughItsTableUnderEachOfItsNames)
{
    for (const wchar_t *name : {hostName, L"kstd_vectorShareable", L"kxObject"}) {
        void *result = &untouched;
        EXPECT_EQ(kxObject_queryInterfaceByTypename(header(), name, &result), KMATH_OK);
        EXPECT_EQ(result, object);
        result = &untouched;
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(object, name, &result), KMATH_OK);
        EXPECT_EQ(result, object);
    }
    EXPECT_EQ(asked, 6);
    const wchar_t *name = nullptr;
    EXPECT_EQ(kxObject_getTypename(header(), &name), KMATH_OK);
    EXPECT_EQ(name, hostName);
}

TEST_F(HostObject, AnswersUnknownNamesWithNullAndNoFailure)
{
    for (const std::wstring &name : strangers) {
        void *result = &untouched;
        EXPECT_EQ(kxObject_queryInterfaceByTypename(header(), name.c_str(), &result), KMATH_OK);
        EXPECT_EQ(result, nullptr);
        result = &untouched;
        EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(object, name.c_str(), &result),
                  KMATH_OK);
        EXPECT_EQ(result, nullptr);
    }
}

TEST_F(HostObject, PassesTheStatusOfItsTableOnAndLeavesNull)
{
    void *result = &untouched;
    EXPECT_EQ(kxObject_queryInterfaceByTypename(header(), L"unavailable", &result),
              KMATH_ERR_FAILED);
    EXPECT_EQ(result, nullptr);
    result = &untouched;
    EXPECT_EQ(kstd_vectorShareable_queryInterfaceByTypename(object, L"unavailable", &result),
              KMATH_ERR_FAILED);
    EXPECT_EQ(result, nullptr);
}

TEST_F(HostObject, IsConstructedWithItsInterfaceAndEmptyElements)
{
    EXPECT_EQ(object->object.table, &hostInterface.object);
    EXPECT_EQ(object->vector.etable, &numberOperations);
    EXPECT_EQ(object->vector.mtable, nullptr);
    EXPECT_EQ(object->vector.elementSize, sizeof(Number));
    EXPECT_EQ(valuesOf(*object), (std::vector{0, 0, 0}));
    EXPECT_EQ(liveElements, 3);
}

TEST_F(HostObject, OverlooksWhatTheHandleOfAConstructorHeld)
{
    fill({1, 2});
    for (const auto &construct : std::vector<kmath_status (*)(kstd_vectorShareable **)>{
             [](auto **handle) { return create(handle, 1); },
             [](auto **handle) { return kstd_vectorShareable_constructCopy(handle, *handle); },
             [](auto **handle) {
                 return kstd_vectorShareable_constructVector(handle, &hostInterface,
                                                             &(*handle)->vector);
             }}) {
        kstd_vectorShareable *handle = object;
        ASSERT_EQ(construct(&handle), KMATH_OK);
        EXPECT_NE(handle, object);
        EXPECT_EQ(valuesOf(*object), (std::vector{1, 2}));
        EXPECT_EQ(kstd_vectorShareable_delete(&handle), KMATH_OK);
    }
}

TEST_F(HostObject, IsCopiedDeeply)
{
    fill({4, 5, 6});
    kstd_vectorShareable *copy, *fromVector;
    ASSERT_EQ(kstd_vectorShareable_constructCopy(&copy, object), KMATH_OK);
    ASSERT_EQ(kstd_vectorShareable_constructVector(&fromVector, &hostInterface, &object->vector),
              KMATH_OK);
    fill({7, 8, 9, 10});
    for (kstd_vectorShareable *made : {copy, fromVector}) {
        EXPECT_EQ(made->object.table, &hostInterface.object);
        EXPECT_EQ(made->vector.etable, &numberOperations);
        EXPECT_EQ(valuesOf(*made), (std::vector{4, 5, 6}));
        EXPECT_EQ(kstd_vectorShareable_delete(&made), KMATH_OK);
        EXPECT_EQ(made, nullptr);
    }
    EXPECT_EQ(liveElements, 4);
}

TEST_F(HostObject, TakesItsMemoryFromTheServiceWhateverTheSourcesTable)
{
    static const kstd_vectorMtable forbidden = {
        [](void **, std::size_t) { return KMATH_ERR_FAILED; },
        [](void **, std::size_t) { return KMATH_ERR_FAILED; }, ksys_memory_free_internal};
    fill({4, 5});
    object->vector.mtable = &forbidden;
    kstd_vectorShareable *copy = nullptr;
    ASSERT_EQ(kstd_vectorShareable_constructCopy(&copy, object), KMATH_OK);
    EXPECT_EQ(copy->vector.mtable, nullptr);
    ASSERT_EQ(kstd_vectorShareable_newClone(&copy, object), KMATH_OK);
    EXPECT_EQ(copy->vector.mtable, nullptr);
    EXPECT_EQ(valuesOf(*copy), (std::vector{4, 5}));
    EXPECT_EQ(kstd_vectorShareable_delete(&copy), KMATH_OK);
    ASSERT_EQ(kstd_vectorShareable_constructVector(&copy, &hostInterface, &object->vector),
              KMATH_OK);
    EXPECT_EQ(copy->vector.mtable, nullptr);
    EXPECT_EQ(kstd_vectorShareable_delete(&copy), KMATH_OK);
}

TEST_F(HostObject, LivesInAHandle)
{
    kstd_vectorShareable *handle = nullptr;
    const auto renew = [&handle] {
        return kstd_vectorShareable_new(&handle, &hostInterface, sizeof(Number), &numberOperations);
    };
    ASSERT_EQ(renew(), KMATH_OK);
    EXPECT_EQ(handle->object.table, &hostInterface.object);
    EXPECT_EQ(handle->vector.size, 0u);
    ASSERT_EQ(kstd_vector__resize(&handle->vector, 2), KMATH_OK);
    EXPECT_EQ(liveElements, 5);
    ASSERT_EQ(renew(), KMATH_OK);
    EXPECT_EQ(liveElements, 3) << "the first one is deleted";

    fill({1, 2, 3});
    ASSERT_EQ(kstd_vectorShareable_newClone(&handle, object), KMATH_OK);
    EXPECT_EQ(valuesOf(*handle), (std::vector{1, 2, 3}));
    kstd_vectorShareable *same = handle;
    ASSERT_EQ(kstd_vectorShareable_newClone(&handle, handle), KMATH_OK);
    EXPECT_EQ(handle, same);
    EXPECT_EQ(valuesOf(*handle), (std::vector{1, 2, 3}));
    ASSERT_EQ(kstd_vectorShareable_newClone(&handle, nullptr), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(kstd_vectorShareable_newClone(&handle, nullptr), KMATH_OK);
    ASSERT_EQ(kstd_vectorShareable_delete(&handle), KMATH_OK);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(HostObject, LeavesANullHandleWhenAllocationsFail)
{
    fill({1, 2, 3});
    const auto sweep = [](bool held, auto operation) {
        sweepAllocationFailures([&]() -> kmath_status {
            kstd_vectorShareable *handle = nullptr;
            if (held) {
                const kmath_status created = create(&handle, 2);
                if (KMATH_IS_FAILURE(created))
                    return created;
            }
            const kmath_status status = operation(&handle);
            EXPECT_EQ(handle == nullptr, KMATH_IS_FAILURE(status));
            kstd_vectorShareable_delete(&handle);
            EXPECT_EQ(liveElements, 3);
            return status;
        });
    };
    sweep(false, [](auto **handle) { return create(handle, 4); });
    sweep(false,
          [this](auto **handle) { return kstd_vectorShareable_constructCopy(handle, object); });
    sweep(false, [this](auto **handle) {
        return kstd_vectorShareable_constructVector(handle, &hostInterface, &object->vector);
    });
    for (const bool held : {false, true}) {
        sweep(held,
              [this](auto **handle) { return kstd_vectorShareable_newClone(handle, object); });
        sweep(held, [](auto **handle) {
            return kstd_vectorShareable_new(handle, &hostInterface, sizeof(Number),
                                            &numberOperations);
        });
    }
    EXPECT_EQ(valuesOf(*object), (std::vector{1, 2, 3}));
}

TEST_F(HostObject, FreesItselfWhenAnElementThrows)
{
    fill({1, 2, 3});
    const std::int64_t before = liveBlocks();
    kstd_vectorShareable *handle = nullptr;
    untilThrow = 2;
    EXPECT_THROW(create(&handle, 4), std::runtime_error);
    EXPECT_EQ(handle, nullptr);
    untilThrow = 1;
    EXPECT_THROW(kstd_vectorShareable_newClone(&handle, object), std::runtime_error);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(liveElements, 3);
    EXPECT_EQ(liveBlocks(), before);
}

TEST_F(HostObject, ReportsAFailingReleaseAndIsGoneAllTheSame)
{
    kstd_vectorShareable *handle = nullptr;
    ASSERT_EQ(create(&handle, 2), KMATH_OK);
    destructAnswer = KMATH_ERR_FAILED;
    EXPECT_EQ(kstd_vectorShareable_newClone(&handle, object), KMATH_ERR_FAILED);
    EXPECT_EQ(handle, nullptr);
    destructAnswer = KMATH_OK;
    EXPECT_EQ(liveElements, 3);

    ASSERT_EQ(create(&handle, 0), KMATH_OK);
    {
        const support::ReleaseAnswers answers({KMATH_ERR_FAILED});
        EXPECT_EQ(kstd_vectorShareable_delete(&handle), KMATH_ERR_FAILED);
    }
    EXPECT_EQ(handle, nullptr);
}

TEST_F(HostObject, HoldsPlainMemoryAsWell)
{
    constexpr kstd_vectorShareableInterface plain = {{queryHost, getHostTypename}, nullptr};
    kstd_vectorShareable *handle = nullptr;
    ASSERT_EQ(kstd_vectorShareable_construct(&handle, &plain, sizeof(double), nullptr, 2),
              KMATH_OK);
    const double numbers[] = {1.5, -2.5, 3.5};
    EXPECT_EQ(static_cast<const double *>(handle->vector.begin)[1], 0.0);
    ASSERT_EQ(kstd_vector__assignElements(&handle->vector, numbers, 3), KMATH_OK);
    kstd_vectorShareable *copy = nullptr;
    ASSERT_EQ(kstd_vectorShareable_newClone(&copy, handle), KMATH_OK);
    EXPECT_EQ(kstd_vectorShareable_delete(&handle), KMATH_OK);
    EXPECT_EQ(copy->vector.size, 3u);
    EXPECT_EQ(static_cast<const double *>(copy->vector.begin)[2], 3.5);
    EXPECT_EQ(kstd_vectorShareable_delete(&copy), KMATH_OK);
}

TEST_F(HostObject, RefusesMoreElementsThanCanBeAddressed)
{
    kstd_vectorShareable *handle = object;
    for (const std::size_t n : {SIZE_MAX, SIZE_MAX / sizeof(Number), SIZE_MAX / 2}) {
        EXPECT_EQ(create(&handle, n), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(handle, nullptr);
    }
}

TEST_F(HostObject, AssertsItsArguments)
{
    kstd_vectorShareable *handle = nullptr;
    void *result = nullptr;
    const wchar_t *name = nullptr;
    const auto expectAsserted = [](int line, const auto &body) {
        EXPECT_NE(assertedLine(body), 0) << "line " << line;
    };
#define EXPECT_ASSERTED(...) expectAsserted(__LINE__, [&] { __VA_ARGS__; })
    EXPECT_ASSERTED(kxObject_getTypename(nullptr, &name));
    EXPECT_ASSERTED(kxObject_getTypename(header(), nullptr));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypename(header(), nullptr, &result));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypename(header(), L"kxObject", nullptr));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypename(nullptr, nullptr, &result));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypename(nullptr, L"kxObject", nullptr));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypenameFinal(header(), nullptr, &result));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypenameFinal(header(), L"kxObject", nullptr));
    EXPECT_ASSERTED(kxObject_queryInterfaceByTypenameFinal(nullptr, nullptr, &result));
    EXPECT_ASSERTED(kstd_vectorShareable_queryInterfaceByTypename(object, nullptr, &result));
    EXPECT_ASSERTED(kstd_vectorShareable_queryInterfaceByTypename(object, L"kxObject", nullptr));
    EXPECT_ASSERTED(kstd_vectorShareable_queryInterfaceByTypename(nullptr, nullptr, &result));
    EXPECT_ASSERTED(kstd_vectorShareable_queryInterfaceByTypenameFinal(object, nullptr, &result));
    EXPECT_ASSERTED(kstd_vectorShareable_queryInterfaceByTypenameFinal(object, L"x", nullptr));
    EXPECT_ASSERTED(create(nullptr, 1));
    EXPECT_ASSERTED(kstd_vectorShareable_construct(&handle, nullptr, 8, nullptr, 1));
    EXPECT_ASSERTED(kstd_vectorShareable_constructCopy(nullptr, object));
    EXPECT_ASSERTED(kstd_vectorShareable_constructCopy(&handle, nullptr));
    EXPECT_ASSERTED(kstd_vectorShareable_constructVector(nullptr, &hostInterface, &object->vector));
    EXPECT_ASSERTED(kstd_vectorShareable_constructVector(&handle, nullptr, &object->vector));
    EXPECT_ASSERTED(kstd_vectorShareable_constructVector(&handle, &hostInterface, nullptr));
    EXPECT_ASSERTED(kstd_vectorShareable_new(nullptr, &hostInterface, 8, nullptr));
    EXPECT_ASSERTED(kstd_vectorShareable_new(&handle, nullptr, 8, nullptr));
    EXPECT_ASSERTED(kstd_vectorShareable_newClone(nullptr, object));
    EXPECT_ASSERTED(kstd_vectorShareable_delete(nullptr));
#undef EXPECT_ASSERTED
    EXPECT_EQ(handle, nullptr);
}

TEST(ShareableRecordLayout, AnObjectIsItsTableAndAVectorBehindIt)
{
    constexpr std::size_t pointer = sizeof(void *);
    EXPECT_TRUE(std::is_standard_layout_v<kxObject> && std::is_trivial_v<kxObject>);
    EXPECT_EQ(offsetof(kxObject, table), 0u);
    EXPECT_EQ(sizeof(kxObject), pointer);
    EXPECT_EQ(offsetof(kxObjectInterface, queryInterfaceByTypename_), 0u);
    EXPECT_EQ(offsetof(kxObjectInterface, getTypename), pointer);
    EXPECT_EQ(sizeof(kxObjectInterface), 2 * pointer);
    EXPECT_EQ(offsetof(kstd_vectorShareableInterface, object), 0u);
    EXPECT_EQ(offsetof(kstd_vectorShareableInterface, elements), 2 * pointer);
    EXPECT_EQ(sizeof(kstd_vectorShareableInterface), 3 * pointer);
    EXPECT_TRUE(std::is_standard_layout_v<kstd_vectorShareable> &&
                std::is_trivial_v<kstd_vectorShareable>);
    EXPECT_EQ(offsetof(kstd_vectorShareable, object), 0u);
    EXPECT_EQ(offsetof(kstd_vectorShareable, vector), pointer);
    EXPECT_EQ(sizeof(kstd_vectorShareable), pointer + sizeof(kstd_vector_));
}

} // namespace
