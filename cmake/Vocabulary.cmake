# The vocabulary page, as the command prints it from the registry of the host
# and the surveyor library (survey --list --markdown).
#
#   cmake -DSURVEY=<command> -DPAGE=<file> -DMODE=write -P Vocabulary.cmake
#       writes the page to PAGE (when it differs, so that a build that
#       changed nothing leaves the file's time alone)
#   cmake -DSURVEY=<command> -DPAGE=<file> -DMODE=check -P Vocabulary.cmake
#       fails when PAGE is not the page the command prints now
cmake_minimum_required(VERSION 3.25)

foreach(variable SURVEY PAGE MODE)
  if(NOT ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()

execute_process(COMMAND "${SURVEY}" --list --markdown
                OUTPUT_VARIABLE page
                ERROR_VARIABLE errors
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${SURVEY} --list --markdown failed (${status}): ${errors}")
endif()

if(EXISTS "${PAGE}")
  file(READ "${PAGE}" present)
else()
  set(present "")
endif()

if(MODE STREQUAL "write")
  if(NOT present STREQUAL page)
    file(WRITE "${PAGE}" "${page}")
  endif()
elseif(MODE STREQUAL "check")
  if(NOT present STREQUAL page)
    message(FATAL_ERROR
            "${PAGE} is not the vocabulary that survey --list --markdown prints now: "
            "run `make vocabulary` and commit the page")
  endif()
else()
  message(FATAL_ERROR "MODE must be write or check, not ${MODE}")
endif()
