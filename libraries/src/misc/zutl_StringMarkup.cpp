// The markup operations of zutl::String: entities, tags, elements.

#include "zutl_String.h"
#include "zutl_Word.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

namespace zutl {

namespace {

struct Entity {
    char character;
    std::string_view name;
};

constexpr Entity entities[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\'', "&apos;"}, {'"', "&quot;"}};

// Maps each byte to itself or to an entity. Always copies eight bytes of an entity, which is a single move.
struct Escapes {
    static constexpr size_t most = 8;

    // Writes up to `most` bytes. Those before the returned end are valid.
    char* put(char* to, char byte) const {
        const unsigned char number = numberOf[static_cast<unsigned char>(byte)];
        if (number == plain) {
            *to = byte;
            return to + 1;
        }
        const Escape& escape = escapes[number - 1U];
        std::memcpy(to, escape.text, most);
        return to + escape.length;
    }

    static constexpr unsigned char plain = 0; // the entities are numbered from 1

    struct Escape {
        char text[most];
        size_t length;
    };
    std::array<Escape, std::size(entities)> escapes{};
    std::array<unsigned char, 256> numberOf{};
};
constexpr Escapes escapes = [] {
    Escapes table;
    unsigned char number = 0;
    for (const Entity& entity : entities) {
        Escapes::Escape& escape = table.escapes[number];
        escape.length = entity.name.size();
        for (size_t i = 0; i < escape.length; ++i)
            escape.text[i] = entity.name[i];
        table.numberOf[static_cast<unsigned char>(entity.character)] = ++number;
    }
    return table;
}();

// Together: " & ' < > and also "#", which the table maps to itself.
constexpr Word::Pattern quotesOrAmpersand{'"', '"' ^ '\''};
constexpr Word::Pattern angleBrackets{'<', '<' ^ '>'};

// Encodes [next, end) until `limit` may be too near for more. Advances `next` past what was encoded and
// returns the end of the output. A whole word is stored before it is known how much of it is plain. Not
// inline: the compiler would check every store against the size of the caller's array once more.
[[gnu::noinline]] char* encodePiece(char* to, const char* limit, const char*& next, const char* end) {
    constexpr std::ptrdiff_t room = Word::size + Escapes::most;
    constexpr std::ptrdiff_t wordSize = Word::size;
    const char* from = next; // local copy, so writes through `to` cannot alias it
    while (end - from >= wordSize && limit - to >= room) {
        const Word word(from);
        const size_t plain = word.find(quotesOrAmpersand, angleBrackets);
        word.store(to);
        if (plain == Word::size) { // by a constant, so that the next word need not wait for this one
            to += Word::size;
            from += Word::size;
            continue;
        }
        from += plain;
        to = escapes.put(to + plain, *from++);
    }
    while (end - from < wordSize && from < end && limit - to >= room)
        to = escapes.put(to, *from++);
    next = from;
    return to;
}

// An open tag that is not self-closing, and the ">" of its matching close tag.
struct Element {
    unsigned int open;
    unsigned int closeEnd;
};
constexpr unsigned int neverClosed = 0xFFFFFFFF;

// Returns the elements called `name` in the order of their open tags. One pass with a stack finds the same
// close tag for each as findCloseTag() would.
std::vector<Element> findElements(const String& text, const String& name) {
    const String closeTag("</" + name + ">");
    std::vector<Element> elements;
    std::vector<size_t> unclosed;
    unsigned int tagStart;
    unsigned int tagEnd;
    bool selfClosing;
    bool hasOpen = findOpenTag(text, 0, name, tagStart, tagEnd, selfClosing);
    for (size_t close = text.find(closeTag); close != text.npos;
         close = text.find(closeTag, close + closeTag.size())) {
        for (; hasOpen && tagEnd < close;
             hasOpen = findOpenTag(text, tagEnd, name, tagStart, tagEnd, selfClosing)) {
            if (selfClosing)
                continue;
            unclosed.push_back(elements.size());
            elements.push_back({tagStart, neverClosed});
        }
        if (!unclosed.empty()) {
            elements[unclosed.back()].closeEnd = static_cast<unsigned int>(close + closeTag.size() - 1);
            unclosed.pop_back();
        }
    }
    return elements;
}

} // namespace

String String::encodeHtml(const String& text) {
    // One pass gives the same result as replacing the characters one after the other, because no entity
    // contains a character that is replaced later.
    String result;
    result.reserve(text.size() + text.size() / 8);
    std::array<char, 4096> piece; // fits in the L1 cache
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from < end) {
        const char* const pieceEnd = encodePiece(piece.data(), piece.data() + piece.size(), from, end);
        result.append(piece.data(), static_cast<size_t>(pieceEnd - piece.data()));
    }
    return result;
}

