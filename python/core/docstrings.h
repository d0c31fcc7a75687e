// What help() shows.
#pragma once

namespace kx::python {

inline constexpr const char* processor_documentation =
    R"(Processor(input_lut_bits=16, output_lut_bits=16, vector_level=None)

A color processor: a matrix, three input LUTs, three output LUTs and their switches.

Parameters
----------
input_lut_bits : int
    0 to 16. An input LUT has ``2**input_lut_bits`` entries, one for each sample that the camera delivers.
output_lut_bits : int
    0 to 16. An output LUT has ``2**output_lut_bits`` entries, one for each value that the clamp lets pass.
vector_level : {None, "scalar", "sse", "avx2"}
    The most that may be used of the machine's vector instructions; None is the best that it has. The bytes are the
    same.

Raises
------
Error
    The library could not make a processor.
TypeError, ValueError
    An argument is none of the above.

Notes
-----
A new processor changes nothing: the matrix is the identity, the LUTs are off and filled with zeros. For every pixel
come the enabled input LUTs, the matrix in single precision, rounding, the clamp, the enabled output LUTs, the shift.

Any number of threads may transform with one processor at the same time. A change of its matrix or of its switches waits
for transforms that run. Entries of LUTs are the library's memory itself: write them while no transform runs, or the
pixels of that transform are made with some of both.

A processor is a context manager, which closes it at the end. It does not pickle: make one where it is needed, or use a
Profile.

Examples
--------
>>> with kc.Processor(input_lut_bits=12, output_lut_bits=12) as p:
...     p.append_matrix([[1.6, -0.4, -0.2], [-0.3, 1.5, -0.2], [0, -0.5, 1.5]])
...     p.output_luts.red[:] = curve
...     p.output_luts.enabled = kc.PerChannel(red=True, green=False, blue=False)
...     picture = p.transform(frame, depth=8, clamp=(0, 4095))
)";

inline constexpr const char* LUTs_documentation = R"(The three input or output LUTs of a processor.

Attributes
----------
red, green, blue : numpy.ndarray of uint32
    The entries, in the library's memory, to be filled in place; zero at first. The array keeps that memory, also when
    the processor is closed. Of an input LUT's entries the low 16 bits count.
enabled : PerChannel of bool
    Which of them are on. One bool stands for all three.
)";

inline constexpr const char* append_matrix_documentation = R"(Multiply a matrix into the processor's on the right.

The matrix appended last acts on a pixel first.

Parameters
----------
matrix : array_like of real numbers, shape (3, 3)
    Rows are output red, green, blue; columns input red, green, blue. The elements are rounded to single precision.

Raises
------
TypeError, ValueError
    It is not 3 x 3 finite numbers.
Error
    The processor is closed.
)";

inline constexpr const char* set_matrix_documentation =
    R"(Replace the processor's matrix, as clear_matrix and append_matrix in one step.)";

inline constexpr const char* clear_matrix_documentation = R"(Set the processor's matrix to the identity.)";

inline constexpr const char* close_documentation = R"(Give the processor back.

Every later use raises Error. Transforms that run in other threads come to their end, and arrays of LUT entries stay
valid: the memory is given back with the last of them. Closing again does nothing.
)";

// What the documentation of Processor.transform and Profile.apply has in common.
inline constexpr const char* images_documentation = R"(out : numpy.ndarray, optional
    Where to write, of the result's shape and type; it may have any strides, and exactly its elements are written.
    It must not overlap `frame`. Without it a new array is made.
threads : int
    The most threads to share bands of rows among, 0 for as many as there are cores. The bytes are the same.
layout : {"interleaved", "planar"}
    Of `frame`: (..., height, width, 3), or planes, (..., 3, height, width), blue first.
order : {"rgb", "bgr"}, optional
    Of interleaved samples in `frame`: "rgb" is the default. Planes are "bgr".
out_layout, out_order : optional
    The same of the result. By default the layout is that of `frame`, and so is the order where both are interleaved.

Returns
-------
numpy.ndarray
    `out`, or a new array: the leading dimensions of `frame`, then (height, width, channels), or (channels, height,
    width) with planes.

Raises
------
TypeError
    An argument has the wrong type; `frame` or `out` has samples of another type. Nothing is converted in silence.
ValueError
    An argument has a wrong value; `frame` has a wrong shape, or a sample beyond an enabled input LUT; `out` has a wrong
    shape, is read-only or overlaps. Nothing has been written.
)";

