# GoogleTest and GoogleMock for the tests.
#
# The machine's prebuilt libraries (Debian packages libgtest-dev and
# libgmock-dev) serve every build they fit: the native ones, the sanitizer
# build among them, since the tests' own code is what must be instrumented,
# not the framework's. Where they do not fit, as in the 32-bit build, the
# libraries are built from the Debian source package (googletest, installed
# under /usr/src/googletest) with the compiler and flags of the preset.
# SURVEY_GOOGLETEST_FROM_SOURCE builds from source in every case.
#
# Include this file from the tests' CMakeLists.txt, then link
# GTest::gtest_main (or GTest::gtest) and GTest::gmock, and register tests with
# gtest_discover_tests().

include_guard(GLOBAL)

option(SURVEY_GOOGLETEST_FROM_SOURCE "Build GoogleTest from source even when prebuilt fits" OFF)

# Defined at the top level so that gtest_discover_tests() finds its helper
# script: the module records that location in a variable when included.
include(GoogleTest)

if(NOT SURVEY_GOOGLETEST_FROM_SOURCE)
  # The package's version file refuses libraries of another pointer size.
  find_package(GTest CONFIG QUIET)
  if(GTest_FOUND AND TARGET GTest::gtest_main AND TARGET GTest::gmock)
    message(STATUS "GoogleTest: the machine's libraries, version ${GTest_VERSION}")
    return()
  endif()
endif()

set(SURVEY_GOOGLETEST_SOURCE_DIR "/usr/src/googletest"
  CACHE PATH "Source tree of GoogleTest and GoogleMock (Debian package googletest)")

if(NOT EXISTS "${SURVEY_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt")
  message(FATAL_ERROR
    "GoogleTest sources not found in ${SURVEY_GOOGLETEST_SOURCE_DIR}. "
    "Install the Debian package 'googletest' (scripts/install-deps.sh does), "
    "or set SURVEY_GOOGLETEST_SOURCE_DIR.")
endif()

# Work in a function so that the options set here do not leak into the
# including directory.
function(survey_add_googletest)
  # The subproject asks for an old CMake version, which would make option()
  # ignore the variables set below; have it honour them.
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(BUILD_GMOCK ON)
  set(INSTALL_GTEST OFF)
  set(INSTALL_GMOCK OFF)
  # Static libraries: the tests are plain executables, nothing to install.
  set(BUILD_SHARED_LIBS OFF)
  set(gtest_force_shared_crt OFF)
  set(gtest_build_tests OFF)
  set(gtest_build_samples OFF)
  set(gmock_build_tests OFF)

  # EXCLUDE_FROM_ALL: only what the tests link gets built.
  # SYSTEM: the headers are included as system headers, so our own
  # -Wall -Wextra -Werror never trips over warnings inside them.
  add_subdirectory("${SURVEY_GOOGLETEST_SOURCE_DIR}"
    "${PROJECT_BINARY_DIR}/_deps/googletest"
    EXCLUDE_FROM_ALL SYSTEM)

  foreach(target IN ITEMS gtest gtest_main gmock gmock_main)
    if(NOT TARGET ${target})
      message(FATAL_ERROR "GoogleTest did not define the target '${target}'")
    endif()
    # Third-party code: keep its warnings visible but never fatal. The option
    # comes after the project-wide -Werror on the command line and wins.
    target_compile_options(${target} PRIVATE -Wno-error)
  endforeach()

  # The names the tests link against. Recent sources define them already.
  foreach(target IN ITEMS gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${target})
      add_library(GTest::${target} ALIAS ${target})
    endif()
  endforeach()
endfunction()

message(STATUS "GoogleTest: built from ${SURVEY_GOOGLETEST_SOURCE_DIR}")
survey_add_googletest()
