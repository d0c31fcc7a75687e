// The LUTs of a processor: tables that live in the LUT module, each with its switch.
#pragma once

#include "companion_interfaces/LUT_module.h"

#include <cstdint>

namespace kx {

class teardown;

// Owns one table of the LUT module. Keeps the functions that it needs to its end: another user's terminate clears
// those of the module's state, while the LUT module stays in memory.
class channel_LUT {
public:
    channel_LUT(const LUT_module& luts, std::int32_t entry_count, bool for_avx2);
    ~channel_LUT(); // releases, and drops what that throws
    channel_LUT(const channel_LUT&) = delete;
    channel_LUT& operator=(const channel_LUT&) = delete;

    // Gives the table back, once. Throws what the LUT module throws.
    void release();

    // The table's entries, asked of the LUT module on every call.
    [[nodiscard]] std::uint32_t* data() const;

    [[nodiscard]] bool enabled() const { return enabled_; }
    void enable(bool enabled) { enabled_ = enabled; }

private:
    get_LUT_data_function* get_LUT_data_;
    destroy_LUT_function* destroy_LUT_;
    void* handle_;
    bool enabled_ = false;
    bool owned_ = true; // the handle does not tell: a null one is given back like any other
};

// Three LUTs, created in this order and destroyed in the reverse one, zero-filled and disabled at first.
struct channel_LUT_set {
    channel_LUT_set(const LUT_module& luts, std::int32_t entry_count, bool for_avx2);

    void release(teardown& steps);
    void enable(bool blue_flag, bool green_flag, bool red_flag);

    channel_LUT blue;
    channel_LUT green;
    channel_LUT red;
};

} // namespace kx
