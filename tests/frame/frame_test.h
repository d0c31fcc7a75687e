// The fixtures of the frame's tests: a freshly loaded library, and what happened to its companion modules.
#pragma once

#include "frame/module_folder.h"
#include "frame/standins/recorder.h"
#include "korvex_kvi_color_processing_functions.hpp"
#include "support/shared_library.h"
#include "support/transform_request.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace kx_test {

using korvex::color::function_table;

// One of the four transforms, called with a record of its arguments.
struct transform_export {
    const char* timer_name;
    std::size_t sample_bytes;
    std::size_t samples_per_pixel;
    std::int32_t (*call)(const function_table& kx, kx_color_processor* processor, const transform_request& request);
};

template <auto entry_point, typename output_sample>
std::int32_t call(const function_table& kx, kx_color_processor* processor, const transform_request& request)
{
    return call_transform<output_sample>(kx.*entry_point, processor, request);
}

inline constexpr transform_export transform_exports[] = {
    {"color processing transform 48 to 48", 2, 3, call<&function_table::kx_color_transform_48_to_48, std::uint16_t>},
    {"color processing transform 48 to 64", 2, 4, call<&function_table::kx_color_transform_48_to_64, std::uint16_t>},
    {"color processing transform 48 to 24", 1, 3, call<&function_table::kx_color_transform_48_to_24, std::uint8_t>},
    {"color processing transform 48 to 32", 1, 4, call<&function_table::kx_color_transform_48_to_32, std::uint8_t>},
};

// One line for each call, load or unload of a companion module.
using lines = std::vector<std::string>;

