#pragma once
// Shared by the fuzzers, which compare the code with simple implementations of what the documents say.

#include "bytes.h"
#include "zutl_String.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fuzzer/FuzzedDataProvider.h>

using Text = std::string;

// Ends the fuzzer, which then keeps its input.
inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!holds && std::fprintf(stderr, "%s (%d): does not hold\n", file, line) != 0)
        std::abort();
}

inline Text plainDecode(const Text& text, bool plusAsSpace) {
    Text result;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%' && at + 3 <= text.size()) {
            const Text digits = text.substr(at + 1, 2);
            const size_t end = digits.find_first_not_of("0123456789abcdefABCDEF");
            result += static_cast<char>(std::strtol(digits.substr(0, end).c_str(), nullptr, 16));
            at += 2;
        } else {
            result += plusAsSpace && text[at] == '+' ? ' ' : text[at];
        }
    }
    return result;
}

// Adds the processor time to the final statistics. Unlike the clock's, it does not depend on other processes.
inline const struct ProcessorTime {
    ~ProcessorTime() {
        std::fprintf(stderr, "stat::processor_ms: %ld\n", std::clock() / (CLOCKS_PER_SEC / 1000));
    }
} processorTime;

// Each fuzzer defines this function.
void fuzz(FuzzedDataProvider& input);

extern "C" inline __attribute__((used)) int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    fuzz(input);
    return 0;
}
