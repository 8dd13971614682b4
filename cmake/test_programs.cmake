# How tests are compiled and made known to CTest.

option(LARKSPINE_CHECKED
       "Test with library assertions and a trap where behaviour is undefined, not with the shipped code"
       ON)

# What the test programs are made of: the program's own sources once more, checked. Optimised a
# little, because the sweeps run whole scans thousands of times, and not more, because compiling is
# most of what a test run costs: of one test file 1.3 s, 1.1 s without, 2.0 s as shipped (GCC 12).
# LARKSPINE_CHECKED=OFF takes the objects of the shipped program.
add_library(larkspine_test_options INTERFACE)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # With the headers precompiled GCC 12 sees memcpy go beyond short strings, of which it knows the
  # length.
  target_compile_options(larkspine_test_options INTERFACE
      -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow)
endif()
if(LARKSPINE_CHECKED)
  target_compile_options(larkspine_test_options INTERFACE -O1 -UNDEBUG -D_GLIBCXX_ASSERTIONS)
  larkspine_core_library(larkspine_tested_core)
  target_link_libraries(larkspine_tested_core PUBLIC larkspine_test_options)
  # A Windows target has no sanitizer runtime here, so a finding ends the program where it happens.
  target_compile_options(larkspine_tested_core PRIVATE
      -fsanitize=undefined -fsanitize-undefined-trap-on-error)
else()
  add_library(larkspine_tested_core ALIAS larkspine_core)
endif()

# GoogleTest as installed, otherwise from Debian's sources.
find_package(GTest CONFIG QUIET)
if(NOT TARGET GTest::gmock_main)
  set(LARKSPINE_GOOGLETEST_SOURCE_DIR /usr/src/googletest CACHE PATH "Sources of GoogleTest")
  set(INSTALL_GTEST OFF)
  add_subdirectory(${LARKSPINE_GOOGLETEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest
                   EXCLUDE_FROM_ALL SYSTEM)
  foreach(library gtest gmock gmock_main)
    target_compile_options(${library} PRIVATE -O1)
  endforeach()
endif()
