/* Compiles only while the helpers' header is C. */
#include "zu_Functions.h"

__attribute__((format(printf, 1, 2))) int lengthFromC(const char* format, ...) {
    va_list args;
    va_start(args, format);
    int length = zu_vscprintf(format, args);
    va_end(args);
    return length;
}
