// The fixtures of the frame's tests: a freshly loaded library, and what happened to its companion modules.
#pragma once

#include "frame/module_folder.h"
#include "frame/standins/recorder.h"
#include "support/color_processing_exports.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kx_test {

// One line for each call, load or unload of a companion module.
using lines = std::vector<std::string>;

lines operator+(lines first, const lines& second);
lines when(bool condition, const std::string& line);

inline const lines log_obtained{"kvi_get_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
inline const lines log_freed{"kvi_free_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
inline const lines logger_opened = lines{"logger loaded"} + log_obtained;
inline const lines logger_closed = log_freed + lines{"logger unloaded"};
inline const lines LUT_initialized{"kx_LUT_module_initialize()"};
inline const lines LUT_terminated{"kx_LUT_module_terminate()"};
inline const lines vector_modules_bound{"sse loaded", "sse initialize", "avx2 loaded", "avx2 initialize"};
inline const lines vector_modules_released{"avx2 terminate", "avx2 unloaded", "sse terminate", "sse unloaded"};

// Log lines as the stand-in logger records them. `text` follows the error mark and its two blanks.
std::string error_line(const std::string& function, const std::string& text);
std::string validation_line(const std::string& text);
std::string failed_creation_line(bool for_want_of_memory);
std::string timing_line(const transform_export& tested);

// A transform's call of the vector module "sse" or "avx2"; none if the name is empty.
lines vector_call(const std::string& module, const transform_export& tested);

inline const std::string null_processor_text = "The specified color processor handle is NULL!";
inline const std::string transform_function_name = "`anonymous-namespace'::kx_color_processor_transform_impl";
inline const std::string creation_function_name = "`anonymous-namespace'::create_color_processor_impl";

// What a processor does to LUT numbers `first` to first + 5 when it is created and destroyed.
lines LUTs_created(std::int32_t first, std::int32_t input_entries, std::int32_t output_entries, bool for_avx2);
lines LUTs_fetched(std::int32_t first, std::int32_t last);
lines LUTs_destroyed(std::int32_t last, std::int32_t first = 1);

class frame_test : public testing::Test {
protected:
    explicit frame_test(const gap& missing = {}) : folder(missing) { standins::reset(); }

    // What happened since the last call. Timing lines come without the time, whose form is checked.
    lines events();

    // Expects all transforms to call the vector module and to convert all pixels, as the stand-ins do not. The
    // processor has LUTs 1 to 6.
    void expect_transforms_call(kx_color_processor* processor, const std::string& module);

    standins::recorder& recorder = standins::the_recorder();
    module_folder folder;
    shared_library library{folder.library().c_str()};
    color_processing_exports kx{library};
};

class initialized_test : public frame_test {
protected:
    using frame_test::frame_test;
    void SetUp() override;
    void TearDown() override;

    // A processor of the given level; what its creation did is forgotten.
    kx_color_processor* create(std::int32_t vector_level = 0, std::int32_t input_depth = 8,
                               std::int32_t output_depth = 8);
    // Destroys all that create() made.
    void destroy_all();

private:
    std::vector<kx_color_processor*> processors_;
};

// An image of a few pixels to convert, with room behind the output.
struct small_image {
    explicit small_image(std::size_t pixel_count);

    // A request for this image. The object must outlive it.
    transform_request request();

    static constexpr std::uint8_t untouched = 0xEE;
    [[nodiscard]] bool output_is_untouched() const;

    // Whether the output, interleaved, has the low bits of the input's samples.
    [[nodiscard]] bool is_converted(const transform_export& tested) const;

    std::vector<std::uint16_t> input_samples;
    std::vector<std::uint8_t> output_bytes;
};

} // namespace kx_test
