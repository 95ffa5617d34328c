#include "walk.h"

#include "zusl_ObjectFile.h"
#include "zusl_Record.h"

#include <algorithm>
#include <utility>

namespace dump {

namespace {

using zutl::String;

// No writer nests so deep. A hostile file would, until the stack is full.
constexpr unsigned int mostLevels = 32;

// What stands behind a header that announces a length, as far as it is there.
struct Frame {
    Block start; // from the header on
    unsigned int announced;
    Block form;
    bool isCut;

    Frame(Block block, unsigned int headerSize, unsigned int length)
        : start(block),
          announced(length), form{block.from + headerSize, std::min(length, block.length - headerSize)},
          isCut(length > form.length) {}
};

class Walk {
public:
    Walk(Block bytes, Visitor& listener) : file(bytes), visitor(listener) {}

    void objectFile();
    void records(Block content);
    void bareForm(unsigned int typeId);
    bool isWhole() const { return !damaged; }

private:
    unsigned int offsetOf(Block block) const { return static_cast<unsigned int>(block.from - file.from); }
    void note(Block at, const String& text) { visitor.remark(Remark::note, offsetOf(at), text); }
    void damage(Block at, const String& text);

    // What stands in a frame, told with what is missing of it; an object there, which may leave some of its
    // form.
    template <typename Inside>
    void inside(const Frame& frame, Inside walkInside);
    Block framed(const Frame& frame, unsigned int typeId);
    template <typename Each>
    void eachRecord(Block content, Each each);
    void record(const Frame& frame, unsigned int typeId);
    void list(Block content, unsigned int elementId);

    // These step over the form. False when it does not tell where it ends.
    bool object(Object object, Block& form, bool isCut);
    bool simple(const Object& object, Shape shape, Block& form, bool isCut);
    bool stream(const Type& type, Block& form);
    bool map(unsigned int valueId, Block& form);
    bool refused(const char* what, unsigned int least, Block form);
    void compareLength(Block form, const String& text);

