#include "image_arrays.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace kx::python {

namespace {

using kc::pixel_layout;

bool is_text(py::handle value, const char* text)
{
    return PyUnicode_Check(value.ptr()) && PyUnicode_CompareWithASCIIString(value.ptr(), text) == 0;
}

std::string text_of(py::handle value)
{
    return py::str(value);
}

// Whether it is the first word; false for the second, and for nothing the default.
bool chosen(py::handle value, const char* name, const char* first, const char* second, bool otherwise)
{
    if (!is_given(value)) {
        return otherwise;
    }
    if (is_text(value, first) || is_text(value, second)) {
        return is_text(value, first);
    }
    const std::string expected = std::string(name) + " must be '" + first + "' or '" + second + "', not ";
    if (!PyUnicode_Check(value.ptr())) {
        throw py::type_error(expected + std::string(py::repr(value)));
    }
    throw py::value_error(expected + std::string(py::repr(value)));
}

// `like` has the defaults where layouts are the same.
pixel_layout to_layout(py::handle layout, py::handle order, const char* layout_name, const char* order_name,
                       std::optional<pixel_layout> like)
{
    const bool planar = chosen(layout, layout_name, "planar", "interleaved", like == pixel_layout::planar_bgr);
    const bool blue_first = chosen(order, order_name, "bgr", "rgb", planar || like == pixel_layout::interleaved_bgr);
    if (planar && !blue_first) {
        throw py::value_error(std::string(order_name) + " cannot be 'rgb' where " + layout_name
                              + " is 'planar': planes are blue, green, red");
    }
    return planar       ? pixel_layout::planar_bgr
           : blue_first ? pixel_layout::interleaved_bgr
                        : pixel_layout::interleaved_rgb;
}

// An array of unsigned samples of 8 or 16 bits.
py::array to_array(py::handle argument, const char* name, int depth)
{
    const std::string wanted = depth == 8 ? "uint8" : "uint16";
    if (!py::isinstance<py::array>(argument)) {
        throw py::type_error(std::string(name) + " must be a NumPy array of " + wanted + ", not "
                             + Py_TYPE(argument.ptr())->tp_name);
    }
    auto array = py::reinterpret_borrow<py::array>(argument);
    const auto* const type = py::detail::array_descriptor_proxy(py::detail::array_proxy(array.ptr())->descr);
    const int number = depth == 8 ? py::detail::npy_api::NPY_UBYTE_ : py::detail::npy_api::NPY_USHORT_;
    if (type->type_num != number || (type->byteorder != '=' && type->byteorder != '|')) {
        throw py::type_error(std::string(name) + " has samples of " + text_of(array.dtype()) + "; they must be "
                             + wanted + " in this machine's byte order");
    }
    return array;
}

std::string shape_text(const py::array& array)
{
    return text_of(array.attr("shape"));
}

// Where the last three dimensions of an array are.
struct dimensions {
    std::size_t channel;
    std::size_t row;
    std::size_t column;
};

dimensions dimensions_of(std::size_t count, pixel_layout layout)
{
    return layout == pixel_layout::planar_bgr ? dimensions{count - 3, count - 2, count - 1}
                                              : dimensions{count - 1, count - 3, count - 2};
}

sample_places to_places(const py::array& array, const void* data, pixel_layout layout, int channels)
{
    const auto count = static_cast<std::size_t>(array.ndim());
    const auto [channel, row, column] = dimensions_of(count, layout);
    const py::ssize_t* const strides = array.strides();
    sample_places places{.data = static_cast<std::byte*>(const_cast<void*>(data)),
                         .layout = layout,
                         .channels = channels,
                         .sample_bytes = array.itemsize(),
                         .row = strides[row],
                         .column = strides[column],
                         .channel = strides[channel]};
    std::copy_n(strides, count - 3, places.leading.begin());
    return places;
}

// From the lowest address to behind the highest; the same for an array without elements.
std::pair<std::uintptr_t, std::uintptr_t> extent_of(const py::array& array)
{
    auto first = reinterpret_cast<std::uintptr_t>(array.data());
    auto last = first;
    for (py::ssize_t dimension = 0; dimension < array.ndim(); ++dimension) {
        const py::ssize_t reach = (array.shape(dimension) - 1) * array.strides(dimension);
        (reach < 0 ? first : last) += static_cast<std::uintptr_t>(reach);
    }
    return {first, last + static_cast<std::uintptr_t>(array.itemsize())};
}

// Whether an element may lie where another one lies: as one can tell from strides that nest.
bool may_overlap_itself(const py::array& array)
{
    std::array<std::pair<py::ssize_t, py::ssize_t>, most_dimensions> steps; // stride and count
    std::size_t count = 0;
    for (py::ssize_t dimension = 0; dimension < array.ndim(); ++dimension) {
        if (array.shape(dimension) > 1) {
            steps.at(count++) = {std::abs(array.strides(dimension)), array.shape(dimension)};
        }
    }
    std::sort(steps.begin(), steps.begin() + count);
    py::ssize_t reach = array.itemsize();
    for (std::size_t step = 0; step < count; ++step) {
        if (steps[step].first < reach) {
            return true;
        }
        reach += steps[step].first * (steps[step].second - 1);
    }
    return false;
}

bool share_samples(const py::array& one, const py::array& other)
{
    try {
        constexpr int most_work = 1'000'000;
        return py::module_::import("numpy").attr("shares_memory")(one, other, most_work).cast<bool>();
    } catch (const py::error_already_set&) { // too hard to tell
        return true;
    }
}

std::vector<py::ssize_t> output_shape(const py::array& input, pixel_layout from, pixel_layout to, int channels)
{
    const auto count = static_cast<std::size_t>(input.ndim());
    std::vector<py::ssize_t> shape(input.shape(), input.shape() + count);
    const dimensions old = dimensions_of(count, from);
    const dimensions places = dimensions_of(count, to);
    shape[places.channel] = channels;
    shape[places.row] = input.shape(static_cast<py::ssize_t>(old.row));
    shape[places.column] = input.shape(static_cast<py::ssize_t>(old.column));
    return shape;
}

// Throws unless the array can be written as this output.
void check_output(const py::array& output, const std::vector<py::ssize_t>& shape)
{
    if (!std::equal(shape.begin(), shape.end(), output.shape(), output.shape() + output.ndim())) {
        throw py::value_error("out has the shape " + shape_text(output) + "; it must be "
                              + text_of(py::tuple(py::cast(shape))));
    }
    if (!output.writeable()) {
        throw py::value_error("out is read-only");
    }
    if (may_overlap_itself(output)) {
        throw py::value_error("out has elements that overlap each other");
    }
}

} // namespace

