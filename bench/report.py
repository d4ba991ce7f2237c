#!/usr/bin/env python3
"""Writes the benchmark page and its chart: report.py RESULTS PAGE CHART.

RESULTS holds wide.json (and avx2.json, sse2.json, system.json) of Google Benchmark with repeated medians, accuracy.md,
busy.md, sizes.md and pointcloud.txt.
A benchmark's name is OPERATION/WHO/SIZE/THREADS; ours is divided by the rival of the same operation, size and threads."""
import json
import math
import pathlib
import re
import subprocess
import sys

# What the project wants to reach against the rival, by operation: one thread, two threads.
WANTED = {
    "Transform2d": (2.0, 1.8), "Transform1d": (1.5, 1.5), "Fft": (3.0, 3.0), "AsmProp": (5.0, 5.0),
    "RawAsmProp": (4.5, 4.5), "ExactAsmProp": (4.5, 4.5), "ShiftedAsmProp(..,1)": (4.5, 4.5), "ScaledFft": (15.0, 15.0),
    "ShiftedFresnelProp": (15.0, 15.0), "point exact": (11.0, 11.0), "point table": (4.5, 4.5),
    "point recurrence": (2.8, 2.8), "RotateFs cubic 8": (11.0, 11.0), "LM save": (0.9, 0.9), "LM load": (0.9, 0.9),
    "ConvToIntensity": (4.0, 4.0), "ConvToLogIntensity": (4.0, 4.0), "Normalize": (4.0, 4.0), "polar and back": (4.0, 4.0),
}

# From which size on; smaller ones are shown without a wish.
WANTED_FROM = {"AsmProp": 256, "RawAsmProp": 512}


def wanted_of(operation, size, threads):
    wanted = WANTED.get(operation) or ((5.0, 5.0) if operation.startswith("ResamplingCopy") else None)
    if operation == "point table" and size > 1024:
        wanted = (3.3, 3.3)  # from memory
    if operation == "AsmProp" and size > 4096:
        wanted = (4.5, 4.5)  # likewise
    return wanted[0 if threads == 1 else 1] if wanted and size >= WANTED_FROM.get(operation, 0) else None


def medians(path):
    data = json.loads(path.read_text(encoding="utf-8"))
    rows = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        operation, who, size, threads = re.sub(r"/real_time.*|_median.*", "", b["run_name"]).rsplit("/", 3)
        rows.setdefault((operation, int(size), int(threads)), {})[who] = (b["real_time"], b.get("samples", 0.0))
    return data["context"], rows


ORDER = ["Transform2d", "Transform1d", "Fft", "AsmProp", "RawAsmProp", "ExactAsmProp", "ShiftedAsmProp", "ScaledFft",
         "ShiftedFresnelProp", "FresnelProp", "FourierProp", "Rotate", "RotateFs", "ResamplingCopy", "point", "sine"]


def repetitions(results):
    """How many repetitions medians are taken of, `7 to 9` where parts of a run differ."""
    counts = {b["repetitions"] for path in results.glob("*.json") for b in json.loads(path.read_text(encoding="utf-8"))["benchmarks"]}
    return " to ".join(str(count) for count in sorted({min(counts), max(counts)}))


def in_order(rows):
    def rank(name):
        return next((n for n, o in enumerate(ORDER) if name.split(",")[0].split("(")[0].split(" ")[0] == o), len(ORDER))
    return dict(sorted(rows.items(), key=lambda item: (rank(item[0][0]), item[0][0], item[0][2], item[0][1])))


def milliseconds(value):
    return "%.3g" % value


def table(rows, with_target):
    out = ["| Operation | Size | Threads | Ours, ms | ns per sample | Rival | Rival, ms | Ratio |" + (" Wanted |" if with_target else ""),
           "|---|---|---|---|---|---|---|---|" + ("---|" if with_target else "")]
    for (operation, size, threads), sides in rows.items():
        if "ours" not in sides:
            continue
        ours, samples = sides["ours"]
        for who, (rival, _) in list(sides.items()) if len(sides) == 1 else sorted(s for s in sides.items() if s[0] != "ours"):
            if who == "ours":
                who, rival = "-", None
            wanted = wanted_of(operation, size, threads)
            line = "| %s | %d | %d | %s | %.2f | %s | %s | %s |" % (
                operation, size, threads, milliseconds(ours), ours * 1e6 / samples if samples else 0.0, who,
                milliseconds(rival) if rival else "-", "%.2f" % (rival / ours) if rival else "-")
            if with_target:
                line += " %s |" % ("%.1f" % wanted if wanted and rival else "-")
            out.append(line)
    return out


