#pragma once
/* Portable C-level helpers, usable from C and C++. A null text counts as an empty one. */

#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the calling thread's identifier. */
pthread_t zu_get_threadid(void);

/* Returns a copy of the text, which the caller frees with free(); null if memory runs out. */
char* zu_strdup(const char* text);

/* Copies at most size - 1 bytes of source, fills the rest of the destination with zero bytes, and returns
   the destination. Requires size bytes at the destination, at least 1. */
char* zu_strcpy(char* destination, size_t size, const char* source);

/* Compares two texts, ignoring the case of ASCII letters. Returns a negative number, zero or a positive
   number if a sorts before, equal to or after b. */
int zu_stricmp(const char* a, const char* b);

/* Converts the ASCII letters of the text to lower case, in place. Returns its argument. */
char* zu_strlwr(char* text);

/* Converts the ASCII letters of the text to upper case, in place. Returns its argument. */
char* zu_strupr(char* text);

/* Returns the number of bytes of the formatted text, without the terminating zero; negative if it cannot be
   formatted. Leaves args usable: the caller can still format from it. */
int zu_vscprintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

/* Returns the decimal integer at the start of the text, after white space and an optional sign; 0 if there
   is none. Values beyond 64 bits give the limit of the type. */
int64_t zu_atoi64(const char* text);

/* Returns the time of the monotonic clock in milliseconds; 0 if it cannot be read. Wraps after 2^32 ms: the
   unsigned difference of two results is the time between them. */
uint32_t zu_tickcount(void);

#ifdef __cplusplus
}
#endif
