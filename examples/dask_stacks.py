#!/usr/bin/env python3
"""Convert a recording, a folder of RGB TIFF stacks, with a camera profile on a Dask cluster: to OME-Zarr or TIFF stacks.

    dask_stacks.py recording pictures --profile camera.json
    dask_stacks.py recording pictures --format tiff --profile camera.json --scheduler tcp://host:8786

Needs python3-distributed, python3-tifffile and python3-zarr. Without --scheduler, processes on this machine do it; with
it, all machines need these packages, and the folders by the same names.

A worker reads, converts and writes some pages of a stack, a part, as one task: it never holds more parts than it has
threads. Once the data of a part is on the disk, OUTPUT/.progress says so, and the part is not done again: not when a
worker is lost, and not when the whole run was killed and is started again with the same arguments.

What has been converted of a stack is called NAME.incomplete until every page of it is there and the stack is seen to be
what it was at the beginning. Stacks may still grow, and new ones may come: their whole pages are converted, and the
next run goes on with the rest.

Exit code 0: every stack is complete. 1: some failed. 2: wrong arguments. 3: none failed, but some are not whole yet.
"""

import argparse
import itertools
import json
import os
import pathlib
import struct
import sys
import tempfile
import threading
import uuid
import zlib

import dask
import numpy as np
import tifffile
import zarr
from distributed import Client, LocalCluster, as_completed, progress

import korvex_color as kc

MICROMETERS = {"nm": 1e-3, "µm": 1, "μm": 1, "\\u00B5m": 1, "um": 1, "micron": 1, "mm": 1e3, "cm": 1e4, "m": 1e6,
               "inch": 25400}
SECONDS = {"ms": 1e-3, "s": 1, "sec": 1, "min": 60, "h": 3600}


class Problem(Exception):
    """Why a stack cannot be converted."""


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


class Record:
    """What has been done of a stack: a folder with the settings, and a file for each part, named by its first page."""

    def __init__(self, folder):
        self.folder = folder

    def parts(self):
        """The finished parts: by their first pages, how many pages they have and the checksum of what was read."""
        return {int(file.name): json.loads(file.read_text()) for file in self.folder.glob("*") if file.name.isdigit()}

    def has(self, first):
        return (self.folder / str(first)).exists()

    def add(self, first, part):
        self._write(str(first), part)

    def settings(self):
        file = self.folder / "settings.json"
        return json.loads(file.read_text()) if file.exists() else None

    def change(self, settings):
        self._write("settings.json", settings)

    def begin(self, settings):
        self.folder.mkdir(parents=True, exist_ok=True)
        for file in self.folder.iterdir():
            file.unlink()
        self.change(settings)

    def _write(self, name, content):
        new = self.folder / f"{name}.{uuid.uuid4().hex}"  # a part that was given to two workers may be finished twice
        new.write_text(json.dumps(content))
        sync(new)
        new.replace(self.folder / name)
        sync(self.folder)

    def unfinished(self, stack, pages):
        """The parts of at most so many pages that are still to be converted, as (first, last + 1)."""
        parts = self.parts()
        starts, first, left = sorted(parts), 0, []
        while first < stack.whole:
            if first in parts:
                first += parts[first]["pages"]
            else:
                last = min([first + pages, stack.whole, *(start for start in starts if start > first)])
                left.append((first, last))
                first = last
        return left

    def fits(self, stack):
        """Whether the stack still begins and goes on with what was converted: the first and the last part are read."""
        parts = self.parts()
        for first in {min(parts, default=None), max(parts, default=None)} - {None}:
            last = first + parts[first]["pages"]
            if last > stack.whole or zlib.crc32(stack.read(first, last)) != parts[first]["checksum"]:
                return False
        return True


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


def convert_part(stack, profile, output, record, first, last):
    """What a worker does. Another may have done it, and was lost before Dask knew."""
    if not record.has(first):
        pages = stack.read(first, last)
        pictures = profile.apply(np.moveaxis(pages, 1, -1) if stack.planes else pages)
        output.write(stack, first, np.ascontiguousarray(pictures))
        record.add(first, {"pages": last - first, "checksum": zlib.crc32(pages)})


