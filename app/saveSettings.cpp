// The settings gateway: for one request, decodes the form, saves the settings, signals the application, and
// sends the browser back to the page with the outcome.

#include "appSignal.h"
#include "cgiCommon.h"
#include "commandLine.h"
#include "report.h"
#include "requestBody.h"
#include "settingsFile.h"
#include "zutl_Exception.h"
#include "zutl_File.h"
#include "zutl_url.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace {

using FormParser = void (*)(Settings&);

std::string_view environment(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// Returns null for a request without a form that this program reads.
FormParser formParser() {
    const std::string_view method = environment("REQUEST_METHOD");
    if (method == "GET")
        return parseGet;
    if (method == "POST" && environment("CONTENT_TYPE") == "application/x-www-form-urlencoded")
        return parsePost;
    return nullptr;
}

// Returns false if the client has disconnected. That is not a failure of the request.
bool print(std::string_view text) {
    return zutl::writeAll(STDOUT_FILENO, text.data(), text.size());
}

// Prints the three texts without allocating memory. Stops at the first failure.
bool print(std::string_view head, std::string_view text, std::string_view tail) {
    return print(head) && print(text) && print(tail);
}

void printError(const char* text) {
    print("Content-Type: text/plain\r\n\r\n", text, "\n");
}

// Returns the status word for the outcome; "false" after any exception.
zutl::String saveAndSignal(FormParser parse) {
    zutl::String status("false");
    const char* step = settingsFile;
    try {
        Settings params;
        parse(params);
        if (!saveXML(params))
            return status;
        step = "application";
        restartApp(status);
    } catch (const zutl::Exception& exception) {
        report("request body", exception.what());
    } catch (...) {
        report(step, ENOMEM);
    }
    return status;
}

// Returns the address of the page that sent the form, with the status as a query parameter.
zutl::String returnAddress(const zutl::String& status) {
    zutl::url page(zutl::String::fromEnvVarible("HTTP_REFERER"));
    page.parameters["success"] = status;
    zutl::String address = page;
    // A control character could end the header line and begin another (header injection).
    const auto breaksHeader = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
    if (std::any_of(address.begin(), address.end(), breaksHeader))
        address = "?success=" + status;
    return address;
}

void redirect(const zutl::String& status) {
    try {
        print("Location: " + returnAddress(status) + "\r\n\r\n");
    } catch (...) { // out of memory: this answer needs none
        print("Location: ?success=", status, "\r\n\r\n");
    }
}

// Blocks SIGPIPE and SIGXFSZ: a disconnected client or a file size limit then makes a write fail instead of
// ending the program.
void blockWriteSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGXFSZ);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

int main(int argumentCount, char* arguments[]) {
    blockWriteSignals();
    if (const char* const answer = commandLineAnswer(argumentCount, arguments))
        return print(answer) ? 0 : 1;
    const FormParser parse = formParser();
    if (parse == nullptr) {
        printError("Unknown request type.");
        discardBody();
        return 1;
    }
    redirect(saveAndSignal(parse));
    return 0;
}
