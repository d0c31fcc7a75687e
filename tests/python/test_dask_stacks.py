"""The example examples/dask_stacks.py: whole recordings, killed workers and runs, stacks that grow or change."""

import json
import os
import subprocess
import sys
import time

import distributed
import numpy as np
import psutil
import pytest
import tifffile
import zarr

import dask_stack_files
import dask_stacks
import korvex_color as kc

PROFILE = kc.Profile(bits=12, black_level=(64, 63, 65), matrix=np.eye(3) * 1.1, tone_curve="srgb", output_depth=8)
STACK = np.random.default_rng(7).integers(0, 4096, (200, 10, 12, 3), dtype=np.uint16)


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None,
                                  local_directory=tmp_path_factory.mktemp("dask")) as cluster:
        yield cluster


@pytest.fixture
def recording(tmp_path):
    folder = tmp_path / "recording"
    (folder / "day 1").mkdir(parents=True)
    PROFILE.save(tmp_path / "camera.json")
    return folder


@pytest.fixture(params=["zarr", "tiff"])
def folder(recording, request):
    """The output, called as its format."""
    return recording.parent / request.param


@pytest.fixture
def command(recording, folder):
    """The example's, which makes parts of one page."""
    options = ["--profile", recording.parent / "camera.json", "--format", folder.name, "--part-size", "0"]
    return [*map(str, [dask_stacks.__file__, recording, folder, *options])]


@pytest.fixture
def run(cluster, command, monkeypatch, capsys):
    """The example in this process, on the cluster; `meanwhile` is called when the first part has been converted."""
    def run(meanwhile=lambda: None):
        def completed(futures):
            results = distributed.as_completed(futures)
            first = next(results)
            meanwhile()
            yield first
            yield from results

        monkeypatch.setattr(dask_stacks, "as_completed", completed)
        monkeypatch.setattr(sys, "argv", [*command, "--scheduler", cluster.scheduler_address])
        try:
            return dask_stacks.main(), capsys.readouterr().err
        except SystemExit as refused:
            return refused.code, capsys.readouterr().err

    return run


def save(file, pages, **options):
    tifffile.imwrite(file, pages, photometric="rgb", **options)


def save_by_pages(file, pages, **options):
    with tifffile.TiffWriter(file) as writer:
        for page in pages:
            writer.write(page, photometric="rgb", contiguous=False, **options)


def pictures(folder, name):
    if folder.name == "tiff":
        return tifffile.imread(folder / f"{name}.tif")
    return np.moveaxis(zarr.open(str(folder), "r")[f"{name}.zarr/0"][:], 1, -1)


def parts(folder):
    """When each of the finished parts was put down."""
    return {file: file.stat().st_mtime_ns for file in folder.rglob(".progress/**/*") if file.name.isdigit()}


def begun(folder):
    return [path.name for path in folder.rglob("*.incomplete")]


def stopped_after(process, folder, count):
    """The workers, stopped when `count` more parts are finished."""
    count += len(parts(folder))
    while len(parts(folder)) < count:
        assert process.poll() is None, process.communicate()
        time.sleep(0.005)
    workers = [child for child in psutil.Process(process.pid).children(recursive=True)
               if "spawn_main" in " ".join(child.cmdline())]
    assert len(workers) == 2
    for worker in workers:
        worker.suspend()
    assert len(parts(folder)) < len(STACK) - 20, "It was over too soon to be killed in the middle."
    return workers


def test_kills(recording, folder, command, run):
    save(recording / "day 1/a.tif", STACK)
    process = subprocess.Popen([sys.executable, *command], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               env={**os.environ, "DASK_TEMPORARY_DIRECTORY": str(recording.parent)})
    killed, other = stopped_after(process, folder, 10)
    assert len([*recording.parent.rglob("dask_stack_files.py")]) == 2  # sent to the workers
    before = parts(folder)
    killed.kill()
    other.resume()
    workers = stopped_after(process, folder, 20)
    process.kill()
    for worker in workers:
        worker.resume()
    assert b"Dashboard: http://" in process.communicate()[0]
    assert not psutil.wait_procs(workers, timeout=60)[1]
    between = parts(folder)
    assert before.items() <= between.items() and len(between) < len(STACK) and len(begun(folder)) == 1

    if folder.name == "zarr":
        (folder / "day 1/a.zarr.incomplete/0/half.partial").touch()  # as if it had been killed while it wrote a chunk
    assert run() == (0, "")
    assert between.items() <= parts(folder).items() and len(parts(folder)) == len(STACK)
    assert np.array_equal(pictures(folder, "day 1/a"), PROFILE.apply(STACK))
    assert not [*folder.rglob("*.partial"), *begun(folder), *folder.rglob("*.new")]
    # A part that another worker has finished needs nothing of it.
    dask_stacks.convert_part(None, None, None, dask_stacks.Record(folder / ".progress/day 1/a.tif"), 0, 1)
    [made] = folder.glob("day 1/a.*")
    made.rename(f"{made}.incomplete")  # as if it had been killed before this last step
    assert run() == (0, "") and made.exists()


