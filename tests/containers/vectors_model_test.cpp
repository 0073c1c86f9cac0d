#include "containers/typed_vectors.hpp"

namespace
{

using namespace containers;

template <class Vector> class TypedVectorModel : public testing::Test
{
};
TYPED_TEST_SUITE(TypedVectorModel, VectorTypes, VectorNames);

TYPED_TEST(TypedVectorModel, IsFollowedThroughAMillionOperations)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        support::compareWithModel<OperationsOf<TypeParam>, ValuesIn<TypeParam>>(seed, 50000);
}

} // namespace
