// The form decoder of the limit, but with cgicc.

#include <cgicc/Cgicc.h>

#include <cctype>
#include <cstring>

extern "C" void put_field(char* name, char* value);
extern "C" void read_form();

void read_form() {
    const cgicc::Cgicc request;
    for (const cgicc::FormEntry& entry : request.getElements()) {
        char* const name = strdup(entry.getName().c_str());
        for (char* byte = name; *byte != '\0'; ++byte)
            *byte = static_cast<char>(std::tolower(static_cast<unsigned char>(*byte)));
        put_field(name, strdup(entry.getValue().c_str()));
    }
}
