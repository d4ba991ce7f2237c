"""Recipe for Spack: put this folder into a repository as packages/lumoralib."""
from spack.package import *


class Lumoralib(CMakePackage):
    """Computer holography and scalar wave optics: sampled optical fields and their propagation."""

    maintainers = []
    license("BSD-3-Clause")
    version("2.81.3")

    variant("pictures", default=True, description="Pictures of fields, and the command lml")
    variant("mpi", default=False, description="Fields on many machines")
    variant("shared", default=True, description="A shared library")

    depends_on("cmake@3.25:", type="build")
    depends_on("ninja", type="build")
    depends_on("libpng", when="+pictures")
    depends_on("jpeg", when="+pictures")
    depends_on("cli11", when="+pictures", type="build")
    depends_on("mpi@3:", when="+mpi")
    requires("target=x86_64:")

    generator("ninja")

    def cmake_args(self):
        return [
            self.define("LML_BUILD_TESTS", False),
            self.define("LML_BUILD_EXAMPLES", False),
            self.define("LML_BUILD_PYTHON", False),
            self.define_from_variant("BUILD_SHARED_LIBS", "shared"),
            self.define_from_variant("LML_BUILD_PICTURES", "pictures"),
            self.define_from_variant("LML_BUILD_COMMAND", "pictures"),
            self.define_from_variant("LML_WITH_MPI", "mpi"),
        ]
