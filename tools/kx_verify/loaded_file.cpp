#include "loaded_file.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kx::verify {

std::string contents(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    if (!(bytes << file.rdbuf())) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return bytes.str();
}

std::string loaded_file::version(const std::string& name) const
{
    const std::string bytes = contents(path);
    const std::string mark = "@(#)" + name + ' ';
    const std::size_t begin = bytes.find(mark);
    if (begin == std::string::npos) {
        return {};
    }
    const std::size_t version = begin + mark.size();
    return bytes.substr(version, bytes.find('\0', version) - version);
}

} // namespace kx::verify
