# Counts what runs, for scripts/prove coverage. Each source counts what it takes from headers, so
# the tests are counted like the program: a linker keeps one copy of an inline function, anyone's.
option(LARKSPINE_COVERAGE "Count the lines and branches that run" OFF)

if(LARKSPINE_COVERAGE)
  add_compile_options(--coverage -O0 -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
