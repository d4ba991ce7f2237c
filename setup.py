"""Builds the extension module of the package lumora by CMake; everything else stands in pyproject.toml."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    """One target of the tree; its module and its type stubs go where setuptools collects the package."""

    def build_extension(self, extension):
        build = pathlib.Path(self.build_temp).resolve()
        package = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        package.mkdir(parents=True, exist_ok=True)
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DLML_BUILD_PYTHON=ON",
                        "-DLML_BUILD_TESTS=OFF", "-DLML_BUILD_EXAMPLES=OFF", "-DLML_BUILD_COMMAND=OFF",
                        f"-DPython_EXECUTABLE={sys.executable}", *shlex.split(os.environ.get("CMAKE_ARGS", ""))],
                       check=True)
        subprocess.run(["cmake", "--build", build, "--target", "lumora_core", "-j", str(os.cpu_count() or 1)],
                       check=True)
        for file in [*(build / "python" / "lumora").glob("_core*.so"), build / "python" / "lumora" / "_core.pyi"]:
            shutil.copy2(file, package)


setup(
    version=re.search(r"project\(lml VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")).group(1),
    package_dir={"": "python"},
    packages=["lumora"],
    package_data={"lumora": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("lumora._core", [])],
    cmdclass={"build_ext": CMakeBuild},
)
