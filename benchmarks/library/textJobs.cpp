// The jobs on text, written by hand and done by ours.

#include "cgiCommon.h"
#include "jobs.h"
#include "zutl_url.h"

#include <cstdlib>
#include <utility>

namespace {

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

// Sets what parseGet reads, unless the form is in use.
void use(const std::string& form) {
    static const std::string* used = nullptr;
    if (std::exchange(used, &form) != &form)
        setenv("QUERY_STRING", form.c_str(), 1);
}

void addFormJobs(Contenders& all) {
    static PlainMap plain;
    static Settings settings;
    const auto isSame = [] { return PlainMap(settings.begin(), settings.end()) == plain; };
    for (const auto& each : forms) {
        const std::string& name = each.first;
        const auto limit = [&text = each.second] { decodeFormByHand(text, plain); };
        const auto program = [&text = each.second] {
            use(text);
            parseGet(settings);
        };
        const auto operations = [form = zutl::String(each.second)] {
            decodeFormWithOperations(form, settings);
        };
        limit();
        program();
        require(isSame(), name + ": ours differs");
        operations();
        require(isSame(), name + ": the public operations differ");
        all.push_back({name, byHand, limit});
        all.push_back({name, ours, program});
        all.push_back({name, "ours, public operations", operations});
    }
}

template <typename ByHand, typename Ours>
void addJob(Contenders& all, const char* name, const std::string& text, ByHand limit, Ours operation) {
    const zutl::String input(text);
    require(operation(input) == limit(text), name);
    all.push_back({name, byHand, [=] { keep(limit(text)); }});
    all.push_back({name, ours, [=] { keep(operation(input)); }});
}

} // namespace

void addTextJobs(Contenders& all) {
    const std::string rewritten = rewriteByHand(pageAddress);
    require(rewritten.find("success=restarted") != rewritten.npos, "url: by hand sets nothing");
    addJob(all, "url parse, set, print", pageAddress, rewriteByHand, [](const zutl::String& text) {
        zutl::url address(text);
        address.parameters[parameter] = status;
        return static_cast<const zutl::String>(address);
    });
    addFormJobs(all);
    for (const auto& [name, text] : percentTexts)
        addJob(all, name.c_str(), text, decodePercentByHand,
               [](const zutl::String& escaped) { return zutl::url::decode(escaped, false); });
    const std::string escaped = escapeByHand(plainText);
    require(unescapeByHand(escaped) == plainText, "unescaping: by hand gives another text");
    addJob(all, "escaping", plainText, escapeByHand, zutl::String::encodeHtml);
    addJob(all, "unescaping", escaped, unescapeByHand, zutl::String::decodeHtml);
}
