// zusettings: shows and changes an application's settings from the command line.

#include "description.h"
#include "escaped.h"
#include "settingsFolder.h"
#include "zutl_File.h"
#include "zutl_Json.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <getopt.h>
#include <string_view>
#include <unistd.h>

namespace {

using zutl::String;

enum Status { done = 0, failed = 1, wrongUsage = 2, notApplied = 3 };

constexpr const char* usage = "Usage: zusettings [OPTION]... list\n"
                              "       zusettings [OPTION]... get NAME\n"
                              "       zusettings [OPTION]... set NAME=VALUE...\n"
                              "       zusettings [OPTION]... unset NAME...\n"
                              "       zusettings [OPTION]... apply\n";
constexpr const char* help =
    "Shows or changes the settings of an application, as its web page does.\n"
    "\n"
    "  list    prints every setting\n"
    "  get     prints the value of one setting\n"
    "  set     saves new values and signals the application\n"
    "  unset   goes back to default values and signals the application\n"
    "  apply   signals the application\n"
    "\n"
    "  -d, --directory DIR  the application's html directory; by default the working directory\n"
    "  -f, --force          save also what the application would refuse\n"
    "  -j, --json           print JSON\n"
    "      --help           print this help\n"
    "      --version        print the version\n"
    "\n"
    "set, unset and apply print what became of it: restarted, running, stopped or false.\n"
    "Exits with 0 if saved and applied, 3 if saved but not applied, 1 if refused or failed,\n"
    "2 for wrong usage.\n";

struct Options {
    const char* directory = ".";
    bool isForced = false;
    bool isJson = false;
    const char* answer = nullptr; // to --help or --version
};

// Parses the options and leaves `optind` at the command. Returns false for wrong usage.
bool parseOptions(int count, char** arguments, Options& options) {
    enum { helpOption = 256, versionOption };
    static const option known[] = {{"directory", required_argument, nullptr, 'd'},
                                   {"force", no_argument, nullptr, 'f'},
                                   {"json", no_argument, nullptr, 'j'},
                                   {"help", no_argument, nullptr, helpOption},
                                   {"version", no_argument, nullptr, versionOption},
                                   {nullptr, 0, nullptr, 0}};
    for (int found; (found = getopt_long(count, arguments, "+d:fj", known, nullptr)) != -1;) {
        if (found == '?')
            return false;
        if (found == 'd')
            options.directory = optarg;
        options.isForced = options.isForced || found == 'f';
        options.isJson = options.isJson || found == 'j';
        if (found == helpOption)
            options.answer = help;
        if (found == versionOption)
            options.answer = "zusettings " PROGRAM_VERSION "\n";
    }
    return true;
}

using Arguments = std::vector<std::string_view>;

// One run of the program.
class Run {
public:
    explicit Run(const Options& given) : options(given) {}

    // Each returns the exit status.
    Status list();
    Status get(const Arguments& names);
    Status set(const Arguments& assignments);
    Status unset(const Arguments& names);
    Status apply();

    [[nodiscard]] bool enter();

private:
    const zuap::Setting* find(std::string_view name) const;
    bool accepts(const String& name, const String& value) const;
    void addLine(std::string_view text);
    bool print() const;
    Status saveAndApply(const std::function<bool(zuap::Values&)>& change);