inline lines operator+(lines first, const lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline lines when(bool condition, const std::string& line)
{
    return condition ? lines{line} : lines{};
}

inline const lines log_obtained{"kvi_get_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
inline const lines log_freed{"kvi_free_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
inline const lines logger_opened = lines{"logger loaded"} + log_obtained;
inline const lines logger_closed = log_freed + lines{"logger unloaded"};
inline const lines LUT_initialized{"kx_LUT_module_initialize()"};
inline const lines LUT_terminated{"kx_LUT_module_terminate()"};
inline const lines vector_modules_bound{"sse loaded", "sse initialize", "avx2 loaded", "avx2 initialize"};
inline const lines vector_modules_released{"avx2 terminate", "avx2 unloaded", "sse terminate", "sse unloaded"};

inline const std::string null_processor_text = "The specified color processor handle is NULL!";
inline const std::string transform_function_name = "`anonymous-namespace'::kx_color_processor_transform_impl";
inline const std::string creation_function_name = "`anonymous-namespace'::create_color_processor_impl";

// Log lines as the stand-in logger records them. `text` follows the error mark and its two blanks.
inline std::string error_line(const std::string& function, const std::string& text)
{
    return "log 0 korvex_kvi_color_processing.cpp " + function + ": ERROR:  " + text;
}

inline std::string validation_line(const std::string& text)
{
    return "log 0 color_correction.h color_correction::transform: ERROR:  " + text;
}

inline std::string failed_creation_line(bool for_want_of_memory)
{
    return "log 0 korvex_kvi_color_processing.cpp " + creation_function_name
           + (for_want_of_memory ? ": Memory allocation failure" : ": An unknown error occurred")
           + " when trying to create a color correction instance!";
}

inline std::string timing_line(const transform_export& tested)
{
    return "log 2 korvex_kvi_color_processing.cpp " + transform_function_name + ": " + tested.timer_name
           + " takes (time) microseconds.";
}

// A transform's call of the vector module "sse" or "avx2"; none if the name is empty.
inline lines vector_call(const std::string& module, const transform_export& tested)
{
    return when(!module.empty(), module + " transforms to " + std::to_string(8 * tested.sample_bytes) + " bits");
}

// What a processor does to LUT numbers `first` to first + 5 when it is created and destroyed.
inline lines LUTs_fetched(std::int32_t first, std::int32_t last)
{
    lines fetched;
    for (std::int32_t number = first; number <= last; ++number) {
        fetched.push_back("kx_get_LUT_data(LUT " + std::to_string(number) + ")");
    }
    return fetched;
}

inline lines LUTs_created(std::int32_t first, std::int32_t input_entries, std::int32_t output_entries, bool for_avx2)
{
    lines created;
    for (const std::int32_t entries : {input_entries, output_entries}) {
        for (std::int32_t number = first; number < first + 3; ++number) {
            created.push_back("kx_create_LUT_test(" + std::to_string(entries) + ", " + (for_avx2 ? "1" : "0")
                              + ") = LUT " + std::to_string(number));
        }
        created = created + LUTs_fetched(first, first + 2);
        first += 3;
    }
    return created;
}

inline lines LUTs_destroyed(std::int32_t last, std::int32_t first = 1)
{
    lines destroyed;
    for (std::int32_t number = last; number >= first; --number) {
        destroyed.push_back("kx_destroy_LUT(LUT " + std::to_string(number) + ")");
    }
    return destroyed;
}

// An image of a few pixels to convert.
struct small_image {
    explicit small_image(std::size_t pixel_count)
        : input_samples(3 * pixel_count, 0x1234), output_bytes(24 * pixel_count, untouched)
    {
    }

    // A request for this image. The object must outlive it.
    transform_request request()
    {
        return {.input = input_samples.data(),
                .output = output_bytes.data(),
                .pixel_count = static_cast<std::int32_t>(input_samples.size() / 3)};
    }

    [[nodiscard]] bool output_is_untouched() const
    {
        return output_bytes == std::vector(output_bytes.size(), untouched);
    }

    static constexpr std::uint8_t untouched = 0xEE;
    std::vector<std::uint16_t> input_samples;
    std::vector<std::uint8_t> output_bytes;
};

class frame_test : public testing::Test {
protected:
    explicit frame_test(const gap& missing = {}) : folder(missing) { standins::reset(); }

    // What happened since the last call. Timing lines come without the time, whose form is checked.
    lines events()
    {
        static const std::regex time(R"( takes \d+\.\d{6} microseconds\.$)");
        lines happened = std::exchange(recorder.events, {});
        for (std::string& event : happened) {
            event = std::regex_replace(event, time, " takes (time) microseconds.");
        }
        return happened;
    }

    // What the call did whose status this is: it must have succeeded.
    lines events_of(std::int32_t status)
    {
        EXPECT_EQ(status, KX_COLOR_SUCCESS);
        return events();
    }
    lines initialize() { return events_of(kx.kx_color_processing_module_initialize()); }
    lines destroy(kx_color_processor* processor) { return events_of(kx.kx_color_destroy_color_processor(processor)); }
    lines terminate() { return events_of(kx.kx_color_processing_module_terminate()); }

    // Expects all transforms to call the vector module, and to convert pixels, as the stand-ins do not. The processor
    // has LUTs 1 to 6.
    void expect_transforms_call(kx_color_processor* processor, const std::string& module)
    {
        for (const transform_export& tested : transform_exports) {
            SCOPED_TRACE(tested.timer_name);
            small_image image(3);
            EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
            EXPECT_EQ(events(), LUTs_fetched(1, 6) + vector_call(module, tested) + lines{timing_line(tested)});
            EXPECT_FALSE(image.output_is_untouched());
        }
    }

    standins::recorder& recorder = standins::the_recorder();
    module_folder folder;
    shared_library library{folder.library().c_str()};
    function_table kx = function_table::found_by([this](const char* name) { return library.address_of(name); });
};

class initialized_test : public frame_test {
protected:
    using frame_test::frame_test;

    void SetUp() override { initialize(); }

    void TearDown() override
    {
        destroy_all();
        EXPECT_EQ(recorder.LUT_count(), 0) << "LUTs were left behind";
        terminate();
    }

    // A processor of the given level; what its creation did is forgotten.
    kx_color_processor* create(std::int32_t vector_level = 0, std::int32_t input_depth = 8,
                               std::int32_t output_depth = 8)
    {
        processors_.push_back(kx.kx_color_create_color_processor_test(input_depth, output_depth, vector_level));
        EXPECT_NE(processors_.back(), nullptr);
        events();
        return processors_.back();
    }

    // Destroys all that create() made.
    void destroy_all()
    {
        for (kx_color_processor* processor : processors_) {
            destroy(processor);
        }
        processors_.clear();
    }

private:
    std::vector<kx_color_processor*> processors_;
};

} // namespace kx_test