def begin(stack, output, record, profile, part_bytes):
    """Begin a stack, or go on with it: its parts that are not finished, as (first, last + 1)."""
    dtype = np.uint8 if profile.output_depth == 8 else np.uint16
    now = {"profile": profile.to_dict(), "status": stack.status, "leading": [*stack.leading.items()]}
    settings = record.settings()
    if not output.exists():
        record.begin({**now, "pages": max(1, part_bytes // stack.page_bytes)})
        output.create(stack, dtype)
    elif settings is None:
        raise Problem("the output has something of its name that does not come from here")
    elif settings["profile"] != now["profile"]:
        raise Problem(f"the profile has changed since it was begun: remove {record.folder} and the output")
    elif settings["status"] != stack.status:
        old, new = dict(settings["leading"]), stack.leading
        first = next(iter(new))
        grown = stack.status["bytes"] > settings["status"]["bytes"] and {**new, first: old.get(first)} == old
        if not grown or not record.fits(stack):
            raise Problem(f"it has changed since it was begun: remove {record.folder} and the output")
        if new[first] > old[first]:
            output.grow(stack, dtype)
        record.change({**settings, **now})
    return record.unfinished(stack, record.settings()["pages"])


def settle(stack, output, record, failed):
    """Complete a stack whose parts have been seen to, if it is whole and what it was. Whether it is."""
    if failed:
        output.tell_failed(failed)
        raise Problem(*(f"pages {first} to {last - 1}: {why}" for (first, last), why in sorted(failed.items())))
    now = Stack(stack.path)
    if now.status != stack.status and (now.status["bytes"] <= stack.status["bytes"] or not record.fits(now)):
        raise Problem(f"it was changed while it was converted: remove {record.folder} and the output")
    if record.unfinished(stack, 1):
        raise Problem("the records of some parts are gone: run this again")
    if now.status == stack.status and stack.ends and stack.whole == stack.pages:
        output.complete()
        return True
    print(f"{stack.path}: its first {stack.whole} pages are converted. It still grows, or was cut short: run this "
          "again for the rest", file=sys.stderr)
    return False


class Results:
    """What has become of the stacks."""

    def __init__(self):
        self.failed = self.growing = 0

    def see(self, path, task, *arguments):
        """What the task gives, or None when it fails; why is printed."""
        try:
            return task(*arguments)
        except (Problem, OSError, ValueError, LookupError, tifffile.TiffFileError, struct.error) as problem:
            for line in problem.args if isinstance(problem, Problem) else [problem]:
                print(f"{path}: {line}", file=sys.stderr)
            self.failed += 1
            return None

    def settle(self, stack, *arguments):
        self.growing += self.see(stack.path, settle, stack, *arguments) is False

    def exit_code(self):
        return 1 if self.failed else 3 if self.growing else 0


def begin_all(arguments, profile, results):
    """The stacks that can be converted, as (stack, output, record, unfinished parts)."""
    kind = {"tiff": TiffOutput, "zarr": ZarrOutput}[arguments.format]
    begun, names = [], set()

    def begin_one(path):
        place = path.relative_to(arguments.recording)
        name = place.with_suffix("").as_posix()
        if name in names:
            raise Problem("another stack has the same name")
        names.add(name)
        stack, output = Stack(path), kind(arguments.output, name)
        record = Record(arguments.output / ".progress" / place)
        begun.append((stack, output, record, begin(stack, output, record, profile, arguments.part_size * 2**20)))

    for path in sorted(arguments.recording.rglob("*")):
        if path.suffix.lower() in (".tif", ".tiff"):
            results.see(path, begin_one, path)
    return begun


def convert(client, stacks, profile, results):
    """Convert the parts, and settle each stack with its last."""
    of_future, left, failed = {}, {}, {}
    for number, (stack, output, record, parts) in enumerate(stacks):
        left[number], failed[number] = len(parts), {}
        for part in parts:
            of_future[client.submit(convert_part, stack, profile, output, record, *part, pure=False)] = (number, part)
    if sys.stdout.isatty():
        threading.Thread(target=progress, args=(list(of_future),), daemon=True).start()
    for future in as_completed(of_future):
        number, part = of_future[future]
        left[number] -= 1
        if future.status != "finished":
            failed[number][part] = str(future.exception())
        if left[number] == 0:
            results.settle(*stacks[number][:3], failed[number])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("recording", type=pathlib.Path, help="the folder of TIFF stacks; folders in it count")
    parser.add_argument("output", type=pathlib.Path, help="the folder to write to")
    parser.add_argument("--profile", type=pathlib.Path, required=True, help="the camera profile")
    parser.add_argument("--format", choices=["zarr", "tiff"], default="zarr")
    parser.add_argument("--scheduler", help="the address of Dask's scheduler (default: a cluster on this machine)")
    parser.add_argument("--workers", type=int, default=2, help="processes on this machine (default: %(default)s)")
    parser.add_argument("--threads", type=int, default=1, help="threads of each (default: %(default)s)")
    parser.add_argument("--part-size", type=int, default=64, help="megabytes of a part (default: %(default)s)")
    arguments = parser.parse_args()
    arguments.recording, arguments.output = arguments.recording.resolve(), arguments.output.resolve()
    if not arguments.recording.is_dir():
        parser.error(f"{arguments.recording} is no folder")
    if arguments.output.is_relative_to(arguments.recording):
        parser.error("the output must lie outside the recording")

    try:
        profile = kc.Profile.load(arguments.profile)
    except (OSError, ValueError) as error:
        parser.error(str(error))

    results = Results()
    stacks = begin_all(arguments, profile, results)
    if not stacks and not results.failed:
        parser.error(f"{arguments.recording} has no TIFF stacks")
    for stack, output, record, parts in stacks:
        if not parts:
            results.settle(stack, output, record, {})
    unfinished = [stack for stack in stacks if stack[3]]
    if not unfinished:
        return results.exit_code()
    if arguments.scheduler:
        client = Client(arguments.scheduler)
    else:
        folder = dask.config.get("temporary-directory") or tempfile.gettempdir()
        client = Client(LocalCluster(n_workers=arguments.workers, threads_per_worker=arguments.threads,
                                     local_directory=folder))
    with client:
        print(f"Dashboard: {client.dashboard_link}", flush=True)
        convert(client, unfinished, profile, results)
    return results.exit_code()


if __name__ == "__main__":
    sys.exit(main())
