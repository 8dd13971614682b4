# larkspine.exe and the test programs that run on Windows (or under Wine).
enable_language(RC)
include(blake3)

set(windows_sources
    ${portable_sources}
    src/app/console_pause.cpp
    src/app/fatal_fault.cpp
    src/app/interruption.cpp
    src/app/process_settings.cpp
    src/app/progress_display.cpp
    src/app/run.cpp
    src/app/statistics_report.cpp
    src/app/wide_output.cpp
    src/base/path.cpp
    src/base/write_all.cpp
    src/engine/byte_verification.cpp
    src/engine/candidate_pipeline.cpp
    src/engine/content_hashing.cpp
    src/engine/scan_driver.cpp
    src/fs/directory_walk.cpp
    src/fs/entry_identity.cpp
    src/fs/exclusions.cpp
    src/fs/file_metadata.cpp
    src/fs/metadata_refresh.cpp
    src/fs/mft_enumeration.cpp
    src/fs/usn_delta.cpp
    src/fs/volume.cpp
    src/index/index_file.cpp
    src/index/index_location.cpp
    src/report/results_csv.cpp)

list(TRANSFORM windows_sources PREPEND "${PROJECT_SOURCE_DIR}/")

function(larkspine_core_library name)
  add_library(${name} STATIC ${windows_sources})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  target_compile_definitions(${name} PUBLIC
      UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 NTDDI_VERSION=0x0A000006)
  target_link_libraries(${name} PRIVATE larkspine::blake3)
  larkspine_warnings(${name})
endfunction()

larkspine_core_library(larkspine_core)
# The target all_verify_interface_header_sets compiles each header alone.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/*.h")
target_sources(larkspine_core INTERFACE FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/src"
               FILES ${headers})
set_target_properties(larkspine_core PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)

add_executable(larkspine src/app/main.cpp res/larkspine.rc)
set(res "${CMAKE_CURRENT_SOURCE_DIR}/res")
set_source_files_properties(res/larkspine.rc PROPERTIES
    OBJECT_DEPENDS "${res}/larkspine.manifest;${res}/larkspine.ico"
    COMPILE_DEFINITIONS "LARKSPINE_VERSION=${PROJECT_VERSION};LARKSPINE_VERSION_NUMBERS=${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0")
target_link_libraries(larkspine PRIVATE larkspine_core)
# -municode: the entry point is wmain. Static, so that the one file runs on any machine.
# No time of linking, so that one commit gives the same bytes every day and in every folder; and
# without the debugging information of the compiler's own libraries, which is full of paths of the
# machine where those were built. The names of functions stay, for who is told a crash address.
target_link_options(larkspine PRIVATE -municode -static LINKER:--no-insert-timestamp
                                      $<$<CONFIG:Release>:LINKER:--strip-debug>)
larkspine_warnings(larkspine)

include(windows_check)

if(BUILD_TESTING)
  add_subdirectory(tests)
endif()

if(LARKSPINE_BENCH)
  add_subdirectory(bench)
endif()
