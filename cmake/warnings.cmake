# Warnings for this project's own code. They are errors in the presets that CI uses.
option(LARKSPINE_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)

function(larkspine_warnings target)
  # A missing return is undefined behaviour, and GCC at -O2 really falls through into the next
  # function, so it is an error everywhere.
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                           -Werror=return-type)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees an overlap of 2^63 bytes in `"text" + std::string()` of its own library (its bug
    # 105651).
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # GCC's -Wconversion leaves it out for C++, as it does here.
    target_compile_options(${target} PRIVATE -Wno-sign-conversion)
  endif()
  if(LARKSPINE_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
