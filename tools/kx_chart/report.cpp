#include "report.h"

#include <korvex_kvi_color_processing.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kx::chart {

namespace {

// As printf.
template <typename... Values>
std::string format(const char* text, Values... values)
{
    std::string line(static_cast<std::size_t>(std::snprintf(nullptr, 0, text, values...)), '\0');
    std::snprintf(line.data(), line.size() + 1, text, values...);
    return line;
}

std::string summary(const judgement& verdict, const char* when)
{
    const patch_judgement& largest = verdict.patches.at(verdict.largest);
    return format("Mean CIEDE2000%s %.3f, largest %.3f (%s)\n", when, verdict.mean, largest.difference,
                  largest.name.c_str());
}

// In pixels: whole ones, which no locale writes in another way.
constexpr int margin = 24;
constexpr int picture_width = 960;
constexpr int header = 84;
constexpr int cell_width = 152;
constexpr int cell_height = 136;
constexpr int swatch_width = 138;
constexpr int swatch_height = 72;

std::string rectangle(int left, int top, int width, int height, const std::string& color)
{
    return format("<rect x='%d' y='%d' width='%d' height='%d' fill='%s'/>\n", left, top, width, height, color.c_str());
}

// `room` is what there is for it: longer text is narrowed.
std::string text(int left, int baseline, int size, const char* color, int room, const std::string& content)
{
    std::string escaped;
    for (const char letter : content) {
        escaped += letter == '&' ? "&amp;" : letter == '<' ? "&lt;" : std::string(1, letter);
    }
    const bool is_long = content.size() * static_cast<std::size_t>(size) / 2 > static_cast<std::size_t>(room);
    return format("<text x='%d' y='%d' font-size='%d' fill='%s'", left, baseline, size, color)
           + (is_long ? format(" textLength='%d' lengthAdjust='spacingAndGlyphs'>", room) : ">") + escaped
           + "</text>\n";
}

std::string web_color(const cmsCIELab& lab)
{
    const auto [red, green, blue] = encode_srgb(to_linear_srgb(lab));
    return format("#%02x%02x%02x", red, green, blue);
}

std::string draw_patch(int left, int top, const patch_judgement& patch, double uncorrected, double bar)
{
    constexpr int half = swatch_width / 2;
    const int bar_top = top + swatch_height + 40;
    std::string drawn = rectangle(left, top, half, swatch_height, web_color(patch.measured))
                        + rectangle(left + half, top, half, swatch_height, web_color(patch.reference))
                        + text(left, top + swatch_height + 17, 13, "#1a1a1a", swatch_width,
                               patch.name + (patch.outside_srgb ? " (not in sRGB)" : ""));
    if (patch.left_out) {
        return drawn
               + format("<path d='M%d %dl%d %dm%d 0l%d %d' stroke='white' stroke-width='3'/>\n", left, top,
                        swatch_width, swatch_height, -swatch_width, swatch_width, -swatch_height)
               + text(left, bar_top - 6, 12, "#6b6b6b", swatch_width, "over-exposed: left out");
    }
    const double share = std::clamp(patch.difference / bar, 0.0, 1.0);
    return drawn
           + text(left, bar_top - 6, 12, "#6b6b6b", swatch_width,
                  format("%.2f  (before %.1f)", patch.difference, uncorrected))
           + rectangle(left, bar_top, swatch_width, 9, "#e6e6e6")
           + rectangle(left, bar_top, static_cast<int>(std::lround(swatch_width * share)), 9, "#1f59a6");
}

} // namespace

std::string to_text(const judgement& verdict, const judgement* before)
{
    std::string table = format("%-14s %26s %26s %8s%s\n", "patch", "published L* a* b*", "measured L* a* b*", "dE00",
                               before == nullptr ? "" : "  before");
    for (std::size_t index = 0; index < patch_count; ++index) {
        const patch_judgement& patch = verdict.patches[index];
        table += format("%-14s %10.3f%8.3f%8.3f %10.3f%8.3f%8.3f %8.3f", patch.name.c_str(), patch.reference.L,
                        patch.reference.a, patch.reference.b, patch.measured.L, patch.measured.a, patch.measured.b,
                        patch.difference);
        if (before != nullptr) {
            table += format("%8.2f", before->patches[index].difference);
        }
        table += format("%s%s\n", patch.outside_srgb ? "  outside sRGB: clipped" : "",
                        patch.left_out ? "  over-exposed: left out" : "");
    }
    return table + (before == nullptr ? "" : summary(*before, " before"))
           + summary(verdict, before == nullptr ? "" : " after");
}

std::string to_svg(const judgement& before, const judgement& after)
{
    constexpr int room = picture_width - 2 * margin;
    const patch_judgement& largest = after.patches.at(after.largest);
    const double bar = std::max(std::ceil(largest.difference), 1.0); // what a whole one stands for
    std::string picture = "<svg xmlns='http://www.w3.org/2000/svg' width='960' height='640' font-family='sans-serif'>\n"
                          "<desc>korvex_kvi_color_processing " KX_COLOR_PROCESSING_VERSION "</desc>\n";
    picture += rectangle(0, 0, picture_width, 640, "white");
    picture += text(margin, 36, 20, "#1a1a1a", room,
                    format("CIEDE2000: mean %.2f, largest %.2f (%s); before the correction %.2f", after.mean,
                           largest.difference, largest.name.c_str(), before.mean));
    picture += text(margin, 62, 14, "#6b6b6b", room,
                    format("Left measured, right published. A full bar is a difference of %.0f.", bar));
    for (std::size_t index = 0; index < patch_count; ++index) {
        const int left = margin + cell_width * static_cast<int>(index % patch_columns);
        const int top = header + cell_height * static_cast<int>(index / patch_columns);
        picture += draw_patch(left, top, after.patches[index], before.patches[index].difference, bar);
    }
    return picture + "</svg>\n";
}

} // namespace kx::chart
