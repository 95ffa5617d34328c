// Serialization of strings, integers and maps, and object files.

#include "bytes.h"
#include "temporaryFile.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/resource.h>
#include <unistd.h>

using zutl::Integer;
using zutl::String;
using Settings = zusl::StringMap<String>;
using namespace std::string_literals;

namespace {

// A map of a type without XML.
struct NumberMap : zusl::Map<Integer, Integer> {
    String internalTypeName() const override { return "numbers"; }
    unsigned int internalTypeId() const override { return 7; }
};

} // namespace

TEST(Serialization, HasTypeIdsAndNames) {
    const auto check = [](const zusl::Serializable& object, unsigned id, const char* name) {
        EXPECT_EQ(object.getTypeId(), id);
        EXPECT_EQ(object.getTypeName(), name);
        EXPECT_EQ(object.toXML(), object.toXML(name));
        EXPECT_EQ(object.toXML(nullptr), "");
    };
    check(String(), 501, "zutl_String");
    check(Integer(), 504, "Integer");
    check(Settings(), 15501, "zutl_StringStringMap");
    check(zusl::List<String>(), 5501, "zutl_StringList");
    check(zusl::EndOfFile(), 1, "zusl_EndOfFile");
}

TEST(Serialization, WritesXml) {
    EXPECT_EQ(String("a<b").toXML("value"), "<value>a&lt;b</value>");
    EXPECT_EQ(String().toXML("value"), "<value/>");
    EXPECT_EQ(String("a\0b"s).toXML("v"), "<v>a");
    EXPECT_EQ(Integer(-12).toXML("count"), "<count>-12</count>");
    const Settings map{{"b", "x<"}, {"a", ""}, {"\"<", "1"}, {"c\0d"s, "2"}};
    const std::string start = "<R xmlns:zu=\"http://zu.example/SettingsSchema\">";
    EXPECT_EQ(map.toXML("R"),
              start + "<item zu:displayName=\"\"<\">1</item><item zu:displayName=\"a\"/>"
                      "<item zu:displayName=\"b\">x&lt;</item><item zu:displayName=\"c\">2</item></R>\n");
    EXPECT_EQ(Settings().toXML("R"), start + "</R>\n");
}

TEST(Serialization, ThrowsForAMapWithoutXml) {
    NumberMap map;
    const auto refusal = [](auto action) { return thrownIn("libraries/src/streams/zusl_Map.h", action); };
    const std::string why = "XML - not defined for this type of map.";
    EXPECT_EQ(refusal([&] { map.toXML("R"); }), "numbers::to" + why);
    EXPECT_EQ(refusal([&] { map.fromXML("<R/>"); }), "numbers::from" + why);
}

TEST(Serialization, ReadsBackItsBytes) {
    String text;
    for (const std::string& encoded : {toBytes(String("a\0b"s)), unhex("FF FF FF FF 61 00")}) {
        EXPECT_EQ(fromBytes(text, encoded), 6U); // the stored length is ignored
        EXPECT_EQ(text, "a");
    }
    Settings map{{"before", ""}};
    const Settings full{{"", "empty"}, {"a", ""}, {"\xC3\xA4", std::string(300, 'y')}};
    EXPECT_EQ(fromBytes(map, toBytes(full) + "more"), full.getBinLength());
    EXPECT_EQ(map, full);
    const std::string a1 = unhex("01 00 00 00 61 00 01 00 00 00 31 00"),
                      a2 = unhex("01 00 00 00 61 00 01 00 00 00 32 00");
    EXPECT_EQ(fromBytes(map, unhex("02 00 00 00") + a1 + a2), 28U);
    EXPECT_EQ(map, (Settings{{"a", "1"}}));
    EXPECT_EQ(fromBytes(map, unhex("FF FF FF FF") + a1), 4U); // a negative count
    EXPECT_TRUE(map.empty());
}

TEST(Serialization, ThrowsTheDocumentedErrorForCutBytes) {
    String text("before");
    EXPECT_EQ(thrown([&] { fromBytes(text, toBytes(String("abc")).substr(0, 7)); }), fromBinFailed);
    EXPECT_EQ(text, "before");

    const Settings full{{"a", "1"}, {"b", "2"}};
    const std::string encoded = toBytes(full);
    for (size_t length = 0; length < encoded.size(); ++length) {
        Settings map{{"before", ""}};
        EXPECT_EQ(thrown([&] { fromBytes(map, encoded.substr(0, length)); }), fromBinFailed) << length;
        EXPECT_EQ(map.size(), length < 16 ? 0U : 1U) << length; // the entries read so far stay
    }
    zusl::StringMap<Unreliable> overreaching; // its values are four bytes long, even beyond the end
    EXPECT_EQ(thrown([&] { fromBytes(overreaching, encoded.substr(0, 12)); }), fromBinFailed);
}

