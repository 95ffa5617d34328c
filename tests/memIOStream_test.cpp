#include "bytes.h"
#include "temporaryFile.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <gtest/gtest.h>
#include <new>

using zusl::MemIOStream;
using zutl::Integer;
using zutl::String;

namespace {

const std::string seven = "F8 01 00 00 04 00 00 00 07 00 00 00"; // the record of an Integer 7
const std::string ending = "01 00 00 00 00 00 00 00";

std::string content(const MemIOStream& stream) {
    const unsigned char* data;
    unsigned int length;
    stream.getBuffer(data, length);
    return hex(std::string(reinterpret_cast<const char*>(data), length));
}

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// A stream whose content is these bytes, whole records or not, in memory that ends with them.
MemIOStream rawStream(const std::string& bytes) {
    MemIOStream stream;
    unsigned char* data;
    stream.getWriteBuffer(data, static_cast<unsigned int>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), data);
    return stream;
}

template <typename Action>
std::string failure(Action action) {
    const std::string text = thrownIn("libraries/src/streams/zusl_MemIOStream.cpp", action),
                      name = "zusl::MemIOStream::";
    return text.compare(0, name.size(), name) == 0 ? text.substr(name.size()) : "not located: " + text;
}

// What the operations with a list of objects take behind the first.
zusl::Serializable* pointer(zusl::Serializable& object) {
    return &object;
}

// An input stream that hands out these bytes as one raw object.
struct RawSource : MemIOStream {
    std::string bytes;
    bool readNextObject(unsigned char*& data, unsigned int& length) override {
        if (bytes.empty())
            return false;
        data = new unsigned char[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), data);
        length = static_cast<unsigned int>(bytes.size());
        bytes.clear();
        return true;
    }
};

// Claims more than 32 bits can hold.
struct Enormous : Unreliable {
    unsigned int getBinLength() const override { return 0xFFFFFFFF; }
};

} // namespace

TEST(MemIOStream, BeginsEmpty) {
    const MemIOStream none(0), some(16);
    for (const MemIOStream* const stream : {&none, &some}) {
        EXPECT_TRUE(stream->isEmpty());
        EXPECT_TRUE(stream->validate());
        EXPECT_FALSE(stream->isEOF());
        EXPECT_EQ(stream->count(), 0U);
        EXPECT_EQ(stream->getNextType(), 1U);
        const unsigned char* data = bytesOf(seven);
        unsigned int length = 1;
        stream->getBuffer(data, length);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(length, 0U);
        EXPECT_EQ(hex(binaryForm(*stream)), "00 00 00 00");
    }
    EXPECT_EQ(none.capacity(), 0U);
    EXPECT_EQ(some.capacity(), 16U);
}

TEST(MemIOStream, LaysDownRecords) {
    MemIOStream stream;
    EXPECT_EQ(stream.write(Integer(7)), 12U);
    EXPECT_EQ(content(stream), seven);
    EXPECT_EQ(hex(binaryForm(stream)), "0C 00 00 00 " + seven);
    EXPECT_EQ(stream.close(), 8U);
    EXPECT_EQ(content(stream), seven + " " + ending);
    stream << String("ab") << Integer(1);
    stream.flush();
    EXPECT_EQ(stream.count(), 4U);
    EXPECT_TRUE(stream.validate());
}

TEST(MemIOStream, GrowsByItsRule) {
    MemIOStream stream;
    stream.write(Integer(1));
    EXPECT_EQ(stream.capacity(), 12U);
    stream.write(Integer(2));
    EXPECT_EQ(stream.capacity(), 36U);
    stream.write(Integer(3));
    EXPECT_EQ(stream.capacity(), 36U);
    stream.skip();
    stream.write(Integer(4)); // fits once the content is moved to the beginning
    EXPECT_EQ(stream.capacity(), 36U);
    Integer number;
    for (const int expected : {2, 3, 4}) {
        stream >> number;
        EXPECT_EQ(number, expected);
    }
    stream.checkBuff(36);
    EXPECT_EQ(stream.capacity(), 36U);
    stream.checkBuff(37);
    EXPECT_EQ(stream.capacity(), 2 * 36U + 37U);
    stream.reserve(100);
    EXPECT_EQ(stream.capacity(), 109U);
    stream.reserve(110);
    EXPECT_EQ(stream.capacity(), 110U);
    stream.write(Integer(5));
    stream.clear();
    EXPECT_TRUE(stream.isEmpty());
    EXPECT_EQ(stream.capacity(), 110U);
    stream.purge();
    EXPECT_EQ(stream.capacity(), 0U);
    stream.clear();
    stream.defrag();
    EXPECT_EQ(stream.size(), 0U);
}

