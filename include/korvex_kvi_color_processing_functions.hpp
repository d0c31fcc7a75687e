/*
 * The library's functions, for hosts that load it at run time instead of linking it. Part of the C++ interface,
 * korvex_kvi_color_processing.hpp, which says how to use it.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_FUNCTIONS_HPP
#define KORVEX_KVI_COLOR_PROCESSING_FUNCTIONS_HPP

#include "korvex_kvi_color_processing_images.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#if defined(__linux__)
#include <dlfcn.h>
#endif

namespace korvex::color {
inline namespace KX_COLOR_VERSION_NAMESPACE {

namespace detail {

// Throws std::runtime_error unless the library that has the function serves this header, as far as its file says what
// it is.
inline void require_version_of([[maybe_unused]] const void* function)
{
#if defined(__linux__)
    Dl_info library{};
    if (dladdr(function, &library) == 0) {
        return;
    }
    std::ifstream file(library.dli_fname, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf(); // not by iterators, which take long without optimization
    const std::string bytes = content.str();
    const std::string mark = "@(#)korvex_kvi_color_processing ";
    const std::size_t place = bytes.find(mark);
    if (place == std::string::npos) {
        return;
    }
    const std::string version = bytes.c_str() + place + mark.size(); // "1.2.3"
    const std::size_t dot = version.find('.');
    const int major = std::atoi(version.c_str());
    const int minor = dot == std::string::npos ? 0 : std::atoi(version.c_str() + dot + 1);
    if (major != KX_COLOR_PROCESSING_VERSION_MAJOR || minor < KX_COLOR_PROCESSING_VERSION_MINOR) {
        throw std::runtime_error("the color processing library has the version " + version
                                 + "; this program was compiled for " KX_COLOR_PROCESSING_VERSION);
    }
#endif
}

} // namespace detail

struct function_table {
#define KX_COLOR_FOR_EACH_FUNCTION(DO)                                                                                 \
    DO(kx_color_processing_module_initialize)                                                                          \
    DO(kx_color_processing_module_terminate)                                                                           \
    DO(kx_color_create_color_processor)                                                                                \
    DO(kx_color_create_color_processor_test)                                                                           \
    DO(kx_color_destroy_color_processor)                                                                               \
    DO(kx_color_append_matrix)                                                                                         \
    DO(kx_color_clear_matrix)                                                                                          \
    DO(kx_color_get_blue_input_LUT)                                                                                    \
    DO(kx_color_get_green_input_LUT)                                                                                   \
    DO(kx_color_get_red_input_LUT)                                                                                     \
    DO(kx_color_enable_input_LUTs)                                                                                     \
    DO(kx_color_get_blue_output_LUT)                                                                                   \
    DO(kx_color_get_green_output_LUT)                                                                                  \
    DO(kx_color_get_red_output_LUT)                                                                                    \
    DO(kx_color_enable_output_LUTs)                                                                                    \
    DO(kx_color_transform_48_to_48)                                                                                    \
    DO(kx_color_transform_48_to_64)                                                                                    \
    DO(kx_color_transform_48_to_24)                                                                                    \
    DO(kx_color_transform_48_to_32)

#define KX_COLOR_MEMBER(name) decltype(&::name) name = nullptr; // NOLINT(bugprone-macro-parentheses)
    KX_COLOR_FOR_EACH_FUNCTION(KX_COLOR_MEMBER)
#undef KX_COLOR_MEMBER

    // Those of the library that the program is linked with.
    static function_table linked()
    {
        function_table table;
#define KX_COLOR_ASSIGN(name) table.name = &::name;
        KX_COLOR_FOR_EACH_FUNCTION(KX_COLOR_ASSIGN)
#undef KX_COLOR_ASSIGN
        return table;
    }

    // Those that find(name), returning void*, finds: dlsym or GetProcAddress. Throws std::runtime_error if one is NULL,
    // or if the library says (on Linux) that it is another major version than this header's, or an older one.
    template <typename Find>
    static function_table found_by(const Find& find)
    {
        function_table table;
#define KX_COLOR_FIND(name)                                                                                            \
    table.name = reinterpret_cast<decltype(table.name)>(find(#name));                                                  \
    if (table.name == nullptr) {                                                                                       \
        throw std::runtime_error("the color processing library has no function " #name);                               \
    }
        KX_COLOR_FOR_EACH_FUNCTION(KX_COLOR_FIND)
#undef KX_COLOR_FIND
        detail::require_version_of(reinterpret_cast<const void*>(table.kx_color_create_color_processor));
        return table;
    }
#undef KX_COLOR_FOR_EACH_FUNCTION
};

} // namespace KX_COLOR_VERSION_NAMESPACE
} // namespace korvex::color

#endif // KORVEX_KVI_COLOR_PROCESSING_FUNCTIONS_HPP
