// Serialization, object files, lengths beyond 32 bits, and arguments that are part of the object.

#include "bytes.h"
#include "sparseText.h"
#include "temporaryFile.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <csignal>
#include <deque>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/resource.h>
#include <unistd.h>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;
using Settings = zusl::StringMap<String>;
using Texts = zusl::List<String>;
using zuxml::DomIterator;
using namespace std::string_literals;

namespace {

// A map of a type without XML.
struct NumberMap : zusl::Map<Integer, Integer> {
    String internalTypeName() const override { return "numbers"; }
    unsigned int internalTypeId() const override { return 7; }
};

struct OtherText : String { // a list of these is serialized through a stream
    using String::String;
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
    check(Texts(), 5501, "zutl_StringList");
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
    EXPECT_EQ((Texts{"ab", ""}).toXML("L"), "<L><zutl_String>ab</zutl_String><zutl_String/></L>");
    EXPECT_EQ(Texts().toXML("L"), "<L></L>");
    EXPECT_EQ(zusl::EndOfFile().toXML("x"), "<x/>");
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
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{8, limit.rlim_max}; // of the ten bytes
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_FALSE(number.toFile(file.path()));
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(Serialization, ReadsAnObjectFromAPipe) {
    // Cut; 4 GB claimed; fewer bytes than fromBin wants, and more; whole.
    const std::pair<const char*, bool> contents[] = {{"F8 01 04 00 00", false},
                                                     {"F8 01 FF FF FF FF 07 00 00", false},
                                                     {"F8 01 05 00 00 00 07 00 00 00 00", false},
                                                     {"F8 01 03 00 00 00 07 00 00", false},
                                                     {"F8 01 04 00 00 00 07 00 00 00 FF", true}};
    for (const auto& [text, good] : contents) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const std::string bytes = unhex(text), path = "/dev/fd/" + std::to_string(ends[0]);
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(ends[1]);
        Integer read(42);
        EXPECT_EQ(read.fromFile(path.c_str()), good) << text;
        EXPECT_TRUE(read == 7 || !good) << text;
        close(ends[0]);
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
         {"<R a='1'><item zu:displayName='a'>1</item></R>", static_cast<const char*>(nullptr)}) {
        String text("before");
        Integer number(7);
        Settings map{{"a", "1"}};
        Texts list{"before"}; // the back end finds a document without children
        EXPECT_TRUE(text.fromXML(xml));
        EXPECT_EQ(text, "");
        EXPECT_TRUE(number.fromXML(xml));
        EXPECT_EQ(number, 0);
        EXPECT_FALSE(map.fromXML(xml));
        EXPECT_EQ(map.size(), 1U);
        EXPECT_TRUE(list.fromXML(xml));
        EXPECT_TRUE(list.empty());
        EXPECT_TRUE(zusl::EndOfFile().fromXML(xml));

        zuxml::initialize();
        DomIterator cursor = DomIterator::parse(xml, "second");
        cursor = DomIterator::parse(xml);
        cursor.nextSibling();
        cursor.previousSibling();
        for (const DomIterator& each : {cursor, cursor.childrenBegin(), cursor.childrenEnd(),
                                        cursor.findChild("item"), cursor.searchChild("item")}) {
            EXPECT_FALSE(each.atEnd());
            EXPECT_FALSE(each.hasChildren());
            EXPECT_FALSE(each.hasValue());
            EXPECT_FALSE(each.hasAttributes());
            EXPECT_FALSE(each.hasAttribute("a"));
            EXPECT_FALSE(each.isEqual(each));
            EXPECT_FALSE(each < each);
            EXPECT_EQ(each.numChildren() + each.numChildren("item") + each.attributes().size(), 0U);
            EXPECT_EQ(each.getName() + each.getValue() + each.getAttribute("a") + each.toXML(), "");
        }
        String out("before");
        EXPECT_EQ(cursor.getName(out) + out, "before");
        EXPECT_EQ(DomIterator::removeDoctype(xml) + DomIterator::addDTD(xml, "dtd"), "");
        EXPECT_EQ(zuxml::open("name") + zuxml::close("name"), "");
        zuxml::uninitialize();
    }
}

TEST(Serialization, MatchesTheExamplesOfTheDocument) {
    const TemporaryFile file;
    EXPECT_TRUE(Integer(7).toFile(file.path()));
    MemIOStream stream, closed;
    stream.write(Integer(7));
    closed.close();
    std::map<std::string, std::string> examples = {
        {"the text `abc`", toBytes(String("abc"))},
        {"the empty text", toBytes(String())},
        {"the integer 504", toBytes(Integer(504))},
        {"the integer -2", toBytes(Integer(-2))},
        {"the map `a` to `1`", toBytes(Settings{{"a", "1"}})},
        {"the empty map", toBytes(Settings())},
        {"the file of the integer 7", file.bytes()},
        {"the record of the integer 7", toBytes(stream).substr(4)},
        {"the record of an end-of-file marker", toBytes(closed).substr(4)},
        {"the stream with that integer", toBytes(stream)},
        {"the list of `ab`", toBytes(Texts{"ab"})},
        {"the empty list", toBytes(Texts())}};
    // Each row "| the ... | 01 02 ... |" of the document is an example.
    std::ifstream document(FORMATS_DOCUMENT);
    for (std::string line; std::getline(document, line);) {
        const size_t bar = line.find(" | ");
        if (line.compare(0, 6, "| the ") != 0 ||
            line.find_first_not_of("0123456789ABCDEF |", bar) != line.npos)
            continue;
        const auto example = examples.extract(line.substr(2, bar - 2));
        ASSERT_FALSE(example.empty()) << line;
        EXPECT_EQ(unhex(line.substr(bar + 3)), example.mapped()) << line;
    }
    EXPECT_TRUE(examples.empty()) << examples.begin()->first;
}

#if SIZE_MAX > UINT32_MAX

// Serialization throws and writes nothing.
static void expectTooLong(const zusl::Serializable& object) {
    std::vector<unsigned char> untouched(64, 7);
    EXPECT_THROW(object.getBinLength(), std::bad_alloc);
    EXPECT_THROW(object.toBin(untouched.data()), std::bad_alloc);
    EXPECT_EQ(untouched, std::vector<unsigned char>(64, 7));
}

TEST(Length, OfATextEndsAt32Bits) {
    constexpr size_t longest = 0xFFFFFFFF - 5;
    String text, fitting;
    const SparseText fits(fitting, longest);
    EXPECT_EQ(fitting.getBinLength(), 0xFFFFFFFF);
    for (const size_t size : {longest + 1, size_t{1} << 32, (size_t{1} << 32) + 5}) {
        SCOPED_TRACE(size);
        const SparseText tooLong(text, size);
        expectTooLong(text);
        MemIOStream stream;
        EXPECT_THROW(stream.write(text), std::bad_alloc);
        EXPECT_TRUE(stream.isEmpty());
    }
    const SparseText tooLong(text, 0xFFFFFFFF); // one more with the zero byte
    EXPECT_THROW(static_cast<void>(zutl::SmartArray<char>{text}), std::bad_alloc);
}

TEST(Length, OfAMapEndsAt32Bits) {
    const TemporaryFile file("before");
    for (const size_t size : {size_t{1} << 32, size_t{3} << 30}) {
        SCOPED_TRACE(size);
        Settings map;
        const SparseText a(map["a"], size), b(map["b"], size);
        expectTooLong(map);
        EXPECT_THROW(map.toFile(file.path()), std::bad_alloc);
        EXPECT_EQ(file.bytes(), "before");
    }
}

TEST(Length, OfAListEndsAt32Bits) {
    Texts list(5);
    std::deque<SparseText> elements;
    for (std::string& text : list)
        elements.emplace_back(text, 900000000);
    std::vector<unsigned char> untouched(64, 7);
    EXPECT_EQ(list.getBinLength(), 0U);
    EXPECT_EQ(thrown([&] { list.toBin(untouched.data()); }), fromBinFailed);
    EXPECT_EQ(untouched, std::vector<unsigned char>(64, 7));
    MemIOStream stream;
    EXPECT_NE(thrown([&] { stream.write(list); }), "");
    EXPECT_TRUE(stream.isEmpty());
}

TEST(Length, OfAStreamEndsAt32Bits) {
    MemIOStream stream;
    unsigned char* data;
    stream.getWriteBuffer(data, 0xFFFFFFFD);
    expectTooLong(stream);
}

#endif

TEST(Argument, MayBePartOfTheObject) {
    const std::string listBytes = toBytes(Texts{"a", "b"}), mapBytes = toBytes(Settings{{"a", "1"}});
    Texts list{listBytes, "x"};
    EXPECT_EQ(list.fromBin(bytesOf(list.front()), static_cast<unsigned>(listBytes.size())), listBytes.size());
    EXPECT_EQ(list, (Texts{"a", "b"}));
    zusl::List<OtherText> others{listBytes};
    others.fromBin(bytesOf(others.front()), static_cast<unsigned>(listBytes.size()));
    EXPECT_EQ(others.size(), 2U);
    Settings map{{"x", mapBytes}};
    EXPECT_EQ(map.fromBin(bytesOf(map["x"]), static_cast<unsigned>(mapBytes.size())), mapBytes.size());
    EXPECT_EQ(map, (Settings{{"a", "1"}}));

    std::vector<String> tokens{"the first token of the text,the second one"};
    String::tokenize(tokens[0], ",", tokens, "");
    EXPECT_EQ(tokens.size(), 3U);
    EXPECT_EQ(tokens.back(), "the second one");
    const TemporaryFile file("content");
    String text(file.path());
    EXPECT_TRUE(text.fromFile(text.c_str()));
    EXPECT_EQ(text, "content");
}
