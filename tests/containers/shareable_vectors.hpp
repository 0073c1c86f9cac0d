// The shareable vectors for tests that run over all of them: their functions under common names.
#pragma once

#include "containers/typed_vectors.hpp"

namespace containers
{

/// The functions of a vector's shareable twin.
template <class Vector> struct ShareableOf;

#define KSTD_STAMP "containers/shareable_cases.inc"
#include <kmath/vector_types.h>

/// A shareable vector that is empty at first, beside a plain one.
template <class Vector> class ShareableTest : public VectorTest<Vector>
{
  protected:
    using Object = typename ShareableOf<Vector>::Object;

    ShareableTest() { EXPECT_EQ(ShareableOf<Vector>::constructEmpty(&shareable), KMATH_OK); }
    ~ShareableTest() override
    {
        EXPECT_EQ(ShareableOf<Vector>::destroy(&shareable), KMATH_OK);
        EXPECT_EQ(shareable, nullptr);
    }

    void fillObject(const std::vector<int> &wanted)
    {
        const BlockOf<Vector> block(wanted);
        ASSERT_EQ(ShareableOf<Vector>::assignElements(shareable, block.data(), wanted.size()),
                  KMATH_OK);
    }

    static std::vector<int> numbersIn(const Object *object) { return numbersOf(object->vector); }

    Object *shareable = nullptr;
};

} // namespace containers
