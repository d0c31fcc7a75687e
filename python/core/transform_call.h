// A call that converts images: from Python's arguments to the library.
#pragma once

#include "image_arrays.h"
#include "shared_processor.h"

namespace kx::python {

// Looks the class PerChannel up; to be called while the module is imported, since imports may let other threads run.
void import_per_channel();

// Both throw TypeError or ValueError for arguments that are none of that.
kc::per_channel<bool> to_switches(py::handle value, const char* name);
kc::transform_options to_options(py::handle clamp, py::handle shift);

// A whole number from `least` to `most`. Throws TypeError or ValueError with the argument's name.
int to_number(py::handle value, const char* name, int least, int most);

// One of two numbers, `otherwise` where nothing was given.
int to_choice(py::handle value, const char* name, int one, int other, int otherwise);

// Python's PerChannel of three objects.
py::object to_python(const kc::per_channel<bool>& values);

// Converts the images on that many threads at most (0: as many as there are cores), without the GIL, and returns the
// output. The processor must last meanwhile. Throws before anything is written.
py::object run_transform(const shared_processor& processor, const image_arrays& arrays,
                         const kc::transform_options& options, py::handle threads);

} // namespace kx::python
