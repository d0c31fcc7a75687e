#include "report_picture.h"

#include <cairo.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace kx::chart {

namespace {

constexpr int picture_width = 960;
constexpr int picture_height = 640;
constexpr double margin = 24;
constexpr double header = 84;
constexpr double cell_width = (picture_width - 2 * margin) / static_cast<double>(patch_columns);
constexpr double cell_height = (picture_height - header - 12) / static_cast<double>(patch_rows);
constexpr double swatch_width = cell_width - 14;
constexpr double swatch_height = 72;

constexpr color black{0.1, 0.1, 0.1};
constexpr color grey{0.42, 0.42, 0.42};
constexpr color light_grey{0.9, 0.9, 0.9};
constexpr color blue{0.12, 0.35, 0.65};

struct rectangle {
    double left, top, width, height;
};

// Cairo's drawing, its values from 0 to 1 being those of sRGB.
class canvas {
public:
    canvas()
        : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, picture_width, picture_height)),
          context_(cairo_create(surface_.get()))
    {
        if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) {
            throw std::runtime_error(std::string("the report cannot be drawn: ")
                                     + cairo_status_to_string(cairo_status(context_.get())));
        }
        fill({0, 0, picture_width, picture_height}, {1, 1, 1});
    }

    void fill(const rectangle& area, const color& srgb)
    {
        set(srgb);
        cairo_rectangle(context_.get(), area.left, area.top, area.width, area.height);
        cairo_fill(context_.get());
    }

    void cross_out(const rectangle& area)
    {
        set({1, 1, 1});
        cairo_set_line_width(context_.get(), 3);
        cairo_move_to(context_.get(), area.left, area.top);
        cairo_line_to(context_.get(), area.left + area.width, area.top + area.height);
        cairo_move_to(context_.get(), area.left, area.top + area.height);
        cairo_line_to(context_.get(), area.left + area.width, area.top);
        cairo_stroke(context_.get());
    }

    // `width` is what there is for it: longer text is narrowed.
    void write(double left, double baseline, const std::string& text, double size, const color& srgb, double width)
    {
        set(srgb);
        cairo_select_font_face(context_.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(context_.get(), size);
        cairo_text_extents_t extents{};
        cairo_text_extents(context_.get(), text.c_str(), &extents);
        cairo_save(context_.get());
        cairo_translate(context_.get(), left, baseline);
        cairo_scale(context_.get(), std::min(1.0, width / std::max(extents.x_advance, 1.0)), 1.0);
        cairo_move_to(context_.get(), 0, 0);
        cairo_show_text(context_.get(), text.c_str());
        cairo_restore(context_.get());
    }

    [[nodiscard]] images::image_8 picture() const
    {
        cairo_surface_flush(surface_.get());
        const unsigned char* const data = cairo_image_surface_get_data(surface_.get());
        const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface_.get()));
        images::image_8 result;
        result.width = picture_width;
        result.height = picture_height;
        for (std::size_t place = 0; place < result.pixel_count(); ++place) {
            // A pixel is a 32-bit word, red in bits 16 to 23: blue comes first in memory.
            const unsigned char* const pixel = data + place / picture_width * stride + place % picture_width * 4;
            result.samples.insert(result.samples.end(), {pixel[2], pixel[1], pixel[0]});
        }
        return result;
    }

private:
    void set(const color& srgb) { cairo_set_source_rgb(context_.get(), srgb[0], srgb[1], srgb[2]); }

    std::unique_ptr<cairo_surface_t, releaser<cairo_surface_destroy>> surface_;
    std::unique_ptr<cairo_t, releaser<cairo_destroy>> context_;
};

template <typename... Values>
std::string format(const char* text, Values... values)
{
    char line[200];
    std::snprintf(line, sizeof line, text, values...);
    return line;
}

color display_color(const lab_converter& converter, const cmsCIELab& lab)
{
    const auto samples = encode_srgb(converter.to_linear_srgb(lab));
    return {samples[0] / 255.0, samples[1] / 255.0, samples[2] / 255.0};
}

// The difference that a whole bar stands for: the next of 1, 2, 5, 10, 20, 50, 100.
double full_bar(const judgement& verdict)
{
    for (const double bar : {1.0, 2.0, 5.0, 10.0, 20.0, 50.0}) {
        if (verdict.patches[verdict.largest].difference <= bar) {
            return bar;
        }
    }
    return 100.0;
}

void draw_patch(canvas& target, double left, double top, const lab_converter& converter, const patch_judgement& patch,
                double uncorrected, double bar)
{
    const rectangle swatch{left, top, swatch_width, swatch_height};
    target.fill({left, top, swatch_width / 2, swatch_height}, display_color(converter, patch.measured));
    target.fill({left + swatch_width / 2, top, swatch_width / 2, swatch_height},
                display_color(converter, patch.reference));
    target.write(left, top + swatch_height + 17, patch.name + (patch.outside_srgb ? " (not in sRGB)" : ""), 13, black,
                 swatch_width);
    const double bar_top = top + swatch_height + 40;
    if (patch.left_out) {
        target.cross_out(swatch);
        target.write(left, bar_top - 6, "over-exposed: left out", 12, grey, swatch_width);
        return;
    }
    target.write(left, bar_top - 6, format("%.2f  (before %.1f)", patch.difference, uncorrected), 12, grey,
                 swatch_width);
    target.fill({left, bar_top, swatch_width, 9}, light_grey);
    target.fill({left, bar_top, swatch_width * std::min(1.0, patch.difference / bar), 9}, blue);
}

} // namespace

images::image_8 draw_report(const judgement& before, const judgement& after)
{
    const lab_converter converter;
    canvas target;
    const double width = picture_width - 2 * margin;
    const double bar = full_bar(after);
    const patch_judgement& largest = after.patches[after.largest];
    target.write(margin, 36,
                 format("CIEDE2000: mean %.2f, largest %.2f (%s); before the correction %.2f", after.mean,
                        largest.difference, largest.name.c_str(), before.mean),
                 20, black, width);
    target.write(margin, 62, format("Left measured, right published. A full bar is a difference of %.0f.", bar), 14,
                 grey, width);
    for (std::size_t index = 0; index < patch_count; ++index) {
        const std::size_t column = index % patch_columns;
        const std::size_t row = index / patch_columns;
        draw_patch(target, margin + cell_width * static_cast<double>(column),
                   header + cell_height * static_cast<double>(row), converter, after.patches[index],
                   before.patches[index].difference, bar);
    }
    return target.picture();
}

} // namespace kx::chart
