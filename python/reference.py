#!/usr/bin/env python3
"""Writes the reference page of the package from the docstrings of the module as it was built.

    reference.py PACKAGES PAGE            PACKAGES is the folder that lumora stands in
"""
import inspect
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent


def entry(name, thing, level):
    """A heading and the docstring of a function, a class or a property."""
    text = inspect.getdoc(thing)
    return [f"{'#' * level} {name}", "", "```text", text, "```", ""] if text else []


def members(owner):
    """The public members of a class, those of its own, in the order of the alphabet."""
    out = []
    for name, thing in sorted(vars(owner).items()):
        if name.startswith("_"):
            continue
        if isinstance(thing, staticmethod):
            thing = thing.__func__
        if callable(thing) or isinstance(thing, property):
            out += entry(name + (" (property)" if isinstance(thing, property) else ""), thing, 3)
    return out


def is_enum(thing):
    return hasattr(thing, "__members__")


def page(lumora, rows):
    from lumora import plot

    public = {name: thing for name, thing in sorted(vars(lumora).items()) if not name.startswith("_")}
    classes = {name: thing for name, thing in public.items() if isinstance(thing, type)}
    out = ["# Reference of the package lumora", "",
           "Written by `python/reference.py` from the docstrings. `help()` shows the same.", ""]
    for name in ["Field", *(n for n in classes if n != "Field" and not is_enum(classes[n]))]:
        out += entry(name, classes[name], 2) + members(classes[name])
    out += ["## Functions", ""]
    for name, thing in public.items():
        if callable(thing) and not isinstance(thing, type):
            out += entry(name, thing, 3)
    out += entry("lumora.plot", plot, 2)
    for name, thing in sorted(vars(plot).items()):
        if inspect.isfunction(thing) and not name.startswith("_"):
            out += entry(f"plot.{name}", thing, 3)
    out += ["## Enumerations", "", "| Name | Values | Meaning |", "|---|---|---|"]
    for name, thing in classes.items():
        if is_enum(thing):
            meaning = (inspect.getdoc(thing) or "").split("\n")[0]
            out.append(f"| `{name}` | {', '.join(f'`{value}`' for value in thing.__members__)} | {meaning} |")
    out += ["", "## From C++ to Python", "", "| C++ | Python |", "|---|---|"]
    for row in rows.values():
        out.append(f"| `{row.full}` | {'- ' + row.rest if row.python == '-' else '`' + row.python + '`'} |")
    return "\n".join(out) + "\n"


def main():
    sys.path.insert(0, sys.argv[1])
    try:
        import lumora
        from lumora import plot  # noqa: F401
    except ImportError as missing:
        print(f"no reference page: {missing}")
        return
    sys.path.insert(0, str(HERE))
    import generate

    pathlib.Path(sys.argv[2]).write_text(page(lumora, generate.read_table()), encoding="utf-8")


if __name__ == "__main__":
    main()
