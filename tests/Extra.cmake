# Test programs that are more than one source file beside the library.

# The vendor adapter is compiled here against a double of the vendor's library, whatever LML_WITH_MKL says.
if(NOT LML_WITH_MKL)
  add_executable(VendorFftTest vendor/VendorFftTest.cc vendor/VendorDouble.cpp ${PROJECT_SOURCE_DIR}/lml/transform/VendorFft.cpp)
  target_include_directories(VendorFftTest PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/lml vendor)
  target_link_libraries(VendorFftTest PRIVATE lml_options lml_static GTest::gtest_main OpenMP::OpenMP_CXX)
  target_compile_definitions(VendorFftTest PRIVATE LML_SCRATCH_DIR="${CMAKE_CURRENT_BINARY_DIR}")
  add_test(NAME VendorFftTest COMMAND VendorFftTest)
  set_tests_properties(VendorFftTest PROPERTIES TIMEOUT 300)
endif()

# Every operation with a fault at its allocations and file calls (tools/reliability.sh faults goes through all of them): the shim stands in the program before the C library.
if(NOT LML_SANITIZED)
  add_executable(faults faults/faults.cpp faults/shim.cpp)
  target_include_directories(faults PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/lml ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(faults PRIVATE lml_options lml_static OpenMP::OpenMP_CXX)
  if(TARGET lml_pictures)
    target_link_libraries(faults PRIVATE lml_pictures_objects)
    target_compile_definitions(faults PRIVATE LML_TEST_PICTURES)
  endif()
  add_test(NAME Faults COMMAND faults --bounded)
  set_tests_properties(Faults PROPERTIES TIMEOUT 600 ENVIRONMENT OMP_WAIT_POLICY=passive)
endif()
