"""Makes docs/benchmarks.md and docs/benchmarks.svg from Google Benchmark's results.

Usage: benchmark_report.py RESULTS_FOLDER DOCS_FOLDER
"""

import json
import pathlib
import subprocess
import sys

LEVELS = ["scalar", "SSE", "AVX2", "memcpy"]


def medians(file):
    """Pixels a second by benchmark name, each the median of its repetitions, in the order of registration."""
    runs = [
        run
        for run in json.loads(file.read_text())["benchmarks"]
        if run.get("aggregate_name") == "median" and "items_per_second" in run
    ]
    runs.sort(key=lambda run: run["family_index"])
    return {run["run_name"]: run["items_per_second"] for run in runs}


def processor():
    """The processor's name, family and model, as far as the system tells."""
    fields = {}
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        key, _, value = line.partition(":")
        fields.setdefault(key.strip(), value.strip())
    return f"{fields.get('model name')}, family {fields.get('cpu family')}, model {fields.get('model')}"


def table_rows(results, pixels):
    """(case, {level: pixels a second}) in the order of registration."""
    rows = {}
    for name, speed in results.items():
        case, size, level = name.rsplit("/", 2)
        if size == pixels:
            rows.setdefault(case, {})[level] = speed
    return rows


def transform_table(results, pixels):
    lines = [
        "| conversion | scalar | SSE | AVX2 | memcpy | SSE / scalar | AVX2 / scalar | AVX2 / memcpy |",
        "|---|---:|---:|---:|---:|---:|---:|---:|",
    ]
    for case, speed in table_rows(results, pixels).items():
        cells = [f"{speed[level] / 1e9:.2f}" for level in LEVELS]
        cells += [
            f"{speed['SSE'] / speed['scalar']:.1f}",
            f"{speed['AVX2'] / speed['scalar']:.1f}",
            f"{speed['AVX2'] / speed['memcpy']:.2f}",
        ]
        lines.append("| " + " | ".join([case, *cells]) + " |")
    return lines


def comparison_table(results):
    lines = ["| conversion | with | gigapixels a second |", "|---|---|---:|"]
    for name, speed in sorted(results.items(), key=lambda item: (item[0].split("/")[0], -item[1])):
        case, library = name.split("/")[:2]
        lines.append(f"| {case} | {library} | {speed / 1e9:.3f} |")
    return lines


def draw_chart(results, pixels, file):
    data = [
        '"' + case.replace(", ", ",\\n", 1) + '" ' + " ".join(f"{speed[level] / 1e9}" for level in LEVELS)
        for case, speed in table_rows(results, pixels).items()
    ]
    colors = ["#9aa5b1", "#4f9dd9", "#1c5d99", "#d9a441"]
    script = f"""
        set terminal svg size 1100,520 font "sans,11" background "white"
        set output "{file}"
        set title "8 megapixels, one thread" font "sans,14"
        set ylabel "gigapixels a second"
        set style data histogram
        set style histogram clustered gap 1
        set style fill solid border -1
        set grid ytics
        set key top left
        set xtics rotate by -35 font "sans,9"
        set yrange [0:*]
        $data << END
{chr(10).join(data)}
END
        plot {", ".join(
            f'$data using {i + 2}:xtic(1) title "{level}" linecolor rgb "{colors[i]}"'
            for i, level in enumerate(LEVELS))}
    """
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def main():
    results_folder, docs = map(pathlib.Path, sys.argv[1:])
    results = medians(results_folder / "transform.json")
    sizes = sorted({name.rsplit("/", 2)[1] for name in results}, key=int)
    text = [
        "# Speed",
        "",
        f"Measured by `scripts/benchmark` on: {processor()}, one thread. Gigapixels a second,",
        "each the median of five runs that alternated with the others, so that ratios hold on a noisy machine. memcpy",
        "moves as many bytes as the conversion reads and writes, half of them each way. LUTs have 16 bits and the images",
        "are noise over the whole range, which is the worst case for tables.",
        "",
        "![The table below as a chart](benchmarks.svg)",
    ]
    for size in reversed(sizes):
        text += ["", f"## {int(size):,} pixels", "", *transform_table(results, size)]
    comparison = results_folder / "comparison.json"
    if comparison.exists():
        text += [
            "",
            "## What one would take instead",
            "",
            "The same noise image of 8 megapixels, one thread, this library at its AVX2 level. The others do not give the",
            "same bytes (fused or fixed-point arithmetic, smaller tables).",
            "",
            *comparison_table(medians(comparison)),
        ]
    for width in ("16", "8"):
        sweep = results_folder / f"sweep_{width}_bit.txt"
        if sweep.exists():
            text += ["", f"## Every combination, {width}-bit output", "", "```", sweep.read_text().rstrip(), "```"]
    (docs / "benchmarks.md").write_text("\n".join(text) + "\n")
    draw_chart(results, sizes[-1], docs / "benchmarks.svg")


main()
