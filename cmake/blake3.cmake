# Provides larkspine::blake3, the official C library of BLAKE3.
#
# An installed static libblake3 is taken first (its CMake package, then pkg-config). A shared one is
# not: larkspine.exe is one file that needs no other beside it. MSYS2 has only that, and Debian has
# none for MinGW, so the library is then compiled from its C sources, which Debian's package
# librust-blake3-dev ships, with the assembly for Windows: SSE2, SSE4.1, AVX2 and AVX-512 are all in,
# and the library chooses at run time.

add_library(larkspine_blake3 INTERFACE)
add_library(larkspine::blake3 ALIAS larkspine_blake3)

file(GLOB blake3_candidates /usr/share/cargo/registry/blake3-*/c)
set(LARKSPINE_BLAKE3_SOURCE_DIR "${blake3_candidates}" CACHE PATH
    "Folder with the C sources of BLAKE3, used when no static libblake3 is installed for the target")

set(blake3_refused)
find_package(BLAKE3 CONFIG QUIET)
if(TARGET BLAKE3::blake3)
  get_target_property(blake3_type BLAKE3::blake3 TYPE)
  if(NOT blake3_type STREQUAL SHARED_LIBRARY)
    target_link_libraries(larkspine_blake3 INTERFACE BLAKE3::blake3)
    message(STATUS "BLAKE3: installed CMake package")
    return()
  endif()
  set(blake3_refused "The installed libblake3 is shared, and larkspine.exe needs no DLL beside it. ")
endif()

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LIBBLAKE3 QUIET IMPORTED_TARGET libblake3)
  if(LIBBLAKE3_FOUND)
    if(NOT LIBBLAKE3_LINK_LIBRARIES MATCHES "\\.dll")
      target_link_libraries(larkspine_blake3 INTERFACE PkgConfig::LIBBLAKE3)
      message(STATUS "BLAKE3: installed library found by pkg-config")
      return()
    endif()
    set(blake3_refused "The installed libblake3 is shared, and larkspine.exe needs no DLL beside it. ")
  endif()
endif()

if(NOT EXISTS "${LARKSPINE_BLAKE3_SOURCE_DIR}/blake3.c")
  message(FATAL_ERROR "${blake3_refused}No static libblake3 for the target and no C sources of BLAKE3: "
                      "install the package librust-blake3-dev (Debian), or set "
                      "LARKSPINE_BLAKE3_SOURCE_DIR to the folder c/ of BLAKE3's sources.")
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
