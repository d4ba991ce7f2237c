#!/usr/bin/env python3
"""Makes the regular part of the Python bindings from the public headers and interface.txt.

    generate.py OUT            writes OUT/bind_*.cpp and OUT/lumora/_core.pyi
"""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import headers  # noqa: E402
import words  # noqa: E402

LEANS = re.compile(r"The same|As \w+\(?\)?,|Old name|\w+\(?\)? (?:on|along|with)\b")
PARTS = 6  # sources that the members of Field are split into: they compile side by side
VALUE_CLASSES = ["Vector", "SFrequency", "SqrMatrix", "RMatrix", "PointArray", "Line", "LineSegment", "Plane"]
OTHER_CLASSES = ["StopWatch", "ScaledFftDescriptor", "ShiftedFresnelPropDescriptor", "SphericalWaveDescriptor",
                 "TrigTable"]
ENUMS = {"Mode", "Gradation", "Interpol", "WindowFunc", "Axis", "FftLib", "CloudMethod", "CloudFrame", "ErrorCode",
         "ComplexForm",
         "CpuType", "DevelopEnv", "Platform", "FocusMeasure", "StackPropagator", "InstructionSet",
         "MissingSegments", "SegmentedAccess", "AdvisedMember"}
PY_TYPES = {"double": "float", "float": "float", "int": "int", "bool": "bool", "void": "None", "Complex": "complex",
            "ComplexDouble": "complex", "Phase": "float", "LumoraLib::Phase": "float", "std::size_t": "int",
            "std::int32_t": "int",
            "std::int64_t": "int", "std::uint16_t": "int", "unsigned int": "int", "Lumora": "Field",
            "const char*": "Path",
            "ComplexForm": "Form", "LML_RECT": "Window"}


class Row:
    def __init__(self, owner, line):
        self.owner = owner
        self.cpp, self.python, *rest = line.split(None, 2)
        self.rest = rest[0].strip() if rest else ""
        self.flags = set()
        self.defaults = {}
        if self.python != "-":
            for word in self.rest.split():
                if "=" in word:
                    name, _, value = word.partition("=")
                    self.defaults[name] = value
                else:
                    self.flags.add(word)

    @property
    def full(self):
        return f"{self.owner}::{self.cpp}" if self.owner not in ("free", "whole") else self.cpp

    @property
    def generated(self):
        return self.python != "-" and not self.flags & {"hand", "property"}


def read_table(path=HERE / "interface.txt"):
    """The rows of the table by full C++ name."""
    rows, owner = {}, ""
    for line in path.read_text(encoding="utf-8").splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith("["):
            owner = line.strip("[] \n")
            continue
        row = Row(owner, line)
        assert row.full not in rows, f"{row.full} stands twice"
        rows[row.full] = row
    return rows


def row_of(rows, full):
    return rows.get(full) or rows.get(full.split("::")[0] + "::*")


def bare(cpp_type):
    return re.sub(r"\bconst\b|&", "", cpp_type).strip() if cpp_type != "const char*" else cpp_type


def snake(name):
    return re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", name).lower()


def python_parameter(cpp_type, name):
    kind = bare(cpp_type)
    return words.RENAMED.get((name, kind)) or words.RENAMED.get((name, None)) or snake(name) or "other"


def python_type(cpp_type, result=False):
    kind = bare(cpp_type)
    if kind == "const char*":
        return "str" if result else "Path"
    if kind in ENUMS and kind != "ComplexForm":
        return kind if result else f"{kind} | str | int"
    if kind in ("Vector", "TrigTable", "LML_RECT") and not result:
        return {"Vector": "VectorLike", "TrigTable": "TrigTable | int", "LML_RECT": "WindowLike"}[kind]
    return PY_TYPES.get(kind, kind)


