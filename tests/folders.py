#!/usr/bin/env python3
"""Holds the folders of lml/ to their order: a file includes its own folder and those below it only, and what an internal
header declares is defined in the source file of the same name."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIB = ROOT / "lml"
sys.path.insert(0, str(ROOT / "tools"))
import make_map  # noqa: E402  (the order of the folders is stated there)

# From the bottom up. The public headers lie directly in lml/ and may be included from everywhere.
ORDER = list(make_map.FOLDERS)
# A unit may be spread over several sources: the header's name is what they begin with.
INCLUDE = re.compile(r'^\s*#\s*(?:include|define\s+LML_WIDE_FILE)\s+"([^"]+)"', re.M)
DECLARED = re.compile(r"^(?!\s*(?:static|inline|constexpr|template|friend|using|typedef|return|else)\b)"
                      r"(?:\[\[\w+\]\]\s*)?(?:extern\s+)?[A-Za-z_][\w:<>,&*\s]*?[\s&*](\w+)\([^;{}]*\)\s*(?:noexcept)?\s*;", re.M)
DEFINED = re.compile(r"^(?!\s)(?:\[\[\w+\]\]\s*)?[A-Za-z_][\w:<>,&*\s]*?[\s&*](?:\w+::)*(\w+)\([^;{}]*\)\s*(?:noexcept)?\s*\{", re.M)


def folder(path):
    return path.relative_to(LIB).parts[0] if path.parent != LIB else None


def without_comments(path):
    text = path.read_text(encoding="utf-8")
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def main():
    faults = []
    public = {p.name for p in LIB.glob("*.h")}
    files = [p for p in sorted(LIB.rglob("*")) if p.suffix in (".h", ".cpp")]
    for path in files:
        where = folder(path)
        if where is not None and where not in ORDER:
            faults.append("%s: no such folder in the order" % path.relative_to(LIB))
            continue
        for name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if name in public:
                continue
            target = LIB / name
            if not target.exists():
                faults.append("%s includes %s: not a path from lml/" % (path.relative_to(LIB), name))
            elif where is None:
                faults.append("public header %s includes the internal %s" % (path.name, name))
            elif ORDER.index(folder(target)) > ORDER.index(where):
                faults.append("%s includes %s, which lies above it" % (path.relative_to(LIB), name))
    defined = {}
    for path in files:
        if path.suffix == ".cpp":
            for name in DEFINED.findall(without_comments(path)):
                defined.setdefault(name, set()).add(path)
    for path in files:
        if path.suffix != ".h" or path.parent == LIB:
            continue
        text = re.sub(r"\{[^{}]*\}", "{}", without_comments(path))
        text = re.sub(r"\{[^{}]*\}", "{}", text)
        for name in DECLARED.findall(text):
            places = defined.get(name, set())
            if places and not any(p.parent == path.parent and p.stem.startswith(path.stem) for p in places):
                faults.append("%s is declared in %s and defined in %s" %
                              (name, path.relative_to(LIB), ", ".join(str(p.relative_to(LIB)) for p in sorted(places))))
    if faults:
        sys.exit("\n".join(faults))
    print("%d files in order" % len(files))


if __name__ == "__main__":
    main()
