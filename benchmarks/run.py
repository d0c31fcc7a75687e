"""Measures the library and the converter on this machine and writes the figures to one file.

Usage: run.py PROGRAMS_FOLDER WORK_FOLDER RESULTS [--quick]
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

import tifffile

# Names for what the system calls "Intel(R) Xeon(R) Processor" or "AMD EPYC": by an instruction that came with them,
# since virtual machines often show a wrong model, or else by family and model.
INTEL_BY_FLAG = [
    ("amx_fp16", "Granite Rapids"),
    ("amx_tile", "Sapphire Rapids"),
    ("avx512_vbmi2", "Ice Lake"),
    ("avx512_vnni", "Cascade Lake"),
    ("avx512f", "Skylake"),
]
AMD_BY_FAMILY = {
    23: [(0x30, "Zen"), (0x100, "Zen 2")],
    25: [(0x10, "Zen 3"), (0x20, "Zen 4"), (0x60, "Zen 3"), (0x100, "Zen 4")],
    26: [(0x100, "Zen 5")],
}


def machine():
    """The processor as far as the system tells, and what matters to speed besides."""
    processors = pathlib.Path("/proc/cpuinfo").read_text().strip().split("\n\n")
    fields = {}
    for line in processors[0].splitlines():
        key, _, value = line.partition(":")
        fields[key.strip()] = value.strip()
    family, model, flags = int(fields["cpu family"]), int(fields["model"]), fields["flags"].split()
    if fields["vendor_id"] == "GenuineIntel":
        code_name = next((name for flag, name in INTEL_BY_FLAG if flag in flags), None)
    else:
        code_name = next((name for below, name in AMD_BY_FAMILY.get(family, []) if model < below), None)
    about = f"family {family}, model {model}" + (f": {code_name}" if code_name else "")
    return {
        "processor": f"{fields['model name']} ({about})",
        "short name": code_name or fields["model name"],
        "cores": len(processors),
        "virtual": "hypervisor" in flags,
    }


def timed(command, output):
    """Seconds that the command takes to write the output, which is removed: nothing need reach the disk."""
    output.unlink(missing_ok=True)
    began = time.perf_counter()
    subprocess.run([*map(str, command), str(output)], check=True)
    seconds = time.perf_counter() - began
    size = output.stat().st_size
    output.unlink()
    return seconds, size


def compare(title, read, contestants, rounds):
    """Each command in turn, round by round; a command is a list and a suffix for its output."""
    print(f"  {title}", file=sys.stderr)
    seconds = {name: [] for name in contestants}
    sizes = {}
    for turn in range(-1, rounds):  # the first one only fills the system's caches
        for name, (command, suffix) in contestants.items():
            taken, sizes[name] = timed(command, read.with_name("output" + suffix))
            if turn >= 0:
                seconds[name].append(taken)
    return {"title": title, "bytes read": read.stat().st_size, "bytes written": sizes, "seconds": seconds}


def write_stack(photograph, stack, pages):
    """Frames of 640 x 480 pixels, each another part of the photograph."""
    picture = tifffile.imread(photograph)
    rows, columns = picture.shape[0] - 480, picture.shape[1] - 640
    with tifffile.TiffWriter(stack) as writer:
        for page in range(pages):
            y, x = 7 * page % rows, 11 * page % columns
            writer.write(picture[y : y + 480, x : x + 640], photometric="rgb", metadata=None)


def measure_converter(convert, photograph, profile, work, quick):
    """Whole files by kx_convert, beside a copy by cp."""
    rounds = 1 if quick else 7
    stack, short_stack = work / "stack.tif", work / "short_stack.tif"
    pages, short_pages = (20, 5) if quick else (500, 50)
    write_stack(photograph, stack, pages)
    write_stack(photograph, short_stack, short_pages)
    by_profile = [convert, photograph, "--profile", profile]
    shifted = [convert, stack, "--input-bits", "12"]
    compressed = [convert, short_stack, "--input-bits", "12", "--compression", "zstd"]
    results = [
        compare("The photograph (12 megapixels) to an 8-bit PNG, by its profile", photograph,
                {"kx_convert": (by_profile, ".png")}, rounds),
        compare(f"A stack of {pages} frames (640 x 480), uncompressed", stack,
                {"kx_convert": (shifted, ".tif"), "cp": (["cp", stack], ".tif")}, rounds),
        compare(f"A stack of {short_pages} frames, compressed (zstd)", short_stack,
                {"kx_convert": (compressed, ".tif"), "on one thread": ([*compressed, "--threads", "1"], ".tif")},
                rounds),
    ]
    stack.unlink()
    short_stack.unlink()
    return results


def main():
    programs, work, results_file = map(pathlib.Path, sys.argv[1:4])
    quick = sys.argv[4:] == ["--quick"]
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    photograph, dark, profile = work / "camera.tif", work / "dark.tif", work / "camera.json"
    chart = programs / "kx_chart"
    corners = "706,600 3395,532 3545,2390 560,2245".split()  # as in scripts/demo
    print("The photograph of the demo", file=sys.stderr)
    camera = pathlib.Path(__file__).resolve().parent.parent / "examples/simulated_camera.py"
    for command in (
        [sys.executable, camera, photograph],
        [sys.executable, camera, dark, "--dark", "--seed", "25"],
        [chart, "calibrate", photograph, profile, "--corners", *corners, "--bits", "12", "--dark", dark],
    ):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    figures = work / "figures.json"
    environment = {name: value for name, value in os.environ.items() if not name.startswith("KVI_LOG")}
    subprocess.run([programs / "kx_benchmark", photograph, figures, *sys.argv[4:]], check=True, env=environment)
    print("The converter", file=sys.stderr)
    converter = measure_converter(programs / "kx_convert", photograph, profile, work, quick)
    results = {"machine": machine(), **json.loads(figures.read_text()), "converter": converter}
    results_file.write_text(json.dumps(results) + "\n")


main()
