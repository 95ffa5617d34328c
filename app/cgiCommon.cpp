#include "cgiCommon.h"

#include "requestBody.h"
#include "zutl_url.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

void insertField(std::string_view field, Settings& params) {
    const size_t equals = field.find('=');
    zutl::String name(field.substr(0, equals));
    zutl::String value(equals == field.npos ? field : field.substr(equals + 1));
    // Lower case first: an escape can still produce a capital letter.
    zu_strlwr(name.data());
    zutl::url::decodeInPlace(name, false);
    zutl::url::decodeInPlace(value, false);
    params.insert(std::move(name), std::move(value));
}

void parseForm(std::string_view form, Settings& params) {
    params.clear();
    while (!form.empty()) {
        const size_t end = std::min(form.find('&'), form.size());
        if (end > 0)
            insertField(form.substr(0, end), params);
        form.remove_prefix(std::min(end + 1, form.size()));
    }
}

} // namespace

void parseGet(Settings& params) {
    const char* const query = std::getenv("QUERY_STRING");
    parseForm(query != nullptr ? query : "", params);
}

void parsePost(Settings& params) {
    parseForm(readBody(), params);
}