TEST(MemIOStream, RefusesToGrowBeyond32Bits) {
    MemIOStream stream;
    stream.write(Integer(7));
    EXPECT_THROW(stream.write(Enormous()), std::bad_alloc);
    EXPECT_THROW(stream.checkBuff(0xFFFFFFFF), std::bad_alloc);
    EXPECT_EQ(content(stream), seven);
    EXPECT_EQ(stream.capacity(), 12U);
}

TEST(MemIOStream, CopiesOnlyWhatWasNotRead) {
    MemIOStream stream(100);
    stream << Integer(1) << Integer(7);
    stream.skip();
    MemIOStream assigned(5), same(100);
    assigned = stream;
    same.write(String("before"));
    same = stream;
    stream = *&stream;
    for (const MemIOStream& copy : {MemIOStream(stream), assigned, same, stream}) {
        EXPECT_EQ(content(copy), seven);
        EXPECT_EQ(copy.capacity(), 100U);
    }
    stream = MemIOStream();
    EXPECT_EQ(stream.capacity(), 0U);
    EXPECT_EQ(MemIOStream(stream).capacity(), 0U);
    stream.defrag();
}

TEST(MemIOStream, WritesRawBytesInPlace) {
    MemIOStream stream;
    unsigned char* data;
    stream.getWriteBuffer(data, 100);
    std::copy_n(unhex(seven).begin(), 12, data);
    stream.finalizeBuffer(data, 200);
    stream.finalizeBuffer(data, 100);
    EXPECT_EQ(stream.size(), 100U);
    stream.finalizeBuffer(data, 12);
    EXPECT_EQ(content(stream), seven);
    unsigned char* const end = data + 12;
    unsigned char* position = end;
    stream.finalizeBuffer(position, 0);
    EXPECT_EQ(stream.size(), 12U);
}

TEST(MemIOStream, TakesBytesThatAreWholeRecords) {
    const std::string two = unhex(seven + " " + ending);
    MemIOStream stream(bytesOf(two), 20);
    EXPECT_EQ(stream.count(), 2U);
    EXPECT_EQ(stream.capacity(), 20U);
    stream.setBuffer(bytesOf(two), 12);
    EXPECT_EQ(content(stream), seven);
    EXPECT_EQ(stream.capacity(), 20U);
    stream.setBuffer(nullptr, 5);
    EXPECT_TRUE(stream.isEmpty());
    EXPECT_EQ(stream.capacity(), 20U);
    for (const unsigned int length : {1U, 7U, 8U, 11U, 13U, 19U}) {
        EXPECT_EQ(failure([&] { stream.setBuffer(bytesOf(two), length); }),
                  "setBuffer() - resulting memory is not valid.");
        EXPECT_EQ(stream.size(), length);
        EXPECT_FALSE(stream.validate());
        EXPECT_NE(thrown([&] { MemIOStream(bytesOf(two), length); }), "");
    }
}

TEST(MemIOStream, TakesItsOwnContent) {
    MemIOStream stream;
    stream << Integer(1) << Integer(7) << Integer(2);
    const unsigned char* data;
    unsigned int length;
    stream.getBuffer(data, length);
    stream.setBuffer(data + 12, 12);
    EXPECT_EQ(content(stream), seven);
    for (const unsigned int extra : {0U, 100U}) { // growing, and in place
        MemIOStream own;
        own.write(Integer(7));
        own.reserve(12 + extra);
        EXPECT_EQ(own.write(own), 24U);
        EXPECT_EQ(content(own), seven + " 06 00 00 00 10 00 00 00 0C 00 00 00 " + seven);
    }
}

TEST(MemIOStream, IsReadIntoItself) {
    MemIOStream inner, stream;
    inner.write(Integer(7));
    stream.write(inner);
    stream.write(Integer(1));
    stream.read(stream);
    EXPECT_EQ(content(stream), seven);
}

