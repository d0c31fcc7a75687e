#include "color_library.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>

#include <dlfcn.h>

namespace kx::convert {

namespace {

constexpr per_channel<const char*> level_names{"scalar", "sse", "avx2"};

enum class module_state { missing, refuses, ready };

// Whether this process has loaded the vector module and whether the module accepts this machine. A module
// counts its initializations, so asking it again does no harm.
module_state state_of(const std::string& level)
{
    const std::string file = "korvex_kvi_color_processing_vector_" + level + ".so";
    const std::string prefix = "kx_color_processing_vector_" + level + "_module_";
    struct close {
        void operator()(void* handle) const { dlclose(handle); }
    };
    const std::unique_ptr<void, close> module(dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    if (module == nullptr) {
        return module_state::missing;
    }
    using entry_point = std::int32_t();
    const auto initialize = reinterpret_cast<entry_point*>(dlsym(module.get(), (prefix + "initialize").c_str()));
    const auto terminate = reinterpret_cast<entry_point*>(dlsym(module.get(), (prefix + "terminate").c_str()));
    if (initialize == nullptr || terminate == nullptr) {
        return module_state::missing;
    }
    const bool accepted = initialize() == 0;
    terminate();
    return accepted ? module_state::ready : module_state::refuses;
}

template <typename Image>
auto view_of(Image& image)
{
    const color::pixel_layout layout = image.layout == images::arrangement::planar_bgr
                                           ? color::pixel_layout::planar_bgr
                                           : color::pixel_layout::interleaved_rgb;
    return color::image_view(image.samples.data(), layout, image.width, image.height, static_cast<int>(image.channels));
}

} // namespace

color_processor::color_processor(const color_module& module, transform_plan plan)
    : plan_(std::move(plan)), processor_(module, {plan_.input_table_bits, plan_.output_table_bits, plan_.vector_level})
{
    for (const matrix& factor : plan_.matrices) {
        processor_.append_matrix(factor);
    }
    color::per_channel<bool> input_enabled;
    color::per_channel<bool> output_enabled;
    for (const color::channel channel : {color::channel::blue, color::channel::green, color::channel::red}) {
        const auto index = static_cast<std::size_t>(channel);
        std::ranges::copy(plan_.input_tables[index], processor_.input_LUT(channel).begin());
        std::ranges::copy(plan_.output_tables[index], processor_.output_LUT(channel).begin());
        input_enabled[channel] = !plan_.input_tables[index].empty();
        output_enabled[channel] = !plan_.output_tables[index].empty();
        options_.clamp[channel] = {plan_.clamps[index].minimum, plan_.clamps[index].maximum};
        options_.shift[channel] = plan_.shifts[index];
    }
    processor_.enable_input_LUTs(input_enabled);
    processor_.enable_output_LUTs(output_enabled);
}

template <typename Sample>
void color_processor::run(const images::image_16& input, images::image<Sample>& output)
{
    const auto from = view_of(input);
    const auto to = view_of(output);
    try {
        processor_.check_samples(from);
    } catch (const std::invalid_argument& beyond) {
        throw std::runtime_error(std::string(beyond.what()) + ": are --input-bits or --input-lut-bits too small?");
    }
    const auto start = std::chrono::steady_clock::now();
    processor_.transform(from, to, options_);
    seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void color_processor::transform(const images::image_16& input, images::image_16& output)
{
    run(input, output);
}

void color_processor::transform(const images::image_16& input, images::image_8& output)
{
    run(input, output);
}

bool color_processor::misses_requested_module() const
{
    return plan_.vector_level.value_or(KX_COLOR_VECTOR_LEVEL_SCALAR) != KX_COLOR_VECTOR_LEVEL_SCALAR
           && state_of(level_names.at(static_cast<std::size_t>(*plan_.vector_level))) == module_state::missing;
}

std::string color_processor::vector_level_text() const
{
    const std::int32_t highest = plan_.vector_level.value_or(KX_COLOR_VECTOR_LEVEL_AVX2);
    std::string text = plan_.vector_level ? level_names.at(static_cast<std::size_t>(highest)) : "auto";
    // The library falls back from a module that it cannot use to the next.
    const char* separator = " requested: ";
    for (std::int32_t level = highest; level > KX_COLOR_VECTOR_LEVEL_SCALAR; --level) {
        const std::string name = level_names.at(static_cast<std::size_t>(level));
        const module_state state = state_of(name);
        text += separator;
        text += name;
        if (state == module_state::ready) {
            return text + " module loaded and accepts this machine";
        }
        text += state == module_state::missing ? " module missing" : " module refuses this machine";
        separator = ", ";
    }
    return text + separator + "scalar kernels";
}

} // namespace kx::convert
