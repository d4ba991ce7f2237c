#!/usr/bin/env python3
"""Compares the failures that the library can report with the rows of the table test.

A failure is (code, operation, message). The sites are the calls of Error and FileError in lml/; where an operation or a
message is a parameter of the function around the call, the callers are followed. What is known only at run time (a path,
the operation of an open container) fits any text. Rows are those of tests/ErrorTableTest.cpp:
{code, "operation without the namespace", "message", call}, and of tests/PicturesTest.cpp for its component. Exit code 1 names sites without a row and rows without a
site."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CODES = ["NONE", "MEMORY", "FILE_OPEN", "PARAMETER", "FILE_WRITE", "FILE_READ", "SOMETHING", "COMPLEX_FORM",
         "SPECTRUM_OR_AMPLITUDE", "INTERNAL"]
ANY = None
STRING = r'"(?:[^"\\]|\\.)*"'
# Sites that no call of the interface reaches, each with its reason.
UNREACHABLE = {
    (1, "LumoraLib::Malloc", "scratch"),  # a few bytes missing: the test of failing allocations has it
    (1, "LumoraLib::Malloc", "SphericalWaveDescriptor"),  # likewise
    (1, "LumoraLib::Malloc", "point cloud"),  # likewise
    (1, "LumoraLib::Malloc", "advice"),  # likewise
    (1, "LumoraLib::Lumora::CreateRealHistogram", ""),  # likewise
    (1, None, "tables"),  # likewise
    (1, "LumoraLib::SegmentedField", "segment table"),  # likewise
    (5, "LumoraLib::SegmentedField", None),  # a file that becomes shorter while it is open
    (4, "LumoraLib::SegmentedField", None),  # a full disk: the test of failing file calls has it
    (4, "LumoraLib::LargeAddPointCloud", None),  # likewise
    (4, "LumoraLib::LargeResample", None),  # likewise
    (4, "LumoraLib::LargeSaveAsBmp", None),  # likewise
    (5, "LumoraLib::LargeSaveAsBmp", None),  # likewise
    # A component of its own: MpiTest has the first, and the second is what an MPI without threads gives.
    (6, "LumoraLib::MpiRanks", "MPI has not begun, or has ended: call MPI_Init_thread first"),
    (6, "LumoraLib::MpiRanks", "MPI was begun for one thread: ask MPI_Init_thread for MPI_THREAD_SERIALIZED"),
}
# Failures that tests of their own show under every name: only the code and the message need a row here.
GUARDS = {"the grid is empty: give both Nx and Ny a size", "an axis is longer than a transform takes (2^29 samples)", "tables",
          "the source is a spectrum", "both files must be in real space", "wavelengths or normals of the files differ",
          "the source lacks segments", "sizes, domains, pitches or wavelengths of the files differ"}
ELSEWHERE = "LumoraLib::WholeFile"  # the writer of whole files, in the tests of its own unit
NO_MEMORY = (1, "picture")  # of the component of pictures, whose containers throw: no call of the interface reaches it


def closing(text, start):
    """Index behind the bracket that closes the one at `start`; strings are skipped."""
    depth, i = 0, start
    while i < len(text):
        if text[i] == '"':
            i = re.compile(STRING).match(text, i).end()
            continue
        depth += (text[i] in "({[") - (text[i] in ")}]")
        i += 1
        if depth == 0:
            return i
    return i


def split(text):
    """The arguments of a call or the parameters of a function, cut at commas outside of brackets."""
    parts, begin, i = [], 0, 0
    angle = 0
    while i < len(text):
        if text[i] == '"':
            i = re.compile(STRING).match(text, i).end()
        elif text[i] in "({[":
            i = closing(text, i)
        else:
            angle += (text[i] == "<" and bool(re.search(r"(?:template|\w)$", text[:i]))) - (
                text[i] == ">" and angle > 0)
            if text[i] == "," and angle == 0:
                parts.append(text[begin:i])
                begin = i + 1
            i += 1
    parts.append(text[begin:])
    return [p.strip() for p in parts if p.strip()]


def literal(text):
    """The value of adjacent string literals, or ANY."""
    pieces = re.findall(STRING, text)
    return "".join(p[1:-1] for p in pieces) if pieces and not re.sub(STRING, "", text).strip() else ANY


def constants(text):
    return {name: literal(value) for name, value in
            re.findall(r"constexpr char (\w+)\[\] =\s*((?:%s\s*)+)" % STRING, text)}


class Function:
    def __init__(self, unit, name, parameters, body):
        self.unit, self.name, self.body = unit, name, body
        self.parameters = [re.sub(r"\s*=.*", "", p) for p in split(parameters)]
        self.parameters = [(re.findall(r"\w+", p) or [""])[-1] for p in self.parameters]
        self.optional = sum("=" in p for p in split(parameters))
        self.constants = constants(body)


def functions(unit, text):
    """The function bodies of a unit, those of classes included."""
    i, begin = 0, 0
    while i < len(text):
        c = text[i]
        if c == '"':
            i = re.compile(STRING).match(text, i).end()
            continue
        if c == "(":
            i = closing(text, i)
            continue
        if c == "{":
            head = re.sub(r"(?m)^#.*$|LML_PRINTF_LIKE\([^)]*\)|\[\[\w+\]\]", " ", text[begin:i])
            match = re.search(r"([\w:~]*operator[^\s(]+|[\w:~]+)\s*\(", head)
            if match and not re.match(r"\s*(?:namespace|struct|class|enum|constexpr \w+ \w+\[)", head):
                end = closing(text, i)
                first = match.end() - 1
                yield Function(unit, match.group(1).rsplit("::", 1)[-1], head[first + 1:closing(head, first) - 1],
                               text[begin:end])
                i = begin = end
                continue
            if re.search(r"[=\])]\s*$", head):
                i = closing(text, i)
                continue
            begin = i + 1
        elif c in ";}":
            begin = i + 1
        i += 1


def calls(name, text):
    for match in re.finditer(r"(?<![\w~])%s\s*(?:<\w+>\s*)?\(" % re.escape(name), text):
        yield split(text[match.end():closing(text, match.end() - 1) - 1])


class Library:
    def __init__(self):
        self.units, self.shared = {}, {}
        for path in sorted((ROOT / "lml").rglob("*")):
            if path.suffix in (".cpp", ".h", ".inl"):
                self.units[path.name] = re.sub(r"//[^\n]*", "", path.read_text(encoding="utf-8"))
                if path.suffix == ".h":
                    self.shared.update(constants(self.units[path.name]))
        self.own = {unit: constants(re.sub(r"static constexpr", "static", text)) for unit, text in self.units.items()}
        self.cache = {}
        self.functions = [f for unit, text in self.units.items() for f in functions(unit, text)]

    def calls(self, name, function):
        if (name, function) not in self.cache:
            self.cache[name, function] = list(calls(name, function.body))
        return self.cache[name, function]

    def values(self, expression, function):
        """Texts that the expression can have, or the index of a parameter of the function."""
        expression = expression.strip()
        wrapped = re.match(r"(?:detail::)?(?:Explained|Differing)\(", expression)
        if wrapped:
            return self.values(split(expression[wrapped.end():-1])[0], function)
        choice = re.match(r"[^\"?]*\?(.*):(.*)$", expression, re.S)
        if choice and "::" not in choice.group(0).replace("detail::", ""):
            return [v for part in choice.groups() for v in self.values(part, function)]
        if literal(expression) is not ANY:
            return [literal(expression)]
        name = re.sub(r"^(?:\w+::)+", "", expression)
        if name == "nullptr":
            return [""]
        for known in (function.constants, self.own[function.unit], self.shared):
            if name in known:
                return [known[name]]
        if name in function.parameters:
            return [function.parameters.index(name)]
        local = re.search(r"const char\* const %s = ([^;]*);" % re.escape(name), function.body)
        if local:
            return self.values(local.group(1), function)
        return [ANY]

    def follow(self, code, function, texts, seen=()):
        """Resolves pairs (operation, message) in the function, and in its callers where they are parameters."""
        open_ = {t for t in texts if isinstance(t, int)}
        if not open_:
            yield (code, *texts)
            return
        if function in seen:
            return
        found = False
        for caller in self.functions:
            if caller is function and len(function.parameters) == 0:
                continue
            for arguments in self.calls(function.name, caller):
                count = len(function.parameters)
                if not count - function.optional <= len(arguments) <= count or caller is function:
                    continue
                found = True
                options = [self.values(arguments[t], caller) if isinstance(t, int) else [t] for t in texts]
                for operation in options[0]:
                    for message in options[1]:
                        yield from self.follow(code, caller, (operation, message), (*seen, function))
        if not found:  # the interface: the caller's text
            yield (code, *(ANY if isinstance(t, int) else t for t in texts))

    def sites(self):
        found = set()
        for f in self.functions:
            if f.name in ("Error", "FileError"):
                continue
            for arguments in calls("Error", f.body):
                if not arguments[0].startswith("ERR_"):
                    continue
                code = CODES.index(arguments[0][4:])
                for operation in self.values(arguments[1], f):
                    for message in self.values(arguments[2], f):
                        found.update(self.follow(code, f, (operation, message)))
            for arguments in calls("FileError", f.body):
                if not arguments[1].startswith("ERR_"):
                    continue
                code = CODES.index(arguments[1][4:])
                for message in self.values(arguments[2], f):
                    found.update((c, ANY, m) for c, _, m in self.follow(code, f, (ANY, message)))
        guarded = {(code, ANY if message in GUARDS else operation, message) for code, operation, message in found}
        return {site for site in guarded if not (site[1] or "").startswith(ELSEWHERE) and (site[0], site[2]) != NO_MEMORY}


def rows(shared):
    text = "".join(re.sub(r"//[^\n]*", "", (ROOT / "tests" / name).read_text(encoding="utf-8"))
                   for name in ("ErrorTableTest.cpp", "PicturesTest.cpp"))
    shared = {**shared, **constants(text)}
    for operation in re.findall(r'BARE\("([^"]+)"', text):  # operations on fields without samples
        yield 6, "LumoraLib::Lumora::" + operation, shared["kNoSamples"]
    pattern = r'\{(\d),\s*"([^"]*)",\s*(%s(?:\s*%s)*|[\w:]+),' % (STRING, STRING)
    for code, operation, message in re.findall(pattern, text):
        value = literal(message)
        if value is ANY:
            value = shared.get(message.rsplit("::", 1)[-1], ANY)
        if code != "0":  # the twins that are accepted
            yield int(code), operation if operation[0] == "e" else "LumoraLib::" + operation, value


def fits(a, b):
    """Container messages stand behind the path, so a row of a container ends in the site's message."""
    return all(x is ANY or y is ANY or x == y for x, y in zip(a, b))


def main():
    library = Library()
    sites = library.sites() - UNREACHABLE
    table = set(rows(library.shared))
    missing = ["site without a row: %s" % (s,) for s in sorted(sites, key=str) if not any(fits(s, r) for r in table)]
    missing += ["row without a site: %s" % (r,) for r in sorted(table, key=str) if not any(fits(s, r) for s in sites)]
    print("%d sites, %d rows" % (len(sites), len(table)))
    if missing:
        sys.exit("\n".join(missing))


if __name__ == "__main__":
    main()
