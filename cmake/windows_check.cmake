# windows_check.exe, which tries the finished program on a real Windows. It shares none of the
# program's scanning: of src/ it takes the leaves that know nothing of it.
add_library(windows_check_leaves STATIC src/base/case_folding.cpp src/base/path.cpp
                                        src/base/path_forms.cpp)
target_include_directories(windows_check_leaves PUBLIC "${PROJECT_SOURCE_DIR}/src")
target_compile_definitions(windows_check_leaves PUBLIC
    UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 NTDDI_VERSION=0x0A000006)
larkspine_warnings(windows_check_leaves)

file(GLOB check_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/windows_check/*.cpp")
list(REMOVE_ITEM check_sources "${PROJECT_SOURCE_DIR}/windows_check/main.cpp")
add_library(windows_check_core STATIC ${check_sources})
target_include_directories(windows_check_core PUBLIC "${PROJECT_SOURCE_DIR}/windows_check")
target_link_libraries(windows_check_core PUBLIC windows_check_leaves)
larkspine_warnings(windows_check_core)
# The target all_verify_interface_header_sets compiles each header alone.
file(GLOB check_headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/windows_check/*.h")
target_sources(windows_check_core INTERFACE
    FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/windows_check" FILES ${check_headers})
set_target_properties(windows_check_core PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)

add_executable(windows_check windows_check/main.cpp)
target_link_libraries(windows_check PRIVATE windows_check_core)
# As larkspine.exe is linked, for the same reasons.
target_link_options(windows_check PRIVATE -municode -static LINKER:--no-insert-timestamp
                                          $<$<CONFIG:Release>:LINKER:--strip-debug>)
larkspine_warnings(windows_check)