    const Options& options;
    std::vector<zuap::Setting> description;
    bool isDescribed = false;
    std::string output;
};

// Enters the folder and reads what the application publishes there.
bool Run::enter() {
    if (chdir(options.directory) != 0) {
        settings::complain(options.directory, std::strerror(errno));
        return false;
    }
    const String fault = settings::readDescription(description, isDescribed);
    if (!fault.empty() && !options.isForced)
        settings::complain("state.json", fault);
    return fault.empty() || options.isForced;
}

// Returns null if the application does not have the setting.
const zuap::Setting* Run::find(std::string_view name) const {
    const auto found = std::find_if(description.begin(), description.end(),
                                    [name](const zuap::Setting& setting) { return setting.name == name; });
    return found == description.end() ? nullptr : &*found;
}

// Complains and returns false if the application would not take the value.
bool Run::accepts(const String& name, const String& value) const {
    if (options.isForced || !isDescribed)
        return true;
    const zuap::Setting* const setting = find(name);
    if (setting == nullptr) {
        settings::complain(name, "no such setting");
        return false;
    }
    const String reason = setting->refusal(value);
    if (!reason.empty())
        settings::complain(name,
                           std::string_view(reason).substr(name.size() + 2)); // "NAME: " is printed anyway
    return reason.empty();
}

// Adds a line to the output: the text as it is, or as JSON.
void Run::addLine(std::string_view text) {
    if (options.isJson)
        zutl::appendJsonString(output, text);
    else
        output += text;
    output += '\n';
}

bool Run::print() const {
    if (zutl::writeAll(STDOUT_FILENO, output.data(), output.size()))
        return true;
    settings::complain("standard output", std::strerror(errno));
    return false;
}

Status Run::list() {
    zuap::Values values;
    if (!settings::read(values))
        return failed;
    for (const zuap::Setting& setting : description)
        values.insert(setting.name, setting.initialValue);
    std::string json;
    for (const auto& [name, value] : values) {
        if (options.isJson) {
            json += json.empty() ? "{" : ",\n ";
            zutl::appendJsonString(json, name);
            json += ": ";
            zutl::appendJsonString(json, value);
        } else {
            output += escaped(name) + '=' + escaped(value) + '\n';
        }
    }
    if (options.isJson)
        output = (json.empty() ? "{" : json) + "}\n";
    return print() ? done : failed;
}

Status Run::get(const Arguments& names) {
    zuap::Values values;
    if (!settings::read(values))
        return failed;
    const zuap::Setting* const setting = find(names[0]);
    if (setting != nullptr)
        values.insert(setting->name, setting->initialValue);
    const auto entry = values.find(String(names[0]));
    if (entry == values.end()) {
        settings::complain(names[0], "no such setting");
        return failed;
    }
    addLine(entry->second);
    return print() ? done : failed;
}

Status Run::saveAndApply(const std::function<bool(zuap::Values&)>& change) {
    return settings::modify(change) ? apply() : failed;
}

Status Run::set(const Arguments& assignments) {
    zuap::Values wanted;
    bool areAccepted = true;
    for (const std::string_view assignment : assignments) {
        const size_t equals = assignment.find('=');
        const String name(assignment.substr(0, equals)), value(assignment.substr(equals + 1));
        areAccepted = accepts(name, value) && areAccepted;
        wanted[name] = value;
    }
    return !areAccepted ? failed : saveAndApply([&](zuap::Values& values) {
        for (const auto& [name, value] : wanted)
            values[name] = value;
        return true;
    });
}

Status Run::unset(const Arguments& names) {
    return saveAndApply([&](zuap::Values& values) {
        for (const std::string_view name : names)
            if (values.erase(String(name)) == 0 && find(name) == nullptr) {
                settings::complain(name, "no such setting");
                return false;
            }
        return true;
    });
}

Status Run::apply() {
    const String status = settings::apply();
    addLine(status);
    print(); // the outcome is the same if nobody can read it
    return status == "restarted" ? done : notApplied;
}

// Runs the command. The arguments are those after the options.
Status execute(const Arguments& arguments, Run& run) {
    struct Command {
        std::string_view name;
        size_t least, most; // arguments
        std::function<Status(const Arguments&)> action;
    };
    const Command commands[] = {
        {"list", 0, 0, [&](const Arguments&) { return run.list(); }},
        {"get", 1, 1, [&](const Arguments& names) { return run.get(names); }},
        {"set", 1, SIZE_MAX, [&](const Arguments& assignments) { return run.set(assignments); }},
        {"unset", 1, SIZE_MAX, [&](const Arguments& names) { return run.unset(names); }},
        {"apply", 0, 0, [&](const Arguments&) { return run.apply(); }},
    };
    if (arguments.empty())
        return wrongUsage;
    const Arguments rest(arguments.begin() + 1, arguments.end());
    const bool areAssignments = std::all_of(rest.begin(), rest.end(), [](std::string_view argument) {
        return argument.find('=') != argument.npos;
    });
    for (const Command& command : commands) {
        if (command.name != arguments[0])
            continue;
        if (rest.size() < command.least || rest.size() > command.most ||
            (command.name == "set" && !areAssignments))
            return wrongUsage;
        return run.enter() ? command.action(rest) : failed;
    }
    return wrongUsage;
}

} // namespace

int main(int count, char** arguments) {
    Options options;
    const bool isUnderstood = parseOptions(count, arguments, options);
    if (options.answer != nullptr) {
        std::printf("%s%s", options.answer == help ? usage : "", options.answer);
        return done;
    }
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails instead
    std::signal(SIGPIPE, SIG_IGN);
    Status status = failed;
    try {
        Run run(options);
        status = isUnderstood ? execute(Arguments(arguments + optind, arguments + count), run) : wrongUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zusettings: %s\n", error.what());
    }
    if (status == wrongUsage)
        std::fputs(usage, stderr);
    return status;
}
