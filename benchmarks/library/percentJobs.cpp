// Percent-decoding of a text of a megabyte.

#include "block.h"
#include "chunk.h"
#include "inputs.h"
#include "jobs.h"
#include "percent.h"
#include "zutl_url.h"

#include <boost/url.hpp>
#include <uriparser/Uri.h>

#include <memory>

namespace {

constexpr size_t textLength = 1 << 20;

std::string decodeByHand(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    byhand::Chunk chunk(result, byhand::blockSize);
    char* to = chunk.start();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (end - from >= static_cast<std::ptrdiff_t>(byhand::blockSize)) {
        to = chunk.makeRoom(to);
        const byhand::Block block(from);
        block.store(to);
        const unsigned int escapes = block.positionsOf('%');
        const unsigned int plain = escapes == 0 ? byhand::blockSize : byhand::lowest(escapes);
        from += plain;
        to += plain;
        if (escapes != 0) {
            if (end - from < 3)
                break;
            *to++ = byhand::escaped(from + 1);
            from += 3;
        }
    }
    chunk.empty(to);
    const std::string_view rest(from, static_cast<size_t>(end - from));
    return result += byhand::decodeShort(rest, [](char byte) { return byte; });
}

std::string decodeWithUriparser(const std::string& text) {
    std::string result = text; // it works in place
    result.resize(static_cast<size_t>(uriUnescapeInPlaceA(result.data()) - result.data()));
    return result;
}

std::string decodeWithBoost(const std::string& text) {
    return boost::urls::pct_string_view(text).decode();
}

void addJob(Jobs& jobs, const char* name, double share, double target) {
    const auto text = std::make_shared<const zutl::String>(bench::percentText(textLength, share));
    const std::string expected = decodeByHand(*text);
    bench::require(zutl::url::decode(*text, false) == expected, "percent-decoding: ours differs");
    bench::require(decodeWithUriparser(*text) == expected, "percent-decoding: uriparser differs");
    bench::require(decodeWithBoost(*text) == expected, "percent-decoding: Boost.URL differs");
    const auto contender = [&](const char* who, std::string (*decode)(const std::string&)) {
        return bench::Contender{who, [=] { bench::keep(decode(*text)); }, {}};
    };
    jobs.push_back({name,
                    "byte",
                    static_cast<double>(text->size()),
                    target,
                    "blocks of 16 bytes",
                    {contender(bench::byHand, decodeByHand),
                     {bench::ours, [=] { bench::keep(zutl::url::decode(*text, false)); }, {}},
                     contender("uriparser", decodeWithUriparser),
                     contender("Boost.URL", decodeWithBoost)}});
}

} // namespace

void addPercentJobs(Jobs& jobs) {
    addJob(jobs, "percent-decoding, 2 % escapes", 0.02, 1.15);
    addJob(jobs, "percent-decoding, 20 % escapes", 0.2, 1.25);
}
