// Calibration by a colour chart, the same code as kx_chart's. A module of its own, since it alone needs Little CMS.
#include "black_level.h"
#include "calibration.h"
#include "report.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace py = pybind11;

namespace kx::chart {

namespace {

using images_of_16_bits = py::array_t<std::uint16_t, py::array::c_style>;
using lab = std::tuple<double, double, double>;
using named_lab = std::tuple<std::string, lab>;
using plain_patch = std::tuple<std::string, lab, lab, double, bool, bool>;         // as in patch_judgement
using plain_judgement = std::tuple<std::vector<plain_patch>, double, std::size_t>; // as in judgement

cmsCIELab to_lab(const lab& values)
{
    return {std::get<0>(values), std::get<1>(values), std::get<2>(values)};
}

lab from_lab(const cmsCIELab& values)
{
    return {values.L, values.a, values.b};
}

// Of an array of the shape (height, width, 3), red first.
images::image_16 to_image(const images_of_16_bits& array)
{
    images::image_16 image;
    image.height = static_cast<std::uint32_t>(array.shape(0));
    image.width = static_cast<std::uint32_t>(array.shape(1));
    image.samples.assign(array.data(), array.data() + array.size());
    return image;
}

plain_judgement from_judgement(const judgement& verdict)
{
    std::vector<plain_patch> patches;
    for (const patch_judgement& patch : verdict.patches) {
        patches.emplace_back(patch.name, from_lab(patch.reference), from_lab(patch.measured), patch.difference,
                             patch.outside_srgb, patch.left_out);
    }
    return {patches, verdict.mean, verdict.largest};
}

judgement to_judgement(const plain_judgement& plain)
{
    const auto& [patches, mean, largest] = plain;
    if (patches.size() != patch_count || largest >= patch_count) {
        throw py::value_error("a judgement has 24 patches, and the largest difference is that of one of them");
    }
    judgement verdict{{}, mean, largest};
    for (std::size_t index = 0; index < patch_count; ++index) {
        const auto& [name, reference, measured, difference, outside_srgb, left_out] = patches.at(index);
        verdict.patches.at(index) = {name, to_lab(reference), to_lab(measured), difference, outside_srgb, left_out};
    }
    return verdict;
}

// What is wrong with a picture is wrong with an argument; what is wrong with a profile has its own exception.
template <typename Work>
auto without_gil(const Work& work)
{
    try {
        const py::gil_scoped_release released;
        return work();
    } catch (const profile::profile_error&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw py::value_error(error.what());
    }
}

reference_chart to_reference(const std::optional<std::string>& file,
                             const std::optional<std::vector<named_lab>>& values)
{
    if (file) {
        return read_reference(*file);
    }
    reference_chart reference = published_reference();
    if (values) {
        for (std::size_t index = 0; index < patch_count; ++index) {
            const auto& [name, colour] = values->at(index);
            reference.at(index) = {name, to_lab(colour)};
        }
    }
    return reference;
}

// The profile's JSON, the two judgements, warnings and objections.
std::tuple<std::string, plain_judgement, plain_judgement, std::vector<std::string>, std::vector<std::string>>
calibrate_array(const images_of_16_bits& photograph, const std::array<std::array<double, 2>, 4>& corners, int bits,
                const std::optional<profile::channel_values>& black_level, const std::optional<images_of_16_bits>& dark,
                std::optional<std::uint16_t> saturation, bool white_preserving,
                const std::optional<std::string>& reference_file,
                const std::optional<std::vector<named_lab>>& reference,
                const std::variant<std::string, std::vector<double>>& curve, int output_depth,
                const std::string& description)
{
    const images::image_16 picture = to_image(photograph);
    const images::image_16 dark_picture = dark ? to_image(*dark) : images::image_16();
    const calibration result = without_gil([&] {
        calibration_options options;
        options.bits = bits;
        options.black_level = dark ? std::optional(measure_black_level(dark_picture, bits)) : black_level;
        options.saturation = saturation;
        options.fit = white_preserving ? matrix_fit::white_preserving : matrix_fit::least_squares;
        options.reference = to_reference(reference_file, reference);
        options.description = description;
        options.tone_curve = curve.index() == 0 ? profile::tone_curve::named(std::get<0>(curve))
                                                : profile::tone_curve::from_table(std::get<1>(curve));
        options.output_depth = output_depth;
        chart_corners places{};
        std::ranges::transform(corners, places.begin(), [](const auto& place) { return point{place[0], place[1]}; });
        return calibrate(picture, places, options);
    });
    return {profile::to_json(result.profile), from_judgement(result.before), from_judgement(result.after),
            result.warnings, result.objections};
}

std::string report(const plain_judgement& before, const plain_judgement& after)
{
    return to_svg(to_judgement(before), to_judgement(after));
}

} // namespace

} // namespace kx::chart

// The arguments are checked by the package, which alone calls this.
PYBIND11_MODULE(_chart, module)
{
    module.def("calibrate", kx::chart::calibrate_array);
    module.def("report", kx::chart::report);
}
