// The jobs on text, written by hand and done by ours.

#include "block.h"
#include "cgiCommon.h"
#include "jobs.h"
#include "percent.h"
#include "zutl_url.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace bench {

namespace {

// What replaces each byte. Eight bytes are copied whatever the length: that is one move and no branch.
struct Replacement {
    char text[8];
    std::ptrdiff_t length;
};

constexpr auto replacements = [] {
    std::array<Replacement, 256> of{};
    for (size_t byte = 0; byte < of.size(); ++byte)
        of[byte] = {{static_cast<char>(byte)}, 1};
    of['&'] = {"&amp;", 5};
    of['<'] = {"&lt;", 4};
    of['>'] = {"&gt;", 4};
    of['\''] = {"&apos;", 6};
    of['"'] = {"&quot;", 6};
    return of;
}();

char* putReplacement(char* to, char byte) {
    const Replacement& replacement = replacements[static_cast<unsigned char>(byte)];
    std::memcpy(to, replacement.text, sizeof replacement.text);
    return to + replacement.length;
}

// Decodes the entity at the start of the text and sets its length; that is 1 if it is none of the five.
char takeEntity(std::string_view text, size_t& length) {
    for (const char byte : {'&', '<', '>', '\'', '"'}) {
        const Replacement& entity = replacements[static_cast<unsigned char>(byte)];
        length = static_cast<size_t>(entity.length);
        if (text.size() >= length && text[1] == entity.text[1] &&
            std::memcmp(text.data(), entity.text, length) == 0)
            return byte;
    }
    length = 1;
    return '&';
}

std::string unescapeByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    byhand::Chunk chunk(result);
    char* to = chunk.start();
    std::string_view rest(text);
    while (!rest.empty()) {
        to = chunk.makeRoom(to);
        size_t length = 1;
        if (byhand::hasBlocks && rest.size() >= byhand::blockSize) {
            const byhand::Block block(rest.data());
            block.store(to);
            const std::ptrdiff_t plain = block.before('&');
            if (plain == byhand::blockSize) {
                to += byhand::blockSize;
                rest.remove_prefix(byhand::blockSize);
                continue;
            }
            to += plain;
            rest.remove_prefix(static_cast<size_t>(plain));
        }
        *to++ = rest.front() == '&' ? takeEntity(rest, length) : rest.front();
        rest.remove_prefix(length);
    }
    chunk.empty(to);
    return result;
}

zutl::String rewriteWithOurs(const zutl::String& text) {
    zutl::url address(text);
    address.parameters[parameter] = status;
    return address;
}

// As the program's form decoder, but with the library's public operations alone.
void decodeFormWithOperations(const zutl::String& form, Settings& settings) {
    settings.clear();
    std::vector<zutl::String> fields = form.tokenize("&", "");
    for (zutl::String& field : fields) {
        const size_t equals = field.find('=');
        zutl::String value(field.substr(equals + 1));
        field.resize(std::min(equals, field.size())); // leaves the name
        zu_strlwr(field.data());
        zutl::url::decodeInPlace(field, false);
        zutl::url::decodeInPlace(value, false);
        settings.insert(std::move(field), std::move(value));
    }
}

void addFormJob(Jobs& jobs) {
    static PlainMap plain;
    static Settings settings;
    static const zutl::String text(formText());
    const auto same = [] { return PlainMap(settings.begin(), settings.end()) == plain; };
    decodeFormByHand(text, plain);
    setenv("QUERY_STRING", text.c_str(), 1);
    parseGet(settings);
    require(plain.size() == 30 && same(), "form: ours differs");
    decodeFormWithOperations(text, settings);
    require(same(), "form: the public operations differ");
    jobs.push_back({formJob,
                    30,
                    {{byHand, [] { decodeFormByHand(std::getenv("QUERY_STRING"), plain); }, {}},
                     {ours, [] { parseGet(settings); }, {}},
                     {"ours, public operations", [] { decodeFormWithOperations(text, settings); }, {}}}});
}

template <typename ByHand, typename Ours>
void addJob(Jobs& jobs, const char* name, double pieces, const std::string& text, ByHand limit,
            Ours operation) {
    const zutl::String input(text);
    require(operation(input) == limit(text), name);
    jobs.push_back({name,
                    pieces,
                    {{byHand, [=] { keep(limit(text)); }, {}}, {ours, [=] { keep(operation(input)); }, {}}}});
}

} // namespace

void decodeFormByHand(std::string_view text, PlainMap& fields) {
    const auto lower = [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
    };
    fields.clear();
    while (!text.empty()) {
        const size_t end = std::min(text.find('&'), text.size());
        if (end > 0) {
            const std::string_view field = text.substr(0, end);
            const size_t equals = field.find('=');
            const std::string_view value = equals == field.npos ? field : field.substr(equals + 1);
            fields.try_emplace(byhand::decodeShort(field.substr(0, equals), lower),
                               byhand::decodeShort(value));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string decodePercentByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    byhand::Chunk chunk(result);
    char* to = chunk.start();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (byhand::hasBlocks && end - from >= byhand::blockSize) {
        to = chunk.makeRoom(to);
        const byhand::Block block(from);
        block.store(to);
        const std::ptrdiff_t plain = block.before('%');
        if (plain == byhand::blockSize) { // by a constant: the next block need not wait for this one
            to += byhand::blockSize;
            from += byhand::blockSize;
            continue;
        }
        from += plain;
        to += plain;
        if (end - from < 3)
            break;
        *to++ = byhand::escapedByte(from + 1);
        from += 3;
    }
    chunk.empty(to);
    return result += byhand::decodeShort({from, static_cast<size_t>(end - from)});
}

std::string escapeByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    byhand::Chunk chunk(result);
    char* to = chunk.start();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from < end) {
        to = chunk.makeRoom(to);
        if (byhand::hasBlocks && end - from >= byhand::blockSize) {
            const byhand::Block block(from);
            block.store(to);
            const std::ptrdiff_t plain = block.before('&', '<', '>', '\'', '"');
            if (plain == byhand::blockSize) {
                to += byhand::blockSize;
                from += byhand::blockSize;
                continue;
            }
            to += plain;
            from += plain;
        }
        to = putReplacement(to, *from++);
    }
    chunk.empty(to);
    return result;
}

void addContender(Jobs& jobs, std::string_view job, Contender contender) {
    const auto found =
        std::find_if(jobs.begin(), jobs.end(), [&](const Job& each) { return each.name == job; });
    require(found != jobs.end(), "no such job");
    found->contenders.push_back(std::move(contender));
}

void addTextJobs(Jobs& jobs) {
    require(rewriteByHand(pageAddress).find("success=restarted") != std::string::npos,
            "url: by hand sets nothing");
    addJob(jobs, urlJob, 1, pageAddress, rewriteByHand, rewriteWithOurs);
    addFormJob(jobs);
    const auto length = [](const std::string& text) { return static_cast<double>(text.size()); };
    const std::string escaped = escapeByHand(plainText());
    addJob(jobs, percentJob, length(percentText()), percentText(), decodePercentByHand,
           [](const zutl::String& text) { return zutl::url::decode(text, false); });
    addJob(jobs, escapeJob, length(plainText()), plainText(), escapeByHand, zutl::String::encodeHtml);
    addJob(jobs, unescapeJob, length(escaped), escaped, unescapeByHand, zutl::String::decodeHtml);
    require(unescapeByHand(escaped) == plainText(), "unescaping: by hand gives another text");
}

} // namespace bench
