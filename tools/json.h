#pragma once
// Reading of JSON.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace json {

struct Value {
    enum class Kind { null, boolean, number, string, array, object };

    Kind kind = Kind::null;
    std::string text; // of a string; of a number or boolean as it was written
    std::vector<Value> items;
    std::vector<std::pair<std::string, Value>> members;

    // Returns the first member of the name; null if there is none.
    const Value* find(std::string_view name) const;

    // Returns the text of the member; empty if there is none.
    std::string textOf(std::string_view name) const;
};

// Parses a document nested up to 16 levels deep. Returns nothing if it is no valid JSON. Takes time
// proportional to its length.
std::optional<Value> parse(std::string_view text);

} // namespace json
