#!/usr/bin/env python3
"""The programs of the pages do what the pages say.

    tests/pages.py BUILD CXX [--out FOLDER] [PAGE...]

Each page's C++ and Python blocks that are whole programs are run in the order of the page and in one folder, the former
compiled against the library in BUILD (and its pictures, where these were built), the latter by Debian's interpreter, which
has numpy (left out where it is missing). A block fails the test by its exit code. Functions that a Python block defines are
there for later blocks as readers.py. With --out the pictures that the programs made are put into FOLDER. Links of all pages
must lead to files of the tree, and to headings that their pages have.
"""
import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PYTHON = "/usr/bin/python3"


def run(command, folder, what, **more):
    done = subprocess.run([str(c) for c in command], cwd=folder, env={**os.environ, **more}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit("%s ended with %d\n%s" % (what, done.returncode, done.stdout[-3000:]))


def check_page(path, build, compiler, numpy, out):
    pictures = build / "lml/pictures"
    blocks = re.findall(r"^```(cpp|python)\n(.*?)^```$", path.read_text(encoding="utf-8"), flags=re.S | re.M)
    programs = [(kind, code) for kind, code in blocks
                if (kind == "cpp" and "int main(" in code and ("LmlPictures.h" not in code or pictures.exists())) or (kind == "python" and numpy and re.search(r"^import ", code, re.M)
                    and ("import lumora" not in code or (build / "python/lumora").exists()))]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for n, (kind, code) in enumerate(programs):
            what = "%s, program %d" % (path.name, n + 1)
            if kind == "cpp":
                (folder / "page.cpp").write_text(code, encoding="utf-8")
                run([compiler, "-std=c++17", "-I", build / "include/lml", "page.cpp", "-o", "page", "-L", build, "-llml",
                     "-Wl,-rpath,%s:%s" % (build, pictures), "-pthread"] +
                    (["-L", pictures, "-llmlpictures"] if "LmlPictures.h" in code else []), folder, what + ", compiler")
                run(["./page"], folder, what)
            else:
                (folder / "page.py").write_text(code, encoding="utf-8")
                run([PYTHON, "page.py"], folder, what, PYTHONPATH=str(build / "python"), MPLBACKEND="Agg")
                if "def " in code:
                    functions = re.findall(r"^import .*\n|^def .*\n(?:(?:    .*)?\n)+", code, flags=re.M)
                    (folder / "readers.py").write_text("".join(functions), encoding="utf-8")
        for picture in folder.glob("*.png") if out else ():
            shutil.copy(picture, out)
    return len(programs)


def slug(heading):
    """The anchor that a heading has where the pages are shown."""
    return re.sub(r"[^\w -]", "", heading.strip().lower()).replace(" ", "-")


def check_links(path):
    def headings(page):
        text = re.sub(r"^```.*?^```$", "", page.read_text(encoding="utf-8"), flags=re.S | re.M)
        return {slug(h) for h in re.findall(r"^#+ (.*)$", text, flags=re.M)}
    for link, anchor in re.findall(r"\]\(([^)#\s]*)(#[\w-]+)?[^)]*\)", path.read_text(encoding="utf-8")):
        if re.match(r"[a-z]+:", link):
            continue
        target = path.parent / link if link else path
        if not target.exists():
            sys.exit("%s: no such file: %s" % (path.relative_to(ROOT), link))
        if anchor and target.suffix == ".md" and anchor[1:] not in headings(target):
            sys.exit("%s: no such heading: %s%s" % (path.relative_to(ROOT), link, anchor))


def main():
    arguments = argparse.ArgumentParser(usage=__doc__)
    arguments.add_argument("build", type=lambda name: pathlib.Path(name).resolve())
    arguments.add_argument("compiler")
    arguments.add_argument("--out", type=pathlib.Path)
    arguments.add_argument("pages", nargs="*")
    given = arguments.parse_intermixed_args()
    pages = sorted(ROOT.glob("*.md")) + sorted((ROOT / "docs").glob("*.md"))
    index = (ROOT / "README.md").read_text(encoding="utf-8")
    for path in pages:
        check_links(path)
        if path.parent != ROOT and "(docs/%s)" % path.name not in index:
            sys.exit("README.md does not name docs/%s" % path.name)
    numpy = subprocess.run([PYTHON, "-c", "import numpy"], stderr=subprocess.DEVNULL).returncode == 0
    chosen = [p for p in pages if not given.pages or p.stem in given.pages]
    counts = {p.name: check_page(p, given.build, given.compiler, numpy, given.out) for p in chosen if p.name != "README.md"}
    print("%d pages, programs: %s%s" % (len(pages), ", ".join("%s %d" % c for c in counts.items() if c[1]),
                                        "" if numpy else "; no numpy, Python programs left out"))


if __name__ == "__main__":
    main()
