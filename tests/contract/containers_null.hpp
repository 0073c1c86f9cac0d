// Calls a function with arguments that are all valid but one, which is null, and looks whether the
// assertion entry point hears of it.
#pragma once

#include "contract/containers.hpp"

#include <utility>

namespace containers
{

/// The one valid argument of each type: zero, or the address of a value that lives on.
template <class A> struct Valid {
    static A value() { return A{}; }
};
template <class P> struct Valid<P *> {
    static P *value()
    {
        using Record = std::remove_const_t<P>;
        static Record record{};
        if constexpr (requires { Operations<Record>::constructEmpty; }) {
            EXPECT_EQ(Operations<Record>::constructEmpty(&record), KMATH_OK);
        }
        return &record;
    }
};

template <bool isNull, class A> A argument()
{
    if constexpr (isNull)
        return nullptr;
    else
        return Valid<A>::value();
}

template <std::size_t null, class... Args, std::size_t... is>
bool assertsNullAt(kmath_status (*function)(Args...), std::index_sequence<is...>)
{
    return support::assertedLine([&] { function(argument<is == null, Args>()...); }) != 0;
}

/// Whether a null argument at the position is an assertion.
template <std::size_t null, class... Args> bool assertsNull(kmath_status (*function)(Args...))
{
    return assertsNullAt<null>(function, std::index_sequence_for<Args...>());
}

/// A call with a null argument, and whether it was asserted.
struct NullCall {
    const char *operation;
    bool asserted;
};

} // namespace containers
