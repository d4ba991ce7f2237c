#!/usr/bin/env python3
"""Every function text and every message that the library hands to Error must stand in a test.

Collects the function texts ("LumoraLib::...") and the literal messages of all Error, FileError, RequireTable and Malloc
sites in lml/ and looks for each of them in the sources of the tests. Exit code 1 names those that no test mentions."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Sites that no test can reach, each with its reason.
UNREACHABLE = {
    "tell error",  # a stream that opened and seeks cannot be made to refuse its position
    "LumoraLib::SqrMatrix::Copy",  # the label of an allocation, not a function text of Error
}


def strip_comments(text):
    return re.sub(r"//[^\n]*", "", text)


def texts():
    functions, messages = {}, {}
    for path in sorted((ROOT / "lml").glob("*.cpp")) + sorted((ROOT / "lml").glob("*.h")):
        source = strip_comments(path.read_text(encoding="utf-8"))
        for name in re.findall(r'"(LumoraLib::[A-Za-z_:+\-*/=\[\]]+)"', source):
            # RequireSamples alone is covered for the class as a whole; a text counts when an Error call can carry it.
            functions.setdefault(name, path.name)
        for match in re.finditer(r"\bError\(\s*ERR_\w+\s*,[^;]*?;", source, re.S):
            for message in re.findall(r'"((?:[^"\\]|\\.)*)"', match.group(0)):
                if message and not message.startswith("LumoraLib::"):
                    messages.setdefault(message, path.name)
        for match in re.finditer(r"\b(?:FileError|RequireTable)\([^;]*?;", source, re.S):
            for message in re.findall(r'"((?:[^"\\]|\\.)*)"', match.group(0)):
                messages.setdefault(message, path.name)
    return functions, messages


def main():
    functions, messages = texts()
    tests = "".join(p.read_text(encoding="utf-8") for pattern in ("*.cpp", "*.h", "vendor/*.cc")
                    for p in sorted((ROOT / "tests").glob(pattern)))
    tests = tests.replace("\\\\(", "(").replace("\\\\)", ")")  # texts inside regular expressions of death tests
    carriers = set()
    for path in sorted((ROOT / "lml").glob("*.cpp")):
        source = strip_comments(path.read_text(encoding="utf-8"))
        # A function text that only ever goes to RequireSamples or RequireTransformable is not a site of its own.
        for name in re.findall(r'"(LumoraLib::[A-Za-z_:+\-*/=\[\]]+)"', source):
            only_guard = re.search(r'Require\w+\((?:\*this, )?"%s"\)' % re.escape(name), source)
            if not only_guard:
                carriers.add(name)
    # Constants named fn count when an Error call stands in the same function body.
    missing = []
    for path in sorted((ROOT / "lml").glob("*.cpp")):
        source = strip_comments(path.read_text(encoding="utf-8"))
        for match in re.finditer(r'static constexpr char fn\[\] = "([^"]+)";(.*?)\n}', source, re.S):
            name, body = match.groups()
            if not re.search(r"\b(Error|FileError|RequireTable|Fail\w*)\(|, fn\b.*\bfn\b", body) and "Error(" not in body:
                carriers.discard(name)
    for name in sorted(carriers):
        # A test may compose the text of a common prefix and the member's name.
        short = name.rsplit("::", 1)[1]
        if name not in UNREACHABLE and name not in tests and '"%s"' % short not in tests:
            missing.append("function text without a test: %s" % name)
    for message, where in sorted(messages.items()):
        if message not in UNREACHABLE and message not in tests:
            missing.append("message without a test: %r (%s)" % (message, where))
    print("%d function texts, %d messages" % (len(carriers), len(messages)))
    if missing:
        sys.exit("\n".join(missing))


if __name__ == "__main__":
    main()
