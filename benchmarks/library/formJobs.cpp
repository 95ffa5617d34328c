// Decoding of a submitted form into the map of settings, as the program does it.

#include "cgiCommon.h"
#include "inputs.h"
#include "jobs.h"
#include "percent.h"
#include "virtualText.h"

#include <boost/url.hpp>
#include <cgicc/Cgicc.h>
#include <uriparser/Uri.h>

#include <cstdlib>
#include <map>
#include <memory>

namespace {

using PlainMap = std::map<std::string, std::string>;

constexpr char lower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
}

template <typename Text>
void decodeByHand(std::string_view text, std::map<Text, Text>& fields) {
    fields.clear();
    while (!text.empty()) {
        const size_t end = std::min(text.find('&'), text.size());
        if (end > 0) {
            const std::string_view field = text.substr(0, end);
            const size_t equals = field.find('=');
            const std::string_view value = equals == field.npos ? field : field.substr(equals + 1);
            fields.try_emplace(byhand::decodeShort<Text>(field.substr(0, equals), lower),
                               byhand::decodeShort<Text>(value, [](char byte) { return byte; }));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// The peers leave the names as they are.
void add(PlainMap& fields, std::string name, std::string value) {
    for (char& byte : name)
        byte = lower(byte);
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

using Decoder = void (*)(const std::string&, PlainMap&);

bench::Contender peer(const char* name, Decoder decode, const std::shared_ptr<const std::string>& text,
                      const PlainMap& expected) {
    const auto fields = std::make_shared<PlainMap>();
    decode(*text, *fields);
    bench::require(*fields == expected, std::string("form: differs: ") + name);
    return {name, [=] { decode(*text, *fields); }, {}};
}

void addJob(Jobs& jobs, const char* name, size_t count, double target) {
    const auto text = std::make_shared<const std::string>(bench::form(count));
    const auto plain = std::make_shared<PlainMap>();
    const auto virtualTexts = std::make_shared<std::map<byhand::VirtualText, byhand::VirtualText>>();
    const auto settings = std::make_shared<Settings>();
    decodeByHand(*text, *plain);
    const auto intoEnvironment = [=] { setenv("QUERY_STRING", text->c_str(), 1); };
    intoEnvironment();
    parseGet(*settings);
    bench::require(plain->size() == count && PlainMap(settings->begin(), settings->end()) == *plain,
                   "form: ours differs");
    jobs.push_back(
        {name,
         "field",
         static_cast<double>(count),
         target,
         "one pass into a `std::map`",
         {{bench::byHand, [=] { decodeByHand(std::getenv("QUERY_STRING"), *plain); }, {}},
          {bench::ours, [=] { parseGet(*settings); }, {}},
          {byhand::withVirtualTexts, [=] { decodeByHand(std::getenv("QUERY_STRING"), *virtualTexts); }, {}},
          peer("cgicc", decodeWithCgicc, text, *plain),
          peer("Boost.URL", decodeWithBoost, text, *plain),
          peer("uriparser", decodeWithUriparser, text, *plain)},
         intoEnvironment});
}

} // namespace

void addFormJobs(Jobs& jobs) {
    addJob(jobs, "form of 20 000 fields", 20000, 1.1);
    addJob(jobs, "form of 30 fields", 30, 1.3);
}
