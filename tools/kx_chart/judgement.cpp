#include "judgement.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>

namespace kx::chart {

namespace {

// Outside by more than an 8-bit picture would show anyway.
bool is_outside_srgb(const color& linear_srgb)
{
    constexpr double tolerance = 0.001;
    return std::any_of(linear_srgb.begin(), linear_srgb.end(),
                       [](double channel) { return channel < -tolerance || channel > 1.0 + tolerance; });
}

template <typename... Values>
void print_line(std::ostream& out, const char* format, Values... values)
{
    char line[160];
    std::snprintf(line, sizeof line, format, values...);
    out << line << '\n';
}

} // namespace

judgement judge(const patch_colors& linear_srgb)
{
    const lab_converter converter;
    judgement verdict{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        const cmsCIELab& published = reference_patches[index].published;
        patch_judgement& patch = verdict.patches[index];
        patch.measured = converter.to_lab(linear_srgb[index]);
        patch.difference = ciede2000(published, patch.measured);
        patch.outside_srgb = is_outside_srgb(converter.to_linear_srgb(published));
        verdict.mean += patch.difference / static_cast<double>(patch_count);
        if (patch.difference > verdict.patches[verdict.largest].difference) {
            verdict.largest = index;
        }
    }
    return verdict;
}

void print(std::ostream& out, const judgement& verdict)
{
    print_line(out, "%-14s %26s %26s %8s", "patch", "published L* a* b*", "measured L* a* b*", "dE00");
    for (std::size_t index = 0; index < patch_count; ++index) {
        const auto& [name, published] = reference_patches[index];
        const patch_judgement& patch = verdict.patches[index];
        print_line(out, "%-14s %10.3f%8.3f%8.3f %10.3f%8.3f%8.3f %8.3f%s", name, published.L, published.a, published.b,
                   patch.measured.L, patch.measured.a, patch.measured.b, patch.difference,
                   patch.outside_srgb ? "  outside sRGB: clipped" : "");
    }
    print_line(out, "Mean CIEDE2000 %.3f, largest %.3f (%s)", verdict.mean, verdict.patches[verdict.largest].difference,
               reference_patches[verdict.largest].name);
}

} // namespace kx::chart
