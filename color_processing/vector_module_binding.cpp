#include "vector_module_binding.h"

namespace kx {

vector_module_binding::vector_module_binding(const vector_module_names& names) : module_(names.base_name)
{
    void* const module = module_.get();
    if (module != nullptr && platform::find_entry_point(module, names.initialize, initialize_)
        && platform::find_entry_point(module, names.transform_8_bit_output, transform_8_bit_output_)
        && platform::find_entry_point(module, names.transform_16_bit_output, transform_16_bit_output_)
        && platform::find_entry_point(module, names.terminate, terminate_) && initialize_() == 0) {
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
