// User-defined streams and stream sources.

#include "require.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

// Returns a block of records, as a network connection would.
class Connection : public zusl::IStream {
public:
    unsigned int getNextType() const override { return zusl::EndOfFile::typeId; }
    bool isEmpty() const override { return false; }
    unsigned int read(zusl::Serializable&) override { return 0; }
    unsigned int skip() override { return 0; }
    zusl::IStream& operator>>(zusl::Serializable&) override { return *this; }
    bool readNextObject(unsigned char*& data, unsigned int& length) override {
        data = new unsigned char[length = 8]{1};
        return true;
    }
};

// Reports every record as an Integer.
class Renamed : public zusl::MemIOStream {
public:
    unsigned int getNextType() const override { return 504; }
};

int main() {
    Connection source;
    zusl::MemIOStream stream;
    stream << source << zutl::String("x");
    REQUIRE(stream.isEOF());
    REQUIRE(stream.skip() == 8);
    zutl::String text;
    zutl::Integer number;
    zusl::IOStream& both = stream;
    REQUIRE(both.write(zutl::Integer(7)) == 12);
    both >> text >> number;
    REQUIRE(text == "x");
    REQUIRE(number == 7);

    Renamed renamed;
    renamed << zutl::String("x");
    REQUIRE(renamed.peek(number) == 14);
    REQUIRE(renamed.read(number) == 14);
}
