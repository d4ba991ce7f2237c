#!/usr/bin/env python3
"""Plants faults in the library one at a time and counts those that the tests notice.

    tools/plant_faults.py --count 200 --seed 7 [--units REGEX] [--per-unit] [--tests REGEX] [--jobs 2] [--out FILE]

A fault is one change of an operator, a constant, a bound or a sign in one line of lml/. Each is compiled into a copy of the
tree, and the tests run: those of the unit first, then all others, the quick ones first, up to the first that fails
(with --tests only those whose names match: the count is a lower bound then). A fault
that does not compile or leaves the same object code is drawn anew. A test that does not end counts as one that fails.
The tests of this run link one shared library, so that a fault costs one compilation and one link.

The survivors are printed with their lines: each is a test that is missing or a change without an effect. One that a reader
has found to be without effect goes into tools/equal_faults.txt with its reason and counts no more.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools"))
import make_map  # noqa: E402  (the units and their tests are stated there)

OPERATORS = {"+": "-", "-": "+", "*": "+", "/": "*", "<": "<=", ">": ">=", "<=": "<", ">=": ">", "==": "!=", "!=": "==",
             "&&": "||", "||": "&&", "+=": "-=", "-=": "+=", "*=": "+=", "<<": ">>", ">>": "<<", "&": "|", "%": "/"}
# Binary operators stand between blanks in this code; a minus without one behind it is a sign.
TOKEN = re.compile(r"(?<=\s)(\+=|-=|\*=|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/<>&%])(?=\s)"
                   r"|(?<![\w.)\]])(-)(?=[\w(])"
                   r"|(?<![\w.\"'])(\d+\.\d+(?:[eE][-+]?\d+)?|\d+)(?![\w.\"'])"
                   r"|\b(true|false|std::min|std::max|std::sin|std::cos|floor|ceil)\b")
SWAPS = {"true": "false", "false": "true", "std::min": "std::max", "std::max": "std::min", "std::sin": "std::cos",
         "std::cos": "std::sin", "floor": "ceil", "ceil": "floor"}
SKIP = re.compile(r"^\s*(#|//|/\*|\*|template|static_assert|using |namespace|friend |LML_API|extern )|operator|alignas|std::array<")


def code_only(text):
    """The text with comments and literals blanked, of the same length."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group(0))
    return re.sub(r"//[^\n]*|/\*.*?\*/|\"(?:[^\"\\\n]|\\.)*\"|'(?:[^'\\\n]|\\.)+'", blank, text, flags=re.S)


def faults_of(path):
    """(offset, length, replacement) of every fault that could be planted in a file."""
    text = code_only(path.read_text(encoding="utf-8"))
    found, offset = [], 0
    for line in text.splitlines(keepends=True):
        if not SKIP.search(line):
            for match in TOKEN.finditer(line):
                operator, sign, number, word = match.groups()
                if operator:
                    new = OPERATORS[operator]
                    if operator in "*&<>" and re.search(r"[\w>]\s*$", line[:match.start()]) and \
                            re.match(r"\s*(const\b|\w+\s*[,;)=])", line[match.end():]) and "=" not in line[:match.start()] \
                            and "return" not in line:
                        continue  # a pointer or a reference in a declaration
                elif sign:
                    new = ""
                elif number:
                    new = str(int(number) + 1) if number.isdigit() else "(%s * 1.25)" % number
                else:
                    new = SWAPS[word]
                found.append((offset + match.start(), match.end() - match.start(), new))
        offset += len(line)
    return found


