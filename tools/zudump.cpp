// zudump: shows what files of the library's binary forms hold, and where damaged ones stop making sense.

#include "walk.h"
#include "zusl_List.h"
#include "zusl_Map.h"
#include "zutl_File.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <getopt.h>
#include <limits>
#include <optional>
#include <unistd.h>
#include <vector>

namespace {

// The exit status; of several files the highest counts.
enum Status { whole, damaged, unusable };

constexpr const char* usage = "Usage: zudump [--json] [--as KIND] FILE...\n";
constexpr const char* help =
    "Shows what each FILE holds: an object file, a saved stream, or a binary form. - is the standard input.\n"
    "\n"
    "  --as KIND   what the files are: object, records (a saved stream), or the bare form of a type:\n"
    "              string, integer, list and map (of strings), stream, or a type id;\n"
    "              without it object files and saved streams are told apart\n"
    "  --json      prints one JSON document\n"
    "  --help      prints this\n"
    "\n"
    "Exits with 0 when all files are whole, 1 when one is damaged, 2 when one cannot be read.\n";

struct Options {
    bool isJson = false;
    bool isHelp = false;
    std::optional<dump::Layout> layout; // else each file's own
};

std::optional<dump::Layout> parseKind(std::string_view kind) {
    using dump::Layout;
    const std::pair<std::string_view, Layout> names[] = {
        {"object", {Layout::objectFile}},
        {"records", {Layout::savedStream}},
        {"string", {Layout::form, zutl::String().getTypeId()}},
        {"integer", {Layout::form, zutl::Integer().getTypeId()}},
        {"list", {Layout::form, zusl::List<zutl::String>().getTypeId()}},
        {"map", {Layout::form, zusl::StringMap<zutl::String>().getTypeId()}},
        {"stream", {Layout::form, zusl::MemIOStream().getTypeId()}},
    };
    for (const auto& [name, layout] : names)
        if (name == kind)
            return layout;
    std::uint16_t typeId = 0;
    const char* const end = kind.data() + kind.size();
    const auto [behind, error] = std::from_chars(kind.data(), end, typeId);
    const bool isNumber = error == std::errc() && behind == end;
    if (!isNumber || dump::typeOf(typeId, dump::Block()).shape == dump::Shape::unknown)
        return std::nullopt;
    return Layout{Layout::form, typeId};
}

// Leaves the files behind the options. False for options that are none.
bool parseOptions(int count, char** arguments, Options& options) {
    static const option known[] = {{"as", required_argument, nullptr, 'a'},
                                   {"json", no_argument, nullptr, 'j'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};
    opterr = 0;
    for (int found; (found = getopt_long(count, arguments, "", known, nullptr)) != -1;) {
        if (found == 'a')
            options.layout = parseKind(optarg);
        if (found == '?' || (found == 'a' && !options.layout))
            return false;
        options.isJson = options.isJson || found == 'j';
        options.isHelp = options.isHelp || found == 'h';
    }
    return options.isHelp || optind < count;
}

void complain(std::string_view about, const char* reason) {
    std::fputs("zudump: ", stderr);
    dump::printEscaped(stderr, about);
    std::fprintf(stderr, ": %s\n", reason);
}

// False, with errno set, for what cannot be read or is larger than 32 bits can tell.
bool readRest(int descriptor, std::vector<unsigned char>& bytes) {
    constexpr size_t step = 65536;
    for (size_t used = 0; used <= std::numeric_limits<std::uint32_t>::max();) {
        bytes.resize(used + step);
        const ssize_t received = zutl::readSome(descriptor, bytes.data() + used, step);
        if (received < 0)
            return false;
        used += static_cast<size_t>(received);
        if (received == 0) {
            bytes.resize(used);
            return true;
        }
    }
    errno = EFBIG;
    return false;
}

bool readWhole(const char* path, std::vector<unsigned char>& bytes) {
    try {
        if (std::strcmp(path, "-") == 0)
            return readRest(STDIN_FILENO, bytes);
        const zutl::File file(path, O_RDONLY);
        return file.isOpen() && readRest(file.get(), bytes);
    } catch (const std::exception&) {
        errno = ENOMEM;
        return false;
    }
}

Status show(const char* path, const Options& options, dump::Visitor& visitor) {
    std::vector<unsigned char> bytes;
    if (!readWhole(path, bytes)) {
        const char* const reason = std::strerror(errno);
        complain(path, reason);
        visitor.unreadable(path, reason);
        return unusable;
    }
    const dump::Block file{bytes.data(), static_cast<unsigned int>(bytes.size())};
    return dump::walk(path, file, options.layout.value_or(dump::layoutOf(file)), visitor) ? whole : damaged;
}

Status showAll(char** paths, const Options& options) {
    const auto visitor = options.isJson ? dump::jsonPrinter(stdout) : dump::textPrinter(stdout);
    Status status = whole;
    for (; *paths != nullptr; ++paths)
        status = std::max(status, show(*paths, options, *visitor));
    visitor->finish();
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    complain("standard output", std::strerror(errno));
    return unusable;
}

} // namespace

int main(int count, char** arguments) {
    Options options;
    if (!parseOptions(count, arguments, options)) {
        std::fputs(usage, stderr);
        return unusable;
    }
    if (options.isHelp) {
        std::printf("%s%s", usage, help);
        return whole;
    }
    try {
        return showAll(arguments + optind, options);
    } catch (const std::exception&) {
        complain("memory", std::strerror(ENOMEM));
        return unusable;
    }
}
