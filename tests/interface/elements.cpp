// User-defined elements, lists and maps, with the published signatures, and containers within containers.

#include "require.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <cstring>

// Overrides one of the two toXML, and so hides the other; overloads toBin and fromBin.
class Point : public zutl::Integer {
public:
    using zutl::Integer::Integer;
    std::string toXML(const char* name) const override { return zutl::Integer::toXML(name); }
    unsigned int toBin(unsigned char* buffer) const override { return zutl::Integer::toBin(buffer); }
    unsigned int toBin(const char* text) const { return static_cast<unsigned int>(std::strlen(text)); }
    unsigned int toBin(std::nullptr_t) const { return 0; }
};

// Its overrides are private: it is used only as a Serializable.
class Sealed : public zusl::Serializable {
public:
    int content = 0;

private:
    unsigned int getTypeId() const override { return 800; }
    std::string getTypeName() const override { return "Sealed"; }
    std::string toXML() const override { return toXML("Sealed"); }
    std::string toXML(const char* name) const override { return "<" + std::string(name) + "/>"; }
    bool fromXML(const char*) override { return true; }
    unsigned int getBinLength() const override { return 1; }
    unsigned int toBin(unsigned char* buffer) const override {
        *buffer = static_cast<unsigned char>(content);
        return 1;
    }
    unsigned int fromBin(const unsigned char* data, unsigned int) override {
        content = *data;
        return 1;
    }
};

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

class Names : public zusl::List<zutl::String> {
public:
    using zusl::List<zutl::String>::List;
    Base base() const { return Base(); }
    unsigned int getBinLength() const override { return zusl::List<zutl::String>::getBinLength(); }
};

class Texts : public zusl::Map<zutl::Integer, Reversed> {
public:
    Base base() const { return Base(); }
    zutl::String internalTypeName() const override { return "Texts"; }
    unsigned int internalTypeId() const override { return 700; }
};

template <typename T>
static T copied(const T& object) {
    const zusl::Serializable& source = object;
    std::string bytes(source.getBinLength(), '\0');
    unsigned char* const data = reinterpret_cast<unsigned char*>(&bytes[0]);
    T copy;
    REQUIRE(source.toBin(data) == bytes.size());
    REQUIRE(copy.fromBin(data, static_cast<unsigned int>(bytes.size())) == bytes.size());
    return copy;
}

int main() {
    zusl::List<Point> points{1, 2};
    REQUIRE(copied(points).back() == 2);
    REQUIRE(points.toXML("P") == "<P><Integer>1</Integer><Integer>2</Integer></P>");
    const zusl::StringMap<Point> named{{"a", 1}};
    REQUIRE(copied(named) == named);
    REQUIRE(named.toXML("R").find(">1</item>") != std::string::npos);

    zusl::List<Sealed> sealed(1);
    sealed.front().content = 7;
    REQUIRE(copied(sealed).front().content == 7);
    REQUIRE(sealed.toXML() == "<SealedList><Sealed/></SealedList>");
    REQUIRE(sealed.getTypeId() == 5800);
    zusl::StringMap<Sealed> sealedMap;
    sealedMap["a"].content = 7;
    REQUIRE(copied(sealedMap)["a"].content == 7);
    REQUIRE(sealedMap.getTypeName() == "SealedStringMap");

    using Settings = zusl::StringMap<zutl::String>;
    zusl::StringMap<Settings> rooms;
    rooms["hall"]["target"] = "21";
    REQUIRE(copied(rooms) == rooms);
    const zusl::List<zusl::List<Settings>> nested{{rooms["hall"]}};
    REQUIRE(copied(nested) == nested);
    sealed.fromXML("");

    const zusl::List<Reversed> reversed{"ab"};
    REQUIRE(copied(reversed).front() == "ba");
    Texts texts;
    texts.base();
    REQUIRE(texts.insert(1, "ab").second);
    REQUIRE(copied(texts)[1] == "ba");

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
