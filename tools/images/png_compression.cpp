#include "png_compression.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <future>

#include <zlib.h>
#ifdef KX_HAS_ISAL
#include <isa-l/igzip_lib.h>
#endif

namespace kx::images {

namespace {

// A band knows nothing of those before it. This is large enough that no file grows by it.
constexpr std::size_t band_bytes = std::size_t{4} << 20;

constexpr int fast_level = 1;
constexpr int lowest_thorough_level = 4; // from here on every row's filter is chosen

using bytes = std::vector<std::uint8_t>;

// Samples have their high byte first.
void fetch_row(const samples_view& page, std::size_t row, std::uint8_t* to)
{
    const std::size_t samples = std::size_t{page.width} * page.channels;
    const std::byte* const from = page.bytes + row * samples * page.sample_bytes;
    if (page.sample_bytes == 1 || std::endian::native == std::endian::big) {
        std::memcpy(to, from, samples * page.sample_bytes);
        return;
    }
    for (std::size_t sample = 0; sample < samples; ++sample) {
        to[2 * sample] = std::to_integer<std::uint8_t>(from[2 * sample + 1]);
        to[2 * sample + 1] = std::to_integer<std::uint8_t>(from[2 * sample]);
    }
}

std::uint8_t nearest(int left, int above, int corner)
{
    const int to_left = std::abs(above - corner);
    const int to_above = std::abs(left - corner);
    const int to_corner = std::abs(left + above - 2 * corner);
    const bool is_left = to_left <= to_above && to_left <= to_corner;
    return static_cast<std::uint8_t>(is_left ? left : to_above <= to_corner ? above : corner);
}

// Rows one behind the other with `pixel` zeros in front of each, which is what filters see left of the first pixel.
class row_filter {
public:
    row_filter(std::size_t row_bytes, std::size_t pixel) : row_bytes_(row_bytes), pixel_(pixel), filtered_(row_bytes) {}

    // Appends the row's filter and what it makes of the row.
    void append(const std::uint8_t* row, const std::uint8_t* above, bool thorough, bytes& to)
    {
        constexpr std::uint8_t average = 3;
        std::uint8_t best = average;
        if (thorough) {
            std::uint64_t least = UINT64_MAX;
            for (std::uint8_t filter = 0; filter < 5; ++filter) {
                apply(filter, row, above);
                // Small differences of either sign compress best.
                std::uint64_t sum = 0;
                for (const std::uint8_t value : filtered_) {
                    sum += value < 128 ? value : 256U - value;
                }
                if (sum < least) {
                    least = sum;
                    best = filter;
                }
            }
        }
        apply(best, row, above);
        to.push_back(best);
        to.insert(to.end(), filtered_.begin(), filtered_.end());
    }

private:
    void apply(std::uint8_t filter, const std::uint8_t* row, const std::uint8_t* above)
    {
        const std::uint8_t* const left = row - pixel_;
        const std::uint8_t* const corner = above - pixel_;
        const auto subtract = [this, row](auto predicted) {
            for (std::size_t at = 0; at < row_bytes_; ++at) {
                filtered_[at] = static_cast<std::uint8_t>(row[at] - predicted(at));
            }
        };
        switch (filter) {
        case 0:
            return subtract([](std::size_t) { return 0; });
        case 1:
            return subtract([left](std::size_t at) { return left[at]; });
        case 2:
            return subtract([above](std::size_t at) { return above[at]; });
        case 3:
            return subtract([left, above](std::size_t at) { return (left[at] + above[at]) / 2; });
        default:
            return subtract([=](std::size_t at) { return nearest(left[at], above[at], corner[at]); });
        }
    }