TEST(MemIOStream, BinaryFormGoesToAnotherStream) {
    MemIOStream stream, other;
    stream << Integer(1) << Integer(7) << String("x");
    stream.skip();
    const std::string form = binaryForm(stream);
    EXPECT_EQ(readForm(other, form + "behind"), form.size());
    EXPECT_EQ(content(other), content(stream));
    for (size_t cut = 0; cut < form.size(); ++cut) {
        EXPECT_EQ(thrown([&] { readForm(other, form.substr(0, cut)); }), fromBinFailed) << cut;
        EXPECT_EQ(content(other), content(stream));
    }
    EXPECT_EQ(failure([&] { readForm(other, unhex("03 00 00 00 01 02 03")); }),
              "setBuffer() - resulting memory is not valid.");
    EXPECT_EQ(readForm(other, unhex("00 00 00 00")), 4U);
    EXPECT_TRUE(other.isEmpty());
    EXPECT_EQ(other.getTypeId(), 6U);
    EXPECT_EQ(other.getTypeName(), "zusl_MemIOStream");
    EXPECT_EQ(failure([&] { other.toXML(); }), "toXML() - not implemented");
    EXPECT_EQ(failure([&] { other.toXML(nullptr); }), "toXML() - not implemented");
    EXPECT_EQ(failure([&] { other.fromXML(""); }), "fromXML() - not implemented");
}

TEST(MemIOStream, FailedWriteLeavesNothingBehind) {
    MemIOStream stream;
    stream.write(Integer(7));
    Unreliable object;
    for (const Unreliable::Failure mode : {Unreliable::exception, Unreliable::other}) {
        object.failure = mode;
        EXPECT_EQ(failure([&] { stream.write(object); }), "couldn't convert object to binary data");
        EXPECT_EQ(failure([&] { stream << object; }), "couldn't convert object to binary data");
        EXPECT_EQ(content(stream), seven);
    }
    object.failure = Unreliable::none;
    object.reported = 1; // what toBin says does not count
    EXPECT_EQ(stream.write(object), 12U);
    EXPECT_EQ(content(stream), seven + " 63 00 00 00 04 00 00 00 75 75 75 75");
}

TEST(MemIOStream, TransfersRawObjects) {
    MemIOStream stream;
    stream.write(Integer(1));
    RawSource source;
    source.bytes = unhex(seven + " " + ending);
    zusl::IStream& input = source;
    stream << input;
    stream << input; // there is no other
    stream.skip();
    EXPECT_EQ(content(stream), seven + " " + ending);
    MemIOStream memory;
    EXPECT_EQ(failure([&] { stream << static_cast<zusl::IStream&>(memory); }),
              "readNextObject() - not implemented");
    unsigned char* data = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(failure([&] { stream.getNextObject(memory, data, length); }),
              "readNextObject() - not implemented");
}

TEST(MemIOStream, ReadsInTheOrderOfWriting) {
    MemIOStream stream;
    stream << Integer(7) << String("text");
    stream.close();
    Integer number;
    String text;
    EXPECT_EQ(stream.getNextType(), 504U);
    EXPECT_EQ(stream.peek(number), 12U);
    EXPECT_EQ(stream.read(number), 12U);
    EXPECT_EQ(number, 7);
    stream >> text;
    EXPECT_EQ(text, "text");
    EXPECT_TRUE(stream.isEOF());
    EXPECT_EQ(stream.skip(), 8U);
    EXPECT_FALSE(stream.isEOF());
    EXPECT_TRUE(stream.isEmpty());
    EXPECT_EQ(stream.getNextType(), 1U);
}

TEST(MemIOStream, RefusesToReadWhatIsNotThere) {
    MemIOStream empty, numbers, closed, five = rawStream("12345");
    numbers.write(Integer(7));
    closed.close();
    MemIOStream cut = rawStream(unhex(seven).substr(0, 11));
    zusl::EndOfFile marker;
    Integer number(42);
    String text("before");
    const std::tuple<MemIOStream*, zusl::Serializable*, const char*, const char*> cases[] = {
        {&empty, &number, "read() - type mismatch", "peek() - type mismatch 1 != 504"},
        {&numbers, &text, "read() - type mismatch", "peek() - type mismatch 504 != 501"},
        {&empty, &marker, "read() - trying to read EOF", "peek() - trying to read EOF"},
        {&closed, &marker, "read() - trying to read EOF", "peek() - trying to read EOF"},
        {&closed, &number, "read() - type mismatch", "peek() - type mismatch 1 != 504"},
        {&five, &number, "getNextType() - no data", "getNextType() - no data"},
        {&five, &marker, "read() - trying to read EOF", "peek() - trying to read EOF"},
        {&cut, &number, "read() - no data", "peek() - no data"},
    };
    for (const auto& [stream, object, read, peek] : cases) {
        const std::string before = content(*stream);
        EXPECT_EQ(failure([&, s = stream, o = object] { s->read(*o); }), read);
        EXPECT_EQ(failure([&, s = stream, o = object] { *s >> *o; }), read);
        EXPECT_EQ(failure([&, s = stream, o = object] { s->peek(*o); }), peek);
        EXPECT_EQ(content(*stream), before);
    }
    EXPECT_EQ(number, 42);
    for (MemIOStream* const stream : {&empty, &five, &cut})
        EXPECT_EQ(failure([&] { stream->skip(); }), "skip() - no data");
    EXPECT_EQ(failure([&] { five.isEOF(); }), "getNextType() - no data");
    EXPECT_EQ(numbers.skip(), 12U);
}

