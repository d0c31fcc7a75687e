#include "vector_module_binding.h"

#include "platform/dynamic_module.h"
#include "teardown.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace kx {

namespace {

// Calls an entry point of the module. What that throws may live in the module, which is unloaded before a failed
// creation or a destruction is over: so an exception of the library's own goes on in its place.
template <typename function>
std::int32_t call(function* entry_point)
{
    try {
        return entry_point();
    } catch (const std::bad_alloc&) {
        throw std::bad_alloc();
    } catch (...) {
        throw std::runtime_error("a vector module failed to initialize or terminate");
    }
}

} // namespace

vector_module_binding::vector_module_binding(const vector_module_names& names)
    : module_(platform::load_module(names.base_name))
{
    if (module_ == nullptr || !platform::find_entry_point(module_, names.initialize, initialize_)
        || !platform::find_entry_point(module_, names.transform_8_bit_output, transform_8_bit_output_)
        || !platform::find_entry_point(module_, names.transform_16_bit_output, transform_16_bit_output_)
        || !platform::find_entry_point(module_, names.terminate, terminate_)) {
        return;
    }
    try {
        load_failed_ = call(initialize_) != 0;
    } catch (...) {
        // The binding was never constructed: its module is unloaded, but not terminated.
        platform::unload_module(module_);
        throw;
    }
}

vector_module_binding::~vector_module_binding()
{
    teardown().step([this] { release(); });
}

void vector_module_binding::release()
{
    teardown steps;
    // Also when initialize refused: the module counts its initializations whatever it answered.
    if (auto* const terminate = std::exchange(terminate_, nullptr)) {
        steps.step([terminate] { call(terminate); });
    }
    if (void* const module = std::exchange(module_, nullptr)) {
        platform::unload_module(module);
    }
    steps.finish();
}

} // namespace kx
