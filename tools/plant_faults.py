#!/usr/bin/env python3
"""Plants faults in the library one at a time and counts those that the tests notice.

    tools/plant_faults.py --count 200 --seed 7 [--units REGEX] [--per-unit] [--tests REGEX] [--longest SECONDS] [--out FILE]
                          [--jobs N] [--tree FOLDER] [--objects N] [--minutes M]

A fault is one change of an operator, a constant, a bound or a sign in one line of lml/. Each is compiled into a copy of the
tree, and the test programs run: the one of the unit first, then those that noticed faults in its folder, then all others, the
quick ones first and those above half a minute last, up to the first that fails (with --tests or --longest only some of them:
the count is a lower bound then). A fault that does not compile or leaves the same object code is drawn anew. A test that does
not end counts as one that fails.
The tests of this run link one shared library, so that a fault costs the compilation of what includes its file and one link;
files that more than N objects include (8) are left out. With --tree the copy and its build stay for the next run.

The survivors are printed with their lines: each is a test that is missing or a change without an effect. One that a reader
has found to be without effect goes into tools/equal_faults.txt with its reason and counts no more.
"""
import argparse
import collections
import concurrent.futures
import json
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
    """A copy of the tree with a build of its own. A fault costs the compilations of what includes its file, and a link."""

    def __init__(self, where, compiler_flags, which):
        self.root = where
        self.build = where / "build" / "faults"
        update(ROOT, where)
        run(["cmake", "-S", where, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DLML_BUILD_COMMAND=OFF",
             "-DCMAKE_CXX_FLAGS_RELEASE=" + compiler_flags, "-DLML_BUILD_EXAMPLES=OFF", "-DLML_TEST_SHARED=ON"])
        # Tests whose names begin with Public link the shared library that users link, in which no fault is planted.
        names = [p.stem for p in (ROOT / "tests").glob("*Test.cpp") if re.search(which, p.stem) and not p.stem.startswith("Public")
                 and (p.stem != "PicturesTest" or (self.build / "lml" / "pictures").exists())]
        run(["cmake", "--build", self.build, "-j", "2", "--target", "lml_static", *names])
        commands = json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8"))
        self.compile = {re.search(r" -o (\S+)", c["command"])[1]: c["command"] for c in commands if "_objects.dir/" in c["command"]}
        self.users = collections.defaultdict(list)  # the objects of the libraries by the files that they include
        target = None
        for line in self.ninja("-t", "deps").splitlines():
            if not line.startswith(" "):
                target = line.split(": #deps")[0]
            elif target in self.compile:
                self.users[os.path.realpath(self.build / line.strip())].append(target)
        self.libraries = []
        for pattern, objects in (("liblml_static.so", "lml_objects.dir/"), ("liblmlpictures.so.*.*.*", "lml_pictures_objects.dir/")):
            for library in self.build.rglob(pattern):
                link = self.ninja("-t", "commands", "-s", str(library.relative_to(self.build))).strip()
                self.libraries.append((library, objects, link))

    def ninja(self, *words):
        return subprocess.run(["ninja", "-C", str(self.build), *words], stdout=subprocess.PIPE, text=True, check=True).stdout \
            .removeprefix("ninja: Entering directory `%s'\n" % self.build)

    def tests(self):
        return {p.stem: p for p in sorted((self.build / "tests").glob("*Test"))
                if os.access(p, os.X_OK) and p.is_file() and not p.stem.startswith("Public")}

    def times(self, which):
        """Seconds that each test takes without a fault; kept beside the build."""
        place = self.build / "test_times.json"
        known = json.loads(place.read_text(encoding="utf-8")) if place.exists() else {}
        for name, binary in self.tests().items():
            if re.search(which, name) and known.get(name, [0])[0] != binary.stat().st_size:
                begin = time.time()
                if not passes(binary, 600):
                    sys.exit("%s fails without a fault" % name)
                known[name] = [binary.stat().st_size, time.time() - begin]
                place.write_text(json.dumps(known), encoding="utf-8")
        return {name: known[name][1] for name in self.tests() if name in known and re.search(which, name)}

    def shell(self, command, seconds):
        try:
            return subprocess.run(command, shell=True, cwd=self.build, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  timeout=seconds).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def plant(self, path, text, place):
        """Builds libraries with another text of a file into a folder of their own, where programs find them first; False
        where that gives the same objects or none."""
        shutil.rmtree(place, ignore_errors=True)
        inside = path.relative_to(self.root / "lml")
        other = place / "lml" / inside
        other.parent.mkdir(parents=True)
        other.write_text(text, encoding="utf-8")
        changed = {}
        for name in self.users[os.path.realpath(path)]:
            built = place / name.replace("/", "_")
            command = self.compile[name].replace(" -o " + name, " -o %s" % built).replace(" -I", " -I%s -I" % (place / "lml"), 1)
            if not self.shell(command.replace(" -c %s" % path, " -c %s" % other), 900):
                return False
            if built.read_bytes() != (self.build / name).read_bytes():
                changed[name] = built
        for library, objects, link in self.libraries:
            if any(objects in name for name in changed):
                for name, built in changed.items():
                    link = link.replace(" %s " % name, " %s " % built)
                if not self.shell(link.replace(" -o %s" % library.relative_to(self.build), " -o %s" % (place / library.name)), 300):
                    return False
                soname = re.search(r"-soname,([^ ]+)", link)[1]
                if soname != library.name:
                    (place / soname).symlink_to(library.name)
        return bool(changed)


