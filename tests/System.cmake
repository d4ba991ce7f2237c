# Tests of the build as a whole: headers, package, processors without wide registers, examples.
include(${CMAKE_CURRENT_SOURCE_DIR}/Headers.cmake)

if(NOT LML_SANITIZED)
  find_package(PkgConfig)
  if(PkgConfig_FOUND)
    add_test(NAME Consumer COMMAND ${CMAKE_COMMAND} -DBUILD=${CMAKE_BINARY_DIR} -DSOURCE=${PROJECT_SOURCE_DIR}
             -DWORK=${CMAKE_CURRENT_BINARY_DIR}/consumer -DGENERATOR=${CMAKE_GENERATOR} -DCXX=${CMAKE_CXX_COMPILER} "-DFLAGS=${CMAKE_CXX_FLAGS}"
             "-DLINK_FLAGS=${CMAKE_EXE_LINKER_FLAGS}" -DPICTURES=$<TARGET_EXISTS:lml_pictures> -DMPI=$<TARGET_EXISTS:lml_mpi>
             -DCOMMAND_BUILT=$<TARGET_EXISTS:lml_command> -P ${CMAKE_CURRENT_SOURCE_DIR}/consumer/run.cmake)
    set_tests_properties(Consumer PROPERTIES TIMEOUT 300)
  endif()

  # Other processors are refused when the build is configured, with what is needed.
  add_test(NAME OtherProcessor COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${CMAKE_CURRENT_BINARY_DIR}/processor -G ${CMAKE_GENERATOR}
           -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64 -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER})
  set_tests_properties(OtherProcessor PROPERTIES PASS_REGULAR_EXPRESSION "needs a 64-bit x86 processor.*this build is for aarch64")

  # User programs of every build compute with the same bits.
  add_test(NAME Bits COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DLIBRARY=$<TARGET_FILE:lml>
           -DWORK=${CMAKE_CURRENT_BINARY_DIR}/bits -DCXX=${CMAKE_CXX_COMPILER} -P ${CMAKE_CURRENT_SOURCE_DIR}/bits/run.cmake)
  set_tests_properties(Bits PROPERTIES TIMEOUT 300)

  # A processor of 2008 without AVX, under emulation: the library loads, picks its narrowest form and passes its tests.
  find_program(LML_QEMU qemu-x86_64)
  if(LML_QEMU AND TARGET IsaTest)
    add_test(NAME NoAvx COMMAND ${LML_QEMU} -cpu Nehalem $<TARGET_FILE:IsaTest> --gtest_filter=*Narrow*:*AnyProcessor*)
    set_tests_properties(NoAvx PROPERTIES TIMEOUT 300)
  endif()
endif()

# The exported names (an instrumented library has more) and the map of the sources.
if(NOT LML_SANITIZED)
  add_test(NAME Exports COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=$<TARGET_FILE:lml> -P
           ${CMAKE_CURRENT_SOURCE_DIR}/exports.cmake)
endif()
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  add_test(NAME ErrorSites COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/error_sites.py)
  add_test(NAME FoldersInOrder COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/folders.py)
  add_test(NAME OdditiesAreFresh COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/make_oddities.py --check)
  foreach(table sincos=simd/SinCosCoefficients atan_log=field/WideFieldCoefficients)
    string(REGEX MATCH "(.*)=(.*)" match ${table})
    add_test(NAME Constants.${CMAKE_MATCH_1} COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/${CMAKE_MATCH_1}_coefficients.py
             --check ${PROJECT_SOURCE_DIR}/lml/${CMAKE_MATCH_2}.h)
  endforeach()
  add_test(NAME MapIsFresh COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/make_map.py --check)
endif()

# Pages: their programs run, their links lead somewhere, and the page of failures is what the failures say.
if(Python3_FOUND AND NOT LML_SANITIZED)
  add_test(NAME Pages COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/pages.py ${CMAKE_BINARY_DIR} ${CMAKE_CXX_COMPILER})
  add_test(NAME ErrorsAreFresh COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/make_errors.py ${CMAKE_BINARY_DIR} --check)
  set_tests_properties(Pages ErrorsAreFresh PROPERTIES TIMEOUT 300)
endif()

# The site, where Doxygen is installed: no public name without documentation, no link that leads nowhere. And the recipes.
if(Python3_FOUND AND NOT LML_SANITIZED)
  find_program(LML_DOXYGEN doxygen)
  if(LML_DOXYGEN)
    add_test(NAME Site COMMAND ${PROJECT_SOURCE_DIR}/tools/site.sh ${CMAKE_CURRENT_BINARY_DIR}/site)
    set_tests_properties(Site PROPERTIES TIMEOUT 300)
  endif()
  add_test(NAME Recipes COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/recipes.py ${PROJECT_VERSION})
endif()

# The command as a user sees it; its page too where a browser (chromium) is installed.
if(TARGET lml_command AND Python3_FOUND AND NOT LML_SANITIZED)
  add_test(NAME CommandTest COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/command/run.py
           $<TARGET_FILE:lml_command> ${CMAKE_BINARY_DIR}/command/manual/lml ${PROJECT_SOURCE_DIR}/examples/data/target.bmp
           ${PROJECT_SOURCE_DIR}/docs/command.md)
  set_tests_properties(CommandTest PROPERTIES TIMEOUT 300 ENVIRONMENT OMP_WAIT_POLICY=passive)
endif()

# The examples run with small settings; each checks its own result and tells by its exit code.
if(LML_BUILD_EXAMPLES AND TARGET lml_pictures)
  set(example_out ${CMAKE_CURRENT_BINARY_DIR}/examples)
  file(MAKE_DIRECTORY ${example_out})
  function(lml_example name)
    add_test(NAME Example.${name} COMMAND ${name} --out ${example_out} ${ARGN} WORKING_DIRECTORY ${example_out})
    set_tests_properties(Example.${name} PROPERTIES TIMEOUT 300)
  endfunction()
  lml_example(picture_hologram)
  lml_example(field_profile)
  lml_example(tilted_plane --size 512)
  if(NOT LML_SANITIZED)
    lml_example(segmented_field --size 512) # it measures its own memory
  endif()
  lml_example(large_field --size 128 --segments 3 --memory 1)
  lml_example(point_cloud_hologram --size 512)
  lml_example(device_hologram --reduce 1)
  lml_example(shifted_plane)
  lml_example(zoom)
  lml_example(limits)
  add_test(NAME Example.BadPicture COMMAND picture_hologram no-such-picture.bmp)
  set_tests_properties(Example.BadPicture PROPERTIES PASS_REGULAR_EXPRESSION "ERROR!!.*LoadPicture.*no-such-picture")
  add_test(NAME Example.BadOption COMMAND picture_hologram --pitch zero)
  set_tests_properties(Example.BadOption PROPERTIES PASS_REGULAR_EXPRESSION "ERROR!!.*not a number: --pitch zero")
endif()
