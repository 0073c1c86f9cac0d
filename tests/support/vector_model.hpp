// A randomised test of a vector against std::vector.
//
// `Operations` names the functions of one vector type, `Values` says what an element holds: it
// makes an element for a number and reads the number back. Allocations fail at random; a failing
// operation must then give the allocator's status and leave the elements as they were.
#pragma once

#include "support/services.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace support
{

/// Elements for numbers, in a row, for as long as it lives.
template <class Values> class ElementBlock
{
  public:
    explicit ElementBlock(std::vector<int> wanted) : numbers(std::move(wanted))
    {
        elements = std::make_unique<typename Values::Element[]>(numbers.size() + 1);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            Values::make(elements[i], numbers[i]);
    }
    ~ElementBlock()
    {
        for (std::size_t i = 0; i < numbers.size(); ++i)
            Values::release(elements[i]);
    }
    ElementBlock(const ElementBlock &) = delete;
    ElementBlock &operator=(const ElementBlock &) = delete;

    const typename Values::Element *data() const { return elements.get(); }

    const std::vector<int> numbers;

  private:
    std::unique_ptr<typename Values::Element[]> elements;
};

/// The numbers of a vector's elements.
template <class Operations, class Values>
std::vector<int> numbersOf(const typename Operations::Vector &vector)
{
    const typename Values::Element *begin = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(Operations::getBeginSizeConst(&vector, &begin, &size), KMATH_OK);
    std::vector<int> numbers;
    for (std::size_t i = 0; i < size; ++i)
        numbers.push_back(Values::numberOf(begin[i]));
    return numbers;
}

template <class Operations, class Values> class VectorModel
{
  public:
    explicit VectorModel(std::uint64_t seed) : generator(seed)
    {
        for (auto &vector : vectors)
            Operations::constructEmpty(&vector);
    }
    ~VectorModel()
    {
        for (auto &vector : vectors)
            Operations::destruct(&vector);
    }
    VectorModel(const VectorModel &) = delete;
    VectorModel &operator=(const VectorModel &) = delete;

    /// Any one operation, on one of two vectors, with arguments of its own, of the other vector's
    /// or of the vector's own.
    void step()
    {
        const std::size_t chosen = upTo(1);
        auto *vector = &vectors[chosen];
        const auto *other = &vectors[1 - chosen];
        std::vector<int> &model = models[chosen];
        const std::vector<int> &otherModel = models[1 - chosen];

        std::vector<int> numbers(upTo(6));
        for (int &number : numbers)
            number = static_cast<int>(upTo(999)) + 1;
        const ElementBlock<Values> block(numbers);
        const ElementBlock<Values> one({static_cast<int>(upTo(999)) + 1});
        const int number = one.numbers[0];

        const std::size_t size = model.size();
        const std::size_t position = upTo(size + 1); // one beyond what is valid, now and then
        const std::size_t count = upTo(size + 2 - position);
        const auto at = [&model](std::size_t i) {
            return model.begin() + static_cast<std::ptrdiff_t>(i);
        };
        // A part of the vector itself as the source.
        const std::size_t first = size == 0 ? 0 : upTo(size - 1);
        const std::size_t own = size == 0 ? 0 : upTo(size - first);
        const std::vector<int> ownNumbers(at(first), at(first + own));
        const typename Values::Element *begin = nullptr;
        Operations::getBeginConst(vector, &begin);

        const std::size_t small = upTo(12);
        const bool within = position <= size;
        const bool spans = within && count <= size - position;
        switch (upTo(19)) {
        case 0:
            return attempt(
                true, [&] { return Operations::pushBack(vector, one.data()); },
                [&] { model.push_back(number); });
        case 1:
            if (size == 0)
                return;
            return attempt(
                true, [&] { return Operations::pushBack(vector, begin + first); },
                [&] { model.push_back(int{model[first]}); });
        case 2:
            return attempt(
                size > 0, [&] { return Operations::popBack(vector); }, [&] { model.pop_back(); });
        case 3:
            return attempt(
                within,
                [&] { return Operations::insert(vector, position, block.data(), numbers.size()); },
                [&] { model.insert(at(position), numbers.begin(), numbers.end()); });
        case 4:
            return attempt(
                within, [&] { return Operations::insert(vector, position, begin + first, own); },
                [&] { model.insert(at(position), ownNumbers.begin(), ownNumbers.end()); });
        case 5:
            return attempt(
                within, [&] { return Operations::insertElement(vector, position, one.data()); },
                [&] { model.insert(at(position), number); });
        case 6:
            return attempt(
                spans, [&] { return Operations::erase(vector, position, count); },
                [&] { model.erase(at(position), at(position + count)); });
        case 7:
            return attempt(
                position < size, [&] { return Operations::eraseElement(vector, position); },
                [&] { model.erase(at(position)); });
        case 8:
            return attempt(
                true, [&] { return Operations::resize(vector, small); },
                [&] { model.resize(small); });
        case 9:
            return attempt(
                true, [&] { return Operations::resizeFill(vector, small, one.data()); },
                [&] { model.resize(small, number); });
        case 10:
            if (size == 0)
                return;
            return attempt(
                true, [&] { return Operations::resizeFill(vector, size * 2, begin + first); },
                [&] { model.resize(size * 2, int{model[first]}); });
        case 11:
            return attempt(
                true, [&] { return Operations::reserve(vector, size + small); }, [] {});
        case 12:
            return attempt(
                true, [&] { return Operations::assign(vector, other); },
                [&] { model = otherModel; });
        case 13:
            return attempt(
                true,
                [&] { return Operations::assignElements(vector, block.data(), numbers.size()); },
                [&] { model = numbers; });
        case 14:
            return attempt(
                true, [&] { return Operations::assignElements(vector, begin + first, own); },
                [&] { model = ownNumbers; });
        case 15:
            return attempt(
                true, [&] { return Operations::append(vector, other); },
                [&] { model.insert(model.end(), otherModel.begin(), otherModel.end()); });
        case 16:
            if (size > 40)
                return attempt(
                    true, [&] { return Operations::clear(vector); }, [&] { model.clear(); });
            return attempt(
                true, [&] { return Operations::append(vector, vector); },
                [&] {
                    model.reserve(2 * size);
                    model.insert(model.end(), model.begin(), at(size));
                });
        case 17:
            return attempt(
                true, [&] { return Operations::swap(&vectors[0], &vectors[1]); },
                [&] { models[0].swap(models[1]); });
        case 18:
            if (upTo(3) != 0)
                return;
            return attempt(
                true, [&] { return Operations::clearAndFreeMemory(vector); },
                [&] { model.clear(); });
        default:
            return replaceByCopy(*vector, *other, model, otherModel);
        }
    }

    void check() const
    {
        for (int i = 0; i < 2; ++i) {
            const std::vector<int> numbers = numbersOf<Operations, Values>(vectors[i]);
            ASSERT_EQ(numbers, models[i]);
            std::size_t capacity = 0;
            Operations::getCapacity(&vectors[i], &capacity);
            ASSERT_GE(capacity, numbers.size());
        }
    }

  private:
    std::size_t upTo(std::size_t most)
    {
        return std::uniform_int_distribution<std::size_t>(0, most)(generator);
    }

    template <class Operation, class Change>
    void attempt(bool valid, Operation operation, Change change)
    {
        if (upTo(2) == 0)
            failAllocation(static_cast<std::int64_t>(upTo(5)));
        const kmath_status status = operation();
        const bool failed = allocationHasFailed();
        failAllocation(-1);
        ASSERT_EQ(status, failed  ? KMATH_ERR_NO_MEMORY
                          : valid ? KMATH_OK
                                  : KMATH_ERR_BAD_DIMENSIONS);
        if (status == KMATH_OK)
            change();
        check();
    }

    // A vector made anew as a copy; where that fails, nothing is left to destruct.
    void replaceByCopy(typename Operations::Vector &vector,
                       const typename Operations::Vector &source, std::vector<int> &model,
                       const std::vector<int> &sourceModel)
    {
        typename Operations::Vector copy;
        bool made = false;
        attempt(
            true,
            [&] {
                const kmath_status status = Operations::constructCopy(&copy, &source);
                made = !KMATH_IS_FAILURE(status);
                return status;
            },
            [] {});
        if (!made)
            return;
        Operations::destruct(&vector);
        Operations::constructEmpty(&vector);
        Operations::swap(&vector, &copy);
        Operations::destruct(&copy);
        model = sourceModel;
        check();
    }

    std::mt19937_64 generator;
    typename Operations::Vector vectors[2];
    std::vector<int> models[2];
};

template <class Operations, class Values> void compareWithModel(std::uint64_t seed, int steps)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const std::int64_t before = liveBlocks();
    {
        VectorModel<Operations, Values> model(seed);
        for (int i = 0; i < steps && !testing::Test::HasFatalFailure(); ++i)
            model.step();
    }
    EXPECT_EQ(liveBlocks(), before) << "leaked";
}

} // namespace support
