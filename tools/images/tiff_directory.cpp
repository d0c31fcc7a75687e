#include "tiff_directory.h"

#include <algorithm>
#include <array>

namespace kx::images {

namespace {

constexpr std::uint64_t max_tag_bytes = std::uint64_t{1} << 28;

// A number as it stands in the file.
std::uint64_t number(const std::byte* bytes, std::size_t size, bool high_first)
{
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < size; ++index) {
        value = value << 8 | std::to_integer<std::uint64_t>(bytes[high_first ? index : size - 1 - index]);
    }
    return value;
}

} // namespace

std::size_t tiff_entry::value_size() const
{
    constexpr std::array<std::uint8_t, 19> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < sizes.size() ? sizes.at(type) : 0;
}

tiff_directory::tiff_directory(tiff_file& file, std::uint64_t offset) : file_(file), offset_(offset)
{
    const bool big = TIFFIsBigTIFF(file.get()) != 0;
    const bool high_first = TIFFIsBigEndian(file.get()) != 0;
    const std::size_t word = big ? 8 : 4; // a count or an offset
    const std::size_t entry_size = 4 + 2 * word;
    const std::size_t head = big ? 8 : 2;
    std::array<std::byte, 8> start{};
    file.stream().read(offset, start.data(), head);
    const std::uint64_t count = std::min<std::uint64_t>(number(start.data(), head, high_first), 0xFFFF);
    std::vector<std::byte> bytes(count * entry_size);
    bytes.resize(file.stream().read(offset + head, bytes.data(), bytes.size()) / entry_size * entry_size);
    for (std::size_t at = 0; at < bytes.size(); at += entry_size) {
        const std::byte* const here = &bytes[at];
        tiff_entry entry{.tag = static_cast<std::uint16_t>(number(here, 2, high_first)),
                         .type = static_cast<std::uint16_t>(number(here + 2, 2, high_first)),
                         .count = number(here + 4, word, high_first),
                         .place = offset + head + at + 4 + word};
        if (entry.value_size() > 0 && entry.count > word / entry.value_size()) {
            entry.place = number(here + 4 + word, word, high_first);
        }
        entries_.push_back(entry);
    }
}

std::uint64_t tiff_directory::next_structure(std::uint64_t start) const
{
    std::uint64_t next = offset_ >= start ? offset_ : UINT64_MAX;
    for (const tiff_entry& entry : entries_) {
        next = entry.place >= start ? std::min(next, entry.place) : next;
    }
    return next;
}

std::optional<std::vector<std::byte>> tiff_directory::values(const tiff_entry& entry) const
{
    const std::size_t size = entry.value_size();
    const std::uint64_t available = file_.stream().size();
    if (size == 0 || entry.count > max_tag_bytes / size || entry.place > available
        || entry.size() > available - entry.place) {
        return std::nullopt;
    }
    std::vector<std::byte> bytes(entry.size());
    if (file_.stream().read(entry.place, bytes.data(), bytes.size()) != bytes.size()) {
        return std::nullopt;
    }
    swap_if_needed(entry.type, size, bytes);
    return bytes;
}

void tiff_directory::replace(const tiff_tag& tag) const
{
    const auto entry = std::ranges::find(entries_, tag.tag, &tiff_entry::tag);
    if (entry == entries_.end() || entry->type != tag.type || entry->size() != tag.bytes.size()) {
        file_.fail("tag " + std::to_string(tag.tag) + " cannot be written");
    }
    std::vector<std::byte> bytes = tag.bytes;
    swap_if_needed(tag.type, entry->value_size(), bytes);
    file_.stream().write(entry->place, bytes.data(), bytes.size());
}

// Fractions are two numbers.
void tiff_directory::swap_if_needed(std::uint16_t type, std::size_t size, std::vector<std::byte>& bytes) const
{
    const std::size_t unit = type == TIFF_RATIONAL || type == TIFF_SRATIONAL ? 4 : size;
    for (std::size_t start = 0; TIFFIsByteSwapped(file_.get()) != 0 && start < bytes.size(); start += unit) {
        std::reverse(&bytes[start], &bytes[start] + unit);
    }
}

} // namespace kx::images
