#pragma once
// zusl::List: a sequence that can be serialized.

#include "zusl_Element.h"
#include "zusl_MemIOStream.h"
#include "zusl_Record.h"
#include "zusl_Serializable.h"
#include "zutl_Exception.h"
#include "zutl_Integer.h"
#include "zuxml_DomIterator.h"

#include <list>
#include <new>

namespace zusl {

// A std::list of zusl::Serializable elements. Its encoding is that of a memory stream with these records: an
// Integer with the elements' type id, an Integer with their number, then each element from front to back.
template <typename T>
class List : public std::list<T>, public Serializable {
public:
    using std::list<T>::list;

    // Appends the list's records to the stream. Returns false if anything was thrown; the records written by
    // then are kept.
    bool serialize(MemIOStream& stream) const;

    unsigned int getTypeId() const override { return listTypeIds + detail::Element<T>::typeId(); }
    std::string getTypeName() const override { return detail::Element<T>::typeName() + "List"; }

    // Returns toXML(type name).
    std::string toXML() const override { return toXML(getTypeName().c_str()); }

    // Returns <name>, each element's own XML text, and </name>; an empty text for a null name.
    std::string toXML(const char* name) const override;

    // Replaces the elements with the children of the root that the element type accepts. One object reads all
    // children, so what a child does not set keeps the value of the preceding child; and a root without
    // children gives an empty list and true. Both are imposed by the published interface. Returns false, with
    // the list unchanged, if there is no document.
    bool fromXML(const char* xml) override;

    // Returns 0 if an element cannot be written or the encoding is longer than 32 bits can count.
    unsigned int getBinLength() const override;

    // Writes the encoding. Throws "zusl::Serializable::fromBin() - Failed!" before it writes if getBinLength
    // returns 0; that the text names the other operation is imposed by the published interface.
    unsigned int toBin(unsigned char* buffer) const override;

    // Replaces the elements. Returns 0, with an empty list, if the encoding is that of other elements. Throws
    // "zusl::Serializable::fromBin() - Failed!" if a record is missing or of another type; the elements read
    // by then are kept. Throws, with the list unchanged, what MemIOStream::fromBin throws.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;
};

namespace detail {

// Returns the length of the list's encoding without writing it.
template <typename T>
std::uint64_t encodedLength(const std::list<T>& list) {
    std::uint64_t length = streamContentOffset + 2 * (recordHeaderSize + zutl::Integer().getBinLength());
    for (const T& element : list)
        length += recordHeaderSize + Element<T>::getBinLength(element);
    return length;
}

// Writes an object's record and returns its end.
template <typename T>
unsigned char* writeRecord(unsigned char* to, unsigned int typeId, const T& object) {
    const unsigned int length = Element<T>::toBin(object, to + recordHeaderSize);
    writeRecordHeader(to, typeId, length);
    return to + recordHeaderSize + length;
}

// Reads the next record into `object`. Throws if there is none of this type.
template <typename T>
void readRecord(RecordWalk& walk, unsigned int typeId, T& object) {
    Record record;
    if (!walk.next(record) || record.typeId != typeId || typeId == EndOfFile::typeId)
        throwFromBinFailed();
    Element<T>::fromBin(object, record.payload, record.length);
}

} // namespace detail

template <typename T>
bool List<T>::serialize(MemIOStream& stream) const {
    try {
        stream.write(zutl::Integer(static_cast<int>(detail::Element<T>::typeId())));
        stream.write(zutl::Integer(static_cast<int>(this->size())));
        for (const T& element : *this)
            stream << detail::Element<T>::asSerializable(element);
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
        xml += detail::Element<T>::asSerializable(element).toXML();
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
        if (detail::Element<T>::fromXML(element, cursor.toXML().c_str()))
            this->push_back(element);
    return true;
}

template <typename T>
unsigned int List<T>::getBinLength() const {
    try {
        if constexpr (detail::isOwnValue<T>) {
            return zutl::to32Bits(detail::encodedLength<T>(*this));
        } else {
            MemIOStream stream;
            return serialize(stream) ? stream.getBinLength() : 0;
        }
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

template <typename T>
unsigned int List<T>::toBin(unsigned char* buffer) const {
    if constexpr (detail::isOwnValue<T>) {
        // The records that serialize writes, straight into the buffer.
        const unsigned int length = List::getBinLength();
        if (length == 0)
            throwFromBinFailed();
        const zutl::Integer elementType(static_cast<int>(detail::Element<T>::typeId()));
        const zutl::Integer count(static_cast<int>(this->size()));
        zutl::store32(buffer, length - streamContentOffset);
        unsigned char* to = buffer + streamContentOffset;
        to = detail::writeRecord(to, count.getTypeId(), elementType);
        to = detail::writeRecord(to, count.getTypeId(), count);
        for (const T& element : *this)
            to = detail::writeRecord(to, static_cast<unsigned int>(elementType.value), element);
        return length;
    } else {
        MemIOStream stream;
        if (!serialize(stream))
            throwFromBinFailed();
        return stream.toBin(buffer);
    }
}

template <typename T>
unsigned int List<T>::fromBin(const unsigned char* data, unsigned int length) {
    // The records are read in place, as a memory stream with this content would read them.
    const unsigned int size = streamContentSize(data, length);
    RecordWalk walk(data + streamContentOffset, data + streamContentOffset + size);
    if (!walk.isWhole())
        throwNotWholeRecords();
    std::list<T> previous; // one of these elements may hold the bytes
    previous.swap(*this);
    try {
        zutl::Integer elementType;
        zutl::Integer count;
        T element; // one for all records
        const unsigned int elementId = detail::Element<T>::asSerializable(element).getTypeId();
        detail::readRecord(walk, count.getTypeId(), elementType);
        if (static_cast<unsigned int>(elementType) != elementId)
            return 0;
        detail::readRecord(walk, count.getTypeId(), count);
        for (int i = 0; i < count; ++i) {
            detail::readRecord(walk, elementId, element);
            this->push_back(element);
        }
    } catch (...) {
        throwFromBinFailed();
    }
    return streamContentOffset + size;
}

} // namespace zusl
