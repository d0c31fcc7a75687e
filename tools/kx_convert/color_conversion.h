// The color processing library as this program uses it: one processor for all threads, set up by a plan.
#pragma once

#include "sample_statistics.h"
#include "transform_plan.h"

#include <korvex_kvi_color_processing.hpp>

#include <array>
#include <memory>
#include <mutex>

namespace kx::convert {

// Several threads may use it at the same time.
class color_conversion {
public:
    // Throws korvex::color::error.
    color_conversion(const korvex::color::library& library, transform_plan plan,
                     std::optional<std::int32_t> vector_level);

    [[nodiscard]] const transform_plan& plan() const { return plan_; }

    // Fills output, whose size, channels and layout are set, from input, and returns the seconds that it took. Throws
    // std::runtime_error, also when a sample lies beyond an input LUT.
    double transform(const images::image_16& input, images::image_16& output) const;
    double transform(const images::image_16& input, images::image_8& output) const;

private:
    transform_plan plan_;
    korvex::color::processor processor_;
    korvex::color::transform_options options_;
};

// The conversions of one camera's pages: of 16-bit samples, and of 8-bit samples once there are any.
class color_conversions {
public:
    // Throws option_error for what cannot be done to 16-bit samples.
    color_conversions(korvex::color::library library, const settings& wanted, camera from);

    // Throws option_error and korvex::color::error.
    const color_conversion& of(const images::image_16& page);

    [[nodiscard]] const camera& source() const { return camera_; }

private:
    const color_conversion& of_bits(unsigned sample_bits);

    korvex::color::library library_;
    const settings& wanted_;
    camera camera_;
    std::mutex guard_;
    std::array<std::unique_ptr<color_conversion>, 2> ready_; // of 8 and 16 bits
};

} // namespace kx::convert
