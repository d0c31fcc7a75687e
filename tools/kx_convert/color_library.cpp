#include "color_library.h"

#include <algorithm>
#include <chrono>

#include <dlfcn.h>

namespace kx::convert {

namespace {

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

std::int32_t format_of(images::arrangement layout)
{
    return layout == images::arrangement::planar_bgr ? KX_COLOR_PLANAR_BGR : KX_COLOR_INTERLEAVED_RGB;
}

} // namespace

color_module::color_module()
{
    if (kx_color_processing_module_initialize() != KX_COLOR_SUCCESS) {
        kx_color_processing_module_terminate();
        throw std::runtime_error("the color processing library cannot start: its LUT module, korvex_kvi_LUT.so, is "
                                 "missing beside the library or lacks entry points");
    }
}

color_processor::color_processor(const color_module&, transform_plan plan) : plan_(std::move(plan))
{
    const std::int32_t input_bits = plan_.input_table_bits;
    const std::int32_t output_bits = plan_.output_table_bits;
    processor_.reset(plan_.vector_level
                         ? kx_color_create_color_processor_test(input_bits, output_bits, *plan_.vector_level)
                         : kx_color_create_color_processor(input_bits, output_bits));
    kx_color_processor* const processor = processor_.get();
    if (processor == nullptr) {
        throw std::runtime_error("the color processing library cannot create a color processor (its log has the "
                                 "reason)");
    }
    for (const matrix& factor : plan_.matrices) {
        kx_color_append_matrix(processor, factor.data());
    }
    const per_channel<std::uint32_t*> input_entries{kx_color_get_blue_input_LUT(processor),
                                                    kx_color_get_green_input_LUT(processor),
                                                    kx_color_get_red_input_LUT(processor)};
    const per_channel<std::uint32_t*> output_entries{kx_color_get_blue_output_LUT(processor),
                                                     kx_color_get_green_output_LUT(processor),
                                                     kx_color_get_red_output_LUT(processor)};
    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        std::ranges::copy(plan_.input_tables[channel], input_entries[channel]);
        std::ranges::copy(plan_.output_tables[channel], output_entries[channel]);
    }
    const auto enable = [processor](auto* switch_on, const per_channel<std::vector<std::uint32_t>>& tables) {
        switch_on(processor, !tables[0].empty(), !tables[1].empty(), !tables[2].empty());
    };
    enable(kx_color_enable_input_LUTs, plan_.input_tables);
    enable(kx_color_enable_output_LUTs, plan_.output_tables);
}

void color_processor::check_samples(const images::image_16& input) const
{
    const bool interleaved = input.layout == images::arrangement::interleaved_rgb;
    const std::size_t step = interleaved ? 3 : 1;
    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        const std::size_t entries = plan_.input_tables[channel].size();
        if (entries == 0 || entries > 0xFFFF) {
            continue;
        }
        const std::uint16_t* sample =
            input.samples.data() + (interleaved ? 2 - channel : channel * input.pixel_count());
        for (std::size_t pixel = 0; pixel < input.pixel_count(); ++pixel, sample += step) {
            if (*sample >= entries) {
                throw std::runtime_error(std::string("a ") + channel_names[channel] + " sample of "
                                         + std::to_string(*sample) + " lies beyond the input LUT, whose last entry is "
                                         + std::to_string(entries - 1)
                                         + ": are --input-bits or --input-lut-bits too small?");
            }
        }
    }
}

template <typename Sample, typename Transform>
void color_processor::run(Transform* transform, const images::image_16& input, images::image<Sample>& output)
{
    check_samples(input);
    const auto& [blue, green, red] = plan_.clamps;
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t status = transform(processor_.get(), input.samples.data(), format_of(input.layout), blue.minimum,
                                          blue.maximum, green.minimum, green.maximum, red.minimum, red.maximum,
                                          plan_.shifts[0], plan_.shifts[1], plan_.shifts[2], output.samples.data(),
                                          format_of(output.layout), static_cast<std::int32_t>(input.pixel_count()));
    seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (status != KX_COLOR_SUCCESS) {
        throw std::runtime_error("the color processing library refused the transform with status "
                                 + std::to_string(status));
    }
}

void color_processor::transform(const images::image_16& input, images::image_16& output)
{
    run(output.channels == 4 ? kx_color_transform_48_to_64 : kx_color_transform_48_to_48, input, output);
}

void color_processor::transform(const images::image_16& input, images::image_8& output)
{
    run(output.channels == 4 ? kx_color_transform_48_to_32 : kx_color_transform_48_to_24, input, output);
}

std::string color_processor::vector_level_text() const
{
    const per_channel<const char*> level_names{"scalar", "sse", "avx2"};
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
