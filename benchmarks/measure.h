// Times things side by side, so that all meet the same moments of a noisy machine.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kx::benchmarks {

using call = std::function<void()>;

// One of the things that are compared: a name, and what makes the call to be timed. It is made anew for each turn, and
// goes before the next one is made.
struct contestant {
    std::string name;
    std::function<call()> prepare;
};

struct effort {
    int rounds;
    double seconds_a_turn; // at least; a turn is one call or many
    int frames;            // of a live camera
};

// Each contestant has its turn in every round; who begins changes. Returns the seconds a call, by contestant and round.
std::vector<std::vector<double>> measure(const std::vector<contestant>& contestants, const effort& how);

} // namespace kx::benchmarks
