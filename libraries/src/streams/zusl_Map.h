#pragma once
// zusl::Map and zusl::StringMap: ordered maps with unique keys that can be serialized.

#include "zusl_Element.h"
#include "zusl_Serializable.h"
#include "zutl_Exception.h"
#include "zutl_Integer.h"
#include "zutl_String.h"
#include "zuxml_DomIterator.h"

#include <initializer_list>
#include <iterator>
#include <map>
#include <utility>

namespace zusl {

// The namespace of the attribute that holds an entry's key in the XML text of a StringMap.
using zuxml::settingsSchema;

// A std::map with a binary encoding, whose insert also takes a key and a value. Keys and values are
// zusl::Serializable. Iterated, and written, in ascending key order. A concrete map gives its type id and
// name, and its XML text if it has one.
template <typename K, typename V>
class Map : public std::map<K, V>, public Serializable {
public:
    using typename std::map<K, V>::const_iterator;
    using typename std::map<K, V>::iterator;
    using typename std::map<K, V>::node_type;
    using typename std::map<K, V>::value_type;

    using std::map<K, V>::map;

    // Adds the pair if the key is absent and returns the new entry and true. Otherwise returns the existing
    // entry, unchanged, and false.
    std::pair<iterator, bool> insert(const K& key, const V& value) { return this->try_emplace(key, value); }

    // Like the above, but moves temporaries. A template that accepts no conversion, so that every other pair
    // of arguments uses the function above.
    template <typename Key, typename Value,
              typename = std::enable_if_t<std::is_same_v<Key, K> && std::is_same_v<Value, V>>>
    std::pair<iterator, bool> insert(Key&& key, Value&& value) {
        return this->try_emplace(std::forward<Key>(key), std::forward<Value>(value));
    }

    // std::map's own insert functions follow. They are listed because its range insert accepts any two
    // arguments of the same type, and so would take two literals, a key and a value, for a range.

    // As std::map::insert.
    std::pair<iterator, bool> insert(const value_type& entry) { return std::map<K, V>::insert(entry); }

    // As std::map::insert.
    std::pair<iterator, bool> insert(value_type&& entry) { return std::map<K, V>::insert(std::move(entry)); }

    // As std::map::insert.
    iterator insert(const_iterator hint, const value_type& entry) {
        return std::map<K, V>::insert(hint, entry);
    }

    // As std::map::insert.
    iterator insert(const_iterator hint, value_type&& entry) {
        return std::map<K, V>::insert(hint, std::move(entry));
    }

    // As std::map::insert.
    typename std::map<K, V>::insert_return_type insert(node_type&& node) {
        return std::map<K, V>::insert(std::move(node));
    }

    // As std::map::insert.
    iterator insert(const_iterator hint, node_type&& node) {
        return std::map<K, V>::insert(hint, std::move(node));
    }

    // As std::map::insert.
    void insert(std::initializer_list<value_type> entries) { std::map<K, V>::insert(entries); }

    // As std::map::insert.
    template <typename Iterator, typename Entry = typename std::iterator_traits<Iterator>::reference,
              typename = std::enable_if_t<std::is_constructible_v<value_type, Entry>>>
    void insert(Iterator first, Iterator last) {
        std::map<K, V>::insert(first, last);
    }

    // Returns internalTypeId().
    unsigned int getTypeId() const override { return internalTypeId(); }

    // Returns internalTypeName().
    std::string getTypeName() const override { return internalTypeName(); }

    // Returns toXML(internalTypeName()).
    std::string toXML() const override { return this->toXML(internalTypeName().c_str()); }

    // Throws "toXML - not defined for this type of map.", located, with internalTypeName() as the class,
    // unless a derived class overrides it.
    std::string toXML(const char* name) const override;

    // Throws "fromXML - not defined for this type of map.", located, with internalTypeName() as the class,
    // unless a derived class overrides it.
    bool fromXML(const char* xml) override;

    // Returns the length of the encoding. Throws std::bad_alloc if that exceeds 32 bits.
    unsigned int getBinLength() const override;

    // Writes the number of entries in 4 bytes, then the encodings of each entry's key and value. Throws what
    // getBinLength throws before it writes.
    unsigned int toBin(unsigned char* buffer) const override;

    // Replaces the entries; a key that occurs again keeps its first value. Throws
    // "zusl::Serializable::fromBin() - Failed!" if the encoding ends early; the entries read by then are
    // kept.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // Returns the type name of the concrete map.
    virtual zutl::String internalTypeName() const = 0;

