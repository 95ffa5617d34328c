// Escaping and unescaping of the five special characters in a text of a megabyte.

#include "block.h"
#include "chunk.h"
#include "inputs.h"
#include "jobs.h"
#include "zutl_String.h"

#include <libxml/entities.h>
#include <libxml/parser.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <memory>

namespace {

constexpr size_t textLength = 1 << 20;

// What stands for each byte. Eight bytes are copied whatever the length: that is one move and no branch.
struct Replacement {
    char text[8];
    size_t length;
};

class Replacements {
public:
    constexpr Replacements() {
        for (size_t byte = 0; byte < 256; ++byte)
            of[byte] = {{static_cast<char>(byte)}, 1};
        of['&'] = {"&amp;", 5};
        of['<'] = {"&lt;", 4};
        of['>'] = {"&gt;", 4};
        of['\''] = {"&apos;", 6};
        of['"'] = {"&quot;", 6};
    }
    char* put(char* to, char byte) const {
        const Replacement& replacement = of[static_cast<unsigned char>(byte)];
        std::memcpy(to, replacement.text, sizeof replacement.text);
        return to + replacement.length;
    }

private:
    Replacement of[256] = {};
};
constexpr Replacements replacements;

std::string escapeByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    byhand::Chunk chunk(result, byhand::blockSize + sizeof(Replacement::text));
    char* to = chunk.start();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (end - from >= static_cast<std::ptrdiff_t>(byhand::blockSize)) {
        to = chunk.makeRoom(to);
        const byhand::Block block(from);
        block.store(to);
        const unsigned int special = block.positionsOf('&', '<', '>', '\'', '"');
        const unsigned int plain = special == 0 ? byhand::blockSize : byhand::lowest(special);
        to += plain;
        from += plain;
        if (special != 0)
            to = replacements.put(to, *from++);
    }
    for (; from < end; ++from)
        to = replacements.put(chunk.makeRoom(to), *from);
    chunk.empty(to);
    return result;
}

// The character whose entity begins at the "&", and the entity's length; 1 when it is none of the five.
char takeEntity(std::string_view text, size_t& length) {
    const auto is = [&](std::string_view name) {
        length = name.size();
        return text.substr(0, length) == name;
    };
    switch (text.size() > 1 ? text[1] : '\0') {
    case 'l':
        if (is("&lt;"))
            return '<';
        break;
    case 'g':
        if (is("&gt;"))
            return '>';
        break;
    case 'q':
        if (is("&quot;"))
            return '"';
        break;
    case 'a':
        if (is("&amp;"))
            return '&';
        if (is("&apos;"))
            return '\'';
        break;
    default:
        break;
    }
    length = 1;
    return '&';
}

std::string unescapeByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    byhand::Chunk chunk(result, byhand::blockSize);
    char* to = chunk.start();
    std::string_view rest(text);
    size_t length = 0;
    while (rest.size() >= byhand::blockSize) {
        to = chunk.makeRoom(to);
        const byhand::Block block(rest.data());
        block.store(to);
        const unsigned int ampersands = block.positionsOf('&');
        const unsigned int plain = ampersands == 0 ? byhand::blockSize : byhand::lowest(ampersands);
        to += plain;
        rest.remove_prefix(plain);
        if (ampersands != 0) {
            *to++ = takeEntity(rest, length);
            rest.remove_prefix(length);
        }
    }
    for (; !rest.empty(); rest.remove_prefix(length)) {
        to = chunk.makeRoom(to);
        length = 1;
        *to++ = rest.front() == '&' ? takeEntity(rest, length) : rest.front();
    }
    chunk.empty(to);
    return result;
}

// --- Peers. Those that work on documents get one with a single element around the text. ---

std::string element(const std::string& content) {
    return "<a>" + content + "</a>";
}

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

std::string escapeWithPugixml(const std::string& text) {
    pugi::xml_document document;
    document.append_child("a").append_child(pugi::node_pcdata).set_value(text.c_str());
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    return writer.text;
}

