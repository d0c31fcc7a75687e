#!/usr/bin/env python3
"""Estimates cycles a pixel of the main loops on ARM64, by llvm-mca's models of processors.

Compiles arm64_loops.cpp as the library and the NEON module are compiled, takes the innermost loop with the most
instructions of each function and prints the table that stands in benchmarks.md.in. Needs g++-aarch64-linux-gnu and
llvm-19: older models of these processors are those of others.
"""

import re
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROCESSORS = {"Neoverse N1": "neoverse-n1", "Cortex-A78": "cortex-a78"}
# The loops of a conversion: function, optimization, pixels of one turn, turns of it for each pixel's channels.
CONVERSIONS = {
    "48 to 48, matrix": ([("scalar_48_to_48", "-O1", 1, 1)], [("neon_48_to_48", "-O3", 8, 1)]),
    "48 to 24, matrix, shift": ([("scalar_48_to_24", "-O1", 1, 1)], [("neon_48_to_24", "-O3", 8, 1)]),
    "48 to 48, matrix, three output LUTs": (
        [("scalar_48_to_48_LUTs", "-O1", 1, 1)],
        [("neon_sums", "-O3", 8, 1), ("look_ups", "-O3", 8, 3)],
    ),
}
ITERATIONS = 1000


def assembly(optimization: str) -> str:
    folders = ["common", "companion_modules", "color_processing"]
    return subprocess.run(
        ["aarch64-linux-gnu-g++", "-std=c++20", optimization, "-ffp-contract=off", "-fPIC", "-DNDEBUG",
         *(f"-I{ROOT / folder}" for folder in folders), "-S", "-o", "-", ROOT / "benchmarks/arm64_loops.cpp"],
        check=True, capture_output=True, text=True).stdout  # fmt: skip


def function_body(text: str, name: str) -> list[str]:
    """The lines of a function, and of the one that it is: some do nothing but go on to another."""
    found = re.search(rf"^{re.escape(name)}:\n(.*?)^\t\.size\t{re.escape(name)},", text, re.M | re.S)
    if found is None:
        raise SystemExit(f"{name} is not in the assembly")
    lines = found.group(1).splitlines()
    called = re.findall(r"^\tbl?\t(_Z\w+)", found.group(1), re.M)
    return lines + [line for callee in called for line in function_body(text, callee)]


def innermost_loop(lines: list[str]) -> str:
    """From a label to the branch back to it, without another such branch between: the longest of these."""
    places: dict[str, int] = {}
    loops: list[list[str]] = []
    for number, line in enumerate(lines):
        if label := re.match(r"^(\.L\w+):", line):
            places[label.group(1)] = number
        elif (branch := re.match(r"^\t(?:b\.?\w*|cbn?z|tbn?z)\t(?:.*, )?(\.L\w+)$", line)) and branch.group(1) in places:
            body = lines[places[branch.group(1)] : number + 1]
            if not any(loop[-1] in body[:-1] for loop in loops):
                loops.append(body)
    instructions = [[line for line in loop if re.match(r"^\t[a-z]", line)] for loop in loops]
    return "\n".join(max(instructions, key=len))


def cycles(loop: str, processor: str) -> float:
    report = subprocess.run(
        ["llvm-mca-19", "-mtriple=aarch64", f"-mcpu={processor}", f"-iterations={ITERATIONS}"],
        input=loop, check=True, capture_output=True, text=True).stdout  # fmt: skip
    found = re.search(r"^Total Cycles: +(\d+)", report, re.M)
    assert found is not None
    return int(found.group(1)) / ITERATIONS


def main() -> None:
    texts = {optimization: assembly(optimization) for optimization in ("-O1", "-O3")}

    def cycles_a_pixel(loops: list[tuple[str, str, int, int]], processor: str) -> float:
        return sum(
            turns * cycles(innermost_loop(function_body(texts[optimization], name)), processor) / pixels
            for name, optimization, pixels, turns in loops
        )

    print("| cycles a pixel, estimated |" + "".join(f" {name}, scalar | NEON | scalar / NEON |" for name in PROCESSORS))
    print("|---|" + "---:|---:|---:|" * len(PROCESSORS))
    for conversion, (scalar, neon) in CONVERSIONS.items():
        row = f"| {conversion} |"
        for processor in PROCESSORS.values():
            of_scalar, of_neon = cycles_a_pixel(scalar, processor), cycles_a_pixel(neon, processor)
            row += f" {of_scalar:.1f} | {of_neon:.1f} | {of_scalar / of_neon:.1f} |"
        print(row)


if __name__ == "__main__":
    main()
