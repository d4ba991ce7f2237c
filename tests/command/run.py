#!/usr/bin/env python3
"""The command lml as a user sees it: a table of calls with exit codes and facts, round trips through every format, the
page in a browser where there is one, and what a stopped or failed call leaves behind.

run.py LML MANUAL_FOLDER PICTURE GUIDE"""
import glob
import json
import math
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LML, MANUAL, PICTURE, GUIDE = (os.path.abspath(path) for path in sys.argv[1:5])
GRID = ["--size", "256", "--pitch", "4um"]
faults = []


def check(good, text):
    if not good:
        faults.append(text)


def call(*words, code=0, out=(), err=(), env=None):
    """Runs lml, checks its exit code, and that each regular expression stands in its output or its one line of failure."""
    done = subprocess.run([LML, *words], capture_output=True, text=True, env={**os.environ, **(env or {})})
    name = " ".join(words)
    check(done.returncode == code, "%s: exit code %d, not %d\n%s" % (name, done.returncode, code, done.stderr))
    for text in out:
        check(re.search(text, done.stdout), "%s: no %r in\n%s" % (name, text, done.stdout))
    for text in err:
        check(re.search(text, done.stderr), "%s: no %r in\n%s" % (name, text, done.stderr))
    check(code == 0 or len(done.stderr.splitlines()) == 1 or (code == 3 and done.stdout), "%s: a failure is one line, not\n%s" % (name, done.stderr))
    check(code != 0 or not done.stderr, "%s: writes to a pipe: %s" % (name, done.stderr))
    return done.stdout


def facts(*words, code=0):
    return json.loads(call(*words, "--json", code=code) or "{}")


def near(value, expected, tolerance, name):
    check(abs(value - expected) <= tolerance * abs(expected), "%s: %r, expected %r" % (name, value, expected))


def shapes():
    makers = {
        "circle": [], "rectangle": ["--width", "0.3mm", "--at", "0.1mm,0"], "gaussian": ["--radius", "100um"],
        "plane": ["--angle", "1deg,0deg"], "spherical": ["--distance", "5cm", "--at", "10um,0"],
        "grating": ["--period", "64um", "--profile", "blazed"], "zoneplate": ["--focal", "10cm", "--profile", "lens"],
        "picture": [PICTURE, "--width", "0.8mm", "--random-phase", "--seed", "7"],
        "target": [PICTURE, "--width", "0.8mm"],
    }
    for shape, options in makers.items():
        own = 1 if options[:1] == [PICTURE] else 0
        call("make", "picture" if own else shape, *options[:own], shape + ".lm", *GRID, "--wavelength", "633nm",
             *options[own:], out=["256 by 256", "633 nm", "4 um by 4 um"])
        check(facts("measure", shape + ".lm")["energy"] > 100, shape + ": no light")
    # A Gaussian exp(-r^2/w^2) is 2 w wide; a wave of 1 degree has its light at sin(1 deg) / lambda.
    for width in facts("measure", "gaussian.lm")["widths"]:
        near(width, 2e-4, 1e-3, "width of a Gaussian")
    call("convert", "plane.lm", "wave.lm", "--domain", "spectrum")
    near(facts("measure", "wave.lm")["largest_at"][0], math.sin(math.radians(1)) / 633e-9, 0.02, "frequency of a wave")


def formats():
    scale = ["--pitch", "4um", "--wavelength", "633nm"]
    before = "picture.lm"
    for extension in ("lw", "de", "npy", "csv", "lm"):
        call("convert", before, "chain." + extension, *scale, out=["written +chain"])
        before = "chain." + extension
    check(facts("compare", "picture.lm", "chain.lm", "--tolerance", "0")["identical_samples"], "a format lost samples")
    for extension in ("bmp", "png", "hbi", "raw"):  # of a shape of 0 and 1
        call("convert", "circle.lm", "shape." + extension)
        call("convert", "shape." + extension, "shape.lm", "--as", "amplitude", "--raw-size", "256", *scale)
        call("compare", "circle.lm", "shape.lm", "--tolerance", "1e-6", out=["within the tolerance +yes"])
    check(not facts("compare", "circle.lm", "rectangle.lm", "--tolerance", "0.1", code=3)["within_tolerance"], "compare")
    call("encode", "picture.lm", "device.raw", "--device", "300x200", "--levels", "4", out=["300 by 200"])
    with open("device.raw", "rb") as file:
        pixels = file.read()
    check(len(pixels) == 60000 and set(pixels) == {0, 64, 128, 192}, "encode: four levels of 300 by 200 pixels")
    for method in ("error-diffusion", "phase"):
        call("encode", "picture.lm", method + ".lm", "--method", method)
        near(facts("measure", method + ".lm")["mean_amplitude"], 1.0, 1e-5, method)


