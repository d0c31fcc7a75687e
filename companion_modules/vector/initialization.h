// What each module keeps: which of its units runs, and how often it was initialized.
#pragma once

#include "units.h"

#include <atomic>
#include <cstdint>

namespace kx::vector {

class initialization {
public:
    // Counts, and returns the entry point's result: 0 if the machine supports a unit, which is then the argument,
    // else 1.
    std::int32_t add(const transforms* supported)
    {
        unit_.store(supported, std::memory_order_relaxed);
        count_.fetch_add(1, std::memory_order_relaxed);
        return supported != nullptr ? 0 : 1;
    }

    void remove() { count_.fetch_sub(1, std::memory_order_relaxed); }

    // What a transform may run: null for an unsupported or uninitialized module, which leaves all pixels to its caller.
    [[nodiscard]] const transforms* unit() const
    {
        return count_.load(std::memory_order_relaxed) > 0 ? unit_.load(std::memory_order_relaxed) : nullptr;
    }

private:
    std::atomic<std::int32_t> count_ = 0;
    std::atomic<const transforms*> unit_ = nullptr;
};

} // namespace kx::vector
