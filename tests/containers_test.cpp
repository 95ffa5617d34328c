#include "bytes.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <gtest/gtest.h>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;
using Texts = zusl::List<String>;
using Settings = zusl::StringMap<String>;

namespace {

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
        EXPECT_EQ(thrown([&, &data = bytes] { result = fromBytes(list, data); }), error)
            << testing::PrintToString(bytes);
        EXPECT_EQ(result, taken) << testing::PrintToString(bytes);
        EXPECT_EQ(list, expected) << testing::PrintToString(bytes);
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
    zusl::List<Unreliable> list(2); // the list must serialize them to find its length
    for (const auto mode : {Unreliable::none, Unreliable::exception, Unreliable::other}) {
        const bool fails = mode != Unreliable::none;
        list.back().failure = mode;
        EXPECT_EQ(list.getBinLength(), fails ? 0U : 52U);
        EXPECT_EQ(thrown([&] { toBytes(list); }), fails ? fromBinFailed : "");
        MemIOStream stream;
        stream.write(Integer(9));
        EXPECT_EQ(list.serialize(stream), !fails);
        EXPECT_EQ(stream.count(), fails ? 4U : 5U); // the records before it stay
    }
}

TEST(Map, InsertAcceptsAnyTextAndKeepsTheFirstValueOfAKey) {
    Settings map;
    const std::string standard = "a";
    const String own = "b";
    const auto [entry, added] = map.insert(standard, standard);
    EXPECT_TRUE(added);
    EXPECT_EQ(entry->second, "a");
    EXPECT_EQ(map.insert("a", "2").first->second, "a");
    EXPECT_FALSE(map.insert("a", own).second);
    map.insert(own, own);
    map.insert(own + "d", "literal");
    map["a"] = "5";
    EXPECT_EQ(map, (Settings{{"a", "5"}, {"b", "b"}, {"bd", "literal"}}));
}

TEST(Map, HasTheStandardOverloadsOfInsert) {
    Settings map{{"z", "26"}};
    map.insert({{"b", "2"}, {"a", "1"}});
    map.insert({"c", "3"});
    map.insert(std::make_pair("d", "4"));
    map.insert(map.end(), {"e", "5"});
    const std::vector<std::pair<const char*, const char*>> more = {{"f", "6"}, {"a", "other"}};
    map.insert(more.begin(), more.end());
    map.insert(Settings{{"g", "7"}}.extract("g"));
    for (const char* const key : {"\xC3\xA4", "B", "", "ab"})
        map.insert(key, "");
    std::string order;
    for (const auto& [key, value] : map)
        order += "<" + key + value + ">";
    EXPECT_EQ(order, "<><B><a1><ab><b2><c3><d4><e5><f6><g7><z26><\xC3\xA4>");
}
