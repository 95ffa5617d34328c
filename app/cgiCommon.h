#pragma once
// Decoding of the submitted form.

#include "zusl_Map.h"

// Field name to value, in the order of the settings file.
using Settings = zusl::StringMap<zutl::String>;

// Replace the settings by the fields of the form: names lower-cased, then decoded; values decoded, "+" left
// as it is. Of two fields with one name the first stays; a field without "=" has its name as its value. Throw
// std::bad_alloc when memory runs out.
void parseGet(Settings& params);  // the form in "QUERY_STRING"
void parsePost(Settings& params); // the form in the request's body
