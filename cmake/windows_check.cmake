# windows_check.exe, which tries the finished program on a real Windows. It shares none of the
# program's scanning: of src/ it takes two leaves that know nothing of it.
file(GLOB check_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/windows_check/*.cpp")
list(REMOVE_ITEM check_sources "${PROJECT_SOURCE_DIR}/windows_check/main.cpp")
set(check_leaves base/case_folding.cpp base/path.cpp base/path_forms.cpp)
list(TRANSFORM check_leaves PREPEND "${PROJECT_SOURCE_DIR}/src/")

add_library(windows_check_core STATIC ${check_sources})
target_include_directories(windows_check_core PUBLIC "${PROJECT_SOURCE_DIR}/windows_check"
                                                     "${PROJECT_SOURCE_DIR}/src")
target_compile_definitions(windows_check_core PUBLIC
    UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 NTDDI_VERSION=0x0A000006)
larkspine_warnings(windows_check_core)

add_executable(windows_check windows_check/main.cpp)
target_sources(windows_check PRIVATE ${check_leaves})
target_link_libraries(windows_check PRIVATE windows_check_core)
target_link_options(windows_check PRIVATE -municode -static LINKER:--no-insert-timestamp
                                          $<$<CONFIG:Release>:LINKER:--strip-debug>)
larkspine_warnings(windows_check)