    const Block file;
    Visitor& visitor;
    bool damaged = false;
    unsigned int levels = 0;
    bool isInCut = false;   // the current frame or one around it is cut
    bool cutIsTold = false; // that bytes are missing at the end of the current frame was told
};

void Walk::damage(Block at, const String& text) {
    damaged = true;
    visitor.remark(Remark::damage, offsetOf(at), text);
}

// --- Frames

// Of cut frames within each other the innermost tells where it is felt, the outermost how much is missing.
template <typename Inside>
void Walk::inside(const Frame& frame, Inside walkInside) {
    const bool outerIsCut = std::exchange(isInCut, isInCut || frame.isCut);
    const bool outerIsTold = std::exchange(cutIsTold, false);
    walkInside();
    if (frame.isCut && (!cutIsTold || !outerIsCut))
        damage(frame.start, String::fromFormat("%s announced, %u left", amountOf(frame.announced).c_str(),
                                               frame.form.length));
    isInCut = outerIsCut;
    cutIsTold = outerIsTold || frame.isCut;
}

Block Walk::framed(const Frame& frame, unsigned int typeId) {
    Block rest = frame.form;
    inside(frame, [&] {
        if (!object({offsetOf(frame.start), typeId, {}, frame.announced, nullptr}, rest, frame.isCut))
            rest.length = 0;
    });
    return rest;
}

template <typename Each>
void Walk::eachRecord(Block content, Each each) {
    while (content.length > 0) {
        zusl::Record record;
        if (!zusl::readRecordHeader(content.from, content.length, record)) {
            cutIsTold = true;
            return damage(content, String::fromFormat("a record's header takes %u bytes, %u left",
                                                      zusl::recordHeaderSize, content.length));
        }
        const Frame frame(content, zusl::recordHeaderSize, record.length);
        each(frame, record.typeId);
        content.skip(zusl::recordHeaderSize + frame.form.length);
    }
}

void Walk::record(const Frame& frame, unsigned int typeId) {
    const unsigned int reserved = zutl::load16(frame.start.from + zusl::recordReservedOffset);
    if (reserved != 0)
        note(frame.start, String::fromFormat("the reserved field holds %u instead of 0", reserved));
    const Block rest = framed(frame, typeId);
    if (rest.length > 0)
        note(rest, amountOf(rest.length) + " behind the form, not read");
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
        damage(rest, amountOf(rest.length) + " of the announced length behind the form");
    Block behind = file;
    behind.skip(zusl::objectFileHeaderSize + frame.form.length);
    if (behind.length > 0)
        note(behind, amountOf(behind.length) + " behind the object, not read");
}

void Walk::bareForm(unsigned int typeId) {
    Block rest = file;
    if (object({0, typeId, {}, file.length, nullptr}, rest, false) && rest.length > 0)
        note(rest, amountOf(rest.length) + " behind the form, not read");
}

// --- Forms

bool Walk::object(Object object, Block& form, bool isCut) {
    const Type type = typeOf(object.typeId, form);
    object.typeName = type.name;
    if (!type.isContainer())
        return simple(object, type.shape, form, isCut);
    visitor.beginObject(object);
    if (levels == mostLevels) {
        visitor.value(form);
        visitor.endObject();
        damage(form, String::fromFormat("nested in more than %u levels", mostLevels));
        return false;
    }
    ++levels;
    visitor.beginItems();
    const bool isGood = type.shape == Shape::map ? map(type.inner, form) : stream(type, form);
    visitor.endItems();
    --levels;
    visitor.endObject();
    return isGood;
}

bool Walk::simple(const Object& object, Shape shape, Block& form, bool isCut) {
    const Block start = form;
    String text;
    zutl::Integer number;
    visitor.beginObject(object);
    const bool isText = !isCut && shape == Shape::text && take(text, form);
    const bool isNumber = !isCut && shape == Shape::integer && take(number, form);
    const bool isTaken = isText || isNumber || shape == Shape::marker;
    if (isText)
        visitor.value(text);
    else if (isNumber)
        visitor.value(number.value);
    else if (!isTaken)
        visitor.value(form);
    visitor.endObject();

    if (isText)
        compareLength(start, text);
    if (!isTaken)
        form.skip(form.length);
    if (isTaken || isCut || shape == Shape::unknown)
        return true;
    return shape == Shape::text ? refused("a text", String().getBinLength(), start)
                                : refused("an integer", number.getBinLength(), start);
}

// Says why the library's reader refuses the form.
bool Walk::refused(const char* what, unsigned int least, Block form) {
    cutIsTold = true;
    if (form.length < least)
        damage(form, String::fromFormat("%s takes at least %u bytes, %u left", what, least, form.length));
    else
        damage(form, String::fromFormat("%s without its zero byte", what));
    return false;
}

// A reader goes by the zero byte; a length that says otherwise shows that the text was cut or changed.
void Walk::compareLength(Block form, const String& text) {
    const unsigned int announced = zutl::load32(form.from);
    if (announced != text.size())
        note(form, String::fromFormat("a text of %s, its length says %u", amountOf(text.size()).c_str(),
                                      announced));
}

bool Walk::map(unsigned int valueId, Block& form) {
    const Block start = form;
    zutl::Integer count;
    if (!take(count, form))
        return refused("a map's count", count.getBinLength(), start);
    if (count < 0)
        note(start, String::fromFormat("a count of %d, which stands for an empty map", count.value));
    for (int found = 0; found < count; ++found) {
        const Block entry = form;
        if (form.length == 0) {
            cutIsTold = true;
            return damage(form, String::fromFormat("the count says %d, %d there", count.value, found)), false;
        }
        String key;
        if (!take(key, form))
            return refused("a key", key.getBinLength(), entry);
        compareLength(entry, key);
        if (!object({offsetOf(entry), valueId, {}, {}, &key}, form, false))
            return false;
    }
    return true;
}

bool Walk::stream(const Type& type, Block& form) {
    if (form.length < zusl::streamContentOffset)
        return refused("a stream's size", zusl::streamContentOffset, form);
    const Frame frame(form, zusl::streamContentOffset, zutl::load32(form.from));
    inside(frame, [&] { type.shape == Shape::list ? list(frame.form, type.inner) : records(frame.form); });
    form.skip(zusl::streamContentOffset + frame.form.length);
    return !frame.isCut;
}

void Walk::list(Block content, unsigned int elementId) {
    const Block start = content;
    zutl::Integer named;
    zutl::Integer count;
    if (!takeRecord(named, content) || !takeRecord(count, content)) {
        if (!isInCut)
            damage(start, "a list without the two integers at its beginning");
        return records(start);
    }
    if (static_cast<unsigned int>(named) != elementId)
        damage(start, String::fromFormat("elements of type %d in a list of type %u", named.value, elementId));
    int found = 0;
    eachRecord(content, [&](const Frame& frame, unsigned int typeId) {
        if (found++ >= count)
            return inside(frame, [] {}); // not read, but it must be there
        if (typeId != elementId)
            damage(frame.start, String::fromFormat("type %u in a list of type %u", typeId, elementId));
        record(frame, typeId);
    });
    const String counts = String::fromFormat("the count says %d, %d there", count.value, found);
    if (found > std::max<int>(count, 0))
        note(start, counts);
    else if (found < count && !isInCut)
        damage(start, counts);
}

} // namespace

Layout layoutOf(Block file) {
    constexpr unsigned int bytesToTell = zusl::recordReservedOffset + sizeof(std::uint16_t);
    if (file.length >= bytesToTell && zutl::load16(file.from + zusl::recordReservedOffset) != 0)
        return {Layout::objectFile};
    // The lower half of a length may be 0, too; then the whole of it decides, unless records fit as well.
    const bool fits =
        file.length >= zusl::objectFileHeaderSize &&
        zutl::load32(file.from + zusl::objectFileLengthOffset) == file.length - zusl::objectFileHeaderSize;
    const bool isWholeRecords = zusl::RecordWalk(file.from, file.from + file.length).isWhole();
    return {fits && !isWholeRecords ? Layout::objectFile : Layout::savedStream};
}

bool walk(std::string_view path, Block file, const Layout& layout, Visitor& visitor) {
    static constexpr const char* names[] = {"object file", "saved stream", "binary form"};
    Walk walk(file, visitor);
    visitor.beginFile(path, names[layout.kind], file.length);
    if (layout.kind == Layout::objectFile)
        walk.objectFile();
    else if (layout.kind == Layout::savedStream)
        walk.records(file);
    else
        walk.bareForm(layout.typeId);
    visitor.endFile(walk.isWhole());
    return walk.isWhole();
}

} // namespace dump
