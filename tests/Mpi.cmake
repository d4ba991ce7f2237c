# Tests of the component lml::mpi: one program on several numbers of ranks, more than there are processors too.
if(TARGET lml_mpi AND MPIEXEC_EXECUTABLE AND NOT LML_SANITIZED)
  # Open MPI refuses root, and more ranks than processors, unless it is told; containers forbid one process to read another's
  # memory, and have little of it in /dev/shm. Other MPIs do not look at these.
  set(LML_MPI_ENVIRONMENT OMP_WAIT_POLICY=passive OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
      OMPI_MCA_rmaps_base_oversubscribe=1 OMPI_MCA_btl_base_warn_component_unused=0
      OMPI_MCA_btl_vader_single_copy_mechanism=none OMPI_MCA_btl_vader_backing_directory=/tmp)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env ${LML_MPI_ENVIRONMENT} ${MPIEXEC_EXECUTABLE} ${MPIEXEC_NUMPROC_FLAG} 2 true
                  RESULT_VARIABLE LML_MPI_FAILED OUTPUT_QUIET ERROR_QUIET TIMEOUT 60)
  if(LML_MPI_FAILED)
    message(STATUS "mpiexec starts nothing here (no network interface?): tests on several ranks are left out")
    return()
  endif()
  add_executable(MpiTest MpiTest.cpp)
  target_include_directories(MpiTest PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/lml)
  target_link_libraries(MpiTest PRIVATE lml_options lml_static lml_mpi_objects GTest::gtest MPI::MPI_CXX)
  target_compile_definitions(MpiTest PRIVATE LML_SCRATCH_DIR="${CMAKE_CURRENT_BINARY_DIR}")
  target_compile_options(MpiTest PRIVATE $<$<CONFIG:Release>:-O1>)
  foreach(ranks 1 2 3 4 7)
    add_test(NAME MpiTest.${ranks} COMMAND ${MPIEXEC_EXECUTABLE} ${MPIEXEC_NUMPROC_FLAG} ${ranks} $<TARGET_FILE:MpiTest>)
    set_tests_properties(MpiTest.${ranks} PROPERTIES TIMEOUT 300 ENVIRONMENT "${LML_MPI_ENVIRONMENT}")
  endforeach()
  if(Python3_FOUND)
    add_test(NAME MpiKill COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/mpi_kill.py ${MPIEXEC_EXECUTABLE}
             $<TARGET_FILE:MpiTest>)
    if(TARGET lml_mpi_command)
      add_test(NAME MpiCommand COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/mpi_command.py ${MPIEXEC_EXECUTABLE}
               $<TARGET_FILE:lml_mpi_command> $<TARGET_FILE:lml_command>)
      set_tests_properties(MpiCommand PROPERTIES TIMEOUT 300 ENVIRONMENT "${LML_MPI_ENVIRONMENT}")
    endif()
    set_tests_properties(MpiKill PROPERTIES TIMEOUT 300 ENVIRONMENT "${LML_MPI_ENVIRONMENT}")
  endif()
endif()
