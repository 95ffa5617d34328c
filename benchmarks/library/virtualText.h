#pragma once
// A std::string with a table of virtual operations, which every serializable text has to have. A loop that is
// written by hand with such texts shows what the table alone costs.

#include <string>
#include <utility>

namespace byhand {

class VirtualText : public std::string {
public:
    using std::string::string;
    VirtualText() = default;
    VirtualText(const VirtualText&) = default;
    VirtualText(VirtualText&&) = default;
    VirtualText& operator=(const VirtualText&) = default;
    VirtualText& operator=(VirtualText&&) = default;
    virtual ~VirtualText() = default;
};

inline constexpr const char* withVirtualTexts = "by hand, texts with a table";

} // namespace byhand
