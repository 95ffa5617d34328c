# Debian's g++ on x86-64 with the small C library of its package musl-tools, for a program of few bytes. There is no C++
# library made for it; the pieces of g++'s own that the program needs work with it, too.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)

execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(musl "-specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs -specs=${CMAKE_CURRENT_LIST_DIR}/static-pie.specs")
set(CMAKE_C_FLAGS_INIT "${musl}")
set(CMAKE_CXX_FLAGS_INIT "${musl} -nostdinc++ -isystem /usr/include/c++/${version} \
-isystem /usr/include/x86_64-linux-gnu/c++/${version} -include ${CMAKE_CURRENT_LIST_DIR}/glibcNames.h -fno-rtti")