def test_stacks_of_all_kinds(recording, folder, run):
    some = STACK[:6]
    save(recording / "flat.tif", some, resolution=(300, 200), resolutionunit="CENTIMETER")
    save(recording / "day 1/packed.tif", some, compression="zlib")
    save(recording / "day 1/planes.tiff", np.moveaxis(some, -1, 1), planarconfig="separate")
    save(recording / "big.endian.tif", some, byteorder=">")
    save(recording / "one.tif", some[0])
    save(recording / "once.tif", some, truncate=True)  # with one directory
    save(recording / "deep.tif", some.reshape(3, 2, *some.shape[1:]), ome=True,
         metadata={"axes": "ZTYXS", "PhysicalSizeX": 2, "PhysicalSizeXUnit": "mm", "PhysicalSizeY": 0.5,
                   "PhysicalSizeZ": 4, "TimeIncrement": 250, "TimeIncrementUnit": "ms"})
    save_by_pages(recording / "apart.tif", some)
    save(recording / "bright.tif", np.where(np.arange(6)[:, None, None, None] % 4 == 3, np.uint16(4096), some))
    save(recording / "volume.tif", some, volumetric=True, compression="zlib")
    tifffile.imwrite(recording / "grey.tif", some[..., 0])
    (recording / "broken.tif").write_bytes((recording / "flat.tif").read_bytes()[:100])
    save(recording / "one.tiff", some[0])
    code, errors = run()
    assert (code, len(errors.splitlines())) == (1, 5), errors
    for problem in ["bright.tif: pages 3 to 3: ", "grey.tif: its pages are not RGB", "broken.tif: ",
                    "volume.tif: its pages are compressed in one piece", "one.tiff: another stack has the same name"]:
        assert f"{recording}/{problem}" in errors
    for name in ["flat", "day 1/packed", "day 1/planes", "big.endian", "one", "once", "deep", "apart"]:
        wanted, made = PROFILE.apply(some[:1] if name == "one" else some), pictures(folder, name)
        if (name, folder.name) == ("deep", "zarr"):
            made = np.moveaxis(made, 1, 0)  # time comes first there
        assert np.array_equal(made.reshape(wanted.shape), wanted), name
    assert begun(folder) == ["bright.tif.incomplete" if folder.name == "tiff" else "bright.zarr.incomplete"]
    assert {part.name for part in parts(folder) if part.parent.name == "bright.tif"} == {*"01245"}
    if folder.name == "tiff":
        for name, resolution in {"flat": (300, 200), "deep": (5, 20000)}.items():
            with tifffile.TiffFile(folder / f"{name}.tif") as file:
                assert (file.pages[0].resolution, file.pages[0].resolutionunit) == (resolution, 3)
        return
    [failed] = zarr.open(str(folder), "r")["bright.zarr.incomplete"].attrs["failed_pages"]
    assert (failed["first"], failed["last"]) == (3, 3) and "beyond" in failed["reason"]
    for name, axes, scale in [("flat", "tcyx", [1, 1, 50, 1e4 / 300]), ("deep", "tczyx", [0.25, 1, 4, 0.5, 2000])]:
        [image] = json.loads((folder / f"{name}.zarr/.zattrs").read_text())["multiscales"]
        assert "".join(axis["name"] for axis in image["axes"]) == axes
        assert image["datasets"][0]["coordinateTransformations"] == [{"type": "scale", "scale": pytest.approx(scale)}]
    assert [axis.get("unit") for axis in image["axes"]] == ["second", None, *["micrometer"] * 3]


