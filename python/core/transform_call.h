// The call that all conversions are.
#pragma once

#include "shared_processor.h"

#include <pybind11/numpy.h>

namespace kx::python {

namespace py = pybind11;

// A processor in Python's hands: nothing can be made of it but what this module does. Throws TypeError for others.
py::capsule to_capsule(std::unique_ptr<shared_processor> processor);
shared_processor& from_capsule(py::handle capsule);

// The whole number from least to most that the argument of this name is. Throws TypeError or ValueError.
int to_number(py::handle value, const char* name, int least, int most);

// _core.transform(processor, image, depth, channels, clamp, shift, out, threads, layout, order, out_layout, out_order):
// by place alone, and each read here, because that is how arguments arrive fastest. Clamp and shift are the processor's
// own where None. Returns the output.
py::array transform(const py::args& arguments);

} // namespace kx::python
