// The library's nineteen exports, found by name in a copy that the test loaded itself.
#pragma once

#include "korvex_kvi_color_processing.h"
#include "support/shared_library.h"

namespace kx_test {

struct color_processing_exports {
    explicit color_processing_exports(const shared_library& library);

    decltype(&kx_color_processing_module_initialize) module_initialize;
    decltype(&kx_color_processing_module_terminate) module_terminate;
    decltype(&kx_color_create_color_processor) create_color_processor;
    decltype(&kx_color_create_color_processor_test) create_color_processor_test;
    decltype(&kx_color_destroy_color_processor) destroy_color_processor;
    decltype(&kx_color_append_matrix) append_matrix;
    decltype(&kx_color_clear_matrix) clear_matrix;
    decltype(&kx_color_get_blue_input_LUT) get_blue_input_LUT;
    decltype(&kx_color_get_green_input_LUT) get_green_input_LUT;
    decltype(&kx_color_get_red_input_LUT) get_red_input_LUT;
    decltype(&kx_color_enable_input_LUTs) enable_input_LUTs;
    decltype(&kx_color_get_blue_output_LUT) get_blue_output_LUT;
    decltype(&kx_color_get_green_output_LUT) get_green_output_LUT;
    decltype(&kx_color_get_red_output_LUT) get_red_output_LUT;
    decltype(&kx_color_enable_output_LUTs) enable_output_LUTs;
    decltype(&kx_color_transform_48_to_48) transform_48_to_48;
    decltype(&kx_color_transform_48_to_64) transform_48_to_64;
    decltype(&kx_color_transform_48_to_24) transform_48_to_24;
    decltype(&kx_color_transform_48_to_32) transform_48_to_32;
};

} // namespace kx_test
