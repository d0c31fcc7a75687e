// The module korvex_color._core: what the package's Python calls, with arguments by place.
#include "transform_call.h"

#include "profile/camera_profile.h"
#include "profile/processor_setup.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <optional>
#include <string>
#include <tuple>

namespace kx::python {

namespace {

py::object exception_class(const char* name)
{
    return py::module_::import("korvex_color._types").attr(name);
}

// What pybind11 does not know how to translate.
void translate(std::exception_ptr thrown)
{
    try {
        std::rethrow_exception(std::move(thrown));
    } catch (const kc::error& error) {
        const py::object type = exception_class("Error");
        PyErr_SetObject(type.ptr(), type(error.what(), error.code()).ptr());
    } catch (const profile::profile_error& error) {
        const py::object type = exception_class("ProfileError");
        PyErr_SetObject(type.ptr(), type(error.what(), error.path()).ptr());
    }
}

py::capsule create_processor(py::handle input_bits, py::handle output_bits, std::optional<std::int32_t> level)
{
    const kc::processor_options options{
        to_number(input_bits, "input_lut_bits", KX_COLOR_MIN_LUT_BIT_DEPTH, KX_COLOR_MAX_LUT_BIT_DEPTH),
        to_number(output_bits, "output_lut_bits", KX_COLOR_MIN_LUT_BIT_DEPTH, KX_COLOR_MAX_LUT_BIT_DEPTH), level};
    std::unique_ptr<shared_processor> made;
    without_gil([&] { made = std::make_unique<shared_processor>(kc::processor(loaded_library(), options)); });
    return to_capsule(std::move(made));
}

py::capsule create_profile_processor(const std::string& json)
{
    std::unique_ptr<shared_processor> made;
    without_gil([&] {
        const auto settings = profile::make_settings(profile::from_json(json));
        made = std::make_unique<shared_processor>(profile::make_processor(loaded_library(), settings),
                                                  profile::transform_options_of(settings));
    });
    return to_capsule(std::move(made));
}

// The entries of a LUT as an array, which keeps the processor.
py::array LUT(const py::object& capsule, bool of_input, int channel)
{
    const kc::LUT_range range = from_capsule(capsule).LUT(of_input, static_cast<kc::channel>(channel));
    return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(range.size()), range.data(), capsule);
}

std::tuple<bool, bool, bool> enabled(py::handle capsule, bool of_input)
{
    const shared_processor::unchanged held(from_capsule(capsule));
    const kc::processor& processor = held.processor();
    const auto& flags = of_input ? processor.input_LUTs_enabled() : processor.output_LUTs_enabled();
    return {flags.red, flags.green, flags.blue};
}

void fill(py::module_& module)
{
    py::register_exception_translator(translate);
    running_work::wait_at_exit();
    shared_processor::watch_forks();

    module.def("transform", transform);
    module.def("create_processor", create_processor);
    module.def("change_matrix", [](py::handle processor, bool anew, const std::optional<kc::matrix>& appended) {
        from_capsule(processor).change_matrix(anew, appended ? &*appended : nullptr);
    });
    module.def("matrix",
               [](py::handle processor) { return shared_processor::unchanged(from_capsule(processor)).matrix(); });
    module.def("lut", LUT);
    module.def("enabled", enabled);
    module.def("enable", [](py::handle processor, bool of_input, bool red, bool green, bool blue) {
        from_capsule(processor).enable_LUTs(of_input, {blue, green, red});
    });
    module.def("create_profile_processor", create_profile_processor);
    module.def("canonical_profile", [](const std::string& json) { return profile::to_json(profile::from_json(json)); });
    module.def("save_profile", [](const std::string& json, const std::filesystem::path& path) {
        try {
            profile::save_profile(profile::from_json(json), path);
        } catch (const profile::profile_error& error) {
            PyErr_SetString(PyExc_OSError, error.what());
            throw py::error_already_set();
        }
    });
    module.def("processors_alive", shared_processor::alive);
    module.attr("__version__") = KX_COLOR_PROCESSING_VERSION;
}

} // namespace

} // namespace kx::python

namespace py = pybind11;

// What PYBIND11_MODULE writes, but for other interpreters, in which pybind11 would wait for itself.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that Python looks for
extern "C" PYBIND11_EXPORT PyObject* PyInit__core()
{
    if (PyInterpreterState_Get() != PyInterpreterState_Main()) {
        PyErr_SetString(PyExc_ImportError, "korvex_color works in a process's main interpreter alone");
        return nullptr;
    }
    PYBIND11_CHECK_PYTHON_VERSION
    PYBIND11_ENSURE_INTERNALS_READY
    static py::module_::module_def definition;
    auto module = py::module_::create_extension_module("_core", nullptr, &definition);
    try {
        kx::python::fill(module);
        return module.ptr();
    }
    PYBIND11_CATCH_INIT_EXCEPTIONS
}
