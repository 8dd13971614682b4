# Holds the suites that CTest knows of a program (SUITES, with commas between them) against those that
# the program lists: one that CTest did not know would never run.
execute_process(COMMAND ${EMULATOR} ${PROGRAM} --gtest_list_tests
                OUTPUT_VARIABLE listed COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "," ";" known "${SUITES}")
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9_/]+\\." lines "${listed}")
set(has)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^\n?([A-Za-z0-9_]+/)?([A-Za-z0-9_]+)(/[0-9]+)?\\.$" "\\2" suite "${line}")
  list(APPEND has "${suite}")
endforeach()
list(REMOVE_DUPLICATES has)
list(SORT known)
list(SORT has)
if(NOT known STREQUAL has)
  message(FATAL_ERROR "known: ${known}\nin the program: ${has}")
endif()
list(LENGTH has count)
message(STATUS "${count} suites, all known")
