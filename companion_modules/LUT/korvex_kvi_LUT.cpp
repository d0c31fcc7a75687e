#include "korvex_kvi_LUT.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

struct aligned_delete {
    void operator()(std::uint32_t* entries) const { ::operator delete[](entries, std::align_val_t{kx::LUT_alignment}); }
};

// What a LUT handle points to.
class look_up_table {
public:
    explicit look_up_table(std::uint32_t entry_count)
        : entries_(new (std::align_val_t{kx::LUT_alignment}) std::uint32_t[entry_count]()), last_(entry_count - 1)
    {
    }

    [[nodiscard]] std::uint32_t* entries() const { return entries_.get(); }

    [[nodiscard]] bool has_entry(std::uint16_t sample) const { return sample <= last_; }

    // The mask changes no sample that has an entry. It keeps the read inside the table when the sample has
    // changed since it was checked: overlapping buffers, another thread.
    [[nodiscard]] std::uint16_t value(std::uint16_t sample) const
    {
        return static_cast<std::uint16_t>(entries_[sample & last_]);
    }

private:
    std::unique_ptr<std::uint32_t[], aligned_delete> entries_;
    std::uint32_t last_; // index of the last entry: all ones, since the count is a power of two
};

} // namespace

std::int32_t kx_LUT_module_initialize()
{
    return 0;
}

void* kx_create_LUT_test(std::int32_t entry_count, std::int32_t /*for_avx2*/)
{
    const auto count = static_cast<std::uint32_t>(entry_count);
    if (entry_count < 1 || entry_count > kx::max_LUT_entries || !std::has_single_bit(count)) {
        throw std::invalid_argument("The number of LUT entries must be a power of two from 1 to 65536.");
    }
    return new look_up_table(count);
}

std::uint32_t* kx_get_LUT_data(void* LUT)
{
    return LUT != nullptr ? static_cast<look_up_table*>(LUT)->entries() : nullptr;
}

std::int32_t kx_LUT_transform_16(void* LUT, const std::uint16_t* input, std::uint16_t* output, std::int32_t count)
{
    if (LUT == nullptr || count < 0) {
        return kx::LUT_transform_invalid_argument;
    }
    if (count == 0) {
        return kx::LUT_transform_done;
    }
    if (input == nullptr || output == nullptr) {
        return kx::LUT_transform_invalid_argument;
    }
    const look_up_table& table = *static_cast<look_up_table*>(LUT);
    if (!std::all_of(input, input + count, [&](std::uint16_t sample) { return table.has_entry(sample); })) {
        return kx::LUT_transform_sample_out_of_range;
    }
    std::transform(input, input + count, output, [&](std::uint16_t sample) { return table.value(sample); });
    return kx::LUT_transform_done;
}

std::int32_t kx_destroy_LUT(void* LUT)
{
    delete static_cast<look_up_table*>(LUT);
    return 0;
}

std::int32_t kx_LUT_module_terminate()
{
    return 0;
}
