// Fuzzes the search for delimiters outside quotes, and tokenizing.

#include "fuzzing.h"

// Returns the end of the section that opens at this position.
static size_t sectionEnd(const Text& text, size_t open) {
    const Text ends{text[open], '\\'};
    size_t found = text.find_first_of(ends, open + 1);
    for (; found != Text::npos && text[found] != text[open]; found = text.find_first_of(ends, found + 3))
        if (found + 2 < text.size() && text[found + 2] == text[open])
            return found + 2;
    return found;
}

void fuzz(FuzzedDataProvider& input) {
    const Text delimiters = input.ConsumeRandomLengthString(), quotes = input.ConsumeRandomLengthString();
    const zutl::String text = input.ConsumeRemainingBytesAsString();
    std::vector<unsigned int> positions;
    for (size_t at = 0; at < text.size(); ++at) {
        if (quotes.find(text[at]) != Text::npos)
            at = std::min(sectionEnd(text, at), text.size());
        else if (delimiters.find(text[at]) != Text::npos)
            positions.push_back(static_cast<unsigned int>(at));
    }
    require(text.findAll(delimiters, quotes) == positions);

    std::vector<zutl::String> tokens;
    positions.push_back(static_cast<unsigned int>(text.size()));
    size_t start = 0;
    for (const size_t position : positions) {
        if (position > start)
            tokens.emplace_back(text.substr(start, position - start).c_str());
        start = position + 1;
    }
    require(text.tokenize(delimiters, quotes) == tokens);
}
