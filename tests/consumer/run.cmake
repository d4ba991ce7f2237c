# Installs the build into a fresh prefix, builds the consumer against it and runs it.
# cmake -DBUILD=... -DSOURCE=... -DWORK=... -DGENERATOR=... -DCXX=... -P run.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}\n${output}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
# The program stands in the README: what users copy is what is tested.
file(READ ${SOURCE}/README.md readme)
if(NOT readme MATCHES "```cpp\n([^`]*)```")
  message(FATAL_ERROR "the README shows no program")
endif()
file(MAKE_DIRECTORY ${WORK}/source)
file(WRITE ${WORK}/source/main.cpp "${CMAKE_MATCH_1}")
file(WRITE ${WORK}/source/pictures.cpp "#include <LmlPictures.h>
int main()
{
    LumoraLib::SavePicture(\"slit.png\", LumoraLib::Lumora(64, 64), {});
    return LumoraLib::ReadPicture(\"slit.png\").width == 256 ? 0 : 1;
}
")
file(WRITE ${WORK}/source/mpi.cpp "#include <LmlMpi.h>
int main()
{
    LumoraLib::SetErrorHandling(LumoraLib::ERROR_HANDLING_THROW);
    try
    {
        LumoraLib::MpiRanks(MPI_COMM_WORLD);
    }
    catch (const LumoraLib::LumoraException&)
    {
        return 0; // MPI has not begun
    }
    return 1;
}
")
file(COPY ${SOURCE}/tests/consumer/CMakeLists.txt DESTINATION ${WORK}/source)
file(GLOB_RECURSE pc ${WORK}/prefix/lml.pc)
get_filename_component(pc_dir ${pc} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
set(settings -G ${GENERATOR} -S ${WORK}/source -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
# An older program of the same major version finds this one; one that asks for more does not.
foreach(version 2 2.80)
  run(${CMAKE_COMMAND} ${settings} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_BUILD_TYPE=Release
      -DLML_VERSION=${version} -DPICTURES=${PICTURES} -DMPI=${MPI})
endforeach()
run(${CMAKE_COMMAND} --build ${WORK}/build)
set(programs by_cmake by_pkgconfig)
if(PICTURES)
  list(APPEND programs pictures_by_cmake pictures_by_pkgconfig)
endif()
if(MPI)
  list(APPEND programs mpi_by_cmake mpi_by_pkgconfig)
endif()
foreach(program IN LISTS programs)
  execute_process(COMMAND ${WORK}/build/${program} WORKING_DIRECTORY ${WORK} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${program} ended with ${result}\n${output}")
  endif()
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} ${settings} -B ${WORK}/newer -DCMAKE_PREFIX_PATH=${WORK}/prefix -DLML_VERSION=3
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
if(result EQUAL 0)
  message(FATAL_ERROR "the next major version was found")
endif()
# Inside another project's build: neither its build type nor its installation changes.
run(${CMAKE_COMMAND} ${settings} -B ${WORK}/inside -DLML_SOURCE=${SOURCE} -DBUILD_SHARED_LIBS=OFF)
file(READ ${WORK}/inside/CMakeCache.txt cache)
if(cache MATCHES "CMAKE_BUILD_TYPE:STRING=[A-Z]" OR EXISTS ${WORK}/inside/lml/cmake_install.cmake AND
   EXISTS ${WORK}/inside/lml/lmlConfig.cmake)
  message(FATAL_ERROR "the library changed the project around it")
endif()
# What is installed: the public headers, the library with its soname, the package files, and the documentation.
file(GLOB_RECURSE installed RELATIVE ${WORK}/prefix ${WORK}/prefix/*)
list(FILTER installed EXCLUDE REGEX "^share/doc/lml/(docs|examples)/")
string(REGEX REPLACE "lib/[^;/]*linux-gnu" "lib" installed "${installed}")
string(REGEX REPLACE "Targets-[a-z]*" "Targets-config" installed "${installed}")
list(SORT installed)
set(expected include/lml/Fftsg.h include/lml/LmlAdvice.h include/lml/LmlApi.h include/lml/LmlCloud.h include/lml/LmlLumora.h
    include/lml/LmlLarge.h include/lml/LmlRuntime.h include/lml/LmlTypes.h lib/cmake/lml/lmlConfig.cmake lib/cmake/lml/lmlConfigVersion.cmake
    lib/cmake/lml/lmlTargets-config.cmake lib/cmake/lml/lmlTargets.cmake lib/liblml.so lib/liblml.so.2.81
    lib/liblml.so.2.81.3 lib/pkgconfig/lml.pc share/doc/lml/CHANGELOG.md share/doc/lml/CONTRIBUTING.md share/doc/lml/LICENSE
    share/doc/lml/README.md share/doc/lml/SECURITY.md)
if(PICTURES)
  list(APPEND expected include/lml/LmlPictures.h lib/cmake/lml/lml_picturesTargets-config.cmake
      lib/cmake/lml/lml_picturesTargets.cmake lib/liblmlpictures.so lib/liblmlpictures.so.2.81 lib/liblmlpictures.so.2.81.3
      lib/pkgconfig/lmlpictures.pc)
  list(SORT expected)
endif()
if(MPI)
  list(APPEND expected include/lml/LmlMpi.h lib/cmake/lml/lml_mpiTargets-config.cmake lib/cmake/lml/lml_mpiTargets.cmake
      lib/liblmlmpi.so lib/liblmlmpi.so.2.81 lib/liblmlmpi.so.2.81.3 lib/pkgconfig/lmlmpi.pc)
  list(SORT expected)
  if(COMMAND_BUILT)
    list(APPEND expected bin/lml-mpi share/bash-completion/completions/lml-mpi share/man/man1/lml-mpi.1
        share/man/man1/lml-mpi-points.1 share/man/man1/lml-mpi-propagate.1)
  endif()
endif()
if(COMMAND_BUILT)
  list(APPEND expected bin/lml share/bash-completion/completions/lml share/man/man1/lml.1)
  foreach(page advise compare convert encode focus info make measure points propagate report view)
    list(APPEND expected share/man/man1/lml-${page}.1)
  endforeach()
  list(SORT expected)
  run(${WORK}/prefix/bin/lml --version) # finds the libraries beside it
endif()
if(NOT installed STREQUAL "${expected}")
  message(FATAL_ERROR "installed: ${installed}\nexpected: ${expected}")
endif()
