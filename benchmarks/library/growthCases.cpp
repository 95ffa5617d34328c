// Each operation of the libraries on inputs of two sizes, also on input made to hurt.

#include "jobs.h"
#include "zusl_List.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_url.h"

#include <memory>

namespace bench {

namespace {

using zutl::String;
using Map = zusl::StringMap<String>;
using List = zusl::List<String>;
using Bytes = std::vector<unsigned char>;
using Cases = std::vector<Contender>;

constexpr size_t factor = 8;

// The operation on what `make` gives for n and for 8 n.
template <typename Make, typename Operation>
void add(Cases& cases, const std::string& name, size_t n, Make make, Operation operation) {
    for (const size_t size : {n, n * factor}) {
        auto input =
            std::make_shared<std::shared_ptr<decltype(make(size))>>(); // made when it is needed first
        cases.push_back({name + '/' + std::to_string(size),
                         [=] {
                             if (*input == nullptr)
                                 *input = std::make_shared<decltype(make(size))>(make(size));
                             keep(operation(**input));
                         },
                         {}});
    }
}

String repeated(std::string_view piece, size_t times) {
    String text;
    for (size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

// A text of n pieces, and what is before and after them.
struct TextCase {
    const char* name;
    size_t n;
    const char* piece;
    const char* before = "";
    const char* after = "";
};

template <typename Operation>
void addTexts(Cases& cases, std::initializer_list<TextCase> texts, Operation operation) {
    for (const TextCase& each : texts)
        add(
            cases, each.name, each.n,
            [=](size_t n) { return String(each.before + repeated(each.piece, n) + each.after); }, operation);
}

String key(size_t number) {
    return String::fromFormat("key%08u", static_cast<unsigned int>(number));
}

void addTextCases(Cases& cases) {
    addTexts(cases,
             {{"url::decode, no escapes", 10000, "abcdefgh"},
              {"url::decode, a flood of %", 100000, "%"},
              {"url::decode, only escapes", 100000, "%41"}},
             [](const String& text) { return zutl::url::decode(text, true); });
    addTexts(cases, {{"url::encode, only escapes", 100000, "&"}},
             [](const String& text) { return zutl::url::encode(text, "&"); });
    addTexts(cases,
             {{"url::parse, one parameter again and again", 10000, "a=b&", "?"},
              {"url::parse, only separators", 100000, "&", "/?"}},
             [](const String& text) { return zutl::url::parse(text); });
    add(
        cases, "url::parse and print, many parameters", 1000,
        [](size_t n) {
            String text("http://host/path?");
            for (size_t i = 0; i < n; ++i)
                text += key(i * 7919 % n) + "=value&";
            return text;
        },
        [](const String& text) { return static_cast<const String>(zutl::url::parse(text)); });
    addTexts(cases, {{"encodeHtml, plain", 10000, "abcdefgh"}, {"encodeHtml, only quotes", 100000, "\""}},
             [](const String& text) { return String::encodeHtml(text); });
    addTexts(cases,
             {{"decodeHtml, only entities", 50000, "&quot;"},
              {"decodeHtml, only &", 100000, "&"},
              {"decodeHtml, entities that never end", 50000, "&quot"}},
             [](const String& text) { return String::decodeHtml(text); });
    addTexts(cases, {{"sanitize", 100000, "ab+ "}},
             [](const String& text) { return String::sanitize(text, "abc "); });
    addTexts(cases, {{"trim, blanks within", 60000, " ", "a", "b"}},
             [](const String& text) { return text.trim(); });
    addTexts(cases, {{"toLower", 100000, "ABCD"}}, [](const String& text) { return text.toLower(); });
    addTexts(cases, {{"isNumeric", 100000, "7777"}}, [](const String& text) {
        bool isInteger;
        return text.isNumeric(isInteger);
    });
    addTexts(cases, {{"extract, the end only at the end", 30000, "ab", "<", ">"}},
             [](const String& text) { return text.extract("<", ">"); });
    addTexts(cases, {{"fromFormat", 100000, "ab"}},
             [](const String& text) { return String::fromFormat("%s!", text.c_str()); });
    addTexts(cases,
             {{"tokenize, short tokens", 20000, "ab,"},
              {"tokenize, quoted tokens", 10000, "\"a,b\",'c',"},
              {"tokenize, sections that never end", 20000, ",\\'\\\""},
              {"tokenize, a quote alone before delimiters", 20000, ",", "'"}},
             [](const String& text) { return text.tokenize(",", "\"'"); });
    addTexts(cases,
             {{"findAll, only delimiters", 100000, ",;"},
              {"findAll, only quotes", 100000, "'"},
              {"findAll, quotes after the last delimiter", 50000, "''", ","},
              {"findAll, delimiters before the first quote", 50000, ",", "", "''"}},
             [](const String& text) { return text.findAll(",;", "\"'"); });
    add(
        cases, "join", 20000, [](size_t n) { return std::vector<String>(n, "abc"); },
        [](const std::vector<String>& items) { return String::join(items, ", "); });
    addTexts(cases,
             {{"replaceElement, elements in a row", 12500, "<a>x</a>"},
              {"replaceElement, open tags that never close", 12500, "<a>"},
              {"replaceElement, only close tags", 12500, "</a>"},
              {"replaceElement, tags that never end", 12500, "<a "},
              {"replaceElement, longer names", 12500, "<ab>"},
              {"replaceElement, one close tag after many open ones", 12500, "<a>", "", "</a>"}},
             [](const String& text) { return text.replaceElement("a", "b"); });
    const auto nested = [](size_t depth) { return String(repeated("<a>", depth) + repeated("</a>", depth)); };
    const auto close = [](const String& text) {
        unsigned int start = 0;
        unsigned int end = 0;
        return zutl::findCloseTag(text, 3, "a", start, end) ? end : 0;
    };
    add(cases, "replaceElement, nested elements", 12500, nested,
        [](const String& text) { return text.replaceElement("a", "b"); });
    add(cases, "findCloseTag, nested elements", 12500, nested, close);
    addTexts(cases, {{"findCloseTag, open tags that never close", 12500, "<a>"}}, close);
}

enum class Order { ascending, descending, mixed };

std::vector<String> keys(size_t n, Order order) {
    std::vector<String> all;
    for (size_t i = 0; i < n; ++i)
        all.push_back(key(order == Order::ascending ? i : order == Order::descending ? n - i : i * 7919 % n));
    return all;
}

Map mapOf(const std::vector<String>& keys) {
    Map map;
    for (const String& each : keys)
        map.insert(each, "value");
    return map;
}

Bytes mapBytes(const std::vector<String>& keys) {
    Bytes bytes(4 + keys.size() * 32);
    unsigned int length = zutl::Integer(static_cast<int>(keys.size())).toBin(bytes.data());
    for (const String& each : keys) {
        length += each.toBin(&bytes[length]);
        length += each.toBin(&bytes[length]);
    }
    bytes.resize(length);
    return bytes;
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

void addContainerCases(Cases& cases) {
    for (const auto& [name, order] : {std::pair<const char*, Order>{"ascending keys", Order::ascending},
                                      {"descending keys", Order::descending},
                                      {"mixed keys", Order::mixed}}) {
        const Order by = order;
        add(
            cases, std::string("Map::insert, ") + name, 1000, [=](size_t n) { return keys(n, by); }, mapOf);
        add(
            cases, std::string("Map::fromBin, ") + name, 1000,
            [=](size_t n) { return mapBytes(keys(n, by)); }, fromBytes<Map>);
    }
    add(
        cases, "Map::fromBin, one key again and again", 2000,
        [](size_t n) { return mapBytes(std::vector<String>(n, "same")); }, fromBytes<Map>);
    const auto makeMap = [](size_t n) { return mapOf(keys(n, Order::ascending)); };
    const auto makeList = [](size_t n) { return List(n, "value"); };
    add(cases, "Map::toBin", 1000, makeMap, bytesOf<Map>);
    add(cases, "Map::toXML", 1000, makeMap, [](const Map& map) { return map.toXML(); });
    add(cases, "List::toBin", 2000, makeList, bytesOf<List>);
    add(
        cases, "List::fromBin", 2000, [=](size_t n) { return bytesOf(makeList(n)); }, fromBytes<List>);
    add(cases, "List::toXML", 2000, makeList, [](const List& list) { return list.toXML(); });
}

zusl::MemIOStream filledStream(size_t n) {
    zusl::MemIOStream stream;
    for (size_t i = 0; i < n; ++i)
        stream.write(zutl::Integer(static_cast<int>(i)));
    return stream;
}

int readWhileWriting(size_t n, size_t waiting) {
    zusl::MemIOStream stream = filledStream(waiting);
    zutl::Integer number;
    for (size_t i = 0; i < n; ++i) {
        stream.write(zutl::Integer(static_cast<int>(i)));
        stream.read(number);
    }
    return number;
}

void addStreamCases(Cases& cases) {
    const auto same = [](size_t n) { return n; };
    add(cases, "MemIOStream::write, small records", 20000, same, filledStream);
    add(cases, "MemIOStream::read, small records", 20000, filledStream, [](zusl::MemIOStream stream) {
        zutl::Integer number;
        while (!stream.isEmpty())
            stream.read(number);
        return number;
    });
    add(cases, "MemIOStream, each record read at once", 20000, same,
        [](size_t n) { return readWhileWriting(n, 0); });
    // The content nearly fills the memory all the time: moving it must not be a step of every write.
    add(cases, "MemIOStream, as many records waiting as passing", 5000, same,
        [](size_t n) { return readWhileWriting(n, n); });
    add(cases, "MemIOStream::count, small records", 20000, filledStream,
        [](const zusl::MemIOStream& stream) { return stream.count(); });
    add(
        cases, "MemIOStream::setBuffer, small records", 20000,
        [](size_t n) { return bytesOf(filledStream(n)); }, fromBytes<zusl::MemIOStream>);
}

} // namespace

std::vector<Contender> growthCases() {
    Cases cases;
    addTextCases(cases);
    addContainerCases(cases);
    addStreamCases(cases);
    return cases;
}

} // namespace bench
