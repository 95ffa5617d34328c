// The same job with cgicc for the form; everything else is that of the limit.

#include "parts.h"

#include <cgicc/Cgicc.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <map>

int main() {
    std::signal(SIGPIPE, SIG_IGN);
    const cgicc::Cgicc request;
    std::map<std::string, std::string> settings;
    for (const cgicc::FormEntry& entry : request.getElements()) {
        std::string name = entry.getName();
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char byte) { return std::tolower(byte); });
        settings.try_emplace(name, entry.getValue());
    }
    fields sorted{};
    for (auto& [name, value] : settings)
        put_field(&sorted, {const_cast<char*>(name.data()), name.size()}, {value.data(), value.size()},
                  false);
    redirect(save_settings(&sorted) ? restart_application() : "false");
    return 0;
}
