#pragma once
// The file "state.json", in which an application publishes its current settings for its page and its tools.
// Internal: not installed.

#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

#include <vector>

namespace zuap {

constexpr const char* stateFile = "state.json";

// The content of state.json.
struct State {
    unsigned int revision = 0;     // grows with every publication
    std::vector<Setting> settings; // in the order of the page
    Values values;                 // in use, one for each setting
    std::vector<Refusal> refusals; // of the last reading of the settings file
};

// Returns the state as JSON:
//
//     {"revision": 3,
//      "settings": [{"name": ..., "label": ..., "help": ..., "type": "text" | "number" | "choice" | "switch",
//                    "default": ..., "value": ...,
//                    "minimumLength": 0, "maximumLength": 40, "pattern": ...,         of a text
//                    "minimum": ..., "maximum": ..., "step": ..., "unit": ...,        of a number
//                    "choices": [{"value": ..., "label": ...}, ...]}, ...],           of a choice
//      "refusals": [{"name": ..., "value": ..., "reason": ...}, ...]}
//
// All values and limits of numbers are strings. Members without content ("pattern", "unit", limits) are left
// out. It is valid JSON whatever bytes the values have.
zutl::String toJson(const State& state);

} // namespace zuap