// What ends the documentation of both.
inline constexpr const char* strides_documentation = R"(
Notes
-----
Any leading dimensions, crops and distances between rows are converted in place. Arrays with negative strides within
an image, with strides between the samples of a pixel or between pixels, and arrays whose samples are not aligned go
through a small buffer piece by piece, which takes longer.

The GIL is released meanwhile. Let no other thread write `frame`: a sample that exceeds an enabled input LUT only after
it was checked is looked up beyond its end.
)";

inline constexpr const char* transform_documentation =
    R"(transform($self, frame, *, depth=16, channels=3, clamp=(0, 65535), shift=0, out=None, threads=1,
          layout='interleaved', order=None, out_layout=None, out_order=None)
--

Convert an image, or a stack of images.

Parameters
----------
frame : numpy.ndarray of uint16, shape (..., height, width, 3)
    The images, red first unless `layout` or `order` say otherwise.
depth : {16, 8}
    Bits of an output sample: uint16 or uint8. The low bits are kept; nothing is scaled by itself.
channels : {3, 4}
    Samples of an output pixel. The fourth is 0.
clamp : (int, int) or PerChannel of these
    Minimum and maximum of the rounded result, 0 to 65535, before output LUT and shift. Where the channel's output LUT is
    enabled, the maximum must lie within it; 65535 then stands for its last entry.
shift : int or PerChannel of int
    -15 to 15 bits, positive to the left.
)";

inline constexpr const char* closed_documentation = R"(Error
    The processor is closed.
)";

inline constexpr const char* profile_documentation = R"(Profile(*, bits, description="", black_level=(0, 0, 0),
        white_balance=(1, 1, 1), matrix=identity, tone_curve="linear", output_depth=16)

A camera profile: how one camera's pixels become colours.

An immutable value: it compares, hashes and pickles. docs/profiles.md has the arithmetic; the bytes are those of
kx_convert.

Parameters
----------
bits : int
    What the camera delivers, 8 to 16: samples from 0 to ``2**bits - 1``.
description : str
black_level : three numbers
    The samples that the camera delivers without light: red, green, blue, as in everything that follows.
white_balance : three numbers
    Gains above 0, at most 1000.
matrix : 3 x 3 numbers
    From balanced camera to linear output, -1000 to 1000. Rows are output, columns input.
tone_curve : str or numbers
    "linear", "srgb", "rec709", "gamma:G", "inverse:" and one of these; or a table of 2 to 65536 numbers from 0 to 1.
output_depth : {16, 8}
    Bits of an output sample.

Raises
------
ProfileError
    A member is wrong: its `path` says which, as in "/white_balance/1".

Examples
--------
>>> profile = kc.Profile.load("camera.json")
>>> pictures = profile.apply(stack, threads=4)
>>> deep = profile.replace(output_depth=16)
)";

inline constexpr const char* from_json_documentation = R"(The profile of a text in JSON, as a profile's file has it.

Raises ProfileError for all that is none.
)";

inline constexpr const char* from_dict_documentation = R"(The profile of a dict with the members of its JSON.

"version" may be missing; NumPy's arrays and numbers are welcome. Raises ProfileError for what is no profile.
)";

inline constexpr const char* load_documentation = R"(Read a profile from a file.

Parameters
----------
path : str or os.PathLike

Raises
------
OSError
    The file cannot be read.
ProfileError
    It holds no profile. The message begins with the file's name.
)";

inline constexpr const char* save_documentation = R"(Write the profile to a file, which reads back as an equal one.

A file that exists is replaced only when the new one is complete. Raises OSError where that is impossible.

Parameters
----------
path : str or os.PathLike
)";

inline constexpr const char* to_json_documentation = R"(The profile as the text of its file.)";

inline constexpr const char* to_dict_documentation = R"(The profile as a dict, with the members that its JSON has.)";

inline constexpr const char* replace_documentation = R"(A profile with other values of the members that are named.)";

inline constexpr const char* apply_documentation =
    R"(apply($self, frame, *, channels=3, out=None, threads=1, layout='interleaved', order=None,
      out_layout=None, out_order=None)
--

Convert an image, or a stack of images, as the camera delivers them.

The first call makes a processor, which later calls use: keep the profile.

Parameters
----------
frame : numpy.ndarray of uint16, shape (..., height, width, 3)
    The images, red first unless `layout` or `order` say otherwise: samples from 0 to ``2**bits - 1``.
channels : {3, 4}
    Samples of an output pixel. The fourth is 0.
)";

} // namespace kx::python
