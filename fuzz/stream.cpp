// Fuzzes two memory streams with a sequence of operations, and compares each with a simple model.

#include "fuzzing.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"

#include <deque>
#include <memory>
#include <numeric>

using zusl::MemIOStream;
using zusl::Serializable;

// A stream and the records that it should hold.
struct Subject {
    MemIOStream stream;
    std::deque<Text> records;

    Text content() const { return std::accumulate(records.begin(), records.end(), Text()); }
};

static unsigned int typeOf(const Text& record) {
    return static_cast<unsigned char>(record[0]) + 256U * static_cast<unsigned char>(record[1]);
}

static std::unique_ptr<Serializable> anyObject(FuzzedDataProvider& input) {
    const int kind = input.ConsumeIntegralInRange(0, 3);
    if (kind == 0)
        return std::make_unique<zutl::Integer>(input.ConsumeIntegral<int>());
    if (kind == 1)
        return std::make_unique<zutl::String>(input.ConsumeRandomLengthString(100).c_str());
    return kind == 2 ? std::unique_ptr<Serializable>(new zusl::EndOfFile) : std::make_unique<MemIOStream>();
}

static void write(Subject& subject, const Serializable& object) {
    const Text encoded = toBytes(object);
    subject.records.push_back(toBytes(zutl::Integer(static_cast<int>(object.getTypeId()))) +
                              toBytes(zutl::String(encoded)).substr(0, 4) + encoded);
    require(subject.stream.write(object) == encoded.size() + 8);
}

// Reads, peeks or, without an object, skips.
static void read(Subject& subject, Serializable* object, bool consumes) {
    auto& [stream, records] = subject;
    const bool isRead =
        !records.empty() &&
        (object == nullptr || (object->getTypeId() != 1 && object->getTypeId() == typeOf(records[0])));
    unsigned int size = 0;
    const auto readOne = [&, &from = stream] {
        size = object == nullptr ? from.skip() : consumes ? from.read(*object) : from.peek(*object);
    };
    require(thrown(readOne).empty() == isRead);
    if (!isRead)
        return;
    require(size == records[0].size() && (object == nullptr || toBytes(*object) == records[0].substr(8)));
    if (consumes || object == nullptr)
        records.pop_front();
}

static void arrange(Subject& subject, const Subject& other, unsigned int operation, unsigned int n) {
    auto& [stream, records] = subject;
    if (operation == 0)
        return stream.checkBuff(n);
    if (operation == 1)
        return stream.defrag();
    if (operation == 2)
        return stream.reserve(n);
    if (operation < 5)
        return operation == 3 ? stream.clear() : stream.purge(), records.clear();
    if (operation == 5)
        stream = other.stream;
    else
        fromBytes(stream, toBytes(other.stream));
    records = other.records;
}

static void check(const Subject& subject) {
    const auto& [stream, records] = subject;
    const Text content = subject.content();
    require(toBytes(MemIOStream(stream)) == toBytes(stream) && toBytes(stream).substr(4) == content);
    require(stream.count() == records.size() && stream.size() == content.size() && stream.validate());
    require(stream.getNextType() == (content.empty() ? zusl::EndOfFile::typeId : typeOf(content)));
    require(stream.isEmpty() == content.empty() && stream.capacity() >= content.size());
    require(stream.isEOF() == (!content.empty() && typeOf(content) == 1));
    unsigned int ahead = 0;
    thrown([&, &from = stream] { ahead = from.peek(2, nullptr, static_cast<Serializable*>(nullptr)); });
    require(ahead == (records.size() < 2 ? 0 : records[0].size() + records[1].size()));
}

void fuzz(FuzzedDataProvider& input) {
    Subject subjects[2];
    while (input.remaining_bytes() > 0) {
        Subject &subject = subjects[input.ConsumeBool()], &other = subjects[input.ConsumeBool()];
        const auto object = anyObject(input);
        const bool flag = input.ConsumeBool();
        const unsigned int n = input.ConsumeIntegralInRange(0U, 500U);
        const unsigned int operation = input.ConsumeIntegralInRange(0U, 15U);
        if (operation > 8)
            arrange(subject, other, operation - 9, n);
        else if (operation > 3)
            read(subject, operation == 4 ? nullptr : object.get(), flag);
        else if (subject.content().size() + other.content().size() < 5000)
            write(subject, operation == 0 ? other.stream : *object);
    }
    check(subjects[0]);
    check(subjects[1]);
}
