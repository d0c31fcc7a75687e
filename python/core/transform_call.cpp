#include "transform_call.h"

#include "image_arrays.h"

#include <algorithm>

namespace kx::python {

namespace {

constexpr kc::per_channel<const char*> names("blue", "green", "red");

constexpr const char* capsule_name = "korvex_color.processor";

bool is_number(py::handle value)
{
    return PyLong_Check(value.ptr()) || (PyIndex_Check(value.ptr()) && !PySequence_Check(value.ptr()));
}

// The elements of a sequence; nothing for all that is none.
py::object elements_of(py::handle value)
{
    if (PySequence_Check(value.ptr()) == 0 || PyUnicode_Check(value.ptr())) {
        return {};
    }
    auto elements = py::reinterpret_steal<py::object>(PySequence_Fast(value.ptr(), ""));
    if (!elements) { // an array without dimensions
        PyErr_Clear();
    }
    return elements;
}

Py_ssize_t length_of(const py::object& elements)
{
    return elements ? PySequence_Fast_GET_SIZE(elements.ptr()) : 0;
}

// Of three elements: red, green, blue.
template <typename Value, typename Convert>
kc::per_channel<Value> each_channel(const py::object& elements, const Convert& convert)
{
    PyObject* const* const items = PySequence_Fast_ITEMS(elements.ptr());
    return {convert(items[2]), convert(items[1]), convert(items[0])};
}

[[noreturn]] void refuse_type(const char* name, const char* wanted, py::handle value)
{
    throw py::type_error(std::string(name) + " must be " + wanted + ", or three of these for red, green and blue, not "
                         + std::string(py::repr(value)));
}

kc::clamp_range to_range(py::handle value, const py::object& elements)
{
    if (length_of(elements) != 2) {
        refuse_type("clamp", "(minimum, maximum)", value);
    }
    const auto bound = [&](Py_ssize_t place) {
        return static_cast<std::uint16_t>(
            to_number(PySequence_Fast_GET_ITEM(elements.ptr(), place), "clamp", 0, 65535));
    };
    const kc::clamp_range range{bound(0), bound(1)};
    if (range.minimum > range.maximum) {
        throw py::value_error("clamp has its minimum above its maximum: " + std::string(py::repr(value)));
    }
    return range;
}

kc::per_channel<kc::clamp_range> to_clamp(py::handle value)
{
    const py::object elements = elements_of(value);
    if (length_of(elements) != 3) {
        return to_range(value, elements);
    }
    return each_channel<kc::clamp_range>(elements, [](py::handle one) { return to_range(one, elements_of(one)); });
}

kc::per_channel<std::int32_t> to_shift(py::handle value)
{
    const auto to_distance = [](py::handle one) {
        return to_number(one, "shift", KX_COLOR_MIN_SHIFT_DISTANCE, KX_COLOR_MAX_SHIFT_DISTANCE);
    };
    if (is_number(value)) {
        return to_distance(value);
    }
    const py::object elements = elements_of(value);
    if (length_of(elements) != 3) {
        refuse_type("shift", "a whole number", value);
    }
    return each_channel<std::int32_t>(elements, to_distance);
}

int to_choice(py::handle value, const char* name, int one, int other)
{
    const int number = to_number(value, name, 0, 65535);
    if (number != one && number != other) {
        throw py::value_error(std::string(name) + " must be " + std::to_string(one) + " or " + std::to_string(other)
                              + ", not " + std::to_string(number));
    }
    return number;
}

// Where an enabled output LUT ends before the largest value, the library would refuse: with a line in its log, and in
// the middle of a stack.
void check_clamps(const kc::processor& processor, const kc::transform_options& options)
{
    const std::size_t entries = std::size_t{1} << processor.options().output_LUT_bit_depth;
    for (const kc::channel which : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
        const std::uint16_t maximum = options.clamp[which].maximum;
        if (processor.output_LUTs_enabled()[which] && maximum >= entries && maximum != kc::no_limit) {
            throw py::value_error("clamp has a maximum of " + std::to_string(maximum) + ", beyond the " + names[which]
                                  + " output LUT, whose last entry is number " + std::to_string(entries - 1));
        }
    }
}

// Calls work(region) for parts of all that is to be converted, on threads and without the GIL. In between it lets
// Python see its signals, Ctrl-C among them.
template <typename Work>
void in_turns(const conversion& images, std::size_t threads, const Work& work)
{
    constexpr std::size_t most_pixels = 16'000'000; // of a turn and thread: some hundredths of a second
    image_region turn = images.everything();
    const std::size_t end = turn.rows;
    const std::size_t rows = std::max(threads * most_pixels / turn.columns, std::size_t{1});
    for (; turn.row < end; turn.row += rows) {
        if (turn.row > 0 && PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
        turn.rows = std::min(rows, end - turn.row);
        without_gil([&] {
            const std::size_t count = kc::detail::useful_threads(turn.rows * turn.columns, threads);
            kc::detail::run_on_threads(count, [&](std::size_t index) { work(turn.part(index, count)); });
        });
    }
}

void convert(const shared_processor& shared, const image_arrays& arrays, const kc::transform_options& options,
             std::size_t threads)
{
    const shared_processor::unchanged held(shared);
    const kc::processor& processor = held.processor();
    check_clamps(processor, options);
    const conversion& images = arrays.images;
    if (images.pixels() == 0) {
        return;
    }
    const auto& [blue, green, red] = processor.input_LUTs_enabled();
    const std::size_t entries = std::size_t{1} << processor.options().input_LUT_bit_depth;
    if ((blue || green || red) && entries <= 65535) {
        try {
            in_turns(images, threads, [&](const image_region& part) { images.check(processor, part); });
        } catch (const sample_beyond_LUT& beyond) {
            throw py::value_error(describe(beyond, arrays, entries));
        }
    }
    in_turns(images, threads, [&](const image_region& part) { images.convert(processor, part, options); });
}

} // namespace

py::capsule to_capsule(std::unique_ptr<shared_processor> processor)
{
    const auto destroy = [](PyObject* capsule) {
        delete static_cast<shared_processor*>(PyCapsule_GetPointer(capsule, capsule_name));
    };
    return py::capsule(processor.release(), capsule_name, destroy);
}

shared_processor& from_capsule(py::handle capsule)
{
    if (PyCapsule_IsValid(capsule.ptr(), capsule_name) == 0) {
        throw py::type_error("a processor is needed");
    }
    return *static_cast<shared_processor*>(PyCapsule_GetPointer(capsule.ptr(), capsule_name));
}

int to_number(py::handle value, const char* name, int least, int most)
{
    if (!is_number(value)) {
        throw py::type_error(std::string(name) + " must be a whole number, not " + std::string(py::repr(value)));
    }
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (number == -1 && PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    if (overflow != 0 || number < least || number > most) {
        throw py::value_error(std::string(name) + " must be from " + std::to_string(least) + " to "
                              + std::to_string(most) + ", not " + std::string(py::str(value)));
    }
    return static_cast<int>(number);
}

py::array transform(const py::args& arguments)
{
    if (arguments.size() != 12) {
        throw py::type_error("transform takes 12 arguments");
    }
    const auto argument = [&](std::size_t place) { return py::handle(arguments[place]); };
    const shared_processor& processor = from_capsule(argument(0));
    kc::transform_options options = processor.options();
    if (!argument(4).is_none()) {
        options.clamp = to_clamp(argument(4));
    }
    if (!argument(5).is_none()) {
        options.shift = to_shift(argument(5));
    }
    constexpr int most_threads = 1024;
    const int threads = to_number(argument(7), "threads", 0, most_threads);
    image_arrays arrays = to_images({argument(1), argument(6), argument(8), argument(9), argument(10), argument(11)},
                                    to_choice(argument(2), "depth", 8, 16), to_choice(argument(3), "channels", 3, 4));
    convert(processor, arrays, options,
            threads != 0 ? static_cast<std::size_t>(threads) : std::thread::hardware_concurrency());
    return std::move(arrays.output);
}

} // namespace kx::python
