#include "calibration.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace kx::chart {

namespace {

constexpr double tolerated_share = 0.01; // of over-exposed pixels in a patch

double largest_sample(int bits)
{
    return static_cast<double>((1 << bits) - 1);
}

void check_samples(const images::image_16& picture, int bits)
{
    const auto largest = std::ranges::max_element(picture.samples);
    if (largest != picture.samples.end() && *largest > largest_sample(bits)) {
        throw std::runtime_error("a sample of " + std::to_string(*largest) + " is more than a camera of "
                                 + std::to_string(bits) + " bits delivers");
    }
}

// What is known of a patch that is not left out.
struct observation {
    color camera; // black level taken off, full scale 1, then balanced
    color target; // linear sRGB
    bool is_neutral;
};

// The sum over all patches of the outer products one x other.
color_matrix sum_of_products(const std::vector<observation>& patches, color observation::*one,
                             color observation::*other)
{
    color_matrix sum{};
    for (const observation& patch : patches) {
        for (std::size_t place = 0; place < 9; ++place) {
            sum[place / 3][place % 3] += (patch.*one)[place / 3] * (patch.*other)[place % 3];
        }
    }
    return sum;
}

// The matrix with the least squared error. With `row_sum`, of those whose rows all have this sum.
color_matrix fit_matrix(const std::vector<observation>& patches, std::optional<double> row_sum)
{
    // The normal equations: M (sum c c') = sum t c', with the camera's colours c and their targets t.
    const auto covariance = inverse(sum_of_products(patches, &observation::camera, &observation::camera));
    if (patches.size() < 4 || !covariance) {
        throw std::runtime_error("the patches of this picture do not determine a matrix: is the chart in it?");
    }
    color_matrix matrix = sum_of_products(patches, &observation::target, &observation::camera) * *covariance;
    if (row_sum) {
        // A Lagrange multiplier for each row: its sum goes to where it must be along the direction that costs least.
        const color direction = *covariance * color{1.0, 1.0, 1.0};
        const double length = direction[0] + direction[1] + direction[2];
        for (auto& row : matrix) {
            const double missing = *row_sum - (row[0] + row[1] + row[2]);
            for (std::size_t column = 0; column < 3; ++column) {
                row[column] += missing * direction[column] / length;
            }
        }
    }
    return matrix;
}

// The gains that turn what the camera delivers for grey into grey of the same brightness, by least squares over the
// grey patches. These are only nearly grey: what the camera would deliver without their tint follows from the matrix.
color fit_gains(const std::vector<observation>& patches)
{
    const auto to_camera = inverse(fit_matrix(patches, std::nullopt));
    color targets{};
    color squares{};
    for (const observation& patch : patches) {
        if (!patch.is_neutral || !to_camera) {
            continue;
        }
        const double luminance = 0.2126 * patch.target[0] + 0.7152 * patch.target[1] + 0.0722 * patch.target[2];
        const color tint =
            *to_camera * color{patch.target[0] - luminance, patch.target[1] - luminance, patch.target[2] - luminance};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const double camera = patch.camera[channel] - tint[channel];
            targets[channel] += camera * luminance;
            squares[channel] += camera * camera;
        }
    }
    color gains{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        gains[channel] = targets[channel] / squares[channel];
        if (!(squares[channel] > 0.0 && gains[channel] > 0.0)) { // NaN, too
            throw std::runtime_error("no grey patch is left to find the white balance from");
        }
    }
    return gains;
}

} // namespace

calibration calibrate(const images::image_16& photograph, const chart_corners& corners,
                      const calibration_options& options)
{
    profile::profile_values values{.description = options.description,
                                   .bits = options.bits,
                                   .black_level = options.black_level,
                                   .tone_curve = options.tone_curve,
                                   .output_depth = options.output_depth};
    static_cast<void>(profile::camera_profile(values)); // refuses bits and black levels that cannot be
    check_samples(photograph, options.bits);
    const double largest = largest_sample(options.bits);
    const auto measured = measure_patches(photograph, chart_position(corners),
                                          options.saturation.value_or(static_cast<std::uint16_t>(largest)));

    const lab_converter converter;
    std::vector<observation> patches;
    patch_colors delivered{};
    patch_colors exposed{};
    patch_flags left_out{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const double black = options.black_level[channel];
            delivered[index][channel] = measured[index].mean[channel] / largest;
            exposed[index][channel] = (measured[index].mean[channel] - black) / (largest - black);
        }
        left_out[index] = measured[index].saturated_share > tolerated_share;
        if (!left_out[index]) {
            patches.push_back(
                {exposed[index], converter.to_linear_srgb(options.reference[index].published), index >= first_neutral});
        }
    }

    // The smallest gain goes into the matrix: the others then clip no channel before it is saturated.
    const color gains = fit_gains(patches);
    const double smallest = std::ranges::min(gains);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        values.white_balance[channel] = gains[channel] / smallest;
        for (observation& patch : patches) {
            patch.camera[channel] *= values.white_balance[channel];
        }
    }
    values.matrix =
        fit_matrix(patches, options.fit == matrix_fit::white_preserving ? std::optional(smallest) : std::nullopt);
    patch_colors corrected{};
    std::ranges::transform(exposed, corrected.begin(), [&values](color balanced) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            balanced[channel] *= values.white_balance[channel];
        }
        return clip(values.matrix * clip(balanced));
    });
    return {profile::camera_profile(values), judge(delivered, options.reference, left_out),
            judge(corrected, options.reference, left_out)};
}

profile::channel_values measure_black_level(const images::image_16& dark_frame, int bits)
{
    constexpr double left_out = 0.01;
    check_samples(dark_frame, bits);
    const std::size_t pixels = dark_frame.pixel_count();
    profile::channel_values level{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::vector<std::size_t> counts(65536);
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            ++counts[dark_frame.samples[sample_index(dark_frame, pixel, channel)]];
        }
        const auto margin = static_cast<std::size_t>(left_out * static_cast<double>(pixels));
        std::size_t seen = 0;
        double smallest = 65535;
        double largest = 0;
        for (std::size_t sample = 0; sample < counts.size(); ++sample) {
            // Those of this sample that lie between the margins.
            const std::size_t first = std::clamp(seen, margin, pixels - margin);
            seen += counts[sample];
            const std::size_t end = std::clamp(seen, margin, pixels - margin);
            level[channel] += static_cast<double>(sample) * static_cast<double>(end - first);
            if (end != first) {
                smallest = std::min(smallest, static_cast<double>(sample));
                largest = static_cast<double>(sample);
            }
        }
        level[channel] /= static_cast<double>(pixels - 2 * margin);
        if (!(level[channel] <= largest_sample(bits) / 4 && largest - smallest <= largest_sample(bits) / 16)) {
            throw std::runtime_error(
                "the dark frame is not dark: its mean is more than a quarter of full scale, or its "
                "samples differ by more than a sixteenth");
        }
    }
    return level;
}

} // namespace kx::chart
