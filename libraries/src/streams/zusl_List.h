#pragma once
// zusl::List: a sequence that can be serialized.

#include "zusl_MemIOStream.h"
#include "zusl_Record.h"
#include "zusl_Serializable.h"
#include "zutl_Exception.h"
#include "zutl_Integer.h"
#include "zuxml_DomIterator.h"

#include <list>
#include <utility>

namespace zusl {

// A std::list of zusl::Serializable elements. Its binary form is that of a memory stream with these records:
// an Integer with the elements' type id, an Integer with their number, and each element from front to back.
template <typename T>
class List : public std::list<T>, public Serializable {
    using Base = std::list<T>;

public:
    using Base::Base;

    // Writes the list's records behind what the stream holds. False when anything was thrown; the records
    // written until then stay.
    bool serialize(MemIOStream& stream) const;

    unsigned int getTypeId() const override { return listTypeIds + T().getTypeId(); }
    std::string getTypeName() const override { return T().getTypeName() + "List"; }

    // <name>, each element's own XML text, </name>; nothing for a null name.
    std::string toXML() const override { return toXML(getTypeName().c_str()); }
    std::string toXML(const char* name) const override;

    // Takes each child of the root that is an element's XML text, and passes over the others. False, with the
    // list unchanged, when there is no document.
    bool fromXML(const char* xml) override;

    // 0 when an element cannot be written; toBin then throws "zusl::Serializable::fromBin() - Failed!".
    unsigned int getBinLength() const override;
    unsigned int toBin(unsigned char* buffer) const override;

    // Returns 0, with an empty list, for a list of other elements. Throws "zusl::Serializable::fromBin() -
    // Failed!" when a record is missing or of another type, the elements before it then being in the list;
    // and, with the list unchanged, what MemIOStream::fromBin throws.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

private:
    template <typename Object>
    static unsigned char* writeRecord(unsigned char* to, unsigned int typeId, const Object& object);
    template <typename Object>
    static void readRecord(RecordWalk& walk, unsigned int typeId, Object& object);

    // Where writing an element cannot fail, the length can be told without writing.
    static constexpr bool writingNeverFails =
        noexcept(std::declval<const T&>().getBinLength())&& noexcept(std::declval<const T&>().toBin(nullptr));
};

template <typename T>
bool List<T>::serialize(MemIOStream& stream) const {
    try {
        stream.write(zutl::Integer(static_cast<int>(T().getTypeId())));
        stream.write(zutl::Integer(static_cast<int>(this->size())));
        for (const T& element : *this)
            stream << element;
        return true;
    } catch (...) {
        return false;
    }
}

template <typename T>
std::string List<T>::toXML(const char* name) const {
    if (name == nullptr)
        return std::string();
    std::string xml("<");
    xml += name;
    xml += '>';
    for (const T& element : *this)
        xml += element.toXML();
    xml += "</";
    xml += name;
    xml += '>';
    return xml;
}

template <typename T>
bool List<T>::fromXML(const char* xml) {
    zuxml::DomIterator cursor = zuxml::DomIterator::parse(xml);
    if (cursor.atEnd())
        return false;
    this->clear();
    // Asked first: without children the null backend's cursor would never come to its end.
    if (!cursor.hasChildren())
        return true;
    T element; // one for all children
    for (cursor = cursor.childrenBegin(); !cursor.atEnd(); cursor.nextSibling())
        if (element.fromXML(cursor.toXML().c_str()))
            this->push_back(element);
    return true;
}

// Elements are held by value, so their class is known: their operations are called without the table of
// virtual ones, which lets the compiler put short ones in place.

template <typename T>
unsigned int List<T>::getBinLength() const {
    if constexpr (writingNeverFails) {
        unsigned int length = streamContentOffset + 2 * (recordHeaderSize + zutl::Integer().getBinLength());
        for (const T& element : *this)
            length += recordHeaderSize + element.T::getBinLength();
        return length;
    }
    MemIOStream stream;
    return serialize(stream) ? stream.getBinLength() : 0;
}

template <typename T>
template <typename Object>
unsigned char* List<T>::writeRecord(unsigned char* to, unsigned int typeId, const Object& object) {
    const unsigned int length = object.Object::toBin(to + recordHeaderSize);
    writeRecordHeader(to, typeId, length);
    return to + recordHeaderSize + length;
}

template <typename T>
unsigned int List<T>::toBin(unsigned char* buffer) const {
    if constexpr (writingNeverFails) {
        // The records that serialize writes, straight into the buffer.
        const zutl::Integer elementType(static_cast<int>(T().getTypeId()));
        const zutl::Integer count(static_cast<int>(this->size()));
        unsigned char* to = buffer + streamContentOffset;
        to = writeRecord(to, count.getTypeId(), elementType);
        to = writeRecord(to, count.getTypeId(), count);
        for (const T& element : *this)
            to = writeRecord(to, static_cast<unsigned int>(elementType.value), element);
        const unsigned int written = static_cast<unsigned int>(to - buffer);
        zutl::store32(buffer, written - streamContentOffset);
        return written;
    }
    MemIOStream stream;
    if (!serialize(stream))
        throwFromBinFailed();
    return stream.toBin(buffer);
}

template <typename T>
template <typename Object>
void List<T>::readRecord(RecordWalk& walk, unsigned int typeId, Object& object) {
    Record record;
    if (!walk.next(record) || record.typeId != typeId || typeId == EndOfFile::typeId)
        throwFromBinFailed();
    object.Object::fromBin(record.payload, record.length);
}

template <typename T>
unsigned int List<T>::fromBin(const unsigned char* data, unsigned int length) {
    // The records are read from where they stand, as a memory stream that holds them would.
    const unsigned int size = streamContentSize(data, length);
    RecordWalk walk(data + streamContentOffset, data + streamContentOffset + size);
    if (!walk.isWhole())
        throwNotWholeRecords();
    this->clear();
    try {
        zutl::Integer elementType;
        zutl::Integer count;
        T element; // one for all records
        const unsigned int elementId = element.getTypeId();
        readRecord(walk, count.getTypeId(), elementType);
        if (static_cast<unsigned int>(elementType) != elementId)
            return 0;
        readRecord(walk, count.getTypeId(), count);
        for (int i = 0; i < count; ++i) {
            readRecord(walk, elementId, element);
            this->push_back(element);
        }
    } catch (...) {
        throwFromBinFailed();
    }
    return streamContentOffset + size;
}

} // namespace zusl
