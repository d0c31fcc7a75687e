// What the benchmarks convert, and a processor to do it with.
#pragma once

#include "korvex_kvi_color_processing.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <vector>

namespace kx::benchmarks {

inline constexpr float correction[9] = {1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F};
inline constexpr float identity[9] = {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};

// Noise over the whole range, the worst case for tables.
inline std::vector<std::uint16_t> noise_image(std::int32_t pixels)
{
    std::vector<std::uint16_t> samples(static_cast<std::size_t>(pixels) * 3);
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same image in every run
    for (std::uint16_t& sample : samples) {
        sample = static_cast<std::uint16_t>(random());
    }
    return samples;
}

class module_in_use {
public:
    module_in_use()
    {
        if (kx_color_processing_module_initialize() != KX_COLOR_SUCCESS) {
            throw std::runtime_error("the LUT module was not found");
        }
    }
    ~module_in_use() { kx_color_processing_module_terminate(); }
    module_in_use(const module_in_use&) = delete;
    module_in_use& operator=(const module_in_use&) = delete;
};

// A processor with LUTs of 16 bits, filled but disabled.
class processor {
public:
    explicit processor(std::int32_t vector_level) : handle_(kx_color_create_color_processor_test(16, 16, vector_level))
    {
        if (handle_ == nullptr) {
            throw std::runtime_error("no processor could be created");
        }
        std::uint32_t factor = 1;
        for (const auto get :
             {kx_color_get_blue_input_LUT, kx_color_get_green_input_LUT, kx_color_get_red_input_LUT,
              kx_color_get_blue_output_LUT, kx_color_get_green_output_LUT, kx_color_get_red_output_LUT}) {
            std::uint32_t* const entries = get(handle_);
            factor += 2;
            for (std::uint32_t i = 0; i < 65'536; ++i) {
                entries[i] = i * factor;
            }
        }
    }
    ~processor() { kx_color_destroy_color_processor(handle_); }
    processor(const processor&) = delete;
    processor& operator=(const processor&) = delete;

    [[nodiscard]] kx_color_processor* get() const { return handle_; }

private:
    kx_color_processor* handle_;
};

// One kind of transform: the output's bits a pixel and what is switched on.
struct transform_case {
    const char* name;
    int output_bits; // 48, 64, 24 or 32
    std::int32_t input_format;
    std::int32_t output_format;
    const float* matrix;
    std::int32_t shift;
    bool input_LUTs;
    bool output_LUTs;
};

inline void configure(const processor& with, const transform_case& what)
{
    kx_color_clear_matrix(with.get());
    kx_color_append_matrix(with.get(), what.matrix);
    kx_color_enable_input_LUTs(with.get(), what.input_LUTs ? 1 : 0, what.input_LUTs ? 1 : 0, what.input_LUTs ? 1 : 0);
    kx_color_enable_output_LUTs(with.get(), what.output_LUTs ? 1 : 0, what.output_LUTs ? 1 : 0,
                                what.output_LUTs ? 1 : 0);
}

// `output` has room for four samples of 16 bits a pixel.
inline void transform(const processor& with, const transform_case& what, const std::vector<std::uint16_t>& input,
                      std::uint16_t* output)
{
    const auto call = [&](auto function, auto* to) {
        const std::int32_t status =
            function(with.get(), input.data(), what.input_format, 0, 65'535, 0, 65'535, 0, 65'535, what.shift,
                     what.shift, what.shift, to, what.output_format, static_cast<std::int32_t>(input.size() / 3));
        if (status != KX_COLOR_SUCCESS) {
            throw std::runtime_error("a transform failed");
        }
    };
    auto* const bytes = reinterpret_cast<std::uint8_t*>(output);
    switch (what.output_bits) {
    case 48:
        return call(kx_color_transform_48_to_48, output);
    case 64:
        return call(kx_color_transform_48_to_64, output);
    case 24:
        return call(kx_color_transform_48_to_24, bytes);
    default:
        return call(kx_color_transform_48_to_32, bytes);
    }
}

} // namespace kx::benchmarks
