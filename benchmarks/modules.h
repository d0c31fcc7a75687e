// Which companion modules the library finds, and which way through it they open.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <memory>
#include <string>
#include <vector>

namespace kx::benchmarks {

// A module that lies elsewhere than beside the library. It bears the name of one that ships, and the system takes what
// is loaded under that name before it looks for a file: from then on the library gets this one.
class module_in_front {
public:
    explicit module_in_front(const std::string& path_without_suffix); // throws std::runtime_error
    ~module_in_front();
    module_in_front(const module_in_front&) = delete;
    module_in_front& operator=(const module_in_front&) = delete;

private:
    void* module_;
};

// A way through the library: the vector level and, for the highest, a module that knows one width of registers alone.
struct path {
    std::string name;
    std::int32_t level;
    std::string module; // in front; may be empty
};

// Those that this machine can run, the scalar kernels first.
std::vector<path> all_paths();

// Without entry points, it counts as none: "no logger module".
std::string empty_logger_module();

} // namespace kx::benchmarks
