#include "ledger.h"

#include <algorithm>

namespace kx::images {

void ledger::enter(loss kind, const std::string& what, std::uint32_t page)
{
    if (!keeps_) {
        return;
    }
    const std::lock_guard lock(guard_);
    const auto [entry, is_new] = entries_.try_emplace({kind, what}, pages{page, 1});
    if (!is_new) {
        entry->second.first = std::min(entry->second.first, page);
        ++entry->second.count;
    }
}

bool ledger::empty() const
{
    const std::lock_guard lock(guard_);
    return entries_.empty();
}

std::vector<std::string> ledger::lines() const
{
    const std::lock_guard lock(guard_);
    std::vector<std::string> lines;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        const loss kind = entry->first.first;
        std::string line = kind == loss::oddity ? "" : kind == loss::changed ? "changed: " : "not carried over: ";
        const char* separator = "";
        for (; entry != entries_.end() && entry->first.first == kind; ++entry) {
            const auto& [first, count] = entry->second;
            line += separator + entry->first.second;
            separator = kind == loss::oddity ? "; " : ", ";
            // A text that is the first page's alone needs no number.
            if (count > 1) {
                line += " (" + std::to_string(count) + " pages)";
            } else if (first > 1) {
                line += " (page " + std::to_string(first) + ')';
            }
        }
        lines.push_back(line);
    }
    return lines;
}

} // namespace kx::images
