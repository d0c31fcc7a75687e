// libvips: recomb, cast and maplut, strip by strip into the caller's memory.
#include "peers.h"

#include <vips/vips.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

using namespace kx::benchmarks;
using result = peer_task::result;

template <typename Object>
std::shared_ptr<Object> owned(Object* object)
{
    if (object == nullptr) {
        throw std::runtime_error(std::string("libvips: ") + vips_error_buffer());
    }
    return {object, [](Object* gone) { g_object_unref(gone); }};
}

using vips_image = std::shared_ptr<VipsImage>;

vips_image in_memory(const void* data, std::size_t bytes, std::size_t width, std::size_t height, int bands,
                     VipsBandFormat format)
{
    return owned(
        vips_image_new_from_memory(data, bytes, static_cast<int>(width), static_cast<int>(height), bands, format));
}

// An operation's result, as its last argument delivers it.
template <typename Operation>
vips_image made_by(const Operation& operation)
{
    VipsImage* out = nullptr;
    static_cast<void>(operation(&out)); // leaves it null when it fails
    return owned(out);
}

vips_image make_table()
{
    std::vector<std::uint8_t> entries(65'536);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i] = static_cast<std::uint8_t>(std::lround(255 * encoded(static_cast<double>(i) / 65'535)));
    }
    return owned(vips_image_new_from_memory_copy(entries.data(), entries.size(), 65'536, 1, 1, VIPS_FORMAT_UCHAR));
}

// The high 8 bits cost no operation of their own: the matrix is that much smaller.
vips_image make_pipeline(const peer_task& task)
{
    const image& input = task.input;
    const bool narrow = task.wanted == result::bits_8;
    double elements[9];
    std::transform(correction.begin(), correction.end(), elements,
                   [&](float element) { return static_cast<double>(element) / (narrow ? 256 : 1); });
    const vips_image matrix = owned(vips_image_new_matrix_from_array(3, 3, elements, 9));
    const vips_image from =
        in_memory(input.samples.data(), input.samples.size() * 2, input.width, input.height, 3, VIPS_FORMAT_USHORT);
    const vips_image sums =
        made_by([&](VipsImage** out) { return vips_recomb(from.get(), out, matrix.get(), nullptr); });
    vips_image samples = made_by([&](VipsImage** out) {
        return vips_cast(sums.get(), out, narrow ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT, nullptr);
    });
    if (task.wanted != result::table) {
        return samples;
    }
    return made_by(
        [&, table = make_table()](VipsImage** out) { return vips_maplut(samples.get(), out, table.get(), nullptr); });
}

call prepare(const peer_task& task)
{
    const std::size_t width = task.input.width;
    const std::size_t height = task.input.height;
    const bool wide = task.wanted == result::bits_16;
    const vips_image pipeline = make_pipeline(task);
    const vips_image output = in_memory(task.output, width * height * 3 * (wide ? 2 : 1), width, height, 3,
                                        wide ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
    const auto source = owned(vips_region_new(pipeline.get()));
    const auto target = owned(vips_region_new(output.get()));
    return [=] {
        const VipsRect all = {0, 0, output->Xsize, output->Ysize};
        bool failed = vips_region_image(target.get(), &all) != 0;
        constexpr int strip = 16; // rows, as libvips' own threads take them
        for (int top = 0; top < all.height && !failed; top += strip) {
            const VipsRect rows = {0, top, all.width, std::min(strip, all.height - top)};
            failed = vips_region_prepare_to(source.get(), target.get(), &rows, 0, top) != 0;
        }
        if (failed) {
            throw std::runtime_error(std::string("libvips: ") + vips_error_buffer());
        }
    };
}

bool add()
{
    return VIPS_INIT("benchmark") == 0
           && add_peer({"libvips",
                        std::string(vips_version_string()) + ": recomb, cast, maplut (65,536 entries); rounds down",
                        prepare});
}

const bool added = add();

} // namespace