def update(source, copy):
    """Copies what is new or has changed, and removes what has gone: the build that stands in the copy finds little to do."""
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=source, stdout=subprocess.PIPE, text=True,
                           check=True).stdout.split("\n")
    kept = {n for n in names if n and (source / n).is_file()}
    for name in kept:
        there = copy / name
        if not there.exists() or there.read_bytes() != (source / name).read_bytes():
            there.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source / name, there)
    for folder in ("lml", "tests"):
        for there in list((copy / folder).rglob("*")):
            if there.is_file() and str(there.relative_to(copy)) not in kept:
                there.unlink()


def run(command):
    done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(done.stdout[-4000:])


def passes(binary, seconds, libraries=""):
    """Whether a test program ends well in the processor's time that it is given, in a folder of its own. What waits for
    ever is ended too, later: another program may have the processors for a minute."""
    limit = int(seconds) + 1
    with tempfile.TemporaryDirectory() as folder:
        try:
            return subprocess.run(["prlimit", "--cpu=%d" % limit, str(binary), "--gtest_fail_fast"], cwd=folder,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=2 * limit + 120,
                                  env={**os.environ, "LD_LIBRARY_PATH": str(libraries)}).returncode == 0
        except subprocess.TimeoutExpired:
            return False


ALONE = collections.defaultdict(threading.Lock)  # a test program's files have fixed names: one run of each at a time