def containers():
    call("convert", "picture.lm", "parts.lm", "--segments", "4x2")
    whole = facts("info", "parts.lm", "--statistics")
    check(whole["segments"] == [4, 2] and whole["samples"] == [256, 256] and whole["segments_missing"] == 0, str(whole))
    near(whole["energy"], facts("measure", "picture.lm")["energy"], 1e-9, "energy over segments")
    call("convert", "parts.lm", "joined.lm")
    call("compare", "picture.lm", "joined.lm", "--tolerance", "0", out=["parameters that differ +none"])
    near(facts("info", "parts.lm", "--segment", "3,0")["origin"][0], 1.5 * 256e-6, 1e-9, "place of a segment")
    call("view", "parts.lm", "parts.png", "--max-size", "64", out=["parts.png"])
    way = ["-d", "2mm", "--method", "asm"]
    call("propagate", "picture.lm", "inside.lm", *way)
    call("propagate", "parts.lm", "outside.lm", *way, "--memory", "1MiB", out=["memory for buffers"])
    call("compare", "inside.lm", "outside.lm", "--tolerance", "0", out=["parameters that differ +none"])
    call("propagate", "parts.lm", "outside.lm", "-d", "2mm", "--memory", "1MiB", code=2, err=["--method"])
    call("propagate", "parts.lm", "aside.lm", "-d", "2cm", "--shift", "0.1mm,0", "--method", "shifted-fresnel",
         "--memory", "1MiB", "--to-pitch", "6um")
    near(facts("info", "aside.lm")["origin"][0], 1e-4, 1e-9, "a shifted destination")
    call("info", "parts.lm", "--segment", "4,0", code=1, err=["there is no segment 4,0; it has 4 by 2"])


def optics():
    there = call("propagate", "target.lm", "there.lm", "-d", "5mm", out=["way +", "expected error"])
    check("note: against" not in there, "advice is not followed")
    call("propagate", "there.lm", "back.lm", "--distance", "-5mm")
    check(facts("measure", "back.lm", "--reference", "target.lm")["against_reference"]["snr_db"] > 15, "there and back")
    call("propagate", "gaussian.lm", "zoom.lm", "-d", "10cm", "--to-pitch", "8um", "--to-size", "128", out=["8 um by 8 um"])
    # A beam of waist w at a distance z: w sqrt(1 + (z lambda / (pi w^2))^2).
    spread = math.sqrt(1 + (0.1 * 633e-9 / (math.pi * 1e-8)) ** 2)
    near(facts("measure", "zoom.lm")["widths"][0], 2e-4 * spread, 0.02, "a beam that widens")
    hard = ["picture.lm", "-d", "1cm", "--max-memory", "1KiB"]
    call("propagate", *hard, "x.lm", code=3, err=["no way is within", "with --max-memory", "lml advise"])
    call("propagate", *hard, "x.lm", "--best-effort", out=["note: against the adviser"])
    call("propagate", *hard, "x.lm", "--method", "fresnel", "--to-pitch", "1um", code=3, err=["pitch"])
    advice = facts("advise", *hard, code=3)
    check(not advice["fits"] and advice["remedies"] and len(advice["ways"]) > 3, "advice: " + str(advice.keys()))
    call("advise", "circle.lm", "-d", "5mm", out=["AsmProp"])
    found = facts("focus", "there.lm", "--from", "-9mm", "--to", "-1mm", "--steps", "17", "--measure", "all",
                  "--best", "best.lm", "--plot", "curve.png")
    near(found["distance"], -5e-3, 0.01, "focus")
    check(len(found["curve"]) == 17 and len(found["measures"]) == 6 and os.path.exists("curve.png"), "curves of focus")
    found = facts("focus", "there.lm", "--from", "-9mm", "--to", "-1mm", "--steps", "5", "--measure", "tamura,gradient")
    check([row["measure"] for row in found["measures"]] == ["tamura", "gradient"], "the first measure named decides")
    with open("cloud.csv", "w") as file:
        file.write("x,y,z\n0,0,0\n" + "".join("%g,0.1,%g\n" % (n / 10, n / 20) for n in range(-2, 3)))
    options = ["--unit", "1mm", "--position", "0,0,-2cm", *GRID]
    call("points", "cloud.csv", "--plan", *options, out=["points +6", "expected time"])
    call("points", "cloud.csv", "cloud.lm", *options, out=["written +cloud.lm"])
    call("points", "cloud.csv", "pieces.lm", *options, "--segments", "2x2")
    call("compare", "pieces.lm", "cloud.lm", "--tolerance", "3e-3", out=["parameters that differ +none"])


