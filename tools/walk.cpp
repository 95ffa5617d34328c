#include "walk.h"

#include "zusl_ObjectFile.h"
#include "zusl_Record.h"

#include <algorithm>
#include <utility>

namespace dump {

namespace {

using zutl::String;

// Bounds the recursion on hostile files; no writer nests this deep.
constexpr unsigned int maximumDepth = 32;

// A header that announces the length of what follows, and as much of that as the file holds.
struct Frame {
    Block start; // from the header on
    unsigned int announced;
    Block content;
    bool isTruncated;

    Frame(Block block, unsigned int headerSize, unsigned int length)
        : start(block),
          announced(length), content{block.from + headerSize, std::min(length, block.length - headerSize)},
          isTruncated(length > content.length) {}
};

// Whether bytes are missing at the end of a frame.
struct Truncation {
    bool inside = false;   // the current frame or one around it is truncated
    bool reported = false; // the bytes missing at the end of the current frame have been reported
};

// The walk through one frame. Of several nested truncated frames, the innermost is reported, where a reader
// notices the loss, and the outermost, which shows how much is missing.
class FrameScope {
public:
    FrameScope(Truncation& truncation, bool frameIsTruncated)
        : state(truncation), outer(truncation), isTruncated(frameIsTruncated) {
        state = {outer.inside || isTruncated, false};
    }
    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;
    ~FrameScope() { state = {outer.inside, outer.reported || isTruncated}; }

    // Returns true if this frame has to be reported.
    bool mustReport() const { return isTruncated && (!state.reported || !outer.inside); }

private:
    Truncation& state;
    const Truncation outer;
    const bool isTruncated;
};

class Walk {
public:
    Walk(Block bytes, Visitor& listener) : file(bytes), visitor(listener) {}

    void objectFile();
    void records(Block content);
    void bareObject(unsigned int typeId);
    bool isWhole() const { return !damaged; }

private:
    unsigned int offsetOf(Block block) const { return static_cast<unsigned int>(block.from - file.from); }
    void note(Block at, const String& text) { visitor.remark(Remark::note, offsetOf(at), text); }
    void damage(Block at, const String& text);

    // Runs `walkInside` inside the frame and reports what is missing of it.
    template <typename Inside>
    void inside(const Frame& frame, Inside walkInside);
    // Walks over the object in the frame. Returns the bytes of the frame that the object does not use.
    Block framed(const Frame& frame, unsigned int typeId);
    template <typename Each>
    void eachRecord(Block content, Each each);
    void record(const Frame& frame, unsigned int typeId);
    void list(Block content, unsigned int elementId);

    // Remove the object's bytes from `encoding`. Return false if its end cannot be determined.
    bool object(Object object, Block& encoding, bool isTruncated);
    bool simple(const Object& object, Shape shape, Block& encoding, bool isTruncated);
    bool stream(const Type& type, Block& encoding);
    bool map(unsigned int valueId, Block& encoding);
    bool refused(const char* what, unsigned int least, Block encoding);
    void compareLength(Block encoding, const String& text);

