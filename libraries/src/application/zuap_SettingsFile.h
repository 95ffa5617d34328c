#pragma once
// Reading of the settings file that the gateway writes.

#include "zusl_Map.h"

#include <string_view>

namespace zuap {

// Setting name to value.
using Values = zusl::StringMap<zutl::String>;

// The result of reading the settings file.
enum class Reading {
    complete,   // the whole file was read
    missing,    // there is no such file
    incomplete, // the file is being rewritten in place, or was cut short
    failed,     // it cannot be opened or read; errno has the reason
};

// Reads the settings file at `path` into `values`; unless the result is `complete`, `values` is left empty.
//
// Safe while the file is replaced: a file that is renamed over is read from one descriptor, so the text is
// the whole old or the whole new one. A file that is rewritten in place (see docs/reliability.md) is read
// twice and counts as incomplete if the two readings differ or the root element is not whole. Keep the last
// good values then; the gateway's signal follows its last write.
[[nodiscard]] Reading readSettings(const char* path, Values& values);

// Reads the text of a settings file into `values`. Returns false, with `values` empty, if the text does not
// begin with the open tag and end with the close tag of the root element.
//
// The file escapes nothing, so an entry ends where the text can be what the gateway writes: whole entries
// with ascending names. A map whose names have no "<", ">" or line feed is read back as it was, whatever
// markup and line feeds its values have, unless two such maps have the same text; then a value ends at the
// first place where it can. An entry on one line is read back with any name, as the shortest name that fits.
//
// Any other text (hostile, or edited by hand) is read entry by entry from where it stops making sense: lines
// that are no entry are skipped, and the first value of a repeated name counts. Takes time and memory
// proportional to the text, times the logarithm of the number of entries.
[[nodiscard]] bool parseSettings(std::string_view text, Values& values);

} // namespace zuap
