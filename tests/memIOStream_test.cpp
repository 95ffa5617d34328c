#include "bytes.h"
#include "temporaryFile.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <gtest/gtest.h>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;

namespace {

const std::string seven = unhex("F8 01 00 00 04 00 00 00 07 00 00 00"); // the record of an Integer 7
const std::string ending = unhex("01 00 00 00 00 00 00 00");

std::string content(const MemIOStream& stream) {
    const unsigned char* data;
    unsigned int length;
    stream.getBuffer(data, length);
    return {reinterpret_cast<const char*>(data), length};
}

unsigned char* writeBuffer(MemIOStream& stream, unsigned int length) {
    unsigned char* data;
    stream.getWriteBuffer(data, length);
    return data;
}

// A stream whose content is these bytes, whole records or not, in memory that ends with them.
MemIOStream rawStream(const std::string& bytes) {
    MemIOStream stream;
    std::copy(bytes.begin(), bytes.end(), writeBuffer(stream, static_cast<unsigned int>(bytes.size())));
    return stream;
}

// Returns the located error that the action throws, without the class; empty if it throws none.
template <typename Action>
std::string failure(Action action) {
    return thrownIn("libraries/src/streams/zusl_MemIOStream.cpp", action, "zusl::MemIOStream::");
}

const std::string notConverted = "couldn't convert object to binary data";

zusl::Serializable* const any = nullptr;

// Its length does not fit into the stream.
struct Enormous : Unreliable {
    unsigned int getBinLength() const override { return 0xFFFFFFFF; }
};

} // namespace

TEST(MemIOStream, GivesANullPointerIfItIsEmpty) {
    const unsigned char* data = bytesOf(seven);
    unsigned int length = 1;
    MemIOStream(16).getBuffer(data, length);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 0);
}

TEST(MemIOStream, GrowsByItsRule) {
    MemIOStream stream;
    const auto check = [&](unsigned int capacity) { EXPECT_EQ(stream.capacity(), capacity); };
    stream.write(Integer(1)), check(12);
    stream.write(Integer(2)), check(36);
    stream.write(Integer(3)), check(36);
    stream.skip();
    stream.write(Integer(4)), check(36); // fits once the content is moved to the beginning
    EXPECT_EQ(stream.count(), 3U);
    stream.clear();
    stream.checkBuff(36), check(36);
    stream.checkBuff(37), check(2 * 36 + 37);
    stream.reserve(100), check(109);
    stream.reserve(110), check(110);
    stream.clear(), check(110);
    stream.purge(), check(0);
    stream.write(Integer(7));
    EXPECT_THROW(stream.write(Enormous()), std::bad_alloc);
    EXPECT_THROW(stream.checkBuff(0xFFFFFFFF), std::bad_alloc);
    EXPECT_EQ(content(stream), seven), check(12);
    stream.flush();
    EXPECT_EQ(stream.close(), 8U);
}

TEST(MemIOStream, CopiesItsCapacity) {
    const MemIOStream stream(100);
    MemIOStream assigned(5);
    assigned = stream;
    EXPECT_EQ(MemIOStream(stream).capacity(), 100U);
    const MemIOStream& same = assigned;
    assigned = same;
    EXPECT_EQ(assigned.capacity(), 100U);
    assigned.defrag();
    EXPECT_FALSE(assigned.isEOF());
    assigned = MemIOStream();
    EXPECT_EQ(assigned.capacity(), 0U);
}

TEST(MemIOStream, WritesRawBytesInPlace) {
    static unsigned char below; // below the heap, where the stream has its bytes
    unsigned char above;
    MemIOStream stream;
    unsigned char* const data = writeBuffer(stream, 48);
    (seven + seven).copy(reinterpret_cast<char*>(data), 24);
    stream.skip();
    const std::tuple<unsigned char*, unsigned int, unsigned int> cases[] = {
        {data, 200, 36}, {data, 48, 36},  {data + 48, 0, 36}, {nullptr, 0, 36},
        {&below, 0, 36}, {&above, 0, 36}, {data, 24, 12}};
    for (auto [position, length, size] : cases) {
        stream.finalizeBuffer(position, length);
        EXPECT_EQ(stream.size(), size) << length;
    }
    EXPECT_EQ(content(stream), seven);
    unsigned char* position = data; // before the read position, beyond which the end stays
    stream.finalizeBuffer(position, 0);
    EXPECT_EQ(stream.size(), 0U);
}

