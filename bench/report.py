#!/usr/bin/python3
"""Makes docs/performance.md of what the benchmarks have measured: its tables, and its plots beside it. The guide has one
table of them too.

bench/report.py --out <all.json> [--page <page.md>] [--guide <guide.md>] [--earlier <all.json>] <program>.json ...

The files of the programs are Google Benchmark's. All of them go into one. Prints what misses its target, what grows
faster than its work, and what is slower than in an earlier file by more than the noise.
"""

import argparse
import json
import math
import pathlib
import platform
import re
import subprocess
import sys
import textwrap

SIZES = {"VGA": 640 * 480, "1080p": 1920 * 1080, "4K": 3840 * 2160, "768x576": 768 * 576}
NATIVE_SIZES = ("VGA", "1080p", "4K")

# Two threads are judged where a loop in registers gains from them, and where memory has the bytes.
LEAST_SHARE_OF_GAIN = 0.85
LEAST_GAIN_OF_LOOP = 1.7
MOST_SHARE_OF_MEMORY = 0.8

# A slope is taken for larger than that of the work from here on: it differs by so much from run to run.
SLOPE_TOLERANCE = 0.15

# What two runs of the same programs differ by, even where all repetitions of each are alike. The machine may be busier
# in one of them: what the operators are compared with shows by how much, as its code stays the same. All but the
# largest of these differences are noise.
LEAST_NOISE = 0.03
SHARE_OF_NOISE = 0.95


# ---- what is measured

def median(values):
    values = sorted(values)
    middle = len(values) // 2
    return values[middle] if len(values) % 2 else (values[middle - 1] + values[middle]) / 2


def spread(values):
    """How far repetitions lie apart, without the fastest and the slowest one where there are five."""
    values = sorted(values)
    return values[-2] - values[1] if len(values) >= 5 else values[-1] - values[0]


NO_FIGURES = {"family_index", "per_family_instance_index", "repetitions", "repetition_index", "threads", "iterations",
              "real_time", "cpu_time"}
OWN_TIMES = {"own_ms", "one_ms", "all_ms"}
MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


def results_of(benchmarks):
    """Name -> {"label", "figures": {name: one value for each repetition}}, from a list of Google Benchmark."""
    results = {}
    for run in benchmarks:
        if run.get("run_type") != "iteration":
            continue
        name = re.sub(r"/(repeats:\d+|min_time:[\d.]+|iterations:\d+|manual_time|real_time)(?=/|$)", "", run["name"])
        if run.get("error_occurred"):
            raise SystemExit(f"bench/report.py: {name} failed: {run['error_message']}")
        result = results.setdefault(name, {"label": run.get("label", ""), "figures": {}})
        figures = {key: value for key, value in run.items()
                   if key not in NO_FIGURES and isinstance(value, (int, float))}
        if not any(key.endswith("_ms") for key in figures):
            figures["us"] = run["real_time"] * MICROSECONDS[run["time_unit"]]
        for key, value in figures.items():
            result["figures"].setdefault(key, []).append(float(f"{value:.6g}"))
    return results


class Result:
    """A result of one program, with the medians of its figures."""

    def __init__(self, result):
        self.label = result["label"]
        self.repetitions = result["figures"]
        self.figures = {key: median(values) for key, values in self.repetitions.items()}

    def __getitem__(self, key):
        return self.figures[key]

    def __contains__(self, key):
        return key in self.figures

    def beside(self):
        """The name of what it is compared with."""
        others = [key[:-3] for key in self.figures if key.endswith("_ms") and key != "own_ms"]
        return others[0] if len(others) == 1 and "ratio" in self else ""


# ---- the rules

