#include "plainSettings.h"
#include "settingsFile.h"
#include "table.h"
#include "zuap.h"
#include "zuap_Application.h"
#include "zutl_FileVersion.h"
#include "zutl_ReplaceFile.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>

using zuap::Setting;
using zuap::Values;
using zutl::String;
using namespace std::string_literals;

namespace {

std::string fileOf(const std::string& entries) {
    return "<Settings>\n" + entries + "</Settings>\n";
}

// "device/html" in a temporary folder.
class HtmlFolder {
public:
    HtmlFolder() { std::filesystem::create_directories(path()); }
    HtmlFolder(const HtmlFolder&) = delete;
    HtmlFolder& operator=(const HtmlFolder&) = delete;
    ~HtmlFolder() { std::filesystem::remove_all(base); }

    std::string path(const std::string& name = "") const { return base + "/device/html/" + name; }
    bool has(const char* name) const { return std::filesystem::exists(path(name)); }
    std::string read(const char* name) const {
        String text;
        text.fromFile(path(name).c_str());
        return text;
    }
    // As the gateway does.
    int replace(const std::string& text, const zutl::FileVersion* version = nullptr) const {
        return zutl::replaceFile(path().c_str(), settingsFile, text, zutl::Durability::cached, version).code;
    }
    void save(const Values& values) const { ASSERT_EQ(replace(plainSettingsText(values)), 0); }

private:
    std::string base = mkdtemp(std::string("/tmp/zu_test.XXXXXX").data());
};

Setting target() {
    return Setting::number("target", "Target").range("5", "30").step("0.5").initially("20");
}

} // namespace

TEST(SettingsFile, ReadsBackWhatTheGatewayWrote) {
    const HtmlFolder folder;
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const Values& values :
         table(Values(), Values{{"", ""}}, Values{{"note", "x</note>\n  <target>99</target>\n  <note>"}},
               Values{{"a", "/</a>\n  <b></a>\n2</b>"}}, Values{{"a>b", "1"}, {"b</a>", "2"}, {"c</", "<>"}},
               Values{{"a\nb", "\0\xFF"s}, {"é", "&amp;"}})) {
        EXPECT_TRUE(saveXML(values)); // the program's own
        EXPECT_EQ(folder.read("settings_xml.txt"), plainSettingsText(values));
        Values read{{"old", "value"}};
        EXPECT_EQ(zuap::readSettings("settings_xml.txt", read), zuap::Reading::complete);
        EXPECT_EQ(read, values);
    }
}

// Every text of up to five parts that make trouble.
TEST(SettingsFile, IsReadAsTheFirstMapThatTheGatewayWritesSo) {
    const std::vector<std::string> parts = {"  <a>",  "  <b>",  "  <", "a>",    "</a>",  "</b>",
                                            "</a>\n", "</b>\n", "\n",  "</>\n", "  </a>"};
    std::vector<std::string> texts = {""};
    for (size_t shorter = 0; texts.size() < 177156; ++shorter)
        for (const std::string& part : parts)
            texts.push_back(texts[shorter] + part);
    size_t written = 0;
    for (const std::string& text : texts) {
        Values read;
        EXPECT_TRUE(zuap::parseSettings(fileOf(text), read)) << text;
        if (const auto maps = plainSettingsOf(text); !maps.empty()) {
            EXPECT_EQ(plainSettingsText(read), plainSettingsText(maps[0]));
            EXPECT_TRUE(read == maps[0]) << text;
            ++written;
        }
    }
    EXPECT_GT(written, 1000U);
}

