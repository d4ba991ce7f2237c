#!/usr/bin/env python3
"""The programs of the pages do what the pages say.

    tests/pages.py BUILD CXX [PAGE...]

Each page's C++ blocks with a main() are compiled against the library in BUILD and run, in the order of the page and in one
folder; then its Python blocks, by Debian's interpreter, which has numpy (left out where it is missing). A block fails the
test by its exit code. Functions that a Python block defines are there for later blocks as readers.py. Links of all pages
must lead to files of the tree.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PYTHON = "/usr/bin/python3"


def run(command, folder, what, **more):
    done = subprocess.run([str(c) for c in command], cwd=folder, env={**os.environ, **more}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit("%s ended with %d\n%s" % (what, done.returncode, done.stdout[-3000:]))


def check_page(path, build, compiler, numpy):
    blocks = re.findall(r"^```(cpp|python)\n(.*?)^```$", path.read_text(encoding="utf-8"), flags=re.S | re.M)
    programs = [(kind, code) for kind, code in blocks
                if (kind == "cpp" and "int main(" in code) or (kind == "python" and numpy and re.search(r"^import ", code, re.M)
                    and ("import lumora" not in code or (build / "python/lumora").exists()))]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for n, (kind, code) in enumerate(programs):
            what = "%s, program %d" % (path.name, n + 1)
            if kind == "cpp":
                (folder / "page.cpp").write_text(code, encoding="utf-8")
                run([compiler, "-std=c++17", "-I", build / "include/lml", "page.cpp", "-o", "page", "-L", build, "-llml",
                     "-Wl,-rpath," + str(build), "-pthread"], folder, what + ", compiler")
                run(["./page"], folder, what)
            else:
                (folder / "page.py").write_text(code, encoding="utf-8")
                run([PYTHON, "page.py"], folder, what, PYTHONPATH=str(build / "python"), MPLBACKEND="Agg")
                if "def " in code:
                    functions = re.findall(r"^import .*\n|^def .*\n(?:(?:    .*)?\n)+", code, flags=re.M)
                    (folder / "readers.py").write_text("".join(functions), encoding="utf-8")
    return len(programs)


def check_links(path):
    for link in re.findall(r"\]\(([^)#\s]+)[^)]*\)", path.read_text(encoding="utf-8")):
        if not re.match(r"[a-z]+:", link) and not (path.parent / link).exists():
            sys.exit("%s: no such file: %s" % (path.relative_to(ROOT), link))


def main():
    build, compiler = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    pages = sorted(ROOT.glob("*.md")) + sorted((ROOT / "docs").glob("*.md"))
    for path in pages:
        check_links(path)
    numpy = subprocess.run([PYTHON, "-c", "import numpy"], stderr=subprocess.DEVNULL).returncode == 0
    chosen = [p for p in pages if not sys.argv[3:] or p.stem in sys.argv[3:]]
    counts = {p.name: check_page(p, build, compiler, numpy) for p in chosen if p.name != "README.md"}
    print("%d pages, programs: %s%s" % (len(pages), ", ".join("%s %d" % c for c in counts.items() if c[1]),
                                        "" if numpy else "; no numpy, Python programs left out"))


if __name__ == "__main__":
    main()
