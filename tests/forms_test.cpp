// The serialized forms of string, integer and map, and the object file form.

#include "bytes.h"
#include "temporaryFile.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>

using zutl::Integer;
using zutl::String;
using Settings = zusl::StringMap<String>;
using namespace std::string_literals;

namespace {

// A map without an XML form of its own.
struct NumberMap : zusl::Map<Integer, Integer> {
    String internalTypeName() const override { return "numbers"; }
    unsigned int internalTypeId() const override { return 7; }
};

} // namespace

TEST(Forms, TellTheirTypes) {
    const Settings settings;
    const std::tuple<const zusl::Serializable*, unsigned, const char*> cases[] = {
        {new String, 501, "zutl_String"},
        {new Integer, 504, "Integer"},
        {&settings, 15501, "zutl_StringStringMap"},
        {new zusl::List<String>, 5501, "zutl_StringList"},
        {new zusl::EndOfFile, 1, "zusl_EndOfFile"}};
    for (const auto& [object, id, name] : cases) {
        EXPECT_EQ(object->getTypeId(), id);
        EXPECT_EQ(object->getTypeName(), name);
        EXPECT_EQ(object->toXML(), object->toXML(name));
        EXPECT_EQ(object->toXML(nullptr), "");
        if (object != &settings)
            delete object;
    }
}

TEST(Forms, StringAsXml) {
    EXPECT_EQ(String("a<b").toXML("value"), "<value>a&lt;b</value>");
    EXPECT_EQ(String().toXML("value"), "<value/>");
    EXPECT_EQ(String("x").toXML(), "<zutl_String>x</zutl_String>");
    EXPECT_EQ(String("a\0b"s).toXML("v"), "<v>a");
}

TEST(Forms, IntegerAsXml) {
    EXPECT_EQ(Integer(-12).toXML("count"), "<count>-12</count>");
    EXPECT_EQ(Integer(0).toXML("count"), "<count>0</count>");
    EXPECT_EQ(Integer(7).toXML(), "<Integer>7</Integer>");
}

TEST(Forms, MapAsXml) {
    Settings map{{"b", "x<"}, {"a", ""}, {"\"<", "1"}, {"c\0d"s, "2"}};
    const std::string start = "<R xmlns:zu=\"http://zu.example/SettingsSchema\">";
    EXPECT_EQ(map.toXML("R"),
              start + "<item zu:displayName=\"\"<\">1</item><item zu:displayName=\"a\"/>"
                      "<item zu:displayName=\"b\">x&lt;</item><item zu:displayName=\"c\">2</item></R>\n");
    EXPECT_EQ(Settings().toXML("R"), start + "</R>\n");
}

TEST(Forms, MapWithoutXmlRefusesItByItsName) {
    NumberMap map;
    const auto refusal = [](auto action) { return thrownIn("libraries/src/streams/zusl_Map.h", action); };
    EXPECT_EQ(refusal([&] { map.toXML("R"); }), "numbers::toXML - not defined for this type of map.");
    EXPECT_EQ(refusal([&] { map.zusl::Map<Integer, Integer>::toXML(); }),
              "numbers::toXML - not defined for this type of map.");
    EXPECT_EQ(refusal([&] { map.fromXML("<R/>"); }), "numbers::fromXML - not defined for this type of map.");
    map.insert(1, 2);
    NumberMap copy;
    EXPECT_EQ(readForm(copy, binaryForm(map)), 12U);
    EXPECT_EQ(copy[1], 2);
    EXPECT_EQ(map.getTypeId(), 7U);
}