def missed(name, result):
    """What a result misses, in words; None where it is good enough or has no target."""
    if "most" in result:
        if result["ratio"] > result["most"]:
            return (f"{name}: {result['ratio']:.2f} times the time of {result.beside()}, "
                    f"at most {result['most']:.2f} was asked for")
    elif result.figures.get("missed", 0) >= 0.5:
        figures = ", ".join(f"{key} {result[key]:.4g}" for key in result.figures if key != "missed")
        return f"{name}: {figures}"
    if threads_are_judged(result) and result["gain"] < LEAST_SHARE_OF_GAIN * result["loop_gain"]:
        return (f"{name}: all threads gain {result['gain']:.2f}, a loop in registers gains {result['loop_gain']:.2f}; "
                f"{LEAST_SHARE_OF_GAIN} of that was asked for")
    return None


def threads_are_judged(result):
    return ("loop_gain" in result and result["loop_gain"] >= LEAST_GAIN_OF_LOOP
            and result["memory_share"] <= MOST_SHARE_OF_MEMORY)


def noise_between(earlier, now):
    """By how much the times of what is compared with differ between two runs; 0.1 is a tenth."""
    changes = sorted(abs(math.log(result[key] / earlier[program][name][key]))
                     for program, results in now.items() for name, result in results.items()
                     for key in result.figures if key.endswith("_ms") and key not in OWN_TIMES
                     and key in earlier.get(program, {}).get(name, ()))
    return max(LEAST_NOISE, changes[math.ceil(SHARE_OF_NOISE * len(changes)) - 1] if changes else 0.0)


def is_slower(earlier, now, noise=LEAST_NOISE):
    """Whether repetitions are slower than earlier ones by more than the noise, and by more than they lie apart."""
    return median(now) - median(earlier) > max(2 * (spread(earlier) + spread(now)), noise * median(earlier))


def compared_figures(result):
    """What is compared between runs: the ratio, which the state of the machine changes little, or times."""
    if "ratio" in result:
        return ["ratio"]
    return [key for key in result.figures if key == "us" or key.endswith("_ms")]


def slower(earlier, now):
    """Lines about what is slower than in an earlier file."""
    noise = noise_between(earlier, now)
    lines = []
    for program, results in now.items():
        for name, result in results.items():
            before = earlier.get(program, {}).get(name)
            if before is None:
                continue
            for key in compared_figures(result):
                if key in before and is_slower(before.repetitions[key], result.repetitions[key], noise):
                    lines.append(f"{program} {name}: {key} {before[key]:.4g} -> {result[key]:.4g}")
    return lines


def slope(points):
    """The slope of log time over log n by least squares, over the upper half of the range of log n."""
    points = sorted((math.log(n), math.log(time)) for n, time in points)
    middle = (points[0][0] + points[-1][0]) / 2
    upper = [point for point in points if point[0] >= middle - 1e-9]
    mean_x = sum(x for x, _ in upper) / len(upper)
    mean_y = sum(y for _, y in upper) / len(upper)
    square = sum((x - mean_x) ** 2 for x, _ in upper)
    return sum((x - mean_x) * (y - mean_y) for x, y in upper) / square if square else float("nan")


class Curve:
    """The times of an operator for several n."""

    def __init__(self):
        self.points = []
        self.work = 0.0

    def slope(self):
        return slope(self.points)

    def grows_faster(self, least=0.0):
        """@param least  slope that is allowed whatever the work, as memory has it"""
        return self.slope() > max(self.work, least) + SLOPE_TOLERANCE


def curves_of(results):
    """Curve name, such as "pixels/native/Not" -> Curve."""
    curves = {}
    for name, result in results.items():
        curve = curves.setdefault(name.rsplit("/n:", 1)[0], Curve())
        curve.points.append((result["n"], result["us"]))
        curve.work = result["work"]
    return {name: curve for name, curve in curves.items() if len(curve.points) > 2}


def allowed_slope(name, curves):
    """Pictures cannot be read faster than memory allows when they leave the caches."""
    memory = curves.get("pixels/native/memcpy")
    return memory.slope() if memory and name.startswith("pixels/") else 0.0


def growing(curves):
    return [f"{name}: slope {curve.slope():.2f}, that of its work is {curve.work:g}"
            for name, curve in curves.items() if curve.grows_faster(allowed_slope(name, curves))]


# ---- tables

