#include "module_state.h"

#include "platform/dynamic_module.h"

namespace kx {

module_state the_module;

bool module_state::initialize()
{
    {
        const std::lock_guard guard(lock_);
        if (reference_count_ == 0 && logger_ == nullptr) {
            logger_ = &logger_storage_.emplace();
        }
        ++reference_count_;
    }
    if (!load_LUT_module()) {
        return false;
    }
    LUT_module_.initialize();
    return true;
}

// Loads the module anew on every initialization; what was found before a failure stays.
bool module_state::load_LUT_module()
{
    LUT_module& luts = LUT_module_;
    luts.module = platform::load_module(LUT_module::base_name);
    return luts.module != nullptr
           && platform::find_entry_point(luts.module, "kx_LUT_module_initialize", luts.initialize)
           && platform::find_entry_point(luts.module, "kx_create_LUT_test", luts.create_LUT)
           && platform::find_entry_point(luts.module, "kx_LUT_transform_16", luts.LUT_transform_16)
           && platform::find_entry_point(luts.module, "kx_get_LUT_data", luts.get_LUT_data)
           && platform::find_entry_point(luts.module, "kx_destroy_LUT", luts.destroy_LUT)
           && platform::find_entry_point(luts.module, "kx_LUT_module_terminate", luts.terminate);
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
        logger_ = nullptr; // first, so that nobody writes to a log that is being closed
        logger_storage_.reset();
    }
}

} // namespace kx
