#include "module_state.h"

#include "platform/dynamic_module.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <new>

namespace kx {

namespace {

alignas(module_state) std::byte storage[sizeof(module_state)];

// Loads the module anew; what was found before a failure stays. Returns whether all was found.
bool load(LUT_module& luts)
{
    luts.module = platform::load_module(LUT_module::base_name);
    return luts.module != nullptr
           && platform::find_entry_point(luts.module, "kx_LUT_module_initialize", luts.initialize)
           && platform::find_entry_point(luts.module, "kx_create_LUT_test", luts.create_LUT)
           && platform::find_entry_point(luts.module, "kx_LUT_transform_16", luts.LUT_transform_16)
           && platform::find_entry_point(luts.module, "kx_get_LUT_data", luts.get_LUT_data)
           && platform::find_entry_point(luts.module, "kx_destroy_LUT", luts.destroy_LUT)
           && platform::find_entry_point(luts.module, "kx_LUT_module_terminate", luts.terminate);
}

} // namespace

module_state& the_module = *new (storage) module_state; // so that nothing destroys it

namespace {

// Ends with the library, also when the host never terminated it.
struct logger_release {
    void operator()(module_state* state) const { state->release_logger(); }
};
const std::unique_ptr<module_state, logger_release> at_the_end(&the_module);

} // namespace

bool module_state::initialize()
{
    {
        const std::lock_guard guard(lock_);
        if (reference_count_ == 0 && logger_ == nullptr) {
            logger_ = &logger_storage_.emplace();
        }
        ++reference_count_;
    }
    if (!load(LUT_module_)) {
        return false;
    }
    LUT_module_.initialize();
    return true;
}

LUT_module module_state::LUT_module_for_creation() const
{
    LUT_module luts = LUT_module_;
    if (luts.module == nullptr) {
        load(luts);
    }
    if (luts.create_LUT == nullptr || luts.get_LUT_data == nullptr || luts.destroy_LUT == nullptr) {
        throw std::bad_function_call();
    }
    return luts;
}

void module_state::terminate()
{
    if (LUT_module_.terminate != nullptr) {
        LUT_module_.terminate();
    }
    // The handle is forgotten, not unloaded: pointers into LUTs that a host still holds stay readable.
    LUT_module_ = {};

    const std::lock_guard guard(lock_);
    if (reference_count_ == 0) {
        return;
    }
    --reference_count_;
    if (reference_count_ == 0) {
        release_logger();
    }
}

void module_state::release_logger()
{
    logger_ = nullptr; // first, so that nobody writes to a log that is being closed
    logger_storage_.reset();
}

} // namespace kx
