#include "image_arrays.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>
#include <vector>

namespace kx::python {

namespace {

bool is_text(py::handle value, const char* text)
{
    return PyUnicode_Check(value.ptr()) && PyUnicode_CompareWithASCIIString(value.ptr(), text) == 0;
}

std::string text_of(py::handle value)
{
    return py::str(value);
}

// Whether it is the first word; false for the second, and for None the default.
bool chosen(py::handle value, const char* name, const char* first, const char* second, bool otherwise)
{
    if (value.is_none()) {
        return otherwise;
    }
    if (is_text(value, first) || is_text(value, second)) {
        return is_text(value, first);
    }
    const std::string message =
        std::string(name) + " must be '" + first + "' or '" + second + "', not " + std::string(py::repr(value));
    if (!PyUnicode_Check(value.ptr())) {
        throw py::type_error(message);
    }
    throw py::value_error(message);
}

struct arrangement {
    bool planar;
    kc::channel_order order;

    // Where a dimension is, of so many.
    [[nodiscard]] std::size_t channel(std::size_t dimensions) const { return dimensions - (planar ? 3 : 1); }
    [[nodiscard]] std::size_t row(std::size_t dimensions) const { return dimensions - (planar ? 2 : 3); }
    [[nodiscard]] std::size_t column(std::size_t dimensions) const { return dimensions - (planar ? 1 : 2); }
};

// What was not said is as in `like`, but for the order where layouts differ.
arrangement to_arrangement(py::handle layout, py::handle order, const char* layout_name, const char* order_name,
                           const std::optional<arrangement>& like = {})
{
    const bool planar = chosen(layout, layout_name, "planar", "interleaved", like && like->planar);
    const bool by_default = like && like->planar == planar ? like->order == kc::channel_order::bgr : planar;
    const bool blue_first = chosen(order, order_name, "bgr", "rgb", by_default);
    return {planar, blue_first ? kc::channel_order::bgr : kc::channel_order::rgb};
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
    const char swapped = std::endian::native == std::endian::little ? '>' : '<';
    if (type->type_num != number || type->byteorder == swapped) {
        throw py::type_error(std::string(name) + " has samples of " + text_of(array.dtype()) + "; they must be "
                             + wanted + " in this machine's byte order");
    }
    if (!Py_IS_TYPE(argument.ptr(), py::detail::npy_api::get().PyArray_Type_)
        && py::isinstance(argument, py::module_::import("numpy.ma").attr("MaskedArray"))) {
        throw py::type_error(std::string(name)
                             + " is a masked array, whose mask would be lost: give its filled() or its data");
    }
    return array;
}

std::string shape_text(const py::array& array)
{
    return text_of(array.attr("shape"));
}

sample_places to_places(const py::array& array, const arrangement& how, int channels)
{
    const auto count = static_cast<std::size_t>(array.ndim());
    const py::ssize_t* const strides = array.strides();
    sample_places places{.data = static_cast<std::byte*>(const_cast<void*>(array.data())),
                         .order = how.order,
                         .channels = channels,
                         .sample_bytes = static_cast<std::size_t>(array.itemsize()),
                         .strides = {strides[how.row(count)], strides[how.column(count)], strides[how.channel(count)]}};
    std::copy_n(strides, count - 3, places.leading.begin());
    return places;
}

// Whether an element may lie where another one lies: as one can tell from strides that nest.
bool may_overlap_itself(const py::array& array)
{
    std::vector<kc::detail::extent> dimensions;
    for (py::ssize_t dimension = 0; dimension < array.ndim(); ++dimension) {
        dimensions.push_back(
            {kc::detail::distance(array.strides(dimension)), static_cast<std::size_t>(array.shape(dimension))});
    }
    return !kc::detail::are_apart(dimensions, static_cast<std::size_t>(array.itemsize()));
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

bool share_samples(const py::array& one, const py::array& other)
{
    const auto [first, end] = extent_of(one);
    const auto [other_first, other_end] = extent_of(other);
    if (end <= other_first || other_end <= first) {
        return false;
    }
    try {
        constexpr int most_work = 1'000'000;
        return py::module_::import("numpy").attr("shares_memory")(one, other, most_work).cast<bool>();
    } catch (const py::error_already_set&) { // too hard to tell
        return true;
    }
}

std::vector<py::ssize_t> output_shape(const py::array& input, const arrangement& from, const arrangement& to,
                                      int channels)
{
    const auto count = static_cast<std::size_t>(input.ndim());
    std::vector<py::ssize_t> shape(input.shape(), input.shape() + count);
    shape[to.channel(count)] = channels;
    shape[to.row(count)] = input.shape()[from.row(count)];
    shape[to.column(count)] = input.shape()[from.column(count)];
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
    const arrangement from = to_arrangement(arguments.layout, arguments.order, "layout", "order");
    const arrangement to = to_arrangement(arguments.out_layout, arguments.out_order, "out_layout", "out_order", from);
    py::array input = to_array(arguments.image, "image", 16);
    const auto count = static_cast<std::size_t>(input.ndim());
    if (count < 3 || input.shape()[from.channel(count)] != 3) {
        throw py::value_error(
            "image has the shape " + shape_text(input) + "; it must be "
            + (from.planar ? "(..., 3, height, width) with layout='planar'" : "(..., height, width, 3)"));
    }
    const std::vector<py::ssize_t> shape = output_shape(input, from, to, channels);
    py::array output;
    if (!arguments.out.is_none()) {
        output = to_array(arguments.out, "out", depth);
        check_output(output, shape);
        if (output.size() > 0 && share_samples(input, output)) {
            throw py::value_error("out overlaps image");
        }
    } else {
        output = py::array(depth == 8 ? py::dtype::of<std::uint8_t>() : py::dtype::of<std::uint16_t>(), shape);
    }

    conversion images;
    images.leading_dimensions = count - 3;
    std::copy_n(shape.begin(), images.leading_dimensions, images.counts.begin());
    const std::array size{shape[to.row(count)], shape[to.column(count)]};
    std::tie(images.height, images.width) = std::tuple(size[0], size[1]);
    images.input = to_places(input, from, 3);
    images.output = to_places(output, to, channels);
    images.simplify();
    return {std::move(input), std::move(output), images, from.planar, size};
}

std::string describe(const sample_beyond_LUT& beyond, const image_arrays& arrays, std::size_t entries)
{
    const auto& [x, y, channel, value] = beyond.sample;
    const auto count = static_cast<std::size_t>(arrays.input.ndim());
    const arrangement how{arrays.planar, arrays.images.input.order};
    const auto place = static_cast<py::ssize_t>(channel);
    std::vector<py::ssize_t> index(count);
    index[how.channel(count)] = how.order == kc::channel_order::bgr ? place : 2 - place;
    index[how.column(count)] = static_cast<py::ssize_t>(x);
    auto row = static_cast<py::ssize_t>(beyond.row);
    index[how.row(count)] = row % arrays.size[0];
    row /= arrays.size[0];
    for (std::size_t dimension = count - 3; dimension-- > 0; row /= arrays.input.shape()[dimension]) {
        index[dimension] = row % arrays.input.shape()[dimension];
    }
    return "image" + text_of(py::list(py::cast(index))) + " is " + std::to_string(value) + ", beyond the "
           + kc::per_channel<const char*>("blue", "green", "red")[channel] + " input LUT, whose last entry is number "
           + std::to_string(entries - 1);
}

} // namespace kx::python