@pytest.mark.parametrize("write, options", [(save, {}), (save_by_pages, {"metadata": None})])
def test_growing_stacks(tmp_path, recording, folder, run, write, options):
    file, done = recording / "a.tif", {}
    write(file, STACK[:6], **options)
    content = file.read_bytes()
    with tifffile.TiffFile(file) as whole:
        between = whole.pages[3].offset if write is save_by_pages else 3000  # three pages, and no more
    file.write_bytes(content[:1500])  # in the middle of a page
    for length in [2200, between, None]:
        code, errors = run(lambda: length and file.write_bytes(content[:length]))
        assert code == 3 and "still grows, or was cut short" in errors
        assert len(begun(folder)) == 1 and done.items() < parts(folder).items()
        done = parts(folder)
    # A stack that was complete goes on, too, and also while it is converted.
    for pages, then in [(6, 6), (9, 12), (12, 12)] if write is save_by_pages else [(6, 6)]:
        write(file, STACK[:pages], **options)
        write(tmp_path / "then.tif", STACK[:then], **options)
        code, errors = run(lambda: then > pages and (tmp_path / "then.tif").replace(file))
        assert code == (3 if then > pages else 0) and len(begun(folder)) == (then > pages), errors
        assert done.items() < parts(folder).items() and len(parts(folder)) == pages
    assert np.array_equal(pictures(folder, "a"), PROFILE.apply(STACK[:pages]))
    os.utime(file)
    assert "it has changed since it was begun" in run()[1]


@pytest.mark.parametrize("change, says", [
    (lambda file, _: os.truncate(file, 3000), "a.tif: "),
    (lambda file, _: np.copyto(tifffile.memmap(file)[2], 0), "while it was converted"),  # a page of it
    (lambda file, _: save(file, STACK[50:90]), "while it was converted"),
    (lambda file, _: file.unlink(), "No such file"),
    (lambda _, folder: next(iter(parts(folder))).unlink(), "the records of some parts are gone: run this again")])
def test_what_changes_meanwhile(recording, folder, run, change, says):
    file = recording / "a.tif"
    save(file, STACK[:6])
    code, errors = run(lambda: change(file, folder))
    assert code == 1 and says in errors and len(begun(folder)) == 1
    code, errors = run()
    assert code == (0 if "again" in says else 2 if not file.exists() else 1)
    assert len(begun(folder)) == (code != 0)


def test_what_is_cut_short_while_it_is_read(tmp_path, monkeypatch):
    save(tmp_path / "a.tif", STACK[:6])
    stack = dask_stack_files.Stack(tmp_path / "a.tif")
    os.truncate(stack.path, stack.offset + 5 * stack.page_bytes)
    with pytest.raises(dask_stack_files.Problem, match="shorter"):
        stack.read(0, 1)
    monkeypatch.setattr(dask_stack_files, "status_of", lambda _: stack.status)  # as if it had its length again
    with pytest.raises(dask_stack_files.Problem, match="shorter"):
        stack.read(4, 6)


def test_what_was_cut_short_for_a_while(recording, folder, run):
    file, pages = recording / "a.tif", STACK[:60]
    save(file, pages)
    content, then = file.read_bytes(), file.stat()
    assert run(lambda: os.truncate(file, 3000))[0] == 1
    file.write_bytes(content)
    os.utime(file, ns=(then.st_atime_ns, then.st_mtime_ns))
    assert run() == (0, "") and np.array_equal(pictures(folder, "a"), PROFILE.apply(pages))
    assert folder.name == "tiff" or "failed_pages" not in zarr.open(str(folder), "r")["a.zarr"].attrs


def test_what_is_refused(recording, folder, command, run):
    assert run()[0] == 2  # there are no stacks
    save(recording / "a.TIF", STACK[:3])
    command[2] = str(recording / "pictures")
    code, errors = run()
    assert code == 2 and "outside the recording" in errors
    command[2] = str(folder)
    deep = {"ome": True, "metadata": {"axes": "TZYXS"}}
    save(recording / "deep.tif", STACK[:6].reshape(3, 2, 10, 12, 3), **deep)
    for name in "first", "last", "few":
        save(recording / f"{name}.tif", STACK[:6])
    assert run()[0] == 0
    before = pictures(folder, "a")
    os.utime(recording / "a.TIF")
    save(recording / "deep.tif", STACK[:12].reshape(4, 3, 10, 12, 3), **deep)  # grown, but in two directions
    save(recording / "first.tif", STACK[[50, *range(1, 9)]])  # grown, but with another page where one was
    save(recording / "last.tif", STACK[[*range(5), *range(50, 54)]])
    save(recording / "few.tif", STACK[:2], description="x" * 9999)
    assert run()[1].count("it has changed since it was begun") == 5
    PROFILE.replace(bits=14).save(recording.parent / "camera.json")
    assert "the profile has changed since it was begun" in run()[1]
    (folder / ".progress").rename(recording.parent / "elsewhere")
    code, errors = run()
    assert code == 1 and "does not come from here" in errors
    assert np.array_equal(pictures(folder, "a"), before)
