// What the module keeps while it is loaded: the logger, the LUT module and the count of initializations.
#pragma once

#include "companion_interfaces/LUT_module.h"
#include "logger_client.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace kx {

class module_state {
public:
    // Returns whether the LUT module and all its entry points were found. A failure undoes nothing.
    bool initialize();
    void terminate();

    // The logger while the module is initialized, else null. Its presence is what every export checks.
    [[nodiscard]] const logger_client* logger() const { return logger_; }

    [[nodiscard]] const LUT_module& luts() const { return LUT_module_; }

private:
    bool load_LUT_module();

    std::mutex lock_; // guards the three that follow, nothing else
    std::int32_t reference_count_ = 0;
    std::optional<logger_client> logger_storage_; // in place: there is a logger even when memory has run out
    const logger_client* logger_ = nullptr;
    LUT_module LUT_module_;
};

// One for the loaded library. Unloading the library releases a logger that was never terminated.
extern module_state the_module;

} // namespace kx
