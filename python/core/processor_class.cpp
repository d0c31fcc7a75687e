#include "call_arguments.h"
#include "classes.h"
#include "docstrings.h"
#include "transform_call.h"
#include "without_gil.h"

#include <cmath>
#include <optional>

namespace kx::python {

namespace {

// Python's Processor.
class processor_object {
public:
    explicit processor_object(const kc::processor_options& options)
    {
        without_gil([&] { shared_ = std::make_shared<shared_processor>(kc::processor(loaded_library(), options)); });
    }

    // A share for as long as it is used: another thread may close it meanwhile. Throws error when it is closed.
    [[nodiscard]] std::shared_ptr<shared_processor> shared() const
    {
        if (shared_ == nullptr) {
            throw kc::error(KX_COLOR_NULL_PROCESSOR, "the processor is closed");
        }
        return shared_;
    }

    [[nodiscard]] bool is_closed() const { return shared_ == nullptr; }

    void close()
    {
        if (shared_ != nullptr) {
            shared_->closed = true;
            shared_.reset(); // running transforms and views of LUTs have their own share
        }
    }

private:
    std::shared_ptr<shared_processor> shared_;
};

// The input or output LUTs of a processor.
struct LUTs_object {
    std::shared_ptr<shared_processor> shared;
    bool of_input;

    // The entries as an array, which keeps them.
    [[nodiscard]] py::array entries(kc::channel which) const
    {
        const kc::LUT_range range = shared->LUT(of_input, which);
        const py::capsule owner(new std::shared_ptr<shared_processor>(shared),
                                [](void* share) { delete static_cast<std::shared_ptr<shared_processor>*>(share); });
        return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(range.size()), range.data(), owner);
    }

    [[nodiscard]] py::object enabled() const
    {
        kc::per_channel<bool> flags;
        without_gil([&] {
            const auto held = shared->unchanged();
            flags = shared->enabled(of_input);
        });
        return to_python(flags);
    }

    void enable(py::handle value) const
    {
        if (shared->closed) {
            throw kc::error(KX_COLOR_NULL_PROCESSOR, "the processor is closed");
        }
        const auto flags = to_switches(value, "enabled");
        without_gil([&] { shared->enable_LUTs(of_input, flags); });
    }
};

std::optional<std::int32_t> to_level(py::handle value)
{
    if (value.is_none()) {
        return {};
    }
    const char* const names[] = {"scalar", "sse", "avx2"};
    for (std::int32_t level = 0; level < 3; ++level) {
        if (PyUnicode_Check(value.ptr()) && PyUnicode_CompareWithASCIIString(value.ptr(), names[level]) == 0) {
            return level;
        }
    }
    const std::string message = "vector_level must be None, 'scalar', 'sse' or 'avx2', not ";
    if (!PyUnicode_Check(value.ptr())) {
        throw py::type_error(message + std::string(py::repr(value)));
    }
    throw py::value_error(message + std::string(py::repr(value)));
}

kc::matrix to_matrix(py::handle values)
{
    const auto given = py::array::ensure(values);
    if (!given || std::string("biuf").find(given.dtype().kind()) == std::string::npos) {
        PyErr_Clear();
        throw py::type_error("matrix must be 3 x 3 real numbers");
    }
    if (given.ndim() != 2 || given.shape(0) != 3 || given.shape(1) != 3) {
        throw py::value_error("matrix has the shape " + std::string(py::str(given.attr("shape")))
                              + "; it must be (3, 3)");
    }
    const py::array_t<double, py::array::c_style | py::array::forcecast> numbers(given);
    kc::matrix matrix{};
    for (py::ssize_t place = 0; place < 9; ++place) {
        const auto number = static_cast<float>(numbers.at(place / 3, place % 3));
        if (!std::isfinite(number)) {
            throw py::value_error("matrix has an element that is no single-precision number");
        }
        matrix.at(static_cast<std::size_t>(place)) = number;
    }
    return matrix;
}

void change_matrix(const processor_object& self, bool anew, const std::optional<kc::matrix>& appended)
{
    const auto shared = self.shared();
    without_gil([&] {
        shared->change([&](kc::processor& processor) {
            if (anew) {
                processor.clear_matrix();
            }
            if (appended) {
                processor.append_matrix(*appended);
            }
        });
    });
}

PyObject* transform(PyObject* self, PyObject* const* arguments, Py_ssize_t by_place, PyObject* keywords)
{
    return returned_to_python([&] {
        static const argument_names<11> names("transform", {"frame", "depth", "channels", "clamp", "shift", "out",
                                                            "threads", "layout", "order", "out_layout", "out_order"});
        const auto [frame, depth, channels, clamp, shift, out, threads, layout, order, out_layout, out_order] =
            names.bind(arguments, by_place, keywords);
        const auto shared = py::cast<const processor_object&>(py::handle(self)).shared();
        const auto options = to_options(clamp, shift);
        const auto arrays = to_images({frame, out, layout, order, out_layout, out_order},
                                      to_choice(depth, "depth", 8, 16, 16), to_choice(channels, "channels", 3, 4, 3));
        return run_transform(*shared, arrays, options, threads);
    });
}

} // namespace