class Binding:
    """One overload as Python sees it."""

    def __init__(self, function, row):
        self.function, self.row = function, row
        self.dropped = [p for p in function.parameters if "OptionHead*" in p[0]]
        self.outs = [p for p in function.parameters if p[0] in ("bool*", "double*", "SFrequency*")]
        self.given = [p for p in function.parameters if p not in self.dropped and p not in self.outs]
        last = len(self.given)
        self.default = {}
        for kind, name, value in reversed(self.given):
            value = row.defaults.get(name, value)
            if value is None:
                break
            self.default[name] = value

    @property
    def parameters(self):
        return [(python_parameter(t, n), t, self.default.get(n)) for t, n, _ in self.given]

    @property
    def result(self):
        if self.outs:
            return python_type(self.outs[0][0].rstrip("*"), True)
        return python_type(self.function.result, True)

    def key(self):
        return (self.row.python, tuple(python_type(t) for _, t, _ in self.parameters))

    def covers(self, other):
        mine, theirs = self.parameters, other.parameters
        return (self.row.python == other.row.python and len(mine) > len(theirs) and
                [t for _, t, _ in mine[:len(theirs)]] == [t for _, t, _ in theirs] and
                all(d is not None for _, _, d in mine[len(theirs):]))

    def python_default(self, value):
        value = re.sub(r"^(?:LumoraLib::)?\w+\(([-\d.]+)\)$", r"\1", value)
        return {"true": "True", "false": "False"}.get(value, value if re.match(r"-?[\d.]+$", value) else "...")

    def signature(self, stub=False):
        parts = []
        for name, kind, default in self.parameters:
            part = name
            if stub:
                wanted = python_type(kind)
                part += ": " + ("SupportsFloat" if wanted == "float" else wanted)
            if default is not None:
                shown = "..." if stub else self.python_default(default)
                part += (f" = {shown}" if stub else f"={shown}")
            parts.append(part)
        return parts

    def pointer(self):
        """C++ text of the function to be bound."""
        f = self.function
        types = ", ".join(t for t, _, _ in f.parameters)
        if not self.dropped and not self.outs:
            if f.owner and not f.static:
                return f"static_cast<{f.result} ({f.owner}::*)({types}){' const' if f.const else ''}>(&{f.full})"
            return f"static_cast<{f.result} (*)({types})>(&LumoraLib::{f.full})"
        taken = ", ".join([f"{'const ' if f.const else ''}{f.owner}& self"] + [f"{t} {n}" for t, n, _ in self.given])
        passed = ", ".join("nullptr" if p in self.dropped else f"&{p[1]}" if p in self.outs else p[1]
                           for p in f.parameters)
        call = f"self.{f.name}({passed})"
        if self.outs:
            kind = self.outs[0][0].rstrip("*")
            return (f"+[]({taken}) -> {kind} {{ {kind} {self.outs[0][1]}{{}}; static_cast<void>({call}); "
                    f"return {self.outs[0][1]}; }}")
        return f"+[]({taken}) -> {f.result} {{ return {call}; }}"

    def arguments(self):
        return "".join(f', py::arg("{n}")' + (f" = {d}" if d is not None else "") for n, _, d in self.parameters)


def bindings(rows, functions):
    """Overloads to be generated, by owner, in the order of the headers; one for each Python signature."""
    found, seen = {}, set()
    for f in functions:
        row = row_of(rows, f.full)
        if not row or not row.generated:
            continue
        if any("InterpolFunc" in t or "&&" in t or t == f"const {f.owner}&" and f.name == f.owner for t, _,
               _ in f.parameters):
            continue  # kernels by pointer, and copies: copy.copy()
        binding = Binding(f, row)
        if (f.owner, binding.key()) in seen:
            continue
        seen.add((f.owner, binding.key()))
        found.setdefault(f.owner, []).append(binding)
    # An overload that another one covers with its defaults says nothing new.
    return {owner: [b for b in items if not any(a.covers(b) for a in items)] for owner, items in found.items()}


# ------------------------------------------------------------------------------------------------------ docstrings


def translated(text, rows):
    """A comment in the words of Python: C++ names become Python's."""

    def name(match):
        full = match.group(0).rstrip("()")
        row = rows.get(full) or rows.get("Lumora::" + full) or rows.get(full.split("::")[-1])
        if not row or row.python in ("-", "__init__") or row.python.startswith("__"):
            return match.group(0)
        return row.python + ("()" if match.group(0).endswith("()") else "")

    quoted = re.split(r'("[^"\n]*")', text)
    for at in range(0, len(quoted), 2):
        part = quoted[at]
        part = re.sub(r"\b(?:\w+::)?[A-Z]\w*[a-z]\w*[A-Z0-9]\w*(?:\(\))?|\b[A-Z][a-z]+\w*\(\)", name, part)
        quoted[at] = re.sub(r"\bnull\b", "None", part).replace("Lumora::", "").replace("LumoraLib::", "")
    text = "".join(quoted)
    return text


def base_of(function, functions):
    """The function whose comment another one leans on: "The same with ..."."""
    at = next(n for n, f in enumerate(functions) if f is function)
    for before in reversed(functions[:at]):
        if before.owner != function.owner:
            return None
        if before.doc and not LEANS.match(before.doc) and before.doc != function.doc and before.name != function.name:
            return before
    return None


