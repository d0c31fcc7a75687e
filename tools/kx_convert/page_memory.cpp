#include "page_memory.h"

#include <algorithm>

namespace kx::convert {

page_memory::share page_memory::take(std::uint64_t bytes_per_worker, unsigned most)
{
    const std::uint64_t needed = std::clamp<std::uint64_t>(bytes_per_worker, 1, all_);
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return free_ >= needed; });
    const std::uint64_t workers = std::min<std::uint64_t>(free_ / needed, most);
    free_ -= workers * needed;
    return {*this, workers * needed, static_cast<unsigned>(workers)};
}

void page_memory::give_back(std::uint64_t bytes)
{
    const std::lock_guard lock(guard_);
    free_ += bytes;
    changed_.notify_all();
}

} // namespace kx::convert
