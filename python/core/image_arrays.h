// From NumPy arrays and the words that describe them to images.
#pragma once

#include "strided_images.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <string>

namespace kx::python {

namespace py = pybind11;

inline bool is_given(py::handle argument)
{
    return argument && !argument.is_none();
}

// Arguments as they were given; null or None where nothing was said.
struct image_arguments {
    py::handle frame;
    py::handle out;
    py::handle layout;
    py::handle order;
    py::handle out_layout;
    py::handle out_order;
};

struct image_arrays {
    py::array input;
    py::array output;
    conversion images;
};

// Checks everything that can be said of the arrays without their samples, and makes the output where none was given.
// Throws TypeError or ValueError, which names the argument.
image_arrays to_images(const image_arguments& arguments, int depth, int channels);

// The first sample beyond the enabled input LUTs, for the user: "frame[3, 7, 0] is 5000, ...".
std::string describe_sample_beyond(const py::array& frame, kc::pixel_layout layout,
                                   const kc::per_channel<bool>& enabled, std::size_t entries);

} // namespace kx::python
