#include "pixel_case.h"

#include "reference.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <sstream>

namespace kx_test {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

matrix_values random_matrix(random_source& random, float first, float last)
{
    matrix_values matrix{};
    for (float& element : matrix) {
        element = std::uniform_real_distribution<float>(first, last)(random);
    }
    return matrix;
}

// Mostly what cameras use; now and then what only a fault or a test brings.
std::vector<matrix_values> random_matrices(random_source& random)
{
    static constexpr float odd_values[] = {not_a_number, infinity,       -infinity, 0x1.fffffep127F, 0x1p-149F,
                                           -0.0F,        0x1.fffffep-2F, 32768.5F,  -65536.0F};
    switch (pick(random, 0, 15)) {
    case 0:
        return {};
    case 1:
        return {identity};
    case 2: // around zero, both signs
        return {random_matrix(random, -0.1F, 0.1F)};
    case 3: // sums around the limits of 32-bit integers
        return {random_matrix(random, -65536.0F, 65536.0F)};
    case 4: // sums and products that overflow single precision
        return {random_matrix(random, -1e34F, 1e34F)};
    case 5: {
        matrix_values matrix = random_matrix(random, -0.5F, 1.0F);
        matrix[pick(random, std::size_t{0}, std::size_t{8})] =
            odd_values[pick(random, std::size_t{0}, std::size(odd_values) - 1)];
        return {matrix};
    }
    case 6: // one element overflows to infinity in the product and leaves its neighbours alone
        return {{1e30F, 0, 0, 0, 1, 0, 0, 0, 1}, {1e30F, 0, 0, 0, 0.5F, 0, 0, 0, 1}};
    case 7: // sums on and beside the halves
        return {{0.5F, 0, 0, 0, 0.25F, 0.5F, 0, 0.5F, 1.0F}};
    case 8: {
        matrix_values matrix = identity; // nearly
        matrix[pick(random, std::size_t{0}, std::size_t{8})] += 0.25F;
        return {matrix};
    }
    case 9:
        return {random_matrix(random, -0.5F, 1.0F), random_matrix(random, -0.5F, 1.0F)};
    default:
        return {random_matrix(random, -0.4F, 0.9F)};
    }
}

channel_settings random_settings(int shift, int highest, random_source& random)
{
    channel_settings settings;
    settings.clamp_max = static_cast<std::uint16_t>(pick(random, 0, 2) != 0 ? highest : pick(random, 0, highest));
    settings.clamp_min =
        pick(random, 0, 2) != 0 ? std::uint16_t{0} : pick(random, std::uint16_t{0}, settings.clamp_max);
    settings.shift_distance = shift * pick(random, 1, 15);
    return settings;
}

placement random_placement(random_source& random)
{
    return {pick(random, 0, 1) != 0,
            pick(random, 0, 2) != 0 ? std::size_t{0} : pick(random, std::size_t{1}, std::size_t{31})};
}

} // namespace

pixel_case random_case(const combination& choices, const LUT_set& LUTs, std::int32_t pixel_count, random_source& random)
{
    pixel_case made;
    made.choices = choices;
    made.matrices = random_matrices(random);
    if (pick(random, 0, 7) == 0) {
        made.planar_format = pick(random, 0, 1) != 0 ? -1 : std::numeric_limits<std::int32_t>::min();
    }
    made.pixel_count = pixel_count;
    made.samples.resize(pixel_count > 0 ? 3 * static_cast<std::size_t>(pixel_count) : 0);
    for (int channel = 0; channel < 3; ++channel) {
        // An enabled LUT must have an entry for every value.
        const auto highest = [channel = static_cast<std::size_t>(channel)](const auto& enabled, int depth) {
            return enabled[channel] ? (1 << depth) - 1 : 65535;
        };
        const auto at = static_cast<std::size_t>(channel);
        made.channels[at] = random_settings(choices.shift[at], highest(choices.output_LUT, LUTs.output_depth), random);
        const int highest_sample = highest(choices.input_LUT, LUTs.input_depth);
        for (std::int32_t pixel = 0; pixel < pixel_count; ++pixel) {
            const std::int64_t index = reference_sample_index(choices.input_layout, pixel_count, 3, pixel, channel);
            const int kind = pick(random, 0, 7);
            made.samples[static_cast<std::size_t>(index)] =
                static_cast<std::uint16_t>(kind < 2    ? std::min(kind, highest_sample)
                                           : kind == 2 ? highest_sample
                                                       : pick(random, 0, highest_sample));
        }
    }
    made.input = random_placement(random);
    made.output = random_placement(random);
    return made;
}

std::string describe(const pixel_case& wanted)
{
    std::ostringstream text;
    text << describe(static_cast<const conversion&>(wanted)) << "\n  planar format passed as " << wanted.planar_format;
    for (const placement& at : {wanted.input, wanted.output}) {
        text << "\n  " << at.distance << (at.at_end ? " samples before the last" : " samples after the first")
             << " guard page";
    }
    return text.str();
}

} // namespace kx_test
