#pragma once
// zutl::url: splits a URL text into its decoded components and prints them back.

#include "zusl_Map.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <string_view>

namespace zutl {

// A plain value: parse, change, print. Works on bytes; nothing is reported as an error. Text that is not
// accepted gives the empty url, which prints as empty text. A "#" is ordinary text: there is no fragment.
class url {
public:
    String scheme;                      // text before the first ":", decoded; empty if there is none
    String host;                        // host part of the authority, decoded
    String user;                        // user part of the authority, decoded
    String password;                    // password part of the authority, decoded
    Integer port = -1;                  // -1 if the text names none
    String path;                        // decoded, without its leading "/"
    zusl::StringMap<String> parameters; // query parameters, decoded name to decoded value

    // Creates the empty url.
    url() = default;

    // Creates the url that parse returns for the text.
    url(const String& text) { read(text); }

    // Copies all components.
    url(const url& other) = default;

    // Takes the components of a temporary.
    url(url&& other) = default;

    // Copies all components.
    url& operator=(const url& other) = default;

    // Takes the components of a temporary.
    url& operator=(url&& other) = default;

    virtual ~url() = default;

    // Returns the components of the text. The first ":" anywhere ends the scheme. Returns the empty url if
    // neither "/" nor "?" follows the scheme, as in page.html or mailto:name. A parameter without "=" is
    // ignored; if a name occurs twice, the last value is used. A port that is not a number gives 0.
    static url parse(const String& text);

    // Returns the URL text. Escapes "%" and what would end a component: ":" in the scheme; "@", ":" and "/"
    // in user and password; these and "?" in the host; "?" in the path. An empty authority, a password
    // without a user, and a negative port are not printed. The const result is imposed by the published
    // interface.
    operator const String() const;

    // Returns the parameters as name=value pairs in ascending order of names, joined by "&", without a
    // leading "?".
    String query() const;

    // Returns the text with each "%" and the two bytes after it replaced by the byte that their leading
    // hexadecimal digits give, 0 if there is none. A "%" with fewer bytes after it is kept. If `plusAsSpace`,
    // every "+" of the text becomes a space.
    static String decode(const String& text, bool plusAsSpace);

    // Replaces the text with its decoded form. Allocates nothing.
    static void decodeInPlace(String& text, bool plusAsSpace);

    // Returns the text with each "%" and each byte in `reserved` replaced by "%" and two upper-case
    // hexadecimal digits.
    static String encode(const String& text, const char* reserved);

private:
    void read(std::string_view text);
    void readAuthority(std::string_view authority);
    void readQuery(std::string_view text);
    void appendAuthority(String& text) const;
    void appendQuery(String& text) const;
};

} // namespace zutl
