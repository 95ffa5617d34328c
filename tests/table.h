#pragma once

#include <vector>

// The cases of a test.
template <typename... Rows>
auto table(const Rows&... rows) {
    return std::vector{rows...};
}
