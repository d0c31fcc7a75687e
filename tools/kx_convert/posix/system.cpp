#include "system.h"

#include <limits>

#include <unistd.h>

namespace kx::convert {

bool standard_error_is_terminal()
{
    return isatty(STDERR_FILENO) != 0;
}

std::filesystem::path without_case(const std::filesystem::path& path)
{
    return path;
}

std::vector<std::filesystem::directory_entry> entries_of(const std::filesystem::path& folder, std::error_code& failed)
{
    std::vector<std::filesystem::directory_entry> entries;
    const std::filesystem::directory_iterator end;
    for (std::filesystem::directory_iterator entry(folder, failed); !failed && entry != end; entry.increment(failed)) {
        entries.push_back(*entry);
    }
    return entries;
}

std::uint64_t physical_memory()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long page_bytes = sysconf(_SC_PAGESIZE);
    return pages > 0 && page_bytes > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(page_bytes)
                                       : std::numeric_limits<std::uint64_t>::max();
}

} // namespace kx::convert
