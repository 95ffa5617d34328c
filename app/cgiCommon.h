#pragma once
// Decodes the form that the browser posted. The file's name is part of the published interface.

#include "zusl_Map.h"

// Field name to value, in the order of the settings file.
using Settings = zusl::StringMap<zutl::String>;

// Replaces `params` by the fields of the form in "QUERY_STRING". Names are converted to lower case, then
// decoded; values are decoded, with "+" unchanged. The first of two fields with the same name wins. A field
// without "=" has its name as its value. Throws std::bad_alloc.
void parseGet(Settings& params);

// Same as parseGet() for the form in the request body. Also throws what readBody() throws.
void parsePost(Settings& params);
