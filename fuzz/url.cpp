// Fuzzes urls: reading any text, printing any components and reading them again.

#include "fuzzing.h"
#include "zutl_url.h"

#include <tuple>

using zutl::url;

// Returns false for addresses that cannot be read back: a "?" before the host, a "/" at the beginning of a
// path without authority, a ":" without scheme, a scheme alone.
static bool readsBack(const url& address) {
    const Text user = address.user.empty() ? "" : address.user + ":" + address.password;
    const bool hasAuthority = !user.empty() || !address.host.empty() || address.port >= 0;
    if (user.find('?') != Text::npos || (!hasAuthority && address.path.hasPrefix("/")))
        return false;
    if (!address.scheme.empty())
        return hasAuthority || !address.path.empty() || !address.parameters.empty();
    const bool hasPassword = !user.empty() && !address.password.empty();
    return !hasPassword && address.port < 0 && (address.path + address.query()).find(':') == Text::npos;
}

static void checkPrinting(url address) {
    const Text text = static_cast<const zutl::String>(address);
    const url again(text);
    if (!readsBack(address))
        return;
    if (address.user.empty()) // a password without user and a negative port are not printed
        address.password.clear();
    address.port = std::max<int>(address.port, -1);
    const auto parts = [](const url& u) {
        return std::tie(u.scheme, u.user, u.password, u.host, u.path, u.port.value, u.parameters);
    };
    require(parts(again) == parts(address));
}

static void checkText(const Text& text) {
    checkPrinting(url(text));
    require(url::decode(text, false) == plainDecode(text, false));
    require(url::decode(text, true) == plainDecode(text, true));
    require(url::decode(url::encode(text, text.c_str()), false) == text);
}

void fuzz(FuzzedDataProvider& input) {
    if (input.ConsumeBool())
        return checkText(input.ConsumeRemainingBytesAsString());
    url address;
    for (auto* part : {&address.scheme, &address.user, &address.password, &address.host, &address.path})
        *part = input.ConsumeRandomLengthString();
    address.port = input.ConsumeBool() ? input.ConsumeIntegral<int>() : -1;
    while (input.remaining_bytes() > 0)
        address.parameters[input.ConsumeRandomLengthString()] = input.ConsumeRandomLengthString();
    checkPrinting(address);
}