def refusals():
    with open("keep.lm", "wb") as file:
        file.write(b"precious")
    shutil.copy("circle.lm", "short.lm")
    os.truncate("short.lm", 5000)
    for words, code, text in (
            ([], 2, "--help"), (["fly"], 2, 'no subcommand "fly"'), (["view", "circle.lm"], 2, "OUT"),
            (["make", "circle", "keep.lm", "--diameter", "2parsec"], 2, "not a length such as"),
            (["make", "circle", "keep.lm", "--wavelength", "532"], 2, "532nm"),
            (["make", "plane", "keep.lm", "--angle", "3,0"], 2, "3deg or 3rad"),
            (["make", "plane", "keep.lm", "--angle", "3deg"], 2, "3deg,0"),
            (["convert", "circle.lm", "keep.xyz"], 2, "extension must be one of"),
            (["propagate", "chain.npy", "keep.lm", "-d", "1cm"], 2, "--pitch 8um --wavelength"),
            (["info", "no.lm"], 1, "No such file"), (["info", "."], 1, "folder"), (["info", LML], 1, "no file of a known kind"),
            (["convert", "short.lm", "keep.lm"], 1, "short.lm"), (["convert", "circle.lm", "no/such.lm"], 1, "no/such.lm"),
            (["propagate", "wave.lm", "keep.lm", "-d", "1cm"], 1, "--domain field"),
            (["advise", "circle.lm"], 2, "--distance 15cm"), (["compare", "circle.lm", "zoom.lm"], 1, "one size"), (["view", "circle.lm", "keep.lm"], 1, ".png"),
            (["measure", "circle.lm", "--window", "0,1m,0,1m"], 2, "-512 um to 512 um")):
        call(*words, code=code, err=[re.escape(text)])
    with open("keep.lm", "rb") as file:
        check(file.read() == b"precious", "a refused call touched the file that was there")


def stopping():
    """Ctrl-C in the middle of a long operation: the exit code, the old file, and nothing beside it."""
    before = sorted(os.listdir("."))
    for words in (["focus", "picture.lm", "--from", "0", "--to", "1m", "--steps", "90000", "--best", "keep.lm"],
                  ["propagate", "circle.lm", "keep.lm", "-d", "1mm", "--to-size", "8192"]):
        process = subprocess.Popen([LML, *words], stderr=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        err = process.communicate(timeout=60)[1]
        check(process.returncode == 130 and "cancelled" in err, "%s: %d %s" % (words[0], process.returncode, err))
    check(before == sorted(os.listdir(".")), "Ctrl-C left files behind: %s" % (set(os.listdir(".")) - set(before)))


def pages():
    call("report", "picture.lm", "page.html", "--distance", "1mm,2m", out=["page.html"])
    with open("page.html", encoding="utf-8") as file:
        page = file.read()
    check(page.count("data:image/png;base64,") == 5 and page.count("<svg") == 4, "pictures and charts of the page")
    check(not re.search(r"(src|href)=\"(?!data:)|https?://", page), "the page asks for something outside it")
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if browser:
        done = subprocess.run([browser, "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=3000",
                               "--user-data-dir=" + os.path.abspath("browser"), "--dump-dom",
                               "file://" + os.path.abspath("page.html") + "#phase@4"], capture_output=True, text=True)
        check('data-zoom="4.00"' in done.stdout, "the page does not zoom")
        check(re.search(r'<img[^>]*alt="Phase"[^>]*class="[^"]*\bon\b', done.stdout), "the page does not switch pictures")
    shutil.rmtree("browser", ignore_errors=True)


def guide():
    """Every call that the guide shows, in its order; a comment behind one says an exit code other than 0."""
    os.mkdir("guide")
    shutil.copy(PICTURE, "guide/target.bmp")
    with open(GUIDE, encoding="utf-8") as file:
        calls = [line[2:].rstrip() for line in file if line.startswith("$ ")]
    check(len(calls) > 15, "the guide shows %d calls" % len(calls))
    for line in calls:
        code = int((re.findall(r"# exit code (\d)", line) or [0])[0])
        done = subprocess.run(line, shell=True, cwd="guide", capture_output=True, text=True,
                              env={**os.environ, "PATH": os.path.dirname(LML) + ":" + os.environ["PATH"]})
        check(done.returncode == code, "guide: %s: exit code %d\n%s" % (line, done.returncode, done.stderr))


def manuals():
    pages_there = {os.path.basename(path) for path in glob.glob(MANUAL + "/*.1")}
    check(len(pages_there) == 13 and "lml-propagate.1" in pages_there, "manual pages: %s" % pages_there)
    for line, expected in (("lml pro", "propagate"), ("lml view --colours e", "ember"), ("lml make cir", "circle"),
                           ("lml make circle --dia", "--diameter")):
        words = line.split(" ")
        script = "source %s/lml.bash; COMP_WORDS=(%s); COMP_CWORD=%d; _lml; echo ${COMPREPLY[@]}" % (
            MANUAL, line, len(words) - 1)
        done = subprocess.run(["bash", "-c", script], capture_output=True, text=True)
        check(expected in done.stdout.split(), "completion of %r: %s %s" % (line, done.stdout, done.stderr))


def main():
    call("--version", out=["lml 2", "processors"])
    call("--version", env={"LML_ISA": "sse2"}, out=["SSE2"])
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for part in (shapes, formats, containers, optics, refusals, stopping, pages, guide, manuals):
            part()
        check(not glob.glob("*.part"), "left behind: %s" % glob.glob("*.part"))
        os.chdir("/")
    if faults:
        sys.exit("\n".join(faults))
    print("every call as expected")


if __name__ == "__main__":
    main()
