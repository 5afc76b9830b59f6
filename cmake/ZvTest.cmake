# zv_unit_test(NAME SOURCES ... [LIBS ...]): a GoogleTest program. Each of its tests runs as a process of its own, in
# private IPC, process and mount namespaces (tests/support/in-namespace). So it has message queues, /dev/log, /tmp, /run
# and /usr/local of its own. With ZV_STANDALONE it is one static program, like the gateway.
if(CMAKE_CROSSCOMPILING)
  # Debian has no package of this library for the target, so its source package is built here, without our warnings.
  set(BUILD_GMOCK ON)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# The headers that every test includes, compiled once. Tests are compiled without optimisation in every preset, because
# they take most of a build's time. The code under test is compiled with the preset's options. With
# -fpch-preprocess, ccache keeps what includes them.
add_executable(zv_test_headers EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/tests/support/headers.cpp)
target_link_libraries(zv_test_headers PRIVATE zv_compile GTest::gmock GTest::gtest_main)
set(ZV_TEST_OPTIONS -O0 $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
target_compile_options(zv_test_headers PRIVATE ${ZV_TEST_OPTIONS})
target_precompile_headers(zv_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <string> <vector>)

# All unit tests, and the programs that they start.
add_custom_target(unit_tests)

set(ZV_TEST_LAUNCHER ${CMAKE_SOURCE_DIR}/tests/support/in-namespace)

function(zv_unit_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zv_compile zv_test_support ${arg_LIBS} GTest::gmock GTest::gtest_main)
  target_compile_options(${name} PRIVATE ${ZV_TEST_OPTIONS})
  target_precompile_headers(${name} REUSE_FROM zv_test_headers)
  if(ZV_STANDALONE)
    target_link_options(${name} PRIVATE -static)
  endif()
  if(ZV_COVERAGE)
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/support/coverageExit.cpp)
    target_link_options(${name} PRIVATE LINKER:--wrap=_exit)
  endif()
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests
    CROSSCOMPILING_EMULATOR "${ZV_TEST_LAUNCHER};${CMAKE_CROSSCOMPILING_EMULATOR}")
  add_dependencies(unit_tests ${name})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
