#include "byte_stream.h"

#include <algorithm>

namespace kx::images {

std::size_t memory_stream::read(std::uint64_t place, void* bytes, std::size_t count)
{
    const std::size_t there = place < bytes_.size() ? std::min(count, bytes_.size() - place) : 0;
    std::copy_n(bytes_.data() + (there > 0 ? place : 0), there, static_cast<std::byte*>(bytes));
    return there;
}

void memory_stream::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    if (place + count > bytes_.size()) {
        bytes_.resize(place + count);
    }
    std::copy_n(static_cast<const std::byte*>(bytes), count, bytes_.data() + place);
}

} // namespace kx::images