TEST(Serialization, ReadsBackAnObjectFile) {
    const TemporaryFile file;
    for (const size_t size : {1U, 100000U, 300000U}) { // read in one, two and four pieces
        const Settings full{{"a", "1"}, {"b", std::string(size, 'x')}};
        Settings map;
        EXPECT_TRUE(full.toFile(file.path()));
        EXPECT_TRUE(map.fromFile(file.path()));
        EXPECT_EQ(map, full);
    }
    Integer number(42);
    for (const char* const path : {file.path(), "/nonexistent/file", "/tmp"}) // the first holds another type
        EXPECT_FALSE(number.fromFile(path)) << path;
    EXPECT_EQ(number, 42);
    for (const char* const path : {"/nonexistent/file", "/dev/full"})
        EXPECT_FALSE(number.toFile(path)) << path;
    struct Nothing : zusl::EndOfFile { // of the type that /dev/zero seems to hold
        unsigned int getTypeId() const override { return 0; }
    } nothing;
    EXPECT_TRUE(nothing.fromFile("/dev/zero"));
    struct Endless : Integer { // 4 GB announced, but not sent
        unsigned int getTypeId() const override { return 0xFFFF; }
    } endless;
    for (const std::string& bytes : {unhex("FF FF 04 00 00 00 07 00 00 00"), unhex("FF FF FF FF FF FF 07")}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(ends[1]);
        const std::string path = "/dev/fd/" + std::to_string(ends[0]);
        EXPECT_EQ(endless.fromFile(path.c_str()), bytes.size() == 10);
        close(ends[0]);
    }
    EXPECT_EQ(endless, 7);
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{8, limit.rlim_max}; // of the ten bytes
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_FALSE(number.toFile(file.path()));
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);
    // Cut; 4 GB claimed; fewer bytes than fromBin wants, and more.
    const std::pair<const char*, bool> contents[] = {{"F8 01 04 00 00", false},
                                                     {"F8 01 FF FF FF FF 07 00 00", false},
                                                     {"F8 01 05 00 00 00 07 00 00 00 00", false},
                                                     {"F8 01 03 00 00 00 07 00 00", false},
                                                     {"F8 01 04 00 00 00 07 00 00 00 FF", true}};
    for (const auto& [bytes, good] : contents) {
        Integer read(42);
        EXPECT_EQ(read.fromFile(TemporaryFile(unhex(bytes)).path()), good) << bytes;
        EXPECT_TRUE(read == 7 || !good) << bytes;
    }
}

TEST(Serialization, ReportsAnObjectFileOfAFailingClass) {
    const TemporaryFile file("before");
    Unreliable object;
    EXPECT_TRUE(object.toFile(file.path()));
    EXPECT_TRUE(object.fromFile(file.path()));
    object.reported = 3; // of 4 bytes
    for (const auto mode : {Unreliable::none, Unreliable::exception, Unreliable::other}) {
        object.failure = mode;
        EXPECT_TRUE(Unreliable().toFile(file.path()));
        EXPECT_FALSE(object.fromFile(file.path()));
        EXPECT_FALSE(object.toFile(file.path()));
        EXPECT_EQ(file.bytes(), "");
    }
}

TEST(Serialization, ReadsNoXmlWithTheNullBackend) {
    for (const char* const xml :
         {"<R><item zu:displayName='a'>1</item></R>", "", "no xml", static_cast<const char*>(nullptr)}) {
        String text("before");
        Integer number(7);
        Settings map{{"a", "1"}};
        EXPECT_TRUE(text.fromXML(xml));
        EXPECT_TRUE(text.empty());
        EXPECT_TRUE(number.fromXML(xml));
        EXPECT_EQ(number, 0);
        zusl::List<String> list{"before"}; // the back end finds a document without children
        EXPECT_FALSE(map.fromXML(xml));
        EXPECT_EQ(map.size(), 1U);
        EXPECT_TRUE(list.fromXML(xml));
        EXPECT_TRUE(list.empty());
    }
}

TEST(Serialization, MatchesTheExamplesOfTheDocument) {
    const TemporaryFile file;
    Integer(7).toFile(file.path());
    zusl::MemIOStream stream, closed;
    stream.write(Integer(7));
    closed.close();
    const std::string records = toBytes(stream);
    const std::map<std::string, std::string> examples = {
        {"the text `abc`", toBytes(String("abc"))},
        {"the empty text", toBytes(String())},
        {"the integer 504", toBytes(Integer(504))},
        {"the integer -2", toBytes(Integer(-2))},
        {"the map `a` to `1`", toBytes(Settings{{"a", "1"}})},
        {"the empty map", toBytes(Settings())},
        {"the file of the integer 7", file.bytes()},
        {"the record of the integer 7", records.substr(4)},
        {"the record of an end-of-file marker", toBytes(closed).substr(4)},
        {"the stream with that integer", records},
        {"the list of `ab`", toBytes(zusl::List<String>{"ab"})},
        {"the empty list", toBytes(zusl::List<String>())}};
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
