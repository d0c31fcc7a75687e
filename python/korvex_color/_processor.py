"""The library's own terms: LUTs, matrix, clamps and shifts."""

from __future__ import annotations

from types import TracebackType
from typing import Any, Iterator, Literal, SupportsIndex, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core
from ._types import Clamp, Error, Frames, Layout, Order, PerChannel, Shift, Switches

_LEVELS = {None: None, "scalar": 0, "sse": 1, "neon": 1, "avx2": 2}


class _Entries:
    """A LUT's entries as an attribute, which may also be assigned."""

    def __init__(self, name: str, channel: int) -> None:
        self.name = name
        self.channel = channel
        self.__doc__ = f"The {name} LUT's entries, in the library's memory."

    @overload
    def __get__(self, luts: None, owner: Any = None) -> _Entries: ...
    @overload
    def __get__(self, luts: LUTs, owner: Any = None) -> NDArray[np.uint32]: ...
    def __get__(self, luts: LUTs | None, owner: Any = None) -> _Entries | NDArray[np.uint32]:
        return self if luts is None else _core.lut(luts._native, luts._of_input, self.channel)

    def __set__(self, luts: LUTs, values: ArrayLike) -> None:
        entries, given = self.__get__(luts), np.asarray(values)
        if given.dtype.kind not in "iu":
            raise TypeError(f"{self.name} must be whole numbers, not {given.dtype}: round a curve first")
        if given.shape != entries.shape:
            raise ValueError(f"{self.name} has the shape {given.shape}; it must be {entries.shape}")
        if given.min() < 0 or given.max() > 2**32 - 1:
            raise ValueError(f"{self.name} has an entry that lies outside 0 to {2**32 - 1}")
        entries[:] = given


class _Switches:
    """Which LUTs are on, as an attribute."""

    @overload
    def __get__(self, luts: None, owner: Any = None) -> _Switches: ...
    @overload
    def __get__(self, luts: LUTs, owner: Any = None) -> PerChannel[bool]: ...
    def __get__(self, luts: LUTs | None, owner: Any = None) -> _Switches | PerChannel[bool]:
        return self if luts is None else PerChannel(*_core.enabled(luts._native, luts._of_input))

    def __set__(self, luts: LUTs, value: Switches) -> None:
        luts._processor._open()
        given = np.asarray(value)
        if given.dtype != np.bool_ or given.shape not in ((), (3,)):
            raise TypeError(f"enabled must be True or False, or three of these for red, green and blue, not {value!r}")
        _core.enable(luts._native, luts._of_input, *np.broadcast_to(given, 3).tolist())


class LUTs:
    """The three input or output LUTs of a processor. Iterating gives the entries of red, green and blue.

    Attributes
    ----------
    red, green, blue : numpy.ndarray of uint32
        The entries, in the library's memory, to be filled in place or assigned; zero at first. The array keeps that
        memory, also when the processor is closed. Of an input LUT's entries the low 16 bits count.
    enabled : PerChannel of bool
        Which of them are on. One bool stands for all three when it is assigned.
    """

    red = _Entries("red", 2)
    green = _Entries("green", 1)
    blue = _Entries("blue", 0)
    enabled = _Switches()

    def __init__(self, processor: Processor, of_input: bool) -> None:
        self._processor = processor
        self._native = processor._open()
        self._of_input = of_input

    def __iter__(self) -> Iterator[NDArray[np.uint32]]:
        return iter((self.red, self.green, self.blue))


