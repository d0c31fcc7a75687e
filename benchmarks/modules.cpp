#include "modules.h"

#include "companion_interfaces/vector_module.h"
#include "platform/dynamic_module.h"

#include <stdexcept>
#include <utility>

namespace kx::benchmarks {

namespace {

bool accepts_this_machine(const std::string& module, const vector_module_names& names)
{
    void* const loaded = platform::load_module(module.c_str());
    vector_module_initialize_function* initialize = nullptr;
    vector_module_terminate_function* terminate = nullptr;
    if (loaded == nullptr || !platform::find_entry_point(loaded, names.initialize, initialize)
        || !platform::find_entry_point(loaded, names.terminate, terminate)) {
        throw std::runtime_error(module + " is no vector module");
    }
    const bool accepted = initialize() == 0;
    terminate();
    platform::unload_module(loaded);
    return accepted;
}

} // namespace

module_in_front::module_in_front(const std::string& path_without_suffix)
    : module_(platform::load_module(path_without_suffix.c_str()))
{
    if (module_ == nullptr) {
        throw std::runtime_error(path_without_suffix + " cannot be loaded");
    }
    void* const found = platform::load_module(path_without_suffix.substr(path_without_suffix.rfind('/') + 1).c_str());
    if (found != nullptr) {
        platform::unload_module(found);
    }
    if (found != module_) {
        platform::unload_module(module_);
        throw std::runtime_error(path_without_suffix + " is not what the library would find");
    }
}

module_in_front::~module_in_front()
{
    platform::unload_module(module_);
}

std::vector<path> all_paths()
{
    std::vector<path> found = {{"scalar", KX_COLOR_VECTOR_LEVEL_SCALAR, ""}};
    if (accepts_this_machine(sse_module_names.base_name, sse_module_names)) {
        found.push_back({"SSE", KX_COLOR_VECTOR_LEVEL_SSE, ""});
    }
    for (const auto& [name, folder] : {std::pair{"AVX2, 256 bits", "/256/"}, std::pair{"AVX2, 512 bits", "/512/"}}) {
        std::string module = KX_BENCHMARK_MODULES;
        module.append(folder).append(avx2_module_names.base_name);
        if (accepts_this_machine(module, avx2_module_names)) {
            found.push_back({name, KX_COLOR_VECTOR_LEVEL_AVX2, module});
        }
    }
    return found;
}

std::string empty_logger_module()
{
    return std::string(KX_BENCHMARK_MODULES) + "/empty/korvex_kvi_logger";
}

} // namespace kx::benchmarks
