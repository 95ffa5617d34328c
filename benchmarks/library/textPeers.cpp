// Other libraries doing the jobs on text.

#include "jobs.h"

#include <boost/url.hpp>
#include <cgicc/Cgicc.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <pugixml.hpp>
#include <tinyxml2.h>
#include <uriparser/Uri.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using namespace bench;

// --- Addresses ---

std::string rewriteWithBoost(const std::string& text) {
    boost::urls::url address = boost::urls::parse_uri(text).value();
    address.params().set(parameter, status);
    return std::string(address.buffer());
}

// The library sets no parameter: the list of all of them is taken apart, changed and put together again.
std::string rewriteWithUriparser(const std::string& text) {
    UriUriA address;
    bench::require(uriParseSingleUriA(&address, text.c_str(), nullptr) == URI_SUCCESS, "uriparser: no url");
    UriQueryListA* list = nullptr;
    int count = 0;
    uriDissectQueryMallocA(&list, &count, address.query.first, address.query.afterLast);
    UriQueryListA added{parameter, status, nullptr};
    UriQueryListA* item = list;
    while (item != nullptr && std::string_view(item->key) != parameter)
        item = item->next;
    const char* const former = item != nullptr ? item->value : nullptr;
    if (item != nullptr)
        item->value = status;
    else
        added.next = list;
    char* query = nullptr;
    uriComposeQueryMallocA(&query, item != nullptr ? list : &added);
    if (item != nullptr)
        item->value = former;
    uriFreeQueryListA(list);

    address.query.first = query;
    address.query.afterLast = query + std::strlen(query);
    int length = 0;
    uriToStringCharsRequiredA(&address, &length);
    std::string result(static_cast<size_t>(length) + 1, '\0');
    uriToStringA(result.data(), &address, length + 1, &length);
    result.resize(static_cast<size_t>(length) - 1); // that counts the zero byte
    std::free(query);
    uriFreeUriMembersA(&address);
    return result;
}

// --- Forms. The peers leave the names as they are. ---

void add(PlainMap& fields, std::string name, std::string value) {
    for (char& byte : name)
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
    fields.try_emplace(std::move(name), std::move(value));
}

// Gives the form to cgicc where it would ask the environment.
class FormInput : public cgicc::CgiInput {
public:
    explicit FormInput(const std::string& query) : form(query) {}
    std::string getenv(const char* name) override {
        const std::string_view asked(name);
        return asked == "REQUEST_METHOD" ? "GET" : asked == "QUERY_STRING" ? form : std::string();
    }

private:
    const std::string& form;
};

void decodeWithCgicc(const std::string& text, PlainMap& fields) {
    fields.clear();
    FormInput input(text);
    const cgicc::Cgicc request(&input);
    for (const cgicc::FormEntry& entry : request.getElements())
        add(fields, entry.getName(), entry.getValue());
}

void decodeWithBoost(const std::string& text, PlainMap& fields) {
    fields.clear();
    for (const boost::urls::param_pct_view& field : boost::urls::parse_query(text).value())
        add(fields, field.key.decode(), field.value.decode());
}

void decodeWithUriparser(const std::string& text, PlainMap& fields) {
    fields.clear();
    UriQueryListA* list = nullptr;
    int count = 0;
    uriDissectQueryMallocA(&list, &count, text.data(), text.data() + text.size());
    for (const UriQueryListA* item = list; item != nullptr; item = item->next)
        add(fields, item->key, item->value != nullptr ? item->value : item->key);
    uriFreeQueryListA(list);
}

// --- Long texts. What works on documents gets one with a single element around the text. ---

std::string decodeWithUriparser(const std::string& text) {
    std::string result = text; // it works in place
    result.resize(static_cast<size_t>(uriUnescapeInPlaceA(result.data()) - result.data()));
    return result;
}

std::string decodeWithBoost(const std::string& text) {
    return boost::urls::pct_string_view(text).decode();
}

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

using Operation = std::string (*)(const std::string&);

struct TextPeer {
    const char* job;
    const char* name;
    Operation operation;
    const std::string* input;
    const std::string* expected;
};

} // namespace

void bench::addTextPeers(Jobs& jobs) {
    static const std::string address = pageAddress;
    static const std::string decoded = decodePercentByHand(percentText());
    static const std::string escaped = escapeByHand(plainText());
    static const std::string document = element(escaped);
    const TextPeer peers[] = {
        {percentJob, "uriparser", decodeWithUriparser, &percentText(), &decoded},
        {percentJob, "Boost.URL", decodeWithBoost, &percentText(), &decoded},
        {escapeJob, "pugixml", escapeWithPugixml, &plainText(), nullptr}, // leaves quotes alone
        {escapeJob, "libxml2", escapeWithLibxml2, &plainText(), nullptr}, // escapes in its own way
        {escapeJob, "tinyxml2", escapeWithTinyxml2, &plainText(), nullptr},
        {unescapeJob, "pugixml", unescapeWithPugixml, &document, &plainText()},
        {unescapeJob, "libxml2", unescapeWithLibxml2, &document, &plainText()},
        {unescapeJob, "tinyxml2", unescapeWithTinyxml2, &document, &plainText()},
        {urlJob, "Boost.URL", rewriteWithBoost, &address, nullptr}, // keep the order of the parameters
        {urlJob, "uriparser", rewriteWithUriparser, &address, nullptr},
    };
    for (const TextPeer& peer : peers) {
        const std::string result = peer.operation(*peer.input);
        if (peer.expected != nullptr)
            require(result == *peer.expected, peer.name);
        else if (peer.job == urlJob)
            require(result.find("success=restarted") != result.npos &&
                        rewriteByHand(result) == rewriteByHand(*peer.input),
                    peer.name);
        else
            require(unescapeWithLibxml2(element(result)).find(*peer.input) != result.npos, peer.name);
        addContender(jobs, peer.job, {peer.name, [=] { keep(peer.operation(*peer.input)); }, {}});
    }
    PlainMap expected;
    decodeFormByHand(formText(), expected);
    using Decoder = void (*)(const std::string&, PlainMap&);
    for (const auto& [name, decode] : {std::pair<const char*, Decoder>{"cgicc", decodeWithCgicc},
                                       {"Boost.URL", decodeWithBoost},
                                       {"uriparser", decodeWithUriparser}}) {
        static PlainMap fields;
        const Decoder decoder = decode;
        decoder(formText(), fields);
        require(fields == expected, name);
        addContender(jobs, formJob, {name, [=] { decoder(formText(), fields); }, {}});
    }
}
