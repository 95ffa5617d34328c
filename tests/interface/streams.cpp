// User-defined streams and stream sources.

#include "require.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <algorithm>

// Returns blocks of records, as a network connection would.
class Connection : public zusl::IStream {
public:
    unsigned int getNextType() const override { return zusl::EndOfFile::typeId; }
    bool isEmpty() const override { return left == 0; }
    unsigned int read(zusl::Serializable&) override { return 0; }
    unsigned int skip() override { return 0; }
    zusl::IStream& operator>>(zusl::Serializable&) override { return *this; }
    bool readNextObject(unsigned char*& data, unsigned int& length) override {
        if (left-- == 0)
            return false;
        data = new unsigned char[length = 8]{1};
        return true;
    }
    int left = 1;
};

// Reports every record as an Integer.
class Renamed : public zusl::MemIOStream {
public:
    unsigned int getNextType() const override { return 504; }
};

// Writes a text to the stream that it is being written to.
class Nested : public zutl::Integer {
public:
    explicit Nested(zusl::OStream& out) : zutl::Integer(7), stream(out) {}
    unsigned int toBin(unsigned char* buffer) const override {
        stream << zutl::String("a text that makes the stream grow");
        return zutl::Integer::toBin(buffer);
    }
    zusl::OStream& stream;
};

int main() {
    Connection source;
    zusl::MemIOStream stream;
    stream << source << source << zutl::String("x");
    REQUIRE(stream.isEOF());
    REQUIRE(stream.skip() == 8);
    zutl::String text;
    stream >> text;
    REQUIRE(text == "x");

    Renamed renamed;
    renamed << zutl::String("x");
    zutl::Integer number;
    REQUIRE(renamed.peek(number) == 14);
    REQUIRE(renamed.read(number) == 14);

    const Nested nested(stream);
    zusl::IOStream& both = stream;
    REQUIRE(both.write(nested) == 12);
    REQUIRE(stream.count() == 2);
    both >> number >> text;
    REQUIRE(number == 7);
    REQUIRE(text.size() == 33);
}
