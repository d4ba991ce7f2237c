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
file(COPY ${SOURCE}/tests/consumer/CMakeLists.txt DESTINATION ${WORK}/source)
file(GLOB_RECURSE pc ${WORK}/prefix/lml.pc)
get_filename_component(pc_dir ${pc} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK}/source -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix
    -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}"
    -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK}/build)
foreach(program by_cmake by_pkgconfig)
  execute_process(COMMAND ${WORK}/build/${program} WORKING_DIRECTORY ${WORK} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${program} ended with ${result}\n${output}")
  endif()
endforeach()
# What is installed: the public headers, the library with its soname, and the package files; nothing else.
file(GLOB_RECURSE installed RELATIVE ${WORK}/prefix ${WORK}/prefix/*)
string(REGEX REPLACE "lib/[^;/]*linux-gnu" "lib" installed "${installed}")
string(REGEX REPLACE "lmlTargets-[a-z]*" "lmlTargets-config" installed "${installed}")
list(SORT installed)
set(expected include/lml/Fftsg.h include/lml/LmlAdvice.h include/lml/LmlApi.h include/lml/LmlCloud.h include/lml/LmlLumora.h
    include/lml/LmlRuntime.h include/lml/LmlTypes.h lib/cmake/lml/lmlConfig.cmake lib/cmake/lml/lmlConfigVersion.cmake
    lib/cmake/lml/lmlTargets-config.cmake lib/cmake/lml/lmlTargets.cmake lib/liblml.so lib/liblml.so.2.81
    lib/liblml.so.2.81.3 lib/pkgconfig/lml.pc)
if(NOT installed STREQUAL "${expected}")
  message(FATAL_ERROR "installed: ${installed}\nexpected: ${expected}")
endif()
