#include "color_conversion.h"

#include "profile/processor_setup.h"

#include <chrono>
#include <stdexcept>

namespace kx::convert {

namespace {

template <typename Image>
auto view_of(Image& image)
{
    using korvex::color::pixel_layout;
    return korvex::color::image_view(image.samples.data(),
                                     image.layout == images::arrangement::planar_bgr ? pixel_layout::planar_bgr
                                                                                     : pixel_layout::interleaved_rgb,
                                     image.width, image.height, static_cast<int>(image.channels));
}

template <typename Sample>
double timed_transform(const korvex::color::processor& processor, const korvex::color::transform_options& options,
                       const images::image_16& input, images::image<Sample>& output)
{
    const auto start = std::chrono::steady_clock::now();
    try {
        processor.transform(view_of(input), view_of(output), options);
    } catch (const std::invalid_argument& beyond) {
        throw std::runtime_error(std::string(beyond.what()) + ": is --input-bits too small?");
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

color_conversion::color_conversion(const korvex::color::library& library, transform_plan plan,
                                   std::optional<std::int32_t> vector_level)
    : plan_(std::move(plan)), processor_(profile::make_processor(library, plan_.library, vector_level)),
      options_(profile::transform_options_of(plan_.library))
{
}

double color_conversion::transform(const images::image_16& input, images::image_16& output) const
{
    return timed_transform(processor_, options_, input, output);
}

double color_conversion::transform(const images::image_16& input, images::image_8& output) const
{
    return timed_transform(processor_, options_, input, output);
}

color_conversions::color_conversions(korvex::color::library library, const settings& wanted, camera from)
    : library_(std::move(library)), wanted_(wanted), camera_(std::move(from))
{
    of_bits(16);
}

const color_conversion& color_conversions::of(const images::image_16& page)
{
    return of_bits(page.was_8_bit ? 8 : 16);
}

const color_conversion& color_conversions::of_bits(unsigned sample_bits)
{
    const std::lock_guard lock(guard_);
    auto& conversion = ready_.at(sample_bits / 16);
    if (conversion == nullptr) {
        conversion = std::make_unique<color_conversion>(library_, make_plan(wanted_, camera_, sample_bits),
                                                        wanted_.vector_level);
    }
    return *conversion;
}

} // namespace kx::convert
