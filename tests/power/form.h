#pragma once
// Numbered forms, the request that saves one, and the settings file's text for it.

#include <stddef.h>
#include <stdint.h>

enum Answer { noAnswer, refused, confirmed };

// Posts form `number` (1 and up) to the program, in the working directory, and returns what it answers. The
// form has about `length` bytes, at most `largestForm`; for 0 the number decides, from 100 bytes to 30 KB.
enum { largestForm = 1 << 20 };
enum Answer postForm(const char* program, uint64_t number, size_t length);

// Returns the number of the form of length 0 whose text "settings_xml.txt" in the working directory is; 0 if
// there is no file, -1 if it holds anything else.
long storedForm(void);

// Returns the settings file's text for the last of these forms.
const char* formText(void);
