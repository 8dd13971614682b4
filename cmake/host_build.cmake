# The portable parts on the Linux host, with the sanitizers that do not exist for the Windows target.
set(LARKSPINE_SANITIZE "address,undefined" CACHE STRING "Sanitizers for the host build")

# 16-bit wchar_t, so that the very same code runs. The C++ library's own instantiations are for
# 32 bits, so they are left out and made here.
add_compile_options(-fshort-wchar -D_GLIBCXX_EXTERN_TEMPLATE=0)
if(NOT LARKSPINE_BENCH)
  add_compile_options(-D_GLIBCXX_ASSERTIONS)
endif()
if(LARKSPINE_SANITIZE)
  add_compile_options(-fsanitize=${LARKSPINE_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${LARKSPINE_SANITIZE})
endif()
find_package(Threads REQUIRED)

add_library(larkspine_core STATIC ${portable_sources})
target_include_directories(larkspine_core PUBLIC src)
target_link_libraries(larkspine_core PUBLIC Threads::Threads)
larkspine_warnings(larkspine_core)

option(LARKSPINE_FUZZ "Build the fuzz targets beside the tests; takes clang" OFF)
if(LARKSPINE_FUZZ)
  add_subdirectory(fuzz)
endif()
if(LARKSPINE_BENCH)
  add_subdirectory(bench)
elseif(BUILD_TESTING)
  add_subdirectory(tests/host)
endif()