void add_processor_class(py::module_& module)
{
    using namespace py::literals;

    py::class_<LUTs_object>(module, "LUTs", LUTs_documentation)
        .def_property_readonly("red", [](const LUTs_object& self) { return self.entries(kc::channel::red); })
        .def_property_readonly("green", [](const LUTs_object& self) { return self.entries(kc::channel::green); })
        .def_property_readonly("blue", [](const LUTs_object& self) { return self.entries(kc::channel::blue); })
        .def_property("enabled", &LUTs_object::enabled, &LUTs_object::enable);

    const auto type =
        py::class_<processor_object>(module, "Processor", processor_documentation)
            .def(
                py::init([](const py::object& input_bits, const py::object& output_bits, const py::object& level) {
                    return std::make_unique<processor_object>(kc::processor_options{
                        to_number(input_bits, "input_lut_bits", KX_COLOR_MIN_LUT_BIT_DEPTH, KX_COLOR_MAX_LUT_BIT_DEPTH),
                        to_number(output_bits, "output_lut_bits", KX_COLOR_MIN_LUT_BIT_DEPTH,
                                  KX_COLOR_MAX_LUT_BIT_DEPTH),
                        to_level(level)});
                }),
                "input_lut_bits"_a = 16, "output_lut_bits"_a = 16, "vector_level"_a = py::none())
            .def(
                "append_matrix",
                [](const processor_object& self, const py::object& matrix) {
                    change_matrix(self, false, to_matrix(matrix));
                },
                "matrix"_a, append_matrix_documentation)
            .def(
                "set_matrix",
                [](const processor_object& self, const py::object& matrix) {
                    change_matrix(self, true, to_matrix(matrix));
                },
                "matrix"_a, set_matrix_documentation)
            .def(
                "clear_matrix", [](const processor_object& self) { change_matrix(self, true, {}); },
                clear_matrix_documentation)
            .def_property_readonly("input_luts",
                                   [](const processor_object& self) {
                                       return LUTs_object{self.shared(), true};
                                   })
            .def_property_readonly("output_luts",
                                   [](const processor_object& self) {
                                       return LUTs_object{self.shared(), false};
                                   })
            .def_property_readonly("closed", &processor_object::is_closed)
            .def("close", &processor_object::close, close_documentation)
            .def("__enter__",
                 [](py::object self) {
                     static_cast<void>(self.cast<const processor_object&>().shared());
                     return self;
                 })
            .def("__exit__", [](processor_object& self, const py::args&) { self.close(); });
    add_fast_method(type, "transform", transform,
                    {transform_documentation, images_documentation, closed_documentation, strides_documentation});

    module.def("_processors_alive", [] { return shared_processor::alive(); });
}

} // namespace kx::python
