// Curves from files: .cube (1D), .spi1d, and plain numbers from 0 to 1.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace kx::convert {

// Values at equal steps of the input from `from` to `to`, straight lines between them. Inputs beyond count as the
// nearer end.
struct sampled_curve {
    double from = 0;
    double to = 1;
    std::vector<double> values{};

    [[nodiscard]] double operator()(double x) const;
};

// The curve of one channel (0 red, 1 green, 2 blue) in a file, or nothing if the file is none of these kinds: its name
// ends neither in .cube nor .spi1d, and no number in it has a decimal point. Files of one column serve all channels.
// Throws std::runtime_error, which names the file.
std::optional<sampled_curve> read_curve_file(const std::filesystem::path& file, std::size_t channel);

} // namespace kx::convert
