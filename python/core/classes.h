// What the module consists of.
#pragma once

#include <pybind11/pybind11.h>

namespace kx::python {

namespace py = pybind11;

void add_processor_class(py::module_& module);
void add_profile_class(py::module_& module);

} // namespace kx::python
