#pragma once
/* Portable C-level helpers, usable from C and C++. A null text counts as an empty one. */

#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The calling thread's identifier. */
pthread_t zu_get_threadid(void);

/* A copy of the text, allocated by the C library; the caller frees it with free(). Null when memory runs out.
 */
char* zu_strdup(const char* text);

/* Copies at most size - 1 bytes of source, fills the rest of the size bytes with zero bytes, and always ends
   the destination with a zero byte. Returns the destination. The caller provides size bytes, at least 1. */
char* zu_strcpy(char* destination, size_t size, const char* source);

/* Compares without regard to ASCII case: negative, zero or positive as a sorts before, equal to or after b.
 */
int zu_stricmp(const char* a, const char* b);

/* Change every byte before the terminating zero to lower or upper case, in place; only ASCII letters change.
   Both return their argument. */
char* zu_strlwr(char* text);
char* zu_strupr(char* text);

/* The number of bytes that the formatted text needs, without the terminating zero; negative for a format that
   cannot be printed. The argument list is left as it was, so that the caller can format from it afterwards.
 */
int zu_vscprintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

/* Signed 64-bit decimal conversion: leading blanks and a sign allowed, stops at the first non-digit, 0
   without digits, saturates at the limits of the type. */
int64_t zu_atoi64(const char* text);

/* Milliseconds of the monotonic clock, 0 when it cannot be read. Wraps after 2^32 ms: take intervals as the
   unsigned difference now - start. */
uint32_t zu_tickcount(void);

#ifdef __cplusplus
}
#endif
