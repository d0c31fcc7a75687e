// The color processor: matrix, LUTs, vector modules, and the transform that uses them.
#pragma once

#include "call_site.h"
#include "channel_LUT.h"
#include "companion_interfaces/transform_parameters.h"
#include "vector_module_binding.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx {

class color_correction {
public:
    // The bit depths must lie in 0..16. Throws what the LUT module throws, std::bad_alloc, and
    // std::bad_function_call when the LUT module was not found; then nothing is left behind.
    color_correction(std::int32_t input_bit_depth, std::int32_t output_bit_depth, std::int32_t level);

    // Gives back all that the processor has in the companion modules, then throws the first of their exceptions.
    // Without this call the destructor does the same and drops the exceptions.
    void release();

    // M becomes M x A, so that the matrix appended last acts on a pixel first. `appended` may be this
    // processor's own matrix.
    void append_matrix(const float* appended);
    void clear_matrix();

    // Validates the record, completes it with this processor's LUTs and converts the image. Returns a status code;
    // after any but KX_COLOR_SUCCESS nothing was written. `output_sample` is std::uint8_t or std::uint16_t.
    template <typename output_sample>
    std::int32_t transform(transform_parameters& parameters) const;

    float matrix[9]; // row by row; must stay the first member: see matrix_of
    channel_LUT_set input_LUTs;
    channel_LUT_set output_LUTs;
    std::int32_t output_LUT_size;     // entries of each output LUT
    std::int32_t vector_level;        // KX_COLOR_VECTOR_LEVEL_..., or whatever a test asked for
    vector_module_binding sse_module; // on ARM64 the NEON module
    vector_module_binding avx2_module;

private:
    // The place that log lines give for what `transform` refuses: filters know these lines by this header.
    static constexpr call_site transform_site = "color_correction::transform";

    color_correction(const LUT_module& luts, std::int32_t input_entries, std::int32_t output_entries,
                     std::int32_t level);
    [[nodiscard]] std::int32_t validate(const transform_parameters& parameters) const;
    void complete(transform_parameters& parameters) const;
    [[nodiscard]] const vector_module_binding* chosen_vector_module() const;
};

// What matrix_of relies on.
static_assert(std::is_standard_layout_v<color_correction>);
static_assert(offsetof(color_correction, matrix) == 0);

} // namespace kx
