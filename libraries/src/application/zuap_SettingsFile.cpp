#include "zuap_SettingsFile.h"

#include "zutl_File.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <unistd.h>
#include <vector>

namespace zuap {

namespace {

// The file:
//
//     <Settings>                 a line each; every line ends with a line feed
//       <NAME>VALUE</NAME>       for each setting, in ascending order of names
//     </Settings>
constexpr std::string_view rootOpen = "<Settings>\n";
constexpr std::string_view rootClose = "</Settings>\n";
constexpr std::string_view entryOpen = "  <";
constexpr std::string_view nextEntry = "\n  <";
constexpr std::string_view closeTag = "</";

// The text from after an `entryOpen` to the line feed before the next one. An entry is one
// piece, or several if its value or name has a `nextEntry` in it.
struct Piece {
    const char* begin;
    const char* end;
    std::string_view name;     // before the first ">": of the entry, if one begins here
    std::string_view closing;  // between the last "</" and the final ">": of the entry, if one ends here
    bool isWholeEntry = false; // one entry with a name that has markup in it
    size_t last = 0;           // number of the piece that ends the entry; 0 is none, as numbers begin at 1

    std::string_view text() const { return {begin, static_cast<size_t>(end - begin)}; }
    bool beginsEntry() const { return name.data() != nullptr; }
    bool endsEntry() const { return closing.data() != nullptr; }
    bool isEntry() const { return beginsEntry() && endsEntry() && name == closing; }
};

Piece pieceOf(std::string_view text) {
    Piece piece{text.data(), text.data() + text.size(), {}, {}};
    const size_t nameEnd = text.find('>');
    if (nameEnd != text.npos)
        piece.name = text.substr(0, nameEnd);
    // The "<" of the close tag may be the one before the piece: after a value that ends in a line of two
    // spaces.
    const std::string_view whole(text.data() - 1, text.size() + 1);
    const size_t close = whole.rfind(closeTag);
    if (close != whole.npos && whole.back() == '>') {
        const size_t from = close + closeTag.size();
        piece.closing = whole.substr(from, whole.size() - 1 - from);
    }
    return piece;
}

// Returns the shortest name with which the piece is an entry by itself, whatever bytes it has; null if there
// is none. Such a name is both at the beginning of the piece, before a ">", and at its end, after a "</".
std::string_view nameWithMarkup(std::string_view piece) {
    if (piece.size() < closeTag.size() + 2 || piece.back() != '>')
        return {};
    const std::string_view text = piece.substr(0, piece.size() - 1);
    const size_t most = (text.size() - closeTag.size() - 1) / 2;
    // borders[i]: length of the longest proper prefix of text[0, i] that is also its suffix.
    std::vector<size_t> borders(most);
    // Extends a match of the first `matched` characters, fewer than `most`, by one character.
    const auto extend = [&](size_t matched, char byte) {
        while (matched > 0 && text[matched] != byte)
            matched = borders[matched - 1];
        return text[matched] == byte ? matched + 1 : 0;
    };
    size_t matched = 0;
    for (size_t position = 1; position < most; ++position)
        matched = borders[position] = extend(matched, text[position]);
    matched = 0;
    for (size_t position = text.size() - most; position < text.size(); ++position)
        matched = extend(matched, text[position]);
    std::string_view name;
    for (; matched > 0; matched = borders[matched - 1])
        if (text[matched] == '>' &&
            text.substr(text.size() - matched - closeTag.size(), closeTag.size()) == closeTag)
            name = text.substr(0, matched);
    return name;
}

// Splits the text between the tags of the root element. Skips anything before the first entry and an
// unfinished last line.
std::vector<Piece> splitIntoPieces(std::string_view body) {
    std::vector<Piece> pieces(1);                // there is no piece 0
    body = body.substr(0, body.rfind('\n') + 1); // empty if there is none: npos + 1 is 0
    size_t begin = body.substr(0, entryOpen.size()) == entryOpen ? 0 : body.find(nextEntry);
    if (begin != 0 && begin != body.npos)
        ++begin;
    while (begin < body.size()) {
        const size_t end = std::min(body.find(nextEntry, begin), body.size() - 1);
        pieces.push_back(pieceOf(body.substr(begin + entryOpen.size(), end - begin - entryOpen.size())));
        begin = end + 1;
    }
    return pieces;
}

bool isPlain(const std::vector<Piece>& pieces) {
    for (size_t number = 1; number < pieces.size(); ++number)
        if (!pieces[number].isEntry() || (number > 1 && pieces[number].name <= pieces[number - 1].name))
            return false;
    return true;
}

// Finds for each piece the end of an entry that begins there, such that only entries with ascending names
// follow up to the end of the text. Returns true if it finds one for the first piece.
bool findEnds(std::vector<Piece>& pieces, bool allowNamesWithMarkup) {
    std::map<std::string_view, size_t> ends; // by name, the nearest piece that ends such an entry
    for (size_t number = pieces.size() - 1; number > 0; --number) {
        Piece& piece = pieces[number];
        const bool isLast = number + 1 == pieces.size();
        const Piece* const next = isLast ? nullptr : &pieces[number + 1];
        if (piece.endsEntry() && (isLast || (next->last != 0 && next->name > piece.closing)))
            ends[piece.closing] = number;
        const auto end = piece.beginsEntry() ? ends.find(piece.name) : ends.end();
        if (end != ends.end()) {
            piece.last = end->second;
            continue;
        }
        if (piece.isEntry() || !allowNamesWithMarkup)
            continue;
        const std::string_view name = nameWithMarkup(piece.text());
        if (name.data() == nullptr)
            continue;
        piece.name = name;
        piece.isWholeEntry = true;
        if (isLast || (next->last != 0 && next->name > name))
            piece.last = number;
    }
    return pieces[1].last != 0;
}

// Adds the entry from piece `first` to piece `last`.
void addEntry(const Piece& first, const Piece& last, Values& values) {
    const char* const begin = first.begin + first.name.size() + 1;
    const char* const end = last.end - 1 - first.name.size() - closeTag.size();
    values.try_emplace(values.end(), zutl::String(first.name),
                       std::string_view(begin, static_cast<size_t>(end - begin)));
}

} // namespace

bool parseSettings(std::string_view text, Values& values) {
    values.clear();
    if (text.size() < rootOpen.size() + rootClose.size() || text.substr(0, rootOpen.size()) != rootOpen ||
        text.substr(text.size() - rootClose.size()) != rootClose)
        return false;
    text = text.substr(rootOpen.size(), text.size() - rootOpen.size() - rootClose.size());
    std::vector<Piece> pieces = splitIntoPieces(text);
    if (!isPlain(pieces) && !findEnds(pieces, false))
        findEnds(pieces, true);
    for (size_t number = 1; number < pieces.size(); ++number) {
        const Piece& piece = pieces[number];
        const size_t last = piece.last != 0 ? piece.last : number;
        if (last != number || piece.isEntry() || piece.isWholeEntry)
            addEntry(piece, pieces[last], values);
        number = last;
    }
    return true;
}

namespace {

// Returns true if the open file still has exactly this text.
bool holds(int descriptor, std::string_view text) {
    if (lseek(descriptor, 0, SEEK_SET) != 0)
        return false;
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t received = zutl::readSome(descriptor, block.data(), block.size());
        if (received < 0)
            return false;
        const std::string_view bytes(block.data(), static_cast<size_t>(received));
        if (bytes.empty())
            return text.empty();
        if (text.substr(0, bytes.size()) != bytes)
            return false;
        text.remove_prefix(bytes.size());
    }
}

bool readToEnd(int descriptor, zutl::String& text) {
    constexpr size_t firstBlock = 4096;
    size_t filled = 0;
    for (;;) {
        if (filled == text.size())
            text.resize(std::max(firstBlock, 2 * filled));
        const ssize_t received = zutl::readSome(descriptor, &text[filled], text.size() - filled);
        if (received < 0)
            return false;
        if (received == 0)
            break;
        filled += static_cast<size_t>(received);
    }
    text.resize(filled);
    return true;
}

} // namespace

Reading readSettings(const char* path, Values& values) {
    values.clear();
    const zutl::File file(path, O_RDONLY);
    if (!file.isOpen())
        return errno == ENOENT ? Reading::missing : Reading::failed;
    zutl::String text;
    if (!readToEnd(file.get(), text))
        return Reading::failed;
    return holds(file.get(), text) && parseSettings(text, values) ? Reading::complete : Reading::incomplete;
}

} // namespace zuap
