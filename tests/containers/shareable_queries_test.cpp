// What a shareable vector answers when it is asked for an interface by name.
#include "containers/shareable_vectors.hpp"

#include <cwchar>
#include <functional>
#include <string>

namespace
{

using namespace containers;
using support::assertedLine;

int untouched; // results are set to something else than null before each question

template <class Vector> class ShareableQuery : public ShareableTest<Vector>
{
  protected:
    static std::wstring ownName()
    {
        const std::string vector = OperationsOf<Vector>::name;
        return std::wstring(vector.begin(), vector.end()) + L"Shareable";
    }

    kxObject *header() { return &this->shareable->object; }
    kstd_vectorShareable *generic()
    {
        return reinterpret_cast<kstd_vectorShareable *>(this->shareable);
    }

    /// Asks in every way there is; all agree.
    void *ask(const std::wstring &name)
    {
        void *results[] = {&untouched, &untouched, &untouched, &untouched, &untouched};
        const kmath_status statuses[] = {
            ShareableOf<Vector>::query(this->shareable, name.c_str(), &results[0]),
            ShareableOf<Vector>::queryOfTable(this->shareable, name.c_str(), &results[1]),
            ShareableOf<Vector>::queryFinal(this->shareable, name.c_str(), &results[2]),
            kstd_vectorShareable_queryInterfaceByTypename(generic(), name.c_str(), &results[3]),
            kxObject_queryInterfaceByTypename(header(), name.c_str(), &results[4])};
        for (const kmath_status status : statuses)
            EXPECT_EQ(status, KMATH_OK);
        for (const void *result : results)
            EXPECT_EQ(result, results[0]);
        return results[0];
    }
};
TYPED_TEST_SUITE(ShareableQuery, VectorTypes, VectorNames);

TYPED_TEST(ShareableQuery, FindsTheObjectUnderEachOfItsNames)
{
    EXPECT_EQ(this->ask(this->ownName()), this->shareable);
    EXPECT_EQ(this->ask(L"kstd_vectorShareable"), this->shareable);
    EXPECT_EQ(this->ask(L"kxObject"), this->shareable);
}

TYPED_TEST(ShareableQuery, DoesNotKnowOtherNames)
{
    const std::wstring name = this->ownName();
    std::wstring upper = name, changed = name;
    upper[0] = L'K';
    changed[changed.size() / 2] = L'\u00e9';
    for (const std::wstring &stranger :
         {std::wstring(), name.substr(1), name.substr(0, name.size() - 1), name + L"_", name + name,
          L" " + name, name + L" ", name.substr(0, name.size() - 9), upper, changed,
          std::wstring(L"Shareable"), std::wstring(L"kstd_vector_"), std::wstring(L"kxObject2"),
          std::wstring(L"kstd_vectorShareabl"), std::wstring(L"kstd_vectord")})
        EXPECT_EQ(this->ask(stranger), nullptr);
}

TYPED_TEST(ShareableQuery, ReadsANameToItsEndOnly)
{
    const wchar_t cut[] = L"kxObject\0_";
    EXPECT_EQ(this->ask(cut), this->shareable);
    EXPECT_EQ(this->ask(this->ownName().c_str()), this->shareable);
}

TYPED_TEST(ShareableQuery, FindsNothingInNull)
{
    using Shareable = ShareableOf<TypeParam>;
    for (const std::wstring &name :
         {this->ownName(), std::wstring(L"kxObject"), std::wstring(L"nobody")})
        for (const auto query :
             {Shareable::query, Shareable::queryOfTable, Shareable::queryFinal}) {
            void *result = &untouched;
            EXPECT_EQ(query(nullptr, name.c_str(), &result), KMATH_OK);
            EXPECT_EQ(result, nullptr);
        }
}

TYPED_TEST(ShareableQuery, TellsItsName)
{
    using Shareable = ShareableOf<TypeParam>;
    const wchar_t *name = nullptr, *nameOfObject = nullptr;
    ASSERT_EQ(Shareable::getTypename(this->shareable, &name), KMATH_OK);
    ASSERT_EQ(kxObject_getTypename(this->header(), &nameOfObject), KMATH_OK);
    EXPECT_EQ(name, this->ownName());
    EXPECT_EQ(name, nameOfObject);

    typename TestFixture::Object *other = nullptr;
    const wchar_t *nameOfOther = nullptr;
    ASSERT_EQ(Shareable::construct(&other, 1), KMATH_OK);
    ASSERT_EQ(Shareable::getTypename(other, &nameOfOther), KMATH_OK);
    EXPECT_EQ(Shareable::destroy(&other), KMATH_OK);
    EXPECT_EQ(name, nameOfOther) << "one constant for all objects";
}

TYPED_TEST(ShareableQuery, HasATableWithTheOperationsOfItsElements)
{
    const auto *table =
        reinterpret_cast<const kstd_vectorShareableInterface *>(this->header()->table);
    ASSERT_NE(table, nullptr);
    void *result = &untouched;
    EXPECT_EQ(table->object.queryInterfaceByTypename_(this->header(), L"kxObject", &result),
              KMATH_OK);
    EXPECT_EQ(result, this->shareable);
    const wchar_t *name = nullptr;
    EXPECT_EQ(table->object.getTypename(this->header(), &name), KMATH_OK);
    EXPECT_EQ(name, this->ownName());

    if (!ValuesIn<TypeParam>::ownsMemory) {
        EXPECT_EQ(table->elements, nullptr);
        return;
    }
    ASSERT_NE(table->elements, nullptr);
    EXPECT_EQ(table->elements->endMark, nullptr);
    const BlockOf<TypeParam> block({3, 4});
    ElementOf<TypeParam> element;
    EXPECT_EQ(table->elements->constructEmpty(&element), KMATH_OK);
    EXPECT_EQ(ValuesIn<TypeParam>::numberOf(element), 0);
    EXPECT_EQ(table->elements->assign(&element, block.data()), KMATH_OK);
    EXPECT_EQ(ValuesIn<TypeParam>::numberOf(element), 3);
    EXPECT_EQ(table->elements->destruct(&element), KMATH_OK);
    EXPECT_EQ(table->elements->constructCopy(&element, block.data() + 1), KMATH_OK);
    EXPECT_EQ(ValuesIn<TypeParam>::numberOf(element), 4);
    EXPECT_EQ(table->elements->destruct(&element), KMATH_OK);
}

// A host's kind of object, which gives another object of its own for one name.

kxObject delegate;

kmath_status queryHost(kxObject *, const wchar_t *name, void **result)
{
    if (std::wcscmp(name, L"delegate") != 0)
        return KMATH_ERR_FAILED;
    *result = &delegate;
    return KMATH_OK;
}

TYPED_TEST(ShareableQuery, GoesOnThroughTheTableOrWithoutIt)
{
    using Shareable = ShareableOf<TypeParam>;
    const kxObjectInterface *const own = this->header()->table;
    const kxObjectInterface hosts = {queryHost, nullptr};
    this->header()->table = &hosts;

    void *result = &untouched;
    EXPECT_EQ(Shareable::query(this->shareable, this->ownName().c_str(), &result), KMATH_OK);
    EXPECT_EQ(result, this->shareable) << "its own name does not ask the table";
    EXPECT_EQ(Shareable::query(this->shareable, L"delegate", &result), KMATH_OK);
    EXPECT_EQ(result, &delegate);
    EXPECT_EQ(Shareable::query(this->shareable, L"kxObject", &result), KMATH_ERR_FAILED);
    EXPECT_EQ(result, nullptr);
    for (const auto query : {Shareable::queryOfTable, Shareable::queryFinal}) {
        result = &untouched;
        EXPECT_EQ(query(this->shareable, L"delegate", &result), KMATH_OK);
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(query(this->shareable, L"kxObject", &result), KMATH_OK);
        EXPECT_EQ(result, this->shareable);
        EXPECT_EQ(query(this->shareable, L"kstd_vectorShareable", &result), KMATH_OK);
        EXPECT_EQ(result, this->shareable);
    }
    this->header()->table = own;
}

// A component that knows names and the generic view, but no element type: it takes the object over
// and leaves a copy in its place.
kxObject *exchangeForACopy(kxObject *object)
{
    void *found = nullptr;
    EXPECT_EQ(kxObject_queryInterfaceByTypename(object, L"kstd_vectorShareable", &found), KMATH_OK);
    auto *original = static_cast<kstd_vectorShareable *>(found);
    kstd_vectorShareable *copy = nullptr;
    EXPECT_EQ(kstd_vectorShareable_newClone(&copy, original), KMATH_OK);
    EXPECT_EQ(kstd_vectorShareable_delete(&original), KMATH_OK);
    return &copy->object;
}

TYPED_TEST(ShareableQuery, IsHandedOverToCodeThatKnowsNamesOnly)
{
    this->fillObject({5, 6, 7});
    kxObject *returned = exchangeForACopy(this->header());
    this->shareable = nullptr; // handed over, and deleted there
    const wchar_t *name = nullptr;
    ASSERT_EQ(kxObject_getTypename(returned, &name), KMATH_OK);
    EXPECT_EQ(name, this->ownName());
    void *found = nullptr;
    ASSERT_EQ(kxObject_queryInterfaceByTypename(returned, name, &found), KMATH_OK);
    this->shareable = static_cast<typename TestFixture::Object *>(found);
    ASSERT_NE(this->shareable, nullptr);
    EXPECT_EQ(this->numbersIn(this->shareable), (std::vector{5, 6, 7}));
}

TYPED_TEST(ShareableQuery, AssertsItsArguments)
{
    using Shareable = ShareableOf<TypeParam>;
    void *result = nullptr;
    const wchar_t *name = nullptr;
    const auto expectAsserted = [](const std::function<void()> &body) {
        EXPECT_NE(assertedLine(body), 0);
    };
    typename TestFixture::Object *const noObject = nullptr;
    for (const auto query : {Shareable::query, Shareable::queryOfTable, Shareable::queryFinal})
        for (auto *object : {this->shareable, noObject}) {
            expectAsserted([&] { query(object, nullptr, &result); });
            expectAsserted([&] { query(object, L"kxObject", nullptr); });
        }
    expectAsserted([&] { Shareable::getTypename(nullptr, &name); });
    expectAsserted([&] { Shareable::getTypename(this->shareable, nullptr); });
}

// Each name once in full.
TEST(ShareableNames, AreThoseOfTheirTypes)
{
    const auto expect = [](auto shareable, const wchar_t *expected) {
        using Shareable = decltype(shareable);
        typename Shareable::Object *object = nullptr;
        ASSERT_EQ(Shareable::constructEmpty(&object), KMATH_OK);
        const wchar_t *name = nullptr;
        EXPECT_EQ(Shareable::getTypename(object, &name), KMATH_OK);
        EXPECT_STREQ(name, expected);
        void *result = nullptr;
        EXPECT_EQ(kxObject_queryInterfaceByTypename(&object->object, expected, &result), KMATH_OK);
        EXPECT_EQ(result, object);
        EXPECT_EQ(Shareable::destroy(&object), KMATH_OK);
    };
    expect(ShareableOf<kstd_vector_kmath_vect3>(), L"kstd_vector_kmath_vect3Shareable");
    expect(ShareableOf<kstd_vector_kmath_vect3F>(), L"kstd_vector_kmath_vect3FShareable");
    expect(ShareableOf<kstd_vector_kmath_vect4>(), L"kstd_vector_kmath_vect4Shareable");
    expect(ShareableOf<kstd_vector_kmath_vect6F>(), L"kstd_vector_kmath_vect6FShareable");
    expect(ShareableOf<kstd_vector_kmath_xform3Linear>(),
           L"kstd_vector_kmath_xform3LinearShareable");
    expect(ShareableOf<kstd_vector_kmath_nmmatrix>(), L"kstd_vector_kmath_nmmatrixShareable");
    expect(ShareableOf<kstd_vector_vector_kmath_vect3>(),
           L"kstd_vector_vector_kmath_vect3Shareable");
    expect(ShareableOf<kstd_vector_vector_kmath_vect3F>(),
           L"kstd_vector_vector_kmath_vect3FShareable");
    expect(ShareableOf<kstd_vector_vector_kmath_xform3Linear>(),
           L"kstd_vector_vector_kmath_xform3LinearShareable");
    expect(ShareableOf<kstd_vector_vector_vector_kmath_vect3>(),
           L"kstd_vector_vector_vector_kmath_vect3Shareable");
    expect(ShareableOf<kstd_vector_vector_vector_vector_kmath_vect3>(),
           L"kstd_vector_vector_vector_vector_kmath_vect3Shareable");
}

} // namespace
