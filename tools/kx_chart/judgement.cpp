#include "judgement.h"

#include <algorithm>

namespace kx::chart {

namespace {

// Outside by more than an 8-bit picture would show anyway.
bool is_outside_srgb(const color& linear_srgb)
{
    constexpr double tolerance = 0.001;
    return std::ranges::any_of(linear_srgb,
                               [](double channel) { return channel < -tolerance || channel > 1.0 + tolerance; });
}

} // namespace

judgement judge(const patch_colors& linear_srgb, const reference_chart& reference, const patch_flags& left_out)
{
    judgement verdict{};
    double largest = -1;
    double counted = 0;
    for (std::size_t index = 0; index < patch_count; ++index) {
        const auto& [name, published] = reference[index];
        const cmsCIELab measured = to_lab(linear_srgb[index]);
        const double difference = ciede2000(published, measured);
        verdict.patches[index] = {
            name, published, measured, difference, is_outside_srgb(to_linear_srgb(published)), left_out[index]};
        if (!left_out[index]) {
            verdict.mean += difference;
            counted += 1;
            if (difference > largest) {
                largest = difference;
                verdict.largest = index;
            }
        }
    }
    verdict.mean /= counted;
    return verdict;
}

} // namespace kx::chart
