// Arguments of the methods that are called for every frame: bound by hand, because pybind11's own way takes longer than
// converting a small image.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>

namespace kx::python {

namespace py = pybind11;

// Sets Python's error from the exception that is being handled.
void set_python_error();

// The names that a method's arguments have; the first may also be given by place, and must be given.
template <std::size_t count>
class argument_names {
public:
    argument_names(const char* method, const std::array<const char*, count>& names) : method_(method)
    {
        for (std::size_t index = 0; index < count; ++index) {
            names_.at(index) = PyUnicode_InternFromString(names.at(index)); // kept for good
            if (!names_[index]) {
                throw py::error_already_set();
            }
        }
    }

    // In the order of the names, null where nothing was given. Throws TypeError.
    [[nodiscard]] std::array<py::handle, count> bind(PyObject* const* arguments, Py_ssize_t by_place,
                                                     PyObject* keywords) const
    {
        std::array<py::handle, count> bound{};
        if (by_place > 1) {
            throw py::type_error(method_ + "() takes 1 positional argument but " + std::to_string(by_place)
                                 + " were given");
        }
        if (by_place == 1) {
            bound[0] = arguments[0];
        }
        const Py_ssize_t named = keywords == nullptr ? 0 : PyTuple_GET_SIZE(keywords);
        for (Py_ssize_t index = 0; index < named; ++index) {
            const py::handle name = PyTuple_GET_ITEM(keywords, index);
            py::handle& place = bound.at(place_of(name));
            if (place) {
                throw py::type_error(method_ + "() got multiple values for argument '" + std::string(py::str(name))
                                     + "'");
            }
            place = arguments[by_place + index];
        }
        if (!bound[0]) {
            throw py::type_error(method_ + "() misses its argument '" + std::string(py::str(names_[0])) + "'");
        }
        return bound;
    }

private:
    [[nodiscard]] std::size_t place_of(py::handle name) const
    {
        for (std::size_t index = 0; index < count; ++index) {
            if (names_[index].is(name)) { // names in source code are interned, too
                return index;
            }
        }
        for (std::size_t index = 0; index < count; ++index) {
            if (PyUnicode_Compare(names_[index].ptr(), name.ptr()) == 0) {
                return index;
            }
        }
        throw py::type_error(method_ + "() got an unexpected keyword argument '" + std::string(py::str(name)) + "'");
    }

    std::string method_;
    std::array<py::handle, count> names_{};
};

// Gives a class a method that is called as in
//     PyObject* method(PyObject* self, PyObject* const* arguments, Py_ssize_t by_place, PyObject* keywords)
// The documentation begins with the signature as inspect reads it, and a line "--".
void add_fast_method(py::handle type, const char* name, _PyCFunctionFastWithKeywords method,
                     std::initializer_list<const char*> documentation);

// The result of work() as such a method returns it.
template <typename Work>
PyObject* returned_to_python(const Work& work)
{
    try {
        return py::object(work()).release().ptr();
    } catch (const std::exception&) {
        set_python_error();
        return nullptr;
    }
}

} // namespace kx::python