TEST(MemIOStream, AcceptsBytesThatAreWholeRecords) {
    const std::string two = seven + ending;
    MemIOStream stream(bytesOf(two), 20);
    EXPECT_EQ(content(stream), two);
    stream.setBuffer(nullptr, 5);
    EXPECT_TRUE(stream.isEmpty());
    EXPECT_EQ(stream.capacity(), 20U);
    for (const unsigned int length : {1U, 8U, 19U}) {
        EXPECT_EQ(failure([&] { stream.setBuffer(bytesOf(two), length); }),
                  "setBuffer() - resulting memory is not valid.");
        EXPECT_EQ(stream.size(), length);
        EXPECT_NE(thrown([&] { MemIOStream(bytesOf(two), length); }), "");
    }
}

TEST(MemIOStream, AcceptsItsOwnContent) {
    MemIOStream stream;
    stream << Integer(1) << Integer(7) << Integer(2);
    const unsigned char* data;
    unsigned int length;
    stream.getBuffer(data, length);
    stream.setBuffer(data + 12, 12);
    EXPECT_EQ(content(stream), seven);
    stream.write(stream);
    stream.skip();
    stream.read(stream);
    EXPECT_EQ(content(stream), seven);
}

TEST(MemIOStream, IsUnchangedByCutBytes) {
    MemIOStream stream = rawStream(seven);
    const std::string bytes = toBytes(stream);
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        EXPECT_EQ(thrown([&] { fromBytes(stream, bytes.substr(0, cut)); }), fromBinFailed) << cut;
        EXPECT_EQ(content(stream), seven);
    }
}

TEST(MemIOStream, HasNoXml) {
    MemIOStream stream;
    EXPECT_EQ(stream.getTypeName(), "zusl_MemIOStream");
    EXPECT_EQ(failure([&] { stream.toXML(); }), "toXML() - not implemented");
    EXPECT_EQ(failure([&] { stream.fromXML(""); }), "fromXML() - not implemented");
}

namespace {

// Calls an operation of the stream that it is being written to.
struct Meddler : Unreliable {
    Meddler(MemIOStream& out, void (*action)(MemIOStream&)) : stream(out), act(action) {}
    MemIOStream& stream;
    void (*act)(MemIOStream&);
    unsigned int toBin(unsigned char* buffer) const override {
        act(stream);
        return Unreliable::toBin(buffer);
    }
};

// Gives one raw object and then an empty one. Afterwards it keeps its block and returns false.
struct RawSource : MemIOStream {
    unsigned int left = 2;
    unsigned char own[8] = {1};
    bool readNextObject(unsigned char*& data, unsigned int& length) override {
        data = own;
        length = sizeof own;
        if (left-- == 0)
            return false;
        data = new unsigned char[length = 12 * left];
        seven.copy(reinterpret_cast<char*>(data), length);
        return true;
    }
};

const std::string meddlers = unhex("63 00 00 00 04 00 00 00 75 75 75 75");

} // namespace

TEST(MemIOStream, AnObjectMayUseTheStreamItIsWrittenTo) {
    using Act = void (*)(MemIOStream&);
    const std::string own = seven + unhex("06 00 00 00 10 00 00 00 0C 00 00 00") + seven;
    const std::pair<Act, std::string> cases[] = {
        {[](MemIOStream& s) { EXPECT_EQ(s.size(), 20U); }, ""},
        {[](MemIOStream& s) { EXPECT_EQ(s.getNextType(), 504U); }, ""},
        {[](MemIOStream& s) { EXPECT_EQ(toBytes(s), unhex("0C 00 00 00") + seven); }, ""},
        {[](MemIOStream& s) { s.write(Integer(7)), s.write(s); }, own}};
    for (const auto& [act, more] : cases) {
        for (const auto mode : {Unreliable::none, Unreliable::exception, Unreliable::other}) {
            const bool fails = mode != Unreliable::none;
            MemIOStream stream = rawStream(seven);
            Meddler object(stream, act);
            object.failure = mode;
            EXPECT_EQ(failure([&] { stream.write(object); }), fails ? notConverted : "");
            EXPECT_EQ(content(stream), seven + (fails ? "" : meddlers) + more); // its own writes stay
        }
    }
    const Act refused[] = {[](MemIOStream& s) { s.purge(); },
                           [](MemIOStream& s) { s.clear(); },
                           [](MemIOStream& s) { s.reserve(1000); },
                           [](MemIOStream& s) { s.checkBuff(1000); },
                           [](MemIOStream& s) { s.setBuffer(nullptr, 0); },
                           [](MemIOStream& s) { s = MemIOStream(s); },
                           [](MemIOStream& s) { s = MemIOStream(); },
                           [](MemIOStream& s) { s.skip(), s.defrag(); },
                           [](MemIOStream& s) {
                               RawSource raw;
                               s << static_cast<zusl::IStream&>(raw);
                           },
                           [](MemIOStream& s) { writeBuffer(s, 0); }};
    for (const Act act : refused) {
        MemIOStream stream(100); // has room
        stream << Integer(1) << Integer(7);
        EXPECT_EQ(failure([&] { stream.write(Meddler(stream, act)); }), notConverted);
        EXPECT_TRUE(stream.validate());
    }
}

