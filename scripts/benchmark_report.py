"""Makes docs/benchmarks.md, docs/benchmarks.svg and the README's figures from what benchmarks/run.py measured.

Usage: benchmark_report.py FOLDER RESULTS [RESULTS_OF_ANOTHER_MACHINE...]

FOLDER has README.md and docs. All figures are those of the first file; further ones stand beside it in a table of their
own.
"""

import json
import pathlib
import statistics
import string
import sys

import matplotlib
import matplotlib.pyplot

PATHS = ["scalar", "SSE", "AVX2, 256 bits", "AVX2, 512 bits"]
COLORS = dict(zip(PATHS, ["#9aa5b1", "#9ecae1", "#4292c6", "#08519c"]))

# What README and chart show: conversion, image, pixels.
HEADLINES = [
    ("48 to 48, matrix", "noise", 8_000_000),
    ("48 to 24, matrix, shift -8", "noise", 8_000_000),
    ("48 to 64, matrix", "noise", 8_000_000),
    ("48 to 32, matrix, shift -8", "noise", 8_000_000),
    ("48 to 24, matrix, output LUTs", "noise", 8_000_000),
    ("48 to 24, matrix, output LUTs", "photograph", 12_000_000),
    ("48 to 24, input LUTs, matrix, output LUTs", "photograph", 12_000_000),
    ("48 to 24, input LUTs, matrix, output LUTs", "frame", 307_200),
]
BEGIN, END = "<!-- Made by scripts/benchmark -->", "<!-- Until here -->"


def table(columns, rows, left=1):
    """Markdown; the first columns are flush left."""
    marks = ["---"] * left + ["---:"] * (len(columns) - left)
    return ["| " + " | ".join(cells) + " |" for cells in [columns, marks, *rows]]


def speed(row, name):
    """Gigapixels a second."""
    return row["pixels"] / statistics.median(row["seconds"][name]) / 1e9


def ratio(seconds, name, other):
    """How many times as fast `name` is, by the rounds in which both had their turn."""
    return statistics.median(b / a for a, b in zip(seconds[name], seconds[other], strict=True))


def figure(value):
    return f"{value:.2f}" if value >= 0.1 else f"{value:.3f}"


def fastest(row, names):
    """The fastest of those names that the row has, or None."""
    return max((name for name in names if name in row["seconds"]), key=lambda name: speed(row, name), default=None)


def image_text(row):
    pixels = row["pixels"]
    size = f"{pixels / 1e6:.3g} MP" if pixels > 1e5 else f"{pixels:,} pixels"
    return f"{row['image']}, {row['bits']} bits, {'640 x 480' if row['image'] == 'frame' else size}"


def headlines(results):
    """The rows of HEADLINES; the photograph's size and a quick run's may differ a little."""
    for conversion, image, pixels in HEADLINES:
        candidates = [
            row for row in results["conversions"]["rows"] if (row["conversion"], row["image"]) == (conversion, image)
        ]
        yield min(candidates, key=lambda row: abs(row["pixels"] - pixels))


def paths_of(row):
    return [path for path in PATHS if path in row["seconds"]]


def shipped(row):
    """The path that a host gets: the widest."""
    return paths_of(row)[-1]


def conversion_table(rows, peers=()):
    """With the peers' names also the fastest of them, else the two widths of the AVX2 module against one another."""
    paths = paths_of(rows[0])
    columns = ["conversion", "image", *paths, "memcpy", "against scalar", "against memcpy"]
    columns += ["fastest other library"] if peers else ["512 / 256 bits"] if PATHS[-1] in paths else []
    lines = []
    for row in rows:
        seconds = row["seconds"]
        cells = [row["conversion"], image_text(row), *(figure(speed(row, name)) for name in [*paths, "memcpy"])]
        cells += [f"{ratio(seconds, shipped(row), 'scalar'):.1f}", f"{ratio(seconds, shipped(row), 'memcpy'):.2f}"]
        if peers:
            other = fastest(row, peers)
            cells.append(f"{other} {figure(speed(row, other))}" if other else "")
        elif PATHS[-1] in paths:
            cells.append(f"{ratio(seconds, PATHS[-1], PATHS[-2]):.2f}")
        lines.append(cells)
    return table(columns, lines, left=2)


