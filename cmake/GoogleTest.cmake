# GoogleTest and GoogleMock, built from the Debian source package (googletest,
# installed under /usr/src/googletest) with the compiler and flags of the
# current preset. Building from source rather than linking the prebuilt
# libgtest.a is what lets one source serve the native, the 32-bit and the
# sanitizer builds alike.
#
# Include this file from the tests' CMakeLists.txt, then link
# GTest::gtest_main (or GTest::gtest) and GTest::gmock, and register tests with
# gtest_discover_tests().

include_guard(GLOBAL)

set(SURVEY_GOOGLETEST_SOURCE_DIR "/usr/src/googletest"
  CACHE PATH "Source tree of GoogleTest and GoogleMock (Debian package googletest)")

if(NOT EXISTS "${SURVEY_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt")
  message(FATAL_ERROR
    "GoogleTest sources not found in ${SURVEY_GOOGLETEST_SOURCE_DIR}. "
    "Install the Debian package 'googletest' (scripts/install-deps.sh does), "
    "or set SURVEY_GOOGLETEST_SOURCE_DIR.")
endif()

# Defined at the top level so that gtest_discover_tests() finds its helper
# script: the module records that location in a variable when included.
include(GoogleTest)

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

survey_add_googletest()
