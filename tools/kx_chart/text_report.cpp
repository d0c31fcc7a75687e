#include "text_report.h"

#include <cstdio>
#include <ostream>

namespace kx::chart {

namespace {

template <typename... Values>
void print_text(std::ostream& out, const char* format, Values... values)
{
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    out << text;
}

void print_summary(std::ostream& out, const judgement& verdict, const char* when)
{
    const patch_judgement& largest = verdict.patches[verdict.largest];
    print_text(out, "Mean CIEDE2000%s %.3f, largest %.3f (%s)\n", when, verdict.mean, largest.difference,
               largest.name.c_str());
}

} // namespace

void print(std::ostream& out, const judgement& verdict, const judgement* before)
{
    print_text(out, "%-14s %26s %26s %8s", "patch", "published L* a* b*", "measured L* a* b*", "dE00");
    print_text(out, "%s\n", before == nullptr ? "" : "  before");
    for (std::size_t index = 0; index < patch_count; ++index) {
        const patch_judgement& patch = verdict.patches[index];
        print_text(out, "%-14.40s %10.3f%8.3f%8.3f %10.3f%8.3f%8.3f %8.3f", patch.name.c_str(), patch.reference.L,
                   patch.reference.a, patch.reference.b, patch.measured.L, patch.measured.a, patch.measured.b,
                   patch.difference);
        if (before != nullptr) {
            print_text(out, "%8.2f", before->patches[index].difference);
        }
        print_text(out, "%s%s\n", patch.outside_srgb ? "  outside sRGB: clipped" : "",
                   patch.left_out ? "  over-exposed: left out" : "");
    }
    if (before != nullptr) {
        print_summary(out, *before, " before");
    }
    print_summary(out, verdict, before == nullptr ? "" : " after");
}

} // namespace kx::chart
