# Cross build from Debian with MinGW-w64. The posix thread variant is the one whose libstdc++ has
# std::thread, std::mutex and std::future.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(target x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_ASM_COMPILER ${target}-gcc-posix)
set(CMAKE_RC_COMPILER ${target}-windres)
set(CMAKE_AR /usr/bin/${target}-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB /usr/bin/${target}-gcc-ranlib-posix CACHE FILEPATH "")

set(CMAKE_FIND_ROOT_PATH /usr/${target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Without this pkg-config would offer the host's libraries to the Windows target.
set(ENV{PKG_CONFIG_LIBDIR} /usr/${target}/lib/pkgconfig)

# ctest starts the test programs through this.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tests/wine_program")
