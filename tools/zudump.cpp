// zudump: shows what the library's binary files hold, and where and why a damaged one becomes unreadable.

#include "escaped.h"
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

// The exit status: the highest of all files.
enum Status { whole, damaged, unusable };

constexpr const char* usage = "Usage: zudump [--json] [--as KIND] FILE...\n";
constexpr const char* help =
    "Shows what each FILE holds: an object file, a saved stream, or the bytes of one object.\n"
    "- is the standard input.\n"
    "\n"
    "  --as KIND   what the files are: object, records (a saved stream), or the bare encoding of\n"
    "              a string, integer, list or map (of strings), stream, or of a type id;\n"
    "              by default object files and saved streams are recognised\n"
    "  --json      prints one JSON document\n"
    "  --help      prints this help\n"
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
        {"string", {Layout::bareObject, zutl::String().getTypeId()}},
        {"integer", {Layout::bareObject, zutl::Integer().getTypeId()}},
        {"list", {Layout::bareObject, zusl::List<zutl::String>().getTypeId()}},
        {"map", {Layout::bareObject, zusl::StringMap<zutl::String>().getTypeId()}},
        {"stream", {Layout::bareObject, zusl::MemIOStream().getTypeId()}},
    };
    for (const auto& [name, layout] : names)
        if (name == kind)
            return layout;
    std::uint16_t typeId = 0;
    const char* const end = kind.data() + kind.size();
    const auto [stop, error] = std::from_chars(kind.data(), end, typeId);
    const bool isNumber = error == std::errc() && stop == end;
    if (!isNumber || dump::typeOf(typeId, dump::Block()).shape == dump::Shape::unknown)
        return std::nullopt;
    return Layout{Layout::bareObject, typeId};
}

// Parses the options and leaves `optind` at the first file. Returns false for wrong usage.
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
    std::fputs(escaped(about).c_str(), stderr);
    std::fprintf(stderr, ": %s\n", reason);
}

// Reads to the end. Returns false, with errno set, if that fails or there are more than 2^32 - 1 bytes.
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
