#include "bytes.h"
#include "temporaryFile.h"
#include "zusl_List.h"
#include "zutl_String.h"

#include <gtest/gtest.h>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;
using Texts = zusl::List<String>;

namespace {

// Elements that may fail, so that the list cannot tell its length without writing them.
struct Fragile : Unreliable {
    explicit Fragile(Failure mode = none) { failure = mode; }
};

// The binary form of a list with these two numbers in front and these elements.
std::string form(int type, int count, const std::vector<const char*>& elements) {
    MemIOStream stream;
    stream << Integer(type) << Integer(count);
    for (const char* const element : elements)
        stream << String(element);
    return binaryForm(stream);
}

} // namespace

TEST(List, ReadsBackWhatItWrote) {
    for (const Texts& list : {Texts{}, Texts{"ab"}, Texts{"ab", "", "ab", std::string(5000, 'x')}}) {
        const std::string bytes = binaryForm(list);
        size_t expected = 28;
        for (const String& element : list)
            expected += element.size() + 13;
        EXPECT_EQ(bytes.size(), expected);
        Texts read{"before"};
        EXPECT_EQ(readForm(read, bytes + "behind"), bytes.size());
        EXPECT_EQ(read, list);
        const TemporaryFile file;
        EXPECT_TRUE(list.toFile(file.path()));
        EXPECT_TRUE(read.fromFile(file.path()));
        EXPECT_EQ(read, list);
        EXPECT_FALSE(Integer().fromFile(file.path()));
    }
}

TEST(List, ChecksWhatItReads) {
    const std::tuple<std::string, unsigned, const char*, Texts> cases[] = {
        {form(504, 1, {"a"}), 0, "", {}},
        {form(501, 3, {"a", "b"}), 0, fromBinFailed, {"a", "b"}},
        {form(501, 1, {"a", "b"}), 56, "", {"a"}},
        {form(501, -1, {"a"}), 42, "", {}},
        {form(501, 2147483647, {"a"}), 0, fromBinFailed, {"a"}},
        {binaryForm(MemIOStream()), 0, fromBinFailed, {}},
        {"", 0, fromBinFailed, {"before"}},
        {unhex("FF FF FF FF 01"), 0, fromBinFailed, {"before"}},
    };
    for (const auto& [bytes, taken, error, expected] : cases) {
        Texts list{"before"};
        unsigned int result = 0;
        EXPECT_EQ(thrown([&, &form = bytes] { result = readForm(list, form); }), error) << hex(bytes);
        EXPECT_EQ(result, taken) << hex(bytes);
        EXPECT_EQ(list, expected) << hex(bytes);
    }
    Texts list{"before"};
    const std::string notRecords = thrown([&] { readForm(list, unhex("03 00 00 00 01 02 03")); });
    EXPECT_NE(notRecords.find("zusl::MemIOStream::setBuffer() - resulting memory is not valid."),
              notRecords.npos);
    EXPECT_EQ(list, Texts{"before"});
}

TEST(List, SerializesBehindWhatAStreamHolds) {
    MemIOStream stream;
    stream.write(Integer(9));
    EXPECT_TRUE((Texts{"a", "b"}).serialize(stream));
    EXPECT_EQ(stream.count(), 5U);
}

TEST(List, ReportsAnElementThatCannotBeWritten) {
    zusl::List<Fragile> list;
    list.emplace_back();
    EXPECT_EQ(binaryForm(list).size(), 28U + 12U);
    for (const Unreliable::Failure mode : {Unreliable::exception, Unreliable::other}) {
        list.emplace_back(mode);
        EXPECT_EQ(list.getBinLength(), 0U);
        EXPECT_EQ(thrown([&] { list.toBin(nullptr); }), fromBinFailed);
        MemIOStream stream;
        EXPECT_FALSE(list.serialize(stream));
        EXPECT_EQ(stream.count(), 3U); // the records until then stay
        list.pop_back();
    }
}

TEST(List, AsXml) {
    EXPECT_EQ((Texts{"ab", ""}).toXML(),
              "<zutl_StringList><zutl_String>ab</zutl_String><zutl_String/></zutl_StringList>");
    EXPECT_EQ(Texts().toXML("L"), "<L></L>");
    EXPECT_EQ(Texts{"a<"}.toXML("L"), "<L><zutl_String>a&lt;</zutl_String></L>");
    EXPECT_EQ(Texts().toXML(nullptr), "");
    for (const char* const xml : {"<L></L>", "<L><a>1</a></L>", "", static_cast<const char*>(nullptr)}) {
        Texts list{"before"};
        EXPECT_TRUE(list.fromXML(xml)); // the null backend finds a document without children
        EXPECT_TRUE(list.empty());
    }
    EXPECT_EQ(String::join(Texts{"a", "b"}, "+"), "a+b");
}
