#include "vector_module_binding.h"

#include <new>
#include <stdexcept>

namespace kx {

namespace {

// Calls the module's initialize. What that throws may live in the module, which is unloaded before a failed creation
// is over: so an exception of the library's own goes on in its place.
bool succeeds(vector_module_initialize_function* initialize)
{
    try {
        return initialize() == 0;
    } catch (const std::bad_alloc&) {
        throw std::bad_alloc();
    } catch (...) {
        throw std::runtime_error("a vector module failed to initialize");
    }
}

} // namespace

vector_module_binding::vector_module_binding(const vector_module_names& names) : module_(names.base_name)
{
    void* const module = module_.get();
    if (module != nullptr && platform::find_entry_point(module, names.initialize, initialize_)
        && platform::find_entry_point(module, names.transform_8_bit_output, transform_8_bit_output_)
        && platform::find_entry_point(module, names.transform_16_bit_output, transform_16_bit_output_)
        && platform::find_entry_point(module, names.terminate, terminate_) && succeeds(initialize_)) {
        load_failed_ = 0;
    }
}

vector_module_binding::~vector_module_binding()
{
    // Also when initialize refused: the module counts its initializations whatever it answered.
    if (terminate_ != nullptr) {
        terminate_();
    }
}

} // namespace kx
