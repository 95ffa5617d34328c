#include "encoding.h"

#include "zusl_MemIOStream.h"
#include "zusl_Record.h"
#include "zutl_Exception.h"
#include "zutl_String.h"

namespace dump {

bool take(zusl::Serializable& object, Block& block) {
    try {
        block.skip(object.fromBin(block.from, block.length));
        return true;
    } catch (const zutl::Exception&) {
        return false;
    }
}

bool takeRecord(zutl::Integer& number, Block& block) {
    zusl::Record record;
    if (!zusl::readRecord(block.from, block.length, record) || record.typeId != number.getTypeId())
        return false;
    Block payload{record.payload, record.length};
    block.skip(record.size());
    return take(number, payload);
}

// Returns true if the encoding is that of a list which names `elementId` as the type of its elements.
static bool isListOf(unsigned int elementId, Block encoding) {
    zutl::Integer named;
    if (encoding.length < zusl::streamContentOffset)
        return false;
    encoding.skip(zusl::streamContentOffset);
    return takeRecord(named, encoding) && static_cast<unsigned int>(named) == elementId;
}

Type typeOf(unsigned int id, Block encoding) {
    const auto describe = [](const zusl::Serializable& object, Shape shape) {
        return Type{object.getTypeId(), shape, object.getTypeName()};
    };
    static const Type simple[] = {
        describe(zusl::EndOfFile(), Shape::marker), describe(zutl::String(), Shape::text),
        describe(zutl::Integer(), Shape::integer), describe(zusl::MemIOStream(), Shape::stream)};
    for (const Type& type : simple)
        if (type.id == id)
            return type;

    const auto innerName = [id](unsigned int containerIds) {
        return id > containerIds ? typeOf(id - containerIds, Block()).name : std::string();
    };
    // A marker is never read, so there are no lists of markers.
    const bool isListOfMarkers = id == zusl::listTypeIds + zusl::EndOfFile::typeId;
    const std::string element = isListOfMarkers ? std::string() : innerName(zusl::listTypeIds);
    const std::string value = innerName(zusl::stringMapTypeIds);
    if (!element.empty() && (value.empty() || isListOf(id - zusl::listTypeIds, encoding)))
        return {id, Shape::list, element + "List", id - zusl::listTypeIds};
    if (!value.empty())
        return {id, Shape::map, value + "StringMap", id - zusl::stringMapTypeIds};
    return {id, Shape::unknown, std::string()};
}

} // namespace dump
