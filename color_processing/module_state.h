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

    // The LUT module's entry points for a processor that is being created. Where another user's terminate has cleared
    // them, they are found anew for this processor alone: processors may be created at once, and the module has not
    // been initialized again. Throws std::bad_function_call where one that a processor needs is missing.
    [[nodiscard]] LUT_module LUT_module_for_creation() const;

    // At the library's end. What is called later finds a module that is not initialized.
    void release_logger();

private:
    std::mutex lock_; // guards the three that follow, nothing else
    std::int32_t reference_count_ = 0;
    std::optional<logger_client> logger_storage_; // in place: there is a logger even when memory has run out
    const logger_client* logger_ = nullptr;
    LUT_module LUT_module_;
};

// One for the loaded library, and never destroyed: objects that end after the library may still call it.
extern module_state& the_module;

} // namespace kx
