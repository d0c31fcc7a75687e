#include "loaded_file.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

namespace kx::verify {

namespace {

template <typename Record>
Record record_at(const std::string& file, std::size_t offset)
{
    if (offset > file.size() || sizeof(Record) > file.size() - offset) {
        throw std::runtime_error("its file is damaged");
    }
    Record record;
    std::memcpy(&record, file.data() + offset, sizeof record);
    return record;
}

std::vector<std::string> exports_in(const std::string& file)
{
    std::vector<std::string> names;
    const auto header = record_at<ElfW(Ehdr)>(file, 0);
    const auto section = [&](std::size_t index) {
        return record_at<ElfW(Shdr)>(file, header.e_shoff + index * sizeof(ElfW(Shdr)));
    };
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const auto symbols = section(i);
        if (symbols.sh_type != SHT_DYNSYM) {
            continue;
        }
        const auto strings = section(symbols.sh_link);
        for (std::size_t at = 0; at < symbols.sh_size; at += sizeof(ElfW(Sym))) {
            const auto symbol = record_at<ElfW(Sym)>(file, symbols.sh_offset + at);
            if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
                const std::size_t name = strings.sh_offset + symbol.st_name;
                names.emplace_back(file, name, file.find('\0', name) - name);
            }
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

std::optional<loaded_file> loaded_file::find(const std::string& name)
{
    const auto close = [](void* handle) { dlclose(handle); };
    const std::unique_ptr<void, decltype(close)> handle(dlopen((name + ".so").c_str(), RTLD_LAZY | RTLD_NOLOAD), close);
    link_map* map = nullptr;
    if (handle == nullptr || dlinfo(handle.get(), RTLD_DI_LINKMAP, &map) != 0) {
        return std::nullopt;
    }
    const auto path = std::filesystem::canonical(map->l_name);
    return loaded_file{path, exports_in(contents(path))};
}

} // namespace kx::verify
