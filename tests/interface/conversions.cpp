// Conversions between texts and other classes, and pointers to functions.

#include "require.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_url.h"

#include <functional>
#include <string>
#include <string_view>

struct Name { // both kinds of text
    operator std::string() const { return "name"; }
    operator std::string_view() const { return "view"; }
};
struct ConstName {
    operator const std::string() const { return "name"; }
    operator std::string_view() const { return "view"; }
};

static zutl::String same(zutl::String text) {
    return text;
}
static unsigned int capacityOf(const zusl::MemIOStream& stream) {
    return stream.capacity();
}

int main() {
    const zutl::url page("http://192.0.2.1/a%20b");
    const zutl::String printed = "http://192.0.2.1/a b";
    zutl::String text;
    text = page;
    REQUIRE(text == printed);
    REQUIRE(same(page) == printed);
    REQUIRE(zutl::url::decode(page, false) == printed);
    zusl::StringMap<zutl::String> map;
    map.insert("x", page);
    map.insert(page, page);
    REQUIRE(map["x"] == printed);

    REQUIRE(zutl::String(Name()) == "name");
    REQUIRE(zutl::String(ConstName()) == "name");
    text = zutl::String(std::string_view("view"));
    REQUIRE(text == "view");
    text = {};
    REQUIRE(text.empty());
    text = std::string("moved");
    REQUIRE(text == "moved");

    zutl::String (*const decode)(const zutl::String&, bool) = &zutl::url::decode;
    const auto alsoDecode = &zutl::url::decode;
    const auto bound = std::bind(&zutl::url::decode, std::placeholders::_1, true);
    REQUIRE(decode("a+%41", false) == "a+A");
    REQUIRE(alsoDecode("a+%41", true) == "a A");
    REQUIRE(bound(zutl::String("+")) == " ");

    REQUIRE(capacityOf(12U) == 12);
    zusl::MemIOStream stream = 5U;
    REQUIRE(stream.capacity() == 5);
    zutl::SmartArray<char> array = {new char[2]{'a', 'b'}, 2};
    REQUIRE(array[1] == 'b');
    const zutl::Exception error = "text";
    REQUIRE(error.what() == std::string("text"));
}
