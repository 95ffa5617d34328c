// Other libraries doing the jobs on text.

#include "jobs.h"
#include "zu_Functions.h"

#include <boost/url.hpp>
#include <cgicc/Cgicc.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <pugixml.hpp>
#include <tinyxml2.h>
#include <uriparser/Uri.h>

#include <memory>

namespace {

using Text = const std::string&;
using Operation = std::string (*)(Text);

// --- Forms. The peers leave the names as they are. ---

void add(PlainMap& fields, std::string name, std::string value) {
    zu_strlwr(name.data());
    fields.try_emplace(std::move(name), std::move(value));
}

// Gives the form to cgicc where it would ask the environment.
struct FormInput : cgicc::CgiInput {
    explicit FormInput(Text query) : form(query) {}
    std::string getenv(const char* name) override {
        const std::string_view asked(name);
        return asked == "REQUEST_METHOD" ? "GET" : asked == "QUERY_STRING" ? form : std::string();
    }
    Text form;
};

void decodeWithCgicc(Text text, PlainMap& fields) {
    FormInput input(text);
    const cgicc::Cgicc request(&input);
    for (const cgicc::FormEntry& entry : request.getElements())
        add(fields, entry.getName(), entry.getValue());
}

void decodeWithBoost(Text text, PlainMap& fields) {
    for (const boost::urls::param_pct_view& field : boost::urls::parse_query(text).value())
        add(fields, field.key.decode(), field.value.decode());
}

void decodeWithUriparser(Text text, PlainMap& fields) {
    UriQueryListA* list = nullptr;
    uriDissectQueryMallocA(&list, nullptr, text.data(), text.data() + text.size());
    for (const UriQueryListA* item = list; item != nullptr; item = item->next)
        add(fields, item->key, item->value != nullptr ? item->value : item->key);
    uriFreeQueryListA(list);
}

void addFormPeer(Contenders& all, const char* name, void (*decode)(Text, PlainMap&)) {
    static PlainMap fields;
    for (const auto& each : forms) {
        const auto run = [=, &text = each.second] {
            fields.clear();
            decode(text, fields);
        };
        PlainMap expected;
        decodeFormByHand(each.second, expected);
        run();
        require(fields == expected, name);
        all.push_back({each.first, name, run});
    }
}

// --- Percent-decoding, and markup: what works on documents gets one with a single element ---

std::string decodeWithBoost(Text text) {
    return boost::urls::pct_string_view(text).decode();
}

std::string decodeWithUriparser(Text text) {
    std::string result = text; // it works in place
    result.resize(static_cast<size_t>(uriUnescapeInPlaceA(result.data()) - result.data()));
    return result;
}

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

std::string escapeWithPugixml(Text text) {
    pugi::xml_document document;
    document.append_child("a").append_child(pugi::node_pcdata).set_value(text.c_str());
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    return writer.text;
}

std::string unescapeWithPugixml(Text text) {
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    return document.child("a").child_value();
}

std::string stringOf(xmlChar* taken) {
    const std::unique_ptr<xmlChar, void (*)(void*)> owned(taken, xmlFree);
    return reinterpret_cast<const char*>(taken);
}

std::string escapeWithLibxml2(Text text) {
    return stringOf(xmlEncodeSpecialChars(nullptr, reinterpret_cast<const xmlChar*>(text.c_str())));
}

std::string unescapeWithLibxml2(Text text) {
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NOENT),
        xmlFreeDoc);
    return stringOf(xmlNodeGetContent(xmlDocGetRootElement(document.get())));
}

std::string escapeWithTinyxml2(Text text) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    printer.OpenElement("a", true);
    printer.PushText(text.c_str());
    printer.CloseElement(true);
    return printer.CStr();
}

std::string unescapeWithTinyxml2(Text text) {
    tinyxml2::XMLDocument document;
    document.Parse(text.data(), text.size());
    return document.RootElement()->GetText();
}

void addPeer(Contenders& all, Text job, const char* name, Operation operation, Text input, bool isRight) {
    require(isRight, job + ": " + name + " differs");
    all.push_back({job, name, [=, &input] { keep(operation(input)); }});
}

// Each escapes in its own way, so its result is read by libxml2.
void addMarkupPeer(Contenders& all, const char* name, Operation escape, Operation unescape) {
    static const std::string document = "<a>" + escapeByHand(plainText) + "</a>";
    const std::string again = unescapeWithLibxml2("<a>" + escape(plainText) + "</a>");
    addPeer(all, "escaping", name, escape, plainText, again.find(plainText) != again.npos);
    addPeer(all, "unescaping", name, unescape, document, unescape(document) == plainText);
}

std::string rewriteWithBoost(Text text) {
    boost::urls::url address = boost::urls::parse_uri(text).value();
    address.params().set(parameter, status);
    return std::string(address.buffer());
}

} // namespace

void addTextPeers(Contenders& all) {
    const std::string rewritten = rewriteByHand(rewriteWithBoost(pageAddress)); // sorts the parameters
    addPeer(all, "url parse, set, print", "Boost.URL", rewriteWithBoost, pageAddress,
            rewritten == rewriteByHand(pageAddress));
    addFormPeer(all, "cgicc", decodeWithCgicc);
    addFormPeer(all, "Boost.URL", decodeWithBoost);
    addFormPeer(all, "uriparser", decodeWithUriparser);
    for (const auto& [job, text] : percentTexts) {
        const std::string expected = decodePercentByHand(text);
        addPeer(all, job, "Boost.URL", decodeWithBoost, text, decodeWithBoost(text) == expected);
        addPeer(all, job, "uriparser", decodeWithUriparser, text, decodeWithUriparser(text) == expected);
    }
    addMarkupPeer(all, "pugixml", escapeWithPugixml, unescapeWithPugixml);
    addMarkupPeer(all, "libxml2", escapeWithLibxml2, unescapeWithLibxml2);
    addMarkupPeer(all, "tinyxml2", escapeWithTinyxml2, unescapeWithTinyxml2);
}
