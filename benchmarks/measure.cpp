#include "measure.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace kx::benchmarks {

namespace {

double seconds_a_call(const call& timed, double seconds)
{
    timed(); // so that caches, tables and clock rates are as in the midst of work
    for (std::int64_t calls = 1;;) {
        const auto start = std::chrono::steady_clock::now();
        for (std::int64_t i = 0; i < calls; ++i) {
            timed();
        }
        const double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (taken >= seconds) {
            return taken / static_cast<double>(calls);
        }
        const double missing = 1.1 * seconds / std::max(taken, seconds / 100);
        calls = static_cast<std::int64_t>(missing * static_cast<double>(calls)) + 1;
    }
}

} // namespace

std::vector<std::vector<double>> measure(const std::vector<contestant>& contestants, const effort& how)
{
    std::vector<std::vector<double>> seconds(contestants.size());
    for (int round = 0; round < how.rounds; ++round) {
        for (std::size_t turn = 0; turn < contestants.size(); ++turn) {
            const std::size_t place = (static_cast<std::size_t>(round) + turn) % contestants.size();
            seconds[place].push_back(seconds_a_call(contestants[place].prepare(), how.seconds_a_turn));
        }
    }
    return seconds;
}

} // namespace kx::benchmarks
