// Each operation of the libraries on inputs of two sizes, also on input made to hurt.

#include "jobs.h"
#include "zusl_List.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_url.h"

#include <optional>

namespace {

using zutl::String;
using Map = zusl::StringMap<String>;
using List = zusl::List<String>;
using Stream = zusl::MemIOStream;
using Bytes = std::vector<unsigned char>;

// The operation on what `make` gives for n and for 8 n.
template <typename Make, typename Operation>
void add(Contenders& all, const std::string& name, size_t n, Make make, Operation operation) {
    for (const size_t size : {n, 8 * n})
        all.push_back({"growth", name + '/' + std::to_string(size),
                       [=, input = std::optional<decltype(make(n))>()]() mutable {
                           if (!input)
                               input = make(size);
                           keep(operation(*input));
                       }});
}

// Makes texts of n pieces with something before and after them.
auto pieces(const std::string& piece, const std::string& before = "", const std::string& after = "") {
    return [=](size_t n) {
        String text(before);
        for (size_t i = 0; i < n; ++i)
            text += piece;
        text += after;
        return text;
    };
}

const auto decode = [](const String& text) { return zutl::url::decode(text, true); };
const auto encode = [](const String& text) { return zutl::url::encode(text, "&"); };
const auto parse = [](const String& text) { return zutl::url::parse(text); };
const auto encodeHtml = [](const String& text) { return String::encodeHtml(text); };
const auto decodeHtml = [](const String& text) { return String::decodeHtml(text); };
const auto tokenize = [](const String& text) { return text.tokenize(",", "\"'"); };
const auto findAll = [](const String& text) { return text.findAll(",;", "\"'"); };
const auto replace = [](const String& text) { return text.replaceElement("a", "b"); };
const auto findClose = [](const String& text) {
    unsigned int start = 0;
    unsigned int end = 0;
    return zutl::findCloseTag(text, 3, "a", start, end) ? end : 0;
};
const auto nested = [](size_t depth) { return String(pieces("<a>")(depth) + pieces("</a>")(depth)); };

void addTextCases(Contenders& all) {
    add(all, "url::decode, a flood of %", 100000, pieces("%"), decode);
    add(all, "url::decode, only escapes", 100000, pieces("%41"), decode);
    add(all, "url::encode, only escapes", 100000, pieces("&"), encode);
    add(all, "url::parse, one parameter again and again", 10000, pieces("a=b&", "?"), parse);
    add(all, "url::parse, only separators", 100000, pieces("&", "?"), parse);
    add(all, "encodeHtml, only quotes", 100000, pieces("\""), encodeHtml);
    add(all, "decodeHtml, only entities", 50000, pieces("&quot;"), decodeHtml);
    add(all, "decodeHtml, only &", 100000, pieces("&"), decodeHtml);
    add(all, "decodeHtml, entities that never end", 50000, pieces("&quot"), decodeHtml);
    add(all, "tokenize, short tokens", 20000, pieces("ab,"), tokenize);
    add(all, "tokenize, quoted tokens", 10000, pieces("\"a,b\",'c',"), tokenize);
    add(all, "tokenize, sections that never end", 20000, pieces(",\\'\\\""), tokenize);
    add(all, "tokenize, a quote alone before delimiters", 20000, pieces(",", "'"), tokenize);
    add(all, "findAll, only delimiters", 100000, pieces(",;"), findAll);
    add(all, "findAll, quotes after the last delimiter", 50000, pieces("''", ","), findAll);
    add(all, "findAll, delimiters before the first quote", 50000, pieces(",", "", "''"), findAll);
    add(all, "replaceElement, elements in a row", 12500, pieces("<a>x</a>"), replace);
    add(all, "replaceElement, nested elements", 12500, nested, replace);
    add(all, "replaceElement, open tags that never close", 12500, pieces("<a>"), replace);
    add(all, "replaceElement, tags that never end", 12500, pieces("<a "), replace);
    add(all, "replaceElement, one close tag at the end", 12500, pieces("<a>", "", "</a>"), replace);
    add(all, "findCloseTag, open tags that never close", 12500, pieces("<a>"), findClose);
}

Map mixedMap(size_t n) {
    Map map;
    for (size_t i = 0; i < n; ++i)
        map.insert(String::fromFormat("key%08u", static_cast<unsigned int>(i * 7919 % n)), "value");
    return map;
}

template <typename Container>
Bytes bytesOf(const Container& container) {
    Bytes bytes(container.getBinLength());
    container.toBin(bytes.data());
    return bytes;
}

template <typename Container>
Container fromBytes(const Bytes& bytes) {
    Container container;
    container.fromBin(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return container;
}

// A stream that `count` records passed through, with `waiting` records in it all the time.
Stream passed(size_t count, size_t waiting) {
    Stream stream;
    zutl::Integer number;
    for (size_t i = 0; i < count + waiting; ++i) {
        stream.write(zutl::Integer(static_cast<int>(i)));
        if (i >= waiting)
            stream.read(number);
    }
    return stream;
}

void addBinaryCases(Contenders& all) {
    const auto same = [](size_t n) { return n; };
    const auto list = [](size_t n) { return List(n, "value"); };
    const auto listBytes = [](size_t n) { return bytesOf(List(n, "value")); };
    const auto mapBytes = [](size_t n) { return bytesOf(mixedMap(n)); };
    add(all, "Map::insert, mixed keys", 1000, same, mixedMap);
    add(all, "Map::fromBin", 1000, mapBytes, fromBytes<Map>);
    add(all, "List::toBin", 500, list, bytesOf<List>);
    add(all, "List::fromBin", 2000, listBytes, fromBytes<List>);
    add(all, "MemIOStream::write", 20000, same, [](size_t n) { return passed(0, n); });
    add(all, "MemIOStream, each record read at once", 20000, same, [](size_t n) { return passed(n, 0); });
    // The content nearly fills the memory all the time: not every write may move it.
    add(all, "MemIOStream, as many waiting as passing", 5000, same, [](size_t n) { return passed(n, n); });
}

} // namespace

void addGrowthCases(Contenders& all) {
    addTextCases(all);
    addBinaryCases(all);
}
