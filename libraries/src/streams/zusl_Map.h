#pragma once
// zusl::Map and zusl::StringMap: ordered maps with unique keys that can be serialized.

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

// The namespace of the attribute that holds an entry's key in the XML form of a StringMap.
using zuxml::settingsSchema;

// A std::map with a binary form, whose insert also takes a key and a value. Keys and values are
// zusl::Serializable. Iterated, and written, in ascending key order. A concrete map gives its type id and
// name, and its XML form if it has one.
template <typename K, typename V>
class Map : public std::map<K, V>, public Serializable {
    using Base = std::map<K, V>;

public:
    using typename Base::const_iterator;
    using typename Base::iterator;
    using typename Base::node_type;
    using typename Base::value_type;

    using Base::Base;

    // Adds the pair when the key is absent and gives the new entry with true. A key that is there keeps its
    // value: gives that entry with false.
    std::pair<iterator, bool> insert(const K& key, const V& value) { return Base::try_emplace(key, value); }
    std::pair<iterator, bool> insert(K&& key, V&& value) {
        return Base::try_emplace(std::move(key), std::move(value));
    }

    // The standard map's own forms. They are listed, not taken over whole: the standard range form takes any
    // two arguments of one type, and so would take a key and a value given as two literals for a range.
    std::pair<iterator, bool> insert(const value_type& entry) { return Base::insert(entry); }
    std::pair<iterator, bool> insert(value_type&& entry) { return Base::insert(std::move(entry)); }
    iterator insert(const_iterator hint, const value_type& entry) { return Base::insert(hint, entry); }
    iterator insert(const_iterator hint, value_type&& entry) { return Base::insert(hint, std::move(entry)); }
    typename Base::insert_return_type insert(node_type&& node) { return Base::insert(std::move(node)); }
    iterator insert(const_iterator hint, node_type&& node) { return Base::insert(hint, std::move(node)); }
    void insert(std::initializer_list<value_type> entries) { Base::insert(entries); }
    template <typename Iterator, typename Entry = typename std::iterator_traits<Iterator>::reference,
              typename = std::enable_if_t<std::is_constructible_v<value_type, Entry>>>
    void insert(Iterator first, Iterator last) {
        Base::insert(first, last);
    }

    unsigned int getTypeId() const override { return internalTypeId(); }
    std::string getTypeName() const override { return internalTypeName(); }

    // Refused here: throw "toXML - not defined for this type of map." and "fromXML - not defined for this
    // type of map.", located, with internalTypeName() for the class.
    std::string toXML() const override { return this->toXML(internalTypeName().c_str()); }
    std::string toXML(const char* name) const override;
    bool fromXML(const char* xml) override;

    // The binary form: the number of entries in 4 bytes, then each entry's key and value in their binary
    // forms. Reading empties the map first; a key that occurs again keeps its first value. Throws
    // "zusl::Serializable::fromBin() - Failed!" when the form ends early; the entries read until then stay.
    unsigned int getBinLength() const override;
    unsigned int toBin(unsigned char* buffer) const override;
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // The identity of the concrete map.
    virtual zutl::String internalTypeName() const = 0;
    virtual unsigned int internalTypeId() const = 0;
};

// The map keyed by text. StringMap<zutl::String> is the settings map and holds a url's parameters.
template <typename V>
class StringMap : public Map<zutl::String, V> {
public:
    using Map<zutl::String, V>::Map;
    using Map<zutl::String, V>::toXML;

    // The settings-schema form: for each entry an "item" element with the key in its zu:displayName
    // attribute, unescaped; one line, ended by a newline. Nothing for a null name.
    std::string toXML(const char* name) const override;

    // Takes each child of the root for an entry: its zu:displayName, or else its name, and its value. Of two
    // with one key the first stays. False, with the map unchanged, when there is no document or the root has
    // no children.
    bool fromXML(const char* xml) override;

    zutl::String internalTypeName() const override { return V().getTypeName() + "StringMap"; }
    unsigned int internalTypeId() const override { return stringMapTypeIds + V().getTypeId(); }
};

template <typename K, typename V>
std::string Map<K, V>::toXML(const char* /*name*/) const {
    zutl::throwError(internalTypeName().c_str(), "toXML - not defined for this type of map.");
}

template <typename K, typename V>
bool Map<K, V>::fromXML(const char* /*xml*/) {
    zutl::throwError(internalTypeName().c_str(), "fromXML - not defined for this type of map.");
}

// Keys and values are held by value, so their classes are known: their operations are called without the
// table of virtual ones, which lets the compiler put short ones in place.

template <typename K, typename V>
unsigned int Map<K, V>::getBinLength() const {
    unsigned int length = zutl::Integer().getBinLength();
    for (const auto& [key, value] : *this)
        length += key.K::getBinLength() + value.V::getBinLength();
    return length;
}

template <typename K, typename V>
unsigned int Map<K, V>::toBin(unsigned char* buffer) const {
    unsigned int written = zutl::Integer(static_cast<int>(this->size())).toBin(buffer);
    for (const auto& [key, value] : *this) {
        written += key.K::toBin(buffer + written);
        written += value.V::toBin(buffer + written);
    }
    return written;
}

template <typename K, typename V>
unsigned int Map<K, V>::fromBin(const unsigned char* data, unsigned int length) {
    this->clear();
    zutl::Integer count;
    unsigned int taken = count.fromBin(data, length);
    const auto advance = [&](unsigned int bytes) {
        if (bytes > length - taken)
            throwFromBinFailed();
        taken += bytes;
    };
    // The count is not trusted: each entry takes its bytes from the form before anything is allocated for it.
    for (int i = 0; i < count; ++i) {
        K key;
        V value;
        advance(key.K::fromBin(data + taken, length - taken));
        advance(value.V::fromBin(data + taken, length - taken));
        this->emplace_hint(this->end(), std::move(key), std::move(value)); // the keys ascend
    }
    return taken;
}

template <typename V>
std::string StringMap<V>::toXML(const char* name) const {
    constexpr size_t behindItem = sizeof "<item" - 1;
    if (name == nullptr)
        return std::string();
    std::string xml("<");
    xml += name;
    xml += " xmlns:zu=\"";
    xml += settingsSchema;
    xml += "\">";
    for (const auto& [key, value] : *this) {
        const std::string item = value.toXML("item");
        xml.append(item, 0, behindItem);
        xml += " zu:displayName=\"";
        xml += key.c_str();
        xml += '"';
        xml.append(item, behindItem);
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
        value.fromXML(cursor.toXML().c_str());
        this->insert(key, value);
    }
    return true;
}

} // namespace zusl
