#!/usr/bin/env python3
"""Convert a recording, a folder of RGB TIFF stacks, with a camera profile on a Dask cluster: to Zarr or TIFF stacks.

    dask_stacks.py recording pictures.zarr --profile camera.json
    dask_stacks.py recording pictures --format tiff --profile camera.json --scheduler tcp://host:8786

Needs python3-distributed, python3-tifffile and python3-zarr. Without --scheduler, processes on this machine do it; with
it, all machines need these packages, and the folders by the same names.

A worker reads, converts and writes some pages of a stack, a part, as one task: it never holds more parts than it has
threads. Once the data of a part is on the disk, OUTPUT/.progress says so, and the part is not done again: not when a
worker is lost, and not when the whole run was killed and is started again with the same arguments. Stacks that have
been added to the recording are converted then, too.
"""

import argparse
import json
import os
import pathlib
import sys
import tempfile
import threading

import dask
import dask.array as da
import numpy as np
import tifffile
import zarr
from distributed import Client, LocalCluster, as_completed, progress

import korvex_color as kc


class Problem(Exception):
    """Why a stack cannot be converted."""


class Stack:
    """A stack of the recording, as an array of the shape (pages, height, width, 3) that reads what it is asked for."""

    dtype = np.dtype(np.uint16)
    ndim = 4

    def __init__(self, path, finished):
        self.path, self.finished = path, finished
        with tifffile.TiffFile(path) as file:
            series = file.series[0]
            axes, sizes = series.axes[-3:], dict(zip(series.axes, series.shape))
            if len(file.series) > 1 or axes not in ("YXS", "SYX") or sizes["S"] != 3 or series.dtype != self.dtype:
                raise Problem("its pages are not all of one size, RGB, of 16 bits")
            self.planes = axes == "SYX"
            self.shape = (series.size // (sizes["Y"] * sizes["X"] * 3), sizes["Y"], sizes["X"], 3)
            self.offset, self.sample = series.dataoffset, file.byteorder + "u2"  # of pages that lie in one piece
            if self.offset is None and len(file.pages) != self.shape[0]:
                raise Problem("its pages are compressed in one piece")

    def __getitem__(self, slices):
        first, last = slices[0].start, slices[0].stop
        if self.finished.has(first):  # by a worker that was lost before Dask knew
            return np.empty((0, *self.shape[1:]), self.dtype)
        if self.offset is None:
            with tifffile.TiffFile(self.path) as file:
                pages = file.asarray(key=range(first, last))
        else:
            size = int(np.prod(self.shape[1:]))
            pages = np.fromfile(self.path, self.sample, (last - first) * size, offset=self.offset + 2 * first * size)
        pages = pages.astype(self.dtype, copy=False)
        if self.planes:
            return np.moveaxis(pages.reshape(-1, 3, *self.shape[1:3]), 1, -1)
        return pages.reshape(-1, *self.shape[1:])


class Finished:
    """The record of a stack: a folder with the settings, and a file for each part, named by its first page."""

    def __init__(self, folder):
        self.folder = folder

    def has(self, first):
        return (self.folder / str(first)).exists()

    def add(self, first):
        (self.folder / str(first)).touch()
        sync(self.folder)

    def settings(self):
        file = self.folder / "settings.json"
        return json.loads(file.read_text()) if file.exists() else None

    def begin(self, settings):
        self.folder.mkdir(parents=True, exist_ok=True)
        for file in self.folder.iterdir():
            file.unlink()
        new = self.folder / "settings.new"
        new.write_text(json.dumps(settings))
        sync(new)
        new.replace(self.folder / "settings.json")
        sync(self.folder)


class TiffOutput:
    """A TIFF stack, whole from the beginning, that is called FILE.incomplete until all parts are written."""

    def __init__(self, folder, name):
        self.file = folder / f"{name}.tif"
        self.begun = folder / f"{name}.tif.incomplete"
        self.offset = None

    def exists(self):
        return self.file.exists() or self.begun.exists()

    def create(self, source, shape, dtype):
        self.file.parent.mkdir(parents=True, exist_ok=True)
        with tifffile.TiffFile(source) as file:
            page = file.pages[0]
            size = {"resolution": page.resolution, "resolutionunit": page.resolutionunit} if 282 in page.tags else {}
        new = self.file.with_suffix(".new")
        tifffile.imwrite(new, shape=shape, dtype=dtype, photometric="rgb", **size)
        sync(new)
        new.replace(self.begun)

    def open(self):
        if self.begun.exists():
            with tifffile.TiffFile(self.begun) as file:
                self.offset = file.series[0].dataoffset

    def write(self, first, pictures):
        with open(self.begun, "r+b") as file:
            file.seek(self.offset + first * pictures[0].nbytes)
            file.write(pictures.data)
        sync(self.begun)

    def complete(self):
        if self.begun.exists():
            self.begun.replace(self.file)
            sync(self.file.parent)


class ZarrOutput:
    """A Zarr array, with a chunk for each page."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name

    def exists(self):
        return zarr.storage.contains_array(DiskStore(self.folder), self.name)

    def create(self, _, shape, dtype):
        group = zarr.open_group(DiskStore(self.folder), "a")
        group.create_dataset(self.name, shape=shape, dtype=dtype, chunks=(1, *shape[1:]))

    def open(self):
        pass

    def write(self, first, pictures):
        zarr.Array(DiskStore(self.folder), self.name)[first : first + len(pictures)] = pictures
        sync(self.folder / self.name)

    def complete(self):
        for left_by_a_kill in (self.folder / self.name).glob("*.partial"):
            left_by_a_kill.unlink()


class DiskStore(zarr.DirectoryStore):
    """A folder in which a chunk gets its name when its data is on the disk."""

    def __init__(self, folder):
        super().__init__(str(folder))

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


def write(pictures, output, finished, block_info=None):
    if len(pictures) > 0:
        first = block_info[0]["array-location"][0][0]
        output.write(first, np.ascontiguousarray(pictures))
        finished.add(first)
    return np.empty((1, 1, 1, 1), bool)


def unfinished_parts(path, output, finished, profile, part_bytes):
    """Begin a stack, or go on with it: its parts that are not finished, as Dask's delayed objects by their pages."""
    stack = Stack(path, finished)
    status = path.stat()
    made_from = {"profile": profile.to_dict(), "bytes": status.st_size, "changed": status.st_mtime_ns}
    settings = finished.settings()
    if output.exists():
        if settings is None:
            raise Problem("the output has something of its name that does not come from here")
        if settings["made_from"] != made_from:
            raise Problem(f"it or the profile has changed since it was begun: remove {finished.folder} and the output")
    else:
        pages = max(1, part_bytes // (2 * int(np.prod(stack.shape[1:]))))
        settings = {"made_from": made_from, "pages": pages}
        finished.begin(settings)
        output.create(path, stack.shape, np.uint8 if profile.output_depth == 8 else np.uint16)
    output.open()

    pages = settings["pages"]
    frames = da.from_array(stack, (pages, -1, -1, -1), name="read-" + dask.base.tokenize(str(path), settings),
                           asarray=False, inline_array=True, meta=np.empty((0, 0, 0, 0), stack.dtype))
    pictures = kc.apply(profile, frames)
    done = pictures.map_blocks(write, output, finished, dtype=bool, chunks=((1,) * pictures.numblocks[0], 1, 1, 1))
    parts = zip(range(0, stack.shape[0], pages), done.to_delayed().ravel())
    return {first: part for first, part in parts if not finished.has(first)}


def begin(arguments, profile):
    """The stacks that can be converted, as (path, output, unfinished parts), and the number of those that cannot."""
    kind = {"tiff": TiffOutput, "zarr": ZarrOutput}[arguments.format]
    begun, problems, names = [], 0, set()
    for path in sorted(arguments.recording.rglob("*")):
        if path.suffix.lower() not in (".tif", ".tiff"):
            continue
        place = path.relative_to(arguments.recording)
        name = place.with_suffix("").as_posix()
        try:
            if name in names:
                raise Problem("another stack has the same name")
            names.add(name)
            output = kind(arguments.output, name)
            finished = Finished(arguments.output / ".progress" / place)
            begun.append((path, output, unfinished_parts(path, output, finished, profile, arguments.part_size * 2**20)))
        except (Problem, OSError, ValueError, LookupError, tifffile.TiffFileError) as problem:
            print(f"{path}: {problem}", file=sys.stderr)
            problems += 1
    return begun, problems


def convert(client, stacks):
    """Convert the parts, and complete each stack with its last. The number of stacks that failed."""
    of_future, left, failed = {}, {}, set()
    for path, output, parts in stacks:
        left[path] = len(parts)
        for first, future in zip(parts, client.compute(list(parts.values()))):
            of_future[future] = (path, output, first)
    if sys.stdout.isatty():
        threading.Thread(target=progress, args=(list(of_future),), daemon=True).start()
    for future in as_completed(of_future):
        path, output, first = of_future[future]
        left[path] -= 1
        if future.status != "finished":
            print(f"{path}: the part from page {first}: {future.exception()}", file=sys.stderr)
            failed.add(path)
        elif left[path] == 0 and path not in failed:
            output.complete()
    return len(failed)


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

    stacks, problems = begin(arguments, profile)
    if not stacks and not problems:
        parser.error(f"{arguments.recording} has no TIFF stacks")
    for _, output, parts in stacks:
        if not parts:
            output.complete()
    if all(not parts for _, _, parts in stacks):
        return 1 if problems else 0
    if arguments.scheduler:
        client = Client(arguments.scheduler)
    else:
        folder = dask.config.get("temporary-directory") or tempfile.gettempdir()
        client = Client(LocalCluster(n_workers=arguments.workers, threads_per_worker=arguments.threads,
                                     local_directory=folder))
    with client:
        print(f"Dashboard: {client.dashboard_link}", flush=True)
        problems += convert(client, stacks)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
