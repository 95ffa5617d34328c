#pragma once
// Simple implementations of the markup operations, for comparison. They search for each tag separately.

#include <optional>
#include <string>

namespace plain {

struct Tag {
    size_t start, end;
    bool selfClosing;
};

inline std::optional<Tag> openTag(const std::string& text, size_t search, const std::string& name) {
    for (;;) {
        const size_t start = text.find("<" + name, search), nameEnd = start + 1 + name.size();
        search = nameEnd;
        if (start == text.npos || search >= text.size())
            return {};
        if (text.find_first_of(" \t\n\r", search) == search)
            search = text.find('>', search);
        else if (text[search] == '/')
            ++search; // to the zero byte, at the end of the text
        if (search == text.npos)
            return {};
        if (text[search] == '>')
            return Tag{start, search, search > nameEnd && text[search - 1] == '/'};
    }
}

inline std::optional<Tag> closeTag(const std::string& text, size_t search, const std::string& name) {
    size_t scan = search, found;
    for (int depth = 0; (found = text.find("</" + name + ">", search)) != text.npos;) {
        while (const auto open = openTag(text.substr(0, found), scan, name)) {
            depth += open->selfClosing ? 0 : 1;
            scan = open->end;
        }
        search = found + name.size() + 3;
        if (--depth == -1)
            return Tag{found, search - 1, false};
    }
    return {};
}

inline std::string replaceElement(const std::string& text, const std::string& name,
                                  const std::string& replacement) {
    std::string result;
    size_t position = 0;
    while (const auto open = openTag(text, position, name)) {
        const auto close = open->selfClosing ? open : closeTag(text, open->end + 1, name);
        result += text.substr(position, (close ? open->start : open->end + 1) - position);
        result += close ? replacement : "";
        position = (close ? close : open)->end + 1;
    }
    return result + text.substr(position);
}

} // namespace plain
