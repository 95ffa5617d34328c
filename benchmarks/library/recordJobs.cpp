// 100 000 small records through the memory stream: numbers alone, and numbers and short texts in turn.

#include "binaryPeers.h"
#include "byteOrder.h"
#include "inputs.h"
#include "jobs.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <cstring>
#include <memory>

namespace {

constexpr size_t records = 100000;
constexpr unsigned int longestText = 12;

constexpr const char* withCalls = "by hand, the stream called";

using Bytes = std::vector<unsigned char>;

// --- By hand: a growing buffer, and objects behind the same kind of interface as ours ---

class Object {
public:
    virtual ~Object() = default;
    virtual unsigned int typeId() const = 0;
    virtual unsigned int length() const = 0;
    virtual unsigned int write(unsigned char* to) const = 0;
    virtual unsigned int read(const unsigned char* from, unsigned int size) = 0;
};

class Number : public Object {
public:
    explicit Number(std::int32_t number = 0) : value(number) {}
    unsigned int typeId() const override { return 504; }
    unsigned int length() const override { return 4; }
    unsigned int write(unsigned char* to) const override {
        byhand::store32(to, static_cast<std::uint32_t>(value));
        return 4;
    }
    unsigned int read(const unsigned char* from, unsigned int size) override {
        bench::require(size >= 4, "by hand: no number");
        value = static_cast<std::int32_t>(byhand::load32(from));
        return 4;
    }

    std::int32_t value;
};

class Text : public Object {
public:
    explicit Text(std::string text = {}) : value(std::move(text)) {}
    unsigned int typeId() const override { return 501; }
    unsigned int length() const override { return static_cast<unsigned int>(value.size()) + 5; }
    unsigned int write(unsigned char* to) const override {
        byhand::store32(to, static_cast<std::uint32_t>(value.size()));
        std::memcpy(to + 4, value.c_str(), value.size() + 1);
        return length();
    }
    unsigned int read(const unsigned char* from, unsigned int size) override {
        const char* const text = reinterpret_cast<const char*>(from) + 4;
        const void* const end = size < 5 ? nullptr : std::memchr(text, 0, size - 4);
        bench::require(end != nullptr, "by hand: no text");
        value.assign(text, static_cast<const char*>(end));
        return length();
    }

    std::string value;
};

class Stream {
public:
    void write(const Object& object) {
        const unsigned int payload = object.length();
        if (capacity - used < headerSize + payload)
            grow(headerSize + payload);
        unsigned char* const to = memory.get() + used;
        byhand::store32(to, object.typeId());
        byhand::store32(to + 4, payload);
        object.write(to + headerSize);
        used += headerSize + payload;
    }

    void read(Object& object) {
        const unsigned char* const from = memory.get() + position;
        bench::require(used - position >= headerSize && byhand::load16(from) == object.typeId(),
                       "by hand: another type");
        const unsigned int payload = byhand::load32(from + 4);
        bench::require(payload <= used - position - headerSize, "by hand: no record");
        object.read(from + headerSize, payload);
        position += headerSize + payload;
    }

    void clear() { used = position = 0; }
    void rewind() { position = 0; }
    Bytes content() const { return Bytes(memory.get(), memory.get() + used); }

private:
    static constexpr size_t headerSize = 8;

    void grow(size_t needed) {
        const size_t newCapacity = 2 * capacity + needed;
        std::unique_ptr<unsigned char[]> larger(new unsigned char[newCapacity]);
        if (used > 0)
            std::memcpy(larger.get(), memory.get(), used);
        memory = std::move(larger);
        capacity = newCapacity;
    }

    std::unique_ptr<unsigned char[]> memory;
    size_t capacity = 0;
    size_t used = 0;
    size_t position = 0;
};

// With one more call for each record: what it costs that a stream, too, stands behind an interface.
class CalledStream : public Stream {
public:
    [[gnu::noinline]] void write(const Object& object) { Stream::write(object); }
    [[gnu::noinline]] void read(Object& object) { Stream::read(object); }
};

// What the records hold; every second is a text, or none is.
struct Content {
    std::vector<std::string> texts;
    bool numbersOnly;

    bool isNumber(size_t index) const { return numbersOnly || index % 2 == 0; }
};

// --- The objects: known to the loops only as what the interface says ---

template <typename Interface, typename NumberType, typename TextType>
struct Objects {
    explicit Objects(const Content& content) {
        for (size_t i = 0; i < content.texts.size(); ++i) {
            if (content.isNumber(i))
                all.push_back(std::make_unique<NumberType>(static_cast<int>(i)));
            else
                all.push_back(std::make_unique<TextType>(content.texts[i]));
            receivers.push_back(content.isNumber(i) ? static_cast<Interface*>(&number) : &text);
        }
    }

