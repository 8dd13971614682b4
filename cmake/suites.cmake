# How tests are made known to CTest.

# The settings without which Wine misbehaves, as in scripts/environment.sh: in the C locale accented
# arguments arrive as garbage, and a crash must end a program instead of starting a debugger.
set(wine_settings
    "LC_ALL=C.UTF-8;WINEPREFIX=${PROJECT_SOURCE_DIR}/build/wine;WINEDEBUG=-all;WINEDLLOVERRIDES=mscoree,mshtml=\;winedbg.exe=d")

# With a server that stays, a program starts in 16 to 25 ms instead of 0.4 s and more.
function(larkspine_add_wine_server)
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME wine_server COMMAND "${PROJECT_SOURCE_DIR}/tests/wine_server")
    set_tests_properties(wine_server PROPERTIES FIXTURES_SETUP wine TIMEOUT 120)
  endif()
endfunction()

# A test that runs Windows programs: LABELS..., then properties of the test.
function(larkspine_windows_test name label)
  set_tests_properties(${name} PROPERTIES LABELS "${label}" ${ARGN})
  if(CMAKE_CROSSCOMPILING)
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT "${wine_settings}")
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT_MODIFICATION "DISPLAY=unset:")
    set_property(TEST ${name} APPEND PROPERTY FIXTURES_REQUIRED wine)
  endif()
endfunction()

# The suites in the given sources, as GoogleTest's macros name them.
function(larkspine_suites_in sources result)
  set(found)
  foreach(source IN LISTS sources)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
    file(STRINGS "${source}" lines REGEX "^TEST(_F|_P)?\\(")
    foreach(line IN LISTS lines)
      if(line MATCHES "^TEST(_F|_P)?\\(([A-Za-z0-9_]+)")
        list(APPEND found "${CMAKE_MATCH_2}")
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES found)
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

# Makes each suite of a program a test of CTest: one process a suite, since starting 300 processes
# takes 6 to 12 s under Wine and running 300 tests in one takes 0.05 s. Extra arguments are
# properties. A test of its own holds the suites found in the sources against those the program has.
function(larkspine_add_suites program label)
  get_target_property(sources ${program} SOURCES)
  list(FILTER sources INCLUDE REGEX "_test\\.cpp$")
  list(TRANSFORM sources PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" REGEX "^[^/]")
  larkspine_suites_in("${sources}" suites)
  foreach(suite IN LISTS suites)
    add_test(NAME ${suite} COMMAND ${program} --gtest_brief=1 --gtest_color=no
                                   "--gtest_filter=${suite}.*:*/${suite}.*")
    if(WIN32)
      larkspine_windows_test(${suite} ${label} TIMEOUT 600 ${ARGN})
    else()
      set_tests_properties(${suite} PROPERTIES LABELS ${label} TIMEOUT 300 ${ARGN})
    endif()
  endforeach()
  list(JOIN suites "," names)
  add_test(NAME ${program}_has_no_other_suite
           COMMAND ${CMAKE_COMMAND} -DSUITES=${names} "-DPROGRAM=$<TARGET_FILE:${program}>"
                   "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
                   -P ${PROJECT_SOURCE_DIR}/cmake/compare_suites.cmake)
  if(WIN32)
    larkspine_windows_test(${program}_has_no_other_suite ${label})
  else()
    set_tests_properties(${program}_has_no_other_suite PROPERTIES LABELS ${label})
  endif()
endfunction()
