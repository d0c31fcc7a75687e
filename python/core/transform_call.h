// The call that all conversions are.
#pragma once

#include "shared_processor.h"

#include <pybind11/pybind11.h>

namespace kx::python {

namespace py = pybind11;

// Sets Python's error from the exception that is being handled.
void set_python_error();

// A processor in Python's hands: nothing can be made of it but what this module does. Throws TypeError for others.
py::capsule to_capsule(std::unique_ptr<shared_processor> processor);
shared_processor& from_capsule(py::handle capsule);

// The whole number from least to most that the argument of this name is. Throws TypeError or ValueError.
int to_number(py::handle value, const char* name, int least, int most);

// Of one switch, or three: red, green, blue.
kc::per_channel<bool> to_switches(py::handle value, const char* name);

// _core.transform(processor, image, depth, channels, clamp, shift, out, threads, layout, order, out_layout, out_order):
// by place alone, because that is how arguments arrive fastest. Clamp and shift are the processor's own where None.
PyObject* transform(PyObject* module, PyObject* const* arguments, Py_ssize_t count);

} // namespace kx::python
