"""The table of the interface against the C++ headers, the exported symbols, the module, its docstrings, its stubs."""
import os
import pathlib
import re
import subprocess
import sys

import pytest

import lumora

PYTHON = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(PYTHON))
import generate  # noqa: E402
import headers  # noqa: E402

ROWS = generate.read_table()
PUBLIC = headers.read(PYTHON.parent / "lml")
PACKAGE = pathlib.Path(lumora.__file__).parent


def test_each_public_name_has_a_row_and_each_row_a_name():
    names = {f.full for f in PUBLIC}
    assert sorted(n for n in names if not generate.row_of(ROWS, n)) == []
    assert sorted(n for n in ROWS if not n.endswith("::*") and n not in names) == []
    assert all(row.rest for row in ROWS.values() if row.python == "-"), "what is left out has a reason"


def test_the_headers_were_read_whole():
    """What the library exports is an independent list of what the headers declare."""
    listed = subprocess.run(["nm", "-DC", "--defined-only", os.environ["LUMORA_LIBRARY"]], capture_output=True,
                            text=True, check=True)
    exported = set(re.findall(r" T LumoraLib::((?:\w+::)?(?:operator[^\s(]+|\w+))\(", listed.stdout))
    declared = {f.full for f in headers.read(PYTHON.parent / "lml", everything=True)}
    assert len(exported) > 300
    assert sorted(n for n in exported - declared if not n.endswith("operator=")) == []


def test_each_row_is_reachable():
    owners = {"Lumora": lumora.Field, "free": lumora, "LML_RECT": lumora.Window}
    missing = []
    for row in ROWS.values():
        if row.python in ("-", "Field", "Window"):
            continue
        owner = owners.get(row.owner) or getattr(lumora, row.owner)
        if not hasattr(owner, row.python):
            missing.append(row.full)
    assert missing == []


def documented():
    for owner in (lumora, *(thing for thing in vars(lumora).values() if isinstance(thing, type))):
        for name, thing in vars(owner).items():
            thing = thing.__func__ if isinstance(thing, staticmethod) else thing
            if callable(thing) and not name.startswith("_") and not isinstance(thing, type):
                yield f"{owner.__name__}.{name}", thing.__doc__ or ""


def test_docstrings_name_each_parameter_with_its_unit():
    bad = []
    for name, text in documented():
        signatures = re.findall(rf"^{name.split('.')[-1]}\((.*)\)$", text, flags=re.M)
        parameters = {p.split("=")[0].strip("* ") for s in signatures for p in re.split(r",\s*(?![^(]*\))", s)} - {""}
        for parameter in parameters:
            # On a line of its own, with a meaning behind it; by hand two may share one.
            if not re.search(rf"^(?:\w+, )*\**{parameter}(?:, \w+)* : .+\n    \S", text, flags=re.M):
                bad.append((name, parameter))
        if not text:
            bad.append((name, ""))
    assert bad == []


def test_stubs_are_those_of_the_module(tmp_path):
    (tmp_path / "mypy.ini").write_text("[mypy]\nignore_missing_imports = True\ncheck_untyped_defs = True\n")
    how = dict(capture_output=True, text=True, env={**os.environ, "MYPYPATH": str(PACKAGE.parent)}, cwd=tmp_path)
    python = [sys.executable, "-m"]
    found = subprocess.run(python + ["mypy.stubtest", "--concise", "--mypy-config-file", "mypy.ini", "lumora._core"],
                           **how)
    # pybind11's metaclass and *args, names for types alone, and what only numpy asks for.
    noise = (r"metaclass differs|\*args argument|(?:Number|Path|\w+Like) is not present at runtime|"
             r"__(?:array_\w+|bool)__")
    lines = found.stdout.splitlines()
    assert len(lines) > 20 and [line for line in lines if not re.search(noise, line)] == []
    scripts = [str(p) for p in sorted((PYTHON / "tutorials").glob("*.py"))]
    used = subprocess.run(python + ["mypy", "--config-file", "mypy.ini"] + scripts, **how)
    assert used.returncode == 0, used.stdout


@pytest.mark.parametrize("call", ["lumora.Field((2, 2)).asm_prop('far')", "lumora.Field((2, 2)).asm_prop(far=1)",
                                  "lumora.Field((2, 2)).save_as_lm(3)", "lumora.Field((2, 2)).load_bmp('a', 'colour')"])
def test_wrong_types_and_names_are_refused(call):
    with pytest.raises(TypeError):
        eval(call)
