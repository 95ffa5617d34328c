# zu_lto: compiles for optimisation across files at link time. The program is smaller by it; the library's objects hold
# plain code as well, so whoever links them without it notices nothing.
include(CheckIPOSupported)

option(ZU_LTO "Optimise across files at link time where the compiler is g++" ON)

add_library(zu_lto INTERFACE)
if(ZU_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  check_ipo_supported(RESULT has_ipo LANGUAGES CXX)
  if(has_ipo)
    target_compile_options(zu_lto INTERFACE -flto=auto -ffat-lto-objects)
  endif()
endif()
