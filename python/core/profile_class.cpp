#include "call_arguments.h"
#include "classes.h"
#include "docstrings.h"
#include "transform_call.h"
#include "without_gil.h"

#include "profile/camera_profile.h"
#include "profile/processor_setup.h"

#include <pybind11/stl/filesystem.h>

#include <mutex>

namespace kx::python {

namespace {

using profile::camera_profile;
using profile::profile_error;

// Python's Profile: immutable, so that threads share it. Its processor is made when it is first needed.
class profile_object {
public:
    explicit profile_object(camera_profile profile) : profile_(std::move(profile)) {}

    [[nodiscard]] const camera_profile& profile() const { return profile_; }
    [[nodiscard]] const profile::profile_values& values() const { return profile_.values(); }

    struct ready_processor {
        std::shared_ptr<shared_processor> processor;
        kc::transform_options options;
    };
    [[nodiscard]] const ready_processor& ready() const
    {
        if (!is_ready_) {
            without_gil([this] {
                std::call_once(made_, [this] {
                    const auto settings = profile::make_settings(profile_);
                    ready_ = {std::make_shared<shared_processor>(profile::make_processor(loaded_library(), settings)),
                              profile::transform_options_of(settings)};
                    ready_.options.check_samples = false; // all of them are, before anything is written
                    is_ready_ = true;
                });
            });
        }
        return ready_;
    }

private:
    camera_profile profile_;
    mutable std::once_flag made_;
    mutable std::atomic<bool> is_ready_{false};
    mutable ready_processor ready_;
};

py::object tone_curve_of(const profile_object& self)
{
    const profile::tone_curve& curve = self.values().tone_curve;
    return curve.table().empty() ? py::object(py::str(curve.name())) : py::tuple(py::cast(curve.table()));
}

py::tuple matrix_of(const profile_object& self)
{
    const auto& rows = self.values().matrix;
    return py::make_tuple(py::tuple(py::cast(rows[0])), py::tuple(py::cast(rows[1])), py::tuple(py::cast(rows[2])));
}

// What makes two profiles equal.
py::tuple members_of(const profile_object& self)
{
    const profile::profile_values& values = self.values();
    return py::make_tuple(values.description, values.bits, py::tuple(py::cast(values.black_level)),
                          py::tuple(py::cast(values.white_balance)), matrix_of(self), tone_curve_of(self),
                          values.output_depth);
}

std::unique_ptr<profile_object> from_text(const std::string& text)
{
    return std::make_unique<profile_object>(profile::from_json(text));
}

// The profile of these members as JSON has them, numbers and arrays of NumPy among them.
std::unique_ptr<profile_object> from_members(const py::object& members)
{
    using namespace py::literals;
    const py::dict all = py::module_::import("builtins").attr("dict")(members);
    if (!all.contains("version")) {
        all["version"] = 1;
    }
    const auto plain = py::cpp_function([](const py::object& value) {
        if (!py::hasattr(value, "tolist")) {
            throw py::type_error("a profile has no member of the type " + std::string(py::str(py::type::of(value))));
        }
        return value.attr("tolist")();
    });
    const py::object text = py::module_::import("json").attr("dumps")(all, "default"_a = plain, "allow_nan"_a = false);
    return from_text(text.cast<std::string>());
}

py::dict to_members(const profile_object& self)
{
    return py::module_::import("json").attr("loads")(profile::to_json(self.profile()));
}

std::unique_ptr<profile_object> load(const py::object& path)
{
    const py::object file = py::module_::import("io").attr("open")(path, "rb"); // which raises OSError
    const py::object text = file.attr("read")();
    file.attr("close")();
    try {
        return from_text(text.cast<std::string>());
    } catch (const profile_error& error) {
        throw profile_error(error.path(), error.reason(), py::str(path));
    }
}

void save(const profile_object& self, const std::filesystem::path& path)
{
    try {
        profile::save_profile(self.profile(), path);
    } catch (const profile_error& error) {
        PyErr_SetString(PyExc_OSError, error.what());
        throw py::error_already_set();
    }
}

PyObject* apply(PyObject* self, PyObject* const* arguments, Py_ssize_t by_place, PyObject* keywords)
{
    return returned_to_python([&] {
        static const argument_names<8> names(
            "apply", {"frame", "channels", "out", "threads", "layout", "order", "out_layout", "out_order"});
        const auto [frame, channels, out, threads, layout, order, out_layout, out_order] =
            names.bind(arguments, by_place, keywords);
        const auto& profile = py::cast<const profile_object&>(py::handle(self));
        const auto arrays = to_images({frame, out, layout, order, out_layout, out_order}, profile.values().output_depth,
                                      to_choice(channels, "channels", 3, 4, 3));
        const auto& [processor, options] = profile.ready();
        return run_transform(*processor, arrays, options, threads);
    });
}

} // namespace

void add_profile_class(py::module_& module)
{
    using namespace py::literals;

    const auto member = [](auto get) { return [get](const profile_object& self) { return get(self.values()); }; };
    auto type =
        py::class_<profile_object>(module, "Profile", profile_documentation)
            .def(py::init([](const py::kwargs& members) { return from_members(members); }))
            .def_static("from_json", &from_text, "text"_a, from_json_documentation)
            .def_static("from_dict", &from_members, "members"_a, from_dict_documentation)
            .def_static("load", &load, "path"_a, load_documentation)
            .def("save", &save, "path"_a, save_documentation)
            .def(
                "to_json", [](const profile_object& self) { return profile::to_json(self.profile()); },
                to_json_documentation)
            .def("to_dict", &to_members, to_dict_documentation)
            .def(
                "replace",
                [](const profile_object& self, const py::kwargs& members) {
                    const py::dict all = to_members(self);
                    all.attr("update")(members);
                    return from_members(all);
                },
                replace_documentation)
            .def_property_readonly("description", member([](const auto& values) { return values.description; }))
            .def_property_readonly("bits", member([](const auto& values) { return values.bits; }))
            .def_property_readonly("black_level",
                                   member([](const auto& values) { return py::tuple(py::cast(values.black_level)); }))
            .def_property_readonly("white_balance",
                                   member([](const auto& values) { return py::tuple(py::cast(values.white_balance)); }))
            .def_property_readonly("matrix", &matrix_of)
            .def_property_readonly("tone_curve", &tone_curve_of)
            .def_property_readonly("output_depth", member([](const auto& values) { return values.output_depth; }))
            .def("__eq__",
                 [](const profile_object& self, const py::object& other) -> py::object {
                     if (!py::isinstance<profile_object>(other)) {
                         return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                     }
                     return py::bool_(self.profile() == other.cast<const profile_object&>().profile());
                 })
            .def("__hash__", [](const profile_object& self) { return py::hash(members_of(self)); })
            .def("__repr__",
                 [](const profile_object& self) {
                     return py::str("Profile(description={!r}, bits={}, black_level={}, white_balance={}, matrix={}, "
                                    "tone_curve={!r}, output_depth={})")
                         .format(*members_of(self));
                 })
            .def(py::pickle([](const profile_object& self) { return profile::to_json(self.profile()); }, &from_text));
    add_fast_method(type, "apply", apply, {apply_documentation, images_documentation, strides_documentation});
}

} // namespace kx::python
