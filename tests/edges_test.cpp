// Lengths beyond 32 bits, and arguments that are part of the object.

#include "bytes.h"
#include "sparseText.h"
#include "temporaryFile.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <deque>
#include <gtest/gtest.h>

using zusl::MemIOStream;
using zutl::String;
using Settings = zusl::StringMap<String>;
using Texts = zusl::List<String>;

namespace {

struct OtherText : String { // a list of these is serialized through a stream
    using String::String;
};

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

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
    String text;
    {
        const SparseText fits(text, longest);
        EXPECT_EQ(text.getBinLength(), 0xFFFFFFFF);
    }
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
