// Symbols that g++'s C++ library, built for glibc, needs and musl lacks, and small replacements for parts of
// the C++ library that would link in much more than the program needs.

#include <cstdlib>
#include <new>
#include <pthread.h>

// NOLINTBEGIN(bugprone-reserved-identifier): the libraries' own names

extern "C" {

// Reference counts need no atomic operations.
extern char __libc_single_threaded;
char __libc_single_threaded = 1;

// There is one thread, so nothing needs locking.
int pthread_mutex_lock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

} // extern "C"

// The C++ library calls these for its errors. The program treats all of the library's exceptions alike, so
// one type without text is enough, and a failed check ends the program without a message. They are weak: if
// the linker needs another function from the same object file of the library, the library's versions win.
namespace std {

[[gnu::weak]] void __throw_bad_alloc() {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_bad_array_new_length() {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_length_error(const char* /*text*/) {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_logic_error(const char* /*text*/) {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_out_of_range_fmt(const char* /*text*/, ...) {
    throw bad_alloc();
}

[[gnu::weak]] void __glibcxx_assert_fail(const char* /*file*/, int /*line*/, const char* /*function*/,
                                         const char* /*condition*/) noexcept {
    abort();
}

} // namespace std

// NOLINTEND(bugprone-reserved-identifier)
