#include "requestBody.h"

#include "zutl_Exception.h"
#include "zutl_File.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr size_t firstBlock = 4096;         // bytes; most forms fit
constexpr size_t largestOrdinary = 0x10000; // bytes of a body

size_t announcedLength() {
    const char* const text = std::getenv("CONTENT_LENGTH");
    return text == nullptr ? 0 : static_cast<size_t>(std::max(0L, std::strtol(text, nullptr, 10)));
}

void discard(size_t length) {
    std::array<char, 16384> block;
    while (length > 0) {
        const ssize_t received = zutl::readSome(STDIN_FILENO, block.data(), std::min(block.size(), length));
        if (received <= 0)
            return;
        length -= static_cast<size_t>(received);
    }
}

// Makes this process the kernel's first choice if memory runs out, so that a large form cannot get the
// application killed. Best effort.
void preferToBeKilled() {
    const zutl::File score("/proc/self/oom_score_adj", O_WRONLY);
    if (score.isOpen())
        (void)zutl::writeAll(score.get(), "1000", 4);
}

} // namespace

zutl::String readBody() {
    const size_t announced = announcedLength();
    if (announced > largestOrdinary)
        preferToBeKilled();
    zutl::String body;
    size_t received = 0;
    try {
        while (received < announced) {
            if (received == body.size())
                body.resize(std::min(announced, std::max(firstBlock, 2 * received)));
            const ssize_t count = zutl::readSome(STDIN_FILENO, &body[received], body.size() - received);
            if (count < 0) // a truncated form must not be saved
                throw zutl::Exception(std::strerror(errno));
            if (count == 0)
                break;
            received += static_cast<size_t>(count);
        }
    } catch (...) {
        discard(announced - received);
        throw;
    }
    body.resize(received);
    body.resize(std::strlen(body.c_str()));
    return body;
}

void discardBody() {
    discard(announcedLength());
}
