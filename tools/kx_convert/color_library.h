// The color processing library as this program uses it: one processor, set up by a plan.
#pragma once

#include "transform_plan.h"

#include <korvex_kvi_color_processing.hpp>

namespace kx::convert {

namespace color = korvex::color;

// The library, initialized for as long as this object lives.
using color_module = color::library;

class color_processor {
public:
    // Throws std::runtime_error.
    color_processor(const color_module& module, transform_plan plan);

    // Fills output, whose size, channels and layout are set, from input. Throws std::runtime_error, also when a
    // sample lies beyond an input LUT: the library does not test that.
    void transform(const images::image_16& input, images::image_16& output);
    void transform(const images::image_16& input, images::image_8& output);

    // The seconds that the library's transform calls took so far.
    [[nodiscard]] double seconds() const { return seconds_; }

    // Whether the module of the vector level that was asked for by name is not there.
    [[nodiscard]] bool misses_requested_module() const;

    // What can be known about the path that the transforms take: the library itself does not tell.
    [[nodiscard]] std::string vector_level_text() const;

private:
    template <typename Sample>
    void run(const images::image_16& input, images::image<Sample>& output);

    transform_plan plan_;
    color::processor processor_;
    color::transform_options options_;
    double seconds_ = 0;
};

} // namespace kx::convert
