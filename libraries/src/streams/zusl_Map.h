#pragma once
// zusl::Map and zusl::StringMap: ordered maps with unique keys.

#include "zutl_String.h"

#include <initializer_list>
#include <iterator>
#include <map>
#include <utility>

namespace zusl {

// A std::map whose insert also takes a key and a value. Iterated in ascending key order.
template <typename K, typename V>
class Map : public std::map<K, V> {
    using Base = std::map<K, V>;

public:
    using typename Base::const_iterator;
    using typename Base::iterator;
    using typename Base::node_type;
    using typename Base::value_type;

    using Base::Base;
    Map() = default;

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
};

// The map keyed by text. StringMap<zutl::String> is the settings map and holds a url's parameters.
template <typename V>
class StringMap : public Map<zutl::String, V> {
public:
    using Map<zutl::String, V>::Map;
};

} // namespace zusl