def docstring(group, rows, functions):
    """numpy's style: signatures, text, parameters with units, result, failures."""
    f = group[0].function
    name = group[0].row.python
    texts = []
    for binding in group:
        if binding.function.doc and binding.function.doc not in texts:
            texts.append(binding.function.doc)
    text = translated("\n\n".join(texts), rows)
    meanings, failures = {}, []

    def take_parameter(match):
        meanings[match.group(1)] = re.sub(r"\s+", " ", match.group(2)).strip()
        return ""

    def take_failure(match):
        failures.append(re.sub(r"\s+", " ", match.group(1)).strip())
        return ""

    stop = r"(?=\n@|\s@throws|\n\n|\n(?:Kept|Cost|Memory|Source|Valid|Runs|Errors|Accuracy|Validity)\b|\Z)"
    text = re.sub(r"(?:^|\s)@throws[: ](.*?)" + stop, take_failure, text, flags=re.S)
    text = re.sub(r"(?:^|\n)@param (\w+)\s+(.*?)" + stop, take_parameter, text, flags=re.S)
    text = re.sub(r"(?:^|\n)@return (.*?)" + stop, r"\n\1", text, flags=re.S)
    text = re.sub(r"(?:^|\n)Errors: (.*?)(?=\n\S[^\n]*:|\Z)", take_failure, text, flags=re.S)
    lines = [f"{name}({', '.join(b.signature())})" for b in group]
    lines += ["", text.strip()]
    listed = {}
    for binding in group:
        for (python, kind, _), (_, cpp, _) in zip(binding.parameters, binding.given):
            listed.setdefault(python, (kind, cpp))
    if listed:
        lines += ["", "Parameters", "----------"]
        for python, (kind, cpp) in listed.items():
            lines.append(f"{python} : {python_type(kind)}")
            said = meanings.get(cpp) or words.MEANING.get(python, "")
            if said:
                lines.append("    " + said)
    result = group[0].result
    if result != "None":
        lines += ["", "Returns", "-------", result]
        if result == "Field":
            lines.append("    This field: calls chain.")
    if failures:
        lines += ["", "Raises", "------", "LumoraError"] + ["    " + failure for failure in failures]
    base = base_of(f, functions) if LEANS.match(f.doc) else None
    if base and row_of(rows, base.full).python not in ("-", name):
        other = row_of(rows, base.full).python
        said = re.split(r"\n?@(?:throws|param)", translated(base.doc, rows))[0].strip()
        lines += ["", "Notes", "-----", f"Of {other}: {said}"]
    return "\n".join(line.rstrip() for line in lines)


# ------------------------------------------------------------------------------------------------------ C++ and stubs


def grouped(items):
    groups = {}
    for binding in items:
        groups.setdefault(binding.row.python, []).append(binding)
    return groups


def flags_of(row, function):
    flags = [{"quick": "kQuick", "sample": "kQuick | kSample", "resizes": "kResizes"}[w]
             for w in ("quick", "sample", "resizes") if w in row.flags]
    if not function.owner and not flags and "file" not in function.name.lower():
        flags = ["kQuick"]
    return " | ".join(flags) or "0"


def emit_class(owner, items, rows, functions):
    out = []
    for name, group in grouped(items).items():
        text = docstring(group, rows, functions)
        for at, binding in enumerate(group):
            f = binding.function
            doc = f'R"doc({text})doc"' if at == 0 else '""'
            if f.name == f.owner:
                out.append(f"    type.def(py::init([]({', '.join(f'{wire(t)} {n}' for t, n, _ in f.parameters)}) "
                           f"{{ return std::make_unique<{owner}>("
                           f"{', '.join(unwire(t, n) for t, n, _ in f.parameters)}); }}), "
                           f"{doc}{binding.arguments()});")
            elif owner == "Lumora" and not f.static:
                how = flags_of(binding.row, f)
                out.append(f'    Member(type, "{name}", {how}, {binding.pointer()}, {doc}{binding.arguments()});')
            elif owner == "Lumora":
                out.append(f'    Static(type, "{name}", {binding.pointer()}, {doc}{binding.arguments()});')
            elif f.static:
                out.append(f'    type.def_static("{name}", {binding.pointer()}, {doc}{binding.arguments()});')
            else:
                out.append(f'    Value(type, "{name}", {binding.pointer()}, {doc}{binding.arguments()});')
    return out