def number(value):
    """Three digits, or all before the point."""
    if value == 0 or not math.isfinite(value):
        return "0" if value == 0 else "–"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:,.{digits}f}"


def ratio_text(value):
    return f"{value:.3f}" if value < 0.1 else f"{value:.2f}"


def table(head, rows):
    if not rows:
        return "Nothing was measured.\n"
    return "".join("| " + " | ".join(row) + " |\n" for row in [head, ["---"] * len(head), *rows])


def speed(pixels, milliseconds):
    return pixels / 1e3 / milliseconds


class NativeRow:
    """What was measured of one operator, on one kind of pictures, for each size."""

    def __init__(self):
        self.one, self.all, self.ratio, self.beside, self.missed = {}, {}, {}, "", False

    def cells(self):
        def each(values, text):
            return " / ".join(text(values[size]) if size in values else "–" for size in NATIVE_SIZES) if values else "–"
        ratios = each({k: v for k, v in self.ratio.items() if k in NATIVE_SIZES}, ratio_text)
        if "memory" in self.ratio:
            ratios = ratio_text(self.ratio["memory"])
        return [each(self.one, number), each(self.all, number), self.beside or "–",
                ratios + (" **missed**" if self.missed else "")]


def split_name(name):
    """Operator, size, and what else the name says, of "BGR2HSV/CV_8UC3/1080p/real"."""
    parts = name.replace("CV_", "").split("/")
    size = next((part for part in parts if part in SIZES or part == "memory"), "")
    operator = parts[0][0].upper() + parts[0][1:]  # functions and filters are the same operators
    return operator, size, ", ".join(part for part in parts[1:] if part != size)


def code_or_words(name):
    """How a table shows what something is compared with, such as "cv::Sobel_and_cv::magnitude" or "plain_loop"."""
    return " and ".join(f"`{part}`" if "::" in part else part.replace("_", " ") for part in name.split("_and_"))


def native_rows(results):
    rows = {}
    for name, result in results.items():
        operator, size, pictures = split_name(name)
        if pictures.endswith(", threads"):
            row = rows.setdefault((operator, pictures[:-len(", threads")]), NativeRow())
            row.one.setdefault(size, speed(result["pixels"], result["one_ms"]))
            row.all[size] = speed(result["pixels"], result["all_ms"])
            continue
        row = rows.setdefault((operator, pictures + (", larger than caches" if size == "memory" else "")), NativeRow())
        if "own_ms" in result and size in SIZES:
            row.one[size] = speed(SIZES[size], result["own_ms"])
        row.beside = code_or_words(result.beside())
        if "ratio" in result:
            row.ratio[size] = result["ratio"]
        row.missed = row.missed or missed(name, result) is not None
    return rows


def native_table(results):
    rows = native_rows(results)
    order = {}
    for operator, _ in rows:
        order.setdefault(operator, len(order))
    return table(["Operator", "Pictures", "1 thread (Mpix/s)", "all threads (Mpix/s)", "Beside", "Ratio"],
                 [[f"`{operator}`", pictures, *row.cells()]
                  for (operator, pictures), row in sorted(rows.items(), key=lambda item: order[item[0][0]])])


def threads_table(results):
    rows = []
    for name, result in results.items():
        if "loop_gain" not in result:
            continue
        share = result["gain"] / result["loop_gain"]
        if threads_are_judged(result):
            verdict = "good" if share >= LEAST_SHARE_OF_GAIN else "**missed**"
        elif result["memory_share"] > MOST_SHARE_OF_MEMORY:
            verdict = "bound by memory"
        else:
            verdict = "not judged: the loop gains too little"
        rows.append([f"`{split_name(name)[0]}`", f"{result['gain']:.2f}", f"{result['loop_gain']:.2f}", f"{share:.2f}",
                     f"{result['memory_share']:.2f}", verdict])
    return table(["Operator", "Gain", "Gain of the loop", "Share of it", "Share of memory", "So"], rows)


