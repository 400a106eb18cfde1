# Registers the tests of a GoogleTest executable with ctest, when ctest runs.
#
#   survey_discover_tests(TARGET)
#
# By default each test is a ctest test of its own, run in a process of its
# own (gtest_discover_tests, listed when ctest runs). With
# SURVEY_TESTS_BY_SUITE on, each test suite is one ctest test instead, its
# tests run one after the other in one process (--gtest_filter=Suite.*).
# That saves a process start a test, which is what the sanitizer build pays
# most for: an instrumented test executable takes about 0.2 s to start.
# A suite's tests may rely on being alone in their process only as a whole
# (a first use of a world object tested by the suite's first test): tests of
# different suites never share a process.

include_guard(GLOBAL)
include(GoogleTest)

option(SURVEY_TESTS_BY_SUITE "Run each test suite in one process instead of each test" OFF)

set(SURVEY_SUITE_LISTER "${CMAKE_CURRENT_LIST_DIR}/SuiteTestsList.cmake")

function(survey_discover_tests target)
  if(NOT SURVEY_TESTS_BY_SUITE)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
    return()
  endif()
  set(include_file "${CMAKE_CURRENT_BINARY_DIR}/${target}_suites_include.cmake")
  file(GENERATE OUTPUT "${include_file}" CONTENT
"set(SURVEY_SUITE_EXECUTABLE \"$<TARGET_FILE:${target}>\")
set(SURVEY_SUITE_TARGET \"${target}\")
set(SURVEY_SUITE_WORKING_DIRECTORY \"${CMAKE_CURRENT_BINARY_DIR}\")
include(\"${SURVEY_SUITE_LISTER}\")
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${include_file}")
endfunction()
