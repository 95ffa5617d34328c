# Debian's g++, or its cross compiler for another machine, with the small C library of its package musl-dev, for a
# program of few bytes. There is no C++ library made for it; the pieces of g++'s own that the program needs work with it,
# too. ZU_MUSL_COMPILER is the start of the compilers' names, such as "arm-linux-gnueabihf-". ZU_MUSL is the folder that
# musl is installed in, as an absolute path, with "include" and "lib", or with folders of the machine's name in these.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZU_MUSL_COMPILER ZU_MUSL)
if(NOT DEFINED ZU_MUSL)
  set(ZU_MUSL /usr)
endif()
set(CMAKE_C_COMPILER ${ZU_MUSL_COMPILER}gcc)
set(CMAKE_CXX_COMPILER ${ZU_MUSL_COMPILER}g++)

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REPLACE "-gnu" "-musl" machine ${machine})
string(REPLACE "i686" "i386" machine ${machine})
set(musl_include ${ZU_MUSL}/include/${machine})
set(musl_lib ${ZU_MUSL}/lib/${machine})
if(NOT EXISTS ${musl_lib}/libc.a)
  set(musl_include ${ZU_MUSL}/include)
  set(musl_lib ${ZU_MUSL}/lib)
endif()
foreach(file ${musl_include}/stdio.h ${musl_lib}/libc.a ${musl_lib}/rcrt1.o)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "musl is not complete: ${file} is missing; ZU_MUSL is \"${ZU_MUSL}\"")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/static-pie.in ${CMAKE_BINARY_DIR}/static-pie.link @ONLY)

# The folders of the C++ library's headers; the compiler's own, such as stddef.h; and nothing else.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -E -v -x c++ /dev/null OUTPUT_QUIET ERROR_VARIABLE found)
string(REGEX MATCHALL "\n /[^\n]*/c[+][+]/[^\n]*" cxx_includes "${found}")
list(TRANSFORM cxx_includes REPLACE "\n " " -isystem ")
list(JOIN cxx_includes "" cxx_includes)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include OUTPUT_VARIABLE own_include OUTPUT_STRIP_TRAILING_WHITESPACE)
set(c_includes "-isystem ${musl_include} -isystem ${own_include}")
set(CMAKE_C_FLAGS_INIT "-nostdinc ${c_includes}")
set(CMAKE_CXX_FLAGS_INIT
  "-nostdinc${cxx_includes} ${c_includes} -include ${CMAKE_CURRENT_LIST_DIR}/glibcNames.h -fno-rtti")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-specs=${CMAKE_BINARY_DIR}/static-pie.link")
