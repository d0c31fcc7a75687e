// One processor's binding to one vector module.
#pragma once

#include "companion_interfaces/vector_module.h"

#include <cstdint>

namespace kx {

// Loads and initializes the module when constructed, terminates and unloads it when released. A module that is
// missing, incomplete or refuses the machine only makes the binding unusable.
class vector_module_binding {
public:
    explicit vector_module_binding(const vector_module_names& names);
    ~vector_module_binding(); // releases, and drops what that throws
    vector_module_binding(const vector_module_binding&) = delete;
    vector_module_binding& operator=(const vector_module_binding&) = delete;

    // Once. What the module throws is replaced by an exception of the library's own.
    void release();

    [[nodiscard]] bool usable() const { return !load_failed_; }

    // Has the module convert pixels from 0 on to 8- or 16-bit samples; returns how many. Call only when usable.
    template <typename output_sample>
    [[nodiscard]] std::uint32_t convert(const transform_parameters& parameters) const
    {
        return (sizeof(output_sample) == 1 ? transform_8_bit_output_ : transform_16_bit_output_)(&parameters);
    }

private:
    void* module_;
    bool load_failed_ = true;
    vector_module_initialize_function* initialize_ = nullptr;
    vector_transform_function* transform_8_bit_output_ = nullptr;
    vector_transform_function* transform_16_bit_output_ = nullptr;
    vector_module_terminate_function* terminate_ = nullptr;
};

} // namespace kx
