#include "transform_call.h"

#include "without_gil.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace kx::python {

namespace {

constexpr std::size_t fewest_pixels = 16384; // for a thread: starting one takes as long as converting some thousand

constexpr kc::channel channels[] = {kc::channel::blue, kc::channel::green, kc::channel::red};

// The class, and the names of its members in the order of `channels`.
struct per_channel_class {
    py::handle type = py::object(py::module_::import("korvex_color._types").attr("PerChannel")).release();
    py::handle names[3] = {PyUnicode_InternFromString("blue"), PyUnicode_InternFromString("green"),
                           PyUnicode_InternFromString("red")};

    static const per_channel_class& imported()
    {
        static const per_channel_class only; // for good
        return only;
    }
};

// One value for all channels, or Python's PerChannel.
template <typename Value, typename Convert>
kc::per_channel<Value> each_channel(py::handle value, const Convert& convert)
{
    const auto& [type, names] = per_channel_class::imported();
    if (!Py_IS_TYPE(value.ptr(), reinterpret_cast<PyTypeObject*>(type.ptr()))) {
        return convert(value);
    }
    kc::per_channel<Value> values;
    for (const kc::channel which : channels) {
        values[which] = convert(py::getattr(value, names[static_cast<std::size_t>(which)]));
    }
    return values;
}

// Where an enabled output LUT ends before the largest value, the library would refuse: with a line in its log, and in
// the middle of a stack.
void check_clamps(const shared_processor& processor, const kc::transform_options& options)
{
    const std::size_t entries = processor.LUT_entries(false);
    for (const kc::channel which : channels) {
        const std::uint16_t maximum = options.clamp[which].maximum;
        if (processor.enabled(false)[which] && maximum >= entries && maximum != kc::no_limit) {
            throw std::invalid_argument("clamp has a maximum of " + std::to_string(maximum) + ", beyond the "
                                        + kc::per_channel<const char*>("blue", "green", "red")[which]
                                        + " output LUT, whose last entry is number " + std::to_string(entries - 1));
        }
    }
}

// Calls work(first row, number of rows) for bands of all rows, each on a thread of its own.
template <typename Work>
void in_bands(std::size_t rows, std::size_t bands, const Work& work)
{
    std::vector<std::exception_ptr> failures(bands > 1 ? bands : 0);
    const auto run_band = [&](std::size_t band) {
        const std::size_t first = rows / bands * band + std::min(band, rows % bands);
        work(first, rows / bands + (band < rows % bands ? 1 : 0));
    };
    if (bands == 1) {
        run_band(0);
        return;
    }
    const auto run = [&](std::size_t band) {
        try {
            run_band(band);
        } catch (...) {
            failures[band] = std::current_exception(); // no exception may leave a thread
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t band = 1; band < bands; ++band) {
            try {
                threads.emplace_back(run, band);
            } catch (const std::system_error&) { // the system has no more threads
                run(band);
            }
        }
        run(0);
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

// Of an enabled input LUT.
struct sample_beyond_LUT {
    kc::per_channel<bool> enabled;
};

// Without the GIL.
void convert(const shared_processor& processor, const conversion& images, const kc::transform_options& options,
             std::size_t bands)
{
    const auto held = processor.unchanged();
    check_clamps(processor, options);
    const std::size_t rows = images.rows();
    if (images.pixels() == 0) {
        return;
    }
    bands = std::clamp(std::min(bands, images.pixels() / fewest_pixels), std::size_t{1}, rows);
    const kc::per_channel<bool>& enabled = processor.enabled(true);
    if ((enabled.blue || enabled.green || enabled.red) && processor.LUT_entries(true) <= 65535) {
        try {
            in_bands(rows, bands, [&](std::size_t first, std::size_t count) {
                check_rows(processor.native(), images, first, count);
            });
        } catch (const std::invalid_argument&) {
            throw sample_beyond_LUT{enabled};
        }
    }
    in_bands(rows, bands, [&](std::size_t first, std::size_t count) {
        convert_rows(processor.native(), images, first, count, options);
    });
}

} // namespace

void import_per_channel()
{
    static_cast<void>(per_channel_class::imported());
}

int to_number(py::handle value, const char* name, int least, int most)
{
    if (PyIndex_Check(value.ptr()) == 0) {
        throw py::type_error(std::string(name) + " must be a whole number, not " + Py_TYPE(value.ptr())->tp_name);
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

int to_choice(py::handle value, const char* name, int one, int other, int otherwise)
{
    const int number = value ? to_number(value, name, one, other) : otherwise;
    if (number != one && number != other) {
        throw py::value_error(std::string(name) + " must be " + std::to_string(one) + " or " + std::to_string(other)
                              + ", not " + std::to_string(number));
    }
    return number;
}

kc::per_channel<bool> to_switches(py::handle value, const char* name)
{
    return each_channel<bool>(value, [name](py::handle one) {
        if (!PyBool_Check(one.ptr()) && std::string(Py_TYPE(one.ptr())->tp_name) != "numpy.bool_") {
            throw py::type_error(std::string(name) + " must be True, False or PerChannel of these, not "
                                 + Py_TYPE(one.ptr())->tp_name);
        }
        return PyObject_IsTrue(one.ptr()) == 1;
    });
}

kc::transform_options to_options(py::handle clamp, py::handle shift)
{
    kc::transform_options options;
    if (is_given(clamp)) {
        options.clamp = each_channel<kc::clamp_range>(clamp, [](py::handle range) {
            if ((!PyTuple_Check(range.ptr()) && !PyList_Check(range.ptr())) || py::len(range) != 2) {
                throw py::type_error("clamp must be (minimum, maximum) or PerChannel of these, not "
                                     + std::string(py::repr(range)));
            }
            const auto bound = [range](py::ssize_t place) {
                return static_cast<std::uint16_t>(to_number(
                    py::reinterpret_borrow<py::sequence>(range)[static_cast<std::size_t>(place)], "clamp", 0, 65535));
            };
            const kc::clamp_range bounds{bound(0), bound(1)};
            if (bounds.minimum > bounds.maximum) {
                throw py::value_error("clamp has its minimum above its maximum: " + std::string(py::repr(range)));
            }
            return bounds;
        });
    }
    if (is_given(shift)) {
        options.shift = each_channel<std::int32_t>(shift, [](py::handle distance) {
            return to_number(distance, "shift", KX_COLOR_MIN_SHIFT_DISTANCE, KX_COLOR_MAX_SHIFT_DISTANCE);
        });
    }
    return options;
}

py::object to_python(const kc::per_channel<bool>& values)
{
    using namespace py::literals;
    return per_channel_class::imported().type("red"_a = values.red, "green"_a = values.green, "blue"_a = values.blue);
}

py::object run_transform(const shared_processor& processor, const image_arrays& arrays,
                         const kc::transform_options& options, py::handle threads)
{
    constexpr int most_threads = 1024;
    const int wanted = threads ? to_number(threads, "threads", 0, most_threads) : 1;
    const std::size_t bands = wanted != 0 ? static_cast<std::size_t>(wanted) : std::thread::hardware_concurrency();
    try {
        without_gil([&] { convert(processor, arrays.images, options, bands); });
    } catch (const sample_beyond_LUT& beyond) {
        throw py::value_error(describe_sample_beyond(arrays.input, arrays.images.input.layout, beyond.enabled,
                                                     processor.LUT_entries(true)));
    }
    return arrays.output;
}

} // namespace kx::python