    std::size_t row_bytes_;
    std::size_t pixel_;
    bytes filtered_;
};

struct band {
    std::vector<std::byte> compressed;
    std::uint32_t checksum = 1;
    std::size_t size = 0; // before
};

bytes filter_rows(const samples_view& page, std::size_t first, std::size_t end, bool thorough)
{
    const std::size_t pixel = page.sample_bytes * page.channels;
    const std::size_t row_bytes = pixel * page.width;
    bytes row(pixel + row_bytes);
    bytes above(pixel + row_bytes);
    if (first > 0) {
        fetch_row(page, first - 1, &above[pixel]);
    }
    row_filter filter(row_bytes, pixel);
    bytes result;
    result.reserve((1 + row_bytes) * (end - first));
    for (std::size_t number = first; number < end; ++number) {
        fetch_row(page, number, &row[pixel]);
        filter.append(&row[pixel], &above[pixel], thorough, result);
        std::swap(row, above);
    }
    return result;
}

#ifdef KX_HAS_ISAL
// False if there is no room.
bool compress_fast(const bytes& from, bool is_last, std::vector<std::byte>& to)
{
    isal_zstream stream{};
    isal_deflate_init(&stream);
    bytes memory(ISAL_DEF_LVL1_DEFAULT);
    stream.level = 1;
    stream.level_buf = memory.data();
    stream.level_buf_size = static_cast<std::uint32_t>(memory.size());
    stream.flush = FULL_FLUSH;
    stream.end_of_stream = is_last ? 1 : 0;
    stream.next_in = const_cast<std::uint8_t*>(from.data());
    stream.avail_in = static_cast<std::uint32_t>(from.size());
    stream.next_out = reinterpret_cast<std::uint8_t*>(to.data());
    stream.avail_out = static_cast<std::uint32_t>(to.size());
    const bool done = isal_deflate(&stream) == COMP_OK && stream.avail_in == 0 && stream.avail_out > 0;
    to.resize(stream.total_out);
    return done;
}
#endif

bool compress_by_zlib(const bytes& from, int level, bool is_last, std::vector<std::byte>& to)
{
    z_stream stream{};
    constexpr int without_header = -15;
    constexpr int memory_level = 8;
    if (deflateInit2(&stream, level, Z_DEFLATED, without_header, memory_level, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    stream.next_in = const_cast<std::uint8_t*>(from.data());
    stream.avail_in = static_cast<uInt>(from.size());
    stream.next_out = reinterpret_cast<std::uint8_t*>(to.data());
    stream.avail_out = static_cast<uInt>(to.size());
    const int result = deflate(&stream, is_last ? Z_FINISH : Z_FULL_FLUSH);
    const bool done = (result == Z_STREAM_END || result == Z_OK) && stream.avail_in == 0 && stream.avail_out > 0;
    to.resize(stream.total_out);
    deflateEnd(&stream);
    return done;
}

band compress_band(const samples_view& page, int level, std::size_t first, std::size_t end,
                   const std::filesystem::path& name)
{
    const bytes filtered = filter_rows(page, first, end, level >= lowest_thorough_level);
    const bool is_last = end == page.height;
    band result;
    result.size = filtered.size();
    result.compressed.resize(filtered.size() + filtered.size() / 8 + 1024); // more than noise needs
    bool done = false;
#ifdef KX_HAS_ISAL
    result.checksum = isal_adler32(1, filtered.data(), filtered.size());
    if (level == fast_level) {
        done = compress_fast(filtered, is_last, result.compressed);
    } else {
        done = compress_by_zlib(filtered, level, is_last, result.compressed);
    }
#else
    result.checksum = static_cast<std::uint32_t>(adler32_z(1, filtered.data(), filtered.size()));
    done = compress_by_zlib(filtered, level, is_last, result.compressed);
#endif
    if (!done) {
        throw image_error(name, "cannot be compressed");
    }
    return result;
}

} // namespace

std::vector<std::vector<std::byte>> compress_rows(const samples_view& page, int level, unsigned threads,
                                                  const std::filesystem::path& name)
{
    const std::size_t row_bytes = page.sample_bytes * page.channels * page.width;
    const std::size_t rows = std::clamp<std::size_t>(band_bytes / row_bytes, 1, page.height);
    std::vector<band> bands((page.height + rows - 1) / rows);
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t number = next++; number < bands.size(); number = next++) {
            const std::size_t first = number * rows;
            bands[number] = compress_band(page, level, first, std::min<std::size_t>(first + rows, page.height), name);
        }
    };
    std::vector<std::future<void>> others;
    for (std::size_t number = 1; number < std::min<std::size_t>(threads, bands.size()); ++number) {
        others.push_back(std::async(std::launch::async, work));
    }
    work();
    std::ranges::for_each(others, [](std::future<void>& other) { other.get(); });

    // zlib's header: deflate with a window of 32 KB, and how thoroughly it was done.
    const auto effort = static_cast<std::uint8_t>(level < 2 ? 0x01 : level < 6 ? 0x5E : level == 6 ? 0x9C : 0xDA);
    std::vector<std::vector<std::byte>> pieces{{std::byte{0x78}, std::byte{effort}}};
    uLong checksum = 1;
    for (band& each : bands) {
        checksum = adler32_combine(checksum, each.checksum, static_cast<z_off_t>(each.size));
        pieces.push_back(std::move(each.compressed));
    }
    for (const int shift : {24, 16, 8, 0}) {
        pieces.back().push_back(static_cast<std::byte>(checksum >> shift));
    }
    return pieces;
}

} // namespace kx::images
