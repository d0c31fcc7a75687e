#include "processor.h"

#include <fstream>

namespace kx::verify {

// Linux knows numbers alone: of who made it, and which of theirs it is. Boards say their names.
std::string processor_name()
{
    std::string name = "ARM64";
    std::ifstream board("/proc/device-tree/model");
    if (std::string model; std::getline(board, model, '\0')) {
        name += ", " + model;
    }
    std::ifstream information("/proc/cpuinfo");
    for (std::string line; std::getline(information, line) && !line.empty();) { // those of the first core
        for (const char* const wanted : {"CPU implementer", "CPU part"}) {
            if (line.starts_with(wanted)) {
                name += std::string(", ") + wanted + line.substr(line.find(':') + 1);
            }
        }
    }
    return name;
}

bool processor_has(std::int32_t vector_level)
{
    return vector_level == 0 || vector_level == 1;
}

bool processor_has_512_bits()
{
    return false;
}

} // namespace kx::verify