class Tree:
    """A copy of the tree with a build of its own."""

    def __init__(self, where, compiler_flags, which):
        self.root = where
        self.which = which
        ignore = shutil.ignore_patterns("build", "out", ".git", "__pycache__")
        shutil.copytree(ROOT, where, ignore=ignore)
        self.build = where / "build" / "faults"
        run(["cmake", "-S", where, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
             "-DCMAKE_CXX_FLAGS_RELEASE=" + compiler_flags, "-DLML_BUILD_EXAMPLES=OFF", "-DLML_TEST_SHARED=ON"])
        run(["cmake", "--build", self.build, "-j", "2"])

    def tests(self):
        return {p.stem: p for p in sorted((self.build / "tests").glob("*Test"))
                if os.access(p, os.X_OK) and p.is_file() and re.search(self.which, p.stem)}

    def library(self):
        return next((self.build / "tests").glob("liblml_static.so"))

    def make(self):
        return subprocess.run(["cmake", "--build", str(self.build), "-j", "1", "--target", "lml_static"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=900).returncode == 0


def run(command):
    done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(done.stdout[-4000:])


def passes(binary, seconds):
    """Whether a test program ends well in the time it is given, in a folder of its own."""
    with tempfile.TemporaryDirectory() as folder:
        try:
            return subprocess.run([str(binary), "--gtest_fail_fast"], cwd=folder, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, timeout=seconds).returncode == 0
        except subprocess.TimeoutExpired:
            return False


def judge(tree, relative, fault, times):
    """"noticed by X", "survived", or None where the fault does not compile or changes nothing."""
    path = tree.root / relative
    clean = path.read_text(encoding="utf-8")
    offset, length, new = fault
    before = tree.library().read_bytes()
    path.write_text(clean[:offset] + new + clean[offset + length:], encoding="utf-8")
    try:
        if not tree.make() or tree.library().read_bytes() == before:
            return None
        tests = tree.tests()
        own = make_map.test_of(path.stem)
        for name in sorted(tests, key=lambda n: (n != own, times[n])):
            if not passes(tests[name], 20 + 8 * times[name]):
                return "noticed by " + name
        return "survived"
    finally:
        path.write_text(clean, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=200, help="faults in all, or in each unit with --per-unit")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--units", default="", help="only files whose path matches")
    parser.add_argument("--tests", default="", help="run only tests whose name matches")
    parser.add_argument("--per-unit", action="store_true")
    parser.add_argument("--jobs", type=int, default=1, help="copies of the tree that work at once")
    parser.add_argument("--flags", default="-O1")
    parser.add_argument("--minutes", type=float, default=1e9, help="no new fault after so long")
    parser.add_argument("--out", type=pathlib.Path, help="the list of faults and outcomes")
    options = parser.parse_args()

    files = [p for p in sorted((ROOT / "lml").rglob("*")) if p.suffix in (".cpp", ".h", ".inl")]
    public = {"LmlApi.h", "LmlRuntime.h"}
    files = [p for p in files if p.name not in public and re.search(options.units, str(p.relative_to(ROOT)))]
    everything = {p: faults_of(p) for p in files}
    random_source = random.Random(options.seed)
    if options.per_unit:
        drawn = [(p, f) for p, fs in everything.items() for f in random_source.sample(fs, min(len(fs), 2 * options.count))]
    else:
        drawn = [(p, f) for p, fs in everything.items() for f in fs]
        random_source.shuffle(drawn)
    equal_list = ROOT / "tools" / "equal_faults.txt"
    equal = equal_list.read_text(encoding="utf-8") if equal_list.exists() else ""

    results, tally = [], collections.defaultdict(lambda: [0, 0])
    lock, start = threading.Lock(), time.time()
    queue = iter(drawn)
    print("seed %d, %d places for a fault in %d files" % (options.seed, sum(map(len, everything.values())), len(files)), flush=True)
    with tempfile.TemporaryDirectory(prefix="faults") as folder:
        trees = [Tree(pathlib.Path(folder) / str(n), options.flags, options.tests) for n in range(options.jobs)]
        times = {}
        for name, binary in trees[0].tests().items():
            begin = time.time()
            if not passes(binary, 600):
                sys.exit("%s fails without a fault" % name)
            times[name] = time.time() - begin

        def work(tree):
            while time.time() - start < 60 * options.minutes:
                with lock:
                    if not options.per_unit and len(results) >= options.count:
                        return
                    item = next(queue, None)
                    if item is None:
                        return
                    path, fault = item
                    if options.per_unit and tally[path.stem][1] >= options.count:
                        continue
                text = path.read_text(encoding="utf-8")
                line = text.count("\n", 0, fault[0]) + 1
                source = text.splitlines()[line - 1].strip()
                what = "%s: %r -> %r in: %s" % (path.name, text[fault[0]:fault[0] + fault[1]], fault[2], source)
                if what in equal:
                    continue
                outcome = judge(tree, path.relative_to(ROOT), fault, times)
                if outcome is None:
                    continue
                with lock:
                    results.append((outcome, path.name, line, what))
                    tally[path.stem][0] += outcome != "survived"
                    tally[path.stem][1] += 1
                    print("%-9s %s:%d  %s" % (outcome, path.name, line, what), flush=True)

        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            list(pool.map(work, trees))

    lines = ["%-28s %3d of %3d" % (stem, n, total) for stem, (n, total) in sorted(tally.items())]
    noticed = sum(n for n, _ in tally.values())
    lines.append("noticed %d of %d faults (%.0f %%), seed %d" %
                 (noticed, len(results), 100.0 * noticed / max(1, len(results)), options.seed))
    lines += ["survived  %s:%d  %s" % (name, line, what) for outcome, name, line, what in results if outcome == "survived"]
    report = "\n".join(lines) + "\n"
    print(report)
    if options.out:
        options.out.write_text(report, encoding="utf-8")


if __name__ == "__main__":
    main()
