#include "bytes.h"
#include "zusl_List.h"
#include "zutl_String.h"

#include <gtest/gtest.h>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;
using Texts = zusl::List<String>;

namespace {

// Elements that may fail, so the list must serialize them to find its length.
struct Fragile : Unreliable {
    explicit Fragile(Failure mode = none) { failure = mode; }
};

// Returns the bytes of a list that begins with these two numbers and has these elements.
std::string encoded(int type, int count, const std::vector<const char*>& elements) {
    MemIOStream stream;
    stream << Integer(type) << Integer(count);
    for (const char* const element : elements)
        stream << String(element);
    return toBytes(stream);
}

} // namespace

TEST(List, ChecksWhatItReads) {
    std::string badCount = encoded(501, 1, {"a"}), badElement = badCount;
    badCount[16] = '\xF5'; // the record's type
    badElement[28] = '\xF8';
    const std::tuple<std::string, unsigned, const char*, Texts> cases[] = {
        {encoded(501, 3, {"a", "b"}), 0, fromBinFailed, {"a", "b"}},
        {encoded(501, 1, {"a", "b"}), 56, "", {"a"}},
        {encoded(501, 2147483647, {"a"}), 0, fromBinFailed, {"a"}},
        {encoded(501, -1, {"a"}), 42, "", {}},
        {unhex("FF FF FF FF 01"), 0, fromBinFailed, {"before"}},
        {"", 0, fromBinFailed, {"before"}},
        {toBytes(MemIOStream()), 0, fromBinFailed, {}},
        {encoded(504, 1, {"a"}), 0, "", {}},
        {badCount, 0, fromBinFailed, {}},
        {badElement, 0, fromBinFailed, {}}};
    for (const auto& [bytes, taken, error, expected] : cases) {
        Texts list{"before"};
        unsigned int result = 0;
        EXPECT_EQ(thrown([&, &data = bytes] { result = fromBytes(list, data); }), error) << hex(bytes);
        EXPECT_EQ(result, taken) << hex(bytes);
        EXPECT_EQ(list, expected) << hex(bytes);
    }
    Texts list{"before"};
    const std::string notRecords = thrown([&] { fromBytes(list, unhex("03 00 00 00 01 02 03")); });
    EXPECT_NE(notRecords.find("zusl::MemIOStream::setBuffer() - resulting memory is not valid."),
              notRecords.npos);
    EXPECT_EQ(list, Texts{"before"});
    zusl::List<zusl::EndOfFile> markers(1); // which are never read
    EXPECT_EQ(thrown([&] { fromBytes(markers, toBytes(markers)); }), fromBinFailed);
}

TEST(List, SerializesToTheEndOfAStream) {
    zusl::List<Fragile> list;
    list.emplace_back();
    EXPECT_EQ(toBytes(list).size(), 28U + 12U);
    for (const auto mode : {Unreliable::none, Unreliable::exception, Unreliable::other}) {
        const bool fails = mode != Unreliable::none;
        list.emplace_back(mode);
        EXPECT_EQ(list.getBinLength(), fails ? 0U : 52U);
        EXPECT_EQ(thrown([&] { toBytes(list); }), fails ? fromBinFailed : "");
        MemIOStream stream;
        stream.write(Integer(9));
        EXPECT_EQ(list.serialize(stream), !fails);
        EXPECT_EQ(stream.count(), fails ? 4U : 5U); // the records before it stay
        list.pop_back();
    }
}

TEST(List, WritesXml) {
    EXPECT_EQ((Texts{"ab", ""}).toXML(),
              "<zutl_StringList><zutl_String>ab</zutl_String><zutl_String/></zutl_StringList>");
    EXPECT_EQ(Texts().toXML("L"), "<L></L>");
    EXPECT_EQ(Texts{"a<"}.toXML("L"), "<L><zutl_String>a&lt;</zutl_String></L>");
    EXPECT_EQ(Texts().toXML(nullptr), "");
}
