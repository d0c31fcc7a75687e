#!/usr/bin/env python3
"""Convert a recording, a folder of RGB TIFF stacks, with a camera profile on a Dask cluster: to OME-Zarr or TIFF stacks.

    dask_stacks.py recording pictures --profile camera.json
    dask_stacks.py recording pictures --format tiff --profile camera.json --scheduler tcp://host:8786

Needs dask_stack_files.py beside it, and python3-distributed, python3-tifffile and python3-zarr. Without --scheduler,
processes on this machine do it; with it, all machines need korvex_color, these packages, and the folders by the same
names. The workers get the two files from here.

A worker reads, converts and writes some pages of a stack, a part, as one task: it never holds more parts than it has
threads. Once the data of a part is on the disk, OUTPUT/.progress says so, and the part is not done again: not when a
worker is lost, and not when the whole run was killed and is started again with the same arguments.

What has been converted of a stack is called NAME.incomplete until every page of it is there and the stack is seen to be
what it was at the beginning. Stacks may still grow, and new ones may come: their whole pages are converted, and the
next run goes on with the rest.

Exit code 0: every stack is complete. 1: some failed. 2: wrong arguments. 3: none failed, but some are not whole yet.
"""

import argparse
import json
import pathlib
import sys
import tempfile
import threading
import uuid
import zlib

import dask
import numpy as np
from distributed import Client, LocalCluster, as_completed, progress

import dask_stack_files
import korvex_color as kc
from dask_stack_files import FAILURES, Problem, Stack, TiffOutput, ZarrOutput, sync


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
        parts, first, left = self.parts(), 0, []
        while first < stack.whole:
            if first in parts:
                first += parts[first]["pages"]
            else:
                last = min(first + pages, stack.whole)
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
        except FAILURES as problem:
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
        client.upload_file(dask_stack_files.__file__)
        convert(client, unfinished, profile, results)
    return results.exit_code()


if __name__ == "__main__":
    sys.exit(main())
