// The C++ interface in a program that is not linked with the library.
#include "korvex_kvi_color_processing.hpp"
#include "support/shared_library.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

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
    const char* const lacking = "kx_color_transform_48_to_32";
    const auto find = [&](const char* name) {
        return std::strcmp(name, lacking) == 0 ? nullptr : file.address_of(name);
    };
    EXPECT_THAT([&] { kc::function_table::found_by(find); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(lacking)));
}

#if defined(__linux__) // where the header looks for the version
// A host would call functions that the library does not have as it knows them.
TEST(loading, a_library_of_another_version_is_refused)
{
    std::ifstream original(KX_LIBRARY, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(original), std::istreambuf_iterator<char>()};
    const std::string mark = "@(#)korvex_kvi_color_processing ";
    const std::size_t place = bytes.find(mark + KX_COLOR_PROCESSING_VERSION);
    ASSERT_NE(place, std::string::npos);
    bytes[place + mark.size()] = '2';
    const std::string name = testing::TempDir() + "version_2.so";
    std::ofstream(name, std::ios::binary) << bytes;
    const kx_test::shared_library file(name.c_str());
    EXPECT_THAT([&] { kc::function_table::found_by([&](const char* name) { return file.address_of(name); }); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("has the version 2.")));
    std::remove(name.c_str());
}
#endif

} // namespace