class Processor:
    """A color processor: a matrix, three input LUTs, three output LUTs and their switches.

    Parameters
    ----------
    input_lut_bits : int
        0 to 16. An input LUT has ``2**input_lut_bits`` entries, one for each sample that the camera delivers.
    output_lut_bits : int
        0 to 16. An output LUT has ``2**output_lut_bits`` entries, one for each value that the clamp lets pass.
    vector_level : {None, "scalar", "sse", "avx2", "neon"}
        The most that may be used of the machine's vector instructions; None is the best that it has. "sse" and "neon"
        are one level, on x86-64 and on ARM64. The bytes are the same.

    Raises
    ------
    Error
        The library could not make a processor.
    TypeError, ValueError
        An argument is none of the above.

    Notes
    -----
    A new processor changes nothing: the matrix is the identity, the LUTs are off and filled with zeros. For every pixel
    come the enabled input LUTs, the matrix in single precision, rounding, the clamp, the enabled output LUTs, the
    shift.

    Any number of threads may transform with one processor at the same time. A change of its matrix or of its switches
    waits for transforms that run. Entries of LUTs are the library's memory itself: write them while no transform runs,
    or the pixels of that transform are made with some of both.

    A processor is a context manager, which closes it at the end. It does not pickle: make one where it is needed, or
    use a Profile. After ``fork`` the child has a copy of its own, also when another thread was converting.

    Examples
    --------
    >>> with kc.Processor(input_lut_bits=12, output_lut_bits=12) as p:
    ...     p.append_matrix([[1.6, -0.4, -0.2], [-0.3, 1.5, -0.2], [0, -0.5, 1.5]])
    ...     p.output_luts.red = curve
    ...     p.output_luts.enabled = kc.PerChannel(red=True, green=False, blue=False)
    ...     picture = p.transform(frame, depth=8, clamp=(0, 4095))
    """

    _native: Any = None

    def __init__(
        self,
        input_lut_bits: SupportsIndex = 16,
        output_lut_bits: SupportsIndex = 16,
        vector_level: Literal["scalar", "sse", "avx2", "neon"] | None = None,
    ) -> None:
        if not isinstance(vector_level, (str, type(None))) or vector_level not in _LEVELS:
            wrong = ValueError if isinstance(vector_level, str) else TypeError
            raise wrong(f"vector_level must be None, 'scalar', 'sse', 'avx2' or 'neon', not {vector_level!r}")
        self._native = _core.create_processor(input_lut_bits, output_lut_bits, _LEVELS[vector_level])
        self._described = f"input_lut_bits={input_lut_bits}, output_lut_bits={output_lut_bits}"
        self._described += f", vector_level={vector_level!r}"

    def _open(self) -> Any:
        """The native processor, which lives as long as somebody has it: another thread may close this one."""
        native = self._native
        if native is None:
            raise Error("the processor is closed", 2)
        return native

    def __repr__(self) -> str:
        if self._native is None:
            return "<Processor: closed>"
        on = {name: [channel for channel in ("red", "green", "blue") if getattr(luts.enabled, channel)]
              for name, luts in (("input", self.input_luts), ("output", self.output_luts))}
        return (f"<Processor({self._described}): matrix {self.matrix.tolist()}, input LUTs on: "
                f"{', '.join(on['input']) or 'none'}, output LUTs on: {', '.join(on['output']) or 'none'}>")

    @property
    def input_lut_bits(self) -> int:
        """The input LUTs have ``2**input_lut_bits`` entries."""
        return self.input_luts.red.size.bit_length() - 1

    @property
    def output_lut_bits(self) -> int:
        """The output LUTs have ``2**output_lut_bits`` entries."""
        return self.output_luts.red.size.bit_length() - 1

    @property
    def matrix(self) -> NDArray[np.float32]:
        """A copy of the processor's matrix: rows are output red, green, blue; columns input red, green, blue."""
        return np.array(_core.matrix(self._open()), np.float32).reshape(3, 3)

    @property
    def input_luts(self) -> LUTs:
        """The input LUTs."""
        return LUTs(self, True)

    @property
    def output_luts(self) -> LUTs:
        """The output LUTs."""
        return LUTs(self, False)

    def append_matrix(self, matrix: ArrayLike) -> None:
        """Multiply a matrix into the processor's on the right.

        The matrix appended last acts on a pixel first.

        Parameters
        ----------
        matrix : array_like of real numbers, shape (3, 3)
            Rows are output red, green, blue; columns input red, green, blue. The elements are rounded to single
            precision.

        Raises
        ------
        TypeError, ValueError
            It is not 3 x 3 finite numbers.
        Error
            The processor is closed.
        """
        _core.change_matrix(self._open(), False, _matrix(matrix))

    def set_matrix(self, matrix: ArrayLike) -> None:
        """Replace the processor's matrix, as `clear_matrix` and `append_matrix` in one step."""
        _core.change_matrix(self._open(), True, _matrix(matrix))

    def clear_matrix(self) -> None:
        """Set the processor's matrix to the identity."""
        _core.change_matrix(self._open(), True, None)

    @property
    def closed(self) -> bool:
        """Whether the processor was given back."""
        return self._native is None

    def close(self) -> None:
        """Give the processor back.

        Every later use raises Error. Transforms that run in other threads come to their end, and arrays of LUT entries
        stay valid: the memory is given back with the last of them. Closing again does nothing.
        """
        self._native = None

    def __enter__(self) -> Processor:
        self._open()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __reduce__(self) -> Any:
        raise TypeError("a Processor does not pickle: make one where it is needed, or use a Profile")

    @overload
    def transform(
        self, image: Frames, *, depth: Literal[16] = ..., channels: SupportsIndex = ..., clamp: Clamp = ...,
        shift: Shift = ..., out: Frames | None = ..., threads: SupportsIndex = ..., layout: Layout = ...,
        order: Order | None = ..., out_layout: Layout | None = ..., out_order: Order | None = ...,
    ) -> Frames: ...
    @overload
    def transform(
        self, image: Frames, *, depth: Literal[8], channels: SupportsIndex = ..., clamp: Clamp = ...,
        shift: Shift = ..., out: NDArray[np.uint8] | None = ..., threads: SupportsIndex = ..., layout: Layout = ...,
        order: Order | None = ..., out_layout: Layout | None = ..., out_order: Order | None = ...,
    ) -> NDArray[np.uint8]: ...
    @overload
    def transform(
        self, image: Frames, *, depth: SupportsIndex, channels: SupportsIndex = ..., clamp: Clamp = ...,
        shift: Shift = ..., out: NDArray[Any] | None = ..., threads: SupportsIndex = ..., layout: Layout = ...,
        order: Order | None = ..., out_layout: Layout | None = ..., out_order: Order | None = ...,
    ) -> NDArray[Any]: ...
    def transform(
        self,
        image: Frames,
        *,
        depth: SupportsIndex = 16,
        channels: SupportsIndex = 3,
        clamp: Clamp = (0, 65535),
        shift: Shift = 0,
        out: NDArray[Any] | None = None,
        threads: SupportsIndex = 1,
        layout: Layout = "interleaved",
        order: Order | None = None,
        out_layout: Layout | None = None,
        out_order: Order | None = None,
    ) -> NDArray[Any]:
        """Convert an image, or a stack of images.

        Parameters
        ----------
        image : numpy.ndarray of uint16, shape (..., height, width, 3)
            The images, red first unless `layout` or `order` say otherwise.
        depth : {16, 8}
            Bits of an output sample: uint16 or uint8. The low bits are kept; nothing is scaled by itself.
        channels : {3, 4}
            Samples of an output pixel. The fourth is 0.
        clamp : (int, int), or three of these for red, green and blue
            Minimum and maximum of the rounded result, 0 to 65535, before output LUT and shift. Where the channel's
            output LUT is enabled, the maximum must lie within it; 65535 then stands for its last entry.
        shift : int, or three of these for red, green and blue
            -15 to 15 bits, positive to the left.
        out : numpy.ndarray, optional
            Where to write, of the result's shape and type; it may have any strides, and exactly its elements are
            written. It must not overlap `image`. Without it a new array is made.
        threads : int
            The most threads to share the pixels among, 0 for as many as there are cores. The bytes are the same.
        layout : {"interleaved", "planar"}
            Of `image`: (..., height, width, 3), or planes, (..., 3, height, width).
        order : {"rgb", "bgr"}, optional
            Of the channels in `image`. By default "rgb" where they are interleaved, "bgr" where they are planes.
        out_layout, out_order : optional
            The same of the result. By default the layout is that of `image`, and so is the order where the layouts are
            the same.

        Returns
        -------
        numpy.ndarray
            `out`, or a new array: the leading dimensions of `image`, then (height, width, channels), or (channels,
            height, width) with planes.

        Raises
        ------
        TypeError
            An argument has the wrong type; `image` or `out` has samples of another type, or a mask. Nothing is
            converted in silence.
        ValueError
            An argument has a wrong value; `image` has a wrong shape, or a sample beyond an enabled input LUT; `out` has
            a wrong shape, is read-only or overlaps. Nothing has been written.
        Error
            The processor is closed.

        Notes
        -----
        Whatever the strides, nothing but a small buffer is allocated beside the result. What the library's formats
        cannot express goes through it piece by piece: mirrored or every second column, planes that begin with red,
        samples at odd addresses.

        The GIL is released meanwhile; Ctrl-C is seen after some hundredths of a second, with part of `out` written. Let
        no other thread write `image`: a sample that exceeds an enabled input LUT only after it was checked is looked up
        beyond its end.
        """
        return _core.transform(
            self._native or self._open(), image, depth, channels, clamp, shift, out, threads, layout, order,
            out_layout, out_order)


def _matrix(values: ArrayLike) -> list[float]:
    given = np.asarray(values)
    if given.dtype.kind not in "biuf":
        raise TypeError("matrix must be 3 x 3 real numbers")
    if given.shape != (3, 3):
        raise ValueError(f"matrix has the shape {given.shape}; it must be (3, 3)")
    with np.errstate(over="ignore"):
        numbers = given.astype(np.float32)
    if not np.isfinite(numbers).all():
        raise ValueError("matrix has an element that is no single-precision number")
    return [float(number) for number in numbers.flat]
