# Checks that each layer of the host includes only from itself and the layers
# it stands on, and that the surveyor library includes nothing of the host:
#
#   engine    engine
#   lang      engine, lang
#   client    engine, client
#   session   engine, lang, client, session
#
#   cmake -DSOURCE_DIR=<top of the source tree> -P CheckHostLayers.cmake
#
# Fails with the list of includes that break the rule.
cmake_minimum_required(VERSION 3.25)

if(NOT SOURCE_DIR)
  message(FATAL_ERROR "SOURCE_DIR is not set")
endif()

set(allowed_engine engine)
set(allowed_lang engine lang)
set(allowed_client engine client)
set(allowed_session engine lang client session)

set(broken)

# Every "host/..." include of the files under FOLDER whose layer is not in
# the list ALLOWED (empty: no host include at all).
function(check_folder folder allowed)
  file(GLOB_RECURSE files "${SOURCE_DIR}/${folder}/*.h" "${SOURCE_DIR}/${folder}/*.cpp")
  foreach(file IN LISTS files)
    file(STRINGS "${file}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"host/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[^\"]*\"host/([^/\"]*).*$" "\\1" layer "${line}")
      if(NOT layer IN_LIST allowed)
        file(RELATIVE_PATH shown "${SOURCE_DIR}" "${file}")
        list(APPEND broken "${shown}: ${line}")
      endif()
    endforeach()
  endforeach()
  set(broken "${broken}" PARENT_SCOPE)
endfunction()

foreach(layer IN ITEMS engine lang client session)
  if(NOT IS_DIRECTORY "${SOURCE_DIR}/host/${layer}")
    message(FATAL_ERROR "no layer host/${layer} in ${SOURCE_DIR}")
  endif()
  check_folder("host/${layer}" "${allowed_${layer}}")
endforeach()
check_folder(survey "")

# A layer that is not in the table above has no rule yet.
file(GLOB entries LIST_DIRECTORIES true RELATIVE "${SOURCE_DIR}/host" "${SOURCE_DIR}/host/*")
foreach(entry IN LISTS entries)
  if(IS_DIRECTORY "${SOURCE_DIR}/host/${entry}" AND NOT DEFINED allowed_${entry})
    list(APPEND broken "host/${entry}: a layer without a rule in CheckHostLayers.cmake")
  endif()
endforeach()

if(broken)
  list(JOIN broken "\n  " text)
  message(FATAL_ERROR "includes across the host's layers:\n  ${text}")
endif()
message(STATUS "the host's layers include only from below")
