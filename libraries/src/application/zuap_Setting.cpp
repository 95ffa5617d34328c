#include "zuap_Setting.h"

#include "zuap_Decimal.h"
#include "zuap_Pattern.h"
#include "zutl_Utf8.h"

#include <algorithm>
#include <utility>

namespace zuap {

using zutl::String;

namespace {

Setting make(SettingType type, String name, String label, const char* value) {
    Setting setting;
    setting.type = type;
    setting.name = std::move(name);
    setting.label = std::move(label);
    setting.initialValue = value;
    return setting;
}

} // namespace

Setting Setting::text(String name, String label) {
    return make(SettingType::text, std::move(name), std::move(label), "");
}

Setting Setting::number(String name, String label) {
    return make(SettingType::number, std::move(name), std::move(label), "0");
}

Setting Setting::choice(String name, String label) {
    return make(SettingType::choice, std::move(name), std::move(label), "");
}

Setting Setting::onOff(String name, String label) {
    return make(SettingType::onOff, std::move(name), std::move(label), "off");
}

Setting& Setting::initially(String value) {
    initialValue = std::move(value);
    return *this;
}

Setting& Setting::help(String sentence) {
    helpText = std::move(sentence);
    return *this;
}

Setting& Setting::length(unsigned int least, unsigned int most) {
    minimumLength = least;
    maximumLength = most;
    return *this;
}

Setting& Setting::pattern(String expression) {
    patternText = std::move(expression);
    return *this;
}

Setting& Setting::range(String least, String greatest) {
    minimum = std::move(least);
    maximum = std::move(greatest);
    return *this;
}

Setting& Setting::step(String distance) {
    stepText = std::move(distance);
    return *this;
}

Setting& Setting::unit(String symbol) {
    unitText = std::move(symbol);
    return *this;
}

Setting& Setting::option(String value, String optionLabel) {
    if (options.empty() && initialValue.empty())
        initialValue = value;
    options.push_back({std::move(value), std::move(optionLabel)});
    return *this;
}

namespace {

String characters(size_t count) {
    return String::fromFormat("%zu character%s", count, count == 1 ? "" : "s");
}

// The functions below return the reason for a refusal without the name, or an empty text.

String textRefusal(const Setting& setting, const String& value) {
    size_t count = 0;
    for (std::string_view rest = value; !rest.empty(); ++count) {
        const zutl::Character character = zutl::firstCharacter(rest);
        if (!character.isValid)
            return "the text is not UTF-8";
        if (character.code < 0x20 || (character.code >= 0x7F && character.code < 0xA0))
            return "the text has a control character";
        rest.remove_prefix(character.length);
    }
    if (count < setting.minimumLength)
        return characters(count) + ", fewer than " + String::fromFormat("%u", setting.minimumLength);
    if (count > setting.maximumLength)
        return characters(count) + ", more than " + String::fromFormat("%u", setting.maximumLength);
    Pattern pattern;
    if (count > 0 && !setting.patternText.empty() && pattern.compile(setting.patternText) &&
        !pattern.matches(value))
        return abbreviated(value) + " does not match " + setting.patternText;
    return String();
}

// Returns the limit, or `otherwise` if it is empty.
Decimal limitOf(const String& text, Decimal otherwise) {
    parseDecimal(text, otherwise);
    return otherwise;
}

String numberRefusal(const Setting& setting, const String& value) {
    Decimal number = 0;
    switch (parseDecimal(value, number)) {
    case DecimalError::notANumber:
        return abbreviated(value) + " is not a number";
    case DecimalError::tooManyDecimals:
        return abbreviated(value) + String::fromFormat(" has more than %u decimals", decimalPlaces);
    case DecimalError::none:
        break;
    }
    if (number < limitOf(setting.minimum, -greatestDecimal))
        return abbreviated(value) + " is below " +
               (setting.minimum.empty() ? "-99999999999.9999999" : setting.minimum);
    if (number > limitOf(setting.maximum, greatestDecimal))
        return abbreviated(value) + " is above " +
               (setting.maximum.empty() ? "99999999999.9999999" : setting.maximum);
    const Decimal step = limitOf(setting.stepText, 0);
    if (step != 0 && (number - limitOf(setting.minimum, 0)) % step != 0)
        return abbreviated(value) + " is not in steps of " + setting.stepText +
               (setting.minimum.empty() ? String() : " from " + setting.minimum);
    return String();
}

String choiceRefusal(const Setting& setting, const String& value) {
    std::vector<String> values;
    for (const Option& option : setting.options) {
        if (option.value == value)
            return String();
        values.push_back(option.value);
    }
    return abbreviated(value) + " is not one of " + String::join(values, ", ");
}

String reasonAgainst(const Setting& setting, const String& value) {
    switch (setting.type) {
    case SettingType::text:
        return textRefusal(setting, value);
    case SettingType::number:
        return numberRefusal(setting, value);
    case SettingType::choice:
        return choiceRefusal(setting, value);
    case SettingType::onOff:
        break;
    }
    if (value == "on" || value == "off")
        return String();
    return abbreviated(value) + " is neither on nor off";
}

String numberFault(const Setting& setting) {
    for (const String* const text : {&setting.minimum, &setting.maximum, &setting.stepText}) {
        Decimal number = 0;
        if (!text->empty() && (parseDecimal(*text, number) != DecimalError::none ||
                               number > greatestDecimal || number < -greatestDecimal))
            return *text + " is not a number of up to 11 digits and 7 decimals";
    }
    if (!setting.stepText.empty() && limitOf(setting.stepText, 0) <= 0)
        return "the step " + setting.stepText + " is not above 0";
    return String();
}

String faultOf(const Setting& setting) {
    if (setting.name.empty() || setting.name.find_first_of("<>/\n") != setting.name.npos ||
        setting.name != setting.name.toLower())
        return "a name must not be empty, and has no capital letters, line feeds or any of <>/";
    if (setting.minimumLength > setting.maximumLength)
        return "the least length is above the greatest";
    if (!setting.patternText.empty() && !Pattern().compile(setting.patternText))
        return "the pattern " + setting.patternText + " is not supported";
    if (setting.type == SettingType::choice && setting.options.empty())
        return "a choice needs options";
    const String fault = numberFault(setting);
    return fault.empty() ? reasonAgainst(setting, setting.initialValue) : fault;
}

} // namespace

String Setting::fault() const {
    const String fault = faultOf(*this);
    return fault.empty() ? fault : String(name + ": " + fault);
}

String Setting::refusal(const String& value) const {
    const String reason = reasonAgainst(*this, value);
    return reason.empty() ? reason : String(name + ": " + reason);
}

String abbreviated(const String& text) {
    constexpr size_t most = 64; // characters
    std::string_view rest = text;
    for (size_t count = 0; count < most && !rest.empty(); ++count)
        rest.remove_prefix(zutl::firstCharacter(rest).length);
    return rest.empty() ? text : String(text.substr(0, text.size() - rest.size()) + "...");
}

} // namespace zuap