std::string unescapeWithPugixml(const std::string& text) {
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    return document.child("a").child_value();
}

using XmlText = std::unique_ptr<xmlChar, void (*)(xmlChar*)>;

const xmlChar* xmlBytes(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

std::string stringOf(xmlChar* taken) {
    const XmlText owned(taken, [](xmlChar* bytes) { xmlFree(bytes); });
    return reinterpret_cast<const char*>(owned.get());
}

std::string escapeWithLibxml2(const std::string& text) {
    return stringOf(xmlEncodeSpecialChars(nullptr, xmlBytes(text)));
}

std::string unescapeWithLibxml2(const std::string& text) {
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NOENT),
        xmlFreeDoc);
    return stringOf(xmlNodeGetContent(xmlDocGetRootElement(document.get())));
}

std::string escapeWithTinyxml2(const std::string& text) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    printer.OpenElement("a", true);
    printer.PushText(text.c_str());
    printer.CloseElement(true);
    return printer.CStr();
}

std::string unescapeWithTinyxml2(const std::string& text) {
    tinyxml2::XMLDocument document;
    document.Parse(text.data(), text.size());
    return document.RootElement()->GetText();
}

// ---

using Operation = std::string (*)(const std::string&);

bench::Contender contender(const char* name, Operation operation, std::shared_ptr<const std::string> text) {
    return {name, [=] { bench::keep(operation(*text)); }, {}};
}

void addJobs(Jobs& jobs, const std::string& share, double part, double escapeTarget, double unescapeTarget) {
    const auto plain = std::make_shared<const zutl::String>(bench::markupText(textLength, part));
    const auto escaped = std::make_shared<const zutl::String>(escapeByHand(*plain));
    const auto document = std::make_shared<const std::string>(element(*escaped));

    bench::require(zutl::String::encodeHtml(*plain) == *escaped, "escaping: ours differs");
    bench::require(unescapeByHand(*escaped) == *plain, "unescaping: by hand differs");
    bench::require(zutl::String::decodeHtml(*escaped) == *plain, "unescaping: ours differs");
    for (const Operation operation : {escapeWithPugixml, escapeWithLibxml2, escapeWithTinyxml2}) {
        // Not all of them escape the quotes, which they need not in this place.
        const std::string theirs = unescapeByHand(operation(*plain));
        bench::require(theirs == *plain || theirs == element(*plain), "escaping: a peer differs");
    }
    for (const Operation operation : {unescapeWithPugixml, unescapeWithLibxml2, unescapeWithTinyxml2})
        bench::require(operation(*document) == *plain, "unescaping: a peer differs");

    jobs.push_back({"escaping, " + share + " special bytes",
                    "byte",
                    static_cast<double>(plain->size()),
                    escapeTarget,
                    "blocks of 16 bytes",
                    {contender(bench::byHand, escapeByHand, plain),
                     {bench::ours, [=] { bench::keep(zutl::String::encodeHtml(*plain)); }, {}},
                     contender("pugixml", escapeWithPugixml, plain),
                     contender("libxml2", escapeWithLibxml2, plain),
                     contender("tinyxml2", escapeWithTinyxml2, plain)}});
    jobs.push_back({"unescaping, " + share + " special bytes",
                    "byte",
                    static_cast<double>(escaped->size()),
                    unescapeTarget,
                    "blocks of 16 bytes",
                    {contender(bench::byHand, unescapeByHand, escaped),
                     {bench::ours, [=] { bench::keep(zutl::String::decodeHtml(*escaped)); }, {}},
                     contender("pugixml", unescapeWithPugixml, document),
                     contender("libxml2", unescapeWithLibxml2, document),
                     contender("tinyxml2", unescapeWithTinyxml2, document)}});
}

} // namespace

void addEntityJobs(Jobs& jobs) {
    addJobs(jobs, "5 %", 0.05, 1.6, 1.5);
    addJobs(jobs, "0.2 %", 0.002, 1.6, 1.2);
}
