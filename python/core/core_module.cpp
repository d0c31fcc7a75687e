#include "call_arguments.h"
#include "classes.h"
#include "shared_processor.h"
#include "transform_call.h"
#include "without_gil.h"

#include "profile/profile_error.h"

#include <list>
#include <new>
#include <stdexcept>
#include <string>

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

} // namespace

const kc::library& loaded_library()
{
    // Never terminated: what the process's end unloads may still be in use then (see running_work).
    static const auto* const library = new kc::library();
    return *library;
}

void set_python_error()
{
    try {
        try {
            throw;
        } catch (py::error_already_set& error) {
            error.restore();
        } catch (const py::builtin_exception& error) {
            error.set_error();
        } catch (const std::bad_alloc&) {
            PyErr_NoMemory();
        } catch (const std::invalid_argument& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        } catch (...) {
            translate(std::current_exception());
        }
    } catch (const py::error_already_set&) { // raised while an error was made
        throw;
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    }
}

void add_fast_method(py::handle type, const char* name, _PyCFunctionFastWithKeywords method,
                     std::initializer_list<const char*> documentation)
{
    struct kept_method { // for as long as the class, which is for good
        std::string documentation;
        PyMethodDef definition;
    };
    static std::list<kept_method> kept;
    kept_method& added = kept.emplace_back();
    for (const char* const part : documentation) {
        added.documentation += part;
    }
    added.definition = {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(method)),
                        METH_FASTCALL | METH_KEYWORDS, added.documentation.c_str()};
    type.attr(name) = py::reinterpret_steal<py::object>(
        PyDescr_NewMethod(reinterpret_cast<PyTypeObject*>(type.ptr()), &added.definition));
}

} // namespace kx::python

PYBIND11_MODULE(_core, module)
{
    using namespace kx::python;

    // Signatures stand in the stubs.
    py::options options;
    options.disable_function_signatures();
    py::register_exception_translator(translate);
    import_per_channel();
    running_work::wait_at_exit();
    add_processor_class(module);
    add_profile_class(module);
    module.attr("__version__") = KX_COLOR_PROCESSING_VERSION;
}