TEST(SettingsFile, ReadsHostileTextEntryByEntry) {
    using Row = std::pair<std::string, Values>;
    for (const auto& [entries, expected] :
         table(Row("  <a>1</a>\njunk\n  <b>2</b>\n", {{"b", "2"}}), Row("  <a>1</b>\n", {}),
               Row("  <>\n  <", {}), Row("  <a>1</a>\n  <b>2</b>", {{"a", "1"}}),
               Row("  <x>y>1</x>y>\n  <z>1</w>\n", {{"x>y", "1"}}),
               Row("  <a>1</a>\n  <c>2</a>\n  <x>y>3</x>y>\n  <z>1</w>\n", {{"a", "1"}, {"x>y", "3"}}),
               Row("  <a>1</a>\n  <c>2</a>\n  <x>y>3</x>y>\n  <x>y>4</x>y>\n", {{"a", "1"}, {"x>y", "3"}}),
               Row("  <x>y>1</x>y>\n  <a>2</a>\n", {{"a", "2"}, {"x>y", "1"}}))) {
        Values read;
        EXPECT_TRUE(zuap::parseSettings(fileOf(entries), read)) << entries;
        EXPECT_EQ(read, expected) << entries;
    }
}

TEST(SettingsFile, IsRefusedWithoutItsBeginningOrEnd) {
    const std::string whole = plainSettingsText({{"a", "1"}});
    for (size_t length = 0; length < whole.size(); ++length) {
        Values read{{"old", "value"}};
        EXPECT_FALSE(zuap::parseSettings(whole.substr(0, length), read)) << length;
        EXPECT_TRUE(length == 0 || !zuap::parseSettings(whole.substr(length), read)) << length;
        EXPECT_TRUE(read.empty()) << length;
    }
}

TEST(SettingsFile, IsReadInLinearTime) {
    for (const char* const part : {"  <a>\n", "  <a\n", "</a>\n", "  <a>1</a>\n", "b>c</", ">", "  <a></"}) {
        std::string entries = "  <";
        while (entries.size() < 4'000'000)
            entries += part;
        Values read; // a quadratic reader would run for hours
        EXPECT_TRUE(zuap::parseSettings(fileOf(entries + "z>\n"), read)) << part;
    }
}

