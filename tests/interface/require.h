#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the program with a message unless the condition holds.
#define REQUIRE(condition)                                                                                   \
    if (!(condition)) {                                                                                      \
        std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                 \
        std::exit(1);                                                                                        \
    }
