// Fuzzes entities, tags and elements.

#include "fuzzing.h"
#include "plainMarkup.h"

using zutl::String;

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