TEST(MemIOStream, TransfersRawObjects) {
    RawSource source;
    MemIOStream stream = rawStream(ending);
    zusl::IStream& input = source;
    stream << input << input << input; // the third block is not the stream's to release
    EXPECT_EQ(content(stream), ending + seven);
    unsigned char* data = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(failure([&] { MemIOStream().getNextObject(stream, data, length); }),
              "readNextObject() - not implemented");
}

TEST(MemIOStream, RefusesToReadMissingOrOtherRecords) {
    MemIOStream empty, numbers = rawStream(seven), closed = rawStream(ending), five = rawStream("12345"),
                       cut = rawStream(seven.substr(0, 11));
    zusl::EndOfFile marker;
    Integer number(42);
    String text("before");
    const std::string type = "type mismatch", eof = "trying to read EOF", none = "no data";
    const std::tuple<MemIOStream*, zusl::Serializable*, std::string, std::string> cases[] = {
        {&empty, &number, "read() - " + type, "peek() - " + type + " 1 != 504"},
        {&numbers, &text, "read() - " + type, "peek() - " + type + " 504 != 501"},
        {&closed, &marker, "read() - " + eof, "peek() - " + eof},
        {&five, &number, "getNextType() - " + none, "getNextType() - " + none},
        {&five, &marker, "read() - " + eof, "peek() - " + eof},
        {&cut, &number, "read() - " + none, "peek() - " + none}};
    for (const auto& [stream, object, read, peek] : cases) {
        const std::string before = content(*stream);
        EXPECT_EQ(failure([&, s = stream, o = object] { s->read(*o); }), read);
        EXPECT_EQ(failure([&, s = stream, o = object] { s->peek(*o); }), peek);
        EXPECT_EQ(content(*stream), before);
    }
    EXPECT_EQ(number, 42);
    for (MemIOStream* const stream : {&empty, &five, &cut})
        EXPECT_EQ(failure([&] { stream->skip(); }), "skip() - no data");
    for (const auto& [length, count] : {std::pair(7U, 0U), {8U, 1U}, {12U, 1U}, {13U, 2U}, {20U, 2U}})
        EXPECT_EQ(rawStream((seven + ending).substr(0, length)).count(), count) << length;
    EXPECT_EQ(rawStream(unhex("F8 01 00 00 FF FF FF FF 07")).count(), 1U);
    EXPECT_EQ(failure([&] { five.isEOF(); }), "getNextType() - no data");
}

TEST(MemIOStream, PassesOnTheObjectsError) {
    MemIOStream stream;
    Unreliable object;
    stream << object << object;
    for (const bool known : {true, false}) {
        object.failure = known ? Unreliable::exception : Unreliable::other;
        const std::string text = known ? "() - it failed" : "() - could not read object";
        EXPECT_EQ(failure([&] { stream.read(object); }), "read" + text);
        EXPECT_EQ(failure([&] { stream.peek(object); }), "peek" + text);
        EXPECT_EQ(failure([&] { stream.peek(2, nullptr, static_cast<zusl::Serializable*>(&object)); }),
                  "peek" + text);
        EXPECT_EQ(stream.count(), 2U);
    }
    object.failure = Unreliable::none;
    object.reported = 0; // fromBin's result is not used
    EXPECT_EQ(stream.read(object), 12U);
}

