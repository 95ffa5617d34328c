// User-defined elements in lists and maps, and containers within containers.

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
    zusl::StringMap<Point> named{{"a", 1}};
    REQUIRE(copied(named) == named);
    REQUIRE(named.toXML("R").find("<item zu:displayName=\"a\">1</item>") != std::string::npos);

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
    named.fromXML("");
}