def gpu_table(results):
    rows = []
    for operator in dict.fromkeys(name.split("/")[0] for name in results if "/execute/" in name):
        row = [f"`{operator}`"]
        for size in NATIVE_SIZES:
            result = results.get(f"{operator}/execute/{size}")
            row += [number(result["own_ms"]), f"{result['ratio']:.3f}" if "ratio" in result else "–"] if result else \
                ["–", "–"]
        for key in ("execute", "round trip"):
            result = results.get(f"{operator}/{key}/1080p")
            row.append(number(speed(SIZES["1080p"], result["own_ms"])) if result else "–")
        rows.append(row)
    return table(["Filter", "VGA (ms)", "beside the draw", "1080p (ms)", "beside the draw", "4K (ms)", "beside the draw",
                  "1080p (Mpix/s)", "with upload and download"], rows)


def gpu_text(results):
    again = [result["us"] for name, result in results.items() if name.endswith("/prepareExecution again")]
    adapter = [result["ratio"] for name, result in results.items() if name.endswith("/driver adapter")]
    if not again or not adapter:
        return "Nothing was measured.\n"
    text = (f"`prepareExecution()` with the same textures again takes {number(min(again))} to {number(max(again))} "
            f"microseconds. A pass at VGA with the driver adapter takes {median(adapter):.3f} times the time of one "
            f"without, in the middle of all filters ({min(adapter):.3f} to {max(adapter):.3f}); llvmpipe needs all of "
            "its adaptations but the last two.")
    return textwrap.fill(text, 120) + "\n"


CPU_SIZES = ("VGA", "768x576", "1080p", "4K")


def pixels_of(name):
    """Of "FaceDetect/VGA", or of "ColourHist2D/8 bins/region of 32 x 32"."""
    _, size, rest = split_name(name)
    if size:
        return SIZES[size]
    width, height = re.search(r"(\d+) x (\d+)", rest).groups()
    return int(width) * int(height)


def cpu_rows(results):
    """(operator, what was measured, what it is compared with) -> {size: (name, result)}."""
    rows = {}
    for name, result in results.items():
        operator, size, what = split_name(name)
        rows.setdefault((operator, what, code_or_words(result.beside())), {})[size] = (name, result)
    return rows


def cpu_cells(operator, what, beside, row):
    def each(text):
        return " / ".join(text(*row[size]) if size in row else "–" for size in ([""] if "" in row else CPU_SIZES))
    is_missed = any(missed(name, result) for name, result in row.values())
    return [f"`{operator}`", what or "–", each(lambda _, result: number(result["own_ms"])),
            each(lambda name, result: number(speed(pixels_of(name), result["own_ms"]))), beside,
            each(lambda _, result: ratio_text(result["ratio"])) + (" **missed**" if is_missed else "")]


def cpu_table(results):
    return table(["Operator", "Of what", "Time (ms)", "Mpix/s", "Beside", "Ratio"],
                 [cpu_cells(*names, row) for names, row in cpu_rows(results).items()])


def marked_slope(name, curves):
    curve = curves[name]
    text = f"{curve.slope():.2f}"
    return f"**{text}**" if curve.grows_faster(allowed_slope(name, curves)) else text


def pixels_table(curves):
    places = {"native": "in memory", "textures": "on textures", "images": "on images"}
    rows = []
    for name, curve in curves.items():
        if not name.startswith("pixels/"):
            continue
        _, place, operator = name.split("/")
        first, last = min(curve.points), max(curve.points)
        rows.append([f"`{operator}`", places[place], number(first[1]), number(speed(last[0], last[1] / 1e3)),
                     marked_slope(name, curves)])
    return table(["Operator", "Where", "64 x 64 (microseconds)", "largest size (Mpix/s)", "Slope"], rows)


