// One value for each colour channel, and what is done to all channels alike.
#pragma once

namespace kx {

template <typename value>
struct per_channel {
    value blue;
    value green;
    value red;
};

template <typename value>
per_channel(value blue, value green, value red) -> per_channel<value>;

// Calls the function for each channel, with its value out of every argument.
template <typename function, typename... values>
constexpr void for_each_channel(const function& call, values&&... of)
{
    call(of.blue...);
    call(of.green...);
    call(of.red...);
}

// The same for the function's results.
template <typename function, typename... values>
constexpr auto map_channels(const function& call, values&&... of) -> per_channel<decltype(call(of.blue...))>
{
    return {call(of.blue...), call(of.green...), call(of.red...)};
}

// Whether the function is true of some channel, or of all.
template <typename function, typename... values>
constexpr bool any_channel(const function& is_true, const values&... of)
{
    return is_true(of.blue...) || is_true(of.green...) || is_true(of.red...);
}

template <typename function, typename... values>
constexpr bool all_channels(const function& is_true, const values&... of)
{
    return is_true(of.blue...) && is_true(of.green...) && is_true(of.red...);
}

} // namespace kx
