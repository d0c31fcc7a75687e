"""The files of examples/dask_stacks.py: TIFF stacks that are read, and OME-Zarr images or TIFF stacks that are written."""

import itertools
import json
import os
import pathlib
import struct

import numpy as np
import tifffile
import zarr

MICROMETERS = {"nm": 1e-3, "µm": 1, "μm": 1, "\\u00B5m": 1, "um": 1, "micron": 1, "mm": 1e3, "cm": 1e4, "m": 1e6,
               "inch": 25400}
SECONDS = {"ms": 1e-3, "s": 1, "sec": 1, "min": 60, "h": 3600}


class Problem(Exception):
    """Why a stack cannot be converted."""


# What reading and writing a stack may raise.
FAILURES = (Problem, OSError, ValueError, LookupError, tifffile.TiffFileError, struct.error)


class Stack:
    """A stack of the recording, as it is when this is made.

    It says that it has so many `pages`: `leading` has their numbers along t and z. Those before page `whole` are in the
    file entirely. `ends` is False when the file says that there is more than it has.
    """

    def __init__(self, path):
        self.path = path
        self.status = status_of(path)
        with tifffile.TiffFile(path) as file:
            series = file.series[0]
            if len({(other.axes, other.shape, other.dtype) for other in file.series}) > 1:
                raise Problem("its pages are not all of one size")
            sizes = dict(zip(series.axes, series.shape))
            if series.axes[-3:] not in ("YXS", "SYX") or sizes["S"] != 3 or series.dtype != np.uint16:
                raise Problem("its pages are not RGB of 16 bits")
            self.planes = series.axes.endswith("SYX")
            self.size = (sizes["Y"], sizes["X"])
            self.pages = len(file.series) * series.size // (3 * self.size[0] * self.size[1])
            axes, shape = series.axes[:-3].lower(), series.shape[:-3]
            self.leading = dict(zip(axes, shape))
            if not self.leading or self.leading.keys() - {"t", "z"} or int(np.prod(shape)) != self.pages:
                self.leading = {"t": self.pages}  # pages that do not say what they are follow one another in time
            self.series = 0 if len(file.series) == 1 else None
            self.sample, self.offset = file.byteorder + "u2", None
            if self.series == 0 and series.dataoffset is not None:  # all pages lie in one piece
                self.offset, self.ends = series.dataoffset, True
                self.whole = min(self.pages, max(0, self.status["bytes"] - self.offset) // self.page_bytes)
            elif len(file.pages) == 1 < self.pages:
                raise Problem("its pages are compressed in one piece")
            else:
                pages = itertools.chain.from_iterable(series.pages for series in file.series)
                self.whole = sum(1 for _ in itertools.takewhile(self._is_whole, pages))
                self.ends = next_directory(file) == 0
            self.spacing = spacing(file)
            tags = file.pages[0].tags
            self.resolution = (file.pages[0].resolution, file.pages[0].resolutionunit) if 282 in tags else None

    page_bytes = property(lambda self: 6 * self.size[0] * self.size[1])

    def _is_whole(self, page):
        segments = zip(page.dataoffsets, page.databytecounts) if page else [(0, 0)]
        return all(0 < offset and 0 < count and offset + count <= self.status["bytes"] for offset, count in segments)

    def read(self, first, last):
        """The pages from `first` up to `last`, as they are in the file: (pages, height, width, 3) or with planes."""
        if self.offset is None:
            with tifffile.TiffFile(self.path) as file:
                pages = file.asarray(key=range(first, last), series=self.series)
        else:
            pages = np.fromfile(self.path, self.sample, (last - first) * self.page_bytes // 2,
                                offset=self.offset + first * self.page_bytes)
        status = status_of(self.path)
        if status["bytes"] < self.status["bytes"] or (last - first) * self.page_bytes != pages.nbytes:
            raise Problem("the file became shorter while it was converted")
        pages = np.ascontiguousarray(pages, np.uint16)
        return pages.reshape(-1, 3, *self.size) if self.planes else pages.reshape(-1, *self.size, 3)

    def place(self, page):
        """Where a page is, along t and z."""
        return dict(zip(self.leading, np.unravel_index(page, tuple(self.leading.values()))))


def status_of(path):
    status = path.stat()
    return {"bytes": status.st_size, "changed": status.st_mtime_ns}


def next_directory(file):
    """Where the last page says that the next one is: 0, unless the file ends before."""
    file.filehandle.seek(file.pages[len(file.pages) - 1].offset)
    (tags,) = struct.unpack(file.tiff.tagnoformat, file.filehandle.read(file.tiff.tagnosize))
    file.filehandle.seek(tags * file.tiff.tagsize, os.SEEK_CUR)
    return struct.unpack(file.tiff.offsetformat, file.filehandle.read(file.tiff.offsetsize))[0]


def spacing(file):
    """How far apart pixels and pages are, by axis, as far as it is known: micrometers, for t seconds."""
    known = {}

    def put(axis, units, number, unit):
        if number and unit in units:
            known[axis] = float(number) * units[unit]

    page, imagej = file.pages[0], file.imagej_metadata or {}
    unit = {2: "inch", 3: "cm"}.get(page.resolutionunit) or imagej.get("unit")
    for axis, resolution in zip("xy", page.resolution if 282 in page.tags else ()):
        put(axis, MICROMETERS, resolution and 1 / resolution, unit)
    put("z", MICROMETERS, imagej.get("spacing"), imagej.get("unit"))
    put("t", SECONDS, imagej.get("finterval"), "s")
    if file.ome_metadata:
        image = tifffile.xml2dict(file.ome_metadata)["OME"]["Image"]
        pixels = (image[0] if isinstance(image, list) else image)["Pixels"]
        for axis in "xyz":
            name = f"PhysicalSize{axis.upper()}"
            put(axis, MICROMETERS, pixels.get(name), pixels.get(name + "Unit", "µm"))
        put("t", SECONDS, pixels.get("TimeIncrement"), pixels.get("TimeIncrementUnit", "s"))
    return known


class Output:
    """A converted stack, whose name ends in .incomplete until all of it is there."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name + self.suffix
        self.file, self.begun = folder / self.name, folder / f"{self.name}.incomplete"

    def exists(self):
        return self.file.exists() or self.begun.exists()

    def tell_failed(self, parts):
        """Note in the output which parts failed, as {(first, last + 1): why}, where the format has a place for that."""

    def complete(self):
        if self.begun.exists():
            self.begun.replace(self.file)
            sync(self.file.parent)


class TiffOutput(Output):
    """A TIFF stack, of its full size from the beginning."""

    suffix = ".tif"

    def create(self, stack, dtype):
        self._allocate(stack, dtype).replace(self.begun)
        sync(self.begun.parent)

    def grow(self, stack, dtype):
        old = self.begun if self.begun.exists() else self.file
        new = self._allocate(stack, dtype)
        with tifffile.TiffFile(old) as file:
            size = file.series[0].nbytes
        with open(old, "rb") as source, open(new, "r+b") as target:
            source.seek(data_offset(old))
            target.seek(data_offset(new))
            for begin in range(0, size, 2**24):
                target.write(source.read(min(2**24, size - begin)))
        sync(new)
        new.replace(self.begun)
        sync(self.begun.parent)

    def _allocate(self, stack, dtype):
        self.file.parent.mkdir(parents=True, exist_ok=True)
        tags = {}
        if stack.resolution:
            tags = {"resolution": stack.resolution[0], "resolutionunit": stack.resolution[1]}
        if {"x", "y"} <= stack.spacing.keys() and tags.get("resolutionunit", 1) == 1:  # known by the description alone
            tags = {"resolution": [1e4 / stack.spacing[axis] for axis in "xy"], "resolutionunit": "CENTIMETER"}
        new = self.file.with_suffix(".new")
        tifffile.imwrite(new, shape=(*stack.leading.values(), *stack.size, 3), dtype=dtype, photometric="rgb", **tags)
        sync(new)
        return new

    def write(self, stack, first, pictures):
        with open(self.begun, "r+b") as file:
            file.seek(data_offset(self.begun) + first * pictures[0].nbytes)
            file.write(pictures.data)
        sync(self.begun)


def data_offset(path):
    with tifffile.TiffFile(path) as file:
        return file.pages[0].dataoffsets[0]


class ZarrOutput(Output):
    """An image as OME-NGFF 0.4 has it: a group of one array with axes, pixel sizes and channels; a chunk is a page."""

    suffix = ".zarr"

    def _group(self):
        folder, name = DiskStore(self.folder), self.begun.relative_to(self.folder).as_posix()
        return zarr.open_group(folder, "a").require_group(name)

    @staticmethod
    def _sizes(stack):
        """By axis: time, channel, depth, row, column, in the order of OME-NGFF."""
        sizes = {**stack.leading, "c": 3, "y": stack.size[0], "x": stack.size[1]}
        return {axis: sizes[axis] for axis in "tczyx" if axis in sizes}

    def create(self, stack, dtype):
        group, sizes = self._group(), self._sizes(stack)
        chunks = [size if axis in "cyx" else 1 for axis, size in sizes.items()]
        group.create_dataset("0", shape=[*sizes.values()], chunks=chunks, dtype=dtype, dimension_separator="/",
                             overwrite=True)
        types, units = {"t": "time", "c": "channel"}, {"t": "second"}
        axes = [{"name": axis, "type": types.get(axis, "space"),
                 **({"unit": units.get(axis, "micrometer")} if axis in stack.spacing else {})} for axis in sizes]
        scale = {"type": "scale", "scale": [stack.spacing.get(axis, 1.0) for axis in sizes]}
        limit = int(np.iinfo(dtype).max)
        window = {"min": 0, "max": limit, "start": 0, "end": limit}
        group.attrs.put({
            "multiscales": [{"version": "0.4", "name": self.file.stem, "axes": axes,
                             "datasets": [{"path": "0", "coordinateTransformations": [scale]}]}],
            "omero": {"channels": [{"label": label, "color": color, "active": True, "window": window} for label, color
                                   in [("red", "FF0000"), ("green", "00FF00"), ("blue", "0000FF")]],
                      "rdefs": {"model": "color"}}})

    def grow(self, stack, dtype):
        if self.file.exists():
            self.file.replace(self.begun)
        described = self.begun / "0/.zarray"  # Array.resize of Zarr 2.13 loses the separator of dimensions
        array = {**json.loads(described.read_text()), "shape": [*self._sizes(stack).values()]}
        DiskStore(self.folder)[described.relative_to(self.folder).as_posix()] = json.dumps(array, indent=4).encode()

    def write(self, stack, first, pictures):
        array, axes = self._group()["0"], self._sizes(stack)
        for page, picture in enumerate(pictures, first):
            place = stack.place(page)
            array[tuple(place.get(axis, slice(None)) for axis in axes)] = np.moveaxis(picture, -1, 0)

    def tell_failed(self, parts):
        self._group().attrs["failed_pages"] = [
            {"first": first, "last": last - 1, "reason": reason} for (first, last), reason in sorted(parts.items())]

    def complete(self):
        if self.begun.exists():
            for left_by_a_kill in self.begun.rglob("*.partial"):
                left_by_a_kill.unlink()
            self._group().attrs.pop("failed_pages", None)
        super().complete()


class DiskStore(zarr.DirectoryStore):
    """A folder in which a chunk gets its name, and that name is on the disk, when its data is there."""

    def __init__(self, folder):
        super().__init__(str(folder))

    def __setitem__(self, key, value):
        super().__setitem__(key, value)
        folder = pathlib.Path(self.path, key).parent
        while folder.is_relative_to(self.path):  # the folders that lead to it may be new, too
            sync(folder)
            folder = folder.parent

    @staticmethod
    def _tofile(data, path):
        with open(path, "wb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())


def sync(path):
    """Wait until a file's data, or the names in a folder, are on the disk."""
    opened = os.open(path, os.O_RDONLY)
    try:
        os.fsync(opened)
    finally:
        os.close(opened)