def growth_table(curves):
    rows = []
    for name, curve in curves.items():
        grows, place, operator = name.split("/")
        if grows == "pixels":
            continue
        first, last = min(curve.points), max(curve.points)
        operator, _, rest = operator.partition(", ")
        rows.append([f"`{operator}`" + (f", {rest}" if rest else ""), {"native": "in memory"}.get(place, f"on {place}"),
                     f"{grows}, {first[0]:,.0f} to {last[0]:,.0f}", number(first[1]), number(last[1]),
                     marked_slope(name, curves), f"{curve.work:g}"])
    return table(["Operator", "Where", "What grows", "first (microseconds)", "last (microseconds)", "Slope",
                  "of the work"], rows)


# What the guide shows of each family: without neighbours, of one channel, with neighbours, and computed at length.
GUIDE_OPERATORS = ("Subtract", "BGR2GRAY", "Laplacian", "ColorGMM2")


def crossing_table(native, gpu):
    """Milliseconds in main memory and on textures, for the guide."""
    rows = []
    for operator in GUIDE_OPERATORS:
        for size in NATIVE_SIZES:
            in_memory = native.get(f"{operator}/8UC3/{size}/real/threads")
            on_textures = gpu.get(f"{operator}/execute/{size}")
            round_trip = gpu.get(f"{operator}/round trip/{size}")
            if in_memory and on_textures and round_trip:
                rows.append([f"`{operator}`", size, number(in_memory["one_ms"]), number(in_memory["all_ms"]),
                             number(on_textures["own_ms"]), number(round_trip["own_ms"])])
    return table(["Operator", "Picture", "`native`, 1 thread", "`native`, all threads", "on textures",
                  "on textures, with upload and download"], rows)


def python_table(measured):
    own_results = {**measured.get("native", {}), **measured.get("growth", {})}
    rows = {}
    for name, result in measured.get("outside", {}).items():
        own = own_results.get(name)
        if own is None:
            continue
        own_ms = own["one_ms"] if "one_ms" in own else own["us"] / 1e3
        operator, size, _ = split_name(name)
        what = f"`{operator}`" if size else f"`Moments`, {own['n']:,.0f} blobs"
        row = rows.setdefault((what, result.label), {})
        row[size or "VGA"] = (result["other_ms"], result["other_ms"] / own_ms)
    return table(["Operator", "Beside", "its time (ms)", "The operator is faster by"],
                 [[what, f"`{says}`" if " " not in says else says,
                   " / ".join(number(row[size][0]) for size in NATIVE_SIZES if size in row),
                   " / ".join(number(row[size][1]) for size in NATIVE_SIZES if size in row)]
                  for (what, says), row in rows.items()])


def python_calls_table(results):
    rows = []
    for name, result in results.items():
        if name.startswith("call/"):
            most = max(result["us"], result["new_us"]) - result["native_us"]
            rows.append([f"`{result.label}`", *(number(result[key]) for key in ("native_us", "us", "new_us")),
                         number(most) + (" **missed**" if missed(name, result) else "")])
    return table(["Function", "in C++", "with `out`", "without", "beyond C++, at most"], rows)


def python_beside_table(results):
    rows = {}
    for name, result in results.items():
        if name.startswith("beside/"):
            _, operator, types, _, size = name.split("/")
            rows.setdefault((operator, types, result.label), {})[size] = result

    def each(row, key, text):
        return " / ".join(text(row[size][key]) for size in NATIVE_SIZES if size in row)
    return table(["Operator", "Pictures", "Beside", "`velmor` (ms)", "the other (ms)", "Ratio"],
                 [[f"`{operator}`", types, f"`{says}`" if " " not in says else says, each(row, "own_ms", number),
                   each(row, "other_ms", number), each(row, "ratio", ratio_text)]
                  for (operator, types, says), row in rows.items()])


def python_threads_text(results):
    at_once = {name.rsplit("/", 1)[1]: result for name, result in results.items() if name.startswith("at once/")}
    if not at_once:
        return "Nothing was measured.\n"
    label = next(iter(at_once.values())).label
    threads = [f"{result['threads_ratio']:.2f}" + (" **missed**" if missed("at once", result) else "")
               for result in at_once.values()]
    processes = [f"{result['processes_ratio']:.2f}" for result in at_once.values()]
    return textwrap.fill(f"Two Python threads that call `{label}` on floats at {' / '.join(at_once)}, with one thread each, "
                         f"take {' / '.join(threads)} of the time of the same calls in turn. Two processes take "
                         f"{' / '.join(processes)}.", 120) + "\n"


