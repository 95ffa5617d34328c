# zu_harden: the usual hardening flags for the library and the programs.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

option(ZU_HARDENING "Build with stack protector, checked library calls, full RELRO and control-flow protection" ON)

add_library(zu_harden INTERFACE)
if(ZU_HARDENING)
  # An index out of range, or a character of an empty string, ends the program.
  target_compile_definitions(zu_harden INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(zu_harden INTERFACE -fstack-protector-strong)
  foreach(flag -fcf-protection -fstack-clash-protection -mbranch-protection=standard -ftrivial-auto-var-init=zero)
    string(MAKE_C_IDENTIFIER "ZU_HAS${flag}" has)
    check_cxx_compiler_flag("${flag} -Werror" ${has})
    if(${has})
      target_compile_options(zu_harden INTERFACE ${flag})
    endif()
  endforeach()
  set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -Werror")
  check_cxx_source_compiles("#include <cstdio>\nint main() { return 0; }" ZU_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(zu_harden INTERFACE # needs optimisation
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=$<IF:$<BOOL:${ZU_HAS_FORTIFY_3}>,3,2>>")
  # With code in segments of its own, read-only data is not executable.
  target_link_options(zu_harden INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack,-z,separate-code)
endif()

# Relocations of a position independent program in few bytes, which the C library applies from version 2.36 on. `link` is
# the option that makes the program.
function(zu_find_packed_relocations link result)
  set(CMAKE_REQUIRED_FLAGS "-fPIE")
  set(CMAKE_REQUIRED_LINK_OPTIONS ${link} -Wl,-z,pack-relative-relocs)
  check_cxx_source_compiles("#include <features.h>
    #if !__GLIBC_PREREQ(2, 36)
    #error too old
    #endif
    int main() { return 0; }" ZU_PACKS_RELOCATIONS
    FAIL_REGEX "warning: ") # a linker that knows no such relocations says no more
  if(ZU_PACKS_RELOCATIONS)
    set(${result} -Wl,-z,pack-relative-relocs PARENT_SCOPE)
  endif()
endfunction()

# Static and position independent where the C library has the start files for it, else plainly static, else dynamic.
function(zu_find_static_link_option result)
  foreach(option -static-pie -static)
    string(MAKE_C_IDENTIFIER "ZU_LINKS${option}" links)
    set(CMAKE_REQUIRED_FLAGS "-fPIE")
    set(CMAKE_REQUIRED_LINK_OPTIONS ${option})
    check_cxx_source_compiles("#include <string>\nint main(int c, char** v) { return std::string(v[0]).size() == 0 && c; }" ${links})
    if(${links})
      set(${result} ${option} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${result} "" PARENT_SCOPE)
endfunction()
