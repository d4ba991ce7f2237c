#!/usr/bin/env python3
"""Writes docs/oddities.md: what looks odd, is required, and can be observed by a caller.

    tools/make_oddities.py            writes the page
    tools/make_oddities.py --check    fails where the page is stale

The sentences are those behind "Kept:" in the docstrings of the public headers.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "oddities.md"
HEAD = """# Oddities

Written by `tools/make_oddities.py` from the headers, where each of these stands with its member. Old programs and files rely on them,
so they stay; a name that is misspelt, or a phase that counts from an unexpected place, is no mistake of yours.
"""
HEADING = re.compile(r"^\s*// -{20,} (\S.*)$")


def members(line):
    """The member that a line of code declares."""
    match = re.search(r"([~\w]+|operator\S+)\s*\(", line) or re.search(r"(\w+)\s*(?:;|=|\[)", line)
    return match.group(1) if match else None


def entries(path):
    section, doc, found = path.stem, [], []
    for line in path.read_text(encoding="utf-8").splitlines() + [""]:
        stripped = line.strip()
        if HEADING.match(line):
            section, doc = HEADING.match(line).group(1), []
        elif stripped.startswith("//"):
            doc.append(stripped.lstrip("/").strip() or "@paragraph")
        else:
            kind = re.match(r"^(?:class|struct) (?:LML_API )?(\w+)", line)
            section = kind.group(1) if kind else path.stem if line.startswith("};") else section
            text = " ".join(doc)
            name = members(line.split("//")[0]) if stripped else None
            for part in text.split("Kept: ")[1:]:
                # A sentence ends before a capital, a tag of the docstring or the end.
                sentence = re.split(r"(?<=\.) +(?=@|[A-Z][a-z]*\b)| (?=@\w+)", part)[0].strip()
                found.append((section, name, sentence))
            doc = []
    return found


def page():
    text, last = [HEAD], None
    for path in sorted((ROOT / "lml").glob("*.h")):
        for section, name, sentence in entries(path):
            if section != last:
                text.append("\n## %s\n" % section)
                last = section
            text.append("- %s%s" % ("`%s`: " % name if name else "", sentence))
    return "\n".join(text) + "\n"


if __name__ == "__main__":
    if "--check" in sys.argv:
        if not PAGE.exists() or PAGE.read_text(encoding="utf-8") != page():
            sys.exit("docs/oddities.md is stale: run tools/make_oddities.py")
    else:
        PAGE.write_text(page(), encoding="utf-8")