    // Returns the type id of the concrete map.
    virtual unsigned int internalTypeId() const = 0;
};

// The map keyed by text. StringMap<zutl::String> is the settings map and holds a url's parameters.
template <typename V>
class StringMap : public Map<zutl::String, V> {
public:
    using Map<zutl::String, V>::Map;
    using Map<zutl::String, V>::toXML;

    // Returns a root element called `name` with an "item" element for each entry, whose zu:displayName
    // attribute is the key, unescaped. One line that ends with a newline; empty for a null name.
    std::string toXML(const char* name) const override;

    // Replaces the entries with the children of the root element: the key is the zu:displayName attribute, or
    // else the element's name. If a key occurs twice, the first is kept. One object reads all values, so a
    // child without a value gets that of the preceding child; this is imposed by the published interface.
    // Returns false, with the map unchanged, if there is no document or the root has no children.
    bool fromXML(const char* xml) override;

    // Returns the name of the value type, followed by "StringMap".
    zutl::String internalTypeName() const override { return detail::Element<V>::typeName() + "StringMap"; }

    // Returns stringMapTypeIds plus the type id of the values.
    unsigned int internalTypeId() const override { return stringMapTypeIds + detail::Element<V>::typeId(); }
};

template <typename K, typename V>
std::string Map<K, V>::toXML(const char* /*name*/) const {
    zutl::throwError(internalTypeName().c_str(), "toXML - not defined for this type of map.");
}

template <typename K, typename V>
bool Map<K, V>::fromXML(const char* /*xml*/) {
    zutl::throwError(internalTypeName().c_str(), "fromXML - not defined for this type of map.");
}

template <typename K, typename V>
unsigned int Map<K, V>::getBinLength() const {
    std::uint64_t length = zutl::Integer().getBinLength();
    for (const auto& [key, value] : *this)
        length += detail::Element<K>::getBinLength(key) + detail::Element<V>::getBinLength(value);
    return zutl::to32Bits(length);
}

template <typename K, typename V>
unsigned int Map<K, V>::toBin(unsigned char* buffer) const {
    Map::getBinLength(); // throws before a byte is written
    unsigned int written = zutl::Integer(static_cast<int>(this->size())).toBin(buffer);
    for (const auto& [key, value] : *this) {
        written += detail::Element<K>::toBin(key, buffer + written);
        written += detail::Element<V>::toBin(value, buffer + written);
    }
    return written;
}

template <typename K, typename V>
unsigned int Map<K, V>::fromBin(const unsigned char* data, unsigned int length) {
    std::map<K, V> previous; // one of these entries may hold the bytes
    previous.swap(*this);
    zutl::Integer count;
    unsigned int taken = count.fromBin(data, length);
    const auto advance = [&](unsigned int bytes) {
        if (bytes > length - taken)
            throwFromBinFailed();
        taken += bytes;
    };
    // The count is not trusted: the bytes of each entry are read before anything is allocated for it.
    for (int i = 0; i < count; ++i) {
        K key;
        V value;
        advance(detail::Element<K>::fromBin(key, data + taken, length - taken));
        advance(detail::Element<V>::fromBin(value, data + taken, length - taken));
        this->emplace_hint(this->end(), std::move(key), std::move(value)); // the keys ascend
    }
    return taken;
}

template <typename V>
std::string StringMap<V>::toXML(const char* name) const {
    constexpr size_t afterItem = sizeof "<item" - 1;
    if (name == nullptr)
        return std::string();
    std::string xml("<");
    xml += name;
    xml += " xmlns:zu=\"";
    xml += settingsSchema;
    xml += "\">";
    for (const auto& [key, value] : *this) {
        const std::string item = detail::Element<V>::asSerializable(value).toXML("item");
        xml.append(item, 0, afterItem);
        xml += " zu:displayName=\"";
        xml += key.c_str();
        xml += '"';
        xml.append(item, afterItem);
    }
    xml += "</";
    xml += name;
    xml += ">\n";
    return xml;
}

template <typename V>
bool StringMap<V>::fromXML(const char* xml) {
    zuxml::DomIterator cursor = zuxml::DomIterator::parse(xml);
    if (cursor.atEnd() || !cursor.hasChildren())
        return false;
    this->clear();
    V value; // one for all: a child without a value has that of the child before it
    for (cursor = cursor.childrenBegin(); !cursor.atEnd(); cursor.nextSibling()) {
        zutl::String key = cursor.getAttribute("zu:displayName");
        if (key.empty())
            key = cursor.getName();
        detail::Element<V>::fromXML(value, cursor.toXML().c_str());
        this->insert(key, value);
    }
    return true;
}

} // namespace zusl