def gstreamer_cost_table(results):
    rows = {}
    for name, result in results.items():
        operator, kind, size = name.split("/")
        if kind == "cost":
            rows.setdefault(operator, {})[size] = result
    return table(["Operator", "alone (ms)", "in its element (ms)", "Ratio"],
                 [[operator if " " in operator else f"`{operator}`",
                   " / ".join(number(row[size][f"{row[size].beside()}_ms"]) for size in row),
                   " / ".join(number(row[size]["own_ms"]) for size in row),
                   " / ".join(ratio_text(row[size]["ratio"]) + (" **missed**" if missed(operator, row[size]) else "")
                              for size in row)] for operator, row in rows.items()])


def gstreamer_beside_table(results):
    rows = {}
    for name, result in results.items():
        what, kind, size = name.split("/")
        if kind == "beside":
            rows.setdefault((what, result.beside()), {})[size] = result

    def frames(row, key):
        return " / ".join(number(1e3 / row[size][key]) for size in row)
    return table(["What", "ours (frames a second)", "GStreamer's", "frames a second"],
                 [[what, frames(row, "own_ms"), f"`{other}`", frames(row, f"{other}_ms")]
                  for (what, other), row in rows.items()])


# ---- plots

def escaped(text):
    return text.replace("`", "").replace("&", "&amp;").replace("<", "&lt;")


def svg(width, height, title, body):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}" '
            'font-family="sans-serif" font-size="13">\n<rect width="100%" height="100%" fill="white"/>\n'
            f'<text x="16" y="26" font-size="15" fill="#222">{escaped(title)}</text>\n' + body + "</svg>\n")


# Keeps text readable where it lies on a line.
OUTLINED = 'stroke="white" stroke-width="4" paint-order="stroke"'


def bars(title, rows, line=None):
    """Rows are (name, value, part of the value that is drawn dark or 0); the line is a value that is marked."""
    row_height, width, top = 22, 360, 48
    left = 24 + 7.5 * max(len(name) for name, _, _ in rows)
    scale = width / max([max(value, part) for _, value, part in rows] + [1.1 * (line or 0)])
    drawn, numbers = "", ""
    for i, (name, value, part) in enumerate(rows):
        y = top + i * row_height
        drawn += f'<text x="{left - 8}" y="{y + 14}" text-anchor="end" fill="#222">{escaped(name)}</text>\n'
        drawn += f'<rect x="{left}" y="{y + 2}" width="{value * scale:.1f}" height="16" fill="#9dbce0"/>\n'
        if part:
            drawn += f'<rect x="{left}" y="{y + 2}" width="{part * scale:.1f}" height="16" fill="#2a5b97"/>\n'
        x = left + max(value, part) * scale + 6
        numbers += f'<text x="{x:.1f}" y="{y + 14}" {OUTLINED} fill="#222">{number(value)}</text>\n'
    if line:
        x = left + line * scale
        drawn += (f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top - 6}" y2="{top + len(rows) * row_height}" '
                  'stroke="#b03a2e"/>\n')
    return svg(max(left + width + 70, 8 * len(title) + 32), top + len(rows) * row_height + 16, title,
               drawn + numbers)


COLOURS = {"native": "#2a5b97", "textures": "#b03a2e", "images": "#5b8c2a"}


