#include "support/color_processing_exports.h"

namespace kx_test {

color_processing_exports::color_processing_exports(const shared_library& library)
{
    library.find("kx_color_processing_module_initialize", module_initialize);
    library.find("kx_color_processing_module_terminate", module_terminate);
    library.find("kx_color_create_color_processor", create_color_processor);
    library.find("kx_color_create_color_processor_test", create_color_processor_test);
    library.find("kx_color_destroy_color_processor", destroy_color_processor);
    library.find("kx_color_append_matrix", append_matrix);
    library.find("kx_color_clear_matrix", clear_matrix);
    library.find("kx_color_get_blue_input_LUT", get_blue_input_LUT);
    library.find("kx_color_get_green_input_LUT", get_green_input_LUT);
    library.find("kx_color_get_red_input_LUT", get_red_input_LUT);
    library.find("kx_color_enable_input_LUTs", enable_input_LUTs);
    library.find("kx_color_get_blue_output_LUT", get_blue_output_LUT);
    library.find("kx_color_get_green_output_LUT", get_green_output_LUT);
    library.find("kx_color_get_red_output_LUT", get_red_output_LUT);
    library.find("kx_color_enable_output_LUTs", enable_output_LUTs);
    library.find("kx_color_transform_48_to_48", transform_48_to_48);
    library.find("kx_color_transform_48_to_64", transform_48_to_64);
    library.find("kx_color_transform_48_to_24", transform_48_to_24);
    library.find("kx_color_transform_48_to_32", transform_48_to_32);
}

} // namespace kx_test
