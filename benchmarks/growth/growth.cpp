// How each operation of the libraries grows with its input: growth_bench [--quick] [--tsv FILE]. Prints the
// time at n and at 8 n and their ratio, also for input made to hurt, and ends with 1 when one grows clearly
// faster than its input.

#include "harness.h"
#include "inputs.h"
#include "zusl_List.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_url.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <memory>
#include <string_view>

namespace {

using zutl::String;
using Map = zusl::StringMap<String>;
using List = zusl::List<String>;
using Bytes = std::vector<unsigned char>;

constexpr size_t factor = 8;
constexpr double mostRatio =
    16;                     // a sorted container and colder caches give up to 13, the square of the input 64
constexpr int attempts = 3; // a disturbed measurement is repeated

struct Case {
    std::string name;
    size_t n;
    // Makes the operation on input of this size.
    std::function<std::function<void()>(size_t)> prepare;
};
using Cases = std::vector<Case>;

// The input is made once, the operation looks at it.
template <typename Make, typename Operation>
Case onInput(const char* name, size_t n, Make make, Operation operation) {
    return {name, n, [=](size_t size) -> std::function<void()> {
                const auto input = std::make_shared<const decltype(make(size))>(make(size));
                return [=] { bench::keep(operation(*input)); };
            }};
}

String repeated(std::string_view piece, size_t times) {
    String text;
    for (size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

std::function<String(size_t)> many(const char* piece) {
    return [=](size_t n) { return repeated(piece, n); };
}

String nested(size_t depth) {
    return repeated("<a>", depth) + repeated("</a>", depth);
}

String key(size_t number) {
    return String::fromFormat("key%08u", static_cast<unsigned int>(number));
}

void addTextCases(Cases& cases) {
    const auto decode = [](const String& text) { return zutl::url::decode(text, true); };
    cases.push_back(onInput("url::decode, no escapes", 100000, many("abcdefgh"), decode));
    cases.push_back(onInput("url::decode, a flood of %", 100000, many("%"), decode));
    cases.push_back(onInput("url::decode, only escapes", 100000, many("%41"), decode));
    cases.push_back(onInput("url::encode, only escapes", 100000, many("&"),
                            [](const String& text) { return zutl::url::encode(text, "&"); }));
    cases.push_back(onInput(
        "url::parse and print, many parameters", 1000,
        [](size_t n) {
            String text("http://host/path?");
            for (size_t i = 0; i < n; ++i)
                text += key(i * 7919 % n) + "=value&";
            return text;
        },
        [](const String& text) { return static_cast<const String>(zutl::url::parse(text)); }));
    cases.push_back(onInput("url::parse, one parameter again and again", 10000, many("a=b&"),
                            [](const String& text) { return zutl::url::parse("?" + text); }));
    cases.push_back(onInput("url::parse, only separators", 100000, many("&"),
                            [](const String& text) { return zutl::url::parse("/?" + text); }));
    const auto encodeHtml = [](const String& text) { return String::encodeHtml(text); };
    const auto decodeHtml = [](const String& text) { return String::decodeHtml(text); };
    cases.push_back(onInput("encodeHtml, plain", 100000, many("abcdefgh"), encodeHtml));
    cases.push_back(onInput("encodeHtml, only quotes", 100000, many("\""), encodeHtml));
    cases.push_back(onInput("decodeHtml, only entities", 50000, many("&quot;"), decodeHtml));
    cases.push_back(onInput("decodeHtml, only &", 100000, many("&"), decodeHtml));
    cases.push_back(onInput("decodeHtml, entities that never end", 50000, many("&quot"), decodeHtml));
    cases.push_back(onInput("sanitize", 100000, many("ab+ "),
                            [](const String& text) { return String::sanitize(text, "abc "); }));
    cases.push_back(onInput(
        "trim, blanks within", 100000, [](size_t n) { return "a" + repeated(" ", n) + "b"; },
        [](const String& text) { return String(text).trim(); }));
    cases.push_back(
        onInput("toLower", 100000, many("ABCD"), [](const String& text) { return text.toLower(); }));
    cases.push_back(onInput("isNumeric", 100000, many("7777"), [](const String& text) {
        bool isInteger;
        return text.isNumeric(isInteger);
    }));
    cases.push_back(onInput(
        "extract, the end only at the end", 100000, [](size_t n) { return "<" + repeated("ab", n) + ">"; },
        [](const String& text) { return text.extract("<", ">"); }));
    cases.push_back(onInput("fromFormat", 100000, many("ab"),
                            [](const String& text) { return String::fromFormat("%s!", text.c_str()); }));
}

void addTokenCases(Cases& cases) {
    const auto tokens = [](const String& text) { return text.tokenize(",", "\"'"); };
    const auto positions = [](const String& text) { return text.findAll(",;", "\"'"); };
    cases.push_back(onInput("tokenize, short tokens", 20000, many("ab,"), tokens));
    cases.push_back(onInput("tokenize, quoted tokens", 10000, many("\"a,b\",'c',"), tokens));
    cases.push_back(onInput("tokenize, sections that never end", 20000, many(",\\'\\\""), tokens));
    cases.push_back(onInput(
        "tokenize, a quote alone before delimiters", 20000, [](size_t n) { return "'" + repeated(",", n); },
        tokens));
    cases.push_back(onInput("findAll, only delimiters", 100000, many(",;"), positions));
    cases.push_back(onInput("findAll, only quotes", 100000, many("'"), positions));
    cases.push_back(onInput(
        "findAll, quotes behind the last delimiter", 50000, [](size_t n) { return "," + repeated("''", n); },
        positions));
    cases.push_back(onInput(
        "findAll, delimiters before the first quote", 50000, [](size_t n) { return repeated(",", n) + "''"; },
        positions));
    cases.push_back(onInput(
        "join", 20000, [](size_t n) { return std::vector<String>(n, "abc"); },
        [](const std::vector<String>& items) { return String::join(items, ", "); }));
}

void addElementCases(Cases& cases) {
    const auto replace = [](const String& text) { return text.replaceElement("a", "b"); };
    const auto close = [](const String& text) {
        unsigned int start = 0;
        unsigned int end = 0;
        return zutl::findCloseTag(text, 3, "a", start, end) ? end : 0;
    };
    cases.push_back(onInput("replaceElement, elements in a row", 12500, many("<a>x</a>"), replace));
    cases.push_back(onInput("replaceElement, nested elements", 12500, nested, replace));
    cases.push_back(onInput("replaceElement, open tags that never close", 12500, many("<a>"), replace));
    cases.push_back(onInput("replaceElement, only close tags", 12500, many("</a>"), replace));
    cases.push_back(onInput("replaceElement, tags that never end", 12500, many("<a "), replace));
    cases.push_back(onInput("replaceElement, longer names", 12500, many("<ab>"), replace));
    cases.push_back(onInput(
        "replaceElement, one close tag behind many open ones", 12500,
        [](size_t n) { return repeated("<a>", n) + "</a>"; }, replace));
    cases.push_back(onInput("findCloseTag, nested elements", 12500, nested, close));
    cases.push_back(onInput("findCloseTag, open tags that never close", 12500, many("<a>"), close));
}

// Keys in one of three orders: 0 ascending, 1 descending, 2 mixed.
Map filledMap(size_t n, int order) {
    Map map;
    for (size_t i = 0; i < n; ++i)
        map.insert(key(order == 0 ? i : order == 1 ? n - i : i * 7919 % n), "value");
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

std::function<Bytes(size_t)> formWithKeys(int order) {
    return [=](size_t n) {
        std::vector<String> keys;
        for (size_t i = 0; i < n; ++i)
            keys.push_back(key(order == 0 ? i : order == 1 ? n - i : i * 7919 % n));
        return mapBytes(keys);
    };
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
    const auto fill = [](int order) {
        return [=](size_t n) -> std::function<void()> { return [=] { bench::keep(filledMap(n, order)); }; };
    };
    cases.push_back({"Map::insert, ascending keys", 1000, fill(0)});
    cases.push_back({"Map::insert, descending keys", 1000, fill(1)});
    cases.push_back({"Map::insert, mixed keys", 1000, fill(2)});
    cases.push_back(onInput("Map::fromBin, ascending keys", 1000, formWithKeys(0), fromBytes<Map>));
    cases.push_back(onInput("Map::fromBin, descending keys", 1000, formWithKeys(1), fromBytes<Map>));
    cases.push_back(onInput("Map::fromBin, mixed keys", 1000, formWithKeys(2), fromBytes<Map>));
    cases.push_back(onInput(
        "Map::fromBin, one key again and again", 2000,
        [](size_t n) { return mapBytes(std::vector<String>(n, "same")); }, fromBytes<Map>));
    const auto makeMap = [](size_t n) { return filledMap(n, 0); };
    const auto makeList = [](size_t n) { return List(n, "value"); };
    cases.push_back(onInput("Map::toBin", 1000, makeMap, bytesOf<Map>));
    cases.push_back(onInput("Map::toXML", 1000, makeMap, [](const Map& map) { return map.toXML(); }));
    cases.push_back(onInput("List::toBin", 2000, makeList, bytesOf<List>));
    cases.push_back(onInput(
        "List::fromBin", 2000, [=](size_t n) { return bytesOf(makeList(n)); }, fromBytes<List>));
    cases.push_back(onInput("List::toXML", 2000, makeList, [](const List& list) { return list.toXML(); }));
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
    cases.push_back({"MemIOStream::write, small records", 20000, [](size_t n) -> std::function<void()> {
                         return [=] { bench::keep(filledStream(n)); };
                     }});
    cases.push_back(
        onInput("MemIOStream::read, small records", 20000, filledStream, [](const zusl::MemIOStream& filled) {
            zusl::MemIOStream stream(filled);
            zutl::Integer number;
            while (!stream.isEmpty())
                stream.read(number);
            return number;
        }));
    cases.push_back({"MemIOStream, each record read at once", 20000, [](size_t n) -> std::function<void()> {
                         return [=] { bench::keep(readWhileWriting(n, 0)); };
                     }});
    // The content nearly fills the memory all the time: moving it must not be a step of every write.
    cases.push_back(
        {"MemIOStream, as many records waiting as passing", 5000,
         [](size_t n) -> std::function<void()> { return [=] { bench::keep(readWhileWriting(n, n)); }; }});
    cases.push_back(onInput("MemIOStream::count, small records", 20000, filledStream,
                            [](const zusl::MemIOStream& stream) { return stream.count(); }));
    cases.push_back(onInput(
        "MemIOStream::setBuffer, small records", 20000, [](size_t n) { return bytesOf(filledStream(n)); },
        fromBytes<zusl::MemIOStream>));
}

// --- Measuring ---

// The shortest of several runs: what disturbs only ever adds.
double shortestTime(const std::function<void()>& operation, int runs) {
    double shortest = std::numeric_limits<double>::max();
    for (int run = 0; run < runs; ++run) {
        const double start = bench::processorTime();
        operation();
        shortest = std::min(shortest, bench::processorTime() - start);
    }
    return shortest;
}

struct Growth {
    double small;
    double large;
    double ratio() const { return large / small; }
};

Growth grow(const Case& each, int runs) {
    const std::function<void()> small = each.prepare(each.n);
    const std::function<void()> large = each.prepare(each.n * factor);
    Growth best{1, std::numeric_limits<double>::max()};
    for (int attempt = 0; attempt < attempts && best.ratio() > mostRatio; ++attempt) {
        const Growth growth{shortestTime(small, runs * static_cast<int>(factor)), shortestTime(large, runs)};
        if (growth.ratio() < best.ratio())
            best = growth;
    }
    return best;
}

int run(int runs, const std::string& tsvFile) {
    Cases cases;
    addTextCases(cases);
    addTokenCases(cases);
    addElementCases(cases);
    addContainerCases(cases);
    addStreamCases(cases);
    std::ofstream file;
    if (!tsvFile.empty())
        file.open(tsvFile);
    int tooFast = 0;
    for (const Case& each : cases) {
        const Growth growth = grow(each, runs);
        const bool bad = growth.ratio() > mostRatio;
        tooFast += bad ? 1 : 0;
        std::printf("%-52s n %7zu: %10.1f us   8 n: %10.1f us   ratio %6.1f%s\n", each.name.c_str(), each.n,
                    growth.small / 1000, growth.large / 1000, growth.ratio(),
                    bad ? "   GROWS FASTER THAN ITS INPUT" : "");
        std::fflush(stdout);
        file << each.name << '\t' << each.n << '\t' << growth.small / 1000 << '\t' << growth.large / 1000
             << '\n';
    }
    return tooFast == 0 ? 0 : 1;
}

} // namespace

int main(int count, char** arguments) {
    int runs = 9;
    std::string tsvFile;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument(arguments[i]);
        if (argument == "--quick")
            runs = 3;
        else if (argument == "--tsv" && i + 1 < count)
            tsvFile = arguments[++i];
    }
    bench::keepMemory();
    try {
        return run(runs, tsvFile);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "growth_bench: %s\n", error.what());
        return 1;
    }
}