TEST(SettingsFile, IsNotReplacedIfAnotherProcessHasChangedIt) {
    const HtmlFolder folder;
    const std::string file = folder.path(settingsFile), moved = file + "2";
    const zutl::File directory(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    const auto replacedAfter = [&](auto change) {
        const zutl::FileVersion version(directory.get(), settingsFile);
        change();
        return folder.replace("new", &version);
    };
    const auto nothing = [] {};
    const auto save = [&] { EXPECT_TRUE(String("other").toFile(file.c_str())); };
    const auto remove = [&] { std::filesystem::remove(file); };
    const auto link = [&] { remove(), std::filesystem::create_symlink("settings_xml.txt2", file); };
    EXPECT_EQ(replacedAfter(nothing), 0); // did not exist
    EXPECT_EQ(replacedAfter(save), ESTALE);
    EXPECT_EQ(replacedAfter(remove), ESTALE);
    EXPECT_EQ(replacedAfter(save), ESTALE);
    EXPECT_EQ(replacedAfter([&] { std::filesystem::rename(file, moved), save(); }), ESTALE);
    EXPECT_EQ(replacedAfter(nothing), 0);
    link(); // written in place
    EXPECT_EQ(replacedAfter(link), ESTALE);
    EXPECT_EQ(replacedAfter(nothing), 0);
    EXPECT_EQ(folder.read("settings_xml.txt2"), "new");
}

TEST(Setting, GivesTheReasonWhyAValueIsRefused) {
    const Setting text = Setting::text("t", "").length(1, 3), any = Setting::text("l", "");
    const Setting free = Setting::number("f", ""),
                  stepped = Setting::number("s", "").range("-1", "").step("0.3").initially("-1");
    const Setting mode = Setting::choice("m", "").option("auto", "Automatic").option("heat", "Heat");
    using Accepted = std::pair<Setting, std::string>;
    for (const auto& [setting, value] : table(
             Accepted(text, "é漢x"), Accepted(text, "\xF0\x9F\x98\x80"), Accepted(any, std::string(255, 'x')),
             Accepted(Setting::text("p", "").pattern("("), "x"), // not supported
             Accepted(Setting::onOff("o", ""), "off"), Accepted(Setting::onOff("o", ""), "on"),
             Accepted(mode, "heat"), Accepted(target(), "020.5000000000"), Accepted(free, "-.5"),
             Accepted(free, "99999999999.9999999"), Accepted(stepped, "-0.7")))
        EXPECT_EQ(setting.refusal(value), "") << value;
    for (const char* const value :
         {"\xC3", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"})
        EXPECT_EQ(text.refusal(value), "t: the text is not UTF-8")
            << value; // cut, overlong, a surrogate, too large
    for (const char* const value : {"a\n", "\xC2\x80"})
        EXPECT_EQ(text.refusal(value), "t: the text has a control character") << value;
    for (const std::string value : {"", "20.x", "1e1", " 20"})
        EXPECT_EQ(target().refusal(value), "target: " + value + " is not a number");
    using Refused = std::tuple<Setting, std::string, const char*>;
    for (const auto& [setting, value, reason] :
         table(Refused(text, "", "t: 0 characters, fewer than 1"),
               Refused(text, "abcd", "t: 4 characters, more than 3"),
               Refused(Setting::text("p", "").length(2, 3), "x", "p: 1 character, fewer than 2"),
               Refused(any, std::string(256, 'x'), "l: 256 characters, more than 255"),
               Refused(Setting::onOff("o", ""), "1", "o: 1 is neither on nor off"),
               Refused(Setting::number("n", "").step("2"), "3", "n: 3 is not in steps of 2"),
               Refused(target(), "30.0000001", "target: 30.0000001 is above 30"),
               Refused(target(), "5.2", "target: 5.2 is not in steps of 0.5 from 5"),
               Refused(target(), "20.00000001", "target: 20.00000001 has more than 7 decimals"),
               Refused(free, "100000000000", "f: 100000000000 is above 99999999999.9999999"),
               Refused(stepped, "0", "s: 0 is not in steps of 0.3 from -1"),
               Refused(mode, "fast", "m: fast is not one of auto, heat")))
        EXPECT_EQ(setting.refusal(value), reason);
    EXPECT_EQ(free.refusal("-" + std::string(100, '9')),
              "f: -" + std::string(63, '9') + "... is below -99999999999.9999999");
}

TEST(Setting, MatchesPatterns) {
    using Row =
        std::tuple<const char*, const char*, const char*>; // pattern, texts that match, texts that do not
    for (const auto& [pattern, right, wrong] :
         table(Row("a", "a", "b aa"), Row("\\/[aa]", "/a", "/ a"), Row("a?b*c+", "c abc bbcc", "ab a aac cb"),
               Row("a{2}b{1,}c{0,2}", "aab aabbcc", "ab aa aabccc"), Row("[a-z]*a", "a za aaa", "z ab"),
               Row("\\[", "[", "]"), Row("[^x]y", "ay éy", "xy y"), Row("[\\]\\-\\\\]", "] - \\", "x"),
               Row("\\d\\w", "1_ 2Z 33", "x1 1é"), Row(".", "é 漢", "ab  "),
               Row("[α-ω]{1,3}", "α λογ", "a αααα"), Row("é{1,65535}", "éé", "è"))) {
        const Setting setting = Setting::text("t", "").pattern(pattern);
        EXPECT_EQ(setting.refusal(""), "") << pattern; // need not match
        for (const String& text : String(right).tokenize(" ", ""))
            EXPECT_EQ(setting.refusal(text), "") << pattern;
        for (const String& text : String(wrong).tokenize(" ", ""))
            EXPECT_EQ(setting.refusal(text), "t: " + text + " does not match " + pattern);
    }
    const Setting hostile = Setting::text("t", "").pattern("a*a*a*a*a*a*a*a*b").length(0, 100000);
    EXPECT_NE(hostile.refusal(std::string(100000, 'a')), ""); // backtracking would never end
}

TEST(Setting, NamesTheFaultInItsDescription) {
    EXPECT_EQ(target().fault(), "");
    EXPECT_EQ(Setting::number("n", "").range("-99999999999.9999999", "99999999999.9999999").fault(), "");
    const std::string notANumber = " is not a number of up to 11 digits and 7 decimals";
    using Row = std::pair<Setting, std::string>;
    for (const auto& [setting, fault] :
         table(Row(Setting::text("a", "").length(2, 1), "the least length is above the greatest"),
               Row(target().range("5", "x"), "x" + notANumber),
               Row(target().step("0"), "the step 0 is not above 0"),
               Row(target().range("100000000000", ""), "100000000000" + notANumber),
               Row(target().range("-100000000000", ""), "-100000000000" + notANumber),
               Row(target().initially("4"), "4 is below 5"),
               Row(Setting::choice("a", ""), "a choice needs options"),
               Row(Setting::onOff("a", "").initially("1"), "1 is neither on nor off")))
        EXPECT_EQ(setting.fault(), setting.name + ": " + fault);
    for (const std::string name : {"", "A", "a<", "a>", "a/", "a\n"})
        EXPECT_EQ(Setting::text(name, "").fault(),
                  name + ": a name must not be empty, and has no capital letters, line feeds or any of <>/");
    for (const char* const pattern :
         {"(a)",     "a|b",      "^a",      "a$",  "a**",   "a*?",     "*",          "{1}",    "a{2,1}",
          "a{,2}",   "a{65536}", "a{1",     "[",   "[]",    "[^]",     "[a-]",       "[-a]",   "[z-a]",
          "[\\d-z]", "[a-\\d]",  "[a-c-e]", "[a",  "[\\n]", "[\\w-z]", "a{1,65536}", "[a&&b]", "[[]",
          "]",       "}",        "\\",      "\\n", "\\-",   "\xFF"})
        EXPECT_EQ(Setting::text("a", "").pattern(pattern).fault(),
                  "a: the pattern " + std::string(pattern) + " is not supported");
}

TEST(Application, PublishesTheValuesInUse) {
    const HtmlFolder folder;
    {
        zuap::Application device(folder.path());
        device.add(target().unit("°C").help("\"Warm\""));
        device.add(Setting::text("room", "Room").length(0, 40).pattern(".*").initially("Hall"));
        device.add(Setting::choice("mode", "Mode").option("auto", "Automatic"));
        device.add(Setting::onOff("eco", "Eco"));
        EXPECT_EQ(device.descriptor(), -1);
        folder.save({{"target", "99"}, {"eco", "on"}, {"room", "\xFF\"\n"}, {"other", "1"}});
        ASSERT_TRUE(device.start()) << device.error();
        EXPECT_EQ(folder.read("pid.cgi"), "device\n");
        EXPECT_EQ(folder.read("state.json"), R"({"revision": 1, "settings": [
  {"name": "target", "label": "Target", "help": "\"Warm\"", "type": "number", "default": "20", "value": "20", "minimum": "5", "maximum": "30", "step": "0.5", "unit": "°C"},
  {"name": "room", "label": "Room", "help": "", "type": "text", "default": "Hall", "value": "Hall", "minimumLength": 0, "maximumLength": 40, "pattern": ".*"},
  {"name": "mode", "label": "Mode", "help": "", "type": "choice", "default": "auto", "value": "auto", "choices": [
    {"value": "auto", "label": "Automatic"}]},
  {"name": "eco", "label": "Eco", "help": "", "type": "switch", "default": "off", "value": "on"}], "refusals": [
  {"name": "target", "value": "99", "reason": "target: 99 is above 30"},
  {"name": "room", "value": "\uFFFD\"\n", "reason": "room: the text is not UTF-8"}]}
)");
        EXPECT_FALSE(device.start());
    }
    EXPECT_FALSE(folder.has("pid.cgi"));
    EXPECT_FALSE(folder.has("state.json"));
}

TEST(Application, PublishesThatItHasNoSettings) {
    const HtmlFolder folder;
    zuap::Application device(folder.path());
    ASSERT_TRUE(device.start()) << device.error();
    EXPECT_EQ(folder.read("state.json"), "{\"revision\": 1, \"settings\": [], \"refusals\": []}\n");
}

TEST(Application, AppliesValidValuesAtEachSignal) {
    const HtmlFolder folder;
    zuap::Application device(folder.path());
    device.add(target());
    device.add(Setting::onOff("eco", "Eco"));
    ASSERT_TRUE(device.start()) << device.error();
    pollfd readable = {device.descriptor(), POLLIN, 0};
    const auto afterSignal = [&] {
        kill(getpid(), SIGUSR1);
        kill(getpid(), SIGUSR1); // one event
        EXPECT_EQ(poll(&readable, 1, -1), 1);
        EXPECT_EQ(device.wait(), zuap::Event::changed);
        EXPECT_EQ(device.next(), zuap::Event::none);
        EXPECT_EQ(poll(&readable, 1, 0), 0);
        const String reasons = device.refusals().empty() ? String() : device.refusals()[0].reason;
        return std::to_string(device.scaled("target", 1)) + (device.isOn("eco") ? " on " : " off ") +
               reasons + device.error().substr(device.error().rfind('/') + 1);
    };
    EXPECT_EQ(afterSignal(), "200 off ");
    folder.save({{"eco", "on"}, {"target", "21.5"}});
    EXPECT_EQ(afterSignal(), "215 on ");
    folder.save({{"eco", "off"}, {"target", "99"}});
    EXPECT_EQ(afterSignal(), "215 off target: 99 is above 30");
    ASSERT_EQ(folder.replace("<Settings>\n"), 0);
    EXPECT_EQ(afterSignal(), "215 off target: 99 is above 30settings_xml.txt: not a whole settings file");
    std::filesystem::remove(folder.path("settings_xml.txt"));
    EXPECT_EQ(afterSignal(), "200 off ");
    std::filesystem::create_directory(folder.path("settings_xml.txt"));
    EXPECT_EQ(afterSignal(), "200 off settings_xml.txt: Is a directory");
    EXPECT_EQ(device.revision(), 7U);
    EXPECT_THROW(device.value("other"), zutl::Exception);
    for (const int number : {SIGTERM, SIGINT}) {
        kill(getpid(), number);
        EXPECT_EQ(device.wait(), zuap::Event::ended);
    }
}

// Applies settings until both texts are `last`. Ends the process, with status 1 if they ever differ.
[[noreturn]] static void runDevice(const HtmlFolder& folder, const std::string& last) {
    alarm(120); // after a missed signal it would wait for ever
    zuap::Application device(folder.path());
    device.add(Setting::text("first", ""));
    device.add(Setting::text("second", ""));
    bool isWhole = device.start();
    while (isWhole && device.value("first") != last && device.wait() == zuap::Event::changed)
        isWhole = device.value("first") == device.value("second") && device.error().empty();
    _exit(isWhole ? 0 : 1);
}

TEST(Application, EndsWithTheLastSettingsAfterManySignals) {
    constexpr int signals = 10000;
    const HtmlFolder folder;
    const pid_t device = fork();
    if (device == 0)
        runDevice(folder, std::to_string(signals));
    while (!folder.has("state.json"))
        usleep(1000);
    for (int number = 1; number <= signals; ++number) {
        const std::string value = std::to_string(number);
        if (number % 20 == 0)
            folder.save({{"first", value}, {"second", value}});
        kill(device, SIGUSR1);
    }
    int status = -1;
    waitpid(device, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Application, HasAReasonWhyItDoesNotStart) {
    const HtmlFolder folder;
    const std::string noFolder = folder.path("none");
    zuap::Application missing(noFolder), device(folder.path());
    EXPECT_FALSE(missing.start());
    EXPECT_EQ(missing.error(), noFolder + ": No such file or directory");
    for (const std::string& wrong : {"/"s, folder.path("..")}) {
        zuap::Application misplaced(wrong);
        EXPECT_FALSE(misplaced.start());
        EXPECT_NE(misplaced.error().find(": the folder must be APPLICATION/html"), String::npos)
            << misplaced.error();
    }
    device.add(target());
    EXPECT_THROW(device.add(target()), zutl::Exception);
    EXPECT_THROW(device.add(target().initially("99")), zutl::Exception);
    std::filesystem::create_directory(folder.path("state.json"));
    std::filesystem::create_directory(folder.path("pid.cgi"));
    EXPECT_FALSE(device.start());
    EXPECT_NE(device.error().find("/pid.cgi: Is a directory"), String::npos) << device.error();
    std::filesystem::remove(folder.path("pid.cgi"));
    EXPECT_TRUE(device.start());
    EXPECT_NE(device.error().find("/state.json: Is a directory"), String::npos) << device.error();
}

TEST(Application, CanBeWrittenInC) {
    const HtmlFolder folder;
    folder.save({{"mode", "fast"}, {"room", "12345678901"}, {"target", "21.5"}});
    zuap_application* const device = zuap_create(folder.path().c_str());
    const zuap_option options[] = {{"auto", "Automatic"}, {"heat", "Heat"}, {nullptr, nullptr}};
    const auto add = [&](zuap_type type, const char* name, const char* initial) {
        zuap_setting setting{};
        setting.type = type;
        setting.name = name;
        setting.initial = initial;
        setting.options = type == ZUAP_CHOICE ? options : nullptr;
        setting.maximum_length = name == "room"s ? 10 : 0;
        return zuap_add(device, &setting);
    };
    EXPECT_EQ(zuap_wait(device), -1);
    EXPECT_STREQ(zuap_error(device), "the application has not been started");
    EXPECT_EQ(add(ZUAP_NUMBER, "target", nullptr) + add(ZUAP_CHOICE, "mode", nullptr) +
                  add(ZUAP_TEXT, "room", "Hall") + add(ZUAP_TEXT, "note", "x") +
                  add(ZUAP_SWITCH, "eco", "on"),
              0);
    EXPECT_EQ(add(ZUAP_NUMBER, "target", nullptr), -1);
    EXPECT_NE(strstr(zuap_error(device), "zuap::Application::add() - target: the name is taken"), nullptr);
    ASSERT_EQ(zuap_start(device), 0) << zuap_error(device);
    EXPECT_STREQ(zuap_error(device), "");
    EXPECT_EQ(zuap_start(device), -1);
    EXPECT_GE(zuap_descriptor(device), 0);
    EXPECT_EQ(zuap_next(device), ZUAP_NONE);
    EXPECT_STREQ(zuap_value(device, "mode"), "auto");
    EXPECT_EQ(zuap_value(device, nullptr), nullptr);
    EXPECT_EQ(zuap_is_on(device, "eco") + 10 * zuap_is_on(device, "room"), 1);
    EXPECT_EQ(zuap_is_on(device, "other"), -1);
    EXPECT_NE(strstr(zuap_error(device), "value() - no such setting"), nullptr);
    long long number = 0;
    EXPECT_EQ(zuap_scaled(device, "target", 2, &number), 0);
    EXPECT_EQ(number, 2150);
    EXPECT_EQ(zuap_refusal_count(device), 2U);
    EXPECT_STREQ(zuap_refusal(device, 0), "mode: fast is not one of auto, heat");
    EXPECT_STREQ(zuap_refusal(device, 1), "room: 11 characters, more than 10");
    EXPECT_EQ(zuap_refusal(device, 2), nullptr);
    kill(getpid(), SIGUSR1);
    EXPECT_EQ(zuap_wait(device), ZUAP_CHANGED);
    EXPECT_EQ(zuap_revision(device), 2U);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(zuap_next(device), ZUAP_ENDED);
    std::string read;
    const auto take = [](void* context, const char* name, const char* value) {
        *static_cast<std::string*>(context) += name + "="s + value + ";";
    };
    EXPECT_EQ(zuap_read_file(folder.path("settings_xml.txt").c_str(), take, &read), 0);
    EXPECT_EQ(read, "mode=fast;room=12345678901;target=21.5;");
    for (const auto& [path, error] :
         {std::pair("/nowhere", ENOENT), {"/dev/null", EAGAIN}, {"/tmp", EISDIR}, {"/dev/null/x", ENOTDIR}}) {
        EXPECT_EQ(zuap_read_file(path, take, &read), -1) << path;
        EXPECT_EQ(errno, error) << path;
    }
    zuap_free(device);
    zuap_free(nullptr);
}