def peer_table(results):
    peers = results["conversions"]["peers"]
    lines = []
    for row in results["conversions"]["rows"]:
        for name in sorted((peer for peer in peers if peer in row["seconds"]), key=lambda peer: -speed(row, peer)):
            differing = row["differences"][name]
            lines.append([row["conversion"], image_text(row), name, figure(speed(row, name)),
                          f"{ratio(row['seconds'], shipped(row), name):.1f}", f"{100 * differing['share']:.2g} %",
                          str(differing["largest"])])
    columns = ["conversion", "image", "library", "gigapixels a second", "this library is faster by"]
    columns += ["samples that differ", "by at most"]
    return [*table(columns, lines, left=3), "", *(f"- {name} {how}." for name, how in peers.items())]


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def milliseconds(values):
    return [f"{1e3 * value:.2f}" for value in (statistics.median(values), percentile(values, 0.99), max(values))]


def live_frame_table(results):
    lines = [[f"{live['width']} x {live['height']}", live["conversion"], *milliseconds(live["seconds"]["conversion"]),
              *milliseconds(live["seconds"]["memcpy"])] for live in results["live frames"]]
    columns = ["frame", "conversion", "median", "99th percentile", "largest", "memcpy: median", "99th percentile",
               "largest"]
    return table(columns, lines, left=2)


def thread_table(results):
    lines = [[row["conversion"], *(figure(speed(row, name)) for name in row["seconds"]),
              f"{ratio(row['seconds'], 'two threads', 'one thread'):.2f}"] for row in results["threads"]]
    return table(["conversion", "one thread", "two threads", "two / one"], lines)


def converter_table(results):
    lines = []
    for task in results["converter"]:
        for name, seconds in task["seconds"].items():
            again = "" if name == "kx_convert" else f"{ratio(task['seconds'], name, 'kx_convert'):.2f}"
            lines.append([task["title"], name, f"{statistics.median(seconds):.2f}", f"{min(seconds):.2f} to "
                          f"{max(seconds):.2f}", f"{task['bytes written'][name] / 1e6:.0f}", again])
    columns = ["files", "by", "seconds", "from shortest to longest", "megabytes written", "kx_convert / it"]
    return table(columns, lines, left=2)


def empty_calls(results):
    calls = results["empty call"]
    with_logger, without = (f"{statistics.median(calls[name]) * 1e9:.0f}" for name in calls)
    return {"empty_call": with_logger, "without_logger": without}


def machine_text(machine):
    return f"{machine['processor']}, {machine['cores']} cores{' of a virtual machine' if machine['virtual'] else ''}"


def spreads(results):
    """Half of the distance between the quartiles, as a share of the median, in percent."""
    shares = []
    for row in results["conversions"]["rows"]:
        for seconds in row["seconds"].values():
            low, middle, high = statistics.quantiles(seconds, n=4)
            shares.append(50 * (high - low) / middle)
    return {"usual_spread": f"{statistics.median(shares):.1f}", "wide_spread": f"{percentile(shares, 0.95):.1f}"}


def side_by_side(all_results):
    lines = []
    for rows in zip(*(headlines(results) for results in all_results), strict=True):
        lines.append([rows[0]["conversion"], image_text(rows[0]),
                      *(f"{figure(speed(row, shipped(row)))} ({shipped(row)})" for row in rows)])
    columns = ["conversion", "image", *(results["machine"]["short name"] for results in all_results)]
    return [*table(columns, lines, left=2), "", *(f"- {machine_text(results['machine'])}" for results in all_results)]


