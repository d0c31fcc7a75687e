// One processor's binding to one vector module.
#pragma once

#include "companion_interfaces/vector_module.h"
#include "platform/dynamic_module.h"

#include <cstdint>

namespace kx {

// A loaded shared library, unloaded with the object.
class loaded_module {
public:
    explicit loaded_module(const char* base_name) : module_(platform::load_module(base_name)) {}
    ~loaded_module()
    {
        if (module_ != nullptr) {
            platform::unload_module(module_);
        }
    }
    loaded_module(const loaded_module&) = delete;
    loaded_module& operator=(const loaded_module&) = delete;

    [[nodiscard]] void* get() const { return module_; }

private:
    void* module_;
};

// Loads and initializes the module when constructed, terminates and releases it when destroyed. A module
// that is missing, incomplete or refuses the machine only makes the binding unusable.
class vector_module_binding {
public:
    explicit vector_module_binding(const vector_module_names& names);
    ~vector_module_binding();
    vector_module_binding(const vector_module_binding&) = delete;
    vector_module_binding& operator=(const vector_module_binding&) = delete;

    [[nodiscard]] bool usable() const { return load_failed_ == 0; }

    // Call only when usable.
    [[nodiscard]] std::uint32_t transform_8_bit_output(const transform_parameters& parameters) const
    {
        return transform_8_bit_output_(&parameters);
    }
    [[nodiscard]] std::uint32_t transform_16_bit_output(const transform_parameters& parameters) const
    {
        return transform_16_bit_output_(&parameters);
    }

private:
    loaded_module module_;
    std::uint8_t load_failed_ = 1;
    vector_module_initialize_function* initialize_ = nullptr;
    vector_transform_function* transform_8_bit_output_ = nullptr;
    vector_transform_function* transform_16_bit_output_ = nullptr;
    vector_module_terminate_function* terminate_ = nullptr;
};

} // namespace kx
