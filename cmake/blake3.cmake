# Provides larkspine::blake3, the official C library of BLAKE3.
#
# An installed libblake3 is taken first (its CMake package, then pkg-config). Debian has none for
# MinGW, so there the library is compiled from the C sources that its librust-blake3-dev package
# ships, with the assembly for Windows: SSE2, SSE4.1, AVX2 and AVX-512 are all in, and the library
# chooses at run time.

add_library(larkspine_blake3 INTERFACE)
add_library(larkspine::blake3 ALIAS larkspine_blake3)

find_package(BLAKE3 CONFIG QUIET)
if(TARGET BLAKE3::blake3)
  target_link_libraries(larkspine_blake3 INTERFACE BLAKE3::blake3)
  message(STATUS "BLAKE3: installed CMake package")
  return()
endif()

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LIBBLAKE3 QUIET IMPORTED_TARGET libblake3)
  if(LIBBLAKE3_FOUND)
    target_link_libraries(larkspine_blake3 INTERFACE PkgConfig::LIBBLAKE3)
    message(STATUS "BLAKE3: installed library found by pkg-config")
    return()
  endif()
endif()

file(GLOB blake3_candidates /usr/share/cargo/registry/blake3-*/c)
set(LARKSPINE_BLAKE3_SOURCE_DIR "${blake3_candidates}" CACHE PATH
    "Folder with the C sources of BLAKE3, used when no libblake3 is installed for the target")
if(NOT EXISTS "${LARKSPINE_BLAKE3_SOURCE_DIR}/blake3.c")
  message(FATAL_ERROR "No libblake3 for the target and no C sources of BLAKE3: install the package "
                      "librust-blake3-dev, or set LARKSPINE_BLAKE3_SOURCE_DIR.")
endif()

enable_language(C ASM)
set(blake3_sources blake3.c blake3_dispatch.c blake3_portable.c)
foreach(variant sse2 sse41 avx2 avx512)
  list(APPEND blake3_sources blake3_${variant}_x86-64_windows_gnu.S)
endforeach()
list(TRANSFORM blake3_sources PREPEND "${LARKSPINE_BLAKE3_SOURCE_DIR}/")
add_library(larkspine_blake3_sources STATIC ${blake3_sources})
target_include_directories(larkspine_blake3_sources SYSTEM PUBLIC "${LARKSPINE_BLAKE3_SOURCE_DIR}")
target_link_libraries(larkspine_blake3 INTERFACE larkspine_blake3_sources)
message(STATUS "BLAKE3: compiled from ${LARKSPINE_BLAKE3_SOURCE_DIR}")