def chart(rows, path):
    """Time per sample against grid size on one thread, as SVG."""
    series = []
    for operation, colour in (("Transform2d", "#1b6ca8"), ("Fft", "#2e8b57"), ("AsmProp", "#b03a2e"), ("ScaledFft", "#7d3c98")):
        for ours in (True, False):
            points = []
            for (op, size, threads), sides in sorted(rows.items(), key=lambda r: r[0][1]):
                if op != operation or threads != 1:
                    continue
                pick = [v for who, v in sorted(sides.items()) if (who == "ours") == ours]
                if pick:
                    points.append((size, pick[0][0] * 1e6 / pick[0][1]))
            if points:
                series.append((operation + (", LumoraLib" if ours else ", rival"), colour, ours, points))
    if not series:
        return
    width, height, left, top, right, bottom = 760, 460, 70, 20, 230, 50
    xs = [math.log2(s) for _, _, _, p in series for s, _ in p]
    ys = [math.log10(t) for _, _, _, p in series for _, t in p]
    x0, x1 = min(xs), max(max(xs), min(xs) + 1)
    y0, y1 = math.floor(min(ys) * 2) / 2, math.ceil(max(ys) * 2) / 2

    def at(size, time):
        x = left + (math.log2(size) - x0) / (x1 - x0) * (width - left - right)
        y = top + (y1 - math.log10(time)) / (y1 - y0) * (height - top - bottom)
        return x, y

    out = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" font-family="sans-serif" font-size="12">' % (width, height),
           '<rect width="100%" height="100%" fill="white"/>']
    for e in range(int(x0), int(x1) + 1):
        x, _ = at(2 ** e, 10 ** y0)
        out.append('<line x1="%.1f" y1="%d" x2="%.1f" y2="%d" stroke="#ddd"/>' % (x, top, x, height - bottom))
        out.append('<text x="%.1f" y="%d" text-anchor="middle">%d²</text>' % (x, height - bottom + 18, 2 ** e))
    decade = y0
    while decade <= y1 + 1e-9:
        _, y = at(2 ** x0, 10 ** decade)
        out.append('<line x1="%d" y1="%.1f" x2="%d" y2="%.1f" stroke="#ddd"/>' % (left, y, width - right, y))
        out.append('<text x="%d" y="%.1f" text-anchor="end">%.3g</text>' % (left - 6, y + 4, 10 ** decade))
        decade += 0.5
    out.append('<text x="%d" y="%d" text-anchor="middle">grid</text>' % ((left + width - right) // 2, height - 8))
    out.append('<text x="16" y="%d" transform="rotate(-90 16 %d)" text-anchor="middle">ns per sample, one thread</text>' % (height // 2, height // 2))
    for n, (name, colour, ours, points) in enumerate(series):
        dash = "" if ours else ' stroke-dasharray="5 4"'
        line = " ".join("%.1f,%.1f" % at(*p) for p in points)
        out.append('<polyline points="%s" fill="none" stroke="%s" stroke-width="2"%s/>' % (line, colour, dash))
        y = top + 14 + 20 * n
        out.append('<line x1="%d" y1="%d" x2="%d" y2="%d" stroke="%s" stroke-width="2"%s/>' % (width - right + 14, y - 4, width - right + 44, y - 4, colour, dash))
        out.append('<text x="%d" y="%d">%s</text>' % (width - right + 50, y, name))
    out.append("</svg>")
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n".join(out) + "\n", encoding="utf-8")


def cpu_name():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def main():
    results, page, drawing = (pathlib.Path(a) for a in sys.argv[1:4])
    context, rows = medians(results / "wide.json")
    if (results / "small.json").exists():
        rows.update(medians(results / "small.json")[1])
    rows = in_order(rows)
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True, check=False).stdout.splitlines()[:1]
    out = ["# Benchmarks", "",
           "Written by `./bench/run`. Medians of %s repetitions in random order; ours and the rival of a row ran in the same process, with the same number of"
           % repetitions(results),
           "threads, on the same data, and every result was checked before it was timed. FFTW is planned with MEASURE, and planning is not",
           "counted. Compare ratios, not milliseconds: the machine is a small virtual one and noisy. `GetSquareSum` runs the same code on",
           "both sides: its ratio shows how far noise alone can move one. `FftLib 0` rows are the step-by-step engine.", "",
           "| | |", "|---|---|",
           "| Processor | %s, %d processors, wide code: %s |" % (cpu_name(), context["num_cpus"], context["isa"]),
           "| Compiler | %s |" % (compiler[0] if compiler else context["compiler"]),
           "| LumoraLib | %s |" % context["library"], "| FFTW | %s |" % context["fftw"], "",
           "![Time per sample against grid size](images/benchmarks.svg)", "",
           pathlib.Path(__file__).with_name("rivals.md").read_text(encoding="utf-8").rstrip(), ""]
    out += ["## Ours and the rivals, %s" % context["isa"], ""] + table(rows, True) + [""]
    missed = []
    for (operation, size, threads), sides in rows.items():
        wanted = wanted_of(operation, size, threads)
        rivals = sorted((who, v) for who, v in sides.items() if who != "ours")
        if wanted and "ours" in sides and rivals:
            ratio = rivals[0][1][0] / sides["ours"][0]
            if ratio < wanted:
                missed.append("| %s | %d | %d | %.2f | %.1f |" % (operation, size, threads, ratio, wanted))
    if missed:
        out += ["### Below what is wanted", "", "| Operation | Size | Threads | Ratio | Wanted |", "|---|---|---|---|---|"] + missed + [""]
        notes = pathlib.Path(__file__).with_name("bounds.md")
        if notes.exists():
            out += [notes.read_text(encoding="utf-8").rstrip(), ""]
    scaling = ["| Operation | Size | One thread / two threads |", "|---|---|---|"]
    for (operation, size, threads), sides in rows.items():
        two = rows.get((operation, size, 2), {})
        if threads == 1 and "ours" in sides and "ours" in two:
            scaling.append("| %s | %d | %.2f |" % (operation, size, sides["ours"][0] / two["ours"][0]))
    out += ["## Two threads against one, ours", ""] + scaling + [""]
    for name, title in (("avx2", "AVX2"), ("sse2", "SSE2")):
        if (results / (name + ".json")).exists():
            _, capped = medians(results / (name + ".json"))
            out += ["## The same library capped at %s, one thread" % title, ""] + table(in_order(capped), False) + [""]
    if (results / "system.json").exists():
        context, system = medians(results / "system.json")
        out += ["## Beside the system's build of FFTW (%s)" % context["fftw"], ""] + table(in_order(system), False) + [""]
    if (results / "busy.md").exists():
        out += ["## One of two processors taken by another program", "",
                "Mean times, medians of nine rounds, one and two threads in turn: alone, and beside a loop bound to the last processor.", "",
                (results / "busy.md").read_text(encoding="utf-8").rstrip(), ""]
    if (results / "sizes.md").exists():
        out += ["## From the cache to grids far beyond it", "",
                "Least times of nine rounds in random order (`lml_sizes`), factors computed in each call. One thread by its processor time, two by the clock;",
                "the sweeps, which do nothing but move memory, show what a second thread can gain.", "",
                (results / "sizes.md").read_text(encoding="utf-8").rstrip(), ""]
    if (results / "accuracy.md").exists():
        out += ["## Accuracy", "",
                "Against a reference in double precision (`lml_accuracy`: transforms by FFTW in double, phases in double, fields of equally distributed random",
                "samples). Wide and fused operations keep below 4e-7 in relative l2 error at every size, or the program ends with an error. The largest of",
                "millions of errors lies above that where all amplitudes are alike, as after `Rotate` by nothing, which gives the field back.", "",
                (results / "accuracy.md").read_text(encoding="utf-8").rstrip(), ""]
    if (results / "pointcloud.txt").exists():
        out += ["## A point cloud, as a user feels it", "", "```", (results / "pointcloud.txt").read_text(encoding="utf-8").rstrip(), "```", ""]
    out += [pathlib.Path(__file__).with_name("beside.md").read_text(encoding="utf-8").rstrip(), ""]
    page.write_text("\n".join(out), encoding="utf-8")
    chart(rows, drawing)


if __name__ == "__main__":
    main()