def growth_plot(curves):
    """Nanoseconds a pixel over pixels, on logarithmic axes: level lines are what grows as its work does."""
    drawn = {name: [(n, 1e3 * us / n) for n, us in sorted(curve.points)] for name, curve in curves.items()
             if name.startswith("pixels/") and not name.endswith("/memcpy")}
    left, top, width, height = 70, 60, 560, 380
    all_points = [point for points in drawn.values() for point in points]
    low_x, high_x = (math.log10(pick(n for n, _ in all_points)) for pick in (min, max))
    low_y, high_y = (math.floor(math.log10(min(t for _, t in all_points))),
                     math.ceil(math.log10(max(t for _, t in all_points))))

    def place(n, time):
        return (left + width * (math.log10(n) - low_x) / (high_x - low_x),
                top + height * (high_y - math.log10(time)) / (high_y - low_y))
    body = ""
    for power in range(low_y, high_y + 1):
        y = place(10 ** low_x, 10 ** power)[1]
        body += f'<line x1="{left}" x2="{left + width}" y1="{y:.1f}" y2="{y:.1f}" stroke="#ddd"/>\n'
        body += f'<text x="{left - 8}" y="{y + 4:.1f}" text-anchor="end" fill="#222">{10.0 ** power:g}</text>\n'
    for pixels, text in ((4096, "64x64"), (307200, "VGA"), (2073600, "1080p"), (33177600, "8K")):
        if low_x <= math.log10(pixels) <= high_x + 1e-9:
            x = place(pixels, 10 ** low_y)[0]
            body += f'<text x="{x:.1f}" y="{top + height + 20}" text-anchor="middle" fill="#222">{text}</text>\n'
    for name, points in drawn.items():
        path = " ".join("{:.1f},{:.1f}".format(*place(n, time)) for n, time in points)
        body += f'<polyline points="{path}" fill="none" stroke="{COLOURS[name.split("/")[1]]}" opacity="0.6"/>\n'
    for i, (place_name, text) in enumerate((("native", "filters in memory"), ("textures", "filters on textures"),
                                            ("images", "operators on images"))):
        x = left + 190 * i
        body += f'<rect x="{x}" y="{top + height + 34}" width="14" height="14" fill="{COLOURS[place_name]}"/>\n'
        body += f'<text x="{x + 20}" y="{top + height + 46}" fill="#222">{text}</text>\n'
    return svg(left + width + 30, top + height + 64, "Nanoseconds a pixel; one line for each operator", body)


def native_plot(results):
    """Rows of bars: every operator on real frames at 1080p, and one kind of pictures that no cache holds."""
    rows, beside_memory = [], set()
    for (operator, pictures), row in native_rows(results).items():
        if "1080p" in row.ratio and "random" not in pictures:
            rows.append((f"{operator}, {pictures} beside {row.beside}", row.ratio["1080p"], 0))
        elif "memory" in row.ratio and operator not in beside_memory:
            beside_memory.add(operator)
            rows.append((f"{operator}, {pictures.split(',')[0]} beside {row.beside}", row.ratio["memory"], 0))
    return sorted(rows, key=lambda row: row[0])


def plots(measured, curves):
    """File name -> text."""
    made = {}
    gpu = [(name.split("/")[0], result["own_ms"], result["bare_ms"] if "bare_ms" in result else 0)
           for name, result in measured.get("gpu", {}).items() if name.endswith("/execute/VGA")]
    if gpu:
        made["gpu"] = bars("execute() at 640 x 480, in milliseconds (dark: the same draw without the library)", gpu)
    cpu = []
    for (operator, what, beside), row in cpu_rows(measured.get("cpu", {})).items():
        if beside == "memcpy":  # other work, many times as fast
            continue
        _, result = row.get("1080p") or row.get("") or next(iter(row.values()))
        cpu.append((", ".join(filter(None, (operator, what))) + f" beside {beside}", result["ratio"], 0))
    if cpu:
        made["cpu"] = bars("Time at 1080p, or of the size named (line: the other way, 1.0)", cpu, 1.0)
    native = native_plot(measured.get("native", {}))
    if native:
        made["native"] = bars("Time at 1080p, or of pictures larger than the caches (line: the other way, 1.0)",
                              native, 1.0)
    if any(name.startswith("pixels/") for name in curves):
        made["growth"] = growth_plot(curves)
    return {f"performance-{name}.svg": text for name, text in made.items()}


# ---- the page

