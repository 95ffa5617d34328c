#include "description.h"

#include "json.h"
#include "zuap_State.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace settings {

namespace {

using zuap::Setting;

Setting ofType(const json::Value& from) {
    const std::string type = from.textOf("type"), name = from.textOf("name"), label = from.textOf("label");
    if (type == "number")
        return Setting::number(name, label);
    if (type == "choice")
        return Setting::choice(name, label);
    return type == "switch" ? Setting::onOff(name, label) : Setting::text(name, label);
}

// Returns the number, or `otherwise` if there is none.
unsigned int lengthOf(const json::Value& from, const char* name, unsigned int otherwise) {
    const json::Value* const member = from.find(name);
    return member == nullptr ? otherwise
                             : static_cast<unsigned int>(std::strtoul(member->text.c_str(), nullptr, 10));
}

Setting toSetting(const json::Value& from) {
    Setting setting = ofType(from);
    setting.initially(from.textOf("default")).help(from.textOf("help")).pattern(from.textOf("pattern"));
    setting.range(from.textOf("minimum"), from.textOf("maximum"))
        .step(from.textOf("step"))
        .unit(from.textOf("unit"));
    setting.length(lengthOf(from, "minimumLength", setting.minimumLength),
                   lengthOf(from, "maximumLength", setting.maximumLength));
    if (const json::Value* const choices = from.find("choices"))
        for (const json::Value& choice : choices->items)
            setting.option(choice.textOf("value"), choice.textOf("label"));
    return setting;
}

} // namespace

zutl::String readDescription(std::vector<Setting>& description, bool& described) {
    zutl::String text;
    errno = 0;
    if (!text.fromFile(zuap::stateFile)) {
        described = false;
        return errno == ENOENT ? "" : std::strerror(errno);
    }
    described = true;
    const auto state = json::parse(text);
    const json::Value* const settings = state ? state->find("settings") : nullptr;
    if (settings == nullptr)
        return "does not describe settings";
    for (const json::Value& from : settings->items) {
        description.push_back(toSetting(from));
        if (zutl::String fault = description.back().fault(); !fault.empty())
            return fault;
    }
    return zutl::String();
}

} // namespace settings
