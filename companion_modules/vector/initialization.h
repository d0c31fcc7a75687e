// What both modules keep: whether they may run, and how often they were initialized.
#pragma once

#include <atomic>
#include <cstdint>

namespace kx::vector {

class initialization {
public:
    // Counts, and returns the entry point's result: 0 if the machine supports the module, else 1.
    std::int32_t add(bool supported)
    {
        count_.fetch_add(1, std::memory_order_relaxed);
        supported_.store(supported, std::memory_order_relaxed);
        return supported ? 0 : 1;
    }

    void remove() { count_.fetch_sub(1, std::memory_order_relaxed); }

    // Whether a transform may run: an unsupported or uninitialized module leaves all pixels to its caller.
    [[nodiscard]] bool ready() const
    {
        return supported_.load(std::memory_order_relaxed) && count_.load(std::memory_order_relaxed) > 0;
    }

private:
    std::atomic<std::int32_t> count_ = 0;
    std::atomic<bool> supported_ = false;
};

} // namespace kx::vector
