#pragma once
// The request body: "CONTENT_LENGTH" bytes of standard input. If that variable is unset, not a number or
// negative, the body is empty.

#include "zutl_String.h"

// Returns the request body up to its first zero byte. If standard input ends early, the bytes received are
// the body. Memory grows with the bytes received, not with the length announced. Throws zutl::Exception on a
// read error and std::bad_alloc when out of memory, both after discarding the rest of the body.
zutl::String readBody();

// Reads and discards the request body. A server that is still sending it would otherwise drop the response.
void discardBody();
