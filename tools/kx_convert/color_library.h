// The color processing library as this program uses it: one processor, set up by a plan.
#pragma once

#include "transform_plan.h"

#include <korvex_kvi_color_processing.h>

#include <memory>

namespace kx::convert {

// The library's module, initialized for as long as this object lives.
class color_module {
public:
    color_module(); // throws std::runtime_error
    color_module(const color_module&) = delete;
    color_module& operator=(const color_module&) = delete;
    ~color_module() { kx_color_processing_module_terminate(); }
};

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

    // What can be known about the path that the transforms take: the library itself does not tell.
    [[nodiscard]] std::string vector_level_text() const;

private:
    struct destroy {
        void operator()(kx_color_processor* processor) const { kx_color_destroy_color_processor(processor); }
    };

    void check_samples(const images::image_16& input) const;

    template <typename Sample, typename Transform>
    void run(Transform* transform, const images::image_16& input, images::image<Sample>& output);

    transform_plan plan_;
    std::unique_ptr<kx_color_processor, destroy> processor_;
    double seconds_ = 0;
};

} // namespace kx::convert
