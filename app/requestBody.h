#pragma once
// The body of the request: "CONTENT_LENGTH" bytes on standard input. A length that is missing, no number, or
// negative stands for an empty body.

#include "zutl_String.h"

// The body up to its first zero byte. Fewer bytes than announced are the whole body; memory grows with what
// arrives, not with what was announced. When memory runs out the rest is read and thrown away before
// std::bad_alloc is thrown.
zutl::String readBody();

// Reads the announced body and throws it away: a server that is still sending it would otherwise cut the
// answer.
void discardBody();