TEST(Forms, ReadBackFromBinary) {
    String text("before");
    for (const std::string& content : {"abc"s, ""s, "\xFF\x01"s, std::string(70000, 'x')}) {
        EXPECT_EQ(readForm(text, binaryForm(String(content)) + "behind"), content.size() + 5);
        EXPECT_EQ(text, content);
    }
    EXPECT_EQ(readForm(text, binaryForm(String("a\0b"s))), 6U);
    EXPECT_EQ(text, "a");
    EXPECT_EQ(readForm(text, unhex("FF FF FF FF 61 00")), 6U); // the stored length is not asked
    EXPECT_EQ(text, "a");

    Integer number;
    for (const int value : {0, 1, -2, 504, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(readForm(number, binaryForm(Integer(value)) + "more"), 4U);
        EXPECT_EQ(number, value);
    }

    Settings map{{"before", ""}};
    const Settings full{{"", "empty"}, {"a", ""}, {"b", "2"}, {"\xC3\xA4", std::string(300, 'y')}};
    EXPECT_EQ(readForm(map, binaryForm(full) + "behind"), full.getBinLength());
    EXPECT_EQ(map, full);
}

TEST(Forms, MapCountsAndDoubles) {
    const std::string a1 = unhex("01 00 00 00 61 00 01 00 00 00 31 00"),
                      a2 = unhex("01 00 00 00 61 00 01 00 00 00 32 00");
    Settings map;
    EXPECT_EQ(readForm(map, unhex("02 00 00 00") + a1 + a2), 28U);
    EXPECT_EQ(map, (Settings{{"a", "1"}}));
    EXPECT_EQ(readForm(map, unhex("FF FF FF FF") + a1), 4U);
    EXPECT_TRUE(map.empty());
}

TEST(Forms, CutShortEndsInTheDocumentedFailure) {
    String text("before");
    Integer number(42);
    const std::string textForm = binaryForm(String("abc")), numberForm = binaryForm(Integer(7));
    for (size_t length = 0; length < textForm.size(); ++length)
        EXPECT_EQ(thrown([&] { readForm(text, textForm.substr(0, length)); }), fromBinFailed) << length;
    EXPECT_EQ(text, "before");
    for (size_t length = 0; length < numberForm.size(); ++length)
        EXPECT_EQ(thrown([&] { readForm(number, numberForm.substr(0, length)); }), fromBinFailed) << length;
    EXPECT_EQ(number, 42);

    const Settings full{{"a", "1"}, {"b", "2"}};
    const std::string form = binaryForm(full);
    for (size_t length = 0; length < form.size(); ++length) {
        Settings map{{"before", ""}};
        EXPECT_EQ(thrown([&] { readForm(map, form.substr(0, length)); }), fromBinFailed) << length;
        EXPECT_EQ(map.size(), length < 16 ? 0U : 1U) << length; // the entries read until then stay
    }
    Settings map;
    const std::string lying = unhex("FF FF FF 7F 01 00 00 00 61 00 01 00 00 00 31 00 00 00 00 00");
    EXPECT_EQ(thrown([&] { readForm(map, lying); }), fromBinFailed);
    EXPECT_EQ(map.size(), 1U);
}

TEST(Forms, FlippedBitsNeverDoMore) {
    const Settings full{{"a", "1"}, {"bc", "23"}, {"", "x"}};
    const std::string form = binaryForm(full);
    for (size_t bit = 0; bit < 8 * form.size(); ++bit) {
        std::string flipped = form;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        Settings map;
        const std::string failure = thrown([&] { EXPECT_LE(readForm(map, flipped), form.size()); });
        EXPECT_TRUE(failure.empty() || failure == fromBinFailed) << bit << failure;
    }
}

TEST(Forms, ObjectFile) {
    const TemporaryFile file;
    const Settings full{{"a", "1"}, {"b", std::string(10000, 'x')}};
    Settings map;
    EXPECT_TRUE(full.toFile(file.path()));
    EXPECT_TRUE(map.fromFile(file.path()));
    EXPECT_EQ(map, full);
    Integer number(42);
    EXPECT_FALSE(number.fromFile(file.path())); // another type
    EXPECT_FALSE(number.fromFile("/nonexistent/file"));
    EXPECT_FALSE(number.fromFile("/tmp"));
    EXPECT_FALSE(number.toFile("/nonexistent/file"));
    EXPECT_FALSE(number.toFile("/dev/full"));

    const std::pair<const char*, bool> contents[] = {
        {"", false},
        {"F8 01 04 00 00", false},
        {"F8 01 04 00 00 00 07 00 00", false},
        {"F8 01 FF FF FF FF 07 00 00", false},       // claims 4 GB
        {"F8 01 03 00 00 00 07 00 00", false},       // fromBin throws
        {"F8 01 05 00 00 00 07 00 00 00 00", false}, // fromBin takes fewer
        {"F8 01 04 00 00 00 07 00 00 00", true},
        {"F8 01 04 00 00 00 07 00 00 00 FF", true},
    };
    for (const auto& [bytes, good] : contents) {
        Integer read(42);
        EXPECT_EQ(read.fromFile(TemporaryFile(unhex(bytes)).path()), good) << bytes;
        EXPECT_TRUE(read == 7 || !good) << bytes;
    }
    EXPECT_EQ(number, 42);
}

TEST(Forms, ObjectFileOfAFailingClass) {
    const TemporaryFile file("before");
    Unreliable object;
    EXPECT_TRUE(object.toFile(file.path()));
    EXPECT_TRUE(object.fromFile(file.path()));
    for (const Unreliable::Failure failure : {Unreliable::exception, Unreliable::other}) {
        object.failure = failure;
        EXPECT_FALSE(object.fromFile(file.path()));
    }
    EXPECT_FALSE(object.toFile(file.path()));
    EXPECT_EQ(file.bytes(), "");
    object.failure = Unreliable::none;
    EXPECT_TRUE(object.toFile(file.path()));
    object.reported = 3; // of 4 bytes
    EXPECT_FALSE(object.fromFile(file.path()));
    EXPECT_FALSE(object.toFile(file.path()));
    EXPECT_EQ(file.bytes(), "");
}

TEST(Forms, WithTheNullBackendReadersFindNothing) {
    for (const char* const xml :
         {"<R><item zu:displayName='a'>1</item></R>", "", "no xml", static_cast<const char*>(nullptr)}) {
        String text("before");
        EXPECT_TRUE(text.fromXML(xml));
        EXPECT_EQ(text, "");
        Integer number(7);
        EXPECT_TRUE(number.fromXML(xml));
        EXPECT_EQ(number, 0);
        Settings map{{"a", "1"}};
        EXPECT_FALSE(map.fromXML(xml));
        EXPECT_EQ(map.size(), 1U);
    }
}

TEST(Formats, ExamplesInTheDocumentAreWhatTheCodeWrites) {
    const TemporaryFile file;
    Integer(7).toFile(file.path());
    zusl::MemIOStream stream;
    stream.write(Integer(7));
    const std::string records = binaryForm(stream);
    stream.clear();
    stream.close();
    const std::string ending = binaryForm(stream);
    const std::map<std::string, std::string> examples = {
        {"the text `abc`", binaryForm(String("abc"))},
        {"the empty text", binaryForm(String())},
        {"the integer 504", binaryForm(Integer(504))},
        {"the integer -2", binaryForm(Integer(-2))},
        {"the map `a` to `1`", binaryForm(Settings{{"a", "1"}})},
        {"the empty map", binaryForm(Settings())},
        {"the file of the integer 7", file.bytes()},
        {"the record of the integer 7", records.substr(4)},
        {"the record of an end-of-file marker", ending.substr(4)},
        {"the stream with that integer", records},
        {"the list of `ab`", binaryForm(zusl::List<String>{"ab"})},
        {"the empty list", binaryForm(zusl::List<String>())},
    };
    // Each row "| the ... | 01 02 ... |" of the document is an example.
    std::ifstream document(FORMATS_DOCUMENT);
    size_t rows = 0;
    for (std::string line; std::getline(document, line);) {
        const size_t bar = line.find(" | ");
        if (line.compare(0, 6, "| the ") != 0 ||
            line.find_first_not_of("0123456789ABCDEF |", bar) != line.npos)
            continue;
        ++rows;
        const auto example = examples.find(line.substr(2, bar - 2));
        ASSERT_NE(example, examples.end()) << line;
        EXPECT_EQ(line.substr(bar + 3), hex(example->second) + " |");
    }
    EXPECT_EQ(rows, examples.size());
}
