// Fuzzes the reader of settings files, and the check of values.

#include "fuzzing.h"
#include "plainSettings.h"
#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

static void checkReading(const Text& entries) {
    zuap::Values values;
    require(zuap::parseSettings("<Settings>\n" + entries + "</Settings>\n", values));
    const auto maps = entries.size() < 200 ? plainSettingsOf(entries) : std::vector<PlainSettings>();
    require(maps.empty() || values == maps[0]);
    zuap::Values again;
    require(zuap::parseSettings(plainSettingsText(values), again));
    require(!zuap::parseSettings(entries, values) || entries.compare(0, 10, "<Settings>") == 0);
}

void fuzz(FuzzedDataProvider& input) {
    zuap::Setting setting = zuap::Setting::text("t", "").length(0, 1000);
    setting.pattern(input.ConsumeRandomLengthString(40));
    zuap::Setting number =
        zuap::Setting::number("n", "").range(input.ConsumeRandomLengthString(20), "").step("0.3");
    const Text rest = input.ConsumeRemainingBytesAsString();
    if (setting.fault().empty() || setting.fault().find("does not match") != Text::npos)
        setting.refusal(rest);
    if (number.initially(number.minimum).fault().empty())
        require(number.refusal(rest).empty() || number.refusal(rest).hasPrefix("n: "));
    checkReading(rest);
}
