"""The example examples/dask_stacks.py: whole recordings, killed workers, killed runs, and what it refuses."""

import os
import pathlib
import signal
import subprocess
import sys
import time

import distributed
import numpy as np
import psutil
import pytest
import tifffile
import zarr

import korvex_color as kc

EXAMPLE = pathlib.Path(__file__).parents[2] / "examples/dask_stacks.py"
PROFILE = kc.Profile(bits=12, black_level=(64, 63, 65), matrix=np.eye(3) * 1.1, tone_curve="srgb", output_depth=8)
STACK = np.random.default_rng(7).integers(0, 4096, (600, 40, 60, 3), dtype=np.uint16)


@pytest.fixture
def recording(tmp_path):
    folder = tmp_path / "recording"
    (folder / "day 1").mkdir(parents=True)
    PROFILE.save(tmp_path / "camera.json")
    return folder


def save(file, pages, **options):
    tifffile.imwrite(file, pages, photometric="rgb", **options)


def start(recording, kind, *options):
    """The example, which writes to the folder `kind` beside the recording, a page at a time."""
    beside = recording.parent
    command = [sys.executable, EXAMPLE, recording, beside / kind, "--profile", beside / "camera.json", "--format", kind,
               "--part-size", "0", *options]
    return subprocess.Popen([*map(str, command)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            cwd=beside, env={**os.environ, "DASK_TEMPORARY_DIRECTORY": str(beside)})


def finish(*arguments):
    process = start(*arguments)
    out, errors = process.communicate(timeout=300)
    return process.returncode, out, errors


def pictures(folder, kind, name):
    return zarr.open(str(folder), "r")[name][:] if kind == "zarr" else tifffile.imread(folder / f"{name}.tif")


def finished_parts(folder):
    """When each of the finished parts was put down."""
    return {file: file.stat().st_mtime_ns for file in folder.rglob(".progress/**/*") if file.name.isdigit()}


def workers_of(process):
    found = [child for child in psutil.Process(process.pid).children(recursive=True)
             if "spawn_main" in " ".join(child.cmdline())]
    assert len(found) == 2
    return found


def stopped_after(process, folder, count):
    """The workers, stopped when `count` more parts are finished."""
    count += len(finished_parts(folder))
    while len(finished_parts(folder)) < count:
        assert process.poll() is None, process.communicate()
        time.sleep(0.005)
    workers = workers_of(process)
    for worker in workers:
        worker.suspend()
    assert len(finished_parts(folder)) < len(STACK) - 40, "It was over too soon to be killed in the middle."
    return workers


@pytest.mark.parametrize("kind", ["zarr", "tiff"])
def test_kills(recording, kind):
    save(recording / "day 1/a.tif", STACK)
    folder = recording.parent / kind
    process = start(recording, kind)
    killed, other = stopped_after(process, folder, 10)
    before = finished_parts(folder)
    killed.kill()
    other.resume()

    workers = stopped_after(process, folder, 30)
    process.send_signal(signal.SIGKILL)
    process.wait()
    for worker in workers:
        worker.resume()
    _, left = psutil.wait_procs(workers, timeout=60)
    assert not left
    between = finished_parts(folder)
    assert before.items() <= between.items() and len(between) < len(STACK)
    assert not (folder / "day 1/a.tif").exists()

    code, out, errors = finish(recording, kind)
    assert code == 0, errors
    assert "Dashboard: http://" in out
    parts = finished_parts(folder)
    assert between.items() <= parts.items() and len(parts) == len(STACK)
    assert np.array_equal(pictures(folder, kind, "day 1/a"), PROFILE.apply(STACK))
    assert not [*folder.rglob("*.partial"), *folder.rglob("*.incomplete"), *folder.rglob("*.new")]
    if kind == "tiff":  # as if it had been killed before this last step
        (folder / "day 1/a.tif").rename(folder / "day 1/a.tif.incomplete")
    assert finish(recording, kind) == (0, "", "")  # without a cluster
    assert len(pictures(folder, kind, "day 1/a")) == len(STACK)


@pytest.mark.parametrize("kind", ["zarr", "tiff"])
def test_stacks_of_all_kinds(recording, kind, tmp_path):
    some = STACK[:5]
    save(recording / "flat.tif", some, resolution=(300, 200), resolutionunit="CENTIMETER")
    save(recording / "day 1/packed.tif", some, compression="zlib")
    save(recording / "day 1/planes.tiff", np.moveaxis(some, -1, 1), planarconfig="separate")
    save(recording / "big.endian.tif", some, byteorder=">")
    save(recording / "one.tif", some[0])
    save(recording / "once.tif", some.reshape(5, 1, *some.shape[1:]), truncate=True)  # with one directory
    good = ["flat", "day 1/packed", "day 1/planes", "big.endian", "one", "once"]
    save(recording / "too_bright.tif", np.where(np.arange(5)[:, None, None, None] == 3, np.uint16(4096), some))
    tifffile.imwrite(recording / "grey.tif", some[..., 0])
    (recording / "broken.tif").write_bytes((recording / "flat.tif").read_bytes()[:100])
    save(recording / "one.tiff", some[0])
    with distributed.LocalCluster(n_workers=1, threads_per_worker=2, dashboard_address=None,
                                  local_directory=tmp_path) as cluster:
        code, _, errors = finish(recording, kind, "--scheduler", cluster.scheduler_address)
        assert (code, len(errors.splitlines())) == (1, 4), errors
        for name in good:
            wanted = PROFILE.apply(some[:1] if name == "one" else some)
            assert np.array_equal(pictures(recording.parent / kind, kind, name).reshape(wanted.shape), wanted), name
    for problem in ["too_bright.tif: the part from page 3: frame", "grey.tif: its pages are not all",
                    "broken.tif: ", "one.tiff: another stack has the same name"]:
        assert f"{recording}/{problem}" in errors
    bright = [part for part in finished_parts(recording.parent / kind) if part.parent.name == "too_bright.tif"]
    assert sorted(part.name for part in bright) == ["0", "1", "2", "4"]
    if kind == "tiff":
        assert not (recording.parent / kind / "too_bright.tif").exists()
        with tifffile.TiffFile(recording.parent / kind / "flat.tif") as file:
            assert (file.pages[0].resolution, file.pages[0].resolutionunit) == ((300, 200), 3)


@pytest.mark.parametrize("kind", ["zarr", "tiff"])
def test_what_is_refused(recording, kind):
    folder = recording.parent / kind
    (recording / "a.tif.incomplete").touch()
    code, _, errors = finish(recording, kind)
    assert code == 2 and "has no TIFF stacks" in errors
    save(recording / "a.TIF", STACK[:3])
    process = subprocess.run([sys.executable, EXAMPLE, recording, recording / "pictures", "--profile",
                              recording.parent / "camera.json"], capture_output=True, text=True)
    assert process.returncode == 2 and "outside the recording" in process.stderr

    assert finish(recording, kind)[0] == 0
    before = pictures(folder, kind, "a")
    PROFILE.replace(bits=14).save(recording.parent / "camera.json")
    code, _, errors = finish(recording, kind)
    assert code == 1 and "it or the profile has changed" in errors
    (folder / ".progress").rename(recording.parent / "elsewhere")
    code, _, errors = finish(recording, kind)
    assert code == 1 and "does not come from here" in errors
    assert np.array_equal(pictures(folder, kind, "a"), before)
    (recording.parent / "camera.json").write_text("{}")
    code, _, errors = finish(recording, kind)
    assert code == 2 and "camera.json" in errors
