#!/usr/bin/env python3
"""Writes docs/map.md: a line per source unit and a table from functions to units. With --check it only compares.

Units and purposes come from the first line of each source file, functions from their definitions and from the inline
members of the public headers, tests from the files that name the unit."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIB = ROOT / "lml"
TESTS = ROOT / "tests"
PUBLIC = ["LmlLumora.h", "LmlTypes.h", "LmlRuntime.h", "LmlCloud.h", "LmlAdvice.h", "LmlPictures.h", "LmlLarge.h", "LmlMpi.h", "Fftsg.h"]
# From the bottom up: a file includes its own folder and those above it in this list (tests/folders.py holds them to it).
FOLDERS = {
    "base": "What everything stands on: failures, log, threads, parallel loops, sums, memory, integer arithmetic, instruction set, progress.",
    "values": "The value types: numbers, vectors, matrices, lines and planes, lists of points.",
    "simd": "Code that is compiled once per instruction set: lanes, the build itself, sine and cosine, rows of phase factors.",
    "field": "The field class without waves: life, arithmetic, forms, interpolation, local frames, measures, synthesis, shaping, sizes.",
    "transform": "Fourier transforms: the engine table, the split-radix engine, a vendor's library, scaled transforms; `wide/` is the wide engine.",
    "propagate": "From plane to plane: angular spectrum, Fresnel, shifted and scaled, rotation to tilted planes, tiles.",
    "points": "Fields of point sources, one by one and as clouds.",
    "files": "Every file format, the byte-wise layer below them, and files replaced whole.",
    "large": "Fields larger than memory: segmented files as one grid, three sweeps over a scratch file, operations from file to file, alone or in ranks.",
    "advice": "The adviser: which members carry a field to a plane, how well and at what cost, and the way it would go.",
    "mpi": "The component `lml::mpi`, on the public interface alone: the ranks of large fields over MPI.",
    "pictures": "The component `lml::pictures`, on the public interface alone: picture files, fields in colour, line plots.",
}
# Units whose tests have another name than their own.
TESTED_BY = {
    "lml": "RuntimeTest", "Runtime": "RuntimeTest", "Tiles": "ShiftedAsmTest", "Isa": "IsaTest", "Scratch": "FftTest", "WideFft": "FftTest",
    "WideKernels": "FftTest", "WideTables": "FftTest", "WideScratch": "FftTest", "WideLong": "FftTest", "WidePasses": "FusedTest", "FactorCache": "FusedTest",
    "FieldTools": "ConversionTest", "ImageModes": "PictureTest", "FieldFile": "FileTest", "FusedAsm": "FusedTest", "FusedChirp": "FusedTest",
    "WidePhase": "SinCosTest", "VendorFft": "VendorFftTest", "WidePoint": "PointSourceTest",
    "WideInterpol": "InterpolTest", "Modify": "ModifyTest", "CloudPly": "CloudFileTest", "CloudMesh": "CloudFileTest",
    "PhaseEncode": "PhaseRetrievalTest",
    "FreeSpace": "PropagateTest", "ShiftedSpace": "ShiftedAsmTest", "FresnelGeometry": "ShiftedFresnelTest", "ChirpAxis": "FusedTest",
    "SpectrumFactors": "FusedTest",
    "CentredFft": "FftTest", "Engine": "FftTest", "EngineTable": "FftTest", "EngineFusedChirp": "FusedTest", "EngineFusedSpectrum": "FusedTest",
    "EngineSteps": "FusedTest", "EngineStack": "StackTest", "LmHeads": "FileLmTest", "WideFocus": "FocusTest", "Describe": "RuntimeTest",
    "StepByStep": "ThreadsTest",
    "LaneExchange": "MpiTest", "LargeRunRanks": "MpiTest", "Together": "MpiTest", "MpiRanks": "MpiTest",
}
# Folders whose units share a test.
TESTED_IN = {"advice": "AdviceTest", "large": "LargeTest", "pictures": "PicturesTest", "points": "PointCloudTest"}


def purpose(path):
    first = path.read_text(encoding="utf-8").splitlines()[0]
    text = first.lstrip("/ ").rstrip()
    lines = path.read_text(encoding="utf-8").splitlines()
    # A purpose may run over several comment lines up to its first full stop.
    for line in lines[1:]:
        if text.endswith(".") or not line.startswith("//") or not line.lstrip("/ "):
            break
        text += " " + line.lstrip("/ ").rstrip()
    return text.split(". ")[0].rstrip(".") + "."


def test_of(path):
    # Rooms of the wide code come in one file per instruction set.
    stem = path.stem.removesuffix("-inl")
    base = re.sub(r"(Sse2|Avx2|Avx512)$", "", stem)
    for name in (TESTED_BY.get(stem), TESTED_BY.get(base), stem + "Test", base + "Test", TESTED_IN.get(path.parent.name)):
        if name and ((TESTS / (name + ".cpp")).exists() or (TESTS / "vendor" / (name + ".cc")).exists()):
            return name
    return "-"


def strip_comments(text):
    text = re.sub(r"//[^\n]*", "", text)
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S)


def functions():
    """(function, unit) pairs: definitions of members and of public free functions."""
    declared = strip_comments("".join((LIB / h).read_text(encoding="utf-8") for h in PUBLIC))
    found = {}
    member = re.compile(
        r"^[^\s#/{}][^;{}()=]*?\b((?:Lumora|ScaledFftDescriptor|ShiftedFresnelPropDescriptor|SphericalWaveDescriptor|"
        r"TrigTable|PointArray|Plane|Line|LineSegment|SqrMatrix|RMatrix|SFrequency|Vector|Complex|ComplexDouble|"
        r"LumoraException|StopWatch)::~?(?:operator[^(]*(?:\(\))?|\w+))\s*\(", re.M)
    free = re.compile(r"^(?:\[\[noreturn\]\]\s*)?[A-Za-z_][\w:&*<>\s]*?[\s&*](\w+)\(", re.M)
    for path in sorted(LIB.rglob("*.cpp")):
        text = strip_comments(path.read_text(encoding="utf-8"))
        for match in member.finditer(text):
            name = re.sub(r"\s+", "", match.group(1))
            owner, _, short = name.partition("::")
            if re.search(r"(?<!\w)%s(?!\w)" % re.escape(short), declared):
                found.setdefault(name, set()).add(path.stem)
        for match in free.finditer(text):
            name = match.group(1)
            if re.search(r"LML_API[^;{]*[\s&*]%s\s*\(" % re.escape(name), declared):
                found.setdefault(name, set()).add(path.stem)
    return found


def inside(path):
    return "/".join(path.relative_to(LIB).parts[1:])


def picture():
    """The folders as a stack, the highest on top."""
    lines = ["   programs, examples", "          |", "   lml/Lml*.h, Fftsg.h", "          |"]
    for folder in reversed(FOLDERS):
        lines += ["   +--------------+", "   | %-12s |" % folder]
    return lines + ["   +--------------+"]


def make():
    out = ["# Map of the library", "",
           "Written by `tools/make_map.py`; a test fails when it is stale. Inline members (accessors, value arithmetic) stand in the",
           "public headers and are not listed.", "", "## Folders", "",
           "The public headers lie directly in `lml/`. Below them stand the folders, each on those under it; a file includes only its",
           "own folder and lower ones.", "", "```"]
    out += picture() + ["```", "", "| Folder | What it holds |", "|---|---|"]
    out += ["| `lml/%s/` | %s |" % item for item in reversed(FOLDERS.items())]
    out += ["", "## Units"]
    for folder in reversed(FOLDERS):
        out += ["", "### lml/%s" % folder, "", "| Unit | Purpose | Test |", "|---|---|---|"]
        for path in sorted((LIB / folder).rglob("*.cpp"), key=lambda p: p.stem.lower()):
            out.append("| `%s` | %s | %s |" % (inside(path), purpose(path).replace("|", "\\|"), test_of(path)))
    out += ["", "## Headers", "", "| Header | Purpose |", "|---|---|"]
    for path in sorted(LIB.rglob("*.h"), key=lambda p: (p.parent != LIB, str(p).lower())):
        kind = " (public)" if path.parent == LIB else ""
        out.append("| `%s`%s | %s |" % (path.relative_to(LIB), kind, purpose(path).replace("|", "\\|")))
    out += ["", "## Functions", "", "| Function | Unit |", "|---|---|"]
    for name, units in sorted(functions().items(), key=lambda item: item[0].lower()):
        out.append("| `%s` | %s |" % (name, ", ".join("`%s`" % u for u in sorted(units))))
    return "\n".join(out) + "\n"


def main():
    target = ROOT / "docs" / "map.md"
    text = make()
    if "--check" in sys.argv[1:]:
        if not target.exists() or target.read_text(encoding="utf-8") != text:
            sys.exit("docs/map.md is stale: run tools/make_map.py")
        return
    target.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