def draw_chart(results, file):
    rows = list(headlines(results))
    peers = list(results["conversions"]["peers"])
    paths = paths_of(rows[0])
    bars = [*paths, "fastest other library"] if peers else paths
    height = 0.8 / len(bars)
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "benchmarks", "font.size": 9})
    drawing, axes = matplotlib.pyplot.subplots(figsize=(9.5, 7.5), layout="constrained")
    for number, bar in enumerate(bars):
        names = [bar if bar in PATHS else fastest(row, peers) for row in rows]
        widths = [speed(row, name) if name else 0 for row, name in zip(rows, names, strict=True)]
        places = [place + (number - (len(bars) - 1) / 2) * height for place in range(len(rows))]
        axes.barh(places, widths, height, label=bar, color=COLORS.get(bar, "#e6842a"))
        for place, width, name in zip(places, widths, names, strict=True):
            text = "" if name is None else figure(width) if bar in PATHS else f"{figure(width)} {name}"
            axes.text(width, place, " " + text, va="center", fontsize=7)
    copies = [speed(row, "memcpy") for row in rows]
    axes.vlines(copies, [place - 0.42 for place in range(len(rows))], [place + 0.42 for place in range(len(rows))],
                colors="black", linestyles="dashed", linewidth=1, label="memcpy of the same bytes")
    axes.set_yticks(range(len(rows)), [row["conversion"] + "\n" + image_text(row) for row in rows])
    axes.invert_yaxis()
    axes.set_xlabel("gigapixels a second, one thread")
    axes.set_title(results["machine"]["processor"])
    axes.spines[["top", "right"]].set_visible(False)
    axes.legend(loc="upper center", bbox_to_anchor=(0.5, -0.08), ncols=3, frameon=False)
    drawing.savefig(file, metadata={"Date": None})


def filled(template, **texts):
    text = (pathlib.Path(__file__).parents[1] / "benchmarks" / template).read_text()
    return string.Template(text).substitute(
        {name: "\n".join(value) if isinstance(value, list) else value for name, value in texts.items()}
    )


def readme_part(results):
    rows = list(headlines(results))
    photograph, stack = results["converter"][:2]
    median, high, largest = milliseconds(results["live frames"][0]["seconds"]["conversion"])
    return filled(
        "readme.md.in",
        machine=machine_text(results["machine"]),
        shipped=shipped(rows[0]),
        table=conversion_table(rows, list(results["conversions"]["peers"])),
        median=median,
        high=high,
        largest=largest,
        png_seconds=f"{statistics.median(photograph['seconds']['kx_convert']):.1f}",
        stack_megabytes=f"{stack['bytes read'] / 1e6:.0f}",
        stack_ratio=f"{ratio(stack['seconds'], 'cp', 'kx_convert'):.2f}",
        **empty_calls(results),
    )


def document(all_results):
    results = all_results[0]
    rows = results["conversions"]["rows"]
    text = filled(
        "benchmarks.md.in",
        machine=machine_text(results["machine"]),
        rounds=str(results["rounds"]),
        large_images=conversion_table([row for row in rows if row["pixels"] > 5e5]),
        small_images=conversion_table([row for row in rows if row["pixels"] <= 5e5]),
        peers=peer_table(results),
        frames=str(len(results["live frames"][0]["seconds"]["conversion"])),
        live_frames=live_frame_table(results),
        threads=thread_table(results),
        converter=converter_table(results),
        **spreads(results),
        **empty_calls(results),
    )
    if len(all_results) > 1:
        text += "\n".join(["", "## Machines side by side", "", *side_by_side(all_results), ""])
    for sweep in sorted(pathlib.Path("build/benchmarks").glob("sweep_*_bit.txt")):
        bits = sweep.stem.split("_")[1]
        text += f"\n## Every combination, {bits}-bit output\n\n```\n{sweep.read_text().rstrip()}\n```\n"
    return text


def main():
    folder, *files = map(pathlib.Path, sys.argv[1:])
    all_results = [json.loads(file.read_text()) for file in files]
    readme = folder / "README.md"
    (folder / "docs/benchmarks.md").write_text(document(all_results))
    before, rest = readme.read_text().split(BEGIN)
    after = rest.split(END)[1]
    readme.write_text(f"{before}{BEGIN}\n{readme_part(all_results[0])}{END}{after}")
    draw_chart(all_results[0], folder / "docs/benchmarks.svg")


main()
