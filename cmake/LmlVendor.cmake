# Finds the vendor's DFT library for LML_WITH_MKL=ON. Both places can be given on the command line:
#   LML_MKL_INCLUDE_DIR  folder with mkl_dfti.h and mkl_service.h
#   LML_MKL_LIBRARY      library to link; by default the single dynamic one
find_path(LML_MKL_INCLUDE_DIR mkl_dfti.h HINTS ENV MKLROOT PATH_SUFFIXES include mkl
          DOC "Folder of the vendor's DFT headers")
find_library(LML_MKL_LIBRARY mkl_rt HINTS ENV MKLROOT PATH_SUFFIXES lib lib/intel64 DOC "The vendor's DFT library")
if(NOT LML_MKL_INCLUDE_DIR OR NOT LML_MKL_LIBRARY)
  message(FATAL_ERROR "LML_WITH_MKL=ON, but the vendor's DFT library was not found: set MKLROOT, or "
                      "LML_MKL_INCLUDE_DIR and LML_MKL_LIBRARY. Without LML_WITH_MKL the library's own fast engine takes its place.")
endif()

# lml_link_vendor(<target>...): headers and library for targets that hold or link the adapter unit.
function(lml_link_vendor)
  foreach(target IN LISTS ARGN)
    target_include_directories(${target} SYSTEM PRIVATE ${LML_MKL_INCLUDE_DIR})
    target_link_libraries(${target} PRIVATE ${LML_MKL_LIBRARY})
  endforeach()
endfunction()