String String::decodeHtml(const String& text) {
    // One pass gives the same result as replacing "&amp;" last: of the decoded characters only "&" can begin
    // an entity, and the pass does not return to it.
    String result;
    result.reserve(text.size());
    std::string_view rest(text);
    for (size_t ampersand; (ampersand = rest.find('&')) != rest.npos;) {
        result += rest.substr(0, ampersand);
        rest.remove_prefix(ampersand);
        const Entity* const entity =
            std::find_if(std::begin(entities), std::end(entities),
                         [&](const Entity& e) { return rest.substr(0, e.name.size()) == e.name; });
        const bool known = entity != std::end(entities);
        result += known ? entity->character : '&';
        rest.remove_prefix(known ? entity->name.size() : 1);
    }
    result += rest;
    return result;
}

bool findOpenTag(const String& text, unsigned int start, const String& name, unsigned int& tagStart,
                 unsigned int& tagEnd, bool& selfClosing) {
    const String pattern("<" + name);
    size_t end = start;
    for (;;) {
        const size_t found = text.find(pattern, end);
        end = found + pattern.size();
        if (found == text.npos || end >= text.size())
            return false;
        selfClosing = false;
        bool complete = false;
        switch (text[end]) {
        case '>':
            complete = true;
            break;
        case '/':
            ++end;
            complete = selfClosing = end < text.size() && text[end] == '>';
            break;
        case ' ':
        case '\t':
        case '\n':
        case '\r':
            end = text.find('>', end);
            if (end == text.npos)
                return false;
            selfClosing = text[end - 1] == '/';
            complete = true;
            break;
        default: // the name continues: another element
            break;
        }
        if (complete) {
            tagEnd = to32Bits(end);
            tagStart = static_cast<unsigned int>(found);
            return true;
        }
    }
}

bool findCloseTag(const String& text, unsigned int start, const String& name, unsigned int& closeStart,
                  unsigned int& closeEnd) {
    const String closeTag("</" + name + ">");
    size_t depth = 0;
    unsigned int tagStart;
    unsigned int tagEnd;
    bool selfClosing;
    // The next open tag is remembered until a close tag after it is found, so that nothing is scanned twice.
    bool hasOpen = findOpenTag(text, start, name, tagStart, tagEnd, selfClosing);
    for (size_t close = text.find(closeTag, start); close != text.npos;
         close = text.find(closeTag, close + closeTag.size())) {
        for (; hasOpen && tagEnd < close;
             hasOpen = findOpenTag(text, tagEnd, name, tagStart, tagEnd, selfClosing))
            depth += selfClosing ? 0 : 1;
        if (depth == 0) {
            closeEnd = to32Bits(close + closeTag.size() - 1);
            closeStart = static_cast<unsigned int>(close);
            return true;
        }
        --depth;
    }
    return false;
}

String String::replaceElement(const String& name, const String& replacement) const {
    to32Bits(size()); // positions are counted in 32 bits
    // With a "<" in the name, tags can overlap, and the end of an element depends on where the search began.
    const bool tagsMayOverlap = name.find('<') != npos;
    const std::vector<Element> elements = tagsMayOverlap ? std::vector<Element>() : findElements(*this, name);
    auto element = elements.begin();
    const auto findEnd = [&](unsigned int tagStart, unsigned int tagEnd, unsigned int& end) {
        unsigned int closeStart;
        if (tagsMayOverlap)
            return findCloseTag(*this, tagEnd + 1, name, closeStart, end);
        while (element != elements.end() && element->open < tagStart)
            ++element;
        if (element == elements.end() || element->closeEnd == neverClosed)
            return false;
        end = element->closeEnd;
        return true;
    };

    String result;
    unsigned int position = 0;
    unsigned int tagStart;
    unsigned int tagEnd;
    bool selfClosing;
    while (position < size() && findOpenTag(*this, position, name, tagStart, tagEnd, selfClosing)) {
        unsigned int end = tagEnd;
        if (selfClosing || findEnd(tagStart, tagEnd, end)) {
            result.append(*this, position, tagStart - position);
            result += replacement;
        } else {
            result.append(*this, position, tagEnd + 1 - position);
        }
        position = end + 1;
    }
    if (position < size())
        result.append(*this, position);
    return result;
}

} // namespace zutl
