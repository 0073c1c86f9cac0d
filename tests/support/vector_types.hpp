// The typed vectors and their shareable twins as lists, taken from the library's own, so that a
// test over all of them takes in a new one or does not compile.
#pragma once

#include <kmath/containers.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace support
{

/// Without the first: in the lists below each type stands behind a comma.
template <class, class... Listed> using TypesAfter = testing::Types<Listed...>;

// clang-format off
#define KSTD_STAMP  "support/vector_types.inc"
#define KSTD_LISTED KSTD_VECTOR
using VectorTypes = TypesAfter<void
#include <kmath/vector_types.h>
>;
#undef KSTD_LISTED

#define KSTD_STAMP  "support/vector_types.inc"
#define KSTD_LISTED KSTD_SHAREABLE
using ShareableTypes = TypesAfter<void
#include <kmath/vector_types.h>
>;
#undef KSTD_LISTED
// clang-format on

/// Calls the function with a null pointer to each type of a list.
template <class Function, class... Listed>
void forEachType(testing::Types<Listed...>, Function function)
{
    (function(static_cast<Listed *>(nullptr)), ...);
}

template <class... Types> struct Joined {
};
template <class... Left, class... Right>
Joined<Left..., Right...> operator+(Joined<Left...>, Joined<Right...>);
template <class... Types> testing::Types<Types...> typesOf(Joined<Types...>);

template <template <class> class Chosen, class... Listed> auto only(testing::Types<Listed...>)
    -> decltype(typesOf((Joined<>() + ... +
                         std::conditional_t<Chosen<Listed>::value, Joined<Listed>, Joined<>>())));

/// The types of a list for which Chosen<Type>::value holds.
template <template <class> class Chosen, class List> using Only = decltype(only<Chosen>(List()));

} // namespace support
