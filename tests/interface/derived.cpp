// Classes derived from the library's that override operations with the published signatures.

#include "require.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <functional>

class Base {}; // a name that the library's classes must not hide

// A text that is written in reverse.
class Reversed : public zutl::String {
public:
    using zutl::String::String;
    unsigned int getTypeId() const override { return 601; }
    unsigned int getBinLength() const override { return zutl::String::getBinLength(); }
    unsigned int toBin(unsigned char* buffer) const override {
        return zutl::String(std::string(rbegin(), rend())).toBin(buffer);
    }
};

class Doubled : public zutl::Integer {
public:
    using zutl::Integer::Integer;
    unsigned int getBinLength() const override { return 4; }
    unsigned int toBin(unsigned char* buffer) const override {
        return zutl::Integer(2 * value).toBin(buffer);
    }
};

class Names : public zusl::List<zutl::String> {
public:
    using zusl::List<zutl::String>::List;
    Base base() const { return Base(); }
    unsigned int getBinLength() const override { return zusl::List<zutl::String>::getBinLength(); }
};

class Numbers : public zusl::Map<zutl::Integer, Doubled> {
public:
    Base base() const { return Base(); }
    zutl::String internalTypeName() const override { return "Numbers"; }
    unsigned int internalTypeId() const override { return 700; }
};

int main() {
    const zusl::List<Reversed> list{"ab"};
    unsigned char bytes[64] = {};
    REQUIRE(list.getBinLength() == 43);
    REQUIRE(list.toBin(bytes) == 43);
    REQUIRE(bytes[40] == 'b');

    Numbers numbers;
    numbers.base();
    REQUIRE(numbers.insert(1, 7).second);
    REQUIRE(numbers.toBin(bytes) == 12);
    Numbers read;
    read.fromBin(bytes, 12);
    REQUIRE(read[1] == 14);

    Names names{"a", "b"};
    names.base();
    REQUIRE(zutl::String::join(names, ",") == "a,b");
    Names moved = std::move(names);
    names = moved;
    REQUIRE(names == moved);
    Reversed text = "x";
    text = Reversed("y");
    REQUIRE(text == "y");
}