TEST(MemIOStream, PassesOnWhatTheObjectSaid) {
    MemIOStream stream;
    Unreliable object;
    stream << object << object;
    const std::tuple<Unreliable::Failure, const char*> cases[] = {
        {Unreliable::exception, "() - it failed"}, {Unreliable::other, "() - could not read object"}};
    for (const auto& [mode, text] : cases) {
        object.failure = mode;
        EXPECT_EQ(failure([&] { stream.read(object); }), std::string("read") + text);
        EXPECT_EQ(failure([&] { stream.peek(object); }), std::string("peek") + text);
        EXPECT_EQ(failure([&] { stream.peek(2, nullptr, pointer(object)); }), std::string("peek") + text);
        EXPECT_EQ(stream.count(), 2U);
    }
    object.failure = Unreliable::none;
    object.reported = 0; // what fromBin says does not count
    EXPECT_EQ(stream.read(object), 12U);
    const MemIOStream badText = rawStream(unhex("F5 01 00 00 01 00 00 00 00"));
    String text;
    EXPECT_EQ(failure([&] { badText.peek(text); }), std::string("peek() - ") + fromBinFailed);
}

TEST(MemIOStream, PeeksAtSeveralRecords) {
    MemIOStream stream;
    stream << Integer(1) << String("two") << Integer(3);
    Integer a, b;
    String text;
    zusl::Serializable* const any = nullptr;
    EXPECT_EQ(stream.peek(2, &a, pointer(text)), 12U + 16U);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(text, "two");
    EXPECT_EQ(stream.peek(3, any, any, pointer(b)), 40U);
    EXPECT_EQ(b, 3);
    EXPECT_EQ(stream.peek(0, &text), 0U);
    a = b = 0;
    EXPECT_EQ(stream.peek(4, &a, pointer(text), pointer(b), pointer(a)),
              0U); // one too few, the first three are filled
    EXPECT_EQ(b, 3);
    zusl::EndOfFile marker;
    EXPECT_EQ(failure([&] { stream.peek(1, &text); }), "peek() - type mismatch");
    EXPECT_EQ(failure([&] { stream.peek(2, &a, pointer(marker)); }), "peek() - trying to read EOF");
    EXPECT_EQ(stream.count(), 3U);
    MemIOStream closed;
    closed.close();
    EXPECT_EQ(closed.peek(1, any), 8U);
    EXPECT_EQ(closed.count(), 1U);
    EXPECT_EQ(MemIOStream().peek(1, any), 0U);
    EXPECT_EQ(rawStream(unhex(seven).substr(0, 11)).peek(1, any), 0U);
}

TEST(MemIOStream, ChecksTypes) {
    MemIOStream stream;
    stream.write(Integer(1));
    stream.close();
    Integer number;
    String text;
    zusl::EndOfFile marker;
    zusl::Serializable* const any = nullptr;
    EXPECT_TRUE(stream.checkTypes(2, &number, any));
    EXPECT_TRUE(stream.checkTypes(2, any, pointer(marker)));
    EXPECT_TRUE(stream.checkTypes(0, &text));
    EXPECT_FALSE(stream.checkTypes(1, &text));
    EXPECT_FALSE(stream.checkTypes(2, &number, pointer(number)));
    EXPECT_FALSE(stream.checkTypes(3, &number, any, any));
    EXPECT_EQ(failure([&] { MemIOStream().checkTypes(0, any); }), "checkTypes() - no data");
    EXPECT_EQ(failure([&] { rawStream("1234567").checkTypes(1, any); }), "checkTypes() - no data");
    EXPECT_FALSE(rawStream(unhex(seven).substr(0, 11)).checkTypes(1, &number));
}

