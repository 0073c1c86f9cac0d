// A randomised test of the shareable vectors against std::vector: two handles, any operation on
// either, with arguments of its own, of the other object's or of a stranger's, and allocations that
// fail at random.
#include "containers/shareable_vectors.hpp"

#include <random>
#include <utility>

namespace
{

using namespace containers;

template <class Vector> class ShareableModel
{
    using Shareable = ShareableOf<Vector>;
    using Object = typename Shareable::Object;
    using Element = typename Shareable::Element;
    using Block = support::ElementBlock<ValuesOf<Element>>;
    using Numbers = std::vector<int>;

  public:
    explicit ShareableModel(std::uint64_t seed) : generator(seed) {}
    ~ShareableModel()
    {
        for (Handle &handle : handles)
            EXPECT_EQ(Shareable::destroy(&handle.object), KMATH_OK);
    }
    ShareableModel(const ShareableModel &) = delete;
    ShareableModel &operator=(const ShareableModel &) = delete;

    void step()
    {
        Handle &handle = handles[upTo(1)];
        if (!handle.object || upTo(5) == 0)
            live(handle);
        else
            change(handle);
        check();
    }

  private:
    struct Handle {
        Object *object = nullptr;
        Numbers numbers;
    };

    // A new life for a handle, or the end of one; a failure leaves it null.
    void live(Handle &handle)
    {
        const Handle &source = handles[upTo(1)];
        const Numbers numbers = source.numbers;
        const std::size_t n = upTo(4);
        Object *const old = handle.object;
        bool kept = false; // a constructor does not look at what the handle holds
        const auto attemptNew = [&](const Numbers &made, auto operation) {
            if (KMATH_IS_FAILURE(attempt(operation))) {
                EXPECT_EQ(handle.object, nullptr);
            }
            handle.numbers = handle.object ? made : Numbers{};
        };
        switch (upTo(5)) {
        case 0:
            kept = true;
            attemptNew(Numbers(n), [&] { return Shareable::construct(&handle.object, n); });
            break;
        case 1:
            if (!source.object)
                return;
            kept = true;
            attemptNew(numbers, [&] {
                return Shareable::constructVector(&handle.object, &source.object->vector);
            });
            break;
        case 2:
            if (!source.object)
                return;
            kept = true;
            attemptNew(numbers,
                       [&] { return Shareable::constructCopy(&handle.object, source.object); });
            break;
        case 3:
            attemptNew({}, [&] { return Shareable::create(&handle.object); });
            break;
        case 4:
            attemptNew(numbers, [&] { return Shareable::newClone(&handle.object, source.object); });
            break;
        default:
            attemptNew({}, [&] { return Shareable::destruct(&handle.object); });
            EXPECT_EQ(handle.object, nullptr);
        }
        if (kept && old) {
            Object *constructedOver = old;
            EXPECT_EQ(Shareable::destroy(&constructedOver), KMATH_OK);
        }
    }

    void change(Handle &handle)
    {
        Object *object = handle.object;
        const Handle &source = handles[upTo(1)];
        Numbers numbers(upTo(5) + 1);
        for (int &number : numbers)
            number = static_cast<int>(upTo(999)) + 1;
        const Block block(numbers);

        const std::size_t size = handle.numbers.size();
        const std::size_t first = size == 0 ? 0 : upTo(size - 1);
        const std::size_t own = size == 0 ? 0 : upTo(size - first);
        const auto begin = handle.numbers.begin() + static_cast<std::ptrdiff_t>(first);
        const Numbers ownNumbers(begin, begin + static_cast<std::ptrdiff_t>(own));
        const Element *elements = nullptr, *end = nullptr;
        EXPECT_EQ(Shareable::getBeginEndConst(object, &elements, &end), KMATH_OK);

        Numbers changed = handle.numbers;
        const auto attemptChange = [&](auto operation) {
            if (attempt(operation) == KMATH_OK)
                handle.numbers = changed;
        };
        switch (upTo(8)) {
        case 0:
            changed.push_back(numbers[0]);
            return attemptChange([&] { return Shareable::pushBack(object, block.data()); });
        case 1:
            if (size == 0)
                return;
            changed.push_back(ownNumbers.empty() ? handle.numbers[first] : ownNumbers[0]);
            return attemptChange([&] { return Shareable::pushBack(object, elements + first); });
        case 2:
            changed = numbers;
            return attemptChange(
                [&] { return Shareable::assignElements(object, block.data(), numbers.size()); });
        case 3:
            changed = ownNumbers;
            return attemptChange(
                [&] { return Shareable::assignElements(object, elements + first, own); });
        case 4:
            if (!source.object)
                return;
            changed = source.numbers;
            return attemptChange([&] { return Shareable::assign(object, source.object); });
        case 5:
            if (!source.object)
                return;
            changed = source.numbers;
            return attemptChange(
                [&] { return Shareable::assignVector(object, &source.object->vector); });
        case 6:
            changed.resize(upTo(12));
            return attemptChange([&] { return Shareable::resize(object, changed.size()); });
        case 7:
            return attemptChange([&] { return Shareable::reserve(object, size + first); });
        default:
            changed.clear();
            return attemptChange([&] { return Shareable::reset(object); });
        }
    }

    template <class Operation> kmath_status attempt(Operation operation)
    {
        if (upTo(2) == 0)
            support::failAllocation(static_cast<std::int64_t>(upTo(8)));
        const kmath_status status = operation();
        const bool failed = support::allocationHasFailed();
        support::failAllocation(-1);
        EXPECT_EQ(status, failed ? KMATH_ERR_NO_MEMORY : KMATH_OK);
        return status;
    }

    void check() const
    {
        for (const Handle &handle : handles) {
            if (!handle.object)
                continue;
            ASSERT_EQ(numbersOf(handle.object->vector), handle.numbers);
            std::int32_t size = -1;
            EXPECT_EQ(Shareable::getSize(handle.object, &size), KMATH_OK);
            EXPECT_EQ(static_cast<std::size_t>(size), handle.numbers.size());
            void *result = nullptr;
            EXPECT_EQ(Shareable::query(handle.object, L"kxObject", &result), KMATH_OK);
            EXPECT_EQ(result, handle.object);
        }
        if constexpr (requires { &Shareable::compareEqual; }) {
            std::uint32_t equal = 77;
            if (!handles[0].object || !handles[1].object)
                return;
            EXPECT_EQ(Shareable::compareEqual(handles[0].object, handles[1].object, &equal),
                      KMATH_OK);
            EXPECT_EQ(equal, handles[0].numbers == handles[1].numbers ? 1u : 0u);
        }
    }

    std::size_t upTo(std::size_t most) { return generator() % (most + 1); }

    std::mt19937_64 generator;
    Handle handles[2];
};

template <class Vector> class ShareableVectorModel : public testing::Test
{
};
TYPED_TEST_SUITE(ShareableVectorModel, VectorTypes, VectorNames);

TYPED_TEST(ShareableVectorModel, IsFollowedThroughAMillionOperations)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const std::int64_t before = support::liveBlocks();
        {
            ShareableModel<TypeParam> model(seed);
            for (int i = 0; i < 50000 && !testing::Test::HasFailure(); ++i)
                model.step();
        }
        EXPECT_EQ(support::liveBlocks(), before) << "leaked";
    }
}

} // namespace
