#!/usr/bin/env python3
"""The recipes of packaging/ as their programs read them: syntax, the version, and options that the build has.

    tests/recipes.py VERSION

Spack's directives and vcpkg's functions are stood in for; the conda recipe needs PyYAML and Jinja2 and is left out without.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import types

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECIPES = ROOT / "packaging"


def spack():
    """Carries out the package file and its cmake_args(): version, variants and options."""
    told = {"version": [], "variant": []}
    package = types.ModuleType("spack.package")

    class CMakePackage:
        def define(self, name, value):
            return "-D%s=%s" % (name, "ON" if value else "OFF")

        def define_from_variant(self, name, variant):
            assert variant in told["variant"], "no variant " + variant
            return "-D%s=ON" % name
    package.CMakePackage = CMakePackage
    for name in ("version", "variant"):
        setattr(package, name, lambda what, *_, _name=name, **__: told[_name].append(what))
    for name in ("license", "depends_on", "requires", "generator"):
        def directive(what, when=None, **_):
            for variant in re.findall(r"[+~](\w+)", when or ""):
                assert variant in told["variant"], "no variant " + variant
        setattr(package, name, directive)
    sys.modules["spack"], sys.modules["spack.package"] = types.ModuleType("spack"), package
    path = RECIPES / "spack/package.py"
    scope = {}
    exec(compile(path.read_text(encoding="utf-8"), str(path), "exec"), scope)
    return told["version"][0], scope["Lumoralib"]().cmake_args()


def vcpkg():
    """Carries out the port file with functions that say what they are given."""
    manifest = json.loads((RECIPES / "vcpkg/vcpkg.json").read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as name:
        script = pathlib.Path(name) / "stubs.cmake"
        script.write_text("".join("function(%s)\n  message(STATUS \"%s ${ARGV}\")\nendfunction()\n" % (f, f) for f in (
            "vcpkg_cmake_configure", "vcpkg_cmake_install", "vcpkg_cmake_config_fixup", "vcpkg_fixup_pkgconfig",
            "vcpkg_check_features", "vcpkg_install_copyright")) +
            "set(CURRENT_PACKAGES_DIR \"%s\")\ninclude(\"%s\")\n" % (name, RECIPES / "vcpkg/portfile.cmake"), encoding="utf-8")
        said = subprocess.run(["cmake", "-P", script], check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True).stdout
    features = re.search(r"vcpkg_check_features .*FEATURES;(\S+)", said).group(1).split(";")
    assert set(features[::2]) == set(manifest["features"]), "features of vcpkg.json and portfile.cmake differ"
    source = pathlib.Path(re.search(r"SOURCE_PATH;([^;\s]+)", said).group(1))
    assert (source / "CMakeLists.txt").exists(), "the port file finds no sources"
    return manifest["version"], ["-D%s=ON" % o for o in features[1::2]] + re.findall(r"-D\w+=\w+", said)


def conda():
    import jinja2
    import yaml
    text = (RECIPES / "conda/meta.yaml").read_text(encoding="utf-8")
    recipe = yaml.safe_load(jinja2.Template(text, undefined=jinja2.StrictUndefined).render(compiler=lambda language: language + "-compiler"))
    assert {"package", "source", "build", "requirements", "test", "about"} <= set(recipe)
    assert (RECIPES / "conda" / recipe["source"]["path"] / "CMakeLists.txt").exists()
    assert (ROOT / recipe["about"]["license_file"]).exists()
    return recipe["package"]["version"], re.findall(r"-D\w+=\w+", " ".join(recipe["build"]["script"]))


def main():
    build = "".join(p.read_text(encoding="utf-8") for p in [ROOT / "CMakeLists.txt", *(ROOT / "cmake").glob("*.cmake")])
    known = set(re.findall(r"(?:option|set)\((LML_\w+)", build)) | {"BUILD_SHARED_LIBS"}
    for recipe in (spack, vcpkg, conda):
        try:
            version, options = recipe()
        except ImportError as missing:
            print("%s: left out, %s" % (recipe.__name__, missing))
            continue
        assert version == sys.argv[1], "%s: version %s" % (recipe.__name__, version)
        strange = [o for o in options if o[2:].split("=")[0] not in known]
        assert options and not strange, "%s: the build has no %s" % (recipe.__name__, ", ".join(strange))
        print("%s: version %s, %d options" % (recipe.__name__, version, len(options)))


if __name__ == "__main__":
    main()
