// Fuzzes entities, tags and elements.

#include "fuzzing.h"

#include <optional>

using zutl::String;

namespace plain { // simple implementations, which search for each tag separately

struct Tag {
    size_t start, end;
    bool selfClosing;
};

static std::optional<Tag> openTag(const Text& text, size_t search, const Text& name) {
    for (;;) {
        const size_t start = text.find("<" + name, search), nameEnd = start + 1 + name.size();
        search = nameEnd;
        if (start == text.npos || search >= text.size())
            return {};
        if (text.find_first_of(" \t\n\r", search) == search)
            search = text.find('>', search);
        else if (text[search] == '/')
            ++search; // to the zero byte, at the end of the text
        if (search == text.npos)
            return {};
        if (text[search] == '>')
            return Tag{start, search, search > nameEnd && text[search - 1] == '/'};
    }
}

static std::optional<Tag> closeTag(const Text& text, size_t search, const Text& name) {
    size_t scan = search, found;
    for (int depth = 0; (found = text.find("</" + name + ">", search)) != text.npos;) {
        while (const auto open = openTag(text.substr(0, found), scan, name)) {
            depth += open->selfClosing ? 0 : 1;
            scan = open->end;
        }
        search = found + name.size() + 3;
        if (--depth == -1)
            return Tag{found, search - 1, false};
    }
    return {};
}

static Text replaceElement(const Text& text, const Text& name, const Text& replacement) {
    Text result;
    size_t position = 0;
    while (const auto open = openTag(text, position, name)) {
        const auto close = open->selfClosing ? open : closeTag(text, open->end + 1, name);
        result += text.substr(position, (close ? open->start : open->end + 1) - position);
        result += close ? replacement : "";
        position = (close ? close : open)->end + 1;
    }
    return result + text.substr(position);
}

} // namespace plain

static Text replaceAll(Text text, const Text& from, const Text& to) {
    for (size_t at = 0; (at = text.find(from, at)) != Text::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

static void checkEntities(const Text& text) {
    Text encoded = replaceAll(text, "&", "&amp;"), decoded = text;
    for (const Text entity : {"&lt;<", "&gt;>", "&apos;'", "&quot;\""}) {
        const Text name = entity.substr(0, entity.size() - 1);
        encoded = replaceAll(encoded, entity.substr(name.size()), name);
        decoded = replaceAll(decoded, name, entity.substr(name.size()));
    }
    require(String::encodeHtml(text) == encoded);
    require(String::decodeHtml(text) == replaceAll(decoded, "&amp;", "&"));
    require(String::decodeHtml(encoded) == text);
}

void fuzz(FuzzedDataProvider& input) {
    const unsigned int start = input.ConsumeIntegral<std::uint8_t>();
    const Text name = input.ConsumeRandomLengthString();
    const Text replacement = input.ConsumeRandomLengthString();
    const Text text = input.ConsumeRemainingBytesAsString();
    checkEntities(text);

    unsigned int begin, end;
    bool selfClosing;
    const auto open = plain::openTag(text, start, name), close = plain::closeTag(text, start, name);
    require(zutl::findOpenTag(text, start, name, begin, end, selfClosing) == open.has_value());
    require(!open || (begin == open->start && end == open->end && selfClosing == open->selfClosing));
    require(zutl::findCloseTag(text, start, name, begin, end) == close.has_value());
    require(!close || (begin == close->start && end == close->end));
    require(String(text).replaceElement(name, replacement) == plain::replaceElement(text, name, replacement));
}
