// From NumPy arrays and the words that describe them to images.
#pragma once

#include "conversion.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <string>

namespace kx::python {

namespace py = pybind11;

// Arguments as they were given to Python's functions.
struct image_arguments {
    py::handle image;
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
    bool planar;                     // the input
    std::array<py::ssize_t, 2> size; // of an image: height and width
};

// Checks everything that can be said of the arrays without their samples, and makes the output where none was given.
// Throws TypeError or ValueError, which names the argument.
image_arrays to_images(const image_arguments& arguments, int depth, int channels);

// For the user: "image[3, 7, 0] is 5000, beyond ...".
std::string describe(const sample_beyond_LUT& beyond, const image_arrays& arrays, std::size_t entries);

} // namespace kx::python
