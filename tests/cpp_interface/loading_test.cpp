// The C++ interface in a program that is not linked with the library.
#include "korvex_kvi_color_processing.hpp"
#include "support/shared_library.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>

namespace {

namespace kc = korvex::color;

TEST(loading, the_library_stays_as_long_as_it_is_used)
{
    auto file = std::make_shared<kx_test::shared_library>(KX_LIBRARY);
    const std::weak_ptr<kx_test::shared_library> watched = file;
    const auto functions = kc::function_table::found_by([&](const char* name) { return file->address_of(name); });
    std::optional<kc::processor> processor(kc::library(functions, std::move(file)));

    const std::uint16_t input[] = {10, 20, 30};
    std::uint8_t output[3] = {};
    processor->transform(kc::image_view(input, kc::pixel_layout::interleaved_bgr, 1, 1),
                         kc::image_view(output, kc::pixel_layout::interleaved_rgb, 1, 1));
    EXPECT_EQ(output[0], 30);
    const char* const files[] = {KX_LIBRARY, KX_VECTOR_MODULES};
    for (const char* const name : files) {
        EXPECT_TRUE(kx_test::shared_library::is_loaded(name)) << name;
    }

    processor.reset();
    EXPECT_TRUE(watched.expired());
    for (const char* const name : files) {
        EXPECT_FALSE(kx_test::shared_library::is_loaded(name)) << name;
    }
}

TEST(loading, a_library_that_lacks_a_function_is_refused)
{
    const kx_test::shared_library file(KX_LIBRARY);
    try {
        kc::function_table::found_by([&](const char* name) {
            return std::strcmp(name, "kx_color_transform_48_to_32") == 0 ? nullptr : file.address_of(name);
        });
        FAIL();
    } catch (const std::runtime_error& refusal) {
        EXPECT_NE(std::string(refusal.what()).find("kx_color_transform_48_to_32"), std::string::npos);
    }
}

} // namespace
