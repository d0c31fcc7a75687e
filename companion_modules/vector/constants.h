// From a value known at run time to a constant.
#pragma once

#include <type_traits>

namespace kx::vector {
namespace {

// Calls the function with a constant (std::integral_constant) in place of the value: the one of `first` and `others`
// that it equals, or the last of them.
template <auto first, auto... others, typename function>
decltype(auto) with_constant(decltype(first) value, function call)
{
    if constexpr (sizeof...(others) == 0) {
        return call(std::integral_constant<decltype(first), first>());
    } else if (value == first) {
        return call(std::integral_constant<decltype(first), first>());
    } else {
        return with_constant<others...>(value, call);
    }
}

} // namespace
} // namespace kx::vector
