#pragma once
// Names of the other C library, for which g++'s C++ headers were made.

#define __GLIBC_PREREQ(major, minor) 0
#define __locale_t locale_t
