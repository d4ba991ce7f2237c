# LML_BUILD_PYTHON=AUTO: release builds with tests have the Python package where Debian's Python has what both need.
# Of pybind11 only the headers are used: it need not look for an interpreter, and would find the first of the path.
set(PYBIND11_NOPYTHON ON)
set(LML_WITH_PYTHON ${LML_BUILD_PYTHON})
if(LML_BUILD_PYTHON STREQUAL AUTO)
  set(LML_WITH_PYTHON OFF)
  if(LML_BUILD_TESTS AND NOT LML_SANITIZED AND CMAKE_BUILD_TYPE STREQUAL Release)
    find_package(pybind11 2.10 QUIET CONFIG)
    execute_process(COMMAND /usr/bin/python3 -c "import numpy, scipy, matplotlib, pytest, mypy"
                    RESULT_VARIABLE LML_PYTHON_LACKS OUTPUT_QUIET ERROR_QUIET)
    if(pybind11_FOUND AND LML_PYTHON_LACKS EQUAL 0)
      set(LML_WITH_PYTHON ON)
    endif()
  endif()
  message(STATUS "Python package: ${LML_WITH_PYTHON}")
endif()
if(LML_WITH_PYTHON)
  add_subdirectory(python)
endif()