def wire(cpp_type):
    return "Field&" if bare(cpp_type) == "Lumora" else cpp_type


def unwire(cpp_type, name):
    return f"{name}.Get()" if bare(cpp_type) == "Lumora" else name


def write(path, text):
    """Leaves a file that is the same alone: what hangs on it is not built again."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def sources(found, rows, functions):
    """The C++ sources by name."""
    head = '// Written by python/generate.py.\n#include "Bind.h"\n\nnamespace LumoraLib::python\n{\n'
    files = {}
    items = found["Lumora"]
    names = list(grouped(items))
    for part in range(PARTS):
        mine = set(names[part::PARTS])
        body = emit_class("Lumora", [b for b in items if b.row.python in mine], rows, functions)
        files[f"bind_field_{part}.cpp"] = (head + f"void BindField{part}(py::class_<Field>& type)\n{{\n" +
                                           "\n".join(body) + "\n}\n}\n")
    body = []
    for owner in VALUE_CLASSES + OTHER_CLASSES:
        lines = emit_class(owner, found.get(owner, []), rows, functions)
        body.append(f"void Bind{owner}(Class<{owner}>& type)\n{{\n    static_cast<void>(type);\n" +
                    "\n".join(lines) + "\n}")
    files["bind_values.cpp"] = head + "\n".join(body) + "\n}\n"
    body = []
    for name, group in grouped(found[""]).items():
        text = docstring(group, rows, functions)
        for at, binding in enumerate(group):
            doc = f'R"doc({text})doc"' if at == 0 else '""'
            how = flags_of(binding.row, binding.function)
            body.append(f'    Free(m, "{name}", {how}, {binding.pointer()}, {doc}{binding.arguments()});')
    files["bind_free.cpp"] = head + "void BindFree(py::module_& m)\n{\n" + "\n".join(body) + "\n}\n}\n"
    return files


def stub_lines(owner, items, indent):
    out = []
    for name, group in grouped(items).items():
        for at, binding in enumerate(group):
            f = binding.function
            static = bool(f.owner) and f.static
            first = [] if static or not f.owner else ["self"]
            if len(group) > 1:
                # The descriptor of a propagation is asked other questions than its base.
                other = (owner, name, at) == ("ShiftedFresnelPropDescriptor", "is_compatible_with", 0)
                out.append(f"{indent}@overload" + ("  # type: ignore[override]" if other else ""))
            if static:
                out.append(f"{indent}@staticmethod")
            result = "None" if name == "__init__" else binding.result
            out.append(f"{indent}def {name}({', '.join(first + binding.signature(stub=True))}) -> {result}: ...")
    return [re.sub(r"\bcomplex\b", "Number", line) for line in out]


def enum_stubs():
    """The enumerations of src/Errors.cpp."""
    text = (HERE / "src" / "Errors.cpp").read_text(encoding="utf-8")
    lists = dict(re.findall(r"constexpr Named<\w+> (\w+)\[\] = (.*?);", text, flags=re.S))
    out = []
    for name, values in re.findall(r'DefineEnum\(m, "(\w+)",\s*"[^;]*?",\s*(\w+)\);', text):
        out.append(f"class {name}(_Enum):")
        out += [f"    {value}: ClassVar[{name}]" for value in re.findall(r'\{"(\w+)"', lists[values])]
        out.append("    __members__: ClassVar[dict[str, Any]]")
    return out


def stubs(found):
    """_core.pyi: the hand-written part with the generated members put in at their marks."""
    out = []
    for line in (HERE / "src" / "core.pyi.in").read_text(encoding="utf-8").splitlines():
        match = re.match(r"(\s*)@(\w+)@$", line)
        if match:
            if match.group(2) == "enums":
                out += enum_stubs()
                continue
            owner = "" if match.group(2) == "free" else match.group(2)
            out += stub_lines(owner, found.get(owner, []), match.group(1))
        else:
            out.append(line)
        if out[-1].startswith("class ") and not line.strip():
            out.insert(-1, "    ...")
    return "\n".join(out) + "\n"


def main():
    out = pathlib.Path(sys.argv[1])
    rows = read_table()
    functions = headers.read(HERE.parent / "lml")
    found = bindings(rows, functions)
    for name, text in sources(found, rows, functions).items():
        write(out / name, text)
    write(out / "lumora" / "_core.pyi", stubs(found))


if __name__ == "__main__":
    main()
