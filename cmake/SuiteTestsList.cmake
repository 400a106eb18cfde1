# Run by ctest (through a test include file of survey_discover_tests): lists
# the tests of one GoogleTest executable and declares a ctest test for each
# suite.
#
# Expects SURVEY_SUITE_EXECUTABLE, SURVEY_SUITE_TARGET and
# SURVEY_SUITE_WORKING_DIRECTORY.

execute_process(
  COMMAND "${SURVEY_SUITE_EXECUTABLE}" --gtest_list_tests
  WORKING_DIRECTORY "${SURVEY_SUITE_WORKING_DIRECTORY}"
  OUTPUT_VARIABLE listing
  ERROR_VARIABLE listing_errors
  RESULT_VARIABLE status
  TIMEOUT 60)

if(NOT status EQUAL 0)
  # A test that always fails says why, rather than tests that vanish.
  add_test("${SURVEY_SUITE_TARGET}.NOT_LISTED" "${CMAKE_COMMAND}" -E false)
  message(WARNING "${SURVEY_SUITE_EXECUTABLE} --gtest_list_tests failed (${status}): ${listing_errors}")
  return()
endif()

# The listing gives a suite on a line of its own ("Suite." or
# "Prefix/Suite.  # TypeParam = ..."), then its tests indented by two spaces.
string(REPLACE ";" "\\;" listing "${listing}")
string(REPLACE "\n" ";" lines "${listing}")
foreach(line IN LISTS lines)
  if(line MATCHES "^([^ #]+)\\.")
    set(suite "${CMAKE_MATCH_1}")
    # Named after the executable too: two executables may have suites of
    # one name.
    set(name "${SURVEY_SUITE_TARGET}:${suite}")
    add_test("${name}" "${SURVEY_SUITE_EXECUTABLE}" "--gtest_filter=${suite}.*")
    set_tests_properties("${name}" PROPERTIES
      WORKING_DIRECTORY "${SURVEY_SUITE_WORKING_DIRECTORY}")
  endif()
endforeach()
