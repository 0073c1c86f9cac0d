// What a vector keeps when copying or filling memory fails, at any of an operation's calls.
#include "containers/typed_vectors.hpp"

#include <functional>
#include <type_traits>
#include <utility>

namespace
{

using namespace containers;

constexpr kmath_status odd = KMATH_ERR_FAILED + 0x1234; // no status of the library

template <class Vector> class VectorWithoutServices : public VectorTest<Vector>
{
  protected:
    struct Case {
        std::vector<int> after;
        std::function<kmath_status()> operation;
    };

    /// Every operation that makes or moves elements of 1, 2, 3, 4, and what it leaves.
    std::vector<Case> cases()
    {
        using Operations = OperationsOf<Vector>;
        auto *changed = &this->vector;
        const auto *some = block.data();
        const auto own = [this](std::size_t i) { return this->element(i); };
        return {
            {{7, 8, 9, 10, 11}, [=] { return Operations::assignElements(changed, some, 5); }},
            {{7, 8}, [=] { return Operations::assignElements(changed, some, 2); }},
            {{2, 3}, [=] { return Operations::assignElements(changed, own(1), 2); }},
            {{1, 2, 3, 4, 1, 2, 3, 4}, [=] { return Operations::append(changed, changed); }},
            {{1, 2, 3, 4}, [=] { return Operations::reserve(changed, 50); }},
            {{1, 2, 3, 4, 0, 0}, [=] { return Operations::resize(changed, 6); }},
            {{1, 2, 3, 4, 9, 9}, [=] { return Operations::resizeFill(changed, 6, some + 2); }},
            {{1, 2, 3, 4, 7}, [=] { return Operations::pushBack(changed, some); }},
            {{1, 2, 3, 4, 1}, [=] { return Operations::pushBack(changed, own(0)); }},
            {{7, 8, 1, 2, 3, 4}, [=] { return Operations::insert(changed, 0, some, 2); }},
            {{1, 7, 8, 9, 10, 11, 2, 3, 4},
             [=] { return Operations::insert(changed, 1, some, 5); }},
            {{1, 3, 4, 2, 3, 4}, [=] { return Operations::insert(changed, 1, own(2), 2); }},
            {{1, 2, 3, 7, 4}, [=] { return Operations::insertElement(changed, 3, some); }},
            {{1, 4}, [=] { return Operations::erase(changed, 1, 2); }},
            {{2, 3, 4}, [=] { return Operations::eraseElement(changed, 0); }},
            {{1, 2, 3}, [=] { return Operations::popBack(changed); }},
        };
    }

    /// Each case in a tight block and in one with room; under a watch that lets call 0, 1, 2 … fail
    /// until there are no more. Counts the failures.
    template <class WatchFor, class CallsOf>
    void sweep(int &failures, WatchFor watchFor, CallsOf callsOf)
    {
        failures = 0;
        for (const std::size_t room : {4u, 30u})
            for (const Case &tested : cases())
                for (int failing = 0;; ++failing) {
                    this->fill({1, 2, 3, 4});
                    ASSERT_EQ(OperationsOf<Vector>::reserve(&this->vector, room), KMATH_OK);
                    const auto [status, failed] = [&] {
                        const auto watch = watchFor(failing);
                        const kmath_status given = tested.operation();
                        return std::pair(given, callsOf(watch) > failing);
                    }();
                    ASSERT_EQ(status, failed ? odd : KMATH_OK);
                    ASSERT_EQ(this->numbers(), failed ? std::vector({1, 2, 3, 4}) : tested.after)
                        << "call " << failing;
                    OperationsOf<Vector>::clearAndFreeMemory(&this->vector);
                    if (!failed)
                        break;
                    ++failures;
                }
    }

    const BlockOf<Vector> block{std::vector{7, 8, 9, 10, 11}};
};
TYPED_TEST_SUITE(VectorWithoutServices, VectorTypes, VectorNames);

TYPED_TEST(VectorWithoutServices, KeepsItsElementsWhenCopyingFails)
{
    using support::CopyWatch;
    int failures;
    this->sweep(
        failures, [](int failing) { return CopyWatch(odd, failing); },
        [](const CopyWatch &watch) { return watch.calls(); });
    constexpr bool ofMatrices = std::is_same_v<ElementOf<TypeParam>, kmath_nmmatrix>;
    EXPECT_EQ(failures > 0, !ofMatrices) << "matrices copy their numbers themselves";
}

TYPED_TEST(VectorWithoutServices, KeepsItsElementsWhenFillingFails)
{
    using support::FillWatch;
    int failures;
    this->sweep(
        failures, [](int failing) { return FillWatch(failing, odd); },
        [](const FillWatch &watch) { return static_cast<int>(watch.bytes().size()); });
    if (!ValuesIn<TypeParam>::ownsMemory) {
        EXPECT_GT(failures, 0);
    }
}

} // namespace
