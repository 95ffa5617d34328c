#include "zuap_State.h"

#include "zutl_Json.h"

#include <string_view>

namespace zuap {

namespace {

class JsonWriter {
public:
    // `lead` precedes the bracket.
    void open(char bracket, const char* lead = "") {
        json += isFirst ? "" : ",";
        json += lead;
        json += bracket;
        isFirst = true;
    }
    void close(char bracket) {
        json += bracket;
        isFirst = false;
    }
    void key(const char* name) {
        json += isFirst ? "" : ", ";
        zutl::appendJsonString(json, name);
        json += ": ";
        isFirst = true; // no comma before the value
    }
    void text(const char* name, std::string_view value) {
        key(name);
        zutl::appendJsonString(json, value);
        isFirst = false;
    }
    void textIfAny(const char* name, const zutl::String& value) {
        if (!value.empty())
            text(name, value);
    }
    void number(const char* name, unsigned int value) {
        key(name);
        json += std::to_string(value);
        isFirst = false;
    }

    zutl::String json;

private:
    bool isFirst = true; // in the innermost object or array
};

const char* nameOf(SettingType type) {
    switch (type) {
    case SettingType::number:
        return "number";
    case SettingType::choice:
        return "choice";
    case SettingType::onOff:
        return "switch";
    case SettingType::text:
        break;
    }
    return "text";
}

void writeLimits(JsonWriter& writer, const Setting& setting) {
    if (setting.type == SettingType::text) {
        writer.number("minimumLength", setting.minimumLength);
        writer.number("maximumLength", setting.maximumLength);
        writer.textIfAny("pattern", setting.patternText);
    } else if (setting.type == SettingType::number) {
        writer.textIfAny("minimum", setting.minimum);
        writer.textIfAny("maximum", setting.maximum);
        writer.textIfAny("step", setting.stepText);
        writer.textIfAny("unit", setting.unitText);
    } else if (setting.type == SettingType::choice) {
        writer.key("choices");
        writer.open('[');
        for (const Option& option : setting.options) {
            writer.open('{', "\n    ");
            writer.text("value", option.value);
            writer.text("label", option.label);
            writer.close('}');
        }
        writer.close(']');
    }
}

void writeSetting(JsonWriter& writer, const Setting& setting, const zutl::String& value) {
    writer.open('{', "\n  ");
    writer.text("name", setting.name);
    writer.text("label", setting.label);
    writer.text("help", setting.helpText);
    writer.text("type", nameOf(setting.type));
    writer.text("default", setting.initialValue);
    writer.text("value", value);
    writeLimits(writer, setting);
    writer.close('}');
}

} // namespace

zutl::String toJson(const State& state) {
    JsonWriter writer;
    writer.open('{');
    writer.number("revision", state.revision);
    writer.key("settings");
    writer.open('[');
    for (const Setting& setting : state.settings)
        writeSetting(writer, setting, state.values.at(setting.name));
    writer.close(']');
    writer.key("refusals");
    writer.open('[');
    for (const Refusal& refusal : state.refusals) {
        writer.open('{', "\n  ");
        writer.text("name", refusal.name);
        writer.text("value", refusal.value);
        writer.text("reason", refusal.reason);
        writer.close('}');
    }
    writer.close(']');
    writer.close('}');
    writer.json += '\n';
    return writer.json;
}

} // namespace zuap
