// The library as a host has it that loads it by name: with the companion modules that ship, and unloaded again.
#include "support/color_processing_exports.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace kx_test {

namespace {

std::string file_name(const char* base_name)
{
    return std::string(base_name) + KX_MODULE_SUFFIX;
}

TEST(host, loads_the_library_works_with_it_and_unloads_it)
{
    const std::string name = file_name("korvex_kvi_color_processing");
    const std::string vector_modules[] = {file_name("korvex_kvi_color_processing_vector_sse"),
                                          file_name("korvex_kvi_color_processing_vector_avx2")};
    shared_library library(name.c_str());
    const color_processing_exports kx{library};
    ASSERT_EQ(kx.module_initialize(), KX_COLOR_SUCCESS);
    kx_color_processor* const processor = kx.create_color_processor(8, 8);
    ASSERT_NE(processor, nullptr);
    for (const std::string& module : vector_modules) {
        EXPECT_TRUE(shared_library::is_loaded(module.c_str())) << module;
    }

    const float red_and_green_swapped[9] = {0, 1, 0, 1, 0, 0, 0, 0, 1};
    EXPECT_EQ(kx.append_matrix(processor, red_and_green_swapped), KX_COLOR_SUCCESS);
    const std::uint16_t input[] = {1024, 20, 30, 2047, 50, 60};
    std::uint8_t output[8];
    transform_request request;
    request.input = input;
    request.output = output;
    request.output_format = KX_COLOR_INTERLEAVED_RGB;
    request.green_max = 255;
    request.blue_shift = -8;
    request.pixel_count = 2;
    EXPECT_EQ(transform_exports[3].call(kx, processor, request), KX_COLOR_SUCCESS);
    const std::uint8_t expected[] = {20, 30, 4, 0, 50, 60, 7, 0};
    EXPECT_TRUE(std::equal(std::begin(output), std::end(output), expected));

    EXPECT_EQ(kx.destroy_color_processor(processor), KX_COLOR_SUCCESS);
    for (const std::string& module : vector_modules) {
        EXPECT_FALSE(shared_library::is_loaded(module.c_str())) << module;
    }
    EXPECT_EQ(kx.module_terminate(), KX_COLOR_SUCCESS);
    EXPECT_TRUE(shared_library::is_loaded(name.c_str()));
    library.close();
    EXPECT_FALSE(shared_library::is_loaded(name.c_str()));
}

} // namespace

} // namespace kx_test
