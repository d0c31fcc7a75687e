// What every export that takes a processor does without one, and before the module is initialized.
#include "frame/frame_test.h"

#include <functional>
#include <set>

namespace kx_test {

namespace {

// An export with harmless arguments. The call returns its status, or for LUT getters whether it was a pointer.
struct processor_export {
    std::string name;
    std::string reported_name;
    bool returns_pointer;
    std::function<std::int64_t(kx_color_processor*)> call;
};

class rejection : public frame_test {
protected:
    [[nodiscard]] std::vector<processor_export> processor_exports()
    {
        std::vector<processor_export> exports;
        const auto add = [&](const char* name, auto call) {
            exports.push_back({name, name, false, [call](kx_color_processor* p) { return call(p); }});
        };
        add("kx_color_destroy_color_processor", kx.destroy_color_processor);
        add("kx_color_clear_matrix", kx.clear_matrix);
        add("kx_color_append_matrix", [this](kx_color_processor* p) { return kx.append_matrix(p, matrix_); });
        add("kx_color_enable_input_LUTs", [this](kx_color_processor* p) { return kx.enable_input_LUTs(p, 1, 1, 1); });
        add("kx_color_enable_output_LUTs", [this](kx_color_processor* p) { return kx.enable_output_LUTs(p, 1, 1, 1); });

        const auto add_getter = [&](const char* name, auto get) {
            exports.push_back({name, name, true, [get](kx_color_processor* p) { return get(p) != nullptr ? 1 : 0; }});
        };
        add_getter("kx_color_get_blue_input_LUT", kx.get_blue_input_LUT);
        add_getter("kx_color_get_green_input_LUT", kx.get_green_input_LUT);
        add_getter("kx_color_get_red_input_LUT", kx.get_red_input_LUT);
        add_getter("kx_color_get_blue_output_LUT", kx.get_blue_output_LUT);
        add_getter("kx_color_get_green_output_LUT", kx.get_green_output_LUT);
        add_getter("kx_color_get_red_output_LUT", kx.get_red_output_LUT);

        for (const transform_export& tested : transform_exports) {
            exports.push_back({tested.name, transform_function_name, false, [this, &tested](kx_color_processor* p) {
                                   return tested.call(kx, p, image_.request());
                               }});
        }
        return exports;
    }

    void expect_silent_refusals()
    {
        // Any handle will do: what it points to must not matter.
        alignas(16) static char nothing[1024];
        auto* const no_processor = reinterpret_cast<kx_color_processor*>(nothing);
        for (const processor_export& tested : processor_exports()) {
            SCOPED_TRACE(tested.name);
            for (kx_color_processor* processor : {static_cast<kx_color_processor*>(nullptr), no_processor}) {
                EXPECT_EQ(tested.call(processor), tested.returns_pointer ? 0 : 1);
                EXPECT_EQ(events(), lines{});
            }
        }
        EXPECT_TRUE(image_.output_is_untouched());
    }

    small_image image_{2};
    const float matrix_[9] = {2, 2, 2, 2, 2, 2, 2, 2, 2};
};

TEST_F(rejection, nothing_works_and_nothing_is_logged_unless_initialized)
{
    ASSERT_EQ(processor_exports().size(), 15U);
    expect_silent_refusals();
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(kx.module_terminate(), 0);
    events();
    expect_silent_refusals();
}

TEST_F(rejection, null_processor_is_reported_once_under_the_name_and_line_of_the_export)
{
    ASSERT_EQ(kx.module_initialize(), 0);
    events();
    std::set<std::int32_t> lines_of_code;
    for (const processor_export& tested : processor_exports()) {
        SCOPED_TRACE(tested.name);
        EXPECT_EQ(tested.call(nullptr), tested.returns_pointer ? 0 : 2);
        EXPECT_EQ(events(), lines{error_line(tested.reported_name, null_processor_text)});
        lines_of_code.insert(source_lines().begin(), source_lines().end());
    }
    EXPECT_EQ(lines_of_code.size(), 12U) << "the four transforms share one";
    EXPECT_TRUE(image_.output_is_untouched());
    EXPECT_EQ(kx.module_terminate(), 0);
}

} // namespace

} // namespace kx_test