image_arrays to_images(const image_arguments& arguments, int depth, int channels)
{
    const pixel_layout from = to_layout(arguments.layout, arguments.order, "layout", "order", {});
    const pixel_layout to = to_layout(arguments.out_layout, arguments.out_order, "out_layout", "out_order", from);
    py::array input = to_array(arguments.frame, "frame", 16);
    const auto count = static_cast<std::size_t>(input.ndim());
    if (count < 3 || input.shape(static_cast<py::ssize_t>(dimensions_of(count, from).channel)) != 3) {
        throw py::value_error("frame has the shape " + shape_text(input) + "; it must be "
                              + (from == pixel_layout::planar_bgr ? "(..., 3, height, width) with layout='planar'"
                                                                  : "(..., height, width, 3)"));
    }
    const std::vector<py::ssize_t> shape = output_shape(input, from, to, channels);
    py::array output;
    if (is_given(arguments.out)) {
        output = to_array(arguments.out, "out", depth);
        check_output(output, shape);
    } else {
        output = py::array(depth == 8 ? py::dtype::of<std::uint8_t>() : py::dtype::of<std::uint16_t>(), shape);
    }

    conversion images;
    images.leading_dimensions = count - 3;
    std::copy_n(shape.begin(), images.leading_dimensions, images.counts.begin());
    images.height = shape[dimensions_of(count, to).row];
    images.width = shape[dimensions_of(count, to).column];
    images.input = to_places(input, input.data(), from, 3);
    images.output = to_places(output, output.data(), to, channels);
    if (images.pixels() > 0 && is_given(arguments.out)) {
        const auto [input_first, input_end] = extent_of(input);
        const auto [output_first, output_end] = extent_of(output);
        images.crossing = input_first < output_end && output_first < input_end;
        if (images.crossing && share_samples(input, output)) {
            throw py::value_error("out overlaps frame");
        }
    }
    images.simplify();
    return {std::move(input), std::move(output), images};
}

std::string describe_sample_beyond(const py::array& frame, pixel_layout layout, const kc::per_channel<bool>& enabled,
                                   std::size_t entries)
{
    const auto count = static_cast<std::size_t>(frame.ndim());
    const std::size_t channel_dimension = dimensions_of(count, layout).channel;
    const auto channel_at = [layout](py::ssize_t place) {
        return static_cast<kc::channel>(layout == pixel_layout::interleaved_rgb ? 2 - place : place);
    };
    std::vector<py::ssize_t> index(count);
    for (py::ssize_t number = 0; number < frame.size(); ++number) {
        py::ssize_t rest = number;
        const auto* sample = static_cast<const char*>(frame.data());
        for (std::size_t dimension = count; dimension-- > 0;) {
            index[dimension] = rest % frame.shape(static_cast<py::ssize_t>(dimension));
            rest /= frame.shape(static_cast<py::ssize_t>(dimension));
            sample += index[dimension] * frame.strides(static_cast<py::ssize_t>(dimension));
        }
        const kc::channel which = channel_at(index[channel_dimension]);
        std::uint16_t value = 0;
        std::memcpy(&value, sample, sizeof value);
        if (enabled[which] && value >= entries) {
            return "frame" + text_of(py::list(py::cast(index))) + " is " + std::to_string(value) + ", beyond the "
                   + kc::per_channel<const char*>("blue", "green", "red")[which]
                   + " input LUT, whose last entry is number " + std::to_string(entries - 1);
        }
    }
    return "frame has a sample beyond its input LUT";
}

} // namespace kx::python
