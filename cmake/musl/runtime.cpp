// What g++'s C++ library, made for another C library, requires of that one and musl does not have; and small
// replacements for parts of it that would bring in much more than the program needs.

#include <cstdlib>
#include <new>
#include <pthread.h>

// NOLINTBEGIN(bugprone-reserved-identifier): the libraries' own names

extern "C" {

// Counters of references need no locking.
extern char __libc_single_threaded;
char __libc_single_threaded = 1;

// Nor does anything else: there is one thread.
int pthread_mutex_lock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

} // extern "C"

// What the C++ library calls for its errors. The program treats all exceptions of the library alike, so one
// type without text is enough, and a failed check ends the program without a message. Weak, so that a library
// that needs more of its own functions gets all of them.
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
