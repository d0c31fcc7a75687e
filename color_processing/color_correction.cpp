#include "color_correction.h"

#include "kernels/kernel_dispatch.h"

#include <algorithm>
#include <functional>

namespace kx {

namespace {

// The number of entries of a LUT. Checked here, before the first table is created: whoever went on after
// initialize had reported a missing LUT module gets a failed creation instead of a call through null.
std::int32_t entry_count(std::int32_t bit_depth)
{
    const LUT_module& luts = the_module.luts();
    if (luts.create_LUT == nullptr || luts.get_LUT_data == nullptr || luts.destroy_LUT == nullptr) {
        throw std::bad_function_call();
    }
    return std::int32_t{1} << bit_depth;
}

} // namespace

color_correction::color_correction(std::int32_t input_bit_depth, std::int32_t output_bit_depth, std::int32_t level)
    : matrix{1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F},
      input_LUTs(entry_count(input_bit_depth), level == KX_COLOR_VECTOR_LEVEL_AVX2),
      output_LUTs(entry_count(output_bit_depth), level == KX_COLOR_VECTOR_LEVEL_AVX2),
      output_LUT_size(entry_count(output_bit_depth)), vector_level(level), sse_module(sse_module_names),
      avx2_module(avx2_module_names)
{
}

void color_correction::append_matrix(const float* appended)
{
    float product[9] = {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t k = 0; k < 3; ++k) {
                product[3 * row + column] += matrix[3 * row + k] * appended[3 * k + column];
            }
        }
    }
    std::copy_n(product, 9, matrix);
}

void color_correction::clear_matrix()
{
    std::fill_n(matrix, 9, 0.0F);
    matrix[0] = matrix[4] = matrix[8] = 1.0F;
}

std::int32_t color_correction::transform_8_bit_output(transform_parameters& parameters) const
{
    if (const std::int32_t status = validate(parameters); status != KX_COLOR_SUCCESS) {
        return status;
    }
    complete(parameters);
    const vector_module_binding* vector_module = chosen_vector_module();
    run_8_bit_output_kernel(parameters,
                            vector_module != nullptr ? vector_module->transform_8_bit_output(parameters) : 0);
    return KX_COLOR_SUCCESS;
}

std::int32_t color_correction::transform_16_bit_output(transform_parameters& parameters) const
{
    if (const std::int32_t status = validate(parameters); status != KX_COLOR_SUCCESS) {
        return status;
    }
    complete(parameters);
    const vector_module_binding* vector_module = chosen_vector_module();
    run_16_bit_output_kernel(parameters,
                             vector_module != nullptr ? vector_module->transform_16_bit_output(parameters) : 0);
    return KX_COLOR_SUCCESS;
}

void color_correction::complete(transform_parameters& parameters) const
{
    const auto fetch = [](const channel_LUT& LUT, const std::uint32_t*& data, std::uint8_t& enabled) {
        data = LUT.data();
        enabled = LUT.enabled() ? 1 : 0;
    };
    fetch(input_LUTs.blue, parameters.blue_input_LUT_data, parameters.blue_input_LUT_enabled);
    fetch(input_LUTs.green, parameters.green_input_LUT_data, parameters.green_input_LUT_enabled);
    fetch(input_LUTs.red, parameters.red_input_LUT_data, parameters.red_input_LUT_enabled);
    fetch(output_LUTs.blue, parameters.blue_output_LUT_data, parameters.blue_output_LUT_enabled);
    fetch(output_LUTs.green, parameters.green_output_LUT_data, parameters.green_output_LUT_enabled);
    fetch(output_LUTs.red, parameters.red_output_LUT_data, parameters.red_output_LUT_enabled);
    parameters.processor = this;
}

// The module that converts the first pixels, or null for none. A processor made for AVX2 whose AVX2 module
// is unusable still uses SSE.
const vector_module_binding* color_correction::chosen_vector_module() const
{
    if (vector_level == KX_COLOR_VECTOR_LEVEL_AVX2 && avx2_module.usable()) {
        return &avx2_module;
    }
    if (vector_level >= KX_COLOR_VECTOR_LEVEL_SSE && sse_module.usable()) {
        return &sse_module;
    }
    return nullptr;
}

} // namespace kx