TEST(MemIOStream, PeeksAtSeveralRecords) {
    MemIOStream stream;
    stream << Integer(1) << String("two") << Integer(3);
    Integer a, b;
    String text;
    zusl::EndOfFile marker;
    zusl::Serializable *const toText = &text, *const toB = &b, *const toMarker = &marker;
    EXPECT_EQ(stream.peek(2, &a, toText), 12U + 16U);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(text, "two");
    EXPECT_EQ(stream.peek(3, any, any, toB) + stream.peek(0, &text), 40U);
    EXPECT_EQ(b, 3);
    b = 0;
    EXPECT_EQ(stream.peek(4, &a, toText, toB, any), 0U); // one too few, the first three are filled
    EXPECT_EQ(b, 3);
    EXPECT_EQ(failure([&] { stream.peek(1, &text); }), "peek() - type mismatch");
    EXPECT_EQ(failure([&] { stream.peek(2, &a, toMarker); }), "peek() - trying to read EOF");
    EXPECT_EQ(stream.count(), 3U);
    EXPECT_EQ(rawStream(seven.substr(0, 11)).peek(1, any), 0U);
}

TEST(MemIOStream, ChecksTheTypesOfRecords) {
    const MemIOStream closed = rawStream(seven + ending);
    Integer number;
    String text;
    zusl::EndOfFile marker;
    zusl::Serializable *const toNumber = &number, *const toMarker = &marker;
    EXPECT_TRUE(closed.checkTypes(2, &number, any));
    EXPECT_TRUE(closed.checkTypes(2, any, toMarker));
    EXPECT_TRUE(closed.checkTypes(0, &text));
    EXPECT_FALSE(closed.checkTypes(1, &text));
    EXPECT_FALSE(closed.checkTypes(2, &number, toNumber));
    EXPECT_FALSE(closed.checkTypes(3, &number, any, any));
    EXPECT_EQ(failure([&] { MemIOStream().checkTypes(0, any); }), "checkTypes() - no data");
    EXPECT_EQ(failure([&] { rawStream("1234567").checkTypes(1, any); }), "checkTypes() - no data");
}

TEST(MemIOStream, GoesToAFileAndBack) {
    const TemporaryFile file("before");
    MemIOStream stream, other = rawStream(ending);
    stream << Integer(1) << Integer(7);
    stream.skip();
    EXPECT_TRUE(stream.save(file.path()));
    EXPECT_EQ(file.bytes(), seven);
    EXPECT_TRUE(other.load(file.path()));
    for (const char* const path : {"/nonexistent/file", "/tmp", "/dev/null"}) {
        EXPECT_FALSE(other.load(path)) << path;
        EXPECT_EQ(content(other), seven);
    }
    EXPECT_FALSE(other.save("/nonexistent/file"));
    EXPECT_FALSE(other.save("/dev/full"));
    ASSERT_EQ(truncate(file.path(), off_t{1} << 32), 0); // one byte too many
    EXPECT_FALSE(other.load(file.path()));
    EXPECT_EQ(content(other), seven);
    const char* const shorter = "/sys/devices/system/cpu/online"; // than its size says
    EXPECT_FALSE(other.load(shorter));
    EXPECT_EQ(other.isEmpty(), access(shorter, R_OK) == 0);
    EXPECT_FALSE(other.load(TemporaryFile(seven + "part").path()));
    EXPECT_EQ(content(other), seven + "part");
    EXPECT_TRUE(other.load(TemporaryFile().path()));
    EXPECT_TRUE(other.isEmpty());
}

TEST(MemIOStream, WaitsForContent) {
    struct Later : MemIOStream { // not empty from the fourth look on
        mutable int looks = 0;
        bool isEmpty() const override { return ++looks < 4; }
    } later;
    EXPECT_TRUE(later.wait(0xFFFFFFFF));
    EXPECT_EQ(later.looks, 4);
    EXPECT_FALSE(MemIOStream().wait(20));
    EXPECT_FALSE(rawStream(seven).wait(0)); // the timeout is checked first
    EXPECT_TRUE(rawStream(seven).wait(10000));
}