    std::vector<std::unique_ptr<Interface>> all;
    NumberType number;
    TextType text;
    std::vector<Interface*> receivers; // what each record is read into
};

using PlainObjects = Objects<Object, Number, Text>;
using OurObjects = Objects<zusl::Serializable, zutl::Integer, zutl::String>;

template <typename AnyStream, typename AnyObjects>
void writeAll(AnyStream& stream, const AnyObjects& objects) {
    stream.clear();
    for (const auto& object : objects.all)
        stream.write(*object);
}

template <typename AnyStream, typename AnyObjects>
void readAll(AnyStream& stream, AnyObjects& objects) {
    for (auto* const receiver : objects.receivers)
        stream.read(*receiver);
}

// --- The peers know what comes next and need no interface. ---

template <typename Library>
void addPeer(const std::shared_ptr<const Content>& content, bench::Job& writing, bench::Job& reading) {
    const auto bytes = std::make_shared<Bytes>(records * (longestText + 16));
    const auto text = std::make_shared<std::string>();
    const auto number = std::make_shared<std::int32_t>();
    const auto save = [=] {
        typename Library::Writer writer(*bytes);
        for (size_t i = 0; i < records; ++i) {
            if (content->isNumber(i))
                writer.put(static_cast<std::int32_t>(i));
            else
                writer.put(content->texts[i]);
        }
    };
    const auto load = [=] {
        typename Library::Reader reader(*bytes);
        for (size_t i = 0; i < records; ++i) {
            if (content->isNumber(i))
                reader.get(*number);
            else
                reader.get(*text);
        }
    };
    save();
    load();
    const size_t lastNumber = content->numbersOnly ? records - 1 : records - 2;
    bench::require(*number == static_cast<std::int32_t>(lastNumber) &&
                       (content->numbersOnly || *text == content->texts.back()),
                   std::string("records: differs: ") + Library::name);
    writing.contenders.push_back({Library::name, save, {}});
    reading.contenders.push_back({Library::name, load, {}});
}

Content makeContent(bool numbersOnly) {
    bench::Numbers numbers(1);
    Content content{{}, numbersOnly};
    for (size_t i = 0; i < records; ++i)
        content.texts.emplace_back(numbers.below(longestText + 1),
                                   static_cast<char>('a' + numbers.below(26)));
    return content;
}

void addJobsFor(Jobs& jobs, const std::string& what, bool numbersOnly) {
    const auto content = std::make_shared<const Content>(makeContent(numbersOnly));
    const auto plainObjects = std::make_shared<PlainObjects>(*content);
    const auto objects = std::make_shared<OurObjects>(*content);
    const auto plainStream = std::make_shared<Stream>();
    const auto calledStream = std::make_shared<CalledStream>();
    const auto stream = std::make_shared<zusl::MemIOStream>();
    writeAll(*plainStream, *plainObjects);
    writeAll(*calledStream, *plainObjects);
    writeAll(*stream, *objects);
    const unsigned char* data = nullptr;
    unsigned int size = 0;
    stream->getBuffer(data, size);
    const auto bytes = std::make_shared<const Bytes>(data, data + size);
    bench::require(*bytes == plainStream->content(), what + " write: ours differs");
    readAll(*plainStream, *plainObjects);
    readAll(*stream, *objects);
    bench::require(stream->isEmpty() && objects->text == plainObjects->text.value &&
                       objects->number == plainObjects->number.value,
                   what + " read: ours differs");

    const double pieces = static_cast<double>(records);
    const auto rewind = [=] { plainStream->rewind(); };
    const auto rewindCalled = [=] { calledStream->rewind(); };
    const auto refill = [=] { stream->setBuffer(bytes->data(), static_cast<unsigned int>(bytes->size())); };
    bench::Job writing{what + ", write",
                       "record",
                       pieces,
                       1.2,
                       "a growing buffer and virtual objects",
                       {{bench::byHand, [=] { writeAll(*plainStream, *plainObjects); }, {}},
                        {bench::ours, [=] { writeAll(*stream, *objects); }, {}},
                        {withCalls, [=] { writeAll(*calledStream, *plainObjects); }, {}}}};
    bench::Job reading{what + ", read",
                       "record",
                       pieces,
                       1.2,
                       "virtual objects",
                       {{bench::byHand, [=] { readAll(*plainStream, *plainObjects); }, rewind},
                        {bench::ours, [=] { readAll(*stream, *objects); }, refill},
                        {withCalls, [=] { readAll(*calledStream, *plainObjects); }, rewindCalled}}};
    addPeer<peers::Msgpack>(content, writing, reading);
    addPeer<peers::Cereal>(content, writing, reading);
    addPeer<peers::Boost>(content, writing, reading);
    jobs.push_back(writing);
    jobs.push_back(reading);
}

} // namespace

void addRecordJobs(Jobs& jobs) {
    addJobsFor(jobs, "100 000 numbers as records", true);
    addJobsFor(jobs, "100 000 numbers and texts as records", false);
}