TEST(MemIOStream, CountsAPieceOfARecord) {
    const std::string two = unhex(seven + " " + ending);
    const std::pair<size_t, unsigned> cases[] = {{0, 0}, {7, 0}, {8, 1}, {11, 1}, {12, 1}, {13, 2}, {20, 2}};
    for (const auto& [length, count] : cases)
        EXPECT_EQ(rawStream(two.substr(0, length)).count(), count) << length;
    EXPECT_EQ(rawStream(unhex("F8 01 00 00 FF FF FF FF 07")).count(), 1U);
}

TEST(MemIOStream, AnyContentIsSafeUnderEveryReader) {
    const std::string good = unhex(seven + " " + ending + " F5 01 00 00 06 00 00 00 01 00 00 00 61 00");
    for (size_t bit = 0; bit < 8 * good.size(); ++bit) {
        std::string bytes = good.substr(0, good.size() - bit % 3);
        if (bit / 8 < bytes.size())
            bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        MemIOStream stream = rawStream(bytes);
        Integer number;
        String text;
        zusl::Serializable* const any = nullptr;
        thrown([&] { stream.peek(number); });
        thrown([&] { stream.peek(3, &number, any, pointer(text)); });
        thrown([&] { stream.checkTypes(3, &number, any, pointer(text)); });
        EXPECT_LE(stream.count(), bytes.size());
        while (thrown([&] { stream.getNextType() == 504 ? stream.read(number) : stream.skip(); }).empty())
            EXPECT_LT(stream.size(), bytes.size());
        EXPECT_LE(stream.size(), bytes.size());
    }
}

TEST(MemIOStream, GoesToAFileAndBack) {
    const TemporaryFile file("before");
    MemIOStream stream, other;
    stream << Integer(1) << Integer(7);
    stream.skip();
    EXPECT_TRUE(stream.save(file.path()));
    EXPECT_EQ(hex(file.bytes()), seven);
    other.write(String("before"));
    EXPECT_TRUE(other.load(file.path()));
    EXPECT_EQ(content(other), seven);
    for (const char* const path : {"/nonexistent/file", "/tmp", "/dev/null"}) {
        EXPECT_FALSE(other.load(path)) << path;
        EXPECT_EQ(content(other), seven);
    }
    EXPECT_FALSE(other.save("/nonexistent/file"));
    EXPECT_FALSE(other.save("/dev/full"));
    EXPECT_FALSE(other.load(TemporaryFile(unhex(seven + " F8 01")).path()));
    EXPECT_EQ(content(other), seven + " F8 01");
    EXPECT_EQ(MemIOStream().save(file.path()), true);
    EXPECT_EQ(file.bytes(), "");
    EXPECT_TRUE(other.load(file.path()));
    EXPECT_TRUE(other.isEmpty());
}

TEST(MemIOStream, WaitsForContent) {
    MemIOStream stream;
    EXPECT_FALSE(stream.wait(20));
    stream.write(Integer(7));
    EXPECT_FALSE(stream.wait(0)); // the timeout is looked at first
    EXPECT_TRUE(stream.wait(10000));
    EXPECT_TRUE(stream.wait(0xFFFFFFFF));

    struct Later : MemIOStream { // not empty from the fourth look on
        mutable int looks = 0;
        bool isEmpty() const override { return ++looks < 4; }
    } later;
    EXPECT_TRUE(later.wait(0xFFFFFFFF));
    EXPECT_EQ(later.looks, 4);
}

TEST(EndOfFile, HoldsNothing) {
    zusl::EndOfFile marker;
    EXPECT_EQ(marker.toXML(), "<zusl_EndOfFile/>");
    EXPECT_EQ(marker.toXML("x"), "<x/>");
    EXPECT_TRUE(marker.fromXML(""));
    EXPECT_TRUE(marker.fromXML(nullptr));
    EXPECT_EQ(marker.getBinLength() + marker.toBin(nullptr) + marker.fromBin(nullptr, 0), 0U);
    const TemporaryFile file;
    EXPECT_TRUE(marker.toFile(file.path()));
    EXPECT_EQ(hex(file.bytes()), "01 00 00 00 00 00");
    EXPECT_TRUE(marker.fromFile(file.path()));
}