    const Block file;
    Visitor& visitor;
    bool damaged = false;
    unsigned int depth = 0;
    Truncation truncation;
};

void Walk::damage(Block at, const String& text) {
    damaged = true;
    visitor.remark(Remark::damage, offsetOf(at), text);
}

// --- Frames

template <typename Inside>
void Walk::inside(const Frame& frame, Inside walkInside) {
    const FrameScope scope(truncation, frame.isTruncated);
    walkInside();
    if (scope.mustReport())
        damage(frame.start, String::fromFormat("%s announced, %u left", amountOf(frame.announced).c_str(),
                                               frame.content.length));
}

Block Walk::framed(const Frame& frame, unsigned int typeId) {
    Block rest = frame.content;
    inside(frame, [&] {
        if (!object({offsetOf(frame.start), typeId, {}, frame.announced, nullptr}, rest, frame.isTruncated))
            rest.length = 0;
    });
    return rest;
}

template <typename Each>
void Walk::eachRecord(Block content, Each each) {
    while (content.length > 0) {
        zusl::Record record;
        if (!zusl::readRecordHeader(content.from, content.length, record)) {
            truncation.reported = true;
            return damage(content, String::fromFormat("a record's header takes %u bytes, %u left",
                                                      zusl::recordHeaderSize, content.length));
        }
        const Frame frame(content, zusl::recordHeaderSize, record.length);
        each(frame, record.typeId);
        content.skip(zusl::recordHeaderSize + frame.content.length);
    }
}

void Walk::record(const Frame& frame, unsigned int typeId) {
    const unsigned int reserved = zutl::load16(frame.start.from + zusl::recordReservedOffset);
    if (reserved != 0)
        note(frame.start, String::fromFormat("the reserved field holds %u instead of 0", reserved));
    const Block rest = framed(frame, typeId);
    if (rest.length > 0)
        note(rest, amountOf(rest.length) + " after the object, not read");
}

// --- Files

void Walk::records(Block content) {
    eachRecord(content, [this](const Frame& frame, unsigned int typeId) { record(frame, typeId); });
}

void Walk::objectFile() {
    if (file.length < zusl::objectFileHeaderSize)
        return damage(file, String::fromFormat("an object file's header takes %u bytes, %u left",
                                               zusl::objectFileHeaderSize, file.length));
    const Frame frame(file, zusl::objectFileHeaderSize,
                      zutl::load32(file.from + zusl::objectFileLengthOffset));
    const Block rest = framed(frame, zutl::load16(file.from + zusl::objectFileTypeOffset));
    if (rest.length > 0)
        damage(rest, amountOf(rest.length) + " of the announced length after the object");
    Block trailing = file;
    trailing.skip(zusl::objectFileHeaderSize + frame.content.length);
    if (trailing.length > 0)
        note(trailing, amountOf(trailing.length) + " after the object, not read");
}

void Walk::bareObject(unsigned int typeId) {
    Block rest = file;
    if (object({0, typeId, {}, file.length, nullptr}, rest, false) && rest.length > 0)
        note(rest, amountOf(rest.length) + " after the object, not read");
}

// --- Objects

bool Walk::object(Object object, Block& encoding, bool isTruncated) {
    const Type type = typeOf(object.typeId, encoding);
    object.typeName = type.name;
    if (!type.isContainer())
        return simple(object, type.shape, encoding, isTruncated);
    visitor.beginObject(object);
    if (depth == maximumDepth) {
        visitor.value(encoding);
        visitor.endObject();
        damage(encoding, String::fromFormat("nested in more than %u levels", maximumDepth));
        return false;
    }
    ++depth;
    visitor.beginItems();
    const bool isGood = type.shape == Shape::map ? map(type.inner, encoding) : stream(type, encoding);
    visitor.endItems();
    --depth;
    visitor.endObject();
    return isGood;
}

bool Walk::simple(const Object& object, Shape shape, Block& encoding, bool isTruncated) {
    const Block start = encoding;
    String text;
    zutl::Integer number;
    visitor.beginObject(object);
    const bool isText = !isTruncated && shape == Shape::text && take(text, encoding);
    const bool isNumber = !isTruncated && shape == Shape::integer && take(number, encoding);
    const bool isTaken = isText || isNumber || shape == Shape::marker;
    if (isText)
        visitor.value(text);
    else if (isNumber)
        visitor.value(number.value);
    else if (!isTaken)
        visitor.value(encoding);
    visitor.endObject();

    if (isText)
        compareLength(start, text);
    if (!isTaken)
        encoding.skip(encoding.length);
    if (isTaken || isTruncated || shape == Shape::unknown)
        return true;
    return shape == Shape::text ? refused("a text", String().getBinLength(), start)
                                : refused("an integer", number.getBinLength(), start);
}

// Reports why the library's reader refuses the encoding. Returns false.
bool Walk::refused(const char* what, unsigned int least, Block encoding) {
    truncation.reported = true;
    if (encoding.length < least)
        damage(encoding,
               String::fromFormat("%s takes at least %u bytes, %u left", what, least, encoding.length));
    else
        damage(encoding, String::fromFormat("%s without its zero byte", what));
    return false;
}

// Readers only use the zero byte, but a different length shows that the text was truncated or changed.
void Walk::compareLength(Block encoding, const String& text) {
    const unsigned int announced = zutl::load32(encoding.from);
    if (announced != text.size())
        note(encoding, String::fromFormat("a text of %s, its length says %u", amountOf(text.size()).c_str(),
                                          announced));
}

bool Walk::map(unsigned int valueId, Block& encoding) {
    const Block start = encoding;
    zutl::Integer count;
    if (!take(count, encoding))
        return refused("a map's count", count.getBinLength(), start);
    if (count < 0)
        note(start, String::fromFormat("a count of %d, which means an empty map", count.value));
    for (int found = 0; found < count; ++found) {
        const Block entry = encoding;
        if (encoding.length == 0) {
            truncation.reported = true;
            return damage(encoding, String::fromFormat("the count says %d, %d there", count.value, found)),
                   false;
        }
        String key;
        if (!take(key, encoding))
            return refused("a key", key.getBinLength(), entry);
        compareLength(entry, key);
        if (!object({offsetOf(entry), valueId, {}, {}, &key}, encoding, false))
            return false;
    }
    return true;
}

bool Walk::stream(const Type& type, Block& encoding) {
    if (encoding.length < zusl::streamContentOffset)
        return refused("a stream's size", zusl::streamContentOffset, encoding);
    const Frame frame(encoding, zusl::streamContentOffset, zutl::load32(encoding.from));
    inside(frame,
           [&] { type.shape == Shape::list ? list(frame.content, type.inner) : records(frame.content); });
    encoding.skip(zusl::streamContentOffset + frame.content.length);
    return !frame.isTruncated;
}

void Walk::list(Block content, unsigned int elementId) {
    const Block start = content;
    zutl::Integer named;
    zutl::Integer count;
    if (!takeRecord(named, content) || !takeRecord(count, content)) {
        if (!truncation.inside)
            damage(start, "a list without the two integers at its beginning");
        return records(start);
    }
    if (static_cast<unsigned int>(named) != elementId)
        damage(start, String::fromFormat("elements of type %d in a list of type %u", named.value, elementId));
    int found = 0;
    eachRecord(content, [&](const Frame& frame, unsigned int typeId) {
        if (found++ >= count)
            return inside(frame, [] {}); // not read, but it must be complete
        if (typeId != elementId)
            damage(frame.start, String::fromFormat("type %u in a list of type %u", typeId, elementId));
        record(frame, typeId);
    });
    const String counts = String::fromFormat("the count says %d, %d there", count.value, found);
    if (found > std::max<int>(count, 0))
        note(start, counts);
    else if (found < count && !truncation.inside)
        damage(start, counts);
}

} // namespace

Layout layoutOf(Block file) {
    constexpr unsigned int bytesNeeded = zusl::recordReservedOffset + sizeof(std::uint16_t);
    if (file.length >= bytesNeeded && zutl::load16(file.from + zusl::recordReservedOffset) != 0)
        return {Layout::objectFile};
    // The lower half of a length may also be 0. The whole length then decides, unless the file is whole
    // records.
    const bool fits =
        file.length >= zusl::objectFileHeaderSize &&
        zutl::load32(file.from + zusl::objectFileLengthOffset) == file.length - zusl::objectFileHeaderSize;
    const bool isWholeRecords = zusl::RecordWalk(file.from, file.from + file.length).isWhole();
    return {fits && !isWholeRecords ? Layout::objectFile : Layout::savedStream};
}

bool walk(std::string_view path, Block file, const Layout& layout, Visitor& visitor) {
    static constexpr const char* names[] = {"object file", "saved stream", "bare object"};
    Walk walk(file, visitor);
    visitor.beginFile(path, names[layout.kind], file.length);
    if (layout.kind == Layout::objectFile)
        walk.objectFile();
    else if (layout.kind == Layout::savedStream)
        walk.records(file);
    else
        walk.bareObject(layout.typeId);
    visitor.endFile(walk.isWhole());
    return walk.isWhole();
}

} // namespace dump
