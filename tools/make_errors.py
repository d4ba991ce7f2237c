#!/usr/bin/env python3
"""Writes docs/errors.md: every failure of the library, what it means and what to do.

    tools/make_errors.py BUILD           writes the page
    tools/make_errors.py BUILD --check   fails where the page is stale

The rows are those of the test of all failures (tests/ErrorTableTest.cpp), which brings each of them about; the cures are
what DescribeError() says.
"""
import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "errors.md"
CODES = ["ERR_NONE", "ERR_MEMORY", "ERR_FILE_OPEN", "ERR_PARAMETER", "ERR_FILE_WRITE", "ERR_FILE_READ", "ERR_SOMETHING",
         "ERR_COMPLEX_FORM", "ERR_SPECTRUM_OR_AMPLITUDE", "ERR_INTERNAL"]
# The values behind a failure stand before the cure: "nx is 0, ny is -1. ", "The pitch in x is ... in the other one. ".
VALUES = re.compile(r"^(The [^.]*?(\.\d[^.]*?)*in this field and .*? in the other one\.|[\w. ]+ is [-\d].*?\.|There are \d+ points\.|The orders are.*?\.) (?=[A-Zne])")
HEAD = """# Failures

Written by `tools/make_errors.py` from the test that brings each of them about. Every check of the library ends in one place: a code,
the operation's name and a message. By default that is printed and the process ends with exit code 1; after
`SetErrorHandling(ERROR_HANDLING_THROW)` a `LumoraException` carries it, whose `what()` is operation, code and message in UTF-8, and
`DescribeError(e)` adds the values behind it and the cure below. A failed call leaves its objects as they were, or as its documentation
says. In place of "(path)" stands the file's path.
"""


def rows(build):
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "rows"
        done = subprocess.run([str(build / "tests" / "ErrorTableTest"), "--gtest_brief=1"], cwd=folder, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, env={**os.environ, "LML_ERRORS_PAGE": str(out)})
        if done.returncode != 0:
            sys.exit(done.stdout[-3000:])
        return [line.split("\t") for line in out.read_text(encoding="utf-8").splitlines() if line.count("\t") == 3]


def page(build):
    table = collections.defaultdict(lambda: collections.defaultdict(set))
    for code, name, what, cure in rows(build):
        if name.endswith("::Own"):
            continue  # a class of the test's
        message = what.partition("(code %s)" % code)[2].lstrip(": ")
        message = re.sub(r"\S*error_table\.\w+|/nowhere/x|/dev/full", "(path)", message)
        message = re.sub(r"\b[0-9]{5,}\b", "N", message)
        cure = re.sub(VALUES, "", cure)
        table[int(code)][(message, cure)].add(re.sub("^LumoraLib::(Lumora::)?", "", name))
    text = [HEAD]
    for code in sorted(table):
        text.append("\n## %d: %s\n\n| Message | From | What to do |\n|---|---|---|" % (code, CODES[code]))
        by_row = collections.defaultdict(set)
        for (message, cure), names in table[code].items():
            by_row[(message, cure)] |= names
        for (message, cure), names in sorted(by_row.items(), key=lambda item: (item[0][0], item[0][1])):
            shown = sorted(names, key=lambda n: (n.lower(), n))
            listed = ", ".join("`%s`" % n for n in shown[:6]) + (" and %d more" % (len(shown) - 6) if len(shown) > 6 else "")
            text.append("| %s | %s | %s |" % (message.replace("|", "\\|") or "(empty)", listed, cure.replace("|", "\\|")))
    return "\n".join(text) + "\n"


def main():
    text = page(pathlib.Path(sys.argv[1]).resolve())
    if "--check" in sys.argv:
        if not PAGE.exists() or PAGE.read_text(encoding="utf-8") != text:
            sys.exit("docs/errors.md is stale: run tools/make_errors.py BUILD")
    else:
        PAGE.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
