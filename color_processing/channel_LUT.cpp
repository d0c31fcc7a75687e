#include "channel_LUT.h"

#include "teardown.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace kx {

channel_LUT::channel_LUT(const LUT_module& luts, std::int32_t entry_count, bool for_avx2)
    : get_LUT_data_(luts.get_LUT_data), destroy_LUT_(luts.destroy_LUT),
      handle_(luts.create_LUT(entry_count, for_avx2 ? 1 : 0))
{
}

channel_LUT::~channel_LUT()
{
    teardown().step([this] { release(); });
}

void channel_LUT::release()
{
    if (std::exchange(owned_, false)) {
        destroy_LUT_(handle_);
    }
}

std::uint32_t* channel_LUT::data() const
{
    return get_LUT_data_(handle_);
}

channel_LUT_set::channel_LUT_set(const LUT_module& luts, std::int32_t entry_count, bool for_avx2)
    : blue(luts, entry_count, for_avx2), green(luts, entry_count, for_avx2), red(luts, entry_count, for_avx2)
{
    for (const channel_LUT* LUT : {&blue, &green, &red}) {
        std::fill_n(LUT->data(), static_cast<std::size_t>(entry_count), std::uint32_t{0});
    }
}

void channel_LUT_set::release(teardown& steps)
{
    for (channel_LUT* LUT : {&red, &green, &blue}) {
        steps.step([LUT] { LUT->release(); });
    }
}

void channel_LUT_set::enable(bool blue_flag, bool green_flag, bool red_flag)
{
    blue.enable(blue_flag);
    green.enable(green_flag);
    red.enable(red_flag);
}

} // namespace kx
