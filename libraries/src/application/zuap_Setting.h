#pragma once
// The description of a setting, from which values are checked and the page builds itself.

#include "zutl_String.h"

#include <vector>

namespace zuap {

// The types of settings.
enum class SettingType { text, number, choice, onOff };

// One option of a choice.
struct Option {
    zutl::String value; // in the settings file
    zutl::String label; // for people
};

// One setting. Made by one of the four factories, and completed by the functions that return it:
//
//     Setting::number("target", "Target temperature").range("5", "30").step("0.5").unit("°C").initially("20")
//
// Numbers are decimal text and never become binary: an optional "-", up to 11 digits, and up to 7 decimals.
struct Setting {
    // Returns a text. `name` is the field's name in the form; `label` is for people.
    static Setting text(zutl::String name, zutl::String label);

    // Returns a number.
    static Setting number(zutl::String name, zutl::String label);

    // Returns a choice without options; add them with option().
    static Setting choice(zutl::String name, zutl::String label);

    // Returns a switch, "on" or "off"; initially "off".
    static Setting onOff(zutl::String name, zutl::String label);

    // The value without a settings file. Must be valid for the setting.
    Setting& initially(zutl::String value);
    // A sentence below the field.
    Setting& help(zutl::String sentence);

    // Text: the number of characters, by default 0 to 255.
    Setting& length(unsigned int least, unsigned int most);
    // Text: a regular expression that the whole text must match unless it is empty, as in HTML;
    // docs/application.md has the syntax.
    Setting& pattern(zutl::String expression);

    // Number: the least and the greatest value; an empty text is no limit.
    Setting& range(zutl::String least, zutl::String greatest);
    // Number: the distance of valid values, counted from the least value, or from 0 if there is none.
    Setting& step(zutl::String distance);
    // Number: shown after the value.
    Setting& unit(zutl::String symbol);

    // Choice: one more option.
    Setting& option(zutl::String value, zutl::String label);

    // Returns what is wrong with the description; empty if nothing is.
    zutl::String fault() const;

    // Returns why `value` is not valid, such as "target: 99 is above 30"; empty if it is valid. Text must be
    // UTF-8 without control characters. Requires a description without fault.
    zutl::String refusal(const zutl::String& value) const;

    zutl::String name;                    // of the field in the form
    zutl::String label;                   // for people
    zutl::String helpText;                // a sentence below the field
    zutl::String initialValue;            // without a settings file
    SettingType type = SettingType::text; // which of the members below have an effect
    unsigned int minimumLength = 0;       // text: characters
    unsigned int maximumLength = 255;     // text: characters
    zutl::String patternText;             // text: empty for any
    zutl::String minimum;                 // number: empty for no limit
    zutl::String maximum;                 // number: empty for no limit
    zutl::String stepText;                // number: empty for any
    zutl::String unitText;                // number: empty for none
    std::vector<Option> options;          // choice
};

// A value that was refused. A long value is cut to be shown.
struct Refusal {
    zutl::String name;   // of the setting
    zutl::String value;  // that was refused
    zutl::String reason; // such as "target: 99 is above 30"
};

// Returns `text`, or if it is longer than 64 characters the beginning of it and "...".
zutl::String abbreviated(const zutl::String& text);

} // namespace zuap