def judge(tree, path, fault, order, times, place):
    """"noticed by X", "survived", or None where the fault does not compile or changes nothing."""
    text = path.read_text(encoding="utf-8")
    offset, length, new = fault
    if not tree.plant(path, text[:offset] + new + text[offset + length:], place):
        return None
    tests = tree.tests()
    for name in order:
        with ALONE[name]:
            if not passes(tests[name], 20 + 8 * times[name], place):
                return "noticed by " + name
    return "survived"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=200, help="faults in all, or in each unit with --per-unit")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--units", default="", help="only files whose path matches")
    parser.add_argument("--tests", default="", help="run only tests whose name matches")
    parser.add_argument("--per-unit", action="store_true")
    parser.add_argument("--jobs", type=int, default=1, help="faults at a time")
    parser.add_argument("--longest", type=float, default=1e9, help="leave out test programs of other units that take longer")
    parser.add_argument("--objects", type=int, default=8, help="leave out files that more objects depend on")
    parser.add_argument("--tree", type=pathlib.Path, help="where the copy of the tree stays (default: a folder that goes)")
    parser.add_argument("--flags", default="-O1")
    parser.add_argument("--minutes", type=float, default=1e9, help="no new fault after so long")
    parser.add_argument("--out", type=pathlib.Path, help="the list of faults and outcomes")
    options = parser.parse_args()

    scratch = None if options.tree else tempfile.TemporaryDirectory(prefix="faults")
    tree = Tree((options.tree or pathlib.Path(scratch.name) / "tree").resolve(), options.flags, options.tests)
    files = [p for p in sorted((tree.root / "lml").rglob("*")) if p.suffix in (".cpp", ".h", ".inl")]
    public = {"LmlApi.h", "LmlRuntime.h"}
    files = [p for p in files if p.name not in public and re.search(options.units, str(p.relative_to(tree.root)))
             and 0 < len(tree.users[os.path.realpath(p)]) <= options.objects]
    everything = {p: faults_of(p) for p in files}
    random_source = random.Random(options.seed)
    if options.per_unit:
        drawn = [(p, f) for p, fs in everything.items() for f in random_source.sample(fs, min(len(fs), 2 * options.count))]
    else:
        drawn = [(p, f) for p, fs in everything.items() for f in fs]
        random_source.shuffle(drawn)
    equal_list = ROOT / "tools" / "equal_faults.txt"
    equal = equal_list.read_text(encoding="utf-8").splitlines() if equal_list.exists() else []

    print("seed %d, %d places for a fault in %d files" % (options.seed, sum(map(len, everything.values())), len(files)), flush=True)
    times = tree.times(options.tests)
    print("tests: " + ", ".join("%s %.1f s" % item for item in sorted(times.items(), key=lambda t: t[1])), flush=True)

    results, tally, start = [], collections.defaultdict(lambda: [0, 0]), time.time()
    noticing = collections.defaultdict(collections.Counter)  # by folder, how many faults each test has noticed
    queue, lock = iter(drawn), threading.Lock()

    def work(place):
        while time.time() - start < 60 * options.minutes:
            with lock:
                if not options.per_unit and len(results) >= options.count:
                    return
                path, fault = next(queue, (None, None))
                if path is None:
                    return
                unit, folder = "/".join(path.relative_to(tree.root / "lml").parts), path.parent.name
                if options.per_unit and tally[unit][1] >= options.count:
                    continue
                own = make_map.test_of(path)
                order = sorted((n for n in times if n == own or times[n] <= options.longest),
                               key=lambda n: (times[n] > 30.0, n != own, -noticing[folder][n], times[n]))
            text = path.read_text(encoding="utf-8")
            line = text.count("\n", 0, fault[0]) + 1
            source = text.splitlines()[line - 1].strip()
            what = "%s: %r -> %r in: %s" % (path.name, text[fault[0]:fault[0] + fault[1]], fault[2], source)
            if any(e.startswith(what) for e in equal):
                continue
            outcome = judge(tree, path, fault, order, times, place)
            if outcome is None:
                continue
            with lock:
                results.append((outcome, unit, line, what))
                tally[unit][0] += outcome != "survived"
                tally[unit][1] += 1
                noticing[folder][outcome.split()[-1]] += 1
                print("%-9s %s:%d  %s" % (outcome, unit, line, what), flush=True)

    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        list(pool.map(work, [tree.root / "planted" / str(n) for n in range(options.jobs)]))
    shutil.rmtree(tree.root / "planted", ignore_errors=True)

    for folder in sorted({unit.split("/")[0] for unit in tally}):
        tally[folder + "/"] = [sum(t[k] for unit, t in tally.items() if unit.startswith(folder + "/")) for k in (0, 1)]
    lines = ["%-28s %3d of %3d" % (stem, n, total) for stem, (n, total) in sorted(tally.items())]
    noticed = sum(outcome != "survived" for outcome, *_ in results)
    lines.append("noticed %d of %d faults (%.0f %%), seed %d" %
                 (noticed, len(results), 100.0 * noticed / max(1, len(results)), options.seed))
    lines += ["survived  %s:%d  %s" % (name, line, what) for outcome, name, line, what in results if outcome == "survived"]
    report = "\n".join(lines) + "\n"
    print(report)
    if options.out:
        options.out.write_text(report, encoding="utf-8")


if __name__ == "__main__":
    main()