def machine():
    """What is measured on, in words."""
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    release = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True, check=False).stdout.split("\n")[0]
    cores = re.findall(r"^processor", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    return {"cpu": cpu.group(1) if cpu else platform.machine(), "cores": len(cores),
            "system": release.group(1) if release else platform.system(),
            "compiler": re.sub(r"\s*\(.*?\)", "", compiler).replace("c++", "g++", 1)}


def machine_text(context):
    return (f"Measured on {context['cpu']} with {context['cores']} cores, {context['system']}, {context['compiler']}.\n"
            f"There were {context['repetitions']} repetitions. The load was {context['load']:.1f} when it began.\n")


def tables(context, measured, curves):
    """Marker -> text."""
    native, gpu = measured.get("native", {}), measured.get("gpu", {})
    return {"machine": machine_text(context), "native": native_table(native), "threads": threads_table(native),
            "gpu": gpu_table(gpu), "gpu-text": gpu_text(gpu), "cpu": cpu_table(measured.get("cpu", {})),
            "pixels": pixels_table(curves), "growth": growth_table(curves), "python": python_table(measured),
            "python-calls": python_calls_table(measured.get("python", {})),
            "python-beside": python_beside_table(measured.get("python", {})),
            "python-threads": python_threads_text(measured.get("python", {})),
            "gstreamer-cost": gstreamer_cost_table(measured.get("gstreamer", {})),
            "gstreamer-beside": gstreamer_beside_table(measured.get("gstreamer", {}))}


def filled(page, texts):
    """A page with what stands between its markers replaced."""
    for marker, text in texts.items():
        begin, end = f"<!-- {marker} -->", f"<!-- end of {marker} -->"
        if page.count(begin) != 1 or page.count(end) != 1:
            raise SystemExit(f"bench/report.py: expected one '{begin}' and one '{end}' on the page")
        page = page[:page.index(begin) + len(begin)] + "\n" + text + page[page.index(end):]
    return page


# ---- all of it

def with_medians(programs):
    return {program: {name: Result(result) for name, result in results.items()}
            for program, results in programs.items()}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("parts", nargs="+", type=pathlib.Path)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--page", type=pathlib.Path)
    parser.add_argument("--guide", type=pathlib.Path)
    parser.add_argument("--earlier", type=pathlib.Path)
    given = parser.parse_args()

    parts = {part.stem: json.loads(part.read_text()) for part in given.parts}
    programs = {program: results_of(part["benchmarks"]) for program, part in parts.items()}
    loads = [part["context"]["load_avg"][0] for part in parts.values() if part.get("context", {}).get("load_avg")]
    repetitions = max((len(values) for results in programs.values() for result in results.values()
                       for values in result["figures"].values()), default=0)
    context = {**machine(), "load": loads[0] if loads else 0.0, "repetitions": repetitions}
    given.out.write_text(json.dumps({"context": context, "programs": programs}, indent=1) + "\n")

    measured = with_medians(programs)
    curves = curves_of(measured.get("growth", {}))
    if given.page:
        given.page.write_text(filled(given.page.read_text(), tables(context, measured, curves)))
        for name, text in plots(measured, curves).items():
            given.page.with_name(name).write_text(text)
    if given.guide:
        crossing = crossing_table(measured.get("native", {}), measured.get("gpu", {}))
        given.guide.write_text(filled(given.guide.read_text(), {"crossing": crossing}))

    for program, results in measured.items():
        for name, result in results.items():
            words = missed(name, result)
            if words:
                print(f"MISSED {program} {words}")
    for line in growing(curves):
        print(f"GROWS {line}")
    if given.earlier:
        earlier = json.loads(given.earlier.read_text())
        if earlier["context"]["cpu"] != context["cpu"]:
            print(f"bench/report.py: {given.earlier} is from another processor, {earlier['context']['cpu']}",
                  file=sys.stderr)
        before = with_medians(earlier["programs"])
        print(f"NOISE what the operators are compared with differs by {noise_between(before, measured):.0%} between the "
              "runs")
        for line in slower(before, measured):
            print(f"SLOWER {line}")


if __name__ == "__main__":
    main()
